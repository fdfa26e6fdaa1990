#!/usr/bin/env bash
# Makes an uneven virtual wall even with what cameras see of it: measured, corrected, saved, measured again. Fails when the
# wall does not become as even as each camera allows.
#
# usage: even.sh CORRECTIONCTL WALL FOLDER
set -euo pipefail

ctl=$(realpath "$1")
wall=$(realpath "$2")
mkdir -p "$3"
cd "$3"
rm -rf ideal phases full-field ./*.npy ./*.png target.json

run() {
  printf '\n$ correctionctl %s\n' "$*"
  "$ctl" "$@"
}

# Each camera works on a wall of its own. They have the same target, that of the sensor, with the white D65.
for camera in ideal phases full-field; do
  "$ctl" --quiet --wall "$wall" wall create "$camera"
done
run --wall phases measure main phases.npy --camera sensor
run calibrate phases.npy phases-coefficients.npy --white 0.3127,0.3290 --keep-target target.json
run --wall phases write main phases-coefficients.npy --save

# What was there before, exactly, and the other cameras.
run --wall ideal measure main before.npy --picture before.png --exposure 700
run calibrate before.npy ideal-coefficients.npy --target target.json
run --wall ideal write main ideal-coefficients.npy --save
run --wall full-field measure main full-field.npy --camera sensor --full-field
run calibrate full-field.npy full-field-coefficients.npy --target target.json
run --wall full-field write main full-field-coefficients.npy --save

# Judged by the ideal camera, whatever the wall was measured with.
run --wall ideal measure main ideal-after.npy
run --wall phases measure main phases-after.npy --picture after.png --exposure 380
run --wall full-field measure main full-field-after.npy
run --wall phases wall render main written.png --what coefficients --channel 4
run report before.npy ideal-after.npy phases-after.npy full-field-after.npy --target target.json --input white \
  --seams 32x32 --picture maps.png

printf '\nLimits of the deviation of the luminance (%%) and of the median CIEDE2000:\n'
failed=0
within() { # within LIMITS NAME
  if "$ctl" --quiet report before.npy "$2-after.npy" --target target.json --input white --within "$1"; then
    printf '  %-10s within %s\n' "$2" "$1"
  else
    printf '  %-10s FAILED: not within %s\n' "$2" "$1"
    failed=1
  fi
}
within 0.05,0.05 ideal
within 0.3,0.5 phases
if "$ctl" --quiet report before.npy full-field-after.npy --target target.json --input white --within 0.3,0.5 2>/dev/null; then
  printf '  full-field FAILED: without phases it is as good as with them\n'
  failed=1
else
  printf '  full-field not within 0.3,0.5: without phases neighbours mix in the photo\n'
fi
exit "$failed"

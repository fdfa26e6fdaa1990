#pragma once

#include <calibration/CalibrationGlobal.h>
#include <calibration/Measurement.h>
#include <calibration/Seams.h>
#include <calibration/Target.h>

#include <Correction/Enumerations.h>
#include <Correction/IChromaCoefficient.h>

namespace Calibration {

/// The value of a coefficient that passes a colour on unchanged, unless the device has another one.
constexpr int defaultUnit = 32768;

/// What became of the pixels of a calculation.
struct Summary {
    int corrected = 0; ///< Pixels with coefficients of their own.
    int leftAlone = 0; ///< Holes, dead pixels, and those whose values are not finite or not independent: unit matrix.
    int clipped = 0;   ///< Corrected pixels with at least one coefficient below 0 or above 65535, which was clipped.
};

/// Calculates the coefficients that make every pixel show the target: for each pixel the 3 x 3 matrix M with
/// target = measured * M, whose columns are XYZ of red, green and blue. The nine values of a pixel are M row by row, output
/// colours being the rows (drive_out = M * drive_in), times `unit` (1 to 65535), rounded and clipped to 0 .. 65535.
///
/// `grid` has the size of the measurement and keeps it. Each value is the exact one rounded, or its neighbour.
/// - `enOutOfRange`: the measurement is empty or has another size than the grid.
/// - `enInvalidParameter`: the target is not valid, or `unit` is out of its range.
/// Both with one critical line, and the grid is unchanged.
CALIBRATION_API Correction::EnumErrorCode calculate(const Measurement &measurement, const Target &target,
                                                    Correction::IChromaCoefficient &grid, int unit = defaultUnit,
                                                    Summary *summary = nullptr);

/// What the measured pixels show for full red, green and blue with these coefficients; no LED gives more than its light at
/// full drive. States are those of the measurement. Empty, with one critical line, in the cases in which `calculate` fails.
CALIBRATION_API Measurement predicted(const Measurement &measurement, Correction::IChromaCoefficient &grid,
                                      int unit = defaultUnit);

/// For a screen that was measured in parts, by shots that differ a little in exposure: closes the step of each LED's light
/// at the seams between the parts, by factors that fade to 1 over `width` pixels on both sides. The step is that between the
/// mean luminances of usable pixels over `width` pixels on each side, for each stretch between crossing seams.
///
/// It takes every step at a seam for the camera's. A step that the LEDs have, such as one between batches of modules, is a
/// part of the measurement and would become visible: name no such seam.
CALIBRATION_API Measurement feathered(const Measurement &measurement, const Seams &seams, int width);

} // namespace Calibration

#pragma once

#include <calibration/Coefficients.h>

namespace Calibration {

/// Calculates the coefficients of `pixels` pixels. `light` and `values` hold nine values for each, `target` is the target's
/// light times the unit. Fills `summary`, which is all 0.
void solve(const float *light, const PixelState *states, int pixels, const double *target, int unit, unsigned short *values,
           Summary &summary);

} // namespace Calibration

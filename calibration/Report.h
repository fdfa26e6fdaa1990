#pragma once

#include <calibration/CalibrationGlobal.h>
#include <calibration/Measurement.h>
#include <calibration/Seams.h>
#include <calibration/Target.h>

#include <QtGui/QImage>

namespace Calibration {

/// CIE 1976 L*a*b*.
struct Lab {
    double l; ///< Lightness, 0 to 100.
    double a; ///< Green (negative) to red.
    double b; ///< Blue (negative) to yellow.
};

/// CIEDE2000 colour difference (ISO/CIE 11664-6), all parametric factors 1.
CALIBRATION_API double ciede2000(const Lab &one, const Lab &other);

/// How even a screen is, and how near to its target. Points whose light is not known do not count.
struct Report {
    int pixels = 0; ///< Points that count. With none all figures are 0.

    double luminanceMean = 0;      ///< cd/m2
    double luminanceDeviation = 0; ///< Standard deviation, as a share of the mean.
    double luminanceLeast = 0;     ///< cd/m2
    double luminanceGreatest = 0;  ///< cd/m2

    /// CIEDE2000 to what the target shows, with the target's white as the white of L*a*b*.
    double differenceMedian = 0;
    double difference95 = 0;    ///< 95 % of the points differ by no more.
    double differenceWorst = 0; ///< That of the worst point.

    /// Contrast of the seams. Each stretch of a seam between crossing seams has four mean luminances: those of the two lines
    /// of pixels that touch it, and those of up to four lines next to each. Its contrast is their greatest minus their
    /// least, divided by their mean: a step counts, and so do lines that are brighter or darker than the parts on both
    /// sides.
    double seamMean = 0;
    double seamWorst = 0; ///< That of the worst stretch.
};

/// The report on what a screen shows for an input. `shown` has a point for each pixel: `Measurement::shown()`, or a photo of
/// the full field. Without points, with one critical line, if `shown` or the target is not valid.
CALIBRATION_API Report reportOf(const LightImage &shown, const Target &target, Input input, const Seams &seams = Seams());

/// A picture pixel for each point, 32-bit RGB: white at `luminance` cd/m2, more and more red up to 1 + `range` times as
/// much, and blue down to 1 - `range` times. Black where the light is not known. Null unless `shown` is valid and both
/// numbers are positive.
CALIBRATION_API QImage luminanceMap(const LightImage &shown, double luminance, double range);

/// The same for CIEDE2000 to the target: white at 0, more and more red up to `greatest`.
CALIBRATION_API QImage differenceMap(const LightImage &shown, const Target &target, Input input, double greatest);

} // namespace Calibration

#pragma once

#include <calibration/CalibrationGlobal.h>
#include <calibration/Measurement.h>

#include <QtCore/QVector>

namespace Calibration {

/// CIE 1931 chromaticity coordinates.
struct Chromaticity {
    double x; ///< X / (X + Y + Z)
    double y; ///< Y / (X + Y + Z)
};

/// The colours of full red, green and blue, and of all three together.
struct Primaries {
    Chromaticity red;   ///< Full red alone.
    Chromaticity green; ///< Full green alone.
    Chromaticity blue;  ///< Full blue alone.
    Chromaticity white; ///< All three.
};

CALIBRATION_API Primaries sRgb();    ///< IEC 61966-2-1: primaries of Rec. 709, white D65.
CALIBRATION_API Primaries rec709();  ///< ITU-R BT.709-6, white D65.
CALIBRATION_API Primaries dciP3();   ///< SMPTE RP 431-2, white 0.314, 0.351.
CALIBRATION_API Primaries rec2020(); ///< ITU-R BT.2020-2, white D65.

/// What every pixel of a screen is to show.
struct CALIBRATION_API Target {
    /// XYZ for full red, green and blue: XR YR ZR XG YG ZG XB YB ZB, Y in cd/m2. All 0: no target.
    double light[lightLength] = {};

    /// XYZ for an input at full level.
    struct Xyz {
        double x; ///< X, scaled as Y.
        double y; ///< cd/m2
        double z; ///< Z, scaled as Y.
    };
    /// What the target shows for an input.
    Xyz xyz(Input input) const;
    /// Whether all values are finite and the three colours are independent of each other.
    bool isValid() const;
};

/// The target of these primaries with a white of `luminance` cd/m2. Not valid if the primaries are on one line, white is
/// outside their triangle, or the luminance is not positive.
CALIBRATION_API Target targetOf(const Primaries &primaries, double luminance);

/// The greatest triangle of colours that all usable pixels but a `share` can show, and the mean white of the screen: each
/// colour is that of the LEDs' mean with as little as possible of the two other colours. The share applies to each mixture
/// singly. Without usable pixels all coordinates are 0.
CALIBRATION_API Primaries commonPrimaries(const Measurement &measurement, double share = 0);

/// How far the pixels of a screen reach with given primaries: each usable pixel has a greatest luminance of white at which
/// none of its LEDs is driven beyond full drive.
class CALIBRATION_API Reach
{
public:
    /// Calculates the limits of all usable pixels.
    Reach(const Measurement &measurement, const Primaries &primaries);

    /// Usable pixels.
    int pixels() const { return m_limits.size(); }
    /// Usable pixels that cannot show one of the primaries at any luminance: they would take negative light, at least `0.5 /
    /// 32768` of a full drive.
    int outsideGamut() const { return m_outsideGamut; }
    /// Usable pixels that do not reach a white of `luminance` cd/m2.
    int fallingShort(double luminance) const;
    /// The greatest luminance at which no more than `share` (0 to 1) of the usable pixels fall short, in cd/m2. 0 without
    /// usable pixels.
    double luminanceFor(double share = 0) const;

private:
    QVector<float> m_limits; ///< cd/m2, ascending.
    int m_outsideGamut = 0;
};

} // namespace Calibration

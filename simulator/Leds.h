#pragma once

#include <simulator/SimulatorGlobal.h>

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Simulator {

/// The light of the LEDs of one colour at full drive: CIE 1931 chromaticity, and luminance in cd/m2.
struct Primary {
    double x = 0.0;         ///< Chromaticity.
    double y = 0.0;         ///< Chromaticity.
    double luminance = 0.0; ///< In cd/m2.
};

/// Luminance factors, 0 to 1, of the three colours.
struct Ageing {
    double red = 1.0;   ///< Of red LEDs.
    double green = 1.0; ///< Of green LEDs.
    double blue = 1.0;  ///< Of blue LEDs.
};

/// The LEDs of a device: from these few numbers the light of every single LED follows (docs/light.md). Spreads are standard
/// deviations, those of luminance relative to the nominal one.
struct Leds {
    /// The preset that the other fields come from (ledPresetNames()), whatever was changed since. Empty: the LEDs are not
    /// described; they are those of "even", the other fields are not used, and cleared coefficients are zeros, which are
    /// dark.
    QString preset;
    quint64 seed = 1; ///< Of all random numbers of the LEDs. At most 2^53.

    // The nominal primaries: their white of full drives is D65, 1000 cd/m2.
    Primary red{0.690, 0.306, 270.0};   ///< Nominal red.
    Primary green{0.190, 0.720, 662.0}; ///< Nominal green.
    Primary blue{0.135, 0.055, 68.0};   ///< Nominal blue.

    double pixelLuminance = 0.0;   ///< Spread from pixel to pixel; likewise below.
    double pixelWavelength = 0.0;  ///< In nm.
    double moduleLuminance = 0.0;  ///< Spread from module to module.
    double moduleWavelength = 0.0; ///< In nm.
    double moduleSeam = 1.0;       ///< Luminance factor of the outer rows and columns of modules.
    double cabinetSeam = 1.0;      ///< Likewise of cabinets, in place of that of modules.
    Ageing oldest;                 ///< Of the oldest cabinet; the ages of the cabinets are spread evenly from new to this.
    double deadPixels = 0.0;       ///< Share of the pixels that are always dark.
    double stuckPixels = 0.0;      ///< Share of the pixels that always shine at full drive.
    /// Pixels whose drives are all below this use the low-gray values in place of the chroma values. 0: none.
    double lowGrayBelow = 0.03125;
};

/// Whether all fields are equal.
SIMULATOR_API bool operator==(const Primary &a, const Primary &b);
/// Whether all fields are equal.
SIMULATOR_API bool operator==(const Ageing &a, const Ageing &b);
/// Whether all fields are equal.
SIMULATOR_API bool operator==(const Leds &a, const Leds &b);
/// Whether a field differs.
inline bool operator!=(const Primary &a, const Primary &b)
{
    return !(a == b);
}
/// Whether a field differs.
inline bool operator!=(const Ageing &a, const Ageing &b)
{
    return !(a == b);
}
/// Whether a field differs.
inline bool operator!=(const Leds &a, const Leds &b)
{
    return !(a == b);
}

/// "even", "fresh", "mixed", "worn".
SIMULATOR_API QStringList ledPresetNames();
/// LEDs that are not described for an unknown name.
SIMULATOR_API Leds ledPreset(const QString &name);

} // namespace Simulator

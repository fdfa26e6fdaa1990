#pragma once

#include <Correction/Global.h>

namespace Correction {

/// Permitted brightness of a cabinet, in the device's own steps. The library does not check a brightness against it.
class CORRECTION_EXPORT BrightnessRange
{
public:
    BrightnessRange(); ///< All values 0.
    BrightnessRange(const BrightnessRange &other);
    BrightnessRange &operator=(const BrightnessRange &other);

    quint32 min;          ///< The darkest step.
    quint32 max;          ///< The brightest step.
    quint32 defaultValue; ///< The step of a cabinet as delivered.
};

} // namespace Correction

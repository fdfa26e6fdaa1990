#pragma once

#include <Correction/Global.h>

namespace Correction {

/// Permitted brightness of a cabinet, in the device's own steps. The library does not check a brightness against it.
class CORRECTION_EXPORT BrightnessRange
{
public:
    BrightnessRange();
    BrightnessRange(const BrightnessRange &other);
    BrightnessRange &operator=(const BrightnessRange &other);

    quint32 min;
    quint32 max;
    quint32 defaultValue;
};

} // namespace Correction

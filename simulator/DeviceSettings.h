#pragma once

#include <adapter/Operations.h>
#include <simulator/StateTypes.h>

#include <QtCore/QList>

#include <array>

namespace Simulator {

/// The settings of a whole device. A new one needs a member and a row in fields(): the wall's behaviour, `state.json` and
/// the tests are derived from fields().
struct DeviceSettings {
    int brightness = 0;              ///< The last one that was set for the whole device.
    int effectMode = 0;              ///< Likewise.
    int xBitMode = 0;                ///< The last mode that was sent, whether enabled or not.
    bool isXBitEnabled = false;      ///< Whether that mode was sent with "xbitEnable".
    bool isAblEnabled = false;       ///< Automatic brightness limiter.
    std::array<QList<int>, 3> gamma; ///< By Channel.

    /// Calls field(name in state.json, member, operation that sets it, its key in the request) for all but the gamma tables.
    template <typename Field>
    static void fields(Field field)
    {
        using Adapter::Operation;
        field("brightness", &DeviceSettings::brightness, Operation::ScreenInfo_setBrightness, "brightness");
        field("effectMode", &DeviceSettings::effectMode, Operation::Correctionop_setScreenEffectMode, "mode");
        field("xBitMode", &DeviceSettings::xBitMode, Operation::Correctionop_setScreenXBit, "mode");
        field("xBitEnabled", &DeviceSettings::isXBitEnabled, Operation::Correctionop_setScreenXBit, "xbitEnable");
        field("ablEnabled", &DeviceSettings::isAblEnabled, Operation::Correctionop_setScreenABLEnable, "enable");
    }
};

} // namespace Simulator

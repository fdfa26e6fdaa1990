#include "WallState.h"

namespace Simulator {

DeviceState *WallState::device(const QString &deviceKey)
{
    for (DeviceState &device : devices) {
        if (device.description.key == deviceKey)
            return &device;
    }
    return nullptr;
}

const DeviceState *WallState::device(const QString &deviceKey) const
{
    for (const DeviceState &device : devices) {
        if (device.description.key == deviceKey)
            return &device;
    }
    return nullptr;
}

CabinetState *WallState::cabinet(const QString &deviceKey, const QString &cabinetId)
{
    DeviceState *const state = device(deviceKey);
    const auto it = state ? state->cabinets.find(cabinetId) : QMap<QString, CabinetState>::iterator();
    return state && it != state->cabinets.end() ? &it.value() : nullptr;
}

const CabinetState *WallState::cabinet(const QString &deviceKey, const QString &cabinetId) const
{
    const DeviceState *const state = device(deviceKey);
    if (!state)
        return nullptr;
    const auto it = state->cabinets.constFind(cabinetId);
    return it != state->cabinets.constEnd() ? &it.value() : nullptr;
}

} // namespace Simulator

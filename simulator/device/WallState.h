#pragma once

#include "DeviceState.h"

#include <memory>

namespace Simulator {

/// The state of a wall: plain values without locks.
struct WallState {
    QList<DeviceState> devices; ///< Those that are unplugged, too.
    bool discovering = false;
    QString title;
    QList<Event> events; ///< All that were described or added; see DeviceEvents for those to come.
    quint64 seed = 1;
    Random random{seed};
    double chaos = 0.0;
    int replyBlockHeight = 0;
    std::array<QByteArray, kindCount> defaultPixels;
    std::weak_ptr<Disk::Scratch> scratch; ///< Of the open directory: takes the planes that are uploaded.

    /// See State::setDefaultPixel().
    QByteArray defaultPixel(Kind kind, const Device &device) const
    {
        return Simulator::defaultPixels(device, defaultPixels)[static_cast<std::size_t>(kind)];
    }
    DeviceState *device(const QString &deviceKey);
    const DeviceState *device(const QString &deviceKey) const;
    const CabinetState *cabinet(const QString &deviceKey, const QString &cabinetId) const;
    CabinetState *cabinet(const QString &deviceKey, const QString &cabinetId);
};

} // namespace Simulator

#pragma once

#include <simulator/SimulatorGlobal.h>

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Simulator {

struct Wall;

/// The pending uploads of a wall. See VirtualWall::uploads().
class SIMULATOR_API Uploads
{
public:
    /// Uploads whose promise is pending: held by a script's settleLater() or by a fault, or not yet due.
    int pending() const;
    /// Their devices' keys, oldest upload first; a device with two of them is listed twice.
    QStringList pendingDevices() const;
    /// Blocks the calling thread until at least `count` uploads are pending: for a thread that settles the uploads of
    /// another one. False on timeout, after `milliseconds`.
    bool waitForPending(int count, int milliseconds = 10000) const;
    /// Settles the oldest pending upload of a device, also one held by a script or a fault; with true its blocks are pasted
    /// first. False if none is pending.
    bool settle(const QString &deviceKey, bool value);
    /// Rejects the oldest pending upload of a device with a std::runtime_error. False if none is pending.
    bool reject(const QString &deviceKey);

private:
    friend struct Wall;
    explicit Uploads(Wall &wall) : m_wall(wall) {}

    Wall &m_wall;
};

} // namespace Simulator

#pragma once

#include <simulator/VirtualWall.h>

#include <QtCore/QMap>
#include <QtCore/QString>

/// Requests that change what a wall keeps, chosen by a seed and a number, for tests of what a wall directory holds after a
/// failure. A second wall without a directory that got the same requests is the reference: see kept().
namespace DiskWork {

/// From 0: one cabinet of 2 x 2 pixels; three of 8 x 8; two devices, the second one forgets on restart; planes of more than
/// 64 KiB.
constexpr int wallSizes = 4;
Simulator::WallDescription wallOfSize(int size);

/// Sends request `number` of the sequence `seed`. Equal arguments and equal walls: the same request. The wall's journal must
/// hold a call.
bool request(Simulator::VirtualWall &wall, quint32 seed, int number);
/// Requests that were sent by this process, by operation.
const QMap<QString, int> &sent();

/// As after a power failure of all devices.
void restart(Simulator::VirtualWall &wall);

/// Every value that a restarted wall keeps, by its place.
using Kept = QMap<QString, QByteArray>;
Kept kept(Simulator::VirtualWall &wall);
/// The places in which two differ.
QString differences(const Kept &a, const Kept &b);

/// Of a wall's log lines, for TestSupport::LogCapture.
constexpr char logCategory[] = "default";

/// A request to each device that changes nothing. False when one is refused.
bool ask(Simulator::VirtualWall &wall);

/// Everything in the devices' folders to which no state.json refers; empty after an open() with a disk that works.
QString leftovers(const QString &directory);

} // namespace DiskWork

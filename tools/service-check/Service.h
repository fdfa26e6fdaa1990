#pragma once

#include <QtCore/QString>

/// The device service that this program is linked with. One source file defines it: VirtualService.cpp for the virtual
/// wall, DeviceService.cpp for any other.
namespace ServiceCheck {
namespace Service {

/// "virtual wall" or "device service".
QString name();
/// Whether there are walls to choose from.
bool hasWalls();
/// Takes a wall into service: a preset's name, a wall file or a wall directory. Returns what is wrong with it, null if
/// nothing.
QString open(const QString &wall);

} // namespace Service
} // namespace ServiceCheck

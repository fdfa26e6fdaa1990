#pragma once

#include <QtCore/QString>

/// The device service that this program is linked with. One source file defines it: VirtualService.cpp for the virtual
/// wall, DeviceService.cpp for any other.
namespace ServiceCheck {
namespace Service {

/// "virtual wall" or "device service".
QString name();
/// Whether open() and openBackend() have something to choose from.
bool hasChoice();
/// Takes a wall into service: a preset's name, a wall file or a wall directory. Returns what is wrong with it, null if
/// nothing.
QString open(const QString &wall);
/// Takes a backend into service that comes as a plug-in, "FILE" or "FILE:CONFIGURATION". Returns as open().
QString openBackend(const QString &source);
/// Lets go of it.
void close();

} // namespace Service
} // namespace ServiceCheck

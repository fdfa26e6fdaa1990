#pragma once

#include <QtCore/QString>

/// The device service that this program is linked with. One source file defines it: VirtualService.cpp for the virtual
/// wall, DeviceService.cpp for any other.
namespace ServiceCheck {
namespace Service {

/// "virtual wall" or "device service".
QString name();
/// Whether open() and openBackend() are available.
bool hasChoice();
/// Installs a wall: a preset's name, a wall file or a wall directory. Returns the error, null on success.
QString open(const QString &wall);
/// Installs the backend of a plug-in, "FILE" or "FILE:CONFIGURATION". Returns as open().
QString openBackend(const QString &source);
/// Releases it.
void close();

} // namespace Service
} // namespace ServiceCheck

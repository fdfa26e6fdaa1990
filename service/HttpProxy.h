#pragma once

#include <service/ServiceGlobal.h>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

namespace Quorvex {
namespace Communicator {
namespace HttpDevice {

/// One discovered controller device.
struct HttpDeviceInfo {
    QString key;   ///< The device key: first argument of every device-service call.
    QString label; ///< What the discovery's log lines show.
};

/// Device discovery. The host provides the definitions (and runs moc on this header).
class CORRECTION_SERVICE_API HttpProxy : public QObject
{
    Q_OBJECT

public:
    /// The process-wide instance; stays owned by the service.
    static HttpProxy *getInstance();

    /// Starts the search for devices. The argument is always true.
    /// - Last argument: bool: true
    /// - Called by: ScreenManager::init
    void initialize(bool enable);

    /// Lists the devices that are present, in the order in which a refresh visits them. For an empty list the refresh
    /// returns enNoDevice.
    /// - Called by: ScreenManager::refreshScreen
    QList<HttpDeviceInfo> getDeviceList();

Q_SIGNALS:
    /// A device appeared or vanished. Emitted on whatever thread the discovery works on.
    void deviceChanged();
};

} // namespace HttpDevice
} // namespace Communicator
} // namespace Quorvex

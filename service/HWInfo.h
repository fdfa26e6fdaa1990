#pragma once

#include <service/ServiceGlobal.h>

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Device service: the controller devices themselves. The host provides the definitions. The conventions are those of
/// Correctionop.
class CORRECTION_SERVICE_API HWInfo
{
public:
    /// The process-wide instance; stays owned by the service. Fetched again for every call.
    static HWInfo *getInstance();

    /// Reads the name of the device.
    /// - Reply: {"customName" QString (the device's name)}
    /// - Last argument: bool: true in a refresh, false from IScreen::getSubScreenNames
    /// - Called by: ScreenManager::refreshScreen, IScreen::getSubScreenNames
    /// - After false: The refresh reads the reply all the same; getSubScreenNames returns enInvalidParameter.
    bool getHWInfo(const QString &deviceKey, QMap<QString, QVariant> &reply, bool refresh);

    /// Reserves the device for an application.
    /// - Request: {"appids" [QString ("Mirelo" followed by the device key)] (one element)}
    /// - Reply: not read
    /// - Called by: lock of ISubScreen and IScreen
    bool lock(const QString &deviceKey, const QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply);

    /// Releases the device.
    /// - Request: empty
    /// - Called by: unLock of ISubScreen and IScreen
    bool unLock(const QString &deviceKey, const QMap<QString, QVariant> &request);
};

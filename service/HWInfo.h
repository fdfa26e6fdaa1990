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
    /// The process-wide instance; stays owned by the service. Fetched anew for every call.
    static HWInfo *getInstance();

    /// Hardware information; the library reads "customName" (text).
    bool getHWInfo(const QString &deviceKey, QMap<QString, QVariant> &reply, bool refresh);
    /// Reserves the device for the application named in the list "appids".
    bool lock(const QString &deviceKey, const QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply);
    bool unLock(const QString &deviceKey, const QMap<QString, QVariant> &request);
};

#pragma once

#include <service/ServiceGlobal.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Device service: settings and descriptions of cabinets. The host provides the definitions. The conventions (arguments,
/// blocking, false on a timeout or a refusal) are those of Correctionop.
class CORRECTION_SERVICE_API CabinetInfoOperator
{
public:
    /// The process-wide instance; stays owned by the service. Fetched anew for every call.
    static CabinetInfoOperator *getInstance();

    bool setCabSingleBrightness(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &request,
                                QMap<QString, QVariant> &reply);
    bool setCabinetFlag(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &request,
                        QMap<QString, QVariant> &reply);

    /// Reply: "brightness.min", "brightness.max", "brightness.default" (unsigned).
    bool getCabinetBrightnessRange(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &reply);
    /// Reply: "redGamma", "greenGamma", "blueGamma", each a `QList<int>`.
    bool getCabinetGammaCustomValue(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &reply);
    /// Reply: "config", the file's bytes as base64 text.
    bool getConfigFile(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &reply);

    bool setCabinetGammaCustomValue(const QString &deviceKey, const QString &cabinetId,
                                    const QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply);
    bool setSingleConfigFile(const QString &deviceKey, const QString &cabinetId, const QMap<QString, QVariant> &request,
                             QMap<QString, QVariant> &reply);

    bool setCabinetSnflags(const QString &deviceKey, const QList<QVariant> &request, QMap<QString, QVariant> &reply);
    bool setModuleflags(const QString &deviceKey, const QList<QVariant> &request, QMap<QString, QVariant> &reply);

    /// Module flash. The request names the cabinet under "cids" and passes "type"; `allowance` is how long the device may
    /// take, in the service's own time unit.
    bool clearModuleCoefficient(const QString &deviceKey, QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply,
                                int allowance);
    bool saveModuleCoefficient(const QString &deviceKey, QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply,
                               int allowance);
    bool reloadModuleCoefficient(const QString &deviceKey, QMap<QString, QVariant> &request, QMap<QString, QVariant> &reply,
                                 int allowance);

    /// Feature switches: one map for each cabinet kind, its switches in the map "functionTable".
    bool getCabinetsBaseInfo(const QString &deviceKey, QList<QVariant> &reply);
    /// Every cabinet that the device drives: maps with "id" and "outputID" (texts). Ids are unique over all devices.
    bool getAllCabinetsInfo(const QString &deviceKey, QList<QVariant> &reply, bool refresh);
    /// Flags of cabinets ("id", "flag"), of their receiving cards (list "recvcardflags") and of the cards' modules (list
    /// "moduleflags"), the latter two with "x", "y", "width", "height" in pixels.
    bool getCabAllFlags(const QString &deviceKey, QList<QVariant> &reply);
};

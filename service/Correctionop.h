#pragma once

#include <service/Promise.h>
#include <service/ServiceGlobal.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Device service: correction data of cabinets (coefficients, effect mode, x-bit, ABL, multilayer parameters, flash check
/// codes). The host provides the definitions; this header only declares what the library calls.
///
/// Every operation blocks the caller until the device has answered and returns true, or returns false when the device did
/// not answer in time or refused. `deviceKey` names one controller device, `cabinetId` is a decimal number held as text.
/// `reply` is an out-parameter that the caller passes in empty; after false its content is not looked at.
class CORRECTION_SERVICE_API Correctionop
{
public:
    /// The process-wide instance; stays owned by the service. Fetched anew for every call.
    static Correctionop *getInstance();

    /// Reads a cabinet's coefficients: one map for each block of pixels with the flat keys "area.point.x", "area.point.y",
    /// "area.size.width", "area.size.height" (int, pixels, cabinet frame) and "coefficients" (base64 text).
    bool loadCoefficient(const QString &deviceKey, const QString &cabinetId, QList<QVariant> &reply);
    bool loadMultilayerCoefficient(const QString &deviceKey, const QString &cabinetId, QList<QVariant> &reply);

    /// Uploads one block to a cabinet. The request holds one map: "area" with "size" ("height", "width") and "point"
    /// ("x", "y"), and "coefficients" (base64 text).
    bool uploadCoefficient(const QString &deviceKey, const QString &cabinetId, const QList<QVariant> &request,
                           QMap<QString, QVariant> &reply);
    bool uploadMultilayerCoefficient(const QString &deviceKey, const QString &cabinetId, const QList<QVariant> &request,
                                     QMap<QString, QVariant> &reply);
    bool uploadLowgrayCoefficient(const QString &deviceKey, const QString &cabinetId, const QList<QVariant> &request,
                                  QMap<QString, QVariant> &reply);

    /// Uploads blocks for many cabinets of one device: one map for each cabinet with "cid" (signed 64-bit) and
    /// "coefficientList" (a list of one map: "area" as above, "coefficient" base64 text). The promise is fulfilled with
    /// true when the device took everything; it may settle on any thread.
    QtPromise::QPromise<bool> uploadCoefficientAsync(const QString &deviceKey, const QList<QVariant> &request);
    QtPromise::QPromise<bool> uploadMultilayerCoefficientAsync(const QString &deviceKey, const QList<QVariant> &request);
    QtPromise::QPromise<bool> uploadLowGrayCoefficientAsync(const QString &deviceKey, const QList<QVariant> &request);

    /// Operations on many cabinets of one device; the request names them in a list under "cids" ("idList" for
    /// setMutiCabinetSolid), as texts from single cabinets' saves and from groups, as signed 64-bit integers otherwise.
    bool saveCabinetsCoeffcient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                QMap<QString, QVariant> &reply);
    bool saveCabinetsMultilayerCoeffcient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                          QMap<QString, QVariant> &reply);
    bool saveCabinetsLowgrayCoeffcient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                       QMap<QString, QVariant> &reply);
    bool applyCabinetsLowgrayCoeffcient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                        QMap<QString, QVariant> &reply);
    bool clearCabinetsUserCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                      QMap<QString, QVariant> &reply);
    bool clearCabinetsMultilayerCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                            QMap<QString, QVariant> &reply);
    bool clearCabinetsLowgrayCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                         QMap<QString, QVariant> &reply);
    bool saveCabinetsFactoryCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                        QMap<QString, QVariant> &reply);
    bool showCabinetsCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                 QMap<QString, QVariant> &reply);
    bool showCabinetsFactoryCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                        QMap<QString, QVariant> &reply);
    bool showCabinetsModuleCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                       QMap<QString, QVariant> &reply);
    bool saveCabinetsModuleCoefficient(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                       QMap<QString, QVariant> &reply);
    bool setCabinetsMultilayerParameter(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                        QMap<QString, QVariant> &reply);
    bool setCabinetsMultilayerParameterV2(const QString &deviceKey, const QMap<QString, QVariant> &request,
                                          QMap<QString, QVariant> &reply);
    bool setMutiCabinetSolid(const QString &deviceKey, const QMap<QString, QVariant> &request,
                             QMap<QString, QVariant> &reply);

    /// Settings of the whole device; `screen` is the service's own screen selector.
    bool setScreenABLEnable(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request,
                            QMap<QString, QVariant> &reply);
    bool setScreenXBit(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request,
                       QMap<QString, QVariant> &reply);
    bool setScreenEffectMode(const QString &deviceKey, const QString &screen, const QMap<QString, QVariant> &request,
                             QMap<QString, QVariant> &reply);

    /// Correction effect mode of one cabinet: written under "type", read under "mode" (int).
    bool setCabinetEffectMode(const QString &deviceKey, const QString &cabinetId, const QMap<QString, QVariant> &request,
                              QMap<QString, QVariant> &reply);
    bool getCabinetEffectMode(const QString &deviceKey, const QString &cabinetId, QMap<QString, QVariant> &reply);

    /// Flash check codes: one map for each receiving card with "rvcardId", "outputId" and "flashCheckResults", a list of
    /// one map for each module ("size.w", "size.h", "point.x", "point.y", "checkCode"; 0 is good).
    bool getFlashCheckCode(const QString &deviceKey, const QString &cabinetId, const QMap<QString, QVariant> &request,
                           QList<QVariant> &reply);
};

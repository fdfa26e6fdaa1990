#include <Correction/CabinetsV4.h>

#include "cabinet/DeviceCall.h"
#include "model/Logging.h"

namespace Correction {
namespace {

/// The call of a per-device function; `operation` is its name in the log.
EnumErrorCode callGroup(const char *operation, StoreOperation store, const char *message, const QString &deviceKey,
                        const QVariantList &ids)
{
    const auto onFailure = [=] { qCCritical(lcCorrection) << operation << message; };
    return callDevice(onFailure, store, deviceKey, variantMap({{QStringLiteral("cids"), ids}}), IgnoredReply());
}

} // namespace

CabinetsV4::CabinetsV4(QList<ICabinet *> &cabinets) : m_cabinets(cabinets) {}

CabinetsV4::~CabinetsV4() = default;

bool CabinetsV4::toDeviceCabinetsMap(QMap<QString, QList<ICabinet *>> &devices)
{
    for (ICabinet *cabinet : qAsConst(m_cabinets)) {
        if (!cabinet) {
            qCCritical(lcCorrection) << "Correction::CabinetsV4::toDeviceCabinetsMap"
                                     << "nullptr == it";
            return false;
        }
        devices[cabinet->getDeviceKey()].append(cabinet);
    }
    return true;
}

EnumErrorCode CabinetsV4::send(PerDevice perDevice)
{
    QMap<QString, QList<ICabinet *>> devices;
    if (!toDeviceCabinetsMap(devices)) {
        qCCritical(lcCorrection) << "Correction::CabinetsV4::send"
                                 << "cannot convert to cabinet map!";
        return enInvalidParameter;
    }
    for (auto device = devices.cbegin(); device != devices.cend(); ++device) {
        QVariantList ids;
        for (ICabinet *cab : device.value()) {
            if (nullptr == cab) {
                qCCritical(lcCorrection) << "Correction::CabinetsV4::send"
                                         << "nullptr == cab";
                return enInvalidParameter;
            }
            ids.append(cab->getID());
        }
        const EnumErrorCode code = perDevice(device.key(), ids);
        if (code != enSuccess)
            return code;
    }
    return enSuccess;
}

// The messages of some rows name another operation: hosts rely on it.

EnumErrorCode CabinetsV4::clearUserCoefficient()
{
    return send([](const QString &deviceKey, QVariantList &ids) {
        return callGroup("Correction::CabinetsV4::clearUserCoefficient", &Correctionop::clearCabinetsUserCoefficient,
                         "save cabinets coefficient timeout!", deviceKey, ids);
    });
}

EnumErrorCode CabinetsV4::saveUserCoefficient()
{
    return send([](const QString &deviceKey, QVariantList &ids) {
        return callGroup("Correction::CabinetsV4::saveUserCoefficient", &Correctionop::saveCabinetsCoeffcient,
                         "save cabinets coefficient timeout!", deviceKey, ids);
    });
}

EnumErrorCode CabinetsV4::saveFactoryCoefficient()
{
    return send([](const QString &deviceKey, QVariantList &ids) {
        return callGroup("Correction::CabinetsV4::saveFactoryCoefficient", &Correctionop::saveCabinetsFactoryCoefficient,
                         "save cabinets factory coefficient timeout!", deviceKey, ids);
    });
}

EnumErrorCode CabinetsV4::showUserCoefficient()
{
    return send([](const QString &deviceKey, QVariantList &ids) {
        return callGroup("Correction::CabinetsV4::showUserCoefficient", &Correctionop::showCabinetsCoefficient,
                         "show cabinets user coefficient timeout!", deviceKey, ids);
    });
}

EnumErrorCode CabinetsV4::showFactoryCoefficient()
{
    return send([](const QString &deviceKey, QVariantList &ids) {
        return callGroup("Correction::CabinetsV4::showFactoryCoefficient", &Correctionop::showCabinetsFactoryCoefficient,
                         "show cabinets user coefficient timeout!", deviceKey, ids);
    });
}

EnumErrorCode CabinetsV4::setAvgCoefficient(const QList<ICabinetCoefficient> &)
{
    return enSuccess;
}

EnumErrorCode CabinetsV4::getAvgCoeffcient(QList<ICabinetCoefficient> &)
{
    return enSuccess;
}

EnumErrorCode CabinetsV4::showModuleCoefficient()
{
    return send([](const QString &deviceKey, QVariantList &ids) {
        return callGroup("Correction::CabinetsV4::showModuleCoefficient", &Correctionop::showCabinetsModuleCoefficient,
                         "show module user coefficient timeout!", deviceKey, ids);
    });
}

EnumErrorCode CabinetsV4::saveModuleCoefficient()
{
    return send([](const QString &deviceKey, QVariantList &ids) {
        return callGroup("Correction::CabinetsV4::saveModuleCoefficient", &Correctionop::saveCabinetsModuleCoefficient,
                         "show module user coefficient timeout!", deviceKey, ids);
    });
}

EnumErrorCode CabinetsV4::setMutiCabinetSolid()
{
    return enSuccess;
}

} // namespace Correction

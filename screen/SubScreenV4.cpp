#include <Correction/SubScreenV4.h>

#include "cabinet/DeviceCall.h"
#include "model/FeatureTable.h"
#include "model/Logging.h"
#include "screen/SubScreenCabinets.h"

#include <service/CabinetInfoOperator.h>
#include <service/HWInfo.h>
#include <service/ScreenInfo.h>

#include <algorithm>
#include <new>

namespace Correction {
namespace {

/// The service's selector for all cabinets of a device, and the one under which it keeps their gamma tables.
const QString wholeDevice = QStringLiteral("255");
const QString gammaSelector = QStringLiteral("0");

/// The application that a lock is held for, followed by the device key.
const QLatin1String applicationId("Mirelo");

/// The ids as numbers; one that is not a number becomes 0.
QVariantList numericIds(const QMap<QString, QString> &cabinets)
{
    QVariantList ids;
    ids.reserve(cabinets.size());
    for (auto entry = cabinets.cbegin(); entry != cabinets.cend(); ++entry)
        ids.append(entry.key().toLongLong());
    return ids;
}

constexpr StoreRow saveRows[] = {
    {enSaveCommonCoefficient, &Correctionop::saveCabinetsCoeffcient, "saveCabinetsCoeffcient timeout. device:%1"},
    {enSaveMultilayerCoefficient, &Correctionop::saveCabinetsMultilayerCoeffcient,
     "saveCabinetsMultilayerCoeffcient timeout. device:%1"},
    {enSaveLowgrayCoefficient, &Correctionop::saveCabinetsLowgrayCoeffcient,
     "saveCabinetsLowgrayCoeffcient timeout. device:%1"},
};

constexpr StoreRow applyRows[] = {
    {enLowgrayCoefficient, &Correctionop::applyCabinetsLowgrayCoeffcient,
     "applyCabinetsLowgrayCoeffcient timeout. device:%1"},
};

constexpr StoreRow clearRows[] = {
    {enCommonCoefficient, &Correctionop::clearCabinetsUserCoefficient, "clearCabinetsCoeffcient timeout. device:%1"},
    {enMultilayerCoefficient, &Correctionop::clearCabinetsMultilayerCoefficient,
     "clearCabinetsMultilayerCoeffcient timeout. device:%1"},
    {enLowgrayCoefficient, &Correctionop::clearCabinetsLowgrayCoefficient,
     "clearCabinetsLowgrayCoefficient timeout. device:%1"},
};

bool (ScreenInfo::*const queryCheckerboard)(const QString &, const QVariantMap &, QVariantMap &,
                                            QMap<QString, QString> &) = &ScreenInfo::setCheckerBoardImage;

/// Ends a walk at the first cabinet that returns enSuccess.
bool answered(EnumErrorCode code)
{
    return code == enSuccess;
}

} // namespace

// The interface's vtable is emitted here.
ISubScreen::ISubScreen() = default;
ISubScreen::~ISubScreen() = default;

SubScreenV4::SubScreenV4(const QString &deviceKey) : m_deviceKey(deviceKey) {}

SubScreenV4::~SubScreenV4()
{
    try {
        qCDebug(lcCorrection) << "SubScreenV4";
    } catch (const std::bad_alloc &) {
        // A log line that cannot be written must not end the process.
    }
}

bool SubScreenV4::addCabinet(QString cabinetId, QString cabinetFlag)
{
    const auto place = qAsConst(m_cabinets).lowerBound(cabinetId);
    if (place != m_cabinets.cend() && place.key() == cabinetId)
        return false;
    m_cabinets.insert(place, cabinetId, cabinetFlag);
    return true;
}

bool SubScreenV4::removeCabinet(const QString &cabinetId)
{
    return m_cabinets.remove(cabinetId) > 0;
}

void SubScreenV4::removeCabinets()
{
    m_cabinets.clear();
}

EnumErrorCode SubScreenV4::tryGetRect(QRect &rect)
{
    return forEachDescription(m_cabinets, m_deviceKey, [&rect](const QString &, ICabinet &, const CabinetInfo &info) {
        rect = rect.united(info.rect);
        return enSuccess;
    });
}

EnumErrorCode SubScreenV4::tryGetAllCabinetInfoList(QList<CabinetInfo> &list)
{
    return forEachCabinet(m_cabinets, m_deviceKey, [&list](const QString &id, ICabinet &cabinet) {
        CabinetInfo info;
        const EnumErrorCode code = cabinet.GetCabinetInfo(info);
        if (code != enSuccess)
            logFailure("Cabinet info is empty. id:%1", id);
        else
            list.append(info);
        return code;
    });
}

EnumErrorCode SubScreenV4::getBrightnessRange(BrightnessRange &range)
{
    return walkCabinets(
        m_cabinets, m_deviceKey, enTimeout,
        [&range](const QString &, ICabinet &cabinet) { return cabinet.getBrightnessRange(range); }, answered);
}

EnumErrorCode SubScreenV4::tryGetEffectMode(EnumEffectMode &mode)
{
    return walkCabinets(
        m_cabinets, m_deviceKey, enTimeout,
        [&mode](const QString &, ICabinet &cabinet) { return cabinet.tryGetEffectMode(mode); }, answered);
}

EnumErrorCode SubScreenV4::setABLEnable(bool enable)
{
    return callDevice(FailureLine{"setABLEnable timeout. device:%1", m_deviceKey}, &Correctionop::setScreenABLEnable,
                      m_deviceKey, wholeDevice, variantMap({{QStringLiteral("enable"), enable}}), IgnoredReply());
}

EnumErrorCode SubScreenV4::setXBit(EnumXBitMode mode, bool enable)
{
    return callDevice(FailureLine{"setXBit timeout. device:%1", m_deviceKey}, &Correctionop::setScreenXBit, m_deviceKey,
                      wholeDevice, variantMap({{QStringLiteral("mode"), int(mode)}, {QStringLiteral("xbitEnable"), enable}}),
                      IgnoredReply());
}

EnumErrorCode SubScreenV4::lock()
{
    const QVariantList applications{QString(applicationId + m_deviceKey)};
    return callDevice(FailureLine{"lock timeout. device:%1", m_deviceKey}, &HWInfo::lock, m_deviceKey,
                      variantMap({{QStringLiteral("appids"), applications}}), IgnoredReply());
}

EnumErrorCode SubScreenV4::unLock()
{
    return callDevice(FailureLine{"unlock timeout. device:%1", m_deviceKey}, &HWInfo::unLock, m_deviceKey, QVariantMap());
}

// Effect mode and gamma tables log the brightness message: hosts rely on it.

EnumErrorCode SubScreenV4::setEffectMode(EnumEffectMode mode)
{
    return callDevice(FailureLine{"setBrightness timeout. device:%1", m_deviceKey}, &Correctionop::setScreenEffectMode,
                      m_deviceKey, wholeDevice, variantMap({{QStringLiteral("mode"), int(mode)}}), IgnoredReply());
}

EnumErrorCode SubScreenV4::setBrightness(int brightness)
{
    return callDevice(FailureLine{"setBrightness timeout. device:%1", m_deviceKey}, &ScreenInfo::setBrightness, m_deviceKey,
                      wholeDevice, variantMap({{QStringLiteral("brightness"), brightness}}));
}

EnumErrorCode SubScreenV4::setGammaTable(const QMap<EnumGammaType, QList<int>> &table)
{
    // Only the table of the highest channel is sent: hosts rely on it.
    QVariantMap request;
    if (!table.isEmpty()) {
        request.insert(QStringLiteral("type"), int(table.lastKey()));
        request.insert(QStringLiteral("gammaTable"), QVariant::fromValue(table.last()));
    }
    return callDevice(FailureLine{"setBrightness timeout. device:%1", m_deviceKey}, &ScreenInfo::setGammaTable, m_deviceKey,
                      wholeDevice, request);
}

EnumErrorCode SubScreenV4::getGammaTable(QMap<EnumGammaType, QList<int>> &table)
{
    QVariantMap reply;
    const EnumErrorCode code = callDevice(FailureLine{"getGammaTable timeout. device:%1", m_deviceKey},
                                          &ScreenInfo::getGammaAllList, m_deviceKey, gammaSelector, reply);
    if (code != enSuccess)
        return code;
    auto filled = unsharedCopy(table);
    const auto read = [&](EnumGammaType channel, const QString &key) {
        QList<int> curve;
        const QVariantList values = reply.value(key).toList();
        curve.reserve(values.size());
        for (const QVariant &value : values)
            curve.append(value.toInt());
        filled.insert(channel, curve);
    };
    read(enRedGamma, QStringLiteral("redGamma"));
    read(enGreenGamma, QStringLiteral("greenGamma"));
    read(enBlueGamma, QStringLiteral("blueGamma"));
    table.swap(filled);
    return enSuccess;
}

EnumErrorCode SubScreenV4::setMultilayerParameter(const MultilayerParam &param)
{
    const QVariantMap values = variantMap({
        {QStringLiteral("inLayer1"), param.inLayer1},
        {QStringLiteral("inLayer2"), param.inLayer2},
        {QStringLiteral("inLayer3"), param.inLayer3},
        {QStringLiteral("inLayer4"), param.inLayer4},
        {QStringLiteral("inVldBitLayer01"), int(param.inVldBitLayer01)},
        {QStringLiteral("inVldBitLayer12"), int(param.inVldBitLayer12)},
        {QStringLiteral("inVldBitLayer23"), int(param.inVldBitLayer23)},
        {QStringLiteral("inVldBitLayer34"), int(param.inVldBitLayer34)},
    });
    return callDevice(FailureLine{"setCabinetsMultilayerParameter timeout. device:%1", m_deviceKey},
                      &Correctionop::setCabinetsMultilayerParameter, m_deviceKey,
                      variantMap({{QStringLiteral("cids"), numericIds(m_cabinets)}, {QStringLiteral("param"), values}}),
                      IgnoredReply());
}

EnumErrorCode SubScreenV4::setMultilayerParameterV2(const MultilayerParamV2 &param)
{
    if (param.params.isEmpty()) {
        qCCritical(lcCorrection) << "calll setMultilayerParameterV2 param.length() <=0 ";
        return enArgumentMismatch;
    }
    QVariantList layers;
    layers.reserve(param.params.size());
    for (const MultilayerParamInfo &layer : param.params) {
        layers.append(variantMap(
            {{QStringLiteral("inLayer"), layer.inLayer}, {QStringLiteral("inVldBitLayer"), int(layer.inVldBitLayer)}}));
    }
    return callDevice(
        FailureLine{"setCabinetsMultilayerParameterV2 timeout. device:%1", m_deviceKey},
        &Correctionop::setCabinetsMultilayerParameterV2, m_deviceKey,
        variantMap({{QStringLiteral("cids"), numericIds(m_cabinets)}, {QStringLiteral("multilayerParams"), layers}}),
        IgnoredReply());
}

EnumErrorCode SubScreenV4::setMutiCabinetSolid(EnumSaveType type)
{
    return callDevice(FailureLine{"setMutiCabinetSolid timeout. device:%1", m_deviceKey}, &Correctionop::setMutiCabinetSolid,
                      m_deviceKey,
                      variantMap({{QStringLiteral("idList"), numericIds(m_cabinets)},
                                  {QStringLiteral("type"), QVariant::fromValue(type)}}),
                      IgnoredReply());
}

EnumErrorCode SubScreenV4::saveParameter(EnumSaveType type)
{
    return callStore(saveRows, type, m_deviceKey, numericIds(m_cabinets), m_deviceKey);
}

EnumErrorCode SubScreenV4::applyCoeffcient(EnumCoefficientType type)
{
    return callStore(applyRows, type, m_deviceKey, numericIds(m_cabinets), m_deviceKey);
}

EnumErrorCode SubScreenV4::clearCoefficient(EnumCoefficientType type)
{
    const EnumErrorCode code = callStore(clearRows, type, m_deviceKey, numericIds(m_cabinets), m_deviceKey);
    // A failure is logged and not returned: hosts rely on it.
    return type == enMultilayerCoefficient ? enSuccess : code;
}

EnumErrorCode SubScreenV4::isCheckerboardlImage()
{
    QVariantMap reply;
    QMap<QString, QString> responseHeader;
    if (callDevice(Quietly(), queryCheckerboard, m_deviceKey, QVariantMap(), reply, responseHeader) != enSuccess) {
        qCCritical(lcCorrection) << "call isCheckerboardlImage() fail. timeout. device :" << m_deviceKey
                                 << " responseHeader: " << LoggedReply{responseHeader} << "result :" << LoggedReply{reply}
                                 << "\n";
        if (responseHeader.value(QStringLiteral("HttpResponse_StateCode")) == QLatin1String("404"))
            return enNotSupported;
    }
    if (responseHeader.size() > 1)
        return enSuccess;
    qCCritical(lcCorrection) << "call isCheckerboardlImage() timout. m_deviceKey: " << m_deviceKey
                             << " responseHeader: " << LoggedReply{responseHeader} << "\n";
    return enTimeout;
}

EnumErrorCode SubScreenV4::getScreenSupport(QVector<CabinetBaseInfo> &list)
{
    QVariantList reply;
    const EnumErrorCode code = callDevice(FailureLine{"call getScreenSupport() fail. timeout. device:%1", m_deviceKey},
                                          &CabinetInfoOperator::getCabinetsBaseInfo, m_deviceKey, reply);
    if (code != enSuccess)
        return code;
    QVector<CabinetBaseInfo> infos(reply.size());
    std::transform(reply.cbegin(), reply.cend(), infos.begin(), featuresOf);
    list.append(infos);
    return enSuccess;
}

} // namespace Correction

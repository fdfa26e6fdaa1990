#include <Correction/CabinetV4.h>

#include <Correction/RequestParser.h>

#include "cabinet/DeviceCall.h"
#include "model/Arithmetic.h"
#include "model/Codec.h"
#include "model/Logging.h"

#include <service/CabinetInfoOperator.h>

#include <QtCore/QFile>

#include <algorithm>
#include <cmath>

namespace Correction {
namespace {

QVariantList onlyId(const QVariant &id)
{
    QVariantList ids;
    ids.append(id);
    return ids;
}

constexpr StoreRow saveRows[] = {
    {enSaveCommonCoefficient, &Correctionop::saveCabinetsCoeffcient, "saveParameter enCommonCoefficient timeout. cid:%1"},
    {enSaveMultilayerCoefficient, &Correctionop::saveCabinetsMultilayerCoeffcient,
     "saveParameter enCommonCoefficient timeout. cid:%1"}, // the chroma message, for both kinds
    {enSaveLowgrayCoefficient, &Correctionop::saveCabinetsLowgrayCoeffcient,
     "saveParameter enLowgrayCoefficient timeout. cid:%1"},
};

constexpr StoreRow applyRows[] = {
    {enLowgrayCoefficient, &Correctionop::applyCabinetsLowgrayCoeffcient,
     "saveParameter enLowgrayCoefficient timeout. cid:%1"}, // the message of the save, also for applying
};

// How long a device may take for its module flash, in the service's time unit. The products are 32-bit and wrap.

/// `type` 3 triples the allowance.
int allowanceForType(int allowance, int type)
{
    return type == 3 ? wrapMul(allowance, 3) : allowance;
}

int bytesOf(int bytesPerPixel, const QSize &size)
{
    return wrapMul(wrapMul(bytesPerPixel, size.width()), size.height());
}

int clearAllowance(const QSize &card)
{
    const int bytes = bytesOf(2, card);
    const int sectors = static_cast<int>(std::ceil(bytes / 32768.0));
    const int pages = static_cast<int>(std::ceil(bytes / 128.0));
    return wrapAdd(wrapMul(sectors, 1500), wrapMul(pages, 10));
}

int reloadAllowance(const QSize &card)
{
    const double pages = std::ceil(bytesOf(16, card) / 128.0);
    return static_cast<int>(pages * 1.5) + 100;
}

/// Unlike the clearing one this counts whole sectors only.
int saveAllowance(const FlashCheckInfo &module, int modules)
{
    const int bytes = bytesOf(16, module.size);
    const int sectors = bytes / 32768;
    const double pages = std::ceil(bytes / 128.0);
    return wrapMul(static_cast<int>(sectors * 2000 + pages * 3.7), modules);
}

QSize sizeOf(const QRect &rect)
{
    return QSize(widthOf(rect), heightOf(rect));
}

const RvCardInfo *firstCard(const CabinetInfo &cabinet)
{
    return cabinet.rvCardList.isEmpty() ? nullptr : cabinet.rvCardList.constFirst();
}

/// The differences between the three module flash operations. The check's messages are null for an operation without a
/// check.
struct ModuleFlashRow {
    const char *label;
    bool (CabinetInfoOperator::*operation)(const QString &, QVariantMap &, QVariantMap &, int);
    const char *failure;
    const char *checkFailure;
    const char *noCards;
    const char *noModules;
};

constexpr ModuleFlashRow clearRow{"clearModuleCoefficient ",
                                  &CabinetInfoOperator::clearModuleCoefficient,
                                  "call clearModuleCoefficient() fail. timeout. device:%1",
                                  nullptr,
                                  nullptr,
                                  nullptr};

constexpr ModuleFlashRow reloadRow{"reloadModuleCoefficient ",
                                   &CabinetInfoOperator::reloadModuleCoefficient,
                                   "call reloadModuleCoefficient() fail. timeout. device:%1",
                                   "call reloadModuleCoefficient.getFlashCheckInfo() fail. timeout. device:%1",
                                   "call reloadModuleCoefficient.getFlashCheckInfo().lenth == 0  fail device:%1",
                                   "call reloadModuleCoefficient.getFlashCheckInfo().flashList.lenth == 0  fail device:%1"};

constexpr ModuleFlashRow saveRow{"saveModuleCoefficient ",
                                 &CabinetInfoOperator::saveModuleCoefficient,
                                 "call saveModuleCoefficient() fail. timeout. device:%1",
                                 "call saveModuleCoefficient.getFlashCheckInfo() fail. timeout. device:%1",
                                 "call saveModuleCoefficient.getFlashCheckInfo().lenth == 0  fail device:%1",
                                 "call saveModuleCoefficient.getFlashCheckInfo().flashList.lenth == 0  fail device:%1"};

/// Checks that the flash check lists a card, and its first card a module. Their check codes are not evaluated here.
EnumErrorCode checkModuleFlash(const ModuleFlashRow &row, ICabinet &cabinet, const QString &deviceKey,
                               QList<RxCardFlashCheckInfo> &cards)
{
    const EnumErrorCode code = cabinet.getFlashCheckInfo(cards);
    if (code != enSuccess) {
        logFailure(row.checkFailure, deviceKey);
        return code;
    }
    if (cards.isEmpty()) {
        logFailure(row.noCards, deviceKey);
        return enNotSupported;
    }
    if (cards.constFirst().flashList.isEmpty()) {
        logFailure(row.noModules, deviceKey);
        return enNotSupported;
    }
    return enSuccess;
}

EnumErrorCode callModuleFlash(const ModuleFlashRow &row, const CabinetInfo &cabinet, int type, int allowance)
{
    QVariantMap request =
        variantMap({{QStringLiteral("cids"), onlyId(cabinet.id.toULongLong())}, {QStringLiteral("type"), type}});
    QVariantMap reply;
    const EnumErrorCode code = callDevice(FailureLine{row.failure, cabinet.deviceKey}, row.operation, cabinet.deviceKey,
                                          request, reply, allowanceForType(allowance, type));
    if (code == enSuccess)
        qCDebug(lcCorrection) << row.label << "deviceKey:" << cabinet.deviceKey << " res :" << LoggedReply{reply};
    return code;
}

} // namespace

CabinetV4::CabinetV4(CabinetInfo *cabinet) : m_pCabinet(cabinet) {}

CabinetV4::~CabinetV4()
{
    delete m_pCabinet;
    m_pCabinet = nullptr;
}

EnumErrorCode CabinetV4::GetCabinetInfo(CabinetInfo &info)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    info = *m_pCabinet;
    return enSuccess;
}

EnumErrorCode CabinetV4::tryGetCoefficients(ICoefficient &coefficient)
{
    if (!m_pCabinet) {
        qCCritical(lcCorrection) << "nullptr == m_pCabinet \n";
        return enInvalidParameter;
    }
    bool (Correctionop::*load)(const QString &, const QString &, QVariantList &) = nullptr;
    EnumErrorCode (*parse)(QRect, QVariantList &, ICoefficient &) = nullptr;
    switch (coefficient.getType()) {
    case enCommonCoefficient:
        load = &Correctionop::loadCoefficient;
        parse = &RequestParser::toCabinetChromaCoefficient;
        break;
    case enMultilayerCoefficient:
        load = &Correctionop::loadMultilayerCoefficient;
        parse = &RequestParser::toCabinetMultilayerCoefficient;
        break;
    case enLowgrayCoefficient:
    default:
        return enNotSupported;
    }
    QVariantList reply;
    const EnumErrorCode code = callDevice(Quietly(), load, m_pCabinet->deviceKey, m_pCabinet->id, reply);
    return code == enSuccess ? parse(m_pCabinet->rect, reply, coefficient) : code;
}

EnumErrorCode CabinetV4::setCoefficients(const QPoint &position, ICoefficient &coefficient)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    if (qint64(position.x()) + coefficient.getPixelCol() > widthOf(m_pCabinet->rect)
        || qint64(position.y()) + coefficient.getPixelRow() > heightOf(m_pCabinet->rect))
        return enArgumentMismatch;

    const QVariantMap size = variantMap(
        {{QStringLiteral("height"), coefficient.getPixelRow()}, {QStringLiteral("width"), coefficient.getPixelCol()}});
    const QVariantMap point = variantMap({{QStringLiteral("x"), position.x()}, {QStringLiteral("y"), position.y()}});
    QString text;
    if (!Codec::tryEncode(coefficient, text))
        return enInvalidParameter;
    const QVariantMap block =
        variantMap({{QStringLiteral("area"), variantMap({{QStringLiteral("size"), size}, {QStringLiteral("point"), point}})},
                    {QStringLiteral("coefficients"), text}});
    const QVariantList request{block};
    qCDebug(lcCorrection) << "Correction::CabinetV4::setCoefficients"
                          << "deviceKey:" << m_pCabinet->deviceKey;

    bool (Correctionop::*upload)(const QString &, const QString &, const QVariantList &, QVariantMap &) = nullptr;
    switch (coefficient.getType()) {
    case enCommonCoefficient:
        upload = &Correctionop::uploadCoefficient;
        break;
    case enMultilayerCoefficient:
        upload = &Correctionop::uploadMultilayerCoefficient;
        break;
    case enLowgrayCoefficient:
        upload = &Correctionop::uploadLowgrayCoefficient;
        break;
    default:
        return enNotSupported;
    }
    return callDevice(Quietly(), upload, m_pCabinet->deviceKey, m_pCabinet->id, request, IgnoredReply());
}

EnumErrorCode CabinetV4::saveParameter(EnumSaveType type)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    return callStore(saveRows, type, m_pCabinet->deviceKey, onlyId(m_pCabinet->id), m_pCabinet->id);
}

EnumErrorCode CabinetV4::applyCoeffcient(EnumCoefficientType type)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    return callStore(applyRows, type, m_pCabinet->deviceKey, onlyId(m_pCabinet->id.toLongLong()), m_pCabinet->id);
}

EnumErrorCode CabinetV4::setEffectMode(EnumEffectMode mode)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    return callDevice(Quietly(), &Correctionop::setCabinetEffectMode, m_pCabinet->deviceKey, m_pCabinet->id,
                      variantMap({{QStringLiteral("type"), int(mode)}}), IgnoredReply());
}

EnumErrorCode CabinetV4::tryGetEffectMode(EnumEffectMode &mode)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QVariantMap reply;
    const EnumErrorCode code =
        callDevice(Quietly(), &Correctionop::getCabinetEffectMode, m_pCabinet->deviceKey, m_pCabinet->id, reply);
    if (code == enSuccess)
        mode = EnumEffectMode(reply.value(QStringLiteral("mode")).toInt());
    return code;
}

EnumErrorCode CabinetV4::setBrightness(int brightness)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QVariantMap request = variantMap({{QStringLiteral("value"), brightness}});
    // The result is not returned: hosts rely on enSuccess.
    callDevice(Quietly(), &CabinetInfoOperator::setCabSingleBrightness, m_pCabinet->deviceKey, m_pCabinet->id, request,
               IgnoredReply());
    return enSuccess;
}

EnumErrorCode CabinetV4::getBrightnessRange(BrightnessRange &range)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QVariantMap reply;
    const EnumErrorCode code =
        callDevice(Quietly(), &CabinetInfoOperator::getCabinetBrightnessRange, m_pCabinet->deviceKey, m_pCabinet->id, reply);
    if (code == enSuccess) {
        range.max = reply.value(QStringLiteral("brightness.max")).toUInt();
        range.min = reply.value(QStringLiteral("brightness.min")).toUInt();
        range.defaultValue = reply.value(QStringLiteral("brightness.default")).toUInt();
    }
    return code;
}

EnumErrorCode CabinetV4::getGammaTable(QMap<EnumGammaType, QList<int>> &table)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QVariantMap reply;
    const EnumErrorCode code = callDevice(Quietly(), &CabinetInfoOperator::getCabinetGammaCustomValue, m_pCabinet->deviceKey,
                                          m_pCabinet->id, reply);
    if (code == enSuccess) {
        // Cabinets number their channels 0 red, 1 blue, 2 green.
        auto filled = unsharedCopy(table);
        filled[enRedGamma] = reply.value(QStringLiteral("redGamma")).value<QList<int>>();
        filled[enGreenGamma] = reply.value(QStringLiteral("blueGamma")).value<QList<int>>();
        filled[enBlueGamma] = reply.value(QStringLiteral("greenGamma")).value<QList<int>>();
        table.swap(filled);
    }
    return code;
}

EnumErrorCode CabinetV4::setGammaTable(const QMap<EnumGammaType, QList<int>> &table)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    for (auto channel = table.cbegin(); channel != table.cend(); ++channel) {
        const QVariantMap request = variantMap({{QStringLiteral("type"), int(channel.key())},
                                                {QStringLiteral("gammaTable"), QVariant::fromValue(channel.value())}});
        const EnumErrorCode code = callDevice(Quietly(), &CabinetInfoOperator::setCabinetGammaCustomValue,
                                              m_pCabinet->deviceKey, m_pCabinet->id, request, IgnoredReply());
        if (code != enSuccess)
            return code;
    }
    return enSuccess;
}

EnumErrorCode CabinetV4::getConfigFile(const QString &path)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QVariantMap reply;
    const EnumErrorCode code =
        callDevice(FailureLine{"call getConfigFile() fail. timeout. device:%1", m_pCabinet->deviceKey},
                   &CabinetInfoOperator::getConfigFile, m_pCabinet->deviceKey, m_pCabinet->id, reply);
    if (code != enSuccess)
        return code;
    const QByteArray config = Codec::decodeBytes(reply.value(QStringLiteral("config")).toString());
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::Truncate))
        return enFileError;
    if (file.write(config) != config.size() || !file.flush()) {
        logFailure("cannot write the configuration file %1: %2", path, file.errorString());
        return enFileError;
    }
    return enSuccess;
}

EnumErrorCode CabinetV4::setConfigFile(const QString &path)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return enFileError;
    // Special files may hold more than the size that they report.
    const QByteArray bytes = Codec::fitsBase64(file.size()) ? file.readAll() : QByteArray();
    QString problem;
    if (file.error() != QFileDevice::NoError)
        problem = file.errorString();
    else if (!Codec::fitsBase64(std::max<qint64>(file.size(), bytes.size())))
        problem = QStringLiteral("it is too large for one request");
    else if (bytes.size() < file.size())
        problem = QStringLiteral("it ended early");
    if (!problem.isEmpty()) {
        logFailure("cannot read the configuration file %1: %2", path, problem);
        return enFileError;
    }
    const QVariantMap request = variantMap({{QStringLiteral("idList"), onlyId(m_pCabinet->id.toULongLong())},
                                            {QStringLiteral("config"), Codec::toBase64(bytes)}});
    return callDevice(FailureLine{"call setSingleConfigFile() fail. timeout. device:%1", m_pCabinet->deviceKey},
                      &CabinetInfoOperator::setSingleConfigFile, m_pCabinet->deviceKey, m_pCabinet->id, request,
                      IgnoredReply());
}

EnumErrorCode CabinetV4::setFlag(const QString &flag)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QVariantMap request = variantMap({{QStringLiteral("flag"), flag}});
    const EnumErrorCode code = callDevice(Quietly(), &CabinetInfoOperator::setCabinetFlag, m_pCabinet->deviceKey,
                                          m_pCabinet->id, request, IgnoredReply());
    if (code == enSuccess)
        m_pCabinet->flag = flag;
    return code;
}

EnumErrorCode CabinetV4::getFlag(QString &flag)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    flag = m_pCabinet->flag;
    return enSuccess;
}

EnumErrorCode CabinetV4::setCabinetflags(const QString &flag)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    const QVariantList request{
        variantMap({{QStringLiteral("id"), m_pCabinet->id.toULongLong()}, {QStringLiteral("flag"), flag}})};
    QVariantMap reply;
    const EnumErrorCode code =
        callDevice(FailureLine{"call setCabinetSnflags() fail. timeout. device:%1", m_pCabinet->deviceKey},
                   &CabinetInfoOperator::setCabinetSnflags, m_pCabinet->deviceKey, request, reply);
    if (code == enSuccess)
        qCDebug(lcCorrection) << "setCabinetflags "
                              << "deviceKey:" << m_pCabinet->deviceKey << " res :" << LoggedReply{reply};
    return code;
}

QString CabinetV4::getID()
{
    return m_pCabinet ? m_pCabinet->id : QString();
}

QString CabinetV4::getDeviceKey()
{
    return m_pCabinet ? m_pCabinet->deviceKey : QString();
}

QList<ModuleInfo *> CabinetV4::getCabAllFlags()
{
    return m_pCabinet ? m_pCabinet->moduleList : QList<ModuleInfo *>();
}

EnumErrorCode CabinetV4::getFlashCheckInfo(QList<RxCardFlashCheckInfo> &list)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QVariantList reply;
    const EnumErrorCode code =
        callDevice(FailureLine{"call getFlashCheckCode() fail. timeout. device:%1", m_pCabinet->deviceKey},
                   &Correctionop::getFlashCheckCode, m_pCabinet->deviceKey, m_pCabinet->id, QVariantMap(), reply);
    if (code != enSuccess)
        return code;
    QList<RxCardFlashCheckInfo> cards;
    for (const QVariant &element : qAsConst(reply)) {
        const QVariantMap cardReply = element.toMap();
        RxCardFlashCheckInfo card;
        card.rxcardId = cardReply.value(QStringLiteral("rvcardId")).toInt();
        card.outPutId = cardReply.value(QStringLiteral("outputId")).toInt();
        const QVariantList results = cardReply.value(QStringLiteral("flashCheckResults")).toList();
        for (const QVariant &result : results) {
            const QVariantMap moduleReply = result.toMap();
            FlashCheckInfo module;
            module.size = QSize(moduleReply.value(QStringLiteral("size.w")).toInt(),
                                moduleReply.value(QStringLiteral("size.h")).toInt());
            module.point = QPoint(moduleReply.value(QStringLiteral("point.x")).toInt(),
                                  moduleReply.value(QStringLiteral("point.y")).toInt());
            module.resutlt = moduleReply.value(QStringLiteral("checkCode")).toInt() == 0;
            card.flashList.append(module);
        }
        cards.append(card);
    }
    list.append(cards);
    if (lcCorrection().isDebugEnabled()) {
        for (const RxCardFlashCheckInfo &card : qAsConst(list)) {
            qCDebug(lcCorrection) << "getFlashCheckCode "
                                  << "deviceKey:" << m_pCabinet->deviceKey << " out.outPutId : " << card.outPutId
                                  << "out.rxcardId:" << card.rxcardId;
            for (const FlashCheckInfo &module : card.flashList) {
                qCDebug(lcCorrection) << "getFlashCheckCode.flashList "
                                      << "x: " << module.point.x() << "y: " << module.point.y()
                                      << " checkInfo.resutlt :" << module.resutlt;
            }
        }
    }
    return enSuccess;
}

EnumErrorCode CabinetV4::IsSupportFlash()
{
    if (!m_pCabinet)
        return enInvalidParameter;
    const QString &deviceKey = m_pCabinet->deviceKey;
    QList<RxCardFlashCheckInfo> cards;
    const EnumErrorCode code = getFlashCheckInfo(cards);
    if (code != enSuccess) {
        logFailure("call IsSupportFlash() fail. timeout. device:%1", deviceKey);
        return code;
    }
    if (cards.isEmpty()) {
        logFailure("call IsSupportFlash().lenth == 0  fail device:%1", deviceKey);
        return enNotSupported;
    }
    for (const RxCardFlashCheckInfo &card : qAsConst(cards)) {
        if (card.flashList.isEmpty()) {
            logFailure("call IsSupportFlash().flashList.lenth == 0  fail device:%1", deviceKey);
            return enNotSupported;
        }
        for (const FlashCheckInfo &module : card.flashList) {
            if (!module.resutlt)
                return enNotSupported;
        }
    }
    return enSuccess;
}

EnumErrorCode CabinetV4::setModuleflags(QList<CabinetsModuleFlag> &flags)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    if (flags.isEmpty())
        return enArgumentMismatch;
    QVariantList modules;
    for (const CabinetsModuleFlag &module : qAsConst(flags))
        modules.append(variantMap({{QStringLiteral("id"), module.id}, {QStringLiteral("flag"), module.flag}}));
    const QVariantList request{
        variantMap({{QStringLiteral("id"), m_pCabinet->id.toULongLong()}, {QStringLiteral("moduleflags"), modules}})};
    QVariantMap reply;
    const EnumErrorCode code =
        callDevice(FailureLine{"call setModuleflags() fail. timeout. device:%1", m_pCabinet->deviceKey},
                   &CabinetInfoOperator::setModuleflags, m_pCabinet->deviceKey, request, reply);
    if (code == enSuccess)
        qCDebug(lcCorrection) << "setModuleflags "
                              << "deviceKey:" << m_pCabinet->deviceKey << " res :" << LoggedReply{reply};
    return code;
}

EnumErrorCode CabinetV4::clearModuleCoefficient(int type)
{
    if (!m_pCabinet || !firstCard(*m_pCabinet))
        return enInvalidParameter;
    return callModuleFlash(clearRow, *m_pCabinet, type, clearAllowance(sizeOf(firstCard(*m_pCabinet)->rect)));
}

EnumErrorCode CabinetV4::reloadModuleCoefficient(int type)
{
    if (!m_pCabinet || !firstCard(*m_pCabinet))
        return enInvalidParameter;
    QList<RxCardFlashCheckInfo> cards;
    const EnumErrorCode code = checkModuleFlash(reloadRow, *this, m_pCabinet->deviceKey, cards);
    if (code != enSuccess)
        return code;
    return callModuleFlash(reloadRow, *m_pCabinet, type, reloadAllowance(sizeOf(firstCard(*m_pCabinet)->rect)));
}

EnumErrorCode CabinetV4::saveModuleCoefficient(int type)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QList<RxCardFlashCheckInfo> cards;
    const EnumErrorCode code = checkModuleFlash(saveRow, *this, m_pCabinet->deviceKey, cards);
    if (code != enSuccess)
        return code;
    const QList<FlashCheckInfo> &modules = cards.constFirst().flashList;
    return callModuleFlash(saveRow, *m_pCabinet, type, saveAllowance(modules.constFirst(), modules.size()));
}

EnumErrorCode CabinetV4::getCabinetSupport(CabinetBaseInfo &info)
{
    if (!m_pCabinet)
        return enInvalidParameter;
    QVariantList reply;
    const EnumErrorCode code =
        callDevice(FailureLine{"call getScreenSupport() fail. timeout. device:%1", m_pCabinet->deviceKey},
                   &CabinetInfoOperator::getCabinetsBaseInfo, m_pCabinet->deviceKey, reply);
    if (code != enSuccess)
        return code;
    if (!info.pasrseJson(reply)) {
        logFailure("call getScreenSupport.pasrseJson() fail. device:%1", m_pCabinet->deviceKey);
        return enInvalidParameter;
    }
    return enSuccess;
}

} // namespace Correction

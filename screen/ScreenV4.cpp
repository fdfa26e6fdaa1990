#include <Correction/ScreenV4.h>

#include <Correction/CoefficientFactory.h>
#include <Correction/CoefficientPtr.h>

#include "cabinet/DeviceCall.h"
#include "cabinet/OperationScope.h"
#include "model/Arithmetic.h"
#include "model/Logging.h"
#include "screen/EmptySubScreen.h"

#include <service/HWInfo.h>

namespace Correction {
namespace {

using SubScreens = QMap<QString, ISubScreen *>;

void release(void *subScreen)
{
    delete static_cast<ISubScreen *>(subScreen);
}

/// Saving, applying and filling share this message.
constexpr const char *saveFailure = "Failed to save subscreen parameter. SubScreen key: %1 code: %2 save type: %3";

// Operations visit a shallow copy of the screen's map, which the host may change meanwhile.

/// Setters: one operation on every sub-screen, in key order, until one fails; then calls `onFailure(key, code)`.
template <class Operation, class OnFailure>
EnumErrorCode fanOut(const SubScreens subScreens, Operation operation, OnFailure onFailure,
                     const char *emptyMessage = emptySubScreen)
{
    const OperationScope scope;
    for (auto entry = subScreens.cbegin(); entry != subScreens.cend(); ++entry) {
        if (!entry.value()) {
            logFailure(emptyMessage, entry.key());
            return enInvalidParameter;
        }
        const EnumErrorCode code = operation(*entry.value());
        if (code != enSuccess) {
            onFailure(entry.key(), code);
            return code;
        }
    }
    return enSuccess;
}

/// The usual failure line: `%1` the key, `%2` the code.
struct CodeLine {
    const char *message;

    void operator()(const QString &key, EnumErrorCode code) const { logFailure(message, key, code); }
};

/// The same with the operation's argument as `%3`.
struct CodeAndValueLine {
    const char *message;
    int value;

    void operator()(const QString &key, EnumErrorCode code) const { logFailure(message, key, code, value); }
};

/// Getters: the first sub-screen that returns enSuccess. Without one, logs `message` with the last code and returns
/// enTimeout.
template <class Getter>
EnumErrorCode firstSuccess(const SubScreens subScreens, const char *message, Getter getter)
{
    const OperationScope scope;
    EnumErrorCode code = enTimeout;
    for (auto entry = subScreens.cbegin(); entry != subScreens.cend(); ++entry) {
        if (!entry.value()) {
            logFailure(emptySubScreen, entry.key());
            return enInvalidParameter;
        }
        code = getter(*entry.value());
        if (code == enSuccess)
            return enSuccess;
    }
    logFailure(message, code);
    return enTimeout;
}

bool divides(int divisor, int length, int rest)
{
    return qint64(wrapSub(length, rest)) % divisor == 0; // 64 bits: the least number divided by -1
}

} // namespace

// The interface's vtable is emitted here.
IScreen::IScreen() = default;
IScreen::~IScreen() = default;

ScreenV4::ScreenV4() = default;

ScreenV4::~ScreenV4()
{
    qDeleteAll(m_subScreens);
}

ISubScreen *ScreenV4::tryGetSubScreen(const QString &key)
{
    const auto entry = m_subScreens.constFind(key);
    if (entry == m_subScreens.cend()) {
        logFailure("Cannot find SubScreen. SubScreen key: %1", key);
        return nullptr;
    }
    return entry.value();
}

bool ScreenV4::addSubScreen(const QString &key, ISubScreen *subScreen)
{
    if (m_subScreens.contains(key)) {
        logFailure("Subscreen is already exist. SubScreen key: %1", key);
        return false;
    }
    m_subScreens.insert(key, subScreen);
    return true;
}

bool ScreenV4::removeSubScreen(const QString &key)
{
    const auto entry = m_subScreens.find(key);
    if (entry == m_subScreens.end()) {
        logFailure("Cannot find SubScreen. SubScreen key: %1", key);
        return false;
    }
    RemovedObjects::expect(1);
    RemovedObjects::add(entry.value(), release);
    m_subScreens.erase(entry);
    return true;
}

void ScreenV4::removeSubScreens()
{
    qCDebug(lcCorrection) << "removeSubScreens";
    RemovedObjects::expect(m_subScreens.size());
    for (ISubScreen *const subScreen : qAsConst(m_subScreens))
        RemovedObjects::add(subScreen, release);
    m_subScreens.clear();
}

void ScreenV4::setName(const QString &name)
{
    m_name = name;
}

QString ScreenV4::getName()
{
    return m_name;
}

void ScreenV4::setID(const QString &id)
{
    m_id = id;
}

QString ScreenV4::getID()
{
    return m_id;
}

EnumErrorCode ScreenV4::setABLEnable(bool enable)
{
    return fanOut(
        m_subScreens, [=](ISubScreen &subScreen) { return subScreen.setABLEnable(enable); },
        [=](const QString &key, EnumErrorCode) {
            logFailure("Failed to set subscreen abl enable. SubScreen key: %1 enable: %2", key, enable);
        });
}

EnumErrorCode ScreenV4::setXBit(EnumXBitMode mode, bool enable)
{
    return fanOut(
        m_subScreens, [=](ISubScreen &subScreen) { return subScreen.setXBit(mode, enable); },
        [=](const QString &key, EnumErrorCode) {
            logFailure("Failed to set subscreen abl enable. SubScreen key: %1 code: %2 save type: %3", key, mode, enable);
        });
}

EnumErrorCode ScreenV4::lock()
{
    return fanOut(
        m_subScreens, [](ISubScreen &subScreen) { return subScreen.lock(); },
        CodeLine{"Failed to lock. SubScreen key: %1 code: %2"});
}

EnumErrorCode ScreenV4::unLock()
{
    return fanOut(
        m_subScreens, [](ISubScreen &subScreen) { return subScreen.unLock(); },
        CodeLine{"Failed to unlock. SubScreen key: %1 code: %2"});
}

EnumErrorCode ScreenV4::tryGetRect(QRect &rect)
{
    return fanOut(
        m_subScreens, [&](ISubScreen &subScreen) { return subScreen.tryGetRect(rect); },
        CodeLine{"Failed to get subScreen rect. SubScreen key: %1 code: %2"});
}

EnumErrorCode ScreenV4::tryGetAllCabinetInfoList(QList<CabinetInfo> &list)
{
    return fanOut(
        m_subScreens,
        [&](ISubScreen &subScreen) {
            QList<CabinetInfo> ofSubScreen;
            const EnumErrorCode code = subScreen.tryGetAllCabinetInfoList(ofSubScreen);
            if (code == enSuccess)
                list.append(ofSubScreen);
            return code;
        },
        CodeLine{"Failed to set correction mode. SubScreen key: %1 code: %2"});
}

EnumErrorCode ScreenV4::setPixelImage(DrawingParameter param)
{
    return fanOut(
        m_subScreens, [&](ISubScreen &subScreen) { return subScreen.setPixelImage(param); },
        CodeLine{"Failed to draw. SubScreen key: %1 code: %2"});
}

EnumErrorCode ScreenV4::setCheckerboardlImage(DrawingCheckerboard param)
{
    if (param.colors.size() < 2 || param.squareW == 0 || param.squareH == 0 || param.lastSquareColumnW == 0
        || param.lastSquareRowH == 0 || !divides(param.squareW, widthOf(param.regionRect), param.lastSquareColumnW)
        || !divides(param.squareH, heightOf(param.regionRect), param.lastSquareRowH))
        return enArgumentMismatch;
    return fanOut(
        m_subScreens, [&](ISubScreen &subScreen) { return subScreen.setCheckerboardlImage(param); },
        CodeLine{"call ScreenV4::setCheckerboardlImage() Failed to draw. SubScreen key: %1 code: %2"},
        "call ScreenV4::setCheckerboardlImage() Object Subscreen is Empty. SubScreen key: %1");
}

EnumErrorCode ScreenV4::setPixelImageMode(unsigned char mode)
{
    qCDebug(lcCorrection) << "Correction::ScreenV4::setPixelImageMode"
                          << ": begin!";
    const EnumErrorCode code = fanOut(
        m_subScreens, [=](ISubScreen &subScreen) { return subScreen.setPixelImageMode(mode); },
        CodeLine{"Failed to set Image enable. SubScreen key: %1 code:%2"});
    qCDebug(lcCorrection) << "Correction::ScreenV4::setPixelImageMode"
                          << ": end!";
    return code;
}

EnumErrorCode ScreenV4::tryGetCoefficients(const QRect &rect, ICoefficient &coefficient)
{
    const OperationScope scope;
    QRect screen;
    const EnumErrorCode code = tryGetRect(screen);
    if (code != enSuccess) {
        qCCritical(lcCorrection) << "Get screen rect error";
        return code;
    }
    if (!screen.contains(rect)) {
        logFailure("Out of sreen range. screen x=%1 y=%2 w=%3 h=%4 rect x=%5 y=%6 w=%7 h=%8", screen.x(), screen.y(),
                   widthOf(screen), heightOf(screen), rect.x(), rect.y(), widthOf(rect), heightOf(rect));
        return enOutOfRange;
    }
    const SubScreens subScreens = m_subScreens;
    for (auto entry = subScreens.cbegin(); entry != subScreens.cend(); ++entry) {
        const QString &key = entry.key();
        ISubScreen *const subScreen = entry.value();
        if (!subScreen) {
            logFailure(emptySubScreen, key);
            return enInvalidParameter;
        }
        QRect subScreenRect;
        const EnumErrorCode located = subScreen->tryGetRect(subScreenRect);
        if (located != enSuccess) {
            logFailure("Failed to get subScreen rect. SubScreen key: %1 code: %2", key, located);
            return located;
        }
        qCDebug(lcCorrection) << "Correction::ScreenV4::tryGetCoefficients"
                              << "subScreenRect x:" << subScreenRect.x() << "y:" << subScreenRect.y()
                              << "w:" << widthOf(subScreenRect) << "h:" << heightOf(subScreenRect);
        if (!subScreenRect.intersects(rect))
            continue;
        const QRect part = subScreenRect.intersected(rect);
        const EnumCoefficientType type = coefficient.getType();
        const CoefficientPtr grid(CoefficientFactory::getCoefficient(type, heightOf(part), widthOf(part)));
        if (!grid) {
            logFailure("Failed to create coefficient. SubScreen key: %1 Coefficient type:%2", key, type);
            return enNotSupported;
        }
        const EnumErrorCode read = subScreen->tryGetCoefficients(part, *grid);
        if (read != enSuccess) {
            logFailure("try get Coefficients failed. SubScreen key: %1 code: %2", key, read);
            return read;
        }
        const EnumErrorCode pasted = coefficient.setPartCoefficient(relativeTo(part, rect.topLeft()), *grid);
        if (pasted != enSuccess) {
            logFailure("Failed to set part of coefficient. SubScreen key: %1", key);
            return pasted;
        }
    }
    return enSuccess;
}

EnumErrorCode ScreenV4::saveParameter(EnumSaveType type)
{
    return fanOut(
        m_subScreens, [=](ISubScreen &subScreen) { return subScreen.saveParameter(type); },
        CodeAndValueLine{saveFailure, type});
}

EnumErrorCode ScreenV4::applyCoeffcient(EnumCoefficientType type)
{
    return fanOut(
        m_subScreens, [=](ISubScreen &subScreen) { return subScreen.applyCoeffcient(type); },
        CodeAndValueLine{saveFailure, type});
}

EnumErrorCode ScreenV4::setMutiCabinetSolid(EnumSaveType type)
{
    return fanOut(
        m_subScreens, [=](ISubScreen &subScreen) { return subScreen.setMutiCabinetSolid(type); },
        CodeAndValueLine{saveFailure, type});
}

EnumErrorCode ScreenV4::clearCoefficient(EnumCoefficientType type)
{
    return fanOut(
        m_subScreens, [=](ISubScreen &subScreen) { return subScreen.clearCoefficient(type); },
        CodeAndValueLine{"Failed to clear subscreen parameter. SubScreen key: %1 code: %2 save type: %3", type});
}

EnumErrorCode ScreenV4::setEffectMode(EnumEffectMode mode)
{
    return fanOut(
        m_subScreens, [=](ISubScreen &subScreen) { return subScreen.setEffectMode(mode); },
        CodeLine{"Failed to set correction mode. SubScreen key: %1 code:%2"});
}

EnumErrorCode ScreenV4::tryGetEffectMode(EnumEffectMode &mode)
{
    return firstSuccess(m_subScreens, "Failed to get effect mode. code:%2",
                        [&](ISubScreen &subScreen) { return subScreen.tryGetEffectMode(mode); });
}

EnumErrorCode ScreenV4::setBrightness(int brightness)
{
    return fanOut(
        m_subScreens, [=](ISubScreen &subScreen) { return subScreen.setBrightness(brightness); },
        CodeLine{"Failed to set brightness. SubScreen key: %1 code:%2"});
}

EnumErrorCode ScreenV4::getGammaTable(QMap<EnumGammaType, QList<int>> &table)
{
    return firstSuccess(m_subScreens, "Failed to get gamma table. code:%2",
                        [&](ISubScreen &subScreen) { return subScreen.getGammaTable(table); });
}

EnumErrorCode ScreenV4::setGammaTable(const QMap<EnumGammaType, QList<int>> &table)
{
    return fanOut(
        m_subScreens, [&](ISubScreen &subScreen) { return subScreen.setGammaTable(table); },
        CodeLine{"Failed to set gamma table. SubScreen key: %1 code:%2"});
}

EnumErrorCode ScreenV4::setMultilayerParameter(const MultilayerParam &param)
{
    return fanOut(
        m_subScreens, [&](ISubScreen &subScreen) { return subScreen.setMultilayerParameter(param); },
        CodeLine{"Failed to set multilayer parameter. SubScreen key: %1 code:%2"});
}

EnumErrorCode ScreenV4::setMultilayerParameterV2(const MultilayerParamV2 &param)
{
    return fanOut(
        m_subScreens, [&](ISubScreen &subScreen) { return subScreen.setMultilayerParameterV2(param); },
        CodeLine{"Failed to set setMultilayerParameterV2 parameter. SubScreen key: %1 code:%2"});
}

EnumErrorCode ScreenV4::getBrightnessRange(BrightnessRange &range)
{
    return firstSuccess(m_subScreens, "Failed to get brightness range. code:%2",
                        [&](ISubScreen &subScreen) { return subScreen.getBrightnessRange(range); });
}

EnumErrorCode ScreenV4::getSubScreenNames(QMap<QString, QString> names)
{
    const SubScreens subScreens = m_subScreens;
    for (auto entry = subScreens.cbegin(); entry != subScreens.cend(); ++entry) {
        QVariantMap reply;
        const auto onFailure = [] { qCCritical(lcCorrection) << "getHWInfo error"; };
        if (callDevice(onFailure, &HWInfo::getHWInfo, entry.key(), reply, false) != enSuccess)
            return enInvalidParameter;
        names[entry.key()] = reply.value(QStringLiteral("customName")).toString();
    }
    return enSuccess;
}

EnumErrorCode ScreenV4::getFeatures(QMap<QString, bool> &features)
{
    const OperationScope scope;
    const QString checkerboard = QStringLiteral("checkerBoardltFeature");
    features[checkerboard] = true;
    const SubScreens subScreens = m_subScreens;
    for (auto entry = subScreens.cbegin(); entry != subScreens.cend(); ++entry) {
        if (!entry.value()) {
            logFailure("call ScreenV4::getFeatures() Object Subscreen is Empty. SubScreen key: %1", entry.key());
            return enInvalidParameter;
        }
        if (entry.value()->isCheckerboardlImage() != enSuccess) {
            features[checkerboard] = false;
            break;
        }
    }
    return enSuccess;
}

EnumErrorCode ScreenV4::getScreenSupport(QVector<CabinetBaseInfo> &list)
{
    return fanOut(
        m_subScreens,
        [&](ISubScreen &subScreen) {
            QVector<CabinetBaseInfo> ofSubScreen;
            const EnumErrorCode code = subScreen.getScreenSupport(ofSubScreen);
            if (code == enSuccess)
                list.append(ofSubScreen);
            return code;
        },
        CodeLine{"Failed to set getScreenSupport parameter. SubScreen key: %1 code:%2"},
        "Object getScreenSupport is Empty. SubScreen key: %1");
}

} // namespace Correction

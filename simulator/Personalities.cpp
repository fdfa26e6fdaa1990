#include "Rules.h"

#include <simulator/WallDescription.h>

#include <QtCore/QStringList>

#include <limits>
#include <vector>

namespace Simulator {

namespace {

/// What a refresh asks each device, in this order.
constexpr const char *discoveryOperations[] = {"HWInfo::getHWInfo", "ScreenInfo::getScreens",
                                               "CabinetInfoOperator::getAllCabinetsInfo",
                                               "CabinetInfoOperator::getCabAllFlags"};

constexpr const char *readOperations[] = {"Correctionop::loadCoefficient",
                                          "Correctionop::loadMultilayerCoefficient",
                                          "Correctionop::getCabinetEffectMode",
                                          "Correctionop::getFlashCheckCode",
                                          "CabinetInfoOperator::getCabinetBrightnessRange",
                                          "CabinetInfoOperator::getCabinetGammaCustomValue",
                                          "CabinetInfoOperator::getConfigFile",
                                          "CabinetInfoOperator::getCabinetsBaseInfo",
                                          "ScreenInfo::getGammaAllList",
                                          "ScreenInfo::setCheckerBoardImage(responseHeader)"}; // asks, as hosts use it

constexpr const char *lockOperations[] = {"HWInfo::lock", "HWInfo::unLock"};

constexpr const char *writeOperations[] = {"Correctionop::uploadCoefficient",
                                           "Correctionop::uploadMultilayerCoefficient",
                                           "Correctionop::uploadLowgrayCoefficient",
                                           "Correctionop::uploadCoefficientAsync",
                                           "Correctionop::uploadMultilayerCoefficientAsync",
                                           "Correctionop::uploadLowGrayCoefficientAsync",
                                           "Correctionop::saveCabinetsCoeffcient",
                                           "Correctionop::saveCabinetsMultilayerCoeffcient",
                                           "Correctionop::saveCabinetsLowgrayCoeffcient",
                                           "Correctionop::applyCabinetsLowgrayCoeffcient",
                                           "Correctionop::clearCabinetsUserCoefficient",
                                           "Correctionop::clearCabinetsMultilayerCoefficient",
                                           "Correctionop::clearCabinetsLowgrayCoefficient",
                                           "Correctionop::saveCabinetsFactoryCoefficient",
                                           "Correctionop::showCabinetsCoefficient",
                                           "Correctionop::showCabinetsFactoryCoefficient",
                                           "Correctionop::showCabinetsModuleCoefficient",
                                           "Correctionop::saveCabinetsModuleCoefficient",
                                           "Correctionop::setCabinetsMultilayerParameter",
                                           "Correctionop::setCabinetsMultilayerParameterV2",
                                           "Correctionop::setMutiCabinetSolid",
                                           "Correctionop::setScreenABLEnable",
                                           "Correctionop::setScreenXBit",
                                           "Correctionop::setScreenEffectMode",
                                           "Correctionop::setCabinetEffectMode",
                                           "CabinetInfoOperator::setCabSingleBrightness",
                                           "CabinetInfoOperator::setCabinetFlag",
                                           "CabinetInfoOperator::setCabinetGammaCustomValue",
                                           "CabinetInfoOperator::setSingleConfigFile",
                                           "CabinetInfoOperator::setCabinetSnflags",
                                           "CabinetInfoOperator::setModuleflags",
                                           "CabinetInfoOperator::clearModuleCoefficient",
                                           "CabinetInfoOperator::saveModuleCoefficient",
                                           "CabinetInfoOperator::reloadModuleCoefficient",
                                           "ScreenInfo::setBrightness",
                                           "ScreenInfo::setGammaTable",
                                           "ScreenInfo::setPixelImage",
                                           "ScreenInfo::setPixelImageMode",
                                           "ScreenInfo::setCheckerBoardImage",
                                           "ScreenInfo::setCorrectClearImage"};

constexpr int longestWait = std::numeric_limits<int>::max(); // milliseconds

template <std::size_t count>
QStringList named(const char *const (&operations)[count])
{
    QStringList names;
    for (const char *operation : operations)
        names += QString::fromLatin1(operation);
    return names;
}

struct Personality {
    const char *name;
    Timing timing;
    QList<Fault> faults;
};

Fault everywhere(Fault::Type type)
{
    Fault fault;
    fault.type = type;
    return fault;
}

template <std::size_t count>
QList<Fault> at(const char *const (&operations)[count], Fault fault)
{
    QList<Fault> faults;
    for (const QString &operation : named(operations)) {
        fault.operation = operation;
        faults += fault;
    }
    return faults;
}

const std::vector<Personality> &personalities()
{
    static const auto *const table = [] {
        Timing slow;
        slow.latency = 200;
        slow.jitter = 100;
        slow.bytesPerSecond = 2000000;
        Fault notFound = everywhere(Fault::Status);
        notFound.status = QStringLiteral("404");
        Fault vanish = everywhere(Fault::Vanish);
        vanish.operation = QString::fromLatin1(discoveryOperations[1]);
        return new std::vector<Personality>{
            {"obedient", {}, {}},
            {"slow", slow, {}},
            {"silent", {}, {everywhere(Fault::NoAnswer)}},
            {"refuses writes", {}, at(writeOperations, everywhere(Fault::NoAnswer))},
            {"rejects uploads", {}, {everywhere(Fault::RejectUpload)}},
            {"damaged blocks", {}, {everywhere(Fault::DirtyBase64)}},
            {"short replies", {}, {everywhere(Fault::TruncateReply)}},
            {"answers 404", {}, at(readOperations, notFound) + at(writeOperations, notFound) + at(lockOperations, notFound)},
            {"vanishes in refresh", {}, {vanish}},
            {"forgets on restart", {}, {}},
        };
    }();
    return *table;
}

/// An empty or unknown name stands for the first.
const Personality &personalityOf(const Device &device)
{
    for (const Personality &personality : personalities()) {
        if (device.personality == QLatin1String(personality.name))
            return personality;
    }
    return personalities().front();
}

} // namespace

QStringList personalityNames()
{
    QStringList names;
    for (const Personality &personality : personalities())
        names += QString::fromLatin1(personality.name);
    return names;
}

QStringList operationNames()
{
    QStringList names = named(discoveryOperations) + named(readOperations) + changingOperations();
    names.sort();
    return names;
}

QStringList changingOperations()
{
    return named(writeOperations) + named(lockOperations);
}

Timing timingOf(const Device &device)
{
    const Timing &base = personalityOf(device).timing;
    const Timing &own = device.timing;
    const auto added = [](int a, int b) { return static_cast<int>(qBound<qint64>(0, qint64(a) + b, longestWait)); };
    Timing sum;
    sum.latency = added(base.latency, own.latency);
    sum.jitter = added(base.jitter, own.jitter);
    sum.bytesPerSecond = base.bytesPerSecond > 0 && own.bytesPerSecond > 0 ? qMin(base.bytesPerSecond, own.bytesPerSecond)
                                                                           : qMax(base.bytesPerSecond, own.bytesPerSecond);
    sum.settleInThread = base.settleInThread || own.settleInThread;
    return sum;
}

std::vector<ScriptData> rulesOf(const Device &device)
{
    std::vector<ScriptData> rules;
    for (const QList<Fault> &faults : {personalityOf(device).faults, device.faults}) {
        for (const Fault &fault : faults)
            rules.push_back(ruleOf(fault));
    }
    return rules;
}

} // namespace Simulator

// The virtual wall as this program's device service: everything that knows it stands here.

#include "ExitCodes.h"
#include "Service.h"

#include <simulator/VirtualWall.h>

#include <algorithm>

using Simulator::Call;
using Simulator::VirtualWall;

namespace Ctl {
namespace Service {

namespace {

bool g_replaying = false;
bool g_holding = false;

VirtualWall &wall()
{
    return VirtualWall::instance();
}

/// Every request that changes a device. What is not listed only asks.
const char *const writingOperations[] = {
    "Correctionop::uploadCoefficient",
    "Correctionop::uploadMultilayerCoefficient",
    "Correctionop::uploadLowgrayCoefficient",
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
    "ScreenInfo::setCorrectClearImage",
    "HWInfo::lock",
    "HWInfo::unLock",
};
const char *const writingUploads[] = {
    "Correctionop::uploadCoefficientAsync",
    "Correctionop::uploadMultilayerCoefficientAsync",
    "Correctionop::uploadLowGrayCoefficientAsync",
};

bool writes(const QString &operation)
{
    const auto named = [&operation](const char *name) { return operation == QLatin1String(name); };
    return std::any_of(std::begin(writingOperations), std::end(writingOperations), named)
           || std::any_of(std::begin(writingUploads), std::end(writingUploads), named);
}

Exchange exchangeOf(const Call &call)
{
    Exchange exchange;
    exchange.operation = call.operation;
    exchange.device = call.deviceKey;
    exchange.request = VirtualWall::describe(call, VirtualWall::Shorten);
    exchange.answer = call.reply.isValid() ? VirtualWall::describe(call.reply, VirtualWall::Shorten) : QString();
    // Discovery's own operations answer nothing that could fail.
    exchange.success = call.result || call.deviceKey.isNull();
    exchange.milliseconds = double(call.duration) / 1000;
    exchange.note = call.note;
    return exchange;
}

[[noreturn]] void refuse(const QString &error)
{
    throw Failure(ExitNoWall, error.simplified());
}

} // namespace

QString name()
{
    return QStringLiteral("virtual wall");
}

void open(const QString &source)
{
    QString error;
#if __has_include(<simulator/WallFile.h>)
    if (!wall().load(source, &error))
        refuse(error);
#else
    if (source != QLatin1String("demo"))
        refuse(source + QStringLiteral(": unknown"));
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 3, 2, QSize(128, 128), 1), Simulator::gridDevice(QStringLiteral("B"), QPoint(384, 0), 3, 2, QSize(128, 128), 7)});
#endif
    // A wall of thousands of cabinets makes many calls; only doctor, dry runs and recordings look at them.
    wall().clearCalls();
}

void openRecording(const QString &path)
{
    QString error;
#if __has_include(<simulator/Journal.h>)
    if (!wall().replay(path, &error))
        throw Failure(ExitBadData, error.simplified());
#else
    Q_UNUSED(error)
    Q_UNUSED(path)
#endif
    g_replaying = true;
}

void close()
{
#if __has_include(<simulator/WallFile.h>)
    wall().close();
#endif
}

void holdBackWrites()
{
    if (g_replaying)
        refuse(QStringLiteral("--dry-run and replay exclude each other: a recording holds no answers to requests that were not sent"));
    wall().clearCalls();
    for (const char *operation : writingOperations)
        wall().on(QLatin1String(operation)).answer(QMap<QString, QVariant>());
    for (const char *operation : writingUploads)
        wall().on(QLatin1String(operation)).resolveWith(true);
    g_holding = true;
}

QVector<Exchange> exchanges()
{
    QVector<Exchange> list;
    for (const Call &call : wall().calls())
        list.append(exchangeOf(call));
    return list;
}

QVector<Exchange> heldBack()
{
    QVector<Exchange> list;
    if (!g_holding)
        return list;
    for (const Call &call : wall().calls()) {
        if (writes(call.operation))
            list.append(exchangeOf(call));
    }
    return list;
}

void forgetExchanges()
{
    wall().clearCalls();
}

void record(const QString &path)
{
    QString error;
#if __has_include(<simulator/Journal.h>)
    if (!wall().recordTo(path, &error))
        throw Failure(ExitCannotWrite, error.simplified());
#else
    Q_UNUSED(error)
    Q_UNUSED(path)
#endif
}

Replayed replayed()
{
#if __has_include(<simulator/Journal.h>)
    const Simulator::ReplayReport report = wall().replayReport();
    return {report.answered, report.remaining, report.difference};
#else
    return {};
#endif
}

QByteArray describe()
{
#if __has_include(<simulator/WallFile.h>)
    return Simulator::wallToJson(wall().wall());
#else
    return {};
#endif
}

void create(const QString &directory, const QString &source)
{
#if __has_include(<simulator/WallFile.h>)
    Simulator::WallDescription description;
    QString error;
    if (!Simulator::presetWall(source, description) && !Simulator::readWall(source, description, &error))
        refuse(error);
    if (!wall().create(directory, description, &error))
        throw Failure(ExitCannotWrite, error.simplified());
#else
    Q_UNUSED(directory)
    Q_UNUSED(source)
#endif
}

QImage render(Picture picture, const QString &screenId, int channel)
{
    switch (picture) {
    case Picture::Layout:
        return wall().layoutPicture(screenId);
    case Picture::Coefficients:
        return wall().coefficientPicture(screenId, channel);
    case Picture::Pattern:
        return wall().patternPicture(screenId);
    }
    return {};
}

} // namespace Service
} // namespace Ctl

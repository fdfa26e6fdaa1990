// A host with a device service of its own, in the program itself: one device "A" that drives one cabinet "1".

#include "tour.h"

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

namespace {

struct Device {
    QString coefficients; // the whole cabinet, as base64 text
    int saves = 0;
};
Device device; // the one device "A"

template <typename Service>
Service *instance()
{
    static Service service;
    return &service;
}

/// Takes the only block of the only cabinet, once the event loop runs.
QtPromise::QPromise<bool> take(const QString &deviceKey, const List &request)
{
    return QtPromise::QPromise<bool>([=](const QtPromise::QPromiseResolve<bool> &resolve) {
        QTimer::singleShot(0, [=] {
            const Map cabinet = request.value(0).toMap();
            const Map block = cabinet.value(QStringLiteral("coefficientList")).toList().value(0).toMap();
            device.coefficients = block.value(QStringLiteral("coefficient")).toString();
            resolve(deviceKey == QStringLiteral("A") && cabinet.value(QStringLiteral("cid")).toLongLong() == 1);
        });
    });
}

} // namespace

Correctionop *Correctionop::getInstance()
{
    return instance<Correctionop>();
}
CabinetInfoOperator *CabinetInfoOperator::getInstance()
{
    return instance<CabinetInfoOperator>();
}
ScreenInfo *ScreenInfo::getInstance()
{
    return instance<ScreenInfo>();
}
HWInfo *HWInfo::getInstance()
{
    return instance<HWInfo>();
}
HttpProxy *HttpProxy::getInstance()
{
    return instance<HttpProxy>();
}

// What this device can do.

void HttpProxy::initialize(bool) {}

QList<HttpDeviceInfo> HttpProxy::getDeviceList()
{
    return {HttpDeviceInfo{QStringLiteral("A"), QStringLiteral("the only device")}};
}

bool HWInfo::getHWInfo(const QString &, Map &reply, bool)
{
    reply.insert(QStringLiteral("customName"), QStringLiteral("custom"));
    return true;
}

bool ScreenInfo::getScreens(const QString &, Map &reply, bool)
{
    const Map cabinet{{QStringLiteral("cabinetID"), QStringLiteral("1")},
                      {QStringLiteral("outputID"), QStringLiteral("1")},
                      {QStringLiteral("size.width"), 4},
                      {QStringLiteral("size.height"), 2}};
    const Map subScreen{{QStringLiteral("cabinets"), List{cabinet}}};
    reply = Map{{QStringLiteral("screenUUID"), QStringLiteral("screen")},
                {QStringLiteral("screenName"), QStringLiteral("Screen")},
                {QStringLiteral("expendInfo.isAllowSingleDev"), true},
                {QStringLiteral("subScreens"), List{subScreen}}};
    return true;
}

bool CabinetInfoOperator::getAllCabinetsInfo(const QString &, List &reply, bool)
{
    reply.append(Map{{QStringLiteral("id"), QStringLiteral("1")}, {QStringLiteral("outputID"), QStringLiteral("1")}});
    return true;
}

bool CabinetInfoOperator::getCabAllFlags(const QString &, List &reply)
{
    reply.append(Map{{QStringLiteral("id"), QStringLiteral("1")}, {QStringLiteral("flag"), QStringLiteral("new")}});
    return true;
}

bool Correctionop::loadCoefficient(const QString &, const QString &, List &reply)
{
    reply.append(Map{{QStringLiteral("area.size.width"), 4},
                     {QStringLiteral("area.size.height"), 2},
                     {QStringLiteral("coefficients"), device.coefficients}});
    return true;
}

QtPromise::QPromise<bool> Correctionop::uploadCoefficientAsync(const QString &deviceKey, const List &request)
{
    return take(deviceKey, request);
}

bool Correctionop::saveCabinetsCoeffcient(const QString &, const Map &, Map &)
{
    ++device.saves;
    return true;
}

bool Correctionop::setMutiCabinetSolid(const QString &, const Map &, Map &)
{
    ++device.saves;
    return true;
}

// What it refuses: everything else.

QtPromise::QPromise<bool> Correctionop::uploadMultilayerCoefficientAsync(const QString &, const List &)
{
    return QtPromise::QPromise<bool>::resolve(false);
}
QtPromise::QPromise<bool> Correctionop::uploadLowGrayCoefficientAsync(const QString &, const List &)
{
    return QtPromise::QPromise<bool>::resolve(false);
}
bool Correctionop::loadMultilayerCoefficient(const QString &, const QString &, List &)
{
    return false;
}
bool Correctionop::uploadCoefficient(const QString &, const QString &, const List &, Map &)
{
    return false;
}
bool Correctionop::uploadMultilayerCoefficient(const QString &, const QString &, const List &, Map &)
{
    return false;
}
bool Correctionop::uploadLowgrayCoefficient(const QString &, const QString &, const List &, Map &)
{
    return false;
}
bool Correctionop::saveCabinetsMultilayerCoeffcient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::saveCabinetsLowgrayCoeffcient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::applyCabinetsLowgrayCoeffcient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::clearCabinetsUserCoefficient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::clearCabinetsMultilayerCoefficient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::clearCabinetsLowgrayCoefficient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::saveCabinetsFactoryCoefficient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::showCabinetsCoefficient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::showCabinetsFactoryCoefficient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::showCabinetsModuleCoefficient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::saveCabinetsModuleCoefficient(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::setCabinetsMultilayerParameter(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::setCabinetsMultilayerParameterV2(const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::setScreenABLEnable(const QString &, const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::setScreenXBit(const QString &, const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::setScreenEffectMode(const QString &, const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::setCabinetEffectMode(const QString &, const QString &, const Map &, Map &)
{
    return false;
}
bool Correctionop::getCabinetEffectMode(const QString &, const QString &, Map &)
{
    return false;
}
bool Correctionop::getFlashCheckCode(const QString &, const QString &, const Map &, List &)
{
    return false;
}

bool CabinetInfoOperator::setCabSingleBrightness(const QString &, const QString &, Map &, Map &)
{
    return false;
}
bool CabinetInfoOperator::setCabinetFlag(const QString &, const QString &, Map &, Map &)
{
    return false;
}
bool CabinetInfoOperator::getCabinetBrightnessRange(const QString &, const QString &, Map &)
{
    return false;
}
bool CabinetInfoOperator::getCabinetGammaCustomValue(const QString &, const QString &, Map &)
{
    return false;
}
bool CabinetInfoOperator::getConfigFile(const QString &, const QString &, Map &)
{
    return false;
}
bool CabinetInfoOperator::setCabinetGammaCustomValue(const QString &, const QString &, const Map &, Map &)
{
    return false;
}
bool CabinetInfoOperator::setSingleConfigFile(const QString &, const QString &, const Map &, Map &)
{
    return false;
}
bool CabinetInfoOperator::setCabinetSnflags(const QString &, const List &, Map &)
{
    return false;
}
bool CabinetInfoOperator::setModuleflags(const QString &, const List &, Map &)
{
    return false;
}
bool CabinetInfoOperator::clearModuleCoefficient(const QString &, Map &, Map &, int)
{
    return false;
}
bool CabinetInfoOperator::saveModuleCoefficient(const QString &, Map &, Map &, int)
{
    return false;
}
bool CabinetInfoOperator::reloadModuleCoefficient(const QString &, Map &, Map &, int)
{
    return false;
}
bool CabinetInfoOperator::getCabinetsBaseInfo(const QString &, List &)
{
    return false;
}

bool ScreenInfo::getGammaAllList(const QString &, const QString &, Map &)
{
    return false;
}
bool ScreenInfo::setBrightness(const QString &, const QString &, const Map &)
{
    return false;
}
bool ScreenInfo::setGammaTable(const QString &, const QString &, const Map &)
{
    return false;
}
bool ScreenInfo::setPixelImage(const QString &, const Map &, Map &)
{
    return false;
}
bool ScreenInfo::setPixelImageMode(const QString &, const Map &, Map &)
{
    return false;
}
bool ScreenInfo::setCheckerBoardImage(const QString &, const Map &, Map &)
{
    return false;
}
bool ScreenInfo::setCheckerBoardImage(const QString &, const Map &, Map &, QMap<QString, QString> &)
{
    return false;
}
bool ScreenInfo::setCorrectClearImage(const QString &, const Map &)
{
    return false;
}

bool HWInfo::lock(const QString &, const Map &, Map &)
{
    return false;
}
bool HWInfo::unLock(const QString &, const Map &)
{
    return false;
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    tour();
    EXPECT(device.saves == 2);
    EXPECT(screenChanges([] { Q_EMIT HttpProxy::getInstance()->deviceChanged(); }) == 1);
    EXPECT(Correction::ScreenManager::getInstance()->tryGetScreen(QStringLiteral("screen"))->setBrightness(1)
           == Correction::enTimeout);
    return 0;
}

// The classes of the device service and of the discovery. Each operation names itself, hands over its arguments and
// says how the wall behaves; recording, scripts and answers are the same for all of them.

#include "Acts.h"
#include "Wall.h"

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

using namespace Simulator;
using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Headers = QMap<QString, QString>;

/// A text that is there, for arguments that are: null means that an operation has no such argument.
QString present(const QString &text)
{
    return text.isNull() ? QString(QLatin1String("")) : text;
}

/// The call of an operation of a device.
Call call(const char *operation, const QString &deviceKey, const QVariant &request = QVariant(),
          const QVariant &extra = QVariant())
{
    Call call;
    call.operation = QString::fromLatin1(operation);
    call.deviceKey = present(deviceKey);
    call.request = request;
    call.extra = extra;
    return call;
}

/// The call of an operation with a cabinet id or a screen selector.
Call callFor(const QString &target, const char *operation, const QString &deviceKey, const QVariant &request = QVariant())
{
    Call result = call(operation, deviceKey, request);
    result.target = present(target);
    return result;
}

bool serve(const Call &call, const Act &act)
{
    return Wall::instance().serve(call, act).result;
}

/// For an operation with a reply: `Reply` is Map or List.
template <typename Reply>
bool serve(Call call, const Act &act, Reply &reply, Headers *headers = nullptr)
{
    if (!reply.isEmpty())
        call.note = QStringLiteral("the reply was not passed in empty");
    const Answer answer = Wall::instance().serve(call, act);
    reply = answer.reply.value<Reply>();
    if (headers)
        *headers = answer.headers;
    return answer.result;
}

QtPromise::QPromise<bool> serveUpload(const Call &call, const Act &act)
{
    return Wall::instance().upload(call, act);
}

/// Made once and kept until the process ends.
template <typename Service>
Service *theInstance()
{
    static Service *const instance = new Service;
    return instance;
}

} // namespace

// Correctionop

Correctionop *Correctionop::getInstance()
{
    return theInstance<Correctionop>();
}

bool Correctionop::loadCoefficient(const QString &deviceKey, const QString &cabinetId, List &reply)
{
    return serve(callFor(cabinetId, "Correctionop::loadCoefficient", deviceKey), Acts::load(Kind::Chroma), reply);
}

bool Correctionop::loadMultilayerCoefficient(const QString &deviceKey, const QString &cabinetId, List &reply)
{
    return serve(callFor(cabinetId, "Correctionop::loadMultilayerCoefficient", deviceKey), Acts::load(Kind::Multilayer),
                 reply);
}

bool Correctionop::uploadCoefficient(const QString &deviceKey, const QString &cabinetId, const List &request, Map &reply)
{
    return serve(callFor(cabinetId, "Correctionop::uploadCoefficient", deviceKey, request), Acts::upload(Kind::Chroma),
                 reply);
}

bool Correctionop::uploadMultilayerCoefficient(const QString &deviceKey, const QString &cabinetId, const List &request,
                                               Map &reply)
{
    return serve(callFor(cabinetId, "Correctionop::uploadMultilayerCoefficient", deviceKey, request),
                 Acts::upload(Kind::Multilayer), reply);
}

bool Correctionop::uploadLowgrayCoefficient(const QString &deviceKey, const QString &cabinetId, const List &request,
                                            Map &reply)
{
    return serve(callFor(cabinetId, "Correctionop::uploadLowgrayCoefficient", deviceKey, request),
                 Acts::upload(Kind::LowGray), reply);
}

QtPromise::QPromise<bool> Correctionop::uploadCoefficientAsync(const QString &deviceKey, const List &request)
{
    return serveUpload(call("Correctionop::uploadCoefficientAsync", deviceKey, request), Acts::uploadMany(Kind::Chroma));
}

QtPromise::QPromise<bool> Correctionop::uploadMultilayerCoefficientAsync(const QString &deviceKey, const List &request)
{
    return serveUpload(call("Correctionop::uploadMultilayerCoefficientAsync", deviceKey, request),
                       Acts::uploadMany(Kind::Multilayer));
}

QtPromise::QPromise<bool> Correctionop::uploadLowGrayCoefficientAsync(const QString &deviceKey, const List &request)
{
    return serveUpload(call("Correctionop::uploadLowGrayCoefficientAsync", deviceKey, request),
                       Acts::uploadMany(Kind::LowGray));
}

bool Correctionop::saveCabinetsCoeffcient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::saveCabinetsCoeffcient", deviceKey, request),
                 Acts::copy(Kind::Chroma, Store::Working, Store::User), reply);
}

bool Correctionop::saveCabinetsMultilayerCoeffcient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::saveCabinetsMultilayerCoeffcient", deviceKey, request),
                 Acts::copy(Kind::Multilayer, Store::Working, Store::User), reply);
}

bool Correctionop::saveCabinetsLowgrayCoeffcient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::saveCabinetsLowgrayCoeffcient", deviceKey, request),
                 Acts::copy(Kind::LowGray, Store::Working, Store::User), reply);
}

bool Correctionop::applyCabinetsLowgrayCoeffcient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::applyCabinetsLowgrayCoeffcient", deviceKey, request),
                 Acts::copy(Kind::LowGray, Store::User, Store::Working), reply);
}

bool Correctionop::clearCabinetsUserCoefficient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::clearCabinetsUserCoefficient", deviceKey, request), Acts::clear(Kind::Chroma), reply);
}

bool Correctionop::clearCabinetsMultilayerCoefficient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::clearCabinetsMultilayerCoefficient", deviceKey, request), Acts::clear(Kind::Multilayer),
                 reply);
}

bool Correctionop::clearCabinetsLowgrayCoefficient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::clearCabinetsLowgrayCoefficient", deviceKey, request), Acts::clear(Kind::LowGray),
                 reply);
}

bool Correctionop::saveCabinetsFactoryCoefficient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::saveCabinetsFactoryCoefficient", deviceKey, request),
                 Acts::copy(Kind::Chroma, Store::Working, Store::Factory), reply);
}

bool Correctionop::showCabinetsCoefficient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::showCabinetsCoefficient", deviceKey, request),
                 Acts::copy(Kind::Chroma, Store::User, Store::Working), reply);
}

bool Correctionop::showCabinetsFactoryCoefficient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::showCabinetsFactoryCoefficient", deviceKey, request),
                 Acts::copy(Kind::Chroma, Store::Factory, Store::Working), reply);
}

bool Correctionop::showCabinetsModuleCoefficient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::showCabinetsModuleCoefficient", deviceKey, request),
                 Acts::copy(Kind::Chroma, Store::Module, Store::Working), reply);
}

bool Correctionop::saveCabinetsModuleCoefficient(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::saveCabinetsModuleCoefficient", deviceKey, request),
                 Acts::copy(Kind::Chroma, Store::Working, Store::Module), reply);
}

bool Correctionop::setCabinetsMultilayerParameter(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::setCabinetsMultilayerParameter", deviceKey, request), Acts::setMultilayerParameter,
                 reply);
}

bool Correctionop::setCabinetsMultilayerParameterV2(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::setCabinetsMultilayerParameterV2", deviceKey, request), Acts::setMultilayerParameters,
                 reply);
}

bool Correctionop::setMutiCabinetSolid(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("Correctionop::setMutiCabinetSolid", deviceKey, request), Acts::saveSolid, reply);
}

bool Correctionop::setScreenABLEnable(const QString &deviceKey, const QString &screen, const Map &request, Map &reply)
{
    return serve(callFor(screen, "Correctionop::setScreenABLEnable", deviceKey, request), Acts::setAblEnable, reply);
}

bool Correctionop::setScreenXBit(const QString &deviceKey, const QString &screen, const Map &request, Map &reply)
{
    return serve(callFor(screen, "Correctionop::setScreenXBit", deviceKey, request), Acts::setXBit, reply);
}

bool Correctionop::setScreenEffectMode(const QString &deviceKey, const QString &screen, const Map &request, Map &reply)
{
    return serve(callFor(screen, "Correctionop::setScreenEffectMode", deviceKey, request), Acts::setScreenEffectMode, reply);
}

bool Correctionop::setCabinetEffectMode(const QString &deviceKey, const QString &cabinetId, const Map &request, Map &reply)
{
    return serve(callFor(cabinetId, "Correctionop::setCabinetEffectMode", deviceKey, request), Acts::setCabinetEffectMode,
                 reply);
}

bool Correctionop::getCabinetEffectMode(const QString &deviceKey, const QString &cabinetId, Map &reply)
{
    return serve(callFor(cabinetId, "Correctionop::getCabinetEffectMode", deviceKey), Acts::cabinetEffectMode, reply);
}

bool Correctionop::getFlashCheckCode(const QString &deviceKey, const QString &cabinetId, const Map &request, List &reply)
{
    return serve(callFor(cabinetId, "Correctionop::getFlashCheckCode", deviceKey, request), Acts::flashCheckCodes, reply);
}

// CabinetInfoOperator

CabinetInfoOperator *CabinetInfoOperator::getInstance()
{
    return theInstance<CabinetInfoOperator>();
}

bool CabinetInfoOperator::setCabSingleBrightness(const QString &deviceKey, const QString &cabinetId, Map &request,
                                                 Map &reply)
{
    return serve(callFor(cabinetId, "CabinetInfoOperator::setCabSingleBrightness", deviceKey, request),
                 Acts::setCabinetBrightness, reply);
}

bool CabinetInfoOperator::setCabinetFlag(const QString &deviceKey, const QString &cabinetId, Map &request, Map &reply)
{
    return serve(callFor(cabinetId, "CabinetInfoOperator::setCabinetFlag", deviceKey, request), Acts::setCabinetFlag, reply);
}

bool CabinetInfoOperator::getCabinetBrightnessRange(const QString &deviceKey, const QString &cabinetId, Map &reply)
{
    return serve(callFor(cabinetId, "CabinetInfoOperator::getCabinetBrightnessRange", deviceKey), Acts::brightnessRange,
                 reply);
}

bool CabinetInfoOperator::getCabinetGammaCustomValue(const QString &deviceKey, const QString &cabinetId, Map &reply)
{
    return serve(callFor(cabinetId, "CabinetInfoOperator::getCabinetGammaCustomValue", deviceKey), Acts::cabinetGamma,
                 reply);
}

bool CabinetInfoOperator::getConfigFile(const QString &deviceKey, const QString &cabinetId, Map &reply)
{
    return serve(callFor(cabinetId, "CabinetInfoOperator::getConfigFile", deviceKey), Acts::configFile, reply);
}

bool CabinetInfoOperator::setCabinetGammaCustomValue(const QString &deviceKey, const QString &cabinetId, const Map &request,
                                                     Map &reply)
{
    return serve(callFor(cabinetId, "CabinetInfoOperator::setCabinetGammaCustomValue", deviceKey, request),
                 Acts::setCabinetGamma, reply);
}

bool CabinetInfoOperator::setSingleConfigFile(const QString &deviceKey, const QString &cabinetId, const Map &request,
                                              Map &reply)
{
    return serve(callFor(cabinetId, "CabinetInfoOperator::setSingleConfigFile", deviceKey, request), Acts::setConfigFile,
                 reply);
}

bool CabinetInfoOperator::setCabinetSnflags(const QString &deviceKey, const List &request, Map &reply)
{
    return serve(call("CabinetInfoOperator::setCabinetSnflags", deviceKey, request), Acts::setCabinetFlags, reply);
}

bool CabinetInfoOperator::setModuleflags(const QString &deviceKey, const List &request, Map &reply)
{
    return serve(call("CabinetInfoOperator::setModuleflags", deviceKey, request), Acts::setModuleFlags, reply);
}

bool CabinetInfoOperator::clearModuleCoefficient(const QString &deviceKey, Map &request, Map &reply, int allowance)
{
    return serve(call("CabinetInfoOperator::clearModuleCoefficient", deviceKey, request, allowance),
                 Acts::clearTyped(Store::Flash), reply);
}

bool CabinetInfoOperator::saveModuleCoefficient(const QString &deviceKey, Map &request, Map &reply, int allowance)
{
    return serve(call("CabinetInfoOperator::saveModuleCoefficient", deviceKey, request, allowance),
                 Acts::copyTyped(Store::Working, Store::Flash), reply);
}

bool CabinetInfoOperator::reloadModuleCoefficient(const QString &deviceKey, Map &request, Map &reply, int allowance)
{
    return serve(call("CabinetInfoOperator::reloadModuleCoefficient", deviceKey, request, allowance),
                 Acts::copyTyped(Store::Flash, Store::Working), reply);
}

bool CabinetInfoOperator::getCabinetsBaseInfo(const QString &deviceKey, List &reply)
{
    return serve(call("CabinetInfoOperator::getCabinetsBaseInfo", deviceKey), Acts::baseInfo, reply);
}

bool CabinetInfoOperator::getAllCabinetsInfo(const QString &deviceKey, List &reply, bool refresh)
{
    return serve(call("CabinetInfoOperator::getAllCabinetsInfo", deviceKey, {}, refresh), Acts::allCabinets, reply);
}

bool CabinetInfoOperator::getCabAllFlags(const QString &deviceKey, List &reply)
{
    return serve(call("CabinetInfoOperator::getCabAllFlags", deviceKey), Acts::allFlags, reply);
}

// ScreenInfo

ScreenInfo *ScreenInfo::getInstance()
{
    return theInstance<ScreenInfo>();
}

bool ScreenInfo::getScreens(const QString &deviceKey, Map &reply, bool refresh)
{
    return serve(call("ScreenInfo::getScreens", deviceKey, {}, refresh), Acts::screens, reply);
}

bool ScreenInfo::getGammaAllList(const QString &deviceKey, const QString &screen, Map &reply)
{
    return serve(callFor(screen, "ScreenInfo::getGammaAllList", deviceKey), Acts::screenGamma, reply);
}

bool ScreenInfo::setBrightness(const QString &deviceKey, const QString &screen, const Map &request)
{
    return serve(callFor(screen, "ScreenInfo::setBrightness", deviceKey, request), Acts::setScreenBrightness);
}

bool ScreenInfo::setGammaTable(const QString &deviceKey, const QString &screen, const Map &request)
{
    return serve(callFor(screen, "ScreenInfo::setGammaTable", deviceKey, request), Acts::setScreenGamma);
}

bool ScreenInfo::setPixelImage(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("ScreenInfo::setPixelImage", deviceKey, request), Acts::setPixelImage, reply);
}

bool ScreenInfo::setPixelImageMode(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("ScreenInfo::setPixelImageMode", deviceKey, request), Acts::setPixelImageMode, reply);
}

bool ScreenInfo::setCheckerBoardImage(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("ScreenInfo::setCheckerBoardImage", deviceKey, request), Acts::setCheckerboard, reply);
}

bool ScreenInfo::setCheckerBoardImage(const QString &deviceKey, const Map &request, Map &reply, Headers &responseHeader)
{
    return serve(call("ScreenInfo::setCheckerBoardImage(responseHeader)", deviceKey, request), Acts::askCheckerboard, reply,
                 &responseHeader);
}

bool ScreenInfo::setCorrectClearImage(const QString &deviceKey, const Map &request)
{
    return serve(call("ScreenInfo::setCorrectClearImage", deviceKey, request), Acts::clearImage);
}

// HWInfo

HWInfo *HWInfo::getInstance()
{
    return theInstance<HWInfo>();
}

bool HWInfo::getHWInfo(const QString &deviceKey, Map &reply, bool refresh)
{
    return serve(call("HWInfo::getHWInfo", deviceKey, {}, refresh), Acts::hardware, reply);
}

bool HWInfo::lock(const QString &deviceKey, const Map &request, Map &reply)
{
    return serve(call("HWInfo::lock", deviceKey, request), Acts::lock, reply);
}

bool HWInfo::unLock(const QString &deviceKey, const Map &request)
{
    return serve(call("HWInfo::unLock", deviceKey, request), Acts::unlock);
}

// HttpProxy

HttpProxy *HttpProxy::getInstance()
{
    return theInstance<HttpProxy>();
}

void HttpProxy::initialize(bool enable)
{
    Call call;
    call.operation = QStringLiteral("HttpProxy::initialize");
    call.extra = enable;
    serve(call, Acts::initialize);
}

QList<HttpDeviceInfo> HttpProxy::getDeviceList()
{
    Call call;
    call.operation = QStringLiteral("HttpProxy::getDeviceList");
    List reply;
    QList<HttpDeviceInfo> devices;
    if (serve(call, Acts::deviceList, reply)) {
        for (const QVariant &device : qAsConst(reply)) {
            const Map map = device.toMap();
            devices += {map.value(QStringLiteral("key")).toString(), map.value(QStringLiteral("label")).toString()};
        }
    }
    return devices;
}

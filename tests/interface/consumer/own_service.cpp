// A host with a device service of its own, in the program itself: one device "A" that drives one cabinet "1".

#include "tour.h"

#include <adapter/Signatures.h>

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

void HttpProxy::initialize(bool) {}

QList<HttpDeviceInfo> HttpProxy::getDeviceList()
{
    return {HttpDeviceInfo{QStringLiteral("A"), QStringLiteral("the only device")}};
}

namespace {

using Adapter::At;
using Adapter::Operation;

// What this device can do.

bool serve(At<Operation::HWInfo_getHWInfo>, const QString &, Map &reply, bool)
{
    reply.insert(QStringLiteral("customName"), QStringLiteral("custom"));
    return true;
}

bool serve(At<Operation::ScreenInfo_getScreens>, const QString &, Map &reply, bool)
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

bool serve(At<Operation::CabinetInfoOperator_getAllCabinetsInfo>, const QString &, List &reply, bool)
{
    reply.append(Map{{QStringLiteral("id"), QStringLiteral("1")}, {QStringLiteral("outputID"), QStringLiteral("1")}});
    return true;
}

bool serve(At<Operation::CabinetInfoOperator_getCabAllFlags>, const QString &, List &reply)
{
    reply.append(Map{{QStringLiteral("id"), QStringLiteral("1")}, {QStringLiteral("flag"), QStringLiteral("new")}});
    return true;
}

bool serve(At<Operation::Correctionop_loadCoefficient>, const QString &, const QString &, List &reply)
{
    reply.append(Map{{QStringLiteral("area.size.width"), 4},
                     {QStringLiteral("area.size.height"), 2},
                     {QStringLiteral("coefficients"), device.coefficients}});
    return true;
}

QtPromise::QPromise<bool> serve(At<Operation::Correctionop_uploadCoefficientAsync>, const QString &deviceKey,
                                const List &request)
{
    return take(deviceKey, request);
}

bool serve(At<Operation::Correctionop_saveCabinetsCoeffcient>, const QString &, const Map &, Map &)
{
    ++device.saves;
    return true;
}

bool serve(At<Operation::Correctionop_setMutiCabinetSolid>, const QString &, const Map &, Map &)
{
    ++device.saves;
    return true;
}

// What it refuses: everything else.

struct Refused {
    operator bool() const { return false; }
    operator QtPromise::QPromise<bool>() const { return QtPromise::QPromise<bool>::resolve(false); }
};

template <Operation::Id Id, typename... Arguments>
Refused serve(At<Id>, const Arguments &...)
{
    return {};
}

} // namespace

#define OPERATION(service, name, ...) ADAPTER_DEFINE(service##_##name, service, name, __VA_ARGS__)
#define OPERATION_WITH_HEADERS(service, name, ...) ADAPTER_DEFINE(service##_##name##_Headers, service, name, __VA_ARGS__)
#define DISCOVERY(...) // above
#include <adapter/Operations.def>

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

#include "CountingService.h"

#include <adapter/Signatures.h>

#include <QtCore/QHash>
#include <QtCore/QTimer>

#include <algorithm>

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

namespace {

struct Device {
    Map screen;
    List cabinets;
    List flags;
};

struct State {
    QList<HttpDeviceInfo> discovered;
    QHash<QString, Device> devices;
    QVector<CountingService::CabinetPlace> places;
    QHash<QString, List> coefficients; ///< by cabinet id
    QVector<List> uploads;
    qint64 calls = 0;
};

State &state()
{
    static State theState;
    return theState;
}

int latency = 0;

bool count()
{
    ++state().calls;
    return true;
}

template <class Service>
Service *instance()
{
    static Service service;
    return &service;
}

/// A receiving card or a module, in the frame of its cabinet.
Map partOf(const QString &id, const QRect &rect)
{
    return {{QStringLiteral("id"), id},
            {QStringLiteral("flag"), QStringLiteral("new")},
            {QStringLiteral("x"), rect.x()},
            {QStringLiteral("y"), rect.y()},
            {QStringLiteral("width"), rect.width()},
            {QStringLiteral("height"), rect.height()}};
}

/// A cabinet's entry in the reply of flags; its modules are side by side.
Map flagsOf(const QString &id, const QSize &size, int modules)
{
    List moduleFlags;
    for (int module = 0; module < modules; ++module) {
        const int width = size.width() / modules;
        moduleFlags.append(partOf(QString::number(module), QRect(module * width, 0, width, size.height())));
    }
    Map card = partOf(QStringLiteral("0"), QRect(QPoint(), size));
    card.insert(QStringLiteral("moduleflags"), moduleFlags);
    return {{QStringLiteral("id"), id},
            {QStringLiteral("flag"), QStringLiteral("new")},
            {QStringLiteral("recvcardflags"), List{card}}};
}

QtPromise::QPromise<bool> take(const List &request)
{
    count();
    state().uploads.append(request);
    if (latency == 0)
        return QtPromise::QPromise<bool>::resolve(true);
    return QtPromise::QPromise<bool>([](const QtPromise::QPromiseResolve<bool> &resolve) {
        QTimer::singleShot(latency, Qt::PreciseTimer, [resolve] { resolve(true); });
    });
}

} // namespace

namespace CountingService {

void setWall(const Wall &wall)
{
    state() = State();
    int id = 0;
    for (int number = 0; number < wall.devices; ++number) {
        const QString deviceKey = QStringLiteral("device %1").arg(number, 3, 10, QLatin1Char('0'));
        const QPoint origin(number * wall.area.width(), 0);
        Device device;
        List placed;
        for (int y = 0; y < wall.area.height(); y += wall.cabinet.height()) {
            for (int x = 0; x < wall.area.width(); x += wall.cabinet.width()) {
                const QString cabinetId = QString::number(++id);
                const QRect rect = QRect(QPoint(x, y), wall.cabinet).intersected(QRect(QPoint(), wall.area));
                state().places.append({deviceKey, cabinetId, rect.translated(origin)});
                placed.append(Map{{QStringLiteral("cabinetID"), cabinetId},
                                  {QStringLiteral("outputID"), QStringLiteral("1")},
                                  {QStringLiteral("position.x"), x},
                                  {QStringLiteral("position.y"), y},
                                  {QStringLiteral("size.width"), rect.width()},
                                  {QStringLiteral("size.height"), rect.height()}});
                device.cabinets.append(
                    Map{{QStringLiteral("id"), cabinetId}, {QStringLiteral("outputID"), QStringLiteral("1")}});
                device.flags.append(flagsOf(cabinetId, rect.size(), wall.modules));
            }
        }
        device.screen = Map{{QStringLiteral("screenUUID"), QStringLiteral("screen")},
                            {QStringLiteral("screenName"), QStringLiteral("Screen")},
                            {QStringLiteral("expendInfo.isAllowSingleDev"), true},
                            {QStringLiteral("position.x"), origin.x()},
                            {QStringLiteral("position.y"), origin.y()},
                            {QStringLiteral("subScreens"), List{Map{{QStringLiteral("cabinets"), placed}}}}};
        state().discovered.append(HttpDeviceInfo{deviceKey, deviceKey});
        state().devices.insert(deviceKey, device);
    }
}

const QVector<CabinetPlace> &cabinets()
{
    return state().places;
}

void setCoefficients(const QString &cabinetId, const QString &text)
{
    const auto &places = state().places;
    const auto place =
        std::find_if(places.cbegin(), places.cend(), [&](const CabinetPlace &other) { return other.id == cabinetId; });
    Q_ASSERT(place != places.cend());
    state().coefficients.insert(cabinetId, List{Map{{QStringLiteral("area.point.x"), 0},
                                                    {QStringLiteral("area.point.y"), 0},
                                                    {QStringLiteral("area.size.width"), place->rect.width()},
                                                    {QStringLiteral("area.size.height"), place->rect.height()},
                                                    {QStringLiteral("coefficients"), text}}});
}

QVariantList coefficients(const QString &cabinetId)
{
    return state().coefficients.value(cabinetId);
}

void setLatency(int milliseconds)
{
    latency = milliseconds;
}

qint64 callCount()
{
    return state().calls;
}

const QVector<QVariantList> &uploads()
{
    return state().uploads;
}

void dropUploads()
{
    state().uploads.clear();
}

} // namespace CountingService

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

// What answers with more than true.

void HttpProxy::initialize(bool)
{
    count();
}
QList<HttpDeviceInfo> HttpProxy::getDeviceList()
{
    count();
    return state().discovered;
}

namespace {

using Adapter::At;
using Adapter::Operation;

bool serve(At<Operation::HWInfo_getHWInfo>, const QString &deviceKey, Map &reply, bool)
{
    reply.insert(QStringLiteral("customName"), deviceKey);
    return count();
}
bool serve(At<Operation::ScreenInfo_getScreens>, const QString &deviceKey, Map &reply, bool)
{
    reply = state().devices.value(deviceKey).screen;
    return count();
}
bool serve(At<Operation::CabinetInfoOperator_getAllCabinetsInfo>, const QString &deviceKey, List &reply, bool)
{
    reply = state().devices.value(deviceKey).cabinets;
    return count();
}
bool serve(At<Operation::CabinetInfoOperator_getCabAllFlags>, const QString &deviceKey, List &reply)
{
    reply = state().devices.value(deviceKey).flags;
    return count();
}
bool serve(At<Operation::Correctionop_loadCoefficient>, const QString &, const QString &cabinetId, List &reply)
{
    reply = state().coefficients.value(cabinetId);
    return count();
}
QtPromise::QPromise<bool> serve(At<Operation::Correctionop_uploadCoefficientAsync>, const QString &, const List &request)
{
    return take(request);
}
QtPromise::QPromise<bool> serve(At<Operation::Correctionop_uploadMultilayerCoefficientAsync>, const QString &,
                                const List &request)
{
    return take(request);
}
QtPromise::QPromise<bool> serve(At<Operation::Correctionop_uploadLowGrayCoefficientAsync>, const QString &,
                                const List &request)
{
    return take(request);
}

/// The rest counts.
template <Operation::Id Id, typename... Arguments>
bool serve(At<Id>, const Arguments &...)
{
    return count();
}

} // namespace

#define OPERATION(service, name, ...) ADAPTER_DEFINE(service##_##name, service, name, __VA_ARGS__)
#define OPERATION_WITH_HEADERS(service, name, ...) ADAPTER_DEFINE(service##_##name##_Headers, service, name, __VA_ARGS__)
#define DISCOVERY(...) // above
#include <adapter/Operations.def>

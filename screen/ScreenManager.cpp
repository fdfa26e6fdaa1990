#include <Correction/ScreenManager.h>

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>

#include "cabinet/DeviceCall.h"
#include "model/Arithmetic.h"
#include "model/Logging.h"
#include "model/MapCursor.h"

#include <service/CabinetInfoOperator.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

#include <QtCore/QStringBuilder>

#include <array>
#include <memory>
#include <new>
#include <vector>

namespace Correction {
namespace {

using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

ScreenManager *instance = nullptr;

/// The records that the last refresh made. Registered cabinets refer to them, and the registry releases a cabinet without
/// its record; so they are kept until the next refresh has emptied the registry. Never destroyed: cabinets may be used until
/// the process ends.
std::vector<std::unique_ptr<CabinetInfo>> &refreshRecords()
{
    static auto *const records = new std::vector<std::unique_ptr<CabinetInfo>>;
    return *records;
}

/// The number of the manager's calls in progress on this thread: a service call may run the event loop, and a host may
/// refresh from there, but not release the manager.
class ManagerScope
{
public:
    enum Call { Init, Refresh };

    explicit ManagerScope(Call call) : m_call(call) { ++depths[m_call]; }
    ~ManagerScope() { --depths[m_call]; }
    ManagerScope(const ManagerScope &) = delete;
    ManagerScope &operator=(const ManagerScope &) = delete;

    static bool isInside() { return depths[Init] + depths[Refresh] > 0; }
    static bool isOutermostRefresh() { return depths[Refresh] == 1; }

private:
    static thread_local std::array<int, 2> depths;

    Call m_call;
};

thread_local std::array<int, 2> ManagerScope::depths{};

/// Releases a cabinet that could not be registered. Like the registry it does not delete the cabinet's record.
struct StorageDeleter {
    void operator()(CabinetV4 *cabinet) const noexcept { ::operator delete(static_cast<void *>(cabinet)); }
};

/// The fields of a map of a reply. Lookups in key order are fastest.
using Fields = MapCursor<QVariant>;

QString textOf(Fields &fields, const QString &key)
{
    const QVariant *const value = fields.find(key);
    return value ? value->toString() : QString();
}

int numberOf(Fields &fields, const QString &key)
{
    const QVariant *const value = fields.find(key);
    return value ? value->toInt() : 0;
}

QVariantList listOf(Fields &fields, const QString &key)
{
    const QVariant *const value = fields.find(key);
    return value ? value->toList() : QVariantList();
}

QPoint positionOf(Fields &fields)
{
    const int x = numberOf(fields, QStringLiteral("position.x"));
    return QPoint(x, numberOf(fields, QStringLiteral("position.y")));
}

QPoint sum(const QPoint &a, const QPoint &b)
{
    return QPoint(wrapAdd(a.x(), b.x()), wrapAdd(a.y(), b.y()));
}

/// A receiving card or a module of a flags reply.
template <class Record>
std::unique_ptr<Record> partOf(const QVariantMap &reply)
{
    Fields fields(reply);
    auto record = std::make_unique<Record>();
    record->flag = textOf(fields, QStringLiteral("flag"));
    const int height = numberOf(fields, QStringLiteral("height"));
    record->id = textOf(fields, QStringLiteral("id"));
    const int width = numberOf(fields, QStringLiteral("width"));
    const int x = numberOf(fields, QStringLiteral("x"));
    const int y = numberOf(fields, QStringLiteral("y"));
    record->rect = rectOf(x, y, width, height);
    return record;
}

template <class Record>
void appendOwned(QList<Record *> &list, std::unique_ptr<Record> record)
{
    list.append(nullptr); // allocates, so that the next line does not
    list.last() = record.release();
}

/// Cabinet and output id: the key that layout and cabinet list share.
QString placementKey(const QString &cabinetId, const QString &outputId)
{
    return cabinetId % QLatin1Char('-') % outputId;
}

/// False when the id is taken; the registered cabinet stays.
bool registerCabinet(CabinetInfo *record)
{
    std::unique_ptr<CabinetV4, StorageDeleter> cabinet(new CabinetV4(record));
    const bool isRegistered = CabinetManager::getInstance()->addCabinet(record->id, cabinet.get());
    if (isRegistered)
        static_cast<void>(cabinet.release());
    return isRegistered;
}

/// Warns when the registered cabinet of an id belongs to another device than `deviceKey`, whose sub-screen then holds an id
/// that leads to that other device.
void warnOfSharedId(const QString &id, const QString &deviceKey)
{
    const QString first = CabinetManager::getInstance()->tryGetCabinet(id)->getDeviceKey();
    if (first != deviceKey) {
        qCWarning(lcCorrection).noquote()
            << QStringLiteral("Cabinet id %1 is on two devices, %2 and %3. Only the cabinet of %2 can be addressed.")
                   .arg(id, first, deviceKey);
    }
}

/// The shared data of one refresh.
struct Refresh {
    QMap<QString, QString> placements; ///< placement key -> cabinet id
    QMap<QString, CabinetInfo *> records;
};

/// Places a device's cabinets on its sub-screen; 8 at one that no device listed.
EnumErrorCode placeCabinets(const Refresh &refresh, const HttpDeviceInfo &device, const QVariantMap &screenReply,
                            ISubScreen &target)
{
    MapCursor<QString> placements(refresh.placements);
    MapCursor<CabinetInfo *> records(refresh.records);
    Fields screen(screenReply);
    const QPoint screenOrigin = positionOf(screen);
    const QVariantList subScreens = listOf(screen, QStringLiteral("subScreens"));
    for (const QVariant &subScreenElement : subScreens) {
        const QVariantMap subScreenReply = subScreenElement.toMap();
        Fields subScreen(subScreenReply);
        const QVariantList cabinets = listOf(subScreen, QStringLiteral("cabinets"));
        const QPoint subScreenOrigin = sum(screenOrigin, positionOf(subScreen));
        for (const QVariant &cabinetElement : cabinets) {
            const QVariantMap cabinetReply = cabinetElement.toMap();
            Fields cabinet(cabinetReply);
            const QString cid = textOf(cabinet, QStringLiteral("cabinetID"));
            const QString placement = placementKey(cid, textOf(cabinet, QStringLiteral("outputID")));
            if (!placements.find(placement)) {
                qCCritical(lcCorrection) << " deviceInfo.deviceKey : " << device.label << "screenInfo:  " << placement;
                return enCabinetNotFound;
            }
            CabinetInfo *const *const found = records.find(cid);
            if (!found)
                continue;
            CabinetInfo *const record = *found;
            const QPoint origin = sum(subScreenOrigin, positionOf(cabinet));
            const int width = numberOf(cabinet, QStringLiteral("size.width"));
            const int height = numberOf(cabinet, QStringLiteral("size.height"));
            record->rect = rectOf(origin.x(), origin.y(), width, height);
            qCDebug(lcCorrection) << "\n"
                                  << cid << "cabinet rect"
                                  << "x:" << origin.x() << "y:" << origin.y() << "w:" << width << "h:" << height << "\n";
            const bool isRegistered = registerCabinet(record);
            if (target.addCabinet(record->id, record->flag) && !isRegistered)
                warnOfSharedId(record->id, device.key);
        }
    }
    return enSuccess;
}

} // namespace

ScreenManager::ScreenManager() = default;
ScreenManager::~ScreenManager() = default;

ScreenManager *ScreenManager::getInstance()
{
    if (!instance)
        instance = new ScreenManager;
    return instance;
}

void ScreenManager::releaseInstance()
{
    if (ManagerScope::isInside()) {
        qCCritical(lcCorrection)
            << "ScreenManager::releaseInstance is refused inside init and refreshScreen: call it when they "
               "have returned";
        return;
    }
    delete instance;
    instance = nullptr;
}

void ScreenManager::init()
{
    const ManagerScope scope(ManagerScope::Init);
    callService<HttpProxy>([this](HttpProxy &proxy) {
        // A separate call: when it throws, the notifications are still relayed.
        callService<HttpProxy>([](HttpProxy &service) {
            service.initialize(true);
            return true;
        });
        return bool(connect(&proxy, &HttpProxy::deviceChanged, this, &ScreenManager::signal_screenChanged));
    });
    callService<ScreenInfo>([this](ScreenInfo &screenInfo) {
        return bool(
            connect(&screenInfo, &ScreenInfo::signal_screenNameChanged, this, &ScreenManager::signal_screenNameChanged));
    });
}

// Not through callDevice(): its check for deep nesting would slow every refresh down on the largest replies.
EnumErrorCode ScreenManager::refreshScreen()
{
    const ManagerScope scope(ManagerScope::Refresh);
    qCDebug(lcCorrection) << "start getDeviceList";
    QList<HttpDeviceInfo> devices;
    callService<HttpProxy>([&devices](HttpProxy &proxy) {
        devices = proxy.getDeviceList();
        return true;
    });
    if (devices.isEmpty()) {
        qCCritical(lcCorrection) << "hwList.isEmpty()";
        return enNoDevice;
    }

    qCDebug(lcCorrection) << "start removeAllScreen";
    removeAllScreen();
    qCDebug(lcCorrection) << "start CabinetManager removeAllScreen";
    CabinetManager::getInstance()->removeCabinets();
    if (ManagerScope::isOutermostRefresh() && !OperationScope::isInside())
        refreshRecords().clear(); // no registered cabinet refers to them any more

    Refresh refresh;
    for (const HttpDeviceInfo &device : qAsConst(devices)) {
        const QString &deviceKey = device.key;
        qCDebug(lcCorrection) << "start getScreens";
        QVariantMap hardware;
        callService<HWInfo>([&](HWInfo &service) { return service.getHWInfo(deviceKey, hardware, true); });

        QVariantMap screenReply;
        if (!callService<ScreenInfo>(
                [&](ScreenInfo &service) { return service.getScreens(deviceKey, screenReply, true); })) {
            qCCritical(lcCorrection) << "getScreens error" << deviceKey;
            continue;
        }

        QVariantList cabinets;
        const auto queryCabinets = [&](CabinetInfoOperator &service) {
            return service.getAllCabinetsInfo(deviceKey, cabinets, true);
        };
        if (!callService<CabinetInfoOperator>(queryCabinets)) {
            qCCritical(lcCorrection) << "getAllCabinetsInfo error" << deviceKey;
            continue;
        }
        MapFiller<QString> placements(refresh.placements);
        for (const QVariant &element : qAsConst(cabinets)) {
            const QVariantMap cabinetReply = element.toMap();
            Fields cabinet(cabinetReply);
            const QString id = textOf(cabinet, QStringLiteral("id"));
            const QString placement = placementKey(id, textOf(cabinet, QStringLiteral("outputID")));
            placements.insert(placement, id);
            qCDebug(lcCorrection) << " deviceInfo.deviceKey : " << device.label << "cabinet:  " << placement;
        }

        qCDebug(lcCorrection) << "start getCurruntDeviceCabinetInfos";
        if (getCurruntDeviceCabinetInfos(deviceKey, refresh.records) != enSuccess)
            continue;

        const QString screenId = screenReply.value(QStringLiteral("screenUUID")).toString();
        IScreen *screen = m_screens.value(screenId);
        if (!screen) {
            auto created = std::make_unique<ScreenV4>();
            created->setID(screenId);
            const bool ownName = screenReply.value(QStringLiteral("expendInfo.isAllowSingleDev")).toBool();
            created->setName(ownName ? screenReply.value(QStringLiteral("screenName")).toString()
                                     : hardware.value(QStringLiteral("customName")).toString());
            m_screens.insert(screenId, created.get());
            screen = created.release();
        }
        ISubScreen *subScreen = screen->tryGetSubScreen(deviceKey);
        if (!subScreen) {
            auto created = std::make_unique<SubScreenV4>(deviceKey);
            screen->addSubScreen(deviceKey, created.get());
            subScreen = created.release();
        }
        const EnumErrorCode code = placeCabinets(refresh, device, screenReply, *subScreen);
        if (code != enSuccess)
            return code;
    }
    return enSuccess;
}

QMap<QString, QString> ScreenManager::getNameMapping()
{
    QMap<QString, QString> names;
    for (auto entry = m_screens.cbegin(); entry != m_screens.cend(); ++entry) {
        if (entry.value())
            names.insert(entry.key(), entry.value()->getName());
    }
    return names;
}

IScreen *ScreenManager::tryGetScreen(const QString &id)
{
    return m_screens.value(id);
}

EnumErrorCode ScreenManager::getCurruntDeviceCabinetInfos(const QString &deviceKey,
                                                          QMap<QString, CabinetInfo *> &cabinetInfos)
{
    QVariantList reply;
    const auto queryFlags = [&](CabinetInfoOperator &service) { return service.getCabAllFlags(deviceKey, reply); };
    if (!callService<CabinetInfoOperator>(queryFlags)) {
        qCDebug(lcCorrection) << "getCurruntDeviceCabinetInfos error" << deviceKey;
        return enInvalidParameter;
    }
    MapFiller<CabinetInfo *> records(cabinetInfos);
    for (const QVariant &element : qAsConst(reply)) {
        const QVariantMap cabinetReply = element.toMap();
        Fields cabinet(cabinetReply);
        refreshRecords().push_back(std::make_unique<CabinetInfo>());
        CabinetInfo *const record = refreshRecords().back().get();
        record->flag = textOf(cabinet, QStringLiteral("flag"));
        record->id = textOf(cabinet, QStringLiteral("id"));
        record->deviceKey = deviceKey;
        const QVariantList cards = listOf(cabinet, QStringLiteral("recvcardflags"));
        record->rvCardList.reserve(cards.size());
        for (const QVariant &cardElement : cards) {
            const QVariantMap cardReply = cardElement.toMap();
            appendOwned(record->rvCardList, partOf<RvCardInfo>(cardReply));
            const QVariantList modules = cardReply.value(QStringLiteral("moduleflags")).toList();
            record->moduleList.reserve(modules.size());
            for (const QVariant &moduleElement : modules)
                appendOwned(record->moduleList, partOf<ModuleInfo>(moduleElement.toMap()));
        }
        records.insert(record->id, record);
    }
    return enSuccess;
}

void ScreenManager::removeAllScreen()
{
    RemovedObjects::expect(m_screens.size());
    while (!m_screens.isEmpty()) {
        const auto entry = m_screens.begin();
        RemovedObjects::add(entry.value(), [](void *screen) { delete static_cast<IScreen *>(screen); });
        m_screens.erase(entry);
    }
}

} // namespace Correction

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

/// A reply of a refresh. Where everything in it has been read, and has the expected type, its nesting is known; else the
/// destructor limits its depth. To check each reply as a whole would slow down every refresh on the largest replies.
template <class Reply>
struct RefreshReply {
    explicit RefreshReply(const QString &key) : deviceKey(key) {}
    ~RefreshReply()
    {
        try {
            if (!isKnown)
                limitDepth(reply, deviceKey);
        } catch (const std::bad_alloc &) {
            // Without memory for the limit the reply is released as it is.
        }
    }
    RefreshReply(const RefreshReply &) = delete;
    RefreshReply &operator=(const RefreshReply &) = delete;

    const QString &deviceKey;
    Reply reply;
    bool isKnown = false; ///< Whether all of it has been read, and was as expected.
};

bool isContainer(int type)
{
    return type == QMetaType::QVariantMap || type == QMetaType::QVariantList || type == QMetaType::QVariantHash;
}

/// The fields of a map of a reply. Lookups in key order are fastest. Clears `isKnown` when a field is a container where none
/// is expected, or was not looked up.
class Fields
{
public:
    Fields(const QVariantMap &map, bool &isKnown) : m_map(map), m_cursor(map), m_isKnown(isKnown) {}
    ~Fields()
    {
        if (m_found != m_map.size())
            m_isKnown = false;
    }
    Fields(const Fields &) = delete;
    Fields &operator=(const Fields &) = delete;

    QString text(const QString &key)
    {
        const QVariant *const value = find(key);
        if (!value)
            return QString();
        const int type = value->userType();
        if (type == QMetaType::QString)
            return *static_cast<const QString *>(value->constData());
        expectNoContainer(type);
        return value->toString();
    }

    int number(const QString &key)
    {
        const QVariant *const value = find(key);
        if (!value)
            return 0;
        const int type = value->userType();
        if (type == QMetaType::Int)
            return *static_cast<const int *>(value->constData());
        expectNoContainer(type);
        return value->toInt();
    }

    bool flag(const QString &key)
    {
        const QVariant *const value = find(key);
        if (!value)
            return false;
        expectNoContainer(value->userType());
        return value->toBool();
    }

    QVariantList list(const QString &key)
    {
        const QVariant *const value = find(key);
        if (!value)
            return QVariantList();
        if (value->userType() != QMetaType::QVariantList)
            m_isKnown = false;
        return value->toList();
    }

private:
    const QVariant *find(const QString &key)
    {
        const QVariant *const value = m_cursor.find(key);
        m_found += value ? 1 : 0;
        return value;
    }
    void expectNoContainer(int type)
    {
        if (isContainer(type))
            m_isKnown = false;
    }

    const QVariantMap &m_map;
    MapCursor<QVariant> m_cursor;
    int m_found = 0; ///< Every key is looked up once.
    bool &m_isKnown;
};

/// The map that an element of a list holds.
QVariantMap mapOf(const QVariant &element, bool &isKnown)
{
    if (element.userType() != QMetaType::QVariantMap)
        isKnown = false;
    return element.toMap();
}

QPoint positionOf(Fields &fields)
{
    const int x = fields.number(QStringLiteral("position.x"));
    return QPoint(x, fields.number(QStringLiteral("position.y")));
}

QPoint sum(const QPoint &a, const QPoint &b)
{
    return QPoint(wrapAdd(a.x(), b.x()), wrapAdd(a.y(), b.y()));
}

/// A receiving card or a module of a flags reply.
template <class Record>
std::unique_ptr<Record> partOf(Fields &fields)
{
    auto record = std::make_unique<Record>();
    record->flag = fields.text(QStringLiteral("flag"));
    const int height = fields.number(QStringLiteral("height"));
    record->id = fields.text(QStringLiteral("id"));
    const int width = fields.number(QStringLiteral("width"));
    const int x = fields.number(QStringLiteral("x"));
    const int y = fields.number(QStringLiteral("y"));
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

/// A device's part of a screen.
struct ScreenPart {
    QString screenId;
    QString screenName;
    bool hasOwnName = false;
    QPoint origin;
    QVariantList subScreens;
};

ScreenPart screenPartOf(const QVariantMap &reply, bool &isKnown)
{
    Fields fields(reply, isKnown);
    ScreenPart part;
    part.hasOwnName = fields.flag(QStringLiteral("expendInfo.isAllowSingleDev"));
    part.origin = positionOf(fields);
    part.screenName = fields.text(QStringLiteral("screenName"));
    part.screenId = fields.text(QStringLiteral("screenUUID"));
    part.subScreens = fields.list(QStringLiteral("subScreens"));
    return part;
}

/// Places a device's cabinets on its sub-screen; enCabinetNotFound at one that no device listed.
EnumErrorCode placeCabinets(const Refresh &refresh, const HttpDeviceInfo &device, const ScreenPart &part, ISubScreen &target,
                            bool &isKnown)
{
    MapCursor<QString> placements(refresh.placements);
    MapCursor<CabinetInfo *> records(refresh.records);
    for (const QVariant &subScreenElement : part.subScreens) {
        const QVariantMap subScreenReply = mapOf(subScreenElement, isKnown);
        Fields subScreen(subScreenReply, isKnown);
        const QVariantList cabinets = subScreen.list(QStringLiteral("cabinets"));
        const QPoint subScreenOrigin = sum(part.origin, positionOf(subScreen));
        for (const QVariant &cabinetElement : cabinets) {
            const QVariantMap cabinetReply = mapOf(cabinetElement, isKnown);
            Fields cabinet(cabinetReply, isKnown);
            const QString cid = cabinet.text(QStringLiteral("cabinetID"));
            const QString placement = placementKey(cid, cabinet.text(QStringLiteral("outputID")));
            if (!placements.find(placement)) {
                qCCritical(lcCorrection) << " deviceInfo.deviceKey : " << device.label
                                         << "screenInfo:  " << LoggedReply{placement};
                return enCabinetNotFound;
            }
            CabinetInfo *const *const found = records.find(cid);
            if (!found)
                continue;
            CabinetInfo *const record = *found;
            const QPoint origin = sum(subScreenOrigin, positionOf(cabinet));
            const int height = cabinet.number(QStringLiteral("size.height"));
            const int width = cabinet.number(QStringLiteral("size.width"));
            record->rect = rectOf(origin.x(), origin.y(), width, height);
            qCDebug(lcCorrection) << "\n"
                                  << LoggedReply{cid} << "cabinet rect"
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
        RefreshReply<QVariantMap> hardware(deviceKey);
        callService<HWInfo>([&](HWInfo &service) { return service.getHWInfo(deviceKey, hardware.reply, true); });

        RefreshReply<QVariantMap> screenReply(deviceKey);
        if (!callService<ScreenInfo>(
                [&](ScreenInfo &service) { return service.getScreens(deviceKey, screenReply.reply, true); })) {
            qCCritical(lcCorrection) << "getScreens error" << deviceKey;
            continue;
        }

        RefreshReply<QVariantList> cabinets(deviceKey);
        const auto queryCabinets = [&](CabinetInfoOperator &service) {
            return service.getAllCabinetsInfo(deviceKey, cabinets.reply, true);
        };
        if (!callService<CabinetInfoOperator>(queryCabinets)) {
            qCCritical(lcCorrection) << "getAllCabinetsInfo error" << deviceKey;
            continue;
        }
        MapFiller<QString> placements(refresh.placements);
        bool areCabinetsKnown = true;
        for (const QVariant &element : qAsConst(cabinets.reply)) {
            const QVariantMap cabinetReply = mapOf(element, areCabinetsKnown);
            Fields cabinet(cabinetReply, areCabinetsKnown);
            const QString id = cabinet.text(QStringLiteral("id"));
            const QString placement = placementKey(id, cabinet.text(QStringLiteral("outputID")));
            placements.insert(placement, id);
            qCDebug(lcCorrection) << " deviceInfo.deviceKey : " << device.label << "cabinet:  " << LoggedReply{placement};
        }

        cabinets.isKnown = areCabinetsKnown;

        qCDebug(lcCorrection) << "start getCurruntDeviceCabinetInfos";
        if (getCurruntDeviceCabinetInfos(deviceKey, refresh.records) != enSuccess)
            continue;

        bool isScreenKnown = true;
        const ScreenPart part = screenPartOf(screenReply.reply, isScreenKnown);
        IScreen *screen = m_screens.value(part.screenId);
        if (!screen) {
            auto created = std::make_unique<ScreenV4>();
            created->setID(part.screenId);
            created->setName(part.hasOwnName ? part.screenName
                                             : hardware.reply.value(QStringLiteral("customName")).toString());
            m_screens.insert(part.screenId, created.get());
            screen = created.release();
        }
        ISubScreen *subScreen = screen->tryGetSubScreen(deviceKey);
        if (!subScreen) {
            auto created = std::make_unique<SubScreenV4>(deviceKey);
            screen->addSubScreen(deviceKey, created.get());
            subScreen = created.release();
        }
        const EnumErrorCode code = placeCabinets(refresh, device, part, *subScreen, isScreenKnown);
        if (code != enSuccess)
            return code;
        screenReply.isKnown = isScreenKnown;
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
    RefreshReply<QVariantList> flags(deviceKey);
    const auto queryFlags = [&](CabinetInfoOperator &service) { return service.getCabAllFlags(deviceKey, flags.reply); };
    if (!callService<CabinetInfoOperator>(queryFlags)) {
        qCDebug(lcCorrection) << "getCurruntDeviceCabinetInfos error" << deviceKey;
        return enInvalidParameter;
    }
    MapFiller<CabinetInfo *> records(cabinetInfos);
    bool areFlagsKnown = true;
    for (const QVariant &element : qAsConst(flags.reply)) {
        const QVariantMap cabinetReply = mapOf(element, areFlagsKnown);
        Fields cabinet(cabinetReply, areFlagsKnown);
        refreshRecords().push_back(std::make_unique<CabinetInfo>());
        CabinetInfo *const record = refreshRecords().back().get();
        record->flag = cabinet.text(QStringLiteral("flag"));
        record->id = cabinet.text(QStringLiteral("id"));
        record->deviceKey = deviceKey;
        const QVariantList cards = cabinet.list(QStringLiteral("recvcardflags"));
        record->rvCardList.reserve(cards.size());
        for (const QVariant &cardElement : cards) {
            const QVariantMap cardReply = mapOf(cardElement, areFlagsKnown);
            Fields card(cardReply, areFlagsKnown);
            appendOwned(record->rvCardList, partOf<RvCardInfo>(card));
            const QVariantList modules = card.list(QStringLiteral("moduleflags"));
            record->moduleList.reserve(modules.size());
            for (const QVariant &moduleElement : modules) {
                const QVariantMap moduleReply = mapOf(moduleElement, areFlagsKnown);
                Fields module(moduleReply, areFlagsKnown);
                appendOwned(record->moduleList, partOf<ModuleInfo>(module));
            }
        }
        records.insert(record->id, record);
    }
    flags.isKnown = areFlagsKnown;
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

#include <Correction/ScreenManager.h>

#include <Correction/CabinetManager.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>

#include "cabinet/DeviceCall.h"
#include "model/Arithmetic.h"
#include "model/Logging.h"
#include "model/MapCursor.h"
#include "screen/CabinetPlacer.h"

#include <service/CabinetInfoOperator.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

#include <QtCore/QHash>
#include <QtCore/QStringBuilder>

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <vector>

namespace Correction {
namespace {

using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

ScreenManager *instance = nullptr;

using Records = std::vector<std::unique_ptr<CabinetInfo>>;

/// The records that the last refresh made. Registered cabinets refer to them, and the registry releases a cabinet without
/// its record; so they are kept until the next refresh has emptied the registry. Never destroyed: cabinets may be used until
/// the process ends.
Records &refreshRecords()
{
    static auto *const records = new Records;
    return *records;
}

/// The records of the refresh before, once no registered cabinet refers to them any more. A refresh fills them again, in
/// their order: releasing them and making as many takes longer.
class SpareRecords
{
public:
    SpareRecords() = default;
    /// Releases those that were not used.
    ~SpareRecords()
    {
        if (m_hasTaken)
            release();
    }
    SpareRecords(const SpareRecords &) = delete;
    SpareRecords &operator=(const SpareRecords &) = delete;

    void take()
    {
        release(); // those of a refresh that is under way on another thread
        spare().swap(refreshRecords());
        m_hasTaken = true;
    }

    /// Appends a record, which may hold old values, to the records of the refresh.
    static CabinetInfo *next()
    {
        Records &records = refreshRecords();
        if (used() == spare().size()) {
            records.push_back(std::make_unique<CabinetInfo>());
        } else {
            records.emplace_back(); // allocates, so that the next line does not
            records.back() = std::move(spare()[used()++]);
        }
        return records.back().get();
    }

private:
    static void release()
    {
        spare().clear();
        used() = 0;
    }
    static Records &spare()
    {
        static auto *const records = new Records;
        return *records;
    }
    static std::size_t &used()
    {
        static std::size_t count = 0;
        return count;
    }

    bool m_hasTaken = false;
};

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

/// The fields of a map of a reply. Lookups in the names' order are fastest: each begins behind the last one. Clears
/// `isKnown` when a field is a container where none is expected, or was not looked up.
class Fields
{
public:
    Fields(const QVariantMap &map, bool &isKnown) : m_map(map), m_next(map.cbegin()), m_isKnown(isKnown) {}
    ~Fields()
    {
        if (m_found != m_map.size())
            m_isKnown = false;
    }
    Fields(const Fields &) = delete;
    Fields &operator=(const Fields &) = delete;

    /// Null without a field of this name.
    template <std::size_t Size>
    const QVariant *find(const char16_t (&name)[Size])
    {
        if (m_next == m_map.cend() || !isNamed(m_next.key(), name)) {
            m_next = m_map.constFind(QString::fromUtf16(name, int(Size) - 1));
            if (m_next == m_map.cend())
                return nullptr;
        }
        ++m_found;
        return &*m_next++;
    }

    template <std::size_t Size>
    QString text(const char16_t (&name)[Size])
    {
        const QVariant *const value = find(name);
        if (!value)
            return QString();
        const int type = value->userType();
        if (type == QMetaType::QString)
            return *static_cast<const QString *>(value->constData());
        expectNoContainer(type);
        return value->toString();
    }

    template <std::size_t Size>
    int number(const char16_t (&name)[Size])
    {
        const QVariant *const value = find(name);
        if (!value)
            return 0;
        const int type = value->userType();
        if (type == QMetaType::Int)
            return *static_cast<const int *>(value->constData());
        expectNoContainer(type);
        return value->toInt();
    }

    template <std::size_t Size>
    bool flag(const char16_t (&name)[Size])
    {
        const QVariant *const value = find(name);
        if (!value)
            return false;
        expectNoContainer(value->userType());
        return value->toBool();
    }

private:
    /// With a length that is known, the comparison is inline.
    template <std::size_t Size>
    static bool isNamed(const QString &key, const char16_t (&name)[Size])
    {
        return key.size() == int(Size) - 1 && std::memcmp(key.constData(), name, (Size - 1) * sizeof *name) == 0;
    }

    void expectNoContainer(int type)
    {
        if (isContainer(type))
            m_isKnown = false;
    }

    const QVariantMap &m_map;
    QVariantMap::const_iterator m_next;
    int m_found = 0; ///< Every name is looked up once.
    bool &m_isKnown;
};

/// The map or list that a value of a reply holds, read in place; empty without a value. A value of another type is
/// converted, and clears `isKnown`.
template <class Container>
class InPlace
{
    static_assert(std::is_same_v<Container, QVariantMap> || std::is_same_v<Container, QVariantList>);

public:
    InPlace(const QVariant *value, bool &isKnown)
    {
        if (!value)
            return;
        if (value->userType() == qMetaTypeId<Container>()) {
            m_held = static_cast<const Container *>(value->constData());
            return;
        }
        isKnown = false;
        if constexpr (std::is_same_v<Container, QVariantMap>)
            m_held = &m_converted.emplace(value->toMap());
        else
            m_held = &m_converted.emplace(value->toList());
    }
    InPlace(const InPlace &) = delete;
    InPlace &operator=(const InPlace &) = delete;

    const Container &operator*() const { return *m_held; }

private:
    static const Container &none()
    {
        static const Container empty;
        return empty;
    }

    std::optional<Container> m_converted;
    const Container *m_held = &none();
};

using MapInPlace = InPlace<QVariantMap>;
using ListInPlace = InPlace<QVariantList>;

QPoint positionOf(Fields &fields)
{
    const int x = fields.number(u"position.x");
    return QPoint(x, fields.number(u"position.y"));
}

QPoint sum(const QPoint &a, const QPoint &b)
{
    return QPoint(wrapAdd(a.x(), b.x()), wrapAdd(a.y(), b.y()));
}

/// Reads a receiving card or a module of a flags reply. `modules`, where there may be some, gets the field that lists them.
template <class Record>
void readPart(Fields &fields, Record &record, const QVariant **modules = nullptr)
{
    record.flag = fields.text(u"flag");
    const int height = fields.number(u"height");
    record.id = fields.text(u"id");
    if (modules)
        *modules = fields.find(u"moduleflags");
    const int width = fields.number(u"width");
    const int x = fields.number(u"x");
    const int y = fields.number(u"y");
    record.rect = rectOf(x, y, width, height);
}

/// Fills a record's cards or modules again, in order. Those that are left are deleted at the end.
template <class Record>
class Refill
{
public:
    /// A host may share the list. It is copied here, where running out of memory does no harm.
    explicit Refill(QList<Record *> &records) : m_records(records) { m_records.detach(); }
    ~Refill()
    {
        while (m_records.size() > m_used)
            delete m_records.takeLast();
    }
    Refill(const Refill &) = delete;
    Refill &operator=(const Refill &) = delete;

    void reserve(int count) { m_records.reserve(count); }

    /// The next one, which may hold old values.
    Record &next()
    {
        if (m_used == m_records.size()) {
            m_records.append(nullptr); // allocates, so that `new` is the last to fail
            m_records.last() = new Record;
        }
        return *m_records.at(m_used++);
    }

private:
    QList<Record *> &m_records;
    int m_used = 0;
};

/// Cabinet and output id: the key that layout and cabinet list share.
QString placementKey(const QString &cabinetId, const QString &outputId)
{
    return cabinetId % QLatin1Char('-') % outputId;
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

/// The cabinets that the devices listed. Screens mostly place them in the same order: then the next one is compared, and no
/// key is made.
class ListedCabinets
{
public:
    void add(const QString &id, const QString &outputId) { m_cabinets.push_back({id, outputId}); }

    bool contains(const QString &id, const QString &outputId)
    {
        if (m_next == m_cabinets.size() || m_cabinets[m_next].id != id || m_cabinets[m_next].outputId != outputId) {
            for (; m_indexed < m_cabinets.size(); ++m_indexed)
                m_index.insert(placementKey(m_cabinets[m_indexed].id, m_cabinets[m_indexed].outputId), m_indexed);
            const auto found = m_index.constFind(placementKey(id, outputId));
            if (found == m_index.cend())
                return false;
            m_next = *found;
        }
        ++m_next;
        return true;
    }

private:
    struct Cabinet {
        QString id;
        QString outputId;
    };

    std::vector<Cabinet> m_cabinets;
    std::size_t m_next = 0;              ///< Behind the last one that was found.
    QHash<QString, std::size_t> m_index; ///< Placement key -> place in `m_cabinets`, for the first `m_indexed`.
    std::size_t m_indexed = 0;
};

/// The shared data of one refresh.
struct Refresh {
    ListedCabinets listed;
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
    part.hasOwnName = fields.flag(u"expendInfo.isAllowSingleDev");
    part.origin = positionOf(fields);
    part.screenName = fields.text(u"screenName");
    part.screenId = fields.text(u"screenUUID");
    part.subScreens = *ListInPlace(fields.find(u"subScreens"), isKnown);
    return part;
}

/// Places a device's cabinets on its sub-screen; enCabinetNotFound at one that no device listed.
EnumErrorCode placeCabinets(Refresh &refresh, const HttpDeviceInfo &device, const ScreenPart &part, ISubScreen &target,
                            bool &isKnown)
{
    MapCursor<CabinetInfo *> records(refresh.records);
    CabinetPlacer placer(target);
    for (const QVariant &subScreenElement : part.subScreens) {
        const MapInPlace subScreenReply(&subScreenElement, isKnown);
        Fields subScreen(*subScreenReply, isKnown);
        const ListInPlace cabinets(subScreen.find(u"cabinets"), isKnown);
        const QPoint subScreenOrigin = sum(part.origin, positionOf(subScreen));
        for (const QVariant &cabinetElement : *cabinets) {
            const MapInPlace cabinetReply(&cabinetElement, isKnown);
            Fields cabinet(*cabinetReply, isKnown);
            const QString cid = cabinet.text(u"cabinetID");
            const QString outputId = cabinet.text(u"outputID");
            if (!refresh.listed.contains(cid, outputId)) {
                qCCritical(lcCorrection) << " deviceInfo.deviceKey : " << device.label
                                         << "screenInfo:  " << LoggedReply{placementKey(cid, outputId)};
                return enCabinetNotFound;
            }
            CabinetInfo *const *const found = records.find(cid);
            if (!found)
                continue;
            CabinetInfo *const record = *found;
            const QPoint origin = sum(subScreenOrigin, positionOf(cabinet));
            const int height = cabinet.number(u"size.height");
            const int width = cabinet.number(u"size.width");
            record->rect = rectOf(origin.x(), origin.y(), width, height);
            if (lcCorrection().isDebugEnabled()) {
                qDebug(lcCorrection) << "\n"
                                     << LoggedReply{cid} << "cabinet rect"
                                     << "x:" << origin.x() << "y:" << origin.y() << "w:" << width << "h:" << height << "\n";
                placer.searchAgain(); // the host's message handler may have changed the registry
            }
            if (!placer.place(record)) {
                warnOfSharedId(record->id, device.key);
                placer.searchAgain();
            }
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
    SpareRecords spareRecords;
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
        spareRecords.take();

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
        bool areCabinetsKnown = true;
        for (const QVariant &element : qAsConst(cabinets.reply)) {
            const MapInPlace cabinetReply(&element, areCabinetsKnown);
            Fields cabinet(*cabinetReply, areCabinetsKnown);
            const QString id = cabinet.text(u"id");
            const QString outputId = cabinet.text(u"outputID");
            refresh.listed.add(id, outputId);
            qCDebug(lcCorrection) << " deviceInfo.deviceKey : " << device.label
                                  << "cabinet:  " << LoggedReply{placementKey(id, outputId)};
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
        const MapInPlace cabinetReply(&element, areFlagsKnown);
        Fields cabinet(*cabinetReply, areFlagsKnown);
        CabinetInfo *const record = SpareRecords::next();
        record->flag = cabinet.text(u"flag");
        record->id = cabinet.text(u"id");
        record->deviceKey = deviceKey;
        record->rect = QRect();
        const ListInPlace cards(cabinet.find(u"recvcardflags"), areFlagsKnown);
        Refill<RvCardInfo> cardRecords(record->rvCardList);
        Refill<ModuleInfo> moduleRecords(record->moduleList);
        cardRecords.reserve((*cards).size());
        for (const QVariant &cardElement : *cards) {
            const MapInPlace cardReply(&cardElement, areFlagsKnown);
            Fields card(*cardReply, areFlagsKnown);
            const QVariant *moduleFlags = nullptr;
            readPart(card, cardRecords.next(), &moduleFlags);
            const ListInPlace modules(moduleFlags, areFlagsKnown);
            moduleRecords.reserve((*modules).size());
            for (const QVariant &moduleElement : *modules) {
                const MapInPlace moduleReply(&moduleElement, areFlagsKnown);
                Fields module(*moduleReply, areFlagsKnown);
                readPart(module, moduleRecords.next());
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

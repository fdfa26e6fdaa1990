#include "support/LogCapture.h"

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/ScreenManager.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <cstdlib>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>

using namespace Correction;
using TestSupport::LogCapture;

using CabinetInfos = QMap<QString, CabinetInfo *>;
using NameMap = QMap<QString, QString>;
using Screens = QMap<QString, IScreen *>;

namespace {

static_assert(std::is_base_of<QObject, ScreenManager>::value, "");
static_assert(sizeof(ScreenManager) == sizeof(QObject) + sizeof(Screens), "");
static_assert(!std::is_default_constructible<ScreenManager>::value && !std::is_copy_constructible<ScreenManager>::value, "");

/// The largest allocation that counts as an object of the tree; journals and the like take more.
constexpr std::size_t largestObject = 64;

// Of this thread alone: Qt Test has one of its own, which allocates at any time.
thread_local int objects = 0;          ///< allocations of the program that are alive
thread_local int allocationsLeft = -1; ///< until the next object fails; negative: none does

} // namespace

// Every allocation of the program passes here, the library's included.
void *operator new(std::size_t size)
{
    if (size <= largestObject && allocationsLeft >= 0 && allocationsLeft-- == 0)
        throw std::bad_alloc();
    void *const storage = std::malloc(size ? size : 1);
    if (!storage)
        throw std::bad_alloc();
    ++objects;
    return storage;
}
void operator delete(void *object) noexcept
{
    if (object)
        --objects;
    std::free(object);
}
void operator delete(void *object, std::size_t) noexcept
{
    operator delete(object);
}

namespace Reach {

/// Protected parts of the manager: its screens, and the step that reads a device's flags.
Screens &screens(ScreenManager &manager);
EnumErrorCode cabinetInfos(ScreenManager &manager, const QString &deviceKey, CabinetInfos &infos);

template <auto ScreenMember, auto InfoStep>
struct Opened {
    friend Screens &screens(ScreenManager &manager) { return manager.*ScreenMember; }
    friend EnumErrorCode cabinetInfos(ScreenManager &manager, const QString &deviceKey, CabinetInfos &infos)
    {
        return (manager.*InfoStep)(deviceKey, infos);
    }
};
template struct Opened<&ScreenManager::m_screens, &ScreenManager::getCurruntDeviceCabinetInfos>;

} // namespace Reach

namespace {

constexpr int least = std::numeric_limits<int>::min();
constexpr int most = std::numeric_limits<int>::max();

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

/// Log lines of the library and calls of the service in one list, in the order in which they happen.
class Timeline
{
public:
    explicit Timeline(Simulator::VirtualWall &wall)
    {
        wall.scripts().on(QString()).run(
            [this](const Simulator::Call &call) { m_lines.append(text("call ") + Simulator::CallJournal::describe(call)); });
    }

    QStringList take()
    {
        QStringList lines;
        lines.swap(m_lines);
        return lines;
    }

private:
    QStringList m_lines;
    LogCapture m_log{
        "correction", [this](QtMsgType type, const QString &line) {
            const char *const level = type == QtDebugMsg ? "debug " : type == QtCriticalMsg ? "critical " : "other ";
            m_lines.append(text(level) + line);
        }};
};

/// A 2 x 1 wall of 8 x 4 cabinets.
Simulator::Device smallDevice(const char *key, const QPoint &origin, int firstCabinetId)
{
    return Simulator::gridDevice(text(key), origin, 2, 1, QSize(8, 4), firstCabinetId);
}

QVariantMap place(const char *cabinetId, const char *outputId, int x, int y, int width, int height)
{
    return {{QStringLiteral("cabinetID"), text(cabinetId)},
            {QStringLiteral("outputID"), text(outputId)},
            {QStringLiteral("position.x"), x},
            {QStringLiteral("position.y"), y},
            {QStringLiteral("size.width"), width},
            {QStringLiteral("size.height"), height}};
}

QVariantMap subScreenPlace(int x, int y, const QVariant &cabinets)
{
    return {{QStringLiteral("position.x"), x}, {QStringLiteral("position.y"), y}, {QStringLiteral("cabinets"), cabinets}};
}

QVariantMap screen(const char *id, int x, int y, const QVariant &subScreens)
{
    return {{QStringLiteral("screenUUID"), text(id)},
            {QStringLiteral("screenName"), text("Name of ") + text(id)},
            {QStringLiteral("expendInfo.isAllowSingleDev"), true},
            {QStringLiteral("position.x"), x},
            {QStringLiteral("position.y"), y},
            {QStringLiteral("subScreens"), subScreens}};
}

QVariantMap listed(const char *id, const char *outputId)
{
    return {{QStringLiteral("id"), text(id)}, {QStringLiteral("outputID"), text(outputId)}};
}

QVariantMap flagged(const char *id, const char *flag)
{
    return {{QStringLiteral("id"), text(id)}, {QStringLiteral("flag"), text(flag)}};
}

/// A card or module of a flags reply.
QVariantMap part(const char *id, const char *flag, int x, int y, int width, int height)
{
    QVariantMap map = flagged(id, flag);
    map[QStringLiteral("x")] = x;
    map[QStringLiteral("y")] = y;
    map[QStringLiteral("width")] = width;
    map[QStringLiteral("height")] = height;
    return map;
}

QStringList discoveryCalls(const char *key)
{
    const QString deviceKey = text(key);
    return {QStringLiteral("HWInfo::getHWInfo(\"%1\", bool true)").arg(deviceKey),
            QStringLiteral("ScreenInfo::getScreens(\"%1\", bool true)").arg(deviceKey),
            QStringLiteral("CabinetInfoOperator::getAllCabinetsInfo(\"%1\", bool true)").arg(deviceKey),
            QStringLiteral("CabinetInfoOperator::getCabAllFlags(\"%1\")").arg(deviceKey)};
}

const QString listCall = QStringLiteral("HttpProxy::getDeviceList()");

QString newSubScreenLine(const char *key)
{
    return text("Cannot find SubScreen. SubScreen key: ") + text(key);
}

/// Left, top, right and bottom: the size of rectangles this large is not an int.
QList<int> coordinates(const QRect &rect)
{
    QList<int> list{0, 0, 0, 0};
    rect.getCoords(&list[0], &list[1], &list[2], &list[3]);
    return list;
}

std::exception_ptr serviceError()
{
    return std::make_exception_ptr(std::runtime_error("the connection broke"));
}

/// A screen of the host's own that records its destruction.
class HostScreen final : public ScreenV4
{
public:
    explicit HostScreen(const QString &id) { setID(id); }
    ~HostScreen() override { ends.append(getID()); }

    static QStringList ends;
};

QStringList HostScreen::ends;

ScreenManager &manager()
{
    return *ScreenManager::getInstance();
}

ICabinet *registered(const char *id)
{
    return CabinetManager::getInstance()->tryGetCabinet(text(id));
}

} // namespace

class tst_Discovery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_log.emplace(); }
    void cleanupTestCase() { m_log.reset(); }
    void init()
    {
        allocationsLeft = -1;
        m_wall.reset();
        m_log->clear();
        HostScreen::ends.clear();
    }
    void cleanup()
    {
        allocationsLeft = -1;
        qDeleteAll(Reach::screens(manager()));
        ScreenManager::releaseInstance();
        CabinetManager::getInstance()->removeCabinets();
        VERIFY_NO_CRITICAL(*m_log);
    }

    // The manager
    void theInstanceIsMadeOnce();
    void releasingMakesRoomForANewInstance();
    void screensOutliveTheReleasedManager();
    void namesAreMappedById();
    void aScreenIsFoundById();

    // Notifications
    void initStartsTheDiscovery();
    void notificationsAreRelayed();
    void nothingIsRelayedBeforeInit();
    void aRefreshEmitsNothing();
    void aReleasedManagerRelaysNoMore();
    void notificationsOfAnotherThreadArriveThroughTheEventLoop();
    void initSurvivesABrokenService();

    // One refresh
    void everyStepFollowsTheOneBefore();
    void aSecondRefreshDropsTheFirstBefore();
    void everyDeviceIsAskedInTheOrderOfTheList();
    void theTreeHoldsWhatTheDevicesSay();
    void noDeviceLeavesEverything();
    void aBrokenDiscoveryIsNoDevice();
    void vanishedDevicesLeaveNothing();
    void everyScreenIsDeletedThroughItsInterface();
    void aDeviceThatFailsIsSkipped_data();
    void aDeviceThatFailsIsSkipped();
    void allDevicesMayFail();
    void theFlagsStepAnswersThree();
    void theFlagsStepMakesTheRecords();

    // Screens and sub-screens
    void theNameComesFromTheScreenOrTheDevice_data();
    void theNameComesFromTheScreenOrTheDevice();
    void devicesWithOneScreenIdShareTheScreen();
    void aDeviceWithoutScreenIdHasTheEmptyOne();
    void aDeviceListedTwiceIsHarmless();
    void aCabinetRemovedBetweenTwoVisitsIsPlacedAgain();
    void aMessageHandlerMayRemoveCabinets_data();
    void aMessageHandlerMayRemoveCabinets();
    void aSubScreenOfTheHostGetsTheCabinets();

    // Placements
    void aPlacementThatNoDeviceListsEndsTheRefresh_data();
    void aPlacementThatNoDeviceListsEndsTheRefresh();
    void theRefreshAfterAnAbortedOneIsComplete();
    void aPlacementWithoutFlagsIsSkipped();
    void theOutputIsPartOfTheIdentity();
    void aDeviceMayPlaceWhatAnotherOneListed();
    void cabinetsComeInAnyOrder();
    void placementsDoNotOutliveTheRefresh();
    void aCabinetPlacedTwiceStandsWhereItWasPlacedLast();
    void anIdOfTwoDevicesBelongsToTheFirst();
    void theLastFlagsOfAnIdCount();
    void placesAreSummed_data();
    void placesAreSummed();

    // Records
    void aRecordHoldsItsCardsAndModules();
    void aMissingFieldIsNotReadFromTheNextOne();
    void aRecordLivesUntilTheNextRefresh();
    void nothingOfTheRefreshBeforeStays();
    void aRefreshInsideAnotherThreadsIsWhole();
    void manyRefreshesStayAtTheSameMemory();
    void aSmallerWallReleasesTheRecordsOfALargerOne();
    void theHostMayRemoveCabinetsBetweenRefreshes();
    void theRefreshSurvivesExhaustion();
    void exhaustionInTheServicePassesThrough();

    // Replies
    void aReplyMayLackAnything_data();
    void aReplyMayLackAnything();
    void numbersAndTextsAreConverted();
    void aHugeReplyIsFine();

private:
    QStringList debugLines() { return m_log->takeDebug(); }
    void script(const char *operation, const char *deviceKey, const QVariant &reply)
    {
        m_wall.scripts().on(text(operation), text(deviceKey)).answer(reply);
    }
    /// Adds a device to the wall with exactly these replies.
    void scriptDevice(const char *key, const QVariant &screens, const QVariant &cabinets, const QVariant &flags)
    {
        Simulator::Device device;
        device.key = text(key);
        device.label = text("Device ") + text(key);
        device.customName = text("Wall ") + text(key);
        m_wall.addDevice(device);
        script("ScreenInfo::getScreens", key, screens);
        script("CabinetInfoOperator::getAllCabinetsInfo", key, cabinets);
        script("CabinetInfoOperator::getCabAllFlags", key, flags);
    }
    /// Refreshes a wall of one cabinet "1" with these flags.
    void discoverOne(const QVariantMap &flags)
    {
        scriptDevice("A",
                     screen("screen", 0, 0, QVariantList{subScreenPlace(0, 0, QVariantList{place("1", "1", 0, 0, 8, 4)})}),
                     QVariantList{listed("1", "1")}, QVariantList{flags});
        QCOMPARE(manager().refreshScreen(), enSuccess);
        m_log->clear();
    }
    /// Registered cabinets' ids with their devices' keys.
    static NameMap cabinetDevices()
    {
        NameMap ids;
        if (!CabinetManager::getInstance()->getMapping(ids))
            return {};
        for (auto entry = ids.begin(); entry != ids.end(); ++entry)
            entry.value() = CabinetManager::getInstance()->tryGetCabinet(entry.key())->getDeviceKey();
        return ids;
    }
    static QRect rectOf(const char *cabinetId)
    {
        CabinetInfo info;
        ICabinet *const cabinet = registered(cabinetId);
        return cabinet && cabinet->GetCabinetInfo(info) == enSuccess ? info.rect : QRect();
    }

    Simulator::VirtualWall &m_wall = Simulator::VirtualWall::instance();
    std::optional<LogCapture> m_log; // made after the test library has installed its own handler
};

// The manager

void tst_Discovery::theInstanceIsMadeOnce()
{
    ScreenManager *const instance = ScreenManager::getInstance();
    QVERIFY(instance);
    QCOMPARE(ScreenManager::getInstance(), instance);
    QVERIFY(!instance->parent());
    QVERIFY(Reach::screens(*instance).isEmpty());
    QCOMPARE(instance->getNameMapping(), NameMap());
    QVERIFY(!instance->tryGetScreen(QString()));
    QCOMPARE(text(instance->metaObject()->className()), text("Correction::ScreenManager"));
    QCOMPARE(m_wall.journal().transcript(), QStringList());
}

void tst_Discovery::releasingMakesRoomForANewInstance()
{
    bool destroyed = false;
    connect(&manager(), &QObject::destroyed, this, [&destroyed] { destroyed = true; });
    ScreenManager::releaseInstance();
    QVERIFY(destroyed);
    ScreenManager::releaseInstance(); // nothing is there to be released
    QVERIFY(ScreenManager::getInstance());
    QCOMPARE(manager().getNameMapping(), NameMap());
}

void tst_Discovery::screensOutliveTheReleasedManager()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    const std::unique_ptr<IScreen> kept(manager().tryGetScreen(QStringLiteral("screen")));
    QVERIFY(kept);
    ScreenManager::releaseInstance();
    QCOMPARE(debugLines(), QStringList()); // no sub-screen ended
    QCOMPARE(kept->getName(), QStringLiteral("Screen"));
    QVERIFY(!manager().tryGetScreen(QStringLiteral("screen")));

    // The registry and the records stay with it.
    QRect rect;
    QCOMPARE(kept->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(0, 0, 16, 4));

    // A new manager's refresh does not touch the screen.
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QVERIFY(manager().tryGetScreen(QStringLiteral("screen")) != kept.get());
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});
    QVERIFY(!debugLines().contains(QStringLiteral("SubScreenV4")));
    QCOMPARE(kept->getID(), QStringLiteral("screen"));
}

void tst_Discovery::namesAreMappedById()
{
    Simulator::Device first = smallDevice("A", QPoint(), 1);
    first.screenId = QStringLiteral("2");
    first.screenName = QStringLiteral("same");
    Simulator::Device second = smallDevice("B", QPoint(), 3);
    second.screenId = QStringLiteral("10");
    second.screenName = QStringLiteral("same");
    m_wall.setDevices({first, second});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    QCOMPARE(manager().getNameMapping(), (NameMap{{text("2"), text("same")}, {text("10"), text("same")}}));

    // What a screen is called now counts; an entry without screen does not.
    manager().tryGetScreen(QStringLiteral("10"))->setName(QStringLiteral("other"));
    Reach::screens(manager()).insert(QStringLiteral("3"), nullptr);
    QCOMPARE(manager().getNameMapping(), (NameMap{{text("2"), text("same")}, {text("10"), text("other")}}));
}

void tst_Discovery::aScreenIsFoundById()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    IScreen *const found = manager().tryGetScreen(QStringLiteral("screen"));
    QVERIFY(found);
    QCOMPARE(manager().tryGetScreen(QStringLiteral("screen")), found);
    QCOMPARE(found->getID(), QStringLiteral("screen"));
    QVERIFY(!manager().tryGetScreen(QStringLiteral("Screen")));
    QVERIFY(!manager().tryGetScreen(QString()));
    QCOMPARE(manager().getNameMapping().size(), 1); // asking adds no entry
}

// Notifications

void tst_Discovery::initStartsTheDiscovery()
{
    QVERIFY(!m_wall.state().isDiscovering());
    manager().init();
    QVERIFY(m_wall.state().isDiscovering());
    QCOMPARE(m_wall.journal().transcript(), QStringList{QStringLiteral("HttpProxy::initialize(bool true)")});
    QCOMPARE(debugLines(), QStringList());
}

void tst_Discovery::notificationsAreRelayed()
{
    QSignalSpy changed(&manager(), &ScreenManager::signal_screenChanged);
    QSignalSpy renamed(&manager(), &ScreenManager::signal_screenNameChanged);
    manager().init();
    QCOMPARE(changed.count() + renamed.count(), 0);
    m_wall.addDevice(smallDevice("A", QPoint(), 1));
    QCOMPARE(changed.count(), 1);
    m_wall.removeDevice(QStringLiteral("A"));
    QCOMPARE(changed.count(), 2);
    QCOMPARE(renamed.count(), 0);

    m_wall.addDevice(smallDevice("B", QPoint(), 1));
    m_wall.renameScreen(QStringLiteral("B"), QStringLiteral("Lobby"));
    QCOMPARE(changed.count(), 3);
    QCOMPARE(renamed.count(), 1);
    QCOMPARE(renamed.first(), (QList<QVariant>{QStringLiteral("B"), QStringLiteral("Lobby")}));
    QCOMPARE(manager().getNameMapping(), NameMap()); // a notification refreshes nothing
}

void tst_Discovery::nothingIsRelayedBeforeInit()
{
    QSignalSpy changed(&manager(), &ScreenManager::signal_screenChanged);
    QSignalSpy renamed(&manager(), &ScreenManager::signal_screenNameChanged);
    m_wall.addDevice(smallDevice("A", QPoint(), 1));
    m_wall.renameScreen(QStringLiteral("A"), QStringLiteral("Lobby"));
    QCOMPARE(changed.count(), 0);
    QCOMPARE(renamed.count(), 0);
}

void tst_Discovery::aRefreshEmitsNothing()
{
    manager().init();
    m_wall.addDevice(smallDevice("A", QPoint(), 1));
    QSignalSpy changed(&manager(), &ScreenManager::signal_screenChanged);
    QSignalSpy renamed(&manager(), &ScreenManager::signal_screenNameChanged);
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    QCOMPARE(changed.count(), 0);
    QCOMPARE(renamed.count(), 0);
}

void tst_Discovery::aReleasedManagerRelaysNoMore()
{
    manager().init();
    ScreenManager::releaseInstance();
    m_wall.addDevice(smallDevice("A", QPoint(), 1));
    m_wall.renameScreen(QStringLiteral("A"), QStringLiteral("Lobby"));

    QSignalSpy changed(&manager(), &ScreenManager::signal_screenChanged);
    m_wall.addDevice(smallDevice("B", QPoint(), 3));
    QCOMPARE(changed.count(), 0); // the new manager begins without relays
    manager().init();
    m_wall.addDevice(smallDevice("C", QPoint(), 5));
    QCOMPARE(changed.count(), 1);
}

void tst_Discovery::notificationsOfAnotherThreadArriveThroughTheEventLoop()
{
    QSignalSpy changed(&manager(), &ScreenManager::signal_screenChanged);
    QSignalSpy renamed(&manager(), &ScreenManager::signal_screenNameChanged);
    manager().init();
    std::thread service([this] {
        m_wall.addDevice(smallDevice("A", QPoint(), 1));
        m_wall.renameScreen(QStringLiteral("A"), QStringLiteral("Lobby"));
    });
    service.join();
    QCOMPARE(changed.count() + renamed.count(), 0);
    QCoreApplication::processEvents();
    QCOMPARE(changed.count(), 1);
    QCOMPARE(renamed.count(), 1);
    QCOMPARE(renamed.first(), (QList<QVariant>{QStringLiteral("A"), QStringLiteral("Lobby")}));
}

void tst_Discovery::initSurvivesABrokenService()
{
    m_wall.addDevice(smallDevice("A", QPoint(), 1));
    m_wall.scripts().on(QStringLiteral("HttpProxy::initialize")).throwException(serviceError());
    QSignalSpy renamed(&manager(), &ScreenManager::signal_screenNameChanged);
    manager().init();
    QCOMPARE(m_log->takeCritical().size(), 1);
    m_wall.renameScreen(QStringLiteral("A"), QStringLiteral("Lobby"));
    QCOMPARE(renamed.count(), 1);
}

// One refresh

void tst_Discovery::everyStepFollowsTheOneBefore()
{
    m_wall.setDevices({smallDevice("A", QPoint(100, 50), 1)});
    Timeline timeline(m_wall);
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(timeline.take(), QStringList({
                                  text("debug start getDeviceList"),
                                  text("call HttpProxy::getDeviceList()"),
                                  text("debug start removeAllScreen"),
                                  text("debug start CabinetManager removeAllScreen"),
                                  text("debug start getScreens"),
                                  text(R"(call HWInfo::getHWInfo("A", bool true))"),
                                  text(R"(call ScreenInfo::getScreens("A", bool true))"),
                                  text(R"(call CabinetInfoOperator::getAllCabinetsInfo("A", bool true))"),
                                  text(R"(debug  deviceInfo.deviceKey :  "Device A" cabinet:   "1-1")"),
                                  text(R"(debug  deviceInfo.deviceKey :  "Device A" cabinet:   "2-1")"),
                                  text("debug start getCurruntDeviceCabinetInfos"),
                                  text(R"(call CabinetInfoOperator::getCabAllFlags("A"))"),
                                  text("critical Cannot find SubScreen. SubScreen key: A"),
                                  text("debug \n \"1\" cabinet rect x: 100 y: 50 w: 8 h: 4 \n"),
                                  text("debug \n \"2\" cabinet rect x: 108 y: 50 w: 8 h: 4 \n"),
                              }));
    QCOMPARE(m_wall.journal().notes(), QStringList()); // every reply was passed in empty
}

void tst_Discovery::aSecondRefreshDropsTheFirstBefore()
{
    Simulator::Device second = smallDevice("B", QPoint(0, 4), 3);
    second.subScreens.first().cabinets.removeLast();
    m_wall.setDevices({smallDevice("A", QPoint(), 1), second});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();

    Timeline timeline(m_wall);
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(timeline.take(), QStringList({
                                  text("debug start getDeviceList"),
                                  text("call HttpProxy::getDeviceList()"),
                                  text("debug start removeAllScreen"),
                                  text("debug SubScreenV4"),
                                  text("debug SubScreenV4"),
                                  text("debug start CabinetManager removeAllScreen"),
                                  text("debug start getScreens"),
                                  text(R"(call HWInfo::getHWInfo("A", bool true))"),
                                  text(R"(call ScreenInfo::getScreens("A", bool true))"),
                                  text(R"(call CabinetInfoOperator::getAllCabinetsInfo("A", bool true))"),
                                  text(R"(debug  deviceInfo.deviceKey :  "Device A" cabinet:   "1-1")"),
                                  text(R"(debug  deviceInfo.deviceKey :  "Device A" cabinet:   "2-1")"),
                                  text("debug start getCurruntDeviceCabinetInfos"),
                                  text(R"(call CabinetInfoOperator::getCabAllFlags("A"))"),
                                  text("critical Cannot find SubScreen. SubScreen key: A"),
                                  text("debug \n \"1\" cabinet rect x: 0 y: 0 w: 8 h: 4 \n"),
                                  text("debug \n \"2\" cabinet rect x: 8 y: 0 w: 8 h: 4 \n"),
                                  text("debug start getScreens"),
                                  text(R"(call HWInfo::getHWInfo("B", bool true))"),
                                  text(R"(call ScreenInfo::getScreens("B", bool true))"),
                                  text(R"(call CabinetInfoOperator::getAllCabinetsInfo("B", bool true))"),
                                  text(R"(debug  deviceInfo.deviceKey :  "Device B" cabinet:   "3-1")"),
                                  text("debug start getCurruntDeviceCabinetInfos"),
                                  text(R"(call CabinetInfoOperator::getCabAllFlags("B"))"),
                                  text("critical Cannot find SubScreen. SubScreen key: B"),
                                  text("debug \n \"3\" cabinet rect x: 0 y: 4 w: 8 h: 4 \n"),
                              }));
}

void tst_Discovery::everyDeviceIsAskedInTheOrderOfTheList()
{
    m_wall.setDevices({smallDevice("C", QPoint(), 1), smallDevice("A", QPoint(), 3), smallDevice("B", QPoint(), 5)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_wall.journal().transcript(),
             QStringList{listCall} + discoveryCalls("C") + discoveryCalls("A") + discoveryCalls("B"));
    QCOMPARE(m_wall.journal().notes(), QStringList());
    QCOMPARE(m_log->takeCritical(), QStringList({newSubScreenLine("C"), newSubScreenLine("A"), newSubScreenLine("B")}));
}

void tst_Discovery::theTreeHoldsWhatTheDevicesSay()
{
    Simulator::Device device = smallDevice("A", QPoint(100, 50), 1);
    device.subScreens.first().position = QPoint(3, 4);
    device.subScreens.first().cabinets.first().flag = QStringLiteral("one");
    Simulator::SubScreen another;
    another.position = QPoint(-30, 40);
    Simulator::Cabinet cabinet;
    cabinet.id = QStringLiteral("10");
    cabinet.outputId = QStringLiteral("2");
    cabinet.position = QPoint(1, 2);
    cabinet.size = QSize(5, 6);
    cabinet.flag = QStringLiteral("ten");
    another.cabinets.append(cabinet);
    device.subScreens.append(another);
    m_wall.setDevices({device});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});

    // One sub-screen for the device, however many its reply has.
    IScreen *const found = manager().tryGetScreen(QStringLiteral("screen"));
    QVERIFY(found);
    ISubScreen *const subScreen = found->tryGetSubScreen(QStringLiteral("A"));
    QVERIFY(subScreen);
    QList<CabinetInfo> list;
    QCOMPARE(subScreen->tryGetAllCabinetInfoList(list), enSuccess);
    QCOMPARE(list.size(), 3);
    QCOMPARE(list[0].id, QStringLiteral("1"));
    QCOMPARE(list[0].rect, QRect(103, 54, 8, 4));
    QCOMPARE(list[1].id, QStringLiteral("10"));
    QCOMPARE(list[1].rect, QRect(71, 92, 5, 6));
    QCOMPARE(list[2].id, QStringLiteral("2"));
    QCOMPARE(list[2].rect, QRect(111, 54, 8, 4));
    QRect rect;
    QCOMPARE(found->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(QPoint(71, 54), QPoint(118, 97)));

    NameMap flags;
    QVERIFY(CabinetManager::getInstance()->getMapping(flags));
    QCOMPARE(flags, (NameMap{{text("1"), text("one")}, {text("2"), QString()}, {text("10"), text("ten")}}));
    QCOMPARE(cabinetDevices(), (NameMap{{text("1"), text("A")}, {text("2"), text("A")}, {text("10"), text("A")}}));
    for (const char *id : {"1", "2", "10"})
        QCOMPARE(registered(id)->getID(), text(id));

    // The sub-screen sends to its device what it holds.
    m_wall.journal().clear();
    QCOMPARE(subScreen->saveParameter(enSaveCommonCoefficient), enSuccess);
    QCOMPARE(m_wall.journal().transcript(),
             QStringList{
                 text(R"(Correctionop::saveCabinetsCoeffcient("A", {"cids": [qlonglong 1, qlonglong 10, qlonglong 2]}))")});
}

void tst_Discovery::noDeviceLeavesEverything()
{
    QCOMPARE(manager().refreshScreen(), enNoDevice);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("hwList.isEmpty()")});
    QCOMPARE(debugLines(), QStringList{QStringLiteral("start getDeviceList")});

    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    IScreen *const before = manager().tryGetScreen(QStringLiteral("screen"));
    ICabinet *const cabinet = registered("1");
    m_wall.setDevices({});
    m_wall.journal().clear();
    QCOMPARE(manager().refreshScreen(), enNoDevice);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("hwList.isEmpty()")});
    QCOMPARE(debugLines(), QStringList{QStringLiteral("start getDeviceList")});
    QCOMPARE(m_wall.journal().transcript(), QStringList{listCall});
    QCOMPARE(manager().tryGetScreen(QStringLiteral("screen")), before);
    QCOMPARE(registered("1"), cabinet);
    QRect rect;
    QCOMPARE(before->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(0, 0, 16, 4));
}

void tst_Discovery::aBrokenDiscoveryIsNoDevice()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    m_wall.scripts().on(QStringLiteral("HttpProxy::getDeviceList")).throwException(serviceError());
    QCOMPARE(manager().refreshScreen(), enNoDevice);
    const QStringList lines = m_log->takeCritical();
    QCOMPARE(lines.size(), 2); // the exception, and its consequence
    QCOMPARE(lines.last(), QStringLiteral("hwList.isEmpty()"));
    QVERIFY(manager().tryGetScreen(QStringLiteral("screen")));
}

void tst_Discovery::vanishedDevicesLeaveNothing()
{
    Simulator::Device other = smallDevice("B", QPoint(), 3);
    other.screenId = QStringLiteral("other");
    m_wall.setDevices({smallDevice("A", QPoint(), 1), other});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_wall.removeDevice(QStringLiteral("A"));
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    QVERIFY(!manager().tryGetScreen(QStringLiteral("screen")));
    QVERIFY(manager().tryGetScreen(QStringLiteral("other")));
    QCOMPARE(cabinetDevices(), (NameMap{{text("3"), text("B")}, {text("4"), text("B")}}));
}

void tst_Discovery::everyScreenIsDeletedThroughItsInterface()
{
    for (const char *id : {"b", "c", "a"})
        Reach::screens(manager()).insert(text(id), new HostScreen(text(id)));
    Reach::screens(manager()).insert(QStringLiteral("bb"), nullptr);
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    QCOMPARE(HostScreen::ends, QStringList({text("a"), text("b"), text("c")}));
    QCOMPARE(manager().getNameMapping(), (NameMap{{text("screen"), text("Screen")}}));
    QCOMPARE(Reach::screens(manager()).size(), 1);
}

void tst_Discovery::aDeviceThatFailsIsSkipped_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<bool>("throws");
    QTest::addColumn<int>("calls"); // how many of the device's four calls are made
    QTest::addColumn<QString>("critical");
    QTest::addColumn<QString>("debug");

    for (const bool throws : {false, true}) {
        const auto row = [throws](const char *name, const char *operation, int calls, const char *critical,
                                  const char *debug = "") {
            QTest::newRow(qPrintable(text(name) + text(throws ? ": broken" : ": refused")))
                << text(operation) << throws << calls << text(critical) << text(debug);
        };
        row("hardware, which is ignored", "HWInfo::getHWInfo", 4, "Cannot find SubScreen. SubScreen key: B%1");
        row("screens", "ScreenInfo::getScreens", 2, "getScreens error \"B%1\"");
        row("cabinets", "CabinetInfoOperator::getAllCabinetsInfo", 3, "getAllCabinetsInfo error \"B%1\"");
        row("flags", "CabinetInfoOperator::getCabAllFlags", 4, "", "getCurruntDeviceCabinetInfos error \"B%1\"");
    }
}

void tst_Discovery::aDeviceThatFailsIsSkipped()
{
    QFETCH(const QString, operation);
    QFETCH(const bool, throws);
    QFETCH(const int, calls);
    QFETCH(const QString, critical);
    QFETCH(const QString, debug);

    Simulator::Device failing = smallDevice("B%1", QPoint(), 3);
    failing.screenId = QStringLiteral("failing");
    m_wall.setDevices({smallDevice("A", QPoint(), 1), failing, smallDevice("C", QPoint(0, 4), 5)});
    Simulator::Script &failure = m_wall.scripts().on(operation, QStringLiteral("B%1"));
    if (throws)
        failure.throwException(serviceError());
    else
        failure.answerFalseWith(operation == QLatin1String("CabinetInfoOperator::getCabAllFlags")
                                    ? QVariant(QVariantList{flagged("3", "x")})
                                    : QVariant());
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_wall.journal().transcript(),
             QStringList{listCall} + discoveryCalls("A") + discoveryCalls("B%1").mid(0, calls) + discoveryCalls("C"));

    QStringList criticalLines = m_log->takeCritical();
    if (throws)
        criticalLines.removeAt(1); // the exception: the line after A's
    QStringList expected{newSubScreenLine("A"), newSubScreenLine("C")};
    if (!critical.isEmpty())
        expected.insert(1, critical);
    QCOMPARE(criticalLines, expected);
    const QStringList lines = debugLines();
    QCOMPARE(lines.filter(QStringLiteral("error")), debug.isEmpty() ? QStringList() : QStringList{debug});
    QCOMPARE(lines.filter(QStringLiteral("start getScreens")).size(), 3);

    const bool ignored = operation == QLatin1String("HWInfo::getHWInfo");
    NameMap names{{text("screen"), text("Screen")}};
    NameMap cabinets{{text("1"), text("A")}, {text("2"), text("A")}, {text("5"), text("C")}, {text("6"), text("C")}};
    if (ignored) {
        names.insert(text("failing"), text("Screen"));
        cabinets.insert(text("3"), text("B%1"));
        cabinets.insert(text("4"), text("B%1"));
    }
    QCOMPARE(manager().getNameMapping(), names);
    QCOMPARE(cabinetDevices(), cabinets);
}

void tst_Discovery::allDevicesMayFail()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1), smallDevice("B", QPoint(), 3)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    m_wall.scripts().on(QStringLiteral("ScreenInfo::getScreens")).answerFalse();
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(),
             QStringList({QStringLiteral("getScreens error \"A\""), QStringLiteral("getScreens error \"B\"")}));
    QCOMPARE(manager().getNameMapping(), NameMap()); // what was there before is gone all the same
    QCOMPARE(cabinetDevices(), NameMap());
}

void tst_Discovery::theFlagsStepAnswersThree()
{
    m_wall.scripts()
        .on(QStringLiteral("CabinetInfoOperator::getCabAllFlags"))
        .answerFalseWith(QVariantList{flagged("1", "x")});
    CabinetInfo kept;
    const CabinetInfos before{{QStringLiteral("kept"), &kept}};
    CabinetInfos infos = before;
    QCOMPARE(Reach::cabinetInfos(manager(), QStringLiteral("A"), infos), enInvalidParameter);
    QCOMPARE(infos, before);
    QCOMPARE(debugLines(), QStringList{QStringLiteral("getCurruntDeviceCabinetInfos error \"A\"")});
    QCOMPARE(m_wall.journal().transcript(), QStringList{discoveryCalls("A").last()});
}

void tst_Discovery::theFlagsStepMakesTheRecords()
{
    m_wall.scripts()
        .on(QStringLiteral("CabinetInfoOperator::getCabAllFlags"))
        .answer(QVariantList{flagged("2", "two"), flagged("1", "one"), flagged("2", "two again")});
    CabinetInfo kept;
    CabinetInfos infos{{QStringLiteral("kept"), &kept}};
    QCOMPARE(Reach::cabinetInfos(manager(), QStringLiteral("A"), infos), enSuccess);
    QCOMPARE(infos.keys(), QStringList({text("1"), text("2"), text("kept")}));
    QCOMPARE(infos[text("kept")], &kept);
    QCOMPARE(infos[text("1")]->id, text("1"));
    QCOMPARE(infos[text("1")]->flag, text("one"));
    QCOMPARE(infos[text("2")]->flag, text("two again"));
    QCOMPARE(infos[text("2")]->deviceKey, text("A"));
    QCOMPARE(infos[text("2")]->rect, QRect());
    QVERIFY(infos[text("2")]->reserved.isEmpty());
    QVERIFY(infos[text("2")]->rvCardList.isEmpty() && infos[text("2")]->moduleList.isEmpty());
    QCOMPARE(debugLines(), QStringList());
}

// Screens and sub-screens

void tst_Discovery::theNameComesFromTheScreenOrTheDevice_data()
{
    QTest::addColumn<QVariant>("allowed");
    QTest::addColumn<bool>("answers"); // whether the hardware information is answered with true
    QTest::addColumn<QVariantMap>("hardware");
    QTest::addColumn<QString>("name");

    const QVariantMap custom{{QStringLiteral("customName"), QStringLiteral("Custom")}};
    QTest::newRow("its own") << QVariant(true) << true << custom << text("Name of screen");
    QTest::newRow("the device's") << QVariant(false) << true << custom << text("Custom");
    QTest::newRow("nothing said: the device's") << QVariant() << true << custom << text("Custom");
    QTest::newRow("a number for true") << QVariant(1) << true << custom << text("Name of screen");
    QTest::newRow("a number for false") << QVariant(0) << true << custom << text("Custom");
    QTest::newRow("a text for true") << QVariant(text("true")) << true << custom << text("Name of screen");
    QTest::newRow("a text for false") << QVariant(text("false")) << true << custom << text("Custom");
    QTest::newRow("a list, which is false") << QVariant(QVariantList{true}) << true << custom << text("Custom");
    QTest::newRow("the device's, which is missing") << QVariant(false) << true << QVariantMap() << QString();
    QTest::newRow("the device's, which is empty")
        << QVariant(false) << true << QVariantMap{{text("customName"), QString()}} << QString();
    QTest::newRow("the device's, which is a number")
        << QVariant(false) << true << QVariantMap{{text("customName"), 17}} << text("17");
    QTest::newRow("its own, with a failed hardware request")
        << QVariant(true) << false << QVariantMap() << text("Name of screen");
    QTest::newRow("the device's, with a failed hardware request") << QVariant(false) << false << QVariantMap() << QString();
    QTest::newRow("the device's, from a failed request's reply") << QVariant(false) << false << custom << text("Custom");
}

void tst_Discovery::theNameComesFromTheScreenOrTheDevice()
{
    QFETCH(const QVariant, allowed);
    QFETCH(const bool, answers);
    QFETCH(const QVariantMap, hardware);
    QFETCH(const QString, name);

    QVariantMap reply = screen("screen", 0, 0, QVariantList());
    if (allowed.isValid())
        reply[QStringLiteral("expendInfo.isAllowSingleDev")] = allowed;
    else
        reply.remove(QStringLiteral("expendInfo.isAllowSingleDev"));
    scriptDevice("A", reply, QVariantList(), QVariantList());
    Simulator::Script &information = m_wall.scripts().on(QStringLiteral("HWInfo::getHWInfo"));
    if (answers)
        information.answer(hardware);
    else
        information.answerFalseWith(hardware);
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});
    QCOMPARE(manager().getNameMapping(), (NameMap{{text("screen"), name}}));
    QCOMPARE(manager().tryGetScreen(text("screen"))->getName(), name);
}

void tst_Discovery::devicesWithOneScreenIdShareTheScreen()
{
    Simulator::Device second = smallDevice("A", QPoint(16, 0), 3);
    second.screenName = QStringLiteral("comes too late");
    Simulator::Device third = smallDevice("C", QPoint(0, 4), 5);
    third.useScreenName = false;
    m_wall.setDevices({smallDevice("B", QPoint(), 1), second, third});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList({newSubScreenLine("B"), newSubScreenLine("A"), newSubScreenLine("C")}));
    QCOMPARE(manager().getNameMapping(), (NameMap{{text("screen"), text("Screen")}}));
    IScreen *const shared = manager().tryGetScreen(QStringLiteral("screen"));
    const QMap<QString, QRect> rects{
        {text("A"), QRect(16, 0, 16, 4)}, {text("B"), QRect(0, 0, 16, 4)}, {text("C"), QRect(0, 4, 16, 4)}};
    for (auto entry = rects.cbegin(); entry != rects.cend(); ++entry) {
        ISubScreen *const subScreen = shared->tryGetSubScreen(entry.key());
        QVERIFY(subScreen);
        QRect rect;
        QCOMPARE(subScreen->tryGetRect(rect), enSuccess);
        QCOMPARE(rect, entry.value());
    }
    m_wall.journal().clear();
    QCOMPARE(shared->setBrightness(7), enSuccess);
    QCOMPARE(m_wall.journal().transcript(),
             QStringList({text(R"(ScreenInfo::setBrightness("A", "255", {"brightness": int 7}))"),
                          text(R"(ScreenInfo::setBrightness("B", "255", {"brightness": int 7}))"),
                          text(R"(ScreenInfo::setBrightness("C", "255", {"brightness": int 7}))")}));
}

void tst_Discovery::aDeviceWithoutScreenIdHasTheEmptyOne()
{
    QVariantMap reply = screen("", 0, 0, QVariantList());
    reply.remove(QStringLiteral("screenUUID"));
    scriptDevice("A", reply, QVariantList(), QVariantList());
    scriptDevice("B", screen("", 0, 0, QVariantList()), QVariantList(), QVariantList());
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList({newSubScreenLine("A"), newSubScreenLine("B")}));
    QCOMPARE(manager().getNameMapping(), (NameMap{{QString(), text("Name of ")}}));
    IScreen *const nameless = manager().tryGetScreen(QString());
    QVERIFY(nameless && nameless->tryGetSubScreen(text("A")) && nameless->tryGetSubScreen(text("B")));
}

void tst_Discovery::aDeviceListedTwiceIsHarmless()
{
    m_wall.setDevices({smallDevice("A", QPoint(100, 50), 1)});
    const QVariantMap entry{{QStringLiteral("key"), QStringLiteral("A")},
                            {QStringLiteral("label"), QStringLiteral("again")}};
    m_wall.scripts().on(QStringLiteral("HttpProxy::getDeviceList")).answer(QVariantList{entry, entry});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")}); // the second time it is there
    QCOMPARE(m_wall.journal().transcript(), QStringList{listCall} + discoveryCalls("A") + discoveryCalls("A"));
    QCOMPARE(cabinetDevices(), (NameMap{{text("1"), text("A")}, {text("2"), text("A")}}));
    QCOMPARE(rectOf("2"), QRect(108, 50, 8, 4));
    QVERIFY(debugLines().contains(text(R"( deviceInfo.deviceKey :  "again" cabinet:   "1-1")")));
    QRect rect;
    QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(100, 50, 16, 4));
}

void tst_Discovery::aCabinetRemovedBetweenTwoVisitsIsPlacedAgain()
{
    m_wall.setDevices({smallDevice("A", QPoint(100, 50), 1)});
    const QVariantMap entry{{QStringLiteral("key"), QStringLiteral("A")}};
    m_wall.scripts().on(QStringLiteral("HttpProxy::getDeviceList")).answer(QVariantList{entry, entry});
    bool isRemoved = false;
    m_wall.scripts().on(text("CabinetInfoOperator::getCabAllFlags")).after(1).run([&isRemoved](const Simulator::Call &) {
        isRemoved = manager().tryGetScreen(text("screen"))->tryGetSubScreen(text("A"))->removeCabinet(text("1"));
    });
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QVERIFY(isRemoved);
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});
    QCOMPARE(m_log->takeWarning(), QStringList()); // the id is of one device
    QRect rect;
    QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetSubScreen(text("A"))->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(100, 50, 16, 4));
    m_log->clear();
}

void tst_Discovery::aMessageHandlerMayRemoveCabinets_data()
{
    QTest::addColumn<bool>("fromTheRegistry");
    QTest::newRow("from the registry") << true;
    QTest::newRow("from the sub-screen") << false;
}

void tst_Discovery::aMessageHandlerMayRemoveCabinets()
{
    QFETCH(bool, fromTheRegistry);
    scriptDevice("A",
                 screen("S", 0, 0,
                        QVariantList{subScreenPlace(0, 0,
                                                    QVariantList{place("9", "1", 0, 0, 8, 4), place("1", "1", 8, 0, 8, 4),
                                                                 place("2", "1", 16, 0, 8, 4)})}),
                 QVariantList{listed("1", "1"), listed("2", "1"), listed("9", "1")},
                 QVariantList{flagged("1", "one"), flagged("2", "two"), flagged("9", "nine")});
    // Removes the cabinet whose id follows those that are placed next.
    bool isRemoved = false;
    {
        const LogCapture remover("correction", [&](QtMsgType, const QString &line) {
            if (!line.contains(text("x: 16")))
                return;
            isRemoved = fromTheRegistry
                            ? CabinetManager::getInstance()->removeCabinet(text("9"))
                            : manager().tryGetScreen(text("S"))->tryGetSubScreen(text("A"))->removeCabinet(text("9"));
        });
        QCOMPARE(manager().refreshScreen(), enSuccess);
    }
    QVERIFY(isRemoved);
    QCOMPARE(registered("9") == nullptr, fromTheRegistry);
    QCOMPARE(rectOf("1"), QRect(8, 0, 8, 4));
    QCOMPARE(rectOf("2"), QRect(16, 0, 8, 4));
    ISubScreen *const subScreen = manager().tryGetScreen(text("S"))->tryGetSubScreen(text("A"));
    QCOMPARE(subScreen->removeCabinet(text("9")), fromTheRegistry);
    QVERIFY(subScreen->removeCabinet(text("1")) && subScreen->removeCabinet(text("2")));
    m_log->clear();
}

void tst_Discovery::aSubScreenOfTheHostGetsTheCabinets()
{
    class HostSubScreen : public SubScreenV4
    {
    public:
        explicit HostSubScreen(QStringList &ids) : SubScreenV4(QStringLiteral("B")), m_ids(ids) {}
        bool addCabinet(QString id, QString flag) override
        {
            m_ids += id;
            return SubScreenV4::addCabinet(id, flag);
        }

    private:
        QStringList &m_ids;
    };
    m_wall.setDevices({smallDevice("A", QPoint(), 1), smallDevice("B", QPoint(0, 4), 2)}); // both have the id 2
    QStringList ids;
    bool isAdded = false;
    m_wall.scripts().on(text("ScreenInfo::getScreens"), text("B")).run([&](const Simulator::Call &) {
        isAdded = manager().tryGetScreen(text("screen"))->addSubScreen(text("B"), new HostSubScreen(ids));
    });
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QVERIFY(isAdded);
    QCOMPARE(ids, QStringList({text("2"), text("3")}));
    QCOMPARE(m_log->takeWarning(),
             QStringList{text("Cabinet id 2 is on two devices, A and B. Only the cabinet of A can be addressed.")});
    QCOMPARE(cabinetDevices(), (NameMap{{text("1"), text("A")}, {text("2"), text("A")}, {text("3"), text("B")}}));
    QVERIFY(dynamic_cast<HostSubScreen *>(manager().tryGetScreen(text("screen"))->tryGetSubScreen(text("B"))));
    m_log->clear();
}

// Placements

void tst_Discovery::aPlacementThatNoDeviceListsEndsTheRefresh_data()
{
    QTest::addColumn<QVariantMap>("placement");
    QTest::addColumn<QString>("shown");

    QTest::newRow("an unknown cabinet") << place("9", "1", 0, 0, 1, 1) << text("9-1");
    QTest::newRow("an unknown output") << place("3", "7", 0, 0, 1, 1) << text("3-7");
    QTest::newRow("a cabinet in other digits") << place("03", "1", 0, 0, 1, 1) << text("03-1");
    QTest::newRow("neither cabinet nor output") << QVariantMap() << text("-");
    QTest::newRow("no output") << QVariantMap{{text("cabinetID"), text("3")}} << text("3-");
    QTest::newRow("no cabinet") << QVariantMap{{text("outputID"), text("1")}} << text("-1");
}

void tst_Discovery::aPlacementThatNoDeviceListsEndsTheRefresh()
{
    QFETCH(const QVariantMap, placement);
    QFETCH(const QString, shown);

    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    scriptDevice(
        "B",
        screen("other", 10, 20,
               QVariantList{
                   subScreenPlace(0, 0, QVariantList{place("3", "1", 1, 2, 3, 4), placement, place("4", "1", 0, 0, 5, 6)}),
                   subScreenPlace(0, 0, QVariantList{place("5", "1", 0, 0, 7, 8)})}),
        QVariantList{listed("3", "1"), listed("4", "1"), listed("5", "1")},
        QVariantList{flagged("3", "three"), flagged("4", "four"), flagged("5", "five")});
    m_wall.addDevice(smallDevice("C", QPoint(), 6));
    QCOMPARE(manager().refreshScreen(), enCabinetNotFound);
    QCOMPARE(m_wall.journal().transcript(), QStringList{listCall} + discoveryCalls("A") + discoveryCalls("B"));
    QCOMPARE(m_log->takeCritical(),
             QStringList({newSubScreenLine("A"), newSubScreenLine("B"),
                          QStringLiteral(" deviceInfo.deviceKey :  \"Device B\" screenInfo:   \"%1\"").arg(shown)}));

    // What was built stays.
    QCOMPARE(manager().getNameMapping(),
             (NameMap{{text("other"), text("Name of other")}, {text("screen"), text("Screen")}}));
    QCOMPARE(cabinetDevices(), (NameMap{{text("1"), text("A")}, {text("2"), text("A")}, {text("3"), text("B")}}));
    QList<CabinetInfo> list;
    QCOMPARE(manager().tryGetScreen(text("other"))->tryGetAllCabinetInfoList(list), enSuccess);
    QCOMPARE(list.size(), 1);
    QCOMPARE(list.first().rect, QRect(11, 22, 3, 4));
    list.clear();
    QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetAllCabinetInfoList(list), enSuccess);
    QCOMPARE(list.size(), 2);
}

void tst_Discovery::theRefreshAfterAnAbortedOneIsComplete()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1), smallDevice("B", QPoint(0, 4), 3)});
    m_wall.scripts()
        .on(QStringLiteral("CabinetInfoOperator::getAllCabinetsInfo"), QStringLiteral("A"))
        .answer(QVariantList())
        .times(1);
    QCOMPARE(manager().refreshScreen(), enCabinetNotFound);
    QCOMPARE(m_log->takeCritical().last(), text(R"( deviceInfo.deviceKey :  "Device A" screenInfo:   "1-1")"));
    QCOMPARE(cabinetDevices(), NameMap());
    QVERIFY(manager().tryGetScreen(text("screen"))->tryGetSubScreen(text("A")));
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList({newSubScreenLine("A"), newSubScreenLine("B")}));
    QCOMPARE(cabinetDevices(),
             (NameMap{{text("1"), text("A")}, {text("2"), text("A")}, {text("3"), text("B")}, {text("4"), text("B")}}));
}

void tst_Discovery::aPlacementWithoutFlagsIsSkipped()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    script("CabinetInfoOperator::getCabAllFlags", "A", QVariantList{flagged("2", "two"), flagged("7", "nowhere placed")});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});
    QCOMPARE(debugLines().filter(QStringLiteral("cabinet rect")),
             QStringList{text("\n \"2\" cabinet rect x: 8 y: 0 w: 8 h: 4 \n")});
    QCOMPARE(cabinetDevices(), (NameMap{{text("2"), text("A")}}));
    QRect rect;
    QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(8, 0, 8, 4));
}

void tst_Discovery::theOutputIsPartOfTheIdentity()
{
    scriptDevice("A",
                 screen("screen", 0, 0, QVariantList{subScreenPlace(0, 0, QVariantList{place("1", "2-3", 0, 0, 8, 4)})}),
                 QVariantList{listed("1-2", "3")}, QVariantList{flagged("1", "one")});
    // The two texts are joined before they are compared.
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    QCOMPARE(rectOf("1"), QRect(0, 0, 8, 4));
}

void tst_Discovery::aDeviceMayPlaceWhatAnotherOneListed()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    scriptDevice("B",
                 screen("other", 1000, 0, QVariantList{subScreenPlace(0, 0, QVariantList{place("2", "1", 5, 6, 7, 8)})}),
                 QVariantList(), QVariantList());
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList({newSubScreenLine("A"), newSubScreenLine("B")}));

    // Both sub-screens hold the one cabinet, at the place that it got last.
    QCOMPARE(cabinetDevices(), (NameMap{{text("1"), text("A")}, {text("2"), text("A")}}));
    QCOMPARE(rectOf("2"), QRect(1005, 6, 7, 8));
    QList<CabinetInfo> list;
    QCOMPARE(manager().tryGetScreen(text("other"))->tryGetAllCabinetInfoList(list), enSuccess);
    QCOMPARE(list.size(), 1);
    QCOMPARE(list.first().deviceKey, text("A"));
    list.clear();
    QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetAllCabinetInfoList(list), enSuccess);
    QCOMPARE(list.size(), 2);
}

void tst_Discovery::cabinetsComeInAnyOrder()
{
    // The ids of the last two placements and outputs make the same key.
    scriptDevice(
        "A",
        screen("screen", 0, 0,
               QVariantList{subScreenPlace(0, 0,
                                           QVariantList{place("10", "1", 80, 0, 8, 4), place("2", "1", 16, 0, 8, 4),
                                                        place("1", "1", 8, 0, 8, 4), place("9", "1", 72, 0, 8, 4),
                                                        place("3-1", "2", 24, 0, 8, 4)})}),
        QVariantList{listed("2", "1"), listed("9", "1"), listed("10", "1"), listed("1", "1"), listed("3", "1-2")},
        QVariantList{flagged("3-1", "c"), flagged("1", "a"), flagged("10", "x"), flagged("9", "i"), flagged("2", "b")});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    NameMap flags;
    QVERIFY(CabinetManager::getInstance()->getMapping(flags));
    QCOMPARE(flags, (NameMap{{text("1"), text("a")},
                             {text("10"), text("x")},
                             {text("2"), text("b")},
                             {text("3-1"), text("c")},
                             {text("9"), text("i")}}));
    for (const char *const id : {"1", "10", "2", "9"})
        QCOMPARE(rectOf(id).x(), 8 * text(id).toInt());
    QList<CabinetInfo> list;
    QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetAllCabinetInfoList(list), enSuccess);
    QStringList ids;
    for (const CabinetInfo &cabinet : qAsConst(list))
        ids.append(cabinet.id);
    QCOMPARE(ids, flags.keys());
}

void tst_Discovery::placementsDoNotOutliveTheRefresh()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    m_wall.scripts().on(QStringLiteral("CabinetInfoOperator::getAllCabinetsInfo")).answer(QVariantList{listed("1", "1")});
    QCOMPARE(manager().refreshScreen(), enCabinetNotFound);
    QCOMPARE(m_log->takeCritical().last(), text(R"( deviceInfo.deviceKey :  "Device A" screenInfo:   "2-1")"));

    m_wall.scripts().clear();
    m_wall.scripts().on(QStringLiteral("CabinetInfoOperator::getCabAllFlags")).answer(QVariantList());
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});
    QCOMPARE(cabinetDevices(), NameMap()); // nor do records
}

void tst_Discovery::aCabinetPlacedTwiceStandsWhereItWasPlacedLast()
{
    scriptDevice(
        "A",
        screen("screen", 0, 0,
               QVariantList{subScreenPlace(0, 0, QVariantList{place("1", "1", 1, 2, 3, 4), place("1", "1", 5, 6, 7, 8)})}),
        QVariantList{listed("1", "1")}, QVariantList{flagged("1", "one")});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});
    QCOMPARE(m_log->takeWarning(), QStringList()); // it is one device's
    QCOMPARE(rectOf("1"), QRect(5, 6, 7, 8));
    QCOMPARE(debugLines().filter(QStringLiteral("cabinet rect")),
             QStringList({text("\n \"1\" cabinet rect x: 1 y: 2 w: 3 h: 4 \n"),
                          text("\n \"1\" cabinet rect x: 5 y: 6 w: 7 h: 8 \n")}));
    QList<CabinetInfo> list;
    QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetAllCabinetInfoList(list), enSuccess);
    QCOMPARE(list.size(), 1);
}

void tst_Discovery::anIdOfTwoDevicesBelongsToTheFirst()
{
    Simulator::Device first = smallDevice("A", QPoint(), 1);
    first.subScreens.first().cabinets.first().flag = QStringLiteral("of A");
    Simulator::Device second = smallDevice("B", QPoint(0, 4), 1);
    second.subScreens.first().cabinets.first().flag = QStringLiteral("of B");
    second.screenId = QStringLiteral("other");
    second.subScreens += second.subScreens.first(); // placed twice: one warning
    m_wall.setDevices({first, second});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList({newSubScreenLine("A"), newSubScreenLine("B")}));
    QCOMPARE(m_log->takeWarning(),
             QStringList({text("Cabinet id 1 is on two devices, A and B. Only the cabinet of A can be addressed."),
                          text("Cabinet id 2 is on two devices, A and B. Only the cabinet of A can be addressed.")}));
    QCOMPARE(cabinetDevices(), (NameMap{{text("1"), text("A")}, {text("2"), text("A")}}));
    NameMap flags;
    QVERIFY(CabinetManager::getInstance()->getMapping(flags));
    QCOMPARE(flags.value(text("1")), text("of A"));
    QCOMPARE(rectOf("1"), QRect(0, 0, 8, 4));

    // B's sub-screen holds the ids, which now mean the cabinets of A.
    QRect rect;
    QCOMPARE(manager().tryGetScreen(text("other"))->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(0, 0, 16, 4));
    m_wall.journal().clear();
    QCOMPARE(manager().tryGetScreen(text("other"))->saveParameter(enSaveCommonCoefficient), enSuccess);
    QCOMPARE(m_wall.journal().transcript(),
             QStringList{text(R"(Correctionop::saveCabinetsCoeffcient("B", {"cids": [qlonglong 1, qlonglong 2]}))")});
}

void tst_Discovery::theLastFlagsOfAnIdCount()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    script("CabinetInfoOperator::getCabAllFlags", "A",
           QVariantList{flagged("1", "first"), flagged("2", "two"), flagged("1", "last")});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    NameMap flags;
    QVERIFY(CabinetManager::getInstance()->getMapping(flags));
    QCOMPARE(flags, (NameMap{{text("1"), text("last")}, {text("2"), text("two")}}));
}

void tst_Discovery::placesAreSummed_data()
{
    QTest::addColumn<QPoint>("screenAt");
    QTest::addColumn<QPoint>("subScreenAt");
    QTest::addColumn<QPoint>("cabinetAt");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<QPoint>("place");
    QTest::addColumn<QPoint>("corner"); // last pixel

    QTest::newRow("three places") << QPoint(100, 2000) << QPoint(30, 400) << QPoint(5, 60) << 8 << 4 << QPoint(135, 2460)
                                  << QPoint(142, 2463);
    QTest::newRow("negative places") << QPoint(-100, 5) << QPoint(40, -10) << QPoint(-1, -1) << 8 << 4 << QPoint(-61, -6)
                                     << QPoint(-54, -3);
    QTest::newRow("no size") << QPoint(1, 1) << QPoint(1, 1) << QPoint(1, 1) << 0 << 0 << QPoint(3, 3) << QPoint(2, 2);
    QTest::newRow("a negative size") << QPoint() << QPoint() << QPoint(10, 10) << -4 << -1 << QPoint(10, 10) << QPoint(5, 8);
    QTest::newRow("a sum past the greatest number wraps") << QPoint(most, 0) << QPoint(1, most) << QPoint(0, 2) << 1 << 1
                                                          << QPoint(least, least + 1) << QPoint(least, least + 1);
    QTest::newRow("a sum past the least number wraps") << QPoint(least, least) << QPoint(-1, 0) << QPoint(0, -2) << 1 << 1
                                                       << QPoint(most, most - 1) << QPoint(most, most - 1);
    QTest::newRow("a sum that wraps twice and comes back")
        << QPoint(most, least) << QPoint(1, -1) << QPoint(-1, 1) << 1 << 1 << QPoint(most, least) << QPoint(most, least);
    QTest::newRow("the greatest size") << QPoint() << QPoint() << QPoint() << most << most << QPoint(0, 0)
                                       << QPoint(most - 1, most - 1);
    QTest::newRow("a last pixel past the greatest number wraps")
        << QPoint(most, most) << QPoint() << QPoint() << 2 << most << QPoint(most, most) << QPoint(least, -3);
    QTest::newRow("the least size") << QPoint() << QPoint() << QPoint() << least << least << QPoint(0, 0)
                                    << QPoint(most, most);
}

void tst_Discovery::placesAreSummed()
{
    QFETCH(const QPoint, screenAt);
    QFETCH(const QPoint, subScreenAt);
    QFETCH(const QPoint, cabinetAt);
    QFETCH(const int, width);
    QFETCH(const int, height);
    QFETCH(const QPoint, place);
    QFETCH(const QPoint, corner);

    scriptDevice(
        "A",
        screen("screen", screenAt.x(), screenAt.y(),
               QVariantList{subScreenPlace(subScreenAt.x(), subScreenAt.y(),
                                           QVariantList{::place("1", "1", cabinetAt.x(), cabinetAt.y(), width, height)})}),
        QVariantList{listed("1", "1")}, QVariantList{flagged("1", "one")});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});
    QCOMPARE(coordinates(rectOf("1")), QList<int>({place.x(), place.y(), corner.x(), corner.y()}));
    QCOMPARE(debugLines().last(), QStringLiteral("\n \"1\" cabinet rect x: %1 y: %2 w: %3 h: %4 \n")
                                      .arg(place.x())
                                      .arg(place.y())
                                      .arg(width)
                                      .arg(height));
}

// Records

void tst_Discovery::aRecordHoldsItsCardsAndModules()
{
    QVariantMap firstCard = part("7", "card 7", 1, 2, 3, 4);
    firstCard[QStringLiteral("moduleflags")] =
        QVariantList{part("b", "module b", 5, 6, 7, 8), part("a", "module a", 9, 10, 11, 12)};
    QVariantMap secondCard = part("3", "card 3", -1, -2, 0, -4);
    secondCard[QStringLiteral("moduleflags")] = QVariantList{part("b", "another b", most, least, 2, 0)};
    QVariantMap cabinet = flagged("1", "the flag");
    cabinet[QStringLiteral("recvcardflags")] = QVariantList{firstCard, part("5", "bare", 0, 0, 1, 1), secondCard};
    discoverOne(cabinet);

    CabinetInfo info;
    QCOMPARE(registered("1")->GetCabinetInfo(info), enSuccess);
    QCOMPARE(info.id, text("1"));
    QCOMPARE(info.deviceKey, text("A"));
    QVERIFY(info.reserved.isEmpty());
    QCOMPARE(info.rect, QRect(0, 0, 8, 4));
    QString flag;
    QCOMPARE(registered("1")->getFlag(flag), enSuccess);
    QCOMPARE(flag, text("the flag"));

    QCOMPARE(info.rvCardList.size(), 3);
    const auto card = [&info](int i, const char *id, const char *cardFlag, const QList<int> &rect) {
        QCOMPARE(info.rvCardList[i]->id, text(id));
        QCOMPARE(info.rvCardList[i]->flag, text(cardFlag));
        QCOMPARE(coordinates(info.rvCardList[i]->rect), rect);
    };
    card(0, "7", "card 7", {1, 2, 3, 5});
    card(1, "5", "bare", {0, 0, 0, 0});
    card(2, "3", "card 3", {-1, -2, -2, -7});

    // The modules of all cards, card after card.
    QCOMPARE(info.moduleList.size(), 3);
    const auto module = [&info](int i, const char *id, const char *moduleFlag, const QList<int> &rect) {
        QCOMPARE(info.moduleList[i]->id, text(id));
        QCOMPARE(info.moduleList[i]->flag, text(moduleFlag));
        QCOMPARE(coordinates(info.moduleList[i]->rect), rect);
    };
    module(0, "b", "module b", {5, 6, 11, 13});
    module(1, "a", "module a", {9, 10, 19, 21});
    module(2, "b", "another b", {most, least, least, most});
    QCOMPARE(registered("1")->getCabAllFlags().size(), 3);
}

void tst_Discovery::aMissingFieldIsNotReadFromTheNextOne()
{
    QVariantMap card = part("7", "card 7", 1, 2, 3, 4);
    card.remove(QStringLiteral("x")); // "y" is as long
    QVariantMap cabinet = flagged("1", "the flag");
    cabinet[QStringLiteral("recvcardflags")] = QVariantList{card};
    discoverOne(cabinet);
    CabinetInfo info;
    QCOMPARE(registered("1")->GetCabinetInfo(info), enSuccess);
    QCOMPARE(info.rvCardList.size(), 1);
    QCOMPARE(coordinates(info.rvCardList[0]->rect), (QList<int>{0, 2, 2, 5}));
}

void tst_Discovery::aRecordLivesUntilTheNextRefresh()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    const QList<ModuleInfo *> modules = registered("1")->getCabAllFlags();
    QCOMPARE(modules.size(), 4);

    // Neither a removal from the registry nor a refresh that finds no device frees them.
    CabinetManager::getInstance()->removeCabinets();
    m_wall.setDevices({});
    QCOMPARE(manager().refreshScreen(), enNoDevice);
    for (int i = 0; i < modules.size(); ++i)
        QCOMPARE(modules[i]->id, QString::number(i));
    QCOMPARE(modules[3]->rect, QRect(4, 2, 4, 2));
    m_log->clear();
}

void tst_Discovery::nothingOfTheRefreshBeforeStays()
{
    const QVariantMap layout =
        screen("screen", 0, 0,
               QVariantList{subScreenPlace(0, 0, QVariantList{place("1", "1", 0, 0, 8, 4), place("2", "1", 8, 0, 8, 4)})});
    const QVariantList cabinets{listed("1", "1"), listed("2", "1")};
    const auto described = [](const char *id, int cards, int modules) {
        QVariantList moduleFlags;
        for (int i = 0; i < modules; ++i)
            moduleFlags.append(part("m", "old", 1, 2, 3, 4));
        QVariantList cardFlags;
        for (int i = 0; i < cards; ++i) {
            QVariantMap card = part("c", "old", 5, 6, 7, 8);
            card[QStringLiteral("moduleflags")] = moduleFlags;
            cardFlags.append(card);
        }
        QVariantMap cabinet = flagged(id, "old");
        cabinet[QStringLiteral("recvcardflags")] = cardFlags;
        return cabinet;
    };
    scriptDevice("A", layout, cabinets, QVariantList{described("1", 2, 3), described("2", 1, 1)});
    QCOMPARE(manager().refreshScreen(), enSuccess);

    // Fewer cards and modules, without their fields, then more.
    const QVariantMap bareCard{{QStringLiteral("moduleflags"), QVariantList{QVariantMap()}}};
    const QVariantMap bare{{QStringLiteral("id"), text("1")}, {QStringLiteral("recvcardflags"), QVariantList{bareCard}}};
    script("CabinetInfoOperator::getCabAllFlags", "A", QVariantList{bare, described("2", 3, 2)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    CabinetInfo info;
    QCOMPARE(registered("1")->GetCabinetInfo(info), enSuccess);
    QString flag;
    QCOMPARE(registered("1")->getFlag(flag), enSuccess);
    QCOMPARE(flag, QString());
    QCOMPARE(info.rvCardList.size(), 1);
    QCOMPARE(info.moduleList.size(), 1);
    QCOMPARE(info.rvCardList[0]->id + info.rvCardList[0]->flag, QString());
    QCOMPARE(coordinates(info.rvCardList[0]->rect), (QList<int>{0, 0, -1, -1}));
    QCOMPARE(info.moduleList[0]->id + info.moduleList[0]->flag, QString());
    QCOMPARE(coordinates(info.moduleList[0]->rect), (QList<int>{0, 0, -1, -1}));
    QCOMPARE(registered("2")->GetCabinetInfo(info), enSuccess);
    QCOMPARE(info.rvCardList.size(), 3);
    QCOMPARE(info.moduleList.size(), 6);
}

void tst_Discovery::manyRefreshesStayAtTheSameMemory()
{
    // The last device's cabinets are refused by the registry, and one device places nothing.
    Simulator::Device bare = smallDevice("C", QPoint(), 7);
    bare.subScreens.clear();
    m_wall.setDevices(
        {smallDevice("A", QPoint(), 1), smallDevice("B", QPoint(0, 4), 3), bare, smallDevice("D", QPoint(0, 8), 1)});
    script("CabinetInfoOperator::getCabAllFlags", "C", QVariantList{flagged("7", "nowhere placed")});

    int settled = 0;
    for (int i = 0; i < 200; ++i) {
        QCOMPARE(manager().refreshScreen(), enSuccess);
        QRect rect;
        QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetRect(rect), enSuccess);
        QCOMPARE(rect, QRect(0, 0, 16, 8));
        QCOMPARE(registered("4")->getCabAllFlags().size(), 4);
        m_wall.journal().clear();
        m_log->clear();
        if (i == 2)
            settled = objects;
        else if (i > 2)
            QCOMPARE(objects, settled);
    }
}

void tst_Discovery::aSmallerWallReleasesTheRecordsOfALargerOne()
{
    const auto refreshed = [this](const QList<Simulator::Device> &devices) {
        m_wall.setDevices(devices);
        const EnumErrorCode code = manager().refreshScreen();
        m_wall.journal().clear();
        m_log->clear();
        return code == enSuccess ? objects : -1;
    };
    const Simulator::Device small = smallDevice("A", QPoint(), 1);
    const Simulator::Device large = Simulator::gridDevice(text("A"), QPoint(), 20, 10, QSize(8, 4), 1);
    refreshed({small});
    const int ofASmallOne = refreshed({small});
    QVERIFY(refreshed({large}) > ofASmallOne + 200);
    QCOMPARE(refreshed({small}), ofASmallOne);
}

void tst_Discovery::aRefreshInsideAnotherThreadsIsWhole()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1), smallDevice("B", QPoint(0, 4), 3)});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    bool isInside = false;
    m_wall.scripts().on(text("HWInfo::getHWInfo"), text("B")).run([&isInside](const Simulator::Call &) {
        if (isInside)
            return;
        isInside = true;
        std::thread([] { manager().refreshScreen(); }).join();
    });
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(manager().refreshScreen(), enSuccess);
        QVERIFY(isInside && registered("4"));
        QCOMPARE(rectOf("4"), QRect(8, 4, 8, 4));
    }
    m_log->clear();
}

void tst_Discovery::theHostMayRemoveCabinetsBetweenRefreshes()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1)});
    CabinetManager &registry = *CabinetManager::getInstance();
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(manager().refreshScreen(), enSuccess);
        QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});
        QVERIFY(registry.removeCabinet(text("1")));
        QVERIFY(!registered("1"));
        QVERIFY(registered("2"));
        QRect rect;
        QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetSubScreen(text("A"))->tryGetRect(rect), enInvalidParameter);
        QCOMPARE(m_log->takeCritical(), QStringList{text("Connot find cabinet by id. deviceKey: A cid: 1")});
    }

    // A cabinet of the host's own is removed with the others; its record still belongs to the host.
    CabinetInfo info;
    info.id = text("77");
    QVERIFY(registry.addCabinet(text("77"), new CabinetV4(&info)));
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    QVERIFY(!registered("77"));
    QCOMPARE(info.id, text("77"));
    QVERIFY(registered("1"));
}

void tst_Discovery::theRefreshSurvivesExhaustion()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1), smallDevice("B", QPoint(0, 4), 1)});
    const auto refreshed = [this] {
        const EnumErrorCode code = manager().refreshScreen();
        m_wall.journal().clear();
        m_log->clear();
        return code;
    };
    QCOMPARE(refreshed(), enSuccess);
    QCOMPARE(refreshed(), enSuccess);
    const int settled = objects;

    int failures = 0;
    for (bool failed = true; failed; ++failures) {
        QVERIFY(failures < 10000);
        failed = false;
        allocationsLeft = failures;
        try {
            manager().refreshScreen();
        } catch (const std::bad_alloc &) {
            failed = true;
        }
        allocationsLeft = -1;
        m_wall.journal().clear();
        m_log->clear();
        manager().getNameMapping(); // what is there can be used
        cabinetDevices();
        QCOMPARE(refreshed(), enSuccess);
        QCOMPARE(objects, settled);
    }
    QVERIFY(failures > 20); // the records alone are as many
}

void tst_Discovery::exhaustionInTheServicePassesThrough()
{
    m_wall.setDevices({smallDevice("A", QPoint(), 1), smallDevice("B", QPoint(0, 4), 3)});
    const QStringList operations{text("HttpProxy::getDeviceList"), text("HWInfo::getHWInfo"), text("ScreenInfo::getScreens"),
                                 text("CabinetInfoOperator::getAllCabinetsInfo"),
                                 text("CabinetInfoOperator::getCabAllFlags")};
    for (const QString &operation : operations) {
        m_wall.scripts()
            .on(operation, operation == operations.first() ? QString() : text("B"))
            .throwException(std::make_exception_ptr(std::bad_alloc()))
            .times(1);
        QVERIFY_EXCEPTION_THROWN(manager().refreshScreen(), std::bad_alloc);
        m_log->clear();
        QCOMPARE(manager().refreshScreen(), enSuccess);
        QCOMPARE(m_log->takeCritical(), QStringList({newSubScreenLine("A"), newSubScreenLine("B")}));
        QCOMPARE(cabinetDevices().size(), 4);
    }
}

// Replies

void tst_Discovery::aReplyMayLackAnything_data()
{
    QTest::addColumn<QVariant>("screens");
    QTest::addColumn<QVariant>("cabinets");
    QTest::addColumn<QVariant>("flags");
    QTest::addColumn<int>("code");
    QTest::addColumn<NameMap>("registered"); // id -> flag

    const QVariant list = QVariantList{listed("1", "1")};
    const QVariant flags = QVariantList{flagged("1", "one")};
    const auto placed = [](const QVariant &cabinets) {
        return QVariant(screen("screen", 0, 0, QVariantList{subScreenPlace(0, 0, cabinets)}));
    };
    const QVariant whole = placed(QVariantList{place("1", "1", 0, 0, 8, 4)});
    const NameMap one{{text("1"), text("one")}};

    QTest::newRow("everything is there") << whole << list << flags << 0 << one;
    QTest::newRow("no layout at all") << QVariant() << list << flags << 0 << NameMap();
    QTest::newRow("a layout that is a list") << QVariant(QVariantList{1}) << list << flags << 0 << NameMap();
    QTest::newRow("sub-screens that are a text")
        << QVariant(screen("screen", 0, 0, text("none"))) << list << flags << 0 << NameMap();
    QTest::newRow("sub-screens that are a map")
        << QVariant(screen("screen", 0, 0, subScreenPlace(0, 0, QVariantList()))) << list << flags << 0 << NameMap();
    QTest::newRow("sub-screens that are none")
        << QVariant(screen("screen", 0, 0, QVariantList{QVariant(), 7, text("x"), QVariantMap(), QVariantList()})) << list
        << flags << 0 << NameMap();
    QTest::newRow("cabinets that are a number") << placed(7) << list << flags << 0 << NameMap();
    QTest::newRow("a cabinet that is none") << placed(QVariantList{7}) << list << flags << 8 << NameMap();
    QTest::newRow("a cabinet that is none, and a list of one that is none")
        << placed(QVariantList{7}) << QVariant(QVariantList{text("x")}) << flags << 0 << NameMap();
    QTest::newRow("nothing known of anything")
        << placed(QVariantList{QVariantMap()}) << QVariant(QVariantList{QVariantMap()})
        << QVariant(QVariantList{QVariantMap()}) << 0 << NameMap{{QString(), QString()}};
    QTest::newRow("an empty cabinet list") << whole << QVariant(QVariantList()) << flags << 8 << NameMap();
    QTest::newRow("a cabinet list that is a map") << whole << QVariant(listed("1", "1")) << flags << 8 << NameMap();
    QTest::newRow("a cabinet list without outputs")
        << whole << QVariant(QVariantList{QVariantMap{{text("id"), text("1")}}}) << flags << 8 << NameMap();
    QTest::newRow("a cabinet list with more")
        << whole << QVariant(QVariantList{QVariant(), 5, listed("1", "1"), listed("9", "9")}) << flags << 0 << one;
    QTest::newRow("no flags") << whole << list << QVariant(QVariantList()) << 0 << NameMap();
    QTest::newRow("flags that are a map") << whole << list << QVariant(flagged("1", "one")) << 0 << NameMap();
    QTest::newRow("flags of something else")
        << whole << list << QVariant(QVariantList{QVariant(), text("1"), flagged("2", "two")}) << 0 << NameMap();
    QTest::newRow("flags without text") << whole << list << QVariant(QVariantList{QVariantMap{{text("id"), text("1")}}}) << 0
                                        << NameMap{{text("1"), QString()}};
    QTest::newRow("cards that are a text")
        << whole << list
        << QVariant(QVariantList{
               QVariantMap{{text("id"), text("1")}, {text("flag"), text("one")}, {text("recvcardflags"), text("x")}}})
        << 0 << one;
    QTest::newRow("cards and modules that are none")
        << whole << list
        << QVariant(QVariantList{QVariantMap{
               {text("id"), text("1")},
               {text("flag"), text("one")},
               {text("recvcardflags"),
                QVariantList{QVariant(), 7, QVariantMap{{text("moduleflags"), QVariantList{QVariant(), text("x")}}}}}}})
        << 0 << one;
}

void tst_Discovery::aReplyMayLackAnything()
{
    QFETCH(const QVariant, screens);
    QFETCH(const QVariant, cabinets);
    QFETCH(const QVariant, flags);
    QFETCH(const int, code);
    QFETCH(const NameMap, registered);

    scriptDevice("A", screens, cabinets, flags);
    QCOMPARE(int(manager().refreshScreen()), code);
    QCOMPARE(m_log->takeCritical().size(), code ? 2 : 1); // the new sub-screen's line comes first
    NameMap found;
    QVERIFY(CabinetManager::getInstance()->getMapping(found));
    QCOMPARE(found, registered);
    QCOMPARE(m_wall.journal().transcript(), QStringList{listCall} + discoveryCalls("A"));
    QCOMPARE(manager().getNameMapping().size(), 1);
}

void tst_Discovery::numbersAndTextsAreConverted()
{
    const QVariantMap cabinet{{text("cabinetID"), 12},         {text("outputID"), 3.5},
                              {text("position.x"), text("7")}, {text("position.y"), 2.6},
                              {text("size.width"), quint8(9)}, {text("size.height"), text("high")}};
    const QVariantMap subScreen{
        {text("position.x"), QVariantList{5}}, {text("position.y"), true}, {text("cabinets"), QVariantList{cabinet}}};
    QVariantMap reply = screen("", 0, 0, QVariantList{subScreen});
    reply[text("screenUUID")] = 4711;
    reply[text("screenName")] = 1.5;
    reply[text("position.x")] = qlonglong(100);
    reply[text("position.y")] = text("-20");
    QVariantMap card = part("", "", 0, 0, 0, 0);
    card[text("id")] = 5;
    card[text("x")] = text("6");
    card[text("width")] = 7.0;
    QVariantMap flags = flagged("", "");
    flags[text("id")] = 12;
    flags[text("flag")] = true;
    flags[text("recvcardflags")] = QVariantList{card};
    scriptDevice("A", reply, QVariantList{QVariantMap{{text("id"), qulonglong(12)}, {text("outputID"), text("3.5")}}},
                 QVariantList{flags});
    QCOMPARE(manager().refreshScreen(), enSuccess);
    m_log->clear();
    QCOMPARE(manager().getNameMapping(), (NameMap{{text("4711"), text("1.5")}}));
    NameMap found;
    QVERIFY(CabinetManager::getInstance()->getMapping(found));
    QCOMPARE(found, (NameMap{{text("12"), text("true")}}));
    CabinetInfo info;
    QCOMPARE(registered("12")->GetCabinetInfo(info), enSuccess);
    QCOMPARE(info.rect, QRect(107, -16, 9, 0));
    QCOMPARE(info.rvCardList.size(), 1);
    QCOMPARE(info.rvCardList.first()->id, text("5"));
    QCOMPARE(info.rvCardList.first()->rect, QRect(6, 0, 7, 0));
}

void tst_Discovery::aHugeReplyIsFine()
{
    constexpr int count = 100000;
    QVariantList places;
    QVariantList list;
    QVariantList flags;
    for (int i = 0; i < count; ++i) {
        const QString id = QString::number(i);
        places.append(QVariantMap{{QStringLiteral("cabinetID"), id}, {QStringLiteral("position.x"), i}});
        list.append(QVariantMap{{QStringLiteral("id"), id}});
        flags.append(QVariantMap{{QStringLiteral("id"), id}});
    }
    scriptDevice("A", screen("screen", 0, 0, QVariantList{subScreenPlace(0, 0, places)}), list, flags);
    QCOMPARE(manager().refreshScreen(), enSuccess);
    QCOMPARE(m_log->takeCritical(), QStringList{newSubScreenLine("A")});
    QCOMPARE(debugLines().size(), 2 * count + 5);
    QCOMPARE(cabinetDevices().size(), count);
    QCOMPARE(rectOf("99999"), QRect(99999, 0, 0, 0));
    QList<CabinetInfo> infos;
    QCOMPARE(manager().tryGetScreen(text("screen"))->tryGetAllCabinetInfoList(infos), enSuccess);
    QCOMPARE(infos.size(), count);
}

QTEST_GUILESS_MAIN(tst_Discovery)

#include "tst_discovery.moc"

// Objects that must not outlive their owners: grids of writes that ended for lack of memory, sub-screens, records of a
// refresh inside a refresh.

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/CabinetsPtr.h>
#include <Correction/Coefficient.h>
#include <Correction/ScreenManager.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>

#include <simulator/VirtualWall.h>
#include <support/LogCapture.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>
#include <QtTest/QtTest>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <vector>

#include <malloc.h>

using namespace Correction;
using Simulator::VirtualWall;

namespace {

// Of this thread alone: Qt Test has one of its own, which allocates at any time.
thread_local int allocationsLeft = -1; ///< until one fails, once; negative: none does
thread_local bool keepsReleased = false;

/// Released while `keepsReleased` was set: overwritten, and not allocated again until it is cleared.
constexpr std::size_t releasedRoom = 1 << 16;
void *released[releasedRoom];
std::size_t releasedCount = 0;

void release(void *object) noexcept
{
    if (object && keepsReleased && releasedCount < releasedRoom) {
        std::memset(object, 0xdd, malloc_usable_size(object));
        released[releasedCount++] = object;
    } else {
        std::free(object);
    }
}

} // namespace

// Every allocation of the program passes here, the library's included.
void *operator new(std::size_t size)
{
    if (allocationsLeft >= 0 && allocationsLeft-- == 0)
        throw std::bad_alloc();
    void *const storage = std::malloc(size ? size : 1);
    if (!storage)
        throw std::bad_alloc();
    return storage;
}
void operator delete(void *object) noexcept
{
    release(object);
}
void operator delete(void *object, std::size_t) noexcept
{
    release(object);
}

namespace {

/// While it exists, an access to a deleted object finds neither the object nor another one in its place.
class KeepReleased
{
public:
    KeepReleased()
    {
#ifndef __SANITIZE_ADDRESS__ // which reports such an access
        keepsReleased = true;
#endif
    }
    ~KeepReleased()
    {
        keepsReleased = false;
        while (releasedCount > 0)
            std::free(released[--releasedCount]);
    }
    KeepReleased(const KeepReleased &) = delete;
    KeepReleased &operator=(const KeepReleased &) = delete;
};

/// Runs `action` with its n-th allocation failing, from n = 0 until there is none left to fail; `after(whether it was
/// left by an exception)` follows each. Returns how many allocations failed.
template <class Action, class After>
int failEachAllocation(Action action, After after)
{
    for (int n = 0;; ++n) {
        bool thrown = false;
        allocationsLeft = n;
        try {
            action();
        } catch (const std::bad_alloc &) {
            thrown = true;
        }
        const bool failed = allocationsLeft < 0;
        allocationsLeft = -1;
        after(thrown);
        if (!failed)
            return n;
    }
}

} // namespace

class tst_ScreenLifetimes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void aWriteThatMemoryCutShortStartsNothingLater();
    void theEndOfASubScreenNeedsNoMemory();
    void aRefreshInsideARefreshLeavesTheRecordsOfTheOuterOne();
    void operationsKeepTheirObjects_data();
    void operationsKeepTheirObjects();
    void aReadGoesOnWhenItsSubScreenLosesItsCabinets();
    void aReleaseInsideAManagersCallIsRefused_data();
    void aReleaseInsideAManagersCallIsRefused();
    void anyRemovalOutsideReleasesWhatWasRemovedInside_data();
    void anyRemovalOutsideReleasesWhatWasRemovedInside();
    void aRemovalInsideWithoutMemoryRemovesNothing();
    void theEndOfAThreadReleasesWhatWasRemovedInside();
    void aRemovalAtTheEndOfAThreadReleasesAtOnce();

private:
    static VirtualWall &wall() { return VirtualWall::instance(); }

    std::optional<TestSupport::LogCapture> m_log; // made after the test library has installed its own handler
};

void tst_ScreenLifetimes::initTestCase()
{
    m_log.emplace();
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=true"));
}

void tst_ScreenLifetimes::init()
{
    wall().reset();
    m_log->clear();
}

void tst_ScreenLifetimes::cleanup()
{
    CabinetManager::getInstance()->removeCabinets();
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
    m_log->clear();
}

void tst_ScreenLifetimes::cleanupTestCase()
{
    m_log.reset();
}

void tst_ScreenLifetimes::aWriteThatMemoryCutShortStartsNothingLater()
{
#ifndef CORRECTION_BUNDLED_QTPROMISE
    QSKIP("with QtPromise a write that runs out of memory may wait forever");
#endif
    // Two devices side by side, each with one cabinet of 2 x 1 pixels.
    ScreenV4 screen;
    QList<Simulator::Device> devices;
    std::vector<std::unique_ptr<CabinetInfo>> records;
    for (int i = 0; i < 2; ++i) {
        const QString key = QStringLiteral("D%1").arg(i);
        devices.append(Simulator::gridDevice(key, QPoint(2 * i, 0), 1, 1, QSize(2, 1), i + 1));
        auto record = std::make_unique<CabinetInfo>();
        record->id = QString::number(i + 1);
        record->deviceKey = key;
        record->rect = QRect(2 * i, 0, 2, 1);
        QVERIFY(CabinetManager::getInstance()->addCabinet(record->id, new CabinetV4(record.get())));
        auto subScreen = std::make_unique<SubScreenV4>(key);
        QVERIFY(subScreen->addCabinet(record->id, QString()));
        QVERIFY(screen.addSubScreen(key, subScreen.release()));
        records.push_back(std::move(record));
    }
    wall().setDevices(devices);

    struct Grid final : Coefficient { // may be deleted
        using Coefficient::Coefficient;
    };
    const auto newGrid = [] { return std::make_unique<Grid>(4, 1); };
    std::unique_ptr<Grid> grid = newGrid();
    int exceptions = 0;
    int callsBefore = -1;
    QStringList startedLater;
    EnumErrorCode code = enTimeout;
    const int failures = failEachAllocation(
        [&] {
            code = enTimeout;
            code = screen.setCoefficients(QRect(0, 0, 4, 1), *grid);
        },
        [&](bool thrown) {
            exceptions += thrown;
            grid.reset();
            callsBefore = wall().journal().calls().size();
            wall().journal().clear();
            for (int turn = 0; turn < 20; ++turn) {
                QCoreApplication::sendPostedEvents();
                QCoreApplication::processEvents();
            }
            startedLater += wall().journal().transcript();
            wall().journal().clear();
            m_log->clear();
            grid = newGrid();
        });
    QCOMPARE(startedLater, QStringList());
    QVERIFY2(failures > 20 && exceptions > 20, qPrintable(QStringLiteral("%1 %2").arg(failures).arg(exceptions)));

    // The last one did not run out of memory.
    QCOMPARE(code, enSuccess);
    QCOMPARE(callsBefore, 2);
    CabinetManager::getInstance()->removeCabinets(); // before their records
}

void tst_ScreenLifetimes::theEndOfASubScreenNeedsNoMemory()
{
    std::unique_ptr<SubScreenV4> subScreen;
    const auto next = [&] {
        m_log->clear();
        subScreen = std::make_unique<SubScreenV4>(QStringLiteral("A"));
        subScreen->addCabinet(QStringLiteral("1"), QStringLiteral("flag"));
        m_log->clear();
    };
    next();
    int exceptions = 0;
    QStringList lines;
    const int failures = failEachAllocation([&] { subScreen.reset(); },
                                            [&](bool thrown) {
                                                exceptions += thrown;
                                                lines = m_log->takeDebug();
                                                next();
                                            });
    QCOMPARE(exceptions, 0);
    QVERIFY(failures > 0); // or the line was not on its way
    QCOMPARE(lines, QStringList(QStringLiteral("SubScreenV4")));
    subScreen.reset();
}

void tst_ScreenLifetimes::aRefreshInsideARefreshLeavesTheRecordsOfTheOuterOne()
{
    const QString a = QStringLiteral("A");
    const QString b = QStringLiteral("B");
    wall().setDevices({Simulator::gridDevice(a, QPoint(0, 0), 2, 1, QSize(8, 4), 1),
                       Simulator::gridDevice(b, QPoint(0, 4), 2, 1, QSize(8, 4), 3)});
    // The second device's layout moves the first device's first cabinet.
    wall().scripts().on(QStringLiteral("ScreenInfo::getScreens"), b).editReply([](QVariant &reply) {
        QVariantMap screen = reply.toMap();
        QVariantList subScreens = screen.value(QStringLiteral("subScreens")).toList();
        QVariantMap subScreen = subScreens.at(0).toMap();
        QVariantList cabinets = subScreen.value(QStringLiteral("cabinets")).toList();
        cabinets.append(QVariantMap{{QStringLiteral("cabinetID"), QStringLiteral("1")},
                                    {QStringLiteral("outputID"), QStringLiteral("1")},
                                    {QStringLiteral("position.x"), 16},
                                    {QStringLiteral("position.y"), 0},
                                    {QStringLiteral("size.width"), 8},
                                    {QStringLiteral("size.height"), 4}});
        subScreen[QStringLiteral("cabinets")] = cabinets;
        subScreens[0] = subScreen;
        screen[QStringLiteral("subScreens")] = subScreens;
        reply = screen;
    });
    // The host refreshes during the query of the second device, when the first device's records exist already.
    int inner = 0;
    EnumErrorCode innerCode = enTimeout;
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::getCabAllFlags"), b).run([&](const Simulator::Call &) {
        if (inner++ == 0)
            innerCode = ScreenManager::getInstance()->refreshScreen();
    });

    for (int i = 0; i < 2; ++i) { // the second time over what the first one left
        const KeepReleased keep;
        inner = 0;
        QCOMPARE(ScreenManager::getInstance()->refreshScreen(), enSuccess);
        QCOMPARE(innerCode, enSuccess);
        QCOMPARE(inner, 2);
        m_log->clear();

        const QRect rects[] = {QRect(16, 4, 8, 4), QRect(8, 0, 8, 4), QRect(0, 4, 8, 4), QRect(8, 4, 8, 4)};
        for (int cabinet = 0; cabinet < 4; ++cabinet) {
            const QString id = QString::number(cabinet + 1);
            ICabinet *const registered = CabinetManager::getInstance()->tryGetCabinet(id);
            QVERIFY(registered);
            CabinetInfo info;
            QCOMPARE(registered->GetCabinetInfo(info), enSuccess);
            QCOMPARE(info.id, id);
            QCOMPARE(info.deviceKey, cabinet < 2 ? a : b);
            QCOMPARE(info.rect, rects[cabinet]);
            QCOMPARE(registered->getCabAllFlags().size(), 4);
        }
        QRect rect;
        QCOMPARE(ScreenManager::getInstance()->tryGetScreen(QStringLiteral("screen"))->tryGetRect(rect), enSuccess);
        QCOMPARE(rect, QRect(0, 0, 24, 8));
    }
}

void tst_ScreenLifetimes::operationsKeepTheirObjects_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("attempt");
    const struct {
        const char *operation;
        const char *call; // inside which the attempt is made
    } operations[] = {
        {"read", "Correctionop::loadCoefficient"},
        {"write", "Correctionop::uploadCoefficientAsync"},
        {"write, from its event loop", "Correctionop::uploadCoefficientAsync"},
        {"write of a sub-screen", "Correctionop::uploadCoefficientAsync"},
        {"write by cabinets", "Correctionop::uploadCoefficient"},
        {"brightness", "ScreenInfo::setBrightness"},
        {"gamma of a cabinet", "CabinetInfoOperator::setCabinetGammaCustomValue"},
        {"features", "ScreenInfo::setCheckerBoardImage(responseHeader)"},
        {"names", "HWInfo::getHWInfo"},
        {"save of a group", "Correctionop::saveCabinetsFactoryCoefficient"},
    };
    for (const auto &row : operations) {
        for (const char *attempt :
             {"ScreenManager::refreshScreen", "CabinetManager::removeCabinets", "CabinetManager::removeCabinet",
              "IScreen::removeSubScreens", "IScreen::removeSubScreen"})
            QTest::addRow("%s, %s", row.operation, attempt)
                << QString::fromLatin1(row.operation) << QString::fromLatin1(row.call) << QString::fromLatin1(attempt);
    }
}

void tst_ScreenLifetimes::operationsKeepTheirObjects()
{
    QFETCH(QString, operation);
    QFETCH(QString, call);
    QFETCH(QString, attempt);
    const QString a = QStringLiteral("A");
    const QString b = QStringLiteral("B");
    wall().setDevices({Simulator::gridDevice(a, QPoint(0, 0), 2, 1, QSize(8, 4), 1),
                       Simulator::gridDevice(b, QPoint(0, 4), 2, 1, QSize(8, 4), 3)});
    auto *const manager = ScreenManager::getInstance();
    auto *const cabinets = CabinetManager::getInstance();
    QCOMPARE(manager->refreshScreen(), enSuccess);
    m_log->takeCritical(); // new sub-screens
    IScreen *const screen = manager->tryGetScreen(QStringLiteral("screen"));
    QVERIFY(screen);
    ICabinet *const cabinet = cabinets->tryGetCabinet(QStringLiteral("1"));
    QVERIFY(cabinet);
    const CabinetsPtr group(cabinets->tryGetCabinets({QStringLiteral("1"), QStringLiteral("4")}));

    const auto tryIt = [&] {
        if (attempt == QLatin1String("ScreenManager::refreshScreen"))
            return manager->refreshScreen() == enSuccess && manager->tryGetScreen(QStringLiteral("screen")) != screen;
        if (attempt == QLatin1String("CabinetManager::removeCabinet"))
            return cabinets->removeCabinet(QStringLiteral("1")) && !cabinets->tryGetCabinet(QStringLiteral("1"));
        if (attempt == QLatin1String("IScreen::removeSubScreen"))
            return screen->removeSubScreen(a) && !screen->tryGetSubScreen(a);
        if (attempt == QLatin1String("CabinetManager::removeCabinets")) {
            cabinets->removeCabinets();
            return !cabinets->tryGetCabinet(QStringLiteral("1")) && !cabinets->tryGetCabinet(QStringLiteral("4"));
        }
        screen->removeSubScreens();
        return !screen->tryGetSubScreen(a) && !screen->tryGetSubScreen(b);
    };
    int attempts = 0;
    int successes = 0;
    const auto tryOnce = [&] {
        if (attempts++ == 0)
            successes += tryIt();
        m_log->takeCritical();
    };
    const bool later = operation == QLatin1String("write, from its event loop");
    wall().scripts().on(call).run([&](const Simulator::Call &) {
        if (later)
            QMetaObject::invokeMethod(this, tryOnce, Qt::QueuedConnection);
        else
            tryOnce();
    });
    const QRect rect(0, 0, 16, 8);
    Coefficient grid(16, 8);
    Coefficient part(8, 4);
    EnumErrorCode code = enTimeout;
    QMap<QString, bool> features;
    {
        const KeepReleased keep;
        if (operation == QLatin1String("read"))
            code = screen->tryGetCoefficients(rect, grid);
        else if (operation.startsWith(QLatin1String("write of a sub-screen")))
            code = screen->tryGetSubScreen(a)->setCoefficientsAsync(rect, grid).wait().isFulfilled() ? enSuccess : enTimeout;
        else if (operation == QLatin1String("write by cabinets"))
            code = screen->tryGetSubScreen(a)->setCoefficients(rect, grid);
        else if (operation.startsWith(QLatin1String("write")))
            code = screen->setCoefficients(rect, grid);
        else if (operation == QLatin1String("brightness"))
            code = screen->setBrightness(50);
        else if (operation == QLatin1String("gamma of a cabinet"))
            code = cabinet->setGammaTable({{enRedGamma, {1, 2}}, {enGreenGamma, {3, 4}}});
        else if (operation == QLatin1String("features"))
            code = screen->getFeatures(features);
        else if (operation == QLatin1String("names"))
            code = screen->getSubScreenNames({});
        else
            code = group->saveFactoryCoefficient();
    }
    QVERIFY(attempts > 0);
    QCOMPARE(successes, 1);
    // Only operations that look up further cabinets fail.
    QStringList lines;
    if (attempt == QLatin1String("CabinetManager::removeCabinets")) {
        if (operation == QLatin1String("read"))
            lines = QStringList({QStringLiteral("Connot find cabinet by id. deviceKey: A cid: 2"),
                                 QStringLiteral("try get Coefficients failed. SubScreen key: A code: 3")});
        else if (operation == QLatin1String("write"))
            lines = QStringList({QStringLiteral("Connot find cabinet by id. deviceKey: B cid: 3"),
                                 QStringLiteral("Cabinet info is empty. id:B")});
        else if (operation == QLatin1String("write by cabinets"))
            lines = QStringList(QStringLiteral("Connot find cabinet by id. deviceKey: A cid: 2"));
    }
    QCOMPARE(m_log->takeCritical(), lines);
    QCOMPARE(code, lines.isEmpty() ? enSuccess : enInvalidParameter);
    QCOMPARE(manager->refreshScreen(), enSuccess); // deletes what was removed
    m_log->takeCritical();
}

void tst_ScreenLifetimes::aReadGoesOnWhenItsSubScreenLosesItsCabinets()
{
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 3, 1, QSize(8, 4), 1)});
    auto *const manager = ScreenManager::getInstance();
    QCOMPARE(manager->refreshScreen(), enSuccess);
    m_log->takeCritical();
    ISubScreen *const subScreen = manager->tryGetScreen(QStringLiteral("screen"))->tryGetSubScreen(QStringLiteral("A"));
    int calls = 0;
    wall().scripts().on(QStringLiteral("Correctionop::loadCoefficient")).run([&](const Simulator::Call &) {
        if (calls++ == 0)
            subScreen->removeCabinets();
    });
    Coefficient grid(24, 4);
    {
        const KeepReleased keep;
        QCOMPARE(subScreen->tryGetCoefficients(QRect(0, 0, 24, 4), grid), enSuccess);
    }
    QCOMPARE(calls, 3);
    QRect rect;
    QCOMPARE(subScreen->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect());
}

void tst_ScreenLifetimes::aReleaseInsideAManagersCallIsRefused_data()
{
    QTest::addColumn<QString>("call");
    for (const char *call : {"HttpProxy::initialize", "HttpProxy::getDeviceList", "HWInfo::getHWInfo",
                             "ScreenInfo::getScreens", "CabinetInfoOperator::getCabAllFlags"})
        QTest::newRow(call) << QString::fromLatin1(call);
}

void tst_ScreenLifetimes::aReleaseInsideAManagersCallIsRefused()
{
    QFETCH(QString, call);
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 3, 1, QSize(8, 4), 1)});
    auto *const manager = ScreenManager::getInstance();
    int calls = 0;
    wall().scripts().on(call).run([&](const Simulator::Call &) {
        ++calls;
        ScreenManager::releaseInstance();
    });
    {
        const KeepReleased keep;
        manager->init();
        QCOMPARE(manager->refreshScreen(), enSuccess);
    }
    QCOMPARE(calls, 1);
    const QStringList lines = m_log->takeCritical();
    QCOMPARE(
        lines.count(QStringLiteral("ScreenManager::releaseInstance is refused inside init and refreshScreen: call it when "
                                   "they have returned")),
        1);
    QCOMPARE(lines.size(), 2); // and a new sub-screen
    QCOMPARE(ScreenManager::getInstance(), manager);
    const std::unique_ptr<IScreen> screen(manager->tryGetScreen(QStringLiteral("screen"))); // outlives the manager
    QVERIFY(screen);
    ScreenManager::releaseInstance();
    VERIFY_NO_CRITICAL(*m_log);
}

/// A host's sub-screen that counts its destruction.
class CountedSubScreen : public SubScreenV4
{
public:
    explicit CountedSubScreen(int &ends) : SubScreenV4(QString()), m_ends(ends) {}
    ~CountedSubScreen() override
    {
        ++m_ends;
        onEnd();
    }
    std::function<void()> onBrightness;
    std::function<void()> onEnd = [] {};
    EnumErrorCode setBrightness(int) override
    {
        onBrightness();
        return enSuccess;
    }

private:
    int &m_ends;
};

void tst_ScreenLifetimes::anyRemovalOutsideReleasesWhatWasRemovedInside_data()
{
    QTest::addColumn<QString>("removal");
    for (const char *removal : {"CabinetManager::removeCabinets", "CabinetManager::removeCabinet",
                                "IScreen::removeSubScreens", "IScreen::removeSubScreen"})
        QTest::newRow(removal) << QString::fromLatin1(removal);
}

void tst_ScreenLifetimes::anyRemovalOutsideReleasesWhatWasRemovedInside()
{
    QFETCH(QString, removal);
    CabinetInfo record;
    QVERIFY(CabinetManager::getInstance()->addCabinet(QStringLiteral("1"), new CabinetV4(&record)));
    ScreenV4 other;
    int otherEnds = 0;
    other.addSubScreen(QStringLiteral("B"), new CountedSubScreen(otherEnds));
    int ends = 0;
    ScreenV4 screen;
    auto *const subScreen = new CountedSubScreen(ends);
    subScreen->onBrightness = [&screen] { screen.removeSubScreens(); };
    screen.addSubScreen(QStringLiteral("A"), subScreen);
    QCOMPARE(screen.setBrightness(1), enSuccess);
    QCOMPARE(ends, 0);
    if (removal == QLatin1String("CabinetManager::removeCabinets"))
        CabinetManager::getInstance()->removeCabinets();
    else if (removal == QLatin1String("CabinetManager::removeCabinet"))
        QVERIFY(CabinetManager::getInstance()->removeCabinet(QStringLiteral("1")));
    else if (removal == QLatin1String("IScreen::removeSubScreens"))
        other.removeSubScreens();
    else
        QVERIFY(other.removeSubScreen(QStringLiteral("B")));
    QCOMPARE(ends, 1);
    QCOMPARE(otherEnds, removal.startsWith(QLatin1String("IScreen")) ? 1 : 0);
}

void tst_ScreenLifetimes::aRemovalInsideWithoutMemoryRemovesNothing()
{
    CabinetInfo record;
    const QString id = QStringLiteral("1");
    CabinetManager *const cabinets = CabinetManager::getInstance();
    QVERIFY(cabinets->addCabinet(id, new CabinetV4(&record)));
    const QString key = QStringLiteral("A");
    int ends = 0;
    ScreenV4 screen;
    auto *const subScreen = new CountedSubScreen(ends);
    int exceptions = 0;
    subScreen->onBrightness = [&] {
        const std::function<void()> removals[] = {[&] { cabinets->removeCabinet(id); }, [&] { cabinets->removeCabinets(); },
                                                  [&] { screen.removeSubScreen(key); }, [&] { screen.removeSubScreens(); }};
        for (const auto &remove : removals) {
            allocationsLeft = 0;
            try {
                remove();
            } catch (const std::bad_alloc &) {
                ++exceptions;
            }
            allocationsLeft = -1;
        }
    };
    screen.addSubScreen(key, subScreen);
    cabinets->removeCabinet(QStringLiteral("nowhere"));
    QCOMPARE(screen.setBrightness(1), enSuccess);
    QCOMPARE(exceptions, 4);
    QVERIFY(cabinets->tryGetCabinet(id));
    QCOMPARE(screen.tryGetSubScreen(key), subScreen);
    QCOMPARE(ends, 0);
    screen.removeSubScreens();
    QCOMPARE(ends, 1);
}

void tst_ScreenLifetimes::theEndOfAThreadReleasesWhatWasRemovedInside()
{
    int ends = 0;
    ScreenV4 screen;
    ScreenV4 other;
    auto *const subScreen = new CountedSubScreen(ends);
    subScreen->onBrightness = [&screen] { screen.removeSubScreens(); };
    // A destructor of the host may remove others.
    subScreen->onEnd = [&other] { other.removeSubScreens(); };
    screen.addSubScreen(QStringLiteral("A"), subScreen);
    other.addSubScreen(QStringLiteral("A"), new CountedSubScreen(ends));
    int endsInside = -1;
    std::thread([&] {
        screen.setBrightness(1);
        endsInside = ends;
    }).join();
    QCOMPARE(endsInside, 0);
    QCOMPARE(ends, 2);
}

void tst_ScreenLifetimes::aRemovalAtTheEndOfAThreadReleasesAtOnce()
{
    int ends = 0;
    ScreenV4 other;
    other.addSubScreen(QStringLiteral("B"), new CountedSubScreen(ends));
    int brightnessEnds = 0;
    ScreenV4 screen;
    auto *const subScreen = new CountedSubScreen(brightnessEnds);
    subScreen->onBrightness = [&other] { other.removeSubScreens(); };
    screen.addSubScreen(QStringLiteral("A"), subScreen);
    int endsInside = -1;
    const auto brighten = [&] {
        screen.setBrightness(1);
        endsInside = ends;
    };
    std::thread([&brighten, &other, &ends] {
        // Made before what the library keeps for this thread, so that it is destroyed after that.
        struct Last {
            std::function<void()> action;
            ~Last() { action(); }
        };
        static thread_local Last last;
        last.action = brighten;
        brighten();
        other.addSubScreen(QStringLiteral("B"), new CountedSubScreen(ends));
    }).join();
    QCOMPARE(endsInside, 2);
    QCOMPARE(ends, 2);
}

QTEST_GUILESS_MAIN(tst_ScreenLifetimes)
#include "tst_screenlifetimes.moc"

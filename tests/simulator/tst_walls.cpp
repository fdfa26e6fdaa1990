// Several walls in one program, and walls that are destroyed.

#include "SeamFixture.h"

#include <adapter/DeviceBackend.h>

#include <QtCore/QSemaphore>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>
#include <QtTest/QtTest>

#include <memory>
#include <stdexcept>
#include <thread>

using namespace Simulator;
using namespace WallTests;

Q_DECLARE_METATYPE(Simulator::ClockMode)

namespace {

const QString a = QStringLiteral("A");
const QString one = QStringLiteral("1");

/// The small wall, by the steps of its clock.
std::unique_ptr<VirtualWall> makeWall(const Timing &timing = {}, ClockMode mode = ClockMode::Stepped)
{
    auto made = std::make_unique<VirtualWall>();
    WallDescription description = smallWall();
    for (Device &device : description.devices)
        device.timing = timing;
    made->setWall(description);
    made->timeline().setClock(mode);
    return made;
}

Timing latency(int milliseconds, bool inThread = false)
{
    Timing timing;
    timing.latency = milliseconds;
    timing.settleInThread = inThread;
    return timing;
}

/// What a promise was rejected with.
QString reasonOf(const Promise &promise)
{
    if (!promise.isRejected())
        return promise.isPending() ? QStringLiteral("pending") : QStringLiteral("fulfilled");
    QString reason;
    promise
        .fail([&](const std::runtime_error &error) {
            reason = QString::fromLatin1(error.what());
            return false;
        })
        .wait();
    return reason;
}

const QString gone = QStringLiteral("the wall was destroyed");

} // namespace

class tst_Walls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { Adapter::setBackend(nullptr); }

    void onlyTheInstalledWallAnswers()
    {
        const auto left = makeWall();
        const auto right = makeWall();
        QVERIFY(!Adapter::backend());
        QVERIFY(!ask("A"));
        Adapter::setBackend(left.get());
        QVERIFY(ask("A"));
        QVERIFY(upload("A", 1, 7).isFulfilled());
        QCOMPARE(left->journal().calls().size(), 2);
        QCOMPARE(right->journal().calls().size(), 0);
        Adapter::setBackend(right.get());
        QVERIFY(upload("A", 1, 8).isFulfilled());
        QCOMPARE(left->journal().calls().size(), 2);
        QCOMPARE(right->journal().calls().size(), 1);
        QCOMPARE(left->state().chroma(a, one), plane(8, 7));
        QCOMPARE(right->state().chroma(a, one), plane(8, 8));
        left->scripts().on(QString()).answerFalse();
        QVERIFY(ask("A"));
        left->unplug(a);
        QCOMPARE(discovered(), (QStringList{a, QStringLiteral("B")}));
    }

    void onlyTheInstalledWallIsHeard()
    {
        const auto left = makeWall();
        const auto right = makeWall();
        Adapter::setBackend(left.get());
        QSignalSpy changed(Quorvex::Communicator::HttpDevice::HttpProxy::getInstance(),
                           &Quorvex::Communicator::HttpDevice::HttpProxy::deviceChanged);
        QSignalSpy renamed(ScreenInfo::getInstance(), &ScreenInfo::signal_screenNameChanged);
        QVERIFY(right->unplug(a));
        QVERIFY(right->renameScreen(a, QStringLiteral("right")));
        QCOMPARE(changed.size(), 0);
        QCOMPARE(renamed.size(), 0);
        QVERIFY(left->unplug(a));
        QVERIFY(left->renameScreen(a, QStringLiteral("left")));
        QCOMPARE(changed.size(), 1);
        QCOMPARE(renamed.size(), 1);
    }

    void timeAndEventsAreTheirOwn()
    {
        const auto left = makeWall(latency(10));
        const auto right = makeWall();
        left->timeline().schedule(eventAt(30, Event::Unplug, "A"));
        right->timeline().schedule(eventAt(30, Event::Unplug, "B"));
        Adapter::setBackend(left.get());
        QVERIFY(ask("A"));
        QCOMPARE(left->timeline().now(), 10);
        QCOMPARE(right->timeline().now(), 0);
        left->timeline().advance(100);
        QCOMPARE(left->pluggedDevices().size(), 1);
        QCOMPARE(right->pluggedDevices().size(), 2);
        right->timeline().advance(30);
        QCOMPARE(left->timeline().now(), 110);
        QCOMPARE(right->timeline().now(), 30);
        QCOMPARE(left->pluggedDevices().first().key, QStringLiteral("B"));
        QCOMPARE(right->pluggedDevices().first().key, a);
        left->reset();
        QCOMPARE(right->pluggedDevices().size(), 1);
        QCOMPARE(right->timeline().now(), 30);
    }

    void directoriesAreTheirOwn()
    {
        QTemporaryDir folder;
        const QString leftPath = folder.filePath(QStringLiteral("left"));
        const QString rightPath = folder.filePath(QStringLiteral("right"));
        auto left = makeWall();
        const auto right = makeWall();
        QString error;
        QVERIFY2(left->create(leftPath, smallWall(), &error), qPrintable(error));
        QVERIFY2(right->create(rightPath, smallWall(), &error), qPrintable(error));
        QCOMPARE(left->directory(), leftPath);
        QCOMPARE(right->directory(), rightPath);
        Adapter::setBackend(left.get());
        QVERIFY(upload("A", 1, 7).isFulfilled());
        QVERIFY(save("A", 1));
        QVERIFY(!right->open(leftPath));
        QCOMPARE(right->directory(), rightPath);
        left.reset(); // closes its directory
        QVERIFY2(right->open(leftPath, &error), qPrintable(error));
        QCOMPARE(right->state().chroma(a, one, Store::User), plane(8, 7));
    }

    void aDestroyedWallIsInstalledNoMore()
    {
        auto left = makeWall();
        const auto right = makeWall();
        Adapter::setBackend(left.get());
        left.reset();
        QVERIFY(!Adapter::backend());
        left = makeWall();
        Adapter::setBackend(right.get());
        left.reset();
        QCOMPARE(Adapter::backend(), right.get());
    }

    void aDestroyedWallRejectsPendingUploads()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("calls.jsonl"));
        auto wall = makeWall(latency(10));
        QVERIFY(wall->journal().recordTo(path));
        Adapter::setBackend(wall.get());
        wall->scripts().on(QString(), QStringLiteral("B")).settleLater();
        const Promise due = upload("A", 1, 7);
        const Promise held = upload("B", 3, 7);
        QCOMPARE(wall->uploads().pending(), 2);
        wall.reset();
        QCOMPARE(reasonOf(due), gone);
        QCOMPARE(reasonOf(held), gone);
        const QList<Call> calls = CallJournal::read(path);
        QCOMPARE(calls.size(), 2);
        for (const Call &call : calls) {
            QVERIFY(call.settled && call.rejected);
            QCOMPARE(call.note, gone);
        }
    }

    void wakeUpsOfADestroyedWallDoNothing_data()
    {
        QTest::addColumn<ClockMode>("mode");
        QTest::addColumn<bool>("inThread");
        QTest::newRow("a timer") << ClockMode::RealTime << false;
        QTest::newRow("a thread of the wall") << ClockMode::RealTime << true;
        QTest::newRow("an idle event loop") << ClockMode::Skipping << false;
    }

    void wakeUpsOfADestroyedWallDoNothing()
    {
        QFETCH(ClockMode, mode);
        QFETCH(bool, inThread);
        auto wall = makeWall(latency(1, inThread), mode);
        Adapter::setBackend(wall.get());
        wall->scripts().on(QStringLiteral("HWInfo::getHWInfo")).answerFalse();
        wall->timeline().schedule(eventAt(1000 * 3600, Event::Unplug, "B"));
        wall->state().setChroma(a, one, plane(8, 1));
        const Promise promise = upload("A", 1, 7);
        const bool wasPending = promise.isPending(); // unless the thread was quicker
        wall.reset();
        QVERIFY(inThread || wasPending);
        if (!inThread)
            QCOMPARE(reasonOf(promise), gone);
        QVERIFY(!promise.isPending());
        // Another wall in the old one's place is not woken for it.
        wall = makeWall();
        wall->timeline().schedule(eventAt(1, Event::Unplug, "B"));
        QTest::qWait(20);
        QCOMPARE(wall->pluggedDevices().size(), 2);
    }

    void aReplayEndsWithItsWall()
    {
        auto wall = makeWall();
        Adapter::setBackend(wall.get());
        QVERIFY(upload("A", 1, 7).isFulfilled());
        QVERIFY(ask("A"));
        QList<Call> calls = wall->journal().calls();
        calls[0].duration = 1000; // it settled after the second call
        calls[1].time = 500;
        wall->replay().setPatience(0);
        wall->replay().start(calls);
        const Promise promise = upload("A", 1, 7);
        QVERIFY(promise.isPending());
        wall.reset();
        QCOMPARE(reasonOf(promise), gone);
        QTest::qWait(5); // for what would settle it late
        QCOMPARE(reasonOf(promise), gone);
    }

    void aWallMayBeDestroyedByWhoHearsOfIt()
    {
        auto wall = makeWall(latency(5), ClockMode::Skipping);
        Adapter::setBackend(wall.get());
        wall->timeline().schedule(eventAt(1, Event::Unplug, "B"));
        wall->timeline().schedule(eventAt(2, Event::Plug, "B"));
        int heard = 0;
        QObject listener;
        connect(wall.get(), &VirtualWall::devicesChanged, &listener, [&] {
            ++heard;
            wall.reset();
        });
        const Promise promise = upload("A", 1, 7);
        QTRY_VERIFY(!wall);
        QCOMPARE(reasonOf(promise), gone);
        QTest::qWait(5);
        QCOMPARE(heard, 1);
    }

    void destructionWaitsForTheWallsThreads()
    {
        auto wall = makeWall(latency(1, true), ClockMode::RealTime);
        Adapter::setBackend(wall.get());
        Fault vanish;
        vanish.type = Fault::Vanish;
        QVERIFY(wall->faults().add(a, vanish));
        QSemaphore entered;
        QSemaphore mayGoOn;
        QAtomicInt isDestroyed = 0;
        int destroyedMeanwhile = -1;
        QObject listener;
        connect(
            wall.get(), &VirtualWall::devicesChanged, &listener,
            [&] {
                entered.release();
                mayGoOn.acquire();
                destroyedMeanwhile = isDestroyed;
            },
            Qt::DirectConnection);
        const Promise promise = upload("A", 1, 7);
        entered.acquire(); // on a thread of the wall
        std::thread destroyer([&] {
            wall.reset();
            isDestroyed = 1;
        });
        QThread::msleep(20);
        mayGoOn.release();
        destroyer.join();
        QCOMPARE(destroyedMeanwhile, 0);
        QVERIFY(!promise.isPending());
    }

    /// The one of the process comes last: it stays installed.
    void theProcesssWallIsInstalledUnlessAnotherIs()
    {
        const auto other = makeWall();
        Adapter::setBackend(other.get());
        VirtualWall &wall = VirtualWall::instance();
        QCOMPARE(Adapter::backend(), other.get());
        QVERIFY(&wall == &VirtualWall::instance());
        QCOMPARE(wall.journal().calls().size(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_Walls)
#include "tst_walls.moc"

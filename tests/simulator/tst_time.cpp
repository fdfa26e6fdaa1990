// Time on the virtual wall: clocks, latencies, uploads that take their time, and what happens by itself.

#include "SeamFixture.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtTest/QtTest>

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace Simulator;
using namespace WallTests;
using Quorvex::Communicator::HttpDevice::HttpProxy;

namespace {

const QString a = QStringLiteral("A");
const QString b = QStringLiteral("B");
const QString one = QStringLiteral("1");

void setUp(WallDescription description, const Timing &timing, ClockMode clock = ClockMode::Stepped)
{
    for (Device &device : description.devices)
        device.timing = timing;
    wall().timeline().setClock(clock);
    wall().setWall(description);
}

Timing latency(int milliseconds)
{
    Timing timing;
    timing.latency = milliseconds;
    return timing;
}

/// What a promise was rejected with.
QString rejection(const Promise &promise)
{
    QString reason;
    promise
        .fail([&](const std::runtime_error &error) {
            reason = QString::fromLatin1(error.what());
            return false;
        })
        .wait();
    return reason;
}

QVariant value(const Promise &promise)
{
    QVariant result;
    promise.then([&result](bool taken) { result = taken; }, [] {}).wait();
    return result;
}

} // namespace

class tst_Time : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { wall().reset(); }
    void cleanupTestCase() { wall().reset(); }

    void aWallWithoutLatencyTakesNoTime()
    {
        setUp(smallWall(), {});
        QVERIFY(ask("A"));
        QVERIFY(upload("A", 1, 7).isFulfilled());
        QCOMPARE(wall().timeline().now(), 0);
        QCOMPARE(lastCall().duration, 0);
        QVERIFY(lastCall().settled);
        QVERIFY(lastCall().result);
    }

    void aSteppedClockMovesByCallsAndByHand()
    {
        setUp(smallWall(), latency(250));
        QVERIFY(ask("A"));
        QCOMPARE(wall().timeline().now(), 250);
        wall().timeline().advance(50);
        QVERIFY(ask("B"));
        QCOMPARE(wall().timeline().now(), 550);
        QCOMPARE(lastCall().time, 300000);
        QCOMPARE(lastCall().duration, 250000);
        wall().timeline().advance(-5);
        QCOMPARE(wall().timeline().now(), 550);
        for (int i = 0; i < 20; ++i) {
            const qint64 before = wall().timeline().now();
            wall().timeline().advance(std::numeric_limits<qint64>::max());
            QVERIFY(wall().timeline().now() >= before);
        }
    }

    void discoveryTakesNoTime()
    {
        setUp(smallWall(), latency(250));
        QCOMPARE(discovered(), (QStringList{a, b}));
        QCOMPARE(wall().timeline().now(), 0);
    }

    void textsTakeTheirTime()
    {
        Timing timing;
        timing.bytesPerSecond = 1000;
        setUp(smallWall(), timing);
        QVERIFY(ask("A")); // "Wall A"
        QCOMPARE(lastCall().duration, 6 * 1000);
        List reply;
        QVERIFY(Correctionop::getInstance()->loadCoefficient(a, one, reply));
        QCOMPARE(lastCall().duration, 4 * 2 * 9 * 2 * 4 / 3 * 1000); // base64: four characters for three bytes
        const Promise promise = upload("A", 1, 7);
        QVERIFY(promise.isPending());
        wall().timeline().advance(191);
        QVERIFY(promise.isPending());
        wall().timeline().advance(1);
        QVERIFY(promise.isFulfilled());
        QCOMPARE(lastCall().duration, 192 * 1000);
    }

    void jitterIsDrawnFromTheSeed()
    {
        Timing timing = latency(10);
        timing.jitter = 20;
        const auto durations = [&](quint64 seed) {
            WallDescription description = smallWall();
            description.seed = seed;
            setUp(description, timing);
            wall().journal().clear();
            for (int i = 0; i < 50; ++i)
                ask("A");
            QList<qint64> result;
            const QList<Call> calls = wall().journal().calls();
            for (const Call &call : calls)
                result += call.duration;
            return result;
        };
        const QList<qint64> first = durations(5);
        QCOMPARE(durations(5), first);
        QVERIFY(durations(6) != first);
        for (const qint64 duration : first)
            QVERIFY(duration >= 10000 && duration <= 30000);
        QVERIFY(*std::max_element(first.begin(), first.end()) > 25000);
        QVERIFY(*std::min_element(first.begin(), first.end()) < 15000);
        QCOMPARE(first.mid(0, 3), (QList<qint64>{18668, 12239, 10002}));
    }

    void uploadsQueueAtADeviceAndOverlapBetweenDevices()
    {
        setUp(smallWall(), latency(100));
        const Promise first = upload("A", 1, 1);
        const Promise second = upload("A", 1, 2);
        const Promise other = upload("B", 3, 3);
        QCOMPARE(wall().uploads().pending(), 3);
        QVERIFY(!wall().journal().calls().first().settled);
        wall().timeline().advance(99);
        QVERIFY(first.isPending() && second.isPending() && other.isPending());
        QCOMPARE(wall().state().chroma(a, one), plane(8, 0));
        wall().timeline().advance(1);
        QVERIFY(first.isFulfilled() && second.isPending() && other.isFulfilled());
        QCOMPARE(wall().state().chroma(a, one), plane(8, 1));
        wall().timeline().advance(100);
        QVERIFY(second.isFulfilled());
        QCOMPARE(wall().state().chroma(a, one), plane(8, 2));
        const QList<Call> calls = wall().journal().calls();
        QCOMPARE(calls[0].duration, 100000);
        QCOMPARE(calls[1].duration, 200000);
        QCOMPARE(calls[2].duration, 100000);
        for (const Call &call : calls)
            QVERIFY(call.settled && call.result && !call.rejected);
    }

    /// A save that follows an upload saves what was uploaded, although no call has waited for the promise.
    void callsFollowTheUploadsOfTheirDevice()
    {
        setUp(smallWall(), latency(100));
        const Promise promise = upload("A", 1, 9);
        QVERIFY(save("A", 1));
        QVERIFY(promise.isFulfilled());
        QCOMPARE(wall().timeline().now(), 200);
        QCOMPARE(wall().state().chroma(a, one, Store::User), plane(8, 9));
    }

    void aSkippingClockGoesOnWhenSomebodyWaits()
    {
        setUp(smallWall(), latency(3600 * 1000), ClockMode::Skipping);
        const Promise first = upload("A", 1, 1);
        const Promise second = upload("A", 1, 2);
        const Promise other = upload("B", 3, 3);
        QCOMPARE(wall().timeline().now(), 0);
        QCOMPARE(value(second), QVariant(true));
        QVERIFY(first.isFulfilled() && other.isFulfilled());
        QCOMPARE(wall().timeline().now(), 2 * 3600 * 1000);
        QCOMPARE(wall().state().chroma(a, one), plane(8, 2));
    }

    /// Events of the event loop come first: here a second upload, which runs beside the first.
    void aSkippingClockWaitsForTheEventLoop()
    {
        setUp(smallWall(), latency(100), ClockMode::Skipping);
        const Promise first = upload("A", 1, 1);
        std::unique_ptr<Promise> other;
        QTimer::singleShot(0, this, [&] { other = std::make_unique<Promise>(upload("B", 3, 3)); });
        QMetaObject::invokeMethod(
            this, [&] { QCOMPARE(wall().timeline().now(), 0); }, Qt::QueuedConnection);
        QCOMPARE(value(first), QVariant(true));
        QCOMPARE(wall().timeline().now(), 100);
        if (!other)
            QTRY_VERIFY(other);
        QCOMPARE(value(*other), QVariant(true));
    }

    void aSkippingClockReachesTheEventThatEndsAnUpload()
    {
        WallDescription description = smallWall();
        description.devices[0].faults = {fault(Fault::NeverSettle)};
        description.events = {eventAt(5000, Event::Unplug, "A")};
        setUp(description, {}, ClockMode::Skipping);
        const Promise promise = upload("A", 1, 1);
        QVERIFY(promise.isPending());
        QCOMPARE(rejection(promise), QStringLiteral("the device was unplugged"));
        QCOMPARE(wall().timeline().now(), 5000);
        QCOMPARE(wall().journal().calls().first().note, QStringLiteral("fault: never settled; the device was unplugged"));
        QVERIFY(wall().journal().calls().first().rejected);
    }

    void realTimeSettlesByTheEventLoop()
    {
        setUp(smallWall(), latency(5), ClockMode::RealTime);
        const Promise promise = upload("A", 1, 4);
        QVERIFY(promise.isPending());
        QCOMPARE(value(promise), QVariant(true));
        QVERIFY(wall().timeline().now() >= 5);
        QVERIFY(wall().journal().calls().first().duration >= 5000);
        QCOMPARE(wall().state().chroma(a, one), plane(8, 4));
        const qint64 before = wall().timeline().now();
        QVERIFY(ask("A"));
        QVERIFY(wall().timeline().now() >= before + 5);
        wall().timeline().advance(5);
        QVERIFY(wall().timeline().now() >= before + 10);
    }

    void realTimeSettlesInAThreadOfItsOwn()
    {
        Timing timing = latency(5);
        timing.settleInThread = true;
        setUp(smallWall(), timing, ClockMode::RealTime);
        const Promise promise = upload("A", 1, 4);
        while (promise.isPending()) // without an event loop
            QThread::yieldCurrentThread();
        QVERIFY(promise.isFulfilled());
        QCOMPARE(wall().state().chroma(a, one), plane(8, 4));
    }

    void aSteppedClockSettlesInAThreadToo()
    {
        Timing timing = latency(100);
        timing.settleInThread = true;
        setUp(smallWall(), timing);
        const Promise promise = upload("A", 1, 4);
#ifdef CORRECTION_BUNDLED_QTPROMISE
        const Promise follower([&](const QtPromise::QPromiseResolve<bool> &resolve) { resolve(promise); });
#endif
        wall().timeline().advance(100);
        QVERIFY(promise.isFulfilled());
#ifdef CORRECTION_BUNDLED_QTPROMISE
        QVERIFY(follower.isFulfilled());
#endif
        QCOMPARE(value(promise), QVariant(true));
    }

    void worksWithoutAnEventLoopInTheCallingThread()
    {
        setUp(smallWall(), latency(2), ClockMode::RealTime);
        QVariant result;
        std::thread caller([&] { result = value(upload("A", 1, 4)); });
        caller.join();
        QCOMPARE(result, QVariant(true));
    }

    void changesTheClockWhileUploadsArePending()
    {
        setUp(smallWall(), latency(3600 * 1000));
        const Promise promise = upload("A", 1, 4);
        wall().timeline().advance(1000);
        wall().timeline().setClock(ClockMode::Skipping);
        QCOMPARE(wall().timeline().now(), 1000);
        QCOMPARE(value(promise), QVariant(true));
        QCOMPARE(wall().timeline().now(), 3600 * 1000);
    }

    // Events

    void eventsHappenInTheirOrder()
    {
        WallDescription description = smallWall();
        Event rename = eventAt(4000, Event::Rename, "B");
        rename.name = QStringLiteral("Late");
        Event early = rename;
        early.name = QStringLiteral("Early");
        description.events = {eventAt(5000, Event::Plug, "A"), eventAt(3000, Event::Unplug, "A"), early, rename};
        setUp(description, {});
        QSignalSpy changed(HttpProxy::getInstance(), &HttpProxy::deviceChanged);
        QSignalSpy renamed(ScreenInfo::getInstance(), &ScreenInfo::signal_screenNameChanged);
        wall().timeline().advance(2999);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(discovered(), (QStringList{a, b}));
        wall().timeline().advance(1);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(discovered(), QStringList{b});
        QVERIFY(!ask("A"));
        QCOMPARE(lastCall().note, QStringLiteral("the device is unplugged"));
        wall().timeline().advance(1000);
        QCOMPARE(renamed.count(), 2);
        QCOMPARE(renamed[0], (QList<QVariant>{b, QStringLiteral("Early")}));
        QCOMPARE(renamed[1], (QList<QVariant>{b, QStringLiteral("Late")}));
        QCOMPARE(wall().wall().devices[1].screenName, QStringLiteral("Late"));
        wall().timeline().advance(1000);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(discovered(), (QStringList{a, b}));
        QVERIFY(ask("A"));
    }

    void eventsAddAndClearFaults()
    {
        Event add = eventAt(10, Event::AddFault, "A");
        add.fault = fault(Fault::NoAnswer);
        WallDescription description = smallWall();
        description.events = {add, eventAt(20, Event::ClearFaults, "A"), eventAt(30, Event::Unplug, "nobody")};
        setUp(description, {});
        QVERIFY(ask("A"));
        wall().timeline().advance(10);
        QVERIFY(!ask("A"));
        QVERIFY(ask("B"));
        wall().timeline().advance(20);
        QVERIFY(ask("A"));
    }

    void schedulesEventsLater()
    {
        setUp(smallWall(), {});
        wall().timeline().advance(100);
        wall().timeline().schedule(eventAt(50, Event::Unplug, "A")); // happens next
        QCOMPARE(discovered(), QStringList{b});
        wall().timeline().schedule(eventAt(150, Event::Plug, "A"));
        QCOMPARE(discovered(), QStringList{b});
        wall().timeline().advance(50);
        QCOMPARE(discovered(), (QStringList{a, b}));
        QCOMPARE(wall().wall().events.size(), 2);
    }

    void realEventsHappenByTheEventLoop()
    {
        WallDescription description = smallWall();
        description.events = {eventAt(3, Event::Unplug, "A")};
        setUp(description, {}, ClockMode::RealTime);
        QEventLoop loop;
        connect(HttpProxy::getInstance(), &HttpProxy::deviceChanged, &loop, &QEventLoop::quit);
        loop.exec();
        QCOMPARE(wall().pluggedDevices().size(), 1);
    }

    void realEventsHappenAtCallsWithoutAnEventLoop()
    {
        WallDescription description = smallWall();
        description.events = {eventAt(0, Event::Unplug, "A")};
        setUp(description, {}, ClockMode::RealTime);
        QCOMPARE(discovered(), QStringList{b});
    }

    void anEventInTheMiddleOfACallLosesItsAnswer()
    {
        WallDescription description = smallWall();
        description.events = {eventAt(50, Event::Restart, "A"), eventAt(150, Event::Unplug, "B")};
        setUp(description, latency(100));
        QVERIFY(!ask("A"));
        QCOMPARE(lastCall().note, QStringLiteral("the device lost its power meanwhile"));
        QCOMPARE(wall().timeline().now(), 100);
        QVERIFY(!ask("B"));
        QCOMPARE(lastCall().note, QStringLiteral("the device is unplugged"));
        QVERIFY(ask("A"));
    }

    void aCallThatIsLostChangesNothing()
    {
        WallDescription description = smallWall();
        description.events = {eventAt(50, Event::Restart, "A"), eventAt(250, Event::Unplug, "B"),
                              eventAt(260, Event::Plug, "B")};
        setUp(description, latency(100));
        const auto setBrightness = [](const QString &key) {
            return ScreenInfo::getInstance()->setBrightness(key, QStringLiteral("255"), {{QStringLiteral("brightness"), 7}});
        };
        for (const QString &key : {a, b}) {
            QVERIFY(!setBrightness(key));
            QCOMPARE(lastCall().note, QStringLiteral("the device lost its power meanwhile"));
            QCOMPARE(wall().state().settings(key).brightness, 5000);
            QVERIFY(setBrightness(key));
            QCOMPARE(wall().state().settings(key).brightness, 7);
        }
    }

    void anEventOfAWallThreadHappensByItself()
    {
        Timing timing = latency(1);
        timing.settleInThread = true;
        WallDescription description = smallWall();
        description.devices[0].faults = {fault(Fault::Vanish, "Correctionop::uploadCoefficientAsync")};
        setUp(description, timing, ClockMode::RealTime);
        std::atomic<int> changes{0};
        const QMetaObject::Connection connection =
            QObject::connect(HttpProxy::getInstance(), &HttpProxy::deviceChanged, [&] {
                if (++changes == 1) // unplugged, plugged again soon
                    wall().timeline().schedule(eventAt(wall().timeline().now() + 5, Event::Plug, "A"));
            });
        const Promise promise = upload("A", 1, 4);
        const QDeadlineTimer deadline(5000);
        while (changes < 2 && !deadline.hasExpired()) // neither an event loop nor a call
            QThread::yieldCurrentThread();
        QObject::disconnect(connection);
        QCOMPARE(changes.load(), 2);
    }

    void aRestartRejectsUploadsOnTheirWay()
    {
        setUp(smallWall(), latency(100));
        const Promise promise = upload("A", 1, 1);
        const Promise other = upload("B", 3, 3);
        QVERIFY(wall().restartDevice(a));
        QCOMPARE(rejection(promise), QStringLiteral("the device restarted"));
        wall().timeline().advance(100);
        QVERIFY(other.isFulfilled());
        QCOMPARE(wall().state().chroma(a, one), plane(8, 0));
        QVERIFY(!wall().restartDevice(QStringLiteral("C")));
    }

    // Plugs

    void anUnpluggedDeviceKeepsWhatItSaved()
    {
        setUp(smallWall(), {});
        QVERIFY(upload("A", 1, 5).isFulfilled());
        QVERIFY(save("A", 1));
        QVERIFY(upload("A", 1, 6).isFulfilled());
        QVERIFY(upload("A", 2, 6).isFulfilled());
        QSignalSpy changed(HttpProxy::getInstance(), &HttpProxy::deviceChanged);
        QVERIFY(wall().unplug(a));
        QVERIFY(!wall().unplug(a));
        QVERIFY(!wall().restartDevice(a));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(wall().pluggedDevices().size(), 1);
        QCOMPARE(wall().wall().devices.size(), 2);
        QVERIFY(wall().plug(a));
        QVERIFY(!wall().plug(a));
        QVERIFY(!wall().plug(QStringLiteral("C")));
        QCOMPARE(changed.count(), 2);
        QCOMPARE(wall().state().chroma(a, one), plane(8, 5));
        QCOMPARE(wall().state().chroma(a, QStringLiteral("2")), plane(8, 0));
    }

    void whatAScriptHoldsStaysPending()
    {
        setUp(smallWall(), {});
        wall().scripts().on(QString()).settleLater();
        const Promise promise = upload("A", 1, 5);
        QVERIFY(wall().unplug(a));
        QVERIFY(promise.isPending());
        wall().setWall(smallWall());
        QVERIFY(promise.isPending());
        QVERIFY(wall().uploads().settle(a, true));
        QCOMPARE(wall().state().chroma(a, one), plane(8, 5));
    }

    // The wall as a whole

    void aNewWallRejectsWhatIsPendingAndBeginsAtZero()
    {
        WallDescription description = smallWall();
        description.title = QStringLiteral("small");
        description.seed = 99;
        description.replyBlockHeight = 1;
        description.defaultPixels[0] = QByteArray(18, '\1');
        setUp(description, latency(100));
        wall().timeline().advance(70);
        const Promise promise = upload("A", 1, 1);
        QSignalSpy changed(HttpProxy::getInstance(), &HttpProxy::deviceChanged);
        wall().setWall(description);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(rejection(promise), QStringLiteral("the wall was set up again"));
        QCOMPARE(wall().timeline().now(), 0);
        QCOMPARE(wall().state().chroma(a, one), plane(8, 257));
        List reply;
        QVERIFY(Correctionop::getInstance()->loadCoefficient(a, one, reply));
        QCOMPARE(reply.size(), 2);
        const WallDescription back = wall().wall();
        QCOMPARE(back.title, description.title);
        QCOMPARE(back.seed, description.seed);
        QCOMPARE(back.replyBlockHeight, 1);
        QCOMPARE(back.defaultPixels[0], description.defaultPixels[0]);
    }

    void isUsableFromManyThreads()
    {
        Timing timing;
        timing.jitter = 1;
        timing.settleInThread = true;
        setUp(smallWall(), timing, ClockMode::RealTime);
        std::atomic<int> failures{0};
        std::vector<std::thread> threads;
        for (const char *key : {"A", "B"}) {
            threads.emplace_back([&failures, key] {
                for (int i = 0; i < 20; ++i) {
                    if (value(upload(key, *key == 'A' ? 1 : 3, quint16(i))) != QVariant(true) || !ask(key))
                        ++failures;
                }
            });
        }
        for (int i = 0; i < 20; ++i) {
            wall().timeline().schedule(eventAt(wall().timeline().now() + i, Event::Rename, "A"));
            wall().wall();
            discovered();
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(failures.load(), 0);
        QCOMPARE(wall().state().chroma(a, one), plane(8, 19));
    }
};

QTEST_GUILESS_MAIN(tst_Time)
#include "tst_time.moc"

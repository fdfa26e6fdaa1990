// The bundled promise with events that never arrive, with applications of this program's own.

#include <QtPromise>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <QtTest/QtTest>

#include <functional>
#include <memory>
#include <thread>

using namespace QtPromise;

#ifdef CORRECTION_BUNDLED_QTPROMISE

namespace {

/// Refuses a user's event when one waits already for the same receiver, as Qt's documentation allows.
class CompressingApplication : public QCoreApplication
{
public:
    using QCoreApplication::QCoreApplication;

    int compressed = 0;

protected:
    bool compressEvent(QEvent *event, QObject *receiver, QPostEventList *events) override
    {
        if (event->type() < QEvent::User)
            return QCoreApplication::compressEvent(event, receiver, events);
        delete event;
        ++compressed;
        return true;
    }
};

/// An application for the time of a block.
template <typename Kind>
struct Lasting {
    Lasting() : application(count, arguments) {}

    int count = 1;
    char name[5] = "test";
    char *arguments[2] = {name, nullptr};
    Kind application;
};

/// Calls a function when it is destroyed.
class AtEnd : public QObject
{
public:
    AtEnd(std::function<void()> what, QObject *parent) : QObject(parent), m_what(std::move(what)) {}
    ~AtEnd() override { m_what(); }

private:
    const std::function<void()> m_what;
};

void processAll()
{
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents();
}

} // namespace

class tst_QPromiseApplications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handlersRunThoughTheirEventsAreCompressed();
    void waitReturnsThoughItsEventIsCompressed();
    void aHandlerOfARemovedEventMayWaitForALaterOne_data();
    void aHandlerOfARemovedEventMayWaitForALaterOne();
    void removedEventsLeaveLaterHandlersTheirTurn_data();
    void removedEventsLeaveLaterHandlersTheirTurn();
    void aWaitInAHandlerKeepsTheOrderOfEvents();
    void theFirstWaitOfAThreadKeepsTheOrderOfEvents();
    void aPromiseThatNeverSettlesRunsNoOtherHandler();
    void aTimeoutNeedsNoEventDispatcher();
    void anEventLostWhileTheDispatcherGoesWakesNothing();
    void anApplicationOfAThreadWithoutPromises();
};

void tst_QPromiseApplications::handlersRunThoughTheirEventsAreCompressed()
{
    const Lasting<CompressingApplication> lasting;
    QVector<int> order;
    const auto done = QPromise<void>::resolve();
    for (int i = 0; i < 3; ++i)
        done.then([&order, i] { order += i; });
    QCOMPARE(lasting.application.compressed, 2);
    processAll();
    QCOMPARE(order, (QVector<int>{0, 1, 2}));
}

void tst_QPromiseApplications::waitReturnsThoughItsEventIsCompressed()
{
    const Lasting<CompressingApplication> lasting;
    QVector<int> order;
    const auto done = QPromise<void>::resolve();
    done.then([&order] { order += 0; });
    done.then([&order] { order += 1; }).wait();
    QVERIFY(lasting.application.compressed > 0);
    QCOMPARE(order, (QVector<int>{0, 1}));
}

void tst_QPromiseApplications::aHandlerOfARemovedEventMayWaitForALaterOne_data()
{
    QTest::addColumn<bool>("inAnEventLoop");
    QTest::newRow("in wait()") << false;
    QTest::newRow("in an event loop") << true;
}

void tst_QPromiseApplications::aHandlerOfARemovedEventMayWaitForALaterOne()
{
    QFETCH(bool, inAnEventLoop);
    const Lasting<QCoreApplication> lasting;
    QVector<int> order;
    const auto done = QPromise<void>::resolve();
    std::unique_ptr<QPromise<void>> last;
    done.then([&] {
        order += 1;
        if (inAnEventLoop) {
            QEventLoop loop;
            last->then([&loop] { loop.quit(); });
            loop.exec();
        } else {
            last->wait();
        }
        order += 4;
    });
    done.then([&order] { order += 2; });
    last = std::make_unique<QPromise<void>>(done.then([&order] { order += 3; }));
    QCoreApplication::removePostedEvents(nullptr);
    QCOMPARE(order, (QVector<int>{1, 2, 3, 4}));
}

void tst_QPromiseApplications::removedEventsLeaveLaterHandlersTheirTurn_data()
{
    QTest::addColumn<bool>("isWaitedFor");
    QTest::newRow("in the event loop") << false;
    QTest::newRow("in wait()") << true;
}

void tst_QPromiseApplications::removedEventsLeaveLaterHandlersTheirTurn()
{
    QFETCH(bool, isWaitedFor);
    const Lasting<QCoreApplication> lasting;
    QVector<int> order;
    const auto done = QPromise<void>::resolve();
    done.then([&order] { order += 1; });
    done.then([&order] { order += 2; });
    QCoreApplication::removePostedEvents(nullptr);
    QCOMPARE(order, (QVector<int>{1, 2}));
    QTimer::singleShot(0, [] {}); // the dispatcher has something to do
    QMetaObject::invokeMethod(
        this, [&order] { order += 3; }, Qt::QueuedConnection);
    const auto last = done.then([&order] { order += 4; });
    if (isWaitedFor)
        last.wait();
    processAll();
    QCOMPARE(order, (QVector<int>{1, 2, 3, 4}));
}

void tst_QPromiseApplications::aWaitInAHandlerKeepsTheOrderOfEvents()
{
    const Lasting<QCoreApplication> lasting;
    QVector<int> order;
    const auto done = QPromise<void>::resolve();
    std::unique_ptr<QPromise<void>> last;
    done.then([&] {
        order += 1;
        last->wait();
        order += 4;
    });
    QMetaObject::invokeMethod(
        this, [&order] { order += 2; }, Qt::QueuedConnection);
    last = std::make_unique<QPromise<void>>(done.then([&order] { order += 3; }));
    processAll();
    QCOMPARE(order, (QVector<int>{1, 2, 3, 4}));
}

void tst_QPromiseApplications::theFirstWaitOfAThreadKeepsTheOrderOfEvents()
{
    const Lasting<QCoreApplication> lasting;
    QVector<int> order;
    std::thread([&order] {
        QObject receiver;
        QMetaObject::invokeMethod(
            &receiver, [&order] { order += 1; }, Qt::QueuedConnection);
        QPromise<void>::resolve().then([&order] { order += 2; }).wait();
    }).join();
    QCOMPARE(order, (QVector<int>{1, 2}));
}

void tst_QPromiseApplications::aPromiseThatNeverSettlesRunsNoOtherHandler()
{
    const Lasting<QCoreApplication> lasting;
    QVector<int> order;
    QPromise<void>::resolve().then([&order] { order += 1; });
    QPromise<void>([](const QPromiseResolve<void> &) {}).then([&order] { order += 2; });
    QCOMPARE(order, QVector<int>());
    processAll();
    QCOMPARE(order, QVector<int>{1});
}

void tst_QPromiseApplications::aTimeoutNeedsNoEventDispatcher()
{
    const Lasting<QCoreApplication> lasting;
    bool isTimedOut = false;
    std::thread([&isTimedOut] { // has no event dispatcher before its first promise
        const QPromise<void> never([](const QPromiseResolve<void> &) {});
        never.timeout(1).fail([&isTimedOut](const QPromiseTimeoutException &) { isTimedOut = true; }).wait();
    })
        .join();
    QVERIFY(isTimedOut);
}

void tst_QPromiseApplications::anEventLostWhileTheDispatcherGoesWakesNothing()
{
    // Another thread removes the event when nothing is left of the dispatcher but the QObject.
    int told = 0;
    {
        const Lasting<QCoreApplication> lasting;
        QEventLoop makesDispatcher;
        QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance();
        QPromise<void>::resolve().then([&told] { ++told; });
        const QObjectList receivers = dispatcher->children();
        QCOMPARE(receivers.size(), 1);
        QObject *const receiver = receivers.first();
        new AtEnd([receiver] { std::thread([receiver] { QCoreApplication::removePostedEvents(receiver); }).join(); },
                  dispatcher);
        receiver->setParent(nullptr);
        receiver->setParent(dispatcher); // so that it is destroyed after the other one
    }
    QCOMPARE(told, 0);
    const Lasting<QCoreApplication> next;
    processAll();
    QCOMPARE(told, 1);
}

void tst_QPromiseApplications::anApplicationOfAThreadWithoutPromises()
{
    const auto early = QPromise<int>::resolve(1); // from here on applications are noticed
    bool isRunning = false;
    std::thread([&isRunning] {
        const Lasting<QCoreApplication> lasting;
        isRunning = QCoreApplication::instance() == &lasting.application;
    }).join();
    QVERIFY(isRunning);
    int value = 0;
    const Lasting<QCoreApplication> lasting;
    early.then([&value](int one) { value = one; }).wait();
    QCOMPARE(value, 1);
}

QTEST_APPLESS_MAIN(tst_QPromiseApplications)

#include "tst_qpromise_applications.moc"

#else

int main()
{
    return 0; // no such counter in another promise
}

#endif

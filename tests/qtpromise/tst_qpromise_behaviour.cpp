// What this promise and QtPromise do alike where an own implementation would easily differ: one function for each line of
// the table, whose comment states what both do. The program makes its applications itself.

#include <QtPromise>

#include <QtTest/QtTest>

#include <memory>
#include <stdexcept>
#include <string>

using namespace QtPromise;

namespace {

/// An application for the time of a block.
struct Application {
    Application() : application(count, arguments) {}

    int count = 1;
    char name[5] = "test";
    char *arguments[2] = {name, nullptr};
    QCoreApplication application;
};

void processAll()
{
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents();
}

/// What is thrown by `rethrow` inside a catch, as text.
template <typename Rethrow>
std::string caught(Rethrow rethrow)
{
    try {
        rethrow();
    } catch (const std::exception &error) {
        return error.what();
    } catch (...) {
        return "something else";
    }
    return "nothing";
}

/// Counts what is done to a value.
struct Counted {
    explicit Counted(int *copiesOfAll, int *movesOfAll) : copies(copiesOfAll), moves(movesOfAll) {}
    Counted(const Counted &other) : copies(other.copies), moves(other.moves) { ++*copies; }
    Counted(Counted &&other) noexcept : copies(other.copies), moves(other.moves) { ++*moves; }
    Counted &operator=(const Counted &) = delete;
    Counted &operator=(Counted &&) = delete;
    ~Counted() = default;

    int *copies;
    int *moves;
};

/// Stops events of every kind that is posted to others than itself.
class Swallower : public QObject
{
public:
    bool eventFilter(QObject *, QEvent *event) override { return event->type() >= QEvent::User; }
};

const auto toldLater = [](int *told) { return [told] { ++*told; }; };

} // namespace

class tst_QPromiseBehaviour : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handlersOfRejectionsRunInsideACatch();
    void swallowedEventsLoseNoHandler();
    void removedEventsLoseNoHandler();
    void handlersSurviveTheirApplication();
    void handlersThatWereDueSurviveTheirApplication();
    void anApplicationWithoutAnyHandlerAttachedRunsThem();
    void eachCallsLater();
    void negativeTimesNeverPass();
    void aTimeoutOfNothingTimesOut();
    void aResolverIsAnInitializer();
    void aValueIsMovedOrCopiedOnce();
};

void tst_QPromiseBehaviour::handlersOfRejectionsRunInsideACatch()
{
    // Both: `throw;` and std::current_exception() work in fail(), tapFail() and finally() without an argument.
    const Application application;
    const auto rejected = QPromise<int>::reject(std::runtime_error("cause"));
    QStringList seen;
    const auto look = [&] {
        seen += QString::fromStdString(caught([] { throw; }));
        seen += QString::fromStdString(caught([] { std::rethrow_exception(std::current_exception()); }));
    };
    rejected
        .fail([&] {
            look();
            return 0;
        })
        .wait();
    rejected.tapFail(look).fail([] { return 0; }).wait();
    rejected.finally(look).fail([] { return 0; }).wait();
    QCOMPARE(seen, QStringList(QVector<QString>(6, QStringLiteral("cause")).toList()));
}

void tst_QPromiseBehaviour::swallowedEventsLoseNoHandler()
{
    // Both: an event filter that swallows what announces a handler does not lose it.
    const Application application;
    int told = 0;
    QPromise<void>::resolve().then(toldLater(&told));
    Swallower swallower;
    QCoreApplication::instance()->installEventFilter(&swallower);
    processAll();
    QCoreApplication::instance()->removeEventFilter(&swallower);
    processAll();
    QCOMPARE(told, 1);
}

void tst_QPromiseBehaviour::removedEventsLoseNoHandler()
{
    // Both: nor does QCoreApplication::removePostedEvents().
    const Application application;
    int told = 0;
    QPromise<void>::resolve().then(toldLater(&told));
    QCoreApplication::removePostedEvents(nullptr);
    processAll();
    QCOMPARE(told, 1);
}

void tst_QPromiseBehaviour::handlersSurviveTheirApplication()
{
    // Both: attached under one application, settled under the next: run.
    int told = 0;
    std::unique_ptr<QPromiseResolve<void>> settle;
    {
        const Application first;
        QPromise<void>([&](const QPromiseResolve<void> &resolve) {
            settle = std::make_unique<QPromiseResolve<void>>(resolve);
        }).then(toldLater(&told));
        processAll();
    }
    const Application second;
    (*settle)();
    QCOMPARE(told, 0);
    processAll();
    QCOMPARE(told, 1);
}

void tst_QPromiseBehaviour::handlersThatWereDueSurviveTheirApplication()
{
    // Both: settled under the first application, which ended before its event loop came to it: run, in order.
    QVector<int> told;
    {
        const Application first;
        const auto done = QPromise<void>::resolve();
        for (int i = 0; i < 3; ++i)
            done.then([&told, i] { told += i; });
    }
    QCOMPARE(told, QVector<int>());
    const Application second;
    processAll();
    QCOMPARE(told, (QVector<int>{0, 1, 2}));
}

void tst_QPromiseBehaviour::anApplicationWithoutAnyHandlerAttachedRunsThem()
{
    // Both: settled while there is no application: run under the next.
    int told = 0;
    std::unique_ptr<QPromiseResolve<void>> settle;
    {
        const Application first;
        QPromise<void>([&](const QPromiseResolve<void> &resolve) {
            settle = std::make_unique<QPromiseResolve<void>>(resolve);
        }).then(toldLater(&told));
    }
    (*settle)();
    QCOMPARE(told, 0);
    const Application second;
    processAll();
    QCOMPARE(told, 1);
}

void tst_QPromiseBehaviour::eachCallsLater()
{
    // Both: the function is called by the event loop, for each element in order, and the sequence is the value.
    const Application application;
    QVector<int> called;
    const QVector<int> sequence{4, 5, 6};
    const auto promise = QtPromise::each(sequence, [&](int value, int index) { called += 10 * value + index; });
    QVERIFY(called.isEmpty());
    QVERIFY(promise.isPending());
    QVector<int> value;
    promise.then([&](const QVector<int> &result) { value = result; }).wait();
    QCOMPARE(called, (QVector<int>{40, 51, 62}));
    QCOMPARE(value, sequence);
}

void tst_QPromiseBehaviour::negativeTimesNeverPass()
{
    // Both: Qt warns, and the promise stays pending.
    const Application application;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("negative")));
    const auto delayed = QPromise<int>::resolve(3).delay(-5);
    processAll();
    const auto pending = QPromise<int>([](const QPromiseResolve<int> &) {});
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("negative")));
    const auto timed = pending.timeout(-5);
    QTest::qWait(20);
    QVERIFY(delayed.isPending());
    QVERIFY(timed.isPending());
}

void tst_QPromiseBehaviour::aTimeoutOfNothingTimesOut()
{
    // Both: timeout(0) of a pending promise rejects with QPromiseTimeoutException.
    const Application application;
    const auto pending = QPromise<int>([](const QPromiseResolve<int> &) {});
    bool timedOut = false;
    pending.timeout(0)
        .fail([&](const QPromiseTimeoutException &) {
            timedOut = true;
            return 0;
        })
        .wait();
    QVERIFY(timedOut);
    QVERIFY(pending.isPending());
}

void tst_QPromiseBehaviour::aResolverIsAnInitializer()
{
    // Both compile this.
    const Application application;
    const QPromise<int> promise = [](const QPromiseResolve<int> &resolve) { resolve(3); };
    QVERIFY(promise.isFulfilled());
}

void tst_QPromiseBehaviour::aValueIsMovedOrCopiedOnce()
{
    // Both: a value is moved once, or copied once, into the promise.
    const Application application;
    int copies = 0;
    int moves = 0;
    const Counted value(&copies, &moves);
    const auto counts = [&] {
        const QPair<int, int> both{copies, moves};
        copies = moves = 0;
        return both;
    };
    using Counts = QPair<int, int>;

    QPromise<Counted>::resolve(value);
    QCOMPARE(counts(), Counts(1, 0));
    QPromise<Counted>::resolve(Counted(&copies, &moves));
    QCOMPARE(counts(), Counts(0, 1));
    QPromise<Counted>([&](const QPromiseResolve<Counted> &resolve) { resolve(value); });
    QCOMPARE(counts(), Counts(1, 0));
    QPromise<Counted>([&](const QPromiseResolve<Counted> &resolve) { resolve(Counted(&copies, &moves)); });
    QCOMPARE(counts(), Counts(0, 1));
    QPromise<int>::resolve(0).then([&] { return Counted(&copies, &moves); }).wait();
    QCOMPARE(counts(), Counts(0, 1));
    QPromise<Counted> first = QPromise<Counted>::resolve(Counted(&copies, &moves));
    counts();
    first.then([](const Counted &) {}).wait();
    QCOMPARE(counts(), Counts(0, 0));
    first.delay(0).wait();
    QCOMPARE(counts(), Counts(0, 0));
}

QTEST_APPLESS_MAIN(tst_QPromiseBehaviour)

#include "tst_qpromise_behaviour.moc"

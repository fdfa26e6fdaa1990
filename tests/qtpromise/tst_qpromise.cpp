#include <QtPromise>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEvent>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTimer>
#include <QtCore/QVariant>
#include <QtCore/QVector>
#include <QtTest/QTest>

#include <atomic>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// What hosts write about promises elsewhere than in a function.
class OwnValue
{
};

template <typename T>
struct IsPromise : std::false_type {
};
template <typename T>
struct IsPromise<QtPromise::QPromise<T>> : std::true_type {
};
static_assert(IsPromise<QtPromise::QPromise<int>>::value && !IsPromise<int>::value, "");

QtPromise::QPromise<int> declaredAhead(const QtPromise::QPromise<int> &promise);

namespace QtPromise {
template <>
class QPromise<OwnValue>
{
public:
    static constexpr bool isOwn = true;
};

int valueOf(const QPromise<int> &promise)
{
    int value = 0;
    promise.then([&](int given) { value = given; }).wait();
    return value;
}
} // namespace QtPromise
static_assert(QtPromise::QPromise<OwnValue>::isOwn, "");

Q_DECLARE_METATYPE(QVector<QtPromise::QPromise<int>>)
Q_DECLARE_METATYPE(std::shared_ptr<QtPromise::QPromise<void>>)

/// A host's class, as moc sees it.
class Host : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE QtPromise::QPromise<int> start(int value)
    {
        const QtPromise::QPromise<int> promise = QtPromise::QPromise<int>::resolve(value);
        Q_EMIT started(promise);
        return promise;
    }

Q_SIGNALS:
    void started(const QtPromise::QPromise<int> &promise);
};

using QtPromise::QPromise;
using QtPromise::QPromiseReject;
using QtPromise::QPromiseResolve;
using QtPromise::QPromiseTimeoutException;

namespace {

constexpr int tenMinutes = 600000;

// Compile-time facts.
static_assert(std::is_copy_constructible<QPromise<int>>::value && std::is_copy_assignable<QPromise<int>>::value, "");
static_assert(std::is_copy_constructible<QPromise<void>>::value && std::is_copy_assignable<QPromise<void>>::value, "");
static_assert(std::is_nothrow_move_constructible<QPromise<QString>>::value, "");
static_assert(std::is_copy_constructible<QPromiseResolve<int>>::value, "");
static_assert(std::is_copy_constructible<QPromiseReject<int>>::value, "");
static_assert(!std::is_convertible<int, QPromise<int>>::value, "");
static_assert(std::is_base_of<std::exception, QPromiseTimeoutException>::value, "");

int giveOne()
{
    return 1;
}
QPromise<int> givePromise(int)
{
    return QPromise<int>::resolve(1);
}
int recover(const std::exception &)
{
    return 1;
}

template <typename Promise, typename Expected>
constexpr bool isPromiseOf = std::is_same<Promise, QPromise<Expected>>::value;

static_assert(isPromiseOf<decltype(std::declval<QPromise<QString>>().then(&giveOne)), int>, "");
static_assert(isPromiseOf<decltype(std::declval<QPromise<int>>().then(&givePromise)), int>, "");
static_assert(isPromiseOf<decltype(std::declval<QPromise<int>>().fail(&recover)), int>, "");
static_assert(isPromiseOf<decltype(std::declval<QPromise<QString>>().finally(&giveOne)), QString>, "");
static_assert(isPromiseOf<decltype(std::declval<QPromise<QString>>().tap(&giveOne)), QString>, "");
static_assert(isPromiseOf<decltype(std::declval<QPromise<QString>>().tapFail(&giveOne)), QString>, "");
static_assert(isPromiseOf<decltype(QtPromise::resolve(1)), int>, "");
static_assert(isPromiseOf<decltype(QtPromise::resolve(std::declval<const QString &>())), QString>, "");
static_assert(isPromiseOf<decltype(QtPromise::resolve(std::declval<QPromise<int> &>())), int>, "");
static_assert(isPromiseOf<decltype(QtPromise::resolve()), void>, "");
static_assert(isPromiseOf<decltype(QtPromise::all(std::declval<QList<QPromise<int>>>())), QVector<int>>, "");
static_assert(isPromiseOf<decltype(QtPromise::all(std::declval<std::vector<QPromise<void>>>())), void>, "");
static_assert(isPromiseOf<decltype(QtPromise::attempt(&givePromise, 1)), int>, "");

/// A value without a default constructor, which counts the existing objects.
struct Counted {
    explicit Counted(int given) : number(given) { ++living; }
    Counted(const Counted &other) : number(other.number) { ++living; }
    Counted &operator=(const Counted &) = default;
    ~Counted() { --living; }

    int number;
    static std::atomic<int> living;
};
std::atomic<int> Counted::living{0};

struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The two functors of a promise, for a test that settles it later.
template <typename T>
struct Deferred {
    std::unique_ptr<QPromiseResolve<T>> resolve;
    std::unique_ptr<QPromiseReject<T>> reject;
    QPromise<T> promise{[this](const QPromiseResolve<T> &fulfil, const QPromiseReject<T> &refuse) {
        resolve.reset(new QPromiseResolve<T>(fulfil));
        reject.reset(new QPromiseReject<T>(refuse));
    }};
};

QString asText(int value)
{
    return QString::number(value);
}
QString asText(const QString &value)
{
    return value;
}
template <typename Sequence>
QString asText(const Sequence &values)
{
    QStringList texts;
    for (const auto &value : values)
        texts << asText(value);
    return texts.join(QLatin1Char(','));
}

/// Waits for the promise; gives its value or error as text.
QString settled(const QPromise<QString> &promise)
{
    QString text;
    promise.fail([](int error) { return QStringLiteral("error int %1").arg(error); })
        .fail([](const QString &error) { return QStringLiteral("error QString %1").arg(error); })
        .fail([](const char *error) { return QStringLiteral("error chars %1").arg(QLatin1String(error)); })
        .fail([](const QPromiseTimeoutException &) { return QStringLiteral("error timeout"); })
        .fail([](const std::bad_alloc &) { return QStringLiteral("error bad_alloc"); })
        .fail([](const Refused &error) { return QStringLiteral("error Refused %1").arg(QLatin1String(error.what())); })
        .fail([](const std::exception &) { return QStringLiteral("error exception"); })
        .fail([] { return QStringLiteral("error of some kind"); })
        .then([&](const QString &result) { text = result; })
        .wait();
    return text;
}
QString settled(const QPromise<void> &promise)
{
    return settled(promise.then([] { return QStringLiteral("nothing"); }));
}
template <typename T>
QString settled(const QPromise<T> &promise)
{
    return settled(promise.then([](const T &value) { return QStringLiteral("value ") + asText(value); }));
}

/// Runs all posted events.
void runPosted()
{
    QCoreApplication::processEvents();
}

/// The exception that is being handled, as text; empty if there is none.
QString currentError()
{
    const std::exception_ptr current = std::current_exception();
    if (!current)
        return QString();
    try {
        std::rethrow_exception(current);
    } catch (const Refused &error) {
        return QStringLiteral("Refused %1").arg(QLatin1String(error.what()));
    } catch (int error) {
        return QStringLiteral("int %1").arg(error);
    } catch (...) {
        return QStringLiteral("some error");
    }
}

QStringList seenErrors;
/// Records the exception that is being handled and throws it again.
int rethrow()
{
    seenErrors << currentError();
    throw;
}

using IntPromise = std::function<QPromise<int>()>;
using IntHandler = std::function<QPromise<int>(const QPromise<int> &)>;

} // namespace

Q_DECLARE_METATYPE(IntPromise)
Q_DECLARE_METATYPE(IntHandler)

class tst_QPromise : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QCOMPARE(Counted::living.load(), 0); }
    void cleanup() { QCOMPARE(Counted::living.load(), 0); }

    // Making and settling

    void aResolverRunsAtOnce()
    {
        bool ran = false;
        const QPromise<int> promise([&](const QPromiseResolve<int> &) { ran = true; });
        QVERIFY(ran);
        QVERIFY(promise.isPending());
    }

    void aResolverMaySettleAtOnce_data()
    {
        QTest::addColumn<IntPromise>("make");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("one argument, a value")
            << IntPromise([] { return QPromise<int>([](const QPromiseResolve<int> &resolve) { resolve(5); }); })
            << QStringLiteral("value 5");
        QTest::newRow("one argument by value")
            << IntPromise([] { return QPromise<int>([](QPromiseResolve<int> resolve) { resolve(5); }); })
            << QStringLiteral("value 5");
        QTest::newRow("two arguments, a value from an lvalue") << IntPromise([] {
            const int five = 5;
            return QPromise<int>([&](const QPromiseResolve<int> &resolve, const QPromiseReject<int> &) { resolve(five); });
        }) << QStringLiteral("value 5");
        QTest::newRow("two arguments, an error") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &, const QPromiseReject<int> &reject) { reject(7); });
        }) << QStringLiteral("error int 7");
        QTest::newRow("an error of class type") << IntPromise([] {
            return QPromise<int>(
                [](const QPromiseResolve<int> &, const QPromiseReject<int> &reject) { reject(QStringLiteral("no")); });
        }) << QStringLiteral("error QString no");
        QTest::newRow("the error inside an exception pointer") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &, const QPromiseReject<int> &reject) {
                reject(std::make_exception_ptr(Refused("no")));
            });
        }) << QStringLiteral("error Refused no");
        QTest::newRow("an exception leaves the resolver")
            << IntPromise([] { return QPromise<int>([](const QPromiseResolve<int> &) { throw Refused("no"); }); })
            << QStringLiteral("error Refused no");
        QTest::newRow("an exception after a value counts no more") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &resolve) {
                resolve(5);
                throw Refused("no");
            });
        }) << QStringLiteral("value 5");
        QTest::newRow("the first of two values") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &resolve) {
                resolve(5);
                resolve(6);
            });
        }) << QStringLiteral("value 5");
        QTest::newRow("a value before an error") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &resolve, const QPromiseReject<int> &reject) {
                resolve(5);
                reject(7);
            });
        }) << QStringLiteral("value 5");
        QTest::newRow("an error before a value") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &resolve, const QPromiseReject<int> &reject) {
                reject(7);
                resolve(5);
            });
        }) << QStringLiteral("error int 7");
        QTest::newRow("a copy of the functor that has been used counts no more") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &resolve) {
                const QPromiseResolve<int> copy = resolve;
                resolve(5);
                copy(6);
            });
        }) << QStringLiteral("value 5");
#ifdef CORRECTION_BUNDLED_QTPROMISE
        QTest::newRow("a fulfilled promise as value") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &resolve) { resolve(QPromise<int>::resolve(5)); });
        }) << QStringLiteral("value 5");
        QTest::newRow("a rejected promise as value") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &resolve) { resolve(QPromise<int>::reject(7)); });
        }) << QStringLiteral("error int 7");
        QTest::newRow("an error after a promise as value counts no more") << IntPromise([] {
            return QPromise<int>([](const QPromiseResolve<int> &resolve, const QPromiseReject<int> &reject) {
                resolve(QtPromise::resolve(5).delay(0));
                reject(7);
            });
        }) << QStringLiteral("value 5");
#endif
    }

    void aResolverMaySettleAtOnce()
    {
        QFETCH(IntPromise, make);
        QFETCH(QString, outcome);
        QCOMPARE(settled(make()), outcome);
    }

    void theFunctorsOutliveTheResolver()
    {
        const Deferred<int> fulfilled;
        QVERIFY(fulfilled.promise.isPending());
        (*fulfilled.resolve)(5);
        QVERIFY(fulfilled.promise.isFulfilled() && !fulfilled.promise.isPending() && !fulfilled.promise.isRejected());

        const Deferred<int> rejected;
        (*rejected.reject)(7);
        QVERIFY(rejected.promise.isRejected() && !rejected.promise.isPending() && !rejected.promise.isFulfilled());
        QCOMPARE(settled(rejected.promise), QStringLiteral("error int 7"));
    }

    void theFunctorsOutliveThePromise()
    {
        std::unique_ptr<QPromiseResolve<Counted>> kept;
        {
            const QPromise<Counted> promise(
                [&](const QPromiseResolve<Counted> &resolve) { kept.reset(new QPromiseResolve<Counted>(resolve)); });
        }
        (*kept)(Counted(1));
        QCOMPARE(Counted::living.load(), 0);
    }

#ifdef CORRECTION_BUNDLED_QTPROMISE
    void aUsedFunctorKeepsNothingAlive()
    {
        const auto deferred = std::make_unique<Deferred<Counted>>();
        const QPromiseResolve<Counted> used = *deferred->resolve;
        used(Counted(1));
        QCOMPARE(Counted::living.load(), 1);
        deferred->promise = Deferred<Counted>().promise;
        QCOMPARE(Counted::living.load(), 0);
    }

    void aPromiseThatIsToFollowItselfIsRejected()
    {
        const Deferred<int> deferred;
        (*deferred.resolve)(deferred.promise);
        QCOMPARE(settled(deferred.promise), QStringLiteral("error exception"));
    }

    void anEmptyExceptionPointerIsAnErrorToo()
    {
        QCOMPARE(settled(QPromise<int>::reject(std::exception_ptr())), QStringLiteral("error exception"));
    }
#endif

    void aPromiseOfNothingSettles()
    {
        const Deferred<void> deferred;
        QVERIFY(deferred.promise.isPending());
        (*deferred.resolve)();
        QVERIFY(deferred.promise.isFulfilled());
        const Deferred<void> refused;
        (*refused.reject)(QStringLiteral("no"));
        QCOMPARE(settled(refused.promise), QStringLiteral("error QString no"));
    }

#ifdef CORRECTION_BUNDLED_QTPROMISE
    void aFollowedPromiseSettlesItsFollower()
    {
        const Deferred<int> inner;
        const Deferred<int> outer;
        (*outer.resolve)(inner.promise);
        runPosted();
        QVERIFY(outer.promise.isPending());
        (*inner.resolve)(5);
        QCOMPARE(settled(outer.promise), QStringLiteral("value 5"));
    }
#endif

    void settledPromisesAreMadeDirectly()
    {
        QVERIFY(QPromise<int>::resolve(5).isFulfilled());
        QVERIFY(QPromise<void>::resolve().isFulfilled());
        QVERIFY(QPromise<int>::reject(7).isRejected());
        QVERIFY(QPromise<void>::reject(7).isRejected());
        QVERIFY(QtPromise::resolve(5).isFulfilled());
        QVERIFY(QtPromise::resolve().isFulfilled());
        QCOMPARE(settled(QPromise<int>::resolve(5)), QStringLiteral("value 5"));
        QCOMPARE(settled(QtPromise::resolve(QStringLiteral("text"))), QStringLiteral("text"));
        QCOMPARE(settled(QPromise<int>::reject(7)), QStringLiteral("error int 7"));
        QCOMPARE(settled(QPromise<void>::reject(Refused("no"))), QStringLiteral("error Refused no"));
        QCOMPARE(settled(QPromise<int>::reject("no")), QStringLiteral("error chars no"));
        QCOMPARE(settled(QtPromise::resolve(QPromise<int>::reject(7))), QStringLiteral("error int 7"));
        QCOMPARE(settled(QPromise<QVector<int>>::resolve({1, 2})), QStringLiteral("value 1,2"));
    }

    void copiesShareOneState()
    {
        const Deferred<int> deferred;
        const QPromise<int> copy = deferred.promise;
        QPromise<int> assigned = QPromise<int>::resolve(1);
        QVERIFY(!(assigned == copy));
        assigned = copy;
        QVERIFY(copy == deferred.promise);
        QVERIFY(assigned == copy);
        QVERIFY(!(QPromise<int>::resolve(1) == QPromise<int>::resolve(1)));
        QVERIFY(!(copy.then([] {}) == copy.then([] {})));
        (*deferred.resolve)(5);
        QVERIFY(copy.isFulfilled() && assigned.isFulfilled());
    }

    void aValueNeedsNoDefault()
    {
        int number = 0;
        const QPromise<Counted> promise = QPromise<Counted>::resolve(Counted(5));
        promise.then([](const Counted &value) { return Counted(value.number + 1); })
            .then([&](const Counted &value) { number = value.number; })
            .wait();
        QCOMPARE(number, 6);
    }

    void promisesAreTypesForTheMetaObjectSystem()
    {
        Host host;
        int started = 0;
        connect(&host, &Host::started, this, [&](const QPromise<int> &promise) { started = valueOf(promise); });
        connect(&host, SIGNAL(started(QtPromise::QPromise<int>)), this, SLOT(note(QtPromise::QPromise<int>)));
        QPromise<int> promise = QPromise<int>::resolve(0);
        QVERIFY(QMetaObject::invokeMethod(&host, "start", Q_RETURN_ARG(QtPromise::QPromise<int>, promise), Q_ARG(int, 5)));
        QCOMPARE(settled(promise), QStringLiteral("value 5"));
        QCOMPARE(started, 5);
        QCOMPARE(m_noted, 5);
        const QVariant several = QVariant::fromValue(QVector<QPromise<int>>{promise});
        QCOMPARE(several.typeName(), "QVector<QtPromise::QPromise<int> >");
        QVERIFY(several.value<QVector<QPromise<int>>>().value(0, QPromise<int>::resolve(0)) == promise);
    }

    void functionsAreFoundByTheirArguments()
    {
        const QPromise<int> promise = declaredAhead(QPromise<int>::resolve(5));
        QCOMPARE(valueOf(resolve(promise)), 6);
        QCOMPARE(settled(all(QVector<QPromise<int>>{promise, promise})), QStringLiteral("value 6,6"));
    }

    // Handlers

    void aHandlerSettlesTheNewPromise_data()
    {
        QTest::addColumn<IntPromise>("make");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("by a value") << IntPromise([] {
            return QtPromise::resolve(5).then([](int value) { return value + 1; });
        }) << QStringLiteral("value 6");
        QTest::newRow("by a value, without taking one")
            << IntPromise([] { return QtPromise::resolve(5).then([] { return 6; }); }) << QStringLiteral("value 6");
        QTest::newRow("by a value of another type") << IntPromise([] {
            return QtPromise::resolve(QStringLiteral("text")).then([](const QString &text) { return text.size(); });
        }) << QStringLiteral("value 4");
        QTest::newRow("by a reference, which is copied")
            << IntPromise([] { return QtPromise::resolve(5).then([](const int &value) -> const int & { return value; }); })
            << QStringLiteral("value 5");
        QTest::newRow("by a promise") << IntPromise([] {
            return QtPromise::resolve(5).then([](int value) { return QtPromise::resolve(value + 1).delay(0); });
        }) << QStringLiteral("value 6");
        QTest::newRow("by a rejected promise") << IntPromise([] {
            return QtPromise::resolve(5).then([](int value) { return QPromise<int>::reject(value + 1); });
        }) << QStringLiteral("error int 6");
        QTest::newRow("by an exception") << IntPromise([] {
            return QtPromise::resolve(5).then([](int) -> int { throw Refused("no"); });
        }) << QStringLiteral("error Refused no");
        QTest::newRow("by a want of memory")
            << IntPromise([] { return QtPromise::resolve(5).then([](int) -> int { throw std::bad_alloc(); }); })
            << QStringLiteral("error bad_alloc");
        QTest::newRow("after nothing") << IntPromise([] { return QtPromise::resolve().then([] { return 6; }); })
                                       << QStringLiteral("value 6");
        QTest::newRow("a handler with a state of its own") << IntPromise([] {
            return QtPromise::resolve(5).then([count = 0](int value) mutable { return ++count + value; });
        }) << QStringLiteral("value 6");
#ifdef CORRECTION_BUNDLED_QTPROMISE
        QTest::newRow("a handler that cannot be copied") << IntPromise([] {
            return QtPromise::resolve(5).then([one = std::make_unique<int>(1)](int value) { return *one + value; });
        }) << QStringLiteral("value 6");
#endif
        QTest::newRow("a function") << IntPromise([] { return QtPromise::resolve(5).then(&giveOne); })
                                    << QStringLiteral("value 1");
        QTest::newRow("a function that gives a promise")
            << IntPromise([] { return QtPromise::resolve(5).then(&givePromise); }) << QStringLiteral("value 1");
        QTest::newRow("the rejection handler, by a value")
            << IntPromise([] { return QPromise<int>::reject(7).fail([](int error) { return error + 1; }); })
            << QStringLiteral("value 8");
        QTest::newRow("the rejection handler, by a promise") << IntPromise([] {
            return QPromise<int>::reject(7).fail([](int error) { return QtPromise::resolve(error + 1).delay(0); });
        }) << QStringLiteral("value 8");
        QTest::newRow("the rejection handler, by a rejected promise") << IntPromise([] {
            return QPromise<int>::reject(7).fail([](int error) { return QPromise<int>::reject(error + 1); });
        }) << QStringLiteral("error int 8");
        QTest::newRow("the rejection handler, by an exception")
            << IntPromise([] { return QPromise<int>::reject(7).fail([](int) -> int { throw Refused("no"); }); })
            << QStringLiteral("error Refused no");
        QTest::newRow("the first of two handlers")
            << IntPromise([] { return QtPromise::resolve(5).then([](int value) { return value + 1; }, [] { return 0; }); })
            << QStringLiteral("value 6");
        QTest::newRow("the second of two handlers") << IntPromise([] {
            return QPromise<int>::reject(7).then([](int value) { return value + 1; }, [] { return 0; });
        }) << QStringLiteral("value 0");
        QTest::newRow("an exception of the first is not for the second")
            << IntPromise([] { return QtPromise::resolve(5).then([](int) -> int { throw 7; }, [] { return 0; }); })
            << QStringLiteral("error int 7");
        QTest::newRow("the second, though there is no first")
            << IntPromise([] { return QPromise<int>::reject(7).then(nullptr, [](int error) { return error + 1; }); })
            << QStringLiteral("value 8");
        QTest::newRow("a value passes a rejection handler")
            << IntPromise([] { return QtPromise::resolve(5).fail([] { return 0; }); }) << QStringLiteral("value 5");
        QTest::newRow("an error passes a handler of values")
            << IntPromise([] { return QPromise<int>::reject(7).then([](int) { return 0; }); })
            << QStringLiteral("error int 7");
        QTest::newRow("an error passes many handlers and many types") << IntPromise([] {
            return QPromise<QString>::reject(7)
                .then([](const QString &) {})
                .then([] { return QStringLiteral("text"); })
                .tap([] {})
                .then([](const QString &) { return 0; });
        }) << QStringLiteral("error int 7");
    }

    void aHandlerSettlesTheNewPromise()
    {
        QFETCH(IntPromise, make);
        QFETCH(QString, outcome);
        QCOMPARE(settled(make()), outcome);
    }

    void aHandlerWithoutResultGivesAPromiseOfNothing()
    {
        QCOMPARE(settled(QtPromise::resolve(5).then([](int) {})), QStringLiteral("nothing"));
        QCOMPARE(settled(QPromise<void>::reject(7).fail([](int) {})), QStringLiteral("nothing"));
        QCOMPARE(settled(QtPromise::resolve().then([] { return QtPromise::resolve().delay(0); })),
                 QStringLiteral("nothing"));
        QCOMPARE(settled(QtPromise::resolve().then([] { return QPromise<void>::reject(7); })),
                 QStringLiteral("error int 7"));
        QCOMPARE(settled(QtPromise::resolve().then([] { throw 7; })), QStringLiteral("error int 7"));
    }

    void aRejectionHandlerIsChosenByType_data()
    {
        QTest::addColumn<IntPromise>("make");
        QTest::addColumn<QString>("outcome");
        const QPromise<int> seven = QPromise<int>::reject(7);
        const QPromise<int> refused = QPromise<int>::reject(Refused("no"));
        QTest::newRow("the same type, by value")
            << IntPromise([=] { return seven.fail([](int error) { return error; }); }) << QStringLiteral("value 7");
        QTest::newRow("the same type, by constant reference")
            << IntPromise([=] { return seven.fail([](const int &error) { return error; }); }) << QStringLiteral("value 7");
        QTest::newRow("another type of number passes on")
            << IntPromise([=] { return seven.fail([](long) { return 0; }); }) << QStringLiteral("error int 7");
        QTest::newRow("a class passes on")
            << IntPromise([=] { return seven.fail([](const std::exception &) { return 0; }); })
            << QStringLiteral("error int 7");
        QTest::newRow("no argument takes a number")
            << IntPromise([=] { return seven.fail([] { return 1; }); }) << QStringLiteral("value 1");
        QTest::newRow("no argument takes a class")
            << IntPromise([=] { return refused.fail([] { return 1; }); }) << QStringLiteral("value 1");
        QTest::newRow("the class itself") << IntPromise([=] { return refused.fail([](const Refused &) { return 1; }); })
                                          << QStringLiteral("value 1");
        QTest::newRow("a base class") << IntPromise([=] { return refused.fail([](const std::exception &) { return 1; }); })
                                      << QStringLiteral("value 1");
        QTest::newRow("a base class, keeping the dynamic type") << IntPromise([=] {
            return refused.fail([](const std::exception &error) { return dynamic_cast<const Refused *>(&error) ? 1 : 0; });
        }) << QStringLiteral("value 1");
        QTest::newRow("a neighbouring class passes on")
            << IntPromise([=] { return refused.fail([](const std::logic_error &) { return 0; }); })
            << QStringLiteral("error Refused no");
        QTest::newRow("a number does not take a class")
            << IntPromise([=] { return refused.fail([](int) { return 0; }); }) << QStringLiteral("error Refused no");
        QTest::newRow("the second of several") << IntPromise([=] {
            return refused.fail([](int) { return 0; }).fail([](const Refused &) { return 1; }).fail([] { return 2; });
        }) << QStringLiteral("value 1");
        QTest::newRow("a function") << IntPromise([=] { return refused.fail(&recover); }) << QStringLiteral("value 1");
        QTest::newRow("a stored function")
            << IntPromise([=] { return seven.fail(std::function<int(int)>([](int error) { return error; })); })
            << QStringLiteral("value 7");
        QTest::newRow("a handler that may change itself")
            << IntPromise([=] { return seven.fail([count = 0](int error) mutable { return ++count + error; }); })
            << QStringLiteral("value 8");
        QTest::newRow("a handler that promises not to throw")
            << IntPromise([=] { return seven.fail([](int error) noexcept { return error; }); }) << QStringLiteral("value 7");
    }

    void aRejectionHandlerIsChosenByType()
    {
        QFETCH(IntPromise, make);
        QFETCH(QString, outcome);
        QCOMPARE(settled(make()), outcome);
    }

    void aRejectionHandlerRunsInsideACatch_data()
    {
        QTest::addColumn<IntHandler>("attach");
        QTest::addColumn<bool>("settledBefore");
        const auto row = [](const char *name, const IntHandler &attach) {
            QTest::addRow("%s, on a pending promise", name) << attach << false;
            QTest::addRow("%s, on a settled promise", name) << attach << true;
        };
        row("fail, all errors", [](const QPromise<int> &promise) { return promise.fail([] { return rethrow(); }); });
        row("fail, one type",
            [](const QPromise<int> &promise) { return promise.fail([](const std::runtime_error &) { return rethrow(); }); });
        row("then, all errors",
            [](const QPromise<int> &promise) { return promise.then(nullptr, [] { return rethrow(); }); });
        row("then, one type", [](const QPromise<int> &promise) {
            return promise.then([] { return 0; }, [](const Refused &) { return rethrow(); });
        });
        row("tapFail, all errors", [](const QPromise<int> &promise) { return promise.tapFail([] { rethrow(); }); });
        row("tapFail, one type",
            [](const QPromise<int> &promise) { return promise.tapFail([](const Refused &) { rethrow(); }); });
        row("finally", [](const QPromise<int> &promise) { return promise.finally([] { rethrow(); }); });
        row("fail, followed by another",
            [](const QPromise<int> &promise) { return promise.fail([] { return rethrow(); }).tapFail([] { rethrow(); }); });
        row("fail, inside a handler of another error", [](const QPromise<int> &promise) {
            return QPromise<int>::reject(7).fail([promise] {
                promise.fail([] { return rethrow(); }).wait();
                if (currentError() != QLatin1String("int 7"))
                    throw std::logic_error("the outer handler has lost its error");
                return promise;
            });
        });
    }

    void aRejectionHandlerRunsInsideACatch()
    {
        QFETCH(IntHandler, attach);
        QFETCH(bool, settledBefore);
        const Deferred<int> deferred;
        if (settledBefore)
            (*deferred.reject)(Refused("no"));
        seenErrors.clear();
        const QPromise<int> promise = attach(deferred.promise);
        if (!settledBefore)
            (*deferred.reject)(Refused("no"));
        QCOMPARE(settled(promise), QStringLiteral("error Refused no"));
        QVERIFY(!seenErrors.isEmpty());
        for (const QString &seen : seenErrors)
            QCOMPARE(seen, QStringLiteral("Refused no"));
        QVERIFY(!std::current_exception());
    }

    void aRejectionHandlerMayRethrowAsAnotherType()
    {
        QCOMPARE(settled(QPromise<int>::reject(Refused("no")).fail([]() -> int {
                     try {
                         throw;
                     } catch (const Refused &) {
                         throw 8;
                     }
                 })),
                 QStringLiteral("error int 8"));
    }

    void aHandlerOfAValueRunsInNoCatch()
    {
        QStringList seen;
        const auto see = [&] { seen << currentError(); };
        QtPromise::resolve(5).finally(see).tap(see).then(see).wait();
        QPromise<int>::reject(7).fail([] { return 0; }).then(see).wait();
        QCOMPARE(seen, QStringList({QString(), QString(), QString(), QString()}));
    }

    void oneErrorGoesToManyHandlers()
    {
        const QPromise<int> refused = QPromise<int>::reject(Refused("no"));
        int calls = 0;
        for (int i = 0; i < 3; ++i) {
            refused.fail([&](const Refused &error) {
                calls += std::string(error.what()) == "no" ? 1 : 0;
                return 0;
            });
        }
        QCOMPARE(settled(refused), QStringLiteral("error Refused no"));
        QCOMPARE(calls, 3);
    }

    // finally, tap, tapFail

    void aWatcherKeepsTheOutcome_data()
    {
        QTest::addColumn<IntPromise>("make");
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<int>("calls");
        const auto calls = m_calls;
        const auto called = [calls] { ++*calls; };
        const auto gives = [calls] { return ++*calls; };
        const auto awaits = [calls] { return QtPromise::resolve().delay(0).then([calls] { return ++*calls; }); };
        const auto throws = [calls] {
            ++*calls;
            throw Refused("no");
        };
        const auto rejects = [calls] { return QtPromise::resolve().delay(0).then([calls]() -> int { throw ++*calls; }); };
        const IntPromise five = [] { return QtPromise::resolve(5); };
        const IntPromise seven = [] { return QPromise<int>::reject(7); };
        const QString value = QStringLiteral("value 5");
        const QString error = QStringLiteral("error int 7");
        const QString thrown = QStringLiteral("error Refused no");
        const QString rejected = QStringLiteral("error int 1");

        const auto row = [](const char *name, const IntPromise &make, const QString &outcome, int count) {
            QTest::newRow(name) << make << outcome << count;
        };
        row(
            "finally after a value", [=] { return five().finally(called); }, value, 1);
        row(
            "finally after an error", [=] { return seven().finally(called); }, error, 1);
        row(
            "finally leaves its own value aside", [=] { return five().finally(gives); }, value, 1);
        row(
            "finally awaits a promise after a value", [=] { return five().finally(awaits); }, value, 1);
        row(
            "finally awaits a promise after an error", [=] { return seven().finally(awaits); }, error, 1);
        row(
            "finally that throws after a value", [=] { return five().finally(throws); }, thrown, 1);
        row(
            "finally that throws after an error", [=] { return seven().finally(throws); }, thrown, 1);
        row(
            "finally with a rejected promise", [=] { return five().finally(rejects); }, rejected, 1);
        row(
            "tap after a value", [=] { return five().tap(called); }, value, 1);
        row(
            "tap takes the value", [=] { return five().tap([calls](int v) { *calls = v; }); }, value, 5);
        row(
            "tap leaves its own value aside", [=] { return five().tap(gives); }, value, 1);
        row(
            "tap awaits a promise", [=] { return five().tap(awaits); }, value, 1);
        row(
            "tap that throws", [=] { return five().tap(throws); }, thrown, 1);
        row(
            "tap with a rejected promise", [=] { return five().tap(rejects); }, rejected, 1);
        row(
            "tap is not for an error", [=] { return seven().tap(called); }, error, 0);
        row(
            "tapFail after an error", [=] { return seven().tapFail(called); }, error, 1);
        row(
            "tapFail takes the error", [=] { return seven().tapFail([calls](int e) { *calls = e; }); }, error, 7);
        row(
            "tapFail is not for an error of another type",
            [=] { return seven().tapFail([calls](const Refused &) { ++*calls; }); }, error, 0);
        row(
            "tapFail awaits a promise", [=] { return seven().tapFail(awaits); }, error, 1);
        row(
            "tapFail that throws", [=] { return seven().tapFail(throws); }, thrown, 1);
        row(
            "tapFail with a rejected promise", [=] { return seven().tapFail(rejects); }, rejected, 1);
        row(
            "tapFail is not for a value", [=] { return five().tapFail(called); }, value, 0);
    }

    void aWatcherKeepsTheOutcome()
    {
        QFETCH(IntPromise, make);
        QFETCH(QString, outcome);
        QFETCH(int, calls);
        *m_calls = 0;
        QCOMPARE(settled(make()), outcome);
        QCOMPARE(*m_calls, calls);
    }

    void aWatcherHoldsTheOutcomeBackUntilItsPromiseSettles()
    {
        const Deferred<void> gate;
        const auto wait = [&] { return gate.promise; };
        const QPromise<int> finally = QtPromise::resolve(5).finally(wait);
        const QPromise<int> tap = QtPromise::resolve(5).tap(wait);
        const QPromise<int> tapFail = QPromise<int>::reject(7).tapFail(wait);
        runPosted();
        QVERIFY(finally.isPending() && tap.isPending() && tapFail.isPending());
        (*gate.resolve)();
        QCOMPARE(settled(finally), QStringLiteral("value 5"));
        QCOMPARE(settled(tap), QStringLiteral("value 5"));
        QCOMPARE(settled(tapFail), QStringLiteral("error int 7"));
    }

    void watchersWorkOnPromisesOfNothing()
    {
        int calls = 0;
        const auto called = [&] { ++calls; };
        QCOMPARE(settled(QtPromise::resolve().finally(called).tap(called).tapFail(called)), QStringLiteral("nothing"));
        QCOMPARE(calls, 2);
        QCOMPARE(settled(QPromise<void>::reject(7).finally(called).tap(called).tapFail(called)),
                 QStringLiteral("error int 7"));
        QCOMPARE(calls, 4);
    }

    // Sequences

    void mapCallsForEachElementInOrder()
    {
        QStringList calls;
        const QPromise<QVector<int>> mapped =
            QtPromise::resolve(QVector<QString>{QStringLiteral("a"), QStringLiteral("bcd")})
                .map([&](const QString &text, int index) {
                    calls << QStringLiteral("%1 at %2").arg(text).arg(index);
                    return text.size();
                });
        QVERIFY(calls.isEmpty());
        QCOMPARE(settled(mapped), QStringLiteral("value 1,3"));
        QCOMPARE(calls, QStringList({QStringLiteral("a at 0"), QStringLiteral("bcd at 1")}));
    }

    void mapTakesPointersAndGivesPromises()
    {
        int one = 1;
        int two = 2;
        const QPromise<QVector<int>> mapped = QtPromise::resolve(QList<int *>{&one, &two}).map([](int *number, int index) {
            return QtPromise::resolve(*number + 10 * index).delay(index == 0 ? 1 : 0);
        });
        QCOMPARE(settled(mapped), QStringLiteral("value 1,12"));
    }

    void mapKeepsTheOrderWhateverSettlesFirst()
    {
        const Deferred<int> first;
        const Deferred<int> second;
        const QPromise<QVector<int>> mapped =
            QtPromise::map(QVector<int>{0, 1}, [&](int value, int) { return value == 0 ? first.promise : second.promise; });
        (*second.resolve)(2);
        runPosted();
        QVERIFY(mapped.isPending());
        (*first.resolve)(1);
        QCOMPARE(settled(mapped), QStringLiteral("value 1,2"));
    }

    void theFirstRejectionRejectsAMap()
    {
        const Deferred<int> never;
        int calls = 0;
        const auto fn = [&](int value, int) {
            ++calls;
            return value == 0 ? never.promise : QPromise<int>::reject(value);
        };
        QCOMPARE(settled(QtPromise::resolve(QVector<int>{0, 1, 2}).map(fn)), QStringLiteral("error int 1"));
        QCOMPARE(calls, 3);
        QVERIFY(never.promise.isPending());
    }

    void anExceptionRejectsAMap()
    {
        int calls = 0;
        const auto fn = [&](int value, int) {
            ++calls;
            if (value == 1)
                throw Refused("no");
            return value;
        };
        QCOMPARE(settled(QtPromise::resolve(QVector<int>{0, 1, 2}).map(fn)), QStringLiteral("error Refused no"));
        QCOMPARE(calls, 3);
    }

    void mapAndEachLetAnErrorPass()
    {
        int calls = 0;
        const auto fn = [&](int value, int) {
            ++calls;
            return value;
        };
        QCOMPARE(settled(QPromise<QVector<int>>::reject(7).map(fn)), QStringLiteral("error int 7"));
        QCOMPARE(settled(QPromise<QVector<int>>::reject(7).each(fn)), QStringLiteral("error int 7"));
        QCOMPARE(calls, 0);
    }

    void manyKindsOfSequencesAreMapped()
    {
        const auto twice = [](int value, int) { return 2 * value; };
        QCOMPARE(settled(QtPromise::map(QVector<int>{1, 2}, twice)), QStringLiteral("value 2,4"));
        QCOMPARE(settled(QtPromise::map(QList<int>{1, 2}, twice)), QStringLiteral("value 2,4"));
        QCOMPARE(settled(QtPromise::map(std::vector<int>{1, 2}, twice)), QStringLiteral("value 2,4"));
        QCOMPARE(settled(QtPromise::map(std::list<int>{1, 2}, twice)), QStringLiteral("value 2,4"));
        QCOMPARE(settled(QtPromise::map(QVector<int>(), twice)), QStringLiteral("value "));
    }

#ifdef CORRECTION_BUNDLED_QTPROMISE
    void theIndexMayBeLeftOut()
    {
        QVector<int> seen;
        QCOMPARE(settled(QtPromise::resolve(QVector<int>{1, 2}).map([](const int &value) { return 2 * value; })),
                 QStringLiteral("value 2,4"));
        QCOMPARE(settled(QtPromise::resolve(QVector<int>{1, 2}).each([&](const int &value) { seen << value; })),
                 QStringLiteral("value 1,2"));
        QCOMPARE(seen, QVector<int>({1, 2}));
    }
#endif

    void eachCallsInOrderAndKeepsTheSequence()
    {
        QStringList calls;
        const QPromise<QStringList> kept =
            QtPromise::resolve(QStringList{QStringLiteral("a"), QStringLiteral("b")})
                .each([&](const QString &text, int index) { calls << QStringLiteral("%1 at %2").arg(text).arg(index); });
        QCOMPARE(settled(kept), QStringLiteral("value a,b"));
        QCOMPARE(calls, QStringList({QStringLiteral("a at 0"), QStringLiteral("b at 1")}));
    }

    void eachLeavesResultsAside()
    {
        QCOMPARE(settled(QtPromise::each(QVector<int>{1, 2}, [](int value, int) { return 10 * value; })),
                 QStringLiteral("value 1,2"));
        QCOMPARE(settled(QtPromise::each(std::vector<int>{1, 2},
                                         [](int value, int) { return QtPromise::resolve(10 * value).delay(0); })),
                 QStringLiteral("value 1,2"));
        QCOMPARE(settled(QtPromise::each(QVector<int>(), [](int, int) {})), QStringLiteral("value "));
    }

    void eachAwaitsThePromisesItIsGiven()
    {
        const Deferred<void> gate;
        const QPromise<QVector<int>> kept = QtPromise::each(QVector<int>{1, 2}, [&](int, int) { return gate.promise; });
        runPosted();
        QVERIFY(kept.isPending());
        (*gate.resolve)();
        QCOMPARE(settled(kept), QStringLiteral("value 1,2"));
    }

    void aRejectionOrExceptionRejectsEach()
    {
        QCOMPARE(settled(QtPromise::each(QVector<int>{1, 2}, [](int value, int) { return QPromise<void>::reject(value); })),
                 QStringLiteral("error int 1"));
        QCOMPARE(settled(QtPromise::resolve(QVector<int>{1, 2}).each([](int value, int) {
                     if (value == 2)
                         throw Refused("no");
                 })),
                 QStringLiteral("error Refused no"));
    }

    void allGivesTheValuesInTheOrderOfThePromises()
    {
        const Deferred<int> first;
        const Deferred<int> second;
        const QPromise<QVector<int>> gathered = QtPromise::all(QVector<QPromise<int>>{first.promise, second.promise});
        (*second.resolve)(2);
        runPosted();
        QVERIFY(gathered.isPending());
        (*first.resolve)(1);
        QCOMPARE(settled(gathered), QStringLiteral("value 1,2"));
    }

    void allIsRejectedByTheFirstErrorAtOnce()
    {
        const Deferred<int> never;
        QCOMPARE(settled(QtPromise::all(
                     QVector<QPromise<int>>{never.promise, QPromise<int>::reject(7), QPromise<int>::reject(8)})),
                 QStringLiteral("error int 7"));
        QVERIFY(never.promise.isPending());
    }

    void allOfNoneIsFulfilled()
    {
        QCOMPARE(settled(QtPromise::all(QVector<QPromise<int>>())), QStringLiteral("value "));
        QCOMPARE(settled(QtPromise::all(QVector<QPromise<void>>())), QStringLiteral("nothing"));
    }

    void allTakesManyKindsOfSequences()
    {
        const QPromise<int> one = QPromise<int>::resolve(1);
        const QPromise<int> two = QPromise<int>::resolve(2);
        QCOMPARE(settled(QtPromise::all(QList<QPromise<int>>{one, two})), QStringLiteral("value 1,2"));
        QCOMPARE(settled(QtPromise::all(std::vector<QPromise<int>>{one, two})), QStringLiteral("value 1,2"));
        QCOMPARE(settled(QtPromise::all(std::list<QPromise<int>>{one, one})), QStringLiteral("value 1,1"));
    }

    void allOfNothingAwaitsEveryPromise()
    {
        const Deferred<void> gate;
        const QPromise<void> gathered = QtPromise::all(QVector<QPromise<void>>{QPromise<void>::resolve(), gate.promise});
        runPosted();
        QVERIFY(gathered.isPending());
        (*gate.resolve)();
        QCOMPARE(settled(gathered), QStringLiteral("nothing"));
        QCOMPARE(settled(QtPromise::all(QVector<QPromise<void>>{QPromise<void>::reject(7), gate.promise})),
                 QStringLiteral("error int 7"));
    }

    // attempt

    void attemptCallsAtOnce()
    {
        int given = 0;
        const QPromise<int> promise = QtPromise::attempt(
            [&](int a, int b) {
                given = a + b;
                return given;
            },
            1, 2);
        QCOMPARE(given, 3);
        QCOMPARE(settled(promise), QStringLiteral("value 3"));
    }

    void attemptTakesEveryKindOfResult()
    {
        QCOMPARE(settled(QtPromise::attempt([] {})), QStringLiteral("nothing"));
        QCOMPARE(settled(QtPromise::attempt([] { return QtPromise::resolve(5).delay(0); })), QStringLiteral("value 5"));
        QCOMPARE(settled(QtPromise::attempt([] { return QPromise<int>::reject(7); })), QStringLiteral("error int 7"));
        QCOMPARE(settled(QtPromise::attempt([]() -> int { throw Refused("no"); })), QStringLiteral("error Refused no"));
        QCOMPARE(settled(QtPromise::attempt([](const QString &text) { return text; }, QStringLiteral("text"))),
                 QStringLiteral("text"));
    }

    // Time

    void delayHoldsAValueBack()
    {
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(settled(QtPromise::resolve(5).delay(20)), QStringLiteral("value 5"));
        QVERIFY(clock.elapsed() >= 20);
        const QPromise<void> late = QtPromise::resolve().delay(tenMinutes);
        QtPromise::resolve().delay(1).wait();
        QVERIFY(late.isPending());
    }

    void delayLetsAnErrorPassAtOnce()
    {
        QCOMPARE(settled(QPromise<int>::reject(7).delay(tenMinutes)), QStringLiteral("error int 7"));
    }

    void timeoutRejectsWhatTakesTooLong()
    {
        const Deferred<int> never;
        const QPromise<int> timed = never.promise.timeout(1);
        QVERIFY(timed.isPending());
        QCOMPARE(settled(timed), QStringLiteral("error timeout"));
        QVERIFY(never.promise.isPending());
        (*never.resolve)(5);
        QCOMPARE(settled(timed), QStringLiteral("error timeout"));
    }

    void timeoutLetsPassWhatSettlesInTime()
    {
        QCOMPARE(settled(QtPromise::resolve(5).timeout(tenMinutes)), QStringLiteral("value 5"));
        QCOMPARE(settled(QtPromise::resolve(5).delay(1).timeout(tenMinutes)), QStringLiteral("value 5"));
        QCOMPARE(settled(QPromise<int>::reject(7).timeout(tenMinutes)), QStringLiteral("error int 7"));
        QCOMPARE(settled(QtPromise::resolve().timeout(tenMinutes)), QStringLiteral("nothing"));
    }

#ifdef CORRECTION_BUNDLED_QTPROMISE
    void aTimeoutThatIsNotNeededKeepsNoValueAlive()
    {
        int number = 0;
        QPromise<Counted>::resolve(Counted(5)).timeout(tenMinutes).then([&](const Counted &c) { number = c.number; }).wait();
        QCOMPARE(number, 5);
        QCOMPARE(Counted::living.load(), 0);
    }
#endif

    void aTimeoutIsAnOrdinaryException()
    {
        bool caught = false;
        Deferred<int>()
            .promise.timeout(0)
            .fail([&](const QException &) {
                caught = true;
                return 0;
            })
            .wait();
        QVERIFY(caught);
    }

    void aCopyOfATimeoutIsATimeout()
    {
        const QPromiseTimeoutException error;
        const std::unique_ptr<QException> copy(error.clone());
        QVERIFY(qstrlen(copy->what()) > 0);
        QVERIFY_EXCEPTION_THROWN(copy->raise(), QPromiseTimeoutException);
    }

    // wait

    void waitGivesTheSamePromise()
    {
        const QPromise<int> value = QtPromise::resolve(5).delay(1);
        QVERIFY(value.isPending());
        QVERIFY(value.wait() == value);
        QVERIFY(value.isFulfilled());
        const QPromise<int> error = QPromise<int>::reject(7);
        QVERIFY(error.wait().isRejected());
    }

    void waitForASettledPromiseProcessesNothing()
    {
        bool ran = false;
        QTimer::singleShot(0, this, [&] { ran = true; });
        QtPromise::resolve(5).wait();
        QVERIFY(!ran);
        runPosted();
        QVERIFY(ran);
    }

    void waitProcessesEventsOfEveryKind()
    {
        const Deferred<void> deferred;
        QStringList seen;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&] {
            timer.stop();
            seen << QStringLiteral("timer");
            (*deferred.resolve)();
        });
        QMetaObject::invokeMethod(
            this,
            [&] {
                seen << QStringLiteral("posted call");
                timer.start(1);
            },
            Qt::QueuedConnection);
        deferred.promise.wait();
        QCOMPARE(seen, QStringList({QStringLiteral("posted call"), QStringLiteral("timer")}));
    }

    void waitDeletesWhatIsToBeDeletedLater()
    {
        const Deferred<void> deferred;
        auto *object = new QObject;
        const QPointer<QObject> watched = object;
        connect(object, &QObject::destroyed, this, [&] { (*deferred.resolve)(); });
        object->deleteLater();
        deferred.promise.wait();
        QVERIFY(watched.isNull());
    }

    void waitDeletesWhatAHandlerDeletesLater()
    {
        const Deferred<void> deferred;
        auto *object = new QObject;
        connect(object, &QObject::destroyed, this, [&] { (*deferred.resolve)(); });
        QtPromise::resolve().then([=] { object->deleteLater(); });
        deferred.promise.wait();
        QVERIFY(deferred.promise.isFulfilled());
    }

public Q_SLOTS:
    void note(const QtPromise::QPromise<int> &promise)
    {
        m_noted = valueOf(promise);
    }

private:
    const std::shared_ptr<int> m_calls = std::make_shared<int>(0);
    int m_noted = 0;
};

QtPromise::QPromise<int> declaredAhead(const QtPromise::QPromise<int> &promise)
{
    return promise.then([](int value) { return value + 1; });
}

QTEST_GUILESS_MAIN(tst_QPromise)
#include "tst_qpromise.moc"

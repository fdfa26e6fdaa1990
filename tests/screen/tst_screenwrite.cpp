// Writing coefficients to a whole screen: all devices at the same time.

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/Coefficient.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>

#include <simulator/VirtualWall.h>
#include <support/LogCapture.h>
#include <support/Values.h>

#include <QtPromise>

#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtTest/QtTest>

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace Correction;
using Simulator::VirtualWall;
using TestSupport::base64;
using TestSupport::numbered;

namespace {

using Promise = QtPromise::QPromise<EnumErrorCode>;
using Values = QVector<unsigned short>;

const QString upload = QStringLiteral("Correctionop::uploadCoefficientAsync");

QString keyOf(int device)
{
    return QStringLiteral("D%1").arg(device, 2, 10, QLatin1Char('0'));
}

QStringList sorted(QStringList lines)
{
    lines.sort();
    return lines;
}

/// A host's own sub-screen, whose write is a function of the test.
class FakeSubScreen : public SubScreenV4
{
public:
    using Write = std::function<Promise(const QRect &, ICoefficient &)>;
    explicit FakeSubScreen(Write write) : SubScreenV4(QString()), m_write(std::move(write)) {}

    Promise setCoefficientsAsync(const QRect &rect, ICoefficient &grid) override { return m_write(rect, grid); }

    EnumErrorCode tryGetRect(QRect &) override { return enFileError; } // a write does not need it

private:
    Write m_write;
};

FakeSubScreen *answering(int code)
{
    return new FakeSubScreen([code](const QRect &, ICoefficient &) { return Promise::resolve(EnumErrorCode(code)); });
}

QString threadLine()
{
    const auto thread = reinterpret_cast<quintptr>(QThread::currentThreadId());
    return QStringLiteral("setCoefficients thread id = %1").arg(quint64(thread));
}

/// A log line whose first item, the name of a lambda, depends on the compiler.
bool isNamed(const QString &line, const QString &rest)
{
    return line.size() > rest.size() + 1 && line.endsWith(QLatin1Char(' ') + rest);
}

/// Sanitizers make frames larger.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned smallStack = 8 * 512 * 1024;
#else
constexpr unsigned smallStack = 512 * 1024;
#endif

/// Calls `function` in a thread with a stack of `smallStack` bytes, while this one processes its events.
void runOnSmallStack(std::function<void()> function)
{
    const std::unique_ptr<QThread> thread(QThread::create(std::move(function)));
    thread->setStackSize(smallStack);
    QEventLoop loop;
    QObject::connect(thread.get(), &QThread::finished, &loop, &QEventLoop::quit);
    thread->start();
    loop.exec();
    thread->wait();
}

/// What a write logs besides the lines of its sub-screens: `nulls` is the place of a null one, -1 for none.
void verifyLines(const QStringList &lines, const QStringList &keys, int null, int result)
{
    QStringList rest = lines;
    const int listed = null < 0 ? keys.size() : null + 1;
    for (int i = 0; i < listed; ++i) {
        QVERIFY(!rest.isEmpty());
        QVERIFY2(isNamed(rest.first(), QStringLiteral("deviceKey: \"%1\"").arg(keys[i])), qPrintable(rest.first()));
        rest.removeFirst();
    }
    for (int i = 0; i < (null < 0 ? keys.size() : 0); ++i) {
        QVERIFY(rest.size() >= 2);
        QCOMPARE(rest.first(), threadLine());
        rest.removeFirst();
        QVERIFY2(isNamed(rest.first(), QStringLiteral("\"pSubScreens:%1\"").arg(i)), qPrintable(rest.first()));
        rest.removeFirst();
    }
    QCOMPARE(rest, QStringList({threadLine(),
                                QStringLiteral("Correction::ScreenV4::setCoefficients \"pSubScreens:%1\"").arg(result)}));
}

} // namespace

class tst_ScreenWrite : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void aHandlerOfTheHostThatThrowsDoesNotEndTheWrite();
    void cleanup();
    void cleanupTestCase();

    void allDevicesStartBeforeTheFirstIsSettled_data();
    void allDevicesStartBeforeTheFirstIsSettled();
    void blocksAreMadeWhileTheUploadsBeforeThemArePending();
    void everyDeviceGetsItsOwnBlock();
    void devicesThatAreNotMetGetNothing();
    void codesAreCombinedBitByBit_data();
    void codesAreCombinedBitByBit();
    void theSameRectangleAndGridReachEverySubScreen();
    void rejectedUploadsAreFiveForTheirDevice_data();
    void rejectedUploadsAreFiveForTheirDevice();
    void uploadsRejectedLaterAreFiveForTheirDevice();
    void aRejectedWriteIsFiveAndTheOthersAreWaitedFor_data();
    void aRejectedWriteIsFiveAndTheOthersAreWaitedFor();
    void aNullSubScreenContactsNoDevice_data();
    void aNullSubScreenContactsNoDevice();
    void tenThousandDevicesNeedNoMoreStackThanOne();
    void aFailureIsLoggedWhenItsUploadSettles();
    void subScreensThatWaitAreNestedToALimit();
    void servicesThatRunTheEventLoopAreNestedToALimit();
    void writesThatSettleLaterAreWaitedFor_data();
    void writesThatSettleLaterAreWaitedFor();
    void theEventLoopRunsMeanwhile();
    void otherOperationsMayRunMeanwhile();
    void writesMayBeNested();
    void theLinesComeInOrder();
    void anUnknownKindIsSeven();
    void exhaustedMemoryPassesThroughOnceAllHaveSettled();
    void noOtherExceptionLeaves();

private:
    static VirtualWall &wall() { return VirtualWall::instance(); }
    /// `count` devices side by side, each with one cabinet of 2 x 1 pixels.
    void makeWall(int count);
    /// The values of device `device` in `m_grid`.
    static Values valuesOf(int device) { return numbered(18, 1 + 18 * device); }
    static QString uploadLine(int device);
    void later(std::function<void()> call) { QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection); }
    void afterTurns(int turns, std::function<void()> call)
    {
        later([this, turns, call = std::move(call)] { turns > 0 ? afterTurns(turns - 1, call) : call(); });
    }
    EnumErrorCode write() { return m_screen->setCoefficients(m_rect, m_grid); }

    std::optional<TestSupport::LogCapture> m_log; // one for each test: Qt Test installs its own handler first
    std::unique_ptr<ScreenV4> m_screen;
    Coefficient m_grid;
    QRect m_rect;
    std::vector<std::unique_ptr<CabinetInfo>> m_records; // the registry releases cabinets without them
    /// Ends a test that would not end otherwise; a passing test does not reach it.
    QTimer m_rescue;
};

void tst_ScreenWrite::initTestCase()
{
    QObject::connect(&m_rescue, &QTimer::timeout, this, [] {
        const QStringList pending = wall().uploads().pendingDevices();
        for (const QString &key : pending)
            wall().uploads().settle(key, false);
    });
}

void tst_ScreenWrite::init()
{
    wall().reset();
    m_screen = std::make_unique<ScreenV4>();
    m_rect = QRect(0, 0, 1, 1);
    m_grid = Coefficient(1, 1);
    m_log.emplace();
    m_rescue.start(20000);
}

void tst_ScreenWrite::cleanup()
{
    m_rescue.stop();
    m_screen.reset();
    CabinetManager::getInstance()->removeCabinets();
    m_records.clear();
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_ScreenWrite::cleanupTestCase()
{
    m_log.reset();
}

void tst_ScreenWrite::makeWall(int count)
{
    QList<Simulator::Device> devices;
    for (int i = 0; i < count; ++i) {
        devices.append(Simulator::gridDevice(keyOf(i), QPoint(2 * i, 0), 1, 1, QSize(2, 1), i + 1));
        auto record = std::make_unique<CabinetInfo>();
        record->id = QString::number(i + 1);
        record->deviceKey = keyOf(i);
        record->rect = QRect(2 * i, 0, 2, 1);
        QVERIFY(CabinetManager::getInstance()->addCabinet(record->id, new CabinetV4(record.get())));
        auto subScreen = std::make_unique<SubScreenV4>(keyOf(i));
        QVERIFY(subScreen->addCabinet(record->id, QString()));
        QVERIFY(m_screen->addSubScreen(keyOf(i), subScreen.release()));
        m_records.push_back(std::move(record));
    }
    wall().setDevices(devices);
    m_rect = QRect(0, 0, 2 * count, 1);
    m_grid = Coefficient(2 * count, 1);
    Values values = numbered(18 * count, 1);
    QCOMPARE(m_grid.setCoefficient(values), enSuccess);
}

QString tst_ScreenWrite::uploadLine(int device)
{
    return QStringLiteral("Correctionop::uploadCoefficientAsync(\"%1\", [{\"cid\": qlonglong %2, \"coefficientList\": "
                          "[{\"area\": {\"point\": {\"x\": int 0, \"y\": int 0}, \"size\": {\"height\": int 1, \"width\": "
                          "int 2}}, \"coefficient\": \"%3\"}]}])")
        .arg(keyOf(device), QString::number(device + 1), base64(valuesOf(device)));
}

void tst_ScreenWrite::allDevicesStartBeforeTheFirstIsSettled_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("order");
    QTest::addColumn<QString>("from");
    QTest::addColumn<bool>("allAccept");
    for (const int count : {2, 16}) {
        for (const char *order : {"first to last", "last to first", "shuffled"}) {
            for (const char *from : {"one event", "an event each", "timers", "another thread", "a thread each"}) {
                for (const bool allAccept : {true, false}) {
                    QTest::addRow("%d devices, %s, from %s%s", count, order, from, allAccept ? "" : ", some refusing")
                        << count << QString::fromLatin1(order) << QString::fromLatin1(from) << allAccept;
                }
            }
        }
    }
}

void tst_ScreenWrite::allDevicesStartBeforeTheFirstIsSettled()
{
    QFETCH(int, count);
    QFETCH(QString, order);
    QFETCH(QString, from);
    QFETCH(bool, allAccept);
    makeWall(count);

    QVector<int> settling;
    for (int i = 0; i < count; ++i)
        settling.append(i);
    if (order == QLatin1String("last to first"))
        std::reverse(settling.begin(), settling.end());
    else if (order == QLatin1String("shuffled"))
        std::shuffle(settling.begin(), settling.end(), std::mt19937(static_cast<unsigned>(count)));
    const auto accepts = [=](int device) { return allAccept || device % 3 == 0; };
    const auto settle = [=](int device) { wall().uploads().settle(keyOf(device), accepts(device)); };

    // Nothing is settled before the last device has got its request.
    wall().scripts().on(upload).settleLater();
    std::vector<std::thread> threads;
    QStringList pendingBefore;
    wall().scripts().on(upload, keyOf(count - 1)).settleLater().run([&](const Simulator::Call &) {
        pendingBefore = wall().uploads().pendingDevices();
        later([&] {
            if (from == QLatin1String("one event")) {
                for (const int device : qAsConst(settling))
                    settle(device);
            } else if (from == QLatin1String("another thread")) {
                threads.emplace_back([&] {
                    for (const int device : qAsConst(settling))
                        settle(device);
                });
            } else {
                for (const int device : qAsConst(settling)) {
                    if (from == QLatin1String("an event each"))
                        later([=] { settle(device); });
                    else if (from == QLatin1String("timers"))
                        QTimer::singleShot(0, this, [=] { settle(device); });
                    else
                        threads.emplace_back([=] { settle(device); });
                }
            }
        });
    });

    const EnumErrorCode code = write();
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(code, allAccept ? enSuccess : enTimeout);

    QStringList before;
    QStringList lines;
    QStringList failures;
    for (int i = 0; i < count; ++i) {
        if (i < count - 1)
            before.append(keyOf(i));
        lines.append(uploadLine(i));
        if (!accepts(i))
            failures.append(QStringLiteral("call uploadCoefficientAsync() timeout. device:%1").arg(keyOf(i)));
        QCOMPARE(wall().state().chroma(keyOf(i), QString::number(i + 1)), accepts(i) ? valuesOf(i) : Values(18, 0));
    }
    QCOMPARE(pendingBefore, before);
    QCOMPARE(wall().journal().transcript(), lines); // started in key order
    QCOMPARE(wall().journal().notes(), QStringList());
    QCOMPARE(wall().uploads().pending(), 0);
    QCOMPARE(sorted(m_log->takeCritical()), failures);
}

void tst_ScreenWrite::blocksAreMadeWhileTheUploadsBeforeThemArePending()
{
    /// Records how many uploads are pending when a block is cut out of it.
    class WatchedGrid : public Coefficient
    {
    public:
        WatchedGrid(const Coefficient &grid) : Coefficient(grid) {}

        ICoefficient *tryGetPart(const QRect &rect) override
        {
            pending.append(wall().uploads().pending());
            return Coefficient::tryGetPart(rect);
        }

        QVector<int> pending;
    };

    constexpr int count = 5;
    makeWall(count);
    wall().scripts().on(upload).settleLater();
    wall().scripts().on(upload, keyOf(count - 1)).settleLater().run([&](const Simulator::Call &) {
        later([] {
            for (int i = 0; i < count; ++i)
                wall().uploads().settle(keyOf(i), true);
        });
    });
    WatchedGrid grid(m_grid);
    QCOMPARE(m_screen->setCoefficients(m_rect, grid), enSuccess);
    QCOMPARE(grid.pending, (QVector<int>{0, 1, 2, 3, 4}));
}

void tst_ScreenWrite::everyDeviceGetsItsOwnBlock()
{
    makeWall(3);
    QCOMPARE(write(), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList({uploadLine(0), uploadLine(1), uploadLine(2)}));
    QCOMPARE(wall().journal().notes(), QStringList());
    for (int i = 0; i < 3; ++i)
        QCOMPARE(wall().state().chroma(keyOf(i), QString::number(i + 1)), valuesOf(i));
}

void tst_ScreenWrite::devicesThatAreNotMetGetNothing()
{
    makeWall(3);
    Coefficient grid(2, 1);
    Values values = valuesOf(1);
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(m_screen->setCoefficients(QRect(2, 0, 2, 1), grid), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList(uploadLine(1)));
    // Unlike a read, a write may leave the screen.
    QCOMPARE(m_screen->setCoefficients(QRect(100, 0, 2, 1), grid), enSuccess);
    QCOMPARE(wall().journal().calls().size(), 1);
}

void tst_ScreenWrite::codesAreCombinedBitByBit_data()
{
    QTest::addColumn<QVector<int>>("codes");
    QTest::addColumn<int>("result");
    QTest::newRow("no sub-screens") << QVector<int>() << 0;
    QTest::newRow("one") << QVector<int>{4} << 4;
    QTest::newRow("success alone") << QVector<int>{0, 0} << 0;
    QTest::newRow("1 and 2") << QVector<int>{1, 2} << 3;
    QTest::newRow("3 and 4") << QVector<int>{3, 4} << 7;
    QTest::newRow("5 twice") << QVector<int>{5, 5} << 5;
    QTest::newRow("success in between") << QVector<int>{0, 2, 0} << 2;
    QTest::newRow("8, 4 and 1") << QVector<int>{8, 4, 1} << 13;
}

void tst_ScreenWrite::codesAreCombinedBitByBit()
{
    QFETCH(QVector<int>, codes);
    QFETCH(int, result);
    QStringList keys;
    for (int i = 0; i < codes.size(); ++i) {
        keys.append(keyOf(i));
        QVERIFY(m_screen->addSubScreen(keys.last(), answering(codes[i])));
    }
    QCOMPARE(int(write()), result);
    verifyLines(m_log->takeDebug(), keys, -1, result);
}

void tst_ScreenWrite::theSameRectangleAndGridReachEverySubScreen()
{
    int calls = 0;
    int theSame = 0;
    const QRect rect(-3, 4, 5, 6);
    Coefficient grid(5, 6);
    for (int i = 0; i < 3; ++i) {
        m_screen->addSubScreen(keyOf(i), new FakeSubScreen([&](const QRect &given, ICoefficient &givenGrid) {
                                   ++calls;
                                   theSame += given == rect && &givenGrid == &grid ? 1 : 0;
                                   return Promise::resolve(enSuccess);
                               }));
    }
    QCOMPARE(m_screen->setCoefficients(rect, grid), enSuccess);
    QCOMPARE(calls, 3);
    QCOMPARE(theSame, 3);
}

void tst_ScreenWrite::rejectedUploadsAreFiveForTheirDevice_data()
{
    QTest::addColumn<QVector<int>>("rejected");
    QTest::addColumn<int>("other");
    QTest::addColumn<int>("result");
    QTest::newRow("the first") << QVector<int>{0} << 0 << 5;
    QTest::newRow("the last") << QVector<int>{2} << 0 << 5;
    QTest::newRow("all") << QVector<int>{0, 1, 2} << 0 << 5;
    QTest::newRow("one beside a code of 2") << QVector<int>{1} << 2 << 7;
    QTest::newRow("one beside a code of 8") << QVector<int>{1} << 8 << 13;
}

void tst_ScreenWrite::rejectedUploadsAreFiveForTheirDevice()
{
    QFETCH(QVector<int>, rejected);
    QFETCH(int, other);
    QFETCH(int, result);
    makeWall(3);
    QVERIFY(m_screen->addSubScreen(QStringLiteral("Z"), answering(other)));
    for (const int device : qAsConst(rejected))
        wall().scripts().on(upload, keyOf(device)).reject();
    QCOMPARE(int(write()), result);
    QStringList failures;
    for (int i = 0; i < 3; ++i) {
        const bool accepted = !rejected.contains(i);
        if (!accepted)
            failures.append(QStringLiteral("call uploadCoefficientAsync() timeout. device:%1").arg(keyOf(i)));
        QCOMPARE(wall().state().chroma(keyOf(i), QString::number(i + 1)), accepted ? valuesOf(i) : Values(18, 0));
    }
    QCOMPARE(sorted(m_log->takeCritical()), failures);
    QCOMPARE(wall().journal().transcript(), QStringList({uploadLine(0), uploadLine(1), uploadLine(2)}));
}

void tst_ScreenWrite::uploadsRejectedLaterAreFiveForTheirDevice()
{
    makeWall(3);
    wall().scripts().on(upload).settleLater();
    wall().scripts().on(upload, keyOf(2)).settleLater().run([&](const Simulator::Call &) {
        later([&] {
            QVERIFY(wall().uploads().reject(keyOf(1)));
            later([&] {
                QVERIFY(wall().uploads().settle(keyOf(2), true));
                QVERIFY(wall().uploads().settle(keyOf(0), true));
            });
        });
    });
    QCOMPARE(write(), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("call uploadCoefficientAsync() timeout. device:D01")));
    QCOMPARE(wall().state().chroma(keyOf(0), QStringLiteral("1")), valuesOf(0));
    QCOMPARE(wall().state().chroma(keyOf(1), QStringLiteral("2")), Values(18, 0));
    QCOMPARE(wall().state().chroma(keyOf(2), QStringLiteral("3")), valuesOf(2));
}

void tst_ScreenWrite::aRejectedWriteIsFiveAndTheOthersAreWaitedFor_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<int>("place");
    QStringList ways{QStringLiteral("with an exception"), QStringLiteral("with a number"), QStringLiteral("by throwing"),
                     QStringLiteral("later")};
#ifdef CORRECTION_BUNDLED_QTPROMISE
    ways << QStringLiteral("without a cause"); // QtPromise asserts that there is one
#endif
    for (const QString &how : qAsConst(ways)) {
        for (int place = 0; place < 3; ++place)
            QTest::newRow(qPrintable(QStringLiteral("%1, place %2").arg(how).arg(place))) << how << place;
    }
}

void tst_ScreenWrite::aRejectedWriteIsFiveAndTheOthersAreWaitedFor()
{
    QFETCH(QString, how);
    QFETCH(int, place);
    int started = 0;
    int settled = 0;
    for (int i = 0; i < 3; ++i) {
        m_screen->addSubScreen(keyOf(i), new FakeSubScreen([&, i](const QRect &, ICoefficient &) {
                                   ++started;
                                   if (i == place) {
                                       if (how == QLatin1String("by throwing"))
                                           throw std::runtime_error("broken");
                                       if (how == QLatin1String("with an exception"))
                                           return Promise::reject(std::runtime_error("broken"));
                                       if (how == QLatin1String("with a number"))
                                           return Promise::reject(2);
                                       if (how == QLatin1String("without a cause"))
                                           return Promise::reject(std::exception_ptr());
                                       return Promise([&](const QtPromise::QPromiseResolve<EnumErrorCode> &,
                                                          const QtPromise::QPromiseReject<EnumErrorCode> &reject) {
                                           later([=] { reject(std::runtime_error("broken")); });
                                       });
                                   }
                                   // Settled many turns later, with a code that would show in a combination.
                                   return Promise([&](const QtPromise::QPromiseResolve<EnumErrorCode> &resolve) {
                                       afterTurns(100, [&, resolve] {
                                           ++settled;
                                           resolve(enOutOfRange);
                                       });
                                   });
                               }));
    }
    QCOMPARE(write(), enTimeout);
    QCOMPARE(started, 3);
    QCOMPARE(settled, 2);
    QCOMPARE(m_log->takeCritical().size(), 1);
    QCOMPARE(m_log->takeDebug().last(), QStringLiteral("Correction::ScreenV4::setCoefficients \"pSubScreens:5\""));
}

void tst_ScreenWrite::aNullSubScreenContactsNoDevice_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("place");
    QTest::newRow("the first") << QStringLiteral("A") << 0;
    QTest::newRow("in the middle") << QStringLiteral("D00%1") << 1;
    QTest::newRow("the last") << QStringLiteral("E") << 2;
}

void tst_ScreenWrite::aNullSubScreenContactsNoDevice()
{
    QFETCH(QString, key);
    QFETCH(int, place);
    makeWall(2);
    QVERIFY(m_screen->addSubScreen(key, nullptr));
    QCOMPARE(write(), enInvalidParameter);
    QCOMPARE(wall().journal().transcript(), QStringList());
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Object Subscreen is Empty. SubScreen key: ") + key));
    QStringList keys{keyOf(0), keyOf(1)};
    keys.insert(place, key);
    verifyLines(m_log->takeDebug(), keys, place, 3);

    // Without it the screen works again.
    QVERIFY(m_screen->removeSubScreen(key));
    QCOMPARE(write(), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList({uploadLine(0), uploadLine(1)}));
}

void tst_ScreenWrite::tenThousandDevicesNeedNoMoreStackThanOne()
{
    constexpr int count = 10000;
    m_rescue.start(300000); // the virtual wall looks devices up one by one
    makeWall(count);
    // The first device settles when all have been started; of the others most settle at once.
    const auto accepts = [](int device) { return device % 1000 != 0; };
    int calls = 0;
    wall().scripts().on(upload).run([&](const Simulator::Call &) {
        if (++calls == count) // in the thread that writes: the wall takes no lock
            QTimer::singleShot(0, [&] { wall().uploads().settle(keyOf(0), accepts(0)); });
    });
    wall().scripts().on(upload, keyOf(0)).settleLater().run([&](const Simulator::Call &) { ++calls; });
    for (int i = 1; i < count; ++i) {
        if (!accepts(i)) {
            wall().scripts().on(upload, keyOf(i)).resolveWith(false).run([&](const Simulator::Call &) { ++calls; });
        }
    }
    EnumErrorCode code = enSuccess;
    runOnSmallStack([&] { code = write(); });
    QCOMPARE(code, enTimeout);
    QStringList failures;
    for (int i = 0; i < count; ++i) {
        if (!accepts(i))
            failures.append(QStringLiteral("call uploadCoefficientAsync() timeout. device:%1").arg(keyOf(i)));
        QCOMPARE(wall().state().chroma(keyOf(i), QString::number(i + 1)), accepts(i) ? valuesOf(i) : Values(18, 0));
    }
    QCOMPARE(failures.size(), 10);
    failures.append(failures.takeFirst()); // settled last
    QCOMPARE(m_log->takeCritical(), failures);
    QCOMPARE(wall().journal().calls().size(), count);
    QCOMPARE(wall().uploads().pending(), 0);
}

void tst_ScreenWrite::aFailureIsLoggedWhenItsUploadSettles()
{
    makeWall(3);
    QStringList before;
    QStringList after;
    wall().scripts().on(upload).settleLater();
    wall().scripts().on(upload, keyOf(2)).settleLater().run([&](const Simulator::Call &) {
        later([&] {
            QVERIFY(wall().uploads().settle(keyOf(1), false));
            before = m_log->takeCritical();
            afterTurns(10, [&] {
                after = m_log->takeCritical();
                QVERIFY(wall().uploads().settle(keyOf(2), false));
                QVERIFY(wall().uploads().settle(keyOf(0), false));
            });
        });
    });
    QCOMPARE(write(), enTimeout);
    QCOMPARE(before, QStringList());
    QCOMPARE(after, QStringList(QStringLiteral("call uploadCoefficientAsync() timeout. device:D01")));
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("call uploadCoefficientAsync() timeout. device:D02"),
                                                 QStringLiteral("call uploadCoefficientAsync() timeout. device:D00")}));
}

void tst_ScreenWrite::subScreensThatWaitAreNestedToALimit()
{
    constexpr int count = 1000;
    QVector<int> started;
    int settled = 0;
    int depth = 0;
    int deepest = 0;
    for (int i = 0; i < count; ++i) {
        m_screen->addSubScreen(QStringLiteral("%1").arg(i, 4, 10, QLatin1Char('0')),
                               new FakeSubScreen([&, i](const QRect &, ICoefficient &) {
                                   started.append(i);
                                   deepest = std::max(deepest, ++depth);
                                   const auto code = i == 500 ? enOutOfRange : enSuccess;
                                   const Promise promise = Promise::resolve(code).delay(1).wait();
                                   --depth;
                                   ++settled;
                                   return promise;
                               }));
    }
    EnumErrorCode code = enSuccess;
    runOnSmallStack([&] { code = write(); });
    QCOMPARE(code, enOutOfRange);
    QCOMPARE(settled, count);
    QCOMPARE(depth, 0);
    QVERIFY2(deepest > 1 && deepest <= 64, qPrintable(QString::number(deepest)));
    for (int i = 0; i < count; ++i)
        QCOMPARE(started[i], i);
}

void tst_ScreenWrite::servicesThatRunTheEventLoopAreNestedToALimit()
{
    constexpr int count = 1000;
    makeWall(count);
    int depth = 0;
    int deepest = 0;
    int calls = 0;
    wall().scripts().on(upload).run([&](const Simulator::Call &) {
        ++calls;
        deepest = std::max(deepest, ++depth);
        QCoreApplication::processEvents();
        --depth;
    });
    EnumErrorCode code = enTimeout;
    runOnSmallStack([&] { code = write(); });
    QCOMPARE(code, enSuccess);
    QCOMPARE(calls, count);
    QVERIFY2(deepest > 1 && deepest <= 64, qPrintable(QString::number(deepest)));
    for (int i = 0; i < count; ++i)
        QCOMPARE(wall().state().chroma(keyOf(i), QString::number(i + 1)), valuesOf(i));
}

void tst_ScreenWrite::writesThatSettleLaterAreWaitedFor_data()
{
    QTest::addColumn<bool>("thread");
    QTest::newRow("in the event loop") << false;
    QTest::newRow("in another thread") << true;
}

void tst_ScreenWrite::writesThatSettleLaterAreWaitedFor()
{
    QFETCH(bool, thread);
    std::vector<std::thread> threads;
    for (const int code : {1, 2, 8}) {
        m_screen->addSubScreen(QString::number(code), new FakeSubScreen([&, code](const QRect &, ICoefficient &) {
                                   return Promise([&](const QtPromise::QPromiseResolve<EnumErrorCode> &resolve) {
                                       if (thread)
                                           threads.emplace_back([=] { resolve(EnumErrorCode(code)); });
                                       else
                                           later([=] { resolve(EnumErrorCode(code)); });
                                   });
                               }));
    }
    const int code = write();
    for (std::thread &each : threads)
        each.join();
    QCOMPARE(code, 11);
}

void tst_ScreenWrite::theEventLoopRunsMeanwhile()
{
    makeWall(2);
    wall().scripts().on(upload).settleLater();
    // Ticks count only while both are pending; the tenth settles them.
    int ticks = 0;
    std::function<void()> tick = [&] {
        if (wall().uploads().pending() == 2 && ++ticks == 10) {
            QVERIFY(wall().uploads().settle(keyOf(0), true));
            QVERIFY(wall().uploads().settle(keyOf(1), true));
        } else {
            later(tick);
        }
    };
    QTimer::singleShot(0, this, tick);
    QCOMPARE(write(), enSuccess);
    QCOMPARE(ticks, 10);
}

void tst_ScreenWrite::otherOperationsMayRunMeanwhile()
{
    makeWall(2);
    wall().scripts().on(upload).settleLater();
    Coefficient read(2, 1);
    int codes[3] = {-1, -1, -1};
    wall().scripts().on(upload, keyOf(1)).settleLater().run([&](const Simulator::Call &) {
        later([&] {
            codes[0] = m_screen->setBrightness(77);
            codes[1] = m_screen->tryGetCoefficients(QRect(0, 0, 2, 1), read);
            wall().uploads().settle(keyOf(1), true);
            wall().uploads().settle(keyOf(0), true);
            codes[2] = m_screen->setBrightness(78);
        });
    });
    QCOMPARE(write(), enSuccess);
    for (const int code : codes)
        QCOMPARE(code, 0);
    QCOMPARE(read.getCoefficient(), Values(18, 0)); // nothing was written yet
    const QString brightness = QStringLiteral("ScreenInfo::setBrightness(\"%1\", \"255\", {\"brightness\": int %2})");
    QCOMPARE(wall().journal().transcript(),
             QStringList({uploadLine(0), uploadLine(1), brightness.arg(keyOf(0)).arg(77), brightness.arg(keyOf(1)).arg(77),
                          QStringLiteral("Correctionop::loadCoefficient(\"D00\", \"1\")"), brightness.arg(keyOf(0)).arg(78),
                          brightness.arg(keyOf(1)).arg(78)}));
    QCOMPARE(wall().state().chroma(keyOf(0), QStringLiteral("1")), valuesOf(0));
    QCOMPARE(wall().state().chroma(keyOf(1), QStringLiteral("2")), valuesOf(1));
}

void tst_ScreenWrite::writesMayBeNested()
{
    makeWall(2);
    // The first write's uploads stay pending until a second one, from the event loop, is through.
    wall().scripts().on(upload).times(2).settleLater();
    int inner = -1;
    wall().scripts().on(upload, keyOf(1)).times(1).settleLater().run([&](const Simulator::Call &) {
        later([&] {
            Coefficient grid(4, 1);
            Values values = numbered(36, 1000);
            QCOMPARE(grid.setCoefficient(values), enSuccess);
            wall().scripts().on(upload, keyOf(0)).resolveWith(false);
            wall().scripts().on(upload, keyOf(1)).resolveWith(true);
            inner = m_screen->setCoefficients(m_rect, grid);
            wall().uploads().settle(keyOf(0), true);
            wall().uploads().settle(keyOf(1), true);
        });
    });
    QCOMPARE(write(), enSuccess);
    QCOMPARE(inner, 5);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("call uploadCoefficientAsync() timeout. device:D00")));
    QCOMPARE(wall().journal().calls().size(), 4);
    QCOMPARE(wall().state().chroma(keyOf(0), QStringLiteral("1")), valuesOf(0));
    QCOMPARE(wall().state().chroma(keyOf(1), QStringLiteral("2")), valuesOf(1));
}

void tst_ScreenWrite::theLinesComeInOrder()
{
    makeWall(1);
    QCOMPARE(write(), enSuccess);
    QStringList lines = m_log->takeDebug();
    QCOMPARE(lines.size(), 9);
    QCOMPARE(lines.mid(3, 4),
             QStringList({QStringLiteral(" cabInfo.rect.intersects  0 0 2 1"), QStringLiteral(" inRect 0 0 2 1"),
                          QStringLiteral(" yuan Rect 0 0 2 1"),
                          QStringLiteral("Correction::Coefficient::tryGetPart x: 0 y: 0 w: 2 h: 1 m_pixelCol: 2 "
                                         "m_pixelRow: 1")}));
    verifyLines(lines.mid(0, 3) + lines.mid(7), {keyOf(0)}, -1, 0);
}

namespace {

/// A host's own grid, of a kind that no device has.
class OddGrid : public Coefficient
{
public:
    OddGrid() : Coefficient(4, 1) {}
    EnumCoefficientType getType() override { return EnumCoefficientType(9); }
};

} // namespace

void tst_ScreenWrite::anUnknownKindIsSeven()
{
    makeWall(2);
    OddGrid grid;
    QCOMPARE(m_screen->setCoefficients(m_rect, grid), enNotSupported);
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void tst_ScreenWrite::exhaustedMemoryPassesThroughOnceAllHaveSettled()
{
    makeWall(3);
    wall().scripts().on(upload, keyOf(0)).times(1).settleLater();
    wall().scripts().on(upload, keyOf(1)).times(1).throwException(std::make_exception_ptr(std::bad_alloc()));
    wall().scripts().on(upload, keyOf(2)).times(1).settleLater().run([&](const Simulator::Call &) {
        later([&] {
            QVERIFY(wall().uploads().settle(keyOf(2), true));
            later([&] { QVERIFY(wall().uploads().settle(keyOf(0), true)); });
        });
    });
    QVERIFY_EXCEPTION_THROWN(write(), std::bad_alloc);
    // The others used the caller's grid until then.
    QCOMPARE(wall().uploads().pending(), 0);
    QCOMPARE(wall().state().chroma(keyOf(0), QStringLiteral("1")), valuesOf(0));
    QCOMPARE(wall().state().chroma(keyOf(1), QStringLiteral("2")), Values(18, 0));
    QCOMPARE(wall().state().chroma(keyOf(2), QStringLiteral("3")), valuesOf(2));
    QCOMPARE(write(), enSuccess);
    QCOMPARE(wall().state().chroma(keyOf(1), QStringLiteral("2")), valuesOf(1));
}

void tst_ScreenWrite::noOtherExceptionLeaves()
{
    makeWall(2);
    QVERIFY(m_screen->addSubScreen(QStringLiteral("Z"), answering(2)));
    wall().scripts().on(upload, keyOf(0)).throwException(std::make_exception_ptr(std::runtime_error("broken")));
    QCOMPARE(int(write()), 7);
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("the device service threw an exception"),
                                                 QStringLiteral("call uploadCoefficientAsync() timeout. device:D00")}));
    QCOMPARE(wall().state().chroma(keyOf(1), QStringLiteral("2")), valuesOf(1));
}

void tst_ScreenWrite::aHandlerOfTheHostThatThrowsDoesNotEndTheWrite()
{
    int settled = 0;
    const auto later = [&settled](const QRect &, ICoefficient &) {
        return Promise([&settled](const QtPromise::QPromiseResolve<EnumErrorCode> &resolve) {
            QTimer::singleShot(20, [&settled, resolve] {
                ++settled;
                resolve(enSuccess);
            });
        });
    };
    ScreenV4 screen;
    screen.addSubScreen(QStringLiteral("A"), new FakeSubScreen(later));
    screen.addSubScreen(QStringLiteral("B"), new FakeSubScreen(later));
    QTimer::singleShot(0, [] { throw std::runtime_error("a handler of the host"); });
    Coefficient grid(1, 1);
    QCOMPARE(screen.setCoefficients(QRect(0, 0, 1, 1), grid), enTimeout);
    QCOMPARE(settled, 2);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("the device service threw an exception")});
}

QTEST_GUILESS_MAIN(tst_ScreenWrite)
#include "tst_screenwrite.moc"

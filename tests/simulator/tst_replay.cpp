// Replays of a recording: the same host gets the same replies, and for another one the first difference is reported.

#include <Correction/Coefficient.h>
#include <Correction/IScreen.h>
#include <Correction/ISubScreen.h>
#include <Correction/ScreenManager.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>
#include <simulator/VirtualWall.h>
#include <support/LogCapture.h>
#include <support/Maps.h>

#include <QtPromise>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <algorithm>
#include <exception>
#include <functional>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

using namespace Simulator;
using Correction::Coefficient;
using Correction::DrawingCheckerboard;
using Correction::IScreen;
using Correction::ScreenManager;
using Quorvex::Communicator::HttpDevice::HttpProxy;
using TestSupport::map;

Q_DECLARE_METATYPE(Simulator::Call)

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Promise = QtPromise::QPromise<bool>;

const QString a = QStringLiteral("A");
const QString b = QStringLiteral("B");
const QString whole = QStringLiteral("255");

VirtualWall &wall()
{
    return VirtualWall::instance();
}

Promise upload(const QString &deviceKey)
{
    return Correctionop::getInstance()->uploadCoefficientAsync(deviceKey, List{});
}

bool setXBit(const QString &deviceKey, const QVariant &mode)
{
    Map reply;
    return Correctionop::getInstance()->setScreenXBit(deviceKey, whole, map({{"mode", mode}}), reply);
}

Call recorded(qint64 number, const char *operation, const QString &deviceKey, qint64 time = 0, qint64 duration = 0)
{
    Call call;
    call.number = number;
    call.operation = QString::fromLatin1(operation);
    call.deviceKey = deviceKey;
    call.result = true;
    call.time = time;
    call.duration = duration;
    return call;
}

Call recordedUpload(qint64 number, const QString &deviceKey, qint64 time = 0, qint64 duration = 0)
{
    Call call = recorded(number, "Correctionop::uploadCoefficientAsync", deviceKey, time, duration);
    call.request = List{};
    return call;
}

Call recordedXBit(qint64 number, const QString &deviceKey, const QVariant &mode, qint64 time = 0)
{
    Call call = recorded(number, "Correctionop::setScreenXBit", deviceKey, time);
    call.target = whole;
    call.request = map({{"mode", mode}});
    call.reply = Map();
    return call;
}

/// The result of a promise.
QString stateOf(const Promise &promise)
{
    return promise.isPending()    ? QStringLiteral("pending")
           : promise.isRejected() ? QStringLiteral("rejected")
                                  : QStringLiteral("fulfilled");
}

/// The value of a promise that is not pending, or the reason of its rejection.
QString outcomeOf(const Promise &promise)
{
    QString outcome;
    promise
        .then([&](bool value) { outcome = value ? QStringLiteral("true") : QStringLiteral("false"); },
              [&](const std::exception &error) { outcome = QString::fromUtf8(error.what()); })
        .wait();
    return outcome;
}

/// The difference between two hosts.
struct Host {
    int brightness = 4000;
    int blockHeight = 5;
    bool locks = true;
};

/// Ends the manager, and deletes the screens, which it would leave to their holders.
void releaseManager()
{
    ScreenManager *const manager = ScreenManager::getInstance();
    const QStringList ids = manager->getNameMapping().keys();
    for (const QString &id : ids)
        delete manager->tryGetScreen(id);
    ScreenManager::releaseInstance();
}

/// A host's whole session: every result code, and what it read.
QStringList session(const Host &host)
{
    QStringList told;
    const auto tell = [&](const char *what, int code) {
        told += QStringLiteral("%1: %2").arg(QString::fromLatin1(what)).arg(code);
    };
    ScreenManager *const manager = ScreenManager::getInstance();
    manager->init();
    tell("refresh", manager->refreshScreen());
    IScreen *const screen = manager->tryGetScreen(manager->getNameMapping().value(QStringLiteral("Screen")));
    const QMap<QString, QString> names = manager->getNameMapping();
    for (auto it = names.cbegin(); it != names.cend(); ++it)
        told += it.key() + QLatin1Char('=') + it.value();
    IScreen *const shown = screen ? screen : manager->tryGetScreen(names.isEmpty() ? QString() : names.firstKey());
    if (!shown) {
        releaseManager();
        return told;
    }

    if (host.locks)
        tell("lock", shown->lock());
    tell("brightness", shown->setBrightness(host.brightness));
    QMap<Correction::EnumGammaType, QList<int>> gamma;
    tell("gamma", shown->getGammaTable(gamma));
    for (QList<int> &table : gamma)
        table = {0, 10, 200};
    tell("set gamma", shown->setGammaTable(gamma));

    const QRect part(2, 1, 12, host.blockHeight); // on both devices
    Coefficient grid(part.width(), part.height());
    QVector<unsigned short> values;
    for (int i = 0; i < part.width() * part.height() * 9; ++i)
        values += static_cast<unsigned short>(i * 77);
    grid.setCoefficient(values);
    for (int i = 0; i < 3; ++i)
        tell("write", shown->setCoefficients(part, grid));
    tell("save", shown->saveParameter(Correction::enSaveCommonCoefficient));
    tell("solid", shown->setMutiCabinetSolid(Correction::enSaveCommonCoefficient));
    for (const QString &key : {a, b}) {
        QRect rect;
        Correction::ISubScreen *const subScreen = shown->tryGetSubScreen(key);
        tell("rectangle", subScreen->tryGetRect(rect));
        Coefficient read(rect.width(), rect.height());
        tell("read", subScreen->tryGetCoefficients(rect, read));
        const QVector<unsigned short> all = read.getCoefficient();
        qulonglong sum = 0;
        for (const unsigned short value : all)
            sum = sum * 31 + value;
        told += QString::number(sum);
    }
    QMap<QString, bool> features;
    tell("features", shown->getFeatures(features));
    for (auto it = features.cbegin(); it != features.cend(); ++it)
        tell(qPrintable(it.key()), it.value());
    DrawingCheckerboard board;
    board.regionRect = QRect(0, 0, 16, 8);
    board.colors = {QColor(Qt::white), QColor(Qt::red)};
    board.squareW = 3;
    board.squareH = 3;
    board.lastSquareColumnW = 1;
    board.lastSquareRowH = 2;
    tell("board", shown->setCheckerboardlImage(board));
    if (host.locks)
        tell("unlock", shown->unLock());
    HttpProxy::getInstance()->initialize(false);
    releaseManager();
    return told;
}

/// A wall on which some of the session goes wrong.
void buildWall()
{
    WallDescription description;
    description.devices = {gridDevice(a, QPoint(0, 0), 2, 2, QSize(4, 4), 1),
                           gridDevice(b, QPoint(8, 0), 2, 2, QSize(4, 4), 5)};
    description.devices[0].timing.latency = 3;
    description.devices[1].timing.latency = 5;
    description.devices[1].checkerboardSupported = false;
    wall().timeline().setClock(ClockMode::Skipping);
    wall().setWall(description);
    wall().state().setReplyBlockHeight(3);
    const QString operation = QStringLiteral("Correctionop::uploadCoefficientAsync");
    wall().scripts().on(operation, b).after(1).times(1).reject();
    wall().scripts().on(operation, a).after(2).times(1).resolveWith(false);
    wall().scripts().on(QStringLiteral("ScreenInfo::setGammaTable"), a).times(1).answerFalse();
    wall().scripts().on(QStringLiteral("Correctionop::setMutiCabinetSolid"), b).answerFalse();
}

} // namespace

class ReplayTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        wall().reset();
        wall().timeline().setClock(ClockMode::Stepped);
        m_log.emplace();
    }
    void cleanup()
    {
        m_log.reset();
        wall().reset();
        QCoreApplication::processEvents();
    }

    void theSameHostGetsTheSameAnswers()
    {
        const QString path = m_folder.filePath(QStringLiteral("session.jsonl"));
        buildWall();
        QString error;
        QVERIFY2(wall().journal().recordTo(path, &error), qPrintable(error));
        const QStringList told = session({});
        const QStringList critical = m_log->takeCritical();
        const QStringList warnings = m_log->takeWarning();
        const QStringList traces = m_log->takeDebug();
        QVERIFY(wall().journal().recordTo(QString(), &error));
        QVERIFY(told.contains(QStringLiteral("write: 0")));
        QCOMPARE(told.filter(QStringLiteral("write: 5")).size(), 2);
        QVERIFY(told.contains(QStringLiteral("solid: 5")));
        QVERIFY(critical.size() >= 3);
        const QList<Call> calls = wall().journal().calls();
        QVERIFY(std::any_of(calls.cbegin(), calls.cend(), [](const Call &call) { return call.rejected; }));
        QVERIFY(std::any_of(calls.cbegin(), calls.cend(), [](const Call &call) { return !call.headers.isEmpty(); }));
        const QByteArray journal = wall().journal().jsonLines();

        wall().reset();
        QVERIFY2(wall().replay().start(path, &error), qPrintable(error));
        QCOMPARE(session({}), told);
        QCOMPARE(m_log->takeCritical(), critical);
        QCOMPARE(m_log->takeWarning(), warnings);
        QCOMPARE(m_log->takeDebug(), traces);
        const ReplayReport report = wall().replay().report();
        QCOMPARE(report.difference, QString());
        QCOMPARE(report.remaining, 0);
        QCOMPARE(report.answered, calls.size());
        QCOMPARE(wall().journal().jsonLines(), journal);
    }

    void anotherHostIsTold_data()
    {
        QTest::addColumn<int>("brightness");
        QTest::addColumn<int>("blockHeight");
        QTest::addColumn<bool>("locks");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("difference");
        QTest::newRow("another number") << 4001 << 5 << true << QStringLiteral("ScreenInfo::setBrightness")
                                        << QStringLiteral("recorded int 4000, got int 4001");
        QTest::newRow("another rectangle")
            << 4000 << 4 << true << QStringLiteral("Correctionop::uploadCoefficientAsync")
            << QStringLiteral("request[2].coefficientList[0].area.size.height: recorded int 2, got int 1");
        QTest::newRow("a call left out") << 4000 << 5 << false << QStringLiteral("HWInfo::lock")
                                         << QStringLiteral("operation: recorded \"HWInfo::lock\", got \"ScreenInfo::");
    }
    void anotherHostIsTold()
    {
        QFETCH(int, brightness);
        QFETCH(int, blockHeight);
        QFETCH(bool, locks);
        QFETCH(QString, operation);
        QFETCH(QString, difference);
        buildWall();
        session({});
        const QList<Call> calls = wall().journal().calls();
        wall().reset();
        wall().replay().start(calls);
        session({brightness, blockHeight, locks});
        const ReplayReport report = wall().replay().report();
        QVERIFY2(report.difference.contains(difference), qPrintable(report.difference));
        QCOMPARE(report.answered + report.remaining, calls.size());
        const Call &recordedCall = calls[report.answered];
        QCOMPARE(recordedCall.operation, operation);
        QVERIFY(report.difference.startsWith(QStringLiteral("call %1: ").arg(recordedCall.number)));
        const QList<Call> replayed = wall().journal().calls();
        for (int i = 0; i < replayed.size(); ++i) {
            QCOMPARE(replayed[i].result, i < report.answered && calls[i].result);
            if (i >= report.answered)
                QVERIFY(!replayed[i].note.isEmpty());
        }
        m_log->clear();
    }

    void theFirstPlaceThatDiffersIsNamed_data()
    {
        QTest::addColumn<Call>("call");
        QTest::addColumn<QString>("difference");
        const auto row = [](const char *name, const std::function<void(Call &)> &change, const char *difference) {
            Call call = recordedXBit(1, a, 3);
            change(call);
            QTest::newRow(name) << call << QString::fromUtf8(difference).replace(QLatin1Char('\''), QLatin1Char('"'));
        };
        row(
            "nothing", [](Call &) {}, "");
        row(
            "the operation", [](Call &call) { call.operation = QStringLiteral("X::y"); },
            "operation: recorded 'X::y', got 'Correctionop::setScreenXBit'");
        row(
            "the device", [](Call &call) { call.deviceKey = b; }, "device: recorded 'B', got 'A'");
        row(
            "no device", [](Call &call) { call.deviceKey = QString(); }, "device: recorded nothing, got 'A'");
        row(
            "the target", [](Call &call) { call.target = QStringLiteral("7"); }, "target: recorded '7', got '255'");
        row(
            "no target", [](Call &call) { call.target = QString(); }, "target: recorded nothing, got '255'");
        row(
            "a number",
            [](Call &call) {
                call.request = map({{"mode", 4}});
            },
            "request.mode: recorded int 4, got int 3");
        row(
            "a type",
            [](Call &call) {
                call.request = map({{"mode", 3LL}});
            },
            "request.mode: recorded qlonglong 3, got int 3");
        row(
            "a key more",
            [](Call &call) {
                call.request = map({{"mode", 3}, {"more", true}});
            },
            "request.more: recorded bool true, got no such key");
        row(
            "a key less", [](Call &call) { call.request = Map(); }, "request.mode: recorded no such key, got int 3");
        row(
            "no request", [](Call &call) { call.request = QVariant(); }, "request: recorded invalid, got {'mode': int 3}");
        row(
            "an argument", [](Call &call) { call.extra = true; }, "extra: recorded bool true, got invalid");
        row(
            "only the answer", [](Call &call) { call.result = false; }, "");
    }
    void theFirstPlaceThatDiffersIsNamed()
    {
        QFETCH(Call, call);
        QFETCH(QString, difference);
        wall().replay().start(QList<Call>{call});
        QCOMPARE(setXBit(a, 3), difference.isEmpty() && call.result);
        const QString told = wall().replay().report().difference;
        if (difference.isEmpty()) {
            QCOMPARE(told, QString());
        } else {
            QCOMPARE(told.section(QLatin1Char('\n'), 0, 0), QStringLiteral("call 1: ") + difference);
            QCOMPARE(told.section(QLatin1Char('\n'), 1, 1),
                     QStringLiteral("  recorded ") + CallJournal::describe(call, CallJournal::Shorten));
            QCOMPARE(told.section(QLatin1Char('\n'), 2, 2),
                     QStringLiteral("  got      Correctionop::setScreenXBit(\"A\", \"255\", {\"mode\": int 3})"));
            QCOMPARE(wall().journal().notes().size(), 1);
        }
    }

    void deepPlacesAreNamed_data()
    {
        QTest::addColumn<QVariant>("recordedValue");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("difference");
        const auto row = [](const char *name, const QVariant &recordedValue, const QVariant &value, const char *difference) {
            QTest::newRow(name) << recordedValue << value
                                << QString::fromUtf8(difference).replace(QLatin1Char('\''), QLatin1Char('"'));
        };
        const auto block = [](int width) {
            return map({{"area", map({{"size", map({{"width", width}})}})}, {"a.b", QString(200, QLatin1Char('A'))}});
        };
        row("in a list of maps", List{map({{"list", List{block(4), block(64)}}})},
            List{map({{"list", List{block(4), block(32)}}})},
            "request.mode[0].list[1].area.size.width: recorded int 64, got int 32");
        QString other(200, QLatin1Char('A'));
        other[150] = QLatin1Char('B');
        row("far inside a text", map({{"a.b", QString(170, QLatin1Char('A'))}}), map({{"a.b", other.left(170)}}),
            "request.mode['a.b'], from character 134: recorded 'AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA', got "
            "'AAAAAAAAAAAAAAAABAAAAAAAAAAAAAAAAAAA'");
        row("a longer list", List{1, 2}, List{1, 2, 3}, "request.mode: recorded 2 elements, got 3 elements");
        row("a number of a table", QVariant::fromValue(QList<int>{1, 2, 3}), QVariant::fromValue(QList<int>{1, 5, 3}),
            "request.mode[1]: recorded 2, got 5");
        row("a shorter table", QVariant::fromValue(QList<int>{1, 2, 3}), QVariant::fromValue(QList<int>{1, 2}),
            "request.mode: recorded 3 elements, got 2 elements");
        row("a table of another type", QVariant::fromValue(QList<int>{1}), List{1},
            "request.mode: recorded QList<int> [1], got [int 1]");
        row("a real number", 0.5, 0.25, "request.mode: recorded double 0.5, got double 0.25");
        row("no number twice", qQNaN(), qQNaN(), "");
        row("a null text and an empty one", QString(), QStringLiteral(""), "");
        row("bytes", QByteArray("ab"), QByteArray("ac"), "request.mode: recorded QByteArray '6162', got QByteArray '6163'");
    }
    void deepPlacesAreNamed()
    {
        QFETCH(QVariant, recordedValue);
        QFETCH(QVariant, value);
        QFETCH(QString, difference);
        wall().replay().start(QList<Call>{recordedXBit(1, a, recordedValue)});
        QCOMPARE(setXBit(a, value), difference.isEmpty());
        const QString told = wall().replay().report().difference.section(QLatin1Char('\n'), 0, 0);
        QCOMPARE(told, difference.isEmpty() ? QString() : QStringLiteral("call 1: ") + difference);
    }

    void everyCallAfterTheDifferenceIsAnsweredFalse()
    {
        wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(4, 4))});
        wall().replay().start({recordedXBit(5, a, 1), recordedXBit(6, a, 2), recordedXBit(7, a, 3)});
        QVERIFY(setXBit(a, 1));
        QVERIFY(!setXBit(a, 9));
        const QString difference = wall().replay().report().difference;
        QVERIFY(difference.startsWith(QStringLiteral("call 6: ")));
        QVERIFY(!setXBit(a, 2));
        QCOMPARE(outcomeOf(upload(a)), QStringLiteral("false"));
        QVERIFY(HttpProxy::getInstance()->getDeviceList().isEmpty());
        const ReplayReport report = wall().replay().report();
        QCOMPARE(report.difference, difference);
        QCOMPARE(report.answered, 1);
        QCOMPARE(report.remaining, 2);
        QCOMPARE(wall().journal().notes().size(), 4);
    }

    void aCallAfterTheEndIsReported()
    {
        wall().replay().start({recordedXBit(1, a, 1)});
        QVERIFY(setXBit(a, 1));
        QCOMPARE(wall().replay().report().difference, QString());
        QVERIFY(!setXBit(a, 2));
        QCOMPARE(wall().replay().report().difference,
                 QStringLiteral("after the last recorded call\n  got      "
                                "Correctionop::setScreenXBit(\"A\", \"255\", {\"mode\": int 2})"));
        QCOMPARE(wall().replay().report().remaining, 0);
    }

    void repliesAndHeadersAreTheRecordedOnes()
    {
        Call call = recorded(1, "ScreenInfo::setCheckerBoardImage(responseHeader)", a);
        call.request = Map();
        call.result = false;
        call.reply = map({{"why", QStringLiteral("no")}});
        call.headers = {{QStringLiteral("HttpResponse_StateCode"), QStringLiteral("503")}};
        wall().replay().start({call});
        Map reply;
        QMap<QString, QString> headers;
        QVERIFY(!ScreenInfo::getInstance()->setCheckerBoardImage(a, Map(), reply, headers));
        QCOMPARE(reply, call.reply.toMap());
        QCOMPARE(headers, call.headers);
    }

    void scriptsAndDevicesHaveNoPart()
    {
        wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(4, 4))});
        int ran = 0;
        wall().scripts().on(QStringLiteral("Correctionop::setScreenXBit")).answerFalse().run([&](const Call &) { ++ran; });
        wall().replay().start({recordedXBit(1, a, 1)});
        QVERIFY(setXBit(a, 1));
        QCOMPARE(ran, 0);
        wall().reset();
        QCOMPARE(wall().replay().report().answered, 0);
        wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(4, 4))});
        QCOMPARE(HttpProxy::getInstance()->getDeviceList().size(), 1);
    }

    // Promises

    void promisesSettleAsRecorded()
    {
        Call yes = recordedUpload(1, a);
        Call no = recordedUpload(2, a);
        no.result = false;
        Call rejected = recordedUpload(3, a);
        rejected.result = false;
        rejected.rejected = true;
        rejected.note = QStringLiteral("the device lost its power");
        wall().replay().start({yes, no, rejected});
        QCOMPARE(outcomeOf(upload(a)), QStringLiteral("true"));
        QCOMPARE(outcomeOf(upload(a)), QStringLiteral("false"));
        QCOMPARE(outcomeOf(upload(a)), QStringLiteral("the device lost its power"));
        QCOMPARE(wall().replay().report().difference, QString());
        QCOMPARE(wall().journal().calls()[2].note, rejected.note);
        QVERIFY(wall().journal().calls()[2].rejected);
    }

    void overlappingUploadsSettleInTheRecordedOrder()
    {
        wall().replay().start({recordedUpload(1, a, 0, 100), recordedUpload(2, b, 10, 50), recordedXBit(3, a, 1, 70),
                               recordedXBit(4, a, 2, 120)});
        const Promise first = upload(a);
        QCOMPARE(stateOf(first), QStringLiteral("pending"));
        QVERIFY(!wall().journal().calls()[0].settled);
        const Promise second = upload(b);
        QCOMPARE(stateOf(first), QStringLiteral("pending"));
        QCOMPARE(stateOf(second), QStringLiteral("fulfilled"));
        QVERIFY(setXBit(a, 1));
        QCOMPARE(stateOf(first), QStringLiteral("fulfilled"));
        QVERIFY(setXBit(a, 2));
        QCOMPARE(wall().replay().report().difference, QString());
        const QList<Call> calls = wall().journal().calls();
        QVERIFY(calls[0].settled && calls[0].result);
        QCOMPARE(calls[0].duration, qint64(100));
    }

    void uploadsOfTheEndSettleInTheOrderOfTheirEnds()
    {
        wall().replay().start({recordedUpload(1, a, 0, 100), recordedUpload(2, b, 0, 50)});
        QStringList order;
        const auto first = upload(a).then([&](bool) { order += a; });
        const auto second = upload(b).then([&](bool) { order += b; });
        first.wait();
        second.wait();
        QCOMPARE(order.size(), 2);
        QVERIFY(wall().journal().calls()[0].settled && wall().journal().calls()[1].settled);
    }

    void aDifferenceSettlesWhatIsOpen()
    {
        wall().replay().start({recordedUpload(1, a, 0, 100), recordedXBit(2, a, 1, 50)});
        const Promise open = upload(a);
        QCOMPARE(stateOf(open), QStringLiteral("pending"));
        QVERIFY(!setXBit(a, 2));
        QCOMPARE(outcomeOf(open), QStringLiteral("true"));
    }

    void aHostThatOnlyWaitsDoesNotWaitForEver()
    {
        wall().replay().setPatience(0);
        wall().replay().start({recordedUpload(1, a, 0, 900), recordedXBit(2, a, 1, 500)});
        QCOMPARE(outcomeOf(upload(a)), QStringLiteral("true"));
        QCOMPARE(wall().journal().calls()[0].note,
                 QStringLiteral("settled without the next recorded call, which did not come"));
        QCOMPARE(wall().replay().report().remaining, 1);
    }

    void whatNeverSettledWaitsForTheDeviceToGo()
    {
        Call never = recordedUpload(1, a);
        never.result = false;
        never.settled = false;
        wall().replay().start({never, never, recordedXBit(2, b, 1, 50)});
        const Promise one = upload(a);
        const Promise other = upload(a);
        QVERIFY(setXBit(b, 1));
        QVERIFY(!wall().removeDevice(b));
        QCOMPARE(stateOf(one), QStringLiteral("pending"));
        QSignalSpy changed(HttpProxy::getInstance(), &HttpProxy::deviceChanged);
        QVERIFY(wall().unplug(a));
        QCOMPARE(changed.size(), 1);
        QCOMPARE(outcomeOf(one), QStringLiteral("the device was unplugged"));
        QCOMPARE(outcomeOf(other), QStringLiteral("the device was unplugged"));
        QVERIFY(wall().journal().calls()[0].rejected);
        QVERIFY(!wall().unplug(a));
        QCOMPARE(changed.size(), 1);
    }

    void theEndOfAReplayRejectsWhatIsOpen()
    {
        Call never = recordedUpload(1, a);
        never.result = false;
        never.settled = false;
        wall().replay().start({never});
        const Promise first = upload(a);
        wall().replay().start({never});
        QCOMPARE(outcomeOf(first), QStringLiteral("another replay began"));
        const Promise second = upload(a);
        wall().reset();
        QCOMPARE(outcomeOf(second), QStringLiteral("the wall was reset"));
    }

    void threadsTakeTheirTurns()
    {
        QList<Call> calls;
        for (int i = 1; i <= 400; ++i)
            calls += recordedXBit(i, a, 1);
        wall().replay().start(calls);
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([] {
                for (int j = 0; j < 100; ++j)
                    setXBit(a, 1);
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(wall().replay().report().answered, 400);
        QCOMPARE(wall().replay().report().difference, QString());
        QVERIFY(wall().journal().notes().isEmpty());
    }

private:
    QTemporaryDir m_folder;
    std::optional<TestSupport::LogCapture> m_log; // one for each test: Qt Test installs its own handler first
};

QTEST_GUILESS_MAIN(ReplayTest)
#include "tst_replay.moc"

// Backends in front of backends: what reaches the inner one, what the host gets, and what an observer sees.

#include "support/LogCapture.h"
#include "support/Nested.h"

#include <adapter/BackendPlugin.h>
#include <adapter/DryRun.h>
#include <adapter/ExchangeTap.h>
#include <adapter/Operations.h>
#include <adapter/Recorder.h>
#include <adapter/journal/Journal.h>
#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

#include <QtTest/QtTest>

#include <csignal>
#include <new>
#include <optional>
#include <stdexcept>

#include <sys/resource.h>

using namespace Adapter;
using Quorvex::Communicator::HttpDevice::HttpProxy;

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

const QString key = QStringLiteral("A");
const QString id = QStringLiteral("7");

class InnerBackend : public DeviceBackend
{
public:
    void initialize(bool enable) override
    {
        throwIfAsked();
        initialized += enable;
    }
    QList<DeviceInfo> devices() override
    {
        throwIfAsked();
        return {{QStringLiteral("A"), QStringLiteral("Device A")}};
    }
    Answer answer(const Call &call) override
    {
        operations += call.operation;
        throwIfAsked();
        return next;
    }
    QtPromise::QPromise<bool> upload(const Call &call) override
    {
        operations += call.operation;
        throwIfAsked();
        return QtPromise::QPromise<bool>(
            [this](const QtPromise::QPromiseResolve<bool> &resolve, const QtPromise::QPromiseReject<bool> &reject) {
                settle = [resolve](bool value) { resolve(value); };
                fail = [reject] { reject(std::runtime_error("the cable")); };
            });
    }

    QVector<bool> initialized;
    QStringList operations;
    Answer next;
    std::exception_ptr thrown;
    std::function<void(bool)> settle;
    std::function<void()> fail;

private:
    void throwIfAsked() const
    {
        if (thrown)
            std::rethrow_exception(thrown);
    }
};

/// Gives every reply away: nothing but the caller holds it.
class DeepBackend : public InnerBackend
{
public:
    Answer answer(const Call &) override
    {
        Answer answer;
        answer.reply.swap(deep);
        answer.error = error;
        return answer;
    }
    QtPromise::QPromise<bool> upload(const Call &call) override { return DeviceBackend::upload(call); }

    QVariant deep;
    std::exception_ptr error;
};

/// Every operation of the four device classes once, without those of discovery, in the order of the table.
QStringList callEverything()
{
    QStringList called;
    for (const Operation &operation : operations()) {
        if (operation.address == Address::Wall)
            continue;
        Call call;
        call.operation = operation.name;
        call.deviceKey = key;
        if (operation.reply == Form::Promise)
            backend()->upload(call);
        else
            backend()->answer(call);
        called += operation.name;
    }
    return called;
}

} // namespace

class tst_Filters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_inner.emplace(); }
    void cleanup() { m_inner.reset(); }

    void aFilterHandsEverythingOn();
    void aFilterRelaysSignals();
    void aDryRunKeepsWritesAndLocks();
    void aTapShowsEveryCallWithItsAnswer();
    void aTapShowsUploadsWhenTheySettle();
    void aTapShowsWhatWasThrown();
    void aTapShowsPendingUploadsWhenItStops();
    void aTapIsGoneBeforeAnUploadSettles();
    void filtersStandInFrontOfEachOther();
    void deepRepliesNeedNoDeepStack_data();
    void deepRepliesNeedNoDeepStack();
    void observersGetLimitedReplies();
    void aRecorderWritesAJournal();
    void aRecorderWritesLimitedReplies();
    void aRecorderSaysWhatIsMissing();
    void aPluginIsLoaded();
    void badPluginsAreRefused_data();
    void badPluginsAreRefused();
    void aPluginWithoutMemoryThrows();

private:
    std::optional<InnerBackend> m_inner;
};

void tst_Filters::aFilterHandsEverythingOn()
{
    BackendFilter filter(*m_inner);
    setBackend(&filter);
    HttpProxy::getInstance()->initialize(true);
    HttpProxy::getInstance()->initialize(false);
    QCOMPARE(m_inner->initialized, (QVector<bool>{true, false}));
    QCOMPARE(HttpProxy::getInstance()->getDeviceList().value(0).label, QStringLiteral("Device A"));
    QCOMPARE(callEverything(), m_inner->operations);
    m_inner->next = {true, Map{{QStringLiteral("mode"), 3}}, {}};
    Map reply;
    QVERIFY(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply));
    QCOMPARE(reply, (Map{{QStringLiteral("mode"), 3}}));
}

void tst_Filters::aFilterRelaysSignals()
{
    BackendFilter filter(*m_inner);
    setBackend(&filter);
    QSignalSpy changed(HttpProxy::getInstance(), &HttpProxy::deviceChanged);
    QSignalSpy renamed(ScreenInfo::getInstance(), &ScreenInfo::signal_screenNameChanged);
    Q_EMIT m_inner->devicesChanged();
    Q_EMIT m_inner->screenRenamed(key, QStringLiteral("North"));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(renamed.count(), 1);
    QCOMPARE(renamed[0], (QVariantList{key, QStringLiteral("North")}));
}

void tst_Filters::aDryRunKeepsWritesAndLocks()
{
    DryRun dryRun(*m_inner);
    setBackend(&dryRun);
    QStringList passed;
    QStringList held;
    for (const Operation &operation : operations()) {
        if (operation.address != Address::Wall) {
            const bool writes = operation.effect == Effect::Changes || operation.effect == Effect::Locks;
            (writes ? held : passed) += operation.name;
        }
    }
    QVERIFY(held.contains(QStringLiteral("HWInfo::lock")));
    QVERIFY(passed.contains(QStringLiteral("Correctionop::loadCoefficient")));
    callEverything();
    QCOMPARE(m_inner->operations, passed);
    QStringList names;
    for (const Call &call : dryRun.heldBack())
        names += call.operation;
    QCOMPARE(names, held);

    // What is not in the table may change something.
    Call unknown;
    unknown.operation = QStringLiteral("HWInfo::nosuch");
    QVERIFY(dryRun.answer(unknown).result);
    QCOMPARE(dryRun.heldBack().last().operation, unknown.operation);
    QVERIFY(!m_inner->operations.contains(unknown.operation));

    // To the host they look successful; the filter lists the request of each.
    m_inner->next = {false, {}, {}};
    Map reply;
    QVERIFY(HWInfo::getInstance()->lock(key, Map{{QStringLiteral("appids"), List{1}}}, reply));
    QCOMPARE(dryRun.heldBack().last().request, QVariant(Map{{QStringLiteral("appids"), List{1}}}));
    QtPromise::QPromise<bool> promise = Correctionop::getInstance()->uploadCoefficientAsync(key, List{1});
    QVERIFY(promise.isFulfilled());
    bool value = false;
    promise.then([&](bool result) { value = result; }).wait();
    QVERIFY(value);
    List list;
    QVERIFY(!Correctionop::getInstance()->loadCoefficient(key, id, list));
}

void tst_Filters::aTapShowsEveryCallWithItsAnswer()
{
    QVector<Call> seen;
    QElapsedTimer sinceStart;
    sinceStart.start();
    ExchangeTap tap(*m_inner, [&](const Call &call) { seen += call; });
    setBackend(&tap);
    QThread::msleep(2); // calls begin later than the tap
    HttpProxy::getInstance()->initialize(true);
    HttpProxy::getInstance()->getDeviceList();
    m_inner->next = {true, Map{{QStringLiteral("mode"), 3}}, {}};
    Map reply;
    QVERIFY(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply));
    m_inner->next = {
        false, {}, {{QStringLiteral("HttpResponse_StateCode"), QStringLiteral("404")}}, nullptr, QStringLiteral("not here")};
    QMap<QString, QString> headers;
    reply.clear();
    QVERIFY(!ScreenInfo::getInstance()->setCheckerBoardImage(key, Map(), reply, headers));
    QCOMPARE(headers.size(), 1);

    QCOMPARE(seen.size(), 4);
    QCOMPARE(seen[0].operation, QStringLiteral("HttpProxy::initialize"));
    QCOMPARE(seen[0].extra, QVariant(true));
    QCOMPARE(seen[1].operation, QStringLiteral("HttpProxy::getDeviceList"));
    QCOMPARE(seen[1].reply,
             QVariant(List{Map{{QStringLiteral("key"), key}, {QStringLiteral("label"), QStringLiteral("Device A")}}}));
    QVERIFY(seen[1].result);
    QVERIFY(seen[1].deviceKey.isNull());
    QCOMPARE(seen[2].target, id);
    QVERIFY(seen[2].result);
    QCOMPARE(seen[2].reply, QVariant(Map{{QStringLiteral("mode"), 3}}));
    QVERIFY(!seen[3].result);
    QCOMPARE(seen[3].headers, headers);
    QCOMPARE(seen[3].note, QStringLiteral("not here"));
    for (int i = 0; i < seen.size(); ++i) {
        QCOMPARE(seen[i].number, qint64(i + 1));
        QVERIFY(seen[i].settled);
        // Microseconds.
        QVERIFY(seen[i].time >= 2000);
        QVERIFY(seen[i].duration >= 0);
        QVERIFY(seen[i].time + seen[i].duration <= sinceStart.nsecsElapsed() / 1000);
        QVERIFY(i == 0 || seen[i].time >= seen[i - 1].time + seen[i - 1].duration);
    }
}

void tst_Filters::aTapShowsUploadsWhenTheySettle()
{
    QVector<Call> seen;
    ExchangeTap tap(*m_inner, [&](const Call &call) { seen += call; });
    setBackend(&tap);
    auto *const service = Correctionop::getInstance();
    QtPromise::QPromise<bool> refused = service->uploadCoefficientAsync(key, List{1});
    QVERIFY(seen.isEmpty());
    m_inner->settle(false);
    bool value = true;
    int shown = 0;
    refused
        .then([&](bool result) {
            value = result;
            shown = seen.size();
        })
        .wait();
    QVERIFY(!value);
    QCOMPARE(shown, 1);
    QVERIFY(seen[0].settled && !seen[0].result && !seen[0].rejected);
    QCOMPARE(seen[0].request, QVariant(List{1}));

    QtPromise::QPromise<bool> rejected = service->uploadCoefficientAsync(key, List{2});
    m_inner->fail();
    QString reason;
    rejected
        .fail([&](const std::runtime_error &error) {
            reason = QString::fromLatin1(error.what());
            return false;
        })
        .wait();
    QCOMPARE(reason, QStringLiteral("the cable"));
    QCOMPARE(seen.size(), 2);
    QVERIFY(seen[1].rejected && seen[1].settled && !seen[1].result);
    QCOMPARE(seen[1].note, QStringLiteral("the cable"));
}

void tst_Filters::aTapShowsWhatWasThrown()
{
    QVector<Call> seen;
    ExchangeTap tap(*m_inner, [&](const Call &call) { seen += call; });
    setBackend(&tap);
    Map reply;
    m_inner->thrown = std::make_exception_ptr(std::bad_alloc());
    QVERIFY_EXCEPTION_THROWN(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply), std::bad_alloc);
    m_inner->thrown = nullptr;
    m_inner->next = {true, {}, {}, std::make_exception_ptr(std::runtime_error("the plug"))};
    QVERIFY_EXCEPTION_THROWN(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply), std::runtime_error);
    m_inner->thrown = std::make_exception_ptr(7);
    QVERIFY_EXCEPTION_THROWN(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply), int);
    m_inner->thrown = std::make_exception_ptr(std::runtime_error("the cable"));
    QVERIFY_EXCEPTION_THROWN(Correctionop::getInstance()->uploadCoefficientAsync(key, List{1}), std::runtime_error);
    QVERIFY_EXCEPTION_THROWN(HttpProxy::getInstance()->getDeviceList(), std::runtime_error);
    QVERIFY_EXCEPTION_THROWN(HttpProxy::getInstance()->initialize(true), std::runtime_error);
    QCOMPARE(seen.size(), 6);
    for (const Call &call : qAsConst(seen))
        QVERIFY(call.settled && !call.result);
    QCOMPARE(seen[0].note, QStringLiteral("thrown: std::bad_alloc"));
    QCOMPARE(seen[1].note, QStringLiteral("thrown: the plug"));
    QCOMPARE(seen[2].note, QStringLiteral("thrown: unknown exception"));
    QCOMPARE(seen[3].note, QStringLiteral("thrown: the cable"));
    QVERIFY(!seen[3].rejected);
    QCOMPARE(seen[4].operation, QStringLiteral("HttpProxy::getDeviceList"));
    QCOMPARE(seen[4].note, QStringLiteral("thrown: the cable"));
    QCOMPARE(seen[5].operation, QStringLiteral("HttpProxy::initialize"));
    QCOMPARE(seen[5].note, QStringLiteral("thrown: the cable"));

    m_inner->thrown = nullptr;
    m_inner->next = {true, {}, {}, nullptr, QStringLiteral("late")}; // two notes of one call
    Map given{{QStringLiteral("mode"), 1}};
    QVERIFY(Correctionop::getInstance()->getCabinetEffectMode(key, id, given));
    QCOMPARE(seen[6].note, QStringLiteral("the reply was not passed in empty; late"));
}

void tst_Filters::aTapShowsPendingUploadsWhenItStops()
{
    QVector<Call> seen;
    ExchangeTap tap(*m_inner, [&](const Call &call) { seen += call; });
    setBackend(&tap);
    QtPromise::QPromise<bool> promise = Correctionop::getInstance()->uploadCoefficientAsync(key, List{1});
    tap.stop();
    QCOMPARE(seen.size(), 1);
    QVERIFY(!seen[0].settled && !seen[0].result);
    m_inner->settle(true);
    promise.wait();
    QVERIFY(promise.isFulfilled());
    Map reply;
    QVERIFY(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply));
    QCOMPARE(seen.size(), 1);
}

void tst_Filters::aTapIsGoneBeforeAnUploadSettles()
{
    QVector<Call> seen;
    std::optional<ExchangeTap> tap;
    tap.emplace(*m_inner, [&](const Call &call) { seen += call; });
    setBackend(&*tap);
    QtPromise::QPromise<bool> promise = Correctionop::getInstance()->uploadCoefficientAsync(key, List{1});
    tap.reset();
    QCOMPARE(backend(), nullptr);
    m_inner->settle(true);
    promise.wait();
    QVERIFY(promise.isFulfilled());
    QCOMPARE(seen.size(), 1);
    QVERIFY(!seen[0].settled);
}

void tst_Filters::filtersStandInFrontOfEachOther()
{
    QStringList reached;
    ExchangeTap inside(*m_inner, [&](const Call &call) { reached += call.operation; });
    DryRun dryRun(inside);
    QStringList asked;
    ExchangeTap outside(dryRun, [&](const Call &call) { asked += call.operation; });
    setBackend(&outside);
    const QStringList called = callEverything();
    QCoreApplication::processEvents(); // settled promises are shown by the event loop
    QCOMPARE(asked.size(), called.size());
    QCOMPARE(reached, m_inner->operations);
    QCOMPARE(reached.size() + dryRun.heldBack().size(), called.size());
}

void tst_Filters::deepRepliesNeedNoDeepStack_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<bool>("isTapped");
    for (const char *what : {"no reply", "another form", "another type", "an exception", "an upload", "the form"}) {
        QTest::addRow("%s", what) << QString::fromLatin1(what) << false;
        QTest::addRow("%s, observed", what) << QString::fromLatin1(what) << true;
    }
}

/// Whoever drops a reply: the adapter, a tap, the default of an upload.
void tst_Filters::deepRepliesNeedNoDeepStack()
{
    QFETCH(QString, what);
    QFETCH(bool, isTapped);
    TestSupport::LogCapture log("correction.adapter");
    DeepBackend deep;
    int observed = -1;
    ExchangeTap tap(deep, [&](const Call &call) { observed = TestSupport::levelsOf(call.reply); });
    setBackend(isTapped ? static_cast<DeviceBackend *>(&tap) : &deep);
    constexpr int levels = 30000;
    bool result = false;
    int got = 0;
    TestSupport::onSmallStack([&] {
        Map map;
        const auto give = [&](const char *kinds) { deep.deep = TestSupport::nested(levels, QString::fromLatin1(kinds)); };
        if (what == QLatin1String("no reply")) {
            give("lm");
            result = HWInfo::getInstance()->unLock(key, {});
        } else if (what == QLatin1String("another form")) {
            give("ml");
            result = Correctionop::getInstance()->getCabinetEffectMode(key, id, map);
        } else if (what == QLatin1String("another type")) {
            give("h");
            List list;
            result = Correctionop::getInstance()->loadCoefficient(key, id, list);
        } else if (what == QLatin1String("an exception")) {
            give("lm");
            deep.error = std::make_exception_ptr(std::runtime_error("the cable"));
            try {
                Correctionop::getInstance()->getCabinetEffectMode(key, id, map);
            } catch (const std::runtime_error &) {
                result = true;
            }
        } else if (what == QLatin1String("an upload")) {
            give("lm");
            auto promise = Correctionop::getInstance()->uploadCoefficientAsync(key, List{1});
            promise.wait();
            result = promise.isFulfilled();
        } else {
            give("lm");
            result = Correctionop::getInstance()->getCabinetEffectMode(key, id, map);
            QVariant reply;
            reply.setValue(map);
            map.clear();
            got = TestSupport::levelsOf(reply);
            Nesting::release(reply);
        }
    });
    QVERIFY(result);
    QCOMPARE(got, what == QLatin1String("the form") ? levels : 0);
    const bool isObserved = isTapped && what != QLatin1String("an exception") && what != QLatin1String("an upload");
    QCOMPARE(observed, isObserved ? Nesting::deepest : isTapped ? 0 : -1);
    QStringList warnings = log.takeWarning();
    if (isObserved) {
        QVERIFY(!warnings.isEmpty());
        QVERIFY2(warnings.takeFirst().contains(QLatin1String("nested deeper than 100 levels: the rest is not recorded")),
                 "");
    }
    QCOMPARE(warnings.size(), what.startsWith(QLatin1String("another")) ? 1 : 0); // of the reply's type
}

void tst_Filters::observersGetLimitedReplies()
{
    TestSupport::LogCapture log("correction.adapter");
    QVector<Call> calls;
    ExchangeTap tap(*m_inner, [&](const Call &call) { calls += call; });
    setBackend(&tap);
    Map reply;
    for (const int levels : {100, 101}) {
        m_inner->next = {true, TestSupport::nested(levels, QStringLiteral("lm")), {}, nullptr, QStringLiteral("late")};
        QVERIFY(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply));
        QCOMPARE(TestSupport::levelsOf(reply), levels); // the host gets the whole
        reply.clear();
    }
    QCOMPARE(TestSupport::levelsOf(calls.value(0).reply), 100);
    QCOMPARE(calls.value(0).note, QStringLiteral("late"));
    QCOMPARE(TestSupport::levelsOf(calls.value(1).reply), 100);
    QCOMPARE(calls.value(1).note, QStringLiteral("late; the reply is nested deeper than 100 levels: the rest is left out"));
    QCOMPARE(log.takeWarning(),
             QStringList(QStringLiteral("Correctionop::getCabinetEffectMode: device A: reply nested deeper than 100 levels: "
                                        "the rest is not recorded")));
}

void tst_Filters::aRecorderWritesLimitedReplies()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("deep.jsonl"));
    TestSupport::LogCapture log("correction.adapter");
    DeepBackend deep;
    Recorder recorder(deep);
    QString error;
    QVERIFY2(recorder.open(path, error), qPrintable(error));
    setBackend(&recorder);
    bool isWhole = false;
    QList<Call> calls;
    TestSupport::onSmallStack([&] {
        for (const char *kinds : {"lm", "m", "hm", "mlh"}) {
            deep.deep = TestSupport::nested(30000, QString::fromLatin1(kinds));
            HWInfo::getInstance()->unLock(key, {});
        }
        isWhole = recorder.close(error);
        calls = readJournal(path, &error);
    });
    QVERIFY2(isWhole && error.isNull(), qPrintable(error));
    QCOMPARE(calls.size(), 4);
    QCOMPARE(log.takeWarning().size(), 4);
    for (const Call &call : qAsConst(calls))
        QCOMPARE(call.note, QStringLiteral("the reply is nested deeper than 100 levels: the rest is left out"));
    QCOMPARE(TestSupport::levelsOf(calls[0].reply), 100);
    QCOMPARE(TestSupport::levelsOf(calls[1].reply), 100);
}

void tst_Filters::aRecorderWritesAJournal()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("night.jsonl"));
    Recorder recorder(*m_inner);
    setBackend(&recorder);
    Map reply;
    Correctionop::getInstance()->getCabinetEffectMode(key, id, reply); // before the file is open
    QString error;
    QVERIFY2(recorder.open(path, error), qPrintable(error));
    HttpProxy::getInstance()->getDeviceList();
    QtPromise::QPromise<bool> settled = Correctionop::getInstance()->uploadCoefficientAsync(key, List{1});
    m_inner->settle(true);
    m_inner->next = {true, Map{{QStringLiteral("mode"), 3}}, {}};
    QVERIFY(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply));
    settled.wait();
    QtPromise::QPromise<bool> pending = Correctionop::getInstance()->uploadCoefficientAsync(key, List{2});
    QVERIFY2(recorder.close(error), qPrintable(error));
    QVERIFY(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply)); // after it was closed

    const QList<Call> calls = readJournal(path, &error);
    QVERIFY2(error.isNull(), qPrintable(error));
    QCOMPARE(calls.size(), 4);
    QCOMPARE(calls[0].operation, QStringLiteral("HttpProxy::getDeviceList"));
    QCOMPARE(calls[1].request, QVariant(List{1}));
    QVERIFY(calls[1].result && calls[1].settled);
    QCOMPARE(calls[2].reply, QVariant(Map{{QStringLiteral("mode"), 3}}));
    QCOMPARE(calls[3].request, QVariant(List{2}));
    QVERIFY(!calls[3].settled);

    const QString second = folder.filePath(QStringLiteral("second.jsonl"));
    QVERIFY(!recorder.open(second, error));
    QCOMPARE(error, second + QStringLiteral(": a recorder writes one file"));
    QVERIFY(!QFile::exists(second));
}

void tst_Filters::aRecorderSaysWhatIsMissing()
{
    Recorder recorder(*m_inner);
    QString error;
    QVERIFY(!recorder.open(QStringLiteral("/dev/full"), error));
    QVERIFY2(error.contains(QLatin1String("/dev/full")), qPrintable(error));

    // The failure has no effect on the next file; there is none after the end.
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("night.jsonl"));
    const QString second = folder.filePath(QStringLiteral("second.jsonl"));
    setBackend(&recorder);
    QVERIFY2(recorder.open(second, error), qPrintable(error));
    HttpProxy::getInstance()->getDeviceList();
    QVERIFY(recorder.close(error));
    error.clear();
    QCOMPARE(readJournal(second, &error).size(), 1);
    QVERIFY2(error.isNull(), qPrintable(error));
    QVERIFY(!recorder.open(path, error));
    QVERIFY2(error.contains(QLatin1String("one file")), qPrintable(error));

    rlimit before{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, SIG_IGN);
    Recorder limited(*m_inner);
    setBackend(&limited);
    QVERIFY2(limited.open(path, error), qPrintable(error));
    rlimit full = before;
    full.rlim_cur = 300; // bytes: the disk is full in the first line
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
    Map reply;
    Correctionop::getInstance()->setCabinetEffectMode(key, id, Map{{QStringLiteral("type"), QString(400, QLatin1Char('x'))}},
                                                      reply);
    const bool isWhole = limited.close(error);
    setrlimit(RLIMIT_FSIZE, &before);
    QVERIFY(!isWhole);
    QVERIFY2(error.contains(QLatin1String("call 1 and those that ended after it are missing")), qPrintable(error));
    const QList<Call> calls = readJournal(path, &error);
    QVERIFY(calls.isEmpty());
    QVERIFY2(error.isNull(), qPrintable(error));
}

void tst_Filters::aPluginIsLoaded()
{
    for (const QString &configuration : {QStringLiteral("Lobby:left"), QString()}) {
        QString error;
        const QString source =
            QStringLiteral(TEST_PLUGIN) + (configuration.isNull() ? QString() : QLatin1Char(':') + configuration);
        const std::unique_ptr<DeviceBackend> loaded = loadBackend(source, error);
        QVERIFY2(loaded, qPrintable(error));
        setBackend(loaded.get());
        const auto devices = HttpProxy::getInstance()->getDeviceList();
        QCOMPARE(devices.size(), 1);
        QCOMPARE(devices[0].key, QStringLiteral("P"));
        QCOMPARE(devices[0].label, configuration);
    }
}

void tst_Filters::badPluginsAreRefused_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("error");
    QTest::newRow("no file") << QStringLiteral("/no/such/backend.so:x")
                             << QStringLiteral("^/no/such/backend.so:x: no such file$");
    QTest::newRow("empty") << QString() << QStringLiteral("no such file$");
    QTest::newRow("no library") << QStringLiteral(__FILE__) << QStringLiteral("tst_filters.cpp");
    QTest::newRow("no plug-in") << QStringLiteral(ADAPTER_FILE) << QStringLiteral("plugin meta data");
    QTest::newRow("of another kind") << QStringLiteral(OTHER_PLUGIN)
                                     << QStringLiteral("a Qt plug-in, but not of a device backend");
    QTest::newRow("refuses") << QStringLiteral(TEST_PLUGIN ":refuse") << QStringLiteral(": the test asked for this$");
    QTest::newRow("refuses without a reason")
        << QStringLiteral(TEST_PLUGIN ":silent") << QStringLiteral(": it makes no backend$");
    QTest::newRow("throws") << QStringLiteral(TEST_PLUGIN ":throw")
                            << QStringLiteral(": thrown: the test asked for an exception$");
    QTest::newRow("throws a number") << QStringLiteral(TEST_PLUGIN ":throw a number")
                                     << QStringLiteral(": thrown: unknown exception$");
}

void tst_Filters::badPluginsAreRefused()
{
    QFETCH(QString, source);
    QFETCH(QString, error);
    QString text;
    QVERIFY(!loadBackend(source, text));
    QVERIFY2(QRegularExpression(error).match(text).hasMatch(), qPrintable(text));
}

void tst_Filters::aPluginWithoutMemoryThrows()
{
    QString error;
    QVERIFY_EXCEPTION_THROWN(static_cast<void>(loadBackend(QStringLiteral(TEST_PLUGIN ":no memory"), error)),
                             std::bad_alloc);
}

QTEST_GUILESS_MAIN(tst_Filters)

#include "tst_filters.moc"

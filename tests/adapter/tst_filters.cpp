// Backends in front of backends: what reaches the inner one, what the host gets, and what an observer sees.

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
    void initialize(bool enable) override { initialized += enable; }
    QList<DeviceInfo> devices() override { return {{QStringLiteral("A"), QStringLiteral("Device A")}}; }
    Answer answer(const Call &call) override
    {
        operations += call.operation;
        if (thrown)
            std::rethrow_exception(thrown);
        return next;
    }
    QtPromise::QPromise<bool> upload(const Call &call) override
    {
        operations += call.operation;
        if (thrown)
            std::rethrow_exception(thrown);
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
    void aRecorderWritesAJournal();
    void aRecorderSaysWhatIsMissing();
    void aPluginIsLoaded();
    void badPluginsAreRefused_data();
    void badPluginsAreRefused();

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
    ExchangeTap tap(*m_inner, [&](const Call &call) { seen += call; });
    setBackend(&tap);
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
        QVERIFY(seen[i].duration >= 0);
        QVERIFY(i == 0 || seen[i].time >= seen[i - 1].time);
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
    QCOMPARE(seen.size(), 4);
    for (const Call &call : qAsConst(seen))
        QVERIFY(call.settled && !call.result);
    QCOMPARE(seen[0].note, QStringLiteral("thrown: std::bad_alloc"));
    QCOMPARE(seen[1].note, QStringLiteral("thrown: the plug"));
    QCOMPARE(seen[2].note, QStringLiteral("thrown: unknown exception"));
    QCOMPARE(seen[3].note, QStringLiteral("thrown: the cable"));
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
}

void tst_Filters::badPluginsAreRefused()
{
    QFETCH(QString, source);
    QFETCH(QString, error);
    QString text;
    QVERIFY(!loadBackend(source, text));
    QVERIFY2(QRegularExpression(error).match(text).hasMatch(), qPrintable(text));
}

QTEST_GUILESS_MAIN(tst_Filters)

#include "tst_filters.moc"

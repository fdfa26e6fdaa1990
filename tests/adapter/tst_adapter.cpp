// The service's classes over a backend of the test: what arrives there, and what comes back.

#include <adapter/DeviceBackend.h>
#include <adapter/Operations.h>
#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>
#include <support/LogCapture.h>

#include <QtTest/QtTest>

#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

using namespace Adapter;
using Quorvex::Communicator::HttpDevice::HttpProxy;

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

class TestBackend : public DeviceBackend
{
public:
    QList<DeviceInfo> devices() override { return {{QStringLiteral("A"), QStringLiteral("Device A")}}; }
    Answer answer(const Call &call) override
    {
        calls += call;
        return next;
    }
    void initialize(bool enable) override { initialized += enable; }

    QVector<Call> calls;
    QVector<bool> initialized;
    Answer next;
};

const QString key = QStringLiteral("A");
const QString id = QStringLiteral("7");
const QString headersOfCall = QStringLiteral("ScreenInfo::setCheckerBoardImage(responseHeader)");

Map map(const char *name, const QVariant &value)
{
    return {{QString::fromLatin1(name), value}};
}

} // namespace

class tst_Adapter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_lines.emplace("correction.adapter");
        m_backend = std::make_unique<TestBackend>();
        setBackend(m_backend.get());
    }
    void cleanup()
    {
        m_backend.reset();
        m_lines.reset();
    }

    void aCallArrivesWithItsArguments();
    void nullTextsArriveAsEmptyOnes();
    void repliesComeBack();
    void responseHeadersComeBackAlsoAfterFalse();
    void anErrorIsThrown();
    void anUploadIsAnsweredByDefault();
    void discoveryIsTheBackends();
    void withoutABackendEverythingIsFalse();
    void aDeletedBackendRemovesItself();
    void signalsAreRelayed();
    void signalsAreRelayedOnTheirThread();
    void aBackendThatWasReplacedIsSilent();
    void wrongTypesAreWarnedAbout_data();
    void wrongTypesAreWarnedAbout();
    void theTypeOfEachKindOfValueIsNamed();
    void goodRepliesAreNotWarnedAbout_data();
    void goodRepliesAreNotWarnedAbout();

private:
    std::optional<TestSupport::LogCapture> m_lines;
    std::unique_ptr<TestBackend> m_backend;
};

void tst_Adapter::aCallArrivesWithItsArguments()
{
    Map reply;
    Map request = map("cids", List{qulonglong(7)});
    CabinetInfoOperator::getInstance()->clearModuleCoefficient(key, request, reply, 2780);
    ScreenInfo::getInstance()->setBrightness(key, QStringLiteral("255"), map("brightness", 3));
    List list;
    Correctionop::getInstance()->loadCoefficient(key, id, list);
    HWInfo::getInstance()->getHWInfo(key, reply, true);
    CabinetInfoOperator::getInstance()->setCabinetSnflags(key, List{map("id", qulonglong(7))}, reply);
    QCOMPARE(m_backend->calls.size(), 5);

    QCOMPARE(m_backend->calls[0].operation, QStringLiteral("CabinetInfoOperator::clearModuleCoefficient"));
    QCOMPARE(m_backend->calls[0].deviceKey, key);
    QVERIFY(m_backend->calls[0].target.isNull());
    QCOMPARE(m_backend->calls[0].request, QVariant(request));
    QCOMPARE(m_backend->calls[0].extra, QVariant(2780));
    QCOMPARE(m_backend->calls[1].target, QStringLiteral("255"));
    QCOMPARE(m_backend->calls[1].request, QVariant(map("brightness", 3)));
    QVERIFY(!m_backend->calls[1].extra.isValid());
    QCOMPARE(m_backend->calls[2].target, id);
    QVERIFY(!m_backend->calls[2].request.isValid());
    QCOMPARE(m_backend->calls[3].extra, QVariant(true));
    QCOMPARE(m_backend->calls[4].request, QVariant(List{map("id", qulonglong(7))}));
    for (const Call &call : qAsConst(m_backend->calls)) {
        QCOMPARE(call.number, qint64(0)); // only a recording counts them
        QCOMPARE(call.note, QString());
    }
}

void tst_Adapter::nullTextsArriveAsEmptyOnes()
{
    List list;
    Correctionop::getInstance()->loadCoefficient(QString(), QString(), list);
    QVERIFY(!m_backend->calls.first().deviceKey.isNull() && m_backend->calls.first().deviceKey.isEmpty());
    QVERIFY(!m_backend->calls.first().target.isNull() && m_backend->calls.first().target.isEmpty());
}

void tst_Adapter::repliesComeBack()
{
    m_backend->next.reply = map("mode", 4);
    Map reply = map("old", 1);
    QVERIFY(Correctionop::getInstance()->getCabinetEffectMode(key, id, reply));
    QCOMPARE(reply, map("mode", 4));
    QCOMPARE(m_backend->calls.first().note, QStringLiteral("the reply was not passed in empty"));

    m_backend->next = {false, List{1, 2}, {}};
    List list;
    QVERIFY(!Correctionop::getInstance()->loadCoefficient(key, id, list));
    QCOMPARE(list, (List{1, 2})); // a service may fill a reply after false, too

    m_backend->next = {true, QVariant(), {}};
    QVERIFY(Correctionop::getInstance()->loadCoefficient(key, id, list));
    QCOMPARE(list, List());
    QCOMPARE(m_lines->takeWarning(), QStringList());
}

void tst_Adapter::responseHeadersComeBackAlsoAfterFalse()
{
    const QMap<QString, QString> status{{QStringLiteral("HttpResponse_StateCode"), QStringLiteral("404")}};
    m_backend->next = {false, Map(), status};
    Map reply;
    QMap<QString, QString> headers;
    QVERIFY(!ScreenInfo::getInstance()->setCheckerBoardImage(key, Map(), reply, headers));
    QCOMPARE(headers, status);
    QCOMPARE(m_backend->calls.last().operation, headersOfCall);
    QVERIFY(!ScreenInfo::getInstance()->setCheckerBoardImage(key, Map(), reply));
    QCOMPARE(m_backend->calls.last().operation, QStringLiteral("ScreenInfo::setCheckerBoardImage"));
}

void tst_Adapter::anErrorIsThrown()
{
    m_backend->next.error = std::make_exception_ptr(std::runtime_error("broken"));
    Map reply;
    QVERIFY_EXCEPTION_THROWN(HWInfo::getInstance()->lock(key, Map(), reply), std::runtime_error);
}

void tst_Adapter::anUploadIsAnsweredByDefault()
{
    const auto outcome = [] {
        int result = 0; // rejected
        Correctionop::getInstance()
            ->uploadLowGrayCoefficientAsync(key, List{map("cid", qlonglong(7))})
            .then([&result](bool value) { result = value ? 1 : 2; }, [] {})
            .wait();
        return result;
    };
    QCOMPARE(outcome(), 1);
    QCOMPARE(m_backend->calls.first().operation, QStringLiteral("Correctionop::uploadLowGrayCoefficientAsync"));
    m_backend->next.result = false;
    QCOMPARE(outcome(), 2);
    m_backend->next.error = std::make_exception_ptr(std::runtime_error("broken"));
    QCOMPARE(outcome(), 0);
}

void tst_Adapter::discoveryIsTheBackends()
{
    HttpProxy::getInstance()->initialize(true);
    QCOMPARE(m_backend->initialized, QVector<bool>{true});
    const QList<DeviceInfo> devices = HttpProxy::getInstance()->getDeviceList();
    QCOMPARE(devices.size(), 1);
    QCOMPARE(devices.first().key, key);
    QCOMPARE(devices.first().label, QStringLiteral("Device A"));
}

void tst_Adapter::withoutABackendEverythingIsFalse()
{
    setBackend(nullptr);
    QCOMPARE(backend(), nullptr);
    Map reply;
    QVERIFY(!HWInfo::getInstance()->lock(key, Map(), reply));
    QVERIFY(!ScreenInfo::getInstance()->setBrightness(key, QString(), Map()));
    QCOMPARE(HttpProxy::getInstance()->getDeviceList().size(), 0);
    HttpProxy::getInstance()->initialize(true);
    std::optional<bool> uploaded;
    Correctionop::getInstance()
        ->uploadCoefficientAsync(key, List())
        .then([&uploaded](bool value) { uploaded = value; })
        .wait();
    QCOMPARE(uploaded, std::optional<bool>(false));
    QCOMPARE(m_lines->takeCritical(),
             QStringList(QStringLiteral("no device backend is installed: every operation returns false")));
}

void tst_Adapter::aDeletedBackendRemovesItself()
{
    m_backend.reset();
    QCOMPARE(backend(), nullptr);
    Map reply;
    QVERIFY(!HWInfo::getInstance()->lock(key, Map(), reply));
    QCOMPARE(m_lines->takeCritical().size(), 1);
}

void tst_Adapter::signalsAreRelayed()
{
    QSignalSpy changed(HttpProxy::getInstance(), &HttpProxy::deviceChanged);
    QSignalSpy renamed(ScreenInfo::getInstance(), &ScreenInfo::signal_screenNameChanged);
    Q_EMIT m_backend->devicesChanged();
    Q_EMIT m_backend->screenRenamed(key, QStringLiteral("Stage"));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(renamed, QList<QList<QVariant>>{(QList<QVariant>{key, QStringLiteral("Stage")})});
}

void tst_Adapter::signalsAreRelayedOnTheirThread()
{
    QList<std::thread::id> relayed;
    const auto note = [&relayed] { relayed += std::this_thread::get_id(); };
    const QObject context;
    connect(HttpProxy::getInstance(), &HttpProxy::deviceChanged, &context, note, Qt::DirectConnection);
    connect(ScreenInfo::getInstance(), &ScreenInfo::signal_screenNameChanged, &context, note, Qt::DirectConnection);
    std::thread::id other;
    std::thread([&] {
        other = std::this_thread::get_id();
        Q_EMIT m_backend->devicesChanged();
        Q_EMIT m_backend->screenRenamed(key, QStringLiteral("Stage"));
    }).join();
    QCOMPARE(relayed, (QList<std::thread::id>{other, other}));
}

void tst_Adapter::aBackendThatWasReplacedIsSilent()
{
    TestBackend other;
    setBackend(&other);
    QSignalSpy changed(HttpProxy::getInstance(), &HttpProxy::deviceChanged);
    Q_EMIT m_backend->devicesChanged();
    QCOMPARE(changed.size(), 0);
    Q_EMIT other.devicesChanged();
    QCOMPARE(changed.size(), 1);
    Map reply;
    QVERIFY(HWInfo::getInstance()->lock(key, Map(), reply));
    QCOMPARE(other.calls.size(), 1);
    QCOMPARE(m_backend->calls.size(), 0);
}

void tst_Adapter::wrongTypesAreWarnedAbout_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<QString>("place");
    QTest::newRow("no list") << QVariant(map("id", 1)) << QStringLiteral(" is a QVariantMap, not a QVariantList");
    QTest::newRow("an element that is not a map") << QVariant(List{1}) << QStringLiteral("[0] is a int, not a QVariantMap");
    QTest::newRow("a list for a string") << QVariant(List{map("id", QStringLiteral("1")), map("id", List{1})})
                                         << QStringLiteral("[1][\"id\"] is a QVariantList, not a QString");
    QTest::newRow("a word for a number") << QVariant(List{map("recvcardflags", List{map("x", QStringLiteral("left"))})})
                                         << QStringLiteral("[0][\"recvcardflags\"][0][\"x\"] is a QString, not an int");
    QTest::newRow("a string for a list") << QVariant(List{map("recvcardflags", QStringLiteral("none"))})
                                         << QStringLiteral("[0][\"recvcardflags\"] is a QString, not a QVariantList");
    QTest::newRow("a QList<int> for a list") << QVariant(List{map("recvcardflags", QVariant::fromValue(QList<int>{1}))})
                                             << QStringLiteral("[0][\"recvcardflags\"] is a QList<int>, not a QVariantList");
    QTest::newRow("an invalid value") << QVariant(List{map("flag", QVariant())})
                                      << QStringLiteral("[0][\"flag\"] is a invalid QVariant, not a QString");
}

void tst_Adapter::wrongTypesAreWarnedAbout()
{
    QFETCH(QVariant, reply);
    QFETCH(QString, place);
    m_backend->next.reply = reply;
    List list;
    QVERIFY(CabinetInfoOperator::getInstance()->getCabAllFlags(key, list));
    QCOMPARE(m_lines->takeWarning(),
             QStringList(QStringLiteral("CabinetInfoOperator::getCabAllFlags: device A: reply%1").arg(place)));
    QCOMPARE(list, reply.value<List>()); // passed on as it is
}

void tst_Adapter::theTypeOfEachKindOfValueIsNamed()
{
    auto *const service = CabinetInfoOperator::getInstance();
    Map reply;
    List list;
    m_backend->next.reply = map("redGamma", List{1});
    QVERIFY(service->getCabinetGammaCustomValue(key, id, reply));
    m_backend->next.reply = map("config", List{1});
    QVERIFY(service->getConfigFile(key, id, reply));
    m_backend->next.reply = map("brightness.min", QStringLiteral("dark"));
    QVERIFY(service->getCabinetBrightnessRange(key, id, reply));
    m_backend->next.reply = List{map("functionTable", map("xBitPlus", List{1}))};
    QVERIFY(service->getCabinetsBaseInfo(key, list));
    QStringList lines = m_lines->takeWarning();
    for (QString &line : lines)
        line = line.section(QStringLiteral(" is a "), 1);
    QCOMPARE(lines, (QStringList{QStringLiteral("QVariantList, not a QList<int>"),
                                 QStringLiteral("QVariantList, not a QString of base64"),
                                 QStringLiteral("QString, not a uint"), QStringLiteral("QVariantList, not a bool")}));
}

void tst_Adapter::goodRepliesAreNotWarnedAbout_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::newRow("empty") << QVariant(List());
    QTest::newRow("an empty map") << QVariant(List{Map()});
    QTest::newRow("an unknown key") << QVariant(List{map("colour", List{1})});
    QTest::newRow("what converts") << QVariant(
        List{map("recvcardflags", List{map("x", QStringLiteral("-12")), map("y", 3.0), map("width", qlonglong(4))})});
}

void tst_Adapter::goodRepliesAreNotWarnedAbout()
{
    QFETCH(QVariant, reply);
    m_backend->next.reply = reply;
    List list;
    QVERIFY(CabinetInfoOperator::getInstance()->getCabAllFlags(key, list));
    QCOMPARE(m_lines->takeWarning(), QStringList());
    m_backend->next = {false, map("anything", List{1}), {}}; // after false nothing is read
    QVERIFY(!CabinetInfoOperator::getInstance()->getCabAllFlags(key, list));
    QCOMPARE(m_lines->takeWarning(), QStringList());
}

QTEST_GUILESS_MAIN(tst_Adapter)
#include "tst_adapter.moc"

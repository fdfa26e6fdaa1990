#include "CabinetFixture.h"

#include <Correction/CabinetV4.h>
#include <Correction/CabinetsPtr.h>
#include <Correction/CabinetsV4.h>

#include <support/StubCabinet.h>

#include <QtCore/QRegularExpression>

#include <new>
#include <optional>
#include <stdexcept>
#include <type_traits>

using namespace Correction;
using namespace CabinetTests;

static_assert(std::is_abstract<ICabinets>::value, "");
static_assert(!std::has_virtual_destructor<ICabinets>::value, "");
static_assert(sizeof(ICabinets) == sizeof(void *), "");
static_assert(std::is_base_of<ICabinets, CabinetsV4>::value, "");
static_assert(sizeof(CabinetsV4) == sizeof(void *) + sizeof(QList<ICabinet *>), "");

namespace {

using GroupOperation = EnumErrorCode (ICabinets::*)();

struct Row {
    const char *name;
    GroupOperation operation;
    const char *service;
    const char *message;
};

const Row rows[] = {
    {"clearUserCoefficient", &ICabinets::clearUserCoefficient, "clearCabinetsUserCoefficient",
     "save cabinets coefficient timeout!"},
    {"saveUserCoefficient", &ICabinets::saveUserCoefficient, "saveCabinetsCoeffcient", "save cabinets coefficient timeout!"},
    {"saveFactoryCoefficient", &ICabinets::saveFactoryCoefficient, "saveCabinetsFactoryCoefficient",
     "save cabinets factory coefficient timeout!"},
    {"showUserCoefficient", &ICabinets::showUserCoefficient, "showCabinetsCoefficient",
     "show cabinets user coefficient timeout!"},
    {"showFactoryCoefficient", &ICabinets::showFactoryCoefficient, "showCabinetsFactoryCoefficient",
     "show cabinets user coefficient timeout!"},
    {"showModuleCoefficient", &ICabinets::showModuleCoefficient, "showCabinetsModuleCoefficient",
     "show module user coefficient timeout!"},
    {"saveModuleCoefficient", &ICabinets::saveModuleCoefficient, "saveCabinetsModuleCoefficient",
     "show module user coefficient timeout!"},
};

/// A host's own cabinet. A group queries its key and its id only.
class HostCabinet : public TestSupport::StubCabinet
{
public:
    HostCabinet(const char *key, const char *id) : m_key(QString::fromUtf8(key)), m_id(QString::fromUtf8(id)) {}

    QString getID() override { return m_id; }
    QString getDeviceKey() override { return m_key; }

private:
    QString m_key;
    QString m_id;
};

} // namespace

class CabinetsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_log.reset(); }
    void init();
    void cleanup();

    void oneRequestNamesAllCabinetsOfADevice_data() { operations(); }
    void oneRequestNamesAllCabinetsOfADevice();
    void devicesAreAskedInTheOrderOfTheirKeys_data() { operations(); }
    void devicesAreAskedInTheOrderOfTheirKeys();
    void keysAreComparedAsTexts();
    void theFirstFailureStopsTheRound_data() { operations(); }
    void theFirstFailureStopsTheRound();
    void aLaterFailureLeavesTheDevicesBeforeChanged_data() { operations(); }
    void aLaterFailureLeavesTheDevicesBeforeChanged();
    void aServiceThatThrowsHasNotAnswered_data() { operations(); }
    void aServiceThatThrowsHasNotAnswered();
    void exhaustedMemoryPassesThrough_data() { operations(); }
    void exhaustedMemoryPassesThrough();
    void aNullCabinetKeepsAllDevicesOut_data();
    void aNullCabinetKeepsAllDevicesOut();
    void anEmptyGroupAsksNobody_data() { operations(); }
    void anEmptyGroupAsksNobody();
    void theReplyIsNotRead_data() { operations(); }
    void theReplyIsNotRead();
    void idsAreTextsWhateverTheyAre();
    void aCabinetThatIsListedTwiceIsNamedTwice();
    void cabinetsWithoutADescriptionHaveAnEmptyKey();
    void onlyKeysAndIdsAreAskedOfTheCabinets();
    void theGroupCopiesTheList();
    void theGroupOwnsNoCabinet();
    void aGroupIsReleasedThroughItsPointer();
    void theEmptyOperationsSucceed();
    void storesChangeOnTheDevice();

private:
    static void operations();
    static const Row &current();
    EnumErrorCode run(ICabinets &group) const { return (group.*current().operation)(); }
    static QString line(const QString &key, const QStringList &ids);
    /// The critical lines of a failed call: the function's name, then the message.
    void takeFailure();

    std::optional<TestSupport::LogCapture> m_log; // made after the test library has installed its own handler
};

void CabinetsTest::initTestCase()
{
    m_log.emplace();
    showDebugLines();
}

void CabinetsTest::init()
{
    wall().reset();
    m_log->clear();
}

void CabinetsTest::cleanup()
{
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetsTest::operations()
{
    QTest::addColumn<int>("index");
    int index = 0;
    for (const Row &each : rows)
        QTest::newRow(each.name) << index++;
}

const Row &CabinetsTest::current()
{
    const int *const index = static_cast<const int *>(QTest::qData("index", qMetaTypeId<int>()));
    return rows[*index];
}

QString CabinetsTest::line(const QString &key, const QStringList &ids)
{
    QStringList texts;
    for (const QString &id : ids)
        texts += QLatin1Char('"') + id + QLatin1Char('"');
    return QStringLiteral("Correctionop::") + QLatin1String(current().service) + QStringLiteral("(\"") + key
           + QStringLiteral("\", {\"cids\": [") + texts.join(QStringLiteral(", ")) + QStringLiteral("]})");
}

void CabinetsTest::takeFailure()
{
    const QStringList lines = m_log->takeCritical();
    QCOMPARE(lines.size(), 1);
    // What follows the operation's name depends on the compiler.
    const QRegularExpression expected(
        QStringLiteral("^Correction::CabinetsV4::%1\\b.* %2$")
            .arg(QLatin1String(current().name), QRegularExpression::escape(QLatin1String(current().message))));
    QVERIFY2(expected.match(lines.first()).hasMatch(), qPrintable(lines.first()));
}

void CabinetsTest::oneRequestNamesAllCabinetsOfADevice()
{
    HostCabinet third("A", "30");
    HostCabinet first("A", "1");
    HostCabinet second("A", "2");
    QList<ICabinet *> list{&third, &first, &second};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    QCOMPARE(run(group), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(line(QStringLiteral("A"), {QStringLiteral("30"), QStringLiteral("1"), QStringLiteral("2")})));
}

void CabinetsTest::devicesAreAskedInTheOrderOfTheirKeys()
{
    HostCabinet b2("B", "2");
    HostCabinet a9("A", "9");
    HostCabinet c5("C", "5");
    HostCabinet b1("B", "1");
    HostCabinet a3("A", "3");
    QList<ICabinet *> list{&b2, &a9, &c5, &b1, &a3};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    QCOMPARE(run(group), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList({line(QStringLiteral("A"), {QStringLiteral("9"), QStringLiteral("3")}),
                          line(QStringLiteral("B"), {QStringLiteral("2"), QStringLiteral("1")}),
                          line(QStringLiteral("C"), {QStringLiteral("5")})}));
}

void CabinetsTest::keysAreComparedAsTexts()
{
    HostCabinet nine("9", "1");
    HostCabinet ten("10", "2");
    HostCabinet lower("a", "3");
    HostCabinet upper("B", "4");
    HostCabinet none("", "5");
    QList<ICabinet *> list{&nine, &ten, &lower, &upper, &none};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    QCOMPARE(group.showUserCoefficient(), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList({quoted("Correctionop::showCabinetsCoefficient('', {'cids': ['5']})"),
                          quoted("Correctionop::showCabinetsCoefficient('10', {'cids': ['2']})"),
                          quoted("Correctionop::showCabinetsCoefficient('9', {'cids': ['1']})"),
                          quoted("Correctionop::showCabinetsCoefficient('B', {'cids': ['4']})"),
                          quoted("Correctionop::showCabinetsCoefficient('a', {'cids': ['3']})")}));
}

void CabinetsTest::theFirstFailureStopsTheRound()
{
    HostCabinet b("%2", "2");
    HostCabinet a("%1", "1");
    QList<ICabinet *> list{&b, &a};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    wall().scripts().on(QString(), QStringLiteral("%1")).answerFalse();
    QCOMPARE(run(group), enTimeout);
    takeFailure();
    QCOMPARE(wall().journal().transcript(), QStringList(line(QStringLiteral("%1"), {QStringLiteral("1")})));
}

void CabinetsTest::aLaterFailureLeavesTheDevicesBeforeChanged()
{
    HostCabinet c("C", "3");
    HostCabinet b("B", "2");
    HostCabinet a("A", "1");
    QList<ICabinet *> list{&c, &b, &a};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    wall().scripts().on(QString(), QStringLiteral("B")).answerFalse();
    QCOMPARE(run(group), enTimeout);
    takeFailure();
    QCOMPARE(wall().journal().transcript(), QStringList({line(QStringLiteral("A"), {QStringLiteral("1")}),
                                                         line(QStringLiteral("B"), {QStringLiteral("2")})}));
}

void CabinetsTest::aServiceThatThrowsHasNotAnswered()
{
    HostCabinet a("A", "1");
    HostCabinet b("B", "2");
    QList<ICabinet *> list{&a, &b};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).throwException(std::make_exception_ptr(std::runtime_error("no network")));
    QCOMPARE(run(group), enTimeout);
    const QStringList lines = m_log->takeCritical();
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.at(0), QStringLiteral("the device service threw an exception"));
    QVERIFY2(lines.at(1).endsWith(QLatin1Char(' ') + QLatin1String(current().message)), qPrintable(lines.at(1)));
    QCOMPARE(wall().journal().transcript(), QStringList(line(QStringLiteral("A"), {QStringLiteral("1")})));
}

void CabinetsTest::exhaustedMemoryPassesThrough()
{
    HostCabinet a("A", "1");
    QList<ICabinet *> list{&a};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    wall().scripts().on(QString()).times(1).throwException(std::make_exception_ptr(std::bad_alloc()));
    QVERIFY_EXCEPTION_THROWN(run(group), std::bad_alloc);
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(run(group), enSuccess);
}

void CabinetsTest::aNullCabinetKeepsAllDevicesOut_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("place");
    int index = 0;
    for (const Row &each : rows) {
        for (int place : {0, 1, 2})
            QTest::newRow(qPrintable(QStringLiteral("%1, at %2").arg(QLatin1String(each.name)).arg(place)))
                << index << place;
        ++index;
    }
}

void CabinetsTest::aNullCabinetKeepsAllDevicesOut()
{
    QFETCH(int, place);
    HostCabinet a("A", "1");
    HostCabinet b("B", "2");
    QList<ICabinet *> list{&a, &b};
    list.insert(place, nullptr);
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    QCOMPARE(run(group), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(),
             QStringList({QStringLiteral("Correction::CabinetsV4::toDeviceCabinetsMap nullptr == it"),
                          QStringLiteral("Correction::CabinetsV4::send cannot convert to cabinet map!")}));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetsTest::anEmptyGroupAsksNobody()
{
    QList<ICabinet *> list;
    CabinetsV4 group(list);
    QCOMPARE(run(group), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetsTest::theReplyIsNotRead()
{
    HostCabinet a("A", "1");
    HostCabinet b("B", "2");
    QList<ICabinet *> list{&a, &b};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map{{QStringLiteral("code"), 5}, {QStringLiteral("result"), false}});
    QCOMPARE(run(group), enSuccess);
    QCOMPARE(wall().journal().transcript().size(), 2);
}

void CabinetsTest::idsAreTextsWhateverTheyAre()
{
    HostCabinet a("%2 %1", "%1");
    HostCabinet b("%2 %1", "not a number");
    HostCabinet c("%2 %1", "");
    HostCabinet d("%2 %1", "007");
    QList<ICabinet *> list{&a, &b, &c, &d};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    QCOMPARE(group.saveFactoryCoefficient(), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList(quoted("Correctionop::saveCabinetsFactoryCoefficient('%2 %1', "
                                                               "{'cids': ['%1', 'not a number', '', '007']})")));
}

void CabinetsTest::aCabinetThatIsListedTwiceIsNamedTwice()
{
    HostCabinet a("A", "1");
    HostCabinet twin("A", "1");
    QList<ICabinet *> list{&a, &a, &twin};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    QCOMPARE(group.clearUserCoefficient(), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(quoted("Correctionop::clearCabinetsUserCoefficient('A', {'cids': ['1', '1', '1']})")));
}

void CabinetsTest::cabinetsWithoutADescriptionHaveAnEmptyKey()
{
    CabinetV4 described(description().release());
    CabinetV4 bare(nullptr);
    QList<ICabinet *> list{&described, &bare};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    QCOMPARE(group.saveUserCoefficient(), enSuccess);
    const QStringList transcript = wall().journal().transcript();
    QCOMPARE(transcript.size(), 2);
    QVERIFY2(transcript.at(0).contains(quoted("{'cids': ['']}")), qPrintable(transcript.at(0)));
    QCOMPARE(transcript.at(1), quoted("Correctionop::saveCabinetsCoeffcient('A', {'cids': ['12']})"));
}

void CabinetsTest::onlyKeysAndIdsAreAskedOfTheCabinets()
{
    HostCabinet a("A", "1");
    QList<ICabinet *> list{&a};
    CabinetsV4 group(list);
    wall().scripts().on(QString()).answer(Map());
    for (const Row &each : rows)
        QCOMPARE((group.*each.operation)(), enSuccess);
    QCOMPARE(a.otherCalls, 0);
    QCOMPARE(wall().journal().transcript().size(), 7);
}

void CabinetsTest::theGroupCopiesTheList()
{
    HostCabinet a("A", "1");
    HostCabinet b("A", "2");
    QList<ICabinet *> list{&a};
    CabinetsV4 group(list);
    QCOMPARE(list, QList<ICabinet *>{&a});
    list.append(&b);
    list.append(nullptr);
    wall().scripts().on(QString()).answer(Map());
    QCOMPARE(group.saveModuleCoefficient(), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(quoted("Correctionop::saveCabinetsModuleCoefficient('A', {'cids': ['1']})")));
}

void CabinetsTest::theGroupOwnsNoCabinet()
{
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    {
        QList<ICabinet *> list{&cabinet};
        CabinetsV4 group(list);
    }
    QCOMPARE(cabinet.getID(), QStringLiteral("12"));
    QCOMPARE(contentOf(*info), contentOf(*description()));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetsTest::aGroupIsReleasedThroughItsPointer()
{
    // The copied list is released as well: a leak checker would see it.
    HostCabinet a("A", "1");
    QList<ICabinet *> list{&a, &a, &a};
    CabinetsPtr group(new CabinetsV4(list));
    list.clear();
    wall().scripts().on(QString()).answer(Map());
    QCOMPARE(group->showModuleCoefficient(), enSuccess);
    group.reset();
    QCOMPARE(wall().journal().transcript(),
             QStringList(quoted("Correctionop::showCabinetsModuleCoefficient('A', {'cids': ['1', '1', '1']})")));
}

void CabinetsTest::theEmptyOperationsSucceed()
{
    HostCabinet a("A", "1");
    QList<ICabinet *> one{&a};
    QList<ICabinet *> none;
    QList<ICabinet *> null{nullptr};
    // A list of an abstract class can be made, but its destructor cannot be: an empty one owns nothing.
    alignas(QList<ICabinetCoefficient>) unsigned char storage[sizeof(QList<ICabinetCoefficient>)];
    auto &coefficients = *new (storage) QList<ICabinetCoefficient>;
    for (QList<ICabinet *> *list : {&one, &none, &null}) {
        CabinetsV4 group(*list);
        QCOMPARE(group.setAvgCoefficient(coefficients), enSuccess);
        QCOMPARE(group.getAvgCoeffcient(coefficients), enSuccess);
        QVERIFY(coefficients.isEmpty());
        QCOMPARE(group.setMutiCabinetSolid(), enSuccess);
    }
    QCOMPARE(a.otherCalls, 0);
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetsTest::storesChangeOnTheDevice()
{
    const QString key = QStringLiteral("A");
    const QString id = QStringLiteral("12");
    wall().setDevices({Simulator::gridDevice(key, QPoint(0, 0), 1, 1, QSize(1, 1), 12)});
    const QVector<quint16> values{1, 2, 3, 4, 5, 6, 7, 8, 9};
    const QVector<quint16> zeros(9, 0);
    QVERIFY(wall().state().setChroma(key, id, values));
    CabinetV4 cabinet(description().release());
    QList<ICabinet *> list{&cabinet};
    CabinetsV4 group(list);

    QCOMPARE(group.saveUserCoefficient(), enSuccess);
    QCOMPARE(wall().state().chroma(key, id, Simulator::Store::User), values);
    QCOMPARE(group.saveFactoryCoefficient(), enSuccess);
    QCOMPARE(wall().state().chroma(key, id, Simulator::Store::Factory), values);
    QCOMPARE(group.saveModuleCoefficient(), enSuccess);
    QCOMPARE(wall().state().chroma(key, id, Simulator::Store::Module), values);
    QCOMPARE(group.clearUserCoefficient(), enSuccess);
    QCOMPARE(wall().state().chroma(key, id, Simulator::Store::User), zeros);
    QCOMPARE(group.showFactoryCoefficient(), enSuccess);
    QCOMPARE(wall().state().shown(key, id), Simulator::Store::Factory);
    QCOMPARE(wall().state().chroma(key, id), values);
    QCOMPARE(group.showModuleCoefficient(), enSuccess);
    QCOMPARE(wall().state().shown(key, id), Simulator::Store::Module);
    QCOMPARE(group.showUserCoefficient(), enSuccess);
    QCOMPARE(wall().state().chroma(key, id), zeros);
    QCOMPARE(wall().journal().notes(), QStringList());
}

QTEST_GUILESS_MAIN(CabinetsTest)
#include "tst_cabinets.moc"

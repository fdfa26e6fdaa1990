#include "support/LogCapture.h"

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/CabinetsPtr.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtTest/QTest>

#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

using namespace Correction;
using TestSupport::LogCapture;

using Registered = QMap<QString, ICabinet *>;

namespace {

// Compile-time facts: removal can run no destructor, and a registry is its map and nothing else.
static_assert(!std::has_virtual_destructor<ICabinet>::value, "");
static_assert(!std::is_polymorphic<CabinetManager>::value && sizeof(CabinetManager) == sizeof(Registered), "");
static_assert(std::is_default_constructible<CabinetManager>::value, "");
static_assert(std::is_copy_constructible<CabinetManager>::value && std::is_copy_assignable<CabinetManager>::value, "");
static_assert(std::is_move_constructible<CabinetManager>::value && std::is_move_assignable<CabinetManager>::value, "");
static_assert(std::is_destructible<CabinetManager>::value, "");

constexpr int mostWatched = 4;
void *watched[mostWatched] = {}; ///< objects whose storage a test watches
int releases[mostWatched] = {};  ///< indexes into `watched`, in the order in which their storage went
int releaseCount = 0;

void watch(void *object)
{
    for (void *&place : watched) {
        if (!place) {
            place = object;
            return;
        }
    }
    QFAIL("no place to watch another object");
}

void forgetWatched()
{
    for (void *&place : watched)
        place = nullptr;
    releaseCount = 0;
}

void release(void *object) noexcept
{
    for (int i = 0; object && i < mostWatched; ++i) {
        if (watched[i] == object) {
            watched[i] = nullptr;
            releases[releaseCount++] = i;
        }
    }
    std::free(object);
}

} // namespace

// Every deallocation of the program passes here.
void *operator new(std::size_t size)
{
    if (void *const storage = std::malloc(size ? size : 1))
        return storage;
    throw std::bad_alloc();
}
void operator delete(void *object) noexcept
{
    release(object);
}
void operator delete(void *object, std::size_t) noexcept
{
    release(object);
}

namespace Reach {

/// The registry's own map: its interface lets no null in, so that the lines for one are reached only past it.
Registered &registered(CabinetManager &manager);

template <auto Member>
struct Opened {
    friend Registered &registered(CabinetManager &manager) { return manager.*Member; }
};
template struct Opened<&CabinetManager::m_cabinets>;

} // namespace Reach

namespace {

/// A base class in front of the cabinet in a host's object, so that the interface is not the object's first part.
class HostPart
{
public:
    virtual ~HostPart() = default;
    quint64 state[3] = {1, 2, 3};
};

/// A cabinet of the host's own. It holds nothing that only its destructor would release.
class HostCabinet final : public HostPart, public ICabinet
{
public:
    explicit HostCabinet(const char *flag = "", EnumErrorCode code = enSuccess, const char *id = "",
                         const char *deviceKey = "")
        : m_flag(flag), m_code(code), m_id(id), m_deviceKey(deviceKey)
    {
    }
    ~HostCabinet() override { ++destroyed; }

    EnumErrorCode getFlag(QString &flag) override
    {
        flag = QString::fromLatin1(m_flag);
        return m_code;
    }
    QString getID() override { return QString::fromLatin1(m_id); }
    QString getDeviceKey() override { return QString::fromLatin1(m_deviceKey); }

    EnumErrorCode GetCabinetInfo(CabinetInfo &) override { return enSuccess; }
    EnumErrorCode tryGetCoefficients(ICoefficient &) override { return enSuccess; }
    EnumErrorCode setCoefficients(const QPoint &, ICoefficient &) override { return enSuccess; }
    EnumErrorCode saveParameter(EnumSaveType) override { return enSuccess; }
    EnumErrorCode applyCoeffcient(EnumCoefficientType) override { return enSuccess; }
    EnumErrorCode setEffectMode(EnumEffectMode) override { return enSuccess; }
    EnumErrorCode setBrightness(int) override { return enSuccess; }
    EnumErrorCode getGammaTable(QMap<EnumGammaType, QList<int>> &) override { return enSuccess; }
    EnumErrorCode setGammaTable(const QMap<EnumGammaType, QList<int>> &) override { return enSuccess; }
    EnumErrorCode getBrightnessRange(BrightnessRange &) override { return enSuccess; }
    EnumErrorCode getConfigFile(const QString &) override { return enSuccess; }
    EnumErrorCode setConfigFile(const QString &) override { return enSuccess; }
    EnumErrorCode setFlag(const QString &) override { return enSuccess; }
    EnumErrorCode tryGetEffectMode(EnumEffectMode &) override { return enSuccess; }
    EnumErrorCode getFlashCheckInfo(QList<RxCardFlashCheckInfo> &) override { return enSuccess; }
    EnumErrorCode setCabinetflags(const QString &) override { return enSuccess; }
    EnumErrorCode setModuleflags(QList<CabinetsModuleFlag> &) override { return enSuccess; }
    EnumErrorCode clearModuleCoefficient(int) override { return enSuccess; }
    EnumErrorCode saveModuleCoefficient(int) override { return enSuccess; }
    EnumErrorCode reloadModuleCoefficient(int) override { return enSuccess; }
    QList<ModuleInfo *> getCabAllFlags() override { return {}; }
    EnumErrorCode IsSupportFlash() override { return enSuccess; }
    EnumErrorCode getCabinetSupport(CabinetBaseInfo &) override { return enSuccess; }

    static int destroyed;

private:
    const char *m_flag;
    EnumErrorCode m_code;
    const char *m_id;
    const char *m_deviceKey;
};

int HostCabinet::destroyed = 0;

/// A record that the test keeps: the registry never releases one.
std::unique_ptr<CabinetInfo> record(const QString &id, const QString &flag, const QString &deviceKey)
{
    auto info = std::make_unique<CabinetInfo>();
    info->id = id;
    info->flag = flag;
    info->deviceKey = deviceKey;
    return info;
}

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

} // namespace

class tst_CabinetManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_log.emplace(); }
    void cleanupTestCase() { m_log.reset(); }
    void init()
    {
        m_wall.reset();
        m_log->clear();
        forgetWatched();
        HostCabinet::destroyed = 0;
    }
    void cleanup()
    {
        CabinetManager::getInstance()->removeCabinets();
        VERIFY_NO_CRITICAL(*m_log);
    }

    void theInstanceStaysTheSame();
    void aNewRegistryIsEmpty();
    void anAddedCabinetIsFound();
    void nullIsNotStored();
    void aSecondCabinetOfAnIdIsNeitherStoredNorReleased();
    void removalReleasesTheStorageAloneOfAForeignCabinet();
    void removalLeavesTheRecordOfACabinet();
    void removalOfAnUnknownIdIsFalse();
    void removalOfAllGoesFromTheFirstToTheLast();
    void anEntryWithoutCabinetIsErased();
    void theDestructorLeavesTheCabinets();
    void copiesShareTheCabinets();
    void movesTakeTheCabinets();
    void assignmentDropsTheOldEntriesUnreleased();
    void aGroupHoldsTheCabinetsInTheOrderOfTheIds();
    void aGroupDoesNotOwnItsCabinets();
    void anEmptyListGivesAnEmptyGroup();
    void anUnknownIdGivesNoGroup_data();
    void anUnknownIdGivesNoGroup();
    void theMappingHoldsEveryFlag();
    void theMappingOfAnEmptyRegistryLeavesTheMap();
    void theMappingStopsAtTheFirstFailure_data();
    void theMappingStopsAtTheFirstFailure();
    void theMappingStopsAtAnEntryWithoutCabinet();

private:
    Simulator::VirtualWall &m_wall = Simulator::VirtualWall::instance();
    std::optional<LogCapture> m_log; // made after the test library has installed its own handler
};

void tst_CabinetManager::theInstanceStaysTheSame()
{
    CabinetManager *const instance = CabinetManager::getInstance();
    QVERIFY(instance);
    instance->addCabinet(QStringLiteral("1"), new HostCabinet);
    QCOMPARE(CabinetManager::getInstance(), instance);
    QVERIFY(CabinetManager::getInstance()->tryGetCabinet(QStringLiteral("1")));
}

void tst_CabinetManager::aNewRegistryIsEmpty()
{
    CabinetManager registry;
    QVERIFY(!registry.tryGetCabinet(QString()));
    QVERIFY(Reach::registered(registry).isEmpty());
    registry.removeCabinets();
    QVERIFY(Reach::registered(registry).isEmpty());
}

void tst_CabinetManager::anAddedCabinetIsFound()
{
    CabinetManager registry;
    ICabinet *const first = new HostCabinet;
    ICabinet *const second = new HostCabinet;
    QVERIFY(registry.addCabinet(QStringLiteral("1"), first));
    QVERIFY(registry.addCabinet(QString(), second)); // any text is an id
    QCOMPARE(registry.tryGetCabinet(QStringLiteral("1")), first);
    QCOMPARE(registry.tryGetCabinet(QString()), second);
    QVERIFY(!registry.tryGetCabinet(QStringLiteral("01")));
    registry.removeCabinets();
}

void tst_CabinetManager::nullIsNotStored()
{
    CabinetManager registry;
    QVERIFY(!registry.addCabinet(QStringLiteral("1"), nullptr));
    QVERIFY(Reach::registered(registry).isEmpty());
    ICabinet *const cabinet = new HostCabinet;
    QVERIFY(registry.addCabinet(QStringLiteral("1"), cabinet));
    QVERIFY(!registry.addCabinet(QStringLiteral("1"), nullptr));
    QCOMPARE(registry.tryGetCabinet(QStringLiteral("1")), cabinet);
    registry.removeCabinets();
}

void tst_CabinetManager::aSecondCabinetOfAnIdIsNeitherStoredNorReleased()
{
    CabinetManager registry;
    const auto first = new HostCabinet;
    const auto second = std::make_unique<HostCabinet>();
    watch(first);
    watch(second.get());
    QVERIFY(registry.addCabinet(QStringLiteral("1"), first));
    QVERIFY(!registry.addCabinet(QStringLiteral("1"), second.get()));
    QVERIFY(!registry.addCabinet(QStringLiteral("1"), first));
    QCOMPARE(registry.tryGetCabinet(QStringLiteral("1")), static_cast<ICabinet *>(first));
    QCOMPARE(Reach::registered(registry).size(), 1);
    QCOMPARE(releaseCount, 0);
    QCOMPARE(HostCabinet::destroyed, 0);

    // The entry is free again once it is removed.
    QVERIFY(registry.removeCabinet(QStringLiteral("1")));
    QVERIFY(registry.addCabinet(QStringLiteral("1"), second.get()));
    QCOMPARE(registry.tryGetCabinet(QStringLiteral("1")), static_cast<ICabinet *>(second.get()));
    Reach::registered(registry).clear();
}

void tst_CabinetManager::removalReleasesTheStorageAloneOfAForeignCabinet()
{
    CabinetManager registry;
    const auto cabinet = new HostCabinet;
    QVERIFY(static_cast<void *>(static_cast<ICabinet *>(cabinet)) != static_cast<void *>(cabinet));
    watch(cabinet);
    registry.addCabinet(QStringLiteral("1"), cabinet);
    QVERIFY(registry.removeCabinet(QStringLiteral("1")));
    QCOMPARE(releaseCount, 1);
    QCOMPARE(HostCabinet::destroyed, 0);
    QVERIFY(!registry.tryGetCabinet(QStringLiteral("1")));
    QVERIFY(!registry.removeCabinet(QStringLiteral("1")));
}

void tst_CabinetManager::removalLeavesTheRecordOfACabinet()
{
    CabinetManager registry;
    const auto info = record(QStringLiteral("1"), QStringLiteral("flag"), QStringLiteral("A"));
    info->moduleList.append(new ModuleInfo);
    const auto cabinet = new CabinetV4(info.get());
    watch(cabinet);
    watch(info.get());
    registry.addCabinet(QStringLiteral("1"), cabinet);
    QVERIFY(registry.removeCabinet(QStringLiteral("1")));
    QCOMPARE(releaseCount, 1);
    QCOMPARE(releases[0], 0);
    QCOMPARE(info->flag, QStringLiteral("flag"));
    QCOMPARE(info->moduleList.size(), 1);
}

void tst_CabinetManager::removalOfAnUnknownIdIsFalse()
{
    CabinetManager registry;
    QVERIFY(!registry.removeCabinet(QStringLiteral("1")));
    registry.addCabinet(QStringLiteral("1"), new HostCabinet);
    QVERIFY(!registry.removeCabinet(QStringLiteral("2")));
    QCOMPARE(Reach::registered(registry).size(), 1);
    registry.removeCabinets();
}

void tst_CabinetManager::removalOfAllGoesFromTheFirstToTheLast()
{
    CabinetManager registry;
    for (const char *id : {"2", "10", "9"}) { // as texts: "10" < "2" < "9"
        const auto cabinet = new HostCabinet;
        watch(cabinet);
        registry.addCabinet(text(id), cabinet);
    }
    registry.removeCabinets();
    QCOMPARE(releaseCount, 3);
    QCOMPARE(releases[0], 1);
    QCOMPARE(releases[1], 0);
    QCOMPARE(releases[2], 2);
    QCOMPARE(HostCabinet::destroyed, 0);
    QVERIFY(Reach::registered(registry).isEmpty());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void tst_CabinetManager::anEntryWithoutCabinetIsErased()
{
    CabinetManager registry;
    Reach::registered(registry).insert(QStringLiteral("1"), nullptr);
    Reach::registered(registry).insert(QStringLiteral("2"), nullptr);
    QVERIFY(registry.removeCabinet(QStringLiteral("1")));
    QCOMPARE(Reach::registered(registry).size(), 1);
    registry.removeCabinets();
    QVERIFY(Reach::registered(registry).isEmpty());
}

void tst_CabinetManager::theDestructorLeavesTheCabinets()
{
    const auto cabinet = std::make_unique<HostCabinet>();
    watch(cabinet.get());
    {
        CabinetManager registry;
        registry.addCabinet(QStringLiteral("1"), cabinet.get());
    }
    QCOMPARE(releaseCount, 0);
    QCOMPARE(HostCabinet::destroyed, 0);
}

void tst_CabinetManager::copiesShareTheCabinets()
{
    CabinetManager registry;
    const auto cabinet = new HostCabinet;
    const auto other = new HostCabinet;
    watch(cabinet);
    registry.addCabinet(QStringLiteral("1"), cabinet);
    {
        CabinetManager copy(registry);
        CabinetManager assigned;
        assigned = copy;
        QCOMPARE(copy.tryGetCabinet(QStringLiteral("1")), static_cast<ICabinet *>(cabinet));
        QCOMPARE(assigned.tryGetCabinet(QStringLiteral("1")), static_cast<ICabinet *>(cabinet));

        // The map is copied: the others do not get what is added to one.
        QVERIFY(copy.addCabinet(QStringLiteral("2"), other));
        QVERIFY(!registry.tryGetCabinet(QStringLiteral("2")));
        QVERIFY(!assigned.tryGetCabinet(QStringLiteral("2")));
        QVERIFY(copy.removeCabinet(QStringLiteral("2")));
    }
    QCOMPARE(releaseCount, 0);
    QCOMPARE(registry.tryGetCabinet(QStringLiteral("1")), static_cast<ICabinet *>(cabinet));
    registry.removeCabinets();
    QCOMPARE(releaseCount, 1);
}

void tst_CabinetManager::movesTakeTheCabinets()
{
    CabinetManager registry;
    const auto cabinet = new HostCabinet;
    watch(cabinet);
    registry.addCabinet(QStringLiteral("1"), cabinet);
    CabinetManager moved(std::move(registry));
    QCOMPARE(moved.tryGetCabinet(QStringLiteral("1")), static_cast<ICabinet *>(cabinet));
    CabinetManager assigned;
    assigned = std::move(moved);
    QCOMPARE(assigned.tryGetCabinet(QStringLiteral("1")), static_cast<ICabinet *>(cabinet));
    QCOMPARE(releaseCount, 0);
    assigned.removeCabinets();
    QCOMPARE(releaseCount, 1);
}

void tst_CabinetManager::assignmentDropsTheOldEntriesUnreleased()
{
    const auto cabinet = std::make_unique<HostCabinet>();
    watch(cabinet.get());
    CabinetManager registry;
    registry.addCabinet(QStringLiteral("1"), cabinet.get());
    registry = CabinetManager();
    QVERIFY(!registry.tryGetCabinet(QStringLiteral("1")));
    registry.addCabinet(QStringLiteral("1"), cabinet.get());
    const CabinetManager empty;
    registry = empty;
    QVERIFY(!registry.tryGetCabinet(QStringLiteral("1")));
    QCOMPARE(releaseCount, 0);
}

void tst_CabinetManager::aGroupHoldsTheCabinetsInTheOrderOfTheIds()
{
    m_wall.scripts().on(QStringLiteral("Correctionop::saveCabinetsCoeffcient")).answer(QVariantMap());
    CabinetManager registry;
    registry.addCabinet(QStringLiteral("1"), new HostCabinet("", enSuccess, "1", "A"));
    registry.addCabinet(QStringLiteral("2"), new HostCabinet("", enSuccess, "2", "B"));
    registry.addCabinet(QStringLiteral("3"), new HostCabinet("", enSuccess, "3", "A"));
    const CabinetsPtr group(
        registry.tryGetCabinets({QStringLiteral("3"), QStringLiteral("2"), QStringLiteral("1"), QStringLiteral("3")}));
    QVERIFY(group);
    QCOMPARE(group->saveUserCoefficient(), enSuccess);
    QCOMPARE(m_wall.journal().transcript(),
             QStringList({QStringLiteral(R"(Correctionop::saveCabinetsCoeffcient("A", {"cids": ["3", "1", "3"]}))"),
                          QStringLiteral(R"(Correctionop::saveCabinetsCoeffcient("B", {"cids": ["2"]}))")}));
    registry.removeCabinets();
}

void tst_CabinetManager::aGroupDoesNotOwnItsCabinets()
{
    CabinetManager registry;
    const auto cabinet = new HostCabinet("x");
    watch(cabinet);
    registry.addCabinet(QStringLiteral("1"), cabinet);
    CabinetsPtr group(registry.tryGetCabinets({QStringLiteral("1")}));
    const CabinetsPtr another(registry.tryGetCabinets({QStringLiteral("1")}));
    QVERIFY(group && another && group != another);
    group.reset();
    QCOMPARE(releaseCount, 0);
    QCOMPARE(HostCabinet::destroyed, 0);
    QCOMPARE(registry.tryGetCabinet(QStringLiteral("1")), static_cast<ICabinet *>(cabinet));
    registry.removeCabinets();
}

void tst_CabinetManager::anEmptyListGivesAnEmptyGroup()
{
    CabinetManager registry;
    const CabinetsPtr group(registry.tryGetCabinets({}));
    QVERIFY(group);
    QCOMPARE(group->clearUserCoefficient(), enSuccess);
    QCOMPARE(m_wall.journal().transcript(), QStringList());
}

void tst_CabinetManager::anUnknownIdGivesNoGroup_data()
{
    QTest::addColumn<QStringList>("ids");
    QTest::addColumn<QString>("line");

    QTest::newRow("only that one") << QStringList{text("7")} << text("cannot find cabinet by id: \"7\"");
    QTest::newRow("among known ones") << QStringList{text("1"), text("7"), text("2")}
                                      << text("cannot find cabinet by id: \"7\"");
    QTest::newRow("the first of two is reported alone")
        << QStringList{text("1"), text("8"), text("7")} << text("cannot find cabinet by id: \"8\"");
    QTest::newRow("an empty id") << QStringList{QString()} << text("cannot find cabinet by id: \"\"");
    QTest::newRow("an id with a placeholder") << QStringList{text("%1")} << text("cannot find cabinet by id: \"%1\"");
}

void tst_CabinetManager::anUnknownIdGivesNoGroup()
{
    QFETCH(const QStringList, ids);
    QFETCH(const QString, line);

    CabinetManager registry;
    registry.addCabinet(QStringLiteral("1"), new HostCabinet);
    registry.addCabinet(QStringLiteral("2"), new HostCabinet);
    const CabinetsPtr group(registry.tryGetCabinets(ids));
    QVERIFY(!group);
    QCOMPARE(m_log->takeCritical(), QStringList{line});
    registry.removeCabinets();
}

void tst_CabinetManager::theMappingHoldsEveryFlag()
{
    CabinetManager registry;
    const auto info = record(QStringLiteral("2"), QStringLiteral("two"), QStringLiteral("A"));
    registry.addCabinet(QStringLiteral("1"), new HostCabinet("one"));
    registry.addCabinet(QStringLiteral("2"), new CabinetV4(info.get()));
    registry.addCabinet(QStringLiteral("3"), new HostCabinet(""));
    QMap<QString, QString> mapping{{QStringLiteral("0"), QStringLiteral("stays")},
                                   {QStringLiteral("1"), QStringLiteral("is replaced")}};
    QVERIFY(registry.getMapping(mapping));
    QCOMPARE(mapping,
             (QMap<QString, QString>{
                 {text("0"), text("stays")}, {text("1"), text("one")}, {text("2"), text("two")}, {text("3"), QString()}}));
    QCOMPARE(m_wall.journal().transcript(), QStringList());
    registry.removeCabinets();
}

void tst_CabinetManager::theMappingOfAnEmptyRegistryLeavesTheMap()
{
    CabinetManager registry;
    const QMap<QString, QString> before{{QStringLiteral("1"), QStringLiteral("one")}};
    QMap<QString, QString> mapping = before;
    QVERIFY(registry.getMapping(mapping));
    QCOMPARE(mapping, before);
}

void tst_CabinetManager::theMappingStopsAtTheFirstFailure_data()
{
    QTest::addColumn<int>("code");

    for (const int code : {1, 3, 5, 7, -1, 1000})
        QTest::newRow(qPrintable(QStringLiteral("code %1").arg(code))) << code;
}

void tst_CabinetManager::theMappingStopsAtTheFirstFailure()
{
    QFETCH(const int, code);

    CabinetManager registry;
    registry.addCabinet(QStringLiteral("10"), new HostCabinet("ten"));
    registry.addCabinet(QStringLiteral("2%1"), new HostCabinet("is not taken", EnumErrorCode(code)));
    registry.addCabinet(QStringLiteral("3"), new HostCabinet("is not reached"));
    registry.addCabinet(QStringLiteral("4"), new CabinetV4(nullptr));
    QMap<QString, QString> mapping;
    QVERIFY(!registry.getMapping(mapping));
    QCOMPARE(mapping, (QMap<QString, QString>{{text("10"), text("ten")}}));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Cabinet info object is null. cid: 2%1")});

    registry.removeCabinet(QStringLiteral("2%1"));
    QVERIFY(!registry.getMapping(mapping));
    QCOMPARE(mapping, (QMap<QString, QString>{{text("10"), text("ten")}, {text("3"), text("is not reached")}}));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Cabinet info object is null. cid: 4")});
    registry.removeCabinets();
}

void tst_CabinetManager::theMappingStopsAtAnEntryWithoutCabinet()
{
    CabinetManager registry;
    registry.addCabinet(QStringLiteral("1"), new HostCabinet("one"));
    Reach::registered(registry).insert(QStringLiteral("2"), nullptr);
    registry.addCabinet(QStringLiteral("3"), new HostCabinet("three"));
    QMap<QString, QString> mapping;
    QVERIFY(!registry.getMapping(mapping));
    QCOMPARE(mapping, (QMap<QString, QString>{{text("1"), text("one")}}));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Cabinet object is null. cid: 2")});
    registry.removeCabinets();
}

QTEST_GUILESS_MAIN(tst_CabinetManager)

#include "tst_cabinetmanager.moc"

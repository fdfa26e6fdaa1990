#include "support/LogCapture.h"

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/SubScreenV4.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>
#include <QtTest/QTest>

#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <vector>

using namespace Correction;
using TestSupport::LogCapture;

using Operation = std::function<EnumErrorCode(ISubScreen &)>;
using Headers = QMap<QString, QString>;
using CabinetMap = QMap<QString, QString>;

Q_DECLARE_METATYPE(Operation)

namespace Reach {

/// The sub-screen's own map: nothing in its interface gives the flags back.
const CabinetMap &cabinets(const SubScreenV4 &subScreen);

template <auto Member>
struct Opened {
    friend const CabinetMap &cabinets(const SubScreenV4 &subScreen) { return subScreen.*Member; }
};
template struct Opened<&SubScreenV4::m_cabinets>;

} // namespace Reach

namespace {

constexpr int notRegistered = -1000; ///< In a list of cabinets' codes: an id that the registry does not hold.

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

/// A cabinet of the host's own: returns one code and records the call. It writes to the caller's output whatever
/// its code is. It holds nothing that only its destructor would release.
class HostCabinet final : public CabinetV4
{
public:
    HostCabinet(int number, EnumErrorCode code) : CabinetV4(nullptr), m_number(number), m_code(code) {}

    EnumErrorCode GetCabinetInfo(CabinetInfo &info) override
    {
        note("info");
        fresh = fresh && info.id.isEmpty() && info.flag.isNull() && info.deviceKey.isEmpty() && info.rect.isNull()
                && info.rvCardList.isEmpty() && info.moduleList.isEmpty();
        info.id = QString::number(m_number);
        info.flag = QStringLiteral("flag");
        info.deviceKey = QStringLiteral("host");
        info.rect = rect();
        info.moduleList.append(new ModuleInfo);
        info.moduleList.last()->id = QStringLiteral("module");
        return m_code;
    }
    EnumErrorCode getBrightnessRange(BrightnessRange &range) override
    {
        note("range");
        range.min = quint32(m_number);
        range.max = quint32(m_number + 100);
        range.defaultValue = quint32(m_number + 50);
        return m_code;
    }
    EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) override
    {
        note("mode");
        mode = EnumEffectMode(m_number);
        return m_code;
    }

    QRect rect() const { return QRect(10 * m_number, -m_number, 10, 20 + m_number); }

    static bool fresh;
    static QStringList asked;

private:
    void note(const char *what) { asked.append(text(what) + QLatin1Char(' ') + QString::number(m_number)); }

    int m_number;
    EnumErrorCode m_code;
};

bool HostCabinet::fresh = true;
QStringList HostCabinet::asked;

QList<int> curve(std::initializer_list<int> values)
{
    return QList<int>(values);
}

std::exception_ptr serviceError()
{
    return std::make_exception_ptr(std::runtime_error("the connection broke"));
}

} // namespace

class tst_SubScreenParameters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_log.emplace(); }
    void cleanupTestCase() { m_log.reset(); }
    void init()
    {
        m_wall.reset();
        m_wall.setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(100, 50), 2, 1, QSize(8, 4))});
        m_log->clear();
        HostCabinet::fresh = true;
        HostCabinet::asked.clear();
    }
    void cleanup()
    {
        CabinetManager::getInstance()->removeCabinets();
        m_records.clear();
        VERIFY_NO_CRITICAL(*m_log);
    }

    // Cabinets of the sub-screen
    void aNewSubScreenHasNoCabinets();
    void aKnownCabinetKeepsItsFirstFlag();
    void removalTellsWhetherThereWasACabinet();
    void removalOfAllClears();
    void theDestructorSaysSo();

    // One request for the whole device
    void anOperationSendsOneRequest_data() { operations(); }
    void anOperationSendsOneRequest();
    void aRefusedOperationSaysSo_data() { operations(); }
    void aRefusedOperationSaysSo();
    void aBrokenServiceIsARefusal_data() { operations(); }
    void aBrokenServiceIsARefusal();
    void exhaustedMemoryPassesThrough_data() { operations(); }
    void exhaustedMemoryPassesThrough();
    void anyValueTravelsUnchanged_data();
    void anyValueTravelsUnchanged();
    void aDeviceKeyWithPlaceholdersIsPrintedAsItIs();
    void theWallTakesTheSettings();

    // Cabinet ids in requests
    void idsTravelAsNumbersInTheOrderOfTheirTexts_data() { idOperations(); }
    void idsTravelAsNumbersInTheOrderOfTheirTexts();
    void noCabinetsGiveAnEmptyList_data() { idOperations(); }
    void noCabinetsGiveAnEmptyList();
    void anIdThatIsNoDecimalNumberIsZero_data();
    void anIdThatIsNoDecimalNumberIsZero();

    // Kinds
    void anUnknownKindIsNotSent_data();
    void anUnknownKindIsNotSent();
    void layersAreNeeded();

    // Gamma
    void gammaTablesAreRead();
    void gammaEntriesAreConverted();
    void aGammaReplyMayLackAnything();
    void aFailedGammaReadLeavesTheTable();
    void onlyTheHighestGammaChannelIsSent_data();
    void onlyTheHighestGammaChannelIsSent();

    // One cabinet after the other
    void theFirstAnswerWins_data();
    void theFirstAnswerWins();
    void theCabinetsOfTheLibraryAreAskedForTheirRange();
    void theCabinetsOfTheLibraryAreAskedForTheirMode();
    void everyCabinetIsVisited_data();
    void everyCabinetIsVisited();
    void theRectangleIsUnitedWithTheCallersOne();
    void theRectangleNeedsNoDevice();
    void hugeRectanglesAreHarmless();
    void theDescriptionsAreAppended();
    void aCabinetWithoutDescriptionIsReported();

    // Features
    void theFeatureTablesAreAppended();
    void aFeatureReplyMayLackAnything_data();
    void aFeatureReplyMayLackAnything();
    void aFailedFeatureReadLeavesTheList();
    void theCheckerboardQuestionIsAnswered_data();
    void theCheckerboardQuestionIsAnswered();
    void theWallAnswersTheCheckerboardQuestion();
    void aBrokenServiceHasNoCheckerboard();

private:
    static void operations();
    static void idOperations();

    /// Registers host cabinets with the ids "1", "2", ... and puts them on the sub-screen.
    static void addHostCabinets(ISubScreen &subScreen, const QList<int> &codes)
    {
        for (int i = 0; i < codes.size(); ++i) {
            const QString id = QString::number(i + 1);
            if (codes[i] != notRegistered)
                CabinetManager::getInstance()->addCabinet(id, new HostCabinet(i + 1, EnumErrorCode(codes[i])));
            subScreen.addCabinet(id, QString());
        }
    }
    /// Registers a cabinet of device A with a record of the given place, and puts it on the sub-screen.
    CabinetInfo *addCabinet(ISubScreen &subScreen, const QString &id, const QRect &rect = QRect())
    {
        m_records.push_back(std::make_unique<CabinetInfo>());
        CabinetInfo *const info = m_records.back().get();
        info->id = id;
        info->flag = QStringLiteral("flag of ") + id;
        info->deviceKey = QStringLiteral("A");
        info->rect = rect;
        CabinetManager::getInstance()->addCabinet(id, new CabinetV4(info));
        subScreen.addCabinet(id, info->flag);
        return info;
    }

    Simulator::VirtualWall &m_wall = Simulator::VirtualWall::instance();
    std::optional<LogCapture> m_log;                     // made after the test library has installed its own handler
    std::vector<std::unique_ptr<CabinetInfo>> m_records; // the registry releases a cabinet without its record
};

// Cabinets of the sub-screen

void tst_SubScreenParameters::aNewSubScreenHasNoCabinets()
{
    const SubScreenV4 subScreen(QStringLiteral("A"));
    QVERIFY(Reach::cabinets(subScreen).isEmpty());
    QCOMPARE(m_wall.journal().transcript(), QStringList());
}

void tst_SubScreenParameters::aKnownCabinetKeepsItsFirstFlag()
{
    SubScreenV4 subScreen(QStringLiteral("A"));
    QVERIFY(subScreen.addCabinet(QStringLiteral("1"), QStringLiteral("first")));
    QVERIFY(!subScreen.addCabinet(QStringLiteral("1"), QStringLiteral("second")));
    QVERIFY(subScreen.addCabinet(QStringLiteral("01"), QStringLiteral("another id")));
    QVERIFY(subScreen.addCabinet(QString(), QString()));
    QVERIFY(!subScreen.addCabinet(QStringLiteral(""), QStringLiteral("x")));
    QCOMPARE(Reach::cabinets(subScreen),
             (CabinetMap{{text("1"), text("first")}, {text("01"), text("another id")}, {QString(), QString()}}));
}

void tst_SubScreenParameters::removalTellsWhetherThereWasACabinet()
{
    SubScreenV4 subScreen(QStringLiteral("A"));
    QVERIFY(!subScreen.removeCabinet(QStringLiteral("1")));
    subScreen.addCabinet(QStringLiteral("1"), QStringLiteral("first"));
    subScreen.addCabinet(QStringLiteral("2"), QStringLiteral("second"));
    QVERIFY(subScreen.removeCabinet(QStringLiteral("1")));
    QVERIFY(!subScreen.removeCabinet(QStringLiteral("1")));
    QCOMPARE(Reach::cabinets(subScreen), (CabinetMap{{text("2"), text("second")}}));
    QVERIFY(subScreen.addCabinet(QStringLiteral("1"), QStringLiteral("third")));
    QCOMPARE(Reach::cabinets(subScreen).value(QStringLiteral("1")), QStringLiteral("third"));
}

void tst_SubScreenParameters::removalOfAllClears()
{
    SubScreenV4 subScreen(QStringLiteral("A"));
    addHostCabinets(subScreen, {0, 0});
    subScreen.removeCabinets();
    QVERIFY(Reach::cabinets(subScreen).isEmpty());
    subScreen.removeCabinets();
    QVERIFY(CabinetManager::getInstance()->tryGetCabinet(QStringLiteral("1"))); // the registry keeps them
}

void tst_SubScreenParameters::theDestructorSaysSo()
{
    std::unique_ptr<ISubScreen> subScreen = std::make_unique<SubScreenV4>(QStringLiteral("A"));
    QCOMPARE(m_log->takeDebug(), QStringList());
    addHostCabinets(*subScreen, {0});
    subScreen.reset();
    QCOMPARE(m_log->takeDebug(), QStringList{QStringLiteral("SubScreenV4")});
    QVERIFY(CabinetManager::getInstance()->tryGetCabinet(QStringLiteral("1")));
}

// One request for the whole device

/// Every operation that is one call, with cabinets "1" and "2" on device A.
void tst_SubScreenParameters::operations()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("call");    // the whole transcript
    QTest::addColumn<QString>("message"); // when the device refuses
    QTest::addColumn<int>("codeWhenRefused");

    const auto row = [](const char *name, const Operation &operation, const char *call, const char *message,
                        int code = enTimeout) { QTest::newRow(name) << operation << text(call) << text(message) << code; };

    row(
        "ABL on", [](ISubScreen &s) { return s.setABLEnable(true); },
        R"(Correctionop::setScreenABLEnable("A", "255", {"enable": bool true}))", "setABLEnable timeout. device:A");
    row(
        "ABL off", [](ISubScreen &s) { return s.setABLEnable(false); },
        R"(Correctionop::setScreenABLEnable("A", "255", {"enable": bool false}))", "setABLEnable timeout. device:A");
    row(
        "x-bit on", [](ISubScreen &s) { return s.setXBit(EnumXBitMode(3), true); },
        R"(Correctionop::setScreenXBit("A", "255", {"mode": int 3, "xbitEnable": bool true}))", "setXBit timeout. device:A");
    row(
        "x-bit off", [](ISubScreen &s) { return s.setXBit(EnumXBitMode(0), false); },
        R"(Correctionop::setScreenXBit("A", "255", {"mode": int 0, "xbitEnable": bool false}))",
        "setXBit timeout. device:A");
    row(
        "lock", [](ISubScreen &s) { return s.lock(); }, R"(HWInfo::lock("A", {"appids": ["MireloA"]}))",
        "lock timeout. device:A");
    row(
        "unlock", [](ISubScreen &s) { return s.unLock(); }, R"(HWInfo::unLock("A", {}))", "unlock timeout. device:A");
    row(
        "effect mode", [](ISubScreen &s) { return s.setEffectMode(EnumEffectMode(2)); },
        R"(Correctionop::setScreenEffectMode("A", "255", {"mode": int 2}))", "setBrightness timeout. device:A");
    row(
        "brightness", [](ISubScreen &s) { return s.setBrightness(4711); },
        R"(ScreenInfo::setBrightness("A", "255", {"brightness": int 4711}))", "setBrightness timeout. device:A");
    row(
        "gamma",
        [](ISubScreen &s) {
            return s.setGammaTable({{enBlueGamma, curve({3, 1, 2})}});
        },
        R"(ScreenInfo::setGammaTable("A", "255", {"gammaTable": QList<int> [3, 1, 2], "type": int 2}))",
        "setBrightness timeout. device:A");
    row(
        "reading gamma",
        [](ISubScreen &s) {
            QMap<EnumGammaType, QList<int>> table;
            return s.getGammaTable(table);
        },
        R"(ScreenInfo::getGammaAllList("A", "0"))", "getGammaTable timeout. device:A");
    row(
        "multilayer parameter",
        [](ISubScreen &s) {
            MultilayerParam param;
            param.inLayer1 = 1;
            param.inLayer2 = 22;
            param.inLayer3 = 333;
            param.inLayer4 = 4444;
            param.inVldBitLayer01 = 5;
            param.inVldBitLayer12 = 6;
            param.inVldBitLayer23 = 7;
            param.inVldBitLayer34 = 8;
            return s.setMultilayerParameter(param);
        },
        R"(Correctionop::setCabinetsMultilayerParameter("A", {"cids": [qlonglong 1, qlonglong 2], "param": )"
        R"({"inLayer1": uint 1, "inLayer2": uint 22, "inLayer3": uint 333, "inLayer4": uint 4444, )"
        R"("inVldBitLayer01": int 5, "inVldBitLayer12": int 6, "inVldBitLayer23": int 7, "inVldBitLayer34": int 8}}))",
        "setCabinetsMultilayerParameter timeout. device:A");
    row(
        "multilayer layers",
        [](ISubScreen &s) {
            MultilayerParamV2 param;
            param.params.resize(2);
            param.params[0].inLayer = 9;
            param.params[0].inVldBitLayer = 1;
            param.params[1].inLayer = 8;
            param.params[1].inVldBitLayer = 2;
            return s.setMultilayerParameterV2(param);
        },
        R"(Correctionop::setCabinetsMultilayerParameterV2("A", {"cids": [qlonglong 1, qlonglong 2], )"
        R"("multilayerParams": [{"inLayer": uint 9, "inVldBitLayer": int 1}, )"
        R"({"inLayer": uint 8, "inVldBitLayer": int 2}]}))",
        "setCabinetsMultilayerParameterV2 timeout. device:A");
    row(
        "solid", [](ISubScreen &s) { return s.setMutiCabinetSolid(enSaveLowgrayCoefficient); },
        R"(Correctionop::setMutiCabinetSolid("A", {"idList": [qlonglong 1, qlonglong 2], )"
        R"("type": Correction::EnumSaveType 2}))",
        "setMutiCabinetSolid timeout. device:A");
    row(
        "saving chroma", [](ISubScreen &s) { return s.saveParameter(enSaveCommonCoefficient); },
        R"(Correctionop::saveCabinetsCoeffcient("A", {"cids": [qlonglong 1, qlonglong 2]}))",
        "saveCabinetsCoeffcient timeout. device:A");
    row(
        "saving multilayer", [](ISubScreen &s) { return s.saveParameter(enSaveMultilayerCoefficient); },
        R"(Correctionop::saveCabinetsMultilayerCoeffcient("A", {"cids": [qlonglong 1, qlonglong 2]}))",
        "saveCabinetsMultilayerCoeffcient timeout. device:A");
    row(
        "saving low-gray", [](ISubScreen &s) { return s.saveParameter(enSaveLowgrayCoefficient); },
        R"(Correctionop::saveCabinetsLowgrayCoeffcient("A", {"cids": [qlonglong 1, qlonglong 2]}))",
        "saveCabinetsLowgrayCoeffcient timeout. device:A");
    row(
        "applying low-gray", [](ISubScreen &s) { return s.applyCoeffcient(enLowgrayCoefficient); },
        R"(Correctionop::applyCabinetsLowgrayCoeffcient("A", {"cids": [qlonglong 1, qlonglong 2]}))",
        "applyCabinetsLowgrayCoeffcient timeout. device:A");
    row(
        "clearing chroma", [](ISubScreen &s) { return s.clearCoefficient(enCommonCoefficient); },
        R"(Correctionop::clearCabinetsUserCoefficient("A", {"cids": [qlonglong 1, qlonglong 2]}))",
        "clearCabinetsCoeffcient timeout. device:A");
    row(
        "clearing multilayer, which is never reported",
        [](ISubScreen &s) { return s.clearCoefficient(enMultilayerCoefficient); },
        R"(Correctionop::clearCabinetsMultilayerCoefficient("A", {"cids": [qlonglong 1, qlonglong 2]}))",
        "clearCabinetsMultilayerCoeffcient timeout. device:A", enSuccess);
    row(
        "clearing low-gray", [](ISubScreen &s) { return s.clearCoefficient(enLowgrayCoefficient); },
        R"(Correctionop::clearCabinetsLowgrayCoefficient("A", {"cids": [qlonglong 1, qlonglong 2]}))",
        "clearCabinetsLowgrayCoefficient timeout. device:A");
    row(
        "feature tables",
        [](ISubScreen &s) {
            QVector<CabinetBaseInfo> list;
            return s.getScreenSupport(list);
        },
        R"(CabinetInfoOperator::getCabinetsBaseInfo("A"))", "call getScreenSupport() fail. timeout. device:A");
}

void tst_SubScreenParameters::anOperationSendsOneRequest()
{
    QFETCH(const Operation, operation);
    QFETCH(const QString, call);

    SubScreenV4 subScreen(QStringLiteral("A"));
    subScreen.addCabinet(QStringLiteral("2"), QStringLiteral("flags do not travel"));
    subScreen.addCabinet(QStringLiteral("1"), QString());
    QCOMPARE(operation(subScreen), enSuccess);
    QCOMPARE(m_wall.journal().transcript(), QStringList{call});
    QCOMPARE(m_wall.journal().notes(), QStringList()); // a device would take it
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void tst_SubScreenParameters::aRefusedOperationSaysSo()
{
    QFETCH(const Operation, operation);
    QFETCH(const QString, call);
    QFETCH(const QString, message);
    QFETCH(const int, codeWhenRefused);

    m_wall.scripts().on(QString()).answerFalse();
    SubScreenV4 subScreen(QStringLiteral("A"));
    subScreen.addCabinet(QStringLiteral("1"), QString());
    subScreen.addCabinet(QStringLiteral("2"), QString());
    QCOMPARE(int(operation(subScreen)), codeWhenRefused);
    QCOMPARE(m_log->takeCritical(), QStringList{message});
    QCOMPARE(m_wall.journal().transcript(), QStringList{call}); // no second try
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void tst_SubScreenParameters::aBrokenServiceIsARefusal()
{
    QFETCH(const Operation, operation);
    QFETCH(const QString, message);
    QFETCH(const int, codeWhenRefused);

    m_wall.scripts().on(QString()).throwException(serviceError());
    SubScreenV4 subScreen(QStringLiteral("A"));
    QCOMPARE(int(operation(subScreen)), codeWhenRefused);
    const QStringList lines = m_log->takeCritical();
    QCOMPARE(lines.size(), 2); // the exception, and the operation's own line
    QCOMPARE(lines.last(), message);
}

void tst_SubScreenParameters::exhaustedMemoryPassesThrough()
{
    QFETCH(const Operation, operation);
    QFETCH(const QString, call);

    m_wall.scripts().on(QString()).throwException(std::make_exception_ptr(std::bad_alloc())).times(1);
    SubScreenV4 subScreen(QStringLiteral("A"));
    subScreen.addCabinet(QStringLiteral("1"), QString());
    subScreen.addCabinet(QStringLiteral("2"), QString());
    QVERIFY_EXCEPTION_THROWN(operation(subScreen), std::bad_alloc);
    QCOMPARE(operation(subScreen), enSuccess); // the sub-screen is as it was
    QCOMPARE(m_wall.journal().transcript(), QStringList({call, call}));
}

void tst_SubScreenParameters::anyValueTravelsUnchanged_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("call");

    const auto row = [](const char *name, const Operation &operation, const char *call) {
        QTest::newRow(name) << operation << text(call);
    };
    row(
        "a negative x-bit mode", [](ISubScreen &s) { return s.setXBit(EnumXBitMode(-7), true); },
        R"(Correctionop::setScreenXBit("A", "255", {"mode": int -7, "xbitEnable": bool true}))");
    row(
        "a huge effect mode", [](ISubScreen &s) { return s.setEffectMode(EnumEffectMode(std::numeric_limits<int>::max())); },
        R"(Correctionop::setScreenEffectMode("A", "255", {"mode": int 2147483647}))");
    row(
        "the least brightness", [](ISubScreen &s) { return s.setBrightness(std::numeric_limits<int>::min()); },
        R"(ScreenInfo::setBrightness("A", "255", {"brightness": int -2147483648}))");
    row(
        "an unknown solid kind", [](ISubScreen &s) { return s.setMutiCabinetSolid(EnumSaveType(-3)); },
        R"(Correctionop::setMutiCabinetSolid("A", {"idList": [], "type": Correction::EnumSaveType -3}))");
    row(
        "solid chroma", [](ISubScreen &s) { return s.setMutiCabinetSolid(enSaveCommonCoefficient); },
        R"(Correctionop::setMutiCabinetSolid("A", {"idList": [], "type": Correction::EnumSaveType 0}))");
    row(
        "the greatest multilayer values",
        [](ISubScreen &s) {
            MultilayerParam param;
            param.inLayer1 = param.inLayer2 = param.inLayer3 = param.inLayer4 = 0xffffffffU;
            param.inVldBitLayer01 = param.inVldBitLayer12 = param.inVldBitLayer23 = param.inVldBitLayer34 = 255;
            return s.setMultilayerParameter(param);
        },
        R"(Correctionop::setCabinetsMultilayerParameter("A", {"cids": [], "param": {"inLayer1": uint 4294967295, )"
        R"("inLayer2": uint 4294967295, "inLayer3": uint 4294967295, "inLayer4": uint 4294967295, )"
        R"("inVldBitLayer01": int 255, "inVldBitLayer12": int 255, "inVldBitLayer23": int 255, )"
        R"("inVldBitLayer34": int 255}}))");
    row(
        "untouched multilayer values", [](ISubScreen &s) { return s.setMultilayerParameter(MultilayerParam()); },
        R"(Correctionop::setCabinetsMultilayerParameter("A", {"cids": [], "param": {"inLayer1": uint 0, )"
        R"("inLayer2": uint 0, "inLayer3": uint 0, "inLayer4": uint 0, "inVldBitLayer01": int 0, )"
        R"("inVldBitLayer12": int 0, "inVldBitLayer23": int 0, "inVldBitLayer34": int 0}}))");
    row(
        "one layer with the greatest values",
        [](ISubScreen &s) {
            MultilayerParamV2 param;
            param.params.resize(1);
            param.params[0].inLayer = 0xffffffffU;
            param.params[0].inVldBitLayer = 255;
            return s.setMultilayerParameterV2(param);
        },
        R"(Correctionop::setCabinetsMultilayerParameterV2("A", {"cids": [], "multilayerParams": )"
        R"([{"inLayer": uint 4294967295, "inVldBitLayer": int 255}]}))");
}

void tst_SubScreenParameters::anyValueTravelsUnchanged()
{
    QFETCH(const Operation, operation);
    QFETCH(const QString, call);

    m_wall.scripts().on(QString()).answer(QVariantMap());
    SubScreenV4 subScreen(QStringLiteral("A"));
    QCOMPARE(operation(subScreen), enSuccess);
    QCOMPARE(m_wall.journal().transcript(), QStringList{call});
}

void tst_SubScreenParameters::aDeviceKeyWithPlaceholdersIsPrintedAsItIs()
{
    SubScreenV4 subScreen(QStringLiteral("%2 %1"));
    QCOMPARE(subScreen.lock(), enTimeout); // no such device
    QCOMPARE(m_wall.journal().transcript(),
             QStringList{QStringLiteral(R"(HWInfo::lock("%2 %1", {"appids": ["Mirelo%2 %1"]}))")});
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("lock timeout. device:%2 %1")});

    subScreen.addCabinet(QStringLiteral("%1"), QString());
    QRect rect;
    QCOMPARE(subScreen.tryGetRect(rect), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Connot find cabinet by id. deviceKey: %2 %1 cid: %1")});

    SubScreenV4 nameless((QString()));
    QCOMPARE(nameless.unLock(), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("unlock timeout. device:")});
}

void tst_SubScreenParameters::theWallTakesTheSettings()
{
    const QString a = QStringLiteral("A");
    SubScreenV4 subScreen(a);
    QCOMPARE(subScreen.lock(), enSuccess);
    QCOMPARE(m_wall.state().lockOwner(a), QStringLiteral("MireloA"));
    QCOMPARE(subScreen.unLock(), enSuccess);
    QCOMPARE(m_wall.state().lockOwner(a), QString());
    QCOMPARE(subScreen.setXBit(EnumXBitMode(2), true), enSuccess);
    QCOMPARE(m_wall.state().settings(a).xBitMode, 2);
    QVERIFY(m_wall.state().settings(a).isXBitEnabled);
    QCOMPARE(subScreen.setABLEnable(true), enSuccess);
    QVERIFY(m_wall.state().settings(a).isAblEnabled);
    QCOMPARE(subScreen.setBrightness(123), enSuccess);
    QCOMPARE(m_wall.state().brightness(a, QStringLiteral("2")), 123);
    QCOMPARE(subScreen.setEffectMode(EnumEffectMode(6)), enSuccess);
    QCOMPARE(m_wall.state().effectMode(a, QStringLiteral("1")), 6);
}

// Cabinet ids in requests

/// Every operation whose request names the cabinets; "%1" is replaced by their list.
void tst_SubScreenParameters::idOperations()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("call");

    const auto row = [](const char *name, const Operation &operation, const char *call) {
        QTest::newRow(name) << operation << text(call);
    };
    row(
        "saving chroma", [](ISubScreen &s) { return s.saveParameter(enSaveCommonCoefficient); },
        R"(Correctionop::saveCabinetsCoeffcient("A", {"cids": %1}))");
    row(
        "saving multilayer", [](ISubScreen &s) { return s.saveParameter(enSaveMultilayerCoefficient); },
        R"(Correctionop::saveCabinetsMultilayerCoeffcient("A", {"cids": %1}))");
    row(
        "saving low-gray", [](ISubScreen &s) { return s.saveParameter(enSaveLowgrayCoefficient); },
        R"(Correctionop::saveCabinetsLowgrayCoeffcient("A", {"cids": %1}))");
    row(
        "applying low-gray", [](ISubScreen &s) { return s.applyCoeffcient(enLowgrayCoefficient); },
        R"(Correctionop::applyCabinetsLowgrayCoeffcient("A", {"cids": %1}))");
    row(
        "clearing chroma", [](ISubScreen &s) { return s.clearCoefficient(enCommonCoefficient); },
        R"(Correctionop::clearCabinetsUserCoefficient("A", {"cids": %1}))");
    row(
        "clearing multilayer", [](ISubScreen &s) { return s.clearCoefficient(enMultilayerCoefficient); },
        R"(Correctionop::clearCabinetsMultilayerCoefficient("A", {"cids": %1}))");
    row(
        "clearing low-gray", [](ISubScreen &s) { return s.clearCoefficient(enLowgrayCoefficient); },
        R"(Correctionop::clearCabinetsLowgrayCoefficient("A", {"cids": %1}))");
    row(
        "solid", [](ISubScreen &s) { return s.setMutiCabinetSolid(enSaveMultilayerCoefficient); },
        R"(Correctionop::setMutiCabinetSolid("A", {"idList": %1, "type": Correction::EnumSaveType 1}))");
    row(
        "multilayer layers",
        [](ISubScreen &s) {
            MultilayerParamV2 param;
            param.params.resize(1);
            return s.setMultilayerParameterV2(param);
        },
        R"(Correctionop::setCabinetsMultilayerParameterV2("A", {"cids": %1, "multilayerParams": )"
        R"([{"inLayer": uint 0, "inVldBitLayer": int 0}]}))");
    row(
        "multilayer parameter", [](ISubScreen &s) { return s.setMultilayerParameter(MultilayerParam()); },
        R"(Correctionop::setCabinetsMultilayerParameter("A", {"cids": %1, "param": {"inLayer1": uint 0, )"
        R"("inLayer2": uint 0, "inLayer3": uint 0, "inLayer4": uint 0, "inVldBitLayer01": int 0, )"
        R"("inVldBitLayer12": int 0, "inVldBitLayer23": int 0, "inVldBitLayer34": int 0}}))");
}

void tst_SubScreenParameters::idsTravelAsNumbersInTheOrderOfTheirTexts()
{
    QFETCH(const Operation, operation);
    QFETCH(const QString, call);

    m_wall.scripts().on(QString()).answer(QVariantMap());
    SubScreenV4 subScreen(QStringLiteral("A"));
    for (const char *id : {"2", "9223372036854775807", "10", "-5", "12a", "9"})
        subScreen.addCabinet(text(id), QString());
    QCOMPARE(operation(subScreen), enSuccess);
    const QString ids = QStringLiteral("[qlonglong -5, qlonglong 10, qlonglong 0, qlonglong 2, qlonglong 9, "
                                       "qlonglong 9223372036854775807]");
    QCOMPARE(m_wall.journal().transcript(), QStringList{call.arg(ids)});
}

void tst_SubScreenParameters::noCabinetsGiveAnEmptyList()
{
    QFETCH(const Operation, operation);
    QFETCH(const QString, call);

    SubScreenV4 subScreen(QStringLiteral("A"));
    QCOMPARE(operation(subScreen), enSuccess);
    QCOMPARE(m_wall.journal().transcript(), QStringList{call.arg(QStringLiteral("[]"))});
    QCOMPARE(m_wall.journal().notes(), QStringList());
}

void tst_SubScreenParameters::anIdThatIsNoDecimalNumberIsZero_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("number");

    const auto row = [](const char *name, const char *id, const char *number) {
        QTest::newRow(name) << text(id) << text(number);
    };
    row("a letter at the end", "12a", "0");
    row("nothing", "", "0");
    row("a fraction", "1.0", "0");
    row("an exponent", "1e3", "0");
    row("a hexadecimal number", "0x10", "0");
    row("a group separator", "1,000", "0");
    row("too large by one", "9223372036854775808", "0");
    row("too small by one", "-9223372036854775809", "0");
    row("the least", "-9223372036854775808", "-9223372036854775808");
    row("leading zeros", "007", "7");
    row("more than 32 bits", "4294967297", "4294967297");
}

void tst_SubScreenParameters::anIdThatIsNoDecimalNumberIsZero()
{
    QFETCH(const QString, id);
    QFETCH(const QString, number);

    m_wall.scripts().on(QString()).answer(QVariantMap());
    SubScreenV4 subScreen(QStringLiteral("A"));
    subScreen.addCabinet(id, QString());
    QCOMPARE(subScreen.saveParameter(enSaveCommonCoefficient), enSuccess);
    QCOMPARE(
        m_wall.journal().transcript(),
        QStringList{QStringLiteral(R"(Correctionop::saveCabinetsCoeffcient("A", {"cids": [qlonglong %1]}))").arg(number)});
}

// Kinds

void tst_SubScreenParameters::anUnknownKindIsNotSent_data()
{
    QTest::addColumn<Operation>("operation");

    const auto row = [](const char *name, const Operation &operation) { QTest::newRow(name) << operation; };
    row("saving kind 3", [](ISubScreen &s) { return s.saveParameter(EnumSaveType(3)); });
    row("saving kind -1", [](ISubScreen &s) { return s.saveParameter(EnumSaveType(-1)); });
    row("saving a huge kind", [](ISubScreen &s) { return s.saveParameter(EnumSaveType(0x7fffffff)); });
    row("applying chroma", [](ISubScreen &s) { return s.applyCoeffcient(enCommonCoefficient); });
    row("applying multilayer", [](ISubScreen &s) { return s.applyCoeffcient(enMultilayerCoefficient); });
    row("applying kind 3", [](ISubScreen &s) { return s.applyCoeffcient(EnumCoefficientType(3)); });
    row("applying kind -2", [](ISubScreen &s) { return s.applyCoeffcient(EnumCoefficientType(-2)); });
    row("clearing kind 3", [](ISubScreen &s) { return s.clearCoefficient(EnumCoefficientType(3)); });
    row("clearing kind -1", [](ISubScreen &s) { return s.clearCoefficient(EnumCoefficientType(-1)); });
}

void tst_SubScreenParameters::anUnknownKindIsNotSent()
{
    QFETCH(const Operation, operation);

    SubScreenV4 subScreen(QStringLiteral("A"));
    subScreen.addCabinet(QStringLiteral("1"), QString());
    QCOMPARE(operation(subScreen), enNotSupported);
    QCOMPARE(m_wall.journal().transcript(), QStringList());
}

void tst_SubScreenParameters::layersAreNeeded()
{
    SubScreenV4 subScreen(QStringLiteral("A"));
    subScreen.addCabinet(QStringLiteral("1"), QString());
    QCOMPARE(subScreen.setMultilayerParameterV2(MultilayerParamV2()), enArgumentMismatch);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("calll setMultilayerParameterV2 param.length() <=0 ")});
    QCOMPARE(m_wall.journal().transcript(), QStringList());
}

// Gamma

void tst_SubScreenParameters::gammaTablesAreRead()
{
    const QString a = QStringLiteral("A");
    m_wall.state().setGamma(a, Simulator::Channel::Red, {1, 2, 3});
    m_wall.state().setGamma(a, Simulator::Channel::Green, {4});
    m_wall.state().setGamma(a, Simulator::Channel::Blue, {-5, 65535});
    SubScreenV4 subScreen(a);
    QMap<EnumGammaType, QList<int>> table{{enGreenGamma, curve({9, 9, 9})}, {EnumGammaType(7), curve({7})}};
    QCOMPARE(subScreen.getGammaTable(table), enSuccess);
    QCOMPARE(table, (QMap<EnumGammaType, QList<int>>{{enRedGamma, curve({1, 2, 3})},
                                                     {enGreenGamma, curve({4})},
                                                     {enBlueGamma, curve({-5, 65535})},
                                                     {EnumGammaType(7), curve({7})}}));
    QCOMPARE(m_wall.journal().transcript(), QStringList{QStringLiteral(R"(ScreenInfo::getGammaAllList("A", "0"))")});
    QCOMPARE(m_wall.journal().notes(), QStringList());

    QMultiMap<EnumGammaType, QList<int>> several;
    for (int i = 0; i < 3; ++i)
        several.insert(EnumGammaType(7), curve({i}));
    table = several;
    QCOMPARE(subScreen.getGammaTable(table), enSuccess);
    QCOMPARE(table.values().mid(3), (QList<QList<int>>{{2}, {1}, {0}}));
}

void tst_SubScreenParameters::gammaEntriesAreConverted()
{
    const QVariantList red{
        QStringLiteral("12"), QStringLiteral("x"), 2.75, true, QVariant(), QVariantMap(), QVariant::fromValue(quint8(200)),
        4000000000.0};
    m_wall.scripts()
        .on(QStringLiteral("ScreenInfo::getGammaAllList"))
        .answer(QVariantMap{{QStringLiteral("redGamma"), red},
                            {QStringLiteral("greenGamma"), QStringLiteral("no list")},
                            {QStringLiteral("blueGamma"), QVariantList()}});
    SubScreenV4 subScreen(QStringLiteral("A"));
    QMap<EnumGammaType, QList<int>> table{{enGreenGamma, curve({1})}, {enBlueGamma, curve({1})}};
    QCOMPARE(subScreen.getGammaTable(table), enSuccess);
    QCOMPARE(table.value(enRedGamma).size(), red.size()); // an entry that is not a number does not shift the others
    QCOMPARE(table.value(enRedGamma).mid(0, 7), curve({12, 0, 3, 1, 0, 0, 200}));
    QCOMPARE(table.value(enGreenGamma), QList<int>());
    QCOMPARE(table.value(enBlueGamma), QList<int>());
    QCOMPARE(table.size(), 3);
}

void tst_SubScreenParameters::aGammaReplyMayLackAnything()
{
    m_wall.scripts()
        .on(QStringLiteral("ScreenInfo::getGammaAllList"))
        .answer(QVariantMap{{QStringLiteral("greenGamma"), QVariantList{5}}});
    SubScreenV4 subScreen(QStringLiteral("A"));
    QMap<EnumGammaType, QList<int>> table{{enRedGamma, curve({1})}};
    QCOMPARE(subScreen.getGammaTable(table), enSuccess);
    QCOMPARE(table, (QMap<EnumGammaType, QList<int>>{
                        {enRedGamma, QList<int>()}, {enGreenGamma, curve({5})}, {enBlueGamma, QList<int>()}}));
}

void tst_SubScreenParameters::aFailedGammaReadLeavesTheTable()
{
    m_wall.scripts()
        .on(QStringLiteral("ScreenInfo::getGammaAllList"))
        .answerFalseWith(QVariantMap{{QStringLiteral("redGamma"), QVariantList{5}}});
    SubScreenV4 subScreen(QStringLiteral("A"));
    QMap<EnumGammaType, QList<int>> table{{enRedGamma, curve({1})}};
    QCOMPARE(subScreen.getGammaTable(table), enTimeout);
    QCOMPARE(table, (QMap<EnumGammaType, QList<int>>{{enRedGamma, curve({1})}}));
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("getGammaTable timeout. device:A")});
}

void tst_SubScreenParameters::onlyTheHighestGammaChannelIsSent_data()
{
    using Table = QMap<EnumGammaType, QList<int>>;
    QTest::addColumn<Table>("table");
    QTest::addColumn<QString>("request");

    QTest::newRow("all three") << Table{{enRedGamma, curve({1})}, {enGreenGamma, curve({2})}, {enBlueGamma, curve({3, 4})}}
                               << text(R"({"gammaTable": QList<int> [3, 4], "type": int 2})");
    QTest::newRow("red and green") << Table{{enGreenGamma, curve({2})}, {enRedGamma, curve({1})}}
                                   << text(R"({"gammaTable": QList<int> [2], "type": int 1})");
    QTest::newRow("red") << Table{{enRedGamma, curve({1})}} << text(R"({"gammaTable": QList<int> [1], "type": int 0})");
    QTest::newRow("an empty curve wins too") << Table{{enRedGamma, curve({1})}, {enBlueGamma, QList<int>()}}
                                             << text(R"({"gammaTable": QList<int> [], "type": int 2})");
    QTest::newRow("numbers that are no channel")
        << Table{{EnumGammaType(-1), curve({1})}, {enBlueGamma, curve({2})}, {EnumGammaType(9), curve({3})}}
        << text(R"({"gammaTable": QList<int> [3], "type": int 9})");
    QTest::newRow("a negative number alone")
        << Table{{EnumGammaType(-1), curve({1})}} << text(R"({"gammaTable": QList<int> [1], "type": int -1})");
    QTest::newRow("an empty table") << Table() << text("{}");
}

void tst_SubScreenParameters::onlyTheHighestGammaChannelIsSent()
{
    using Table = QMap<EnumGammaType, QList<int>>;
    QFETCH(const Table, table);
    QFETCH(const QString, request);

    m_wall.scripts().on(QStringLiteral("ScreenInfo::setGammaTable")).answer(QVariant());
    SubScreenV4 subScreen(QStringLiteral("A"));
    QCOMPARE(subScreen.setGammaTable(table), enSuccess);
    QCOMPARE(m_wall.journal().transcript(),
             QStringList{QStringLiteral(R"(ScreenInfo::setGammaTable("A", "255", %1))").arg(request)});
}

// One cabinet after the other

void tst_SubScreenParameters::theFirstAnswerWins_data()
{
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("asked"); // number of cabinets
    QTest::addColumn<QString>("line");

    const auto row = [](const char *name, const QList<int> &codes, int code, int asked, const char *line = "") {
        QTest::newRow(name) << codes << code << asked << text(line);
    };
    row("no cabinets", {}, enTimeout, 0);
    row("one that answers", {0}, 0, 1);
    row("the first of two", {0, 0}, 0, 1);
    row("the second after a failure", {5, 0}, 0, 2);
    row("the third after two failures", {3, 7, 0, 0}, 0, 3);
    row("none: the last code counts", {5, 7}, 7, 2);
    row("none, the other way round", {7, 3}, 3, 2);
    row("one that fails", {1}, 1, 1);
    row("a code that nobody knows", {-4}, -4, 1);
    row("an unknown id ends it", {notRegistered, 0}, enInvalidParameter, 0,
        "Connot find cabinet by id. deviceKey: A cid: 1");
    row("an unknown id ends it after a failure", {5, notRegistered, 0}, enInvalidParameter, 1,
        "Connot find cabinet by id. deviceKey: A cid: 2");
    row("an unknown id after the answer is not reached", {0, notRegistered}, 0, 1);
}

void tst_SubScreenParameters::theFirstAnswerWins()
{
    QFETCH(const QList<int>, codes);
    QFETCH(const int, code);
    QFETCH(const int, asked);
    QFETCH(const QString, line);

    SubScreenV4 subScreen(QStringLiteral("A"));
    addHostCabinets(subScreen, codes);
    const QStringList lines = line.isEmpty() ? QStringList() : QStringList{line};
    const int last = asked; // the cabinet that wrote last: failing cabinets' values stay as well

    BrightnessRange range;
    range.min = range.max = range.defaultValue = 12345;
    QCOMPARE(int(subScreen.getBrightnessRange(range)), code);
    QCOMPARE(m_log->takeCritical(), lines);
    QCOMPARE(range.min, asked ? quint32(last) : 12345U);
    QCOMPARE(range.max, asked ? quint32(last + 100) : 12345U);
    QCOMPARE(range.defaultValue, asked ? quint32(last + 50) : 12345U);

    EnumEffectMode mode = EnumEffectMode(12345);
    QCOMPARE(int(subScreen.tryGetEffectMode(mode)), code);
    QCOMPARE(m_log->takeCritical(), lines);
    QCOMPARE(int(mode), asked ? last : 12345);

    QStringList expected;
    for (const char *what : {"range ", "mode "}) {
        for (int i = 1; i <= asked; ++i)
            expected.append(text(what) + QString::number(i));
    }
    QCOMPARE(HostCabinet::asked, expected);
    QCOMPARE(m_wall.journal().transcript(), QStringList());
}

void tst_SubScreenParameters::theCabinetsOfTheLibraryAreAskedForTheirRange()
{
    SubScreenV4 subScreen(QStringLiteral("A"));
    addCabinet(subScreen, QStringLiteral("2"));
    addCabinet(subScreen, QStringLiteral("1"));
    m_wall.scripts()
        .on(QStringLiteral("CabinetInfoOperator::getCabinetBrightnessRange"), QStringLiteral("A"), QStringLiteral("1"))
        .answerFalse();
    BrightnessRange range;
    QCOMPARE(subScreen.getBrightnessRange(range), enSuccess);
    QCOMPARE(range.min, 0U);
    QCOMPARE(range.max, 10000U);
    QCOMPARE(range.defaultValue, 5000U);
    QCOMPARE(m_wall.journal().transcript(),
             QStringList({QStringLiteral(R"(CabinetInfoOperator::getCabinetBrightnessRange("A", "1"))"),
                          QStringLiteral(R"(CabinetInfoOperator::getCabinetBrightnessRange("A", "2"))")}));

    m_wall.scripts().on(QStringLiteral("CabinetInfoOperator::getCabinetBrightnessRange")).answerFalse();
    range.max = 77;
    QCOMPARE(subScreen.getBrightnessRange(range), enTimeout);
    QCOMPARE(range.max, 77U);
}

void tst_SubScreenParameters::theCabinetsOfTheLibraryAreAskedForTheirMode()
{
    SubScreenV4 subScreen(QStringLiteral("A"));
    CabinetManager::getInstance()->addCabinet(QStringLiteral("0"), new CabinetV4(nullptr)); // returns enInvalidParameter
    subScreen.addCabinet(QStringLiteral("0"), QString());
    addCabinet(subScreen, QStringLiteral("1"));
    addCabinet(subScreen, QStringLiteral("2"));
    QCOMPARE(subScreen.setEffectMode(EnumEffectMode(4)), enSuccess);
    m_wall.journal().clear();
    EnumEffectMode mode = EnumEffectMode(0);
    QCOMPARE(subScreen.tryGetEffectMode(mode), enSuccess);
    QCOMPARE(int(mode), 4);
    QCOMPARE(m_wall.journal().transcript(), QStringList{QStringLiteral(R"(Correctionop::getCabinetEffectMode("A", "1"))")});
}

void tst_SubScreenParameters::everyCabinetIsVisited_data()
{
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("asked");
    QTest::addColumn<int>("taken"); // number of cabinets whose reply the caller gets
    QTest::addColumn<QString>("line");

    const auto row = [](const char *name, const QList<int> &codes, int code, int asked, int taken, const char *line = "") {
        QTest::newRow(name) << codes << code << asked << taken << text(line);
    };
    row("no cabinets", {}, 0, 0, 0);
    row("one", {0}, 0, 1, 1);
    row("three", {0, 0, 0}, 0, 3, 3);
    row("the first fails", {5, 0}, 5, 1, 0, "Cabinet info is empty. id:1");
    row("the last fails", {0, 0, 3}, 3, 3, 2, "Cabinet info is empty. id:3");
    row("one in the middle fails", {0, 7, 0}, 7, 2, 1, "Cabinet info is empty. id:2");
    row("a code that nobody knows", {0, -4}, -4, 2, 1, "Cabinet info is empty. id:2");
    row("an unknown id", {notRegistered}, 3, 0, 0, "Connot find cabinet by id. deviceKey: A cid: 1");
    row("an unknown id after others", {0, 0, notRegistered, 0}, 3, 2, 2, "Connot find cabinet by id. deviceKey: A cid: 3");
    row("a failure before an unknown id", {0, 1, notRegistered}, 1, 2, 1, "Cabinet info is empty. id:2");
}

void tst_SubScreenParameters::everyCabinetIsVisited()
{
    QFETCH(const QList<int>, codes);
    QFETCH(const int, code);
    QFETCH(const int, asked);
    QFETCH(const int, taken);
    QFETCH(const QString, line);

    SubScreenV4 subScreen(QStringLiteral("A"));
    addHostCabinets(subScreen, codes);
    const QStringList lines = line.isEmpty() ? QStringList() : QStringList{line};

    QRect expected;
    for (int i = 1; i <= taken; ++i)
        expected |= HostCabinet(i, enSuccess).rect();
    QRect rect;
    QCOMPARE(int(subScreen.tryGetRect(rect)), code);
    QCOMPARE(rect, expected);
    QCOMPARE(m_log->takeCritical(), lines);

    QList<CabinetInfo> list;
    QCOMPARE(int(subScreen.tryGetAllCabinetInfoList(list)), code);
    QCOMPARE(list.size(), taken);
    for (int i = 0; i < taken; ++i) {
        QCOMPARE(list[i].id, QString::number(i + 1));
        QVERIFY(list[i].flag.isNull()); // a flag is never copied
        QCOMPARE(list[i].deviceKey, QStringLiteral("host"));
        QCOMPARE(list[i].rect, HostCabinet(i + 1, enSuccess).rect());
        QCOMPARE(list[i].moduleList.size(), 1);
        QCOMPARE(list[i].moduleList.first()->id, QStringLiteral("module"));
    }
    QCOMPARE(m_log->takeCritical(), lines);

    QStringList visits;
    for (int i = 1; i <= asked; ++i)
        visits.append(QStringLiteral("info ") + QString::number(i));
    QCOMPARE(HostCabinet::asked, visits + visits);
    QVERIFY(HostCabinet::fresh); // every cabinet fills a record of its own
    QCOMPARE(m_wall.journal().transcript(), QStringList());
}

void tst_SubScreenParameters::theRectangleIsUnitedWithTheCallersOne()
{
    SubScreenV4 subScreen(QStringLiteral("A"));
    QRect rect(1, 2, 3, 4);
    QCOMPARE(subScreen.tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(1, 2, 3, 4));

    addCabinet(subScreen, QStringLiteral("2"), QRect(100, 50, 8, 4));
    addCabinet(subScreen, QStringLiteral("1"), QRect(-20, 60, 5, 6));
    QCOMPARE(subScreen.tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(QPoint(-20, 2), QPoint(107, 65)));

    rect = QRect();
    QCOMPARE(subScreen.tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(QPoint(-20, 50), QPoint(107, 65)));
}

void tst_SubScreenParameters::theRectangleNeedsNoDevice()
{
    SubScreenV4 subScreen(QStringLiteral("no such device"));
    addCabinet(subScreen, QStringLiteral("1"), QRect(1, 2, 3, 4));
    addCabinet(subScreen, QStringLiteral("2"), QRect()); // a cabinet without place is neutral
    addHostCabinets(subScreen, {});
    QRect rect;
    QCOMPARE(subScreen.tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(1, 2, 3, 4));
    QCOMPARE(m_wall.journal().transcript(), QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void tst_SubScreenParameters::hugeRectanglesAreHarmless()
{
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    SubScreenV4 subScreen(QStringLiteral("A"));
    QRect rect;
    rect.setCoords(least, least, -1, -1);
    addCabinet(subScreen, QStringLiteral("1"), rect);
    rect.setCoords(0, 0, most, most);
    addCabinet(subScreen, QStringLiteral("2"), rect);
    QRect united;
    QCOMPARE(subScreen.tryGetRect(united), enSuccess);
    QList<CabinetInfo> list;
    QCOMPARE(subScreen.tryGetAllCabinetInfoList(list), enSuccess);
    QVERIFY(list.at(1).rect == rect); // too large to be printed
}

void tst_SubScreenParameters::theDescriptionsAreAppended()
{
    SubScreenV4 subScreen(QStringLiteral("A"));
    addCabinet(subScreen, QStringLiteral("2"), QRect(8, 0, 8, 4));
    CabinetInfo *const first = addCabinet(subScreen, QStringLiteral("1"), QRect(0, 0, 8, 4));
    first->reserved = QStringLiteral("seat 7");
    first->rvCardList.append(new RvCardInfo);
    first->rvCardList.last()->flag = QStringLiteral("card");
    CabinetInfo kept;
    kept.id = QStringLiteral("kept");
    QList<CabinetInfo> list{kept};
    QCOMPARE(subScreen.tryGetAllCabinetInfoList(list), enSuccess);
    QCOMPARE(list.size(), 3);
    QCOMPARE(list[0].id, QStringLiteral("kept"));
    QCOMPARE(list[1].id, QStringLiteral("1"));
    QCOMPARE(list[1].reserved, QStringLiteral("seat 7"));
    QCOMPARE(list[1].deviceKey, QStringLiteral("A"));
    QCOMPARE(list[1].rect, QRect(0, 0, 8, 4));
    QVERIFY(list[1].flag.isNull());
    QCOMPARE(list[1].rvCardList.size(), 1);
    QVERIFY(list[1].rvCardList.first() != first->rvCardList.first()); // copies, which the caller's list owns
    QCOMPARE(list[1].rvCardList.first()->flag, QStringLiteral("card"));
    QCOMPARE(list[2].id, QStringLiteral("2"));
    QCOMPARE(m_wall.journal().transcript(), QStringList());
}

void tst_SubScreenParameters::aCabinetWithoutDescriptionIsReported()
{
    SubScreenV4 subScreen(QStringLiteral("A"));
    addCabinet(subScreen, QStringLiteral("1"), QRect(1, 2, 3, 4));
    CabinetManager::getInstance()->addCabinet(QStringLiteral("2"), new CabinetV4(nullptr));
    subScreen.addCabinet(QStringLiteral("2"), QString());
    QRect rect;
    QCOMPARE(subScreen.tryGetRect(rect), enInvalidParameter);
    QCOMPARE(rect, QRect(1, 2, 3, 4));
    QList<CabinetInfo> list;
    QCOMPARE(subScreen.tryGetAllCabinetInfoList(list), enInvalidParameter);
    QCOMPARE(list.size(), 1);
    QCOMPARE(m_log->takeCritical(),
             QStringList({QStringLiteral("Cabinet info is empty. id:2"), QStringLiteral("Cabinet info is empty. id:2")}));
}

// Features

void tst_SubScreenParameters::theFeatureTablesAreAppended()
{
    const auto element = [](bool multilayer, uint layers, bool fine, bool xBit, bool magic) {
        return QVariantMap{
            {QStringLiteral("functionTable"), QVariantMap{{QStringLiteral("multilayercorrection"), multilayer},
                                                          {QStringLiteral("multilayerCorrectionLayer"), layers},
                                                          {QStringLiteral("fineGrayscale"), fine},
                                                          {QStringLiteral("xBitPlus"), xBit},
                                                          {QStringLiteral("magicGray"), magic}}}};
    };
    m_wall.scripts()
        .on(QStringLiteral("CabinetInfoOperator::getCabinetsBaseInfo"))
        .answer(QVariantList{element(true, 4, false, false, false), element(false, 257, true, false, false),
                             element(false, 0, false, true, false), element(false, 255, false, false, true)});
    SubScreenV4 subScreen(QStringLiteral("A"));
    CabinetBaseInfo kept;
    kept.multilayerCorrectionLayer = 99;
    QVector<CabinetBaseInfo> list{kept};
    QCOMPARE(subScreen.getScreenSupport(list), enSuccess);
    QCOMPARE(list.size(), 5);
    QCOMPARE(int(list[0].multilayerCorrectionLayer), 99);
    const auto compare = [](const CabinetBaseInfo &info, bool multilayer, int layers, bool fine, bool xBit, bool magic) {
        QCOMPARE(info.multilayercorrection, multilayer);
        QCOMPARE(int(info.multilayerCorrectionLayer), layers);
        QCOMPARE(info.fineGrayscale, fine);
        QCOMPARE(info.xBitPlus, xBit);
        QCOMPARE(info.magicGray, magic);
    };
    compare(list[1], true, 4, false, false, false);
    compare(list[2], false, 1, true, false, false);
    compare(list[3], false, 0, false, true, false);
    compare(list[4], false, 255, false, false, true);
    QCOMPARE(m_wall.journal().transcript(), QStringList{QStringLiteral(R"(CabinetInfoOperator::getCabinetsBaseInfo("A"))")});
}

void tst_SubScreenParameters::aFeatureReplyMayLackAnything_data()
{
    QTest::addColumn<QVariant>("element");
    QTest::addColumn<bool>("magicGray");
    QTest::addColumn<int>("layers");

    const auto table = [](const QVariantMap &features) {
        return QVariant(QVariantMap{{QStringLiteral("functionTable"), features}});
    };
    const QString layers = QStringLiteral("multilayerCorrectionLayer");
    QTest::newRow("no table") << QVariant(QVariantMap()) << false << 0;
    QTest::newRow("a table that is none") << QVariant(QVariantMap{{text("functionTable"), 7}}) << false << 0;
    QTest::newRow("an empty table") << table({}) << false << 0;
    QTest::newRow("no map at all") << QVariant(QStringLiteral("text")) << false << 0;
    QTest::newRow("nothing at all") << QVariant() << false << 0;
    QTest::newRow("one key") << table({{text("magicGray"), true}}) << true << 0;
    QTest::newRow("numbers as texts") << table({{text("magicGray"), text("true")}, {layers, text("3")}}) << true << 3;
    QTest::newRow("a switch as a number") << table({{text("magicGray"), 1}}) << true << 0;
    QTest::newRow("a text that is not a number") << table({{layers, text("many")}}) << false << 0;
    QTest::newRow("a negative number") << table({{layers, -1}}) << false << 255;
    QTest::newRow("a huge number") << table({{layers, 0xffffff07U}}) << false << 7;
}

void tst_SubScreenParameters::aFeatureReplyMayLackAnything()
{
    QFETCH(const QVariant, element);
    QFETCH(const bool, magicGray);
    QFETCH(const int, layers);

    m_wall.scripts().on(QStringLiteral("CabinetInfoOperator::getCabinetsBaseInfo")).answer(QVariantList{element});
    SubScreenV4 subScreen(QStringLiteral("A"));
    QVector<CabinetBaseInfo> list;
    QCOMPARE(subScreen.getScreenSupport(list), enSuccess);
    QCOMPARE(list.size(), 1);
    QVERIFY(!list[0].multilayercorrection && !list[0].fineGrayscale && !list[0].xBitPlus);
    QCOMPARE(list[0].magicGray, magicGray);
    QCOMPARE(int(list[0].multilayerCorrectionLayer), layers);
}

void tst_SubScreenParameters::aFailedFeatureReadLeavesTheList()
{
    m_wall.scripts()
        .on(QStringLiteral("CabinetInfoOperator::getCabinetsBaseInfo"))
        .answerFalseWith(QVariantList{QVariantMap(), QVariantMap()})
        .times(1);
    SubScreenV4 subScreen(QStringLiteral("A"));
    QVector<CabinetBaseInfo> list(1);
    QCOMPARE(subScreen.getScreenSupport(list), enTimeout);
    QCOMPARE(list.size(), 1);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("call getScreenSupport() fail. timeout. device:A")});

    // A list without elements is not a failure.
    m_wall.scripts().on(QStringLiteral("CabinetInfoOperator::getCabinetsBaseInfo")).answer(QVariantList());
    QCOMPARE(subScreen.getScreenSupport(list), enSuccess);
    QCOMPARE(list.size(), 1);
}

void tst_SubScreenParameters::theCheckerboardQuestionIsAnswered_data()
{
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("lines");

    const QString state = QStringLiteral("HttpResponse_StateCode");
    const QString other = QStringLiteral("Date");
    const auto fail = [](const char *headers, const char *reply) {
        return text("call isCheckerboardlImage() fail. timeout. device : \"A\"  responseHeader:  ") + text(headers)
               + text(" result : ") + text(reply) + text(" \n");
    };
    const auto timedOut = [](const char *headers) {
        return text("call isCheckerboardlImage() timout. m_deviceKey:  \"A\"  responseHeader:  ") + text(headers)
               + text(" \n");
    };
    const QVariant none;

    QTest::newRow("accepted with two headers")
        << true << Headers{{state, text("200")}, {other, text("now")}} << none << 0 << QStringList();
    QTest::newRow("accepted with three headers")
        << true << Headers{{state, text("200")}, {other, text("now")}, {text("Via"), text("x")}} << none << 0
        << QStringList();
    QTest::newRow("accepted with one header") << true << Headers{{state, text("200")}} << none << 5
                                              << QStringList{timedOut(R"(QMap(("HttpResponse_StateCode", "200")))")};
    QTest::newRow("accepted without headers") << true << Headers() << none << 5 << QStringList{timedOut("QMap()")};
    QTest::newRow("accepted: the status does not matter")
        << true << Headers{{state, text("404")}, {other, text("now")}} << none << 0 << QStringList();
    QTest::newRow("accepted with the status 404 alone")
        << true << Headers{{state, text("404")}} << none << 5
        << QStringList{timedOut(R"(QMap(("HttpResponse_StateCode", "404")))")};
    QTest::newRow("refused with 404") << false << Headers{{state, text("404")}, {other, text("now")}} << none << 7
                                      << QStringList{
                                             fail(R"(QMap(("Date", "now")("HttpResponse_StateCode", "404")))", "QMap()")};
    QTest::newRow("refused with 404 alone") << false << Headers{{state, text("404")}} << none << 7
                                            << QStringList{fail(R"(QMap(("HttpResponse_StateCode", "404")))", "QMap()")};
    QTest::newRow("refused with a reply") << false << Headers{{state, text("404")}}
                                          << QVariant(QVariantMap{{text("error"), 3}}) << 7
                                          << QStringList{fail(R"(QMap(("HttpResponse_StateCode", "404")))",
                                                              R"(QMap(("error", QVariant(int, 3))))")};
    QTest::newRow("refused with another status and another header")
        << false << Headers{{state, text("500")}, {other, text("now")}} << none << 0
        << QStringList{fail(R"(QMap(("Date", "now")("HttpResponse_StateCode", "500")))", "QMap()")};
    QTest::newRow("refused with a status that only looks like 404")
        << false << Headers{{state, text("404 ")}, {other, text("now")}} << none << 0
        << QStringList{fail(R"(QMap(("Date", "now")("HttpResponse_StateCode", "404 ")))", "QMap()")};
    QTest::newRow("refused with another status alone")
        << false << Headers{{state, text("500")}} << none << 5
        << QStringList{fail(R"(QMap(("HttpResponse_StateCode", "500")))", "QMap()"),
                       timedOut(R"(QMap(("HttpResponse_StateCode", "500")))")};
    QTest::newRow("refused with 404 in another header")
        << false << Headers{{other, text("404")}} << none << 5
        << QStringList{fail(R"(QMap(("Date", "404")))", "QMap()"), timedOut(R"(QMap(("Date", "404")))")};
    QTest::newRow("refused without headers")
        << false << Headers() << none << 5 << QStringList{fail("QMap()", "QMap()"), timedOut("QMap()")};
}

void tst_SubScreenParameters::theCheckerboardQuestionIsAnswered()
{
    QFETCH(const bool, accepted);
    QFETCH(const Headers, headers);
    QFETCH(const QVariant, reply);
    QFETCH(const int, code);
    QFETCH(const QStringList, lines);

    Simulator::Script &script = m_wall.scripts().on(QStringLiteral("ScreenInfo::setCheckerBoardImage(responseHeader)"));
    if (accepted)
        script.answer(QVariantMap());
    else
        script.answerFalseWith(reply);
    script.responseHeader(headers);
    SubScreenV4 subScreen(QStringLiteral("A"));
    subScreen.addCabinet(QStringLiteral("1"), QString());
    QCOMPARE(int(subScreen.isCheckerboardlImage()), code);
    QCOMPARE(m_log->takeCritical(), lines);
    QCOMPARE(m_wall.journal().transcript(),
             QStringList{QStringLiteral(R"(ScreenInfo::setCheckerBoardImage(responseHeader)("A", {}))")});
}

void tst_SubScreenParameters::theWallAnswersTheCheckerboardQuestion()
{
    Simulator::Device plain = Simulator::gridDevice(QStringLiteral("B"), QPoint(), 1, 1, QSize(8, 4), 100);
    plain.checkerboardSupported = false;
    m_wall.addDevice(plain);
    SubScreenV4 able(QStringLiteral("A"));
    QCOMPARE(able.isCheckerboardlImage(), enSuccess);
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_wall.state().pattern(QStringLiteral("A")).type, Simulator::Pattern::None); // the query draws nothing
    QCOMPARE(m_wall.journal().notes(), QStringList());
    SubScreenV4 unable(QStringLiteral("B"));
    QCOMPARE(unable.isCheckerboardlImage(), enNotSupported);
    QCOMPARE(m_log->takeCritical().size(), 1);
}

void tst_SubScreenParameters::aBrokenServiceHasNoCheckerboard()
{
    m_wall.scripts().on(QString()).throwException(serviceError());
    SubScreenV4 subScreen(QStringLiteral("A"));
    QCOMPARE(subScreen.isCheckerboardlImage(), enTimeout);
    QCOMPARE(m_log->takeCritical().size(), 3); // the exception, then the two lines of an empty reply

    m_wall.scripts().on(QString()).throwException(std::make_exception_ptr(std::bad_alloc()));
    QVERIFY_EXCEPTION_THROWN(subScreen.isCheckerboardlImage(), std::bad_alloc);
}

QTEST_GUILESS_MAIN(tst_SubScreenParameters)

#include "tst_subscreenparameters.moc"

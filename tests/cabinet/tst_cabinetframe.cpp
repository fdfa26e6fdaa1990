#include "CabinetFixture.h"
#include "support/StubCabinet.h"

#include <Correction/CabinetPtr.h>
#include <Correction/CabinetV4.h>
#include <Correction/CoefficientPtr.h>

#include <QtCore/QFile>
#include <QtCore/QSemaphore>
#include <QtCore/QTemporaryDir>

#include <functional>
#include <new>
#include <optional>
#include <stdexcept>
#include <type_traits>

#include <pthread.h>
#include <unistd.h>

using namespace Correction;
using namespace CabinetTests;

// Sanitizers report the reference that a handler of a cancellation gets, since it does not refer to an object.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define CANNOT_CANCEL_THREADS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define CANNOT_CANCEL_THREADS
#endif
#endif

// One pointer beside the table of virtual operations; released by its own class.
static_assert(std::is_abstract<ICabinet>::value, "");
static_assert(!std::has_virtual_destructor<ICabinet>::value, "");
static_assert(sizeof(ICabinet) == sizeof(void *), "");
static_assert(std::is_base_of<ICabinet, CabinetV4>::value, "");
static_assert(sizeof(CabinetV4) == 2 * sizeof(void *), "");
static_assert(std::is_constructible<CabinetV4, CabinetInfo *>::value, "");

namespace {

/// One way to call a cabinet that ends at the device. Texts hold <key>, <id> and <number> for the cabinet's device key
/// and id.
struct Operation {
    const char *name;
    const char *service; ///< the call that fails in a row's tests
    std::function<EnumErrorCode(ICabinet &)> call;
    QStringList sent;     ///< the transcript when every call is answered
    QVariant reply;       ///< a reply that the operation accepts
    QStringList failures; ///< critical lines when `service` returns false
    EnumErrorCode onFalse = enTimeout;
};

QString filled(QString text, const QString &key, const QString &id, const QString &number)
{
    // Not arg(): keys and ids may look like placeholders themselves.
    text.replace(QLatin1String("<number>"), number);
    text.replace(QLatin1String("<id>"), id);
    return text.replace(QLatin1String("<key>"), key);
}

QStringList filled(const QStringList &texts, const QString &key, const QString &id, const QString &number)
{
    QStringList result;
    for (const QString &text : texts)
        result += filled(text, key, id, number);
    return result;
}

/// A check reply with one card of one module of 64 x 32 pixels.
List goodCheck()
{
    const Map module{{QStringLiteral("size.w"), 64}, {QStringLiteral("size.h"), 32}};
    return listOf(Map{{QStringLiteral("flashCheckResults"), listOf(module)}});
}

} // namespace

class CabinetFrameTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_log.reset(); }
    void init();
    void cleanup();

    void theDescriptionIsAnsweredWithoutADevice();
    void aCopyOfTheDescriptionKeepsTheCallersFlag();
    void theListOfModulesIsACopyWithTheSameRecords();
    void theDestructorDeletesTheDescription();
    void aCabinetWithoutADescriptionIsDeletedInPeace();
    void thePointerReleasesACabinetWithItsDescription();
    void thePointerReleasesTheStorageOfAHostsCabinetOnly();

    void aMissingDescriptionAnswers3AndSendsNothing_data();
    void aMissingDescriptionAnswers3AndSendsNothing();
    void aMissingDescriptionLeavesTheOutputsAlone();
    void aMissingDescriptionAnswersEmptyTexts();
    void aMissingDescriptionTakesNoNoticeOfTheArgument_data();
    void aMissingDescriptionTakesNoNoticeOfTheArgument();

    void aTrueAnswerIsSuccess_data() { operations(); }
    void aTrueAnswerIsSuccess();
    void aFalseAnswerIsATimeout_data() { operations(); }
    void aFalseAnswerIsATimeout();
    void aFalseAnswerIsNotReadEvenIfItHasAReply_data() { operations(); }
    void aFalseAnswerIsNotReadEvenIfItHasAReply();
    void keysAndIdsThatLookLikePlaceholdersStayAsTheyAre_data() { operations(); }
    void keysAndIdsThatLookLikePlaceholdersStayAsTheyAre();
    void idsThatAreNoNumbersAreSentAsZero_data() { operations(); }
    void idsThatAreNoNumbersAreSentAsZero();
    void aServiceThatThrowsHasNotAnswered_data() { operations(); }
    void aServiceThatThrowsHasNotAnswered();
    void anExceptionOfNoStandardKindStaysInside_data() { operations(); }
    void anExceptionOfNoStandardKindStaysInside();
    void exhaustedMemoryPassesThrough_data() { operations(); }
    void exhaustedMemoryPassesThrough();
    void aThreadMayBeCancelledInACall_data() { operations(); }
    void aThreadMayBeCancelledInACall();
    void everyCallIsMadeOnlyOnce_data() { operations(); }
    void everyCallIsMadeOnlyOnce();
    void unknownDevicesTimeOut_data() { operations(); }
    void unknownDevicesTimeOut();
    void onlyLinesAtCriticalLevelAreLeftWhenDebugIsOff();

private:
    QVector<Operation> m_operations;
    std::optional<TestSupport::LogCapture> m_log; // made after the test library has installed its own handler
    QTemporaryDir m_directory;
    QString m_path;

    void operations();
    const Operation &operation() const;
    /// Lets every call of the operation succeed.
    static void answerAll(const Operation &operation);
};

void CabinetFrameTest::initTestCase()
{
    m_log.emplace();
    QVERIFY(m_directory.isValid());
    m_path = m_directory.filePath(QStringLiteral("config.bin"));

    const QString checkFailure = QStringLiteral("call getFlashCheckCode() fail. timeout. device:<key>");
    const QString check = quoted("Correctionop::getFlashCheckCode('<key>', '<id>', {})");
    const QString upload = quoted("('<key>', '<id>', [{'area': {'point': {'x': int 1, 'y': int 2}, "
                                  "'size': {'height': int 1, 'width': int 2}}, 'coefficients': '%1'}])");
    const QString chroma = QString(48, QLatin1Char('A')); // 36 zero bytes
    const QString config = QStringLiteral("AAEC/w==");

    m_operations = {
        {"tryGetCoefficients, chroma",
         "Correctionop::loadCoefficient",
         [](ICabinet &cabinet) {
             Coefficient grid;
             return cabinet.tryGetCoefficients(grid);
         },
         {quoted("Correctionop::loadCoefficient('<key>', '<id>')")},
         List(),
         {}},
        {"setCoefficients, chroma",
         "Correctionop::uploadCoefficient",
         [](ICabinet &cabinet) {
             Coefficient grid(2, 1);
             return cabinet.setCoefficients(QPoint(1, 2), grid);
         },
         {QStringLiteral("Correctionop::uploadCoefficient") + upload.arg(chroma)},
         Map(),
         {}},
        {"setCoefficients, multilayer",
         "Correctionop::uploadMultilayerCoefficient",
         [](ICabinet &cabinet) {
             MultilayerCoefficient grid(2, 1);
             return cabinet.setCoefficients(QPoint(1, 2), grid);
         },
         {QStringLiteral("Correctionop::uploadMultilayerCoefficient")
          + upload.arg(QString(43, QLatin1Char('A')) + QLatin1Char('='))},
         Map(),
         {}},
        {"setCoefficients, low gray",
         "Correctionop::uploadLowgrayCoefficient",
         [](ICabinet &cabinet) {
             LowGrayCoefficient grid(2, 1);
             return cabinet.setCoefficients(QPoint(1, 2), grid);
         },
         {QStringLiteral("Correctionop::uploadLowgrayCoefficient") + upload.arg(chroma)},
         Map(),
         {}},
        {"saveParameter, chroma",
         "Correctionop::saveCabinetsCoeffcient",
         [](ICabinet &cabinet) { return cabinet.saveParameter(enSaveCommonCoefficient); },
         {quoted("Correctionop::saveCabinetsCoeffcient('<key>', {'cids': ['<id>']})")},
         Map(),
         {QStringLiteral("saveParameter enCommonCoefficient timeout. cid:<id>")}},
        {"saveParameter, multilayer",
         "Correctionop::saveCabinetsMultilayerCoeffcient",
         [](ICabinet &cabinet) { return cabinet.saveParameter(enSaveMultilayerCoefficient); },
         {quoted("Correctionop::saveCabinetsMultilayerCoeffcient('<key>', {'cids': ['<id>']})")},
         Map(),
         {QStringLiteral("saveParameter enCommonCoefficient timeout. cid:<id>")}},
        {"saveParameter, low gray",
         "Correctionop::saveCabinetsLowgrayCoeffcient",
         [](ICabinet &cabinet) { return cabinet.saveParameter(enSaveLowgrayCoefficient); },
         {quoted("Correctionop::saveCabinetsLowgrayCoeffcient('<key>', {'cids': ['<id>']})")},
         Map(),
         {QStringLiteral("saveParameter enLowgrayCoefficient timeout. cid:<id>")}},
        {"applyCoeffcient, low gray",
         "Correctionop::applyCabinetsLowgrayCoeffcient",
         [](ICabinet &cabinet) { return cabinet.applyCoeffcient(enLowgrayCoefficient); },
         {quoted("Correctionop::applyCabinetsLowgrayCoeffcient('<key>', {'cids': [qlonglong <number>]})")},
         Map(),
         {QStringLiteral("saveParameter enLowgrayCoefficient timeout. cid:<id>")}},
        {"setEffectMode",
         "Correctionop::setCabinetEffectMode",
         [](ICabinet &cabinet) { return cabinet.setEffectMode(EnumEffectMode(3)); },
         {quoted("Correctionop::setCabinetEffectMode('<key>', '<id>', {'type': int 3})")},
         Map(),
         {}},
        {"tryGetEffectMode",
         "Correctionop::getCabinetEffectMode",
         [](ICabinet &cabinet) {
             EnumEffectMode mode{};
             return cabinet.tryGetEffectMode(mode);
         },
         {quoted("Correctionop::getCabinetEffectMode('<key>', '<id>')")},
         Map(),
         {}},
        {"setBrightness",
         "CabinetInfoOperator::setCabSingleBrightness",
         [](ICabinet &cabinet) { return cabinet.setBrightness(800); },
         {quoted("CabinetInfoOperator::setCabSingleBrightness('<key>', '<id>', {'value': int 800})")},
         Map(),
         {},
         enSuccess},
        {"getBrightnessRange",
         "CabinetInfoOperator::getCabinetBrightnessRange",
         [](ICabinet &cabinet) {
             BrightnessRange range;
             return cabinet.getBrightnessRange(range);
         },
         {quoted("CabinetInfoOperator::getCabinetBrightnessRange('<key>', '<id>')")},
         Map(),
         {}},
        {"getGammaTable",
         "CabinetInfoOperator::getCabinetGammaCustomValue",
         [](ICabinet &cabinet) {
             QMap<EnumGammaType, QList<int>> table;
             return cabinet.getGammaTable(table);
         },
         {quoted("CabinetInfoOperator::getCabinetGammaCustomValue('<key>', '<id>')")},
         Map(),
         {}},
        {"setGammaTable",
         "CabinetInfoOperator::setCabinetGammaCustomValue",
         [](ICabinet &cabinet) {
             return cabinet.setGammaTable({{enGreenGamma, {5, 6}}});
         },
         {quoted("CabinetInfoOperator::setCabinetGammaCustomValue('<key>', '<id>', "
                 "{'gammaTable': QList<int> [5, 6], 'type': int 1})")},
         Map(),
         {}},
        {"getConfigFile",
         "CabinetInfoOperator::getConfigFile",
         [this](ICabinet &cabinet) { return cabinet.getConfigFile(m_path); },
         {quoted("CabinetInfoOperator::getConfigFile('<key>', '<id>')")},
         Map{{QStringLiteral("config"), config}},
         {QStringLiteral("call getConfigFile() fail. timeout. device:<key>")}},
        {"setConfigFile",
         "CabinetInfoOperator::setSingleConfigFile",
         [this](ICabinet &cabinet) { return cabinet.setConfigFile(m_path); },
         {quoted("CabinetInfoOperator::setSingleConfigFile('<key>', '<id>', "
                 "{'config': 'AAEC/w==', 'idList': [qulonglong <number>]})")},
         Map(),
         {QStringLiteral("call setSingleConfigFile() fail. timeout. device:<key>")}},
        {"setFlag",
         "CabinetInfoOperator::setCabinetFlag",
         [](ICabinet &cabinet) { return cabinet.setFlag(QStringLiteral("new flag")); },
         {quoted("CabinetInfoOperator::setCabinetFlag('<key>', '<id>', {'flag': 'new flag'})")},
         Map(),
         {}},
        {"setCabinetflags",
         "CabinetInfoOperator::setCabinetSnflags",
         [](ICabinet &cabinet) { return cabinet.setCabinetflags(QStringLiteral("sn")); },
         {quoted("CabinetInfoOperator::setCabinetSnflags('<key>', [{'flag': 'sn', 'id': qulonglong <number>}])")},
         Map(),
         {QStringLiteral("call setCabinetSnflags() fail. timeout. device:<key>")}},
        {"getFlashCheckInfo",
         "Correctionop::getFlashCheckCode",
         [](ICabinet &cabinet) {
             QList<RxCardFlashCheckInfo> cards;
             return cabinet.getFlashCheckInfo(cards);
         },
         {check},
         List(),
         {checkFailure}},
        {"IsSupportFlash",
         "Correctionop::getFlashCheckCode",
         [](ICabinet &cabinet) { return cabinet.IsSupportFlash(); },
         {check},
         goodCheck(),
         {checkFailure, QStringLiteral("call IsSupportFlash() fail. timeout. device:<key>")}},
        {"setModuleflags",
         "CabinetInfoOperator::setModuleflags",
         [](ICabinet &cabinet) {
             QList<CabinetsModuleFlag> flags{CabinetsModuleFlag()};
             return cabinet.setModuleflags(flags);
         },
         {quoted("CabinetInfoOperator::setModuleflags('<key>', "
                 "[{'id': qulonglong <number>, 'moduleflags': [{'flag': '', 'id': ''}]}])")},
         Map(),
         {QStringLiteral("call setModuleflags() fail. timeout. device:<key>")}},
        {"clearModuleCoefficient",
         "CabinetInfoOperator::clearModuleCoefficient",
         [](ICabinet &cabinet) { return cabinet.clearModuleCoefficient(3); },
         {quoted("CabinetInfoOperator::clearModuleCoefficient('<key>', {'cids': [qulonglong <number>], 'type': int 3}, "
                 "int 8340)")},
         Map(),
         {QStringLiteral("call clearModuleCoefficient() fail. timeout. device:<key>")}},
        {"saveModuleCoefficient, at the check",
         "Correctionop::getFlashCheckCode",
         [](ICabinet &cabinet) { return cabinet.saveModuleCoefficient(0); },
         {check, quoted("CabinetInfoOperator::saveModuleCoefficient('<key>', "
                        "{'cids': [qulonglong <number>], 'type': int 0}, int 2947)")},
         Map(),
         {checkFailure, QStringLiteral("call saveModuleCoefficient.getFlashCheckInfo() fail. timeout. device:<key>")}},
        {"saveModuleCoefficient, at the save",
         "CabinetInfoOperator::saveModuleCoefficient",
         [](ICabinet &cabinet) { return cabinet.saveModuleCoefficient(0); },
         {check, quoted("CabinetInfoOperator::saveModuleCoefficient('<key>', "
                        "{'cids': [qulonglong <number>], 'type': int 0}, int 2947)")},
         Map(),
         {QStringLiteral("call saveModuleCoefficient() fail. timeout. device:<key>")}},
        {"reloadModuleCoefficient, at the check",
         "Correctionop::getFlashCheckCode",
         [](ICabinet &cabinet) { return cabinet.reloadModuleCoefficient(0); },
         {check, quoted("CabinetInfoOperator::reloadModuleCoefficient('<key>', "
                        "{'cids': [qulonglong <number>], 'type': int 0}, int 1636)")},
         Map(),
         {checkFailure, QStringLiteral("call reloadModuleCoefficient.getFlashCheckInfo() fail. timeout. device:<key>")}},
        {"reloadModuleCoefficient, at the reload",
         "CabinetInfoOperator::reloadModuleCoefficient",
         [](ICabinet &cabinet) { return cabinet.reloadModuleCoefficient(0); },
         {check, quoted("CabinetInfoOperator::reloadModuleCoefficient('<key>', "
                        "{'cids': [qulonglong <number>], 'type': int 0}, int 1636)")},
         Map(),
         {QStringLiteral("call reloadModuleCoefficient() fail. timeout. device:<key>")}},
        {"getCabinetSupport",
         "CabinetInfoOperator::getCabinetsBaseInfo",
         [](ICabinet &cabinet) {
             CabinetBaseInfo support;
             return cabinet.getCabinetSupport(support);
         },
         {quoted("CabinetInfoOperator::getCabinetsBaseInfo('<key>')")},
         listOf(Map()),
         {QStringLiteral("call getScreenSupport() fail. timeout. device:<key>")}},
    };
}

void CabinetFrameTest::init()
{
    showDebugLines();
    wall().reset();
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write("\x00\x01\x02\xff", 4), qint64(4));
    m_log->clear();
}

void CabinetFrameTest::cleanup()
{
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void CabinetFrameTest::operations()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < m_operations.size(); ++i)
        QTest::newRow(m_operations.at(i).name) << i;
}

const Operation &CabinetFrameTest::operation() const
{
    QFETCH(int, index);
    return m_operations.at(index);
}

void CabinetFrameTest::answerAll(const Operation &operation)
{
    for (const QString &line : operation.sent) {
        const QString service = line.left(line.indexOf(QLatin1Char('(')));
        const bool isCheckBefore = operation.sent.size() == 2 && service.endsWith(QLatin1String("getFlashCheckCode"));
        wall().scripts().on(service).answer(isCheckBefore ? QVariant(goodCheck()) : operation.reply);
    }
}

void CabinetFrameTest::theDescriptionIsAnsweredWithoutADevice()
{
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    const QStringList before = contentOf(*info);

    QCOMPARE(cabinet.getID(), QStringLiteral("12"));
    QCOMPARE(cabinet.getDeviceKey(), QStringLiteral("A"));
    QString flag;
    QCOMPARE(cabinet.getFlag(flag), enSuccess);
    QCOMPARE(flag, QStringLiteral("old flag"));

    CabinetInfo copy;
    copy.flag = info->flag;
    copy.rvCardList.append(new RvCardInfo); // replaced
    QCOMPARE(cabinet.GetCabinetInfo(copy), enSuccess);
    QCOMPARE(contentOf(copy), before);
    QVERIFY(copy.rvCardList.at(0) != info->rvCardList.at(0));
    QVERIFY(copy.moduleList.at(2) != info->moduleList.at(2));

    QCOMPARE(contentOf(*info), before);
    QCOMPARE(wall().journal().transcript(), QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetFrameTest::aCopyOfTheDescriptionKeepsTheCallersFlag()
{
    CabinetV4 cabinet(description().release());
    CabinetInfo copy;
    copy.flag = QStringLiteral("the caller's");
    QCOMPARE(cabinet.GetCabinetInfo(copy), enSuccess);
    QCOMPARE(copy.flag, QStringLiteral("the caller's"));
    QCOMPARE(copy.id, QStringLiteral("12"));

    CabinetInfo fresh;
    QCOMPARE(cabinet.GetCabinetInfo(fresh), enSuccess);
    QVERIFY(fresh.flag.isNull());
}

void CabinetFrameTest::theListOfModulesIsACopyWithTheSameRecords()
{
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    QList<ModuleInfo *> modules = cabinet.getCabAllFlags();
    QCOMPARE(modules, info->moduleList);
    modules.removeFirst();
    QCOMPARE(info->moduleList.size(), 3);
    QCOMPARE(cabinet.getCabAllFlags().size(), 3);
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetFrameTest::theDestructorDeletesTheDescription()
{
    // A text is shared as long as the record lives.
    const QString text(5, QLatin1Char('x'));
    QVERIFY(text.isDetached());
    {
        auto info = description();
        info->reserved = text;
        info->rvCardList.last()->flag = text;
        info->moduleList.last()->flag = text;
        CabinetV4 cabinet(info.release());
        QVERIFY(!text.isDetached());
    }
    QVERIFY(text.isDetached());
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetFrameTest::thePointerReleasesACabinetWithItsDescription()
{
    // Shared by the records and this function only, so each is detached when its record is deleted.
    QString flag = QStringLiteral("a flag of %1").arg(1);
    QString moduleFlag = QStringLiteral("a flag of %1").arg(2);
    auto info = description();
    info->flag = flag;
    info->moduleList.first()->flag = moduleFlag;
    {
        const CabinetPtr cabinet(new CabinetV4(info.release()));
        QCOMPARE(cabinet->getID(), QStringLiteral("12"));
        QVERIFY(!flag.isDetached() && !moduleFlag.isDetached());
    }
    QVERIFY(flag.isDetached() && moduleFlag.isDetached());
    CabinetPtr none;
    none.reset(new CabinetV4(nullptr));
    none.reset();
    CabinetDeleter()(nullptr);
}

void CabinetFrameTest::thePointerReleasesTheStorageOfAHostsCabinetOnly()
{
    static bool destroyed;
    destroyed = false;
    // The cabinet is not the first base: its address is not that of its storage.
    struct Other {
        virtual int other() { return padding[0]; }
        int padding[4] = {};
    };
    struct HostCabinet : Other, TestSupport::StubCabinet {
        ~HostCabinet() { destroyed = true; }
    };
    auto *const cabinet = new HostCabinet;
    QVERIFY(static_cast<void *>(static_cast<ICabinet *>(cabinet)) != static_cast<void *>(cabinet));
    CabinetPtr(cabinet).reset(); // a wrong address would end the program
    QVERIFY(!destroyed);
}

void CabinetFrameTest::aCabinetWithoutADescriptionIsDeletedInPeace()
{
    {
        CabinetV4 cabinet(nullptr);
    }
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetFrameTest::aMissingDescriptionAnswers3AndSendsNothing_data()
{
    operations();
    QTest::newRow("GetCabinetInfo") << -1;
    QTest::newRow("getFlag") << -2;
}

void CabinetFrameTest::aMissingDescriptionAnswers3AndSendsNothing()
{
    QFETCH(int, index);
    CabinetV4 cabinet(nullptr);
    QString flag;
    CabinetInfo info;
    const EnumErrorCode code = index == -1   ? cabinet.GetCabinetInfo(info)
                               : index == -2 ? cabinet.getFlag(flag)
                                             : m_operations.at(index).call(cabinet);
    QCOMPARE(code, enInvalidParameter);
    QCOMPARE(wall().journal().transcript(), QStringList());
    const bool isLoad = index >= 0 && qstrncmp(m_operations.at(index).name, "tryGetCoefficients", 18) == 0;
    QCOMPARE(m_log->takeCritical(), isLoad ? QStringList(QStringLiteral("nullptr == m_pCabinet \n")) : QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetFrameTest::aMissingDescriptionLeavesTheOutputsAlone()
{
    CabinetV4 cabinet(nullptr);

    auto before = description(QStringLiteral("caller"), QStringLiteral("77"));
    const QStringList content = contentOf(*before);
    QCOMPARE(cabinet.GetCabinetInfo(*before), enInvalidParameter);
    QCOMPARE(contentOf(*before), content);

    QString flag = QStringLiteral("caller");
    QCOMPARE(cabinet.getFlag(flag), enInvalidParameter);
    QCOMPARE(flag, QStringLiteral("caller"));

    BrightnessRange range;
    range.max = 9;
    QCOMPARE(cabinet.getBrightnessRange(range), enInvalidParameter);
    QCOMPARE(range.max, 9u);

    EnumEffectMode mode = EnumEffectMode(4);
    QCOMPARE(cabinet.tryGetEffectMode(mode), enInvalidParameter);
    QCOMPARE(int(mode), 4);

    QMap<EnumGammaType, QList<int>> table{{enRedGamma, {1}}};
    const auto tableBefore = table;
    QCOMPARE(cabinet.getGammaTable(table), enInvalidParameter);
    QCOMPARE(table, tableBefore);

    QList<RxCardFlashCheckInfo> cards{RxCardFlashCheckInfo()};
    QCOMPARE(cabinet.getFlashCheckInfo(cards), enInvalidParameter);
    QCOMPARE(cards.size(), 1);

    CabinetBaseInfo support;
    support.multilayerCorrectionLayer = 7;
    support.xBitPlus = true;
    QCOMPARE(cabinet.getCabinetSupport(support), enInvalidParameter);
    QCOMPARE(int(support.multilayerCorrectionLayer), 7);
    QVERIFY(support.xBitPlus);

    Coefficient grid(2, 1);
    QCOMPARE(cabinet.tryGetCoefficients(grid), enInvalidParameter);
    QCOMPARE(grid.getPixelCol(), 2);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("nullptr == m_pCabinet \n")));

    const QString path = m_directory.filePath(QStringLiteral("never made"));
    QCOMPARE(cabinet.getConfigFile(path), enInvalidParameter);
    QVERIFY(!QFile::exists(path));
    QCOMPARE(cabinet.setConfigFile(path), enInvalidParameter);

    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetFrameTest::aMissingDescriptionAnswersEmptyTexts()
{
    CabinetV4 cabinet(nullptr);
    QVERIFY(cabinet.getID().isEmpty());
    QVERIFY(cabinet.getDeviceKey().isEmpty());
    QVERIFY(cabinet.getCabAllFlags().isEmpty());
    QCOMPARE(wall().journal().transcript(), QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetFrameTest::aMissingDescriptionTakesNoNoticeOfTheArgument_data()
{
    QTest::addColumn<int>("kind");
    for (int kind : {-1, 0, 1, 2, 3, 2147483647})
        QTest::newRow(qPrintable(QStringLiteral("kind %1").arg(kind))) << kind;
}

void CabinetFrameTest::aMissingDescriptionTakesNoNoticeOfTheArgument()
{
    QFETCH(int, kind);
    CabinetV4 cabinet(nullptr);
    QCOMPARE(cabinet.saveParameter(EnumSaveType(kind)), enInvalidParameter);
    QCOMPARE(cabinet.applyCoeffcient(EnumCoefficientType(kind)), enInvalidParameter);
    QCOMPARE(cabinet.clearModuleCoefficient(kind), enInvalidParameter);
    QCOMPARE(cabinet.saveModuleCoefficient(kind), enInvalidParameter);
    QCOMPARE(cabinet.reloadModuleCoefficient(kind), enInvalidParameter);
    QList<CabinetsModuleFlag> none;
    QCOMPARE(cabinet.setModuleflags(none), enInvalidParameter);
    QCOMPARE(cabinet.setGammaTable({}), enInvalidParameter);
    HostGrid tooLarge(kind, 1000, 1000);
    QCOMPARE(cabinet.setCoefficients(QPoint(0, 0), tooLarge), enInvalidParameter);
    QCOMPARE(tooLarge.renderings, 0);
    QCOMPARE(cabinet.tryGetCoefficients(tooLarge), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("nullptr == m_pCabinet \n")));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetFrameTest::aTrueAnswerIsSuccess()
{
    const Operation &op = operation();
    answerAll(op);
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    QStringList expected = contentOf(*info);
    if (qstrcmp(op.name, "setFlag") == 0)
        expected[1] = QStringLiteral("new flag");

    QCOMPARE(op.call(cabinet), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             filled(op.sent, QStringLiteral("A"), QStringLiteral("12"), QStringLiteral("12")));
    QCOMPARE(contentOf(*info), expected);
}

void CabinetFrameTest::aFalseAnswerIsATimeout()
{
    const Operation &op = operation();
    answerAll(op);
    wall().scripts().on(QLatin1String(op.service)).answerFalse();
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    const QStringList before = contentOf(*info);

    QCOMPARE(op.call(cabinet), op.onFalse);
    const QString key = QStringLiteral("A");
    const QString id = QStringLiteral("12");
    QCOMPARE(m_log->takeCritical(), filled(op.failures, key, id, id));
    const bool atTheCheck = op.sent.size() == 2 && qstrcmp(op.service, "Correctionop::getFlashCheckCode") == 0;
    QCOMPARE(wall().journal().transcript(), filled(atTheCheck ? QStringList(op.sent.first()) : op.sent, key, id, id));
    QCOMPARE(contentOf(*info), before);
}

void CabinetFrameTest::aFalseAnswerIsNotReadEvenIfItHasAReply()
{
    const Operation &op = operation();
    answerAll(op);
    const bool isList =
        op.reply.userType() == QMetaType::QVariantList || qstrcmp(op.service, "Correctionop::getFlashCheckCode") == 0;
    const Map content{{QStringLiteral("config"), QStringLiteral("eHh4")}, {QStringLiteral("mode"), 9}};
    wall().scripts().on(QLatin1String(op.service)).answerFalseWith(isList ? QVariant(listOf(content)) : QVariant(content));
    CabinetV4 cabinet(description().release());

    QCOMPARE(op.call(cabinet), op.onFalse);
    QCOMPARE(m_log->takeCritical(), filled(op.failures, QStringLiteral("A"), QStringLiteral("12"), QString()));
    const QStringList debug = m_log->takeDebug();
    for (const QString &line : debug)
        QVERIFY2(!line.contains(QLatin1String(" res :")), qPrintable(line));
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("\x00\x01\x02\xff", 4));
}

void CabinetFrameTest::keysAndIdsThatLookLikePlaceholdersStayAsTheyAre()
{
    const Operation &op = operation();
    answerAll(op);
    const QString key = QStringLiteral("%2 %1 %L1");
    const QString id = QStringLiteral("%1 %2");
    CabinetV4 cabinet(description(key, id).release());
    QCOMPARE(op.call(cabinet), enSuccess);
    QCOMPARE(wall().journal().transcript(), filled(op.sent, key, id, QStringLiteral("0")));

    wall().scripts().on(QLatin1String(op.service)).answerFalse();
    QCOMPARE(op.call(cabinet), op.onFalse);
    QCOMPARE(m_log->takeCritical(), filled(op.failures, key, id, QString()));
}

void CabinetFrameTest::idsThatAreNoNumbersAreSentAsZero()
{
    const Operation &op = operation();
    const QString key = QStringLiteral("A");
    for (const QString &id : {QStringLiteral("abc"), QStringLiteral(""), QStringLiteral("0x10"), QStringLiteral("12a"),
                              QStringLiteral("1.5"), QStringLiteral("99999999999999999999")}) {
        wall().reset();
        answerAll(op);
        CabinetV4 cabinet(description(key, id).release());
        QCOMPARE(op.call(cabinet), enSuccess);
        QCOMPARE(wall().journal().transcript(), filled(op.sent, key, id, QStringLiteral("0")));
    }
}

void CabinetFrameTest::aServiceThatThrowsHasNotAnswered()
{
    const Operation &op = operation();
    answerAll(op);
    wall().scripts().on(QLatin1String(op.service)).throwException(std::make_exception_ptr(std::runtime_error("no network")));
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    const QStringList before = contentOf(*info);

    QCOMPARE(op.call(cabinet), op.onFalse);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("the device service threw an exception"))
                                        + filled(op.failures, QStringLiteral("A"), QStringLiteral("12"), QString()));
    QCOMPARE(contentOf(*info), before);

    // The failure has no effect on the next call.
    wall().reset();
    answerAll(op);
    QCOMPARE(op.call(cabinet), enSuccess);
}

void CabinetFrameTest::anExceptionOfNoStandardKindStaysInside()
{
    const Operation &op = operation();
    answerAll(op);
    wall().scripts().on(QLatin1String(op.service)).throwException(std::make_exception_ptr(42));
    CabinetV4 cabinet(description().release());
    QCOMPARE(op.call(cabinet), op.onFalse);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("the device service threw an exception"))
                                        + filled(op.failures, QStringLiteral("A"), QStringLiteral("12"), QString()));
}

void CabinetFrameTest::exhaustedMemoryPassesThrough()
{
    const Operation &op = operation();
    answerAll(op);
    wall().scripts().on(QLatin1String(op.service)).throwException(std::make_exception_ptr(std::bad_alloc()));
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    const QStringList before = contentOf(*info);

    QVERIFY_EXCEPTION_THROWN(op.call(cabinet), std::bad_alloc);
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(contentOf(*info), before);

    wall().reset();
    answerAll(op);
    QCOMPARE(op.call(cabinet), enSuccess);
}

void CabinetFrameTest::aThreadMayBeCancelledInACall()
{
#if defined(CANNOT_CANCEL_THREADS)
    QSKIP("this build's sanitizer does not follow a cancelled thread", "");
#endif
    // The thread ends by an unwinding; a handler on the way that does not rethrow it ends the process.
    const Operation &op = operation();
    answerAll(op);
    QSemaphore called;
    wall().scripts().on(QLatin1String(op.service)).run([&called](const Simulator::Call &) {
        called.release();
        for (;;)
            pause();
    });
    struct Caller {
        const Operation &operation;
        CabinetV4 cabinet;
        bool answered;
    } caller{op, CabinetV4(description().release()), false};
    const auto body = [](void *argument) -> void * {
        auto &self = *static_cast<Caller *>(argument);
        self.operation.call(self.cabinet);
        self.answered = true;
        return nullptr;
    };
    pthread_t thread;
    QCOMPARE(pthread_create(&thread, nullptr, body, &caller), 0);
    called.acquire();
    QCOMPARE(pthread_cancel(thread), 0);
    void *result = nullptr;
    QCOMPARE(pthread_join(thread, &result), 0);
    QCOMPARE(result, PTHREAD_CANCELED);
    QVERIFY(!caller.answered);
    VERIFY_NO_CRITICAL(*m_log);

    wall().reset();
    answerAll(op);
    QCOMPARE(op.call(caller.cabinet), enSuccess);
}

void CabinetFrameTest::everyCallIsMadeOnlyOnce()
{
    // Nothing is retried, remembered or left over: two calls send the same lines twice, also after a failure.
    const Operation &op = operation();
    answerAll(op);
    CabinetV4 cabinet(description().release());
    const QStringList once = filled(op.sent, QStringLiteral("A"), QStringLiteral("12"), QStringLiteral("12"));
    QCOMPARE(op.call(cabinet), enSuccess);
    QCOMPARE(op.call(cabinet), enSuccess);
    QCOMPARE(wall().journal().transcript(), once + once);

    wall().journal().clear();
    wall().scripts().on(QLatin1String(op.service)).times(1).answerFalse();
    QCOMPARE(op.call(cabinet), op.onFalse);
    m_log->takeCritical();
    wall().journal().clear();
    QCOMPARE(op.call(cabinet), enSuccess);
    QCOMPARE(wall().journal().transcript(), once);
}

void CabinetFrameTest::unknownDevicesTimeOut()
{
    // Without scripts the wall returns false for a device that it does not have.
    const Operation &op = operation();
    CabinetV4 cabinet(description(QStringLiteral("nowhere")).release());
    QCOMPARE(op.call(cabinet), op.onFalse);
    QCOMPARE(wall().journal().transcript(),
             filled(QStringList(op.sent.first()), QStringLiteral("nowhere"), QStringLiteral("12"), QStringLiteral("12")));
    QCOMPARE(m_log->takeCritical().isEmpty(), op.failures.isEmpty());
}

void CabinetFrameTest::onlyLinesAtCriticalLevelAreLeftWhenDebugIsOff()
{
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false"));
    for (const Operation &op : qAsConst(m_operations)) {
        wall().reset();
        answerAll(op);
        CabinetV4 cabinet(description().release());
        QCOMPARE(op.call(cabinet), enSuccess);
        QCOMPARE(m_log->takeDebug(), QStringList());
    }
}

QTEST_GUILESS_MAIN(CabinetFrameTest)
#include "tst_cabinetframe.moc"

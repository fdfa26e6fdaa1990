#include "CabinetFixture.h"

#include <Correction/CabinetV4.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMetaType>
#include <QtCore/QTemporaryDir>

#include <limits>
#include <optional>

using namespace Correction;
using namespace CabinetTests;

using Table = QMap<EnumGammaType, QList<int>>;

/// A type of a reply that holds a table and can be converted to a list.
struct DeviceCurve {
    QList<int> points;
};
Q_DECLARE_METATYPE(DeviceCurve)
Q_DECLARE_METATYPE(Table)

namespace {

constexpr int least = std::numeric_limits<int>::min();
constexpr int greatest = std::numeric_limits<int>::max();

QByteArray allBytes()
{
    QByteArray bytes;
    for (int i = 0; i < 256; ++i)
        bytes.append(static_cast<char>(i));
    return bytes;
}

} // namespace

class CabinetParametersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_log.reset(); }
    void init();
    void cleanup();

    void brightnessIsSentAsItIs_data();
    void brightnessIsSentAsItIs();
    void aRefusedBrightnessIsNotReported();

    void theBrightnessRangeIsRead_data();
    void theBrightnessRangeIsRead();
    void aFailedBrightnessRangeChangesNothing();

    void gammaTablesAreFiledWithGreenAndBlueExchanged();
    void gammaRepliesOfOtherKinds_data();
    void gammaRepliesOfOtherKinds();
    void gammaEntriesOfOtherChannelsStay();
    void failedGammaReadsChangeNothing();
    void gammaTablesAreSentChannelByChannel_data();
    void gammaTablesAreSentChannelByChannel();
    void gammaTablesAreSentUpToTheFirstFailure_data();
    void gammaTablesAreSentUpToTheFirstFailure();
    void gammaTablesThatWereSentAreReadAgain();

    void effectModesAreSentAsTheyAre_data();
    void effectModesAreSentAsTheyAre();
    void effectModesAreRead_data();
    void effectModesAreRead();
    void aFailedEffectModeReadChangesNothing();

    void configurationsAreWritten_data();
    void configurationsAreWritten();
    void aLongerFileIsReplaced();
    void aRefusedConfigurationLeavesTheFileAlone();
    void filesThatCannotBeWrittenAreFoundAfterTheCall_data();
    void filesThatCannotBeWrittenAreFoundAfterTheCall();
    void aFileThatTakesOnlyAPartIsAFileError();
    void configurationsAreSent_data();
    void configurationsAreSent();
    void filesThatCannotBeOpenedAreFoundBeforeTheCall_data();
    void filesThatCannotBeOpenedAreFoundBeforeTheCall();
    void aFileThatCannotBeReadIsAFileError();
    void aFileThatEndsEarlyIsAFileError();
    void aFileThatIsTooLargeIsAFileError_data();
    void aFileThatIsTooLargeIsAFileError();
    void aConfigurationTravelsThereAndBack();

    void aFlagIsStoredWhenTheDeviceTookIt_data();
    void aFlagIsStoredWhenTheDeviceTookIt();
    void aRefusedFlagIsNotStored();
    void theStoredFlagIsReadWithoutADevice();
    void serialNumberFlagsDoNotChangeTheStoredFlag();
    void serialNumberFlagsLogTheWholeReply();
    void aRefusedSerialNumberFlagIsReported();

    void idsAreSentAsUnsignedNumbers_data();
    void idsAreSentAsUnsignedNumbers();

private:
    QString path(const char *name) const { return m_directory.filePath(QLatin1String(name)); }
    static QByteArray contentOfFile(const QString &path);
    static bool write(const QString &path, const QByteArray &bytes);

    std::optional<TestSupport::LogCapture> m_log; // made after the test library has installed its own handler
    QTemporaryDir m_directory;
};

void CabinetParametersTest::initTestCase()
{
    m_log.emplace();
    showDebugLines();
    QVERIFY(m_directory.isValid());
    QVERIFY((QMetaType::registerConverter<DeviceCurve, QList<int>>([](const DeviceCurve &curve) { return curve.points; })));
}

void CabinetParametersTest::init()
{
    wall().reset();
    m_log->clear();
}

void CabinetParametersTest::cleanup()
{
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

QByteArray CabinetParametersTest::contentOfFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
}

bool CabinetParametersTest::write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

// Brightness

void CabinetParametersTest::brightnessIsSentAsItIs_data()
{
    QTest::addColumn<int>("value");
    for (int value : {0, 1, 800, 10000, -1, least, greatest})
        QTest::newRow(qPrintable(QStringLiteral("brightness %1").arg(value))) << value;
}

void CabinetParametersTest::brightnessIsSentAsItIs()
{
    QFETCH(int, value);
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::setCabSingleBrightness")).answer(Map());
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.setBrightness(value), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(quoted("CabinetInfoOperator::setCabSingleBrightness('A', '12', {'value': int %1})").arg(value)));
}

void CabinetParametersTest::aRefusedBrightnessIsNotReported()
{
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::setCabSingleBrightness")).answerFalse();
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.setBrightness(800), enSuccess);
    QCOMPARE(wall().journal().transcript().size(), 1);
}

void CabinetParametersTest::theBrightnessRangeIsRead_data()
{
    QTest::addColumn<QVariant>("min");
    QTest::addColumn<QVariant>("max");
    QTest::addColumn<QVariant>("standard");
    QTest::addColumn<quint32>("expectedMin");
    QTest::addColumn<quint32>("expectedMax");
    QTest::addColumn<quint32>("expectedStandard");
    QTest::newRow("integers") << QVariant(10) << QVariant(900) << QVariant(500) << 10u << 900u << 500u;
    QTest::newRow("nothing at all") << QVariant() << QVariant() << QVariant() << 0u << 0u << 0u;
    QTest::newRow("only the minimum") << QVariant(3) << QVariant() << QVariant() << 3u << 0u << 0u;
    QTest::newRow("only the maximum") << QVariant() << QVariant(3) << QVariant() << 0u << 3u << 0u;
    QTest::newRow("only the default") << QVariant() << QVariant() << QVariant(3) << 0u << 0u << 3u;
    QTest::newRow("values beyond all signed integers") << QVariant(4294967295u) << QVariant(qulonglong(4294967295u))
                                                       << QVariant(2147483648u) << 4294967295u << 4294967295u << 2147483648u;
    QTest::newRow("texts") << QVariant(QStringLiteral("7")) << QVariant(QStringLiteral("none"))
                           << QVariant(QStringLiteral("")) << 7u << 0u << 0u;
    QTest::newRow("maps and lists") << QVariant(Map()) << QVariant(List{1}) << QVariant(QStringList()) << 0u << 0u << 0u;
}

void CabinetParametersTest::theBrightnessRangeIsRead()
{
    QFETCH(QVariant, min);
    QFETCH(QVariant, max);
    QFETCH(QVariant, standard);
    Map reply{{QStringLiteral("brightness"), Map{{QStringLiteral("min"), 77}}}}; // flat keys, not paths
    if (min.isValid())
        reply.insert(QStringLiteral("brightness.min"), min);
    if (max.isValid())
        reply.insert(QStringLiteral("brightness.max"), max);
    if (standard.isValid())
        reply.insert(QStringLiteral("brightness.default"), standard);
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::getCabinetBrightnessRange")).answer(reply);
    CabinetV4 cabinet(description().release());
    BrightnessRange range;
    range.min = range.max = range.defaultValue = 99;
    QCOMPARE(cabinet.getBrightnessRange(range), enSuccess);
    QTEST(range.min, "expectedMin");
    QTEST(range.max, "expectedMax");
    QTEST(range.defaultValue, "expectedStandard");
    QCOMPARE(wall().journal().transcript(),
             QStringList(quoted("CabinetInfoOperator::getCabinetBrightnessRange('A', '12')")));
}

void CabinetParametersTest::aFailedBrightnessRangeChangesNothing()
{
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::getCabinetBrightnessRange"))
        .answerFalseWith(Map{{QStringLiteral("brightness.min"), 1},
                             {QStringLiteral("brightness.max"), 2},
                             {QStringLiteral("brightness.default"), 3}});
    CabinetV4 cabinet(description().release());
    BrightnessRange range;
    range.min = 7;
    range.max = 8;
    range.defaultValue = 9;
    QCOMPARE(cabinet.getBrightnessRange(range), enTimeout);
    QCOMPARE(range.min, 7u);
    QCOMPARE(range.max, 8u);
    QCOMPARE(range.defaultValue, 9u);
}

// Gamma

void CabinetParametersTest::gammaTablesAreFiledWithGreenAndBlueExchanged()
{
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::getCabinetGammaCustomValue"))
        .answer(Map{{QStringLiteral("redGamma"), QVariant::fromValue(QList<int>{1, 2, 3})},
                    {QStringLiteral("greenGamma"), QVariant::fromValue(QList<int>{4, least})},
                    {QStringLiteral("blueGamma"), QVariant::fromValue(QList<int>{greatest})}});
    CabinetV4 cabinet(description().release());
    Table table{{enRedGamma, {9}}, {enGreenGamma, {9}}, {enBlueGamma, {9}}};
    QCOMPARE(cabinet.getGammaTable(table), enSuccess);
    QCOMPARE(table, (Table{{EnumGammaType(0), {1, 2, 3}}, {EnumGammaType(1), {greatest}}, {EnumGammaType(2), {4, least}}}));
    QCOMPARE(wall().journal().transcript(),
             QStringList(quoted("CabinetInfoOperator::getCabinetGammaCustomValue('A', '12')")));
}

void CabinetParametersTest::gammaRepliesOfOtherKinds_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QList<int>>("expected");
    QTest::newRow("a list of integers") << QVariant::fromValue(QList<int>{1, 2}) << QList<int>{1, 2};
    QTest::newRow("an empty list of integers") << QVariant::fromValue(QList<int>()) << QList<int>();
    QTest::newRow("something that can be converted") << QVariant::fromValue(DeviceCurve{{5, 6, 7}}) << QList<int>{5, 6, 7};
    QTest::newRow("a list of variants") << QVariant(List{1, 2}) << QList<int>();
    QTest::newRow("a text") << QVariant(QStringLiteral("1,2")) << QList<int>();
    QTest::newRow("a number") << QVariant(3) << QList<int>();
    QTest::newRow("a map") << QVariant(Map{{QStringLiteral("0"), 1}}) << QList<int>();
    QTest::newRow("nothing at all") << QVariant() << QList<int>();
}

void CabinetParametersTest::gammaRepliesOfOtherKinds()
{
    QFETCH(QVariant, value);
    QFETCH(QList<int>, expected);
    const struct {
        QString key;
        int channel;
    } channels[] = {{QStringLiteral("redGamma"), 0}, {QStringLiteral("blueGamma"), 1}, {QStringLiteral("greenGamma"), 2}};
    CabinetV4 cabinet(description().release());
    for (const auto &each : channels) {
        wall()
            .scripts()
            .on(QStringLiteral("CabinetInfoOperator::getCabinetGammaCustomValue"))
            .answer(Map{{each.key, value}});
        Table table{{enRedGamma, {9}}, {enGreenGamma, {9}}, {enBlueGamma, {9}}};
        QCOMPARE(cabinet.getGammaTable(table), enSuccess);
        Table whole{{enRedGamma, {}}, {enGreenGamma, {}}, {enBlueGamma, {}}};
        whole[EnumGammaType(each.channel)] = expected;
        QCOMPARE(table, whole);
    }
}

void CabinetParametersTest::gammaEntriesOfOtherChannelsStay()
{
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::getCabinetGammaCustomValue")).answer(Map());
    CabinetV4 cabinet(description().release());
    Table table{{EnumGammaType(-1), {1}}, {EnumGammaType(3), {2}}};
    QCOMPARE(cabinet.getGammaTable(table), enSuccess);
    QCOMPARE(
        table,
        (Table{{EnumGammaType(-1), {1}}, {enRedGamma, {}}, {enGreenGamma, {}}, {enBlueGamma, {}}, {EnumGammaType(3), {2}}}));

    QMultiMap<EnumGammaType, QList<int>> several;
    for (int i = 0; i < 3; ++i)
        several.insert(EnumGammaType(3), {i});
    table = several;
    QCOMPARE(cabinet.getGammaTable(table), enSuccess);
    QCOMPARE(table.values(), (QList<QList<int>>{{}, {}, {}, {2}, {1}, {0}}));
}

void CabinetParametersTest::failedGammaReadsChangeNothing()
{
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::getCabinetGammaCustomValue"))
        .answerFalseWith(Map{{QStringLiteral("redGamma"), QVariant::fromValue(QList<int>{1})}});
    CabinetV4 cabinet(description().release());
    Table table{{enRedGamma, {9}}};
    QCOMPARE(cabinet.getGammaTable(table), enTimeout);
    QCOMPARE(table, (Table{{enRedGamma, {9}}}));
}

void CabinetParametersTest::gammaTablesAreSentChannelByChannel_data()
{
    QTest::addColumn<Table>("table");
    QTest::addColumn<QStringList>("requests");
    QTest::newRow("no channel") << Table() << QStringList();
    QTest::newRow("one channel") << Table{{enBlueGamma, {1, -2}}}
                                 << QStringList(quoted("{'gammaTable': QList<int> [1, -2], 'type': int 2}"));
    QTest::newRow("an empty curve") << Table{{enRedGamma, {}}}
                                    << QStringList(quoted("{'gammaTable': QList<int> [], 'type': int 0}"));
    QTest::newRow("all channels, in ascending order")
        << Table{{enBlueGamma, {3}}, {enRedGamma, {1}}, {enGreenGamma, {2}}}
        << QStringList({quoted("{'gammaTable': QList<int> [1], 'type': int 0}"),
                        quoted("{'gammaTable': QList<int> [2], 'type': int 1}"),
                        quoted("{'gammaTable': QList<int> [3], 'type': int 2}")});
    QTest::newRow("channels that the library does not know")
        << Table{{EnumGammaType(greatest), {7}}, {EnumGammaType(10), {6}}, {EnumGammaType(-1), {5}}, {EnumGammaType(9), {8}}}
        << QStringList({quoted("{'gammaTable': QList<int> [5], 'type': int -1}"),
                        quoted("{'gammaTable': QList<int> [8], 'type': int 9}"),
                        quoted("{'gammaTable': QList<int> [6], 'type': int 10}"),
                        quoted("{'gammaTable': QList<int> [7], 'type': int 2147483647}")});
}

void CabinetParametersTest::gammaTablesAreSentChannelByChannel()
{
    QFETCH(Table, table);
    QFETCH(QStringList, requests);
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::setCabinetGammaCustomValue")).answer(Map());
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.setGammaTable(table), enSuccess);
    QStringList lines;
    for (const QString &request : qAsConst(requests))
        lines += quoted("CabinetInfoOperator::setCabinetGammaCustomValue('A', '12', %1)").arg(request);
    QCOMPARE(wall().journal().transcript(), lines);
}

void CabinetParametersTest::gammaTablesAreSentUpToTheFirstFailure_data()
{
    QTest::addColumn<int>("failing");
    QTest::newRow("the first") << 0;
    QTest::newRow("the second") << 1;
    QTest::newRow("the last") << 2;
}

void CabinetParametersTest::gammaTablesAreSentUpToTheFirstFailure()
{
    QFETCH(int, failing);
    const QString operation = QStringLiteral("CabinetInfoOperator::setCabinetGammaCustomValue");
    wall().scripts().on(operation).answer(Map());
    wall().scripts().on(operation).after(failing).times(1).answerFalse();
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.setGammaTable({{enRedGamma, {1}}, {enGreenGamma, {2}}, {enBlueGamma, {3}}}), enTimeout);
    QStringList lines;
    for (int channel = 0; channel <= failing; ++channel) {
        lines += quoted("CabinetInfoOperator::setCabinetGammaCustomValue('A', '12', "
                        "{'gammaTable': QList<int> [%1], 'type': int %2})")
                     .arg(channel + 1)
                     .arg(channel);
    }
    QCOMPARE(wall().journal().transcript(), lines);
}

void CabinetParametersTest::gammaTablesThatWereSentAreReadAgain()
{
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 1, 1, QSize(4, 3), 12)});
    CabinetV4 cabinet(description().release());
    const Table sent{{enRedGamma, {1, 2}}, {enGreenGamma, {3, 4}}, {enBlueGamma, {5, 6}}};
    QCOMPARE(cabinet.setGammaTable(sent), enSuccess);
    Table read;
    QCOMPARE(cabinet.getGammaTable(read), enSuccess);
    QCOMPARE(read, sent);
    QCOMPARE(wall().journal().notes(), QStringList());
}

// Effect mode

void CabinetParametersTest::effectModesAreSentAsTheyAre_data()
{
    QTest::addColumn<int>("mode");
    for (int mode : {0, 1, 255, -1, least, greatest})
        QTest::newRow(qPrintable(QStringLiteral("mode %1").arg(mode))) << mode;
}

void CabinetParametersTest::effectModesAreSentAsTheyAre()
{
    QFETCH(int, mode);
    const QString operation = QStringLiteral("Correctionop::setCabinetEffectMode");
    const QString line = quoted("Correctionop::setCabinetEffectMode('A', '12', {'type': int %1})").arg(mode);
    wall().scripts().on(operation).answer(Map());
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.setEffectMode(EnumEffectMode(mode)), enSuccess);
    wall().scripts().on(operation).answerFalse();
    QCOMPARE(cabinet.setEffectMode(EnumEffectMode(mode)), enTimeout);
    QCOMPARE(wall().journal().transcript(), QStringList({line, line}));
}

void CabinetParametersTest::effectModesAreRead_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<int>("expected");
    const QString key = QStringLiteral("mode");
    QTest::newRow("an integer") << QVariant(Map{{key, 5}}) << 5;
    QTest::newRow("a negative integer") << QVariant(Map{{key, -5}}) << -5;
    QTest::newRow("the greatest integer") << QVariant(Map{{key, greatest}}) << greatest;
    QTest::newRow("a text") << QVariant(Map{{key, QStringLiteral("7")}}) << 7;
    QTest::newRow("a text that is not a number") << QVariant(Map{{key, QStringLiteral("off")}}) << 0;
    QTest::newRow("a list") << QVariant(Map{{key, List{1}}}) << 0;
    QTest::newRow("another key") << QVariant(Map{{QStringLiteral("type"), 5}}) << 0;
    QTest::newRow("nothing at all") << QVariant(Map()) << 0;
}

void CabinetParametersTest::effectModesAreRead()
{
    QFETCH(QVariant, reply);
    QFETCH(int, expected);
    wall().scripts().on(QStringLiteral("Correctionop::getCabinetEffectMode")).answer(reply);
    CabinetV4 cabinet(description().release());
    EnumEffectMode mode = EnumEffectMode(99);
    QCOMPARE(cabinet.tryGetEffectMode(mode), enSuccess);
    QCOMPARE(int(mode), expected);
    QCOMPARE(wall().journal().transcript(), QStringList(quoted("Correctionop::getCabinetEffectMode('A', '12')")));
}

void CabinetParametersTest::aFailedEffectModeReadChangesNothing()
{
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::getCabinetEffectMode"))
        .answerFalseWith(Map{{QStringLiteral("mode"), 5}});
    CabinetV4 cabinet(description().release());
    EnumEffectMode mode = EnumEffectMode(99);
    QCOMPARE(cabinet.tryGetEffectMode(mode), enTimeout);
    QCOMPARE(int(mode), 99);
}

// Configuration file

void CabinetParametersTest::configurationsAreWritten_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<QByteArray>("expected");
    const QString key = QStringLiteral("config");
    const QByteArray large = allBytes().repeated(1000) + "x";
    QTest::newRow("every byte") << QVariant(Map{{key, QString::fromLatin1(allBytes().toBase64())}}) << allBytes();
    QTest::newRow("a large file") << QVariant(Map{{key, QString::fromLatin1(large.toBase64())}}) << large;
    QTest::newRow("an empty text") << QVariant(Map{{key, QString()}}) << QByteArray();
    QTest::newRow("no configuration") << QVariant(Map()) << QByteArray();
    QTest::newRow("a number") << QVariant(Map{{key, 1234}}) << QByteArray::fromBase64("1234");
    QTest::newRow("a map") << QVariant(Map{{key, Map()}}) << QByteArray();
    QTest::newRow("base64 as bytes") << QVariant(Map{{key, allBytes().toBase64()}}) << allBytes();
    QTest::newRow("line breaks in the text")
        << QVariant(Map{{key, QStringLiteral("AQ\r\nID\nBA==\n")}}) << QByteArray("\x01\x02\x03\x04");
    QTest::newRow("no padding") << QVariant(Map{{key, QStringLiteral("AQIDBA")}}) << QByteArray("\x01\x02\x03\x04");
    QTest::newRow("other characters between")
        << QVariant(Map{{key, QStringLiteral("!A?QID\u20acBA")}}) << QByteArray("\x01\x02\x03\x04");
    QTest::newRow("line ends and zeros stay as they are")
        << QVariant(Map{{key, QString::fromLatin1(QByteArray("a\r\nb\nc\0d", 8).toBase64())}})
        << QByteArray("a\r\nb\nc\0d", 8);
}

void CabinetParametersTest::configurationsAreWritten()
{
    QFETCH(QVariant, reply);
    QFETCH(QByteArray, expected);
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::getConfigFile")).answer(reply);
    CabinetV4 cabinet(description().release());
    const QString file = path("written");
    QFile::remove(file);
    QCOMPARE(cabinet.getConfigFile(file), enSuccess);
    QCOMPARE(contentOfFile(file), expected);
    QCOMPARE(wall().journal().transcript(), QStringList(quoted("CabinetInfoOperator::getConfigFile('A', '12')")));
}

void CabinetParametersTest::aLongerFileIsReplaced()
{
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::getConfigFile"))
        .answer(Map{{QStringLiteral("config"), QStringLiteral("eHk=")}});
    CabinetV4 cabinet(description().release());
    const QString file = path("longer");
    QVERIFY(write(file, QByteArray(10000, 'o')));
    QCOMPARE(cabinet.getConfigFile(file), enSuccess);
    QCOMPARE(contentOfFile(file), QByteArray("xy"));
}

void CabinetParametersTest::aRefusedConfigurationLeavesTheFileAlone()
{
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::getConfigFile"))
        .answerFalseWith(Map{{QStringLiteral("config"), QStringLiteral("eHk=")}});
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    const QString existing = path("existing");
    QVERIFY(write(existing, "old"));
    QCOMPARE(cabinet.getConfigFile(existing), enTimeout);
    QCOMPARE(contentOfFile(existing), QByteArray("old"));
    const QString missing = path("missing");
    QCOMPARE(cabinet.getConfigFile(missing), enTimeout);
    QVERIFY(!QFile::exists(missing));
    const QString message = QStringLiteral("call getConfigFile() fail. timeout. device:%2");
    QCOMPARE(m_log->takeCritical(), QStringList({message, message}));
}

void CabinetParametersTest::filesThatCannotBeWrittenAreFoundAfterTheCall_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("in a missing directory") << path("no directory/file");
    QTest::newRow("a directory") << m_directory.path();
    QTest::newRow("an empty path") << QString();
}

void CabinetParametersTest::filesThatCannotBeWrittenAreFoundAfterTheCall()
{
    QFETCH(QString, file);
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::getConfigFile"))
        .answer(Map{{QStringLiteral("config"), QStringLiteral("eHk=")}});
    CabinetV4 cabinet(description().release());
    // Qt itself logs an empty path, once.
    if (file.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, "QFSFileEngine::open: No file name specified");
    QCOMPARE(cabinet.getConfigFile(file), enFileError);
    QCOMPARE(wall().journal().transcript(), QStringList(quoted("CabinetInfoOperator::getConfigFile('A', '12')")));
    QVERIFY(!QFileInfo::exists(path("no directory")));
}

void CabinetParametersTest::aFileThatTakesOnlyAPartIsAFileError()
{
    // A link to /dev/full, which is always full, simulates a full disk.
    const QString full = QStringLiteral("/dev/full");
    const QString file = path("full");
    if (!QFileInfo::exists(full) || !QFile::link(full, file))
        QSKIP("this system has no device that is always full", "");
    const QByteArray bytes(100000, 'x');
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::getConfigFile"))
        .answer(Map{{QStringLiteral("config"), QString::fromLatin1(bytes.toBase64())}});
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.getConfigFile(file), enFileError);
    QCOMPARE(m_log->takeCritical().size(), 1);

    // Also when all of it fits into the file's buffer.
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::getConfigFile"))
        .answer(Map{{QStringLiteral("config"), QStringLiteral("eHk=")}});
    QCOMPARE(cabinet.getConfigFile(file), enFileError);
    const QStringList lines = m_log->takeCritical();
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().contains(file), qPrintable(lines.first()));
}

void CabinetParametersTest::configurationsAreSent_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("an empty file") << QByteArray();
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("two bytes") << QByteArray("xy");
    QTest::newRow("every byte") << allBytes();
    QTest::newRow("a large file") << allBytes().repeated(1000);
    QTest::newRow("line ends and zeros") << QByteArray("a\r\nb\nc\0d", 8);
}

void CabinetParametersTest::configurationsAreSent()
{
    QFETCH(QByteArray, content);
    const QString operation = QStringLiteral("CabinetInfoOperator::setSingleConfigFile");
    const QString file = path("sent");
    QVERIFY(write(file, content));
    const QString line = quoted("CabinetInfoOperator::setSingleConfigFile('A', '12', "
                                "{'config': '%1', 'idList': [qulonglong 12]})")
                             .arg(QString::fromLatin1(content.toBase64()));
    CabinetV4 cabinet(description().release());
    wall().scripts().on(operation).answer(Map{{QStringLiteral("code"), 5}});
    QCOMPARE(cabinet.setConfigFile(file), enSuccess);
    VERIFY_NO_CRITICAL(*m_log);
    wall().scripts().on(operation).answerFalse();
    QCOMPARE(cabinet.setConfigFile(file), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("call setSingleConfigFile() fail. timeout. device:A")));
    QCOMPARE(wall().journal().transcript(), QStringList({line, line}));
    QCOMPARE(contentOfFile(file), content);
}

void CabinetParametersTest::filesThatCannotBeOpenedAreFoundBeforeTheCall_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("a missing file") << path("no file");
    QTest::newRow("a file in a missing directory") << path("no directory/file");
    QTest::newRow("a directory") << m_directory.path();
    QTest::newRow("an empty path") << QString();
}

void CabinetParametersTest::filesThatCannotBeOpenedAreFoundBeforeTheCall()
{
    QFETCH(QString, file);
    wall().scripts().on(QString()).answer(Map());
    CabinetV4 cabinet(description().release());
    if (file.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, "QFSFileEngine::open: No file name specified");
    QCOMPARE(cabinet.setConfigFile(file), enFileError);
    QCOMPARE(wall().journal().transcript(), QStringList());
    QVERIFY(!QFileInfo::exists(path("no file")));
}

void CabinetParametersTest::aFileThatCannotBeReadIsAFileError()
{
    // The process's memory can be opened like a file, but not read at its beginning.
    const QString memory = QStringLiteral("/proc/self/mem");
    const QString file = path("unreadable");
    QFile probe(memory);
    char byte = 0;
    if (!probe.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || probe.read(&byte, 1) >= 0 || !QFile::link(memory, file))
        QSKIP("this system has no file that opens and cannot be read", "");
    wall().scripts().on(QString()).answer(Map());
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.setConfigFile(file), enFileError);
    const QStringList lines = m_log->takeCritical();
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().contains(file), qPrintable(lines.first()));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetParametersTest::aFileThatEndsEarlyIsAFileError()
{
    // The kernel's settings report a page as their size, and hold less.
    const QString setting = QStringLiteral("/sys/class/net/lo/mtu");
    QFile probe(setting);
    if (!probe.open(QIODevice::ReadOnly) || probe.readAll().size() >= probe.size())
        QSKIP("this system has no file that is shorter than its size", "");
    wall().scripts().on(QString()).answer(Map());
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.setConfigFile(setting), enFileError);
    QCOMPARE(m_log->takeCritical(),
             QStringList(QStringLiteral("cannot read the configuration file %1: it ended early").arg(setting)));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetParametersTest::aFileThatIsTooLargeIsAFileError_data()
{
    QTest::addColumn<qint64>("size");
    QTest::newRow("more than one byte array holds") << (qint64(3) << 30);
    QTest::newRow("more than one string holds as base64") << qint64(810000000);
}

void CabinetParametersTest::aFileThatIsTooLargeIsAFileError()
{
    QFETCH(qint64, size);
    const QString file = path("large");
    QFile sparse(file);
    QVERIFY(sparse.open(QIODevice::WriteOnly));
    if (!sparse.resize(size))
        QSKIP("this system has no sparse files", "");
    sparse.close();
    wall().scripts().on(QString()).answer(Map());
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.setConfigFile(file), enFileError);
    const QStringList lines = m_log->takeCritical();
    QCOMPARE(lines.size(), 1);
    QCOMPARE(lines.first(),
             QStringLiteral("cannot read the configuration file %1: it is too large for one request").arg(file));
    QCOMPARE(wall().journal().transcript(), QStringList());
    QVERIFY(QFile::remove(file));
}

void CabinetParametersTest::aConfigurationTravelsThereAndBack()
{
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 1, 1, QSize(4, 3), 12)});
    CabinetV4 cabinet(description().release());
    const QString file = path("round trip %1");
    QVERIFY(write(file, allBytes()));
    QCOMPARE(cabinet.setConfigFile(file), enSuccess);
    QCOMPARE(wall().state().configFile(QStringLiteral("A"), QStringLiteral("12")), allBytes());
    QVERIFY(QFile::remove(file));
    QCOMPARE(cabinet.getConfigFile(file), enSuccess);
    QCOMPARE(contentOfFile(file), allBytes());
    QCOMPARE(wall().journal().notes(), QStringList());
}

// Flags

void CabinetParametersTest::aFlagIsStoredWhenTheDeviceTookIt_data()
{
    QTest::addColumn<QString>("flag");
    QTest::newRow("a word") << QStringLiteral("new");
    QTest::newRow("an empty text") << QStringLiteral("");
    QTest::newRow("placeholders") << QStringLiteral("%1%2");
    QTest::newRow("other scripts") << QStringLiteral("\u7bb1\u4f53");
}

void CabinetParametersTest::aFlagIsStoredWhenTheDeviceTookIt()
{
    QFETCH(QString, flag);
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::setCabinetFlag"))
        .answer(Map{{QStringLiteral("flag"), QStringLiteral("the reply's")}});
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    QCOMPARE(cabinet.setFlag(flag), enSuccess);
    QCOMPARE(info->flag, flag);
    QString read = QStringLiteral("caller");
    QCOMPARE(cabinet.getFlag(read), enSuccess);
    QCOMPARE(read, flag);
    QCOMPARE(wall().journal().transcript(),
             QStringList(QStringLiteral("CabinetInfoOperator::setCabinetFlag(\"A\", \"12\", {\"flag\": \"") + flag
                         + QStringLiteral("\"})")));
}

void CabinetParametersTest::aRefusedFlagIsNotStored()
{
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::setCabinetFlag")).answerFalse();
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    QCOMPARE(cabinet.setFlag(QStringLiteral("new")), enTimeout);
    QCOMPARE(info->flag, QStringLiteral("old flag"));
    QCOMPARE(wall().journal().transcript(),
             QStringList(quoted("CabinetInfoOperator::setCabinetFlag('A', '12', {'flag': 'new'})")));
}

void CabinetParametersTest::theStoredFlagIsReadWithoutADevice()
{
    CabinetV4 cabinet(description().release());
    QString flag;
    QCOMPARE(cabinet.getFlag(flag), enSuccess);
    QCOMPARE(flag, QStringLiteral("old flag"));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetParametersTest::serialNumberFlagsDoNotChangeTheStoredFlag()
{
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 1, 1, QSize(4, 3), 12)});
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.setCabinetflags(QStringLiteral("serial")), enSuccess);
    QCOMPARE(wall().state().flag(QStringLiteral("A"), QStringLiteral("12")), QStringLiteral("serial"));
    QString flag;
    QCOMPARE(cabinet.getFlag(flag), enSuccess);
    QCOMPARE(flag, QStringLiteral("old flag"));
    QCOMPARE(wall().journal().transcript(), QStringList(quoted("CabinetInfoOperator::setCabinetSnflags('A', "
                                                               "[{'flag': 'serial', 'id': qulonglong 12}])")));
    QCOMPARE(wall().journal().notes(), QStringList());
    m_log->takeDebug();
}

void CabinetParametersTest::serialNumberFlagsLogTheWholeReply()
{
    const QString operation = QStringLiteral("CabinetInfoOperator::setCabinetSnflags");
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    wall().scripts().on(operation).answer(Map{{QStringLiteral("b"), 2}, {QStringLiteral("a"), QStringLiteral("x")}});
    QCOMPARE(cabinet.setCabinetflags(QStringLiteral("serial")), enSuccess);
    wall().scripts().on(operation).answer(Map());
    QCOMPARE(cabinet.setCabinetflags(QStringLiteral("serial")), enSuccess);
    const QStringList begin{QStringLiteral("setCabinetflags "), QStringLiteral("deviceKey:"), QStringLiteral("\"%2\""),
                            QStringLiteral(" res :")};
    QCOMPARE(m_log->takeDebug(),
             QStringList({row(begin + QStringList(quoted("QMap(('a', QVariant(QString, 'x'))('b', QVariant(int, 2)))"))),
                          row(begin + QStringList(QStringLiteral("QMap()")))}));
}

void CabinetParametersTest::aRefusedSerialNumberFlagIsReported()
{
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::setCabinetSnflags"))
        .answerFalseWith(Map{{QStringLiteral("code"), 1}});
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    QCOMPARE(cabinet.setCabinetflags(QStringLiteral("serial")), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("call setCabinetSnflags() fail. timeout. device:%2")));
    QCOMPARE(wall().journal().transcript(), QStringList(quoted("CabinetInfoOperator::setCabinetSnflags('%2', "
                                                               "[{'flag': 'serial', 'id': qulonglong 12}])")));
}

void CabinetParametersTest::idsAreSentAsUnsignedNumbers_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("number");
    QTest::newRow("a small number") << QStringLiteral("12") << QStringLiteral("12");
    QTest::newRow("leading zeros are decimal") << QStringLiteral("0017") << QStringLiteral("17");
    QTest::newRow("beyond all signed numbers")
        << QStringLiteral("9223372036854775808") << QStringLiteral("9223372036854775808");
    QTest::newRow("the greatest number") << QStringLiteral("18446744073709551615") << QStringLiteral("18446744073709551615");
    QTest::newRow("one more is no number") << QStringLiteral("18446744073709551616") << QStringLiteral("0");
    QTest::newRow("hexadecimal digits") << QStringLiteral("ff") << QStringLiteral("0");
    QTest::newRow("a negative number") << QStringLiteral("-5") << QStringLiteral("0");
    QTest::newRow("a null text") << QString() << QStringLiteral("0");
}

void CabinetParametersTest::idsAreSentAsUnsignedNumbers()
{
    QFETCH(QString, id);
    QFETCH(QString, number);
    wall().scripts().on(QString()).answer(Map());
    const QString file = path("numbered");
    QVERIFY(write(file, "x"));
    CabinetV4 cabinet(description(QStringLiteral("A"), id).release());
    QCOMPARE(cabinet.setConfigFile(file), enSuccess);
    QCOMPARE(cabinet.setCabinetflags(QStringLiteral("f")), enSuccess);
    const QStringList lines = wall().journal().transcript();
    QCOMPARE(lines.size(), 2);
    QVERIFY2(lines.at(0).endsWith(quoted("{'config': 'eA==', 'idList': [qulonglong %1]})").arg(number)),
             qPrintable(lines.at(0)));
    QCOMPARE(lines.at(1), quoted("CabinetInfoOperator::setCabinetSnflags('A', "
                                 "[{'flag': 'f', 'id': qulonglong %1}])")
                              .arg(number));
    m_log->takeDebug();
}

QTEST_GUILESS_MAIN(CabinetParametersTest)
#include "tst_cabinetparameters.moc"

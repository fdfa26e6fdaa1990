// Screen operations: how a screen calls its sub-screens, and what it returns for their codes.

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/Coefficient.h>
#include <Correction/LowGrayCoefficient.h>
#include <Correction/MultilayerCoefficient.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>

#include <simulator/VirtualWall.h>
#include <support/LogCapture.h>
#include <support/Rectangles.h>
#include <support/Values.h>

#include <QtPromise>

#include <QtCore/QRandomGenerator>
#include <QtTest/QtTest>

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

using namespace Correction;
using Simulator::VirtualWall;
using TestSupport::numbered;
using TestSupport::partition;

namespace {

using Values = QVector<unsigned short>;
using GammaTable = QMap<EnumGammaType, QList<int>>;

constexpr int intMax = std::numeric_limits<int>::max();
constexpr int intMin = std::numeric_limits<int>::min();

/// Of any rectangle, also one that is wider than an int.
QString text(const QRect &rect)
{
    return QStringLiteral("%1,%2 %3x%4")
        .arg(rect.x())
        .arg(rect.y())
        .arg(qint64(rect.right()) - rect.left() + 1)
        .arg(qint64(rect.bottom()) - rect.top() + 1);
}

QString text(const DrawingParameter &param)
{
    return QStringLiteral("%1 / %2 / %3 / %4 / %5")
        .arg(text(param.screenPartRect), text(param.pixelBlockInRect), param.color.name(),
             QString::number(param.pixelBlockIntervalX), QString::number(param.pixelBlockIntervalY));
}

QString text(const DrawingCheckerboard &param)
{
    QStringList colors;
    for (const QColor &color : param.colors)
        colors.append(color.name());
    return QStringLiteral("%1 / %2 / %3 %4 %5 %6")
        .arg(text(param.regionRect), colors.join(QLatin1Char(' ')), QString::number(param.squareW),
             QString::number(param.squareH), QString::number(param.lastSquareColumnW),
             QString::number(param.lastSquareRowH));
}

QString text(const GammaTable &table)
{
    QStringList entries;
    for (auto entry = table.cbegin(); entry != table.cend(); ++entry) {
        QStringList values;
        for (const int value : entry.value())
            values.append(QString::number(value));
        entries.append(QStringLiteral("%1: %2").arg(entry.key()).arg(values.join(QLatin1Char(' '))));
    }
    return entries.join(QStringLiteral(", "));
}

QString text(const MultilayerParamV2 &param)
{
    QStringList layers;
    for (const MultilayerParamInfo &layer : param.params)
        layers.append(QStringLiteral("%1 %2").arg(layer.inLayer).arg(layer.inVldBitLayer));
    return layers.join(QStringLiteral(", "));
}

/// Writes every call with its arguments into a journal and returns a code of the test.
class FakeSubScreen : public ISubScreen
{
public:
    FakeSubScreen(const QString &key, QStringList &journal) : m_key(key), m_journal(journal) {}

    EnumErrorCode code = enSuccess; ///< what every operation returns
    QRect rect;
    int rectFailsAfter = intMax; ///< further calls for the rectangle return enCabinetNotFound
    int cabinets = 0;            ///< descriptions and feature switches that it has
    int value = 0;               ///< what getters return
    std::function<EnumErrorCode(const QRect &, ICoefficient &)> read;

    bool addCabinet(QString, QString) override { return false; }
    bool removeCabinet(const QString &) override { return false; }
    void removeCabinets() override {}
    EnumErrorCode setABLEnable(bool enable) override { return note(QStringLiteral("setABLEnable %1").arg(enable)); }
    EnumErrorCode setXBit(EnumXBitMode mode, bool enable) override
    {
        return note(QStringLiteral("setXBit %1 %2").arg(mode).arg(enable));
    }
    EnumErrorCode lock() override { return note(QStringLiteral("lock")); }
    EnumErrorCode unLock() override { return note(QStringLiteral("unLock")); }
    EnumErrorCode tryGetRect(QRect &whole) override
    {
        note(QStringLiteral("tryGetRect %1").arg(text(whole)));
        whole |= rect;
        return m_rects++ < rectFailsAfter ? code : enCabinetNotFound;
    }
    EnumErrorCode tryGetAllCabinetInfoList(QList<CabinetInfo> &list) override
    {
        note(QStringLiteral("tryGetAllCabinetInfoList %1").arg(list.size()));
        for (int i = 0; i < cabinets; ++i) {
            list.append(CabinetInfo());
            list.last().id = m_key + QString::number(i);
        }
        return code;
    }
    EnumErrorCode setPixelImage(DrawingParameter param) override
    {
        return note(QStringLiteral("setPixelImage %1").arg(text(param)));
    }
    EnumErrorCode setCheckerboardlImage(DrawingCheckerboard param) override
    {
        note(QStringLiteral("setCheckerboardlImage %1").arg(text(param)));
        param.colors.clear();
        param.squareW = 0;
        return code;
    }
    EnumErrorCode setPixelImageMode(unsigned char mode) override
    {
        return note(QStringLiteral("setPixelImageMode %1").arg(mode));
    }
    EnumErrorCode tryGetCoefficients(const QRect &part, ICoefficient &grid) override
    {
        note(QStringLiteral("tryGetCoefficients %1 into kind %2 of %3x%4")
                 .arg(text(part), QString::number(grid.getType()), QString::number(grid.getPixelCol()),
                      QString::number(grid.getPixelRow())));
        return read ? read(part, grid) : code;
    }
    EnumErrorCode setCoefficients(const QRect &, ICoefficient &) override { return note(QStringLiteral("setCoefficients")); }
    QtPromise::QPromise<EnumErrorCode> setCoefficientsAsync(const QRect &, ICoefficient &) override
    {
        return QtPromise::QPromise<EnumErrorCode>::resolve(note(QStringLiteral("setCoefficientsAsync")));
    }
    EnumErrorCode saveParameter(EnumSaveType type) override { return note(QStringLiteral("saveParameter %1").arg(type)); }
    EnumErrorCode applyCoeffcient(EnumCoefficientType type) override
    {
        return note(QStringLiteral("applyCoeffcient %1").arg(type));
    }
    EnumErrorCode clearCoefficient(EnumCoefficientType type) override
    {
        return note(QStringLiteral("clearCoefficient %1").arg(type));
    }
    EnumErrorCode setEffectMode(EnumEffectMode mode) override { return note(QStringLiteral("setEffectMode %1").arg(mode)); }
    EnumErrorCode setBrightness(int brightness) override { return note(QStringLiteral("setBrightness %1").arg(brightness)); }
    EnumErrorCode getGammaTable(GammaTable &table) override
    {
        table.insert(enRedGamma, {value});
        return note(QStringLiteral("getGammaTable"));
    }
    EnumErrorCode setGammaTable(const GammaTable &table) override
    {
        return note(QStringLiteral("setGammaTable %1").arg(text(table)));
    }
    EnumErrorCode setMultilayerParameter(const MultilayerParam &param) override
    {
        return note(QStringLiteral("setMultilayerParameter %1 %2").arg(param.inLayer3).arg(param.inVldBitLayer34));
    }
    EnumErrorCode setMultilayerParameterV2(const MultilayerParamV2 &param) override
    {
        return note(QStringLiteral("setMultilayerParameterV2 %1").arg(text(param)));
    }
    EnumErrorCode getBrightnessRange(BrightnessRange &range) override
    {
        range.max = static_cast<quint32>(value);
        return note(QStringLiteral("getBrightnessRange"));
    }
    EnumErrorCode tryGetEffectMode(EnumEffectMode &mode) override
    {
        mode = EnumEffectMode(value);
        return note(QStringLiteral("tryGetEffectMode"));
    }
    EnumErrorCode setMutiCabinetSolid(EnumSaveType type) override
    {
        return note(QStringLiteral("setMutiCabinetSolid %1").arg(type));
    }
    EnumErrorCode isCheckerboardlImage() override { return note(QStringLiteral("isCheckerboardlImage")); }
    EnumErrorCode getScreenSupport(QVector<CabinetBaseInfo> &list) override
    {
        note(QStringLiteral("getScreenSupport %1").arg(list.size()));
        for (int i = 0; i < cabinets; ++i) {
            list.append(CabinetBaseInfo());
            list.last().multilayerCorrectionLayer = static_cast<quint8>(10 * value + i);
        }
        return code;
    }

private:
    EnumErrorCode note(const QString &call)
    {
        m_journal.append(m_key + QLatin1Char(' ') + call);
        return code;
    }

    QString m_key;
    QStringList &m_journal;
    int m_rects = 0;
};

DrawingParameter somePixels()
{
    DrawingParameter param;
    param.screenPartRect = QRect(1, 2, 3, 4);
    param.pixelBlockInRect = QRect(5, 6, 7, 8);
    param.color = QColor(9, 10, 11);
    param.pixelBlockIntervalX = 12;
    param.pixelBlockIntervalY = 13;
    return param;
}

/// 20 x 15 pixels: three squares and a rest of 5, three squares and a rest of 3.
DrawingCheckerboard someBoard()
{
    DrawingCheckerboard board;
    board.regionRect = QRect(1, 2, 20, 15);
    board.colors = {QColor(1, 2, 3), QColor(4, 5, 6)};
    board.squareW = 5;
    board.squareH = 4;
    board.lastSquareColumnW = 5;
    board.lastSquareRowH = 3;
    return board;
}

const GammaTable someTable{{enRedGamma, {1, 2}}, {enBlueGamma, {3}}};

MultilayerParam someLayers()
{
    MultilayerParam param;
    param.inLayer3 = 33;
    param.inVldBitLayer34 = 34;
    return param;
}

MultilayerParamV2 someLayersV2()
{
    MultilayerParamInfo info;
    info.inLayer = 7;
    info.inVldBitLayer = 8;
    MultilayerParamV2 param;
    param.params = {info, info};
    return param;
}

/// An operation that a screen calls on every sub-screen: the call, and the line of its failure (%1 the key, %2 the code).
struct Setter {
    const char *name;
    std::function<EnumErrorCode(ScreenV4 &)> run;
    QString call;
    QString failure;
    QString empty = QStringLiteral("Object Subscreen is Empty. SubScreen key: %1");
};

const QVector<Setter> &setters()
{
    static const QVector<Setter> rows{
        {"switching ABL on", [](ScreenV4 &s) { return s.setABLEnable(true); }, QStringLiteral("setABLEnable 1"),
         QStringLiteral("Failed to set subscreen abl enable. SubScreen key: %1 enable: 1")},
        {"switching ABL off", [](ScreenV4 &s) { return s.setABLEnable(false); }, QStringLiteral("setABLEnable 0"),
         QStringLiteral("Failed to set subscreen abl enable. SubScreen key: %1 enable: 0")},
        {"x-bit on", [](ScreenV4 &s) { return s.setXBit(EnumXBitMode(17), true); }, QStringLiteral("setXBit 17 1"),
         QStringLiteral("Failed to set subscreen abl enable. SubScreen key: %1 code: 17 save type: 1")},
        {"x-bit off", [](ScreenV4 &s) { return s.setXBit(EnumXBitMode(-1), false); }, QStringLiteral("setXBit -1 0"),
         QStringLiteral("Failed to set subscreen abl enable. SubScreen key: %1 code: -1 save type: 0")},
        {"locking", [](ScreenV4 &s) { return s.lock(); }, QStringLiteral("lock"),
         QStringLiteral("Failed to lock. SubScreen key: %1 code: %2")},
        {"unlocking", [](ScreenV4 &s) { return s.unLock(); }, QStringLiteral("unLock"),
         QStringLiteral("Failed to unlock. SubScreen key: %1 code: %2")},
        {"the rectangle",
         [](ScreenV4 &s) {
             QRect rect;
             return s.tryGetRect(rect);
         },
         QStringLiteral("tryGetRect 0,0 0x0"), QStringLiteral("Failed to get subScreen rect. SubScreen key: %1 code: %2")},
        {"the cabinet list",
         [](ScreenV4 &s) {
             QList<CabinetInfo> list;
             return s.tryGetAllCabinetInfoList(list);
         },
         QStringLiteral("tryGetAllCabinetInfoList 0"),
         QStringLiteral("Failed to set correction mode. SubScreen key: %1 code: %2")},
        {"a pixel image", [](ScreenV4 &s) { return s.setPixelImage(somePixels()); },
         QStringLiteral("setPixelImage 1,2 3x4 / 5,6 7x8 / #090a0b / 12 / 13"),
         QStringLiteral("Failed to draw. SubScreen key: %1 code: %2")},
        {"a checkerboard", [](ScreenV4 &s) { return s.setCheckerboardlImage(someBoard()); },
         QStringLiteral("setCheckerboardlImage 1,2 20x15 / #010203 #040506 / 5 4 5 3"),
         QStringLiteral("call ScreenV4::setCheckerboardlImage() Failed to draw. SubScreen key: %1 code: %2"),
         QStringLiteral("call ScreenV4::setCheckerboardlImage() Object Subscreen is Empty. SubScreen key: %1")},
        {"the image mode", [](ScreenV4 &s) { return s.setPixelImageMode(200); }, QStringLiteral("setPixelImageMode 200"),
         QStringLiteral("Failed to set Image enable. SubScreen key: %1 code:%2")},
        {"saving", [](ScreenV4 &s) { return s.saveParameter(enSaveLowgrayCoefficient); }, QStringLiteral("saveParameter 2"),
         QStringLiteral("Failed to save subscreen parameter. SubScreen key: %1 code: %2 save type: 2")},
        {"saving an unknown kind", [](ScreenV4 &s) { return s.saveParameter(EnumSaveType(-9)); },
         QStringLiteral("saveParameter -9"),
         QStringLiteral("Failed to save subscreen parameter. SubScreen key: %1 code: %2 save type: -9")},
        {"applying", [](ScreenV4 &s) { return s.applyCoeffcient(enMultilayerCoefficient); },
         QStringLiteral("applyCoeffcient 1"),
         QStringLiteral("Failed to save subscreen parameter. SubScreen key: %1 code: %2 save type: 1")},
        {"filling", [](ScreenV4 &s) { return s.setMutiCabinetSolid(EnumSaveType(3)); },
         QStringLiteral("setMutiCabinetSolid 3"),
         QStringLiteral("Failed to save subscreen parameter. SubScreen key: %1 code: %2 save type: 3")},
        {"clearing", [](ScreenV4 &s) { return s.clearCoefficient(enLowgrayCoefficient); },
         QStringLiteral("clearCoefficient 2"),
         QStringLiteral("Failed to clear subscreen parameter. SubScreen key: %1 code: %2 save type: 2")},
        {"the effect mode", [](ScreenV4 &s) { return s.setEffectMode(EnumEffectMode(44)); },
         QStringLiteral("setEffectMode 44"), QStringLiteral("Failed to set correction mode. SubScreen key: %1 code:%2")},
        {"the brightness", [](ScreenV4 &s) { return s.setBrightness(-5); }, QStringLiteral("setBrightness -5"),
         QStringLiteral("Failed to set brightness. SubScreen key: %1 code:%2")},
        {"the gamma table", [](ScreenV4 &s) { return s.setGammaTable(someTable); },
         QStringLiteral("setGammaTable 0: 1 2, 2: 3"),
         QStringLiteral("Failed to set gamma table. SubScreen key: %1 code:%2")},
        {"multilayer parameters", [](ScreenV4 &s) { return s.setMultilayerParameter(someLayers()); },
         QStringLiteral("setMultilayerParameter 33 34"),
         QStringLiteral("Failed to set multilayer parameter. SubScreen key: %1 code:%2")},
        {"multilayer parameters, version 2", [](ScreenV4 &s) { return s.setMultilayerParameterV2(someLayersV2()); },
         QStringLiteral("setMultilayerParameterV2 7 8, 7 8"),
         QStringLiteral("Failed to set setMultilayerParameterV2 parameter. SubScreen key: %1 code:%2")},
        {"the feature switches",
         [](ScreenV4 &s) {
             QVector<CabinetBaseInfo> list;
             return s.getScreenSupport(list);
         },
         QStringLiteral("getScreenSupport 0"),
         QStringLiteral("Failed to set getScreenSupport parameter. SubScreen key: %1 code:%2"),
         QStringLiteral("Object getScreenSupport is Empty. SubScreen key: %1")},
    };
    return rows;
}

/// A getter, with the value that it gave as a number.
struct Getter {
    const char *name;
    EnumErrorCode (*run)(ScreenV4 &, int &);
    const char *call;
    const char *failure;
};

const Getter getters[] = {
    {"the effect mode",
     [](ScreenV4 &s, int &value) {
         EnumEffectMode mode{};
         const EnumErrorCode code = s.tryGetEffectMode(mode);
         value = mode;
         return code;
     },
     "tryGetEffectMode", "Failed to get effect mode. code:"},
    {"the gamma table",
     [](ScreenV4 &s, int &value) {
         GammaTable table;
         const EnumErrorCode code = s.getGammaTable(table);
         value = table.value(enRedGamma).value(0);
         return code;
     },
     "getGammaTable", "Failed to get gamma table. code:"},
    {"the brightness range",
     [](ScreenV4 &s, int &value) {
         BrightnessRange range;
         const EnumErrorCode code = s.getBrightnessRange(range);
         value = static_cast<int>(range.max);
         return code;
     },
     "getBrightnessRange", "Failed to get brightness range. code:"},
};

} // namespace

Q_DECLARE_METATYPE(DrawingCheckerboard)

class tst_ScreenOperations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void cleanupTestCase();

    void settersVisitEverySubScreenInKeyOrder_data();
    void settersVisitEverySubScreenInKeyOrder();
    void settersStopAtTheFirstFailure_data();
    void settersStopAtTheFirstFailure();
    void settersStopAtANullSubScreen_data();
    void settersStopAtANullSubScreen();
    void settersOfAnEmptyScreenSucceed_data();
    void settersOfAnEmptyScreenSucceed();
    void keysWithPlaceholdersStayKeys_data();
    void keysWithPlaceholdersStayKeys();
    void theImageModeIsFramedByTwoLines();

    void gettersTakeTheFirstAnswer_data();
    void gettersTakeTheFirstAnswer();
    void gettersAnswerFiveWhenNobodyDoes_data();
    void gettersAnswerFiveWhenNobodyDoes();
    void gettersOfAnEmptyScreenAnswerFive_data();
    void gettersOfAnEmptyScreenAnswerFive();
    void gettersStopAtANullSubScreen_data();
    void gettersStopAtANullSubScreen();

    void theRectangleIsUnitedWithTheCallers();
    void cabinetListsAreAppendedWhenTheyAreWhole();
    void featureSwitchesAreAppendedWhenTheyAreWhole();

    void theBoardIsCheckedFirst_data();
    void theBoardIsCheckedFirst();
    void everySubScreenGetsItsOwnCopyOfTheBoard();

    void aReadCollectsThePartsOfEverySubScreen();
    void aReadSkipsSubScreensThatItDoesNotMeet();
    void aReadMakesGridsOfTheCallersKind();
    void aReadNeedsTheScreensRectangle();
    void aReadStopsAtANullSubScreen();
    void aReadNeedsEverySubScreensRectangle();
    void aReadOutsideTheScreenIsRefused_data();
    void aReadOutsideTheScreenIsRefused();
    void aReadMayTouchTheScreensEdges_data();
    void aReadMayTouchTheScreensEdges();
    void aReadOfAnUnknownKindIsRefused_data();
    void aReadOfAnUnknownKindIsRefused();
    void aFailedPartEndsTheReadAndKeepsTheOthers();
    void aPartThatDoesNotFitTheCallersGrid();
    void absurdReadsDoNoHarm_data();
    void absurdReadsDoNoHarm();
    void wholeSubScreensAreReadBack_data();
    void wholeSubScreensAreReadBack();
    void aPartAwayFromItsSubScreensCornerDoesNotFit();

    void namesAreAskedOfEveryDevice();
    void aDeviceWithoutHardwareInformationEndsTheNames();
    void theCheckerboardFeatureNeedsEverySubScreen_data();
    void theCheckerboardFeatureNeedsEverySubScreen();

private:
    static VirtualWall &wall() { return VirtualWall::instance(); }
    FakeSubScreen &add(const QString &key);
    void addNull(const QString &key);
    void addSetterRows();
    void addGetterRows();

    std::optional<TestSupport::LogCapture> m_log; // one for each test: Qt Test installs its own handler first
    QStringList m_journal;
    std::unique_ptr<ScreenV4> m_screen;
    std::vector<std::unique_ptr<CabinetInfo>> m_records; // the registry releases cabinets without them
};

void tst_ScreenOperations::init()
{
    wall().reset();
    m_journal.clear();
    m_screen = std::make_unique<ScreenV4>();
    m_log.emplace();
}

void tst_ScreenOperations::cleanup()
{
    m_screen.reset();
    CabinetManager::getInstance()->removeCabinets();
    m_records.clear();
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_ScreenOperations::cleanupTestCase()
{
    m_log.reset();
}

FakeSubScreen &tst_ScreenOperations::add(const QString &key)
{
    auto *subScreen = new FakeSubScreen(key, m_journal);
    m_screen->addSubScreen(key, subScreen);
    return *subScreen;
}

void tst_ScreenOperations::addNull(const QString &key)
{
    m_screen->addSubScreen(key, nullptr);
}

void tst_ScreenOperations::addSetterRows()
{
    QTest::addColumn<int>("row");
    for (int i = 0; i < setters().size(); ++i)
        QTest::newRow(setters()[i].name) << i;
}

void tst_ScreenOperations::addGetterRows()
{
    QTest::addColumn<int>("row");
    for (int i = 0; i < 3; ++i)
        QTest::newRow(getters[i].name) << i;
}

// Setters

void tst_ScreenOperations::settersVisitEverySubScreenInKeyOrder_data()
{
    addSetterRows();
}

void tst_ScreenOperations::settersVisitEverySubScreenInKeyOrder()
{
    QFETCH(int, row);
    const Setter &setter = setters()[row];
    // "B10" comes before "B9": keys are texts.
    for (const char *key : {"C", "B9", "A", "B10"})
        add(QString::fromLatin1(key));
    QCOMPARE(setter.run(*m_screen), enSuccess);
    QStringList expected;
    for (const char *key : {"A ", "B10 ", "B9 ", "C "})
        expected.append(QString::fromLatin1(key) + setter.call);
    QCOMPARE(m_journal, expected);
}

void tst_ScreenOperations::settersStopAtTheFirstFailure_data()
{
    addSetterRows();
}

void tst_ScreenOperations::settersStopAtTheFirstFailure()
{
    QFETCH(int, row);
    const Setter &setter = setters()[row];
    for (const int code : {6, 77}) {
        m_journal.clear();
        m_screen->removeSubScreens();
        add(QStringLiteral("A"));
        add(QStringLiteral("B")).code = EnumErrorCode(code);
        add(QStringLiteral("C")).code = enFileError;
        QCOMPARE(int(setter.run(*m_screen)), code);
        QCOMPARE(m_journal, QStringList({QStringLiteral("A ") + setter.call, QStringLiteral("B ") + setter.call}));
        QString line = setter.failure;
        line.replace(QLatin1String("%1"), QLatin1String("B")).replace(QLatin1String("%2"), QString::number(code));
        QCOMPARE(m_log->takeCritical(), QStringList(line));
    }
}

void tst_ScreenOperations::settersStopAtANullSubScreen_data()
{
    addSetterRows();
}

void tst_ScreenOperations::settersStopAtANullSubScreen()
{
    QFETCH(int, row);
    const Setter &setter = setters()[row];
    add(QStringLiteral("A"));
    addNull(QStringLiteral("B"));
    add(QStringLiteral("C"));
    QCOMPARE(setter.run(*m_screen), enInvalidParameter);
    QCOMPARE(m_journal, QStringList(QStringLiteral("A ") + setter.call));
    QString line = setter.empty;
    QCOMPARE(m_log->takeCritical(), QStringList(line.replace(QLatin1String("%1"), QLatin1String("B"))));
}

void tst_ScreenOperations::settersOfAnEmptyScreenSucceed_data()
{
    addSetterRows();
}

void tst_ScreenOperations::settersOfAnEmptyScreenSucceed()
{
    QFETCH(int, row);
    QCOMPARE(setters()[row].run(*m_screen), enSuccess);
}

void tst_ScreenOperations::keysWithPlaceholdersStayKeys_data()
{
    addSetterRows();
}

void tst_ScreenOperations::keysWithPlaceholdersStayKeys()
{
    QFETCH(int, row);
    const Setter &setter = setters()[row];
    const QString key = QStringLiteral("%2 %3 %1");
    add(key).code = EnumErrorCode(6);
    QCOMPARE(int(setter.run(*m_screen)), 6);
    const int place = setter.failure.indexOf(QLatin1String("%1"));
    const QString rest = setter.failure.mid(place + 2).replace(QLatin1String("%2"), QLatin1String("6"));
    QCOMPARE(m_log->takeCritical(), QStringList(setter.failure.left(place) + key + rest));
}

void tst_ScreenOperations::theImageModeIsFramedByTwoLines()
{
    const QStringList lines{QStringLiteral("Correction::ScreenV4::setPixelImageMode : begin!"),
                            QStringLiteral("Correction::ScreenV4::setPixelImageMode : end!")};
    QCOMPARE(m_screen->setPixelImageMode(1), enSuccess);
    QCOMPARE(m_log->takeDebug(), lines);
    add(QStringLiteral("A")).code = enTimeout;
    QCOMPARE(m_screen->setPixelImageMode(1), enTimeout);
    QCOMPARE(m_log->takeDebug(), lines);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to set Image enable. SubScreen key: A code:5")));
}

// Getters

void tst_ScreenOperations::gettersTakeTheFirstAnswer_data()
{
    addGetterRows();
}

void tst_ScreenOperations::gettersTakeTheFirstAnswer()
{
    QFETCH(int, row);
    const Getter &getter = getters[row];
    FakeSubScreen &failing = add(QStringLiteral("A"));
    failing.code = enInvalidParameter;
    failing.value = 1;
    add(QStringLiteral("B")).value = 2;
    add(QStringLiteral("C")).value = 3;
    addNull(QStringLiteral("D"));
    int value = 0;
    QCOMPARE(getter.run(*m_screen, value), enSuccess);
    QCOMPARE(value, 2);
    QCOMPARE(m_journal, QStringList({QStringLiteral("A ") + QLatin1String(getter.call),
                                     QStringLiteral("B ") + QLatin1String(getter.call)}));
}

void tst_ScreenOperations::gettersAnswerFiveWhenNobodyDoes_data()
{
    addGetterRows();
}

void tst_ScreenOperations::gettersAnswerFiveWhenNobodyDoes()
{
    QFETCH(int, row);
    const Getter &getter = getters[row];
    add(QStringLiteral("A")).code = enTimeout;
    FakeSubScreen &last = add(QStringLiteral("B"));
    last.code = enCabinetNotFound;
    last.value = 9;
    int value = 0;
    QCOMPARE(getter.run(*m_screen, value), enTimeout);
    QCOMPARE(value, 9); // the caller's own output was handed on
    QCOMPARE(m_journal.size(), 2);
    QCOMPARE(m_log->takeCritical(), QStringList(QString::fromLatin1(getter.failure) + QLatin1Char('8')));
}

void tst_ScreenOperations::gettersOfAnEmptyScreenAnswerFive_data()
{
    addGetterRows();
}

void tst_ScreenOperations::gettersOfAnEmptyScreenAnswerFive()
{
    QFETCH(int, row);
    int value = 0;
    QCOMPARE(getters[row].run(*m_screen, value), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QString::fromLatin1(getters[row].failure) + QLatin1Char('5')));
}

void tst_ScreenOperations::gettersStopAtANullSubScreen_data()
{
    addGetterRows();
}

void tst_ScreenOperations::gettersStopAtANullSubScreen()
{
    QFETCH(int, row);
    add(QStringLiteral("A")).code = enTimeout;
    addNull(QStringLiteral("B"));
    add(QStringLiteral("C"));
    int value = 0;
    QCOMPARE(getters[row].run(*m_screen, value), enInvalidParameter);
    QCOMPARE(m_journal, QStringList(QStringLiteral("A ") + QLatin1String(getters[row].call)));
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Object Subscreen is Empty. SubScreen key: B")));
}

// Collecting

void tst_ScreenOperations::theRectangleIsUnitedWithTheCallers()
{
    add(QStringLiteral("A")).rect = QRect(10, 10, 5, 5);
    add(QStringLiteral("B")).rect = QRect(15, 10, 5, 6);
    QRect rect(0, 12, 2, 1);
    QCOMPARE(m_screen->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(0, 10, 20, 6));
    QCOMPARE(m_journal, QStringList({QStringLiteral("A tryGetRect 0,12 2x1"), QStringLiteral("B tryGetRect 0,10 15x5")}));

    // What was united before a failure stays.
    FakeSubScreen &failing = add(QStringLiteral("C"));
    failing.rect = QRect(100, 100, 1, 1);
    failing.code = enTimeout;
    rect = QRect();
    QCOMPARE(m_screen->tryGetRect(rect), enTimeout);
    QCOMPARE(rect, QRect(10, 10, 91, 91));
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to get subScreen rect. SubScreen key: C code: 5")));

    ScreenV4 empty;
    rect = QRect(1, 2, 3, 4);
    QCOMPARE(empty.tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(1, 2, 3, 4));
}

void tst_ScreenOperations::cabinetListsAreAppendedWhenTheyAreWhole()
{
    add(QStringLiteral("A")).cabinets = 2;
    add(QStringLiteral("B")).cabinets = 1;
    FakeSubScreen &failing = add(QStringLiteral("C"));
    failing.cabinets = 3;
    failing.code = enInvalidParameter;
    QList<CabinetInfo> list;
    list.append(CabinetInfo());
    list.last().id = QStringLiteral("mine");
    QCOMPARE(m_screen->tryGetAllCabinetInfoList(list), enInvalidParameter);
    QStringList ids;
    for (const CabinetInfo &info : qAsConst(list))
        ids.append(info.id);
    QCOMPARE(ids, QStringList({QStringLiteral("mine"), QStringLiteral("A0"), QStringLiteral("A1"), QStringLiteral("B0")}));
    QCOMPARE(m_journal.filter(QStringLiteral("tryGetAllCabinetInfoList 0")).size(), 3);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to set correction mode. SubScreen key: C code: 3")));
}

void tst_ScreenOperations::featureSwitchesAreAppendedWhenTheyAreWhole()
{
    const struct {
        const char *key;
        int value;
        EnumErrorCode code;
    } rows[] = {{"A", 1, enSuccess}, {"B", 2, enSuccess}, {"C", 3, enNotSupported}};
    for (const auto &row : rows) {
        FakeSubScreen &subScreen = add(QString::fromLatin1(row.key));
        subScreen.cabinets = 2;
        subScreen.value = row.value;
        subScreen.code = row.code;
    }
    QVector<CabinetBaseInfo> list(1);
    list[0].multilayerCorrectionLayer = 99;
    QCOMPARE(m_screen->getScreenSupport(list), enNotSupported);
    QVector<int> layers;
    for (const CabinetBaseInfo &info : qAsConst(list))
        layers.append(info.multilayerCorrectionLayer);
    QCOMPARE(layers, QVector<int>({99, 10, 11, 20, 21}));
    QCOMPARE(m_journal.filter(QStringLiteral("getScreenSupport 0")).size(), 3);
    QCOMPARE(m_log->takeCritical(),
             QStringList(QStringLiteral("Failed to set getScreenSupport parameter. SubScreen key: C code:7")));
}

// The checkerboard

void tst_ScreenOperations::theBoardIsCheckedFirst_data()
{
    QTest::addColumn<DrawingCheckerboard>("board");
    QTest::addColumn<bool>("accepted");
    const auto row = [](const char *name, bool accepted, const std::function<void(DrawingCheckerboard &)> &change) {
        DrawingCheckerboard board = someBoard();
        change(board);
        QTest::newRow(name) << board << accepted;
    };
    row("an ordinary board", true, [](DrawingCheckerboard &) {});
    row("many colours", true, [](DrawingCheckerboard &b) { b.colors.resize(9); });
    row("one colour", false, [](DrawingCheckerboard &b) { b.colors.resize(1); });
    row("no colours", false, [](DrawingCheckerboard &b) { b.colors.clear(); });
    row("squares without width", false, [](DrawingCheckerboard &b) { b.squareW = 0; });
    row("squares without height", false, [](DrawingCheckerboard &b) { b.squareH = 0; });
    row("no last column", false, [](DrawingCheckerboard &b) { b.lastSquareColumnW = 0; });
    row("no last row", false, [](DrawingCheckerboard &b) {
        b.lastSquareRowH = 0;
        b.regionRect.setHeight(16); // whole squares: the 0 is refused
    });
    row("one pixel too wide", false, [](DrawingCheckerboard &b) { b.regionRect.setWidth(21); });
    row("one pixel too narrow", false, [](DrawingCheckerboard &b) { b.regionRect.setWidth(19); });
    row("one pixel too high", false, [](DrawingCheckerboard &b) { b.regionRect.setHeight(16); });
    row("one pixel too low", false, [](DrawingCheckerboard &b) { b.regionRect.setHeight(14); });
    row("the last column alone", true, [](DrawingCheckerboard &b) { b.regionRect.setWidth(5); });
    row("the last row alone", true, [](DrawingCheckerboard &b) { b.regionRect.setHeight(3); });
    row("a last column wider than the squares", true, [](DrawingCheckerboard &b) { b.lastSquareColumnW = 15; });
    row("a last column wider than the board", true, [](DrawingCheckerboard &b) { b.lastSquareColumnW = 25; });
    row("an unfitting last column wider than the board", false, [](DrawingCheckerboard &b) { b.lastSquareColumnW = 26; });
    row("a default board", false, [](DrawingCheckerboard &b) { b = DrawingCheckerboard(); });
    row("negative squares that fit", true, [](DrawingCheckerboard &b) { b.squareW = -5; });
    row("the least last column, squares of -1", true, [](DrawingCheckerboard &b) {
        b.lastSquareColumnW = intMin;
        b.squareW = -1;
    });
    row("a last column that fits when the difference wraps", true, [](DrawingCheckerboard &b) {
        b.regionRect.setWidth(2000000000);
        b.lastSquareColumnW = -2000000000;
        b.squareW = 3;
    });
    row("a last row that fits unless the difference wraps", false, [](DrawingCheckerboard &b) {
        b.regionRect.setHeight(2000000000);
        b.lastSquareRowH = -2000000000;
        b.squareH = 5;
    });
    row("the least square", false, [](DrawingCheckerboard &b) { b.squareH = intMin; });
}

void tst_ScreenOperations::theBoardIsCheckedFirst()
{
    QFETCH(DrawingCheckerboard, board);
    QFETCH(bool, accepted);
    add(QStringLiteral("A"));
    if (!accepted)
        addNull(QStringLiteral("0")); // not even this is checked
    QCOMPARE(m_screen->setCheckerboardlImage(board), accepted ? enSuccess : enArgumentMismatch);
    QCOMPARE(m_journal, accepted ? QStringList(QStringLiteral("A setCheckerboardlImage ") + text(board)) : QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void tst_ScreenOperations::everySubScreenGetsItsOwnCopyOfTheBoard()
{
    // The fakes change their arguments.
    add(QStringLiteral("A"));
    add(QStringLiteral("B"));
    const DrawingCheckerboard board = someBoard();
    QCOMPARE(m_screen->setCheckerboardlImage(board), enSuccess);
    QCOMPARE(m_journal, QStringList({QStringLiteral("A setCheckerboardlImage ") + text(board),
                                     QStringLiteral("B setCheckerboardlImage ") + text(board)}));
}

// Reading coefficients

namespace {

/// Fills the part grid with one value.
std::function<EnumErrorCode(const QRect &, ICoefficient &)> fillWith(int value)
{
    return [value](const QRect &part, ICoefficient &grid) {
        Values values(part.width() * part.height() * 9, static_cast<unsigned short>(value));
        return dynamic_cast<IChromaCoefficient &>(grid).setCoefficient(values);
    };
}

QString rectLine(const QRect &rect)
{
    return QStringLiteral("Correction::ScreenV4::tryGetCoefficients subScreenRect x: %1 y: %2 w: %3 h: %4")
        .arg(rect.x())
        .arg(rect.y())
        .arg(rect.width())
        .arg(rect.height());
}

} // namespace

void tst_ScreenOperations::aReadCollectsThePartsOfEverySubScreen()
{
    FakeSubScreen &left = add(QStringLiteral("A"));
    left.rect = QRect(10, 20, 4, 2);
    left.read = [](const QRect &, ICoefficient &grid) {
        Values values = numbered(2 * 1 * 9, 1000);
        return dynamic_cast<IChromaCoefficient &>(grid).setCoefficient(values);
    };
    FakeSubScreen &right = add(QStringLiteral("B"));
    right.rect = QRect(14, 20, 4, 3);
    right.read = [](const QRect &, ICoefficient &grid) {
        Values values = numbered(1 * 2 * 9, 2000);
        return dynamic_cast<IChromaCoefficient &>(grid).setCoefficient(values);
    };
    Coefficient grid(3, 2);
    Values before(3 * 2 * 9, 7);
    QCOMPARE(grid.setCoefficient(before), enSuccess);
    QCOMPARE(m_screen->tryGetCoefficients(QRect(12, 21, 3, 2), grid), enSuccess);

    // The lower left two pixels have no cabinet.
    QCOMPARE(grid.getCoefficient(), numbered(18, 1000) + numbered(9, 2000) + Values(18, 7) + numbered(9, 2009));
    QCOMPARE(m_journal, QStringList({
                            QStringLiteral("A tryGetRect 0,0 0x0"),
                            QStringLiteral("B tryGetRect 10,20 4x2"),
                            QStringLiteral("A tryGetRect 0,0 0x0"),
                            QStringLiteral("A tryGetCoefficients 12,21 2x1 into kind 0 of 2x1"),
                            QStringLiteral("B tryGetRect 0,0 0x0"),
                            QStringLiteral("B tryGetCoefficients 14,21 1x2 into kind 0 of 1x2"),
                        }));
    QCOMPARE(
        m_log->takeDebug(),
        QStringList({
            rectLine(QRect(10, 20, 4, 2)),
            QStringLiteral("Correction::Coefficient::setPartCoefficient x: 0 y: 0 w: 2 h: 1 m_pixelCol: 3 m_pixelRow: 2"),
            rectLine(QRect(14, 20, 4, 3)),
            QStringLiteral("Correction::Coefficient::setPartCoefficient x: 2 y: 0 w: 1 h: 2 m_pixelCol: 3 m_pixelRow: 2"),
        }));
}

void tst_ScreenOperations::aReadSkipsSubScreensThatItDoesNotMeet()
{
    add(QStringLiteral("A")).rect = QRect(0, 0, 4, 4);
    add(QStringLiteral("B")).rect = QRect(4, 0, 4, 4);
    add(QStringLiteral("C")).rect = QRect(8, 0, 4, 4);
    add(QStringLiteral("D")); // no cabinets
    Coefficient grid(4, 4);
    QCOMPARE(m_screen->tryGetCoefficients(QRect(4, 0, 4, 4), grid), enSuccess);
    QCOMPARE(m_journal.filter(QStringLiteral("tryGetCoefficients")),
             QStringList(QStringLiteral("B tryGetCoefficients 4,0 4x4 into kind 0 of 4x4")));
    QCOMPARE(m_log->takeDebug().filter(QStringLiteral("subScreenRect")),
             QStringList({rectLine(QRect(0, 0, 4, 4)), rectLine(QRect(4, 0, 4, 4)), rectLine(QRect(8, 0, 4, 4)),
                          rectLine(QRect())}));
}

void tst_ScreenOperations::aReadMakesGridsOfTheCallersKind()
{
    FakeSubScreen &subScreen = add(QStringLiteral("A"));
    subScreen.rect = QRect(0, 0, 2, 1);
    QByteArray bytes;
    for (int i = 0; i < 32; ++i)
        bytes.append(static_cast<char>(100 + i));
    subScreen.read = [&](const QRect &, ICoefficient &grid) {
        QByteArray copy = bytes;
        return dynamic_cast<IMultilayerCoefficient &>(grid).setCoefficient(copy);
    };
    MultilayerCoefficient grid(2, 1);
    QCOMPARE(m_screen->tryGetCoefficients(QRect(0, 0, 2, 1), grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), bytes);
    QCOMPARE(m_journal.last(), QStringLiteral("A tryGetCoefficients 0,0 2x1 into kind 1 of 2x1"));
}

void tst_ScreenOperations::aReadNeedsTheScreensRectangle()
{
    add(QStringLiteral("A")).rect = QRect(0, 0, 4, 4);
    add(QStringLiteral("B")).code = enFileError;
    Coefficient grid(1, 1);
    QCOMPARE(m_screen->tryGetCoefficients(QRect(0, 0, 1, 1), grid), enFileError);
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("Failed to get subScreen rect. SubScreen key: B code: 4"),
                                                 QStringLiteral("Get screen rect error")}));
    QCOMPARE(m_journal.size(), 2);
}

void tst_ScreenOperations::aReadStopsAtANullSubScreen()
{
    add(QStringLiteral("A")).rect = QRect(0, 0, 4, 4);
    addNull(QStringLiteral("B"));
    Coefficient grid(1, 1);
    QCOMPARE(m_screen->tryGetCoefficients(QRect(0, 0, 1, 1), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("Object Subscreen is Empty. SubScreen key: B"),
                                                 QStringLiteral("Get screen rect error")}));
    QCOMPARE(m_journal, QStringList(QStringLiteral("A tryGetRect 0,0 0x0")));
}

void tst_ScreenOperations::aReadNeedsEverySubScreensRectangle()
{
    FakeSubScreen &first = add(QStringLiteral("A"));
    first.rect = QRect(0, 0, 4, 4);
    first.read = fillWith(5);
    FakeSubScreen &second = add(QStringLiteral("B"));
    second.rect = QRect(4, 0, 4, 4);
    second.rectFailsAfter = 1;
    Coefficient grid(8, 4);
    QCOMPARE(m_screen->tryGetCoefficients(QRect(0, 0, 8, 4), grid), enCabinetNotFound);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to get subScreen rect. SubScreen key: B code: 8")));
    QCOMPARE(int(grid.getCoefficient().count(5)), 4 * 4 * 9);
}

void tst_ScreenOperations::aReadOutsideTheScreenIsRefused_data()
{
    // The screen is 8 x 4 at (10, -20).
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<QString>("line");
    const auto row = [](const char *name, const QRect &rect) {
        QTest::newRow(name) << rect
                            << QStringLiteral("Out of sreen range. screen x=10 y=-20 w=8 h=4 rect x=%1 y=%2 w=%3 h=%4")
                                   .arg(rect.x())
                                   .arg(rect.y())
                                   .arg(rect.width())
                                   .arg(rect.height());
    };
    row("one pixel past the right edge", QRect(10, -20, 9, 4));
    row("one pixel past the left edge", QRect(9, -20, 8, 4));
    row("one pixel past the top", QRect(10, -21, 8, 4));
    row("one pixel past the bottom", QRect(10, -20, 8, 5));
    row("elsewhere", QRect(100, 200, 3, 4));
    row("around it", QRect(0, -50, 100, 100));
}

void tst_ScreenOperations::aReadOutsideTheScreenIsRefused()
{
    QFETCH(QRect, rect);
    QFETCH(QString, line);
    add(QStringLiteral("A")).rect = QRect(10, -20, 4, 4);
    add(QStringLiteral("B")).rect = QRect(14, -20, 4, 3);
    Coefficient grid(rect.width(), rect.height());
    QCOMPARE(m_screen->tryGetCoefficients(rect, grid), enOutOfRange);
    QCOMPARE(m_log->takeCritical(), QStringList(line));
    QCOMPARE(m_journal.filter(QStringLiteral("tryGetCoefficients")), QStringList());

    // A screen without sub-screens contains nothing.
    ScreenV4 empty;
    QCOMPARE(empty.tryGetCoefficients(rect, grid), enOutOfRange);
    QCOMPARE(m_log->takeCritical(),
             QStringList(line.replace(QStringLiteral("x=10 y=-20 w=8 h=4"), QStringLiteral("x=0 y=0 w=0 h=0"))));
}

void tst_ScreenOperations::aReadMayTouchTheScreensEdges_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::newRow("the whole screen") << QRect(10, -20, 8, 4);
    QTest::newRow("the right edge") << QRect(17, -19, 1, 2);
    QTest::newRow("the bottom") << QRect(11, -17, 2, 1);
    QTest::newRow("the top left corner") << QRect(10, -20, 1, 1);
    QTest::newRow("inside") << QRect(12, -19, 4, 2);
}

void tst_ScreenOperations::aReadMayTouchTheScreensEdges()
{
    QFETCH(QRect, rect);
    FakeSubScreen &subScreen = add(QStringLiteral("A"));
    subScreen.rect = QRect(10, -20, 8, 4);
    subScreen.read = fillWith(3);
    Coefficient grid(rect.width(), rect.height());
    QCOMPARE(m_screen->tryGetCoefficients(rect, grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), Values(rect.width() * rect.height() * 9, 3));
}

void tst_ScreenOperations::aReadOfAnUnknownKindIsRefused_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("low-gray") << 2;
    QTest::newRow("three") << 3;
    QTest::newRow("negative") << -1;
}

namespace {

/// A host's own grid, of any kind.
class OddGrid : public Coefficient
{
public:
    explicit OddGrid(int kind) : Coefficient(1, 1), m_kind(kind) {}
    EnumCoefficientType getType() override { return EnumCoefficientType(m_kind); }

private:
    int m_kind;
};

} // namespace

void tst_ScreenOperations::aReadOfAnUnknownKindIsRefused()
{
    QFETCH(int, kind);
    add(QStringLiteral("A")).rect = QRect(1, 0, 4, 4);
    add(QStringLiteral("B")).rect = QRect(0, 0, 1, 4);
    OddGrid grid(kind);
    QCOMPARE(m_screen->tryGetCoefficients(QRect(0, 0, 1, 1), grid), enNotSupported);
    QCOMPARE(m_log->takeCritical(),
             QStringList(QStringLiteral("Failed to create coefficient. SubScreen key: B Coefficient type:%1").arg(kind)));
    QCOMPARE(m_journal.filter(QStringLiteral("tryGetCoefficients")), QStringList());
}

void tst_ScreenOperations::aFailedPartEndsTheReadAndKeepsTheOthers()
{
    FakeSubScreen &first = add(QStringLiteral("A"));
    first.rect = QRect(0, 0, 2, 1);
    first.read = fillWith(5);
    FakeSubScreen &second = add(QStringLiteral("B"));
    second.rect = QRect(2, 0, 2, 1);
    second.read = [](const QRect &part, ICoefficient &grid) {
        fillWith(6)(part, grid);
        return EnumErrorCode(77);
    };
    add(QStringLiteral("C")).rect = QRect(4, 0, 2, 1);
    Coefficient grid(6, 1);
    QCOMPARE(int(m_screen->tryGetCoefficients(QRect(0, 0, 6, 1), grid)), 77);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("try get Coefficients failed. SubScreen key: B code: 77")));
    QCOMPARE(grid.getCoefficient(), Values(18, 5) + Values(36, 0));
    QCOMPARE(m_journal.last(), QStringLiteral("B tryGetCoefficients 2,0 2x1 into kind 0 of 2x1"));
}

void tst_ScreenOperations::aPartThatDoesNotFitTheCallersGrid()
{
    for (const char *key : {"A", "B", "C"}) {
        FakeSubScreen &subScreen = add(QString::fromLatin1(key));
        subScreen.rect = QRect(2 * (*key - 'A'), 0, 2, 1);
        subScreen.read = fillWith(*key);
    }
    Coefficient grid(3, 1);
    QCOMPARE(m_screen->tryGetCoefficients(QRect(0, 0, 6, 1), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(),
             QStringList({QStringLiteral("x + w > m_pixelCol || y + h > m_pixelRow: x: 2 y: 0 w: 2 h: 1 m_pixelCol: 3 "
                                         "m_pixelRow: 1"),
                          QStringLiteral("Failed to set part of coefficient. SubScreen key: B")}));
    QCOMPARE(grid.getCoefficient(), Values(18, 'A') + Values(9, 0));
}

void tst_ScreenOperations::absurdReadsDoNoHarm_data()
{
    QTest::addColumn<QRect>("screen");
    QTest::addColumn<QRect>("rect");
    const auto corners = [](int left, int top, int right, int bottom) {
        QRect rect;
        rect.setCoords(left, top, right, bottom);
        return rect;
    };
    const struct {
        const char *name;
        QRect rect;
    } rects[] = {
        {"a small rectangle", QRect(0, 0, 4, 4)},
        {"everything", corners(intMin, intMin, intMax, intMax)},
        {"half of everything", corners(-1, -1, intMax, intMax)},
        {"a width that wraps", corners(intMin, 0, 1, 3)},
        {"corners exchanged", corners(3, 3, 0, 0)},
        {"extreme corners exchanged", corners(intMax, intMax, intMin, intMin)},
        {"largest width", corners(0, 0, intMax - 1, 0)},
        {"largest corner", corners(intMax, intMax, intMax, intMax)},
        {"a null rectangle", QRect()},
        {"no width", QRect(1, 1, 0, 3)},
    };
    for (const auto &screen : rects) {
        for (const auto &rect : rects)
            QTest::addRow("%s of %s", rect.name, screen.name) << screen.rect << rect.rect;
    }
}

void tst_ScreenOperations::absurdReadsDoNoHarm()
{
    QFETCH(QRect, screen);
    QFETCH(QRect, rect);
    // Only codes of the screen and of its grids may come; the sanitizers check the rest.
    add(QStringLiteral("A")).rect = screen;
    add(QStringLiteral("B")).rect = QRect(2, 2, 1, 1);
    Coefficient grid(4, 4);
    const int code = m_screen->tryGetCoefficients(rect, grid);
    QVERIFY2(code == enSuccess || code == enOutOfRange || code == enInvalidParameter || code == enNotSupported,
             qPrintable(QString::number(code)));
    m_log->clear();
}

void tst_ScreenOperations::wholeSubScreensAreReadBack_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 15; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void tst_ScreenOperations::wholeSubScreensAreReadBack()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(seed);
    const QRect screen(random.bounded(-30, 30), random.bounded(-30, 30), random.bounded(1, 25), random.bounded(1, 20));
    QVector<QRect> frames;
    partition(screen, random.bounded(6), random, frames);
    // Every value of the wall, by its place on the screen.
    Values planes;
    for (int i = 0; i < screen.width() * screen.height() * 9; ++i)
        planes.append(static_cast<unsigned short>(random.bounded(1 << 16)));
    const auto cut = [&](const QRect &rect) {
        Values values;
        for (int y = rect.top(); y <= rect.bottom(); ++y) {
            for (int i = (rect.left() - screen.x()) * 9; i < (rect.right() + 1 - screen.x()) * 9; ++i)
                values.append(planes[(y - screen.y()) * screen.width() * 9 + i]);
        }
        return values;
    };

    QList<Simulator::Device> devices;
    QVector<QRect> cabinets;
    for (const QRect &frame : qAsConst(frames)) {
        Simulator::Device device;
        device.key = QString::number(random.bounded(1000) * 100 + devices.size());
        device.subScreens = {Simulator::SubScreen()};
        auto subScreen = std::make_unique<SubScreenV4>(device.key);
        QVector<QRect> parts;
        partition(frame, random.bounded(4), random, parts);
        for (const QRect &part : qAsConst(parts)) {
            cabinets.append(part);
            const QString id = QString::number(cabinets.size());
            device.subScreens[0].cabinets.append({id, QString(), part.topLeft(), part.size(), QString(), {}});
            auto record = std::make_unique<CabinetInfo>();
            record->id = id;
            record->deviceKey = device.key;
            record->rect = part;
            QVERIFY(CabinetManager::getInstance()->addCabinet(id, new CabinetV4(record.get())));
            m_records.push_back(std::move(record));
            QVERIFY(subScreen->addCabinet(id, QString()));
        }
        QVERIFY(m_screen->addSubScreen(device.key, subScreen.release()));
        devices.append(device);
    }
    wall().setDevices(devices);
    for (int i = 0; i < cabinets.size(); ++i) {
        const CabinetInfo &record = *m_records[static_cast<std::size_t>(i)];
        QVERIFY(wall().state().setChroma(record.deviceKey, record.id, cut(cabinets[i])));
    }

    QRect rect;
    QCOMPARE(m_screen->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, screen);
    Coefficient grid(screen.width(), screen.height());
    QCOMPARE(m_screen->tryGetCoefficients(screen, grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), planes);
    for (const QRect &frame : qAsConst(frames)) {
        Coefficient part(frame.width(), frame.height());
        QCOMPARE(m_screen->tryGetCoefficients(frame, part), enSuccess);
        QCOMPARE(part.getCoefficient(), cut(frame));
    }
    QCOMPARE(wall().journal().notes(), QStringList());
}

void tst_ScreenOperations::aPartAwayFromItsSubScreensCornerDoesNotFit()
{
    // A sub-screen pastes in its own frame, into a grid that is only as large as the part.
    const Simulator::Device device = Simulator::gridDevice(QStringLiteral("A"), QPoint(5, 5), 1, 1, QSize(8, 2));
    wall().setDevices({device});
    auto record = std::make_unique<CabinetInfo>();
    record->id = QStringLiteral("1");
    record->deviceKey = device.key;
    record->rect = QRect(5, 5, 8, 2);
    QVERIFY(CabinetManager::getInstance()->addCabinet(record->id, new CabinetV4(record.get())));
    m_records.push_back(std::move(record));
    auto subScreen = std::make_unique<SubScreenV4>(device.key);
    QVERIFY(subScreen->addCabinet(QStringLiteral("1"), QString()));
    QVERIFY(m_screen->addSubScreen(device.key, subScreen.release()));

    Coefficient grid(6, 2);
    QCOMPARE(m_screen->tryGetCoefficients(QRect(7, 5, 6, 2), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(),
             QStringList({QStringLiteral("x + w > m_pixelCol || y + h > m_pixelRow: x: 2 y: 0 w: 6 h: 2 m_pixelCol: 6 "
                                         "m_pixelRow: 2"),
                          QStringLiteral("Failed to set part of coefficient. cabinet key: 1"),
                          QStringLiteral("try get Coefficients failed. SubScreen key: A code: 3")}));
    // A part that begins in the corner is fine.
    QCOMPARE(m_screen->tryGetCoefficients(QRect(5, 5, 6, 2), grid), enSuccess);
}

// Names and features

void tst_ScreenOperations::namesAreAskedOfEveryDevice()
{
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 1, 1, QSize(1, 1)),
                       Simulator::gridDevice(QStringLiteral("B"), QPoint(1, 0), 1, 1, QSize(1, 1))});
    add(QStringLiteral("B"));
    addNull(QStringLiteral("A")); // only the keys matter
    QMap<QString, QString> names{{QStringLiteral("mine"), QStringLiteral("stays")}};
    QCOMPARE(m_screen->getSubScreenNames(names), enSuccess);
    QCOMPARE(names, (QMap<QString, QString>{{QStringLiteral("mine"), QStringLiteral("stays")}}));
    QCOMPARE(wall().journal().transcript(), QStringList({QStringLiteral("HWInfo::getHWInfo(\"A\", bool false)"),
                                                         QStringLiteral("HWInfo::getHWInfo(\"B\", bool false)")}));
    QCOMPARE(m_journal, QStringList());
    QCOMPARE(ScreenV4().getSubScreenNames(names), enSuccess);
}

void tst_ScreenOperations::aDeviceWithoutHardwareInformationEndsTheNames()
{
    wall().scripts().on(QStringLiteral("HWInfo::getHWInfo")).answer(QVariantMap()); // no name: read as empty
    wall().scripts().on(QStringLiteral("HWInfo::getHWInfo"), QStringLiteral("B")).answerFalse();
    for (const char *key : {"A", "B", "C"})
        add(QString::fromLatin1(key));
    QCOMPARE(m_screen->getSubScreenNames({}), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("getHWInfo error")));
    QCOMPARE(wall().journal().transcript(), QStringList({QStringLiteral("HWInfo::getHWInfo(\"A\", bool false)"),
                                                         QStringLiteral("HWInfo::getHWInfo(\"B\", bool false)")}));
}

void tst_ScreenOperations::theCheckerboardFeatureNeedsEverySubScreen_data()
{
    QTest::addColumn<QVector<int>>("codes"); // -1: null
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("feature");
    QTest::addColumn<int>("asked");
    QTest::addColumn<QString>("line");
    const QString empty = QStringLiteral("call ScreenV4::getFeatures() Object Subscreen is Empty. SubScreen key: %1");
    QTest::newRow("no sub-screens") << QVector<int>() << 0 << true << 0 << QString();
    QTest::newRow("all can") << QVector<int>{0, 0, 0} << 0 << true << 3 << QString();
    QTest::newRow("the first cannot") << QVector<int>{7, 0, 0} << 0 << false << 1 << QString();
    QTest::newRow("the last does not answer") << QVector<int>{0, 0, 5} << 0 << false << 3 << QString();
    QTest::newRow("a null one") << QVector<int>{0, -1, 7} << 3 << true << 1 << empty.arg(1);
    QTest::newRow("a null one after one that cannot") << QVector<int>{7, -1} << 0 << false << 1 << QString();
}

void tst_ScreenOperations::theCheckerboardFeatureNeedsEverySubScreen()
{
    QFETCH(QVector<int>, codes);
    QFETCH(int, code);
    QFETCH(bool, feature);
    QFETCH(int, asked);
    QFETCH(QString, line);
    for (int i = 0; i < codes.size(); ++i) {
        if (codes[i] < 0)
            addNull(QString::number(i));
        else
            add(QString::number(i)).code = EnumErrorCode(codes[i]);
    }
    const QString name = QStringLiteral("checkerBoardltFeature");
    QMap<QString, bool> features{{name, !feature}, {QStringLiteral("mine"), true}};
    QCOMPARE(int(m_screen->getFeatures(features)), code);
    QCOMPARE(features, (QMap<QString, bool>{{name, feature}, {QStringLiteral("mine"), true}}));
    QStringList expected;
    for (int i = 0; i < asked; ++i)
        expected.append(QStringLiteral("%1 isCheckerboardlImage").arg(i));
    QCOMPARE(m_journal, expected);
    QCOMPARE(m_log->takeCritical(), line.isEmpty() ? QStringList() : QStringList(line));
}

QTEST_GUILESS_MAIN(tst_ScreenOperations)
#include "tst_screenoperations.moc"

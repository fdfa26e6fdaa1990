// Test patterns: the piece of a screen-wide pattern that each device has to draw.

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/DrawingCheckerboard.h>
#include <Correction/DrawingParameter.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>

#include <simulator/VirtualWall.h>
#include <support/LogCapture.h>
#include <support/Pictures.h>
#include <support/Rectangles.h>

#include <QtCore/QRandomGenerator>
#include <QtTest/QtTest>

#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

using namespace Correction;
using Simulator::CallJournal;
using Simulator::VirtualWall;
using TestSupport::difference;
using TestSupport::fromCorners;
using TestSupport::partition;

namespace {

const QString deviceKey = QStringLiteral("A");
constexpr int intMax = std::numeric_limits<int>::max();
constexpr int intMin = std::numeric_limits<int>::min();

/// A host's own cabinet that has lost its description, with a code that no other step gives.
class LostCabinet : public CabinetV4
{
public:
    LostCabinet() : CabinetV4(nullptr) {}
    EnumErrorCode GetCabinetInfo(CabinetInfo &) override { return enCabinetNotFound; }
};

QString rectText(const QRect &rect)
{
    return QStringLiteral("{\"height\": int %1, \"width\": int %2, \"x\": int %3, \"y\": int %4}")
        .arg(rect.height())
        .arg(rect.width())
        .arg(rect.x())
        .arg(rect.y());
}

QString colorText(const QColor &color)
{
    return QStringLiteral("{\"b\": int %1, \"g\": int %2, \"r\": int %3}")
        .arg(color.blue())
        .arg(color.green())
        .arg(color.red());
}

QString pixelLine(const QRect &region, const QRect &single, const QColor &color, int intervalX, int intervalY)
{
    return QStringLiteral("ScreenInfo::setPixelImage(\"A\", {\"color\": %1, \"intervalX\": int %2, \"intervalY\": int %3, "
                          "\"regionrect\": %4, \"singlerect\": %5})")
        .arg(colorText(color), QString::number(intervalX), QString::number(intervalY), rectText(region), rectText(single));
}

const QString clearLine = QStringLiteral("ScreenInfo::setCorrectClearImage(\"A\", {})");

/// A rectangle as log lines print it.
QString items(const QRect &rect)
{
    return QStringLiteral("x: %1 y: %2 w: %3 h: %4").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

DrawingParameter pixels(const QRect &pattern, const QRect &block, int intervalX, int intervalY)
{
    DrawingParameter param;
    param.screenPartRect = pattern;
    param.pixelBlockInRect = block;
    param.color = QColor(1, 20, 255);
    param.pixelBlockIntervalX = intervalX;
    param.pixelBlockIntervalY = intervalY;
    return param;
}

const QVector<QColor> fiveColors{QColor(255, 0, 0), QColor(0, 255, 0), QColor(0, 0, 255), QColor(9, 8, 7),
                                 QColor(100, 200, 50)};

DrawingCheckerboard checkers(const QRect &region, int colors, int squareW, int squareH, int lastW, int lastH)
{
    DrawingCheckerboard board;
    board.regionRect = region;
    board.colors = fiveColors.mid(0, colors);
    board.squareW = squareW;
    board.squareH = squareH;
    board.lastSquareColumnW = lastW;
    board.lastSquareRowH = lastH;
    return board;
}

/// The request's colours, `count` of them beginning with the colour of this number.
QVariantList colorsFrom(int first, int count)
{
    QVariantList list;
    for (int i = 0; i < count; ++i) {
        const QColor &color = fiveColors[(first + i) % count];
        list.append(QVariantMap{
            {QStringLiteral("r"), color.red()}, {QStringLiteral("g"), color.green()}, {QStringLiteral("b"), color.blue()}});
    }
    return list;
}

struct Sizes {
    int firstW = 11;
    int firstH = 22;
    int lastW = 33;
    int lastH = 44;
    QVariantList colors{QStringLiteral("there before")};

    void calculate(DrawingCheckerboard &board, int absX, int absY, QRect part)
    {
        board.CalcRegionWH(absX, absY, firstW, firstH, lastW, lastH, part, colors);
    }
    QVector<int> numbers() const { return {firstW, firstH, lastW, lastH}; }
};

const QVector<int> untouched{11, 22, 33, 44};

} // namespace

class tst_TestPatterns : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void cleanupTestCase();

    void recordsStartEmptyAndCopyEveryField();

    void aPixelImagesPieceKeepsThePhase_data();
    void aPixelImagesPieceKeepsThePhase();
    void aPixelImageElsewhereDarkensTheSubScreen_data();
    void aPixelImageElsewhereDarkensTheSubScreen();
    void aPixelImagesColorIsSentWithoutAlpha_data();
    void aPixelImagesColorIsSentWithoutAlpha();
    void aPixelImageWithoutPeriodIsRefused_data();
    void aPixelImageWithoutPeriodIsRefused();
    void aPixelImageSaysWhatItDoes();

    void aCheckerboardsPieceIsSent();
    void theCheckerboardsPieceIsComputedForEverySubScreen_data();
    void theCheckerboardsPieceIsComputedForEverySubScreen();
    void aCheckerboardElsewhereClearsTheImage_data();
    void aCheckerboardElsewhereClearsTheImage();
    void aCheckerboardWithoutPhaseIsRefused_data();
    void aCheckerboardWithoutPhaseIsRefused();
    void aCheckerboardSaysWhatItDoes();

    void theImageModeIsSentAsANumber_data();
    void theImageModeIsSentAsANumber();
    void aDeviceThatDoesNotAnswerIsFive_data();
    void aDeviceThatDoesNotAnswerIsFive();
    void aMissingRectangleEndsAPattern_data();
    void aMissingRectangleEndsAPattern();
    void aSubScreenWithoutCabinetsShowsNoPattern();

    void sizesOfAPiece_data();
    void sizesOfAPiece();
    void sizesOfEveryPieceOfSmallBoards();
    void colorsOfAPiece_data();
    void colorsOfAPiece();
    void colorsAreAppended();
    void theSizesCallAppendsTheColors();
    void zeroDivisorsChangeNothing_data();
    void zeroDivisorsChangeNothing();
    void colorsWithoutPhaseAppendNothing_data();
    void colorsWithoutPhaseAppendNothing();
    void negativeNumbersFollowTheFormula_data();
    void negativeNumbersFollowTheFormula();
    void sumsOfABoardWrap_data();
    void sumsOfABoardWrap();
    void extremeNumbersDoNoHarm();
    void extremeRectanglesDoNoHarm_data();
    void extremeRectanglesDoNoHarm();

    void randomBoardsComeOutWhole_data();
    void randomBoardsComeOutWhole();
    void randomPixelImagesComeOutWhole_data();
    void randomPixelImagesComeOutWhole();
    void anyPixelBlocksComeOutWholeOnOneDevice_data();
    void anyPixelBlocksComeOutWholeOnOneDevice();

private:
    static VirtualWall &wall() { return VirtualWall::instance(); }
    /// One device with one cabinet.
    void place(const QRect &rect);
    void enlist(SubScreenV4 &subScreen, const QString &device, const QString &id, const QRect &rect);
    void makeRandomWall(QRandomGenerator &random, int deviceCuts);
    QImage drawn(const std::function<QColor(const QPoint &)> &colorAt) const;

    std::optional<TestSupport::LogCapture> m_log; // one for each test: Qt Test installs its own handler first
    std::unique_ptr<SubScreenV4> m_subScreen;
    std::unique_ptr<ScreenV4> m_screen;
    // The registry releases cabinets without their records.
    std::vector<std::unique_ptr<CabinetInfo>> m_records;
    QVector<QRect> m_cabinets; ///< of a random wall, screen coordinates
};

void tst_TestPatterns::init()
{
    wall().reset();
    m_subScreen = std::make_unique<SubScreenV4>(deviceKey);
    m_log.emplace();
}

void tst_TestPatterns::cleanup()
{
    m_subScreen.reset();
    m_screen.reset();
    CabinetManager::getInstance()->removeCabinets();
    m_records.clear();
    m_cabinets.clear();
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_TestPatterns::cleanupTestCase()
{
    m_log.reset();
}

void tst_TestPatterns::enlist(SubScreenV4 &subScreen, const QString &device, const QString &id, const QRect &rect)
{
    auto record = std::make_unique<CabinetInfo>();
    record->id = id;
    record->deviceKey = device;
    record->rect = rect;
    QVERIFY(CabinetManager::getInstance()->addCabinet(id, new CabinetV4(record.get())));
    m_records.push_back(std::move(record));
    QVERIFY(subScreen.addCabinet(id, QString()));
}

void tst_TestPatterns::place(const QRect &rect)
{
    enlist(*m_subScreen, deviceKey, QStringLiteral("1"), rect);
    Simulator::Cabinet cabinet;
    cabinet.id = QStringLiteral("1");
    cabinet.position = rect.topLeft();
    cabinet.size = rect.size();
    Simulator::Device device;
    device.key = deviceKey;
    device.subScreens = {Simulator::SubScreen{QPoint(), {cabinet}}};
    wall().setDevices({device});
}

void tst_TestPatterns::recordsStartEmptyAndCopyEveryField()
{
    const DrawingParameter none;
    QVERIFY(none.screenPartRect.isNull());
    QVERIFY(none.pixelBlockInRect.isNull());
    QVERIFY(!none.color.isValid());
    QCOMPARE(none.pixelBlockIntervalX, 0);
    QCOMPARE(none.pixelBlockIntervalY, 0);
    const DrawingParameter some = pixels(QRect(1, 2, 3, 4), QRect(5, 6, 7, 8), 9, 10);
    DrawingParameter assigned;
    assigned = some;
    for (const DrawingParameter &copy : {DrawingParameter(some), assigned}) {
        QCOMPARE(copy.screenPartRect, QRect(1, 2, 3, 4));
        QCOMPARE(copy.pixelBlockInRect, QRect(5, 6, 7, 8));
        QCOMPARE(copy.color, QColor(1, 20, 255));
        QCOMPARE(copy.pixelBlockIntervalX, 9);
        QCOMPARE(copy.pixelBlockIntervalY, 10);
    }

    const DrawingCheckerboard noBoard;
    QVERIFY(noBoard.regionRect.isNull());
    QVERIFY(noBoard.colors.isEmpty());
    QCOMPARE(noBoard.squareW, 0);
    QCOMPARE(noBoard.squareH, 0);
    QCOMPARE(noBoard.lastSquareColumnW, 0);
    QCOMPARE(noBoard.lastSquareRowH, 0);
    const DrawingCheckerboard board = checkers(QRect(1, 2, 3, 4), 3, 5, 6, 7, 8);
    DrawingCheckerboard assignedBoard;
    assignedBoard = board;
    for (const DrawingCheckerboard &copy : {DrawingCheckerboard(board), assignedBoard}) {
        QCOMPARE(copy.regionRect, QRect(1, 2, 3, 4));
        QCOMPARE(copy.colors, fiveColors.mid(0, 3));
        QCOMPARE(copy.squareW, 5);
        QCOMPARE(copy.squareH, 6);
        QCOMPARE(copy.lastSquareColumnW, 7);
        QCOMPARE(copy.lastSquareRowH, 8);
    }
}

// Pixel images

void tst_TestPatterns::aPixelImagesPieceKeepsThePhase_data()
{
    // The sub-screen is 20 x 10 at (100, 50).
    QTest::addColumn<QRect>("pattern");
    QTest::addColumn<QRect>("block");
    QTest::addColumn<int>("intervalX");
    QTest::addColumn<int>("intervalY");
    QTest::addColumn<QRect>("region");
    QTest::addColumn<QPoint>("first");
    QTest::newRow("pattern begins inside")
        << QRect(103, 54, 4, 3) << QRect(0, 0, 1, 1) << 2 << 2 << QRect(3, 4, 4, 3) << QPoint(0, 0);
    QTest::newRow("pattern is the sub-screen")
        << QRect(100, 50, 20, 10) << QRect(2, 3, 1, 1) << 1 << 1 << QRect(0, 0, 20, 10) << QPoint(2, 3);
    QTest::newRow("five pixels in, every fourth lit")
        << QRect(95, 50, 25, 10) << QRect(0, 0, 1, 1) << 3 << 3 << QRect(0, 0, 20, 10) << QPoint(3, 0);
    QTest::newRow("five pixels in, with an offset")
        << QRect(95, 43, 25, 17) << QRect(7, -2, 1, 1) << 3 << 2 << QRect(0, 0, 20, 10) << QPoint(3 + 7, 2 - 2);
    QTest::newRow("whole periods in") << QRect(92, 44, 50, 50) << QRect(0, 0, 1, 1) << 3 << 2 << QRect(0, 0, 20, 10)
                                      << QPoint(0, 0);
    QTest::newRow("no interval") << QRect(95, 45, 50, 50) << QRect(0, 0, 1, 1) << 0 << 0 << QRect(0, 0, 20, 10)
                                 << QPoint(0, 0);
    // The correction counts intervals, the remainder pixels.
    QTest::newRow("wide blocks") << QRect(95, 45, 50, 50) << QRect(0, 0, 2, 4) << 3 << 1 << QRect(0, 0, 20, 10)
                                 << QPoint(4 - 5, 2 - 5);
    QTest::newRow("wide blocks without interval")
        << QRect(95, 45, 50, 50) << QRect(1, 1, 2, 3) << 0 << 0 << QRect(0, 0, 20, 10) << QPoint(1 - 1 + 1, 1 - 2 + 1);
    QTest::newRow("only a corner") << QRect(0, 0, 101, 51) << QRect(0, 0, 1, 1) << 9 << 9 << QRect(0, 0, 1, 1)
                                   << QPoint(0, 0);
    QTest::newRow("the last pixel") << QRect(119, 59, 5, 5) << QRect(0, 0, 9, 9) << 4 << 5 << QRect(19, 9, 1, 1)
                                    << QPoint(0, 0);
    QTest::newRow("negative intervals") << QRect(95, 45, 50, 50) << QRect(0, 0, 3, 4) << -2 << -3 << QRect(0, 0, 20, 10)
                                        << QPoint(-1 - 2, -2 - 5);
}

void tst_TestPatterns::aPixelImagesPieceKeepsThePhase()
{
    QFETCH(QRect, pattern);
    QFETCH(QRect, block);
    QFETCH(int, intervalX);
    QFETCH(int, intervalY);
    QFETCH(QRect, region);
    QFETCH(QPoint, first);
    place(QRect(100, 50, 20, 10));
    QCOMPARE(m_subScreen->setPixelImage(pixels(pattern, block, intervalX, intervalY)), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(pixelLine(region, QRect(first, block.size()), QColor(1, 20, 255), intervalX, intervalY)));
    QCOMPARE(wall().journal().notes(), QStringList());
}

void tst_TestPatterns::aPixelImageElsewhereDarkensTheSubScreen_data()
{
    QTest::addColumn<QRect>("pattern");
    QTest::addColumn<QRect>("block");
    QTest::addColumn<int>("intervalX");
    QTest::addColumn<int>("intervalY");
    QTest::newRow("left of it") << QRect(90, 50, 10, 10) << QRect(3, 4, 5, 6) << 7 << 8;
    QTest::newRow("below") << QRect(100, 60, 10, 10) << QRect(3, 4, 5, 6) << 7 << 8;
    QTest::newRow("a null rectangle") << QRect() << QRect(3, 4, 5, 6) << 7 << 8;
    QTest::newRow("blocks without size") << QRect(0, 0, 1, 1) << QRect() << 0 << 0;
    QTest::newRow("intervals without period") << QRect(0, 0, 1, 1) << QRect(0, 0, 1, 1) << -1 << -1;
    QTest::newRow("a default record") << DrawingParameter().screenPartRect << DrawingParameter().pixelBlockInRect << 0 << 0;
}

void tst_TestPatterns::aPixelImageElsewhereDarkensTheSubScreen()
{
    QFETCH(QRect, pattern);
    QFETCH(QRect, block);
    QFETCH(int, intervalX);
    QFETCH(int, intervalY);
    place(QRect(100, 50, 20, 10));
    QCOMPARE(m_subScreen->setPixelImage(pixels(pattern, block, intervalX, intervalY)), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList(pixelLine(QRect(0, 0, 20, 10), QRect(QPoint(0, 0), block.size()),
                                                                  QColor(0, 0, 0), intervalX, intervalY)));
    QCOMPARE(wall().journal().notes(), QStringList());
}

void tst_TestPatterns::aPixelImagesColorIsSentWithoutAlpha_data()
{
    QTest::addColumn<QColor>("color");
    QTest::addColumn<QColor>("sent");
    QTest::newRow("white") << QColor(255, 255, 255) << QColor(255, 255, 255);
    QTest::newRow("transparent") << QColor(1, 2, 3, 0) << QColor(1, 2, 3);
    QTest::newRow("invalid") << QColor() << QColor(0, 0, 0);
    QTest::newRow("from hue") << QColor::fromHsv(120, 255, 255) << QColor(0, 255, 0);
}

void tst_TestPatterns::aPixelImagesColorIsSentWithoutAlpha()
{
    QFETCH(QColor, color);
    QFETCH(QColor, sent);
    place(QRect(0, 0, 4, 4));
    DrawingParameter param = pixels(QRect(0, 0, 4, 4), QRect(0, 0, 1, 1), 1, 1);
    param.color = color;
    QCOMPARE(m_subScreen->setPixelImage(param), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList(pixelLine(QRect(0, 0, 4, 4), QRect(0, 0, 1, 1), sent, 1, 1)));
}

void tst_TestPatterns::aPixelImageWithoutPeriodIsRefused_data()
{
    QTest::addColumn<QSize>("block");
    QTest::addColumn<int>("intervalX");
    QTest::addColumn<int>("intervalY");
    QTest::newRow("width 0") << QSize(0, 1) << 1 << 1;
    QTest::newRow("height 0") << QSize(1, 0) << 1 << 1;
    QTest::newRow("no size") << QSize(0, 0) << 1 << 1;
    QTest::newRow("horizontal interval of -1") << QSize(1, 1) << -1 << 1;
    QTest::newRow("vertical interval of -1") << QSize(1, 1) << 1 << -1;
    QTest::newRow("a horizontal period of 2^32") << QSize(1 << 16, 1) << (1 << 16) - 1 << 1;
    QTest::newRow("a vertical period of 2^32") << QSize(1, 1 << 16) << 1 << (1 << 16) - 1;
    QTest::newRow("an interval that wraps when one is added") << QSize(2, 1) << intMax << 1;
}

void tst_TestPatterns::aPixelImageWithoutPeriodIsRefused()
{
    QFETCH(QSize, block);
    QFETCH(int, intervalX);
    QFETCH(int, intervalY);
    place(QRect(100, 50, 20, 10));
    // Also where the pattern begins in the corner, since the remainder is taken there as well.
    for (const QRect &pattern : {QRect(100, 50, 20, 10), QRect(95, 45, 40, 40)}) {
        QCOMPARE(m_subScreen->setPixelImage(pixels(pattern, QRect(QPoint(0, 0), block), intervalX, intervalY)),
                 enArgumentMismatch);
        const QStringList lines = m_log->takeCritical();
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines[0].endsWith(QLatin1String("device:A")), qPrintable(lines[0]));
    }
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void tst_TestPatterns::aPixelImageSaysWhatItDoes()
{
    place(QRect(100, 50, 20, 10));
    const QRect block(3, 4, 1, 1);
    const auto start = [&](const QRect &pattern) {
        return QStringList({
            QStringLiteral("call setPixelImage() start   param.screenPartRect  %1 pixelBlockIntervalX: 5 "
                           "pixelBlockIntervalY: 6")
                .arg(items(pattern)),
            QStringLiteral("call setPixelImage() start   param.pixelBlockInRect  %1").arg(items(block)),
            QStringLiteral("call setPixelImage()  subScreen  %1").arg(items(QRect(100, 50, 20, 10))),
        });
    };
    const QRect inside(110, 40, 50, 12);
    QCOMPARE(m_subScreen->setPixelImage(pixels(inside, block, 5, 6)), enSuccess);
    QCOMPARE(
        m_log->takeDebug(),
        start(inside)
            + QStringList(QStringLiteral("call setPixelImage() partRect  partRect  %1").arg(items(QRect(110, 50, 10, 2)))));

    const QRect outside(0, 0, 7, 8);
    QCOMPARE(m_subScreen->setPixelImage(pixels(outside, block, 5, 6)), enSuccess);
    QCOMPARE(m_log->takeDebug(),
             start(outside)
                 + QStringList(QStringLiteral("call setPixelImage intersects() not find  subScreen  w: 20 h: 10")));

    // The lines come first when the rectangle cannot be read.
    CabinetManager::getInstance()->removeCabinets();
    QCOMPARE(m_subScreen->setPixelImage(pixels(inside, block, 5, 6)), enInvalidParameter);
    QCOMPARE(m_log->takeDebug().mid(0, 2), start(inside).mid(0, 2));
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("Connot find cabinet by id. deviceKey: A cid: 1"),
                                                 QStringLiteral("Failed to get screen rect. id:A")}));
}

// Checkerboards

namespace {

QString checkersLine(const QRect &region, const QSize &first, const QSize &square, const QSize &last,
                     const QVariantList &colors)
{
    QStringList texts;
    for (const QVariant &color : colors)
        texts.append(CallJournal::describe(color));
    return QStringLiteral("ScreenInfo::setCheckerBoardImage(\"A\", {\"firstSquareH\": int %1, \"firstSquareW\": int %2, "
                          "\"lastSquareColumnW\": int %3, \"lastSquareRowH\": int %4, \"regionColor\": [%5], "
                          "\"regionRect\": %6, \"squareH\": int %7, \"squareW\": int %8})")
        .arg(QString::number(first.height()), QString::number(first.width()), QString::number(last.width()),
             QString::number(last.height()), texts.join(QStringLiteral(", ")), rectText(region),
             QString::number(square.height()), QString::number(square.width()));
}

} // namespace

void tst_TestPatterns::aCheckerboardsPieceIsSent()
{
    // A 20 x 20 sub-screen, one square to the right of the board's corner.
    place(QRect(10, 0, 20, 20));
    QCOMPARE(m_subScreen->setCheckerboardlImage(checkers(QRect(0, 0, 100, 100), 2, 10, 10, 10, 10)), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(QStringLiteral(
                 "ScreenInfo::setCheckerBoardImage(\"A\", {\"firstSquareH\": int 10, \"firstSquareW\": int 10, "
                 "\"lastSquareColumnW\": int 10, \"lastSquareRowH\": int 10, \"regionColor\": [{\"b\": int 0, \"g\": "
                 "int 255, "
                 "\"r\": int 0}, {\"b\": int 0, \"g\": int 0, \"r\": int 255}], \"regionRect\": {\"height\": int 20, "
                 "\"width\": int 20, \"x\": int 0, \"y\": int 0}, \"squareH\": int 10, \"squareW\": int 10})")));
    QCOMPARE(wall().journal().notes(), QStringList());
}

void tst_TestPatterns::theCheckerboardsPieceIsComputedForEverySubScreen_data()
{
    // The board: 100 x 100 at (1000, 500), squares 30 x 20, last column 10 and row 20, three colours.
    QTest::addColumn<QRect>("subScreen");
    QTest::addColumn<QRect>("region");
    QTest::addColumn<QSize>("first");
    QTest::addColumn<QSize>("last");
    QTest::addColumn<int>("color");
    QTest::newRow("the whole board") << QRect(1000, 500, 100, 100) << QRect(0, 0, 100, 100) << QSize(30, 20) << QSize(10, 20)
                                     << 0;
    QTest::newRow("more than the board") << QRect(900, 450, 400, 400) << QRect(100, 50, 100, 100) << QSize(30, 20)
                                         << QSize(10, 20) << 0;
    QTest::newRow("the right part") << QRect(1060, 500, 40, 100) << QRect(0, 0, 40, 100) << QSize(30, 20) << QSize(10, 20)
                                    << 2;
    QTest::newRow("inside the last column")
        << QRect(1095, 500, 400, 100) << QRect(0, 0, 5, 100) << QSize(5, 20) << QSize(5, 20) << 0;
    QTest::newRow("the left half") << QRect(1000, 500, 50, 50) << QRect(0, 0, 50, 50) << QSize(30, 20) << QSize(20, 10) << 0;
    QTest::newRow("in the middle") << QRect(1035, 525, 30, 30) << QRect(0, 0, 30, 30) << QSize(25, 15) << QSize(5, 15)
                                   << (1 + 1) % 3;
    QTest::newRow("inside one square") << QRect(1035, 545, 3, 4) << QRect(0, 0, 3, 4) << QSize(3, 4) << QSize(3, 4)
                                       << (1 + 2) % 3;
    QTest::newRow("its last pixel") << QRect(1099, 599, 9, 9) << QRect(0, 0, 1, 1) << QSize(1, 1) << QSize(1, 1)
                                    << (3 + 4) % 3;
}

void tst_TestPatterns::theCheckerboardsPieceIsComputedForEverySubScreen()
{
    QFETCH(QRect, subScreen);
    QFETCH(QRect, region);
    QFETCH(QSize, first);
    QFETCH(QSize, last);
    QFETCH(int, color);
    place(subScreen);
    QCOMPARE(m_subScreen->setCheckerboardlImage(checkers(QRect(1000, 500, 100, 100), 3, 30, 20, 10, 20)), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(checkersLine(region, first, QSize(30, 20), last, colorsFrom(color, 3))));
    QCOMPARE(wall().journal().notes(), QStringList());
}

void tst_TestPatterns::aCheckerboardElsewhereClearsTheImage_data()
{
    QTest::addColumn<QRect>("region");
    QTest::addColumn<int>("colors");
    QTest::addColumn<int>("square");
    QTest::newRow("right of it") << QRect(120, 50, 10, 10) << 2 << 5;
    QTest::newRow("above") << QRect(100, 40, 10, 10) << 2 << 5;
    QTest::newRow("a null rectangle") << QRect() << 2 << 5;
    QTest::newRow("without colours") << QRect(0, 0, 9, 9) << 0 << 5;
    QTest::newRow("without squares") << QRect(0, 0, 9, 9) << 2 << 0;
}

void tst_TestPatterns::aCheckerboardElsewhereClearsTheImage()
{
    QFETCH(QRect, region);
    QFETCH(int, colors);
    QFETCH(int, square);
    place(QRect(100, 50, 20, 10));
    QCOMPARE(m_subScreen->setCheckerboardlImage(checkers(region, colors, square, square, 1, 1)), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList(clearLine));
    QCOMPARE(wall().journal().notes(), QStringList());
}

void tst_TestPatterns::aCheckerboardWithoutPhaseIsRefused_data()
{
    QTest::addColumn<int>("colors");
    QTest::addColumn<int>("squareW");
    QTest::addColumn<int>("squareH");
    QTest::newRow("no colours") << 0 << 5 << 5;
    QTest::newRow("squares without width") << 2 << 0 << 5;
    QTest::newRow("squares without height") << 2 << 5 << 0;
    QTest::newRow("nothing at all") << 0 << 0 << 0;
    QTest::newRow("a horizontal period of 2^32") << 4 << (1 << 30) << 5;
    QTest::newRow("a vertical period of 2^32") << 4 << 5 << (1 << 30);
}

void tst_TestPatterns::aCheckerboardWithoutPhaseIsRefused()
{
    QFETCH(int, colors);
    QFETCH(int, squareW);
    QFETCH(int, squareH);
    place(QRect(100, 50, 20, 10));
    for (const QRect &region : {QRect(100, 50, 20, 10), QRect(95, 45, 40, 40)}) {
        QCOMPARE(m_subScreen->setCheckerboardlImage(checkers(region, colors, squareW, squareH, 1, 1)), enArgumentMismatch);
        const QStringList lines = m_log->takeCritical();
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines[0].endsWith(QLatin1String("device:A")), qPrintable(lines[0]));
    }
    QCOMPARE(wall().journal().transcript(), QStringList());
    // The last column and row divide nothing.
    wall().scripts().on(QStringLiteral("ScreenInfo::setCheckerBoardImage")).answer(QVariantMap());
    QCOMPARE(m_subScreen->setCheckerboardlImage(checkers(QRect(95, 45, 40, 40), 1, 3, 3, 0, 0)), enSuccess);
    QCOMPARE(wall().journal().calls().size(), 1);
}

void tst_TestPatterns::aCheckerboardSaysWhatItDoes()
{
    place(QRect(1060, 525, 40, 30));
    const QRect region(1000, 500, 100, 100);
    // The first number has no label.
    const QString start =
        QStringLiteral("call SubScreenV4::setCheckerboardlImage() start   param.regionRect  1000 y: 500 w: 100 h: 100");
    QCOMPARE(m_subScreen->setCheckerboardlImage(checkers(region, 3, 30, 20, 10, 20)), enSuccess);
    QCOMPARE(m_log->takeDebug(),
             QStringList({
                 start,
                 QStringLiteral("call SubScreenV4::setCheckerboardlImage() partRect  partRect  x: 1060 y: 525 w: 40 h: 30"),
                 QStringLiteral("  absX: 60 absY: 25 squareW: 30 squareH: 20 lastSquareColumnW: 10 lastSquareRowH: 20"),
                 QStringLiteral("call CalcRegionWH()  firstSquareW: 30 firstSquareH: 15 lastSquareColumnW: 10 "
                                "lastSquareRowH: 15"),
             }));

    QCOMPARE(m_subScreen->setCheckerboardlImage(checkers(QRect(1, 2, 3, 4), 3, 30, 20, 10, 20)), enSuccess);
    QCOMPARE(m_log->takeDebug(),
             QStringList({
                 QStringLiteral("call SubScreenV4::setCheckerboardlImage() start   param.regionRect  1 y: 2 w: 3 h: 4"),
                 QStringLiteral("call setCheckerboardlImage intersects() not find  subScreen  w: 40 h: 30"),
             }));

    CabinetManager::getInstance()->removeCabinets();
    QCOMPARE(m_subScreen->setCheckerboardlImage(checkers(region, 3, 30, 20, 10, 20)), enInvalidParameter);
    QCOMPARE(m_log->takeDebug(), QStringList(start));
    QCOMPARE(m_log->takeCritical(),
             QStringList({QStringLiteral("Connot find cabinet by id. deviceKey: A cid: 1"),
                          QStringLiteral("call SubScreenV4::setCheckerboardlImage() Failed to get screen rect. id:A")}));
}

// All operations

void tst_TestPatterns::theImageModeIsSentAsANumber_data()
{
    QTest::addColumn<int>("mode");
    for (const int mode : {0, 1, 127, 128, 255})
        QTest::addRow("%d", mode) << mode;
}

void tst_TestPatterns::theImageModeIsSentAsANumber()
{
    QFETCH(int, mode);
    place(QRect(0, 0, 1, 1));
    QCOMPARE(m_subScreen->setPixelImageMode(static_cast<unsigned char>(mode)), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(QStringLiteral("ScreenInfo::setPixelImageMode(\"A\", {\"mode\": int %1})").arg(mode)));
    QCOMPARE(wall().journal().notes(), QStringList());
    QCOMPARE(wall().state().imageMode(deviceKey), mode);
}

namespace {

/// Every call that a pattern can end in.
struct PatternCall {
    const char *name;
    const char *failure;
    EnumErrorCode (*run)(SubScreenV4 &);
};

const PatternCall patternCalls[] = {
    {"ScreenInfo::setPixelImage", "setPixelImage timeout. device:A",
     [](SubScreenV4 &s) { return s.setPixelImage(pixels(QRect(0, 0, 9, 9), QRect(0, 0, 1, 1), 1, 1)); }},
    {"ScreenInfo::setPixelImage", "setPixelImage timeout. device:A",
     [](SubScreenV4 &s) { return s.setPixelImage(pixels(QRect(50, 50, 9, 9), QRect(0, 0, 1, 1), 1, 1)); }},
    {"ScreenInfo::setCheckerBoardImage", "call setCheckerBoardImage() fail. timeout. device:A",
     [](SubScreenV4 &s) { return s.setCheckerboardlImage(checkers(QRect(0, 0, 9, 9), 2, 3, 3, 3, 3)); }},
    {"ScreenInfo::setCorrectClearImage", "call setCorrectClearImage timeout. device:A",
     [](SubScreenV4 &s) { return s.setCheckerboardlImage(checkers(QRect(50, 50, 9, 9), 2, 3, 3, 3, 3)); }},
    {"ScreenInfo::setPixelImageMode", "setPixelImageMode timeout. device:A",
     [](SubScreenV4 &s) { return s.setPixelImageMode(2); }},
};

} // namespace

void tst_TestPatterns::aDeviceThatDoesNotAnswerIsFive_data()
{
    QTest::addColumn<int>("call");
    QTest::addColumn<bool>("throws");
    const char *const names[] = {"pixel image", "pixel image elsewhere", "checkerboard", "checkerboard elsewhere", "mode"};
    for (int i = 0; i < 5; ++i) {
        QTest::addRow("%s", names[i]) << i << false;
        QTest::addRow("%s, with an exception", names[i]) << i << true;
    }
}

void tst_TestPatterns::aDeviceThatDoesNotAnswerIsFive()
{
    QFETCH(int, call);
    QFETCH(bool, throws);
    const PatternCall &expected = patternCalls[call];
    place(QRect(0, 0, 4, 4));
    Simulator::Script &script = wall().scripts().on(QString(), deviceKey);
    if (throws)
        script.throwException(std::make_exception_ptr(std::runtime_error("broken")));
    else
        script.answerFalse();
    QCOMPARE(expected.run(*m_subScreen), enTimeout);
    QCOMPARE(wall().journal().calls().size(), 1);
    QCOMPARE(wall().journal().calls().value(0).operation, QString::fromLatin1(expected.name));
    QStringList lines(QString::fromLatin1(expected.failure));
    if (throws)
        lines.prepend(QStringLiteral("the device service threw an exception"));
    QCOMPARE(m_log->takeCritical(), lines);
}

void tst_TestPatterns::aMissingRectangleEndsAPattern_data()
{
    QTest::addColumn<bool>("checkerboard");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("line");
    for (const bool checkerboard : {false, true}) {
        const char *const name = checkerboard ? "checkerboard" : "pixel image";
        QTest::addRow("%s, unknown cabinet", name)
            << checkerboard << 3 << QStringLiteral("Connot find cabinet by id. deviceKey: A cid: 2");
        QTest::addRow("%s, no description", name) << checkerboard << 3 << QStringLiteral("Cabinet info is empty. id:2");
        QTest::addRow("%s, a code of the cabinet", name)
            << checkerboard << 8 << QStringLiteral("Cabinet info is empty. id:2");
    }
}

void tst_TestPatterns::aMissingRectangleEndsAPattern()
{
    QFETCH(bool, checkerboard);
    QFETCH(int, code);
    QFETCH(QString, line);
    place(QRect(0, 0, 4, 4));
    if (line.startsWith(QLatin1String("Cabinet"))) {
        ICabinet *const cabinet = code == 8 ? new LostCabinet : new CabinetV4(nullptr);
        QVERIFY(CabinetManager::getInstance()->addCabinet(QStringLiteral("2"), cabinet));
    }
    QVERIFY(m_subScreen->addCabinet(QStringLiteral("2"), QString()));
    // Neither zero divisors nor places matter before the rectangle is known.
    for (const QRect &place : {QRect(0, 0, 9, 9), QRect(50, 50, 9, 9)}) {
        if (checkerboard) {
            QCOMPARE(int(m_subScreen->setCheckerboardlImage(checkers(place, 0, 0, 0, 0, 0))), code);
            QCOMPARE(m_log->takeCritical(),
                     QStringList({line, QStringLiteral("call SubScreenV4::setCheckerboardlImage() Failed to get screen "
                                                       "rect. id:A")}));
        } else {
            QCOMPARE(int(m_subScreen->setPixelImage(pixels(place, QRect(), -1, -1))), code);
            QCOMPARE(m_log->takeCritical(), QStringList({line, QStringLiteral("Failed to get screen rect. id:A")}));
        }
    }
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void tst_TestPatterns::aSubScreenWithoutCabinetsShowsNoPattern()
{
    wall().scripts().on(QString(), deviceKey).answer(QVariantMap());
    QCOMPARE(m_subScreen->setPixelImage(pixels(QRect(-9, -9, 99, 99), QRect(1, 1, 2, 3), 1, 1)), enSuccess);
    QCOMPARE(m_subScreen->setCheckerboardlImage(checkers(QRect(-9, -9, 99, 99), 2, 3, 3, 3, 3)), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList({pixelLine(QRect(0, 0, 0, 0), QRect(0, 0, 2, 3), QColor(0, 0, 0), 1, 1), clearLine}));
}

// The arithmetic by itself

void tst_TestPatterns::sizesOfAPiece_data()
{
    QTest::addColumn<int>("abs");
    QTest::addColumn<int>("piece");
    QTest::addColumn<int>("board");
    QTest::addColumn<int>("square");
    QTest::addColumn<int>("boardLast");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    QTest::newRow("reaches the edge") << 60 << 40 << 100 << 30 << 10 << 30 << 10;
    QTest::newRow("inside the last square") << 95 << 5 << 100 << 30 << 10 << 5 << 5;
    QTest::newRow("from the corner, not to the edge") << 0 << 50 << 100 << 30 << 10 << 30 << 20;
    QTest::newRow("the whole board") << 0 << 100 << 100 << 30 << 10 << 30 << 10;
    QTest::newRow("past the edge") << 60 << 70 << 100 << 30 << 10 << 30 << 10;
    QTest::newRow("the last square alone") << 90 << 10 << 100 << 30 << 10 << 10 << 10;
    QTest::newRow("one pixel before the last square") << 89 << 11 << 100 << 30 << 10 << 1 << 10;
    QTest::newRow("one pixel short of the edge") << 60 << 39 << 100 << 30 << 10 << 30 << 9;
    QTest::newRow("ends on a square boundary") << 10 << 50 << 100 << 30 << 10 << 20 << 30;
    QTest::newRow("exactly the rest of a square") << 10 << 20 << 100 << 30 << 10 << 20 << 30;
    QTest::newRow("one pixel less than the rest") << 10 << 19 << 100 << 30 << 10 << 19 << 19;
    QTest::newRow("one pixel more than the rest") << 10 << 21 << 100 << 30 << 10 << 20 << 1;
    QTest::newRow("one whole square") << 30 << 30 << 100 << 30 << 10 << 30 << 30;
    QTest::newRow("one pixel") << 30 << 1 << 100 << 30 << 10 << 1 << 1;
    QTest::newRow("a full last square") << 0 << 90 << 90 << 30 << 30 << 30 << 30;
    QTest::newRow("squares of one pixel") << 3 << 4 << 100 << 1 << 1 << 1 << 1;
    QTest::newRow("squares of one pixel at the edge") << 98 << 2 << 100 << 1 << 1 << 1 << 1;
    QTest::newRow("a board of one square") << 0 << 10 << 10 << 30 << 10 << 10 << 10;
    QTest::newRow("part of a board of one square") << 4 << 3 << 10 << 30 << 10 << 3 << 3;
    QTest::newRow("the first square fills what is left") << 60 << 40 << 100 << 30 << 11 << 40 << 40;
}

void tst_TestPatterns::sizesOfAPiece()
{
    QFETCH(int, abs);
    QFETCH(int, piece);
    QFETCH(int, board);
    QFETCH(int, square);
    QFETCH(int, boardLast);
    QFETCH(int, first);
    QFETCH(int, last);
    // The piece's own position does not matter, nor the board's.
    Sizes horizontal;
    DrawingCheckerboard wide = checkers(QRect(7, 8, board, 50), 2, square, 50, boardLast, 50);
    horizontal.calculate(wide, abs, 0, QRect(1234, 5678, piece, 50));
    QCOMPARE(horizontal.numbers(), QVector<int>({first, 50, last, 50}));

    Sizes vertical;
    DrawingCheckerboard high = checkers(QRect(-7, -8, 50, board), 2, 50, square, 50, boardLast);
    vertical.calculate(high, 0, abs, QRect(-1, -5, 50, piece));
    QCOMPARE(vertical.numbers(), QVector<int>({50, first, 50, last}));
}

void tst_TestPatterns::sizesOfEveryPieceOfSmallBoards()
{
    // A device that draws the squares from the sizes gets every pixel into the column that it has on the board.
    int pieces = 0;
    for (int square = 1; square <= 5; ++square) {
        for (int boardLast = 1; boardLast <= square; ++boardLast) {
            for (int board = boardLast; board <= 14; board += square) {
                for (int abs = 0; abs < board; ++abs) {
                    for (int piece = 1; abs + piece <= board; ++piece) {
                        Sizes sizes;
                        DrawingCheckerboard checkerboard = checkers(QRect(0, 0, board, 1), 3, square, 1, boardLast, 1);
                        sizes.calculate(checkerboard, abs, 0, QRect(abs, 0, piece, 1));
                        QVector<int> expected;
                        QVector<int> drawn;
                        int column = 0;
                        int left = qMin(sizes.firstW, piece); // pixels that the current square still has
                        for (int i = 0; i < piece; ++i) {
                            expected.append((abs + i) / square - abs / square);
                            if (left == 0) {
                                ++column;
                                left = i == piece - sizes.lastW ? sizes.lastW : square;
                            }
                            --left;
                            drawn.append(column);
                        }
                        QCOMPARE(drawn, expected);
                        QCOMPARE(sizes.colors.mid(1), colorsFrom(abs / square % 3, 3));
                        ++pieces;
                    }
                }
            }
        }
    }
    QVERIFY(pieces > 1000);
}

void tst_TestPatterns::colorsOfAPiece_data()
{
    // Horizontally; 100 pixels, squares of 5 unless the row has another number.
    QTest::addColumn<int>("abs");
    QTest::addColumn<int>("piece");
    QTest::addColumn<int>("square");
    QTest::addColumn<int>("boardLast");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("color");
    QTest::newRow("the corner") << 0 << 10 << 5 << 5 << 3 << 0;
    QTest::newRow("the first square's last pixel") << 4 << 10 << 5 << 5 << 3 << 0;
    QTest::newRow("the second square") << 5 << 10 << 5 << 5 << 3 << 1;
    QTest::newRow("the third square") << 14 << 10 << 5 << 5 << 3 << 2;
    QTest::newRow("around once") << 15 << 10 << 5 << 5 << 3 << 0;
    QTest::newRow("one colour") << 17 << 10 << 5 << 5 << 1 << 0;
    QTest::newRow("five colours") << 22 << 10 << 5 << 5 << 5 << 4;
    QTest::newRow("narrower than the last column, at the edge") << 97 << 3 << 5 << 10 << 3 << 0; // as at 90
    QTest::newRow("as wide as the last column, at the edge") << 90 << 10 << 5 << 10 << 3 << 0;
    QTest::newRow("wider than the last column, at the edge") << 85 << 15 << 5 << 2 << 3 << 2;
    QTest::newRow("narrower than the last column, not at the edge") << 80 << 3 << 5 << 10 << 3 << 1;
    QTest::newRow("narrower than the last column, one pixel short") << 96 << 3 << 5 << 10 << 3 << 1;
    QTest::newRow("narrower than the last column, past the edge") << 98 << 5 << 5 << 10 << 3 << 0; // as at 93
    QTest::newRow("two colours, last column of 10") << 95 << 5 << 30 << 10 << 2 << 1;
}

void tst_TestPatterns::colorsOfAPiece()
{
    QFETCH(int, abs);
    QFETCH(int, piece);
    QFETCH(int, square);
    QFETCH(int, boardLast);
    QFETCH(int, count);
    QFETCH(int, color);
    DrawingCheckerboard wide = checkers(QRect(7, 8, 100, 50), count, square, 50, boardLast, 50);
    QVariantList horizontal;
    QRect row(3, 4, piece, 50);
    wide.CalcRegionColorToWH(abs, 0, horizontal, row);
    QCOMPARE(horizontal, colorsFrom(color, count));
    for (const QVariant &entry : qAsConst(horizontal)) {
        for (const char *key : {"r", "g", "b"})
            QCOMPARE(entry.toMap().value(QString::fromLatin1(key)).userType(), int(QMetaType::Int));
    }

    DrawingCheckerboard high = checkers(QRect(7, 8, 50, 100), count, 50, square, 50, boardLast);
    QVariantList vertical;
    QRect columnPart(3, 4, 50, piece);
    high.CalcRegionColorToWH(0, abs, vertical, columnPart);
    QCOMPARE(vertical, colorsFrom(color, count));

    // Both axes add up.
    DrawingCheckerboard both = checkers(QRect(7, 8, 100, 100), count, square, square, boardLast, boardLast);
    QVariantList diagonal;
    QRect corner(3, 4, piece, piece);
    both.CalcRegionColorToWH(abs, abs, diagonal, corner);
    QCOMPARE(diagonal, colorsFrom(2 * color % count, count));
    QCOMPARE(corner, QRect(3, 4, piece, piece));
}

void tst_TestPatterns::colorsAreAppended()
{
    DrawingCheckerboard board = checkers(QRect(0, 0, 100, 100), 2, 10, 10, 10, 10);
    QVariantList colors{1, 2};
    QRect part(0, 0, 20, 20);
    board.CalcRegionColorToWH(10, 0, colors, part);
    QCOMPARE(colors, QVariantList({1, 2}) + colorsFrom(1, 2));
    board.CalcRegionColorToWH(0, 0, colors, part);
    QCOMPARE(colors, QVariantList({1, 2}) + colorsFrom(1, 2) + colorsFrom(0, 2));
}

void tst_TestPatterns::theSizesCallAppendsTheColors()
{
    Sizes sizes;
    DrawingCheckerboard board = checkers(QRect(0, 0, 100, 100), 5, 10, 20, 10, 20);
    sizes.calculate(board, 37, 61, QRect(0, 0, 20, 20));
    QCOMPARE(sizes.colors, QVariantList{QStringLiteral("there before")} + colorsFrom((3 + 3) % 5, 5));
}

void tst_TestPatterns::zeroDivisorsChangeNothing_data()
{
    QTest::addColumn<int>("squareW");
    QTest::addColumn<int>("squareH");
    QTest::newRow("no width") << 0 << 5;
    QTest::newRow("no height") << 5 << 0;
    QTest::newRow("neither") << 0 << 0;
}

void tst_TestPatterns::zeroDivisorsChangeNothing()
{
    QFETCH(int, squareW);
    QFETCH(int, squareH);
    for (const int abs : {0, 7, -7, intMax, intMin}) {
        Sizes sizes;
        DrawingCheckerboard board = checkers(QRect(0, 0, 100, 100), 2, squareW, squareH, 10, 10);
        sizes.calculate(board, abs, abs, QRect(0, 0, 20, 20));
        QCOMPARE(sizes.numbers(), untouched);
        QCOMPARE(sizes.colors, QVariantList{QStringLiteral("there before")});
    }
}

void tst_TestPatterns::colorsWithoutPhaseAppendNothing_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("squareW");
    QTest::addColumn<int>("squareH");
    QTest::addColumn<QPoint>("abs");
    QTest::newRow("no colours") << 0 << 5 << 5 << QPoint(0, 0);
    QTest::newRow("no width") << 2 << 0 << 5 << QPoint(0, 0);
    QTest::newRow("no height") << 2 << 5 << 0 << QPoint(0, 0);
    QTest::newRow("a horizontal period of 2^32") << 4 << (1 << 30) << 5 << QPoint(0, 0);
    QTest::newRow("a vertical period of 2^32") << 4 << 5 << (1 << 30) << QPoint(0, 0);
    QTest::newRow("left of the board by a square") << 2 << 5 << 5 << QPoint(-7, 0);
    QTest::newRow("above the board by a square") << 2 << 5 << 5 << QPoint(0, -7);
    QTest::newRow("a negative width") << 2 << -3 << 5 << QPoint(5, 0);
    QTest::newRow("a negative height") << 2 << 5 << -3 << QPoint(0, 5);
}

void tst_TestPatterns::colorsWithoutPhaseAppendNothing()
{
    QFETCH(int, count);
    QFETCH(int, squareW);
    QFETCH(int, squareH);
    QFETCH(QPoint, abs);
    DrawingCheckerboard board = checkers(QRect(0, 0, 100, 100), count, squareW, squareH, 1, 1);
    QVariantList colors{1};
    QRect part(0, 0, 20, 20);
    board.CalcRegionColorToWH(abs.x(), abs.y(), colors, part);
    QCOMPARE(colors, QVariantList{1});
    // The sizes need no colours.
    if (count == 0) {
        Sizes sizes;
        sizes.calculate(board, 0, 0, QRect(0, 0, 20, 20));
        QCOMPARE(sizes.numbers(), QVector<int>({5, 5, 5, 5}));
        QCOMPARE(sizes.colors, QVariantList{QStringLiteral("there before")});
    }
}

void tst_TestPatterns::negativeNumbersFollowTheFormula_data()
{
    // Remainders have the sign of the dividend.
    QTest::addColumn<int>("abs");
    QTest::addColumn<int>("piece");
    QTest::addColumn<int>("square");
    QTest::addColumn<int>("boardLast");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    QTest::addColumn<bool>("colored");
    QTest::newRow("left of the board") << -3 << 20 << 5 << 5 << 8 << 2 << true;
    QTest::newRow("left of it by more than a square") << -7 << 20 << 5 << 5 << 7 << 3 << false;
    QTest::newRow("ending left of it") << -9 << 2 << 5 << 5 << 2 << 2 << false;
    QTest::newRow("negative squares") << 7 << 10 << -3 << 2 << -4 << 2 << true;
    QTest::newRow("negative squares, second column") << 5 << 10 << -3 << 2 << -5 << -3 << false;
    QTest::newRow("a negative last square") << 60 << 40 << 5 << -10 << 5 << -10 << true;
    QTest::newRow("a negative piece") << 10 << -4 << 5 << 5 << -4 << -4 << true;
}

void tst_TestPatterns::negativeNumbersFollowTheFormula()
{
    QFETCH(int, abs);
    QFETCH(int, piece);
    QFETCH(int, square);
    QFETCH(int, boardLast);
    QFETCH(int, first);
    QFETCH(int, last);
    QFETCH(bool, colored);
    Sizes sizes;
    DrawingCheckerboard board = checkers(QRect(0, 0, 100, 50), 2, square, 50, boardLast, 50);
    sizes.calculate(board, abs, 0, QRect(0, 0, piece, 50));
    QCOMPARE(sizes.numbers(), QVector<int>({first, 50, last, 50}));
    QCOMPARE(sizes.colors.size() - 1, colored ? 2 : 0);
}

void tst_TestPatterns::sumsOfABoardWrap_data()
{
    // Sums are those of 32-bit integers.
    QTest::addColumn<int>("abs");
    QTest::addColumn<int>("piece");
    QTest::addColumn<int>("square");
    QTest::addColumn<int>("boardLast");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    QTest::addColumn<int>("color");
    QTest::newRow("end of the piece") << intMax << 10 << 5 << 15 << 3 << -4 << 1;
    QTest::newRow("end of the last square") << 60 << 40 << 30 << intMax << 30 << intMax << 0;
}

void tst_TestPatterns::sumsOfABoardWrap()
{
    QFETCH(int, abs);
    QFETCH(int, piece);
    QFETCH(int, square);
    QFETCH(int, boardLast);
    QFETCH(int, first);
    QFETCH(int, last);
    QFETCH(int, color);
    Sizes horizontal;
    DrawingCheckerboard wide = checkers(QRect(0, 0, 100, 50), 2, square, 50, boardLast, 50);
    horizontal.calculate(wide, abs, 0, QRect(0, 0, piece, 50));
    QCOMPARE(horizontal.numbers(), QVector<int>({first, 50, last, 50}));
    QCOMPARE(horizontal.colors.mid(1), colorsFrom(color, 2));
    Sizes vertical;
    DrawingCheckerboard high = checkers(QRect(0, 0, 50, 100), 2, 50, square, 50, boardLast);
    vertical.calculate(high, 0, abs, QRect(0, 0, 50, piece));
    QCOMPARE(vertical.numbers(), QVector<int>({50, first, 50, last}));
    QCOMPARE(vertical.colors.mid(1), colorsFrom(color, 2));
}

void tst_TestPatterns::extremeNumbersDoNoHarm()
{
    const QVector<int> extremes{intMin, intMin + 1, -(1 << 30), -1, 0, 1, 2, 1 << 30, intMax - 1, intMax};
    for (const int abs : extremes) {
        for (const int square : extremes) {
            for (const int boardLast : extremes) {
                for (const int right : extremes) {
                    for (const int count : {0, 1, 3, 4}) {
                        DrawingCheckerboard board =
                            checkers(fromCorners(0, -1, right, intMax), count, square, square, boardLast, boardLast);
                        Sizes sizes;
                        sizes.calculate(board, abs, abs, fromCorners(intMin, 0, right, boardLast));
                        const int appended = sizes.colors.size() - 1;
                        QVERIFY(appended == 0 || appended == count);
                        if (square == 0)
                            QCOMPARE(sizes.numbers(), untouched);
                    }
                }
            }
        }
    }
}

void tst_TestPatterns::extremeRectanglesDoNoHarm_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::newRow("everything") << fromCorners(intMin, intMin, intMax, intMax);
    QTest::newRow("half of everything") << fromCorners(-1, -1, intMax, intMax);
    QTest::newRow("the other half") << fromCorners(intMin, intMin, 0, 0);
    QTest::newRow("as large as a rectangle gets") << fromCorners(intMin + 5, intMin + 5, 3, 3);
    QTest::newRow("corners exchanged") << fromCorners(3, 3, 0, 0);
    QTest::newRow("extreme corners exchanged") << fromCorners(intMax, intMax, intMin, intMin);
    QTest::newRow("largest width") << fromCorners(0, 0, intMax - 1, 0);
    QTest::newRow("largest corner") << fromCorners(intMax, intMax, intMax, intMax);
}

void tst_TestPatterns::extremeRectanglesDoNoHarm()
{
    QFETCH(QRect, rect);
    place(QRect(0, 0, 4, 4));
    enlist(*m_subScreen, deviceKey, QStringLiteral("2"), QRect(-2, 0, 2, 4));
    wall().scripts().on(QString(), deviceKey).answer(QVariantMap());
    for (const int cabinets : {2, 3}) {
        if (cabinets == 3)
            enlist(*m_subScreen, deviceKey, QStringLiteral("3"), rect); // a sub-screen of any size
        wall().journal().clear();
        const int codes[] = {
            m_subScreen->setPixelImage(pixels(rect, QRect(0, 0, 3, 3), 2, 2)),
            m_subScreen->setPixelImage(pixels(QRect(0, 0, 9, 9), rect, intMax, intMin)),
            m_subScreen->setCheckerboardlImage(checkers(rect, 3, 7, 7, 2, 2)),
            m_subScreen->setCheckerboardlImage(checkers(rect, 3, intMin, intMax, intMin, intMax)),
        };
        int refused = 0;
        for (const int code : codes) {
            QVERIFY2(code == enSuccess || code == enArgumentMismatch, qPrintable(QString::number(code)));
            refused += code == enArgumentMismatch ? 1 : 0;
        }
        QCOMPARE(m_log->takeCritical().size(), refused);
        QCOMPARE(wall().journal().calls().size(), 4 - refused);
    }
}

// Random walls against pictures drawn directly

void tst_TestPatterns::makeRandomWall(QRandomGenerator &random, int deviceCuts)
{
    const QRect area(random.bounded(-40, 40), random.bounded(-40, 40), random.bounded(5, 45), random.bounded(5, 35));
    QVector<QRect> frames;
    partition(area, deviceCuts, random, frames);
    m_screen = std::make_unique<ScreenV4>();
    QList<Simulator::Device> devices;
    for (const QRect &frame : qAsConst(frames)) {
        Simulator::Device device;
        device.key = QStringLiteral("device %1").arg(random.bounded(1000) * 100 + devices.size());
        device.screenId = QStringLiteral("screen");
        device.subScreens = {Simulator::SubScreen()};
        auto subScreen = std::make_unique<SubScreenV4>(device.key);
        QVector<QRect> parts;
        partition(frame, random.bounded(5), random, parts);
        for (const QRect &part : qAsConst(parts)) {
            if (random.bounded(6) == 0 && &part != &parts.constFirst())
                continue; // holes here and there
            Simulator::Cabinet cabinet;
            cabinet.id = QString::number(m_cabinets.size() + 1);
            cabinet.position = part.topLeft();
            cabinet.size = part.size();
            device.subScreens[0].cabinets.append(cabinet);
            enlist(*subScreen, device.key, cabinet.id, part);
            m_cabinets.append(part);
        }
        QVERIFY(m_screen->addSubScreen(device.key, subScreen.release()));
        devices.append(device);
    }
    wall().setDevices(devices);
}

/// The picture of the wall with this colour at every pixel of a cabinet, black elsewhere.
QImage tst_TestPatterns::drawn(const std::function<QColor(const QPoint &)> &colorAt) const
{
    QRect bounds = m_cabinets.constFirst();
    for (const QRect &cabinet : m_cabinets)
        bounds |= cabinet;
    QImage image(bounds.size(), QImage::Format_RGB32);
    image.fill(Qt::black);
    for (const QRect &cabinet : m_cabinets) {
        for (int y = cabinet.top(); y <= cabinet.bottom(); ++y) {
            for (int x = cabinet.left(); x <= cabinet.right(); ++x)
                image.setPixelColor(QPoint(x, y) - bounds.topLeft(), colorAt(QPoint(x, y)));
        }
    }
    return image;
}

namespace {

/// A rectangle of this size that meets the cabinets more often than not.
QRect placedNear(const QVector<QRect> &cabinets, const QSize &size, QRandomGenerator &random)
{
    const QRect &near = cabinets[random.bounded(cabinets.size())];
    const QPoint pixel(near.x() + random.bounded(near.width()), near.y() + random.bounded(near.height()));
    return QRect(pixel - QPoint(random.bounded(size.width() + 4) - 2, random.bounded(size.height() + 4) - 2), size);
}

bool isUniform(const QImage &image)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != image.pixel(0, 0))
                return false;
        }
    }
    return true;
}

} // namespace

void tst_TestPatterns::randomBoardsComeOutWhole_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 40; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void tst_TestPatterns::randomBoardsComeOutWhole()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(seed);
    makeRandomWall(random, random.bounded(8));
    int colorful = 0;
    for (int round = 0; round < 8; ++round) {
        DrawingCheckerboard board;
        board.squareW = random.bounded(1, 9);
        board.squareH = random.bounded(1, 9);
        board.lastSquareColumnW = random.bounded(1, board.squareW + 1);
        board.lastSquareRowH = random.bounded(1, board.squareH + 1);
        board.colors = fiveColors.mid(0, random.bounded(2, 6));
        const QSize size(random.bounded(7) * board.squareW + board.lastSquareColumnW,
                         random.bounded(7) * board.squareH + board.lastSquareRowH);
        board.regionRect = placedNear(m_cabinets, size, random);
        QCOMPARE(m_screen->setCheckerboardlImage(board), enSuccess);

        const QImage expected = drawn([&](const QPoint &pixel) {
            if (!board.regionRect.contains(pixel))
                return QColor(0, 0, 0);
            const QPoint place = pixel - board.regionRect.topLeft();
            return board.colors[(place.x() / board.squareW + place.y() / board.squareH) % board.colors.size()];
        });
        QCOMPARE(difference(wall().pictures().pattern(QStringLiteral("screen")), expected), QString());
        colorful += isUniform(expected) ? 0 : 1;
    }
    QVERIFY(colorful > 0);
    QCOMPARE(wall().journal().notes(), QStringList());
}

void tst_TestPatterns::randomPixelImagesComeOutWhole_data()
{
    randomBoardsComeOutWhole_data();
}

void tst_TestPatterns::randomPixelImagesComeOutWhole()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(1000 + seed);
    makeRandomWall(random, random.bounded(8));
    int colorful = 0;
    for (int round = 0; round < 8; ++round) {
        const QSize size(random.bounded(1, 50), random.bounded(1, 40));
        const int periodX = random.bounded(1, 8);
        const int periodY = random.bounded(1, 8);
        const DrawingParameter param =
            pixels(placedNear(m_cabinets, size, random), QRect(0, 0, 1, 1), periodX - 1, periodY - 1);
        QCOMPARE(m_screen->setPixelImage(param), enSuccess);

        const QImage expected = drawn([&](const QPoint &pixel) {
            const QPoint place = pixel - param.screenPartRect.topLeft();
            const bool lit = param.screenPartRect.contains(pixel) && place.x() % periodX == 0 && place.y() % periodY == 0;
            return lit ? param.color : QColor(0, 0, 0);
        });
        QCOMPARE(difference(wall().pictures().pattern(QStringLiteral("screen")), expected), QString());
        colorful += isUniform(expected) ? 0 : 1;
    }
    QVERIFY(colorful > 0);
    QCOMPARE(wall().journal().notes(), QStringList());
}

void tst_TestPatterns::anyPixelBlocksComeOutWholeOnOneDevice_data()
{
    randomBoardsComeOutWhole_data();
}

void tst_TestPatterns::anyPixelBlocksComeOutWholeOnOneDevice()
{
    // A pattern that begins on the device has no phase to carry over, so its blocks may have any size and offset.
    QFETCH(quint32, seed);
    QRandomGenerator random(2000 + seed);
    makeRandomWall(random, 0);
    QRect bounds = m_cabinets.constFirst();
    for (const QRect &cabinet : qAsConst(m_cabinets))
        bounds |= cabinet;
    for (int round = 0; round < 8; ++round) {
        const QRect pattern(bounds.x() + random.bounded(bounds.width()), bounds.y() + random.bounded(bounds.height()),
                            random.bounded(1, 50), random.bounded(1, 40));
        const QRect block(random.bounded(6), random.bounded(6), random.bounded(1, 5), random.bounded(1, 5));
        const int intervalX = random.bounded(4);
        const int intervalY = random.bounded(4);
        QCOMPARE(m_screen->setPixelImage(pixels(pattern, block, intervalX, intervalY)), enSuccess);

        const auto lit = [](int place, int first, int length, int interval) {
            return place >= first && (place - first) / length % (interval + 1) == 0;
        };
        const QImage expected = drawn([&](const QPoint &pixel) {
            const QPoint place = pixel - pattern.topLeft();
            return pattern.contains(pixel) && lit(place.x(), block.x(), block.width(), intervalX)
                           && lit(place.y(), block.y(), block.height(), intervalY)
                       ? QColor(1, 20, 255)
                       : QColor(0, 0, 0);
        });
        QCOMPARE(difference(wall().pictures().pattern(QStringLiteral("screen")), expected), QString());
    }
    QCOMPARE(wall().journal().notes(), QStringList());
}

QTEST_GUILESS_MAIN(tst_TestPatterns)
#include "tst_testpatterns.moc"

#include "ForeignGrids.h"
#include "support/LogCapture.h"
#include "support/Values.h"

#include <Correction/Coefficient.h>
#include <Correction/LowGrayCoefficient.h>
#include <Correction/MultilayerCoefficient.h>
#include <Correction/RequestParser.h>

#include <QtCore/QVariant>

#include <limits>
#include <optional>

using namespace Correction;
using TestSupport::base64;
using TestSupport::bytesOf;

using Values = QVector<unsigned short>;

Q_DECLARE_METATYPE(Values)

namespace {

constexpr int least = std::numeric_limits<int>::min();
constexpr int greatest = std::numeric_limits<int>::max();

const QString invalidData = QStringLiteral("invalid coefficient data \n");
const QString pasteFailed = QStringLiteral("set part of coefficient error \n");

QVariantMap block(const QVariant &x, const QVariant &y, const QVariant &w, const QVariant &h, const QVariant &text)
{
    return {{QStringLiteral("area.point.x"), x},
            {QStringLiteral("area.point.y"), y},
            {QStringLiteral("area.size.width"), w},
            {QStringLiteral("area.size.height"), h},
            {QStringLiteral("coefficients"), text}};
}

QVariantMap valueBlock(int x, int y, int w, int h, const Values &values)
{
    return block(x, y, w, h, base64(bytesOf(values)));
}

QVariantMap byteBlock(int x, int y, int w, int h, const QByteArray &bytes)
{
    return block(x, y, w, h, base64(bytes));
}

/// 1, 2, 3 ... from `first` on.
Values counted(int count, int first = 1)
{
    Values values;
    for (int i = 0; i < count; ++i)
        values.append(static_cast<unsigned short>(first + i));
    return values;
}

QString boundsLine(int x, int y, int w, int h, int columns, int rows)
{
    return QStringLiteral("x + w > m_pixelCol || y + h > m_pixelRow: x: %1 y: %2 w: %3 h: %4 m_pixelCol: %5 m_pixelRow: %6")
        .arg(x)
        .arg(y)
        .arg(w)
        .arg(h)
        .arg(columns)
        .arg(rows);
}

QStringList callsOf(int columns, int rows, int zeros)
{
    return {QStringLiteral("setPixelCol(%1)").arg(columns), QStringLiteral("setPixelRow(%1)").arg(rows),
            QStringLiteral("setCoefficient(%1 zeros)").arg(zeros)};
}

} // namespace

class tst_RequestParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The test library installs its own handler before the first test and takes it away after the last.
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void chromaOfAnEmptyReplyIsReset();
    void chromaTakesTheCabinetsSizeOnly_data();
    void chromaTakesTheCabinetsSizeOnly();
    void chromaPastesOneBlock();
    void chromaPastesBlocksInOrder();
    void chromaReadsAreasAsIntegers_data();
    void chromaReadsAreasAsIntegers();
    void chromaReadsTextsOfAnyType_data();
    void chromaReadsTextsOfAnyType();
    void chromaRefusesABlockWithoutValues_data();
    void chromaRefusesABlockWithoutValues();
    void chromaKeepsTheBlocksBeforeABadOne();
    void chromaKeepsTheBlocksBeforeOneThatDoesNotFit();
    void chromaStopsAtTheFirstBadBlock();
    void chromaPassesOnTheGridsCode();
    void chromaLeavesTheReplyAlone();
    void chromaOfAShortBlockKeepsZeros();
    void chromaOfALongBlockDropsTheRest();
    void chromaOfANegativePlaceIsSafe();
    void chromaOfAnOddAreaIsSafe_data();
    void chromaOfAnOddAreaIsSafe();
    void chromaRefusesOtherKinds_data();
    void chromaRefusesOtherKinds();
    void chromaRefusesAForeignMultilayerGridOfItsKind();
    void chromaFillsAForeignGrid();
    void chromaIgnoresAForeignGridsAnswerToTheReset();
    void chromaRefusesACabinetThatCannotBeHeld_data();
    void chromaRefusesACabinetThatCannotBeHeld();
    void chromaOfANegativeCabinetIsRefused_data();
    void chromaOfANegativeCabinetIsRefused();
    void chromaOfAnEmptyCabinet();
    void chromaLeavesSharersAlone();

    void multilayerRefusesOtherKinds_data();
    void multilayerRefusesOtherKinds();
    void multilayerRefusesAChromaGrid();
    void multilayerFillsAForeignGridOfTheChromaKind();
    void multilayerPastesAnEmptyBlockToo();
    void multilayerStopsAtTheFirstFailure();
    void multilayerPassesAnySizeOn();

private:
    std::optional<TestSupport::LogCapture> m_log;
};

void tst_RequestParser::chromaOfAnEmptyReplyIsReset()
{
    Coefficient grid(2, 3);
    Values old = counted(54);
    grid.setCoefficient(old);
    QList<QVariant> reply;
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 4, 2), reply, grid), enSuccess);
    QCOMPARE(grid.getPixelCol(), 4);
    QCOMPARE(grid.getPixelRow(), 2);
    QCOMPARE(grid.getCoefficient(), Values(72, 0));
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_RequestParser::chromaTakesTheCabinetsSizeOnly_data()
{
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::newRow("at the origin") << 0 << 0;
    QTest::newRow("somewhere") << 100 << 200;
    QTest::newRow("at a negative place") << -7 << -9;
    QTest::newRow("far away") << 2000000000 << -2000000000;
}

void tst_RequestParser::chromaTakesTheCabinetsSizeOnly()
{
    QFETCH(int, x);
    QFETCH(int, y);
    Coefficient grid;
    QList<QVariant> reply{valueBlock(0, 0, 3, 1, counted(27))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(x, y, 3, 1), reply, grid), enSuccess);
    QCOMPARE(grid.getPixelCol(), 3);
    QCOMPARE(grid.getPixelRow(), 1);
    QCOMPARE(grid.getCoefficient(), counted(27));
}

void tst_RequestParser::chromaPastesOneBlock()
{
    Coefficient grid;
    QList<QVariant> reply{valueBlock(1, 1, 1, 1, {256, 2, 3, 4, 5, 6, 7, 8, 65535})};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 2), reply, grid), enSuccess);
    Values expected(36, 0);
    expected[27] = 256;
    for (int i = 1; i < 8; ++i)
        expected[27 + i] = static_cast<unsigned short>(i + 1);
    expected[35] = 65535;
    QCOMPARE(grid.getCoefficient(), expected);
    QCOMPARE(m_log->takeDebug(),
             QStringList{QStringLiteral(
                 "Correction::Coefficient::setPartCoefficient x: 1 y: 1 w: 1 h: 1 m_pixelCol: 2 m_pixelRow: 2")});
}

void tst_RequestParser::chromaPastesBlocksInOrder()
{
    // The second covers a part of the first, the third a part of the second.
    Coefficient grid;
    QList<QVariant> reply{valueBlock(0, 0, 2, 1, counted(18)), valueBlock(1, 0, 2, 1, counted(18, 100)),
                          valueBlock(2, 0, 1, 1, counted(9, 200))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 3, 1), reply, grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), counted(9) + counted(9, 100) + counted(9, 200));
}

void tst_RequestParser::chromaReadsAreasAsIntegers_data()
{
    QTest::addColumn<QVariantMap>("element");
    QTest::addColumn<QRect>("rect");
    const QString text = base64(bytesOf(counted(9)));
    const auto without = [&text](const char *key) {
        QVariantMap map = block(1, 2, 3, 4, text);
        map.remove(QString::fromLatin1(key));
        return map;
    };
    QTest::newRow("numbers") << block(1, 2, 3, 4, text) << QRect(1, 2, 3, 4);
    QTest::newRow("negative numbers") << block(-1, -2, -3, -4, text) << QRect(-1, -2, -3, -4);
    QTest::newRow("no x") << without("area.point.x") << QRect(0, 2, 3, 4);
    QTest::newRow("no y") << without("area.point.y") << QRect(1, 0, 3, 4);
    QTest::newRow("no width") << without("area.size.width") << QRect(1, 2, 0, 4);
    QTest::newRow("no height") << without("area.size.height") << QRect(1, 2, 3, 0);
    QTest::newRow("only a text") << QVariantMap{{QStringLiteral("coefficients"), text}} << QRect(0, 0, 0, 0);
    QTest::newRow("numbers as texts") << block(QStringLiteral("1"), QStringLiteral("-2"), QStringLiteral("3"),
                                               QStringLiteral("04"), text)
                                      << QRect(1, -2, 3, 4);
    QTest::newRow("texts that are no numbers")
        << block(QStringLiteral("a"), QStringLiteral(""), QStringLiteral("3px"), QStringLiteral("1.5"), text)
        << QRect(0, 0, 0, 0);
    QTest::newRow("other numeric types") << block(1u, qint64(2), 3.0, quint64(4), text) << QRect(1, 2, 3, 4);
    QTest::newRow("lists and maps") << block(QVariantList{1}, QVariantMap(), QVariant(), 4, text) << QRect(0, 0, 0, 4);
    // Dotted names are whole keys, not paths.
    QTest::newRow("a nested area") << QVariantMap{
        {QStringLiteral("area"), QVariantMap{{QStringLiteral("point"), QVariantMap{{QStringLiteral("x"), 1}}}}},
        {QStringLiteral("coefficients"),
         text}} << QRect(0, 0, 0, 0);
}

void tst_RequestParser::chromaReadsAreasAsIntegers()
{
    QFETCH(QVariantMap, element);
    QFETCH(QRect, rect);
    ForeignGrids::Chroma grid;
    QList<QVariant> reply{element};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 8, 8), reply, grid), enSuccess);
    QCOMPARE(grid.m_pastes.size(), 1);
    QCOMPARE(grid.m_pastes[0].rect, rect);
    QCOMPARE(grid.m_pastes[0].values, counted(9));
}

void tst_RequestParser::chromaReadsTextsOfAnyType_data()
{
    QTest::addColumn<QVariant>("text");
    QTest::addColumn<Values>("values");
    QTest::newRow("the bytes 01 00") << QVariant(QStringLiteral("AQA=")) << Values{1};
    QTest::newRow("the bytes 00 01") << QVariant(QStringLiteral("AAE=")) << Values{256};
    QTest::newRow("an odd last byte") << QVariant(QStringLiteral("AQAC")) << Values{1};
    QTest::newRow("five bytes") << QVariant(QStringLiteral("AQACAAM=")) << Values{1, 2};
    QTest::newRow("a byte array") << QVariant(QByteArray("AQA=")) << Values{1};
    QTest::newRow("a number") << QVariant(1234) << Values{28119}; // d7 6d f8
}

void tst_RequestParser::chromaReadsTextsOfAnyType()
{
    QFETCH(QVariant, text);
    QFETCH(Values, values);
    ForeignGrids::Chroma grid;
    QList<QVariant> reply{block(0, 0, 1, 1, text)};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 1, 1), reply, grid), enSuccess);
    QCOMPARE(grid.m_pastes.size(), 1);
    QCOMPARE(grid.m_pastes[0].values, values);
}

void tst_RequestParser::chromaRefusesABlockWithoutValues_data()
{
    QTest::addColumn<QVariant>("element");
    QTest::newRow("an empty text") << QVariant(block(0, 0, 1, 1, QString()));
    QTest::newRow("no text") << QVariant(
        QVariantMap{{QStringLiteral("area.size.width"), 1}, {QStringLiteral("area.size.height"), 1}});
    QTest::newRow("one byte") << QVariant(block(0, 0, 1, 1, QStringLiteral("AQ==")));
    QTest::newRow("one character") << QVariant(block(0, 0, 1, 1, QStringLiteral("A")));
    QTest::newRow("only padding") << QVariant(block(0, 0, 1, 1, QStringLiteral("====")));
    QTest::newRow("only foreign characters") << QVariant(block(0, 0, 1, 1, QStringLiteral("-_ \n!")));
    QTest::newRow("a list as text") << QVariant(block(0, 0, 1, 1, QVariantList{1, 2}));
    QTest::newRow("an empty map") << QVariant(QVariantMap());
    QTest::newRow("an element that is not a map") << QVariant(QStringLiteral("AQA="));
    QTest::newRow("an invalid element") << QVariant();
}

void tst_RequestParser::chromaRefusesABlockWithoutValues()
{
    QFETCH(QVariant, element);
    Coefficient grid(5, 5);
    QList<QVariant> reply{element};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 1), reply, grid), enArgumentMismatch);
    QCOMPARE(m_log->takeCritical(), QStringList{invalidData});
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(grid.getPixelCol(), 2);
    QCOMPARE(grid.getPixelRow(), 1);
    QCOMPARE(grid.getCoefficient(), Values(18, 0));
}

void tst_RequestParser::chromaKeepsTheBlocksBeforeABadOne()
{
    Coefficient grid;
    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9)), block(1, 0, 1, 1, QString())};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 1), reply, grid), enArgumentMismatch);
    QCOMPARE(m_log->takeCritical(), QStringList{invalidData});
    QCOMPARE(grid.getCoefficient(), counted(9) + Values(9, 0));
}

void tst_RequestParser::chromaKeepsTheBlocksBeforeOneThatDoesNotFit()
{
    Coefficient grid;
    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9)), valueBlock(1, 0, 2, 1, counted(18))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 1), reply, grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), (QStringList{boundsLine(1, 0, 2, 1, 2, 1), pasteFailed}));
    QCOMPARE(grid.getCoefficient(), counted(9) + Values(9, 0));
}

void tst_RequestParser::chromaStopsAtTheFirstBadBlock()
{
    Coefficient grid;
    QList<QVariant> reply{valueBlock(0, 1, 1, 1, counted(9)), valueBlock(0, 0, 1, 1, counted(9))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 1, 1), reply, grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), (QStringList{boundsLine(0, 1, 1, 1, 1, 1), pasteFailed}));
    QCOMPARE(grid.getCoefficient(), Values(9, 0));

    QList<QVariant> withoutValues{block(0, 0, 1, 1, QString()), valueBlock(0, 0, 1, 1, counted(9))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 1, 1), withoutValues, grid), enArgumentMismatch);
    QCOMPARE(m_log->takeCritical(), QStringList{invalidData});
    QCOMPARE(grid.getCoefficient(), Values(9, 0));
}

void tst_RequestParser::chromaPassesOnTheGridsCode()
{
    for (const int code : {1, 5, 42, -1}) {
        ForeignGrids::Chroma grid;
        grid.m_pasteAnswers = {enSuccess, EnumErrorCode(code)};
        QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9)), valueBlock(1, 0, 1, 1, counted(9)),
                              valueBlock(2, 0, 1, 1, counted(9))};
        QCOMPARE(int(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 3, 1), reply, grid)), code);
        QCOMPARE(grid.m_pastes.size(), 2);
        QCOMPARE(m_log->takeCritical(), QStringList{pasteFailed});
    }
}

void tst_RequestParser::chromaLeavesTheReplyAlone()
{
    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9)), QVariant(7)};
    const QList<QVariant> before = reply;
    Coefficient grid;
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 1, 1), reply, grid), enArgumentMismatch);
    QCOMPARE(m_log->takeCritical(), QStringList{invalidData});
    QCOMPARE(reply, before);
}

void tst_RequestParser::chromaOfAShortBlockKeepsZeros()
{
    Coefficient grid;
    QList<QVariant> reply{valueBlock(0, 0, 2, 2, counted(20))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 2), reply, grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), counted(20) + Values(16, 0));
    QCOMPARE(m_log->takeWarning().size(), 1);
}

void tst_RequestParser::chromaOfALongBlockDropsTheRest()
{
    Coefficient grid;
    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(40))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 1), reply, grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), counted(9) + Values(9, 0));
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_RequestParser::chromaOfANegativePlaceIsSafe()
{
    // One column left of the cabinet: its first pixel is before the grid, that of the second row ends the first row.
    Coefficient grid;
    QList<QVariant> reply{valueBlock(-1, 0, 2, 2, counted(36))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 2), reply, grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), counted(9, 10) + counted(18, 19) + Values(9, 0));
    QCOMPARE(m_log->takeWarning().size(), 1);
}

void tst_RequestParser::chromaOfAnOddAreaIsSafe_data()
{
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("w");
    QTest::addColumn<int>("h");
    QTest::addColumn<int>("code");
    QTest::newRow("no pixels") << 0 << 0 << 0 << 0 << 0;
    QTest::newRow("a negative width") << 0 << 0 << -1 << 1 << 0;
    QTest::newRow("a negative height") << 0 << 0 << 1 << -1 << 0;
    QTest::newRow("two negative sizes") << 1 << 1 << -1 << -1 << 0;
    QTest::newRow("the greatest width") << 0 << 0 << greatest << 1 << 3;
    QTest::newRow("the greatest height") << 0 << 0 << 1 << greatest << 3;
    QTest::newRow("the greatest place") << greatest << greatest << 1 << 1 << 3;
    QTest::newRow("the least place") << least << least << 1 << 1 << 0;
    QTest::newRow("an end that wraps") << 2 << 0 << greatest << 1 << 3;
    QTest::newRow("a bottom that wraps") << 0 << 2 << 1 << greatest << 3;
    QTest::newRow("a great width that ends inside") << 2 - greatest << 0 << greatest << 1 << 0;
    QTest::newRow("a great height that ends inside") << 0 << 2 - greatest << 1 << greatest << 0;
    QTest::newRow("everything least") << least << least << least << least << 0;
}

void tst_RequestParser::chromaOfAnOddAreaIsSafe()
{
    QFETCH(int, x);
    QFETCH(int, y);
    QFETCH(int, w);
    QFETCH(int, h);
    QFETCH(int, code);
    Coefficient grid;
    // One pixel only: the part of it that is inside the grid must come from there.
    QList<QVariant> reply{valueBlock(x, y, w, h, Values(9, 5))};
    QCOMPARE(int(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 2), reply, grid)), code);
    QCOMPARE(m_log->takeCritical(), code ? (QStringList{boundsLine(x, y, w, h, 2, 2), pasteFailed}) : QStringList());
    QCOMPARE(grid.getCoefficient(), Values(36, 0));
}

void tst_RequestParser::chromaRefusesOtherKinds_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("multilayer") << 1;
    QTest::newRow("low-gray") << 2;
    QTest::newRow("unknown") << 3;
    QTest::newRow("negative") << -1;
}

void tst_RequestParser::chromaRefusesOtherKinds()
{
    QFETCH(int, type);
    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9))};
    ForeignGrids::Chroma foreign{EnumCoefficientType(type)};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 2), reply, foreign), enArgumentMismatch);
    QCOMPARE(foreign.m_calls, QStringList());

    LowGrayCoefficient lowGray(3, 1);
    MultilayerCoefficient multilayer(3, 1);
    for (ICoefficient *grid : {static_cast<ICoefficient *>(&lowGray), static_cast<ICoefficient *>(&multilayer)}) {
        QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 2), reply, *grid), enArgumentMismatch);
        QCOMPARE(grid->getPixelCol(), 3);
        QCOMPARE(grid->getPixelRow(), 1);
    }
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_RequestParser::chromaRefusesAForeignMultilayerGridOfItsKind()
{
    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9))};
    ForeignGrids::Multilayer multilayer(enCommonCoefficient);
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 2), reply, multilayer), enArgumentMismatch);
    QCOMPARE(multilayer.m_calls, QStringList());
    ForeignGrids::LowGray lowGray(enCommonCoefficient);
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 2), reply, lowGray), enArgumentMismatch);
    QCOMPARE(lowGray.m_calls, QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_RequestParser::chromaFillsAForeignGrid()
{
    ForeignGrids::Chroma grid(enCommonCoefficient, 4);
    QList<QVariant> reply{valueBlock(1, 2, 3, 1, counted(5)), valueBlock(0, 0, 1, 1, counted(2))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(9, 9, 5, 3), reply, grid), enSuccess);
    QCOMPARE(grid.m_calls, callsOf(5, 3, 60)
                               + QStringList({QStringLiteral("setPartCoefficient(1 2 3 1)"),
                                              QStringLiteral("setPartCoefficient(0 0 1 1)")}));
    QCOMPARE(grid.m_pastes[0].values, counted(5));
    QCOMPARE(grid.m_pastes[1].values, counted(2));

    ForeignGrids::Chroma whole(enCommonCoefficient, 9); // zeros first, also where the block replaces them all
    reply = {valueBlock(0, 0, 2, 1, counted(18))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 1), reply, whole), enSuccess);
    QCOMPARE(whole.m_calls, callsOf(2, 1, 18) + QStringList(QStringLiteral("setPartCoefficient(0 0 2 1)")));
    QCOMPARE(whole.m_pastes[0].values, counted(18));
}

void tst_RequestParser::chromaIgnoresAForeignGridsAnswerToTheReset()
{
    ForeignGrids::Chroma grid;
    grid.m_assignAnswer = enOutOfRange;
    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 1, 1), reply, grid), enSuccess);
    QCOMPARE(grid.m_pastes.size(), 1);
    QList<QVariant> none;
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 1, 1), none, grid), enSuccess);
}

void tst_RequestParser::chromaRefusesACabinetThatCannotBeHeld_data()
{
    QTest::addColumn<QRect>("cabinet");
    const auto corners = [](int left, int top, int right, int bottom) {
        QRect rect;
        rect.setCoords(left, top, right, bottom);
        return rect;
    };
    QTest::newRow("a product beyond one container") << QRect(0, 0, 20000, 20000);
    QTest::newRow("a product that wraps to zero") << QRect(0, 0, 65536, 65536);
    QTest::newRow("a product that wraps to five") << QRect(0, 0, 477218589, 1);
    QTest::newRow("the greatest sizes") << corners(0, 0, greatest - 1, greatest - 1);
}

void tst_RequestParser::chromaRefusesACabinetThatCannotBeHeld()
{
    QFETCH(QRect, cabinet);
    Coefficient grid(2, 1);
    Values values = counted(18);
    grid.setCoefficient(values);
    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9, 50))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(cabinet, reply, grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical().size(), 1);
    QCOMPARE(grid.getPixelCol(), 2);
    QCOMPARE(grid.getPixelRow(), 1);
    QCOMPARE(grid.getCoefficient(), values);
}

void tst_RequestParser::chromaOfANegativeCabinetIsRefused_data()
{
    QTest::addColumn<QRect>("cabinet");
    QTest::newRow("a negative width") << QRect(0, 0, -2, 3);
    QTest::newRow("a negative height") << QRect(0, 0, 2, -3);
    QTest::newRow("two negative sizes") << QRect(0, 0, -2, -3);
    QRect wrapping;
    wrapping.setCoords(least, least, -1, -1);
    QTest::newRow("sizes that wrap to the least number") << wrapping;
}

void tst_RequestParser::chromaOfANegativeCabinetIsRefused()
{
    QFETCH(QRect, cabinet);
    Coefficient grid(2, 1);
    Values old = counted(18);
    grid.setCoefficient(old);
    for (QList<QVariant> reply : {QList<QVariant>{}, QList<QVariant>{valueBlock(0, 0, 1, 1, counted(9, 50))}}) {
        QCOMPARE(RequestParser::toCabinetChromaCoefficient(cabinet, reply, grid), enInvalidParameter);
        QCOMPARE(m_log->takeCritical().size(), 1);
        QCOMPARE(QSize(grid.getPixelCol(), grid.getPixelRow()), QSize(2, 1));
        QCOMPARE(grid.getCoefficient(), counted(18));
    }
}

void tst_RequestParser::chromaOfAnEmptyCabinet()
{
    Coefficient grid(2, 1);
    QList<QVariant> none;
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(), none, grid), enSuccess);
    QCOMPARE(grid.getPixelCol(), 0);
    QCOMPARE(grid.getPixelRow(), 0);
    QCOMPARE(grid.getCoefficient(), Values());

    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 0, 1), reply, grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), (QStringList{boundsLine(0, 0, 1, 1, 0, 1), pasteFailed}));
}

void tst_RequestParser::chromaLeavesSharersAlone()
{
    Coefficient grid(1, 1);
    Values values = counted(9, 20);
    grid.setCoefficient(values);
    Coefficient copy(grid);
    const Values held = grid.getCoefficient();
    QList<QVariant> reply{valueBlock(0, 0, 1, 1, counted(9))};
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 1, 1), reply, grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), counted(9));
    QCOMPARE(held, counted(9, 20));
    QCOMPARE(values, counted(9, 20));
    QCOMPARE(copy.getCoefficient(), counted(9, 20));
}

void tst_RequestParser::multilayerRefusesOtherKinds_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("multilayer") << 1;
    QTest::newRow("low-gray") << 2;
    QTest::newRow("unknown") << 3;
    QTest::newRow("negative") << -1;
}

void tst_RequestParser::multilayerRefusesOtherKinds()
{
    QFETCH(int, type);
    QList<QVariant> reply{byteBlock(0, 0, 1, 1, QByteArray(16, 'x'))};
    ForeignGrids::Multilayer foreign{EnumCoefficientType(type)};
    QCOMPARE(RequestParser::toCabinetMultilayerCoefficient(QRect(0, 0, 2, 2), reply, foreign), enArgumentMismatch);
    QCOMPARE(foreign.m_calls, QStringList());

    LowGrayCoefficient lowGray(3, 1);
    MultilayerCoefficient multilayer(3, 1);
    for (ICoefficient *grid : {static_cast<ICoefficient *>(&lowGray), static_cast<ICoefficient *>(&multilayer)}) {
        QCOMPARE(RequestParser::toCabinetMultilayerCoefficient(QRect(0, 0, 2, 2), reply, *grid), enArgumentMismatch);
        QCOMPARE(grid->getPixelCol(), 3);
        QCOMPARE(grid->getPixelRow(), 1);
    }
    QCOMPARE(multilayer.getCoefficient(), QByteArray(48, 0));
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_RequestParser::multilayerRefusesAChromaGrid()
{
    QList<QVariant> reply{byteBlock(0, 0, 1, 1, QByteArray(18, 'x'))};
    Coefficient grid(2, 1);
    Values values = counted(18);
    grid.setCoefficient(values);
    QCOMPARE(RequestParser::toCabinetMultilayerCoefficient(QRect(0, 0, 4, 4), reply, grid), enArgumentMismatch);
    QCOMPARE(grid.getPixelCol(), 2);
    QCOMPARE(grid.getPixelRow(), 1);
    QCOMPARE(grid.getCoefficient(), values);
    ForeignGrids::Chroma foreign;
    QCOMPARE(RequestParser::toCabinetMultilayerCoefficient(QRect(0, 0, 4, 4), reply, foreign), enArgumentMismatch);
    QCOMPARE(foreign.m_calls, QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_RequestParser::multilayerFillsAForeignGridOfTheChromaKind()
{
    ForeignGrids::Multilayer grid(enCommonCoefficient, 4);
    grid.m_values = QByteArray("kept");
    QList<QVariant> reply{byteBlock(1, 2, 1, 1, QByteArray("\0\1\2\xff", 4)), byteBlock(0, 0, 2, 1, QByteArray("odd"))};
    const QList<QVariant> before = reply;
    QCOMPARE(RequestParser::toCabinetMultilayerCoefficient(QRect(7, 8, 5, 3), reply, grid), enSuccess);
    const QStringList calls{QStringLiteral("setPixelCol(5)"), QStringLiteral("setPixelRow(3)"),
                            QStringLiteral("setPartCoefficient(1 2 1 1)"), QStringLiteral("setPartCoefficient(0 0 2 1)")};
    QCOMPARE(grid.m_calls, calls);
    QCOMPARE(grid.m_values, QByteArray("kept"));
    QCOMPARE(grid.m_pastes[0].values, QByteArray("\0\1\2\xff", 4));
    QCOMPARE(grid.m_pastes[1].values, QByteArray("odd"));
    QCOMPARE(reply, before);
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void tst_RequestParser::multilayerPastesAnEmptyBlockToo()
{
    ForeignGrids::Multilayer grid(enCommonCoefficient);
    QList<QVariant> reply{block(1, 1, 1, 1, QString()), QVariant(), byteBlock(0, 0, 1, 1, QByteArray("x"))};
    QCOMPARE(RequestParser::toCabinetMultilayerCoefficient(QRect(0, 0, 2, 2), reply, grid), enSuccess);
    QCOMPARE(grid.m_pastes.size(), 3);
    QCOMPARE(grid.m_pastes[0].rect, QRect(1, 1, 1, 1));
    QCOMPARE(grid.m_pastes[0].values, QByteArray());
    QCOMPARE(grid.m_pastes[1].rect, QRect(0, 0, 0, 0));
    QCOMPARE(grid.m_pastes[1].values, QByteArray());
    QCOMPARE(grid.m_pastes[2].values, QByteArray("x"));
}

void tst_RequestParser::multilayerStopsAtTheFirstFailure()
{
    ForeignGrids::Multilayer grid(enCommonCoefficient);
    grid.m_pasteAnswers = {enSuccess, enInvalidParameter};
    QList<QVariant> reply{byteBlock(0, 0, 1, 1, QByteArray("a")), byteBlock(0, 0, 1, 1, QByteArray("b")),
                          byteBlock(0, 0, 1, 1, QByteArray("c"))};
    QCOMPARE(RequestParser::toCabinetMultilayerCoefficient(QRect(0, 0, 2, 2), reply, grid), enInvalidParameter);
    QCOMPARE(grid.m_pastes.size(), 2);
    QCOMPARE(m_log->takeCritical(), QStringList{pasteFailed});
}

void tst_RequestParser::multilayerPassesAnySizeOn()
{
    ForeignGrids::Multilayer grid(enCommonCoefficient);
    QList<QVariant> none;
    QCOMPARE(RequestParser::toCabinetMultilayerCoefficient(QRect(0, 0, -2, 100000), none, grid), enSuccess);
    const QStringList calls{QStringLiteral("setPixelCol(-2)"), QStringLiteral("setPixelRow(100000)")};
    QCOMPARE(grid.m_calls, calls);

    QRect wrapping;
    wrapping.setCoords(least, -1, greatest, greatest);
    QCOMPARE(RequestParser::toCabinetMultilayerCoefficient(wrapping, none, grid), enSuccess);
    QCOMPARE(grid.getPixelCol(), 0);
    QCOMPARE(grid.getPixelRow(), least + 1);
}

QTEST_GUILESS_MAIN(tst_RequestParser)
#include "tst_requestparser.moc"

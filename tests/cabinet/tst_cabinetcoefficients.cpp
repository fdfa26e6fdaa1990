#include "CabinetFixture.h"

#include <Correction/CabinetV4.h>
#include <Correction/CoefficientPtr.h>

#include <support/Values.h>

#include <QtCore/QByteArray>
#include <QtCore/QRandomGenerator>
#include <QtCore/QVector>

#include <limits>
#include <optional>

using namespace Correction;
using namespace CabinetTests;
using TestSupport::base64;
using TestSupport::bytesOf;

Q_DECLARE_METATYPE(QVector<unsigned short>)

namespace {

constexpr int least = std::numeric_limits<int>::min();
constexpr int greatest = std::numeric_limits<int>::max();

const char *const tooLarge = "x + w > m_pixelCol || y + h > m_pixelRow:";
const char *const noData = "invalid coefficient data \n";
const char *const noPaste = "set part of coefficient error \n";

/// 9 values for each pixel, all different in a small grid.
QVector<unsigned short> ramp(int pixels, int first = 1)
{
    QVector<unsigned short> values;
    for (int i = 0; i < 9 * pixels; ++i)
        values.append(static_cast<unsigned short>(first + i * 257));
    return values;
}

QVector<unsigned short> zeros(int pixels)
{
    return QVector<unsigned short>(9 * pixels, 0);
}

Map block(const QVariant &x, const QVariant &y, const QVariant &width, const QVariant &height, const QVariant &text)
{
    return {{QStringLiteral("area.point.x"), x},
            {QStringLiteral("area.point.y"), y},
            {QStringLiteral("area.size.width"), width},
            {QStringLiteral("area.size.height"), height},
            {QStringLiteral("coefficients"), text}};
}

/// `values` over a block of zeros, pixel by pixel.
QVector<unsigned short> pasted(int columns, int rows, const QRect &area, const QVector<unsigned short> &values)
{
    QVector<unsigned short> result = zeros(columns * rows);
    for (int y = 0; y < area.height(); ++y)
        for (int x = 0; x < area.width(); ++x)
            for (int k = 0; k < 9; ++k)
                result[((area.y() + y) * columns + area.x() + x) * 9 + k] = values[(y * area.width() + x) * 9 + k];
    return result;
}

QString refusal(int x, int y, int width, int height, int columns, int rows)
{
    return row({QLatin1String(tooLarge), QStringLiteral("x:"), QString::number(x), QStringLiteral("y:"), QString::number(y),
                QStringLiteral("w:"), QString::number(width), QStringLiteral("h:"), QString::number(height),
                QStringLiteral("m_pixelCol:"), QString::number(columns), QStringLiteral("m_pixelRow:"),
                QString::number(rows)});
}

QString uploadLine(const char *operation, int x, int y, int columns, int rows, const QString &text)
{
    return quoted("Correctionop::%1('A', '12', [{'area': {'point': {'x': int %2, 'y': int %3}, "
                  "'size': {'height': int %4, 'width': int %5}}, 'coefficients': '%6'}])")
        .arg(QLatin1String(operation), QString::number(x), QString::number(y), QString::number(rows),
             QString::number(columns), text);
}

} // namespace

class CabinetCoefficientsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_log.reset(); }
    void init();
    void cleanup();

    void aReplyWithoutBlocksGivesACabinetOfZeros();
    void loadedBlocksArePastedIntoTheCabinet_data();
    void loadedBlocksArePastedIntoTheCabinet();
    void laterBlocksLieOverEarlierOnes();
    void aBlockOutsideTheCabinetEndsTheLoadAndKeepsTheBlocksBefore();
    void repliesThatAreNoBlocksEndTheLoad_data();
    void repliesThatAreNoBlocksEndTheLoad();
    void numbersOfAReplyAreConverted();
    void aBlockLeftOfOrAboveTheCabinetTouchesNothingElse();
    void aFalseLoadLeavesTheGridAsItIs();
    void kindsThatCannotBeLoadedAreRefusedWithoutACall_data();
    void kindsThatCannotBeLoadedAreRefusedWithoutACall();
    void multilayerGridsAreLoadedAndRefused();
    void gridsWithoutTheInterfaceOfTheirKindAreRefused();
    void cabinetsOfAnySizeAreLoadedWithoutDamage_data();
    void cabinetsOfAnySizeAreLoadedWithoutDamage();
    void cabinetsOfNegativeSizeAreRefused_data();
    void cabinetsOfNegativeSizeAreRefused();

    void aGridIsUploadedWithItsPlaceAndSize_data();
    void aGridIsUploadedWithItsPlaceAndSize();
    void theUploadOperationFollowsTheKind_data();
    void theUploadOperationFollowsTheKind();
    void anUploadSaysWhereItGoes();
    void gridsThatDoNotFitAreRefusedBeforeAnything_data();
    void gridsThatDoNotFitAreRefusedBeforeAnything();
    void gridsOfUnknownKindsAreRefusedAfterTheRequestWasBuilt_data();
    void gridsOfUnknownKindsAreRefusedAfterTheRequestWasBuilt();
    void aGridWhoseTextDoesNotFitIsNotUploaded();
    void theReplyOfAnUploadIsNotRead();
    void whatWasUploadedIsLoadedAgain_data();
    void whatWasUploadedIsLoadedAgain();

    void savingFollowsTheKind_data();
    void savingFollowsTheKind();
    void applyingServesLowGrayOnly_data();
    void applyingServesLowGrayOnly();
    void idsAreAppliedAsSignedNumbers_data();
    void idsAreAppliedAsSignedNumbers();

private:
    std::optional<TestSupport::LogCapture> m_log; // made after the test library has installed its own handler
};

void CabinetCoefficientsTest::initTestCase()
{
    m_log.emplace();
    showDebugLines();
}

void CabinetCoefficientsTest::init()
{
    wall().reset();
    m_log->clear();
}

void CabinetCoefficientsTest::cleanup()
{
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

// Loading

void CabinetCoefficientsTest::aReplyWithoutBlocksGivesACabinetOfZeros()
{
    wall().scripts().on(QStringLiteral("Correctionop::loadCoefficient")).answer(List());
    CabinetV4 cabinet(description().release());
    Coefficient grid(7, 5);
    auto values = ramp(35);
    QCOMPARE(grid.setCoefficient(values), enSuccess);

    QCOMPARE(cabinet.tryGetCoefficients(grid), enSuccess);
    QCOMPARE(grid.getPixelCol(), 4);
    QCOMPARE(grid.getPixelRow(), 3);
    QCOMPARE(grid.getCoefficient(), zeros(12));
    QCOMPARE(wall().journal().transcript(), QStringList(quoted("Correctionop::loadCoefficient('A', '12')")));
}

void CabinetCoefficientsTest::loadedBlocksArePastedIntoTheCabinet_data()
{
    QTest::addColumn<QRect>("area");
    QTest::newRow("the whole cabinet") << QRect(0, 0, 4, 3);
    QTest::newRow("its first pixel") << QRect(0, 0, 1, 1);
    QTest::newRow("its last pixel") << QRect(3, 2, 1, 1);
    QTest::newRow("a row in the middle") << QRect(0, 1, 4, 1);
    QTest::newRow("the right edge") << QRect(3, 0, 1, 3);
    QTest::newRow("a block inside") << QRect(1, 1, 2, 2);
}

void CabinetCoefficientsTest::loadedBlocksArePastedIntoTheCabinet()
{
    QFETCH(QRect, area);
    const auto values = ramp(area.width() * area.height());
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::loadCoefficient"))
        .answer(listOf(block(area.x(), area.y(), area.width(), area.height(), base64(values))));
    CabinetV4 cabinet(description().release());
    Coefficient grid;
    QCOMPARE(cabinet.tryGetCoefficients(grid), enSuccess);
    QCOMPARE(grid.getPixelCol(), 4);
    QCOMPARE(grid.getPixelRow(), 3);
    QCOMPARE(grid.getCoefficient(), pasted(4, 3, area, values));
}

void CabinetCoefficientsTest::laterBlocksLieOverEarlierOnes()
{
    const auto whole = ramp(12);
    const auto pixel = ramp(1, 40000);
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::loadCoefficient"))
        .answer(List{block(0, 0, 4, 3, base64(whole)), block(2, 1, 1, 1, base64(pixel))});
    CabinetV4 cabinet(description().release());
    Coefficient grid;
    QCOMPARE(cabinet.tryGetCoefficients(grid), enSuccess);
    auto expected = whole;
    for (int k = 0; k < 9; ++k)
        expected[(1 * 4 + 2) * 9 + k] = pixel[k];
    QCOMPARE(grid.getCoefficient(), expected);
}

void CabinetCoefficientsTest::aBlockOutsideTheCabinetEndsTheLoadAndKeepsTheBlocksBefore()
{
    const auto first = ramp(4);
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::loadCoefficient"))
        .answer(
            List{block(0, 0, 4, 1, base64(first)), block(2, 1, 3, 1, base64(ramp(3))), block(0, 2, 4, 1, base64(first))});
    CabinetV4 cabinet(description().release());
    Coefficient grid;
    QCOMPARE(cabinet.tryGetCoefficients(grid), enInvalidParameter);
    QCOMPARE(grid.getCoefficient(), pasted(4, 3, QRect(0, 0, 4, 1), first));
    QCOMPARE(m_log->takeCritical(), QStringList({refusal(2, 1, 3, 1, 4, 3), QLatin1String(noPaste)}));
}

void CabinetCoefficientsTest::repliesThatAreNoBlocksEndTheLoad_data()
{
    QTest::addColumn<QVariant>("element");
    QTest::newRow("an empty map") << QVariant(Map());
    QTest::newRow("a map of other keys") << QVariant(Map{{QStringLiteral("coefficient"), QStringLiteral("AQA=")}});
    QTest::newRow("nested maps instead of flat keys")
        << QVariant(Map{{QStringLiteral("area"), Map{{QStringLiteral("point"), Map()}}}});
    QTest::newRow("a number") << QVariant(7);
    QTest::newRow("a text") << QVariant(QStringLiteral("AQA="));
    QTest::newRow("a list") << QVariant(List{1, 2});
    QTest::newRow("nothing at all") << QVariant();
    QTest::newRow("an empty text of values") << QVariant(block(0, 0, 1, 1, QString()));
    QTest::newRow("a single byte") << QVariant(block(0, 0, 1, 1, QStringLiteral("AQ==")));
    QTest::newRow("values that are a list") << QVariant(block(0, 0, 1, 1, List{1, 2, 3}));
    QTest::newRow("a text without a base64 character") << QVariant(block(0, 0, 1, 1, QStringLiteral("!?*")));
}

void CabinetCoefficientsTest::repliesThatAreNoBlocksEndTheLoad()
{
    QFETCH(QVariant, element);
    const auto first = ramp(1);
    List reply = listOf(block(1, 1, 1, 1, base64(first)));
    reply.append(element);
    reply.append(block(0, 0, 1, 1, base64(first)));
    wall().scripts().on(QStringLiteral("Correctionop::loadCoefficient")).answer(reply);
    CabinetV4 cabinet(description().release());
    Coefficient grid;
    QCOMPARE(cabinet.tryGetCoefficients(grid), enArgumentMismatch);
    QCOMPARE(m_log->takeCritical(), QStringList(QLatin1String(noData)));
    QCOMPARE(grid.getCoefficient(), pasted(4, 3, QRect(1, 1, 1, 1), first));
}

void CabinetCoefficientsTest::numbersOfAReplyAreConverted()
{
    const auto values = ramp(2);
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::loadCoefficient"))
        .answer(listOf(block(QStringLiteral("1"), qlonglong(2), 2u, 1.0, base64(values).toUtf8())));
    CabinetV4 cabinet(description().release());
    Coefficient grid;
    QCOMPARE(cabinet.tryGetCoefficients(grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), pasted(4, 3, QRect(1, 2, 2, 1), values));

    // Coordinates that are not numbers, or missing, are 0.
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::loadCoefficient"))
        .answer(listOf(block(Map(), QVariant(), 2, 1, base64(values))));
    QCOMPARE(cabinet.tryGetCoefficients(grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), pasted(4, 3, QRect(0, 0, 2, 1), values));
}

void CabinetCoefficientsTest::aBlockLeftOfOrAboveTheCabinetTouchesNothingElse()
{
    // Only the right and the lower edge are tested; nothing may be written outside the grid.
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::loadCoefficient"))
        .answer(listOf(block(-100000, -100000, 2, 2, base64(ramp(4)))));
    CabinetV4 cabinet(description().release());
    Coefficient grid;
    QCOMPARE(cabinet.tryGetCoefficients(grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), zeros(12));
    QCOMPARE(m_log->takeWarning().size(), 1);

    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::loadCoefficient"))
        .answer(List{block(least, least, greatest, greatest, base64(ramp(4)))});
    QCOMPARE(cabinet.tryGetCoefficients(grid), enSuccess);
    QCOMPARE(m_log->takeWarning().size(), 1);
    QCOMPARE(grid.getPixelCol() * grid.getPixelRow() * 9, grid.getCoefficient().size());
}

void CabinetCoefficientsTest::aFalseLoadLeavesTheGridAsItIs()
{
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::loadCoefficient"))
        .answerFalseWith(listOf(block(0, 0, 1, 1, base64(ramp(1)))));
    CabinetV4 cabinet(description().release());
    Coefficient grid(2, 1);
    auto values = ramp(2);
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(cabinet.tryGetCoefficients(grid), enTimeout);
    QCOMPARE(grid.getPixelCol(), 2);
    QCOMPARE(grid.getPixelRow(), 1);
    QCOMPARE(grid.getCoefficient(), values);
}

void CabinetCoefficientsTest::kindsThatCannotBeLoadedAreRefusedWithoutACall_data()
{
    QTest::addColumn<int>("kind");
    for (int kind : {2, 3, 7, -1, least, greatest})
        QTest::newRow(qPrintable(QStringLiteral("kind %1").arg(kind))) << kind;
}

void CabinetCoefficientsTest::kindsThatCannotBeLoadedAreRefusedWithoutACall()
{
    QFETCH(int, kind);
    CabinetV4 cabinet(description().release());
    HostGrid foreign(kind, 2, 1);
    QCOMPARE(cabinet.tryGetCoefficients(foreign), enNotSupported);
    QCOMPARE(foreign.getPixelCol(), 2);
    if (kind == enLowgrayCoefficient) {
        LowGrayCoefficient grid(2, 1);
        QCOMPARE(cabinet.tryGetCoefficients(grid), enNotSupported);
        QCOMPARE(grid.getPixelCol(), 2);
    }
    QCOMPARE(wall().journal().transcript(), QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetCoefficientsTest::multilayerGridsAreLoadedAndRefused()
{
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::loadMultilayerCoefficient"))
        .answer(listOf(block(0, 0, 1, 1, base64(QByteArray(16, 'x')))));
    CabinetV4 cabinet(description().release());
    MultilayerCoefficient grid(2, 1);
    QByteArray values(32, 'v');
    QCOMPARE(grid.setCoefficient(values), enSuccess);

    QCOMPARE(cabinet.tryGetCoefficients(grid), enArgumentMismatch);
    QCOMPARE(grid.getPixelCol(), 2);
    QCOMPARE(grid.getPixelRow(), 1);
    QCOMPARE(grid.getCoefficient(), values);

    wall().scripts().on(QStringLiteral("Correctionop::loadMultilayerCoefficient")).answerFalse();
    QCOMPARE(cabinet.tryGetCoefficients(grid), enTimeout);

    const QString line = quoted("Correctionop::loadMultilayerCoefficient('A', '12')");
    QCOMPARE(wall().journal().transcript(), QStringList({line, line}));
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetCoefficientsTest::gridsWithoutTheInterfaceOfTheirKindAreRefused()
{
    wall().scripts().on(QStringLiteral("Correctionop::loadCoefficient")).answer(listOf(block(0, 0, 1, 1, base64(ramp(1)))));
    wall().scripts().on(QStringLiteral("Correctionop::loadMultilayerCoefficient")).answer(List());
    CabinetV4 cabinet(description().release());
    for (int kind : {0, 1}) {
        HostGrid grid(kind, 2, 1);
        QCOMPARE(cabinet.tryGetCoefficients(grid), enArgumentMismatch);
        QCOMPARE(grid.getPixelCol(), 2);
        QCOMPARE(grid.getPixelRow(), 1);
    }
    QCOMPARE(wall().journal().transcript(), QStringList({quoted("Correctionop::loadCoefficient('A', '12')"),
                                                         quoted("Correctionop::loadMultilayerCoefficient('A', '12')")}));
}

void CabinetCoefficientsTest::cabinetsOfAnySizeAreLoadedWithoutDamage_data()
{
    QTest::addColumn<int>("left");
    QTest::addColumn<int>("top");
    QTest::addColumn<int>("right");
    QTest::addColumn<int>("bottom");
    QTest::addColumn<bool>("possible");
    QTest::newRow("a cabinet of no size") << 10 << 10 << 9 << 9 << true;
    QTest::newRow("a cabinet of no width") << 10 << 10 << 9 << 20 << true;
    QTest::newRow("a cabinet at negative coordinates") << -4 << -2 << -1 << -1 << true;
    QTest::newRow("a cabinet whose values fit no container") << 0 << 0 << 65535 << 65535 << false;
    QTest::newRow("a cabinet of which one container holds half") << 0 << 0 << 15000 << 15000 << false;
}

void CabinetCoefficientsTest::cabinetsOfAnySizeAreLoadedWithoutDamage()
{
    QFETCH(int, left);
    QFETCH(int, top);
    QFETCH(int, right);
    QFETCH(int, bottom);
    QFETCH(bool, possible);
    wall().scripts().on(QStringLiteral("Correctionop::loadCoefficient")).answer(List());
    auto info = description();
    info->rect.setCoords(left, top, right, bottom);
    CabinetV4 cabinet(info.release());
    Coefficient grid(2, 1);
    const EnumErrorCode code = cabinet.tryGetCoefficients(grid);
    if (possible) {
        QCOMPARE(code, enSuccess);
        QCOMPARE(grid.getPixelCol(), right - left + 1);
        QCOMPARE(grid.getPixelRow(), bottom - top + 1);
        QCOMPARE(grid.getCoefficient(), zeros((right - left + 1) * (bottom - top + 1)));
    } else {
        QCOMPARE(code, enInvalidParameter);
        QCOMPARE(m_log->takeCritical().size(), 1);
    }
}

void CabinetCoefficientsTest::cabinetsOfNegativeSizeAreRefused_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::newRow("a cabinet of negative width") << QRect(QPoint(10, 10), QPoint(5, 20));
    QTest::newRow("a cabinet of negative width and height") << QRect(QPoint(10, 10), QPoint(5, 5));
    QTest::newRow("a cabinet whose width is beyond all integers") << QRect(QPoint(least, 0), QPoint(greatest - 1, 0));
}

void CabinetCoefficientsTest::cabinetsOfNegativeSizeAreRefused()
{
    QFETCH(QRect, rect);
    auto info = description();
    info->rect = rect;
    CabinetV4 cabinet(info.release());
    Coefficient grid(2, 1);
    wall().scripts().on(QStringLiteral("Correctionop::loadCoefficient")).answer(List());
    QCOMPARE(cabinet.tryGetCoefficients(grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical().size(), 1);
    QCOMPARE(QSize(grid.getPixelCol(), grid.getPixelRow()), QSize(2, 1));
}

// Uploading

void CabinetCoefficientsTest::aGridIsUploadedWithItsPlaceAndSize_data()
{
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");
    QTest::newRow("the whole cabinet") << 0 << 0 << 4 << 3;
    QTest::newRow("its first pixel") << 0 << 0 << 1 << 1;
    QTest::newRow("up to the right edge") << 2 << 0 << 2 << 1;
    QTest::newRow("up to the lower edge") << 0 << 1 << 1 << 2;
    QTest::newRow("its last pixel") << 3 << 2 << 1 << 1;
    QTest::newRow("negative positions are the device's matter") << -1 << -7 << 2 << 1;
    QTest::newRow("a wide grid that begins left of the cabinet") << -6 << -1 << 10 << 4;
    QTest::newRow("a grid of no size at the corner") << 4 << 3 << 0 << 0;
}

void CabinetCoefficientsTest::aGridIsUploadedWithItsPlaceAndSize()
{
    QFETCH(int, x);
    QFETCH(int, y);
    QFETCH(int, columns);
    QFETCH(int, rows);
    wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficient")).answer(Map());
    CabinetV4 cabinet(description().release());
    Coefficient grid(columns, rows);
    auto values = ramp(columns * rows);
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(cabinet.setCoefficients(QPoint(x, y), grid), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(uploadLine("uploadCoefficient", x, y, columns, rows, base64(values))));
    QCOMPARE(grid.getCoefficient(), values);
}

void CabinetCoefficientsTest::theUploadOperationFollowsTheKind_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<bool>("answer");
    QTest::newRow("chroma") << 0 << QStringLiteral("uploadCoefficient") << true;
    QTest::newRow("chroma, refused") << 0 << QStringLiteral("uploadCoefficient") << false;
    QTest::newRow("multilayer") << 1 << QStringLiteral("uploadMultilayerCoefficient") << true;
    QTest::newRow("multilayer, refused") << 1 << QStringLiteral("uploadMultilayerCoefficient") << false;
    QTest::newRow("low gray") << 2 << QStringLiteral("uploadLowgrayCoefficient") << true;
    QTest::newRow("low gray, refused") << 2 << QStringLiteral("uploadLowgrayCoefficient") << false;
}

void CabinetCoefficientsTest::theUploadOperationFollowsTheKind()
{
    QFETCH(int, kind);
    QFETCH(QString, operation);
    QFETCH(bool, answer);
    Simulator::Script &script = wall().scripts().on(QStringLiteral("Correctionop::") + operation);
    if (answer)
        script.answer(Map());
    else
        script.answerFalse();
    CabinetV4 cabinet(description().release());

    CoefficientPtr grid;
    QByteArray bytes;
    if (kind == enMultilayerCoefficient) {
        auto *const multilayer = new MultilayerCoefficient(2, 1, 3);
        grid.reset(multilayer);
        bytes = QByteArray::fromHex("00ff7f80feff");
        QCOMPARE(multilayer->setCoefficient(bytes), enSuccess);
    } else {
        auto values = ramp(2);
        bytes = bytesOf(values);
        if (kind == enCommonCoefficient) {
            auto *const chroma = new Coefficient(2, 1);
            grid.reset(chroma);
            QCOMPARE(chroma->setCoefficient(values), enSuccess);
        } else {
            auto *const lowGray = new LowGrayCoefficient(2, 1);
            grid.reset(lowGray);
            QCOMPARE(lowGray->setCoefficient(values), enSuccess);
        }
    }
    QCOMPARE(cabinet.setCoefficients(QPoint(1, 2), *grid), answer ? enSuccess : enTimeout);
    QCOMPARE(wall().journal().transcript(), QStringList(uploadLine(operation.toLatin1(), 1, 2, 2, 1, base64(bytes))));

    // Of a host's own grid only kind, size and text are queried.
    wall().journal().clear();
    HostGrid foreign(kind, 3, 2);
    QCOMPARE(cabinet.setCoefficients(QPoint(0, 0), foreign), answer ? enSuccess : enTimeout);
    QCOMPARE(wall().journal().transcript(),
             QStringList(uploadLine(operation.toLatin1(), 0, 0, 3, 2, QStringLiteral("host text"))));
}

void CabinetCoefficientsTest::anUploadSaysWhereItGoes()
{
    const QString key = QStringLiteral("%1 \"B\"");
    wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficient")).answer(Map());
    CabinetV4 cabinet(description(key).release());
    HostGrid grid(enCommonCoefficient, 1, 1);
    QCOMPARE(cabinet.setCoefficients(QPoint(0, 0), grid), enSuccess);
    QCOMPARE(m_log->takeDebug(), QStringList(row({QStringLiteral("Correction::CabinetV4::setCoefficients"),
                                                  QStringLiteral("deviceKey:"), QStringLiteral("\"%1 \\\"B\\\"\"")})));

    // Also when the device then refuses.
    wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficient")).answerFalse();
    QCOMPARE(cabinet.setCoefficients(QPoint(0, 0), grid), enTimeout);
    QCOMPARE(m_log->takeDebug().size(), 1);
}

void CabinetCoefficientsTest::gridsThatDoNotFitAreRefusedBeforeAnything_data()
{
    QTest::addColumn<QRect>("cabinet");
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");
    const QRect cabinet(640, 480, 4, 3);
    QTest::newRow("one pixel too wide") << cabinet << 0 << 0 << 5 << 3;
    QTest::newRow("one pixel too high") << cabinet << 0 << 0 << 4 << 4;
    QTest::newRow("one pixel too far to the right") << cabinet << 1 << 0 << 4 << 3;
    QTest::newRow("one pixel too far down") << cabinet << 0 << 1 << 4 << 3;
    QTest::newRow("screen coordinates") << cabinet << 640 << 480 << 1 << 1;
    QTest::newRow("a grid of no size right of the cabinet") << cabinet << 5 << 0 << 0 << 0;
    QTest::newRow("a sum beyond all integers in x") << cabinet << greatest << 0 << greatest << 1;
    QTest::newRow("a sum beyond all integers in y") << cabinet << 0 << greatest << 1 << 1;
    QTest::newRow("a cabinet of no size") << QRect() << 0 << 0 << 1 << 1;
    QTest::newRow("a cabinet of negative size") << QRect(0, 0, -3, -3) << 0 << 0 << 0 << 0;
}

void CabinetCoefficientsTest::gridsThatDoNotFitAreRefusedBeforeAnything()
{
    QFETCH(QRect, cabinet);
    QFETCH(int, x);
    QFETCH(int, y);
    QFETCH(int, columns);
    QFETCH(int, rows);
    auto info = description();
    info->rect = cabinet;
    CabinetV4 object(info.release());
    for (int kind : {0, 1, 2, 3}) { // the bounds come before the kind
        HostGrid grid(kind, columns, rows);
        QCOMPARE(object.setCoefficients(QPoint(x, y), grid), enArgumentMismatch);
        QCOMPARE(grid.renderings, 0);
    }
    QCOMPARE(wall().journal().transcript(), QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetCoefficientsTest::gridsOfUnknownKindsAreRefusedAfterTheRequestWasBuilt_data()
{
    QTest::addColumn<int>("kind");
    for (int kind : {3, 7, -1, least, greatest})
        QTest::newRow(qPrintable(QStringLiteral("kind %1").arg(kind))) << kind;
}

void CabinetCoefficientsTest::gridsOfUnknownKindsAreRefusedAfterTheRequestWasBuilt()
{
    QFETCH(int, kind);
    CabinetV4 cabinet(description().release());
    HostGrid grid(kind, 4, 3);
    QCOMPARE(cabinet.setCoefficients(QPoint(0, 0), grid), enNotSupported);
    QCOMPARE(grid.renderings, 1);
    QCOMPARE(m_log->takeDebug(), QStringList(row({QStringLiteral("Correction::CabinetV4::setCoefficients"),
                                                  QStringLiteral("deviceKey:"), QStringLiteral("\"A\"")})));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void CabinetCoefficientsTest::aGridWhoseTextDoesNotFitIsNotUploaded()
{
    // More bytes than fit into one QString as base64. They stay unwritten, so they take address space only.
    constexpr int columns = 30000;
    constexpr int rows = 27000;
    QByteArray bytes(columns * rows, Qt::Uninitialized);
    MultilayerCoefficient grid(0, 0, 1);
    grid.setPixelCol(columns);
    grid.setPixelRow(rows);
    QCOMPARE(grid.setCoefficient(bytes), enSuccess);
    auto info = description();
    info->rect = QRect(0, 0, columns, rows);
    CabinetV4 cabinet(info.release());
    QCOMPARE(cabinet.setCoefficients(QPoint(0, 0), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("base64 text too long. bytes:%1").arg(columns * rows)));
    QCOMPARE(wall().journal().transcript(), QStringList());

    // The values count, not the size that the grid claims.
    grid.setPixelCol(1);
    grid.setPixelRow(-1);
    QCOMPARE(cabinet.setCoefficients(QPoint(0, 0), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical().size(), 1);
    QCOMPARE(wall().journal().transcript(), QStringList());

    // Grids without values are uploaded as an empty text.
    wall().scripts().on(QString()).answer(Map());
    MultilayerCoefficient empty(0, 3);
    QCOMPARE(cabinet.setCoefficients(QPoint(1, 2), empty), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList(uploadLine("uploadMultilayerCoefficient", 1, 2, 0, 3, QString())));
}

void CabinetCoefficientsTest::theReplyOfAnUploadIsNotRead()
{
    wall()
        .scripts()
        .on(QStringLiteral("Correctionop::uploadCoefficient"))
        .answer(Map{{QStringLiteral("code"), 5}, {QStringLiteral("result"), false}});
    CabinetV4 cabinet(description().release());
    Coefficient grid(1, 1);
    QCOMPARE(cabinet.setCoefficients(QPoint(0, 0), grid), enSuccess);
    QCOMPARE(wall().journal().transcript().size(), 1);
}

void CabinetCoefficientsTest::whatWasUploadedIsLoadedAgain_data()
{
    QTest::addColumn<int>("bandHeight");
    QTest::newRow("in one block") << 0;
    QTest::newRow("in bands of one row") << 1;
    QTest::newRow("in bands of two rows and a rest") << 2;
    QTest::newRow("in bands higher than the cabinet") << 9;
}

void CabinetCoefficientsTest::whatWasUploadedIsLoadedAgain()
{
    QFETCH(int, bandHeight);
    wall().state().setReplyBlockHeight(bandHeight);
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 2, 1, QSize(6, 5), 12)});
    auto info = description();
    info->rect = QRect(6, 0, 6, 5);
    CabinetV4 cabinet(info.release());

    QRandomGenerator random(20240611);
    QVector<unsigned short> values;
    for (int i = 0; i < 6 * 5 * 9; ++i)
        values.append(static_cast<unsigned short>(random.bounded(65536)));
    Coefficient whole(6, 5);
    QCOMPARE(whole.setCoefficient(values), enSuccess);
    QCOMPARE(cabinet.setCoefficients(QPoint(0, 0), whole), enSuccess);
    QCOMPARE(wall().state().chroma(QStringLiteral("A"), QStringLiteral("12")), values);
    Coefficient part(2, 1); // zeros over the last pixels of the last row
    QCOMPARE(cabinet.setCoefficients(QPoint(4, 4), part), enSuccess);
    for (int i = (4 * 6 + 4) * 9; i < 5 * 6 * 9; ++i)
        values[i] = 0;

    Coefficient loaded;
    QCOMPARE(cabinet.tryGetCoefficients(loaded), enSuccess);
    QCOMPARE(loaded.getPixelCol(), 6);
    QCOMPARE(loaded.getPixelRow(), 5);
    QCOMPARE(loaded.getCoefficient(), values);
    QCOMPARE(wall().journal().notes(), QStringList());
    QCOMPARE(wall().state().chroma(QStringLiteral("A"), QStringLiteral("13")), zeros(30)); // the neighbour
}

// Saving and applying

void CabinetCoefficientsTest::savingFollowsTheKind_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("message");
    QTest::newRow("chroma") << 0 << QStringLiteral("saveCabinetsCoeffcient")
                            << QStringLiteral("saveParameter enCommonCoefficient timeout. cid:12");
    QTest::newRow("multilayer") << 1 << QStringLiteral("saveCabinetsMultilayerCoeffcient")
                                << QStringLiteral("saveParameter enCommonCoefficient timeout. cid:12");
    QTest::newRow("low gray") << 2 << QStringLiteral("saveCabinetsLowgrayCoeffcient")
                              << QStringLiteral("saveParameter enLowgrayCoefficient timeout. cid:12");
    for (int kind : {3, 4, -1, least, greatest})
        QTest::newRow(qPrintable(QStringLiteral("kind %1").arg(kind))) << kind << QString() << QString();
}

void CabinetCoefficientsTest::savingFollowsTheKind()
{
    QFETCH(int, kind);
    QFETCH(QString, operation);
    QFETCH(QString, message);
    CabinetV4 cabinet(description().release());
    if (operation.isEmpty()) {
        wall().scripts().on(QString()).answer(Map());
        QCOMPARE(cabinet.saveParameter(EnumSaveType(kind)), enNotSupported);
        QCOMPARE(wall().journal().transcript(), QStringList());
        return;
    }
    const QString line = quoted("Correctionop::%1('A', {'cids': ['12']})").arg(operation);
    wall().scripts().on(QStringLiteral("Correctionop::") + operation).answer(Map{{QStringLiteral("code"), 5}});
    QCOMPARE(cabinet.saveParameter(EnumSaveType(kind)), enSuccess);
    VERIFY_NO_CRITICAL(*m_log);
    wall().scripts().on(QStringLiteral("Correctionop::") + operation).answerFalse();
    QCOMPARE(cabinet.saveParameter(EnumSaveType(kind)), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(message));
    QCOMPARE(wall().journal().transcript(), QStringList({line, line}));
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetCoefficientsTest::applyingServesLowGrayOnly_data()
{
    QTest::addColumn<int>("kind");
    for (int kind : {0, 1, 3, -1, least, greatest})
        QTest::newRow(qPrintable(QStringLiteral("kind %1").arg(kind))) << kind;
    QTest::newRow("low gray") << 2;
}

void CabinetCoefficientsTest::applyingServesLowGrayOnly()
{
    QFETCH(int, kind);
    wall().scripts().on(QString()).answer(Map());
    CabinetV4 cabinet(description().release());
    if (kind != enLowgrayCoefficient) {
        QCOMPARE(cabinet.applyCoeffcient(EnumCoefficientType(kind)), enNotSupported);
        QCOMPARE(wall().journal().transcript(), QStringList());
        return;
    }
    const QString line = quoted("Correctionop::applyCabinetsLowgrayCoeffcient('A', {'cids': [qlonglong 12]})");
    QCOMPARE(cabinet.applyCoeffcient(enLowgrayCoefficient), enSuccess);
    VERIFY_NO_CRITICAL(*m_log);
    wall().scripts().on(QStringLiteral("Correctionop::applyCabinetsLowgrayCoeffcient")).answerFalse();
    QCOMPARE(cabinet.applyCoeffcient(enLowgrayCoefficient), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("saveParameter enLowgrayCoefficient timeout. cid:12")));
    QCOMPARE(wall().journal().transcript(), QStringList({line, line}));
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetCoefficientsTest::idsAreAppliedAsSignedNumbers_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("number");
    QTest::newRow("a small number") << QStringLiteral("12") << QStringLiteral("12");
    QTest::newRow("leading zeros are decimal") << QStringLiteral("0017") << QStringLiteral("17");
    QTest::newRow("a negative number") << QStringLiteral("-5") << QStringLiteral("-5");
    QTest::newRow("the greatest number") << QStringLiteral("9223372036854775807") << QStringLiteral("9223372036854775807");
    QTest::newRow("one more is no signed number") << QStringLiteral("9223372036854775808") << QStringLiteral("0");
    QTest::newRow("hexadecimal digits") << QStringLiteral("ff") << QStringLiteral("0");
    QTest::newRow("a null text") << QString() << QStringLiteral("0");
}

void CabinetCoefficientsTest::idsAreAppliedAsSignedNumbers()
{
    QFETCH(QString, id);
    QFETCH(QString, number);
    wall().scripts().on(QString()).answer(Map());
    CabinetV4 cabinet(description(QStringLiteral("A"), id).release());
    QCOMPARE(cabinet.applyCoeffcient(enLowgrayCoefficient), enSuccess);
    QCOMPARE(cabinet.saveParameter(enSaveLowgrayCoefficient), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList({quoted("Correctionop::applyCabinetsLowgrayCoeffcient('A', {'cids': [qlonglong %1]})").arg(number),
                          quoted("Correctionop::saveCabinetsLowgrayCoeffcient('A', {'cids': ['%1']})").arg(id)}));
}

QTEST_GUILESS_MAIN(CabinetCoefficientsTest)
#include "tst_cabinetcoefficients.moc"

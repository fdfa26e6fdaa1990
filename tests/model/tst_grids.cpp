#include "ForeignGrids.h"
#include "support/LogCapture.h"

#include <Correction/CoefficientFactory.h>
#include <Correction/CoefficientPtr.h>

#include <QtCore/QRandomGenerator>

#include <limits>
#include <optional>
#include <type_traits>
#include <utility>

using namespace Correction;

namespace {

constexpr int least = std::numeric_limits<int>::min();
constexpr int greatest = std::numeric_limits<int>::max();

// What the three kinds of grids differ in, for tests written once for all of them.

struct Chroma {
    using Grid = Coefficient;
    using Interface = IChromaCoefficient;
    using Foreign = ForeignGrids::Chroma;
    using Values = QVector<unsigned short>;
    static constexpr EnumCoefficientType type = enCommonCoefficient;
    static constexpr int defaultLength = 9;
    static QString name() { return QStringLiteral("Correction::Coefficient::"); }
    static int anyLength(QRandomGenerator &) { return defaultLength; }
    static Grid make(int columns, int rows, int) { return Grid(columns, rows); }
};

struct LowGray {
    using Grid = LowGrayCoefficient;
    using Interface = ILowGrayCoefficient;
    using Foreign = ForeignGrids::LowGray;
    using Values = QVector<unsigned short>;
    static constexpr EnumCoefficientType type = enLowgrayCoefficient;
    static constexpr int defaultLength = 9;
    static QString name() { return QStringLiteral("Correction::LowGrayCoefficient::"); }
    static int anyLength(QRandomGenerator &) { return defaultLength; }
    static Grid make(int columns, int rows, int) { return Grid(columns, rows); }
};

struct Multilayer {
    using Grid = MultilayerCoefficient;
    using Interface = IMultilayerCoefficient;
    using Foreign = ForeignGrids::Multilayer;
    using Values = QByteArray;
    static constexpr EnumCoefficientType type = enMultilayerCoefficient;
    static constexpr int defaultLength = 16;
    static QString name() { return QStringLiteral("Correction::MultilayerCoefficient::"); }
    static int anyLength(QRandomGenerator &random)
    {
        constexpr int lengths[] = {16, 16, 1, 2, 3, 7, 8, 24, 0};
        return lengths[random.bounded(int(sizeof lengths / sizeof *lengths))];
    }
    static Grid make(int columns, int rows, int length) { return Grid(columns, rows, length); }
};

template <class Grid>
constexpr bool isPlainGrid =
    std::is_copy_constructible<Grid>::value &&std::is_copy_assignable<Grid>::value &&std::is_nothrow_move_constructible<
        Grid>::value &&std::is_nothrow_move_assignable<Grid>::value &&std::is_convertible<int, Grid>::value
        &&std::is_default_constructible<Grid>::value &&std::is_constructible<Grid, int, int>::value
    && !std::has_virtual_destructor<Grid>::value;

static_assert(isPlainGrid<Coefficient>, "interface");
static_assert(isPlainGrid<LowGrayCoefficient>, "interface");
static_assert(isPlainGrid<MultilayerCoefficient>, "interface");
static_assert(std::is_constructible<MultilayerCoefficient, int, int, int>::value, "interface");
static_assert(!std::is_constructible<Coefficient, int, int, int>::value, "the pixel length is fixed");
static_assert(!std::is_constructible<LowGrayCoefficient, int, int, int>::value, "the pixel length is fixed");

template <class Interface>
constexpr bool isPureInterface = std::is_abstract<Interface>::value && sizeof(Interface) == sizeof(void *)
                                 && !std::has_virtual_destructor<Interface>::value;

static_assert(isPureInterface<ICoefficient>, "holds no data");
static_assert(isPureInterface<IChromaCoefficient>, "holds no data");
static_assert(isPureInterface<ILowGrayCoefficient>, "holds no data");
static_assert(isPureInterface<IMultilayerCoefficient>, "holds no data");

/// The fields of a grid, in their order.
template <class Values>
struct Fields {
    virtual void operation();
    int pixelRow;
    int pixelCol;
    int pixelLength;
    Values coefficients;
    EnumCoefficientType type;
};
static_assert(sizeof(Coefficient) == sizeof(Fields<Chroma::Values>), "binary interface");
static_assert(sizeof(LowGrayCoefficient) == sizeof(Fields<LowGray::Values>), "binary interface");
static_assert(sizeof(MultilayerCoefficient) == sizeof(Fields<Multilayer::Values>), "binary interface");

/// Values that are never 0 and differ from their neighbours.
template <class Values>
Values counted(qint64 count, int first = 1)
{
    using Value = typename Values::value_type;
    constexpr int period = sizeof(Value) == 1 ? 251 : 65521;
    Values values(static_cast<int>(count), 0);
    for (int i = 0; i < values.size(); ++i)
        values[i] = static_cast<Value>((i + first - 1) % period + 1);
    return values;
}

template <class Values>
Values zeros(int count)
{
    return Values(count, 0);
}

/// A rectangle from place and size for any numbers, without the overflow of its own constructor.
QRect rectOf(int x, int y, int w, int h)
{
    const auto end = [](int from, int size) {
        return static_cast<int>(static_cast<unsigned>(from) + static_cast<unsigned>(size) - 1u);
    };
    QRect rect;
    rect.setCoords(x, y, end(x, w), end(y, h));
    return rect;
}

struct Area {
    int x;
    int y;
    int w;
    int h;

    QRect rect() const { return rectOf(x, y, w, h); }
    bool fits(int columns, int rows) const { return qint64(x) + w <= columns && qint64(y) + h <= rows; }
    QString line(const QString &prefix, int columns, int rows) const
    {
        return prefix
               + QStringLiteral(" x: %1 y: %2 w: %3 h: %4 m_pixelCol: %5 m_pixelRow: %6")
                     .arg(x)
                     .arg(y)
                     .arg(w)
                     .arg(h)
                     .arg(columns)
                     .arg(rows);
    }
};

const QString bounds = QStringLiteral("x + w > m_pixelCol || y + h > m_pixelRow:");

QString countLine(const QString &operation, int count, int columns, int rows)
{
    return operation
           + QStringLiteral(" coefficient count: %1 m_pixelCol: %2 m_pixelRow: %3").arg(count).arg(columns).arg(rows);
}

/// Index of element j of row i of an area in the grid's values, or -1 for one outside them. Goes by pixels, since the
/// product with the length need not fit into 64 bits.
qint64 indexOf(const Area &area, int columns, int length, qint64 i, qint64 j, int gridSize)
{
    const qint64 pixel = area.x + (area.y + i) * columns + j / length;
    if (pixel < 0 || pixel > gridSize)
        return -1;
    const qint64 index = pixel * length + j % length;
    return index < gridSize ? index : -1;
}

/// Element by element: what a paste leaves in the grid. Returns whether every element had its place on both sides.
template <class Values>
bool pasteByElement(Values &grid, int columns, int length, const Area &area, const Values &source)
{
    bool whole = true;
    for (qint64 i = 0; i < area.h; ++i) {
        for (qint64 j = 0; j < qint64(area.w) * length; ++j) {
            const qint64 from = i * area.w * length + j;
            const qint64 to = indexOf(area, columns, length, i, j, grid.size());
            if (from < source.size() && to >= 0)
                grid[int(to)] = source[int(from)];
            else
                whole = false;
        }
    }
    return whole;
}

/// Element by element: what a cut takes out of the grid.
template <class Values>
bool cutByElement(const Values &grid, int columns, int length, const Area &area, Values &part)
{
    bool whole = true;
    part = zeros<Values>(area.w * area.h * length);
    for (qint64 i = 0; i < area.h; ++i) {
        for (qint64 j = 0; j < qint64(area.w) * length; ++j) {
            const qint64 from = indexOf(area, columns, length, i, j, grid.size());
            if (from >= 0)
                part[int(i * area.w * length + j)] = grid[int(from)];
            else
                whole = false;
        }
    }
    return whole;
}

void kindRows()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("chroma") << int(Chroma::type);
    QTest::newRow("low-gray") << int(LowGray::type);
    QTest::newRow("multilayer") << int(Multilayer::type);
}

} // namespace

/// Runs a test for the kind of the data row.
#define FOR_THE_KIND(test)                                                                                                  \
    do {                                                                                                                    \
        QFETCH(int, kind);                                                                                                  \
        if (kind == Chroma::type)                                                                                           \
            test<Chroma>();                                                                                                 \
        else if (kind == LowGray::type)                                                                                     \
            test<LowGray>();                                                                                                \
        else                                                                                                                \
            test<Multilayer>();                                                                                             \
    } while (false)

class tst_Grids : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The test library installs its own handler before the first test and takes it away after the last.
    void init() { m_log.emplace(); }
    void cleanup()
    {
        QLoggingCategory::setFilterRules(QString());
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void constructorTakesColumnsFirst_data() { kindRows(); }
    void constructorTakesColumnsFirst() { FOR_THE_KIND(constructorTakesColumnsFirstOf); }
    void constructorMakesAnInvalidGridOfABadSize_data();
    void constructorMakesAnInvalidGridOfABadSize();
    void aPartWithoutPixelsIsNotNull();
    void multilayerConstructorTakesAPixelLength();
    void multilayerConstructorTakesAnyPixelLength_data();
    void multilayerConstructorTakesAnyPixelLength();
    void factoryTakesRowsFirst();
    void factoryMakesTwoKinds_data();
    void factoryMakesTwoKinds();
    void factoryRefusesABadSize_data();
    void factoryRefusesABadSize();
    void factoryMakesEmptyGrids_data();
    void factoryMakesEmptyGrids();

    void pastedValuesBelongToTheGridAlone();

    void settersStoreTheNumberAlone_data() { kindRows(); }
    void settersStoreTheNumberAlone() { FOR_THE_KIND(settersStoreTheNumberAloneOf); }
    void valuesAreReplacedAsAWhole_data() { kindRows(); }
    void valuesAreReplacedAsAWhole() { FOR_THE_KIND(valuesAreReplacedAsAWholeOf); }
    void valuesOfAWrongCountAreRefused_data() { kindRows(); }
    void valuesOfAWrongCountAreRefused() { FOR_THE_KIND(valuesOfAWrongCountAreRefusedOf); }
    void changedGridTakesValuesOfItsNewSize_data() { kindRows(); }
    void changedGridTakesValuesOfItsNewSize() { FOR_THE_KIND(changedGridTakesValuesOfItsNewSizeOf); }
    void countsDoNotWrap_data() { kindRows(); }
    void countsDoNotWrap() { FOR_THE_KIND(countsDoNotWrapOf); }

    void pasteUpToTheEdges_data() { kindRows(); }
    void pasteUpToTheEdges() { FOR_THE_KIND(pasteUpToTheEdgesOf); }
    void pasteBeyondTheEdgesIsRefused_data() { kindRows(); }
    void pasteBeyondTheEdgesIsRefused() { FOR_THE_KIND(pasteBeyondTheEdgesIsRefusedOf); }
    void pasteIntoAnInvalidGridIsRefused_data() { kindRows(); }
    void pasteIntoAnInvalidGridIsRefused() { FOR_THE_KIND(pasteIntoAnInvalidGridIsRefusedOf); }
    void pasteOfAShortBlockLeavesTheRest_data() { kindRows(); }
    void pasteOfAShortBlockLeavesTheRest() { FOR_THE_KIND(pasteOfAShortBlockLeavesTheRestOf); }
    void pasteOfANegativePlaceWraps_data() { kindRows(); }
    void pasteOfANegativePlaceWraps() { FOR_THE_KIND(pasteOfANegativePlaceWrapsOf); }
    void pasteLeavesSharersAlone_data() { kindRows(); }
    void pasteLeavesSharersAlone() { FOR_THE_KIND(pasteLeavesSharersAloneOf); }

    void pasteOfAGrid_data() { kindRows(); }
    void pasteOfAGrid() { FOR_THE_KIND(pasteOfAGridOf); }
    void pasteOfAGridIntoItself_data() { kindRows(); }
    void pasteOfAGridIntoItself() { FOR_THE_KIND(pasteOfAGridIntoItselfOf); }
    void pasteOfAForeignGrid_data() { kindRows(); }
    void pasteOfAForeignGrid() { FOR_THE_KIND(pasteOfAForeignGridOf); }
    void pasteOfAnotherKindIsRefused_data() { kindRows(); }
    void pasteOfAnotherKindIsRefused() { FOR_THE_KIND(pasteOfAnotherKindIsRefusedOf); }
    void pasteOfAFalseKindIsRefused_data() { kindRows(); }
    void pasteOfAFalseKindIsRefused() { FOR_THE_KIND(pasteOfAFalseKindIsRefusedOf); }

    void cutUpToTheEdges_data() { kindRows(); }
    void cutUpToTheEdges() { FOR_THE_KIND(cutUpToTheEdgesOf); }
    void cutBeyondTheEdgesIsRefused_data() { kindRows(); }
    void cutBeyondTheEdgesIsRefused() { FOR_THE_KIND(cutBeyondTheEdgesIsRefusedOf); }
    void cutOfANegativeSizeIsNull_data() { kindRows(); }
    void cutOfANegativeSizeIsNull() { FOR_THE_KIND(cutOfANegativeSizeIsNullOf); }
    void cutOfNothingIsAnEmptyGrid_data() { kindRows(); }
    void cutOfNothingIsAnEmptyGrid() { FOR_THE_KIND(cutOfNothingIsAnEmptyGridOf); }
    void cutOfAnInvalidGridFollowsTheIndex_data() { kindRows(); }
    void cutOfAnInvalidGridFollowsTheIndex() { FOR_THE_KIND(cutOfAnInvalidGridFollowsTheIndexOf); }
    void cutIsAGridOfItsOwn_data() { kindRows(); }
    void cutIsAGridOfItsOwn() { FOR_THE_KIND(cutIsAGridOfItsOwnOf); }
    void cutKeepsThePixelLength();

    void everySmallRectangle_data() { kindRows(); }
    void everySmallRectangle() { FOR_THE_KIND(everySmallRectangleOf); }
    void randomGridsAndRectangles_data();
    void randomGridsAndRectangles() { FOR_THE_KIND(randomGridsAndRectanglesOf); }
    void extremeRectanglesAreSafe_data();
    void extremeRectanglesAreSafe() { FOR_THE_KIND(extremeRectanglesAreSafeOf); }
    void extremeGridsAreSafe_data();
    void extremeGridsAreSafe() { FOR_THE_KIND(extremeGridsAreSafeOf); }

    void copyHasSizeAndValues_data() { kindRows(); }
    void copyHasSizeAndValues() { FOR_THE_KIND(copyHasSizeAndValuesOf); }
    void copyOfAnInvalidGridHasZeros_data() { kindRows(); }
    void copyOfAnInvalidGridHasZeros() { FOR_THE_KIND(copyOfAnInvalidGridHasZerosOf); }
    void copyOfAMultilayerGridHasSixteenBytes();
    void copiesShareUntilOneChanges_data() { kindRows(); }
    void copiesShareUntilOneChanges() { FOR_THE_KIND(copiesShareUntilOneChangesOf); }
    void copiesTakeEveryField_data() { kindRows(); }
    void copiesTakeEveryField() { FOR_THE_KIND(copiesTakeEveryFieldOf); }
    void movedFromGridIsUsable_data() { kindRows(); }
    void movedFromGridIsUsable() { FOR_THE_KIND(movedFromGridIsUsableOf); }

    void averageOfOnePixelIsThePixel();
    void averageIsCutNotRounded();
    void averageOfRandomGrids();
    void averageOfTheGreatestValues();
    void averageOfAnInvalidGridIsRefused();
    void averageOfNoPixelsIsZero();

    void switchedOffLevelsAreSilent_data() { kindRows(); }
    void switchedOffLevelsAreSilent() { FOR_THE_KIND(switchedOffLevelsAreSilentOf); }

private:
    template <class Kind>
    void constructorTakesColumnsFirstOf();
    template <class Kind>
    void settersStoreTheNumberAloneOf();
    template <class Kind>
    void valuesAreReplacedAsAWholeOf();
    template <class Kind>
    void valuesOfAWrongCountAreRefusedOf();
    template <class Kind>
    void changedGridTakesValuesOfItsNewSizeOf();
    template <class Kind>
    void countsDoNotWrapOf();
    template <class Kind>
    void pasteUpToTheEdgesOf();
    template <class Kind>
    void pasteBeyondTheEdgesIsRefusedOf();
    template <class Kind>
    void pasteIntoAnInvalidGridIsRefusedOf();
    template <class Kind>
    void pasteOfAShortBlockLeavesTheRestOf();
    template <class Kind>
    void pasteOfANegativePlaceWrapsOf();
    template <class Kind>
    void pasteLeavesSharersAloneOf();
    template <class Kind>
    void pasteOfAGridOf();
    template <class Kind>
    void pasteOfAGridIntoItselfOf();
    template <class Kind>
    void pasteOfAForeignGridOf();
    template <class Kind>
    void pasteOfAnotherKindIsRefusedOf();
    template <class Kind>
    void pasteOfAFalseKindIsRefusedOf();
    template <class Kind>
    void cutUpToTheEdgesOf();
    template <class Kind>
    void cutBeyondTheEdgesIsRefusedOf();
    template <class Kind>
    void cutOfANegativeSizeIsNullOf();
    template <class Kind>
    void cutOfNothingIsAnEmptyGridOf();
    template <class Kind>
    void cutOfAnInvalidGridFollowsTheIndexOf();
    template <class Kind>
    void cutIsAGridOfItsOwnOf();
    template <class Kind>
    void everySmallRectangleOf();
    template <class Kind>
    void randomGridsAndRectanglesOf();
    template <class Kind>
    void extremeRectanglesAreSafeOf();
    template <class Kind>
    void extremeGridsAreSafeOf();
    template <class Kind>
    void copyHasSizeAndValuesOf();
    template <class Kind>
    void copyOfAnInvalidGridHasZerosOf();
    template <class Kind>
    void copiesShareUntilOneChangesOf();
    template <class Kind>
    void copiesTakeEveryFieldOf();
    template <class Kind>
    void movedFromGridIsUsableOf();
    template <class Kind>
    void switchedOffLevelsAreSilentOf();

    template <class Kind>
    void pasteMatches(typename Kind::Grid grid, int length, bool valid, const Area &area, typename Kind::Values source);
    template <class Kind>
    void cutMatches(typename Kind::Grid grid, int length, const Area &area);

    std::optional<TestSupport::LogCapture> m_log;
};

template <class Kind>
void tst_Grids::constructorTakesColumnsFirstOf()
{
    typename Kind::Grid grid(3, 2);
    QCOMPARE(grid.getPixelCol(), 3);
    QCOMPARE(grid.getPixelRow(), 2);
    QCOMPARE(grid.getPixelLength(), Kind::defaultLength);
    QCOMPARE(grid.getType(), Kind::type);
    QCOMPARE(grid.getCoefficient(), zeros<typename Kind::Values>(6 * Kind::defaultLength));

    typename Kind::Grid column(4);
    QCOMPARE(column.getPixelCol(), 4);
    QCOMPARE(column.getPixelRow(), 1);
    QCOMPARE(column.getCoefficient(), zeros<typename Kind::Values>(4 * Kind::defaultLength));

    typename Kind::Grid pixel;
    QCOMPARE(pixel.getPixelCol(), 1);
    QCOMPARE(pixel.getPixelRow(), 1);
    QCOMPARE(pixel.getCoefficient(), zeros<typename Kind::Values>(Kind::defaultLength));

    ICoefficient &interface = grid;
    QCOMPARE(interface.getPixelCol(), 3);
    QCOMPARE(interface.getPixelRow(), 2);
    QCOMPARE(interface.getPixelLength(), Kind::defaultLength);
    QCOMPARE(interface.getType(), Kind::type);
    QCOMPARE(m_log->takeDebug(), QStringList());
}

namespace {

/// Sizes that no grid of any kind can hold: negative, or more than 2 GiB of values.
void badSizeRows()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");
    QTest::newRow("negative columns") << -1 << 4;
    QTest::newRow("negative rows") << 4 << -1;
    QTest::newRow("both negative") << -2 << -3;
    QTest::newRow("negative and none") << -1 << 0;
    QTest::newRow("none and negative") << 0 << -1;
    QTest::newRow("the least numbers") << least << least;
    QTest::newRow("the least and the greatest number") << least << greatest;
    QTest::newRow("the greatest numbers") << greatest << greatest;
    QTest::newRow("a little too much") << 134300000 << 1;
    QTest::newRow("a little too much in a square") << 11600 << 11600;
    QTest::newRow("a pixel count that wraps to zero") << 65536 << 65536;
    QTest::newRow("a value count that wraps to five") << 477218589 << 1;
    QTest::newRow("a byte count that wraps to sixteen") << 1 << (1 << 28) + 1;
    QTest::newRow("a 64-bit pixel count") << greatest << 2;
}

template <class Grid, class Values>
void isInvalidWithoutValues(int columns, int rows, TestSupport::LogCapture &log)
{
    Grid grid(columns, rows);
    QCOMPARE(grid.getPixelCol(), columns);
    QCOMPARE(grid.getPixelRow(), rows);
    QCOMPARE(grid.getCoefficient(), Values());
    QCOMPARE(grid.toBase64(), QString(QLatin1String("")));
    Values values;
    QCOMPARE(grid.setCoefficient(values), enOutOfRange);
    values = counted<Values>(5);
    QCOMPARE(grid.setCoefficient(values), enOutOfRange);
    values = counted<Values>(16);
    QCOMPARE(grid.setCoefficient(values), enOutOfRange);
    values = counted<Values>(6 * Grid().getPixelLength());
    QCOMPARE(grid.setCoefficient(values), enOutOfRange);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 1, 1), values), enInvalidParameter);
    QCOMPARE(grid.setPartCoefficient(QRect(-3, -4, 1, 1), values), enInvalidParameter);
    Grid source(1, 1);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 1, 1), source), enInvalidParameter);
    QCOMPARE(log.takeCritical().size(), 3);
    const CoefficientPtr copy(grid.getCopy());
    QCOMPARE(copy->getPixelCol(), columns);
    QCOMPARE(copy->getPixelRow(), rows);
    QCOMPARE(static_cast<Grid &>(*copy).getCoefficient(), Values());
    QCOMPARE(grid.getCoefficient(), Values());
    log.clear();
}

} // namespace

void tst_Grids::constructorMakesAnInvalidGridOfABadSize_data()
{
    badSizeRows();
}

void tst_Grids::constructorMakesAnInvalidGridOfABadSize()
{
    QFETCH(int, columns);
    QFETCH(int, rows);
    isInvalidWithoutValues<Coefficient, Chroma::Values>(columns, rows, *m_log);
    isInvalidWithoutValues<LowGrayCoefficient, LowGray::Values>(columns, rows, *m_log);
    isInvalidWithoutValues<MultilayerCoefficient, Multilayer::Values>(columns, rows, *m_log);

    Coefficient chroma(columns, rows);
    QCOMPARE(chroma.toJsonData(), QStringLiteral("[]"));
    QVector<unsigned short> average{1, 2, 3};
    QCOMPARE(chroma.tryGetAvg(average), enInvalidParameter);
    QCOMPARE(average, (QVector<unsigned short>{1, 2, 3}));
}

void tst_Grids::aPartWithoutPixelsIsNotNull()
{
    MultilayerCoefficient grid(0, 0);
    QByteArray none;
    QCOMPARE(grid.setCoefficient(none), enSuccess);
    const CoefficientPtr part(grid.tryGetPart(QRect(0, 0, 0, 0)));
    QVERIFY(part && !static_cast<MultilayerCoefficient &>(*part).getCoefficient().isNull());
    m_log->clear();
}

void tst_Grids::multilayerConstructorTakesAPixelLength()
{
    MultilayerCoefficient grid(4, 3, 8);
    QCOMPARE(grid.getPixelCol(), 4);
    QCOMPARE(grid.getPixelRow(), 3);
    QCOMPARE(grid.getPixelLength(), 8);
    QCOMPARE(grid.getType(), enMultilayerCoefficient);
    QCOMPARE(grid.getCoefficient(), QByteArray(96, 0));
}

void tst_Grids::multilayerConstructorTakesAnyPixelLength_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("valid");
    QTest::newRow("no bytes") << 3 << 2 << 0 << true;
    QTest::newRow("negative") << 3 << 2 << -1 << false;
    QTest::newRow("three negative numbers") << -3 << -2 << -1 << false;
    QTest::newRow("two negative numbers") << -3 << 2 << -4 << false;
    QTest::newRow("the greatest number") << 3 << 2 << greatest << false;
    QTest::newRow("the greatest number for no pixel") << 0 << 2 << greatest << true;
    QTest::newRow("no bytes for the greatest numbers") << greatest << greatest << 0 << true;
    QTest::newRow("three greatest numbers") << greatest << greatest << greatest << false;
    QTest::newRow("a product that wraps to zero") << 65536 << 65536 << 1 << false;
    QTest::newRow("a product that wraps to zero in 64 bits") << (1 << 30) << (1 << 30) << 16 << false;
}

void tst_Grids::multilayerConstructorTakesAnyPixelLength()
{
    QFETCH(int, columns);
    QFETCH(int, rows);
    QFETCH(int, length);
    QFETCH(bool, valid);
    MultilayerCoefficient grid(columns, rows, length);
    QCOMPARE(grid.getPixelLength(), length);
    QCOMPARE(grid.getCoefficient(), QByteArray());
    QByteArray none;
    QCOMPARE(grid.setCoefficient(none), valid ? enSuccess : enOutOfRange);
    QByteArray bytes(16, 'x');
    QCOMPARE(grid.setPartCoefficient(rectOf(-9, -9, 2, 2), bytes), valid ? enSuccess : enInvalidParameter);
    QCOMPARE(m_log->takeCritical().size(), valid ? 0 : 1);
    QCOMPARE(grid.getCoefficient(), QByteArray());
}

void tst_Grids::factoryTakesRowsFirst()
{
    const CoefficientPtr chroma(CoefficientFactory::getCoefficient(enCommonCoefficient, 2, 3));
    QCOMPARE(chroma->getPixelRow(), 2);
    QCOMPARE(chroma->getPixelCol(), 3);
    QVERIFY(dynamic_cast<Coefficient *>(chroma.get()));
    QCOMPARE(static_cast<Coefficient &>(*chroma).getCoefficient(), zeros<Chroma::Values>(54));

    const CoefficientPtr multilayer(CoefficientFactory::getCoefficient(enMultilayerCoefficient, 2, 3));
    QCOMPARE(multilayer->getPixelRow(), 2);
    QCOMPARE(multilayer->getPixelCol(), 3);
    QCOMPARE(multilayer->getPixelLength(), 16);
    QVERIFY(dynamic_cast<MultilayerCoefficient *>(multilayer.get()));
    QCOMPARE(static_cast<MultilayerCoefficient &>(*multilayer).getCoefficient(), QByteArray(96, 0));
}

void tst_Grids::factoryMakesTwoKinds_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("made");
    QTest::newRow("chroma") << 0 << true;
    QTest::newRow("multilayer") << 1 << true;
    QTest::newRow("low-gray") << 2 << false;
    QTest::newRow("the number after the kinds") << 3 << false;
    QTest::newRow("a negative number") << -1 << false;
    QTest::newRow("the greatest number") << greatest << false;
    QTest::newRow("the least number") << least << false;
}

void tst_Grids::factoryMakesTwoKinds()
{
    QFETCH(int, type);
    QFETCH(bool, made);
    const CoefficientPtr grid(CoefficientFactory::getCoefficient(EnumCoefficientType(type), 1, 1));
    QCOMPARE(bool(grid), made);
    if (grid)
        QCOMPARE(int(grid->getType()), type);
}

void tst_Grids::factoryRefusesABadSize_data()
{
    badSizeRows();
}

void tst_Grids::factoryRefusesABadSize()
{
    QFETCH(int, columns);
    QFETCH(int, rows);
    for (const EnumCoefficientType type : {enCommonCoefficient, enMultilayerCoefficient, enLowgrayCoefficient}) {
        const CoefficientPtr grid(CoefficientFactory::getCoefficient(type, rows, columns));
        QVERIFY(!grid);
        const CoefficientPtr turned(CoefficientFactory::getCoefficient(type, columns, rows));
        QVERIFY(!turned);
    }
}

void tst_Grids::factoryMakesEmptyGrids_data()
{
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("columns");
    QTest::newRow("nothing") << 0 << 0;
    QTest::newRow("no rows") << 0 << 5;
    QTest::newRow("no columns") << 5 << 0;
    QTest::newRow("no rows of the greatest width") << 0 << greatest;
}

void tst_Grids::factoryMakesEmptyGrids()
{
    QFETCH(int, rows);
    QFETCH(int, columns);
    for (const EnumCoefficientType type : {enCommonCoefficient, enMultilayerCoefficient}) {
        const CoefficientPtr grid(CoefficientFactory::getCoefficient(type, rows, columns));
        QVERIFY(bool(grid));
        QCOMPARE(grid->getPixelRow(), rows);
        QCOMPARE(grid->getPixelCol(), columns);
        QCOMPARE(grid->toBase64(), QString(QLatin1String("")));
    }
}

template <class Kind>
void tst_Grids::settersStoreTheNumberAloneOf()
{
    typename Kind::Grid grid(2, 3);
    auto values = counted<typename Kind::Values>(6 * Kind::defaultLength);
    grid.setCoefficient(values);
    for (const int number : {5, 0, -7, least, greatest, 1}) {
        grid.setPixelCol(number);
        QCOMPARE(grid.getPixelCol(), number);
        QCOMPARE(grid.getPixelRow(), 3);
        QCOMPARE(grid.getCoefficient(), values);
    }
    for (const int number : {5, 0, -7, least, greatest, 1}) {
        grid.setPixelRow(number);
        QCOMPARE(grid.getPixelRow(), number);
        QCOMPARE(grid.getPixelCol(), 1);
        QCOMPARE(grid.getCoefficient(), values);
    }
    QCOMPARE(grid.getPixelLength(), Kind::defaultLength);
    QCOMPARE(m_log->takeDebug(), QStringList());
}

template <class Kind>
void tst_Grids::valuesAreReplacedAsAWholeOf()
{
    typename Kind::Grid grid(2, 3);
    auto values = counted<typename Kind::Values>(6 * Kind::defaultLength);
    const auto before = values;
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(grid.getCoefficient(), before);
    QCOMPARE(values, before);

    values.fill(9);
    QCOMPARE(grid.getCoefficient(), before);
    auto got = grid.getCoefficient();
    got.fill(9);
    QCOMPARE(grid.getCoefficient(), before);
    QCOMPARE(m_log->takeDebug(), QStringList());
}

template <class Kind>
void tst_Grids::valuesOfAWrongCountAreRefusedOf()
{
    const int count = 6 * Kind::defaultLength;
    typename Kind::Grid grid(2, 3);
    auto values = counted<typename Kind::Values>(count);
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    for (const int wrong : {0, 1, count - 1, count + 1, 2 * count}) {
        auto others = counted<typename Kind::Values>(wrong, 7);
        QCOMPARE(grid.setCoefficient(others), enOutOfRange);
        QCOMPARE(grid.getCoefficient(), values);
        // The count is that of the grid's own values.
        QCOMPARE(m_log->takeDebug(), QStringList{countLine(Kind::name() + QStringLiteral("setCoefficient"), count, 2, 3)});
    }
}

template <class Kind>
void tst_Grids::changedGridTakesValuesOfItsNewSizeOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(4, 2);
    grid.setPixelCol(5);
    auto pixel = counted<typename Kind::Values>(length);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 1, 1), pixel), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList{(Area{0, 0, 1, 1}.line(bounds, 5, 2))});
    auto old = counted<typename Kind::Values>(8 * length);
    QCOMPARE(grid.setCoefficient(old), enOutOfRange);
    QCOMPARE(m_log->takeDebug(), QStringList{countLine(Kind::name() + QStringLiteral("setCoefficient"), 8 * length, 5, 2)});
    auto values = counted<typename Kind::Values>(10 * length);
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 1, 1), pixel), enSuccess);
    QCOMPARE(grid.getCoefficient(), values);
}

template <class Kind>
void tst_Grids::countsDoNotWrapOf()
{
    // Products that come out as the number of values in 32 bits.
    typename Kind::Grid grid(0, 0);
    typename Kind::Values none;
    grid.setPixelCol(65536);
    grid.setPixelRow(65536);
    QCOMPARE(grid.setCoefficient(none), enOutOfRange);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 1, 1), none), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList{(Area{0, 0, 1, 1}.line(bounds, 65536, 65536))});

    grid.setPixelCol(-1);
    grid.setPixelRow(-1);
    auto pixel = counted<typename Kind::Values>(Kind::defaultLength);
    QCOMPARE(grid.setCoefficient(pixel), enOutOfRange);
    QCOMPARE(grid.getCoefficient(), none);
}

template <class Kind>
void tst_Grids::pasteUpToTheEdgesOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(4, 3);
    auto values = counted<typename Kind::Values>(12 * length, 100);
    grid.setCoefficient(values);
    auto block = counted<typename Kind::Values>(4 * length);
    const auto before = block;
    QCOMPARE(grid.setPartCoefficient(QRect(2, 1, 2, 2), block), enSuccess);
    QCOMPARE(block, before);
    const Area area{2, 1, 2, 2};
    QCOMPARE(m_log->takeDebug(), QStringList{area.line(Kind::name() + QStringLiteral("setPartCoefficient"), 4, 3)});
    QCOMPARE(m_log->takeWarning(), QStringList());
    // The pixels (2,1), (3,1), (2,2) and (3,2).
    auto expected = values;
    for (int k = 0; k < length; ++k) {
        expected[(1 * 4 + 2) * length + k] = block[k];
        expected[(1 * 4 + 3) * length + k] = block[length + k];
        expected[(2 * 4 + 2) * length + k] = block[2 * length + k];
        expected[(2 * 4 + 3) * length + k] = block[3 * length + k];
    }
    QCOMPARE(grid.getCoefficient(), expected);

    auto all = counted<typename Kind::Values>(12 * length, 50);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 4, 3), all), enSuccess);
    QCOMPARE(grid.getCoefficient(), all);
    QCOMPARE(grid.setPartCoefficient(QRect(4, 3, 0, 0), block), enSuccess);
    QCOMPARE(grid.getCoefficient(), all);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::pasteBeyondTheEdgesIsRefusedOf()
{
    typename Kind::Grid grid(4, 3);
    auto values = counted<typename Kind::Values>(12 * Kind::defaultLength, 100);
    grid.setCoefficient(values);
    auto block = counted<typename Kind::Values>(40 * Kind::defaultLength);
    for (const Area &area : {Area{0, 0, 5, 3}, Area{0, 0, 4, 4}, Area{3, 0, 2, 1}, Area{0, 2, 1, 2}, Area{4, 0, 1, 1},
                             Area{0, 3, 1, 1}, Area{-1, 0, 6, 1}, Area{5, 0, 0, 0}, Area{0, 4, 0, 0}, Area{7, 0, -2, 1}}) {
        QCOMPARE(grid.setPartCoefficient(area.rect(), block), enInvalidParameter);
        QCOMPARE(m_log->takeCritical(), QStringList{area.line(bounds, 4, 3)});
        QCOMPARE(grid.getCoefficient(), values);
    }
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::pasteIntoAnInvalidGridIsRefusedOf()
{
    auto pixel = counted<typename Kind::Values>(Kind::defaultLength);
    for (const int columns : {1, 3, 0, -2}) {
        typename Kind::Grid grid(2, 2);
        auto values = counted<typename Kind::Values>(4 * Kind::defaultLength, 30);
        grid.setCoefficient(values);
        grid.setPixelCol(columns);
        const Area area{columns - 1, 0, 1, 1};
        QCOMPARE(grid.setPartCoefficient(area.rect(), pixel), enInvalidParameter);
        QCOMPARE(m_log->takeCritical(), QStringList{area.line(bounds, columns, 2)});
        QCOMPARE(grid.getCoefficient(), values);
    }
    QCOMPARE(m_log->takeDebug(), QStringList());
}

template <class Kind>
void tst_Grids::pasteOfAShortBlockLeavesTheRestOf()
{
    const int length = Kind::defaultLength;
    for (const int count : {0, 1, length, 2 * length - 1, 2 * length, 2 * length + 1, 4 * length - 1}) {
        typename Kind::Grid grid(3, 2);
        auto values = counted<typename Kind::Values>(6 * length, 70);
        grid.setCoefficient(values);
        auto block = counted<typename Kind::Values>(count);
        QCOMPARE(grid.setPartCoefficient(QRect(1, 0, 2, 2), block), enSuccess);
        auto expected = values;
        for (int i = 0; i < count; ++i)
            expected[i < 2 * length ? length + i : 2 * length + i] = block[i];
        QCOMPARE(grid.getCoefficient(), expected);
        const QStringList warnings = m_log->takeWarning();
        QCOMPARE(warnings.size(), 1);
        QVERIFY(warnings[0].startsWith(Kind::name() + QStringLiteral("setPartCoefficient")));
    }
}

template <class Kind>
void tst_Grids::pasteOfANegativePlaceWrapsOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(3, 2);
    auto values = counted<typename Kind::Values>(6 * length, 70);
    grid.setCoefficient(values);
    auto block = counted<typename Kind::Values>(4 * length);

    // Left of the grid in its second row: inside the buffer, at the end of the first row.
    QCOMPARE(grid.setPartCoefficient(QRect(-1, 1, 2, 1), block), enSuccess);
    QCOMPARE(grid.getCoefficient(), values.mid(0, 2 * length) + block.mid(0, 2 * length) + values.mid(4 * length));
    QCOMPARE(m_log->takeWarning(), QStringList());

    // Left of the grid in its first row: the first pixel has no place.
    grid.setCoefficient(values);
    QCOMPARE(grid.setPartCoefficient(QRect(-1, 0, 2, 1), block), enSuccess);
    QCOMPARE(grid.getCoefficient(), block.mid(length, length) + values.mid(length));
    QCOMPARE(m_log->takeWarning().size(), 1);

    // Above the grid: the first row has no place.
    grid.setCoefficient(values);
    QCOMPARE(grid.setPartCoefficient(QRect(0, -1, 2, 2), block), enSuccess);
    QCOMPARE(grid.getCoefficient(), block.mid(2 * length, 2 * length) + values.mid(2 * length));
    QCOMPARE(m_log->takeWarning().size(), 1);

    // The same with a block of the grid's size: it does not replace the whole grid.
    grid.setCoefficient(values);
    auto large = counted<typename Kind::Values>(6 * length);
    QCOMPARE(grid.setPartCoefficient(QRect(0, -1, 3, 2), large), enSuccess);
    QCOMPARE(grid.getCoefficient(), large.mid(3 * length, 3 * length) + values.mid(3 * length));
    QCOMPARE(m_log->takeWarning().size(), 1);

    // Rows longer than the grid's overlap in it: the later one stays.
    grid.setCoefficient(values);
    auto longRows = counted<typename Kind::Values>(8 * length);
    QCOMPARE(grid.setPartCoefficient(QRect(-1, 0, 4, 2), longRows), enSuccess);
    QCOMPARE(grid.getCoefficient(), longRows.mid(length, 2 * length) + longRows.mid(4 * length, 4 * length));
    QCOMPARE(m_log->takeWarning().size(), 1);
}

template <class Kind>
void tst_Grids::pasteLeavesSharersAloneOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(2, 1);
    auto values = counted<typename Kind::Values>(2 * length, 30);
    const auto before = values;
    grid.setCoefficient(values);
    typename Kind::Grid copy(grid);
    const CoefficientPtr made(grid.getCopy());
    const auto held = grid.getCoefficient();
    auto block = counted<typename Kind::Values>(length);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 1, 1), block), enSuccess);
    QCOMPARE(grid.getCoefficient(), block + before.mid(length));
    QCOMPARE(values, before);
    QCOMPARE(held, before);
    QCOMPARE(copy.getCoefficient(), before);
    QCOMPARE(static_cast<typename Kind::Grid &>(*made).getCoefficient(), before);

    // The argument and the grid share their values: the paste reads them as they were.
    QCOMPARE(copy.setPartCoefficient(QRect(1, 0, 1, 1), values), enSuccess);
    QCOMPARE(copy.getCoefficient(), before.mid(0, length) + before.mid(0, length));
    QCOMPARE(values, before);
}

template <class Kind>
void tst_Grids::pasteOfAGridOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(3, 2);
    typename Kind::Grid source(2, 1);
    auto block = counted<typename Kind::Values>(2 * length);
    source.setCoefficient(block);
    ICoefficient &interface = grid;
    QCOMPARE(interface.setPartCoefficient(QRect(1, 1, 2, 1), source), enSuccess);
    const Area area{1, 1, 2, 1};
    QCOMPARE(m_log->takeDebug(), QStringList{area.line(Kind::name() + QStringLiteral("setPartCoefficient"), 3, 2)});
    QCOMPARE(grid.getCoefficient(), zeros<typename Kind::Values>(4 * length) + block);
    QCOMPARE(source.getCoefficient(), block);

    QCOMPARE(grid.setPartCoefficient(QRect(2, 1, 2, 1), source), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList{(Area{2, 1, 2, 1}.line(bounds, 3, 2))});
    QCOMPARE(grid.getCoefficient(), zeros<typename Kind::Values>(4 * length) + block);

    // Only the source's values count, not its shape.
    typename Kind::Grid turned(3, 2);
    source.setPixelCol(1);
    source.setPixelRow(2);
    QCOMPARE(turned.setPartCoefficient(QRect(0, 0, 2, 1), source), enSuccess);
    QCOMPARE(turned.getCoefficient(), block + zeros<typename Kind::Values>(4 * length));
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::pasteOfAGridIntoItselfOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(2, 2);
    auto values = counted<typename Kind::Values>(4 * length);
    grid.setCoefficient(values);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 1, 2, 1), grid), enSuccess);
    QCOMPARE(grid.getCoefficient(), values.mid(0, 2 * length) + values.mid(0, 2 * length));
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::pasteOfAForeignGridOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(3, 1);
    typename Kind::Foreign source(Kind::type, 2);
    source.m_values = counted<typename Kind::Values>(length);
    QCOMPARE(grid.setPartCoefficient(QRect(1, 0, 1, 1), source), enSuccess);
    QCOMPARE(source.m_calls, QStringList{QStringLiteral("getCoefficient()")});
    QCOMPARE(grid.getCoefficient(), zeros<typename Kind::Values>(length) + counted<typename Kind::Values>(length)
                                        + zeros<typename Kind::Values>(length));

    source.m_values = typename Kind::Values();
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 3, 1), source), enSuccess);
    QCOMPARE(m_log->takeWarning().size(), 1);
    QCOMPARE(grid.getCoefficient(), zeros<typename Kind::Values>(length) + counted<typename Kind::Values>(length)
                                        + zeros<typename Kind::Values>(length));
}

template <class Kind>
void tst_Grids::pasteOfAnotherKindIsRefusedOf()
{
    typename Kind::Grid grid(2, 1);
    auto values = counted<typename Kind::Values>(2 * Kind::defaultLength);
    grid.setCoefficient(values);
    Coefficient chroma(2, 1);
    LowGrayCoefficient lowGray(2, 1);
    MultilayerCoefficient multilayer(2, 1);
    typename Kind::Foreign unknown(EnumCoefficientType(3));
    typename Kind::Foreign negative(EnumCoefficientType(-1));
    for (ICoefficient *source : {static_cast<ICoefficient *>(&chroma), static_cast<ICoefficient *>(&lowGray),
                                 static_cast<ICoefficient *>(&multilayer), static_cast<ICoefficient *>(&unknown),
                                 static_cast<ICoefficient *>(&negative)}) {
        if (source->getType() == Kind::type)
            continue;
        QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 2, 1), *source), enArgumentMismatch);
        // The kind is checked before the rectangle.
        QCOMPARE(grid.setPartCoefficient(QRect(5, 5, 2, 1), *source), enArgumentMismatch);
        QCOMPARE(grid.getCoefficient(), values);
    }
    QCOMPARE(unknown.m_calls, QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::pasteOfAFalseKindIsRefusedOf()
{
    typename Kind::Grid grid(2, 1);
    auto values = counted<typename Kind::Values>(2 * Kind::defaultLength);
    grid.setCoefficient(values);
    ForeignGrids::Chroma chroma(Kind::type);
    ForeignGrids::LowGray lowGray(Kind::type);
    ForeignGrids::Multilayer multilayer(Kind::type);
    int refused = 0;
    for (ICoefficient *source : {static_cast<ICoefficient *>(&chroma), static_cast<ICoefficient *>(&lowGray),
                                 static_cast<ICoefficient *>(&multilayer)}) {
        if (dynamic_cast<typename Kind::Interface *>(source))
            continue;
        ++refused;
        QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 2, 1), *source), enArgumentMismatch);
        QCOMPARE(grid.getCoefficient(), values);
    }
    QCOMPARE(refused, 2);
    QCOMPARE(chroma.m_calls + lowGray.m_calls + multilayer.m_calls, QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::cutUpToTheEdgesOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(4, 3);
    auto values = counted<typename Kind::Values>(12 * length);
    grid.setCoefficient(values);
    const CoefficientPtr part(grid.tryGetPart(QRect(2, 1, 2, 2)));
    QVERIFY(dynamic_cast<typename Kind::Grid *>(part.get()));
    const Area area{2, 1, 2, 2};
    QCOMPARE(m_log->takeDebug(), QStringList{area.line(Kind::name() + QStringLiteral("tryGetPart"), 4, 3)});
    QCOMPARE(part->getPixelCol(), 2);
    QCOMPARE(part->getPixelRow(), 2);
    QCOMPARE(part->getPixelLength(), length);
    QCOMPARE(part->getType(), Kind::type);
    QCOMPARE(static_cast<typename Kind::Grid &>(*part).getCoefficient(),
             values.mid(6 * length, 2 * length) + values.mid(10 * length, 2 * length));

    const CoefficientPtr wide(grid.tryGetPart(QRect(0, 0, 3, 1)));
    QCOMPARE(wide->getPixelCol(), 3);
    QCOMPARE(wide->getPixelRow(), 1);
    const CoefficientPtr all(grid.tryGetPart(QRect(0, 0, 4, 3)));
    QCOMPARE(static_cast<typename Kind::Grid &>(*all).getCoefficient(), values);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::cutBeyondTheEdgesIsRefusedOf()
{
    typename Kind::Grid grid(4, 3);
    for (const Area &area : {Area{0, 0, 5, 3}, Area{0, 0, 4, 4}, Area{3, 0, 2, 1}, Area{0, 2, 1, 2}, Area{4, 0, 1, 1},
                             Area{0, 3, 1, 1}, Area{-1, 0, 6, 1}, Area{5, 0, 0, 0}, Area{0, 4, 0, 0}}) {
        const CoefficientPtr part(grid.tryGetPart(area.rect()));
        QVERIFY(!part);
        QCOMPARE(m_log->takeCritical(), QStringList{area.line(Kind::name() + QStringLiteral("tryGetPart ") + bounds, 4, 3)});
    }
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::cutOfANegativeSizeIsNullOf()
{
    typename Kind::Grid grid(4, 3);
    auto block = counted<typename Kind::Values>(12 * Kind::defaultLength);
    for (const Area &area : {Area{0, 0, -1, 1}, Area{0, 0, 1, -1}, Area{1, 1, -1, -1}, Area{0, 0, 0, -2}, Area{3, 2, -3, -2},
                             Area{0, 0, least, least}}) {
        const CoefficientPtr part(grid.tryGetPart(area.rect()));
        QVERIFY(!part);
        const QStringList lines = m_log->takeCritical();
        QCOMPARE(lines.size(), 1);
        QVERIFY(lines[0].startsWith(Kind::name() + QStringLiteral("tryGetPart")));
        // A paste has nothing to do there.
        QCOMPARE(grid.setPartCoefficient(area.rect(), block), enSuccess);
        QCOMPARE(grid.getCoefficient(), zeros<typename Kind::Values>(12 * Kind::defaultLength));
    }
}

template <class Kind>
void tst_Grids::cutOfNothingIsAnEmptyGridOf()
{
    typename Kind::Grid grid(4, 3);
    for (const Area &area : {Area{0, 0, 0, 0}, Area{4, 3, 0, 0}, Area{1, 1, 0, 2}, Area{1, 1, 2, 0}, Area{-5, -5, 0, 0},
                             Area{0, 3 - greatest, 0, greatest}}) {
        const CoefficientPtr part(grid.tryGetPart(area.rect()));
        QVERIFY(bool(part));
        QCOMPARE(part->getPixelCol(), area.w);
        QCOMPARE(part->getPixelRow(), area.h);
        QCOMPARE(static_cast<typename Kind::Grid &>(*part).getCoefficient(), typename Kind::Values());
    }
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::cutOfAnInvalidGridFollowsTheIndexOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(2, 2);
    auto values = counted<typename Kind::Values>(4 * length);
    grid.setCoefficient(values);
    // Rows of three pixels now: the second one holds the fourth pixel and then nothing.
    grid.setPixelCol(3);
    const CoefficientPtr part(grid.tryGetPart(QRect(0, 0, 3, 2)));
    QVERIFY(bool(part));
    QCOMPARE(static_cast<typename Kind::Grid &>(*part).getCoefficient(), values + zeros<typename Kind::Values>(2 * length));
    const QStringList warnings = m_log->takeWarning();
    QCOMPARE(warnings.size(), 1);
    QVERIFY(warnings[0].startsWith(Kind::name() + QStringLiteral("tryGetPart")));
    const CoefficientPtr inside(grid.tryGetPart(QRect(1, 0, 2, 1)));
    QCOMPARE(static_cast<typename Kind::Grid &>(*inside).getCoefficient(), values.mid(length, 2 * length));
    QCOMPARE(m_log->takeWarning(), QStringList());
}

template <class Kind>
void tst_Grids::cutIsAGridOfItsOwnOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(2, 1);
    auto values = counted<typename Kind::Values>(2 * length);
    grid.setCoefficient(values);
    const CoefficientPtr part(grid.tryGetPart(QRect(0, 0, 2, 1)));
    auto &block = static_cast<typename Kind::Grid &>(*part);
    auto pixel = zeros<typename Kind::Values>(length);
    QCOMPARE(block.setPartCoefficient(QRect(0, 0, 1, 1), pixel), enSuccess);
    QCOMPARE(grid.getCoefficient(), values);
    QCOMPARE(values, counted<typename Kind::Values>(2 * length));
    auto others = counted<typename Kind::Values>(2 * length, 50);
    QCOMPARE(grid.setCoefficient(others), enSuccess);
    QCOMPARE(block.getCoefficient(), pixel + values.mid(length));
    QCOMPARE(block.setCoefficient(values), enSuccess);
}

void tst_Grids::cutKeepsThePixelLength()
{
    MultilayerCoefficient grid(4, 4, 8);
    QByteArray bytes = counted<QByteArray>(128);
    grid.setCoefficient(bytes);
    const CoefficientPtr part(grid.tryGetPart(QRect(1, 2, 2, 2)));
    QCOMPARE(part->getPixelLength(), 8);
    auto &block = static_cast<MultilayerCoefficient &>(*part);
    QCOMPARE(block.getCoefficient(), bytes.mid(9 * 8, 16) + bytes.mid(13 * 8, 16));
    QByteArray others = counted<QByteArray>(32, 5);
    QCOMPARE(block.setCoefficient(others), enSuccess);

    MultilayerCoefficient lengthless(4, 4, 0);
    const CoefficientPtr nothing(lengthless.tryGetPart(QRect(0, 0, 4, 4)));
    QCOMPARE(nothing->getPixelLength(), 0);
    QCOMPARE(nothing->getPixelCol(), 4);
    MultilayerCoefficient negative(4, 4, -3);
    const CoefficientPtr none(negative.tryGetPart(QRect(0, 0, 4, 4)));
    QVERIFY(!none);
    QCOMPARE(m_log->takeCritical().size(), 1);
}

template <class Kind>
void tst_Grids::pasteMatches(typename Kind::Grid grid, int length, bool valid, const Area &area,
                             typename Kind::Values source)
{
    const int columns = grid.getPixelCol();
    const int rows = grid.getPixelRow();
    const auto before = grid.getCoefficient();
    const auto block = source;
    m_log->clear();
    const EnumErrorCode code = grid.setPartCoefficient(area.rect(), source);
    QCOMPARE(source, block);
    QCOMPARE(grid.getPixelCol(), columns);
    QCOMPARE(grid.getPixelRow(), rows);
    if (!valid || !area.fits(columns, rows)) {
        QCOMPARE(code, enInvalidParameter);
        QCOMPARE(grid.getCoefficient(), before);
        QCOMPARE(m_log->takeCritical(), QStringList{area.line(bounds, columns, rows)});
        QCOMPARE(m_log->takeDebug(), QStringList());
        QCOMPARE(m_log->takeWarning(), QStringList());
        return;
    }
    auto expected = before;
    const bool whole = pasteByElement(expected, columns, length, area, block);
    QCOMPARE(code, enSuccess);
    QCOMPARE(grid.getCoefficient(), expected);
    QCOMPARE(m_log->takeDebug(), QStringList{area.line(Kind::name() + QStringLiteral("setPartCoefficient"), columns, rows)});
    QCOMPARE(m_log->takeWarning().size(), whole ? 0 : 1);
    QCOMPARE(m_log->takeCritical(), QStringList());
}

template <class Kind>
void tst_Grids::cutMatches(typename Kind::Grid grid, int length, const Area &area)
{
    const int columns = grid.getPixelCol();
    const int rows = grid.getPixelRow();
    const auto before = grid.getCoefficient();
    m_log->clear();
    const CoefficientPtr part(grid.tryGetPart(area.rect()));
    QCOMPARE(grid.getCoefficient(), before);
    if (!area.fits(columns, rows)) {
        QVERIFY(!part);
        QCOMPARE(m_log->takeCritical(),
                 QStringList{area.line(Kind::name() + QStringLiteral("tryGetPart ") + bounds, columns, rows)});
        QCOMPARE(m_log->takeDebug(), QStringList());
        return;
    }
    if (area.w < 0 || area.h < 0) {
        QVERIFY(!part);
        QCOMPARE(m_log->takeCritical().size(), 1);
        return;
    }
    typename Kind::Values expected;
    const bool whole = cutByElement(before, columns, length, area, expected);
    QVERIFY(dynamic_cast<typename Kind::Grid *>(part.get()));
    QCOMPARE(part->getPixelCol(), area.w);
    QCOMPARE(part->getPixelRow(), area.h);
    QCOMPARE(part->getPixelLength(), length);
    QCOMPARE(static_cast<typename Kind::Grid &>(*part).getCoefficient(), expected);
    QCOMPARE(m_log->takeDebug(), QStringList{area.line(Kind::name() + QStringLiteral("tryGetPart"), columns, rows)});
    QCOMPARE(m_log->takeWarning().size(), whole ? 0 : 1);
}

template <class Kind>
void tst_Grids::everySmallRectangleOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(3, 2);
    auto values = counted<typename Kind::Values>(6 * length, 100);
    grid.setCoefficient(values);
    const auto source = counted<typename Kind::Values>(40 * length);
    for (int x = -5; x <= 4; ++x) {
        for (int y = -4; y <= 3; ++y) {
            for (int w = -1; w <= 7; ++w) {
                for (int h = -1; h <= 5; ++h) {
                    const Area area{x, y, w, h};
                    pasteMatches<Kind>(grid, length, true, area, source);
                    cutMatches<Kind>(grid, length, area);
                    if (QTest::currentTestFailed()) {
                        qWarning("rectangle %d %d %d %d", x, y, w, h);
                        return;
                    }
                }
            }
        }
    }
}

void tst_Grids::randomGridsAndRectangles_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed) {
        QTest::addRow("chroma, seed %u", seed) << int(Chroma::type) << seed;
        QTest::addRow("low-gray, seed %u", seed) << int(LowGray::type) << seed;
        QTest::addRow("multilayer, seed %u", seed) << int(Multilayer::type) << seed;
    }
}

template <class Kind>
void tst_Grids::randomGridsAndRectanglesOf()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(seed);
    for (int round = 0; round < 1500; ++round) {
        const int columns = random.bounded(9);
        const int rows = random.bounded(7);
        const int length = Kind::anyLength(random);
        typename Kind::Grid grid = Kind::make(columns, rows, length);
        auto values = counted<typename Kind::Values>(columns * rows * length, 1000);
        QCOMPARE(grid.setCoefficient(values), enSuccess);
        bool valid = true;
        if (random.bounded(4) == 0) { // numbers that no longer suit the values
            const int otherColumns = random.bounded(-5, 12);
            const int otherRows = random.bounded(-5, 12);
            grid.setPixelCol(otherColumns);
            grid.setPixelRow(otherRows);
            valid = otherColumns >= 0 && otherRows >= 0 && otherColumns * otherRows * length == values.size();
        }
        Area area{random.bounded(-14, 10), random.bounded(-10, 8), random.bounded(-2, 16), random.bounded(-2, 12)};
        if (random.bounded(3) == 0) { // up to the edges
            area.w = grid.getPixelCol() - area.x;
            area.h = grid.getPixelRow() - area.y;
        }
        const qint64 needed = area.w > 0 && area.h > 0 ? qint64(area.w) * area.h * length : 0;
        const int sourceSize = random.bounded(3) == 0 ? random.bounded(int(needed) + 20) : int(needed);
        pasteMatches<Kind>(grid, length, valid, area, counted<typename Kind::Values>(sourceSize));
        cutMatches<Kind>(grid, length, area);
        if (QTest::currentTestFailed()) {
            qWarning("round %d: grid %d x %d, rectangle %d %d %d %d, %d values", round, grid.getPixelCol(),
                     grid.getPixelRow(), area.x, area.y, area.w, area.h, sourceSize);
            return;
        }
    }
}

void tst_Grids::extremeRectanglesAreSafe_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("w");
    QTest::addColumn<int>("h");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<bool>("hasPart");
    const auto rows = [](const char *name, int x, int y, int w, int h, bool accepted, bool hasPart) {
        QTest::addRow("chroma, %s", name) << int(Chroma::type) << x << y << w << h << accepted << hasPart;
        QTest::addRow("low-gray, %s", name) << int(LowGray::type) << x << y << w << h << accepted << hasPart;
        QTest::addRow("multilayer, %s", name) << int(Multilayer::type) << x << y << w << h << accepted << hasPart;
    };
    rows("the greatest width", 0, 0, greatest, 1, false, false);
    rows("the greatest height", 0, 0, 1, greatest, false, false);
    rows("an end that wraps below the edge", 1, 0, greatest, 1, false, false);
    rows("an end that wraps far", greatest, 0, greatest, 1, false, false);
    rows("a bottom that wraps", 0, 1, 1, greatest, false, false);
    rows("the greatest place", greatest, greatest, 1, 1, false, false);
    rows("the greatest place and no size", greatest, greatest, 0, 0, false, false);
    rows("the greatest place and the least size", greatest, greatest, least, least, true, false);
    rows("the least place", least, least, 1, 1, true, true);
    rows("the least place and no size", least, least, 0, 0, true, true);
    rows("the least place and size", least, least, least, least, true, false);
    rows("the least place, the greatest size", least, least, greatest, greatest, true, false);
    rows("everything left of the grid", -1000000000, 0, 1000000000, 3, true, false);
    rows("a very wide row that ends inside", 2 - greatest, 1, greatest, 1, true, false);
    rows("very many rows that end inside", 1, 2 - greatest, 1, greatest, true, false);
    rows("very many rows of no width", 1, 2 - greatest, 0, greatest, true, true);
    rows("a very wide row of no height", 2 - greatest, 1, greatest, 0, true, true);
    rows("a row far above that ends inside", 0, -2000000000, 4, 1, true, true);
}

template <class Kind>
void tst_Grids::extremeRectanglesAreSafeOf()
{
    QFETCH(int, x);
    QFETCH(int, y);
    QFETCH(int, w);
    QFETCH(int, h);
    QFETCH(bool, accepted);
    QFETCH(bool, hasPart);
    const int length = Kind::defaultLength;
    const Area area{x, y, w, h};
    typename Kind::Grid grid(4, 3);
    auto values = counted<typename Kind::Values>(12 * length, 100);
    grid.setCoefficient(values);
    // A single pixel at the block's first place, which none of these has inside the grid.
    auto pixel = counted<typename Kind::Values>(length);
    QCOMPARE(grid.setPartCoefficient(area.rect(), pixel), accepted ? enSuccess : enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), accepted ? QStringList() : QStringList{area.line(bounds, 4, 3)});
    QCOMPARE(m_log->takeDebug(),
             accepted ? QStringList{area.line(Kind::name() + QStringLiteral("setPartCoefficient"), 4, 3)} : QStringList());
    QCOMPARE(m_log->takeWarning().size(), accepted && w > 0 && h > 0 ? 1 : 0);
    QCOMPARE(grid.getCoefficient(), values);

    const CoefficientPtr part(grid.tryGetPart(area.rect()));
    QCOMPARE(bool(part), hasPart);
    if (part) {
        QCOMPARE(part->getPixelCol(), w);
        QCOMPARE(part->getPixelRow(), h);
        QCOMPARE(static_cast<typename Kind::Grid &>(*part).getCoefficient(), zeros<typename Kind::Values>(w * h * length));
        QCOMPARE(m_log->takeWarning().size(), w > 0 && h > 0 ? 1 : 0);
    } else {
        const QStringList lines = m_log->takeCritical();
        QCOMPARE(lines.size(), 1);
        QVERIFY(lines[0].startsWith(Kind::name() + QStringLiteral("tryGetPart")));
    }
    QCOMPARE(grid.getCoefficient(), values);
}

void tst_Grids::extremeGridsAreSafe_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");
    const auto rows = [](const char *name, int columns, int rowCount) {
        QTest::addRow("chroma, %s", name) << int(Chroma::type) << columns << rowCount;
        QTest::addRow("low-gray, %s", name) << int(LowGray::type) << columns << rowCount;
        QTest::addRow("multilayer, %s", name) << int(Multilayer::type) << columns << rowCount;
    };
    rows("the greatest numbers", greatest, greatest);
    rows("the greatest width", greatest, 1);
    rows("the greatest height", 1, greatest);
    rows("the least numbers", least, least);
    rows("the least width", least, 3);
    rows("the least height", 3, least);
    rows("no columns, many rows", 0, greatest);
    rows("a count that wraps to that of the values", 65536 * 3, 65536);
}

template <class Kind>
void tst_Grids::extremeGridsAreSafeOf()
{
    QFETCH(int, columns);
    QFETCH(int, rows);
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(2, 1);
    auto values = counted<typename Kind::Values>(2 * length);
    grid.setCoefficient(values);
    grid.setPixelCol(columns);
    grid.setPixelRow(rows);
    for (const int x : {least, -5, -1, 0, 1, 3, greatest - 4}) {
        for (const int y : {least, -5, -1, 0, 1, 3, greatest - 4}) {
            for (const int w : {-1, 0, 1, 4}) {
                for (const int h : {-1, 0, 1, 3}) {
                    const Area area{x, y, w, h};
                    pasteMatches<Kind>(grid, length, false, area, values);
                    cutMatches<Kind>(grid, length, area);
                    if (QTest::currentTestFailed()) {
                        qWarning("rectangle %d %d %d %d", x, y, w, h);
                        return;
                    }
                }
            }
        }
    }
}

template <class Kind>
void tst_Grids::copyHasSizeAndValuesOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(3, 2);
    auto values = counted<typename Kind::Values>(6 * length);
    grid.setCoefficient(values);
    const CoefficientPtr copy(grid.getCopy());
    QVERIFY(dynamic_cast<typename Kind::Grid *>(copy.get()));
    QVERIFY(copy.get() != &grid);
    auto &other = static_cast<typename Kind::Grid &>(*copy);
    QCOMPARE(other.getPixelCol(), 3);
    QCOMPARE(other.getPixelRow(), 2);
    QCOMPARE(other.getPixelLength(), length);
    QCOMPARE(other.getType(), Kind::type);
    QCOMPARE(other.getCoefficient(), values);
    QCOMPARE(m_log->takeDebug(), QStringList());

    auto pixel = zeros<typename Kind::Values>(length);
    QCOMPARE(other.setPartCoefficient(QRect(0, 0, 1, 1), pixel), enSuccess);
    QCOMPARE(grid.getCoefficient(), values);
}

template <class Kind>
void tst_Grids::copyOfAnInvalidGridHasZerosOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(3, 2);
    auto values = counted<typename Kind::Values>(6 * length);
    grid.setCoefficient(values);
    grid.setPixelCol(5);
    const CoefficientPtr copy(grid.getCopy());
    QCOMPARE(copy->getPixelCol(), 5);
    QCOMPARE(copy->getPixelRow(), 2);
    QCOMPARE(static_cast<typename Kind::Grid &>(*copy).getCoefficient(), zeros<typename Kind::Values>(10 * length));
    QCOMPARE(m_log->takeDebug(), QStringList{countLine(Kind::name() + QStringLiteral("setCoefficient"), 10 * length, 5, 2)});
    QCOMPARE(grid.getCoefficient(), values);
}

void tst_Grids::copyOfAMultilayerGridHasSixteenBytes()
{
    MultilayerCoefficient grid(4, 4, 8);
    QByteArray bytes = counted<QByteArray>(128);
    grid.setCoefficient(bytes);
    const CoefficientPtr copy(grid.getCopy());
    QCOMPARE(copy->getPixelCol(), 4);
    QCOMPARE(copy->getPixelRow(), 4);
    QCOMPARE(copy->getPixelLength(), 16);
    QCOMPARE(static_cast<MultilayerCoefficient &>(*copy).getCoefficient(), QByteArray(256, 0));
    QCOMPARE(m_log->takeDebug(),
             QStringList{countLine(QStringLiteral("Correction::MultilayerCoefficient::setCoefficient"), 256, 4, 4)});
    QCOMPARE(grid.getCoefficient(), bytes);
}

template <class Kind>
void tst_Grids::copiesShareUntilOneChangesOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(2, 1);
    auto values = counted<typename Kind::Values>(2 * length);
    grid.setCoefficient(values);
    QCOMPARE(grid.getCoefficient().constData(), values.constData());
    typename Kind::Grid copy(grid);
    QCOMPARE(copy.getCoefficient().constData(), values.constData());
    typename Kind::Grid assigned;
    assigned = grid;
    QCOMPARE(assigned.getCoefficient().constData(), values.constData());
    const CoefficientPtr made(grid.getCopy());
    QCOMPARE(static_cast<typename Kind::Grid &>(*made).getCoefficient().constData(), values.constData());
    const CoefficientPtr whole(grid.tryGetPart(QRect(0, 0, 2, 1)));
    QCOMPARE(static_cast<typename Kind::Grid &>(*whole).getCoefficient().constData(), values.constData());

    auto pixel = zeros<typename Kind::Values>(length);
    QCOMPARE(copy.setPartCoefficient(QRect(0, 0, 1, 1), pixel), enSuccess);
    QCOMPARE(copy.getCoefficient(), pixel + values.mid(length));
    QCOMPARE(grid.getCoefficient(), counted<typename Kind::Values>(2 * length));
    QCOMPARE(assigned.getCoefficient(), counted<typename Kind::Values>(2 * length));
    QCOMPARE(values, counted<typename Kind::Values>(2 * length));

    // A grid whose values are not shared is written in place.
    const auto *const storage = copy.getCoefficient().constData();
    QCOMPARE(copy.setPartCoefficient(QRect(1, 0, 1, 1), pixel), enSuccess);
    QCOMPARE(copy.getCoefficient().constData(), storage);
}

template <class Kind>
void tst_Grids::copiesTakeEveryFieldOf()
{
    const int length = std::is_same<Kind, Multilayer>::value ? 5 : Kind::defaultLength;
    typename Kind::Grid grid = Kind::make(2, 3, length);
    auto values = counted<typename Kind::Values>(6 * length);
    grid.setCoefficient(values);
    grid.setPixelCol(7);
    const auto isSame = [&](typename Kind::Grid &other) {
        QCOMPARE(other.getPixelCol(), 7);
        QCOMPARE(other.getPixelRow(), 3);
        QCOMPARE(other.getPixelLength(), length);
        QCOMPARE(other.getType(), Kind::type);
        QCOMPARE(other.getCoefficient(), values);
    };
    typename Kind::Grid copy(grid);
    isSame(copy);
    typename Kind::Grid assigned(9, 9);
    QCOMPARE(&(assigned = grid), &assigned);
    isSame(assigned);
    const typename Kind::Grid &itself = assigned;
    assigned = itself;
    isSame(assigned);
    isSame(grid);
    typename Kind::Grid moved(std::move(copy));
    isSame(moved);
    typename Kind::Grid moveAssigned(9, 9);
    QCOMPARE(&(moveAssigned = std::move(moved)), &moveAssigned);
    isSame(moveAssigned);
}

template <class Kind>
void tst_Grids::movedFromGridIsUsableOf()
{
    const int length = Kind::defaultLength;
    for (const bool byAssignment : {false, true}) {
        typename Kind::Grid grid(2, 2);
        auto values = counted<typename Kind::Values>(4 * length);
        grid.setCoefficient(values);
        typename Kind::Grid target(1, 1);
        if (byAssignment) {
            target = std::move(grid);
        } else {
            typename Kind::Grid other(std::move(grid));
            target = other;
        }
        QCOMPARE(target.getCoefficient(), values);

        // Whatever its values are now, it reads none outside its own ...
        const auto left = grid.getCoefficient();
        typename Kind::Values expected;
        const Area area{-1, 0, 2, 1};
        cutByElement(left, grid.getPixelCol(), length, area, expected);
        const CoefficientPtr part(grid.tryGetPart(area.rect()));
        if (part)
            QCOMPARE(static_cast<typename Kind::Grid &>(*part).getCoefficient(), expected);
        const CoefficientPtr copy(grid.getCopy());
        QVERIFY(bool(copy));
        auto pixel = counted<typename Kind::Values>(length, 40);
        grid.setPartCoefficient(QRect(0, 0, 1, 1), pixel);
        QVERIFY(grid.toBase64().size() >= left.size());
        m_log->clear();

        // ... and it takes new values.
        grid.setPixelCol(1);
        grid.setPixelRow(2);
        auto others = counted<typename Kind::Values>(2 * length, 9);
        QCOMPARE(grid.setCoefficient(others), enSuccess);
        QCOMPARE(grid.setPartCoefficient(QRect(0, 1, 1, 1), pixel), enSuccess);
        QCOMPARE(grid.getCoefficient(), others.mid(0, length) + pixel);
        QCOMPARE(target.getCoefficient(), values);
        grid = target;
        QCOMPARE(grid.getCoefficient(), values);
        m_log->clear();
    }
}

void tst_Grids::averageOfOnePixelIsThePixel()
{
    Coefficient grid(1, 1);
    QVector<unsigned short> values{0, 65535, 1, 32768, 5, 6, 7, 8, 9};
    grid.setCoefficient(values);
    QVector<unsigned short> average;
    QCOMPARE(grid.tryGetAvg(average), enSuccess);
    QCOMPARE(average, values);
    // Whatever the caller's vector held before.
    average = counted<QVector<unsigned short>>(30);
    QCOMPARE(grid.tryGetAvg(average), enSuccess);
    QCOMPARE(average, values);
    QCOMPARE(grid.getCoefficient(), values);
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void tst_Grids::averageIsCutNotRounded()
{
    Coefficient grid(2, 1);
    QVector<unsigned short> values{1, 0, 65534, 1, 3, 100, 7, 8, 0, //
                                   2, 1, 65535, 1, 4, 201, 9, 8, 65535};
    grid.setCoefficient(values);
    QVector<unsigned short> average;
    QCOMPARE(grid.tryGetAvg(average), enSuccess);
    QCOMPARE(average, (QVector<unsigned short>{1, 0, 65534, 1, 3, 150, 8, 8, 32767}));
}

void tst_Grids::averageOfRandomGrids()
{
    QRandomGenerator random(21);
    for (int round = 0; round < 300; ++round) {
        const int columns = random.bounded(1, 40);
        const int rows = random.bounded(1, 40);
        const int highest = 1 << random.bounded(1, 17);
        QVector<unsigned short> values(columns * rows * 9);
        for (unsigned short &value : values)
            value = static_cast<unsigned short>(random.bounded(highest));
        Coefficient grid(columns, rows);
        grid.setCoefficient(values);
        QVector<unsigned short> expected;
        for (int k = 0; k < 9; ++k) {
            double sum = 0;
            for (int pixel = 0; pixel < columns * rows; ++pixel)
                sum += values[pixel * 9 + k];
            expected.append(static_cast<unsigned short>(static_cast<int>(sum / (columns * rows))));
        }
        QVector<unsigned short> average;
        QCOMPARE(grid.tryGetAvg(average), enSuccess);
        QCOMPARE(average, expected);
    }
}

void tst_Grids::averageOfTheGreatestValues()
{
    // Sums beyond 32 bits, also when only each sixteenth pixel goes into one.
    for (const QSize &size : {QSize(300, 300), QSize(1100, 1000)}) {
        Coefficient grid(size.width(), size.height());
        QVector<unsigned short> values(size.width() * size.height() * 9, 65535);
        grid.setCoefficient(values);
        QVector<unsigned short> average;
        QCOMPARE(grid.tryGetAvg(average), enSuccess);
        QCOMPARE(average, QVector<unsigned short>(9, 65535));
        for (int k = 0; k < 9; ++k)
            values[k] = 65534;
        grid.setCoefficient(values);
        QCOMPARE(grid.tryGetAvg(average), enSuccess);
        QCOMPARE(average, QVector<unsigned short>(9, 65534));
    }
}

void tst_Grids::averageOfAnInvalidGridIsRefused()
{
    Coefficient grid(4, 2);
    grid.setPixelCol(5);
    QVector<unsigned short> average{1, 2, 3};
    QCOMPARE(grid.tryGetAvg(average), enInvalidParameter);
    QCOMPARE(average, (QVector<unsigned short>{1, 2, 3}));
    QCOMPARE(m_log->takeDebug(), QStringList{countLine(QStringLiteral("Correction::Coefficient::tryGetAvg"), 72, 5, 2)});
    QVector<unsigned short> values(90, 3);
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(grid.tryGetAvg(average), enSuccess);
    QCOMPARE(average, QVector<unsigned short>(9, 3));
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void tst_Grids::averageOfNoPixelsIsZero()
{
    for (const QSize &size : {QSize(0, 0), QSize(0, 5), QSize(5, 0)}) {
        Coefficient grid(size.width(), size.height());
        QVector<unsigned short> average{1, 2, 3};
        QCOMPARE(grid.tryGetAvg(average), enSuccess);
        QCOMPARE(average, QVector<unsigned short>(9, 0));
    }
}

template <class Kind>
void tst_Grids::switchedOffLevelsAreSilentOf()
{
    const int length = Kind::defaultLength;
    typename Kind::Grid grid(2, 1);
    auto values = counted<typename Kind::Values>(2 * length);
    auto tooFew = counted<typename Kind::Values>(length);
    const auto run = [&] {
        QCOMPARE(grid.setCoefficient(values), enSuccess);
        QCOMPARE(grid.setCoefficient(tooFew), enOutOfRange);                              // debug
        QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 2, 1), tooFew), enSuccess);          // debug, warning
        QCOMPARE(grid.setPartCoefficient(QRect(1, 0, 2, 1), values), enInvalidParameter); // critical
        const CoefficientPtr outside(grid.tryGetPart(QRect(-1, 0, 1, 1)));                // debug, warning
        QVERIFY(bool(outside));
        const CoefficientPtr beyond(grid.tryGetPart(QRect(0, 0, 3, 1))); // critical
        QVERIFY(!beyond);
        QCOMPARE(grid.getCoefficient(), values);
    };
    run();
    QCOMPARE(m_log->takeDebug().size(), 3);
    QCOMPARE(m_log->takeWarning().size(), 2);
    QCOMPARE(m_log->takeCritical().size(), 2);
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false"));
    run();
    QCOMPARE(m_log->takeDebug().size(), 0);
    QCOMPARE(m_log->takeWarning().size(), 2);
    QCOMPARE(m_log->takeCritical().size(), 2);
    QLoggingCategory::setFilterRules(QStringLiteral("correction=false"));
    run();
    QCOMPARE(m_log->takeDebug().size(), 0);
    QCOMPARE(m_log->takeWarning().size(), 0);
    QCOMPARE(m_log->takeCritical().size(), 0);
}

/// A block as large as its grid may be shared; that must have no visible effect.
void tst_Grids::pastedValuesBelongToTheGridAlone()
{
    QVector<unsigned short> values(18, 7);
    Coefficient grid(2, 1);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 2, 1), values), enSuccess);
    values[0] = 9;
    QCOMPARE(grid.getCoefficient(), QVector<unsigned short>(18, 7));
    QVector<unsigned short> pixel(9, 3);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 1, 1), pixel), enSuccess);
    QCOMPARE(values, QVector<unsigned short>({9, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7}));
    // More values than the grid takes, and a block that only looks as large.
    QVector<unsigned short> more(27, 5);
    QCOMPARE(grid.setPartCoefficient(QRect(0, 0, 2, 1), more), enSuccess);
    QCOMPARE(grid.getCoefficient(), QVector<unsigned short>(18, 5));

    char memory[32] = {};
    QByteArray bytes = QByteArray::fromRawData(memory, sizeof memory);
    MultilayerCoefficient multilayer(2, 1);
    QCOMPARE(multilayer.setPartCoefficient(QRect(0, 0, 2, 1), bytes), enSuccess);
    memory[0] = 1;
    QCOMPARE(multilayer.getCoefficient(), QByteArray(32, 0));

    memory[0] = 0;
    QCOMPARE(multilayer.setCoefficient(bytes), enSuccess);
    const QByteArray taken = multilayer.getCoefficient();
    memory[0] = 1;
    QCOMPARE(multilayer.getCoefficient(), QByteArray(32, 0));
    QCOMPARE(taken, QByteArray(32, 0));
    QCOMPARE(bytes.constData(), static_cast<const char *>(memory)); // the caller's array stays as it was
}

QTEST_GUILESS_MAIN(tst_Grids)
#include "tst_grids.moc"

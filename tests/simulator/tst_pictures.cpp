// The pictures of the virtual wall, compared with pictures drawn here by plain loops.

#include <service/CabinetInfoOperator.h>
#include <service/ScreenInfo.h>
#include <simulator/VirtualWall.h>
#include <support/Pictures.h>

#include <QtTest/QtTest>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>

using namespace Simulator;
using TestSupport::difference;

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

Q_DECLARE_METATYPE(Simulator::Kind)

namespace {

const QString a = QStringLiteral("A");
const QString b = QStringLiteral("B");
const QString screenId = QStringLiteral("screen");

constexpr QRgb black = 0xff000000;
constexpr QRgb white = 0xffffffff;
constexpr QRgb background = 0xff202020;
constexpr QRgb quiet = 0xffb0b0b0;

VirtualWall &wall()
{
    return VirtualWall::instance();
}

Map rectMap(const QRect &rect)
{
    return {{QStringLiteral("x"), rect.x()},
            {QStringLiteral("y"), rect.y()},
            {QStringLiteral("width"), rect.width()},
            {QStringLiteral("height"), rect.height()}};
}

Map colorMap(const QColor &color)
{
    return {{QStringLiteral("r"), color.red()}, {QStringLiteral("g"), color.green()}, {QStringLiteral("b"), color.blue()}};
}

/// Fills the whole device with one colour.
bool show(const QString &deviceKey, const QColor &color)
{
    Map reply;
    const Map request{{QStringLiteral("regionrect"), rectMap(QRect(0, 0, 1000, 1000))},
                      {QStringLiteral("singlerect"), rectMap(QRect(0, 0, 1000, 1000))},
                      {QStringLiteral("color"), colorMap(color)},
                      {QStringLiteral("intervalX"), 0},
                      {QStringLiteral("intervalY"), 0}};
    return ScreenInfo::getInstance()->setPixelImage(deviceKey, request, reply);
}

bool setBrightness(const QString &deviceKey, const QString &cabinetId, int brightness)
{
    Map request{{QStringLiteral("value"), brightness}};
    Map reply;
    return CabinetInfoOperator::getInstance()->setCabSingleBrightness(deviceKey, cabinetId, request, reply);
}

/// A picture with the pixels that `colorAt` returns.
QImage drawn(const QSize &size, const std::function<QRgb(int, int)> &colorAt)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, colorAt(x, y));
    }
    return image;
}

/// A part of the picture as rows: '#' where it has this colour, '.' elsewhere.
QStringList dots(const QImage &image, const QRect &part, QRgb color)
{
    QStringList rows;
    for (int y = part.top(); y <= part.bottom(); ++y) {
        QString row;
        for (int x = part.left(); x <= part.right(); ++x)
            row += QLatin1Char(image.pixel(x, y) == color ? '#' : '.');
        rows += row;
    }
    return rows;
}

/// The digits from 0 to 9.
const std::array<QStringList, 10> &digits()
{
    static const auto glyph = [](const char *rows) { return QString::fromLatin1(rows).split(QLatin1Char(' ')); };
    static const std::array<QStringList, 10> all{
        glyph(".###. #...# #..## #.#.# ##..# #...# .###."), glyph("..#.. .##.. ..#.. ..#.. ..#.. ..#.. .###."),
        glyph(".###. #...# ....# ..##. .#... #.... #####"), glyph(".###. #...# ....# ..##. ....# #...# .###."),
        glyph("...#. ..##. .#.#. #..#. ##### ...#. ...#."), glyph("##### #.... ####. ....# ....# #...# .###."),
        glyph("..##. .#... #.... ####. #...# #...# .###."), glyph("##### ....# ...#. ..#.. .#... .#... .#..."),
        glyph(".###. #...# #...# .###. #...# #...# .###."), glyph(".###. #...# #...# .#### ....# ...#. .##..")};
    return all;
}

/// A line of text of scale 1 that begins at `place`: digits and spaces as they are, '?' for any other character.
QString readLine(const QImage &image, const QPoint &place, QRgb color)
{
    QString text;
    for (int x = place.x(); x + 5 <= image.width(); x += 6) {
        const QStringList rows = dots(image, QRect(x, place.y(), 5, 7), color);
        const auto digit = std::find(digits().cbegin(), digits().cend(), rows);
        if (!rows.join(QString()).contains(QLatin1Char('#')))
            text += QLatin1Char(' ');
        else
            text += QLatin1Char(digit != digits().cend() ? static_cast<char>('0' + (digit - digits().cbegin())) : '?');
    }
    while (text.endsWith(QLatin1Char(' ')))
        text.chop(1);
    return text;
}

/// The colour scale, 0 to 255, as it is documented: straight lines between five colours.
QRgb heat(int level)
{
    const std::array<QColor, 5> stops{QColor(13, 8, 135), QColor(126, 3, 168), QColor(204, 71, 120), QColor(248, 149, 64),
                                      QColor(240, 249, 33)};
    const std::size_t stop = level == 255 ? 3 : static_cast<std::size_t>(level * 4 / 255);
    const int share = level * 4 - static_cast<int>(stop) * 255;
    const auto mix = [share](int from, int to) { return from + (to - from) * share / 255; };
    const QColor &from = stops[stop];
    const QColor &to = stops[stop + 1];
    return qRgb(mix(from.red(), to.red()), mix(from.green(), to.green()), mix(from.blue(), to.blue()));
}

/// A plane of 16-bit values that has `value` at `channel` of each pixel and something else at the others.
QVector<quint16> plane(const QVector<quint16> &values, int channel)
{
    QVector<quint16> result;
    for (const quint16 value : values) {
        for (int i = 0; i < 9; ++i)
            result += i == channel ? value : static_cast<quint16>(7 + i);
    }
    return result;
}

Device emptyDevice(const QString &key)
{
    Device device = gridDevice(key, QPoint(0, 0), 1, 1, QSize(4, 4));
    device.subScreens.clear();
    return device;
}

} // namespace

class tst_Pictures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { wall().reset(); }

    void nothingToShowIsNull_data();
    void nothingToShowIsNull();
    void aPictureTooLargeIsNull();
    void aDistantWallCanBeScaledDown();

    void aCheckerboardIsDrawnFromItsRequest_data();
    void aCheckerboardIsDrawnFromItsRequest();
    void aDeviceThatWasNotAskedIsDark();
    void cabinetsOfOneIdDoNoHarm();

    void theLightOfACabinet_data();
    void theLightOfACabinet();
    void everyCabinetHasItsOwnLight();
    void everyChannelHasItsOwnTable();
    void unlitPixelsFollowTheTables();

    void coefficientsAreAHeatMap_data();
    void coefficientsAreAHeatMap();
    void aGivenRangeMakesPicturesComparable();
    void equalValuesHaveOneTick();
    void aScaledPictureShowsMeans();
    void everyDevicesPixelsMustHaveTheChannel();
    void theLegendNamesTheValue_data();
    void theLegendNamesTheValue();

    void theLayoutShowsCabinets();
    void theLayoutShowsCardsAndModules();
    void theLayoutsLegendNamesTheDevices();
    void aCabinetWithoutPlaceIsNotShown();
    void aScaledLayoutKeepsNeighbours();
    void aLongTextIsCut();
    void namesMayHaveOtherLetters_data();
    void namesMayHaveOtherLetters();
    void aFlatLayoutIsCutIntoStrips();
    void aFlatHeatMapIsCutIntoStrips();
};

void tst_Pictures::nothingToShowIsNull_data()
{
    QTest::addColumn<QString>("id");
    QTest::newRow("an unknown screen") << QStringLiteral("none");
    QTest::newRow("a screen without cabinets") << QStringLiteral("empty");
    QTest::newRow("a screen of cabinets without area") << QStringLiteral("thin");
    QTest::newRow("a screen of cabinets without place") << QStringLiteral("lost");
    QTest::newRow("a screen beyond all numbers") << QStringLiteral("far");
}

void tst_Pictures::nothingToShowIsNull()
{
    QFETCH(QString, id);
    Device empty = emptyDevice(QStringLiteral("1"));
    empty.screenId = QStringLiteral("empty");
    Device thin = gridDevice(QStringLiteral("2"), QPoint(0, 0), 2, 1, QSize(0, 5));
    thin.screenId = QStringLiteral("thin");
    Device lost = gridDevice(QStringLiteral("3"), QPoint(0, 0), 1, 1, QSize(4, 4));
    lost.screenId = QStringLiteral("lost");
    lost.subScreens[0].cabinets[0].placed = false;
    Device far = gridDevice(QStringLiteral("4"), QPoint(0, 0), 1, 1, QSize(4, 4));
    far.screenId = QStringLiteral("far");
    far.screenPosition = QPoint(std::numeric_limits<int>::max(), std::numeric_limits<int>::min());
    far.subScreens[0].position = far.screenPosition;
    wall().setDevices({empty, thin, lost, far});

    QVERIFY(wall().pictures().layout(id).isNull());
    QVERIFY(wall().pictures().coefficients(id, 0).isNull());
    QVERIFY(wall().pictures().pattern(id).isNull());
    QVERIFY(wall().pictures().pattern(id, Light::Effective).isNull());
    QVERIFY(wall().pictures().coefficientRange(id, 0).isEmpty());
}

void tst_Pictures::aPictureTooLargeIsNull()
{
    wall().setDevices(
        {gridDevice(a, QPoint(0, 0), 1, 1, QSize(2, 2)), gridDevice(b, QPoint(99998, 99998), 1, 1, QSize(2, 2))});
    QVERIFY(wall().pictures().layout(screenId).isNull());
    QVERIFY(wall().pictures().coefficients(screenId, 0).isNull());
    QVERIFY(wall().pictures().pattern(screenId).isNull());
}

void tst_Pictures::aDistantWallCanBeScaledDown()
{
    wall().setDevices(
        {gridDevice(a, QPoint(0, 0), 1, 1, QSize(2, 2)), gridDevice(b, QPoint(99998, 99998), 1, 1, QSize(2, 2))});
    const QImage layout = wall().pictures().layout(screenId, 400);
    QCOMPARE(layout.width(), 400);
    QVERIFY(layout.height() > 400);
    const QImage heatMap = wall().pictures().coefficients(screenId, 0, Kind::Chroma, ValueRange(), 400);
    QCOMPARE(heatMap.width(), 400);
    QCOMPARE(heatMap.pixel(0, 0), heat(0));
    QCOMPARE(heatMap.pixel(1, 0), background);
    QCOMPARE(heatMap.pixel(399, 399), heat(0));
    // A flat one is not cut into strips without end.
    for (const auto &far : {QPoint(1500000, 4000), QPoint(90000000, 100)}) {
        wall().setDevices(
            {gridDevice(a, QPoint(0, 0), 1, 1, QSize(64, 64)), gridDevice(b, QPoint(far.x(), 0), 1, 1, QSize(64, 64))});
        const QImage flat = wall().pictures().coefficients(screenId, 0, Kind::Chroma, ValueRange(), far.y());
        QCOMPARE(flat.width(), std::max(far.y(), 280));
        QVERIFY(flat.height() < 300);
        QCOMPARE(flat.pixel(0, 0), heat(0));
        QCOMPARE(flat.pixel(far.y() - 1, 0), heat(0));
    }
}

// Patterns

void tst_Pictures::aCheckerboardIsDrawnFromItsRequest_data()
{
    QTest::addColumn<QRect>("region");
    QTest::addColumn<QVector<int>>("columns");
    QTest::addColumn<QVector<int>>("sizes"); // First, ordinary, last.
    QTest::newRow("squares that come out even")
        << QRect(0, 0, 9, 2) << QVector<int>{0, 0, 1, 1, 1, 2, 2, 2, 3} << QVector<int>{2, 3, 1};
    QTest::newRow("first and last only") << QRect(0, 0, 5, 2) << QVector<int>{0, 0, 0, 1, 1} << QVector<int>{3, 4, 2};
    QTest::newRow("one square") << QRect(0, 0, 4, 2) << QVector<int>{0, 0, 0, 0} << QVector<int>{4, 6, 4};
    QTest::newRow("a first one that the last overlaps")
        << QRect(0, 0, 5, 2) << QVector<int>{0, 0, 0, 1, 1} << QVector<int>{3, 4, 4};
    QTest::newRow("an ordinary one that is cut")
        << QRect(0, 0, 9, 2) << QVector<int>{0, 1, 1, 1, 2, 2, 3, 3, 3} << QVector<int>{1, 3, 3};
    QTest::newRow("a first one beyond the region") << QRect(0, 0, 3, 2) << QVector<int>{0, 0, 0} << QVector<int>{9, 4, 9};
    QTest::newRow("a region that begins left of the device")
        << QRect(-2, 0, 6, 2) << QVector<int>{0, 1, 1, 2, 2, 3} << QVector<int>{1, 2, 1};
    QTest::newRow("a region that ends right of the device")
        << QRect(7, 0, 6, 2) << QVector<int>{0, 0, 1, 1, 1, 2} << QVector<int>{2, 3, 1};
}

void tst_Pictures::aCheckerboardIsDrawnFromItsRequest()
{
    QFETCH(QRect, region);
    QFETCH(QVector<int>, columns);
    QFETCH(QVector<int>, sizes);
    const QVector<QColor> colors{QColor(250, 1, 2), QColor(3, 250, 4), QColor(5, 6, 250)};
    const QSize size(10, 4);
    wall().setDevices({gridDevice(a, QPoint(-3, 20), 5, 2, QSize(2, 2))});

    // Along the rows: one pixel row each of the first and the last.
    Map request{{QStringLiteral("regionRect"), rectMap(region.translated(0, 1))},
                {QStringLiteral("firstSquareW"), sizes[0]},
                {QStringLiteral("squareW"), sizes[1]},
                {QStringLiteral("lastSquareColumnW"), sizes[2]},
                {QStringLiteral("firstSquareH"), 1},
                {QStringLiteral("squareH"), 5},
                {QStringLiteral("lastSquareRowH"), 1},
                {QStringLiteral("regionColor"), List{colorMap(colors[0]), colorMap(colors[1]), colorMap(colors[2])}}};
    Map reply;
    QVERIFY(ScreenInfo::getInstance()->setCheckerBoardImage(a, request, reply));
    const QImage expected = drawn(size, [&](int x, int y) {
        if (!region.translated(0, 1).contains(x, y))
            return black;
        return colors[(columns[x - region.x()] + y - 1) % 3].rgb();
    });
    QCOMPARE(difference(wall().pictures().pattern(screenId), expected), QString());

    // The same downwards.
    wall().setDevices({gridDevice(a, QPoint(20, -3), 2, 5, QSize(2, 2))});
    request[QStringLiteral("regionRect")] = rectMap(QRect(1, region.x(), 2, region.width()));
    for (const char *name : {"firstSquare", "square"})
        qSwap(request[QLatin1String(name) + QLatin1Char('W')], request[QLatin1String(name) + QLatin1Char('H')]);
    qSwap(request[QStringLiteral("lastSquareColumnW")], request[QStringLiteral("lastSquareRowH")]);
    QVERIFY(ScreenInfo::getInstance()->setCheckerBoardImage(a, request, reply = {}));
    const QImage turned = drawn(size.transposed(), [&](int x, int y) { return expected.pixel(y, x); });
    QCOMPARE(difference(wall().pictures().pattern(screenId), turned), QString());
}

void tst_Pictures::aDeviceThatWasNotAskedIsDark()
{
    wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(3, 2)), gridDevice(b, QPoint(3, 0), 1, 1, QSize(2, 2))});
    QVERIFY(show(b, Qt::cyan));
    const QImage image = wall().pictures().pattern(screenId);
    QCOMPARE(difference(image, drawn(QSize(5, 2), [](int x, int) { return x < 3 ? black : 0xff00ffff; })), QString());
    QVERIFY(ScreenInfo::getInstance()->setCorrectClearImage(b, {}));
    QCOMPARE(difference(wall().pictures().pattern(screenId), drawn(QSize(5, 2), [](int, int) { return black; })), QString());
}

void tst_Pictures::cabinetsOfOneIdDoNoHarm()
{
    // The state is that of the cabinet listed last; the coefficients of another size have no place to be shown.
    Device device = gridDevice(a, QPoint(0, 0), 2, 1, QSize(4, 4));
    device.subScreens[0].cabinets[0].size = QSize(4, 2);
    device.subScreens[0].cabinets[1].id = device.subScreens[0].cabinets[0].id;
    wall().setDevices({device});
    QVERIFY(show(a, Qt::white));
    const QImage pattern = wall().pictures().pattern(screenId, Light::Effective);
    QCOMPARE(pattern.pixel(0, 0), 0xff808080);
    QCOMPARE(pattern.pixel(7, 3), 0xff808080);
    QCOMPARE(pattern.pixel(0, 3), black);
    const QImage coefficients = wall().pictures().coefficients(screenId, 0);
    QCOMPARE(coefficients.pixel(0, 0), background);
    QCOMPARE(coefficients.pixel(4, 0), heat(0));
    QVERIFY(!wall().pictures().layout(screenId).isNull());
}

// Light

void tst_Pictures::theLightOfACabinet_data()
{
    QTest::addColumn<QList<int>>("table");
    QTest::addColumn<QVector<int>>("brightness"); // The cabinet's, least, greatest.
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("shown");
    const QList<int> none;
    const QVector<int> full{10000, 0, 10000};
    QTest::newRow("full light") << none << full << 200 << 200;
    QTest::newRow("half of an even level") << none << QVector<int>{5000, 0, 10000} << 200 << 100;
    QTest::newRow("half of an odd level is rounded up") << none << QVector<int>{5000, 0, 10000} << 255 << 128;
    QTest::newRow("a little less than half is rounded down") << none << QVector<int>{4999, 0, 10000} << 255 << 127;
    QTest::newRow("no light") << none << QVector<int>{0, 0, 10000} << 255 << 0;
    QTest::newRow("brightness below the range") << none << QVector<int>{10, 4000, 8000} << 200 << 100;
    QTest::newRow("brightness above the range") << none << QVector<int>{9000, 4000, 8000} << 200 << 200;
    QTest::newRow("a negative range") << none << QVector<int>{-50, -100, 100} << 200 << 0;
    QTest::newRow("a range without light") << none << QVector<int>{0, 0, 0} << 200 << 200;
    QTest::newRow("a straight line of 8 bits") << QList<int>{0, 255} << full << 77 << 77;
    QTest::newRow("a straight line of 16 bits") << QList<int>{0, 65535} << full << 77 << 77;
    QTest::newRow("10 bits, not all of them used") << QList<int>{0, 1000} << full << 255 << 249;
    QTest::newRow("11 bits") << QList<int>{0, 1024} << full << 255 << 128;
    QTest::newRow("few levels of 8 bits") << QList<int>{0, 51} << full << 255 << 51;
    QTest::newRow("one entry") << QList<int>{100} << full << 3 << 100;
    QTest::newRow("on the middle entry's left") << QList<int>{0, 0, 255} << full << 127 << 0;
    QTest::newRow("on the middle entry's right") << QList<int>{0, 0, 255} << full << 128 << 1;
    QTest::newRow("a falling line") << QList<int>{255, 0} << full << 55 << 200;
    QTest::newRow("a negative entry") << QList<int>{-255, 255} << full << 51 << 51;
    QTest::newRow("the greatest numbers") << QList<int>{0, std::numeric_limits<int>::max()} << full << 9 << 9;
    QTest::newRow("gamma, then brightness") << QList<int>{0, 0, 255} << QVector<int>{5000, 0, 10000} << 191 << 64;
}

void tst_Pictures::theLightOfACabinet()
{
    QFETCH(QList<int>, table);
    QFETCH(QVector<int>, brightness);
    QFETCH(int, level);
    QFETCH(int, shown);
    Device device = gridDevice(a, QPoint(0, 0), 1, 1, QSize(2, 1));
    device.brightnessDefault = brightness[0];
    device.brightnessMin = brightness[1];
    device.brightnessMax = brightness[2];
    wall().setDevices({device});
    for (const Channel channel : {Channel::Red, Channel::Green, Channel::Blue})
        QVERIFY(wall().state().setGamma(a, QStringLiteral("1"), channel, table));
    QVERIFY(show(a, QColor(level, level, level)));
    QCOMPARE(wall().pictures().pattern(screenId).pixel(1, 0), qRgb(level, level, level));
    QCOMPARE(wall().pictures().pattern(screenId, Light::Nominal).pixel(1, 0), qRgb(level, level, level));
    QCOMPARE(wall().pictures().pattern(screenId, Light::Effective).pixel(1, 0), qRgb(shown, shown, shown));
}

void tst_Pictures::everyCabinetHasItsOwnLight()
{
    Device dim = gridDevice(b, QPoint(4, 0), 1, 1, QSize(2, 1), 3);
    dim.brightnessDefault = 1000;
    wall().setDevices({gridDevice(a, QPoint(0, 0), 2, 1, QSize(2, 1)), dim});
    QVERIFY(show(a, Qt::white));
    QVERIFY(show(b, Qt::white));
    QVERIFY(setBrightness(a, QStringLiteral("1"), 10000));
    QVERIFY(setBrightness(a, QStringLiteral("2"), 2000));
    const QVector<int> light{255, 255, 51, 51, 26, 26};
    const QImage expected = drawn(QSize(6, 1), [&](int x, int) { return qRgb(light[x], light[x], light[x]); });
    QCOMPARE(difference(wall().pictures().pattern(screenId, Light::Effective), expected), QString());
}

void tst_Pictures::everyChannelHasItsOwnTable()
{
    Device device = gridDevice(a, QPoint(0, 0), 2, 1, QSize(1, 1));
    device.brightnessDefault = device.brightnessMax;
    wall().setDevices({device});
    QVERIFY(show(a, Qt::white));
    // The first cabinet has a table of its own for green; the device has some for red and green.
    QVERIFY(wall().state().setGamma(a, Channel::Red, {0, 4095}));
    QVERIFY(wall().state().setGamma(a, Channel::Green, {0, 2048}));
    QVERIFY(wall().state().setGamma(a, QStringLiteral("1"), Channel::Green, {0, 819}));
    const QImage image = wall().pictures().pattern(screenId, Light::Effective);
    QCOMPARE(image.pixelColor(0, 0), QColor(255, 51, 255));
    QCOMPARE(image.pixelColor(1, 0), QColor(255, 128, 255));
    // The tables in effect of one cabinet share their scale.
    QVERIFY(wall().state().setGamma(a, QStringLiteral("1"), Channel::Blue, {0, 65535}));
    QCOMPARE(wall().pictures().pattern(screenId, Light::Effective).pixelColor(0, 0), QColor(16, 3, 255));
}

void tst_Pictures::unlitPixelsFollowTheTables()
{
    Device device = gridDevice(a, QPoint(0, 0), 1, 1, QSize(2, 1));
    device.brightnessDefault = device.brightnessMax;
    wall().setDevices({device, gridDevice(b, QPoint(3, 0), 1, 1, QSize(1, 1))});
    QVERIFY(wall().state().setGamma(a, Channel::Blue, {20, 255}));
    const QImage image = wall().pictures().pattern(screenId, Light::Effective);
    QCOMPARE(image.pixelColor(0, 0), QColor(0, 0, 20));
    QCOMPARE(image.pixelColor(1, 0), QColor(0, 0, 20));
    QCOMPARE(image.pixelColor(2, 0), QColor(Qt::black)); // No cabinet.
    QCOMPARE(image.pixelColor(3, 0), QColor(Qt::black));
}

// Coefficients

// A legend of scale 1: its lines begin 6 pixels from the left; below the map 6 pixels, two lines of 12, then the colour
// scale of 10, ticks of 3, 2 pixels, numbers.
constexpr int legendMargin = 6;
constexpr int titleTop = 6;
constexpr int numbersTop = titleTop + 12;
constexpr int scaleTop = numbersTop + 12;
constexpr int ticksTop = scaleTop + 10;
constexpr int tickTextTop = ticksTop + 5;

void tst_Pictures::coefficientsAreAHeatMap_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<int>("channel");
    QTest::newRow("chroma, first value") << Kind::Chroma << 0;
    QTest::newRow("chroma, last value") << Kind::Chroma << 8;
    QTest::newRow("low gray") << Kind::LowGray << 4;
    QTest::newRow("multilayer, first byte") << Kind::Multilayer << 0;
    QTest::newRow("multilayer, last byte") << Kind::Multilayer << 15;
}

void tst_Pictures::coefficientsAreAHeatMap()
{
    QFETCH(Kind, kind);
    QFETCH(int, channel);
    wall().setDevices({gridDevice(a, QPoint(-2, 5), 2, 1, QSize(3, 2)), gridDevice(b, QPoint(6, 5), 1, 1, QSize(2, 3), 3)});
    const auto value = [](int x, int y) { return 10 + (x * 31 + y * 57) % 240; };
    const auto bytes = [&](const QRect &rect) {
        QByteArray result;
        for (int y = rect.top(); y <= rect.bottom(); ++y) {
            for (int x = rect.left(); x <= rect.right(); ++x) {
                for (int i = 0; i < (kind == Kind::Multilayer ? 16 : 9); ++i) {
                    // 16-bit values count in 257ths, so that both of their bytes matter.
                    result += static_cast<char>(i == channel ? value(x, y) : 3);
                    if (kind != Kind::Multilayer)
                        result += static_cast<char>(i == channel ? value(x, y) : 250);
                }
            }
        }
        return result;
    };
    QVERIFY(wall().state().setPlane(a, QStringLiteral("1"), kind, bytes(QRect(0, 0, 3, 2))));
    QVERIFY(wall().state().setPlane(a, QStringLiteral("2"), kind, bytes(QRect(3, 0, 3, 2))));
    QVERIFY(wall().state().setPlane(b, QStringLiteral("3"), kind, bytes(QRect(8, 0, 2, 3))));

    const QRect left(0, 0, 6, 2);
    const QRect right(8, 0, 2, 3);
    int least = 255;
    int greatest = 0;
    int sum = 0;
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 10; ++x) {
            if (left.contains(x, y) || right.contains(x, y)) {
                least = std::min(least, value(x, y));
                greatest = std::max(greatest, value(x, y));
                sum += value(x, y);
            }
        }
    }
    const int unit = kind == Kind::Multilayer ? 1 : 257;
    const QImage image = wall().pictures().coefficients(screenId, channel, kind);
    QCOMPARE(image.width(), 280);
    const QImage expected = drawn(QSize(280, 3), [&](int x, int y) {
        if (!left.contains(x, y) && !right.contains(x, y))
            return background;
        return heat((value(x, y) - least) * 255 / (greatest - least));
    });
    QCOMPARE(difference(image.copy(0, 0, 280, 3), expected), QString());

    // "18 pixels: 2570 to 62194, mean 32125.0", "2570 ... 62194" at the ends of the scale.
    const ValueRange range = wall().pictures().coefficientRange(screenId, channel, kind);
    QCOMPARE(range.least, least * unit);
    QCOMPARE(range.greatest, greatest * unit);
    const QString mean = QString::number(double(sum) * unit / 18.0, 'f', 1).replace(QLatin1Char('.'), QLatin1Char('?'));
    QCOMPARE(readLine(image, QPoint(legendMargin, 3 + numbersTop), quiet),
             QStringLiteral("18 ??????? %1 ?? %2? ???? %3")
                 .arg(QString::number(range.least), QString::number(range.greatest), mean));
    const QString leastText = QString::number(range.least);
    const QString greatestText = QString::number(range.greatest);
    QVERIFY(readLine(image, QPoint(legendMargin, 3 + tickTextTop), white).startsWith(leastText));
    QCOMPARE(readLine(image, QPoint(280 - legendMargin - greatestText.size() * 6 + 1, 3 + tickTextTop), white),
             greatestText);
    QCOMPARE(image.height(), 3 + tickTextTop + 7 + legendMargin);

    const QImage scale = drawn(QSize(268, 10), [](int x, int) { return heat(x * 255 / 267); });
    QCOMPARE(difference(image.copy(legendMargin, 3 + scaleTop, 268, 10), scale), QString());
}

void tst_Pictures::aGivenRangeMakesPicturesComparable()
{
    wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(5, 1))});
    QVERIFY(wall().state().setChroma(a, QStringLiteral("1"), plane({0, 100, 200, 300, 65535}, 2)));
    const QImage image = wall().pictures().coefficients(screenId, 2, Kind::Chroma, {100, 300});
    const QVector<int> levels{0, 0, 127, 255, 255};
    for (int x = 0; x < 5; ++x)
        QCOMPARE(image.pixel(x, 0), heat(levels[x]));
    QCOMPARE(readLine(image, QPoint(legendMargin, 1 + numbersTop), quiet),
             QStringLiteral("5 ??????? 0 ?? 65535? ???? 13227?0"));
    QVERIFY(readLine(image, QPoint(legendMargin, 1 + tickTextTop), white).startsWith(QStringLiteral("100")));
    QCOMPARE(readLine(image, QPoint(280 - legendMargin - 17, 1 + tickTextTop), white), QStringLiteral("300"));
    // The ticks: five, the middle one at 200.
    QCOMPARE(readLine(image, QPoint(legendMargin + 133 - 8, 1 + tickTextTop), white).left(3), QStringLiteral("200"));
    QCOMPARE(image.pixel(legendMargin + 133, 1 + ticksTop), white);

    const ValueRange range = wall().pictures().coefficientRange(screenId, 2);
    QCOMPARE(range.least, 0);
    QCOMPARE(range.greatest, 65535);
    QCOMPARE(wall().pictures().coefficients(screenId, 2, Kind::Chroma, range), wall().pictures().coefficients(screenId, 2));
    // A range may be any.
    const ValueRange widest{std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    QCOMPARE(wall().pictures().coefficients(screenId, 2, Kind::Chroma, widest).pixel(0, 0), heat(127));
}

void tst_Pictures::equalValuesHaveOneTick()
{
    wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(5, 1))});
    wall().state().setDefaultPixel(Kind::LowGray, QByteArray("\x07\x01", 2));
    const QImage image = wall().pictures().coefficients(screenId, 0, Kind::LowGray);
    for (int x = 0; x < 5; ++x)
        QCOMPARE(image.pixel(x, 0), heat(0));
    QCOMPARE(readLine(image, QPoint(legendMargin, 1 + tickTextTop), white), QStringLiteral("263"));
    QCOMPARE(dots(image, QRect(0, 1 + ticksTop, 280, 1), white).first().count(QLatin1Char('#')), 1);
}

void tst_Pictures::aScaledPictureShowsMeans()
{
    // Seven columns become three; the second column of the picture holds the last of A's and the first of B's.
    wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(4, 2)), gridDevice(b, QPoint(4, 0), 1, 1, QSize(3, 2), 2)});
    QVERIFY(wall().state().setChroma(a, QStringLiteral("1"), plane({1, 2, 3, 10, 5, 6, 8, 20}, 4)));
    QVERIFY(wall().state().setChroma(b, QStringLiteral("2"), plane({30, 41, 50, 60, 70, 80}, 4)));
    const QImage image = wall().pictures().coefficients(screenId, 4, Kind::Chroma, {0, 255}, 3);
    // Columns 0 to 2, 3 and 4, 5 and 6; the height of 6/7 becomes one row.
    QCOMPARE(image.pixel(0, 0), heat(4)); // 25 / 6
    QCOMPARE(image.pixel(1, 0), heat(30));
    QCOMPARE(image.pixel(2, 0), heat(60)); // 241 / 4
    QCOMPARE(image.pixel(3, 0), background);
    QCOMPARE(image.pixel(0, 1), background);
    QCOMPARE(readLine(image, QPoint(legendMargin, 1 + numbersTop), quiet), QStringLiteral("14 ??????? 1 ?? 80? ???? 27?6"));
    // Wider than the screen: as it is.
    QCOMPARE(wall().pictures().coefficients(screenId, 4, Kind::Chroma, {0, 255}, 100).pixel(6, 1), heat(80));
}

void tst_Pictures::everyDevicesPixelsMustHaveTheChannel()
{
    Device small = gridDevice(b, QPoint(2, 0), 1, 1, QSize(2, 2), 2);
    small.multilayerBytesPerPixel = 4;
    wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(2, 2)), small});
    for (const Kind kind : {Kind::Chroma, Kind::LowGray}) {
        QVERIFY(!wall().pictures().coefficients(screenId, 8, kind).isNull());
        QVERIFY(wall().pictures().coefficients(screenId, 9, kind).isNull());
        QVERIFY(wall().pictures().coefficientRange(screenId, 9, kind).isEmpty());
    }
    QVERIFY(wall().pictures().coefficients(screenId, -1).isNull());
    QVERIFY(!wall().pictures().coefficients(screenId, 3, Kind::Multilayer).isNull());
    QVERIFY(wall().pictures().coefficients(screenId, 4, Kind::Multilayer).isNull());
    QVERIFY(wall().pictures().coefficientRange(screenId, 4, Kind::Multilayer).isEmpty());
    QVERIFY(!wall().pictures().coefficientRange(screenId, 3, Kind::Multilayer).isEmpty());
}

void tst_Pictures::theLegendNamesTheValue_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<int>("channel");
    QTest::addColumn<QString>("title");
    QTest::newRow("chroma, green") << Kind::Chroma << 4 << QStringLiteral("Chroma? value 4 (green)");
    QTest::newRow("chroma, red in blue") << Kind::Chroma << 6 << QStringLiteral("Chroma? value 6 (red into blue)");
    QTest::newRow("low gray") << Kind::LowGray << 8 << QStringLiteral("Low gray? value 8");
    QTest::newRow("multilayer") << Kind::Multilayer << 13 << QStringLiteral("Multilayer? byte 13");
}

void tst_Pictures::theLegendNamesTheValue()
{
    QFETCH(Kind, kind);
    QFETCH(int, channel);
    QFETCH(QString, title);
    wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(5, 1))});
    const QImage image = wall().pictures().coefficients(screenId, channel, kind);
    for (QChar &character : title) {
        if (!character.isDigit() && character != QLatin1Char(' '))
            character = QLatin1Char('?');
    }
    QCOMPARE(readLine(image, QPoint(legendMargin, 1 + titleTop), white), title);
    if (kind == Kind::Chroma) {
        const QStringList word{
            QStringLiteral(".###..#............................"), QStringLiteral("#...#.#............................"),
            QStringLiteral("#.....####..#.##...###..##.#...###."), QStringLiteral("#.....#...#.##..#.#...#.#.#.#.....#"),
            QStringLiteral("#.....#...#.#.....#...#.#.#.#..####"), QStringLiteral("#...#.#...#.#.....#...#.#.#.#.#...#"),
            QStringLiteral(".###..#...#.#......###..#.#.#..####")};
        QCOMPARE(dots(image, QRect(legendMargin, 1 + titleTop, 35, 7), white), word);
    }
}

// Layout

void tst_Pictures::theLayoutShowsCabinets()
{
    Device left = gridDevice(a, QPoint(-4, 0), 2, 1, QSize(15, 14), 7);
    Device right = gridDevice(b, QPoint(27, 0), 1, 1, QSize(40, 14), 1056);
    for (Device *device : {&left, &right}) {
        for (Cabinet &cabinet : device->subScreens[0].cabinets)
            cabinet.receivingCards.clear();
    }
    wall().setDevices({left, right});
    const QImage image = wall().pictures().layout(screenId);
    QCOMPARE(image.width(), 280);
    const QRgb leftColor = image.pixel(0, 0);
    const QRgb rightColor = image.pixel(31, 0);
    QVERIFY(leftColor != rightColor);
    // The ids are centred in the area without the line on the right and below.
    const auto idAt = [](const QString &id, const QPoint &place, int x, int y) {
        const QPoint dot = QPoint(x, y) - place;
        const int digit = dot.x() / 6;
        return dot.x() >= 0 && dot.x() % 6 < 5 && digit < id.size() && dot.y() >= 0 && dot.y() < 7
               && digits()[static_cast<std::size_t>(id[digit].digitValue())][dot.y()][dot.x() % 6] == QLatin1Char('#');
    };
    const QImage expected = drawn(QSize(280, 14), [&](int x, int y) {
        if (x >= 71 || x == 30)
            return background;
        // Small cabinets have dark lines.
        const auto dimmed = [](QRgb color) {
            const auto part = [](int value) { return value + (0 - value) * 140 / 255; };
            return qRgb(part(qRed(color)), part(qGreen(color)), part(qBlue(color)));
        };
        const QRgb color = x < 30 ? leftColor : rightColor;
        if (y == 13 || x == 14 || x == 29 || x == 70)
            return dimmed(color);
        const bool id = idAt(QStringLiteral("7"), QPoint(4, 3), x, y) || idAt(QStringLiteral("8"), QPoint(19, 3), x, y)
                        || idAt(QStringLiteral("1056"), QPoint(39, 3), x, y);
        return id ? white : color;
    });
    QCOMPARE(difference(image.copy(0, 0, 280, 14), expected), QString());
}

void tst_Pictures::theLayoutShowsCardsAndModules()
{
    // One cabinet of 120 x 120 with two cards, the second with two modules below each other.
    Device device = gridDevice(a, QPoint(0, 0), 1, 1, QSize(120, 120), 5);
    ReceivingCard first;
    first.id = QStringLiteral("3");
    first.rect = QRect(0, 0, 60, 120);
    ReceivingCard second;
    second.id = QStringLiteral("4");
    second.rect = QRect(60, 0, 60, 120);
    second.modules = {{QStringLiteral("8"), QString(), QRect(60, 0, 60, 40)},
                      {QStringLiteral("9"), QString(), QRect(60, 40, 60, 80)}};
    device.subScreens[0].cabinets[0].receivingCards = {first, second};
    wall().setDevices({device});
    const QImage image = wall().pictures().layout(screenId);

    const QRgb cabinet = image.pixel(0, 0);
    const QRgb frame = image.pixel(1, 1);
    const QRgb gap = image.pixel(5, 60);
    const QRgb tile = image.pixel(100, 70);
    QVERIFY(cabinet != frame && frame != gap && gap != tile);
    QCOMPARE(tile, cabinet);
    // Along a row: the border, the first card's frame and inside, its frame, the border between, the second card.
    const QVector<QPair<int, QRgb>> row{{0, cabinet},  {1, frame},    {2, gap},     {56, gap},      {57, frame},
                                        {58, cabinet}, {60, cabinet}, {61, frame},  {62, gap},      {63, tile},
                                        {115, tile},   {116, gap},    {117, frame}, {118, cabinet}, {119, white}};
    for (const auto &pixel : row)
        QCOMPARE(QPair(pixel.first, image.pixel(pixel.first, 80)), pixel);
    // Down a column of the second card: two modules with a gap between.
    const QVector<QPair<int, QRgb>> column{{0, cabinet}, {1, frame},     {2, gap},    {3, tile},   {38, tile},
                                           {39, gap},    {40, gap},      {41, tile},  {115, tile}, {116, gap},
                                           {117, frame}, {118, cabinet}, {119, white}};
    for (const auto &pixel : column)
        QCOMPARE(QPair(pixel.first, image.pixel(110, pixel.first)), pixel);

    // The ids: the cabinet's three times as large on a plate of its own, card and modules small.
    QCOMPARE(image.pixel(72, 60), gap);
    QCOMPARE(image.pixel(73, 60), tile);
    const QStringList large = dots(image, QRect(52, 49, 15, 21), white);
    for (int y = 0; y < 21; ++y) {
        for (int x = 0; x < 15; ++x)
            QCOMPARE(large[y][x], digits()[5][y / 3][x / 3]);
    }
    const auto shows = [&](int digit, const QRect &rect) {
        for (int y = rect.top(); y + 7 <= rect.bottom(); ++y) {
            for (int x = rect.left(); x + 5 <= rect.right(); ++x) {
                const QRgb ground = image.pixel(rect.topLeft());
                QStringList rows;
                for (int i = 0; i < 7; ++i) {
                    QString line;
                    for (int j = 0; j < 5; ++j)
                        line += QLatin1Char(image.pixel(x + j, y + i) == ground ? '.' : '#');
                    rows += line;
                }
                if (rows == digits()[static_cast<std::size_t>(digit)])
                    return true;
            }
        }
        return false;
    };
    QVERIFY(shows(3, QRect(4, 4, 52, 14)));
    QVERIFY(shows(8, QRect(80, 12, 20, 16)));
    QVERIFY(shows(9, QRect(80, 70, 20, 20)));
    QVERIFY(!shows(9, QRect(80, 12, 20, 16)));
    QVERIFY(shows(1, QRect(4, 100, 53, 15))); // "output 1"
}

void tst_Pictures::theLayoutsLegendNamesTheDevices()
{
    Device left = gridDevice(QStringLiteral("10"), QPoint(0, 0), 3, 2, QSize(20, 20));
    left.label.clear();
    left.screenName = QStringLiteral("2");
    Device right = gridDevice(QStringLiteral("11"), QPoint(60, 0), 1, 1, QSize(20, 40), 90);
    right.label = QStringLiteral("77");
    wall().setDevices({left, right});
    const QImage image = wall().pictures().layout(screenId);
    // "2: 80 x 40 pixels, 2 devices, 7 cabinets", then the devices.
    QCOMPARE(readLine(image, QPoint(6, 40 + 6), white), QStringLiteral("2? 80 ? 40 ??????? 2 ???????? 7 ????????"));
    QCOMPARE(readLine(image, QPoint(6 + 12, 40 + 6 + 12), quiet), QStringLiteral("10? 6 ????????? 60 ? 40? ??????? 1?2"));
    QCOMPARE(readLine(image, QPoint(6 + 12, 40 + 6 + 24), quiet), QStringLiteral("11 ?77?? 1 ???????? 20 ? 40? ?????? 1"));
    QCOMPARE(image.pixel(6, 40 + 6 + 12), image.pixel(0, 0));
    QCOMPARE(image.pixel(6, 40 + 6 + 24), image.pixel(60, 0));
    QVERIFY(image.pixel(0, 0) != image.pixel(60, 0));
    QCOMPARE(image.height(), 40 + 6 + 24 + 9 + 6);

    // A screen that is not called by its own name.
    left.useScreenName = false;
    left.customName = QStringLiteral("33");
    wall().setDevices({left, right});
    QVERIFY(readLine(wall().pictures().layout(screenId), QPoint(6, 46), white).startsWith(QStringLiteral("33?")));
}

void tst_Pictures::aCabinetWithoutPlaceIsNotShown()
{
    Device device = gridDevice(a, QPoint(0, 0), 3, 1, QSize(20, 20));
    device.subScreens[0].cabinets[0].placed = false;
    wall().setDevices({device});
    const QImage image = wall().pictures().layout(screenId);
    QVERIFY(image.pixel(0, 0) != background);
    QVERIFY(image.pixel(39, 0) != background);
    QCOMPARE(image.pixel(40, 0), background);
    QCOMPARE(readLine(image, QPoint(6 + 12, 20 + 6 + 12), quiet).left(26), QStringLiteral("? ??????? ??? 2 ????????? "));
}

void tst_Pictures::aScaledLayoutKeepsNeighbours()
{
    wall().setDevices(
        {gridDevice(a, QPoint(0, 0), 7, 3, QSize(100, 100)), gridDevice(b, QPoint(700, 0), 6, 3, QSize(100, 100))});
    const QImage image = wall().pictures().layout(screenId, 333);
    QCOMPARE(image.width(), 333);
    const int height = 77; // 333 * 300 / 1300, rounded
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < 333; ++x)
            QVERIFY(image.pixel(x, y) != background);
    }
    QCOMPARE(image.pixel(0, height), background);
    // Every cabinet ends in one line.
    const QRgb line = white;
    for (int column = 1; column <= 13; ++column) {
        QCOMPARE(image.pixel(column * 100 * 333 / 1300 - 1, 3), line);
        QVERIFY(image.pixel(column * 100 * 333 / 1300 - 2, 3) != line);
    }
}

void tst_Pictures::aLongTextIsCut()
{
    Device device = gridDevice(a, QPoint(0, 0), 1, 1, QSize(20, 20));
    device.screenName = QString(100, QLatin1Char('1'));
    device.label = QString(100, QLatin1Char('2'));
    device.subScreens[0].cabinets[0].id = QString(100, QLatin1Char('3'));
    device.subScreens[0].cabinets[0].receivingCards.clear();
    wall().setDevices({device});
    const QImage image = wall().pictures().layout(screenId);
    QCOMPARE(image.width(), 280);
    // 268 pixels hold 44 characters, three of them the dots.
    QCOMPARE(readLine(image, QPoint(6, 26), white), QString(41, QLatin1Char('1')) + QStringLiteral("???"));
    QCOMPARE(readLine(image, QPoint(18, 38), quiet),
             QStringLiteral("? ?") + QString(36, QLatin1Char('2')) + QStringLiteral("???"));
    QCOMPARE(image.pixel(10, 10), image.pixel(0, 0)); // The id has no room.
}

void tst_Pictures::namesMayHaveOtherLetters_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("art"); // from two rows above the capital letters to what hangs below the baseline
    const auto row = [](const char *name, const char *art) {
        QTest::newRow(name) << QString::fromUtf8(name) << QString::fromLatin1(art);
    };
    row("\u00f6", "..... ..... .#.#. ..... .###. #...# #...# #...# .###. ..... .....");
    row("o\u0308", "..... ..... .#.#. ..... .###. #...# #...# #...# .###. ..... .....");
    row("\u00d6", ".#.#. ..... .###. #...# #...# #...# #...# #...# .###. ..... .....");
    row("\u00df", "..... ..... .##.. #..#. #..#. #.#.. #..#. #..#. #.#.. ..... .....");
    row("\u00ef", "..... ..... .#.#. ..... .##.. ..#.. ..#.. ..#.. .###. ..... .....");
    row("\u0416", "..... ..... #.#.# #.#.# .###. ..#.. .###. #.#.# #.#.# ..... .....");
    row("\u0439", "..... ..... .#.#. .###. #...# #..## #.#.# ##..# #...# ..... .....");
    row("\u0430", "..... ..... ..... ..... .###. ....# .#### #...# .#### ..... .....");
    row("\u03a9", "..... ..... .###. #...# #...# #...# .#.#. .#.#. ##.## ..... .....");
    row("\u0141", "..... ..... #.... #.... #.#.. ##... #.... #.... ##### ..... .....");
    row("\u00e7", "..... ..... ..... ..... .###. #...# #.... #...# .###. ..#.. .#...");
}

void tst_Pictures::namesMayHaveOtherLetters()
{
    QFETCH(QString, name);
    QFETCH(QString, art);
    Device device = gridDevice(a, QPoint(0, 0), 1, 1, QSize(20, 20));
    device.screenName = name;
    wall().setDevices({device});
    const QImage image = wall().pictures().layout(screenId);
    QCOMPARE(dots(image, QRect(6, 26 - 2, 5, 11), white).join(QLatin1Char(' ')), art);
    // A character that the font does not have: its number. "1: 20 x 20" is behind it.
    device.screenName = QString::fromUtf8("\u5927") + QString(3, QLatin1Char('1'));
    wall().setDevices({device});
    QCOMPARE(readLine(wall().pictures().layout(screenId), QPoint(6, 26), white).left(12), QStringLiteral("??5927111? 2"));
}

void tst_Pictures::aFlatLayoutIsCutIntoStrips()
{
    // Twenty cabinets of 50 x 30: strips of four each, the last one whole, too.
    wall().setDevices({gridDevice(a, QPoint(100, 0), 20, 1, QSize(50, 30))});
    const QImage whole = wall().pictures().layout(screenId);
    const QImage image = wall().pictures().layout(screenId, 230);
    QCOMPARE(image.width(), 280);
    const int caption = 12;
    for (int i = 0; i < 5; ++i) {
        const int top = i * (30 + caption) + caption;
        QCOMPARE(difference(image.copy(0, top, 200, 30), whole.copy(i * 200, 0, 200, 30)), QString());
        QCOMPARE(image.pixel(200, top + 15), background);
        QCOMPARE(readLine(image, QPoint(6, top - 9), quiet),
                 QStringLiteral("??????? %1 ?? %2").arg(100 + i * 200).arg(299 + i * 200));
    }
    // Not flat, or high enough: scaled as a whole.
    wall().setDevices({gridDevice(a, QPoint(0, 0), 7, 1, QSize(50, 50))});
    QCOMPARE(wall().pictures().layout(screenId, 100).pixel(3, 14), background);
    wall().setDevices({gridDevice(a, QPoint(0, 0), 10, 1, QSize(100, 100))});
    QVERIFY(wall().pictures().layout(screenId, 640).pixel(639, 0) != background);
    // A higher screen is scaled down to strips of 64 rows.
    wall().setDevices({gridDevice(a, QPoint(0, 0), 20, 1, QSize(128, 128))});
    const QImage scaled = wall().pictures().layout(screenId, 300);
    QVERIFY(scaled.pixel(255, caption) != background);
    QCOMPARE(scaled.pixel(256, caption), background);
    QVERIFY(scaled.pixel(0, caption + 63) != background);
    QVERIFY(scaled.pixel(0, 5 * (64 + caption) - 1) != background);
}

void tst_Pictures::aFlatHeatMapIsCutIntoStrips()
{
    wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(20, 2))});
    QVector<quint16> values;
    for (int i = 0; i < 40; ++i)
        values += static_cast<quint16>(i);
    QVERIFY(wall().state().setChroma(a, QStringLiteral("1"), plane(values, 0)));
    const QImage image = wall().pictures().coefficients(screenId, 0, Kind::Chroma, {0, 255}, 8);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 20; ++x)
            QCOMPARE(image.pixel(x % 8, x / 8 * 14 + 12 + y), heat(y * 20 + x));
    }
    QCOMPARE(image.pixel(4, 2 * 14 + 12), background);
    QCOMPARE(readLine(image, QPoint(legendMargin, 3 * 14 + numbersTop), quiet),
             QStringLiteral("40 ??????? 0 ?? 39? ???? 19?5"));
}

QTEST_GUILESS_MAIN(tst_Pictures)
#include "tst_pictures.moc"

#include "SyntheticWall.h"

#include <calibration/Target.h>

#include <QtTest/QtTest>

#include <algorithm>
#include <limits>

using namespace Calibration;

Q_DECLARE_METATYPE(Primaries)

namespace {

bool isNear(double one, double other, double tolerance)
{
    return std::abs(one - other) <= tolerance;
}

/// Amounts of a pixel's LEDs that make a colour, by elimination.
std::array<double, 3> amountsOf(const float *light, const double *xyz)
{
    std::array<double, 9> columns{};
    std::copy_n(light, 9, columns.begin());
    return SyntheticWall::solved(columns, {xyz[0], xyz[1], xyz[2]});
}

/// The greatest luminance of white of a pixel whose LEDs give at most their full light.
double limitOf(const float *light, const Target &unit)
{
    std::array<double, 3> white{};
    for (int input = 0; input < 3; ++input) {
        const auto amounts = amountsOf(light, unit.light + 3 * input);
        for (unsigned led = 0; led < 3; ++led)
            white[led] += std::max(amounts[led], 0.0);
    }
    return 1 / std::max({white[0], white[1], white[2]});
}

} // namespace

class tst_CalibrationTarget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void standardsHaveTheirMatrices_data()
    {
        // The matrices from linear RGB to XYZ that the standards, or derivations from them, state to four digits.
        QTest::addColumn<Primaries>("primaries");
        QTest::addColumn<QVector<double>>("rows");
        const QVector<double> rec709Rows{0.4124, 0.3576, 0.1805, 0.2126, 0.7152, 0.0722, 0.0193, 0.1192, 0.9505};
        QTest::newRow("sRGB") << sRgb() << rec709Rows;
        QTest::newRow("Rec. 709") << rec709() << rec709Rows;
        QTest::newRow("DCI-P3") << dciP3()
                                << QVector<double>{0.4452, 0.2771, 0.1723, 0.2095, 0.7216, 0.0689, 0.0, 0.0471, 0.9074};
        QTest::newRow("Rec. 2020") << rec2020()
                                   << QVector<double>{0.6370, 0.1446, 0.1689, 0.2627, 0.6780, 0.0593, 0.0, 0.0281, 1.0610};
    }
    void standardsHaveTheirMatrices()
    {
        QFETCH(Primaries, primaries);
        QFETCH(QVector<double>, rows);
        const Target target = targetOf(primaries, 200);
        QVERIFY(target.isValid());
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 3; ++column) {
                const double value = target.light[3 * column + row] / 200;
                QVERIFY2(isNear(value, rows[3 * row + column], 1.01e-4),
                         qPrintable(QStringLiteral("row %1, column %2: %3").arg(row).arg(column).arg(value)));
            }
        }
    }

    void whiteHasItsColourAndLuminance()
    {
        const Target target = targetOf(rec2020(), 750);
        const Target::Xyz white = target.xyz(Input::White);
        const double sum = white.x + white.y + white.z;
        QVERIFY(isNear(white.y, 750, 1e-9));
        QVERIFY(isNear(white.x / sum, 0.3127, 1e-12) && isNear(white.y / sum, 0.3290, 1e-12));
        const Target::Xyz blue = target.xyz(Input::Blue);
        QVERIFY(isNear(blue.x / (blue.x + blue.y + blue.z), 0.131, 1e-12));
        QCOMPARE(target.xyz(Input::Red).x, target.light[0]);
        QCOMPARE(target.xyz(Input::Green).z, target.light[5]);
    }

    void targetsThatCannotBeAreNotValid()
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        QVERIFY(!Target().isValid());
        QVERIFY(!targetOf(sRgb(), 0).isValid());
        QVERIFY(!targetOf(sRgb(), -1).isValid());
        QVERIFY(!targetOf(sRgb(), nan).isValid());
        QVERIFY(!targetOf(sRgb(), std::numeric_limits<double>::infinity()).isValid());
        QVERIFY(!targetOf({{0.2, 0.2}, {0.3, 0.3}, {0.4, 0.4}, {0.3, 0.3}}, 100).isValid()); // on one line
        QVERIFY(!targetOf({{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}, {0.1, 0.7}}, 100).isValid());
        QVERIFY(!targetOf({{0.64, 0.33}, {0.30, 0.60}, {0.15, 0}, {0.3127, 0.3290}}, 100).isValid());
        QVERIFY(!targetOf({{nan, 0.33}, {0.30, 0.60}, {0.15, 0.06}, {0.3127, 0.3290}}, 100).isValid());
    }

    void allPixelsShowTheCommonPrimaries()
    {
        const Measurement wall = SyntheticWall::make(QSize(64, 48));
        const Primaries common = commonPrimaries(wall);
        const Reach reach(wall, common);
        QCOMPARE(reach.pixels(), 64 * 48);
        QCOMPARE(reach.outsideGamut(), 0);
        // Hardly less saturated than it has to be: nearer to the LEDs, some pixel is left out.
        const auto moved = [&](const Chromaticity &colour) {
            const double factor = 1.01;
            return Chromaticity{common.white.x + factor * (colour.x - common.white.x),
                                common.white.y + factor * (colour.y - common.white.y)};
        };
        Primaries wider = common;
        wider.red = moved(common.red);
        QVERIFY(Reach(wall, wider).outsideGamut() > 0);
        wider = common;
        wider.green = moved(common.green);
        QVERIFY(Reach(wall, wider).outsideGamut() > 0);
        wider = common;
        wider.blue = moved(common.blue);
        QVERIFY(Reach(wall, wider).outsideGamut() > 0);
        // A share of pixels may be left out for more colour.
        const Reach most(wall, commonPrimaries(wall, 0.01));
        QVERIFY(most.outsideGamut() > 0 && most.outsideGamut() <= 6 * 0.01 * most.pixels());
    }

    void reachCountsThePixelsThatFallShort()
    {
        Measurement wall = SyntheticWall::make(QSize(40, 30));
        wall.setState(QRect(0, 0, 5, 2), PixelState::Hole);
        wall.setState(QRect(10, 10, 3, 1), PixelState::Dead);
        wall.pixel(20, 20)[4] = std::numeric_limits<float>::quiet_NaN();
        const Primaries common = commonPrimaries(wall);
        const Target unit = targetOf(common, 1);
        std::vector<double> limits;
        for (int y = 0; y < 30; ++y) {
            for (int x = 0; x < 40; ++x) {
                if (wall.isUsable(x, y))
                    limits.push_back(limitOf(wall.pixel(x, y), unit));
            }
        }
        std::sort(limits.begin(), limits.end());
        const Reach reach(wall, common);
        QCOMPARE(reach.pixels(), 40 * 30 - 10 - 3 - 1);
        QCOMPARE(std::size_t(reach.pixels()), limits.size());
        QVERIFY(isNear(reach.luminanceFor(), limits.front(), 1e-3));
        QCOMPARE(reach.fallingShort(reach.luminanceFor()), 0);
        QCOMPARE(reach.fallingShort(limits.back() * 1.001), reach.pixels());
        for (const double share : {0.001, 0.02, 0.5}) {
            const double luminance = reach.luminanceFor(share);
            QVERIFY(reach.fallingShort(luminance) <= share * reach.pixels());
            QVERIFY(reach.fallingShort(luminance * 1.01) > share * reach.pixels());
        }
        for (const double luminance : {600.0, 750.0, 900.0})
            QCOMPARE(reach.fallingShort(luminance),
                     int(std::lower_bound(limits.begin(), limits.end(), luminance) - limits.begin()));
        QCOMPARE(reach.fallingShort(0), 0);
        QCOMPARE(reach.luminanceFor(1), double(float(limits.back())));
    }

    void coloursBeyondTheLedsAreCounted()
    {
        const Measurement wall = SyntheticWall::make(QSize(10, 10), {0.06, 0.08, 0.12, 0});
        QCOMPARE(Reach(wall, rec2020()).outsideGamut(), 100); // its green is more saturated than these LEDs'
        QCOMPARE(Reach(wall, rec709()).outsideGamut(), 0);
    }

    void nothingMeasuredReachesNothing()
    {
        const Reach reach(Measurement(QSize(3, 3)), sRgb());
        QCOMPARE(reach.pixels(), 0);
        QCOMPARE(reach.luminanceFor(), 0.0);
        QCOMPARE(reach.fallingShort(100), 0);
        QCOMPARE(commonPrimaries(Measurement(QSize(3, 3))).red.x, 0.0);
        QCOMPARE(Reach(Measurement(), sRgb()).pixels(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_CalibrationTarget)
#include "tst_calibrationtarget.moc"

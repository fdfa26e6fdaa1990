#include "SyntheticWall.h"
#include "support/LogCapture.h"

#include <Correction/Coefficient.h>
#include <calibration/Coefficients.h>
#include <calibration/Report.h>

#include <limits>
#include <optional>

using namespace Calibration;

namespace {

constexpr float unknown = std::numeric_limits<float>::quiet_NaN();
using Values = QVector<unsigned short>;

/// Light of these luminances in the colour of a target's white.
LightImage white(const QSize &size, const Target &target, const std::function<double(int, int)> &luminanceAt)
{
    const Target::Xyz xyz = target.xyz(Input::White);
    LightImage image{size, {}};
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const double factor = luminanceAt(x, y) / xyz.y;
            image.xyz << float(factor * xyz.x) << float(factor * xyz.y) << float(factor * xyz.z);
        }
    }
    return image;
}

bool isNear(double one, double other, double tolerance)
{
    return std::abs(one - other) <= tolerance;
}

} // namespace

class tst_CalibrationReport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    /// The pairs of Sharma, Wu and Dalal: The CIEDE2000 color-difference formula: implementation notes, supplementary test
    /// data, and mathematical observations. Color Research and Application 30 (2005).
    void differencesAreThePublishedOnes()
    {
        constexpr double pairs[34][7] = {
            {50, 2.6772, -79.7751, 50, 0, -82.7485, 2.0425},
            {50, 3.1571, -77.2803, 50, 0, -82.7485, 2.8615},
            {50, 2.8361, -74.0200, 50, 0, -82.7485, 3.4412},
            {50, -1.3802, -84.2814, 50, 0, -82.7485, 1.0000},
            {50, -1.1848, -84.8006, 50, 0, -82.7485, 1.0000},
            {50, -0.9009, -85.5211, 50, 0, -82.7485, 1.0000},
            {50, 0, 0, 50, -1, 2, 2.3669},
            {50, -1, 2, 50, 0, 0, 2.3669},
            {50, 2.4900, -0.0010, 50, -2.4900, 0.0009, 7.1792},
            {50, 2.4900, -0.0010, 50, -2.4900, 0.0010, 7.1792},
            {50, 2.4900, -0.0010, 50, -2.4900, 0.0011, 7.2195},
            {50, 2.4900, -0.0010, 50, -2.4900, 0.0012, 7.2195},
            {50, -0.0010, 2.4900, 50, 0.0009, -2.4900, 4.8045},
            {50, -0.0010, 2.4900, 50, 0.0010, -2.4900, 4.8045},
            {50, -0.0010, 2.4900, 50, 0.0011, -2.4900, 4.7461},
            {50, 2.5, 0, 50, 0, -2.5, 4.3065},
            {50, 2.5, 0, 73, 25, -18, 27.1492},
            {50, 2.5, 0, 61, -5, 29, 22.8977},
            {50, 2.5, 0, 56, -27, -3, 31.9030},
            {50, 2.5, 0, 58, 24, 15, 19.4535},
            {50, 2.5, 0, 50, 3.1736, 0.5854, 1.0000},
            {50, 2.5, 0, 50, 3.2972, 0, 1.0000},
            {50, 2.5, 0, 50, 1.8634, 0.5757, 1.0000},
            {50, 2.5, 0, 50, 3.2592, 0.3350, 1.0000},
            {60.2574, -34.0099, 36.2677, 60.4626, -34.1751, 39.4387, 1.2644},
            {63.0109, -31.0961, -5.8663, 62.8187, -29.7946, -4.0864, 1.2630},
            {61.2901, 3.7196, -5.3901, 61.4292, 2.2480, -4.9620, 1.8731},
            {35.0831, -44.1164, 3.7933, 35.0232, -40.0716, 1.5901, 1.8645},
            {22.7233, 20.0904, -46.6940, 23.0331, 14.9730, -42.5619, 2.0373},
            {36.4612, 47.8580, 18.3852, 36.2715, 50.5065, 21.2231, 1.4146},
            {90.8027, -2.0831, 1.4410, 91.1528, -1.6435, 0.0447, 1.4441},
            {90.9257, -0.5406, -0.9208, 88.6381, -0.8985, -0.7239, 1.5381},
            {6.7747, -0.2908, -2.4247, 5.8714, -0.0985, -2.2286, 0.6377},
            {2.0776, 0.0795, -1.1350, 0.9033, -0.0636, -0.5514, 0.9082},
        };
        QStringList wrong;
        int number = 0;
        for (const auto &pair : pairs) {
            ++number;
            const double difference = ciede2000({pair[0], pair[1], pair[2]}, {pair[3], pair[4], pair[5]});
            if (!isNear(difference, pair[6], 5.1e-5))
                wrong += QStringLiteral("pair %1: %2 instead of %3").arg(number).arg(difference).arg(pair[6]);
        }
        QCOMPARE(wrong, QStringList());
    }

    void figuresAreThoseOfTheLight()
    {
        // Luminances 100, 101, ... 199 in the target's colour, and two points that are not known.
        const Target target = targetOf(sRgb(), 150);
        LightImage shown = white(QSize(51, 2), target, [](int x, int y) { return 100 + 50 * y + x; });
        for (const int point : {50, 101})
            shown.xyz[3 * point + 1] = unknown;
        const Report report = reportOf(shown, target, Input::White);
        QCOMPARE(report.pixels, 100);
        QVERIFY(isNear(report.luminanceMean, 149.5, 1e-4));
        QVERIFY(isNear(report.luminanceDeviation, std::sqrt((100.0 * 100 - 1) / 12) / 149.5, 1e-6));
        QVERIFY(isNear(report.luminanceLeast, 100, 1e-4) && isNear(report.luminanceGreatest, 199, 1e-4));
        // Only lightness differs, so the differences are those of grey: L* = 116 (Y/Yn)^(1/3) - 16 against 100.
        QVector<double> differences;
        for (int i = 0; i < 100; ++i)
            differences += ciede2000({116 * std::cbrt((100 + i) / 150.0) - 16, 0, 0}, {100, 0, 0});
        std::sort(differences.begin(), differences.end());
        QVERIFY(isNear(report.differenceMedian, differences[50], 1e-3));
        QVERIFY(isNear(report.difference95, differences[95], 1e-3));
        QVERIFY(isNear(report.differenceWorst, differences[99], 1e-3));
        QCOMPARE(report.seamWorst, 0.0);
    }

    void aScreenOnTargetHasNoDifference()
    {
        const Target target = targetOf(rec2020(), 600);
        for (const Input input : {Input::Red, Input::Green, Input::Blue, Input::White}) {
            const Target::Xyz xyz = target.xyz(input);
            LightImage shown{QSize(20, 20), {}};
            for (int i = 0; i < 400; ++i)
                shown.xyz << float(xyz.x) << float(xyz.y) << float(xyz.z);
            const Report report = reportOf(shown, target, input, {{10}, {5}});
            QVERIFY(report.differenceWorst < 1e-3);
            QVERIFY(report.luminanceDeviation < 1e-6);
            QVERIFY(report.seamWorst < 1e-6);
        }
    }

    void seamsHaveTheirContrast_data()
    {
        QTest::addColumn<int>("left"); // luminances of the left part, of the lines that touch the seam, of the right part
        QTest::addColumn<int>("touching");
        QTest::addColumn<int>("right");
        QTest::addColumn<double>("contrast");
        QTest::newRow("none") << 100 << 100 << 100 << 0.0;
        QTest::newRow("a step") << 100 << 100 << 104 << 4 / 101.0;
        QTest::newRow("a dark line") << 100 << 88 << 100 << 12 / 94.0;
    }
    void seamsHaveTheirContrast()
    {
        QFETCH(int, left);
        QFETCH(int, touching);
        QFETCH(int, right);
        QFETCH(double, contrast);
        const Target target = targetOf(sRgb(), 100);
        const auto luminance = [=](int line) { return line < 9 ? left : line < 11 ? touching : right; };
        const LightImage columns = white(QSize(20, 12), target, [=](int x, int) { return luminance(x); });
        const Report vertical = reportOf(columns, target, Input::White, {{10}, {}});
        QVERIFY(isNear(vertical.seamWorst, contrast, 1e-6) && isNear(vertical.seamMean, contrast, 1e-6));
        const LightImage rows = white(QSize(12, 20), target, [=](int, int y) { return luminance(y); });
        QVERIFY(isNear(reportOf(rows, target, Input::White, {{}, {10}}).seamWorst, contrast, 1e-6));
        // Steps of opposite signs do not cancel out: the seam has a stretch on each side of a crossing one.
        const LightImage opposite =
            white(QSize(20, 12), target, [=](int x, int y) { return luminance(y < 6 ? x : 19 - x); });
        const Report both = reportOf(opposite, target, Input::White, {{10}, {6}});
        QVERIFY(both.seamWorst >= contrast - 1e-6);
    }

    void seamsOutsideAreNone()
    {
        const Target target = targetOf(sRgb(), 100);
        const LightImage shown = white(QSize(8, 8), target, [](int x, int y) { return 50 + x + y; });
        const int most = std::numeric_limits<int>::max();
        QCOMPARE(reportOf(shown, target, Input::White, {{-4, 0, 8, most}, {-most, 8, 9}}).seamWorst, 0.0);
        QVERIFY(reportOf(shown, target, Input::White, {{1}, {7}}).seamWorst > 0); // parts of one line
    }

    void wrongUsesAreFound_data()
    {
        QTest::addColumn<int>("use");
        QTest::addColumn<bool>("isWrong");
        QTest::newRow("as it is meant") << 0 << false;
        QTest::newRow("columns and rows swapped") << 1 << true;
        QTest::newRow("the right half shifted by a pixel") << 2 << true;
        QTest::newRow("red and blue exchanged") << 3 << true;
        QTest::newRow("not written") << 4 << true;
    }
    void wrongUsesAreFound()
    {
        QFETCH(int, use);
        QFETCH(bool, isWrong);
        const QSize size(64, 48);
        const Seams seams = SyntheticWall::seamsOf(size);
        const Measurement wall = SyntheticWall::make(size);
        const Primaries common = commonPrimaries(wall);
        const Target target = targetOf(common, Reach(wall, common).luminanceFor());
        Correction::Coefficient grid(size.width(), size.height());
        QCOMPARE(calculate(wall, target, grid), Correction::enSuccess);
        const Values right = grid.getCoefficient();
        Values written = right;
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                const int pixel = (y * size.width() + x) * 9;
                for (int row = 0; row < 3; ++row) {
                    for (int column = 0; column < 3; ++column) {
                        unsigned short &value = written[pixel + 3 * row + column];
                        if (use == 1)
                            value = right[pixel + 3 * column + row];
                        else if (use == 2 && x > size.width() / 2)
                            value = right[pixel - 9 + 3 * row + column];
                        else if (use == 3)
                            value = right[pixel + 3 * (2 - row) + 2 - column];
                        else if (use == 4)
                            value = row == column ? 32768 : 0;
                    }
                }
            }
        }
        const Measurement shown = SyntheticWall::corrected(wall, written);
        Report worst;
        for (const Input input : {Input::Red, Input::Green, Input::Blue, Input::White}) {
            const Report report = reportOf(shown.shown(input), target, input, seams);
            worst.luminanceDeviation = std::max(worst.luminanceDeviation, report.luminanceDeviation);
            worst.differenceMedian = std::max(worst.differenceMedian, report.differenceMedian);
            worst.difference95 = std::max(worst.difference95, report.difference95);
            worst.differenceWorst = std::max(worst.differenceWorst, report.differenceWorst);
            worst.seamWorst = std::max(worst.seamWorst, report.seamWorst);
        }
        const QString figures = QStringLiteral("deviation %1, difference %2 %3 %4, seams %5")
                                    .arg(worst.luminanceDeviation)
                                    .arg(worst.differenceMedian)
                                    .arg(worst.difference95)
                                    .arg(worst.differenceWorst)
                                    .arg(worst.seamWorst);
        qInfo("%s", qPrintable(figures));
        if (isWrong)
            QVERIFY2(worst.luminanceDeviation > 0.01 && worst.difference95 > 1 && worst.seamWorst > 0.01,
                     qPrintable(figures));
        else
            QVERIFY2(worst.luminanceDeviation < 0.0005 && worst.differenceWorst < 0.05 && worst.seamWorst < 0.0005,
                     qPrintable(figures));
    }

    void mapsShowWhereItIs()
    {
        const Target target = targetOf(sRgb(), 100);
        LightImage shown = white(QSize(4, 1), target, [](int x, int) { return x == 1 ? 110 : x == 2 ? 94 : 100; });
        shown.xyz[9] = unknown;
        const QImage luminance = luminanceMap(shown, 100, 0.1);
        QCOMPARE(luminance.size(), QSize(4, 1));
        QCOMPARE(luminance.pixel(0, 0), qRgb(255, 255, 255));
        QCOMPARE(luminance.pixel(1, 0), qRgb(255, 0, 0));
        QCOMPARE(luminance.pixel(2, 0), qRgb(102, 102, 255));
        QCOMPARE(luminance.pixel(3, 0), qRgb(0, 0, 0));
        const QImage difference = differenceMap(shown, target, Input::White, 1);
        QCOMPARE(difference.pixel(0, 0), qRgb(255, 255, 255));
        QCOMPARE(difference.pixel(1, 0), qRgb(255, 0, 0));
        QCOMPARE(difference.pixel(3, 0), qRgb(0, 0, 0));
        QVERIFY(luminanceMap(shown, 0, 0.1).isNull());
        QVERIFY(luminanceMap(shown, 100, unknown).isNull());
        QVERIFY(luminanceMap(LightImage(), 100, 0.1).isNull());
        QVERIFY(differenceMap(shown, Target(), Input::White, 1).isNull());
        QVERIFY(differenceMap(shown, target, Input::White, 0).isNull());
    }

    void lightThatIsNotThereIsNoReport()
    {
        const Target target = targetOf(sRgb(), 100);
        const LightImage broken{QSize(2, 2), QVector<float>(11, 1)};
        const LightImage valid{QSize(2, 2), QVector<float>(12, 1)};
        QCOMPARE(reportOf(broken, target, Input::White).pixels, 0);
        QCOMPARE(reportOf(LightImage(), target, Input::White).pixels, 0);
        QCOMPARE(reportOf(valid, Target(), Input::White).pixels, 0);
        QCOMPARE(m_log->takeCritical().size(), 3);
        const LightImage nowhere{QSize(2, 2), QVector<float>(12, unknown)};
        QCOMPARE(reportOf(nowhere, target, Input::White, {{1}, {1}}).pixels, 0);
        const LightImage dark{QSize(2, 2), QVector<float>(12, 0)};
        const Report report = reportOf(dark, target, Input::White, {{1}, {1}});
        QCOMPARE(report.pixels, 4);
        QCOMPARE(report.luminanceDeviation, 0.0);
        QCOMPARE(report.seamWorst, 0.0);
        QVERIFY(report.differenceMedian > 50);
    }

private:
    std::optional<TestSupport::LogCapture> m_log;
};

QTEST_GUILESS_MAIN(tst_CalibrationReport)
#include "tst_calibrationreport.moc"

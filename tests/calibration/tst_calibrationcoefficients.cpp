#include "SyntheticWall.h"
#include "support/LogCapture.h"

#include <Correction/Coefficient.h>
#include <calibration/Coefficients.h>
#include <calibration/Report.h>

#include <limits>
#include <optional>

using namespace Calibration;
using Correction::Coefficient;

namespace {

const QVector<unsigned short> unitMatrix{32768, 0, 0, 0, 32768, 0, 0, 0, 32768};

QVector<unsigned short> matrixAt(Coefficient &grid, int x, int y)
{
    return grid.getCoefficient().mid((y * grid.getPixelCol() + x) * 9, 9);
}

/// Nominal light times a factor at every pixel.
Measurement even(const QSize &size, float factor = 1)
{
    const auto nominal = SyntheticWall::nominalLight();
    Measurement measurement(size);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            for (unsigned i = 0; i < 9; ++i)
                measurement.pixel(x, y)[i] = factor * float(nominal[i]);
        }
    }
    return measurement;
}

Target nominalTarget(double factor = 1)
{
    const auto nominal = SyntheticWall::nominalLight();
    Target target;
    for (unsigned i = 0; i < 9; ++i)
        target.light[i] = factor * nominal[i];
    return target;
}

} // namespace

class tst_CalibrationCoefficients : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void valuesAreThoseOfElimination_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("unit");
        QTest::newRow("a wall") << QSize(150, 90) << 32768;
        QTest::newRow("one pixel") << QSize(1, 1) << 32768;
        QTest::newRow("fewer pixels than are calculated together") << QSize(7, 3) << 32768;
        QTest::newRow("more by one") << QSize(13, 5) << 32768;
        QTest::newRow("another unit") << QSize(70, 3) << 4096;
        QTest::newRow("the greatest unit") << QSize(70, 3) << 65535;
    }
    void valuesAreThoseOfElimination()
    {
        QFETCH(QSize, size);
        QFETCH(int, unit);
        const Measurement wall = SyntheticWall::make(size);
        const Primaries common = commonPrimaries(wall);
        const Target target = targetOf(common, Reach(wall, common).luminanceFor());
        Coefficient grid(size.width(), size.height());
        Summary summary;
        QCOMPARE(calculate(wall, target, grid, unit, &summary), Correction::enSuccess);
        QCOMPARE(summary.corrected, size.width() * size.height());
        QCOMPARE(summary.leftAlone, 0);
        QCOMPARE(summary.clipped, 0);

        const QVector<unsigned short> values = grid.getCoefficient();
        int neighbours = 0;
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                std::array<double, 9> columns{};
                std::copy_n(wall.pixel(x, y), 9, columns.begin());
                for (int input = 0; input < 3; ++input) {
                    const double *const t = target.light + 3 * input;
                    const auto amounts = SyntheticWall::solved(columns, {t[0], t[1], t[2]});
                    for (int led = 0; led < 3; ++led) {
                        const int value = values[(y * size.width() + x) * 9 + 3 * led + input];
                        const auto expected = int(std::lround(std::max(amounts[unsigned(led)], 0.0) * unit));
                        QVERIFY2(
                            std::abs(value - expected) <= 1,
                            qPrintable(QStringLiteral("%1,%2: %3 instead of %4").arg(x).arg(y).arg(value).arg(expected)));
                        neighbours += value != expected ? 1 : 0;
                    }
                }
            }
        }
        QVERIFY2(neighbours * 20 <= values.size(), qPrintable(QString::number(neighbours))); // ties of rounding
    }

    void aWallOnTargetKeepsTheUnitMatrix()
    {
        Coefficient grid(20, 10);
        QCOMPARE(calculate(even(QSize(20, 10)), nominalTarget(), grid), Correction::enSuccess);
        for (int x = 0; x < 20; ++x)
            QCOMPARE(matrixAt(grid, x, x / 2), unitMatrix);
    }

    void rowsAreOutputColours()
    {
        // Red is to be mixed with a tenth of green: the green LED's row, the red input's column.
        const auto nominal = SyntheticWall::nominalLight();
        Target target = nominalTarget(0.5);
        for (unsigned i = 0; i < 3; ++i)
            target.light[i] += 0.1 * nominal[3 + i];
        Coefficient grid(1, 1);
        QCOMPARE(calculate(even(QSize(1, 1)), target, grid), Correction::enSuccess);
        const QVector<unsigned short> expected{16384, 0, 0, 3277, 16384, 0, 0, 0, 16384};
        QCOMPARE(matrixAt(grid, 0, 0), expected);
    }

    void pixelsThatCannotBeCorrectedAreLeftAlone()
    {
        Measurement wall = even(QSize(10, 2));
        wall.setState(QRect(1, 0, 1, 1), PixelState::Hole);
        wall.setState(QRect(2, 0, 1, 1), PixelState::Dead);
        wall.pixel(3, 0)[4] = std::numeric_limits<float>::quiet_NaN();
        wall.pixel(4, 0)[8] = std::numeric_limits<float>::infinity();
        std::fill_n(wall.pixel(5, 0), 9, 0.0F);
        std::copy_n(wall.pixel(6, 0), 3, wall.pixel(6, 0) + 3); // green as red
        std::fill_n(wall.pixel(7, 0), 9, 3e38F);
        std::fill_n(wall.pixel(8, 0), 9, 1e-40F);
        Coefficient grid(10, 2);
        Summary summary;
        QCOMPARE(calculate(wall, nominalTarget(0.5), grid, 32768, &summary), Correction::enSuccess);
        QCOMPARE(summary.leftAlone, 8);
        QCOMPARE(summary.corrected, 12);
        const QVector<unsigned short> half{16384, 0, 0, 0, 16384, 0, 0, 0, 16384};
        for (int x = 0; x < 10; ++x)
            QCOMPARE(matrixAt(grid, x, 0), x >= 1 && x <= 8 ? unitMatrix : half);
        QCOMPARE(calculate(wall, nominalTarget(0.5), grid, 1000), Correction::enSuccess);
        QCOMPARE(matrixAt(grid, 1, 0), (QVector<unsigned short>{1000, 0, 0, 0, 1000, 0, 0, 0, 1000}));
    }

    void valuesAreClipped()
    {
        Measurement wall = even(QSize(3, 1));
        for (int i = 0; i < 9; ++i)
            wall.pixel(1, 0)[i] /= 3; // the target is three times the light of the LEDs: 98304
        for (int i = 0; i < 3; ++i)
            wall.pixel(2, 0)[i] += 0.2F * wall.pixel(2, 0)[3 + i]; // its red is not as red as the target's
        Coefficient grid(3, 1);
        Summary summary;
        QCOMPARE(calculate(wall, nominalTarget(), grid, 32768, &summary), Correction::enSuccess);
        QCOMPARE(summary.clipped, 2);
        QCOMPARE(summary.corrected, 3);
        QCOMPARE(matrixAt(grid, 0, 0), unitMatrix);
        QCOMPARE(matrixAt(grid, 1, 0), (QVector<unsigned short>{65535, 0, 0, 0, 65535, 0, 0, 0, 65535}));
        QCOMPARE(matrixAt(grid, 2, 0), unitMatrix); // -0.2 of green, clipped
    }

    void copiesOfTheGridKeepTheirValues()
    {
        Coefficient grid(8, 8);
        const Coefficient copy = grid;
        const QVector<unsigned short> before = grid.getCoefficient();
        QCOMPARE(calculate(even(QSize(8, 8)), nominalTarget(), grid), Correction::enSuccess);
        QCOMPARE(before, QVector<unsigned short>(8 * 8 * 9, 0));
        QCOMPARE(Coefficient(copy).getCoefficient(), before);
        QCOMPARE(matrixAt(grid, 7, 7), unitMatrix);
        // Values that are not shared are overwritten in place.
        const unsigned short *const place = grid.getCoefficient().constData();
        QCOMPARE(calculate(even(QSize(8, 8)), nominalTarget(0.5), grid), Correction::enSuccess);
        QCOMPARE(grid.getCoefficient().constData(), place);
        QCOMPARE(grid.getPixelCol(), 8);
        QCOMPARE(grid.getPixelRow(), 8);
        // A grid that is invalid until it gets values.
        grid.setPixelCol(4);
        QCOMPARE(calculate(even(QSize(4, 8)), nominalTarget(), grid), Correction::enSuccess);
        QCOMPARE(grid.getCoefficient().size(), 4 * 8 * 9);
    }

    void wrongArgumentsAreRefused()
    {
        Coefficient grid(4, 2);
        QVector<unsigned short> values(4 * 2 * 9, 7);
        QCOMPARE(grid.setCoefficient(values), Correction::enSuccess);
        const auto refused = [&](const Measurement &wall, const Target &target, int unit, Correction::EnumErrorCode code) {
            const bool isRefused = calculate(wall, target, grid, unit) == code && m_log->takeCritical().size() == 1;
            return isRefused && grid.getCoefficient() == values;
        };
        const Measurement wall = even(QSize(4, 2));
        QVERIFY(refused(Measurement(), nominalTarget(), 32768, Correction::enOutOfRange));
        QVERIFY(refused(even(QSize(2, 4)), nominalTarget(), 32768, Correction::enOutOfRange));
        QVERIFY(refused(wall, Target(), 32768, Correction::enInvalidParameter));
        QVERIFY(
            refused(wall, nominalTarget(std::numeric_limits<double>::quiet_NaN()), 32768, Correction::enInvalidParameter));
        QVERIFY(refused(wall, nominalTarget(), 0, Correction::enInvalidParameter));
        QVERIFY(refused(wall, nominalTarget(), 65536, Correction::enInvalidParameter));

        QVERIFY(predicted(even(QSize(2, 4)), grid).isEmpty());
        QVERIFY(predicted(wall, grid, 0).isEmpty());
        QCOMPARE(m_log->takeCritical().size(), 2);
        grid.setPixelCol(2);
        QVERIFY(predicted(even(QSize(2, 2)), grid).isEmpty());
        QCOMPARE(m_log->takeCritical().size(), 1);
    }

    void predictsWhatTheWallShows()
    {
        const QSize size(30, 20);
        Measurement wall = SyntheticWall::make(size);
        wall.setState(QRect(3, 3, 1, 1), PixelState::Dead);
        const Target target = targetOf(sRgb(), 900); // beyond some pixels: their LEDs give no more than all
        Coefficient grid(size.width(), size.height());
        QCOMPARE(calculate(wall, target, grid), Correction::enSuccess);
        const Measurement shown = predicted(wall, grid);
        QCOMPARE(shown.values(), SyntheticWall::corrected(wall, grid.getCoefficient()).values());
        QCOMPARE(shown.states(), wall.states());
    }

    void seamsBetweenShotsAreFeathered()
    {
        // The right half was exposed 4 % longer, in green 6 %, the lower half 3 %.
        const QSize size(48, 40);
        Measurement wall = SyntheticWall::make(size, {0.01, 0, 0, 0});
        wall.setState(QRect(23, 7, 2, 1), PixelState::Dead);
        wall.setState(QRect(30, 20, 1, 1), PixelState::Dead);
        const Seams seams{{24}, {20}};
        Measurement measured = wall;
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                for (int i = 0; i < 9; ++i)
                    measured.pixel(x, y)[i] *= (x < 24 ? 1 : i / 3 == 1 ? 1.06F : 1.04F) * (y < 20 ? 1 : 1.03F);
            }
        }
        measured.setState(QRect(30, 20, 1, 1), PixelState::Live);
        measured.pixel(30, 20)[1] = std::numeric_limits<float>::quiet_NaN();
        const Target target = targetOf(sRgb(), 500);
        const auto seamContrast = [&](const Measurement &from) {
            Coefficient grid(size.width(), size.height());
            calculate(from, target, grid);
            return reportOf(predicted(wall, grid).shown(Input::White), target, Input::White, seams);
        };
        const Report before = seamContrast(measured);
        const Report after = seamContrast(feathered(measured, seams, 16));
        QVERIFY2(before.seamMean > 0.03 && before.seamWorst > 0.04, qPrintable(QString::number(before.seamMean)));
        // The rest is the slope beside the seams.
        QVERIFY2(after.seamWorst * 4 < before.seamWorst, qPrintable(QString::number(after.seamWorst)));
        // Away from the seams nothing changes.
        const Measurement closed = feathered(measured, seams, 16);
        for (const QPoint &far : {QPoint(7, 3), QPoint(40, 3), QPoint(7, 36), QPoint(47, 39)})
            QVERIFY(std::equal(closed.pixel(far.x(), far.y()), closed.pixel(far.x(), far.y()) + 9,
                               measured.pixel(far.x(), far.y())));
        QVERIFY(!std::equal(closed.pixel(8, 3), closed.pixel(8, 3) + 9, measured.pixel(8, 3)));
    }

    void seamsThatAreNoneChangeNothing()
    {
        const Measurement wall = SyntheticWall::make(QSize(20, 20));
        QCOMPARE(feathered(wall, {{10}, {}}, 0).values(), wall.values());
        QCOMPARE(feathered(wall, {{10}, {}}, -5).values(), wall.values());
        QCOMPARE(feathered(wall, {{-3, 0, 20, 30, 2147483647}, {-2147483647, 0, 20}}, 4).values(), wall.values());
        QCOMPARE(feathered(wall, Seams(), 4).values(), wall.values());
        QVERIFY(feathered(Measurement(), {{1}, {1}}, 4).isEmpty());
        // A stretch without a usable pixel on one side.
        Measurement half = wall;
        half.setState(QRect(0, 0, 10, 20), PixelState::Hole);
        QCOMPARE(feathered(half, {{10}, {}}, 4).values(), half.values());
    }

private:
    std::optional<TestSupport::LogCapture> m_log;
};

QTEST_GUILESS_MAIN(tst_CalibrationCoefficients)
#include "tst_calibrationcoefficients.moc"

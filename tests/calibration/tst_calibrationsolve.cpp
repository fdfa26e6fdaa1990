// The vectors of each instruction set against elimination.

#include "SyntheticWall.h"

#include <calibration/Solve.h>

#include <QtTest/QtTest>

#include <algorithm>

using namespace Calibration;

class tst_CalibrationSolve : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void valuesAreThoseOfElimination_data()
    {
        QTest::addColumn<int>("pixels");
        for (const int pixels : {0, 1, 2, 3, 4, 5, 7, 8, 15, 16, 17, 31, 33, 63, 64, 65, 1000})
            QTest::addRow("%d pixels", pixels) << pixels;
    }
    void valuesAreThoseOfElimination()
    {
        QFETCH(int, pixels);
        const Measurement wall = SyntheticWall::make(QSize(pixels + 1, 1));
        QVector<PixelState> states(pixels, PixelState::Live);
        for (int i = 0; i < pixels; i += 5)
            states[i] = i % 2 ? PixelState::Dead : PixelState::Hole;
        // Half of the nominal light, with some red in green, and with less green in blue than its LED has.
        const auto nominal = SyntheticWall::nominalLight();
        double target[lightLength];
        for (unsigned i = 0; i < 9; ++i)
            target[i] = 32768 * 0.5 * (nominal[i] + (i / 3 == 1 ? 0.1 * nominal[i - 3] : 0));
        QVector<unsigned short> values((pixels + 1) * 9, 4711);
        Summary summary;
        solve(wall.values().constData(), states.constData(), pixels, target, 32768, values.data(), summary);

        int corrected = 0;
        int clipped = 0;
        for (int i = 0; i < pixels; ++i) {
            std::array<double, 9> columns{};
            std::copy_n(wall.pixel(i, 0), 9, columns.begin());
            bool isClipped = false;
            for (int input = 0; input < 3; ++input) {
                const auto amounts =
                    SyntheticWall::solved(columns, {target[3 * input], target[3 * input + 1], target[3 * input + 2]});
                for (int led = 0; led < 3; ++led) {
                    const double exact = amounts[unsigned(led)];
                    const int value = values[9 * i + 3 * led + input];
                    if (states[i] == PixelState::Live)
                        QVERIFY(std::abs(value - std::min(std::max(exact, 0.0), 65535.0)) < 0.6);
                    else
                        QCOMPARE(value, led == input ? 32768 : 0);
                    isClipped = isClipped || exact < -0.5 || exact >= 65535.5;
                }
            }
            corrected += states[i] == PixelState::Live ? 1 : 0;
            clipped += states[i] == PixelState::Live && isClipped ? 1 : 0;
        }
        QCOMPARE(summary.corrected, corrected);
        QCOMPARE(summary.leftAlone, pixels - corrected);
        QCOMPARE(summary.clipped, clipped);
        for (int i = pixels * 9; i < values.size(); ++i)
            QCOMPARE(values[i], static_cast<unsigned short>(4711));
    }
};

QTEST_GUILESS_MAIN(tst_CalibrationSolve)
#include "tst_calibrationsolve.moc"

#include <calibration/Measurement.h>

#include <QtTest/QtTest>

#include <cmath>
#include <limits>

using namespace Calibration;

namespace {

constexpr float unknown = std::numeric_limits<float>::quiet_NaN();

/// Pixels of one light, 1 to 9 times `factor`.
Measurement even(const QSize &size, float factor = 1)
{
    Measurement measurement(size);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            for (int i = 0; i < lightLength; ++i)
                measurement.pixel(x, y)[i] = factor * float(i + 1);
        }
    }
    return measurement;
}

} // namespace

class tst_CalibrationMeasurement : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void beginsUnmeasured()
    {
        const Measurement measurement(QSize(3, 2));
        QCOMPARE(measurement.values().size(), 3 * 2 * 9);
        for (const float value : measurement.values())
            QVERIFY(std::isnan(value));
        QCOMPARE(measurement.count(PixelState::Live), 6);
        QVERIFY(!measurement.isUsable(0, 0));
    }

    void sizesThatCannotBeHeldHaveNoPixels_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("empty") << QSize(0, 5);
        QTest::newRow("negative") << QSize(-2, -2);
        QTest::newRow("more than one container") << QSize(8000, 8000);
        QTest::newRow("more than an int") << QSize(1 << 30, 1 << 30);
    }
    void sizesThatCannotBeHeldHaveNoPixels()
    {
        QFETCH(QSize, size);
        const Measurement measurement(size);
        QVERIFY(measurement.isEmpty());
        QCOMPARE(measurement.size(), QSize());
    }

    void aWrongNumberOfValuesIsRefused()
    {
        QVERIFY(Measurement(QSize(2, 2), QVector<float>(35)).isEmpty());
        QCOMPARE(Measurement(QSize(2, 2), QVector<float>(36)).size(), QSize(2, 2));
    }

    void copiesDoNotChange()
    {
        Measurement measurement = even(QSize(2, 2));
        const Measurement copy = measurement;
        measurement.pixel(1, 1)[0] = 77;
        QCOMPARE(copy.pixel(1, 1)[0], 1.0F);
        QCOMPARE(measurement.pixel(1, 1)[0], 77.0F);
    }

    void statesStayOnTheScreen()
    {
        Measurement measurement = even(QSize(4, 3));
        measurement.setState(QRect(2, 1, 50, 50), PixelState::Hole);
        measurement.setState(QRect(-5, -5, 3, 3), PixelState::Dead);
        QCOMPARE(measurement.count(PixelState::Hole), 4);
        QCOMPARE(measurement.count(PixelState::Dead), 0);
        QCOMPARE(measurement.state(1, 1), PixelState::Live);
        QCOMPARE(measurement.state(3, 2), PixelState::Hole);
    }

    void pixelsWithoutLightAreDead()
    {
        Measurement measurement = even(QSize(5, 5), 100);
        measurement.pixel(1, 0)[1] = 4;       // of a median of 200: red below 5 %
        measurement.pixel(2, 0)[4] = 24;      // of 500
        measurement.pixel(3, 0)[7] = 39;      // of 800
        measurement.pixel(4, 0)[1] = 11;      // still above
        measurement.pixel(0, 1)[8] = unknown; // not measured
        measurement.pixel(1, 1)[0] = std::numeric_limits<float>::infinity();
        measurement.pixel(2, 1)[1] = 0;
        measurement.setState(QRect(2, 1, 1, 1), PixelState::Hole);
        QCOMPARE(measurement.markDead(), 5);
        QCOMPARE(measurement.count(PixelState::Dead), 5);
        QCOMPARE(measurement.state(2, 1), PixelState::Hole);
        QCOMPARE(measurement.state(4, 0), PixelState::Live);
        QCOMPARE(measurement.markDead(), 0);
    }

    void anUnmeasuredScreenIsDead()
    {
        Measurement measurement(QSize(2, 2));
        QCOMPARE(measurement.markDead(), 4);
    }

    void showsInputs()
    {
        Measurement measurement = even(QSize(2, 1));
        measurement.setState(QRect(1, 0, 1, 1), PixelState::Dead);
        const auto first = [&](Input input) { return measurement.shown(input).xyz.mid(0, 3); };
        QCOMPARE(first(Input::Red), (QVector<float>{1, 2, 3}));
        QCOMPARE(first(Input::Green), (QVector<float>{4, 5, 6}));
        QCOMPARE(first(Input::Blue), (QVector<float>{7, 8, 9}));
        QCOMPARE(first(Input::White), (QVector<float>{12, 15, 18}));
        const LightImage white = measurement.shown(Input::White);
        QVERIFY(white.isValid());
        QVERIFY(std::isnan(white.xyz[3]) && std::isnan(white.xyz[4]) && std::isnan(white.xyz[5]));
    }
};

QTEST_GUILESS_MAIN(tst_CalibrationMeasurement)
#include "tst_calibrationmeasurement.moc"

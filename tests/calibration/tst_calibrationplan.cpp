#include "SyntheticWall.h"
#include "support/LogCapture.h"

#include <Correction/IScreen.h>
#include <Correction/ScreenManager.h>
#include <calibration/Plan.h>
#include <simulator/VirtualWall.h>

#include <QtGui/QImage>

#include <limits>
#include <optional>

using namespace Calibration;

namespace {

/// A camera with a normal point spread: photosites see the wall at their centres.
class Camera
{
public:
    Camera(const QSize &photo, const QTransform &toPhoto, double spread)
        : m_photo(photo), m_toScreen(toPhoto.inverted()), m_spread(spread)
    {
    }

    /// The lit pixels of a shot alone, in its colour.
    LightImage photograph(const Measurement &wall, const Plan &plan, const Shot &shot) const
    {
        LightImage photo{m_photo, QVector<float>(m_photo.width() * m_photo.height() * 3)};
        const int reach = static_cast<int>(std::ceil(6 * m_spread)) + 1;
        const double height = 1 / (2 * std::acos(-1.0) * m_spread * m_spread);
        for (int v = 0; v < m_photo.height(); ++v) {
            for (int u = 0; u < m_photo.width(); ++u) {
                const QPointF at = m_toScreen.map(QPointF(u + 0.5, v + 0.5));
                const QPoint near(static_cast<int>(std::floor(at.x())), static_cast<int>(std::floor(at.y())));
                const int period = plan.interval() + 1;
                const auto firstLit = [&](int phase, int from) {
                    return std::max(phase, from + ((phase - from) % period + period) % period);
                };
                const int right = std::min(near.x() + reach, wall.size().width() - 1);
                const int bottom = std::min(near.y() + reach, wall.size().height() - 1);
                for (int y = firstLit(shot.phase.y(), near.y() - reach); y <= bottom; y += period) {
                    for (int x = firstLit(shot.phase.x(), near.x() - reach); x <= right; x += period) {
                        const double dx = (at.x() - x - 0.5) / m_spread;
                        const double dy = (at.y() - y - 0.5) / m_spread;
                        const double share = height * std::exp(-(dx * dx + dy * dy) / 2);
                        for (int i = 0; i < 3; ++i)
                            photo.xyz[(v * m_photo.width() + u) * 3 + i] +=
                                float(share) * wall.pixel(x, y)[3 * static_cast<int>(shot.led) + i];
                    }
                }
            }
        }
        return photo;
    }

private:
    QSize m_photo;
    QTransform m_toScreen;
    double m_spread;
};

/// Relative errors of all values: root of the mean square, and the greatest.
struct Errors {
    double root = 0;
    double greatest = 0;
    QPoint at; ///< Where the greatest is.
};

Errors errorsOf(const Measurement &measured, const Measurement &wall, const QRect &part)
{
    Errors errors;
    int count = 0;
    for (int y = part.top(); y <= part.bottom(); ++y) {
        for (int x = part.left(); x <= part.right(); ++x) {
            for (int led = 0; led < 3; ++led) {
                const double error = double(measured.pixel(x, y)[3 * led + 1]) / double(wall.pixel(x, y)[3 * led + 1]) - 1;
                errors.root += error * error;
                if (!(std::abs(error) <= errors.greatest)) { // NaN counts, too
                    errors.greatest = std::abs(error);
                    errors.at = QPoint(x, y);
                }
                ++count;
            }
        }
    }
    errors.root = std::sqrt(errors.root / count);
    return errors;
}

/// The screen's corners at these corners of the photo.
QTransform seen(const QSize &screen, const QPolygonF &corners)
{
    const double w = screen.width();
    const double h = screen.height();
    QTransform transform;
    QTransform::quadToQuad(QPolygonF({QPointF(0, 0), QPointF(w, 0), QPointF(w, h), QPointF(0, h)}), corners, transform);
    return transform;
}

} // namespace

class tst_CalibrationPlan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void lightsEveryPixelOnce_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("interval");
        QTest::addColumn<int>("shots");
        QTest::newRow("full fields") << QSize(7, 5) << 0 << 3;
        QTest::newRow("2 x 2 phases") << QSize(7, 5) << 1 << 12;
        QTest::newRow("4 x 4 phases") << QSize(7, 5) << 3 << 48;
        QTest::newRow("a screen smaller than the period") << QSize(2, 1) << 3 << 6;
    }
    void lightsEveryPixelOnce()
    {
        QFETCH(QSize, size);
        QFETCH(int, interval);
        const Plan plan(QRect(QPoint(30, 40), size), interval);
        QTEST(plan.shots().size(), "shots");
        for (const Led led : {Led::Red, Led::Green, Led::Blue}) {
            for (int y = 0; y < size.height(); ++y) {
                for (int x = 0; x < size.width(); ++x) {
                    int lit = 0;
                    for (const Shot &shot : plan.shots())
                        lit += shot.led == led && plan.isLit(shot, QPoint(x, y)) ? 1 : 0;
                    QCOMPARE(lit, 1);
                }
            }
        }
        QVERIFY(!plan.isLit(plan.shots().first(), QPoint(-interval - 1, 0)));
    }

    void refusesScreensWithoutPixels()
    {
        QVERIFY(Plan(QRect(), 1).shots().isEmpty());
        QVERIFY(Plan(QRect(0, 0, 5, 5), -1).shots().isEmpty());
        QVERIFY(Plan(QRect(0, 0, 5, 5), std::numeric_limits<int>::max()).shots().isEmpty());
    }

    void widerSpreadsTakeMorePhases()
    {
        QCOMPARE(Plan::intervalFor(0), 0);
        QCOMPARE(Plan::intervalFor(-1), 0);
        QCOMPARE(Plan::intervalFor(std::numeric_limits<double>::quiet_NaN()), 0);
        QCOMPARE(Plan::intervalFor(0.2), 0);
        QCOMPARE(Plan::intervalFor(0.45), 1); // 2.6 % of the light is farther than a pixel away
        QCOMPARE(Plan::intervalFor(0.45, 0.001), 2);
        QCOMPARE(Plan::intervalFor(1e9), 31);
    }

    void devicesShowTheShots()
    {
        // Two devices that meet at column 384: no multiple of the period of 5.
        auto &wall = Simulator::VirtualWall::instance();
        QString error;
        QVERIFY2(wall.load(QStringLiteral("demo"), &error), qPrintable(error));
        auto *const manager = Correction::ScreenManager::getInstance();
        manager->init();
        QCOMPARE(manager->refreshScreen(), Correction::enSuccess);
        m_log->takeCritical(); // new sub-screens
        const QString id = manager->getNameMapping().firstKey();
        Correction::IScreen *const screen = manager->tryGetScreen(id);
        QRect rect;
        QCOMPARE(screen->tryGetRect(rect), Correction::enSuccess);
        const Plan plan(rect, 4);
        QCOMPARE(plan.shots().size(), 75);
        for (int number = 0; number < plan.shots().size(); number += 4) {
            const Shot &shot = plan.shots()[number];
            QCOMPARE(screen->setPixelImage(shot.image), Correction::enSuccess);
            const QImage picture = wall.pictures().pattern(id);
            QCOMPARE(picture.size(), rect.size());
            const QRgb lit =
                qRgb(shot.led == Led::Red ? 255 : 0, shot.led == Led::Green ? 255 : 0, shot.led == Led::Blue ? 255 : 0);
            QImage expected(picture.size(), picture.format());
            for (int y = 0; y < expected.height(); ++y) {
                auto *const line = reinterpret_cast<QRgb *>(expected.scanLine(y));
                for (int x = 0; x < expected.width(); ++x)
                    line[x] = plan.isLit(shot, QPoint(x, y)) ? lit : qRgb(0, 0, 0);
            }
            QVERIFY2(picture == expected, qPrintable(QStringLiteral("shot %1").arg(number)));
        }
    }

    void takesIdealPhotosApart()
    {
        const QSize size(9, 7);
        const Measurement wall = SyntheticWall::make(size);
        const Plan plan(QRect(QPoint(100, 50), size), 2);
        Measurement measured(size);
        for (int number = 0; number < plan.shots().size(); ++number) {
            const Shot &shot = plan.shots()[number];
            LightImage photo{size, QVector<float>(size.width() * size.height() * 3, -1)}; // wrong where it must not be read
            for (int y = 0; y < size.height(); ++y) {
                for (int x = 0; x < size.width(); ++x) {
                    if (plan.isLit(shot, QPoint(x, y)))
                        std::copy_n(wall.pixel(x, y) + 3 * static_cast<int>(shot.led), 3,
                                    photo.xyz.data() + (y * size.width() + x) * 3);
                }
            }
            QCOMPARE(plan.takeApart(number, photo, measured), Correction::enSuccess);
        }
        QCOMPARE(measured.values(), wall.values());
    }

    void takesPhotosApart_data()
    {
        QTest::addColumn<QPolygonF>("corners");
        QTest::addColumn<int>("interval");
        QTest::addColumn<bool>("isCut");
        QTest::addColumn<double>("root");
        QTest::addColumn<double>("greatest");
        const QPolygonF straight({QPointF(15, 15), QPointF(135, 15), QPointF(135, 95), QPointF(15, 95)});
        const QPolygonF tilted({QPointF(18, 14), QPointF(133, 18), QPointF(136, 92), QPointF(13, 97)});
        const QPolygonF whole({QPointF(0, 0), QPointF(120, 0), QPointF(120, 80), QPointF(0, 80)});
        QTest::newRow("3 x 3 phases") << straight << 2 << false << 0.001 << 0.002;
        QTest::newRow("tilted") << tilted << 2 << false << 0.001 << 0.002;
        QTest::newRow("2 x 2 phases") << straight << 1 << false << 0.012 << 0.04;
        QTest::newRow("a photo that ends with the screen") << whole << 2 << true << 0.001 << 0.002;
    }
    void takesPhotosApart()
    {
        QFETCH(QPolygonF, corners);
        QFETCH(int, interval);
        QFETCH(bool, isCut);
        QFETCH(double, root);
        QFETCH(double, greatest);
        const QSize size(24, 16);
        const Measurement wall = SyntheticWall::make(size);
        const QTransform toPhoto = seen(size, corners);
        const QSize photoSize = isCut ? QSize(120, 80) : QSize(150, 110);
        const Plan plan(QRect(QPoint(), size), interval);
        const Camera camera(photoSize, toPhoto, 0.45);
        Measurement measured(size);
        for (int number = 0; number < plan.shots().size(); ++number) {
            const LightImage photo = camera.photograph(wall, plan, plan.shots()[number]);
            QCOMPARE(plan.takeApart(number, photo, toPhoto, measured), Correction::enSuccess);
        }
        const Errors errors = errorsOf(measured, wall, QRect(QPoint(), size));
        QVERIFY2(errors.root < root && errors.greatest < greatest,
                 qPrintable(QStringLiteral("errors of %1, at most %2 at %3,%4")
                                .arg(errors.root)
                                .arg(errors.greatest)
                                .arg(errors.at.x())
                                .arg(errors.at.y())));
    }

    void phasesKeepNeighboursApart()
    {
        // In the middle of the screen: pixels at its border lose light without getting any from beyond.
        const QSize size(24, 16);
        const QRect middle(3, 3, 18, 10);
        const Measurement wall = SyntheticWall::make(size);
        const QTransform toPhoto = QTransform::fromTranslate(15, 15).scale(5, 5);
        const Camera camera(QSize(150, 110), toPhoto, 0.45);
        double roots[2];
        for (int interval = 0; interval < 2; ++interval) {
            const Plan plan(QRect(QPoint(), size), interval);
            Measurement measured(size);
            for (int number = 0; number < plan.shots().size(); ++number) {
                const LightImage photo = camera.photograph(wall, plan, plan.shots()[number]);
                QCOMPARE(plan.takeApart(number, photo, toPhoto, measured), Correction::enSuccess);
            }
            roots[interval] = errorsOf(measured, wall, middle).root;
        }
        QVERIFY2(roots[0] > 0.025 && roots[1] < 0.006, qPrintable(QStringLiteral("%1 %2").arg(roots[0]).arg(roots[1])));
    }

    void pixelsOutsideThePhotoAreNotMeasured()
    {
        const Plan plan(QRect(0, 0, 4, 2), 0);
        Measurement measured(QSize(4, 2));
        const LightImage photo{QSize(10, 10), QVector<float>(300, 2)};
        QCOMPARE(plan.takeApart(0, photo, QTransform::fromScale(5, 5), measured), Correction::enSuccess);
        QCOMPARE(measured.pixel(1, 1)[0], 2.0F);
        QVERIFY(std::isnan(measured.pixel(2, 1)[0]));
        // A photo that sees nothing but the middle of a pixel.
        QCOMPARE(plan.takeApart(0, photo, QTransform::fromScale(50, 50).translate(-0.4, -0.4), measured),
                 Correction::enSuccess);
        QVERIFY(std::isnan(measured.pixel(0, 0)[0]));
    }

    void wrongPhotosAreRefused()
    {
        const Plan plan(QRect(0, 0, 4, 2), 1);
        Measurement measured(QSize(4, 2));
        const LightImage photo{QSize(4, 2), QVector<float>(24, 1)};
        const LightImage broken{QSize(4, 2), QVector<float>(23, 1)};
        const LightImage large{QSize(8, 4), QVector<float>(96, 1)};
        Measurement other(QSize(2, 2));
        const auto refused = [this](Correction::EnumErrorCode code, Correction::EnumErrorCode expected) {
            return code == expected && m_log->takeCritical().size() == 1;
        };
        QVERIFY(refused(plan.takeApart(-1, photo, measured), Correction::enOutOfRange));
        QVERIFY(refused(plan.takeApart(12, photo, measured), Correction::enOutOfRange));
        QVERIFY(refused(plan.takeApart(0, broken, measured), Correction::enOutOfRange));
        QVERIFY(refused(plan.takeApart(0, LightImage(), QTransform(), measured), Correction::enOutOfRange));
        QVERIFY(refused(plan.takeApart(0, large, measured), Correction::enOutOfRange));
        QVERIFY(refused(plan.takeApart(0, photo, other), Correction::enOutOfRange));
        const double nan = std::numeric_limits<double>::quiet_NaN();
        for (const QTransform &transform :
             {QTransform::fromScale(0, 0), QTransform(1, 0, -1, 0, 1, 0, 0, 0, 1), QTransform(nan, 0, 0, 0, 1, 0, 0, 0, 1)})
            QVERIFY(refused(plan.takeApart(0, photo, transform, measured), Correction::enInvalidParameter));
        for (const float value : measured.values())
            QVERIFY(std::isnan(value));
    }

private:
    std::optional<TestSupport::LogCapture> m_log;
};

QTEST_GUILESS_MAIN(tst_CalibrationPlan)
#include "tst_calibrationplan.moc"

// A host that calibrates: it measures the virtual wall, writes coefficients, and reports what the wall then shows.

#include "tour.h"

#include <calibration/Coefficients.h>
#include <calibration/Plan.h>
#include <calibration/Report.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>

#include <algorithm>

namespace {

/// What an ideal camera sees of the screen.
Calibration::LightImage photograph()
{
    const Simulator::Photo photo = Simulator::VirtualWall::instance().pictures().photograph(QStringLiteral("screen"));
    Calibration::LightImage light{photo.size, QVector<float>(static_cast<int>(photo.xyz.size()))};
    std::copy(photo.xyz.begin(), photo.xyz.end(), light.xyz.begin());
    return light;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    Simulator::Device device = Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 1, 1, QSize(8, 6));
    device.leds = Simulator::ledPreset(QStringLiteral("mixed"));
    Simulator::VirtualWall::instance().setDevices({device});

    Correction::ScreenManager *const manager = Correction::ScreenManager::getInstance();
    manager->init();
    EXPECT(manager->refreshScreen() == Correction::enSuccess);
    Correction::IScreen *const screen = manager->tryGetScreen(QStringLiteral("screen"));
    EXPECT(screen);
    QRect rect;
    EXPECT(screen->tryGetRect(rect) == Correction::enSuccess);

    const Calibration::Plan plan(rect, Calibration::Plan::intervalFor(0));
    const auto measured = [&] {
        Calibration::Measurement measurement(rect.size());
        for (int i = 0; i < plan.shots().size(); ++i) {
            EXPECT(screen->setPixelImage(plan.shots()[i].image) == Correction::enSuccess);
            EXPECT(plan.takeApart(i, photograph(), measurement) == Correction::enSuccess);
        }
        return measurement;
    };
    const Calibration::Measurement before = measured();
    const Calibration::Primaries primaries = Calibration::commonPrimaries(before);
    const Calibration::Target target =
        Calibration::targetOf(primaries, Calibration::Reach(before, primaries).luminanceFor());
    Correction::Coefficient grid(rect.width(), rect.height());
    EXPECT(Calibration::calculate(before, target, grid) == Correction::enSuccess);
    EXPECT(screen->setCoefficients(rect, grid) == Correction::enSuccess);

    const auto report = [&](const Calibration::Measurement &measurement) {
        return Calibration::reportOf(measurement.shown(Calibration::Input::White), target, Calibration::Input::White);
    };
    const Calibration::Report after = report(measured());
    EXPECT(after.pixels == 48);
    EXPECT(report(before).luminanceDeviation > 0.02);
    EXPECT(after.luminanceDeviation < 0.0005 && after.differenceWorst < 0.05);
    return 0;
}

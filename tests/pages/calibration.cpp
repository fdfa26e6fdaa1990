#include <Correction/IScreen.h>
#include <calibration/Plan.h>
#include <calibration/Target.h>

#include <functional>

namespace Pages {

struct Camera {
    std::function<Calibration::LightImage()> photograph;
};

Calibration::Measurement measured(Correction::IScreen *screen, const QRect &screenRect, Camera &camera,
                                  const QTransform &toPhoto)
{
    const int interval = Calibration::Plan::intervalFor(0.53); // spread of a pixel's light, in pixels: interval 2
    const Calibration::Plan plan(screenRect, interval);
    Calibration::Measurement measurement(screenRect.size());
    for (int i = 0; i < plan.shots().size(); ++i) {
        screen->setPixelImage(plan.shots()[i].image);
        plan.takeApart(i, camera.photograph(), toPhoto, measurement);
    }
    measurement.markDead();
    return measurement;
}

Calibration::Target target(const Calibration::Measurement &measurement)
{
    const Calibration::Primaries primaries = Calibration::commonPrimaries(measurement, 0.001);
    const Calibration::Reach reach(measurement, primaries);
    const Calibration::Target target = Calibration::targetOf(primaries, reach.luminanceFor(0.001));
    return target;
}

} // namespace Pages

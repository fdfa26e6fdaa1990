#include <simulator/Pictures.h>

#include "CabinetLight.h"
#include "Sensor.h"
#include "device/Act.h"
#include "pictures/Canvas.h"
#include "pictures/Parts.h"

namespace Simulator {

namespace {

Photo taken(const WallState &screen, const Camera &camera)
{
    const QVector<Part> parts = partsOf(screen);
    const QRect whole = unitedRect(parts);
    Photo photo;
    if (whole.isEmpty() || qint64(whole.width()) * whole.height() > Canvas::mostPixels)
        return photo;
    photo.size = whole.size();
    photo.xyz.resize(3 * static_cast<std::size_t>(whole.width()) * static_cast<std::size_t>(whole.height()));
    for (int i = 0; i < screen.devices.size(); ++i) {
        const DeviceState &device = screen.devices[i];
        const QRect frame = device.description.rect();
        const TestImage image(device.pattern, frame.size());
        for (const Part &part : parts) {
            if (part.device != i)
                continue;
            CabinetLight light(screen, device, *part.cabinet, image);
            const QPoint place = part.rect.topLeft() - whole.topLeft();
            for (int y = 0; y < part.rect.height(); ++y) {
                const std::size_t pixel = static_cast<std::size_t>(place.y() + y) * static_cast<std::size_t>(whole.width())
                                          + static_cast<std::size_t>(place.x());
                light.writeRow(y, part.rect.topLeft() - frame.topLeft(), photo.xyz.data() + 3 * pixel);
            }
        }
    }
    if (camera.photosites == 0)
        return photo;
    return sensed(photo.size, photo.xyz, camera);
}

} // namespace

Photo Pictures::photograph(const QString &screenId, const Camera &camera) const
{
    return resultOrWarn([&] { return taken(screenState(m_mutex, m_state, screenId), camera); });
}

} // namespace Simulator

#include "Parts.h"

namespace Simulator {

WallState screenState(std::mutex &mutex, const WallState &state, const QString &screenId)
{
    const std::lock_guard<std::mutex> lock(mutex);
    WallState screen;
    screen.defaultPixels = state.defaultPixels;
    for (const DeviceState &device : state.devices) {
        if (device.description.screenId == screenId)
            screen.devices += device;
    }
    return screen;
}

QVector<Part> partsOf(const WallState &screen)
{
    QVector<Part> parts;
    for (int i = 0; i < screen.devices.size(); ++i) {
        const Device &device = screen.devices[i].description;
        for (const SubScreen &subScreen : device.subScreens) {
            for (const Cabinet &cabinet : subScreen.cabinets) {
                const QRect rect = device.rect(subScreen, cabinet);
                if (!rect.isEmpty())
                    parts += {i, &cabinet, rect};
            }
        }
    }
    return parts;
}

QRect unitedRect(const QVector<Part> &parts)
{
    QRect united;
    for (const Part &part : parts)
        united |= part.rect;
    return united;
}

} // namespace Simulator

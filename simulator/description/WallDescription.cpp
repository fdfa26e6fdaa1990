#include <simulator/WallDescription.h>

#include "CabinetGrid.h"

#include <tuple>

namespace Simulator {

QRect Device::rect(const SubScreen &subScreen, const Cabinet &cabinet) const
{
    // Far from where 32-bit edges, and the width between two of them, could overflow.
    constexpr qint64 farthest = qint64(1) << 29;
    const qint64 x = qint64(screenPosition.x()) + subScreen.position.x() + cabinet.position.x();
    const qint64 y = qint64(screenPosition.y()) + subScreen.position.y() + cabinet.position.y();
    const bool near =
        x >= -farthest && y >= -farthest && x + cabinet.size.width() <= farthest && y + cabinet.size.height() <= farthest;
    if (!cabinet.placed || cabinet.size.isEmpty() || !near)
        return QRect();
    return QRect(QPoint(static_cast<int>(x), static_cast<int>(y)), cabinet.size);
}

namespace {

auto fields(const Module &module)
{
    return std::tie(module.id, module.flag, module.rect);
}

auto fields(const ReceivingCard &card)
{
    return std::tie(card.id, card.flag, card.rect, card.modules);
}

auto fields(const Cabinet &cabinet)
{
    return std::tie(cabinet.id, cabinet.outputId, cabinet.position, cabinet.size, cabinet.flag, cabinet.receivingCards,
                    cabinet.placed, cabinet.listed);
}

auto fields(const SubScreen &subScreen)
{
    return std::tie(subScreen.position, subScreen.cabinets);
}

auto fields(const Timing &timing)
{
    return std::tie(timing.latency, timing.jitter, timing.bytesPerSecond, timing.settleInThread);
}

auto fields(const Fault &fault)
{
    return std::tie(fault.type, fault.operation, fault.target, fault.after, fault.times, fault.milliseconds, fault.key,
                    fault.status);
}

auto fields(const Device &device)
{
    return std::tie(device.key, device.label, device.customName, device.screenId, device.screenName, device.useScreenName,
                    device.screenPosition, device.subScreens, device.allowDuplicateIds, device.allowOverlaps,
                    device.brightnessMin, device.brightnessMax, device.brightnessDefault, device.multilayerCorrection,
                    device.multilayerCorrectionLayers, device.fineGrayscale, device.xBitPlus, device.magicGray,
                    device.multilayerBytesPerPixel, device.checkerboardSupported, device.leds, device.coefficientUnit,
                    device.personality, device.timing, device.faults);
}

auto fields(const Event &event)
{
    return std::tie(event.at, event.type, event.deviceKey, event.name, event.fault);
}

auto fields(const WallDescription &wall)
{
    return std::tie(wall.title, wall.devices, wall.events, wall.seed, wall.chaos, wall.replyBlockHeight, wall.defaultPixels);
}

} // namespace

#define SIMULATOR_EQUALITY(Type)                                                                                            \
    bool operator==(const Type &a, const Type &b)                                                                           \
    {                                                                                                                       \
        return fields(a) == fields(b);                                                                                      \
    }
SIMULATOR_EQUALITY(Module)
SIMULATOR_EQUALITY(ReceivingCard)
SIMULATOR_EQUALITY(Cabinet)
SIMULATOR_EQUALITY(SubScreen)
SIMULATOR_EQUALITY(Timing)
SIMULATOR_EQUALITY(Fault)
SIMULATOR_EQUALITY(Device)
SIMULATOR_EQUALITY(Event)
SIMULATOR_EQUALITY(WallDescription)
#undef SIMULATOR_EQUALITY

QRect Device::rect() const
{
    QRect united;
    for (const SubScreen &subScreen : subScreens) {
        for (const Cabinet &cabinet : subScreen.cabinets)
            united |= rect(subScreen, cabinet);
    }
    return united;
}

Device gridDevice(const QString &key, const QPoint &origin, int columns, int rows, const QSize &cabinetSize,
                  int firstCabinetId)
{
    Device device;
    device.key = key;
    device.label = QStringLiteral("Device ") + key;
    device.customName = QStringLiteral("Wall ") + key;
    device.screenId = QStringLiteral("screen");
    device.screenName = QStringLiteral("Screen");
    device.screenPosition = origin;

    CabinetGrid grid;
    grid.columns = columns;
    grid.rows = rows;
    grid.cabinetSize = cabinetSize;
    grid.firstId = firstCabinetId;
    grid.cards = CardGrid{1, 1, ModuleGrid{2, 2}};
    SubScreen subScreen;
    subScreen.cabinets = gridCabinets(grid);
    device.subScreens.append(subScreen);
    return device;
}

} // namespace Simulator

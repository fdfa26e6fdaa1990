#include "DeviceState.h"

#include "faults/Personalities.h"

#include <QtCore/QtEndian>

namespace Simulator {

std::array<QByteArray, kindCount> defaultPixels(const Device &device, const std::array<QByteArray, kindCount> &ofWall)
{
    std::array<QByteArray, kindCount> pixels = ofWall;
    if (device.leds.preset.isEmpty())
        return pixels;
    QByteArray unity(2 * valuesPerPixel, '\0');
    for (int place = 0; place < unity.size(); place += 8)
        qToLittleEndian(static_cast<quint16>(device.coefficientUnit), unity.data() + place);
    for (const Kind kind : {Kind::Chroma, Kind::LowGray}) {
        QByteArray &pixel = pixels[static_cast<std::size_t>(kind)];
        if (pixel.isEmpty())
            pixel = unity;
    }
    return pixels;
}

DeviceState::DeviceState(const Device &device)
    : original(device), description(device), settings(deliveredSettings(device)), timing(timingOf(device)),
      rules(rulesOf(device))
{
    for (int i = 0; i < device.subScreens.size(); ++i) {
        const QList<Cabinet> &list = device.subScreens[i].cabinets;
        for (int j = 0; j < list.size(); ++j) {
            const Cabinet &cabinet = list[j];
            CabinetState state;
            state.planes(Kind::Chroma) = Planes(cabinet.size, 2 * valuesPerPixel);
            state.planes(Kind::LowGray) = Planes(cabinet.size, 2 * valuesPerPixel);
            state.planes(Kind::Multilayer) = Planes(cabinet.size, device.multilayerBytesPerPixel);
            state.brightness = device.brightnessDefault;
            cabinets.insert(cabinet.id, state);
            if (!m_places.contains(cabinet.id))
                m_places.insert(cabinet.id, {i, j});
        }
    }
    for (auto it = cabinets.cbegin(); it != cabinets.cend(); ++it) {
        bool isNumber = false;
        const qulonglong number = it.key().toULongLong(&isNumber);
        if (isNumber && !m_idsByNumber.contains(number))
            m_idsByNumber.insert(number, it.key());
    }
}

DeviceSettings DeviceState::deliveredSettings(const Device &device)
{
    DeviceSettings settings;
    settings.brightness = device.brightnessDefault;
    return settings;
}

void DeviceState::forget()
{
    const DeviceState delivered(original);
    for (auto it = cabinets.begin(); it != cabinets.end(); ++it) {
        CabinetState forgotten = *delivered.cabinets.constFind(it.key());
        forgotten.flashCheckCodes = it->flashCheckCodes;
        for (std::size_t kind = 0; kind < forgotten.kinds.size(); ++kind) {
            forgotten.kinds[kind] = it->kinds[kind];
            forgotten.kinds[kind].clear();
        }
        *it = forgotten;
    }
    settings = delivered.settings;
    description.screenName = original.screenName;
    description.subScreens = original.subScreens;
}

void DeviceState::powerUp()
{
    if (description.personality == QLatin1String("forgets on restart"))
        forget();
    for (CabinetState &cabinet : cabinets) {
        for (Planes &planes : cabinet.kinds)
            planes.copy(Store::User, Store::Working);
    }
    imageMode = 0;
    lockOwner.clear();
    pattern = Pattern();
}

const Cabinet *DeviceState::describedCabinet(const QString &cabinetId) const
{
    const auto place = m_places.constFind(cabinetId);
    return place == m_places.constEnd() ? nullptr : &description.subScreens[place->subScreen].cabinets[place->cabinet];
}

Cabinet *DeviceState::describedCabinet(const QString &cabinetId)
{
    const auto place = m_places.constFind(cabinetId);
    return place == m_places.constEnd() ? nullptr : &description.subScreens[place->subScreen].cabinets[place->cabinet];
}

const Cabinet *DeviceState::deliveredCabinet(const QString &cabinetId) const
{
    const auto place = m_places.constFind(cabinetId);
    return place == m_places.constEnd() ? nullptr : &original.subScreens[place->subScreen].cabinets[place->cabinet];
}

const Module *DeviceState::describedModule(const QString &cabinetId, const QString &moduleId) const
{
    const Cabinet *const cabinet = describedCabinet(cabinetId);
    if (!cabinet)
        return nullptr;
    for (const ReceivingCard &card : cabinet->receivingCards) {
        for (const Module &module : card.modules) {
            if (module.id == moduleId)
                return &module;
        }
    }
    return nullptr;
}

Module *DeviceState::describedModule(const QString &cabinetId, const QString &moduleId)
{
    Cabinet *const cabinet = describedCabinet(cabinetId);
    if (!cabinet)
        return nullptr;
    for (ReceivingCard &card : cabinet->receivingCards) {
        for (Module &module : card.modules) {
            if (module.id == moduleId)
                return &module;
        }
    }
    return nullptr;
}

} // namespace Simulator

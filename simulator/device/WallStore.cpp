#include "WallStore.h"

#include <cstring>

namespace Simulator {

namespace {

/// What one byte array can hold for certain.
constexpr int largestPlane = 0x7fffff00;

/// `bytes` bytes made of copies of a pixel of `bytesPerPixel` bytes.
QByteArray filled(int bytes, int bytesPerPixel, QByteArray pixel)
{
    QByteArray result(bytes, '\0');
    if (pixel.isEmpty())
        return result;
    const int given = pixel.size();
    pixel.resize(bytesPerPixel);
    for (int i = given; i < bytesPerPixel; ++i)
        pixel[i] = '\0';
    for (int i = 0; i < bytes; i += bytesPerPixel)
        std::memcpy(result.data() + i, pixel.constData(), static_cast<std::size_t>(bytesPerPixel));
    return result;
}

} // namespace

bool Planes::fits(const QSize &size, int bytesPerPixel)
{
    return size.isValid() && bytesPerPixel > 0
           && (size.isEmpty() || size.width() <= largestPlane / bytesPerPixel / size.height());
}

Planes::Planes(const QSize &size, int bytesPerPixel)
    : m_size(fits(size, bytesPerPixel) ? size : QSize(0, 0)), m_bytesPerPixel(bytesPerPixel)
{
}

bool Planes::isDefault(Store store, const QByteArray &pixel) const
{
    const QByteArray &plane = at(store);
    if (plane.isEmpty())
        return true;
    // A plane that begins with the pixel and repeats itself after every pixel consists of it.
    return plane.startsWith(filled(m_bytesPerPixel, m_bytesPerPixel, pixel))
           && std::memcmp(plane.constData(), plane.constData() + m_bytesPerPixel,
                          static_cast<std::size_t>(plane.size() - m_bytesPerPixel))
                  == 0;
}

QByteArray Planes::bytes(Store store, const QByteArray &pixel) const
{
    const QByteArray &plane = at(store);
    return plane.isEmpty() ? filled(byteCount(), m_bytesPerPixel, pixel) : plane;
}

QByteArray Planes::band(int firstRow, int rows, const QByteArray &pixel) const
{
    const int stride = m_size.width() * m_bytesPerPixel;
    const QByteArray &plane = at(Store::Working);
    return plane.isEmpty() ? filled(rows * stride, m_bytesPerPixel, pixel) : plane.mid(firstRow * stride, rows * stride);
}

bool Planes::setBytes(Store store, const QByteArray &bytes)
{
    if (bytes.size() != byteCount())
        return false;
    at(store) = bytes;
    if (store == Store::Working)
        m_shown = Store::Working;
    return true;
}

void Planes::paste(const QRect &rect, const QByteArray &block, const QByteArray &pixel)
{
    QByteArray &plane = at(Store::Working);
    if (plane.isEmpty())
        plane = bytes(Store::Working, pixel);
    const int stride = rect.width() * m_bytesPerPixel;
    for (int row = 0; row < rect.height(); ++row) {
        const int target = ((rect.y() + row) * m_size.width() + rect.x()) * m_bytesPerPixel;
        std::memcpy(plane.data() + target, block.constData() + row * stride, static_cast<std::size_t>(stride));
    }
    m_shown = Store::Working;
}

void Planes::copy(Store from, Store to)
{
    at(to) = at(from);
    if (to == Store::Working)
        m_shown = from;
}

void Planes::clear()
{
    clear(Store::Working);
    clear(Store::User);
}

void Planes::clear(Store store)
{
    at(store).clear();
    if (store == Store::Working)
        m_shown = Store::Working;
}

DeviceState::DeviceState(const Device &device)
    : original(device), description(device), brightness(device.brightnessDefault), timing(timingOf(device)),
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
    brightness = delivered.brightness;
    effectMode = delivered.effectMode;
    gamma = delivered.gamma;
    xBitMode = delivered.xBitMode;
    xBitEnabled = delivered.xBitEnabled;
    ablEnabled = delivered.ablEnabled;
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

DeviceState *WallState::device(const QString &deviceKey)
{
    for (DeviceState &device : devices) {
        if (device.description.key == deviceKey)
            return &device;
    }
    return nullptr;
}

const DeviceState *WallState::device(const QString &deviceKey) const
{
    for (const DeviceState &device : devices) {
        if (device.description.key == deviceKey)
            return &device;
    }
    return nullptr;
}

CabinetState *WallState::cabinet(const QString &deviceKey, const QString &cabinetId)
{
    DeviceState *const state = device(deviceKey);
    const auto it = state ? state->cabinets.find(cabinetId) : QMap<QString, CabinetState>::iterator();
    return state && it != state->cabinets.end() ? &it.value() : nullptr;
}

const CabinetState *WallState::cabinet(const QString &deviceKey, const QString &cabinetId) const
{
    const DeviceState *const state = device(deviceKey);
    if (!state)
        return nullptr;
    const auto it = state->cabinets.constFind(cabinetId);
    return it != state->cabinets.constEnd() ? &it.value() : nullptr;
}

} // namespace Simulator

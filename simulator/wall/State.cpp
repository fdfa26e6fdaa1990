#include <simulator/State.h>

#include "Wall.h"

#include <utility>

namespace Simulator {

namespace {

/// The result of `access` for a device, or a default value when there is no such device.
template <typename Access>
auto ofDevice(Wall &wall, const QString &deviceKey, Access access)
{
    const std::lock_guard<std::mutex> lock(wall.mutex);
    const DeviceState *const device = std::as_const(wall.memory).device(deviceKey);
    return device ? access(*device) : decltype(access(*device)){};
}

/// The same for a cabinet.
template <typename Access>
auto ofCabinet(Wall &wall, const QString &deviceKey, const QString &cabinetId, Access access)
{
    const std::lock_guard<std::mutex> lock(wall.mutex);
    const CabinetState *const cabinet = std::as_const(wall.memory).cabinet(deviceKey, cabinetId);
    return cabinet ? access(*cabinet) : decltype(access(*cabinet)){};
}

/// Calls `change` for a device and saves its persistent state. False, and nothing changed, for an unknown device, when
/// `change` returns false, and, with a warning line, when the device could not be saved.
template <typename Change>
bool changeDevice(Wall &wall, const QString &deviceKey, Change change)
{
    return resultOrWarn([&] {
        const std::lock_guard<std::mutex> lock(wall.mutex);
        DeviceState *const device = wall.memory.device(deviceKey);
        return device && wall.memory.saved(device, [&] { return change(*device); });
    });
}

/// The same for a cabinet.
template <typename Change>
bool changeCabinet(Wall &wall, const QString &deviceKey, const QString &cabinetId, Change change)
{
    return changeDevice(wall, deviceKey, [&](DeviceState &device) {
        const auto cabinet = device.cabinets.find(cabinetId);
        return cabinet != device.cabinets.end() && change(*cabinet);
    });
}

QVector<quint16> toValues(const QByteArray &bytes)
{
    QVector<quint16> values;
    values.reserve(bytes.size() / 2);
    for (int i = 0; i + 1 < bytes.size(); i += 2)
        values += static_cast<quint16>(static_cast<uchar>(bytes[i]) | static_cast<uchar>(bytes[i + 1]) << 8);
    return values;
}

QByteArray toBytes(const QVector<quint16> &values)
{
    QByteArray bytes;
    bytes.reserve(2 * values.size());
    for (const quint16 value : values) {
        bytes += static_cast<char>(value & 0xff);
        bytes += static_cast<char>(value >> 8);
    }
    return bytes;
}

std::size_t index(Channel channel)
{
    return static_cast<std::size_t>(channel);
}

} // namespace

void State::setReplyBlockHeight(int rows)
{
    const std::lock_guard<std::mutex> lock(m_wall.mutex);
    m_wall.memory.replyBlockHeight = rows;
}

void State::setDefaultPixel(Kind kind, const QByteArray &pixel)
{
    const std::lock_guard<std::mutex> lock(m_wall.mutex);
    m_wall.memory.defaultPixels[static_cast<std::size_t>(kind)] = pixel;
}

QByteArray State::plane(const QString &deviceKey, const QString &cabinetId, Kind kind, Store store) const
{
    return resultOrWarn([&] {
        return ofCabinet(m_wall, deviceKey, cabinetId, [&](const CabinetState &cabinet) {
            const WallState &wall = m_wall.memory;
            return cabinet.planes(kind).bytes(store, wall.defaultPixel(kind, wall.device(deviceKey)->description));
        });
    });
}

QVector<quint16> State::chroma(const QString &deviceKey, const QString &cabinetId, Store store) const
{
    return toValues(plane(deviceKey, cabinetId, Kind::Chroma, store));
}

QVector<quint16> State::lowGray(const QString &deviceKey, const QString &cabinetId, Store store) const
{
    return toValues(plane(deviceKey, cabinetId, Kind::LowGray, store));
}

QByteArray State::multilayer(const QString &deviceKey, const QString &cabinetId, Store store) const
{
    return plane(deviceKey, cabinetId, Kind::Multilayer, store);
}

bool State::setPlane(const QString &deviceKey, const QString &cabinetId, Kind kind, const QByteArray &bytes, Store store)
{
    const auto change = [&](CabinetState &cabinet) { return cabinet.planes(kind).setBytes(store, bytes); };
    if (store != Store::Working)
        return changeCabinet(m_wall, deviceKey, cabinetId, change);
    const std::lock_guard<std::mutex> lock(m_wall.mutex); // changes no persistent state
    CabinetState *const cabinet = m_wall.memory.cabinet(deviceKey, cabinetId);
    return cabinet && change(*cabinet);
}

bool State::setChroma(const QString &deviceKey, const QString &cabinetId, const QVector<quint16> &values, Store store)
{
    return setPlane(deviceKey, cabinetId, Kind::Chroma, toBytes(values), store);
}

bool State::setLowGray(const QString &deviceKey, const QString &cabinetId, const QVector<quint16> &values, Store store)
{
    return setPlane(deviceKey, cabinetId, Kind::LowGray, toBytes(values), store);
}

bool State::setMultilayer(const QString &deviceKey, const QString &cabinetId, const QByteArray &values, Store store)
{
    return setPlane(deviceKey, cabinetId, Kind::Multilayer, values, store);
}

Store State::shown(const QString &deviceKey, const QString &cabinetId, Kind kind) const
{
    return ofCabinet(m_wall, deviceKey, cabinetId,
                     [&](const CabinetState &cabinet) { return cabinet.planes(kind).shown(); });
}

DeviceSettings State::settings(const QString &deviceKey) const
{
    return ofDevice(m_wall, deviceKey, [](const DeviceState &device) { return device.settings; });
}

int State::brightness(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(m_wall, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.brightness; });
}

QList<int> State::gamma(const QString &deviceKey, const QString &cabinetId, Channel channel) const
{
    return ofCabinet(m_wall, deviceKey, cabinetId,
                     [&](const CabinetState &cabinet) { return cabinet.gamma[index(channel)]; });
}

bool State::setGamma(const QString &deviceKey, Channel channel, const QList<int> &table)
{
    return changeDevice(m_wall, deviceKey, [&](DeviceState &device) {
        device.settings.gamma[index(channel)] = table;
        return true;
    });
}

bool State::setGamma(const QString &deviceKey, const QString &cabinetId, Channel channel, const QList<int> &table)
{
    return changeCabinet(m_wall, deviceKey, cabinetId, [&](CabinetState &cabinet) {
        cabinet.gamma[index(channel)] = table;
        return true;
    });
}

int State::effectMode(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(m_wall, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.effectMode; });
}

int State::imageMode(const QString &deviceKey) const
{
    return ofDevice(m_wall, deviceKey, [](const DeviceState &device) { return device.imageMode; });
}

QString State::lockOwner(const QString &deviceKey) const
{
    return ofDevice(m_wall, deviceKey, [](const DeviceState &device) { return device.lockOwner; });
}

Pattern State::pattern(const QString &deviceKey) const
{
    return ofDevice(m_wall, deviceKey, [](const DeviceState &device) { return device.pattern; });
}

QMap<QString, QVariant> State::multilayerParameter(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(m_wall, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.multilayerParameter; });
}

QList<QVariant> State::multilayerParameters(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(m_wall, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.multilayerParameters; });
}

QByteArray State::configFile(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(m_wall, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.configFile; });
}

bool State::setConfigFile(const QString &deviceKey, const QString &cabinetId, const QByteArray &bytes)
{
    return changeCabinet(m_wall, deviceKey, cabinetId, [&](CabinetState &cabinet) {
        cabinet.configFile = bytes;
        return true;
    });
}

QString State::flag(const QString &deviceKey, const QString &cabinetId) const
{
    return ofDevice(m_wall, deviceKey, [&](const DeviceState &device) {
        const Cabinet *const cabinet = device.describedCabinet(cabinetId);
        return cabinet ? cabinet->flag : QString();
    });
}

QString State::moduleFlag(const QString &deviceKey, const QString &cabinetId, const QString &moduleId) const
{
    return ofDevice(m_wall, deviceKey, [&](const DeviceState &device) {
        const Module *const module = device.describedModule(cabinetId, moduleId);
        return module ? module->flag : QString();
    });
}

int State::flashCheckCode(const QString &deviceKey, const QString &cabinetId, const QString &moduleId) const
{
    return ofCabinet(m_wall, deviceKey, cabinetId,
                     [&](const CabinetState &cabinet) { return cabinet.flashCheckCodes.value(moduleId); });
}

bool State::setFlashCheckCode(const QString &deviceKey, const QString &cabinetId, const QString &moduleId, int code)
{
    return changeDevice(m_wall, deviceKey, [&](DeviceState &device) {
        const bool known = qAsConst(device).describedModule(cabinetId, moduleId);
        if (known)
            device.cabinets[cabinetId].flashCheckCodes[moduleId] = code;
        return known;
    });
}

bool State::isDiscovering() const
{
    const std::lock_guard<std::mutex> lock(m_wall.mutex);
    return m_wall.memory.discovering;
}

} // namespace Simulator

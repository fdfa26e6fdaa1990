#include <simulator/VirtualWall.h>

#include "Wall.h"
#include "WallBackend.h"
#include "journal/Journal.h"
#include "pictures/Pictures.h"
#include "json/Describe.h"

#include <simulator/WallFile.h>

#include <QtCore/QFileInfo>

#include <algorithm>
#include <chrono>
#include <utility>

namespace Simulator {

namespace {

constexpr int longestShortText = 64;

int longest(VirtualWall::TranscriptForm form)
{
    return form == VirtualWall::Shorten ? longestShortText : -1;
}

void emitDeviceChanged()
{
    Q_EMIT WallBackend::instance().devicesChanged();
}

Event eventOf(Event::Type type, const QString &deviceKey)
{
    Event event;
    event.type = type;
    event.deviceKey = deviceKey;
    return event;
}

/// What `access` says about a device, or a default value when there is no such device.
template <typename Access>
auto ofDevice(const Wall &wall, const QString &deviceKey, Access access)
{
    return wall.with([&](const WallState &state) {
        const DeviceState *const device = state.device(deviceKey);
        return device ? access(*device) : decltype(access(*device)){};
    });
}

/// The same for a cabinet.
template <typename Access>
auto ofCabinet(const Wall &wall, const QString &deviceKey, const QString &cabinetId, Access access)
{
    return wall.with([&](const WallState &state) {
        const CabinetState *const cabinet = state.cabinet(deviceKey, cabinetId);
        return cabinet ? access(*cabinet) : decltype(access(*cabinet)){};
    });
}

/// Lets `change` alter a cabinet and saves it; false for an unknown one.
template <typename Change>
bool changeCabinet(Wall &wall, const QString &deviceKey, const QString &cabinetId, Change change)
{
    return wall.changeDevice(deviceKey, [&](DeviceState &device) {
        const auto cabinet = device.cabinets.find(cabinetId);
        return cabinet != device.cabinets.end() && change(*cabinet);
    });
}

/// The devices of a screen at this moment. Planes are shared with the wall, not copied.
WallState screenState(const Wall &wall, const QString &screenId)
{
    return wall.with([&](const WallState &state) {
        WallState screen;
        screen.defaultPixels = state.defaultPixels;
        for (const DeviceState &device : state.devices) {
            if (device.description.screenId == screenId)
                screen.devices += device;
        }
        return screen;
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

VirtualWall::VirtualWall() : d(std::make_unique<Wall>()) {}

VirtualWall::~VirtualWall() = default;

VirtualWall &VirtualWall::instance()
{
    static VirtualWall *const wall = new VirtualWall;
    return *wall;
}

void VirtualWall::reset()
{
    d->reset();
}

// The wall as a whole

void VirtualWall::setWall(const WallDescription &wall)
{
    d->setWall(wall);
}

bool VirtualWall::load(const QString &presetFileOrDirectory, QString *error)
{
    const auto fail = [&](const QString &reason) {
        if (error)
            *error = presetFileOrDirectory + QLatin1String(": ") + reason;
        return false;
    };
    WallDescription wall;
    if (!presetWall(presetFileOrDirectory, wall)) {
        const QFileInfo info(presetFileOrDirectory);
        if (!info.exists())
            return fail(QStringLiteral("no such file or directory, and no preset (%1)")
                            .arg(presetNames().join(QLatin1String(", "))));
        if (info.isDir())
            return open(presetFileOrDirectory, error);
        if (!readWall(presetFileOrDirectory, wall, error))
            return false;
    }
    setWall(wall);
    return true;
}

WallDescription VirtualWall::wall() const
{
    return d->description();
}

// Devices

void VirtualWall::setDevices(const QList<Device> &devices)
{
    d->setDevices(devices);
    emitDeviceChanged();
}

void VirtualWall::addDevice(const Device &device)
{
    d->addDevice(device);
    emitDeviceChanged();
}

bool VirtualWall::removeDevice(const QString &deviceKey)
{
    const bool removed = d->with([&](WallState &state) {
        const auto end = std::remove_if(state.devices.begin(), state.devices.end(),
                                        [&](const DeviceState &device) { return device.description.key == deviceKey; });
        const bool found = end != state.devices.end();
        state.devices.erase(end, state.devices.end());
        return found;
    });
    const bool unplugged = d->unplugReplayed(deviceKey) || removed;
    if (unplugged)
        emitDeviceChanged();
    return unplugged;
}

bool VirtualWall::renameScreen(const QString &deviceKey, const QString &name)
{
    Event event = eventOf(Event::Rename, deviceKey);
    event.name = name;
    return d->happen(event);
}

QList<Device> VirtualWall::devices() const
{
    return std::as_const(*d).with([](const WallState &state) {
        QList<Device> devices;
        for (const DeviceState &device : state.devices) {
            if (device.plugged)
                devices += device.description;
        }
        return devices;
    });
}

QStringList VirtualWall::screenIds() const
{
    QStringList ids;
    const QList<Device> all = devices();
    for (const Device &device : all)
        ids += device.screenId;
    ids.removeDuplicates();
    return ids;
}

bool VirtualWall::unplug(const QString &deviceKey)
{
    const bool wasReplayed = d->unplugReplayed(deviceKey);
    const bool wasThere = d->happen(eventOf(Event::Unplug, deviceKey));
    if (wasReplayed && !wasThere)
        emitDeviceChanged();
    return wasThere || wasReplayed;
}

bool VirtualWall::plug(const QString &deviceKey)
{
    return d->happen(eventOf(Event::Plug, deviceKey));
}

bool VirtualWall::restartDevice(const QString &deviceKey)
{
    return d->happen(eventOf(Event::Restart, deviceKey));
}

// Directory

bool VirtualWall::create(const QString &directory, const WallDescription &wall, QString *error)
{
    return d->create(directory, wall, error);
}

bool VirtualWall::open(const QString &directory, QString *error)
{
    return d->open(directory, error);
}

void VirtualWall::close()
{
    d->close();
}

QString VirtualWall::directory() const
{
    return d->directory();
}

// Faults

bool VirtualWall::addFault(const QString &deviceKey, const Fault &fault)
{
    Event event = eventOf(Event::AddFault, deviceKey);
    event.fault = fault;
    return d->happen(event);
}

bool VirtualWall::clearFaults(const QString &deviceKey)
{
    return d->happen(eventOf(Event::ClearFaults, deviceKey));
}

void VirtualWall::setChaos(double share)
{
    d->with([&](WallState &state) { state.chaos = share; });
}

void VirtualWall::setSeed(quint64 seed)
{
    d->setSeed(seed);
}

// Time

void VirtualWall::setClock(Clock clock)
{
    d->setClock(clock);
}

qint64 VirtualWall::now() const
{
    return std::as_const(*d).now() / 1000;
}

void VirtualWall::advance(qint64 milliseconds)
{
    d->advance(milliseconds);
}

void VirtualWall::schedule(const Event &event)
{
    d->schedule(event);
}

// Journal

QList<Call> VirtualWall::calls() const
{
    return d->calls();
}

void VirtualWall::clearCalls()
{
    d->clearCalls();
}

void VirtualWall::setJournalLimit(int limit)
{
    d->setJournalLimit(limit);
}

QStringList VirtualWall::transcript(TranscriptForm form) const
{
    QStringList lines;
    const QList<Call> all = calls();
    for (const Call &call : all)
        lines += describe(call, form);
    return lines;
}

QStringList VirtualWall::notes(TranscriptForm form) const
{
    QStringList lines;
    const QList<Call> all = calls();
    for (const Call &call : all) {
        if (!call.note.isEmpty())
            lines += describe(call, form) + QStringLiteral(" -- ") + call.note;
    }
    return lines;
}

QString VirtualWall::describe(const Call &call, TranscriptForm form)
{
    return describeCall(call, longest(form));
}

QString VirtualWall::describe(const QVariant &value, TranscriptForm form)
{
    return describeValue(value, longest(form));
}

QString VirtualWall::readableTranscript() const
{
    return Simulator::readableTranscript(calls());
}

QByteArray VirtualWall::journal() const
{
    QByteArray lines = journalHeader();
    const QList<Call> all = calls();
    for (const Call &call : all)
        lines += journalLine(call);
    return lines;
}

bool VirtualWall::saveJournal(const QString &path, QString *error) const
{
    return Simulator::saveJournal(path, calls(), error);
}

bool VirtualWall::recordTo(const QString &path, QString *error)
{
    return d->recordTo(path, error);
}

QList<Call> VirtualWall::readJournal(const QString &path, QString *error)
{
    return Simulator::readJournal(path, error);
}

// Replay

void VirtualWall::replay(const QList<Call> &calls)
{
    d->replay(calls);
}

bool VirtualWall::replay(const QString &path, QString *error)
{
    QString problem;
    const QList<Call> calls = readJournal(path, &problem);
    if (error)
        *error = problem;
    if (!problem.isNull())
        return false;
    replay(calls);
    return true;
}

ReplayReport VirtualWall::replayReport() const
{
    return d->replayReport();
}

void VirtualWall::setReplayPatience(int milliseconds)
{
    d->setReplayPatience(milliseconds);
}

// Scripts

Script &VirtualWall::on(const QString &operation, const QString &deviceKey, const QString &target)
{
    return d->on(operation, deviceKey, target);
}

void VirtualWall::clearScripts()
{
    d->clearScripts();
}

int VirtualWall::pendingUploads() const
{
    return d->pendingDevices().size();
}

QStringList VirtualWall::pendingUploadDevices() const
{
    return d->pendingDevices();
}

bool VirtualWall::waitForPendingUploads(int count, int milliseconds) const
{
    return d->waitForPending(count, std::chrono::milliseconds(milliseconds));
}

bool VirtualWall::settle(const QString &deviceKey, bool value)
{
    return d->settleByHand(deviceKey, value);
}

bool VirtualWall::rejectPending(const QString &deviceKey)
{
    return d->settleByHand(deviceKey, std::nullopt);
}

// Settings

void VirtualWall::setReplyBlockHeight(int rows)
{
    d->with([&](WallState &state) { state.replyBlockHeight = rows; });
}

void VirtualWall::setDefaultPixel(Kind kind, const QByteArray &pixel)
{
    d->with([&](WallState &state) { state.defaultPixels[static_cast<std::size_t>(kind)] = pixel; });
}

// State

QByteArray VirtualWall::plane(const QString &deviceKey, const QString &cabinetId, Kind kind, Store store) const
{
    return std::as_const(*d).with([&](const WallState &state) {
        const CabinetState *const cabinet = state.cabinet(deviceKey, cabinetId);
        return cabinet ? cabinet->planes(kind).bytes(store, state.defaultPixel(kind)) : QByteArray();
    });
}

QVector<quint16> VirtualWall::chroma(const QString &deviceKey, const QString &cabinetId, Store store) const
{
    return toValues(plane(deviceKey, cabinetId, Kind::Chroma, store));
}

QVector<quint16> VirtualWall::lowGray(const QString &deviceKey, const QString &cabinetId, Store store) const
{
    return toValues(plane(deviceKey, cabinetId, Kind::LowGray, store));
}

QByteArray VirtualWall::multilayer(const QString &deviceKey, const QString &cabinetId, Store store) const
{
    return plane(deviceKey, cabinetId, Kind::Multilayer, store);
}

bool VirtualWall::setPlane(const QString &deviceKey, const QString &cabinetId, Kind kind, const QByteArray &bytes,
                           Store store)
{
    const auto change = [&](CabinetState &cabinet) { return cabinet.planes(kind).setBytes(store, bytes); };
    if (store != Store::Working)
        return changeCabinet(*d, deviceKey, cabinetId, change);
    return d->with([&](WallState &state) { // changes nothing that lasts
        CabinetState *const cabinet = state.cabinet(deviceKey, cabinetId);
        return cabinet && change(*cabinet);
    });
}

bool VirtualWall::setChroma(const QString &deviceKey, const QString &cabinetId, const QVector<quint16> &values, Store store)
{
    return setPlane(deviceKey, cabinetId, Kind::Chroma, toBytes(values), store);
}

bool VirtualWall::setLowGray(const QString &deviceKey, const QString &cabinetId, const QVector<quint16> &values, Store store)
{
    return setPlane(deviceKey, cabinetId, Kind::LowGray, toBytes(values), store);
}

bool VirtualWall::setMultilayer(const QString &deviceKey, const QString &cabinetId, const QByteArray &values, Store store)
{
    return setPlane(deviceKey, cabinetId, Kind::Multilayer, values, store);
}

Store VirtualWall::shown(const QString &deviceKey, const QString &cabinetId, Kind kind) const
{
    return ofCabinet(*d, deviceKey, cabinetId, [&](const CabinetState &cabinet) { return cabinet.planes(kind).shown(); });
}

int VirtualWall::brightness(const QString &deviceKey) const
{
    return ofDevice(*d, deviceKey, [](const DeviceState &device) { return device.brightness; });
}

int VirtualWall::brightness(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(*d, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.brightness; });
}

QList<int> VirtualWall::gamma(const QString &deviceKey, Channel channel) const
{
    return ofDevice(*d, deviceKey, [&](const DeviceState &device) { return device.gamma[index(channel)]; });
}

QList<int> VirtualWall::gamma(const QString &deviceKey, const QString &cabinetId, Channel channel) const
{
    return ofCabinet(*d, deviceKey, cabinetId, [&](const CabinetState &cabinet) { return cabinet.gamma[index(channel)]; });
}

bool VirtualWall::setGamma(const QString &deviceKey, Channel channel, const QList<int> &table)
{
    return d->changeDevice(deviceKey, [&](DeviceState &device) {
        device.gamma[index(channel)] = table;
        return true;
    });
}

bool VirtualWall::setGamma(const QString &deviceKey, const QString &cabinetId, Channel channel, const QList<int> &table)
{
    return changeCabinet(*d, deviceKey, cabinetId, [&](CabinetState &cabinet) {
        cabinet.gamma[index(channel)] = table;
        return true;
    });
}

int VirtualWall::effectMode(const QString &deviceKey) const
{
    return ofDevice(*d, deviceKey, [](const DeviceState &device) { return device.effectMode; });
}

int VirtualWall::effectMode(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(*d, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.effectMode; });
}

int VirtualWall::xBitMode(const QString &deviceKey) const
{
    return ofDevice(*d, deviceKey, [](const DeviceState &device) { return device.xBitMode; });
}

bool VirtualWall::isXBitEnabled(const QString &deviceKey) const
{
    return ofDevice(*d, deviceKey, [](const DeviceState &device) { return device.xBitEnabled; });
}

bool VirtualWall::isAblEnabled(const QString &deviceKey) const
{
    return ofDevice(*d, deviceKey, [](const DeviceState &device) { return device.ablEnabled; });
}

int VirtualWall::imageMode(const QString &deviceKey) const
{
    return ofDevice(*d, deviceKey, [](const DeviceState &device) { return device.imageMode; });
}

QString VirtualWall::lockOwner(const QString &deviceKey) const
{
    return ofDevice(*d, deviceKey, [](const DeviceState &device) { return device.lockOwner; });
}

Pattern VirtualWall::pattern(const QString &deviceKey) const
{
    return ofDevice(*d, deviceKey, [](const DeviceState &device) { return device.pattern; });
}

QMap<QString, QVariant> VirtualWall::multilayerParameter(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(*d, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.multilayerParameter; });
}

QList<QVariant> VirtualWall::multilayerParameters(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(*d, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.multilayerParameters; });
}

QByteArray VirtualWall::configFile(const QString &deviceKey, const QString &cabinetId) const
{
    return ofCabinet(*d, deviceKey, cabinetId, [](const CabinetState &cabinet) { return cabinet.configFile; });
}

bool VirtualWall::setConfigFile(const QString &deviceKey, const QString &cabinetId, const QByteArray &bytes)
{
    return changeCabinet(*d, deviceKey, cabinetId, [&](CabinetState &cabinet) {
        cabinet.configFile = bytes;
        return true;
    });
}

QString VirtualWall::flag(const QString &deviceKey, const QString &cabinetId) const
{
    return ofDevice(*d, deviceKey, [&](const DeviceState &device) {
        const Cabinet *const cabinet = device.describedCabinet(cabinetId);
        return cabinet ? cabinet->flag : QString();
    });
}

QString VirtualWall::moduleFlag(const QString &deviceKey, const QString &cabinetId, const QString &moduleId) const
{
    return ofDevice(*d, deviceKey, [&](const DeviceState &device) {
        const Module *const module = device.describedModule(cabinetId, moduleId);
        return module ? module->flag : QString();
    });
}

int VirtualWall::flashCheckCode(const QString &deviceKey, const QString &cabinetId, const QString &moduleId) const
{
    return ofCabinet(*d, deviceKey, cabinetId,
                     [&](const CabinetState &cabinet) { return cabinet.flashCheckCodes.value(moduleId); });
}

bool VirtualWall::setFlashCheckCode(const QString &deviceKey, const QString &cabinetId, const QString &moduleId, int code)
{
    return d->changeDevice(deviceKey, [&](DeviceState &device) {
        const bool known = qAsConst(device).describedModule(cabinetId, moduleId);
        if (known)
            device.cabinets[cabinetId].flashCheckCodes[moduleId] = code;
        return known;
    });
}

bool VirtualWall::isDiscovering() const
{
    return std::as_const(*d).with([](const WallState &state) { return state.discovering; });
}

// Pictures

QImage VirtualWall::layoutPicture(const QString &screenId, int maxWidth) const
{
    return drawLayout(screenState(*d, screenId), maxWidth);
}

QImage VirtualWall::coefficientPicture(const QString &screenId, int channel, Kind kind, const ValueRange &range,
                                       int maxWidth) const
{
    return drawCoefficients(screenState(*d, screenId), kind, channel, range, maxWidth);
}

ValueRange VirtualWall::coefficientRange(const QString &screenId, int channel, Kind kind) const
{
    return rangeOfCoefficients(screenState(*d, screenId), kind, channel);
}

QImage VirtualWall::patternPicture(const QString &screenId, Light light) const
{
    return drawPatterns(screenState(*d, screenId), light);
}

} // namespace Simulator

#include <simulator/VirtualWall.h>

#include "Wall.h"

#include <simulator/WallFile.h>

#include <QtCore/QFileInfo>

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace Simulator {

namespace {

/// A program that links this library and installs no other backend has the wall.
const bool isDefault = [] {
    Adapter::setDefaultBackend([]() -> Adapter::DeviceBackend * { return &VirtualWall::instance(); });
    return true;
}();

/// Removes the lock files when the process ends.
void closeAtExit(const std::shared_ptr<Wall> &wall)
{
    static std::mutex mutex;
    static auto *const walls = new std::vector<std::weak_ptr<Wall>>; // never deleted: threads may still use it at exit
    const std::lock_guard<std::mutex> lock(mutex);
    static const int registered = std::atexit([] {
        for (const std::weak_ptr<Wall> &each : *walls) {
            if (const std::shared_ptr<Wall> open = each.lock()) {
                const std::lock_guard<std::mutex> openLock(open->mutex);
                open->memory.directory.reset();
            }
        }
    });
    Q_UNUSED(registered)
    const auto isDone = [&](const std::weak_ptr<Wall> &each) { return each.expired() || each.lock() == wall; };
    walls->erase(std::remove_if(walls->begin(), walls->end(), isDone), walls->end());
    walls->push_back(wall);
}

Event eventOf(Event::Type type, const QString &deviceKey)
{
    Event event;
    event.type = type;
    event.deviceKey = deviceKey;
    return event;
}

QList<DeviceState> delivered(const QList<Device> &devices)
{
    QList<DeviceState> states;
    for (const Device &device : devices)
        states += DeviceState(device);
    return states;
}

} // namespace

VirtualWall::VirtualWall(QObject *parent) : DeviceBackend(parent), d(Wall::make(this)) {}

VirtualWall::~VirtualWall()
{
    d->reset(QStringLiteral("the wall was destroyed"));
    d->time.end();
}

VirtualWall &VirtualWall::instance()
{
    static auto *const wall = [] {
        auto *const made = new VirtualWall;
        if (!Adapter::backend())
            Adapter::setBackend(made);
        return made;
    }();
    return *wall;
}

CallJournal &VirtualWall::journal()
{
    return d->journal;
}

Replay &VirtualWall::replay()
{
    return d->replay;
}

Uploads &VirtualWall::uploads()
{
    return d->uploads;
}

Timeline &VirtualWall::timeline()
{
    return d->timeline;
}

Faults &VirtualWall::faults()
{
    return d->faults;
}

Scripts &VirtualWall::scripts()
{
    return d->scripts;
}

State &VirtualWall::state()
{
    return d->state;
}

const State &VirtualWall::state() const
{
    return d->state;
}

Pictures &VirtualWall::pictures()
{
    return d->pictures;
}

// The wall as a whole

void VirtualWall::reset()
{
    d->reset(QStringLiteral("the wall was reset"));
}

void VirtualWall::setWall(const WallDescription &wall)
{
    const QList<DeviceState> devices = delivered(wall.devices);
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        d->setUp(wall, devices, after);
        d->memory.directory.reset();
    }
    d->time.tell(after);
}

bool VirtualWall::load(const QString &presetFileOrDirectory, QString *error)
{
    return loadBy(&VirtualWall::open, presetFileOrDirectory, error);
}

bool VirtualWall::loadReadOnly(const QString &presetFileOrDirectory, QString *error)
{
    return loadBy(&VirtualWall::openReadOnly, presetFileOrDirectory, error);
}

bool VirtualWall::loadBy(bool (VirtualWall::*openDirectory)(const QString &, QString *),
                         const QString &presetFileOrDirectory, QString *error)
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
            return (this->*openDirectory)(presetFileOrDirectory, error);
        if (!readWall(presetFileOrDirectory, wall, error))
            return false;
    }
    setWall(wall);
    return true;
}

WallDescription VirtualWall::wall() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    WallDescription wall;
    wall.title = d->memory.title;
    wall.seed = d->memory.seed;
    wall.chaos = d->memory.chaos;
    wall.replyBlockHeight = d->memory.replyBlockHeight;
    wall.defaultPixels = d->memory.defaultPixels;
    wall.events = d->memory.events;
    for (const DeviceState &device : qAsConst(d->memory.devices))
        wall.devices += device.description;
    return wall;
}

// Devices

void VirtualWall::setDevices(const QList<Device> &devices)
{
    QList<DeviceState> states = delivered(devices);
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        d->memory.directory.reset();
        d->memory.devices.swap(states);
    }
    Q_EMIT devicesChanged();
}

void VirtualWall::addDevice(const Device &device)
{
    DeviceState state(device);
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        DeviceState *const known = d->memory.device(device.key);
        if (!known)
            d->memory.devices += state;
        if (d->memory.directory)
            d->memory.directory->release(device.key);
        if (known)
            *known = std::move(state);
    }
    Q_EMIT devicesChanged();
}

bool VirtualWall::removeDevice(const QString &deviceKey)
{
    bool isRemoved = false;
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        QList<DeviceState> &devices = d->memory.devices;
        const auto end = std::remove_if(devices.begin(), devices.end(),
                                        [&](const DeviceState &device) { return device.description.key == deviceKey; });
        isRemoved = end != devices.end();
        devices.erase(end, devices.end());
    }
    isRemoved = d->replayer.unplug(deviceKey) || isRemoved;
    if (isRemoved)
        Q_EMIT devicesChanged();
    return isRemoved;
}

bool VirtualWall::renameScreen(const QString &deviceKey, const QString &name)
{
    Event event = eventOf(Event::Rename, deviceKey);
    event.name = name;
    return d->time.happen(event);
}

bool VirtualWall::unplug(const QString &deviceKey)
{
    const bool wasReplayed = d->replayer.unplug(deviceKey);
    const bool wasThere = d->time.happen(eventOf(Event::Unplug, deviceKey));
    if (wasReplayed && !wasThere)
        Q_EMIT devicesChanged();
    return wasThere || wasReplayed;
}

bool VirtualWall::plug(const QString &deviceKey)
{
    return d->time.happen(eventOf(Event::Plug, deviceKey));
}

bool VirtualWall::restartDevice(const QString &deviceKey)
{
    return d->time.happen(eventOf(Event::Restart, deviceKey));
}

QList<Device> VirtualWall::pluggedDevices() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    QList<Device> devices;
    for (const DeviceState &device : std::as_const(d->memory.devices)) {
        if (device.plugged)
            devices += device.description;
    }
    return devices;
}

QStringList VirtualWall::screenIds() const
{
    QStringList ids;
    const QList<Device> all = pluggedDevices();
    for (const Device &device : all)
        ids += device.screenId;
    ids.removeDuplicates();
    return ids;
}

// Directory

bool VirtualWall::create(const QString &directory, const WallDescription &wall, QString *error)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        closeAtExit(d);
        QList<DeviceState> devices = delivered(wall.devices);
        for (DeviceState &device : devices)
            device.powerUp();
        std::unique_ptr<WallDirectory> made = WallDirectory::create(directory, wall, error);
        if (!made)
            return false;
        d->setUp(wall, devices, after);
        d->memory.directory = std::move(made);
        d->memory.scratch = d->memory.directory->scratch();
    }
    d->time.tell(after);
    return true;
}

bool VirtualWall::open(const QString &directory, QString *error)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        closeAtExit(d);
        WallDescription wall;
        QList<DeviceState> devices;
        std::unique_ptr<WallDirectory> opened =
            WallDirectory::open(directory, d->memory.directory.get(), wall, devices, error);
        if (!opened)
            return false;
        d->setUp(wall, devices, after);
        d->memory.directory = std::move(opened);
        d->memory.scratch = d->memory.directory->scratch();
        d->memory.directory->tidy();
    }
    d->time.tell(after);
    return true;
}

bool VirtualWall::openReadOnly(const QString &directory, QString *error)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        WallDescription wall;
        QList<DeviceState> devices;
        if (!WallDirectory::readOnly(directory, wall, devices, error))
            return false;
        d->setUp(wall, devices, after);
        d->memory.directory.reset();
    }
    d->time.tell(after);
    return true;
}

void VirtualWall::close()
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->memory.directory.reset();
}

QString VirtualWall::directory() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->memory.directory ? d->memory.directory->path() : QString();
}

// Service

Adapter::Answer VirtualWall::answer(const Call &call)
{
    return d->calls.serve(call);
}

QtPromise::QPromise<bool> VirtualWall::upload(const Call &call)
{
    return d->calls.upload(call);
}

void VirtualWall::initialize(bool enable)
{
    Call call;
    call.operation = Adapter::operations()[Adapter::Operation::HttpProxy_initialize].name;
    call.extra = enable;
    answer(call);
}

QList<Adapter::DeviceInfo> VirtualWall::devices()
{
    Call call;
    call.operation = Adapter::operations()[Adapter::Operation::HttpProxy_getDeviceList].name;
    QList<Adapter::DeviceInfo> devices;
    const Answer found = answer(call);
    if (found.result) {
        const QVariantList list = found.reply.toList();
        for (const QVariant &device : list) {
            const QVariantMap map = device.toMap();
            devices += {map.value(QStringLiteral("key")).toString(), map.value(QStringLiteral("label")).toString()};
        }
    }
    return devices;
}

} // namespace Simulator

#include "Wall.h"

#include <utility>

namespace Simulator {

std::shared_ptr<Wall> Wall::make(Adapter::DeviceBackend *backend)
{
    const auto wall = std::make_shared<Wall>();
    wall->time.begin(std::shared_ptr<TimeKeeper>(wall, &wall->time), backend);
    wall->replayer.setSelf(std::shared_ptr<Replayer>(wall, &wall->replayer));
    return wall;
}

void Wall::reset(const QString &reason)
{
    std::list<std::unique_ptr<Script>> released; // hooks are destroyed without the lock
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        beginGeneration(reason, true, after);
        static_cast<WallState &>(memory) = WallState();
        replayer.resetLocked(reason, after);
        log.reset();
        memory.directory.reset();
        clock.setMode(ClockMode::RealTime);
        released.swap(scripts.m_scripts);
    }
    time.tell(after);
}

void Wall::setUp(const WallDescription &wall, const QList<DeviceState> &devices, Aftermath &after)
{
    // Operations that can fail come first: a partly replaced wall must not be saved.
    WallState another;
    another.title = wall.title;
    another.seed = wall.seed;
    another.random = Random(wall.seed);
    another.chaos = wall.chaos;
    another.replyBlockHeight = wall.replyBlockHeight;
    another.defaultPixels = wall.defaultPixels;
    another.devices = devices;
    std::multimap<qint64, Event> ahead;
    for (const Event &event : wall.events) {
        another.events += event;
        ahead.emplace(DeviceEvents::momentOf(event), event);
        after.events += DeviceEvents::momentOf(event);
    }
    beginGeneration(QStringLiteral("the wall was set up again"), false, after);
    static_cast<WallState &>(memory) = std::move(another);
    events.ahead.swap(ahead);
    after.devicesChanged = true;
}

void Wall::beginGeneration(const QString &reason, bool rejectsHeld, Aftermath &after)
{
    events.ahead.clear();
    const auto isMeant = [&](const PendingUpload &upload) { return rejectsHeld || !upload.isHeldByScript(); };
    pending.rejectAll(isMeant, reason, after);
    clock.restart();
}

} // namespace Simulator

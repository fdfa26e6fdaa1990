#include "DeviceEvents.h"

#include "faults/Personalities.h"

namespace Simulator {

qint64 DeviceEvents::momentOf(const Event &event)
{
    return qBound<qint64>(0, event.at, longestTime) * microseconds;
}

void DeviceEvents::add(const Event &event, Aftermath &after)
{
    const qint64 time = momentOf(event);
    m_state.events += event;
    ahead.emplace(time, event);
    after.events += time;
}

void DeviceEvents::addLater(Event::Type type, const QString &deviceKey, int milliseconds, Aftermath &after)
{
    Event event;
    event.type = type;
    event.deviceKey = deviceKey;
    const qint64 time = m_clock.now() + milliseconds * microseconds;
    ahead.emplace(time, event);
    after.events += time;
}

bool DeviceEvents::happen(const Event &event, Aftermath &after)
{
    DeviceState *const device = m_state.device(event.deviceKey);
    return device && happenTo(*device, event, after);
}

bool DeviceEvents::happenTo(DeviceState &device, const Event &event, Aftermath &after)
{
    const auto powerUp = [&device] { device.powerUp(); };
    const auto rename = [&device, &event] { device.description.screenName = event.name; };
    switch (event.type) {
    case Event::Unplug:
        if (!device.plugged)
            return false;
        device.plugged = false;
        losePower(device, QStringLiteral("the device was unplugged"), after);
        after.devicesChanged = true;
        return true;
    case Event::Plug:
        if (device.plugged)
            return false;
        if (!m_state.change(device, powerUp, after.warnings))
            return false;
        device.plugged = true;
        after.devicesChanged = true;
        return true;
    case Event::Rename:
        if (!m_state.change(device, rename, after.warnings))
            return false;
        after.renamed += qMakePair(event.deviceKey, event.name);
        return true;
    case Event::Restart:
        if (!device.plugged)
            return false;
        if (!m_state.change(device, powerUp, after.warnings))
            return false;
        losePower(device, QStringLiteral("the device restarted"), after);
        return true;
    case Event::AddFault:
        device.description.faults += event.fault;
        device.rules.push_back(ruleOf(event.fault));
        return true;
    case Event::ClearFaults:
        device.description.faults.clear();
        device.rules = rulesOf(device.description);
        return true;
    }
    return false;
}

void DeviceEvents::losePower(DeviceState &device, const QString &reason, Aftermath &after)
{
    ++device.powerLosses;
    device.busyUntil = 0;
    const auto isOfDevice = [&device](const PendingUpload &upload) {
        return upload.call.deviceKey == device.description.key && !upload.isHeldByScript();
    };
    m_uploads.rejectAll(isOfDevice, reason, after);
}

} // namespace Simulator

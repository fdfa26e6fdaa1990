#include "Chaos.h"

#include <array>

namespace Simulator {

std::optional<Action> Chaos::draw(quint64 serial, const Call &call, bool promise, Aftermath &after)
{
    constexpr quint64 parts = quint64(1) << 53; // as many as a double can distinguish
    Random &random = m_state.random;
    if (!(m_state.chaos > 0.0) || random.below(parts) >= static_cast<quint64>(qMin(m_state.chaos, 1.0) * double(parts)))
        return std::nullopt;

    // First the possible faults of this call, then the possible events of a device before it. A seed's results depend on
    // this order.
    QVector<Fault::Type> faults;
    if (m_state.device(call.deviceKey)) {
        for (const ScriptData::Calls calls : {ScriptData::AllCalls, ScriptData::Uploads, ScriptData::Promises}) {
            if ((calls == ScriptData::Uploads && !isUpload(call)) || (calls == ScriptData::Promises && !promise))
                continue;
            for (const FaultType &type : faultTypes()) {
                if (type.calls == calls)
                    faults += type.type;
            }
        }
    }
    constexpr std::array<Event::Type, 4> events{Event::Unplug, Event::Plug, Event::Rename, Event::Restart};
    const auto chosen = static_cast<int>(random.below(static_cast<quint64>(faults.size()) + events.size()));
    if (chosen < faults.size())
        return fault(faults[chosen], call, after);
    if (!m_state.devices.isEmpty())
        event(events[static_cast<std::size_t>(chosen - faults.size())], serial, after);
    return std::nullopt;
}

Action Chaos::fault(Fault::Type type, const Call &call, Aftermath &after)
{
    Fault fault;
    fault.type = type;
    fault.milliseconds = milliseconds();
    const char *const statuses[] = {"404", "500", "503"};
    fault.status = QString::fromLatin1(statuses[m_state.random.below(3)]);
    Action action = ruleOf(fault, QStringLiteral("chaos")).action;
    // A device that chaos unplugs is plugged in later, and one that never settles is unplugged, so that no host waits
    // forever.
    action.backAfter = milliseconds();
    if (fault.type == Fault::NeverSettle) {
        const int unplugged = milliseconds();
        m_events.addLater(Event::Unplug, call.deviceKey, unplugged, after);
        m_events.addLater(Event::Plug, call.deviceKey, unplugged + *action.backAfter, after);
    }
    return action;
}

void Chaos::event(Event::Type type, quint64 serial, Aftermath &after)
{
    const auto count = static_cast<quint64>(m_state.devices.size());
    Event event;
    event.type = type;
    event.deviceKey = m_state.devices[static_cast<int>(m_state.random.below(count))].description.key;
    event.name = QStringLiteral("Screen %1").arg(m_state.random.below(100));
    if (!m_events.happen(event, after))
        return;
    if (event.type == Event::Unplug)
        m_events.addLater(Event::Plug, event.deviceKey, milliseconds(), after);
    const char *const what[] = {"unplugged", "plugged", "renamed", "restarted"};
    m_log.note(serial, QStringLiteral("chaos: %1 %2 before").arg(event.deviceKey, QLatin1String(what[event.type])));
}

} // namespace Simulator

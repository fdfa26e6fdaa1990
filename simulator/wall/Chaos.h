#pragma once

#include "DeviceEvents.h"

namespace Simulator {

/// Random faults and events from the wall's seed. The wall's lock must be held.
class Chaos
{
public:
    Chaos(WallState &state, DeviceEvents &events, CallLog &log) : m_state(state), m_events(events), m_log(log) {}

    /// The random action for a call, if any; may also change devices.
    std::optional<Action> draw(quint64 serial, const Call &call, bool promise, Aftermath &after);

private:
    Action fault(Fault::Type type, const Call &call, Aftermath &after);
    void event(Event::Type type, quint64 serial, Aftermath &after);
    int milliseconds() { return 1 + static_cast<int>(m_state.random.below(5000)); }

    WallState &m_state;
    DeviceEvents &m_events;
    CallLog &m_log;
};

} // namespace Simulator

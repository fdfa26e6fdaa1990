#pragma once

#include "DeviceEvents.h"

#include <QtCore/QLatin1String>

namespace Simulator {

inline const QLatin1String powerLost("the device lost its power meanwhile");
inline const QLatin1String unplugged("the device is unplugged");

/// The answers of devices. The wall's lock must be held.
class Answers
{
public:
    Answers(SavedState &state, DeviceEvents &events, CallLog &log, const WallClock &clock)
        : m_state(state), m_events(events), m_log(log), m_clock(clock)
    {
    }

    /// The result from the script, the fault or the wall.
    Answer answer(const Begun &begun, const Call &call, const Act &act, Aftermath &after);
    /// The wall's own behaviour. A refusal is noted.
    Answer perform(quint64 serial, const Call &call, const Act &act);

private:
    // Both return whether the action's note is to be added to the call.

    /// The wall's own behaviour, corrupted if the action requires it.
    bool performCorrupted(const Begun &begun, const Call &call, const Act &act, Answer &answer);
    /// The device vanishes or restarts instead of answering.
    bool losePower(const Action &action, const Call &call, Aftermath &after);
    /// Whether the device was restarted since the call began: then the call is lost.
    bool isLost(const Begun &begun, const Call &call) const;

    SavedState &m_state;
    DeviceEvents &m_events;
    CallLog &m_log;
    const WallClock &m_clock;
};

} // namespace Simulator

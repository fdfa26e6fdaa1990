#pragma once

#include "Aftermath.h"
#include "PendingUploads.h"
#include "SavedState.h"

#include <map>

namespace Simulator {

/// The events of a wall's devices. The wall's lock must be held.
class DeviceEvents
{
public:
    DeviceEvents(SavedState &state, PendingUploads &uploads, const WallClock &clock)
        : m_state(state), m_uploads(uploads), m_clock(clock)
    {
    }

    std::multimap<qint64, Event> ahead; ///< By microseconds.

    static qint64 momentOf(const Event &event);
    /// Adds an event, also to the wall's description.
    void add(const Event &event, Aftermath &after);
    /// Adds one that is not in the description, so many milliseconds from now.
    void addLater(Event::Type type, const QString &deviceKey, int milliseconds, Aftermath &after);
    /// Runs an event at once. False when there is no such device, or nothing to change.
    bool happen(const Event &event, Aftermath &after);

private:
    bool happenTo(DeviceState &device, const Event &event, Aftermath &after);
    /// Power loss of a device: its uploads are rejected.
    void losePower(DeviceState &device, const QString &reason, Aftermath &after);

    SavedState &m_state;
    PendingUploads &m_uploads;
    const WallClock &m_clock;
};

} // namespace Simulator

#include <simulator/Timeline.h>

#include "Wall.h"

#include <algorithm>

namespace Simulator {

void Timeline::setClock(ClockMode mode)
{
    m_wall.time.setMode(mode);
}

qint64 Timeline::now() const
{
    return m_wall.time.now() / microseconds;
}

void Timeline::advance(qint64 milliseconds)
{
    constexpr qint64 end = 4 * longestTime * microseconds; // the largest time: advance() stops there
    m_wall.time.passTo(std::min(m_wall.time.now() + qBound<qint64>(0, milliseconds, longestTime) * microseconds, end));
    m_wall.time.happenUntilNow();
}

void Timeline::schedule(const Event &event)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_wall.mutex);
        m_wall.events.add(event, after);
    }
    m_wall.time.tell(after);
}

} // namespace Simulator

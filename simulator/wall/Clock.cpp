#include "Clock.h"

namespace Simulator {

void WallClock::restart()
{
    ++m_generation;
    m_time = 0;
    m_since = std::chrono::steady_clock::now();
}

void WallClock::setMode(ClockMode mode)
{
    m_time = now();
    m_since = std::chrono::steady_clock::now();
    m_mode = mode;
}

qint64 WallClock::now() const
{
    if (!isReal())
        return m_time;
    const auto passed = std::chrono::steady_clock::now() - m_since;
    return m_time + qint64(std::chrono::duration_cast<std::chrono::microseconds>(passed).count());
}

void WallClock::reach(qint64 time)
{
    if (!isReal() && time > m_time)
        m_time = time;
}

} // namespace Simulator

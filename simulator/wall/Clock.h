#pragma once

#include <simulator/ClockMode.h>

#include <QtCore/QtGlobal>

#include <chrono>

namespace Simulator {

constexpr qint64 microseconds = 1000;           ///< In a millisecond.
constexpr qint64 longestTime = qint64(1) << 50; ///< Milliseconds: sums of a few do not overflow.

/// The wall's time, in microseconds since the wall was set up. Has no lock of its own.
class WallClock
{
public:
    /// Back to 0, for another generation of the wall; the mode stays.
    void restart();
    /// Counts the restarts. Wake-ups and calls of an earlier generation are stale and have no effect.
    quint64 generation() const { return m_generation; }
    void setMode(ClockMode mode);
    ClockMode mode() const { return m_mode; }
    bool isReal() const { return m_mode == ClockMode::RealTime; }
    qint64 now() const;
    /// Advances a clock that is not in real time; never back.
    void reach(qint64 time);

private:
    ClockMode m_mode = ClockMode::RealTime;
    quint64 m_generation = 0;
    qint64 m_time = 0; ///< Now; of a real clock the time at `m_since`.
    std::chrono::steady_clock::time_point m_since = std::chrono::steady_clock::now();
};

} // namespace Simulator

#pragma once

#include <simulator/VirtualWall.h>

#include <QtCore/QObject>

#include <chrono>
#include <optional>

namespace Simulator {

/// The wall's time, in microseconds since the wall was set up. Has no lock of its own.
class WallClock
{
public:
    /// Back to 0; the mode stays.
    void restart();
    void setMode(VirtualWall::Clock mode);
    VirtualWall::Clock mode() const { return m_mode; }
    bool isReal() const { return m_mode == VirtualWall::RealTime; }
    qint64 now() const;
    /// Moves a clock that is not real forward; never back.
    void reach(qint64 time);

private:
    VirtualWall::Clock m_mode = VirtualWall::RealTime;
    qint64 m_time = 0; ///< Now; of a real clock the time at `m_since`.
    std::chrono::steady_clock::time_point m_since = std::chrono::steady_clock::now();
};

/// What a wake-up is for. One that belongs to an earlier life of the wall does nothing.
struct WakeUp {
    quint64 life;
    qint64 time; ///< Microseconds of the wall's clock.
};

/// Makes the calling thread's event loop wake the wall: in real time when `wakeUp` is due, with a skipping clock as soon
/// as the loop has nothing else to do, again and again until nothing is left to be done. False without a
/// QCoreApplication: then there is no event loop.
bool wakeByEventLoop(const WakeUp &wakeUp, VirtualWall::Clock mode);
/// The same from a thread of the wall, in real time only.
void wakeByThread(const WakeUp &wakeUp);

/// Whether the caller is a thread of the wall.
bool isWallThread();
/// Runs `task` in a thread of the wall and returns when that is done.
void runInWallThread(const std::function<void()> &task);

} // namespace Simulator

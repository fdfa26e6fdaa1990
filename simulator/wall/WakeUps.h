#pragma once

#include <QtCore/QtGlobal>

#include <functional>
#include <memory>

namespace Simulator {

class TimeKeeper;

/// The target of a wake-up. A wake-up of a deleted wall, or of a stale generation of it, does nothing.
struct WakeUp {
    std::weak_ptr<TimeKeeper> keeper;
    quint64 generation;
    qint64 time; ///< Microseconds of the wall's clock.
};

/// Makes the calling thread's event loop wake the wall after so many milliseconds (0: when the loop is idle), repeatedly
/// until nothing is left to do. False without a QCoreApplication: then there is no event loop.
bool wakeByEventLoop(const WakeUp &wakeUp, int milliseconds);
/// The same from a thread of the wall.
void wakeByThread(const WakeUp &wakeUp, int milliseconds);

/// Whether the caller is a thread of a wall.
bool isWallThread();
/// Runs `task` in a thread of the wall and returns when that is done.
void runInWallThread(const std::function<void()> &task);

} // namespace Simulator

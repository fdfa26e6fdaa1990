#pragma once

#include "Answers.h"
#include "WakeUps.h"

#include <adapter/DeviceBackend.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace Simulator {

/// Runs a wall's scheduled events and settles its uploads when they are due, in the order of their times. The time is
/// checked by calls, event loops, the wall's threads and Timeline::advance(); the first to find something due runs it.
///
/// Functions take the wall's lock, but for those whose names end with "Locked": their callers hold it. No function holds
/// the lock while it sleeps or sends notifications.
class TimeKeeper
{
public:
    TimeKeeper(std::mutex &mutex, WallClock &clock, PendingUploads &uploads, DeviceEvents &events, Answers &answers)
        : m_mutex(mutex), m_clock(clock), m_uploads(uploads), m_events(events), m_answers(answers)
    {
    }
    /// Wake-ups refer to `self`; `backend` emits the signals.
    void begin(std::weak_ptr<TimeKeeper> self, Adapter::DeviceBackend *backend);
    /// Stops the notifications. Returns when no other thread is in wake() any more.
    void end();

    qint64 now() const;
    void setMode(ClockMode mode);
    /// Advances the time to `time`: in real time by sleeping.
    void passTo(qint64 time);
    /// Runs what is due.
    void happenUntilNow();
    /// Runs an event at once. False when there is no such device, or nothing to change.
    bool happen(const Event &event);
    void tell(const Aftermath &after);
    /// Schedules a wake-up for an upload, or for an event (`inThread` is false).
    void arm(qint64 time, bool inThread, bool isUpload);
    /// For wake-ups: runs what is due, with a skipping clock also the next event. Returns the milliseconds until the next
    /// wake-up, or none.
    std::optional<int> wake(const WakeUp &wakeUp);

private:
    /// The time of the next event or settlement.
    std::optional<qint64> nextLocked() const;
    /// Runs the next event or settlement that is due at `time`; false when there is none.
    bool stepLocked(qint64 time, Aftermath &after);
    void happenUntil(qint64 time);
    /// The time up to which a wake-up runs events.
    std::optional<qint64> targetLocked(const WakeUp &wakeUp) const;
    std::optional<int> comeBackLocked(const WakeUp &wakeUp) const;
    int millisecondsUntilLocked(qint64 time) const;

    std::mutex &m_mutex;
    WallClock &m_clock;
    PendingUploads &m_uploads;
    DeviceEvents &m_events;
    Answers &m_answers;
    std::weak_ptr<TimeKeeper> m_self;
    std::atomic<Adapter::DeviceBackend *> m_backend{nullptr};
    std::vector<std::thread::id> m_waking; ///< The threads in wake().
    std::condition_variable m_woken;
};

} // namespace Simulator

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

/// Lets a wall's time pass. What lies ahead is the events and the uploads that are due at a certain moment. They happen in
/// the order of their moments, whoever comes first to see that the moment has come: a call, an event loop, a thread of the
/// wall, a program that advances the time.
///
/// Functions take the wall's lock but for those in "Locked", for which it must be held. None holds it while it sleeps or
/// tells.
class TimeKeeper
{
public:
    TimeKeeper(std::mutex &mutex, WallClock &clock, PendingUploads &uploads, DeviceEvents &events, Answers &answers)
        : m_mutex(mutex), m_clock(clock), m_uploads(uploads), m_events(events), m_answers(answers)
    {
    }
    /// `self` is what wake-ups hold on to; `backend` emits the signals.
    void begin(std::weak_ptr<TimeKeeper> self, Adapter::DeviceBackend *backend);
    /// From here on nothing is emitted. Returns when no other thread is waking the wall any more.
    void end();

    qint64 now() const;
    void setMode(ClockMode mode);
    /// Until it is `time`: sleeping, or at once.
    void passTo(qint64 time);
    /// Lets happen what is due.
    void happenUntilNow();
    /// Makes an event happen at once. False when there is no such device, or nothing to change.
    bool happen(const Event &event);
    void tell(const Aftermath &after);
    /// Sees to it that somebody wakes the wall for an upload, or for an event (`inThread` is false).
    void arm(qint64 time, bool inThread, bool isUpload);
    /// For wake-ups: lets happen what is due, with a skipping clock the next thing to come. How many milliseconds later
    /// to come back, or none.
    std::optional<int> wake(const WakeUp &wakeUp);

private:
    /// The moment of the next thing to come.
    std::optional<qint64> nextLocked() const;
    /// Lets the next thing happen that is due at `time`; false when there is none.
    bool stepLocked(qint64 time, Aftermath &after);
    void happenUntil(qint64 time);
    /// The moment up to which a wake-up lets things happen.
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

#pragma once

#include "Aftermath.h"
#include "Clock.h"
#include "journal/CallLog.h"
#include "journal/Recording.h"

#include <QtPromise>

#include <chrono>
#include <list>
#include <memory>
#include <mutex>

namespace Simulator {

/// Serves calls from a recording; see Replay. Its functions take the wall's lock, but for those whose names end with
/// "Locked": their callers hold it.
class Replayer
{
public:
    Replayer(std::mutex &mutex, CallLog &log, const WallClock &clock) : m_mutex(mutex), m_log(log), m_clock(clock) {}
    /// Keeps the object alive for timers.
    void setSelf(std::weak_ptr<Replayer> self) { m_self = std::move(self); }

    void start(const QList<Call> &calls);
    ReplayReport report() const;
    void setPatience(int milliseconds);

    /// Nothing when no replay runs.
    std::optional<Adapter::Answer> serve(const Call &call);
    std::optional<QtPromise::QPromise<bool>> upload(const Call &call);
    /// Rejects the uploads that a device has not settled. False if there were none.
    bool unplug(const QString &deviceKey);
    /// Ends a replay and resets; pending uploads are rejected.
    void resetLocked(const QString &reason, Aftermath &after);

private:
    static constexpr std::chrono::milliseconds defaultPatience{5000};

    /// A call that is being replayed; of an upload also the promise, while it is open.
    struct Held {
        quint64 serial = 0;
        Call recorded; ///< The recorded call, with its result.
        std::function<void(bool)> fulfil;
        std::function<void(const std::exception_ptr &)> reject;
    };
    std::optional<Held> take(const Call &call);
    void finish(const Held &taken);
    std::list<Held> takeHeld(const std::function<bool(const Held &)> &isMeant);
    void settle(const Held &upload);
    void reject(Held &upload, const QString &reason);
    /// Settles the uploads that had settled when the next call of the recording began, in their order.
    void settleBeforeNext();
    void settleLate(quint64 serial);
    /// Ends the replay; its open uploads are rejected.
    void endLocked(const QString &reason, Aftermath &after);

    std::mutex &m_mutex;
    CallLog &m_log;
    const WallClock &m_clock;
    std::weak_ptr<Replayer> m_self;
    std::unique_ptr<Recording> m_recording;
    std::chrono::milliseconds m_patience = defaultPatience;
    std::list<Held> m_held; ///< Oldest first.
};

} // namespace Simulator

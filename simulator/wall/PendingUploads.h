#pragma once

#include "Aftermath.h"
#include "Clock.h"
#include "device/Act.h"
#include "journal/CallLog.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <list>
#include <mutex>
#include <optional>

namespace Simulator {

/// A call in progress.
struct Begun {
    quint64 serial = 0;
    Action action;
    qint64 answerAt = 0; ///< When the device acts; the reply's transfer time follows.
    bool inThread = false;
    quint64 powerLosses = 0; ///< Of the device; the call is lost when it changes.
    quint64 generation = 0;  ///< Of the wall; likewise.
};

/// An upload whose promise is open.
struct PendingUpload {
    Begun begun;
    Call call;
    Act act;
    std::optional<qint64> due; ///< None: a script or a fault holds it back.
    std::function<void(bool)> fulfil;
    std::function<void(const std::exception_ptr &)> reject;

    bool isHeldByScript() const { return begun.action.type == Action::Later; }
};

/// The uploads of a wall whose promises are open, oldest first. The wall's lock must be held.
class PendingUploads
{
public:
    PendingUploads(CallLog &log, const WallClock &clock) : m_log(log), m_clock(clock) {}

    void add(PendingUpload &&upload);
    const std::list<PendingUpload> &all() const { return m_uploads; }
    /// False when fewer than `count` are pending after `time`. Releases the lock meanwhile.
    bool waitFor(int count, std::chrono::milliseconds time, std::unique_lock<std::mutex> &lock) const;

    /// When the next one is due.
    std::optional<qint64> nextDue() const;
    /// Whether one has a due time.
    bool isWaiting() const;
    /// Removes the oldest matching one from the list and returns it.
    template <typename IsMeant>
    std::optional<PendingUpload> take(IsMeant isMeant)
    {
        for (auto it = m_uploads.begin(); it != m_uploads.end(); ++it) {
            if (!isMeant(*it))
                continue;
            PendingUpload upload = std::move(*it);
            m_uploads.erase(it);
            return upload;
        }
        return std::nullopt;
    }

    /// Does not remove it from the list; nor does reject().
    void settle(const PendingUpload &upload, const Answer &answer, Aftermath &after);
    void reject(const PendingUpload &upload, const QString &reason, Aftermath &after);
    template <typename IsMeant>
    void rejectAll(IsMeant isMeant, const QString &reason, Aftermath &after)
    {
        for (auto upload = m_uploads.begin(); upload != m_uploads.end();) {
            if (isMeant(*upload)) {
                reject(*upload, reason, after);
                upload = m_uploads.erase(upload);
            } else {
                ++upload;
            }
        }
    }

private:
    CallLog &m_log;
    const WallClock &m_clock;
    std::list<PendingUpload> m_uploads;
    mutable std::condition_variable m_added;
};

} // namespace Simulator

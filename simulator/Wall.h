#pragma once

#include "WallStore.h"

#include <simulator/VirtualWall.h>

#include <QtPromise>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>

namespace Simulator {

/// What an operation answers.
struct Answer {
    bool result = true;
    QVariant reply;
    QMap<QString, QString> headers;
};

/// Response headers of a request that was carried out.
QMap<QString, QString> okHeaders();

/// What a wall finds wrong with a request. Thrown by acts; never leaves the wall.
struct Refusal {
    QString reason;
    QMap<QString, QString> headers;
};

/// The wall's own behaviour in one operation: changes the state or throws a Refusal without having changed it. The
/// device is that of the call, null for discovery's operations.
using Act = std::function<Answer(WallState &, DeviceState *, const Call &)>;

/// What a script does to one call.
struct Action {
    enum Type { Wall, False, True, Later, Resolve, Reject, Throw };
    Type type = Wall;
    QVariant reply;
    bool value = false;
    std::exception_ptr error;
    std::optional<QMap<QString, QString>> headers;
    std::function<void(const Call &)> run;
    std::function<void(QVariant &)> editReply;
};

struct ScriptData {
    QString operation;
    QString deviceKey;
    QString target;
    int limit = -1; ///< Negative: none.
    int skip = 0;
    int seen = 0;
    int served = 0;
    Action action;
};

/// The wall behind the public class: state, journal, scripts and pending uploads. Public functions take the lock
/// themselves; none holds it while code of others runs.
class Wall
{
public:
    static Wall &instance();

    /// Answers a call of an operation without promise.
    Answer serve(const Call &call, const Act &act);
    /// Answers a call of an upload; true of its answer fulfils the promise with true.
    QtPromise::QPromise<bool> upload(const Call &call, const Act &act);
    void reset();

    Script &on(const QString &operation, const QString &deviceKey, const QString &target);
    void clearScripts();
    /// Runs `change`, which alters a script, locked.
    template <typename Change>
    void changeScript(Change change)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        change();
    }

    QList<Call> calls() const;
    void clearCalls();
    void setJournalLimit(int limit);

    QStringList pendingDevices() const;
    /// False when fewer than `count` uploads are pending after `time`.
    bool waitForPending(int count, std::chrono::milliseconds time) const;
    bool fulfil(const QString &deviceKey, bool value);
    bool reject(const QString &deviceKey);

    /// Runs `access` with the state, locked. It must not call out.
    template <typename Access>
    auto with(Access access) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return access(m_state);
    }
    template <typename Access>
    auto with(Access access)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return access(m_state);
    }

private:
    struct Entry {
        quint64 serial;
        Call call;
    };
    struct Pending {
        quint64 serial;
        Call call;
        Act act;
        std::function<void(bool)> fulfil;
        std::function<void(const std::exception_ptr &)> reject;
    };
    struct Begun {
        quint64 serial;
        Action action;
    };

    /// Records a call, finds its script, and runs that one's hook.
    Begun begin(const Call &call);
    /// What the script or the wall answers; recorded.
    Answer answer(const Begun &begun, const Call &call, const Act &act);
    /// The wall's own behaviour. A refusal is noted.
    Answer perform(quint64 serial, const Call &call, const Act &act);
    void record(quint64 serial, const Answer &answer);
    void addNote(quint64 serial, const QString &text);
    /// Null when the journal does not hold the call any more. The lock must be held.
    Call *recorded(quint64 serial);
    std::optional<Pending> takePending(const QString &deviceKey);

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_pendingAdded;
    WallState m_state;
    std::deque<Entry> m_journal;
    int m_journalLimit = -1;
    quint64 m_lastSerial = 0;
    std::list<std::unique_ptr<Script>> m_scripts; ///< Newest first.
    std::list<Pending> m_pending;                 ///< Oldest first.
};

} // namespace Simulator

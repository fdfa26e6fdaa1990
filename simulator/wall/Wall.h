#pragma once

#include "Clock.h"
#include "device/Act.h"
#include "disk/WallDirectory.h"
#include "faults/Random.h"
#include "faults/Rules.h"
#include "journal/CallLog.h"
#include "journal/Replay.h"

#include <simulator/VirtualWall.h>

#include <QtPromise>

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <vector>

namespace Simulator {

/// What a change of the wall brings about outside it: told to others when the lock has been released.
struct Aftermath {
    std::vector<std::function<void()>> settle; ///< Each settles one promise.
    bool devicesChanged = false;
    QVector<QPair<QString, QString>> renamed; ///< Device key and name.
    QVector<qint64> events;                   ///< The moments of events that were added.
};

/// The wall behind the public class: state, journal, scripts, time and pending uploads. Public functions take the lock
/// themselves; none holds it while code of others runs, nor while it sleeps.
///
/// Time. What lies ahead is the events and the uploads that are due at a certain moment. They happen in the order of
/// their moments, whoever comes first to see that the moment has come: a call, an event loop, a thread of the wall,
/// advance(). A device works on one call after the other, so that each reserves its time when it begins.
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

    QList<Call> calls() const;
    void clearCalls();
    void setJournalLimit(int limit);
    bool recordTo(const QString &path, QString *error);

    void replay(const QList<Call> &calls);
    ReplayReport replayReport() const;
    void setReplayPatience(int milliseconds);
    /// Rejects the replayed uploads that a device has not settled. False if there were none.
    bool unplugReplayed(const QString &deviceKey);

    QStringList pendingDevices() const;
    /// False when fewer than `count` uploads are pending after `time`.
    bool waitForPending(int count, std::chrono::milliseconds time) const;
    /// Settles a device's oldest pending upload: with a value, or by rejecting it without one.
    bool settleByHand(const QString &deviceKey, std::optional<bool> value);

    void setWall(const WallDescription &description);
    WallDescription description() const;
    void setDevices(const QList<Device> &devices);
    void addDevice(const Device &device);

    bool create(const QString &directory, const WallDescription &wall, QString *error);
    bool open(const QString &directory, QString *error);
    void close();
    QString directory() const;

    void setClock(VirtualWall::Clock mode);
    qint64 now() const;
    void advance(qint64 milliseconds);
    void schedule(const Event &event);
    /// Makes an event happen at once. False when there is no such device, or nothing to change.
    bool happen(const Event &event);
    void setSeed(quint64 seed);

    /// For wake-ups: lets happen what is due, with a skipping clock the next thing to come. How many milliseconds later
    /// to come back, or none.
    std::optional<int> wake(const WakeUp &wakeUp);
    int millisecondsUntil(qint64 time) const;

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

    /// Lets `change` alter a device; what lasts of it is saved. False, and nothing changed, for an unknown device, when
    /// `change` answers false, and when the device could not be saved.
    template <typename Change>
    bool changeDevice(const QString &deviceKey, Change change)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        DeviceState *const device = m_state.device(deviceKey);
        return device && changeLocked(*device, [&] { return change(*device); });
    }

private:
    /// A call that is being served.
    struct Begun {
        quint64 serial = 0;
        Action action;
        qint64 answerAt = 0; ///< When the device acts. From there on the reply takes its own time.
        bool inThread = false;
        quint64 powerLosses = 0; ///< Of the device; the call is lost when it changes.
        quint64 life = 0;        ///< Of the wall; likewise.
    };
    /// Abandons a call when an exception leaves the scope, such as one that tells that memory ran out.
    class Abandoning
    {
    public:
        /// `serial` is read when that happens; 0 stands for a call that has not begun.
        Abandoning(Wall &wall, const quint64 &serial) : m_wall(wall), m_serial(serial) {}
        Abandoning(const Abandoning &) = delete;
        Abandoning &operator=(const Abandoning &) = delete;
        ~Abandoning();

    private:
        Wall &m_wall;
        const quint64 &m_serial;
        const int m_exceptions = std::uncaught_exceptions();
    };
    struct Pending {
        Begun begun;
        Call call;
        Act act;
        std::optional<qint64> due; ///< None: a script or a fault holds it back.
        std::function<void(bool)> fulfil;
        std::function<void(const std::exception_ptr &)> reject;

        quint64 serial() const { return begun.serial; }
        bool isHeldByScript() const { return begun.action.type == Action::Later; }
    };

    /// Records a call, finds what is to happen to it, runs a script's hook, and reserves the device's time.
    Begun begin(const Call &call, bool promise);

    // Of those below that end in "Locked" the lock must be held; what they bring about is told afterwards.

    /// What the newest script that applies says; where that gives no answer of its own, what was drawn or the last fault.
    Action actionLocked(const Call &call, bool promise, std::optional<Action> drawn);
    /// What chaos does to a call: perhaps an action, perhaps something to the devices.
    std::optional<Action> chaosLocked(quint64 serial, const Call &call, bool promise, Aftermath &after);
    /// An event that chaos brings about later.
    void addChaosLocked(Event::Type type, const QString &deviceKey, int milliseconds, Aftermath &after);
    /// What the script, the fault or the wall answers.
    Answer answerLocked(const Begun &begun, const Call &call, const Act &act, Aftermath &after);
    /// Runs `change`, which alters a device or none, and saves what lasts of it before it returns. When that fails, or
    /// when `change` throws, the device is as before; a Refusal says why.
    template <typename Change>
    auto savedLocked(DeviceState *device, Change change)
    {
        if (!device || !m_directory)
            return change();
        DeviceState before = *device; // shares everything until it is changed
        QString error;
        try {
            auto result = change();
            if (m_directory->save(before, *device, &error))
                return result;
        } catch (...) {
            *device = std::move(before); // which cannot fail
            throw;
        }
        *device = std::move(before);
        throw Refusal{QStringLiteral("not saved: ") + error, {}};
    }
    /// The same for a change that answers whether it was made; false also when it could not be saved.
    template <typename Change>
    bool changeLocked(DeviceState &device, Change change)
    {
        try {
            return savedLocked(&device, change);
        } catch (const Refusal &) {
            return false;
        }
    }
    /// Whether the device lost its power since the call began, and is back: it knows nothing of the call.
    bool isLostLocked(const Begun &begun, const Call &call) const;
    /// The wall's own behaviour. A refusal is noted.
    Answer performLocked(quint64 serial, const Call &call, const Act &act);
    /// Replaces everything that a description holds; `devices` are those of it. When it throws, the wall is as before but
    /// for pending uploads and events to come.
    void setUpLocked(const WallDescription &wall, const QList<DeviceState> &devices, Aftermath &after);
    void beginLifeLocked(const char *reason, bool rejectsHeld, Aftermath &after);
    void addEventLocked(const Event &event, Aftermath &after);
    bool happenLocked(const Event &event, Aftermath &after);
    /// The device's power is gone: its uploads are rejected.
    void losePowerLocked(DeviceState &device, const char *reason, Aftermath &after);
    void settleLocked(const Pending &upload, const Answer &answer, Aftermath &after);
    void rejectLocked(const Pending &upload, const char *reason, Aftermath &after);
    /// The call is over, and stays as it is from here on.
    void recordLocked(quint64 serial, const Answer &answer, bool rejected = false);
    void noteLocked(quint64 serial, const QString &text);
    /// The moment of the next thing to come.
    std::optional<qint64> nextLocked() const;
    /// Lets the next thing happen that is due at `time`; false when there is none.
    bool stepLocked(qint64 time, Aftermath &after);
    /// Whether an upload is pending that time can settle.
    bool isWaitingLocked() const;
    int millisecondsUntilLocked(qint64 time) const;

    void tell(const Aftermath &after);
    /// Everything that is due at `time`, and now.
    void happenUntil(qint64 time);
    void happenUntilNow();
    /// Until it is `time`: sleeping, or at once.
    void passTo(qint64 time);
    /// Sees to it that somebody wakes the wall for an upload, or for an event (`inThread` is false).
    void arm(qint64 time, bool inThread, bool isUpload);

    // Replay (WallReplay.cpp).

    static constexpr std::chrono::milliseconds defaultReplayPatience{5000};

    /// A call that is being replayed; of an upload also the promise, while it is open.
    struct Held {
        quint64 serial = 0;
        Call recorded; ///< What the call comes to.
        std::function<void(bool)> fulfil;
        std::function<void(const std::exception_ptr &)> reject;
    };
    /// Nothing when no replay runs.
    std::optional<Answer> serveReplayed(const Call &call);
    std::optional<QtPromise::QPromise<bool>> uploadReplayed(const Call &call);
    std::optional<Held> takeReplayed(const Call &call);
    void finishReplayed(const Held &taken);
    std::list<Held> takeHeld(const std::function<bool(const Held &)> &isMeant);
    void settleHeld(const Held &upload);
    void rejectHeld(Held &upload, const QString &reason);
    /// Settles the uploads that had settled when the next call of the recording began, in their order.
    void settleHeldBeforeNext();
    void settleLate(quint64 serial);
    /// Ends the replay; its open uploads are rejected.
    void endReplayLocked(const char *reason, Aftermath &after);

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_pendingAdded;
    WallState m_state;
    std::unique_ptr<WallDirectory> m_directory; ///< Null while no wall on disk is open.
    CallLog m_log;
    std::unique_ptr<Replay> m_replay;
    std::chrono::milliseconds m_replayPatience = defaultReplayPatience;
    std::list<Held> m_held;                       ///< Oldest first.
    std::list<std::unique_ptr<Script>> m_scripts; ///< Newest first.
    std::list<Pending> m_pending;                 ///< Oldest first.
    WallClock m_clock;
    std::multimap<qint64, Event> m_events; ///< To come, by microseconds.
    Random m_random{1};
    quint64 m_life = 0; ///< Counts the times that the wall was set up.
};

} // namespace Simulator

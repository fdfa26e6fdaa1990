#pragma once

#include "Calls.h"
#include "Chaos.h"
#include "Replayer.h"
#include "TimeKeeper.h"

#include <simulator/CallJournal.h>
#include <simulator/Faults.h>
#include <simulator/Pictures.h>
#include <simulator/Replay.h>
#include <simulator/Scripts.h>
#include <simulator/State.h>
#include <simulator/Timeline.h>
#include <simulator/Uploads.h>

namespace Simulator {

/// The parts of a VirtualWall, and the lock that guards them. Shared with wake-ups, so that it may outlive the VirtualWall.
struct Wall {
    /// `backend` emits the signals.
    static std::shared_ptr<Wall> make(Adapter::DeviceBackend *backend);

    std::mutex mutex;
    SavedState memory;
    CallLog log;
    WallClock clock;
    PendingUploads pending{log, clock};
    DeviceEvents events{memory, pending, clock};
    Answers answers{memory, events, log, clock};
    Chaos chaos{memory, events, log};
    TimeKeeper time{mutex, clock, pending, events, answers};
    Replayer replayer{mutex, log, clock};
    Calls calls{*this};

    // The public parts.
    CallJournal journal{mutex, log};
    Replay replay{replayer};
    Uploads uploads{*this};
    Timeline timeline{*this};
    Faults faults{*this};
    Scripts scripts{mutex};
    State state{*this};
    Pictures pictures{mutex, memory};

    /// Resets the wall; pending uploads are rejected.
    void reset(const QString &reason);
    /// Replaces everything that a description holds; `devices` are those of it. When it throws, the wall is unchanged except
    /// for pending uploads and scheduled events. The lock must be held.
    void setUp(const WallDescription &wall, const QList<DeviceState> &devices, Aftermath &after);

private:
    void beginGeneration(const QString &reason, bool rejectsHeld, Aftermath &after);
};

} // namespace Simulator

#pragma once

#include <simulator/Call.h>
#include <simulator/ReplayReport.h>
#include <simulator/SimulatorGlobal.h>

#include <QtCore/QList>
#include <QtCore/QString>

namespace Simulator {

class Replayer;

/// Replays a recording. See VirtualWall::replay().
class SIMULATOR_API Replay
{
public:
    /// From here on every call is compared with the next one of a recording (operation, device, target, request and
    /// extra argument, with their types) and answered as that was: result, reply, headers, a promise fulfilled with true
    /// or false or rejected. The wall's devices, scripts, faults and delays are not used. Calls are matched in the
    /// order in which they begin, on all threads; the journal shows them with the recorded times.
    ///
    /// The first call that is not the recorded one ends it: see ReplayReport::difference. That call and all later ones
    /// are answered false with a note, their promises fulfilled with false.
    ///
    /// A promise is settled as soon as the host has made every call that began, in the recording, before it was settled.
    /// One that was pending at the end of the recording stays pending until VirtualWall::unplug() or removeDevice() of its
    /// device, which reject it, whether the wall has such a device or not. When a host waits for a promise instead of making
    /// the next recorded call, the promise settles after a time limit (setPatience()).
    ///
    /// Signals are not part of a recording. VirtualWall::reset() ends the replay, another start() restarts it.
    void start(const QList<Call> &calls);
    /// Replays a file. False, and nothing changed, when CallJournal::read() reports an error.
    bool start(const QString &path, QString *error = nullptr);
    /// How far the replay has come.
    ReplayReport report() const;
    /// How long a promise waits for the next recorded call beyond that call's recorded time, in milliseconds; 5000 by
    /// default.
    void setPatience(int milliseconds);

private:
    friend struct Wall;
    explicit Replay(Replayer &replayer) : m_replayer(replayer) {}

    Replayer &m_replayer;
};

} // namespace Simulator

#pragma once

#include "PendingUploads.h"

#include <adapter/Operations.h>

#include <QtPromise>

namespace Simulator {

struct Wall;

/// Serves the calls of the device service. A device serves its calls one after the other: each reserves its time when it
/// begins. Takes the wall's lock, but does not hold it while hooks and other external code run, or while it sleeps.
class Calls
{
public:
    explicit Calls(Wall &wall) : m_wall(wall) {}

    /// Serves a call of an operation without promise.
    Answer serve(const Call &call);
    /// Serves a call of an upload; a result of true fulfils the promise with true.
    QtPromise::QPromise<bool> upload(const Call &call);

private:
    class Abandoning;

    /// Records a call, chooses its action, runs a script's hook, and reserves the device's time.
    Begun begin(const Call &call, bool promise);
    /// The action for the call. The lock must be held.
    Action choose(quint64 serial, const Call &call, bool promise, Aftermath &after);
    /// Serves an upload that settles at once.
    QtPromise::QPromise<bool> uploadNow(const Begun &begun, const Call &call, const Act &act);
    QtPromise::QPromise<bool> uploadLater(PendingUpload pending);

    Wall &m_wall;
};

} // namespace Simulator

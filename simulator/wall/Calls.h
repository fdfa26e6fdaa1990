#pragma once

#include "PendingUploads.h"

#include <adapter/Operations.h>

#include <QtPromise>

namespace Simulator {

struct Wall;

/// Serves the calls of the device service. A device works on one call after the other, so that each reserves its time when
/// it begins. Takes the wall's lock, and holds it neither while code of others runs nor while it sleeps.
class Calls
{
public:
    explicit Calls(Wall &wall) : m_wall(wall) {}

    /// Answers a call of an operation without promise.
    Answer serve(const Call &call);
    /// Answers a call of an upload; true of its answer fulfils the promise with true.
    QtPromise::QPromise<bool> upload(const Call &call);

private:
    class Abandoning;

    /// Records a call, finds what is to happen to it, runs a script's hook, and reserves the device's time.
    Begun begin(const Call &call, bool promise);
    /// What is to happen to it. The lock must be held.
    Action choose(quint64 serial, const Call &call, bool promise, Aftermath &after);
    /// Answers an upload with nothing to wait for.
    QtPromise::QPromise<bool> uploadNow(const Begun &begun, const Call &call, const Act &act);
    QtPromise::QPromise<bool> uploadLater(PendingUpload pending);

    Wall &m_wall;
};

} // namespace Simulator

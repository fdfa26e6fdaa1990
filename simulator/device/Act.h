#pragma once

#include "WallState.h"

#include <simulator/Call.h>

#include <QtCore/QDebug>

#include <functional>

namespace Simulator {

using Adapter::Answer;

/// The reason why the wall refuses a request. Thrown by acts and caught inside the wall.
struct Refusal {
    QString reason;
    QMap<QString, QString> headers;
};

/// The result of `work`. Where that is refused, because a plane cannot be read from its file or a change cannot be saved: a
/// default value, and a warning line. For callers that hold no lock: the host's message handler runs.
template <typename Work>
auto resultOrWarn(Work work) -> decltype(work())
{
    try {
        return work();
    } catch (const Refusal &refusal) {
        qWarning("%s", qPrintable(refusal.reason));
        return {};
    }
}

/// The wall's own behaviour in one operation: changes the state or throws a Refusal without having changed it. The
/// device is that of the call, null for discovery's operations.
using Act = std::function<Answer(WallState &, DeviceState *, const Call &)>;

} // namespace Simulator

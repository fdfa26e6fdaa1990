#pragma once

#include "WallState.h"

#include <simulator/Call.h>

#include <functional>

namespace Simulator {

using Adapter::Answer;

/// The reason why the wall refuses a request. Thrown by acts and caught inside the wall.
struct Refusal {
    QString reason;
    QMap<QString, QString> headers;
};

/// The wall's own behaviour in one operation: changes the state or throws a Refusal without having changed it. The
/// device is that of the call, null for discovery's operations.
using Act = std::function<Answer(WallState &, DeviceState *, const Call &)>;

} // namespace Simulator

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

/// The result of `read`. Where a plane cannot be read from its file: a default value, and a warning line.
template <typename Read>
auto readOrWarn(Read read) -> decltype(read())
{
    try {
        return read();
    } catch (const Refusal &refusal) {
        qWarning("%s", qPrintable(refusal.reason));
        return {};
    }
}

/// The wall's own behaviour in one operation: changes the state or throws a Refusal without having changed it. The
/// device is that of the call, null for discovery's operations.
using Act = std::function<Answer(WallState &, DeviceState *, const Call &)>;

} // namespace Simulator

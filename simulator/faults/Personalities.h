#pragma once

#include "Rules.h"

#include <simulator/Personalities.h>

#include <vector>

namespace Simulator {

/// The operations of devices by the names that Call::operation has, sorted. Those of the discovery are none.
QStringList operationNames();

/// What a device's personality and its own description add up to.
Timing timingOf(const Device &device);
/// The rules of its personality and of its own faults: the last one that applies counts.
std::vector<ScriptData> rulesOf(const Device &device);

} // namespace Simulator

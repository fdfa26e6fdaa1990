#pragma once

#include "Rules.h"

#include <simulator/Personalities.h>

#include <vector>

namespace Simulator {

/// The names of the operations of devices, as in Call::operation, sorted. Discovery's operations are not included.
QStringList operationNames();

/// A device's personality combined with its own description.
Timing timingOf(const Device &device);
/// The rules of its personality and of its own faults: the last one that applies is used.
std::vector<ScriptData> rulesOf(const Device &device);

} // namespace Simulator

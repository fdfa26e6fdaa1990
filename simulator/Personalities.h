#pragma once

#include <simulator/SimulatorGlobal.h>

#include <QtCore/QStringList>

namespace Simulator {

/// The names that Device::personality may have: "obedient", "slow", "silent", "refuses writes", "rejects uploads",
/// "damaged blocks", "short replies", "answers 404", "vanishes in refresh", "forgets on restart".
SIMULATOR_API QStringList personalityNames();

} // namespace Simulator

#pragma once

#include <adapter/Call.h>

namespace Simulator {

using Adapter::Call;

} // namespace Simulator

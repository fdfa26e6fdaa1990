#pragma once

namespace Correction {

/// The log line of a screen's operation for a null sub-screen: `%1` is its key.
constexpr const char *emptySubScreen = "Object Subscreen is Empty. SubScreen key: %1";

} // namespace Correction

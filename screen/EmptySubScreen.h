#pragma once

namespace Correction {

/// The log line of a screen's operation that meets a null sub-screen: `%1` its key.
constexpr const char *emptySubScreen = "Object Subscreen is Empty. SubScreen key: %1";

} // namespace Correction

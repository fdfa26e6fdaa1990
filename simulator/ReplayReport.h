#pragma once

#include <QtCore/QString>

namespace Simulator {

/// How far a replay has come; see Replay::report().
struct ReplayReport {
    int answered = 0;  ///< Calls that were answered as recorded.
    int remaining = 0; ///< Recorded calls that were not made yet.
    /// The first call that is not the recorded one: its number, the first place where the two differ, with both values,
    /// and then both calls, each on a line of its own. Null while there is none.
    QString difference;
};

} // namespace Simulator

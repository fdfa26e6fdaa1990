#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>

#include <functional>

/// The benchmark cases. A case does one job in up to three ways: through the library, the obvious way (`Reference`), and at
/// the limit: the part of the job that cannot be avoided, such as copying the finished string.
namespace Bench {

/// Does the job once. Its result is freed at the end, or at the next pass if the case keeps it.
using Pass = std::function<void()>;
/// Does everything that is not measured, and returns the pass.
using Prepare = std::function<Pass()>;

/// How a pass is measured.
enum class Measure {
    Warm,        ///< Processor time; many passes in a process that keeps its pages.
    Fresh,       ///< Processor time of the first pass of a process, in which memory is new pages.
    Elapsed,     ///< Time on the clock, waiting included; many passes.
    PeakMemory,  ///< Bytes by which a pass raises the resident set of a fresh process, at the highest.
    CpuShare,    ///< Processor time of a pass for each second that it takes.
    Allocations, ///< Allocated blocks of a pass.
};

struct Case {
    QString name; ///< Unique: how filters and child processes call it.
    Measure measure = Measure::Warm;
    Prepare library;
    Prepare obvious; ///< The baseline. May be empty.
    Prepare limit;   ///< May be empty.
    QString limitIs; ///< What the limit does.

    double timesObvious = 0; ///< Target: the baseline takes at least this many times as long. 0: none.
    double timesLimit = 0;   ///< Target: the library takes at most this many times the limit's figure. 0: none.
    /// Target: the library's figure is at most this. Negative: none.
    double atMost = -1;
    QString ifMissed = {}; ///< Explains in the chart why a target is missed.
    double memory = 0;     ///< Bytes that the machine must have free; the case is left out otherwise.
};

/// All cases, in the order of the report.
QVector<Case> allCases();

/// Those of the calibration library, a part of all.
QVector<Case> calibrationCases();

/// Small ones of each path, for counting instructions: only `library` and a name without blanks are set.
QVector<Case> countedCases();

} // namespace Bench

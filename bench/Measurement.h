#pragma once

#include "Cases.h"

#include <QtCore/QStringList>

/// Runs every case in its own process, so that no case depends on the memory state after another one.
namespace Bench {

/// One figure of each way for each round, in the unit that the case's measure has: seconds, bytes, a share or a number of
/// blocks. Empty for a way that the case does not have.
struct Figures {
    QVector<double> library;
    QVector<double> obvious;
    QVector<double> limit;
};

struct Effort {
    int rounds;
    double seconds; ///< How long each way of a case of many passes runs in each round, at least.
};

/// Measures the ways of a case in turn, round by round, so that whatever slows the machine down slows all of them down.
/// Exits with a message when a process fails.
Figures measure(const Case &ofCase, const Effort &effort);

/// The child's side: whether these arguments are those of a child, which has then done its work.
bool workAsChild(const QStringList &arguments);

/// Bytes that the machine can still give to processes.
double freeMemory();

} // namespace Bench

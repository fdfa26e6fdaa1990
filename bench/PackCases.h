#pragma once

#include "Cases.h"

namespace Bench {

/// The virtual wall's packs of planes on disk, for counting instructions: what `correctionctl` spends its time on beside the
/// library. Only `library` and a name without blanks are set.
QVector<Case> packCases();

} // namespace Bench

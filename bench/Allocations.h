#pragma once

#include <QtCore/qglobal.h>

namespace Bench {

/// Blocks that malloc and related functions have allocated for this thread.
qint64 allocationCount();

} // namespace Bench

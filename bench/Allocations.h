#pragma once

#include <QtCore/qglobal.h>

namespace Bench {

/// Blocks that malloc and its kin have handed out to this thread.
qint64 allocationCount();

} // namespace Bench

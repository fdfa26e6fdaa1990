#pragma once

#include <QtCore/QLoggingCategory>

namespace Calibration {

/// The category of the correction library, so that one filter rule serves both.
Q_DECLARE_LOGGING_CATEGORY(log)

} // namespace Calibration

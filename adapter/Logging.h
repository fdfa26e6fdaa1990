#pragma once

#include <QtCore/QLoggingCategory>

namespace Adapter {

Q_DECLARE_LOGGING_CATEGORY(lcAdapter)

} // namespace Adapter

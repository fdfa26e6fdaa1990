#include "model/Logging.h"

#include <QtCore/QDebug>

namespace Correction {

Q_LOGGING_CATEGORY(lcCorrection, "correction")

void detail::logFailureText(const QString &text)
{
    qCCritical(lcCorrection).noquote() << text;
}

} // namespace Correction

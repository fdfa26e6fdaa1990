#pragma once

#include <QtCore/QLoggingCategory>
#include <QtCore/QString>

namespace Correction {

/// Everything the library logs goes through this one category, named "correction".
const QLoggingCategory &lcCorrection();

namespace detail {
inline const QString &toText(const QString &text)
{
    return text;
}
inline QString toText(int number)
{
    return QString::number(number);
}

void logFailureText(const QString &text);
} // namespace detail

/// Writes one critical line: `message` with all its placeholders filled at once, so that "%2" in a device key is not
/// replaced. Nothing is formatted while the level is off.
template <class... Values>
void logFailure(const char *message, const Values &...values)
{
    if (lcCorrection().isCriticalEnabled())
        detail::logFailureText(QString::fromLatin1(message).arg(detail::toText(values)...));
}

} // namespace Correction

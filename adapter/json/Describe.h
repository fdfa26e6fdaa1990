#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Json {

/// A value as exact, typed text; the rules are those of CallJournal::describe(). Texts of more than `longest`
/// characters are cut; a negative `longest` cuts none.
QString describeValue(const QVariant &value, int longest);

/// A text in quotes, as describeValue() gives it.
QString describeText(const QString &text, int longest);

} // namespace Json

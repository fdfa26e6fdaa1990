#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Json {

/// A value as an exact, typed string; the rules are those of CallJournal::describe(). Strings of more than `longest`
/// characters are cut; a negative `longest` cuts none.
QString describeValue(const QVariant &value, int longest);

/// A string in quotes, as describeValue() writes it.
QString describeText(const QString &text, int longest);

} // namespace Json

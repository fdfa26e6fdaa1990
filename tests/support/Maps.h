#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <initializer_list>
#include <utility>

namespace TestSupport {

/// A map for a request or of a reply, with its keys as literals.
inline QMap<QString, QVariant> map(std::initializer_list<std::pair<const char *, QVariant>> entries)
{
    QMap<QString, QVariant> result;
    for (const auto &entry : entries)
        result.insert(QString::fromLatin1(entry.first), entry.second);
    return result;
}

} // namespace TestSupport

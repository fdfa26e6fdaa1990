#pragma once

#include "Act.h"

#include <QtCore/QLatin1String>
#include <QtCore/QMetaType>

namespace Simulator {

/// Reads the entries of a request's map strictly: a missing, additional or wrongly typed entry is a Refusal.
class Entries
{
public:
    /// `path` names the map in refusals; empty for the request itself.
    explicit Entries(const QVariant &map, const QString &path = QString());

    /// The value of an entry that has exactly the type `T`.
    template <typename T>
    T take(const char *key)
    {
        return take(key, qMetaTypeId<T>()).template value<T>();
    }
    Entries map(const char *key);
    QList<QVariant> list(const char *key);
    /// An entry with "x", "y", "width" and "height", whose values do not matter.
    void takeRect(const char *key);
    /// The value of an entry of any type.
    QVariant any(const char *key);

    /// Refuses entries that were not taken.
    void done() const;
    QString path(const char *key) const;

private:
    QVariant take(const char *key, int type);

    QMap<QString, QVariant> m_map;
    QString m_path;
    int m_taken = 0;
};

} // namespace Simulator

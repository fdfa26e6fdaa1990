#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <initializer_list>
#include <utility>

namespace Correction {

/// A map of these entries. Unlike the map's own constructor from a list it leaks nothing when memory runs out half-way.
inline QVariantMap variantMap(std::initializer_list<std::pair<QString, QVariant>> entries)
{
    QVariantMap map;
    for (const auto &entry : entries)
        map.insert(entry.first, entry.second);
    return map;
}

/// A copy that shares nothing with `map`. A shared QMap leaks when memory runs out in its first change.
template <class Key, class Value>
QMap<Key, Value> unsharedCopy(const QMap<Key, Value> &map)
{
    QMultiMap<Key, Value> copy; // the host's map may have a key several times
    for (auto entry = map.cend(); entry != map.cbegin();) {
        --entry;
        copy.insert(entry.key(), entry.value()); // before the others of its key
    }
    return copy;
}

} // namespace Correction

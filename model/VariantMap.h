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

} // namespace Correction

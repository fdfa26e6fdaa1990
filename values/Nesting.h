#pragma once

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Maps, hashes and lists inside one another, as deep as a device sends them. Copying, printing and destroying them takes
/// stack for each level.
namespace Nesting {

/// Levels of a reply that are used. No reply of a working device reaches them.
constexpr int deepest = 100;

/// Empties what is nested deeper than `deepest`; false when nothing is. What it was shared with does not change.
bool limit(QVariantMap &value);
bool limit(QVariantList &value);
bool limit(QVariant &value);

/// The note that a journal has for a reply that was limited.
QString limitNote();

/// Clears a value without recursion. One that is shared stays whole for its other owners, the last of which has to release
/// it in this way as well.
void release(QVariant &value) noexcept;

/// Calls `visit` with the map, list or hash that a value holds, for reading. False when it holds none.
template <class Visit>
bool visit(const QVariant &value, Visit visit)
{
    switch (value.userType()) {
    case QMetaType::QVariantMap:
        visit(*static_cast<const QVariantMap *>(value.constData()));
        return true;
    case QMetaType::QVariantList:
        visit(*static_cast<const QVariantList *>(value.constData()));
        return true;
    case QMetaType::QVariantHash:
        visit(*static_cast<const QVariantHash *>(value.constData()));
        return true;
    default:
        return false;
    }
}

} // namespace Nesting

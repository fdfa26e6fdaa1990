#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>

#include <cstddef>
#include <iterator>
#include <string_view>

namespace Correction {

namespace detail {

/// Compares as a QString does, but inline: most keys are short.
inline std::u16string_view unitsOf(const QString &key)
{
    return {reinterpret_cast<const char16_t *>(key.constData()), std::size_t(key.size())};
}

/// The key's entry, or the first one behind its place, is searched from `entry` on in this many steps. Between two ids that
/// follow each other as numbers are those that are one with fewer digits.
constexpr int nearbyEntries = 4;

/// Moves `entry` forward to the first one whose key is not less. False when that is farther away.
template <class Iterator>
bool moveNear(Iterator &entry, const Iterator &end, const QString &key)
{
    for (int step = 0; step < nearbyEntries; ++step, ++entry) {
        if (entry == end || !(unitsOf(entry.key()) < unitsOf(key)))
            return true;
    }
    return false;
}

} // namespace detail

/// Looks up many keys of a map. The next key usually follows the last one closely, both among the fields of a reply and
/// among the cabinets of a wall: then few comparisons replace the search. The map must not change while the cursor is used.
template <class Value>
class MapCursor
{
public:
    explicit MapCursor(const QMap<QString, Value> &map) : m_map(map), m_next(map.cbegin()), m_end(map.cend()) {}
    explicit MapCursor(const QMap<QString, Value> &&) = delete;
    MapCursor(const MapCursor &) = delete;
    MapCursor &operator=(const MapCursor &) = delete;

    /// Null without an entry of this key.
    const Value *find(const QString &key)
    {
        if (!isNext(key) && (!detail::moveNear(m_next, m_end, key) || !isNext(key)))
            m_next = m_map.constFind(key);
        return m_next == m_end ? nullptr : &*m_next++;
    }

private:
    bool isNext(const QString &key) const
    {
        return m_next != m_end && detail::unitsOf(m_next.key()) == detail::unitsOf(key);
    }

    const QMap<QString, Value> &m_map;
    typename QMap<QString, Value>::const_iterator m_next;
    const typename QMap<QString, Value>::const_iterator m_end;
};

/// Inserts keys that are mostly in order: one that follows the last one closely is inserted without a search.
template <class Value>
class MapFiller
{
    using Map = QMap<QString, Value>;
    using Place = typename Map::const_iterator;

public:
    explicit MapFiller(Map &map) : m_map(map), m_next(map.cend()) {}
    MapFiller(const MapFiller &) = delete;
    MapFiller &operator=(const MapFiller &) = delete;

    /// Call after the map was changed otherwise.
    void searchAgain() { m_next = m_map.cend(); }

    /// As `QMap::insert`: an entry of this key gets the new value.
    void insert(const QString &key, const Value &value)
    {
        moveTo(key);
        insertHere(key, value);
    }

    /// False, and nothing changed, when there is an entry of this key.
    bool add(const QString &key, const Value &value)
    {
        moveTo(key);
        if (m_next != m_map.cend() && m_next.key() == key)
            return false;
        insertHere(key, value);
        return true;
    }

private:
    /// To the first entry whose key is not less.
    void moveTo(const QString &key)
    {
        if (!detail::moveNear(m_next, m_map.cend(), key)
            || (m_next != m_map.cbegin() && !(detail::unitsOf(std::prev(m_next).key()) < detail::unitsOf(key))))
            m_next = qAsConst(m_map).lowerBound(key);
    }

    void insertHere(const QString &key, const Value &value)
    {
        m_next = Place(m_map.insert(m_next, key, value));
        ++m_next;
    }

    Map &m_map;
    Place m_next;
};

} // namespace Correction

#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>

namespace Correction {

/// Looks up many keys of a map. The next key usually follows the last one directly, both among the fields of a reply and
/// among the cabinets of a wall: then one comparison replaces the search. The map must not change while the cursor is used.
template <class Value>
class MapCursor
{
public:
    explicit MapCursor(const QMap<QString, Value> &map) : m_map(map), m_next(map.cbegin()) {}
    explicit MapCursor(const QMap<QString, Value> &&) = delete;
    MapCursor(const MapCursor &) = delete;
    MapCursor &operator=(const MapCursor &) = delete;

    /// Null without an entry of this key.
    const Value *find(const QString &key)
    {
        if (m_next == m_map.cend() || m_next.key() != key)
            m_next = m_map.constFind(key);
        return m_next == m_map.cend() ? nullptr : &*m_next++;
    }

private:
    const QMap<QString, Value> &m_map;
    typename QMap<QString, Value>::const_iterator m_next;
};

/// Inserts keys that are mostly in order: a key that follows the last one is inserted without a search. The map must not
/// change otherwise while this is used.
template <class Value>
class MapFiller
{
    using Place = typename QMap<QString, Value>::const_iterator;

public:
    explicit MapFiller(QMap<QString, Value> &map) : m_map(map), m_next(map.cend()) {}
    MapFiller(const MapFiller &) = delete;
    MapFiller &operator=(const MapFiller &) = delete;

    /// As `QMap::insert`: an entry of this key gets the new value.
    void insert(const QString &key, const Value &value)
    {
        m_next = Place(m_map.insert(m_next, key, value));
        ++m_next;
    }

private:
    QMap<QString, Value> &m_map;
    Place m_next;
};

} // namespace Correction

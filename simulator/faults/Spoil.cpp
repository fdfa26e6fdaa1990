#include "Spoil.h"

#include <QtCore/QStringList>

namespace Simulator::Spoil {

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

/// Calls `change` for a list, whatever its elements are; false for anything else.
template <typename Change>
bool changeList(QVariant &value, Change change)
{
    const auto changeAs = [&](auto list) {
        const bool changed = change(list);
        if (changed)
            value = QVariant::fromValue(list);
        return changed;
    };
    if (value.userType() == QMetaType::QVariantList)
        return changeAs(value.toList());
    if (value.userType() == QMetaType::QStringList)
        return changeAs(value.toStringList());
    if (value.userType() == qMetaTypeId<QList<int>>())
        return changeAs(value.value<QList<int>>());
    return false;
}

/// Calls `change` for a value and for everything in it, the outermost first.
template <typename Change>
bool changeTree(QVariant &value, Change change)
{
    bool changed = change(value);
    if (value.userType() == QMetaType::QVariantList) {
        List list = value.toList();
        for (QVariant &element : list)
            changed |= changeTree(element, change);
        value = list;
    } else if (value.userType() == QMetaType::QVariantMap) {
        Map map = value.toMap();
        for (QVariant &element : map)
            changed |= changeTree(element, change);
        value = map;
    }
    return changed;
}

/// Calls `change(map, key)` for an entry of every map.
template <typename Change>
bool changeEntries(QVariant &reply, const QString &key, Random &random, Change change)
{
    return changeTree(reply, [&](QVariant &value) {
        if (value.userType() != QMetaType::QVariantMap)
            return false;
        Map map = value.toMap();
        if (map.isEmpty() || (!key.isEmpty() && !map.contains(key)))
            return false;
        const QStringList keys = map.keys();
        change(map, key.isEmpty() ? keys[static_cast<int>(random.below(static_cast<quint64>(keys.size())))] : key);
        value = map;
        return true;
    });
}

/// A value that does not stand for `value` in any way.
QVariant otherType(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QString:
        return Map();
    case QMetaType::QVariantMap:
    case QMetaType::QVariantList:
        return 1;
    default:
        return QStringLiteral("of another type");
    }
}

} // namespace

bool truncate(QVariant &reply)
{
    return changeTree(reply, [](QVariant &value) {
        return changeList(value, [](auto &list) {
            const int kept = list.size() / 2;
            const bool shorter = kept < list.size();
            list.erase(list.begin() + kept, list.end());
            return shorter;
        });
    });
}

bool shuffle(QVariant &reply, Random &random)
{
    return changeTree(reply, [&](QVariant &value) {
        return changeList(value, [&](auto &list) {
            bool moved = false;
            for (int i = list.size() - 1; i > 0; --i) {
                const int other = static_cast<int>(random.below(static_cast<quint64>(i) + 1));
                moved |= other != i;
                list.swapItemsAt(i, other);
            }
            if (!moved && list.size() > 1)
                list.move(0, list.size() - 1);
            return list.size() > 1;
        });
    });
}

bool removeEntries(QVariant &reply, const QString &key, Random &random)
{
    return changeEntries(reply, key, random, [](Map &map, const QString &name) { map.remove(name); });
}

bool retypeEntries(QVariant &reply, const QString &key, Random &random)
{
    return changeEntries(reply, key, random, [](Map &map, const QString &name) { map[name] = otherType(map[name]); });
}

bool dirtyTexts(QVariant &reply)
{
    constexpr int distance = 64;
    return changeTree(reply, [](QVariant &value) {
        if (value.userType() != QMetaType::QVariantMap)
            return false;
        bool changed = false;
        Map map = value.toMap();
        for (const char *key : {"coefficients", "coefficient", "config"}) {
            const auto entry = map.find(QLatin1String(key));
            if (entry == map.end() || entry->userType() != QMetaType::QString)
                continue;
            QString text = entry->toString();
            for (int i = 0; i < text.size(); i += distance) {
                text[i] = QLatin1Char('!');
                changed = true;
            }
            *entry = text;
        }
        value = map;
        return changed;
    });
}

} // namespace Simulator::Spoil

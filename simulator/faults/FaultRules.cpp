#include "Rules.h"

#include <QtCore/QStringList>

namespace Simulator {

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

/// Calls `change` for a value and everything nested in it, the outermost first.
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

/// Calls `change(map, key)` for an entry of every map; without a key for a randomly chosen one.
template <typename Change>
Corruption changingEntries(const QString &key, Change change)
{
    return [=](QVariant &reply, Random &random) {
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
    };
}

/// A value of a type that `value` does not convert to.
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

bool truncate(QVariant &reply, Random &)
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

bool dirtyBase64(QVariant &reply, Random &)
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

} // namespace

const QVector<FaultType> &faultTypes()
{
    static const QVector<FaultType> types{
#define FAULT(type, name, calls, note, about) {Fault::type, name, ScriptData::calls, note},
#include <simulator/FaultTypes.def>
    };
    return types;
}

ScriptData ruleOf(const Fault &fault, const QString &who)
{
    const FaultType &type = faultTypes()[fault.type];
    ScriptData rule;
    rule.operation = fault.operation;
    rule.target = fault.target;
    rule.skip = fault.after;
    rule.limit = fault.times;
    rule.calls = type.calls;
    Action &action = rule.action;
    action.note = who + QStringLiteral(": ") + QLatin1String(type.note);
    switch (fault.type) {
    case Fault::NoAnswer:
        action.type = Action::False;
        break;
    case Fault::LateAnswer:
        action.milliseconds = qMax(0, fault.milliseconds);
        break;
    case Fault::RejectUpload:
        action.type = Action::Reject;
        action.error = rejection(QStringLiteral("the device rejected the upload"));
        break;
    case Fault::NeverSettle:
        action.type = Action::Never;
        break;
    case Fault::Status: {
        action.type = Action::False;
        QMap<QString, QString> headers = okHeaders();
        headers[QStringLiteral("HttpResponse_StateCode")] = fault.status;
        action.headers = headers;
        action.note += QLatin1Char(' ') + fault.status;
        break;
    }
    case Fault::Vanish:
        action.type = Action::Vanish;
        break;
    case Fault::Restart:
        action.type = Action::Restart;
        break;
    case Fault::TruncateReply:
        action.corrupt = truncate;
        break;
    case Fault::ShuffleReply:
        action.corrupt = shuffle;
        break;
    case Fault::MissingKey:
        action.corrupt = changingEntries(fault.key, [](Map &map, const QString &name) { map.remove(name); });
        break;
    case Fault::WrongType:
        action.corrupt = changingEntries(fault.key, [](Map &map, const QString &name) { map[name] = otherType(map[name]); });
        break;
    case Fault::DirtyBase64:
        action.corrupt = dirtyBase64;
        break;
    }
    return rule;
}

} // namespace Simulator

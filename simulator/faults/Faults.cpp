#include "Faults.h"

#include "Rules.h"
#include "wall/Wall.h"

#include <QtCore/QStringList>

namespace Simulator::Faults {

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

} // namespace Simulator::Faults

namespace Simulator {

namespace {

bool fits(const QString &pattern, const QString &text)
{
    return pattern.isNull() || pattern == text;
}

} // namespace

bool isUpload(const Call &call)
{
    return call.operation.startsWith(QLatin1String("Correctionop::upload"));
}

bool ScriptData::matches(const Call &call, bool promise)
{
    if (!fits(operation, call.operation) || !fits(deviceKey, call.deviceKey) || !fits(target, call.target))
        return false;
    if (calls == Promises && !promise)
        return false;
    if (calls == Uploads && !isUpload(call))
        return false;
    ++seen;
    return true;
}

ScriptData ruleOf(const Fault &fault, const QString &who)
{
    ScriptData rule;
    rule.operation = fault.operation;
    rule.target = fault.target;
    rule.skip = fault.after;
    rule.limit = fault.times;
    Action &action = rule.action;
    QString what;
    switch (fault.type) {
    case Fault::NoAnswer:
        action.type = Action::False;
        what = QStringLiteral("no answer");
        break;
    case Fault::LateAnswer:
        action.milliseconds = qMax(0, fault.milliseconds);
        what = QStringLiteral("late answer");
        break;
    case Fault::RejectUpload:
        rule.calls = ScriptData::Uploads;
        action.type = Action::Reject;
        action.error = std::make_exception_ptr(std::runtime_error("the device rejected the upload"));
        what = QStringLiteral("upload rejected");
        break;
    case Fault::NeverSettle:
        rule.calls = ScriptData::Promises;
        action.type = Action::Never;
        what = QStringLiteral("never settled");
        break;
    case Fault::TruncateReply:
        action.spoil = [](QVariant &reply, Random &) { return Faults::truncate(reply); };
        what = QStringLiteral("truncated reply");
        break;
    case Fault::ShuffleReply:
        action.spoil = [](QVariant &reply, Random &random) { return Faults::shuffle(reply, random); };
        what = QStringLiteral("shuffled reply");
        break;
    case Fault::MissingKey:
        action.spoil = [key = fault.key](QVariant &reply, Random &random) {
            return Faults::removeEntries(reply, key, random);
        };
        what = QStringLiteral("missing key");
        break;
    case Fault::WrongType:
        action.spoil = [key = fault.key](QVariant &reply, Random &random) {
            return Faults::retypeEntries(reply, key, random);
        };
        what = QStringLiteral("wrong type");
        break;
    case Fault::DirtyBase64:
        action.spoil = [](QVariant &reply, Random &) { return Faults::dirtyTexts(reply); };
        what = QStringLiteral("dirty base64");
        break;
    case Fault::Status: {
        action.type = Action::False;
        QMap<QString, QString> headers = okHeaders();
        headers[QStringLiteral("HttpResponse_StateCode")] = fault.status;
        action.headers = headers;
        what = QStringLiteral("status ") + fault.status;
        break;
    }
    case Fault::Vanish:
        action.type = Action::Vanish;
        what = QStringLiteral("device vanished");
        break;
    case Fault::Restart:
        action.type = Action::Restart;
        what = QStringLiteral("device restarted");
        break;
    }
    action.note = who + QStringLiteral(": ") + what;
    return rule;
}

qint64 charactersIn(const QVariant &value)
{
    qint64 count = 0;
    if (value.userType() == QMetaType::QString) {
        count = value.toString().size();
    } else if (value.userType() == QMetaType::QVariantList) {
        const QList<QVariant> list = value.toList();
        for (const QVariant &element : list)
            count += charactersIn(element);
    } else if (value.userType() == QMetaType::QVariantMap) {
        const QMap<QString, QVariant> map = value.toMap();
        for (const QVariant &element : map)
            count += charactersIn(element);
    }
    return count;
}

} // namespace Simulator

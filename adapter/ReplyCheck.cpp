#include "ReplyCheck.h"

#include <QtCore/QDebug>

namespace Adapter {

namespace {

/// Whether the library reads the value that is there.
bool converts(const QVariant &value, Type type)
{
    const auto asNumber = [&value](int target) {
        QVariant number = value;
        return number.userType() == target || (number.canConvert(target) && number.convert(target));
    };
    switch (type) {
    case Type::Bool:
        return value.canConvert<bool>();
    case Type::Int:
        return asNumber(QMetaType::Int);
    case Type::UInt:
        return asNumber(QMetaType::UInt);
    case Type::LongLong:
        return asNumber(QMetaType::LongLong);
    case Type::ULongLong:
        return asNumber(QMetaType::ULongLong);
    case Type::Text:
    case Type::Base64:
    case Type::CabinetId:
        return value.canConvert<QString>();
    case Type::Kind:
        return value.canConvert<int>();
    case Type::IntList:
        return value.canConvert<QList<int>>();
    case Type::List:
        return value.canConvert<QVariantList>();
    case Type::Map:
        return value.canConvert<QVariantMap>();
    }
    return true;
}

const char *nameOf(Type type)
{
    switch (type) {
    case Type::Bool:
        return "a bool";
    case Type::Int:
        return "an int";
    case Type::UInt:
        return "a uint";
    case Type::LongLong:
        return "a qlonglong";
    case Type::ULongLong:
        return "a qulonglong";
    case Type::Text:
        return "a QString";
    case Type::Base64:
        return "a QString of base64";
    case Type::Kind:
        return "a kind";
    case Type::CabinetId:
        return "a cabinet id";
    case Type::IntList:
        return "a QList<int>";
    case Type::List:
        return "a QVariantList";
    case Type::Map:
        return "a QVariantMap";
    }
    return "";
}

/// Finds the first wrong value.
class Check
{
public:
    bool isGood(const QVariant &value, const Field &field)
    {
        if (!converts(value, field.type)) {
            expected = QLatin1String(nameOf(field.type));
            found = value.isValid() ? QString::fromLatin1(value.typeName()) : QStringLiteral("invalid QVariant");
            return false;
        }
        if (field.type == Type::Map)
            return isGood(value.toMap(), field.fields);
        if (field.type == Type::List)
            return isGood(value.toList(), *field.fields.begin());
        return true;
    }

    QString place; ///< Such as `[2]["recvcardflags"]`; empty for the reply itself.
    QString expected;
    QString found;

private:
    bool isGood(const QVariantMap &map, Fields fields)
    {
        for (const Field &field : fields) {
            const QString key = QLatin1String(field.key);
            const auto entry = map.constFind(key);
            if (entry != map.cend() && !isGood(*entry, field)) {
                place.prepend(QStringLiteral("[\"%1\"]").arg(key));
                return false;
            }
        }
        return true;
    }
    bool isGood(const QVariantList &list, const Field &element)
    {
        for (int i = 0; i < list.size(); ++i) {
            if (!isGood(list[i], element)) {
                place.prepend(QStringLiteral("[%1]").arg(i));
                return false;
            }
        }
        return true;
    }
};

} // namespace

void warnOfWrongTypes(const Operation &operation, const QString &deviceKey, const QVariant &reply)
{
    const Field map[] = {{nullptr, Type::Map, "", operation.replyFields}};
    const Field list{nullptr, Type::List, "", map};
    Check check;
    if (!reply.isValid() || check.isGood(reply, operation.reply == Form::List ? list : map[0]))
        return;
    qCWarning(lcAdapter).noquote() << QStringLiteral("%1: device %2: reply%3 is a %4, not %5")
                                          .arg(operation.name, deviceKey, check.place, check.found, check.expected);
}

} // namespace Adapter

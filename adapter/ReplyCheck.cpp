#include "ReplyCheck.h"

namespace Adapter {

namespace {

/// Whether the library can read the value.
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
        // What toList() and toMap() convert: no QList<int>, for instance.
        return value.userType() == QMetaType::QVariantList || value.userType() == QMetaType::QStringList
               || value.userType() == QMetaType::QJsonArray;
    case Type::Map:
        return value.userType() == QMetaType::QVariantMap || value.userType() == QMetaType::QVariantHash
               || value.userType() == QMetaType::QJsonObject;
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

/// Calls `visit` for each value until it returns false.
class Walk
{
public:
    explicit Walk(const ReplyVisitor &visit) : m_visit(visit) {}

    bool value(const ReplyValue &value)
    {
        if (!m_visit(value))
            return false;
        if (!value.converts())
            return true;
        if (value.field.type == Type::Map)
            return map(value.value->toMap(), value);
        if (value.field.type == Type::List)
            return list(value.value->toList(), value);
        return true;
    }

private:
    bool map(const QVariantMap &map, const ReplyValue &parent)
    {
        for (const Field &field : parent.field.fields) {
            const auto entry = map.constFind(QLatin1String(field.key));
            if (!value({field, entry == map.cend() ? nullptr : &*entry, &parent, -1}))
                return false;
        }
        return true;
    }
    bool list(const QVariantList &list, const ReplyValue &parent)
    {
        const Field &element = *parent.field.fields.begin();
        for (int i = 0; i < list.size(); ++i) {
            if (!value({element, &list[i], &parent, i}))
                return false;
        }
        return true;
    }

    const ReplyVisitor &m_visit;
};

} // namespace

bool ReplyValue::converts() const
{
    return value && Adapter::converts(*value, field.type);
}

QString ReplyValue::place() const
{
    if (!parent)
        return {};
    return parent->place()
           + (field.key ? QStringLiteral("[\"%1\"]").arg(QLatin1String(field.key)) : QStringLiteral("[%1]").arg(index));
}

QString ReplyValue::mismatch() const
{
    const bool isValid = value && value->isValid();
    return QStringLiteral("a %1, not %2")
        .arg(isValid ? QString::fromLatin1(value->typeName()) : QStringLiteral("invalid QVariant"),
             QLatin1String(nameOf(field.type)));
}

void walkReply(const Operation &operation, const QVariant &reply, const ReplyVisitor &visit)
{
    const Field map[] = {{nullptr, Type::Map, "", operation.replyFields}};
    const Field list{nullptr, Type::List, "", map};
    if (reply.isValid() && (operation.reply == Form::Map || operation.reply == Form::List))
        Walk(visit).value({operation.reply == Form::List ? list : map[0], &reply, nullptr, -1});
}

} // namespace Adapter

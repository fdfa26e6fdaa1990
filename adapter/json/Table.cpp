#include "Table.h"

#include <QtCore/QVariant>

namespace Json {

void Text::describe(Schema &schema, const QString &) const
{
    schema.entries(R"("type": "string")");
    if (!mayBeEmpty)
        schema.entries(R"("minLength": 1)");
}

void OneOf::describe(Schema &schema, const QString &) const
{
    if (pattern) {
        schema.entries(R"("type": "string")");
        schema.out.key("pattern");
        schema.out.text(QLatin1String(pattern));
        return;
    }
    schema.out.key("enum");
    ListOf<Text>().write(schema.out, names);
}

void Bool::describe(Schema &schema, bool) const
{
    schema.entries(R"("type": "boolean")");
}

bool Integer::check(Reader &reader, const QJsonValue &value, qint64 &integer) const
{
    const QVariant number = value.toVariant(); // a QJsonValue itself gives integers as double only
    integer = number.toLongLong();
    const bool isInteger = value.isDouble() && number.userType() == QMetaType::LongLong;
    if (!isInteger || integer < least)
        reader.expected(what(), value);
    else if (integer > most)
        reader.expected(QStringLiteral("an integer of at most %1").arg(most), value);
    else
        return true;
    return false;
}

QString Integer::what() const
{
    if (least == 1)
        return QStringLiteral("a positive integer");
    return least == 0 ? QStringLiteral("an integer that is not negative")
                      : QStringLiteral("an integer of at least %1").arg(least);
}

void Integer::describe(Schema &schema) const
{
    schema.entries(R"("type": "integer")");
    schema.out.key("minimum");
    schema.out.number(least);
    schema.out.key("maximum");
    schema.out.number(most);
}

QByteArray Schema::finish()
{
    out.key("$defs");
    out.open('{');
    for (const auto &definition : std::as_const(m_definitions)) {
        out.key(definition.first.constData());
        out.raw(definition.second);
    }
    out.close('}');
    out.close('}');
    return layOut(out.json()) + '\n';
}

} // namespace Json

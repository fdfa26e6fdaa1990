#include "Describe.h"

#include "TypedJson.h"

#include <QtCore/QByteArray>
#include <QtCore/QDebug>
#include <QtCore/QMetaType>
#include <QtCore/QSequentialIterable>
#include <QtCore/QStringList>

namespace Json {

namespace {

QString escaped(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '\\':
            result += QLatin1String("\\\\");
            break;
        case '"':
            result += QLatin1String("\\\"");
            break;
        case '\n':
            result += QLatin1String("\\n");
            break;
        case '\r':
            result += QLatin1String("\\r");
            break;
        case '\t':
            result += QLatin1String("\\t");
            break;
        default:
            if (c.isPrint() || c.isSurrogate())
                result += c;
            else
                result += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        }
    }
    return result;
}

template <typename Map>
QString describeMap(const Map &map, int longest)
{
    QStringList entries;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        entries += describeText(it.key(), -1) + QLatin1String(": ") + describeValue(it.value(), longest);
    return QLatin1Char('{') + entries.join(QLatin1String(", ")) + QLatin1Char('}');
}

/// A number, without its type; a null string for anything else.
QString number(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::SChar:
        return QString::number(value.toLongLong());
    case QMetaType::Char: // Signed on every machine, so that journals are the same.
        return QString::number(static_cast<signed char>(value.value<char>()));
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return QString::number(value.toULongLong());
    case QMetaType::Float:
    case QMetaType::Double:
        return QString::number(value.toDouble(), 'g', 17);
    default:
        return QMetaType(value.userType()).flags() & QMetaType::IsEnumeration ? QString::number(value.toLongLong())
                                                                              : QString();
    }
}

/// The elements of a container other than a list of variants. Numbers are written without their type: the container's type
/// name contains it.
QString describeElements(const QVariant &container, int longest)
{
    QStringList elements;
    const auto iterable = container.value<QSequentialIterable>();
    for (const QVariant &element : iterable) {
        const QString text = number(element);
        elements += text.isNull() ? describeValue(element, longest) : text;
    }
    return QLatin1Char('[') + elements.join(QLatin1String(", ")) + QLatin1Char(']');
}

} // namespace

QString describeText(const QString &text, int longest)
{
    const QLatin1Char quote('"');
    if (longest < 0 || text.size() <= longest)
        return quote + escaped(text) + quote;
    return quote + escaped(text.left(longest)) + QStringLiteral("...\" (%1 characters)").arg(text.size());
}

QString describeValue(const QVariant &value, int longest)
{
    if (!value.isValid())
        return QStringLiteral("invalid");

    const QString type = QString::fromLatin1(value.typeName()) + QLatin1Char(' ');
    switch (value.userType()) {
    case QMetaType::QString:
        return describeText(value.toString(), longest);
    case QMetaType::QByteArray:
        return type + describeText(QString::fromLatin1(value.toByteArray().toHex()), longest);
    case QMetaType::QVariantMap:
        return describeMap(value.toMap(), longest);
    case QMetaType::QVariantList: {
        const QList<QVariant> list = value.toList();
        QStringList elements;
        for (const QVariant &element : list)
            elements += describeValue(element, longest);
        return QLatin1Char('[') + elements.join(QLatin1String(", ")) + QLatin1Char(']');
    }
    case QMetaType::QStringList:
        return type + describeElements(value, longest);
    default:
        break;
    }
    if (value.userType() == qMetaTypeId<KeptValue>()) {
        const auto kept = value.value<KeptValue>();
        const bool isDescribed = kept.member == QLatin1String("text");
        return isDescribed ? kept.content.toString() : kept.type + QLatin1Char(' ') + describeValue(kept.content, longest);
    }

    const QString digits = number(value);
    if (!digits.isNull())
        return type + digits;
    if (value.canConvert<QVariantList>())
        return type + describeElements(value, longest);
    QString text;
    QDebug(&text).nospace() << value;
    return type + text;
}

} // namespace Json

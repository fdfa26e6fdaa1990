#include "TypedJson.h"

#include "Describe.h"
#include "Reader.h"
#include "Table.h"
#include "Writer.h"

#include <values/Nesting.h>

#include <QtCore/QDataStream>
#include <QtCore/QIODevice>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QLocale>
#include <QtCore/QVector>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>

namespace Json {

namespace {

const QLatin1String typeKey("$type");
const QLatin1String valueKey("value");
const QLatin1String textKey("text");

/// Many programs read JSON numbers as doubles, which hold every integer up to here.
constexpr double largestExactNumber = 9007199254740992.0;

bool isEnumeration(int type)
{
    return QMetaType(type).flags() & QMetaType::IsEnumeration;
}

/// Types that are written as the base64 of their QDataStream form: those whose form has a bounded size.
bool isStreamed(int type)
{
    switch (type) {
    case QMetaType::QChar:
    case QMetaType::QDate:
    case QMetaType::QTime:
    case QMetaType::QDateTime:
    case QMetaType::QUuid:
    case QMetaType::QUrl:
    case QMetaType::QPoint:
    case QMetaType::QPointF:
    case QMetaType::QSize:
    case QMetaType::QSizeF:
    case QMetaType::QRect:
    case QMetaType::QRectF:
    case QMetaType::QLine:
    case QMetaType::QLineF:
        return true;
    default:
        return false;
    }
}

// Writing

template <typename Map>
void writeMap(Writer &out, const Map &map)
{
    out.open('{');
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        out.key(it.key());
        writeTyped(out, it.value());
    }
    out.close('}');
}

template <typename List, typename Write>
void writeList(Writer &out, const List &list, Write write)
{
    out.open('[');
    for (const auto &element : list) {
        out.next();
        write(element);
    }
    out.close(']');
}

/// Writes {"$type": type, member: ...}; `write` writes the member's value.
template <typename Write>
void writeTagged(Writer &out, const QString &type, const QString &member, Write write)
{
    out.open('{');
    out.key(typeKey);
    out.text(type);
    out.key(member);
    write();
    out.close('}');
}

void writeReal(Writer &out, double value)
{
    if (std::isnan(value))
        out.raw("\"nan\"");
    else if (std::isinf(value))
        out.raw(value > 0 ? "\"inf\"" : "\"-inf\"");
    else if (value == 0 && std::signbit(value))
        out.raw("\"-0\""); // Programs that read it as an integer would lose the sign.
    else
        out.number(value);
}

void writeOptionalText(Writer &out, bool isNull, const QString &text)
{
    if (isNull)
        out.raw("null");
    else
        out.text(text);
}

QByteArray streamed(const QVariant &value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_15);
    QMetaType::save(stream, value.userType(), value.constData());
    return bytes;
}

/// Writes the value under "value"; false, and nothing written, for a type without such a form.
bool writeTaggedValue(Writer &out, const QVariant &value)
{
    const int type = value.userType();
    switch (type) {
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::UChar:
        out.raw(QByteArray::number(value.toULongLong()));
        return true;
    case QMetaType::Char: // Signed on every machine, as in describeValue().
        out.raw(QByteArray::number(static_cast<signed char>(value.value<char>())));
        return true;
    case QMetaType::Short:
    case QMetaType::SChar:
        out.raw(QByteArray::number(value.toLongLong()));
        return true;
    case QMetaType::Long:
    case QMetaType::LongLong:
        out.raw('"' + QByteArray::number(value.toLongLong()) + '"');
        return true;
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        out.raw('"' + QByteArray::number(value.toULongLong()) + '"');
        return true;
    case QMetaType::Float:
        writeReal(out, static_cast<double>(value.value<float>()));
        return true;
    case QMetaType::Double:
        writeReal(out, value.toDouble());
        return true;
    case QMetaType::QString: // A null one: all others are plain.
        out.raw("null");
        return true;
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        writeOptionalText(out, bytes.isNull(), QString::fromLatin1(bytes.toBase64()));
        return true;
    }
    case QMetaType::QStringList:
        writeList(out, value.toStringList(), [&](const QString &text) { writeOptionalText(out, text.isNull(), text); });
        return true;
    case QMetaType::QVariantMap: // One with a "$" key: all others are plain.
        writeMap(out, value.toMap());
        return true;
    default:
        break;
    }
    const auto writeInt = [&](int element) { out.raw(QByteArray::number(element)); };
    if (type == qMetaTypeId<QList<int>>()) {
        writeList(out, value.value<QList<int>>(), writeInt);
    } else if (type == qMetaTypeId<QVector<int>>()) {
        writeList(out, value.value<QVector<int>>(), writeInt);
    } else if (isEnumeration(type)) {
        const qint64 number = value.toLongLong();
        const bool isExact = std::abs(static_cast<double>(number)) < largestExactNumber;
        out.raw(isExact ? QByteArray::number(number) : '"' + QByteArray::number(number) + '"');
    } else if (isStreamed(type)) {
        out.raw('"' + streamed(value).toBase64() + '"');
    } else {
        return false;
    }
    return true;
}

bool hasDollarKey(const QMap<QString, QVariant> &map)
{
    const auto it = map.lowerBound(QStringLiteral("$"));
    return it != map.cend() && it.key().startsWith(QLatin1Char('$'));
}

/// Writes a value that has a plain form; false, and nothing written, for any other.
bool writePlain(Writer &out, const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        out.raw("null");
        return true;
    case QMetaType::Bool:
        out.flag(value.toBool());
        return true;
    case QMetaType::Int:
        out.raw(QByteArray::number(value.toInt()));
        return true;
    case QMetaType::QString: {
        const QString text = value.toString();
        if (!text.isNull())
            out.text(text);
        return !text.isNull();
    }
    case QMetaType::QVariantList:
        writeList(out, value.toList(), [&](const QVariant &element) { writeTyped(out, element); });
        return true;
    case QMetaType::QVariantMap: {
        const QMap<QString, QVariant> map = value.toMap();
        const bool isPlain = !hasDollarKey(map);
        if (isPlain)
            writeMap(out, map);
        return isPlain;
    }
    default:
        return false;
    }
}

// Reading

/// An integer from a number or a string.
template <typename Integer>
Integer integerFrom(Reader &reader, const QJsonValue &json)
{
    using Limits = std::numeric_limits<Integer>;
    using Wide = std::conditional_t<std::is_signed_v<Integer>, qint64, quint64>;
    bool isInteger = false;
    Wide wide = 0;
    if (json.isString()) {
        if constexpr (std::is_signed_v<Integer>)
            wide = json.toString().toLongLong(&isInteger);
        else
            wide = json.toString().toULongLong(&isInteger);
    } else if (json.isDouble()) {
        const double number = json.toDouble();
        isInteger = std::abs(number) <= largestExactNumber && number == std::floor(number)
                    && (std::is_signed_v<Integer> || number >= 0);
        wide = isInteger ? static_cast<Wide>(number) : 0;
    }
    if (!isInteger || wide < Wide(Limits::min()) || wide > Wide(Limits::max())) {
        reader.expected(
            QStringLiteral("an integer from %1 to %2").arg(QString::number(Limits::min()), QString::number(Limits::max())),
            json);
        return 0;
    }
    return static_cast<Integer>(wide);
}

double realFrom(Reader &reader, const QJsonValue &json)
{
    if (json.isDouble())
        return json.toDouble();
    const QString text = json.toString();
    bool isNumber = false;
    const double value = text.toDouble(&isNumber); // Also "nan", "inf" and "-inf".
    if (!isNumber)
        reader.expected(QStringLiteral("a number"), json);
    return value;
}

QString textFrom(Reader &reader, const QJsonValue &json)
{
    if (!json.isString())
        reader.expected(QStringLiteral("a text"), json);
    const QString text = json.toString();
    return text.isNull() ? QString(QLatin1String("")) : text;
}

QByteArray bytesFrom(Reader &reader, const QJsonValue &json)
{
    const QString text = textFrom(reader, json);
    auto bytes = QByteArray::fromBase64Encoding(text.toLatin1(),
                                                QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!bytes) {
        reader.expected(QStringLiteral("base64"), json);
        return QByteArray();
    }
    return *bytes;
}

/// `levels`: how many maps and lists inside one another may follow.
QVariant valueFrom(Reader &reader, const QJsonValue &json, int levels);

/// Reports a problem when no level is left.
bool mayNest(Reader &reader, int levels)
{
    if (levels == 0)
        reader.problem(QStringLiteral("nested deeper than %1 levels").arg(Nesting::deepest));
    return levels > 0;
}

QMap<QString, QVariant> mapFrom(Reader &reader, const QJsonValue &json, int levels)
{
    QMap<QString, QVariant> map;
    if (!mayNest(reader, levels))
        return map;
    if (!json.isObject())
        reader.expected(QStringLiteral("an object"), json);
    const QJsonObject object = json.toObject();
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        const Reader::At at(reader, it.key());
        map.insert(it.key(), valueFrom(reader, it.value(), levels - 1));
    }
    return map;
}

/// A list whose elements `read` makes.
template <typename List, typename Read>
List listFrom(Reader &reader, const QJsonValue &json, Read read)
{
    if (!json.isArray())
        reader.expected(QStringLiteral("a list"), json);
    const QJsonArray array = json.toArray();
    List list;
    list.reserve(array.size());
    for (int i = 0; i < array.size(); ++i) {
        const Reader::At at(reader, i);
        list.append(read(reader, array[i]));
    }
    return list;
}

QList<QVariant> valuesFrom(Reader &reader, const QJsonValue &json, int levels)
{
    if (!mayNest(reader, levels))
        return {};
    return listFrom<QList<QVariant>>(
        reader, json, [levels](Reader &each, const QJsonValue &element) { return valueFrom(each, element, levels - 1); });
}

QVariant enumerationFrom(int type, Reader &reader, const QJsonValue &json)
{
    const auto made = [&](auto number) { return QVariant(type, &number); };
    switch (QMetaType::sizeOf(type)) {
    case 1:
        return made(integerFrom<qint8>(reader, json));
    case 2:
        return made(integerFrom<qint16>(reader, json));
    case 4:
        return made(integerFrom<qint32>(reader, json));
    default:
        return made(integerFrom<qint64>(reader, json));
    }
}

QVariant streamedFrom(int type, Reader &reader, const QJsonValue &json)
{
    const QByteArray bytes = bytesFrom(reader, json);
    QVariant value(type, nullptr);
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_5_15);
    QMetaType::load(stream, type, value.data());
    if (stream.status() != QDataStream::Ok || !stream.atEnd())
        reader.problem(QStringLiteral("no %1").arg(QString::fromLatin1(QMetaType::typeName(type))));
    return value;
}

/// The value under "value" for a type registered in this process; nothing for a type without such a form.
bool readTaggedValue(int type, Reader &reader, const QJsonValue &json, int levels, QVariant &value)
{
    switch (type) {
    case QMetaType::Int:
        value = integerFrom<int>(reader, json);
        return true;
    case QMetaType::UInt:
        value = integerFrom<uint>(reader, json);
        return true;
    case QMetaType::Short:
        value = QVariant::fromValue(integerFrom<short>(reader, json));
        return true;
    case QMetaType::UShort:
        value = QVariant::fromValue(integerFrom<ushort>(reader, json));
        return true;
    case QMetaType::Char:
        value = QVariant::fromValue(static_cast<char>(integerFrom<signed char>(reader, json)));
        return true;
    case QMetaType::SChar:
        value = QVariant::fromValue(integerFrom<signed char>(reader, json));
        return true;
    case QMetaType::UChar:
        value = QVariant::fromValue(integerFrom<uchar>(reader, json));
        return true;
    case QMetaType::Long:
        value = QVariant::fromValue(integerFrom<long>(reader, json));
        return true;
    case QMetaType::ULong:
        value = QVariant::fromValue(integerFrom<ulong>(reader, json));
        return true;
    case QMetaType::LongLong:
        value = integerFrom<qlonglong>(reader, json);
        return true;
    case QMetaType::ULongLong:
        value = integerFrom<qulonglong>(reader, json);
        return true;
    case QMetaType::Float:
        value = static_cast<float>(realFrom(reader, json));
        return true;
    case QMetaType::Double:
        value = realFrom(reader, json);
        return true;
    case QMetaType::Bool:
        if (!json.isBool())
            reader.expected(QStringLiteral("true or false"), json);
        value = json.toBool();
        return true;
    case QMetaType::QString:
        value = json.isNull() ? QString() : textFrom(reader, json);
        return true;
    case QMetaType::QByteArray:
        value = json.isNull() ? QByteArray() : bytesFrom(reader, json);
        return true;
    case QMetaType::QStringList:
        value = listFrom<QStringList>(reader, json, [](Reader &each, const QJsonValue &element) {
            return element.isNull() ? QString() : textFrom(each, element);
        });
        return true;
    case QMetaType::QVariantMap:
        value = mapFrom(reader, json, levels);
        return true;
    case QMetaType::QVariantList:
        value = valuesFrom(reader, json, levels);
        return true;
    default:
        break;
    }
    if (type == qMetaTypeId<QList<int>>())
        value = QVariant::fromValue(listFrom<QList<int>>(reader, json, integerFrom<int>));
    else if (type == qMetaTypeId<QVector<int>>())
        value = QVariant::fromValue(listFrom<QVector<int>>(reader, json, integerFrom<int>));
    else if (isEnumeration(type))
        value = enumerationFrom(type, reader, json);
    else if (isStreamed(type))
        value = streamedFrom(type, reader, json);
    else
        return false;
    return true;
}

QVariant fromTag(Reader &reader, const QJsonObject &tag, int levels)
{
    const QJsonValue type = tag.value(typeKey);
    if (!type.isString()) {
        const Reader::At at(reader, typeKey);
        reader.expected(QStringLiteral("the name of a type"), type);
        return {};
    }
    for (auto it = tag.constBegin(); it != tag.constEnd(); ++it) {
        if (it.key() != typeKey && it.key() != valueKey && it.key() != textKey) {
            const Reader::At at(reader, it.key());
            reader.problem(QStringLiteral("unknown key beside \"$type\""));
            return {};
        }
    }
    if (tag.size() != 2) {
        reader.problem(QStringLiteral("expected one of \"value\" and \"text\" beside \"$type\""));
        return {};
    }
    const QString member = tag.contains(valueKey) ? valueKey : textKey;
    const QJsonValue content = tag.value(member);
    const Reader::At at(reader, member);
    QVariant value;
    if (member == valueKey && readTaggedValue(QMetaType::type(type.toString().toLatin1()), reader, content, levels, value))
        return value;
    if (!mayNest(reader, levels))
        return {};
    return QVariant::fromValue(KeptValue{type.toString(), member, valueFrom(reader, content, levels - 1)});
}

QVariant valueFrom(Reader &reader, const QJsonValue &json, int levels)
{
    switch (json.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        return {};
    case QJsonValue::Bool:
        return json.toBool();
    case QJsonValue::Double: {
        const double number = json.toDouble();
        if (number == std::floor(number) && number >= std::numeric_limits<int>::min()
            && number <= std::numeric_limits<int>::max())
            return static_cast<int>(number);
        reader.problem(QStringLiteral("%1 is not a 32-bit integer and needs a \"$type\"").arg(Reader::shown(json)));
        return {};
    }
    case QJsonValue::String:
        return textFrom(reader, json);
    case QJsonValue::Array:
        return valuesFrom(reader, json, levels);
    case QJsonValue::Object:
        break;
    }
    const QJsonObject object = json.toObject();
    if (object.contains(typeKey))
        return fromTag(reader, object, levels);
    return mapFrom(reader, json, levels);
}

} // namespace

void writeTyped(Writer &out, const QVariant &value)
{
    if (writePlain(out, value))
        return;
    if (value.userType() == qMetaTypeId<KeptValue>()) {
        const auto kept = value.value<KeptValue>();
        writeTagged(out, kept.type, kept.member, [&] { writeTyped(out, kept.content); });
        return;
    }
    const QString type = QString::fromLatin1(value.typeName());
    Writer content(Writer::Lines);
    if (writeTaggedValue(content, value))
        writeTagged(out, type, valueKey, [&] { out.raw(content.json()); });
    else
        writeTagged(out, type, textKey, [&] { out.text(describeValue(value, -1)); });
}

QByteArray toTypedJson(const QVariant &value)
{
    Writer out(Writer::Lines);
    writeTyped(out, value);
    return out.json();
}

QVariant fromTypedJson(Reader &reader, const QJsonValue &json)
{
    return valueFrom(reader, json, Nesting::deepest);
}

void defineTyped(Schema &schema)
{
    schema.define(
        "value",
        R"({"description": "A value with its Qt type.", "oneOf": [)"
        R"json({"description": "invalid", "type": "null"}, )json"
        R"json({"description": "bool", "type": "boolean"}, )json"
        R"json({"description": "int", "type": "integer", "minimum": -2147483648, "maximum": 2147483647}, )json"
        R"json({"description": "QString", "type": "string"}, )json"
        R"json({"description": "QList<QVariant>", "type": "array", "items": {"$ref": "#/$defs/value"}}, )json"
        R"json({"description": "QMap<QString, QVariant>", "type": "object", "not": {"required": ["$type"]}, "additionalProperties": {"$ref": "#/$defs/value"}}, )json"
        R"json({"$ref": "#/$defs/typed"}]})json");
    schema.define("typed", R"({"description": "A value of any other type.", "type": "object", "required": ["$type"], )"
                           R"("properties": {"$type": {"type": "string"}, "value": true, "text": {"type": "string"}}, )"
                           R"("additionalProperties": false, "minProperties": 2, "maxProperties": 2})");
}

} // namespace Json

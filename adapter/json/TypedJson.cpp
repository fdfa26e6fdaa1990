#include "TypedJson.h"

#include "Describe.h"

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

/// JSON numbers are doubles to many programs, which are exact up to here.
constexpr double largestExactNumber = 9007199254740992.0;

[[noreturn]] void fail(const QString &path, const QString &reason)
{
    throw JsonProblem{path, reason};
}

[[noreturn]] void failExpected(const QString &path, const QString &expected, const QJsonValue &found)
{
    fail(path, QStringLiteral("expected %1, got %2").arg(expected, describeJson(found)));
}

bool isEnumeration(int type)
{
    return QMetaType(type).flags() & QMetaType::IsEnumeration;
}

/// Types that travel as the base64 of their QDataStream form: those whose form has a bounded size.
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

bool isLoneSurrogate(const QString &text, int i)
{
    const QChar c = text[i];
    if (c.isHighSurrogate())
        return i + 1 == text.size() || !text[i + 1].isLowSurrogate();
    return c.isLowSurrogate() && (i == 0 || !text[i - 1].isHighSurrogate());
}

template <typename Map>
void appendMap(QByteArray &json, const Map &map)
{
    json += '{';
    const char *separator = "";
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        json += separator;
        appendJsonText(json, it.key());
        json += ": ";
        appendTypedJson(json, it.value());
        separator = ", ";
    }
    json += '}';
}

template <typename List, typename Append>
void appendList(QByteArray &json, const List &list, Append append)
{
    json += '[';
    const char *separator = "";
    for (const auto &element : list) {
        json += separator;
        append(element);
        separator = ", ";
    }
    json += ']';
}

/// Appends {"$type": type, member: ...}; `append` appends the member's value.
template <typename Append>
void appendTagged(QByteArray &json, const QString &type, const QString &member, Append append)
{
    json += "{\"$type\": ";
    appendJsonText(json, type);
    json += ", ";
    appendJsonText(json, member);
    json += ": ";
    append();
    json += '}';
}

void appendReal(QByteArray &json, double value)
{
    if (std::isnan(value))
        json += "\"nan\"";
    else if (std::isinf(value))
        json += value > 0 ? "\"inf\"" : "\"-inf\"";
    else if (value == 0 && std::signbit(value))
        json += "\"-0\""; // Readers that take it for an integer would lose the sign.
    else
        json += QString::number(value, 'g', QLocale::FloatingPointShortest).toLatin1();
}

void appendOptionalText(QByteArray &json, bool isNull, const QString &text)
{
    if (isNull)
        json += "null";
    else
        appendJsonText(json, text);
}

QByteArray streamed(const QVariant &value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_15);
    QMetaType::save(stream, value.userType(), value.constData());
    return bytes;
}

/// Appends what stands under "value"; false, and nothing appended, for a type without such a form.
bool appendTaggedValue(QByteArray &json, const QVariant &value)
{
    const int type = value.userType();
    switch (type) {
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::UChar:
        json += QByteArray::number(value.toULongLong());
        return true;
    case QMetaType::Char: // Signed on every machine, as in describeValue().
        json += QByteArray::number(static_cast<signed char>(value.value<char>()));
        return true;
    case QMetaType::Short:
    case QMetaType::SChar:
        json += QByteArray::number(value.toLongLong());
        return true;
    case QMetaType::Long:
    case QMetaType::LongLong:
        json += '"' + QByteArray::number(value.toLongLong()) + '"';
        return true;
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        json += '"' + QByteArray::number(value.toULongLong()) + '"';
        return true;
    case QMetaType::Float:
        appendReal(json, static_cast<double>(value.value<float>()));
        return true;
    case QMetaType::Double:
        appendReal(json, value.toDouble());
        return true;
    case QMetaType::QString: // A null one: all others are plain.
        json += "null";
        return true;
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        appendOptionalText(json, bytes.isNull(), QString::fromLatin1(bytes.toBase64()));
        return true;
    }
    case QMetaType::QStringList:
        appendList(json, value.toStringList(), [&](const QString &text) { appendOptionalText(json, text.isNull(), text); });
        return true;
    case QMetaType::QVariantMap: // One with a "$" key: all others are plain.
        appendMap(json, value.toMap());
        return true;
    default:
        break;
    }
    const auto appendInt = [&](int element) { json += QByteArray::number(element); };
    if (type == qMetaTypeId<QList<int>>()) {
        appendList(json, value.value<QList<int>>(), appendInt);
    } else if (type == qMetaTypeId<QVector<int>>()) {
        appendList(json, value.value<QVector<int>>(), appendInt);
    } else if (isEnumeration(type)) {
        const qint64 number = value.toLongLong();
        const bool isExact = std::abs(static_cast<double>(number)) < largestExactNumber;
        json += isExact ? QByteArray::number(number) : '"' + QByteArray::number(number) + '"';
    } else if (isStreamed(type)) {
        json += '"' + streamed(value).toBase64() + '"';
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

/// Appends a value that has a plain form; false, and nothing appended, for any other.
bool appendPlain(QByteArray &json, const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        json += "null";
        return true;
    case QMetaType::Bool:
        json += value.toBool() ? "true" : "false";
        return true;
    case QMetaType::Int:
        json += QByteArray::number(value.toInt());
        return true;
    case QMetaType::QString: {
        const QString text = value.toString();
        if (!text.isNull())
            appendJsonText(json, text);
        return !text.isNull();
    }
    case QMetaType::QVariantList:
        appendList(json, value.toList(), [&](const QVariant &element) { appendTypedJson(json, element); });
        return true;
    case QMetaType::QVariantMap: {
        const QMap<QString, QVariant> map = value.toMap();
        const bool isPlain = !hasDollarKey(map);
        if (isPlain)
            appendMap(json, map);
        return isPlain;
    }
    default:
        return false;
    }
}

// Reading

double numberFrom(const QJsonValue &json, const QString &path)
{
    if (!json.isDouble())
        failExpected(path, QStringLiteral("a number"), json);
    return json.toDouble();
}

/// An integer from a number or a text.
template <typename Integer>
Integer integerFrom(const QJsonValue &json, const QString &path)
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
        failExpected(
            path,
            QStringLiteral("an integer from %1 to %2").arg(QString::number(Limits::min()), QString::number(Limits::max())),
            json);
    }
    return static_cast<Integer>(wide);
}

double realFrom(const QJsonValue &json, const QString &path)
{
    if (json.isDouble())
        return json.toDouble();
    const QString text = json.toString();
    bool isNumber = false;
    const double value = text.toDouble(&isNumber); // Also "nan", "inf" and "-inf".
    if (!isNumber)
        failExpected(path, QStringLiteral("a number"), json);
    return value;
}

QString textFrom(const QJsonValue &json, const QString &path)
{
    if (!json.isString())
        failExpected(path, QStringLiteral("a text"), json);
    const QString text = json.toString();
    return text.isNull() ? QString(QLatin1String("")) : text;
}

QByteArray bytesFrom(const QJsonValue &json, const QString &path)
{
    const QString text = textFrom(json, path);
    const auto bytes = QByteArray::fromBase64Encoding(text.toLatin1(),
                                                      QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!bytes)
        failExpected(path, QStringLiteral("base64"), json);
    return (*bytes).isNull() ? QByteArray("") : *bytes;
}

QMap<QString, QVariant> mapFrom(const QJsonValue &json, const QString &path)
{
    if (!json.isObject())
        failExpected(path, QStringLiteral("a map"), json);
    const QJsonObject object = json.toObject();
    QMap<QString, QVariant> map;
    for (auto it = object.constBegin(); it != object.constEnd(); ++it)
        map.insert(it.key(), fromTypedJson(it.value(), pathOf(path, it.key())));
    return map;
}

/// A list whose elements `read` makes from a JSON value and its path.
template <typename List, typename Read>
List listFrom(const QJsonValue &json, const QString &path, Read read)
{
    if (!json.isArray())
        failExpected(path, QStringLiteral("a list"), json);
    const QJsonArray array = json.toArray();
    List list;
    list.reserve(array.size());
    for (int i = 0; i < array.size(); ++i)
        list.append(read(array[i], pathOf(path, i)));
    return list;
}

QVariant enumerationFrom(int type, const QJsonValue &json, const QString &path)
{
    const auto made = [&](auto number) { return QVariant(type, &number); };
    switch (QMetaType::sizeOf(type)) {
    case 1:
        return made(integerFrom<qint8>(json, path));
    case 2:
        return made(integerFrom<qint16>(json, path));
    case 4:
        return made(integerFrom<qint32>(json, path));
    default:
        return made(integerFrom<qint64>(json, path));
    }
}

QVariant streamedFrom(int type, const QJsonValue &json, const QString &path)
{
    const QByteArray bytes = bytesFrom(json, path);
    QVariant value(type, nullptr);
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_5_15);
    QMetaType::load(stream, type, value.data());
    if (stream.status() != QDataStream::Ok || !stream.atEnd())
        fail(path, QStringLiteral("no %1").arg(QString::fromLatin1(QMetaType::typeName(type))));
    return value;
}

/// The value under "value" of a tag with a type that this process knows; nothing for one that has no such form.
bool readTaggedValue(int type, const QJsonValue &json, const QString &path, QVariant &value)
{
    switch (type) {
    case QMetaType::Int:
        value = integerFrom<int>(json, path);
        return true;
    case QMetaType::UInt:
        value = integerFrom<uint>(json, path);
        return true;
    case QMetaType::Short:
        value = QVariant::fromValue(integerFrom<short>(json, path));
        return true;
    case QMetaType::UShort:
        value = QVariant::fromValue(integerFrom<ushort>(json, path));
        return true;
    case QMetaType::Char:
        value = QVariant::fromValue(static_cast<char>(integerFrom<signed char>(json, path)));
        return true;
    case QMetaType::SChar:
        value = QVariant::fromValue(integerFrom<signed char>(json, path));
        return true;
    case QMetaType::UChar:
        value = QVariant::fromValue(integerFrom<uchar>(json, path));
        return true;
    case QMetaType::Long:
        value = QVariant::fromValue(integerFrom<long>(json, path));
        return true;
    case QMetaType::ULong:
        value = QVariant::fromValue(integerFrom<ulong>(json, path));
        return true;
    case QMetaType::LongLong:
        value = integerFrom<qlonglong>(json, path);
        return true;
    case QMetaType::ULongLong:
        value = integerFrom<qulonglong>(json, path);
        return true;
    case QMetaType::Float:
        value = static_cast<float>(realFrom(json, path));
        return true;
    case QMetaType::Double:
        value = realFrom(json, path);
        return true;
    case QMetaType::Bool:
        if (!json.isBool())
            failExpected(path, QStringLiteral("true or false"), json);
        value = json.toBool();
        return true;
    case QMetaType::QString:
        value = json.isNull() ? QString() : textFrom(json, path);
        return true;
    case QMetaType::QByteArray:
        value = json.isNull() ? QByteArray() : bytesFrom(json, path);
        return true;
    case QMetaType::QStringList:
        value = listFrom<QStringList>(json, path, [](const QJsonValue &element, const QString &place) {
            return element.isNull() ? QString() : textFrom(element, place);
        });
        return true;
    case QMetaType::QVariantMap:
        value = mapFrom(json, path);
        return true;
    case QMetaType::QVariantList:
        value = listFrom<QList<QVariant>>(json, path, fromTypedJson);
        return true;
    default:
        break;
    }
    if (type == qMetaTypeId<QList<int>>())
        value = QVariant::fromValue(listFrom<QList<int>>(json, path, integerFrom<int>));
    else if (type == qMetaTypeId<QVector<int>>())
        value = QVariant::fromValue(listFrom<QVector<int>>(json, path, integerFrom<int>));
    else if (isEnumeration(type))
        value = enumerationFrom(type, json, path);
    else if (isStreamed(type))
        value = streamedFrom(type, json, path);
    else
        return false;
    return true;
}

QVariant fromTag(const QJsonObject &tag, const QString &path)
{
    const QJsonValue type = tag.value(typeKey);
    if (!type.isString())
        failExpected(pathOf(path, typeKey), QStringLiteral("the name of a type"), type);
    for (auto it = tag.constBegin(); it != tag.constEnd(); ++it) {
        if (it.key() != typeKey && it.key() != valueKey && it.key() != textKey)
            fail(pathOf(path, it.key()), QStringLiteral("unknown key beside \"$type\""));
    }
    if (tag.size() != 2)
        fail(path, QStringLiteral("expected one of \"value\" and \"text\" beside \"$type\""));

    const QString member = tag.contains(valueKey) ? valueKey : textKey;
    const QJsonValue content = tag.value(member);
    const QString place = pathOf(path, member);
    QVariant value;
    if (member == valueKey && readTaggedValue(QMetaType::type(type.toString().toLatin1()), content, place, value))
        return value;
    return QVariant::fromValue(KeptValue{type.toString(), member, fromTypedJson(content, place)});
}

} // namespace

void appendJsonText(QByteArray &json, const QString &text)
{
    json += '"';
    int start = 0;
    const auto appendUpTo = [&](int end) {
        if (end > start)
            json += text.midRef(start, end - start).toUtf8();
        start = end + 1;
    };
    for (int i = 0; i < text.size(); ++i) {
        const ushort c = text[i].unicode();
        if (c == '"' || c == '\\') {
            appendUpTo(i);
            json += '\\';
            json += static_cast<char>(c);
        } else if (c < 0x20 || c == 0x7f || (text[i].isSurrogate() && isLoneSurrogate(text, i))) {
            appendUpTo(i);
            json += "\\u" + QByteArray::number(c, 16).rightJustified(4, '0');
        }
    }
    appendUpTo(text.size());
    json += '"';
}

void appendTypedJson(QByteArray &json, const QVariant &value)
{
    if (appendPlain(json, value))
        return;
    if (value.userType() == qMetaTypeId<KeptValue>()) {
        const auto kept = value.value<KeptValue>();
        appendTagged(json, kept.type, kept.member, [&] { appendTypedJson(json, kept.content); });
        return;
    }
    const QString type = QString::fromLatin1(value.typeName());
    QByteArray content;
    if (appendTaggedValue(content, value))
        appendTagged(json, type, valueKey, [&] { json += content; });
    else
        appendTagged(json, type, textKey, [&] { appendJsonText(json, describeValue(value, -1)); });
}

QByteArray toTypedJson(const QVariant &value)
{
    QByteArray json;
    appendTypedJson(json, value);
    return json;
}

QVariant fromTypedJson(const QJsonValue &json, const QString &path)
{
    switch (json.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        return {};
    case QJsonValue::Bool:
        return json.toBool();
    case QJsonValue::Double: {
        const double number = numberFrom(json, path);
        if (number != std::floor(number) || number < std::numeric_limits<int>::min()
            || number > std::numeric_limits<int>::max())
            fail(path, QStringLiteral("%1 is no 32-bit integer and needs a \"$type\"").arg(describeJson(json)));
        return static_cast<int>(number);
    }
    case QJsonValue::String:
        return textFrom(json, path);
    case QJsonValue::Array:
        return listFrom<QList<QVariant>>(json, path, fromTypedJson);
    case QJsonValue::Object:
        break;
    }
    const QJsonObject object = json.toObject();
    if (object.contains(typeKey))
        return fromTag(object, path);
    return mapFrom(json, path);
}

QString pathOf(const QString &path, const QString &key)
{
    const auto isWordPart = [](QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('$'); };
    if (key.isEmpty() || !std::all_of(key.cbegin(), key.cend(), isWordPart))
        return path + QLatin1Char('[') + describeText(key, 64) + QLatin1Char(']');
    return path.isEmpty() ? key : path + QLatin1Char('.') + key;
}

QString pathOf(const QString &path, int index)
{
    return QStringLiteral("%1[%2]").arg(path).arg(index);
}

QString describeJson(const QJsonValue &json)
{
    switch (json.type()) {
    case QJsonValue::Null:
        return QStringLiteral("null");
    case QJsonValue::Bool:
        return json.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Double:
        return QStringLiteral("number ") + QString::number(json.toDouble(), 'g', QLocale::FloatingPointShortest);
    case QJsonValue::String:
        return QStringLiteral("text ") + describeText(json.toString(), 64);
    case QJsonValue::Array:
        return QStringLiteral("a list");
    case QJsonValue::Object:
        return QStringLiteral("a map");
    case QJsonValue::Undefined:
        break;
    }
    return QStringLiteral("nothing");
}

} // namespace Json

#pragma once

#include "Reader.h"
#include "Writer.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <optional>
#include <type_traits>
#include <utility>

/// JSON objects described by tables. A Table lists the entries of an object, with a rule for each: how the value is read,
/// checked and written, and its JSON Schema.
namespace Json {

/// The table of the objects that hold a T:
///
///     static constexpr char name[]   its name in a schema
///     static constexpr char about[]  its description there
///     template <typename Field> static void fields(Field &field)
///         calls field(key, description, member, rule, needed) for every entry, in the order in which they are written
///     static void check(Reader &, const T &)  checks several entries against each other; optional
template <typename T>
struct Table;

/// In place of a member: the rule takes the whole owner. Such a rule has isAbsent(owner), for writing.
struct Whole {
};

// When an entry is required. An optional one is written when it differs from the default.

struct Never {
    template <typename T>
    bool operator()(const T &) const
    {
        return false;
    }
};
struct Always {
    template <typename T>
    bool operator()(const T &) const
    {
        return true;
    }
};
/// Always written, but may be absent.
struct Written {
};
/// Required when another entry has a certain value.
template <typename Owner, typename Enum>
struct Where {
    const char *key;
    const char *name; ///< The value, as it is written.
    Enum Owner::*member;
    Enum value;

    bool operator()(const Owner &owner) const { return owner.*member == value; }
};
constexpr Never never;
constexpr Always always;
constexpr Written written;

class Schema;
template <typename T, typename TableOfT = Table<T>>
void readObject(Reader &reader, const QJsonObject &object, T &target);
template <typename T, typename TableOfT = Table<T>>
void readObject(Reader &reader, const QJsonValue &value, T &target);
/// Writes what differs from `defaults`.
template <typename T, typename TableOfT = Table<T>>
void writeObject(Writer &out, const T &value, const T &defaults = T());

/// A JSON Schema under construction.
class Schema
{
public:
    /// The schema of the current value is written here, as entries of an open object.
    Writer out;

    /// A reference to the definition of an object, which is made on first use.
    template <typename T, typename TableOfT = Table<T>>
    void reference();
    /// The entries of an object's schema.
    template <typename T, typename TableOfT = Table<T>>
    void describe();
    /// Entries as they are.
    void entries(const char *json)
    {
        out.next();
        out.raw(json);
    }
    void define(const char *name, const QByteArray &schema) { m_definitions.append({name, schema}); }
    /// Writes all definitions as the last entry, and returns the whole schema.
    QByteArray finish();

private:
    QVector<QPair<QByteArray, QByteArray>> m_definitions;
};

// Rules. Each also states whether a schema shows the default.

/// The entry that names the kind of a file. The owner is not changed, as with Version.
struct Format {
    const char *name;

    template <typename T>
    void read(Reader &reader, const QJsonValue &value, const T &) const
    {
        if (value.toString() != QLatin1String(name))
            reader.expected(what(), value);
    }
    template <typename T>
    void write(Writer &out, const T &) const
    {
        out.text(QLatin1String(name));
    }
    QString what() const { return QStringLiteral("\"%1\"").arg(QLatin1String(name)); }
    bool showsDefault() const { return false; }
    template <typename T>
    void describe(Schema &schema, const T &value) const
    {
        schema.out.key("const");
        write(schema.out, value);
    }
};

struct Version {
    int version;

    template <typename T>
    void read(Reader &reader, const QJsonValue &value, const T &) const
    {
        if (!value.isDouble())
            reader.expected(what(), value);
        else if (value != QJsonValue(version))
            reader.problem(
                QStringLiteral("this program reads version %1, the file has %2").arg(version).arg(Reader::shown(value)));
    }
    template <typename T>
    void write(Writer &out, const T &) const
    {
        out.number(qint64(version));
    }
    QString what() const { return QStringLiteral("the number %1").arg(version); }
    bool showsDefault() const { return false; }
    template <typename T>
    void describe(Schema &schema, const T &value) const
    {
        schema.out.key("const");
        write(schema.out, value);
    }
};

struct Text {
    bool mayBeEmpty = true;

    void read(Reader &reader, const QJsonValue &value, QString &text) const
    {
        if (!value.isString() || (!mayBeEmpty && value.toString().isEmpty()))
            return reader.expected(what(), value);
        text = value.toString();
    }
    void write(Writer &out, const QString &text) const { out.text(text); }
    QString what() const { return mayBeEmpty ? QStringLiteral("a text") : QStringLiteral("a text that is not empty"); }
    bool showsDefault() const { return mayBeEmpty; }
    void describe(Schema &schema, const QString &) const;
};

/// A string that is null when the entry is missing.
struct OptionalText : Text {
    bool isAbsent(const QString &text) const { return text.isNull(); }
    bool showsDefault() const { return false; }
};

struct OneOf {
    const char *kind;
    QStringList names;
    const char *pattern = nullptr; ///< A regular expression instead of a list that is too long for a schema.

    void read(Reader &reader, const QJsonValue &value, QString &text) const
    {
        if (!value.isString() || !names.contains(value.toString()))
            return reader.expected(what(), value);
        text = value.toString();
    }
    void write(Writer &out, const QString &text) const { out.text(text); }
    QString what() const { return QStringLiteral("%1 (%2)").arg(QLatin1String(kind), names.join(QLatin1String(", "))); }
    bool showsDefault() const { return false; }
    void describe(Schema &schema, const QString &) const;
};

template <typename Enum>
struct Enumeration {
    QVector<std::pair<const char *, Enum>> names;

    void read(Reader &reader, const QJsonValue &value, Enum &target) const
    {
        for (const auto &name : names) {
            if (value.isString() && value.toString() == QLatin1String(name.first)) {
                target = name.second;
                return;
            }
        }
        reader.expected(what(), value);
    }
    void write(Writer &out, Enum value) const
    {
        for (const auto &name : names) {
            if (name.second == value)
                return out.text(QLatin1String(name.first));
        }
        out.number(qint64(value)); // which is refused when read
    }
    QString what() const { return QStringLiteral("one of ") + list().join(QLatin1String(", ")); }
    bool showsDefault() const { return true; }
    void describe(Schema &schema, Enum) const { OneOf{"", list()}.describe(schema, QString()); }

private:
    QStringList list() const
    {
        QStringList result;
        for (const auto &name : names)
            result += QLatin1String(name.first);
        return result;
    }
};

struct Bool {
    void read(Reader &reader, const QJsonValue &value, bool &target) const
    {
        if (!value.isBool())
            return reader.expected(what(), value);
        target = value.toBool();
    }
    void write(Writer &out, bool value) const { out.flag(value); }
    QString what() const { return QStringLiteral("true or false"); }
    bool showsDefault() const { return true; }
    void describe(Schema &schema, bool) const;
};

struct Integer {
    qint64 least;
    qint64 most;

    template <typename Number>
    void read(Reader &reader, const QJsonValue &value, Number &target) const
    {
        qint64 integer = 0;
        if (check(reader, value, integer))
            target = static_cast<Number>(integer);
    }
    template <typename Number>
    void write(Writer &out, Number value) const
    {
        out.number(static_cast<qint64>(value));
    }
    QString what() const;
    bool showsDefault() const { return true; }
    template <typename Number>
    void describe(Schema &schema, Number) const
    {
        describe(schema);
    }

private:
    bool check(Reader &reader, const QJsonValue &value, qint64 &integer) const;
    void describe(Schema &schema) const;
};

struct Object {
    template <typename T>
    void read(Reader &reader, const QJsonValue &value, T &target) const
    {
        readObject(reader, value, target);
    }
    template <typename T>
    void write(Writer &out, const T &value) const
    {
        writeObject(out, value);
    }
    QString what() const { return QStringLiteral("an object"); }
    bool showsDefault() const { return false; }
    template <typename T>
    void describe(Schema &schema, const T &) const
    {
        schema.reference<T>();
    }
};

/// An optional object.
struct OptionalObject : Object {
    template <typename T>
    void read(Reader &reader, const QJsonValue &value, std::optional<T> &target) const
    {
        readObject(reader, value, target.emplace());
    }
    template <typename T>
    void write(Writer &out, const std::optional<T> &value) const
    {
        writeObject(out, *value);
    }
    template <typename T>
    void describe(Schema &schema, const std::optional<T> &) const
    {
        schema.reference<T>();
    }
};

/// A value that is written as an object of another type: Proxy(value) and toValue().
template <typename Proxy>
struct As : Object {
    template <typename T>
    void read(Reader &reader, const QJsonValue &value, T &target) const
    {
        Proxy proxy(target);
        readObject(reader, value, proxy);
        target = proxy.toValue();
    }
    template <typename T>
    void write(Writer &out, const T &value) const
    {
        writeObject(out, Proxy(value));
    }
    template <typename T>
    void describe(Schema &schema, const T &) const
    {
        schema.reference<Proxy>();
    }
};

/// A list whose elements follow a rule.
template <typename Rule>
struct ListOf {
    Rule rule;

    template <typename List>
    void read(Reader &reader, const QJsonValue &value, List &list) const
    {
        if (!value.isArray())
            return reader.expected(what(), value);
        const QJsonArray array = value.toArray();
        list.reserve(list.size() + array.size());
        for (int i = 0; i < array.size(); ++i) {
            const Reader::At at(reader, i);
            list.append(typename List::value_type());
            rule.read(reader, array.at(i), list.last());
        }
    }
    template <typename List>
    void write(Writer &out, const List &list) const
    {
        out.open('[');
        for (const auto &element : list) {
            out.next();
            rule.write(out, element);
        }
        out.close(']');
    }
    QString what() const { return QStringLiteral("a list"); }
    bool showsDefault() const { return false; }
    template <typename List>
    void describe(Schema &schema, const List &) const
    {
        schema.entries(R"("type": "array")");
        schema.out.key("items");
        schema.out.open('{');
        rule.describe(schema, typename List::value_type());
        schema.out.close('}');
    }
};
using Objects = ListOf<Object>;

// Implementation

template <typename Rule, typename Value, typename = void>
struct HasAbsence : std::false_type {
};
template <typename Rule, typename Value>
struct HasAbsence<Rule, Value, std::void_t<decltype(std::declval<Rule>().isAbsent(std::declval<Value>()))>>
    : std::true_type {
};
template <typename TableOfT, typename T, typename = void>
struct HasCheck : std::false_type {
};
template <typename TableOfT, typename T>
struct HasCheck<TableOfT, T, std::void_t<decltype(TableOfT::check(std::declval<Reader &>(), std::declval<const T &>()))>>
    : std::true_type {
};

/// Reads the entries that a table names.
template <typename T>
class FieldReader
{
public:
    FieldReader(Reader &reader, const QJsonObject &object, T &target) : m_reader(reader), m_object(object), m_target(target)
    {
    }

    template <typename Member, typename Owner, typename Rule, typename Needed = Never>
    void operator()(const char *key, const char *, Member Owner::*member, const Rule &rule, const Needed &needed = {})
    {
        take(key, rule, needed, m_target.*member);
    }
    template <typename Rule, typename Needed = Never>
    void operator()(const char *key, const char *, Whole, const Rule &rule, const Needed &needed = {})
    {
        take(key, rule, needed, m_target);
    }
    /// Call it after the last field.
    void finish() const
    {
        if (m_found != m_object.size())
            m_reader.unknownKeys(m_object, m_keys);
    }

private:
    template <typename Rule, typename Needed, typename Target>
    void take(const char *key, const Rule &rule, const Needed &needed, Target &target)
    {
        m_keys += QLatin1String(key);
        const Reader::At at(m_reader, key);
        const auto it = m_object.constFind(QLatin1String(key));
        if (it != m_object.constEnd()) {
            ++m_found;
            rule.read(m_reader, *it, target);
        } else if constexpr (!std::is_same_v<Needed, Written> && !std::is_same_v<Needed, Never>) {
            if (needed(std::as_const(m_target)))
                m_reader.expected(rule.what(), QJsonValue::Undefined);
        }
    }

    Reader &m_reader;
    const QJsonObject &m_object;
    T &m_target;
    QStringList m_keys;
    int m_found = 0;
};

/// Writes them.
template <typename T>
class FieldWriter
{
public:
    FieldWriter(Writer &out, const T &value, const T &defaults) : m_out(out), m_value(value), m_default(defaults) {}

    template <typename Member, typename Owner, typename Rule, typename Needed = Never>
    void operator()(const char *key, const char *, Member Owner::*member, const Rule &rule, const Needed &needed = {})
    {
        const Member &value = m_value.*member;
        bool isWritten = true;
        if constexpr (HasAbsence<Rule, const Member &>::value)
            isWritten = !rule.isAbsent(value);
        else if constexpr (!std::is_same_v<Needed, Written>)
            isWritten = needed(m_value) || !(value == m_default.*member);
        if (isWritten)
            write(key, rule, value);
    }
    template <typename Rule, typename Needed = Never>
    void operator()(const char *key, const char *, Whole, const Rule &rule, const Needed & = {})
    {
        bool isWritten = true;
        if constexpr (HasAbsence<Rule, const T &>::value)
            isWritten = !rule.isAbsent(m_value);
        if (isWritten)
            write(key, rule, m_value);
    }

private:
    template <typename Rule, typename Value>
    void write(const char *key, const Rule &rule, const Value &value)
    {
        m_out.key(key);
        rule.write(m_out, value);
    }

    Writer &m_out;
    const T &m_value;
    const T &m_default;
};

/// Writes their schemas, and collects the required ones.
template <typename T>
class FieldSchema
{
public:
    explicit FieldSchema(Schema &schema) : m_schema(schema) {}

    template <typename Member, typename Owner, typename Rule, typename Needed = Never>
    void operator()(const char *key, const char *about, Member Owner::*member, const Rule &rule, const Needed &needed = {})
    {
        add(key, about, rule, m_default.*member, needed);
    }
    template <typename Rule, typename Needed = Never>
    void operator()(const char *key, const char *about, Whole, const Rule &rule, const Needed &needed = {})
    {
        add(key, about, rule, m_default, needed);
    }
    QStringList required;
    Writer conditions; ///< The elements of a list.

private:
    template <typename Rule, typename Value, typename Needed>
    void add(const char *key, const char *about, const Rule &rule, const Value &value, const Needed &needed)
    {
        Writer &out = m_schema.out;
        out.key(key);
        out.open('{');
        if (*about) {
            out.key("description");
            out.text(QString::fromUtf8(about));
        }
        rule.describe(m_schema, value);
        if constexpr (std::is_same_v<Needed, Always>) {
            required += QLatin1String(key);
        } else if (rule.showsDefault()) {
            out.key("default");
            rule.write(out, value);
        }
        out.close('}');
        addCondition(key, needed);
    }
    template <typename Needed>
    void addCondition(const char *, const Needed &)
    {
    }
    template <typename Owner, typename Enum>
    void addCondition(const char *key, const Where<Owner, Enum> &where)
    {
        conditions.next();
        conditions.raw(QStringLiteral("{\"if\": {\"properties\": {\"%1\": {\"const\": \"%2\"}}}, \"then\": {\"required\": "
                                      "[\"%3\"]}}")
                           .arg(QLatin1String(where.key), QLatin1String(where.name), QLatin1String(key))
                           .toUtf8());
    }

    Schema &m_schema;
    const T m_default{};
};

template <typename T, typename TableOfT>
void readObject(Reader &reader, const QJsonObject &object, T &target)
{
    FieldReader<T> field(reader, object, target);
    TableOfT::fields(field);
    field.finish();
    if constexpr (HasCheck<TableOfT, T>::value)
        TableOfT::check(reader, target);
}

template <typename T, typename TableOfT>
void readObject(Reader &reader, const QJsonValue &value, T &target)
{
    if (!value.isObject())
        return reader.expected(Object().what(), value);
    readObject<T, TableOfT>(reader, value.toObject(), target);
}

template <typename T, typename TableOfT>
void writeObject(Writer &out, const T &value, const T &defaults)
{
    out.open('{');
    FieldWriter<T> field(out, value, defaults);
    TableOfT::fields(field);
    out.close('}');
}

template <typename T, typename TableOfT>
void Schema::reference()
{
    out.key("$ref");
    out.text(QLatin1String("#/$defs/") + QLatin1String(TableOfT::name));
    for (const auto &definition : std::as_const(m_definitions)) {
        if (definition.first == TableOfT::name)
            return;
    }
    const int index = m_definitions.size();
    define(TableOfT::name, QByteArray()); // in the order of the first uses
    Writer outer;
    std::swap(outer, out);
    out.open('{');
    describe<T, TableOfT>();
    out.close('}');
    std::swap(outer, out);
    m_definitions[index].second = outer.json();
}

template <typename T, typename TableOfT>
void Schema::describe()
{
    out.key("description");
    out.text(QString::fromUtf8(TableOfT::about));
    out.key("type");
    out.text(QStringLiteral("object"));
    out.key("additionalProperties");
    out.flag(false);
    out.key("properties");
    out.open('{');
    FieldSchema<T> field(*this);
    TableOfT::fields(field);
    out.close('}');
    if (!field.required.isEmpty()) {
        out.key("required");
        ListOf<Text>().write(out, field.required);
    }
    if (!field.conditions.json().isEmpty()) {
        out.key("allOf");
        out.raw('[' + field.conditions.json() + ']');
    }
}

} // namespace Json

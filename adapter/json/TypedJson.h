#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Values of any type as JSON and back, without loss. docs/journal.md lists the forms.
namespace Json {

/// What a JSON text has wrong; thrown by fromTypedJson().
struct JsonProblem {
    QString path; ///< The place, such as `request[0].area.size`.
    QString reason;
};

/// A value of a type that this process cannot make, kept as its JSON has it: it is written back as it was read, and
/// compares with other values by its JSON.
struct KeptValue {
    QString type;     ///< What "$type" named.
    QString member;   ///< "value" or "text".
    QVariant content; ///< What the member held.
};

/// Appends a text in quotes. Lone surrogates and control characters become \uXXXX.
void appendJsonText(QByteArray &json, const QString &text);
/// Appends a value: texts, bools, int, lists and maps as plain JSON, invalid as null, everything else with its type.
void appendTypedJson(QByteArray &json, const QVariant &value);
QByteArray toTypedJson(const QVariant &value);

/// The value that a JSON text stands for. `path` names its place for a JsonProblem.
QVariant fromTypedJson(const QJsonValue &json, const QString &path);

/// The path of a map's entry: `path.key`, or `path["key"]` for a key that is no word.
QString pathOf(const QString &path, const QString &key);
QString pathOf(const QString &path, int index);

/// A JSON value with its kind, for messages: `number -64`, `text "a"`, `a list`.
QString describeJson(const QJsonValue &json);

} // namespace Json

Q_DECLARE_METATYPE(Json::KeptValue)

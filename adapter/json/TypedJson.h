#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Values of any type as JSON and back, without loss. docs/journal.md lists the forms.
namespace Json {

class Reader;
class Schema;
class Writer;

/// A value of a type that this process cannot create, kept as JSON: it is written back unchanged and compared by its JSON.
struct KeptValue {
    QString type;     ///< What "$type" named.
    QString member;   ///< "value" or "text".
    QVariant content; ///< What the member held.
};

/// Writes a value whose nesting is limited (values/Nesting.h): strings, bools, int, lists and maps as plain JSON, invalid as
/// null, everything else with its type. The writer's style must be Lines.
void writeTyped(Writer &out, const QVariant &value);
QByteArray toTypedJson(const QVariant &value);

/// The value that a JSON value represents. Unspecified where the reader reports a problem, which also is what is nested
/// deeper than Nesting::deepest levels.
QVariant fromTypedJson(Reader &reader, const QJsonValue &json);

/// Defines "value", any such value, in a schema.
void defineTyped(Schema &schema);

} // namespace Json

Q_DECLARE_METATYPE(Json::KeptValue)

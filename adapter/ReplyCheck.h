#pragma once

#include <adapter/Operations.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>

namespace Adapter {

/// A value of a reply and its row of the table; valid during the visit.
struct ReplyValue {
    const Field &field;
    const QVariant *value;    ///< Null for a key that is missing.
    const ReplyValue *parent; ///< Null for the reply itself.
    int index;                ///< Of an element of a list.

    /// Whether the value exists and converts to its type. The library reads any other one as 0, empty or false.
    bool converts() const;
    /// Its path, such as `[2]["recvcardflags"]`; empty for the reply itself.
    QString place() const;
    /// Of a value that does not convert, such as "a QString, not an int".
    QString mismatch() const;
};

/// Returns false to stop.
using ReplyVisitor = std::function<bool(const ReplyValue &)>;

/// Visits a reply and every value of it that the table names, missing ones included, containers before their values. The
/// contents of a value of a wrong type, and keys that are not in the table, are not visited.
void walkReply(const Operation &operation, const QVariant &reply, const ReplyVisitor &visit);

} // namespace Adapter

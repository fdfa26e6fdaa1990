#pragma once

#include <adapter/Operations.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>

namespace Adapter {

/// A value of a reply and what the table says about it; valid during the visit.
struct ReplyValue {
    const Field &field;
    const QVariant *value;    ///< Null for a key that is missing.
    const ReplyValue *parent; ///< Null for the reply itself.
    int index;                ///< Of an element of a list.

    /// Whether the value is there and converts to its type. One that does not is read as 0, empty or false.
    bool converts() const;
    /// Such as `[2]["recvcardflags"]`; empty for the reply itself.
    QString place() const;
    /// Of a value that does not convert, such as "a QString, not an int".
    QString mismatch() const;
};

/// Returns whether to go on.
using ReplyVisitor = std::function<bool(const ReplyValue &)>;

/// Visits a reply and every value in it that the table names, missing ones included, each before the values that it holds.
/// What a value of a wrong type holds, and keys that the table does not name, are not visited.
void walkReply(const Operation &operation, const QVariant &reply, const ReplyVisitor &visit);

} // namespace Adapter

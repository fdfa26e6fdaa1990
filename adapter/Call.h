#pragma once

#include <adapter/AdapterGlobal.h>

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <exception>

namespace Adapter {

/// One call of the device service or of the device discovery, as a value. A backend receives operation, addressee and
/// request; journals fill in the rest. Strings and containers are implicitly shared, so that copying a call copies no
/// coefficients.
struct Call {
    /// Needs no deep stack, however deep the reply is nested.
    ADAPTER_API ~Call();

    qint64 number = 0; ///< Counts the calls from 1, in the order in which they began. 0 where no calls are counted.
    QString operation; ///< See Operation::name.
    QString deviceKey; ///< Null for discovery's operations, else never null.
    QString target;    ///< The cabinet id or screen selector; null for an operation that takes neither.
    QVariant request;  ///< The request, a map or a list; invalid for an operation that takes none.
    QVariant extra;    ///< The trailing bool or int argument; invalid for an operation that takes none.

    bool result = false; ///< The return value. Of an upload with a promise: the promise's value, false until it is settled.
    QVariant reply;      ///< The reply, a map or a list; invalid for an operation without one.
    QMap<QString, QString> headers; ///< The response headers of the operation that has them.
    qint64 time = 0;                ///< When it began: microseconds on the clock of the journal's writer.
    qint64 duration = 0;            ///< Microseconds until the call returned, or its promise settled.
    bool settled = true;            ///< False while an upload's promise is pending.
    bool rejected = false;          ///< Whether an upload's promise was rejected; the reason is in `note`.
    QString note; ///< Why the call was refused, or what else was wrong with it; empty when nothing was wrong.
};

/// A backend's result for one call.
struct Answer {
    /// Needs no deep stack, however deep the reply is nested.
    ADAPTER_API ~Answer();

    bool result = true;             ///< False: the device did not answer in time, or refused.
    QVariant reply;                 ///< A map or a list, as the operation has it; invalid: an empty one.
    QMap<QString, QString> headers; ///< For the operation with response headers.
    /// An upload's promise is rejected with it; any other operation throws it.
    std::exception_ptr error = nullptr;
    /// Why the call was refused, or what else was wrong with it: for journals and tools, hosts do not see it.
    /// Ignored for an upload with a promise: the reason of its rejection is in `error`.
    QString note = QString();
};

} // namespace Adapter

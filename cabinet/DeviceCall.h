#pragma once

#include "cabinet/DeviceReply.h"
#include "cabinet/OperationScope.h"
#include "model/Logging.h"
#include "model/VariantMap.h"

#include <Correction/Enumerations.h>
#include <service/Correctionop.h>

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cxxabi.h>
#include <new>
#include <type_traits>
#include <utility>

/// Calls of a device by cabinets, groups and sub-screens: fetch the service, call one operation, convert its result to a
/// result code, and log a failure. An operation of the library is one such row:
///
///     return callDevice(FailureLine{"setXBit timeout. device:%1", m_deviceKey},       // the message
///                       &Correctionop::setScreenXBit, m_deviceKey, wholeDevice,       // the call
///                       variantMap({{QStringLiteral("mode"), int(mode)}, ...}),       // the request
///                       IgnoredReply());                                              // the reply
namespace Correction {

/// The critical line for a failed call: `message` with `%1` for `subject` (a device key or a cabinet id).
struct FailureLine {
    const char *message;
    const QString &subject;

    void operator()() const { logFailure(message, subject); }
};

/// Does not log failures.
struct Quietly {
    void operator()() const {}
};

/// Discards the reply.
class IgnoredReply
{
public:
    operator QVariantMap &() { return m_reply; }

private:
    QVariantMap m_reply;
};

namespace detail {
void logMissingService();
void logServiceException();
} // namespace detail

/// Returns what `call` returns, or false, with one critical line, when it throws anything but std::bad_alloc: no other
/// exception leaves the library.
template <class Call>
bool callGuarded(Call call)
{
    try {
        return call();
    } catch (const std::bad_alloc &) {
        throw;
    } catch (const abi::__forced_unwind &) {
        throw; // the thread is being cancelled: the C library ends the process if this exception is not rethrown
    } catch (...) {
        detail::logServiceException();
    }
    return false;
}

/// Runs `call` on the service. Returns false when `call` returns false or throws, and when the host has no such service.
template <class Service, class Call>
bool callService(Call call)
{
    return callGuarded([&] {
        if (Service *const service = Service::getInstance())
            return bool(call(*service));
        detail::logMissingService();
        return false;
    });
}

namespace detail {
template <class... Others>
const QString &first(const QString &deviceKey, const Others &...)
{
    return deviceKey;
}

/// Replies are the maps and lists that a call may change.
template <class Argument>
void limitReply(std::remove_reference_t<Argument> &argument, const QString &deviceKey)
{
    if constexpr (std::is_same_v<Argument, QVariantMap &> || std::is_same_v<Argument, QVariantList &>)
        limitDepth(argument, deviceKey);
    else if constexpr (std::is_same_v<Argument, IgnoredReply>)
        limitDepth(static_cast<QVariantMap &>(argument), deviceKey);
}
} // namespace detail

/// One call: enSuccess when the service returned true, else enTimeout after `onFailure()`.
template <class OnFailure, class Service, class... Parameters, class... Arguments>
EnumErrorCode callDevice(const OnFailure &onFailure, bool (Service::*operation)(Parameters...), Arguments &&...arguments)
{
    const OperationScope scope;
    const bool answered =
        callService<Service>([&](Service &service) { return (service.*operation)(std::forward<Arguments>(arguments)...); });
    (detail::limitReply<Arguments>(arguments, detail::first(arguments...)), ...);
    if (answered)
        return enSuccess;
    onFailure();
    return enTimeout;
}

/// Operations on the coefficient stores of many cabinets, which differ by kind.
using StoreOperation = bool (Correctionop::*)(const QString &, const QVariantMap &, QVariantMap &);

struct StoreRow {
    int kind; ///< EnumCoefficientType or EnumSaveType, whose numbers are the same
    StoreOperation operation;
    const char *message; ///< with `%1` for the subject, as in FailureLine
};

/// Sends {"cids": ids} with the operation of the row of `kind`; `enNotSupported` without a call when there is none.
template <class Rows>
EnumErrorCode callStore(const Rows &rows, int kind, const QString &deviceKey, const QVariantList &ids,
                        const QString &subject)
{
    for (const StoreRow &row : rows) {
        if (row.kind == kind) {
            return callDevice(FailureLine{row.message, subject}, row.operation, deviceKey,
                              variantMap({{QStringLiteral("cids"), ids}}), IgnoredReply());
        }
    }
    return enNotSupported;
}

} // namespace Correction

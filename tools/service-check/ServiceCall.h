#pragma once

#include <adapter/Call.h>
#include <adapter/Operations.h>

namespace ServiceCheck {

/// How a call ended.
enum class Ending {
    Returned,     ///< With Call::result, Call::reply and Call::headers.
    NullInstance, ///< getInstance() returned null.
    Threw,        ///< Call::note holds the exception's message.
    Rejected,     ///< The upload's promise was rejected.
    Pending       ///< The upload's promise has not settled in time.
};

/// Calls an operation through its class of `service/`, as the library does, with the request of `call`, and fills in what
/// came back. Waits `timeout` milliseconds for an upload's promise; the event loop runs meanwhile. Requests of discovery's
/// operations are ignored: the reply of getDeviceList is a list of maps.
Ending callService(Adapter::Operation::Id operation, Adapter::Call &call, int timeout);

} // namespace ServiceCheck

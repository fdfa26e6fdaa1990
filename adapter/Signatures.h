#pragma once

#include <adapter/Operations.h>

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

/// The C++ signatures of the operations, from the columns of Operations.def: for programs that define the classes of
/// `<service/...>` themselves.
/// Including `<adapter/Operations.def>` defines every operation of a device as a call of
/// `serve(At<Operation::ID>(), its arguments...)`, of which the program has overloads, and a template for the rest, with
/// these macros defined before:
/// - `OPERATION(service, name, ...)` as `ADAPTER_DEFINE(service##_##name, service, name, __VA_ARGS__)`
/// - `OPERATION_WITH_HEADERS(service, name, ...)` as
///   `ADAPTER_DEFINE(service##_##name##_Headers, service, name, __VA_ARGS__)`
/// - `DISCOVERY(...)` as nothing: getInstance() and discovery are defined by hand.
namespace Adapter {

/// Names an operation in an overload of serve().
template <Operation::Id Id>
struct At {
};

} // namespace Adapter

#define ADAPTER_PARAMETERS_Device const QString &deviceKey
#define ADAPTER_PARAMETERS_Screen const QString &deviceKey, const QString &target
#define ADAPTER_PARAMETERS_Cabinet const QString &deviceKey, const QString &target
#define ADAPTER_ARGUMENTS_Device deviceKey
#define ADAPTER_ARGUMENTS_Screen deviceKey, target
#define ADAPTER_ARGUMENTS_Cabinet deviceKey, target

#define ADAPTER_REQUEST_None
#define ADAPTER_REQUEST_Map , const QMap<QString, QVariant> &request
#define ADAPTER_REQUEST_MutableMap , QMap<QString, QVariant> &request
#define ADAPTER_REQUEST_List , const QList<QVariant> &request
#define ADAPTER_REQUEST_ARGUMENT_None
#define ADAPTER_REQUEST_ARGUMENT_Map , request
#define ADAPTER_REQUEST_ARGUMENT_MutableMap , request
#define ADAPTER_REQUEST_ARGUMENT_List , request

#define ADAPTER_REPLY_None
#define ADAPTER_REPLY_Map , QMap<QString, QVariant> &reply
#define ADAPTER_REPLY_List , QList<QVariant> &reply
#define ADAPTER_REPLY_Promise
#define ADAPTER_REPLY_ARGUMENT_None
#define ADAPTER_REPLY_ARGUMENT_Map , reply
#define ADAPTER_REPLY_ARGUMENT_List , reply
#define ADAPTER_REPLY_ARGUMENT_Promise

#define ADAPTER_EXTRA_None
#define ADAPTER_EXTRA_Refresh , bool refresh
#define ADAPTER_EXTRA_Allowance , int allowance
#define ADAPTER_EXTRA_Headers , QMap<QString, QString> &responseHeader
#define ADAPTER_EXTRA_ARGUMENT_None
#define ADAPTER_EXTRA_ARGUMENT_Refresh , refresh
#define ADAPTER_EXTRA_ARGUMENT_Allowance , allowance
#define ADAPTER_EXTRA_ARGUMENT_Headers , responseHeader

#define ADAPTER_RESULT_None bool
#define ADAPTER_RESULT_Map bool
#define ADAPTER_RESULT_List bool
#define ADAPTER_RESULT_Promise QtPromise::QPromise<bool>

/// `bool Service::name(const QString &deviceKey, ...)`
#define ADAPTER_SIGNATURE(service, name, address_, request_, reply_, extra_)                                                \
    ADAPTER_RESULT_##reply_ service::name(                                                                                  \
        ADAPTER_PARAMETERS_##address_ ADAPTER_REQUEST_##request_ ADAPTER_REPLY_##reply_ ADAPTER_EXTRA_##extra_)
#define ADAPTER_DEFINE(id, service, name, address_, request_, reply_, extra_, ...)                                          \
    ADAPTER_SIGNATURE(service, name, address_, request_, reply_, extra_)                                                    \
    {                                                                                                                       \
        return serve(Adapter::At<Adapter::Operation::id>(),                                                                 \
                     ADAPTER_ARGUMENTS_##address_ ADAPTER_REQUEST_ARGUMENT_##request_ ADAPTER_REPLY_ARGUMENT_##reply_       \
                         ADAPTER_EXTRA_ARGUMENT_##extra_);                                                                  \
    }

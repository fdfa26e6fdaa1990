#include "ServiceCall.h"

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

#include <QtPromise>

#include <memory>

namespace ServiceCheck {

namespace {

using Adapter::Operation;
using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

Ending taken(Adapter::Call &call, bool result, int)
{
    call.result = result;
    return Ending::Returned;
}

Ending taken(Adapter::Call &call, const QtPromise::QPromise<bool> &promise, int timeout)
{
    struct Outcome {
        Ending ending = Ending::Pending;
        bool value = false;
    };
    const auto outcome = std::make_shared<Outcome>(); // the promise may settle after this function has returned
    promise
        .then(
            [outcome](bool value) {
                *outcome = {Ending::Returned, value};
            },
            [outcome] {
                *outcome = {Ending::Rejected, false};
            })
        .timeout(timeout)
        .fail([] {})
        .wait();
    call.settled = outcome->ending != Ending::Pending;
    call.rejected = outcome->ending == Ending::Rejected;
    call.result = outcome->value;
    return outcome->ending;
}

template <typename Service, typename Ask>
Ending ask(Adapter::Call &call, int timeout, Ask ask)
{
    try {
        if (Service *const service = Service::getInstance())
            return taken(call, ask(*service), timeout);
        return Ending::NullInstance;
    } catch (const std::exception &exception) {
        call.note = QString::fromLocal8Bit(exception.what());
    } catch (...) {
        call.note = QStringLiteral("an exception that is not a std::exception");
    }
    return Ending::Threw;
}

} // namespace

// The C++ arguments for each column of the table.

#define ADDRESS_Device call.deviceKey
#define ADDRESS_Screen call.deviceKey, call.target
#define ADDRESS_Cabinet call.deviceKey, call.target
#define REQUEST_None
#define REQUEST_Map , requestMap
#define REQUEST_MutableMap , requestMap
#define REQUEST_List , requestList
#define REPLY_None
#define REPLY_Map , replyMap
#define REPLY_List , replyList
#define REPLY_Promise
#define EXTRA_None
#define EXTRA_Refresh , call.extra.toBool()
#define EXTRA_Allowance , call.extra.toInt()
#define EXTRA_Headers , call.headers

#define CASE(id, service, name, address, request, reply, extra)                                                             \
    case Operation::id:                                                                                                     \
        ending = ask<service>(call, timeout, [&](auto &instance) {                                                          \
            return instance.name(ADDRESS_##address REQUEST_##request REPLY_##reply EXTRA_##extra);                          \
        });                                                                                                                 \
        break;
#define OPERATION(service, name, address, request, reply, extra, ...)                                                       \
    CASE(service##_##name, service, name, address, request, reply, extra)
#define OPERATION_WITH_HEADERS(service, name, address, request, reply, extra, ...)                                          \
    CASE(service##_##name##_Headers, service, name, address, request, reply, extra)
#define DISCOVERY(...) // below, by hand

Ending callService(Operation::Id operation, Adapter::Call &call, int timeout)
{
    call.operation = Adapter::operations()[operation].name;
    QMap<QString, QVariant> requestMap = call.request.toMap();
    const QList<QVariant> requestList = call.request.toList();
    QMap<QString, QVariant> replyMap;
    QList<QVariant> replyList;
    Ending ending = Ending::Returned;
    switch (operation) {
#include <adapter/Operations.def>
    case Operation::HttpProxy_initialize:
        ending = ask<HttpProxy>(call, timeout, [&](HttpProxy &proxy) {
            proxy.initialize(true);
            return true;
        });
        break;
    case Operation::HttpProxy_getDeviceList:
        ending = ask<HttpProxy>(call, timeout, [&](HttpProxy &proxy) {
            const QList<HttpDeviceInfo> devices = proxy.getDeviceList();
            for (const HttpDeviceInfo &device : devices)
                replyList += QVariantMap{{QStringLiteral("key"), device.key}, {QStringLiteral("label"), device.label}};
            return true;
        });
        break;
    case Operation::Count:
        break;
    }
    const Adapter::Form form = Adapter::operations()[operation].reply;
    if (form == Adapter::Form::Map)
        call.reply = replyMap;
    else if (form == Adapter::Form::List || form == Adapter::Form::Devices)
        call.reply = replyList;
    return ending;
}

} // namespace ServiceCheck

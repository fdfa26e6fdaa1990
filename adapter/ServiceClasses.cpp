// The classes of the device service and of the discovery, defined from the operation table: each operation makes a Call from
// its arguments, passes it to the installed backend, and returns the backend's result.

#include "BackendCall.h"

#include <adapter/DeviceBackend.h>
#include <adapter/Signatures.h>

using namespace Adapter;
using Quorvex::Communicator::HttpDevice::HttpProxy;

namespace {

/// Made once and kept until the process ends.
template <typename Service>
Service *theInstance()
{
    static Service *const instance = new Service;
    return instance;
}

} // namespace

Correctionop *Correctionop::getInstance()
{
    return theInstance<Correctionop>();
}

CabinetInfoOperator *CabinetInfoOperator::getInstance()
{
    return theInstance<CabinetInfoOperator>();
}

ScreenInfo *ScreenInfo::getInstance()
{
    return theInstance<ScreenInfo>();
}

HWInfo *HWInfo::getInstance()
{
    return theInstance<HWInfo>();
}

HttpProxy *HttpProxy::getInstance()
{
    return theInstance<HttpProxy>();
}

void HttpProxy::initialize(bool enable)
{
    BackendCall::initialize(enable);
}

QList<DeviceInfo> HttpProxy::getDeviceList()
{
    return BackendCall::devices();
}

// The statements that take the arguments of each column of the table into the call.

#define TAKE_Device call.address(deviceKey);
#define TAKE_Screen call.address(deviceKey, target);
#define TAKE_Cabinet call.address(deviceKey, target);
#define TAKE_REQUEST_None
#define TAKE_REQUEST_Map call.request(request);
#define TAKE_REQUEST_MutableMap call.request(request);
#define TAKE_REQUEST_List call.request(request);
#define TAKE_EXTRA_None
#define TAKE_EXTRA_Refresh call.extra(refresh);
#define TAKE_EXTRA_Allowance call.extra(allowance);
#define TAKE_EXTRA_Headers call.headers(responseHeader);
#define RETURN_None call.answer()
#define RETURN_Map call.answer(reply)
#define RETURN_List call.answer(reply)
#define RETURN_Promise call.upload()

#define DEFINE(id, service, name, address_, request_, reply_, extra_)                                                       \
    ADAPTER_SIGNATURE(service, name, address_, request_, reply_, extra_)                                                    \
    {                                                                                                                       \
        BackendCall call(Operation::id);                                                                                    \
        TAKE_##address_ TAKE_REQUEST_##request_ TAKE_EXTRA_##extra_ return RETURN_##reply_;                                 \
    }
#define OPERATION(service, name, address, request, reply, extra, ...)                                                       \
    DEFINE(service##_##name, service, name, address, request, reply, extra)
#define OPERATION_WITH_HEADERS(service, name, address, request, reply, extra, ...)                                          \
    DEFINE(service##_##name##_Headers, service, name, address, request, reply, extra)
#define DISCOVERY(...) // above, by hand
#include <adapter/Operations.def>

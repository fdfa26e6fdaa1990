// A device service that defines the classes itself: one device, whose operations all fail.

#include <adapter/Signatures.h>

using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

#define INSTANCE(service)                                                                                                   \
    service *service::getInstance()                                                                                         \
    {                                                                                                                       \
        static service instance;                                                                                            \
        return &instance;                                                                                                   \
    }
INSTANCE(Correctionop)
INSTANCE(CabinetInfoOperator)
INSTANCE(ScreenInfo)
INSTANCE(HWInfo)
INSTANCE(HttpProxy)

void HttpProxy::initialize(bool) {}

QList<HttpDeviceInfo> HttpProxy::getDeviceList()
{
    return {{QStringLiteral("direct"), QStringLiteral("Direct")}};
}

namespace {

/// False, also as a promise.
struct Refused {
    operator bool() const { return false; }
    operator QtPromise::QPromise<bool>() const { return QtPromise::QPromise<bool>::resolve(false); }
};

template <Adapter::Operation::Id Id, typename... Arguments>
Refused serve(Adapter::At<Id>, const Arguments &...)
{
    return {};
}

} // namespace

#define OPERATION(service, name, ...) ADAPTER_DEFINE(service##_##name, service, name, __VA_ARGS__)
#define OPERATION_WITH_HEADERS(service, name, ...) ADAPTER_DEFINE(service##_##name##_Headers, service, name, __VA_ARGS__)
#define DISCOVERY(...) // above
#include <adapter/Operations.def>

// A device service that defines the classes itself: one device, which answers nothing.

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Headers = QMap<QString, QString>;

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

#define ADDRESS_Device const QString &
#define ADDRESS_Screen const QString &, const QString &
#define ADDRESS_Cabinet const QString &, const QString &
#define REQUEST_None
#define REQUEST_Map , const Map &
#define REQUEST_MutableMap , Map &
#define REQUEST_List , const List &
#define REPLY_None
#define REPLY_Map , Map &
#define REPLY_List , List &
#define REPLY_Promise
#define EXTRA_None
#define EXTRA_Refresh , bool
#define EXTRA_Allowance , int
#define EXTRA_Headers , Headers &
#define RESULT_None bool
#define RESULT_Map bool
#define RESULT_List bool
#define RESULT_Promise QtPromise::QPromise<bool>
#define RETURN_None false
#define RETURN_Map false
#define RETURN_List false
#define RETURN_Promise QtPromise::QPromise<bool>::resolve(false)

#define OPERATION(service, name, address, request, reply, extra, ...)                                                       \
    RESULT_##reply service::name(ADDRESS_##address REQUEST_##request REPLY_##reply EXTRA_##extra)                           \
    {                                                                                                                       \
        return RETURN_##reply;                                                                                              \
    }
#define DISCOVERY(...) // above
#include <adapter/Operations.def>

#include <adapter/DeviceBackend.h>

#include "BackendCall.h"
#include "Logging.h"
#include "ReplyCheck.h"

#include <service/ScreenInfo.h>

#include <atomic>
#include <mutex>

namespace Adapter {

using Quorvex::Communicator::HttpDevice::HttpProxy;

Q_LOGGING_CATEGORY(lcAdapter, "correction.adapter")

namespace {

std::atomic<DeviceBackend *> g_backend{nullptr};
std::atomic<DeviceBackend *(*)()> g_makeDefault{nullptr}; ///< Until a backend is installed.
std::atomic<bool> g_isMissingLogged{false};

/// The backend for a call. Null, once with a critical line, without one.
DeviceBackend *backendOfCall()
{
    if (DeviceBackend *const installed = g_backend)
        return installed;
    {
        static std::mutex mutex;
        const std::lock_guard<std::mutex> lock(mutex);
        if (DeviceBackend * (*const make)() = g_makeDefault)
            setBackend(make());
        if (DeviceBackend *const installed = g_backend)
            return installed;
    }
    if (!g_isMissingLogged.exchange(true))
        qCCritical(lcAdapter) << "no device backend is installed: every operation returns false";
    return nullptr;
}

/// An empty string for a null one: a null string means that the operation has no such argument.
QString present(const QString &text)
{
    return text.isNull() ? QString(QLatin1String("")) : text;
}

/// One warning line for the first value of a wrong type. Missing keys are not looked at.
void warnOfWrongTypes(const Operation &operation, const QString &deviceKey, const QVariant &reply)
{
    walkReply(operation, reply, [&](const ReplyValue &value) {
        if (!value.value || value.converts())
            return true;
        qCWarning(lcAdapter).noquote() << QStringLiteral("%1: device %2: reply%3 is %4")
                                              .arg(operation.name, deviceKey, value.place(), value.mismatch());
        return false;
    });
}

} // namespace

DeviceBackend::DeviceBackend(QObject *parent) : QObject(parent) {}

DeviceBackend::~DeviceBackend()
{
    DeviceBackend *self = this;
    g_backend.compare_exchange_strong(self, nullptr);
}

void DeviceBackend::initialize(bool) {}

QtPromise::QPromise<bool> DeviceBackend::upload(const Call &call)
{
    const Answer answered = answer(call);
    return answered.error ? QtPromise::QPromise<bool>::reject(answered.error)
                          : QtPromise::QPromise<bool>::resolve(answered.result);
}

void setBackend(DeviceBackend *backend)
{
    DeviceBackend *const before = g_backend;
    if (before != backend) {
        HttpProxy *const proxy = HttpProxy::getInstance();
        ScreenInfo *const screenInfo = ScreenInfo::getInstance();
        if (backend) {
            // Direct: the host gets the signals on the thread of the backend's signal.
            const auto once = static_cast<Qt::ConnectionType>(Qt::DirectConnection | Qt::UniqueConnection);
            QObject::connect(backend, &DeviceBackend::devicesChanged, proxy, &HttpProxy::deviceChanged, once);
            QObject::connect(backend, &DeviceBackend::screenRenamed, screenInfo, &ScreenInfo::signal_screenNameChanged,
                             once);
        }
        g_backend = backend;
        if (before) {
            QObject::disconnect(before, nullptr, proxy, nullptr);
            QObject::disconnect(before, nullptr, screenInfo, nullptr);
        }
    }
    g_makeDefault = nullptr;
    g_isMissingLogged = false;
}

DeviceBackend *backend()
{
    return g_backend;
}

void setDefaultBackend(DeviceBackend *(*make)())
{
    g_makeDefault = make;
}

BackendCall::BackendCall(Operation::Id operation) : m_operation(operations()[operation])
{
    m_call.operation = m_operation.name;
}

void BackendCall::address(const QString &deviceKey)
{
    m_call.deviceKey = present(deviceKey);
}

void BackendCall::address(const QString &deviceKey, const QString &target)
{
    address(deviceKey);
    m_call.target = present(target);
}

Answer BackendCall::send()
{
    DeviceBackend *const backend = backendOfCall();
    if (!backend)
        return {false, {}, {}};
    Answer answer = backend->answer(m_call);
    if (answer.error)
        std::rethrow_exception(answer.error);
    // A refresh reads the hardware information even when the call returned false.
    if ((answer.result || m_operation.id == Operation::HWInfo_getHWInfo) && lcAdapter().isWarningEnabled())
        warnOfWrongTypes(m_operation, m_call.deviceKey, answer.reply);
    if (m_headers)
        *m_headers = answer.headers;
    return answer;
}

bool BackendCall::answer()
{
    return send().result;
}

QtPromise::QPromise<bool> BackendCall::upload()
{
    DeviceBackend *const backend = backendOfCall();
    return backend ? backend->upload(m_call) : QtPromise::QPromise<bool>::resolve(false);
}

void BackendCall::initialize(bool enable)
{
    if (DeviceBackend *const backend = backendOfCall())
        backend->initialize(enable);
}

QList<DeviceInfo> BackendCall::devices()
{
    DeviceBackend *const backend = backendOfCall();
    return backend ? backend->devices() : QList<DeviceInfo>();
}

} // namespace Adapter

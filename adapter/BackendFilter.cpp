#include <adapter/BackendFilter.h>

namespace Adapter {

BackendFilter::BackendFilter(DeviceBackend &inner, QObject *parent) : DeviceBackend(parent), m_inner(inner)
{
    connect(&inner, &DeviceBackend::devicesChanged, this, &DeviceBackend::devicesChanged, Qt::DirectConnection);
    connect(&inner, &DeviceBackend::screenRenamed, this, &DeviceBackend::screenRenamed, Qt::DirectConnection);
}

BackendFilter::~BackendFilter() = default;

void BackendFilter::initialize(bool enable)
{
    m_inner.initialize(enable);
}

QList<DeviceInfo> BackendFilter::devices()
{
    return m_inner.devices();
}

Answer BackendFilter::answer(const Call &call)
{
    return m_inner.answer(call);
}

QtPromise::QPromise<bool> BackendFilter::upload(const Call &call)
{
    return m_inner.upload(call);
}

} // namespace Adapter

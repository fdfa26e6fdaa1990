#include <adapter/DryRun.h>

#include <adapter/Operations.h>

namespace Adapter {

namespace {

bool reachesDevices(const Call &call)
{
    const Operation *const operation = findOperation(call.operation);
    return operation && (operation->effect == Effect::Discovers || operation->effect == Effect::Reads);
}

} // namespace

DryRun::DryRun(DeviceBackend &inner, QObject *parent) : BackendFilter(inner, parent) {}

DryRun::~DryRun() = default;

Answer DryRun::answer(const Call &call)
{
    if (reachesDevices(call))
        return BackendFilter::answer(call);
    hold(call);
    return {};
}

QtPromise::QPromise<bool> DryRun::upload(const Call &call)
{
    hold(call);
    return QtPromise::QPromise<bool>::resolve(true);
}

QVector<Call> DryRun::heldBack() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_heldBack;
}

void DryRun::hold(const Call &call)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_heldBack.append(call);
}

} // namespace Adapter

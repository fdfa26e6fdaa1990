#pragma once

#include <adapter/DeviceBackend.h>

namespace Adapter {

/// A backend in front of another one: passes every call to it and re-emits its signals, on the thread of the signal. Derived
/// classes change or observe the calls; filters may be chained.
class ADAPTER_API BackendFilter : public DeviceBackend
{
    Q_OBJECT

public:
    /// `inner` must outlive the filter.
    explicit BackendFilter(DeviceBackend &inner, QObject *parent = nullptr);
    ~BackendFilter() override;

    void initialize(bool enable) override;
    QList<DeviceInfo> devices() override;
    Answer answer(const Call &call) override;
    QtPromise::QPromise<bool> upload(const Call &call) override;

private:
    DeviceBackend &m_inner;
};

} // namespace Adapter

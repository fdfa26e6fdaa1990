#pragma once

#include <adapter/BackendFilter.h>

#include <QtCore/QVector>

#include <mutex>

namespace Adapter {

/// Does not pass on calls that would change or lock a device (Operation::effect): such a call returns true with an empty
/// reply, an upload's promise is fulfilled with true. Discovery and reads reach the devices.
class ADAPTER_API DryRun : public BackendFilter
{
    Q_OBJECT

public:
    /// `inner` must outlive the filter.
    explicit DryRun(DeviceBackend &inner, QObject *parent = nullptr);
    ~DryRun() override;

    Answer answer(const Call &call) override;
    QtPromise::QPromise<bool> upload(const Call &call) override;

    /// The calls since construction that were not passed on, oldest first. Thread-safe.
    QVector<Call> heldBack() const;

private:
    void hold(const Call &call);

    mutable std::mutex m_mutex;
    QVector<Call> m_heldBack;
};

} // namespace Adapter

#pragma once

#include <adapter/BackendFilter.h>

#include <QtCore/QVector>

#include <mutex>

namespace Adapter {

/// Keeps from the devices what would change or lock them (Operation::effect): such a call is answered true with an empty
/// reply, an upload's promise is fulfilled with true. Discovery and reading reach the devices.
class ADAPTER_API DryRun : public BackendFilter
{
    Q_OBJECT

public:
    explicit DryRun(DeviceBackend &inner, QObject *parent = nullptr);
    ~DryRun() override;

    Answer answer(const Call &call) override;
    QtPromise::QPromise<bool> upload(const Call &call) override;

    /// The calls that were kept from the devices, oldest first: all since construction. Thread-safe.
    QVector<Call> heldBack() const;

private:
    void hold(const Call &call);

    mutable std::mutex m_mutex;
    QVector<Call> m_heldBack;
};

} // namespace Adapter

#pragma once

#include <adapter/DeviceBackend.h>

namespace Simulator {

/// The virtual wall as a backend of the device service.
class WallBackend final : public Adapter::DeviceBackend
{
public:
    /// Made once, and installed unless another backend is; kept until the process ends.
    static WallBackend &instance();

    void initialize(bool enable) override;
    QList<Adapter::DeviceInfo> devices() override;
    Adapter::Answer answer(const Adapter::Call &call) override;
    QtPromise::QPromise<bool> upload(const Adapter::Call &call) override;
};

} // namespace Simulator

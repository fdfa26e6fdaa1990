#pragma once

#include <adapter/BackendFilter.h>

#include <functional>
#include <memory>

namespace Adapter {

/// Shows every call with its answer to a function, before the host sees the answer: discovery's too, as the operations
/// HttpProxy::initialize and HttpProxy::getDeviceList, the latter's reply being a list of maps with "key" and "label".
class ADAPTER_API ExchangeTap : public BackendFilter
{
    Q_OBJECT

public:
    /// Called on the thread of the host's call, one call at a time; must not call the service, nor stop() or the
    /// destructor, which call it too, for pending uploads. Call::time counts from the
    /// tap's construction.
    using Observer = std::function<void(const Call &)>;

    ExchangeTap(DeviceBackend &inner, Observer observer, QObject *parent = nullptr);
    ~ExchangeTap() override;

    void initialize(bool enable) override;
    QList<DeviceInfo> devices() override;
    Answer answer(const Call &call) override;
    /// The promise settles after the observer has seen it, by the event loop of the calling thread.
    QtPromise::QPromise<bool> upload(const Call &call) override;

    /// Stops showing calls; those whose promise is still pending are shown now, not settled. Call it when the backend is
    /// not installed any more. The destructor does it, too.
    void stop();

private:
    struct State; // outlives the tap where promises are pending

    std::shared_ptr<State> m_state;
};

} // namespace Adapter

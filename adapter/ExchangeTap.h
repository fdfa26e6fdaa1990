#pragma once

#include <adapter/BackendFilter.h>

#include <functional>
#include <memory>

namespace Adapter {

/// Passes every call with its result to an observer function before the call returns to the host. Discovery is observed as
/// the operations HttpProxy::initialize and HttpProxy::getDeviceList; the latter's reply is a list of maps with "key" and
/// "label".
class ADAPTER_API ExchangeTap : public BackendFilter
{
    Q_OBJECT

public:
    /// Called on the thread of the host's call, one call at a time; must call neither the service nor stop() nor the
    /// destructor (both call it for pending uploads). Call::time is relative to the tap's construction. What a
    /// reply has nested deeper than 100 levels is left out of the call, with a line in its note and one warning line.
    using Observer = std::function<void(const Call &)>;

    /// `inner` must outlive the tap.
    ExchangeTap(DeviceBackend &inner, Observer observer, QObject *parent = nullptr);
    ~ExchangeTap() override;

    void initialize(bool enable) override;
    QList<DeviceInfo> devices() override;
    Answer answer(const Call &call) override;
    /// The promise settles after the observer has returned, in the event loop of the calling thread.
    QtPromise::QPromise<bool> upload(const Call &call) override;

    /// Stops observing; calls whose promise is still pending are passed to the observer now, as not settled. Call it when
    /// the tap is no longer installed. The destructor calls it as well.
    void stop();

private:
    struct State; // outlives the tap while promises are pending

    std::shared_ptr<State> m_state;
};

} // namespace Adapter

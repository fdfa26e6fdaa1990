#pragma once

#include <adapter/AdapterGlobal.h>
#include <adapter/Call.h>

#include <service/HttpProxy.h>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <service/Promise.h>

namespace Adapter {

/// A device: its key, and what log lines show.
using DeviceInfo = Quorvex::Communicator::HttpDevice::HttpDeviceInfo;

/// Implemented by device service authors instead of the five classes of `<service/...>`: this library defines those classes
/// and passes each of their calls to the installed backend. docs/service.md lists the operations with the keys, types and
/// units of their requests and replies.
///
/// Threads: functions are called on the thread of the host's call, and block it until they return. A host may call from
/// several threads at once.
class ADAPTER_API DeviceBackend : public QObject
{
    Q_OBJECT

public:
    /// Does not install the backend: see setBackend().
    explicit DeviceBackend(QObject *parent = nullptr);
    ~DeviceBackend() override;

    /// Starts (true) the search for devices. The default does nothing.
    virtual void initialize(bool enable);
    /// The devices present now, in the order in which a refresh visits them.
    virtual QList<DeviceInfo> devices() = 0;
    /// Carries out one operation of a device and waits for its answer. An exception counts as a false answer; only
    /// std::bad_alloc reaches the host.
    virtual Answer answer(const Call &call) = 0;
    /// Carries out one of the uploads with a promise, which is fulfilled with true when the device took everything. It may
    /// settle on any thread. The default calls answer() and returns a settled promise.
    virtual QtPromise::QPromise<bool> upload(const Call &call);

Q_SIGNALS:
    // May be emitted on any thread; the host gets them on that thread.

    /// A device appeared or vanished.
    void devicesChanged();
    /// The user renamed the screen of a device.
    void screenRenamed(const QString &deviceKey, const QString &name);
};

/// Installs the backend that serves all calls from here on and relays its signals to the host. It stays owned by the caller,
/// and removes itself when it is deleted. Null: none. Not while calls of the service are under way, and from one thread at a
/// time.
///
/// Without a backend every operation returns false, discovery lists no device, and one critical line is logged.
ADAPTER_API void setBackend(DeviceBackend *backend);
/// The installed backend, or null.
ADAPTER_API DeviceBackend *backend();
/// Names a function that makes the backend at the first call of the service, unless setBackend() is called before that. For
/// libraries that contain a backend and call this when they are loaded. The function must not call the service.
ADAPTER_API void setDefaultBackend(DeviceBackend *(*make)());

} // namespace Adapter

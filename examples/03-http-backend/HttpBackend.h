#pragma once

#include <adapter/DeviceBackend.h>

#include <QtCore/QMap>
#include <QtCore/QThread>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkAccessManager>

#include <functional>

/// Devices that are reached over HTTP: each call is a POST of JSON to the device's URL, its answer is JSON, too.
///
///     {"operation": "Correctionop::loadCoefficient", "target": "7"}      ->  {"result": true, "reply": [...]}
///
/// The network works in a thread of its own, so that a blocking call does not run the event loop of the host's thread.
/// Uploads do not block: several devices work at the same time.
class HttpBackend : public Adapter::DeviceBackend
{
public:
    /// By device key.
    explicit HttpBackend(const QMap<QString, QUrl> &devices);
    ~HttpBackend() override;

    QList<Adapter::DeviceInfo> devices() override;
    Adapter::Answer answer(const Adapter::Call &call) override;
    QtPromise::QPromise<bool> upload(const Adapter::Call &call) override;

private:
    /// Calls `done` in the network's thread.
    void post(const Adapter::Call &call, const std::function<void(const Adapter::Answer &)> &done);

    const QMap<QString, QUrl> m_devices;
    QNetworkAccessManager *const m_network; ///< Deleted by its thread.
    QThread m_thread;
};

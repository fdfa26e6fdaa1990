#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QThread>
#include <QtCore/QUrl>

#include <future>

/// A controller device of one cabinet of 8 x 4 pixels, as an HTTP server on this machine. It takes the place of the
/// hardware: what a request does there depends on the device.
class LittleDevice : public QThread
{
public:
    LittleDevice();
    /// The device vanishes.
    ~LittleDevice() override;

    /// The address that it listens on; empty when it cannot listen.
    QUrl url() const { return m_url; }

protected:
    void run() override;

private:
    QJsonObject answer(const QJsonObject &call);

    std::promise<QUrl> m_started;
    QUrl m_url;
    QString m_shown; // coefficients as base64, which this device keeps as they come
    QString m_saved;
};

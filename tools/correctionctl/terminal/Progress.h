#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace Ctl {

class Output;

/// A bar on standard error for work longer than a second: share, rate and remaining time. Only on a terminal, and not with
/// --quiet. It is erased at the end, at the latest by the destructor.
class Progress
{
public:
    /// `total` in bytes of coefficients.
    Progress(const Output &output, const QString &what, qint64 total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void advance(qint64 bytes);
    /// Erases the bar, before other output.
    void end();

    /// The bar's text at a moment, for a terminal of `columns`.
    static QString text(const QString &what, qint64 done, qint64 total, qint64 milliseconds, int columns);

private:
    QString m_what;
    qint64 m_total;
    qint64 m_done = 0;
    qint64 m_shownAt = 0;
    bool m_enabled;
    QElapsedTimer m_timer;
};

/// While something blocks this thread: a line on a terminal after some seconds, renewed each second and erased at the end.
class Ticker
{
public:
    /// `text` is called on another thread, with the seconds since the beginning.
    Ticker(const Output &output, QString (*text)(qint64 seconds));
    ~Ticker();
    Ticker(const Ticker &) = delete;
    Ticker &operator=(const Ticker &) = delete;

private:
    void run(QString (*text)(qint64 seconds));

    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_isEnded = false;
    std::thread m_thread;
};

} // namespace Ctl

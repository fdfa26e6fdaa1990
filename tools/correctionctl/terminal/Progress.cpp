#include "Progress.h"

#include "Output.h"
#include "Texts.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Ctl {

namespace {

constexpr qint64 firstShown = 1000; // ms
constexpr qint64 interval = 100;    // ms between two pictures
constexpr qint64 firstTick = 2;     // s

int terminalColumns()
{
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

QString timeText(qint64 seconds)
{
    const auto two = [](qint64 number) { return QString::number(number).rightJustified(2, QLatin1Char('0')); };
    const QString minutes = two(seconds / 60 % 60) + QLatin1Char(':') + two(seconds % 60);
    return seconds < 3600 ? minutes : QString::number(seconds / 3600) + QLatin1Char(':') + minutes;
}

} // namespace

Progress::Progress(const Output &output, const QString &what, qint64 total)
    : m_what(what), m_total(total), m_enabled(Output::errorIsTerminal() && !output.quiet() && total > 0)
{
    m_timer.start();
}

Progress::~Progress()
{
    end();
}

void Progress::end()
{
    if (m_shownAt > 0)
        std::fputs("\r\x1b[K", stderr);
    m_shownAt = 0;
}

void Progress::advance(qint64 bytes)
{
    m_done += bytes;
    const qint64 now = m_timer.elapsed();
    if (!m_enabled || now < firstShown || now - m_shownAt < interval)
        return;
    m_shownAt = now;
    const QString picture = text(m_what, m_done, m_total, now, terminalColumns());
    std::fprintf(stderr, "\r\x1b[K%s", picture.toUtf8().constData());
    std::fflush(stderr);
}

Ticker::Ticker(const Output &output, QString (*text)(qint64 seconds))
{
    if (Output::errorIsTerminal() && !output.quiet())
        m_thread = std::thread([this, text] { run(text); });
}

Ticker::~Ticker()
{
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_isEnded = true;
    }
    m_ended.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

void Ticker::run(QString (*text)(qint64 seconds))
{
    std::unique_lock<std::mutex> lock(m_mutex);
    bool isShown = false;
    for (qint64 seconds = 0; !m_ended.wait_for(lock, std::chrono::seconds(1), [this] { return m_isEnded; });) {
        if (++seconds < firstTick)
            continue;
        isShown = true;
        const QString line = printable(text(seconds)).left(terminalColumns() - 1);
        std::fprintf(stderr, "\r\x1b[K%s", line.toUtf8().constData());
        std::fflush(stderr);
    }
    if (isShown)
        std::fputs("\r\x1b[K", stderr);
}

QString Progress::text(const QString &what, qint64 done, qint64 total, qint64 milliseconds, int columns)
{
    const double share = std::min(1.0, double(done) / double(std::max<qint64>(total, 1)));
    const double rate = double(done) * 1000 / double(std::max<qint64>(milliseconds, 1));
    const QString remaining =
        rate > 0 ? timeText(qint64(double(std::max<qint64>(total - done, 0)) / rate)) : QStringLiteral("?");
    const QString head = QStringLiteral("%1 %2%").arg(what).arg(int(share * 100), 3);
    const QString tail = QStringLiteral("%1/s, %2 left").arg(bytesText(rate), remaining);
    const int width = std::min(40, columns - head.size() - tail.size() - 7);
    if (width < 5)
        return head;
    const int filled = int(share * width);
    return QStringLiteral("%1 [%2%3] %4")
        .arg(head, QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char(' ')), tail);
}

} // namespace Ctl

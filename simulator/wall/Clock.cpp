#include "Clock.h"

#include "Wall.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QEventLoop>
#include <QtCore/QTimerEvent>

#include <system_error>
#include <thread>

namespace Simulator {

namespace {

thread_local bool inWallThread = false;

/// Lives in the thread whose event loop is to wake the wall, until the wall has no more use for it or the thread ends.
class Waker final : public QObject
{
public:
    explicit Waker(const WakeUp &wakeUp) : QObject(QAbstractEventDispatcher::instance()), m_wakeUp(wakeUp) {}

    /// 0: as soon as the event loop has nothing else to do.
    void waitFor(int milliseconds)
    {
        if (milliseconds > 0)
            m_timer = startTimer(milliseconds, Qt::PreciseTimer);
        else
            QCoreApplication::postEvent(this, new QEvent(QEvent::User), Qt::LowEventPriority);
    }

    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::Timer)
            killTimer(m_timer);
        else if (event->type() != QEvent::User)
            return QObject::event(event);
        if (const std::optional<int> milliseconds = Wall::instance().wake(m_wakeUp))
            waitFor(*milliseconds);
        else
            deleteLater();
        return true;
    }

private:
    const WakeUp m_wakeUp;
    int m_timer = 0;
};

} // namespace

void WallClock::restart()
{
    m_time = 0;
    m_since = std::chrono::steady_clock::now();
}

void WallClock::setMode(VirtualWall::Clock mode)
{
    m_time = now();
    m_since = std::chrono::steady_clock::now();
    m_mode = mode;
}

qint64 WallClock::now() const
{
    if (!isReal())
        return m_time;
    using namespace std::chrono;
    return m_time + qint64(duration_cast<microseconds>(steady_clock::now() - m_since).count());
}

void WallClock::reach(qint64 time)
{
    if (!isReal() && time > m_time)
        m_time = time;
}

bool wakeByEventLoop(const WakeUp &wakeUp, VirtualWall::Clock mode)
{
    if (!QCoreApplication::instance())
        return false;
    if (!QAbstractEventDispatcher::instance())
        QEventLoop makesTheDispatcher;
    auto *const waker = new Waker(wakeUp); // owned by the dispatcher until it deletes itself
    waker->waitFor(mode == VirtualWall::RealTime ? Wall::instance().millisecondsUntil(wakeUp.time) : 0);
    return true;
}

void wakeByThread(const WakeUp &wakeUp)
{
    std::thread([wakeUp] {
        inWallThread = true;
        int wait = Wall::instance().millisecondsUntil(wakeUp.time);
        for (;;) {
            std::this_thread::sleep_for(std::chrono::milliseconds(wait));
            const std::optional<int> more = Wall::instance().wake(wakeUp);
            if (!more)
                return;
            wait = *more;
        }
    }).detach();
}

bool isWallThread()
{
    return inWallThread;
}

void runInWallThread(const std::function<void()> &task)
{
    std::thread([&task] {
        inWallThread = true;
        task();
    }).join();
}

} // namespace Simulator

#include "WakeUps.h"

#include "TimeKeeper.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QEventLoop>
#include <QtCore/QTimerEvent>

#include <chrono>
#include <thread>

namespace Simulator {

namespace {

thread_local bool inWallThread = false;

/// The milliseconds until the next wake-up, or none.
std::optional<int> wake(const WakeUp &wakeUp)
{
    const std::shared_ptr<TimeKeeper> keeper = wakeUp.keeper.lock();
    return keeper ? keeper->wake(wakeUp) : std::nullopt;
}

/// Belongs to the thread whose event loop wakes the wall; deleted when the wall needs no more wake-ups or the thread ends.
class Waker final : public QObject
{
public:
    explicit Waker(const WakeUp &wakeUp) : QObject(QAbstractEventDispatcher::instance()), m_wakeUp(wakeUp) {}

    /// 0: when the event loop is idle.
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
        if (const std::optional<int> milliseconds = wake(m_wakeUp))
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

bool wakeByEventLoop(const WakeUp &wakeUp, int milliseconds)
{
    if (!QCoreApplication::instance())
        return false;
    if (!QAbstractEventDispatcher::instance())
        QEventLoop makesTheDispatcher;
    auto *const waker = new Waker(wakeUp); // owned by the dispatcher until it deletes itself
    waker->waitFor(milliseconds);
    return true;
}

void wakeByThread(const WakeUp &wakeUp, int milliseconds)
{
    std::thread([wakeUp, milliseconds] {
        inWallThread = true;
        for (std::optional<int> wait = milliseconds; wait; wait = wake(wakeUp))
            std::this_thread::sleep_for(std::chrono::milliseconds(*wait));
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

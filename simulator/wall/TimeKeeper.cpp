#include "TimeKeeper.h"

#include <algorithm>
#include <utility>

namespace Simulator {

void TimeKeeper::begin(std::weak_ptr<TimeKeeper> self, Adapter::DeviceBackend *backend)
{
    m_self = std::move(self);
    m_backend = backend;
}

void TimeKeeper::end()
{
    m_backend = nullptr;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_woken.wait(lock, [this] {
        const auto isOther = [](std::thread::id id) { return id != std::this_thread::get_id(); };
        return std::none_of(m_waking.cbegin(), m_waking.cend(), isOther);
    });
}

qint64 TimeKeeper::now() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_clock.now();
}

void TimeKeeper::setMode(ClockMode mode)
{
    Aftermath after;
    std::vector<std::pair<qint64, bool>> uploads;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_clock.setMode(mode);
        for (const auto &event : m_events.ahead)
            after.events += event.first;
        for (const PendingUpload &upload : m_uploads.all()) {
            if (!upload.isHeldByScript())
                uploads.emplace_back(upload.due.value_or(m_clock.now()), upload.begun.inThread);
        }
    }
    tell(after);
    for (const auto &[due, inThread] : uploads)
        arm(due, inThread, true);
}

std::optional<qint64> TimeKeeper::nextLocked() const
{
    const std::optional<qint64> upload = m_uploads.nextDue();
    if (m_events.ahead.empty())
        return upload;
    const qint64 event = m_events.ahead.begin()->first;
    return upload ? std::min(*upload, event) : event;
}

bool TimeKeeper::stepLocked(qint64 time, Aftermath &after)
{
    const std::optional<qint64> next = nextLocked();
    if (!next || *next > time)
        return false;
    m_clock.reach(*next);
    const auto event = m_events.ahead.begin();
    if (event != m_events.ahead.end() && event->first == *next) {
        const Event happening = event->second;
        m_events.ahead.erase(event);
        m_events.happen(happening, after);
    } else if (const auto upload = m_uploads.take([&](const PendingUpload &each) { return each.due == next; })) {
        m_uploads.settle(*upload, m_answers.answer(upload->begun, upload->call, upload->act, after), after);
    }
    return true;
}

void TimeKeeper::happenUntil(qint64 time)
{
    std::optional<quint64> generation;
    for (;;) {
        Aftermath after;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (generation.value_or(m_clock.generation()) != m_clock.generation() || !stepLocked(time, after))
                return;
            generation = m_clock.generation();
        }
        tell(after);
    }
}

void TimeKeeper::happenUntilNow()
{
    happenUntil(now());
}

void TimeKeeper::passTo(qint64 time)
{
    std::optional<quint64> generation;
    for (;;) {
        qint64 sleep = 0;
        qint64 until = time;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_clock.now() >= time || generation.value_or(m_clock.generation()) != m_clock.generation())
                return;
            generation = m_clock.generation();
            if (m_clock.isReal()) {
                until = std::min(time, nextLocked().value_or(time));
                sleep = until - m_clock.now();
            }
        }
        if (sleep > 0)
            std::this_thread::sleep_for(std::chrono::microseconds(sleep));
        happenUntil(until);
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (*generation == m_clock.generation())
            m_clock.reach(until);
    }
}

bool TimeKeeper::happen(const Event &event)
{
    happenUntilNow();
    Aftermath after;
    bool happened = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        happened = m_events.happen(event, after);
    }
    tell(after);
    return happened;
}

std::optional<int> TimeKeeper::wake(const WakeUp &wakeUp)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const std::optional<qint64> time = targetLocked(wakeUp);
    if (!time)
        return std::nullopt;
    m_waking.push_back(std::this_thread::get_id());
    lock.unlock();
    happenUntil(*time);

    lock.lock();
    m_waking.erase(std::find(m_waking.begin(), m_waking.end(), std::this_thread::get_id()));
    m_woken.notify_all();
    return comeBackLocked(wakeUp);
}

std::optional<qint64> TimeKeeper::targetLocked(const WakeUp &wakeUp) const
{
    if (wakeUp.generation != m_clock.generation() || m_clock.mode() == ClockMode::Stepped)
        return std::nullopt;
    if (m_clock.isReal())
        return m_clock.now();
    return m_uploads.isWaiting() && !isWallThread() ? nextLocked() : std::nullopt;
}

std::optional<int> TimeKeeper::comeBackLocked(const WakeUp &wakeUp) const
{
    if (wakeUp.generation != m_clock.generation() || m_clock.mode() == ClockMode::Stepped)
        return std::nullopt;
    if (!m_clock.isReal())
        return m_uploads.isWaiting() && nextLocked() ? std::optional<int>(0) : std::nullopt;
    const int more = millisecondsUntilLocked(wakeUp.time);
    return more > 0 ? std::optional<int>(more) : std::nullopt;
}

int TimeKeeper::millisecondsUntilLocked(qint64 time) const
{
    constexpr qint64 longest = 3600 * qint64(1000); // then checks again
    const qint64 rest = time - m_clock.now();
    return rest <= 0 ? 0 : static_cast<int>(std::min(longest, (rest + microseconds - 1) / microseconds));
}

void TimeKeeper::arm(qint64 time, bool inThread, bool isUpload)
{
    WakeUp wakeUp{m_self, 0, time};
    bool isReal = false;
    int milliseconds = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        wakeUp.generation = m_clock.generation();
        isReal = m_clock.isReal();
        if (m_clock.mode() == ClockMode::Stepped || (!isReal && !m_uploads.isWaiting()))
            return;
        if (isReal)
            milliseconds = millisecondsUntilLocked(time);
    }
    // Threads of the wall run no event loop.
    if ((inThread || isWallThread()) && isReal)
        wakeByThread(wakeUp, milliseconds);
    else if (!wakeByEventLoop(wakeUp, milliseconds) && isUpload && isReal)
        wakeByThread(wakeUp, milliseconds);
}

void TimeKeeper::tell(const Aftermath &after)
{
    for (const QString &warning : after.warnings)
        qWarning("%s", qPrintable(warning));
    for (const std::function<void()> &settle : after.settle)
        settle();
    for (const qint64 time : after.events)
        arm(time, false, false);
    for (const auto &name : after.renamed) {
        if (Adapter::DeviceBackend *const backend = m_backend)
            Q_EMIT backend->screenRenamed(name.first, name.second);
    }
    Adapter::DeviceBackend *const backend = m_backend;
    if (after.devicesChanged && backend)
        Q_EMIT backend->devicesChanged();
}

} // namespace Simulator

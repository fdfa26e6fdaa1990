#include "Wall.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QTimer>

#include <algorithm>
#include <iterator>
#include <utility>

namespace Simulator {

namespace {

std::exception_ptr rejection(const QString &reason)
{
    return std::make_exception_ptr(std::runtime_error(reason.toStdString()));
}

} // namespace

void Wall::replay(const QList<Call> &calls)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        endReplayLocked("another replay began", after);
        m_replay = std::make_unique<Replay>(calls);
    }
    tell(after);
}

void Wall::endReplayLocked(const char *reason, Aftermath &after)
{
    m_replay.reset();
    for (const Held &upload : m_held) {
        noteLocked(upload.serial, QLatin1String(reason));
        recordLocked(upload.serial, {false, {}, {}}, true);
        after.settle.push_back([reject = upload.reject, error = rejection(QLatin1String(reason))] { reject(error); });
    }
    m_held.clear();
}

void Wall::setReplayPatience(int milliseconds)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_replayPatience = std::chrono::milliseconds(milliseconds);
}

ReplayReport Wall::replayReport() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_replay ? m_replay->report() : ReplayReport();
}

std::optional<Answer> Wall::serveReplayed(const Call &call)
{
    const std::optional<Held> taken = takeReplayed(call);
    if (!taken)
        return std::nullopt;
    finishReplayed(*taken);
    settleHeldBeforeNext();
    return Answer{taken->recorded.result, taken->recorded.reply, taken->recorded.headers};
}

std::optional<QtPromise::QPromise<bool>> Wall::uploadReplayed(const Call &call)
{
    std::optional<Held> taken = takeReplayed(call);
    if (!taken)
        return std::nullopt;
    const QtPromise::QPromise<bool> promise(
        [&](const QtPromise::QPromiseResolve<bool> &resolve, const QtPromise::QPromiseReject<bool> &reject) {
            taken->fulfil = [resolve](bool value) { resolve(value); };
            taken->reject = [reject](const std::exception_ptr &error) { reject(error); };
        });
    std::chrono::milliseconds wait{0};
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_held.push_back(*taken);
        wait = m_replayPatience;
        if (m_replay)
            wait += std::chrono::milliseconds(m_replay->untilNext(taken->recorded) / 1000);
    }
    settleHeldBeforeNext();
    // A host that waits for the upload instead of making the next recorded call must not wait for ever.
    if (promise.isPending() && QAbstractEventDispatcher::instance()) {
        const quint64 serial = taken->serial;
        QTimer::singleShot(wait, [serial] { Wall::instance().settleLate(serial); });
    }
    return promise;
}

std::optional<Wall::Held> Wall::takeReplayed(const Call &call)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_replay)
        return std::nullopt;
    Held taken;
    taken.serial = m_log.begin(call);
    QString reason;
    if (const std::optional<Call> recorded = m_replay->next(call, reason)) {
        taken.recorded = *recorded;
    } else {
        taken.recorded = call;
        Simulator::addNote(taken.recorded, reason);
    }
    Call *const logged = m_log.underway(taken.serial); // it has just begun
    taken.recorded.number = logged->number;
    *logged = taken.recorded;
    logged->result = false;
    logged->settled = false;
    return taken;
}

void Wall::finishReplayed(const Held &taken)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (Call *const logged = m_log.underway(taken.serial)) {
        *logged = taken.recorded;
        m_log.end(taken.serial);
    }
}

std::list<Wall::Held> Wall::takeHeld(const std::function<bool(const Held &)> &isMeant)
{
    std::list<Held> taken;
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_held.begin(); it != m_held.end();) {
        const auto next = std::next(it);
        if (isMeant(*it))
            taken.splice(taken.end(), m_held, it);
        it = next;
    }
    return taken;
}

void Wall::settleHeld(const Held &upload)
{
    finishReplayed(upload);
    if (upload.recorded.rejected)
        upload.reject(rejection(upload.recorded.note));
    else
        upload.fulfil(upload.recorded.result);
}

void Wall::rejectHeld(Held &upload, const QString &reason)
{
    upload.recorded.result = false;
    upload.recorded.settled = true;
    upload.recorded.rejected = true;
    upload.recorded.note = reason;
    settleHeld(upload);
}

void Wall::settleHeldBeforeNext()
{
    std::list<Held> due = takeHeld([this](const Held &upload) {
        return upload.recorded.settled && (!m_replay || m_replay->isSettledBeforeNext(upload.recorded));
    });
    due.sort([](const Held &one, const Held &other) {
        return one.recorded.time + one.recorded.duration < other.recorded.time + other.recorded.duration;
    });
    for (const Held &upload : due)
        settleHeld(upload);
}

void Wall::settleLate(quint64 serial)
{
    std::list<Held> late = takeHeld([&](const Held &upload) { return upload.serial == serial && upload.recorded.settled; });
    for (Held &upload : late) {
        Simulator::addNote(upload.recorded, QStringLiteral("settled without the next recorded call, which did not come"));
        settleHeld(upload);
    }
}

bool Wall::unplugReplayed(const QString &deviceKey)
{
    std::list<Held> gone = takeHeld([&](const Held &upload) { return upload.recorded.deviceKey == deviceKey; });
    for (Held &upload : gone)
        rejectHeld(upload, QStringLiteral("the device was unplugged"));
    return !gone.empty();
}

} // namespace Simulator

#include "Replayer.h"

#include "faults/Rules.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QTimer>

#include <iterator>

namespace Simulator {

void Replayer::start(const QList<Call> &calls)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        endLocked(QStringLiteral("another replay began"), after);
        m_recording = std::make_unique<Recording>(calls);
    }
    for (const auto &settle : after.settle)
        settle();
}

void Replayer::endLocked(const QString &reason, Aftermath &after)
{
    m_recording.reset();
    for (const Held &upload : m_held) {
        m_log.note(upload.serial, reason);
        m_log.end(upload.serial, {false, {}, {}}, m_clock.now(), true);
        after.settle.push_back([reject = upload.reject, error = rejection(reason)] { reject(error); });
    }
    m_held.clear();
}

void Replayer::resetLocked(const QString &reason, Aftermath &after)
{
    endLocked(reason, after);
    m_patience = defaultPatience;
}

void Replayer::setPatience(int milliseconds)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_patience = std::chrono::milliseconds(milliseconds);
}

ReplayReport Replayer::report() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_recording ? m_recording->report() : ReplayReport();
}

std::optional<Adapter::Answer> Replayer::serve(const Call &call)
{
    const std::optional<Held> taken = take(call);
    if (!taken)
        return std::nullopt;
    finish(*taken);
    settleBeforeNext();
    return Adapter::Answer{taken->recorded.result, taken->recorded.reply, taken->recorded.headers};
}

std::optional<QtPromise::QPromise<bool>> Replayer::upload(const Call &call)
{
    std::optional<Held> taken = take(call);
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
        wait = m_patience;
        if (m_recording)
            wait += std::chrono::milliseconds(m_recording->untilNext(taken->recorded) / 1000);
    }
    settleBeforeNext();
    // A host that waits for the upload instead of making the next recorded call must not wait forever.
    QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance();
    if (promise.isPending() && dispatcher) {
        const quint64 serial = taken->serial;
        QTimer::singleShot(wait, dispatcher, [self = m_self, serial] {
            if (const std::shared_ptr<Replayer> replayer = self.lock())
                replayer->settleLate(serial);
        });
    }
    return promise;
}

std::optional<Replayer::Held> Replayer::take(const Call &call)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_recording)
        return std::nullopt;
    Held taken;
    taken.serial = m_log.begin(call);
    QString reason;
    if (const std::optional<Call> recorded = m_recording->next(call, reason)) {
        taken.recorded = *recorded;
    } else {
        taken.recorded = call;
        addNote(taken.recorded, reason);
    }
    Call *const logged = m_log.underway(taken.serial); // it has just begun
    taken.recorded.number = logged->number;
    *logged = taken.recorded;
    logged->result = false;
    logged->settled = false;
    return taken;
}

void Replayer::finish(const Held &taken)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (Call *const logged = m_log.underway(taken.serial)) {
        *logged = taken.recorded;
        m_log.end(taken.serial);
    }
}

std::list<Replayer::Held> Replayer::takeHeld(const std::function<bool(const Held &)> &isMeant)
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

void Replayer::settle(const Held &upload)
{
    finish(upload);
    if (upload.recorded.rejected)
        upload.reject(rejection(upload.recorded.note));
    else
        upload.fulfil(upload.recorded.result);
}

void Replayer::reject(Held &upload, const QString &reason)
{
    upload.recorded.result = false;
    upload.recorded.settled = true;
    upload.recorded.rejected = true;
    upload.recorded.note = reason;
    settle(upload);
}

void Replayer::settleBeforeNext()
{
    std::list<Held> due = takeHeld([this](const Held &upload) {
        return upload.recorded.settled && (!m_recording || m_recording->isSettledBeforeNext(upload.recorded));
    });
    due.sort([](const Held &one, const Held &other) {
        return one.recorded.time + one.recorded.duration < other.recorded.time + other.recorded.duration;
    });
    for (const Held &upload : due)
        settle(upload);
}

void Replayer::settleLate(quint64 serial)
{
    std::list<Held> late = takeHeld([&](const Held &upload) { return upload.serial == serial && upload.recorded.settled; });
    for (Held &upload : late) {
        addNote(upload.recorded, QStringLiteral("settled without the next recorded call, which did not come"));
        settle(upload);
    }
}

bool Replayer::unplug(const QString &deviceKey)
{
    std::list<Held> gone = takeHeld([&](const Held &upload) { return upload.recorded.deviceKey == deviceKey; });
    for (Held &upload : gone)
        reject(upload, QStringLiteral("the device was unplugged"));
    return !gone.empty();
}

} // namespace Simulator

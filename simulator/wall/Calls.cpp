#include "Calls.h"

#include "Wall.h"
#include "device/Acts.h"

#include <values/Nesting.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace Simulator {

namespace {

using Promise = QtPromise::QPromise<bool>;

/// How long a device takes for a request or a reply.
qint64 transfer(const Timing &timing, const QVariant &value)
{
    return timing.bytesPerSecond > 0 ? charactersIn(value) * 1000 * microseconds / timing.bytesPerSecond : 0;
}

const Act &actFor(const Call &call)
{
    const Adapter::Operation *const operation = Adapter::findOperation(call.operation);
    if (!operation)
        throw std::invalid_argument("no such operation");
    return Acts::of(operation->id);
}

} // namespace

/// Abandons a call when an exception leaves the scope, such as std::bad_alloc.
class Calls::Abandoning
{
public:
    /// `serial` is read when the scope ends; 0: the call has not begun.
    Abandoning(Wall &wall, const quint64 &serial) : m_wall(wall), m_serial(serial) {}
    Abandoning(const Abandoning &) = delete;
    Abandoning &operator=(const Abandoning &) = delete;
    ~Abandoning()
    {
        if (std::uncaught_exceptions() > m_exceptions) {
            const std::lock_guard<std::mutex> lock(m_wall.mutex);
            m_wall.log.abandon(m_serial);
        }
    }

private:
    Wall &m_wall;
    const quint64 &m_serial;
    const int m_exceptions = std::uncaught_exceptions();
};

Answer Calls::serve(const Call &call)
{
    const Act &act = actFor(call);
    if (const std::optional<Answer> replayed = m_wall.replayer.serve(call))
        return *replayed;
    m_wall.time.happenUntilNow();
    const Begun begun = begin(call, false);
    const Abandoning abandoning(m_wall, begun.serial);
    m_wall.time.passTo(begun.answerAt);
    Answer answer;
    Aftermath after;
    qint64 answered = 0;
    {
        const std::lock_guard<std::mutex> lock(m_wall.mutex);
        answer = m_wall.answers.answer(begun, call, act, after);
        answered = m_wall.clock.now();
        if (DeviceState *const device = m_wall.memory.device(call.deviceKey)) {
            const qint64 time = transfer(device->timing, answer.reply);
            device->busyUntil += time;
            answered += time;
        }
    }
    m_wall.time.tell(after);
    if (!answer.error && answer.result && begun.action.editReply)
        begun.action.editReply(answer.reply);
    m_wall.time.passTo(answered);
    {
        const std::lock_guard<std::mutex> lock(m_wall.mutex);
        const DeviceState *const device = m_wall.memory.device(call.deviceKey);
        if (begun.action.type == Action::Wall && answer.result && device && device->powerLosses != begun.powerLosses) {
            Nesting::release(answer.reply);
            answer = {false, {}, {}};
            m_wall.log.note(begun.serial, powerLost);
        }
        if (const Call *const logged = m_wall.log.underway(begun.serial))
            answer.note = logged->note;
        m_wall.log.end(begun.serial, answer, m_wall.clock.now());
    }
    if (answer.error)
        std::rethrow_exception(answer.error);
    return answer;
}

Promise Calls::upload(const Call &call)
{
    const Act &act = actFor(call);
    if (const std::optional<Promise> replayed = m_wall.replayer.upload(call))
        return *replayed;
    m_wall.time.happenUntilNow();
    PendingUpload pending;
    pending.begun = begin(call, true);
    const Abandoning abandoning(m_wall, pending.begun.serial);
    const Begun &begun = pending.begun;
    const bool isHeld = begun.action.type == Action::Later || begun.action.type == Action::Never;
    if (begun.action.type == Action::Throw || (!isHeld && !begun.inThread && begun.answerAt <= m_wall.time.now()))
        return uploadNow(begun, call, act);
    pending.call = call;
    pending.act = act;
    if (!isHeld)
        pending.due = begun.answerAt;
    return uploadLater(pending);
}

Promise Calls::uploadNow(const Begun &begun, const Call &call, const Act &act)
{
    Answer answer;
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_wall.mutex);
        answer = m_wall.answers.answer(begun, call, act, after);
        m_wall.log.end(begun.serial, answer, m_wall.clock.now(), begun.action.type == Action::Reject);
    }
    m_wall.time.tell(after);
    if (begun.action.type == Action::Throw)
        std::rethrow_exception(answer.error);
    return answer.error ? Promise::reject(answer.error) : Promise::resolve(answer.result);
}

Promise Calls::uploadLater(PendingUpload pending)
{
    Promise promise([&](const QtPromise::QPromiseResolve<bool> &resolve, const QtPromise::QPromiseReject<bool> &reject) {
        pending.fulfil = [resolve](bool value) { resolve(value); };
        pending.reject = [reject](const std::exception_ptr &error) { reject(error); };
    });
    const bool inThread = pending.begun.inThread;
    const qint64 time = pending.begun.answerAt;
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_wall.mutex);
        const Begun &begun = pending.begun;
        if (Call *const recorded = m_wall.log.underway(begun.serial))
            recorded->settled = false;
        if (begun.action.type == Action::Never)
            m_wall.log.note(begun.serial, begun.action.note);
        const DeviceState *const device = m_wall.memory.device(pending.call.deviceKey);
        const bool isLost =
            begun.generation != m_wall.clock.generation() || (device && device->powerLosses != begun.powerLosses);
        // Without power already, it would have to get it back and lose it again.
        const bool isNever = begun.action.type == Action::Never && device && !device->plugged;
        if (isLost && !pending.isHeldByScript())
            m_wall.pending.reject(pending, powerLost, after);
        else if (isNever)
            m_wall.pending.reject(pending, unplugged, after);
        else
            m_wall.pending.add(std::move(pending));
    }
    m_wall.time.tell(after);
    m_wall.time.arm(time, inThread, true);
    return promise;
}

Begun Calls::begin(const Call &call, bool promise)
{
    Begun begun;
    const Abandoning abandoning(m_wall, begun.serial);
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_wall.mutex);
        Call timed = call;
        timed.time = m_wall.clock.now();
        begun.serial = m_wall.log.begin(timed);
        begun.action = choose(begun.serial, call, promise, after);
    }
    m_wall.time.tell(after);
    if (begun.action.run)
        begun.action.run(call);

    const std::lock_guard<std::mutex> lock(m_wall.mutex);
    begun.answerAt = m_wall.clock.now();
    DeviceState *const device = m_wall.memory.device(call.deviceKey);
    if (device && device->plugged) {
        const Timing &timing = device->timing;
        const auto jitters = static_cast<quint64>(timing.jitter * microseconds) + 1;
        const auto jitter = static_cast<qint64>(m_wall.memory.random.below(jitters));
        begun.answerAt = std::max(begun.answerAt, device->busyUntil) + transfer(timing, call.request)
                         + timing.latency * microseconds + jitter + begun.action.milliseconds * microseconds;
        device->busyUntil = begun.answerAt;
        begun.inThread = timing.settleInThread;
    }
    if (device)
        begun.powerLosses = device->powerLosses;
    begun.generation = m_wall.clock.generation();
    return begun;
}

Action Calls::choose(quint64 serial, const Call &call, bool promise, Aftermath &after)
{
    std::optional<Action> random = m_wall.chaos.draw(serial, call, promise, after);
    // Every call that a rule is meant for counts, whichever rule serves it.
    ScriptData *const script = m_wall.scripts.find(call, promise);
    ScriptData *fault = nullptr;
    if (DeviceState *const device = m_wall.memory.device(call.deviceKey)) {
        for (auto rule = device->rules.rbegin(); rule != device->rules.rend(); ++rule) {
            if (rule->matches(call, promise) && !fault && rule->isDue())
                fault = &*rule;
        }
    }
    return actionOf(script, fault, std::move(random), promise);
}

} // namespace Simulator

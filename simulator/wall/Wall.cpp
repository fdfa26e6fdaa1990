#include "Wall.h"

#include "WallBackend.h"
#include "faults/Personalities.h"

#include <algorithm>
#include <cstdlib>
#include <thread>
#include <utility>

namespace Simulator {

namespace {

constexpr qint64 microseconds = 1000;           ///< In a millisecond.
constexpr qint64 longestTime = qint64(1) << 50; ///< Milliseconds: sums of a few do not overflow.

const char *const powerLost = "the device lost its power meanwhile";

std::exception_ptr rejection(const char *reason)
{
    return std::make_exception_ptr(std::runtime_error(reason));
}

/// How long a device takes for a request or a reply.
qint64 transfer(const Timing &timing, const QVariant &value)
{
    return timing.bytesPerSecond > 0 ? charactersIn(value) * 1000 * microseconds / timing.bytesPerSecond : 0;
}

/// So that a process which ends leaves no lock file behind.
void closeAtExit()
{
    static const int registered = std::atexit([] { Wall::instance().close(); });
    Q_UNUSED(registered)
}

qint64 momentOf(const Event &event)
{
    return qBound<qint64>(0, event.at, longestTime) * microseconds;
}

/// Needs a promise.
bool isForPromises(Action::Type type)
{
    return type == Action::Later || type == Action::Reject || type == Action::Never;
}

} // namespace

Wall &Wall::instance()
{
    return *VirtualWall::instance().d;
}

// Calls

Wall::Abandoning::~Abandoning()
{
    if (std::uncaught_exceptions() > m_exceptions) {
        const std::lock_guard<std::mutex> lock(m_wall.m_mutex);
        m_wall.m_log.abandon(m_serial);
    }
}

Answer Wall::serve(const Call &call, const Act &act)
{
    if (const std::optional<Answer> replayed = serveReplayed(call))
        return *replayed;
    happenUntilNow();
    const Begun begun = begin(call, false);
    const Abandoning abandoning(*this, begun.serial);
    passTo(begun.answerAt);
    Answer answer;
    Aftermath after;
    qint64 answered = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        answer = answerLocked(begun, call, act, after);
        answered = m_clock.now();
        if (DeviceState *const device = m_state.device(call.deviceKey)) {
            const qint64 time = transfer(device->timing, answer.reply);
            device->busyUntil += time;
            answered += time;
        }
    }
    tell(after);
    if (!answer.error && answer.result && begun.action.editReply)
        begun.action.editReply(answer.reply);
    passTo(answered);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const DeviceState *const device = m_state.device(call.deviceKey);
        if (begun.action.type == Action::Wall && answer.result && device && device->powerLosses != begun.powerLosses) {
            answer = {false, {}, {}};
            noteLocked(begun.serial, QLatin1String(powerLost));
        }
        recordLocked(begun.serial, answer);
    }
    if (answer.error)
        std::rethrow_exception(answer.error);
    return answer;
}

QtPromise::QPromise<bool> Wall::upload(const Call &call, const Act &act)
{
    using Promise = QtPromise::QPromise<bool>;
    if (const std::optional<Promise> replayed = uploadReplayed(call))
        return *replayed;
    happenUntilNow();
    Pending pending;
    pending.begun = begin(call, true);
    const Abandoning abandoning(*this, pending.begun.serial);
    pending.call = call;
    pending.act = act;
    const Begun &begun = pending.begun;
    const bool isHeld = begun.action.type == Action::Later || begun.action.type == Action::Never;
    if (begun.action.type == Action::Throw || (!isHeld && !begun.inThread && begun.answerAt <= now())) {
        Answer answer;
        Aftermath after;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            answer = answerLocked(begun, call, act, after);
            recordLocked(begun.serial, answer, begun.action.type == Action::Reject);
        }
        tell(after);
        if (begun.action.type == Action::Throw)
            std::rethrow_exception(answer.error);
        return answer.error ? Promise::reject(answer.error) : Promise::resolve(answer.result);
    }
    if (!isHeld)
        pending.due = begun.answerAt;
    Promise promise([&](const QtPromise::QPromiseResolve<bool> &resolve, const QtPromise::QPromiseReject<bool> &reject) {
        pending.fulfil = [resolve](bool value) { resolve(value); };
        pending.reject = [reject](const std::exception_ptr &error) { reject(error); };
    });
    const bool inThread = begun.inThread;
    const qint64 time = begun.answerAt;
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (Call *const recorded = m_log.underway(begun.serial))
            recorded->settled = false;
        if (begun.action.type == Action::Never)
            noteLocked(begun.serial, begun.action.note);
        const DeviceState *const device = m_state.device(call.deviceKey);
        const bool isLost = begun.life != m_life || (device && device->powerLosses != begun.powerLosses);
        if (isLost && !pending.isHeldByScript()) {
            rejectLocked(pending, powerLost, after);
        } else {
            m_pending.push_back(std::move(pending));
            m_pendingAdded.notify_all();
        }
    }
    tell(after);
    arm(time, inThread, true);
    return promise;
}

Wall::Begun Wall::begin(const Call &call, bool promise)
{
    Begun begun;
    const Abandoning abandoning(*this, begun.serial);
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Call timed = call;
        timed.time = m_clock.now();
        begun.serial = m_log.begin(timed);
        begun.action = actionLocked(call, promise, chaosLocked(begun.serial, call, promise, after));
    }
    tell(after);
    if (begun.action.run)
        begun.action.run(call);

    const std::lock_guard<std::mutex> lock(m_mutex);
    begun.answerAt = m_clock.now();
    DeviceState *const device = m_state.device(call.deviceKey);
    if (device && device->plugged) {
        const Timing &timing = device->timing;
        const auto jitter = static_cast<qint64>(m_random.below(static_cast<quint64>(timing.jitter * microseconds) + 1));
        begun.answerAt = std::max(begun.answerAt, device->busyUntil) + transfer(timing, call.request)
                         + timing.latency * microseconds + jitter + begun.action.milliseconds * microseconds;
        device->busyUntil = begun.answerAt;
        begun.inThread = timing.settleInThread;
    }
    if (device)
        begun.powerLosses = device->powerLosses;
    begun.life = m_life;
    return begun;
}

Action Wall::actionLocked(const Call &call, bool promise, std::optional<Action> drawn)
{
    // Every call that a rule is meant for counts, whichever rule serves it.
    ScriptData *script = nullptr;
    for (const std::unique_ptr<Script> &each : m_scripts) {
        if (each->d->matches(call, promise) && !script && each->d->isDue())
            script = each->d.get();
    }
    ScriptData *fault = nullptr;
    if (DeviceState *const device = m_state.device(call.deviceKey)) {
        for (auto rule = device->rules.rbegin(); rule != device->rules.rend(); ++rule) {
            if (rule->matches(call, promise) && !fault && rule->isDue())
                fault = &*rule;
        }
    }

    Action action;
    if (script) {
        ++script->served;
        action = script->action;
    }
    if (action.type == Action::Wall) {
        const Action scripted = std::move(action);
        action = Action();
        if (drawn) {
            action = *drawn;
        } else if (fault) {
            ++fault->served;
            action = fault->action;
        }
        action.run = scripted.run;
        action.editReply = scripted.editReply;
        if (scripted.headers)
            action.headers = scripted.headers;
    }
    if (!promise && isForPromises(action.type)) {
        action.type = Action::False;
        if (action.note.isEmpty())
            action.note = QStringLiteral("the script needs an operation with a promise");
    }
    return action;
}

std::optional<Action> Wall::chaosLocked(quint64 serial, const Call &call, bool promise, Aftermath &after)
{
    constexpr quint64 parts = quint64(1) << 53; // as many as a double tells apart
    if (!(m_state.chaos > 0.0) || m_random.below(parts) >= static_cast<quint64>(qMin(m_state.chaos, 1.0) * double(parts)))
        return std::nullopt;

    // What may happen to this call, then what may happen to a device before it.
    QVector<Fault::Type> faults;
    if (m_state.device(call.deviceKey)) {
        faults = {Fault::NoAnswer,  Fault::LateAnswer,  Fault::TruncateReply, Fault::ShuffleReply, Fault::MissingKey,
                  Fault::WrongType, Fault::DirtyBase64, Fault::Status,        Fault::Vanish,       Fault::Restart};
        if (isUpload(call))
            faults += Fault::RejectUpload;
        if (promise)
            faults += Fault::NeverSettle;
    }
    constexpr std::array<Event::Type, 4> events{Event::Unplug, Event::Plug, Event::Rename, Event::Restart};
    const auto drawn = static_cast<int>(m_random.below(static_cast<quint64>(faults.size()) + events.size()));
    const auto milliseconds = [&] { return 1 + static_cast<int>(m_random.below(5000)); };
    if (drawn < faults.size()) {
        Fault fault;
        fault.type = faults[drawn];
        fault.milliseconds = milliseconds();
        const char *const statuses[] = {"404", "500", "503"};
        fault.status = QString::fromLatin1(statuses[m_random.below(3)]);
        Action action = ruleOf(fault, QStringLiteral("chaos")).action;
        // Nobody plugs in by hand what chaos unplugged, nor unplugs what would hang for ever.
        action.backAfter = milliseconds();
        if (fault.type == Fault::NeverSettle) {
            const int unplugged = milliseconds();
            addChaosLocked(Event::Unplug, call.deviceKey, unplugged, after);
            addChaosLocked(Event::Plug, call.deviceKey, unplugged + *action.backAfter, after);
        }
        return action;
    }

    if (m_state.devices.isEmpty())
        return std::nullopt;
    Event event;
    event.type = events[static_cast<std::size_t>(drawn - faults.size())];
    event.deviceKey =
        m_state.devices[static_cast<int>(m_random.below(static_cast<quint64>(m_state.devices.size())))].description.key;
    event.name = QStringLiteral("Screen %1").arg(m_random.below(100));
    if (happenLocked(event, after)) {
        if (event.type == Event::Unplug)
            addChaosLocked(Event::Plug, event.deviceKey, milliseconds(), after);
        const char *const what[] = {"unplugged", "plugged", "renamed", "restarted"};
        noteLocked(serial, QStringLiteral("chaos: %1 %2 before").arg(event.deviceKey, QLatin1String(what[event.type])));
    }
    return std::nullopt;
}

void Wall::addChaosLocked(Event::Type type, const QString &deviceKey, int milliseconds, Aftermath &after)
{
    Event event;
    event.type = type;
    event.deviceKey = deviceKey;
    const qint64 time = m_clock.now() + milliseconds * microseconds;
    m_events.emplace(time, event);
    after.events += time;
}

Answer Wall::answerLocked(const Begun &begun, const Call &call, const Act &act, Aftermath &after)
{
    const Action &action = begun.action;
    Answer answer;
    bool tellsNote = !action.note.isEmpty();
    switch (action.type) {
    case Action::Wall:
        if (isLostLocked(begun, call)) {
            noteLocked(begun.serial, QLatin1String(powerLost));
            answer.result = false;
            break;
        }
        answer = performLocked(begun.serial, call, act);
        if (action.spoil)
            tellsNote = answer.result && action.spoil(answer.reply, m_random);
        break;
    case Action::True:
        answer.reply = action.reply;
        break;
    case Action::Resolve:
        answer.result = action.value;
        break;
    case Action::False:
        answer = {false, action.reply, {}};
        break;
    case Action::Reject:
        answer = {false, {}, {}, action.error};
        if (action.note.isEmpty())
            noteLocked(begun.serial, QStringLiteral("rejected"));
        break;
    case Action::Throw:
        answer = {false, {}, {}, action.error};
        noteLocked(begun.serial, QStringLiteral("thrown"));
        break;
    case Action::Vanish:
    case Action::Restart: {
        Event event;
        event.type = action.type == Action::Vanish ? Event::Unplug : Event::Restart;
        event.deviceKey = call.deviceKey;
        tellsNote = happenLocked(event, after);
        if (tellsNote && event.type == Event::Unplug && action.backAfter)
            addChaosLocked(Event::Plug, call.deviceKey, *action.backAfter, after);
        answer.result = false;
        break;
    }
    case Action::Later: // held, and settled by hand
    case Action::Never:
        answer.result = false;
        break;
    }
    if (action.headers)
        answer.headers = *action.headers;
    else if (action.type == Action::True)
        answer.headers = okHeaders();
    if (tellsNote)
        noteLocked(begun.serial, action.note);
    return answer;
}

bool Wall::isLostLocked(const Begun &begun, const Call &call) const
{
    const DeviceState *const device = m_state.device(call.deviceKey);
    return device && device->plugged && (begun.life != m_life || device->powerLosses != begun.powerLosses);
}

Answer Wall::performLocked(quint64 serial, const Call &call, const Act &act)
{
    DeviceState *const device = m_state.device(call.deviceKey);
    try {
        if (!device && !call.deviceKey.isNull())
            throw Refusal{QStringLiteral("unknown device"), {}};
        if (device && !device->plugged)
            throw Refusal{QStringLiteral("the device is unplugged"), {}};
        if (isUpload(call)) // changes nothing that lasts, and is too frequent to be compared
            return act(m_state, device, call);
        return savedLocked(device, [&] { return act(m_state, device, call); });
    } catch (const Refusal &refusal) {
        noteLocked(serial, refusal.reason);
        return {false, {}, refusal.headers};
    }
}

// Journal

void Wall::recordLocked(quint64 serial, const Answer &answer, bool rejected)
{
    if (Call *const call = m_log.underway(serial)) {
        call->result = answer.result;
        call->reply = answer.reply;
        call->headers = answer.headers;
        call->duration = std::max<qint64>(0, m_clock.now() - call->time); // setWall() begins time anew
        call->settled = true;
        call->rejected = rejected;
        m_log.end(serial);
    }
}

void Wall::noteLocked(quint64 serial, const QString &text)
{
    if (Call *const call = m_log.underway(serial))
        addNote(*call, text);
}

QList<Call> Wall::calls() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_log.calls();
}

void Wall::clearCalls()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_log.clear();
}

void Wall::setJournalLimit(int limit)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_log.setLimit(limit);
}

bool Wall::recordTo(const QString &path, QString *error)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_log.recordTo(path, error);
}

// The wall as a whole

void Wall::reset()
{
    std::list<std::unique_ptr<Script>> scripts; // Hooks are released without the lock.
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        beginLifeLocked("the wall was reset", true, after);
        m_state = WallState();
        endReplayLocked("the wall was reset", after);
        m_replayPatience = defaultReplayPatience;
        m_log.reset();
        m_directory.reset();
        m_clock.setMode(VirtualWall::RealTime);
        m_random = Random(m_state.seed);
        scripts.swap(m_scripts);
    }
    tell(after);
}

void Wall::setWall(const WallDescription &wall)
{
    QList<DeviceState> devices;
    for (const Device &device : wall.devices)
        devices += DeviceState(device);
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        setUpLocked(wall, devices, after);
        m_directory.reset();
    }
    tell(after);
}

void Wall::setUpLocked(const WallDescription &wall, const QList<DeviceState> &devices, Aftermath &after)
{
    // Whatever fails comes first: a wall that is another one only in part must not be saved.
    WallState state;
    state.title = wall.title;
    state.seed = wall.seed;
    state.chaos = wall.chaos;
    state.replyBlockHeight = wall.replyBlockHeight;
    state.defaultPixels = wall.defaultPixels;
    state.devices = devices;
    std::multimap<qint64, Event> events;
    for (const Event &event : wall.events) {
        state.events += event;
        events.emplace(momentOf(event), event);
        after.events += momentOf(event);
    }
    beginLifeLocked("the wall was set up anew", false, after);
    m_state = std::move(state);
    m_events.swap(events);
    m_random = Random(wall.seed);
    after.devicesChanged = true;
}

void Wall::setDevices(const QList<Device> &devices)
{
    QList<DeviceState> states;
    for (const Device &device : devices)
        states += DeviceState(device);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_directory.reset();
    m_state.devices.swap(states);
}

void Wall::addDevice(const Device &device)
{
    DeviceState state(device);
    const std::lock_guard<std::mutex> lock(m_mutex);
    DeviceState *const known = m_state.device(device.key);
    if (!known)
        m_state.devices += state;
    if (m_directory)
        m_directory->release(device.key);
    if (known)
        *known = std::move(state);
}

WallDescription Wall::description() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    WallDescription wall;
    wall.title = m_state.title;
    wall.seed = m_state.seed;
    wall.chaos = m_state.chaos;
    wall.replyBlockHeight = m_state.replyBlockHeight;
    wall.defaultPixels = m_state.defaultPixels;
    wall.events = m_state.events;
    for (const DeviceState &device : m_state.devices)
        wall.devices += device.description;
    return wall;
}

void Wall::beginLifeLocked(const char *reason, bool rejectsHeld, Aftermath &after)
{
    ++m_life;
    m_events.clear();
    for (auto upload = m_pending.begin(); upload != m_pending.end();) {
        if (upload->isHeldByScript() && !rejectsHeld) {
            ++upload;
            continue;
        }
        rejectLocked(*upload, reason, after);
        upload = m_pending.erase(upload);
    }
    m_clock.restart();
}

// The directory

bool Wall::create(const QString &directory, const WallDescription &wall, QString *error)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        closeAtExit();
        QList<DeviceState> devices;
        for (const Device &device : wall.devices) {
            devices += DeviceState(device);
            devices.last().powerUp();
        }
        std::unique_ptr<WallDirectory> made = WallDirectory::create(directory, wall, error);
        if (!made)
            return false;
        setUpLocked(wall, devices, after);
        m_directory = std::move(made);
    }
    tell(after);
    return true;
}

bool Wall::open(const QString &directory, QString *error)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        closeAtExit();
        WallDescription wall;
        QList<DeviceState> devices;
        std::unique_ptr<WallDirectory> opened = WallDirectory::open(directory, m_directory.get(), wall, devices, error);
        if (!opened)
            return false;
        setUpLocked(wall, devices, after);
        m_directory = std::move(opened);
        m_directory->tidy();
    }
    tell(after);
    return true;
}

void Wall::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_directory.reset();
}

QString Wall::directory() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_directory ? m_directory->path() : QString();
}

void Wall::setSeed(quint64 seed)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_state.seed = seed;
    m_random = Random(seed);
}

// Events

void Wall::schedule(const Event &event)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        addEventLocked(event, after);
    }
    tell(after);
}

void Wall::addEventLocked(const Event &event, Aftermath &after)
{
    const qint64 time = momentOf(event);
    m_state.events += event;
    m_events.emplace(time, event);
    after.events += time;
}

bool Wall::happen(const Event &event)
{
    happenUntilNow();
    Aftermath after;
    bool happened = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        happened = happenLocked(event, after);
    }
    tell(after);
    return happened;
}

bool Wall::happenLocked(const Event &event, Aftermath &after)
{
    DeviceState *const device = m_state.device(event.deviceKey);
    if (!device)
        return false;
    const auto powerUp = [device] {
        device->powerUp();
        return true;
    };
    const auto rename = [device, &event] {
        device->description.screenName = event.name;
        return true;
    };
    switch (event.type) {
    case Event::Unplug:
        if (!device->plugged)
            return false;
        device->plugged = false;
        losePowerLocked(*device, "the device was unplugged", after);
        after.devicesChanged = true;
        return true;
    case Event::Plug:
        if (device->plugged)
            return false;
        if (!changeLocked(*device, powerUp))
            return false;
        device->plugged = true;
        after.devicesChanged = true;
        return true;
    case Event::Rename:
        if (!changeLocked(*device, rename))
            return false;
        after.renamed += qMakePair(event.deviceKey, event.name);
        return true;
    case Event::Restart:
        if (!device->plugged)
            return false;
        if (!changeLocked(*device, powerUp))
            return false;
        losePowerLocked(*device, "the device restarted", after);
        return true;
    case Event::AddFault:
        device->description.faults += event.fault;
        device->rules.push_back(ruleOf(event.fault));
        return true;
    case Event::ClearFaults:
        device->description.faults.clear();
        device->rules = rulesOf(device->description);
        return true;
    }
    return false;
}

void Wall::losePowerLocked(DeviceState &device, const char *reason, Aftermath &after)
{
    ++device.powerLosses;
    device.busyUntil = 0;
    for (auto upload = m_pending.begin(); upload != m_pending.end();) {
        if (upload->call.deviceKey != device.description.key || upload->isHeldByScript()) {
            ++upload;
            continue;
        }
        rejectLocked(*upload, reason, after);
        upload = m_pending.erase(upload);
    }
}

// Time

void Wall::setClock(VirtualWall::Clock mode)
{
    Aftermath after;
    std::vector<std::pair<qint64, bool>> uploads;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_clock.setMode(mode);
        for (const auto &event : m_events)
            after.events += event.first;
        for (const Pending &upload : m_pending) {
            if (!upload.isHeldByScript())
                uploads.emplace_back(upload.due.value_or(m_clock.now()), upload.begun.inThread);
        }
    }
    tell(after);
    for (const auto &[due, inThread] : uploads)
        arm(due, inThread, true);
}

qint64 Wall::now() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_clock.now();
}

void Wall::advance(qint64 milliseconds)
{
    constexpr qint64 end = 4 * longestTime * microseconds; // of time: no step leads beyond it
    passTo(std::min(now() + qBound<qint64>(0, milliseconds, longestTime) * microseconds, end));
    happenUntilNow();
}

std::optional<qint64> Wall::nextLocked() const
{
    std::optional<qint64> next;
    if (!m_events.empty())
        next = m_events.begin()->first;
    for (const Pending &upload : m_pending) {
        if (upload.due && (!next || *upload.due < *next))
            next = upload.due;
    }
    return next;
}

bool Wall::stepLocked(qint64 time, Aftermath &after)
{
    const std::optional<qint64> next = nextLocked();
    if (!next || *next > time)
        return false;
    m_clock.reach(*next);
    const auto event = m_events.begin();
    if (event != m_events.end() && event->first == *next) {
        const Event happening = event->second;
        m_events.erase(event);
        happenLocked(happening, after);
        return true;
    }
    const auto it = std::find_if(m_pending.begin(), m_pending.end(), [&](const Pending &each) { return each.due == next; });
    const Pending upload = std::move(*it);
    m_pending.erase(it);
    settleLocked(upload, answerLocked(upload.begun, upload.call, upload.act, after), after);
    return true;
}

void Wall::happenUntil(qint64 time)
{
    std::optional<quint64> life;
    for (;;) {
        Aftermath after;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (life.value_or(m_life) != m_life || !stepLocked(time, after))
                return;
            life = m_life;
        }
        tell(after);
    }
}

void Wall::happenUntilNow()
{
    happenUntil(now());
}

void Wall::passTo(qint64 time)
{
    std::optional<quint64> life;
    for (;;) {
        qint64 sleep = 0;
        qint64 until = time;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_clock.now() >= time || life.value_or(m_life) != m_life)
                return;
            life = m_life;
            if (m_clock.isReal()) {
                until = std::min(time, nextLocked().value_or(time));
                sleep = until - m_clock.now();
            }
        }
        if (sleep > 0)
            std::this_thread::sleep_for(std::chrono::microseconds(sleep));
        happenUntil(until);
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (*life == m_life)
            m_clock.reach(until);
    }
}

bool Wall::isWaitingLocked() const
{
    return std::any_of(m_pending.begin(), m_pending.end(), [](const Pending &each) { return !each.isHeldByScript(); });
}

std::optional<int> Wall::wake(const WakeUp &wakeUp)
{
    const auto target = [&]() -> std::optional<qint64> {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (wakeUp.life != m_life || m_clock.mode() == VirtualWall::Stepped)
            return std::nullopt;
        if (m_clock.isReal())
            return m_clock.now();
        return isWaitingLocked() && !isWallThread() ? nextLocked() : std::nullopt;
    };
    const std::optional<qint64> time = target();
    if (!time)
        return std::nullopt;
    happenUntil(*time);

    const std::lock_guard<std::mutex> lock(m_mutex);
    if (wakeUp.life != m_life || m_clock.mode() == VirtualWall::Stepped)
        return std::nullopt;
    if (!m_clock.isReal())
        return isWaitingLocked() && nextLocked() ? std::optional<int>(0) : std::nullopt;
    const int more = millisecondsUntilLocked(wakeUp.time);
    return more > 0 ? std::optional<int>(more) : std::nullopt;
}

int Wall::millisecondsUntil(qint64 time) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return millisecondsUntilLocked(time);
}

int Wall::millisecondsUntilLocked(qint64 time) const
{
    constexpr qint64 longest = 1000 * 60 * 60; // wakes up to look again
    const qint64 rest = time - m_clock.now();
    return rest <= 0 ? 0 : static_cast<int>(std::min(longest, (rest + microseconds - 1) / microseconds));
}

void Wall::arm(qint64 time, bool inThread, bool isUpload)
{
    WakeUp wakeUp{0, time};
    VirtualWall::Clock mode = VirtualWall::RealTime;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        wakeUp.life = m_life;
        mode = m_clock.mode();
        if (mode == VirtualWall::Stepped || (mode == VirtualWall::Skipping && !isWaitingLocked()))
            return;
    }
    // A thread of the wall has no event loop that anybody runs.
    if ((inThread || isWallThread()) && mode == VirtualWall::RealTime)
        wakeByThread(wakeUp);
    else if (!wakeByEventLoop(wakeUp, mode) && isUpload && mode == VirtualWall::RealTime)
        wakeByThread(wakeUp);
}

void Wall::tell(const Aftermath &after)
{
    for (const std::function<void()> &settle : after.settle)
        settle();
    for (const qint64 time : after.events)
        arm(time, false, false);
    for (const auto &name : after.renamed)
        Q_EMIT WallBackend::instance().screenRenamed(name.first, name.second);
    if (after.devicesChanged)
        Q_EMIT WallBackend::instance().devicesChanged();
}

// Pending uploads

QStringList Wall::pendingDevices() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QStringList keys;
    for (const Pending &upload : m_pending)
        keys += upload.call.deviceKey;
    return keys;
}

bool Wall::waitForPending(int count, std::chrono::milliseconds time) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_pendingAdded.wait_for(lock, time,
                                   [&] { return m_pending.size() >= static_cast<std::size_t>(std::max(count, 0)); });
}

void Wall::settleLocked(const Pending &upload, const Answer &answer, Aftermath &after)
{
    recordLocked(upload.serial(), answer, bool(answer.error));
    std::function<void()> settle = [fulfil = upload.fulfil, value = answer.result] { fulfil(value); };
    if (answer.error)
        settle = [reject = upload.reject, error = answer.error] { reject(error); };
    if (!upload.begun.inThread) {
        after.settle.push_back(settle);
        return;
    }
    after.settle.push_back([settle] {
        if (isWallThread())
            settle();
        else
            runInWallThread(settle);
    });
}

void Wall::rejectLocked(const Pending &upload, const char *reason, Aftermath &after)
{
    noteLocked(upload.serial(), QLatin1String(reason));
    settleLocked(upload, {false, {}, {}, rejection(reason)}, after);
}

bool Wall::settleByHand(const QString &deviceKey, std::optional<bool> value)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = std::find_if(m_pending.begin(), m_pending.end(),
                                     [&](const Pending &upload) { return upload.call.deviceKey == deviceKey; });
        if (it == m_pending.end())
            return false;
        const Pending upload = std::move(*it);
        m_pending.erase(it);
        Answer answer{value.value_or(false), {}, {}};
        if (value) {
            if (*value)
                performLocked(upload.serial(), upload.call, upload.act);
        } else {
            noteLocked(upload.serial(), QStringLiteral("rejected"));
            answer.error = rejection("the upload was rejected");
        }
        settleLocked(upload, answer, after);
    }
    tell(after);
    return true;
}

// Scripts

Script &Wall::on(const QString &operation, const QString &deviceKey, const QString &target)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_scripts.push_front(std::unique_ptr<Script>(new Script(m_mutex, operation, deviceKey, target)));
    return *m_scripts.front();
}

void Wall::clearScripts()
{
    std::list<std::unique_ptr<Script>> scripts;
    const std::lock_guard<std::mutex> lock(m_mutex);
    scripts.swap(m_scripts);
}

} // namespace Simulator

#include "Wall.h"

#include <algorithm>
#include <utility>

namespace Simulator {

namespace {

bool matches(const QString &pattern, const QString &text)
{
    return pattern.isNull() || pattern == text;
}

std::exception_ptr rejection(const char *reason)
{
    return std::make_exception_ptr(std::runtime_error(reason));
}

} // namespace

Wall &Wall::instance()
{
    return *VirtualWall::instance().d;
}

Answer Wall::serve(const Call &call, const Act &act)
{
    return answer(begin(call), call, act);
}

QtPromise::QPromise<bool> Wall::upload(const Call &call, const Act &act)
{
    using Promise = QtPromise::QPromise<bool>;
    const Begun begun = begin(call);
    switch (begun.action.type) {
    case Action::Later:
        return Promise([&](const QtPromise::QPromiseResolve<bool> &resolve, const QtPromise::QPromiseReject<bool> &reject) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_pending.push_back({begun.serial, call, act, [resolve](bool value) { resolve(value); },
                                 [reject](const std::exception_ptr &error) { reject(error); }});
            m_pendingAdded.notify_all();
        });
    case Action::Reject:
        addNote(begun.serial, QStringLiteral("rejected"));
        return Promise::reject(begun.action.error);
    case Action::Wall:
    case Action::False:
    case Action::True:
    case Action::Resolve:
    case Action::Throw:
        break;
    }
    return Promise::resolve(answer(begun, call, act).result);
}

Wall::Begun Wall::begin(const Call &call)
{
    Begun begun;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        begun.serial = ++m_lastSerial;
        m_journal.push_back({begun.serial, call});
        if (m_journalLimit >= 0 && m_journal.size() > static_cast<std::size_t>(m_journalLimit))
            m_journal.pop_front();

        ScriptData *winner = nullptr;
        for (const std::unique_ptr<Script> &script : m_scripts) {
            ScriptData &data = *script->d;
            if (!matches(data.operation, call.operation) || !matches(data.deviceKey, call.deviceKey)
                || !matches(data.target, call.target))
                continue;
            ++data.seen;
            if (!winner && data.seen > data.skip && (data.limit < 0 || data.served < data.limit))
                winner = &data;
        }
        if (winner) {
            ++winner->served;
            begun.action = winner->action;
        }
    }
    if (begun.action.run)
        begun.action.run(call);
    return begun;
}

Answer Wall::answer(const Begun &begun, const Call &call, const Act &act)
{
    const Action &action = begun.action;
    Answer answer;
    switch (action.type) {
    case Action::Wall:
        answer = perform(begun.serial, call, act);
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
    case Action::Later:
    case Action::Reject:
        answer.result = false;
        addNote(begun.serial, QStringLiteral("the script needs an operation with a promise"));
        break;
    case Action::Throw:
        addNote(begun.serial, QStringLiteral("thrown"));
        std::rethrow_exception(action.error);
    }
    if (action.headers)
        answer.headers = *action.headers;
    else if (action.type == Action::True)
        answer.headers = okHeaders();
    if (answer.result && action.editReply)
        action.editReply(answer.reply);
    record(begun.serial, answer);
    return answer;
}

Answer Wall::perform(quint64 serial, const Call &call, const Act &act)
{
    QString reason;
    QMap<QString, QString> headers;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        DeviceState *const device = m_state.device(call.deviceKey);
        try {
            if (!device && !call.deviceKey.isNull())
                throw Refusal{QStringLiteral("unknown device"), {}};
            return act(m_state, device, call);
        } catch (const Refusal &refusal) {
            reason = refusal.reason;
            headers = refusal.headers;
        }
    }
    addNote(serial, reason);
    return {false, {}, headers};
}

void Wall::record(quint64 serial, const Answer &answer)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (Call *const call = recorded(serial)) {
        call->result = answer.result;
        call->reply = answer.reply;
    }
}

void Wall::addNote(quint64 serial, const QString &text)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (Call *const call = recorded(serial))
        call->note += call->note.isEmpty() ? text : QStringLiteral("; ") + text;
}

Call *Wall::recorded(quint64 serial)
{
    // The journal's serials are consecutive.
    if (m_journal.empty() || serial < m_journal.front().serial || serial > m_journal.back().serial)
        return nullptr;
    return &m_journal[static_cast<std::size_t>(serial - m_journal.front().serial)].call;
}

void Wall::reset()
{
    std::list<Pending> pending;
    std::list<std::unique_ptr<Script>> scripts; // Hooks are released without the lock.
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_state = WallState();
        m_journal.clear();
        m_journalLimit = -1;
        scripts.swap(m_scripts);
        pending.swap(m_pending);
    }
    for (const Pending &upload : pending)
        upload.reject(rejection("the wall was reset"));
}

Script &Wall::on(const QString &operation, const QString &deviceKey, const QString &target)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_scripts.push_front(std::unique_ptr<Script>(new Script(*this, operation, deviceKey, target)));
    return *m_scripts.front();
}

void Wall::clearScripts()
{
    std::list<std::unique_ptr<Script>> scripts;
    const std::lock_guard<std::mutex> lock(m_mutex);
    scripts.swap(m_scripts);
}

QList<Call> Wall::calls() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QList<Call> calls;
    for (const Entry &entry : m_journal)
        calls += entry.call;
    return calls;
}

void Wall::clearCalls()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_journal.clear();
}

void Wall::setJournalLimit(int limit)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_journalLimit = limit;
    while (limit >= 0 && m_journal.size() > static_cast<std::size_t>(limit))
        m_journal.pop_front();
}

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

std::optional<Wall::Pending> Wall::takePending(const QString &deviceKey)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = std::find_if(m_pending.begin(), m_pending.end(),
                                 [&](const Pending &upload) { return upload.call.deviceKey == deviceKey; });
    if (it == m_pending.end())
        return std::nullopt;
    std::optional<Pending> upload(std::move(*it));
    m_pending.erase(it);
    return upload;
}

bool Wall::fulfil(const QString &deviceKey, bool value)
{
    const std::optional<Pending> upload = takePending(deviceKey);
    if (!upload)
        return false;
    if (value)
        perform(upload->serial, upload->call, upload->act);
    record(upload->serial, {value, {}, {}});
    upload->fulfil(value);
    return true;
}

bool Wall::reject(const QString &deviceKey)
{
    const std::optional<Pending> upload = takePending(deviceKey);
    if (!upload)
        return false;
    addNote(upload->serial, QStringLiteral("rejected"));
    upload->reject(rejection("the upload was rejected"));
    return true;
}

// Scripts

Script::Script(Wall &wall, const QString &operation, const QString &deviceKey, const QString &target)
    : m_wall(wall), d(std::make_unique<ScriptData>())
{
    d->operation = operation;
    d->deviceKey = deviceKey;
    d->target = target;
}

Script::~Script() = default;

template <typename Change>
Script &Script::change(Change change)
{
    m_wall.changeScript([&] { change(*d); });
    return *this;
}

Script &Script::times(int count)
{
    return change([&](ScriptData &data) { data.limit = count; });
}

Script &Script::after(int count)
{
    return change([&](ScriptData &data) { data.skip = count; });
}

Script &Script::answerFalse()
{
    return answerFalseWith(QVariant());
}

Script &Script::answer(const QVariant &reply)
{
    return change([&](ScriptData &data) {
        data.action.type = Action::True;
        data.action.reply = reply;
    });
}

Script &Script::answerFalseWith(const QVariant &reply)
{
    return change([&](ScriptData &data) {
        data.action.type = Action::False;
        data.action.reply = reply;
    });
}

Script &Script::responseHeader(const QMap<QString, QString> &headers)
{
    return change([&](ScriptData &data) { data.action.headers = headers; });
}

Script &Script::settleLater()
{
    return change([](ScriptData &data) { data.action.type = Action::Later; });
}

Script &Script::resolveWith(bool value)
{
    return change([&](ScriptData &data) {
        data.action.type = Action::Resolve;
        data.action.value = value;
    });
}

Script &Script::reject()
{
    return rejectWith(rejection("the upload was rejected"));
}

Script &Script::rejectWith(std::exception_ptr error)
{
    return change([&](ScriptData &data) {
        data.action.type = Action::Reject;
        data.action.error = error;
    });
}

Script &Script::throwException(std::exception_ptr error)
{
    return change([&](ScriptData &data) {
        data.action.type = Action::Throw;
        data.action.error = error;
    });
}

Script &Script::run(std::function<void(const Call &)> hook)
{
    return change([&](ScriptData &data) { data.action.run.swap(hook); });
}

Script &Script::editReply(std::function<void(QVariant &)> hook)
{
    return change([&](ScriptData &data) { data.action.editReply.swap(hook); });
}

} // namespace Simulator

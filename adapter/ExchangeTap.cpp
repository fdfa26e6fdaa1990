#include <adapter/ExchangeTap.h>

#include "Logging.h"

#include <adapter/Operations.h>
#include <values/Nesting.h>

#include <chrono>
#include <exception>
#include <map>
#include <mutex>
#include <utility>

namespace Adapter {

struct ExchangeTap::State {
    explicit State(Observer function) : observer(std::move(function)) {}

    qint64 now() const
    {
        return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count();
    }
    qint64 begin(Call call);
    void end(qint64 number, const Answer &answer, const QString &note = QString(), bool rejected = false);
    void stop();
    /// Returns what `pass` returns. What it throws ends the call.
    template <typename Pass>
    auto forward(qint64 number, Pass pass);

    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::mutex mutex;
    Observer observer; ///< Empty once it has stopped.
    qint64 last = 0;
    std::map<qint64, Call> underway; ///< By number.
};

namespace {

void addNote(QString &notes, const QString &note)
{
    if (!note.isEmpty())
        notes += notes.isEmpty() ? note : QStringLiteral("; ") + note;
}

} // namespace

qint64 ExchangeTap::State::begin(Call call)
{
    const std::lock_guard<std::mutex> lock(mutex);
    call.number = ++last;
    call.time = now();
    const qint64 number = call.number;
    underway.emplace(number, std::move(call));
    return number;
}

void ExchangeTap::State::end(qint64 number, const Answer &answer, const QString &note, bool rejected)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto it = underway.find(number);
    if (it == underway.end())
        return; // stop() has passed it to the observer
    Call call = it->second;
    underway.erase(it);
    call.result = answer.result;
    call.reply = answer.reply;
    call.headers = answer.headers;
    call.duration = now() - call.time;
    call.rejected = rejected;
    addNote(call.note, answer.note);
    addNote(call.note, note);
    if (observer)
        observer(call);
}

void ExchangeTap::State::stop()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (observer) {
        for (auto &entry : underway) {
            entry.second.settled = false;
            observer(entry.second);
        }
    }
    underway.clear();
    observer = nullptr;
}

namespace {

QString reasonOf(const std::exception_ptr &error)
{
    try {
        std::rethrow_exception(error);
    } catch (const std::exception &exception) {
        return QString::fromLocal8Bit(exception.what());
    } catch (...) {
        return QStringLiteral("unknown exception");
    }
}

/// The answer as the observer gets it. One warning line where that is not all of it.
Answer observed(const Answer &answer, const Call &call)
{
    Answer limited = answer;
    if (Nesting::limit(limited.reply)) {
        addNote(limited.note, Nesting::limitNote());
        qCWarning(lcAdapter).noquote() << QStringLiteral(
                                              "%1: device %2: reply nested deeper than %3 levels: the rest is not recorded")
                                              .arg(call.operation, call.deviceKey)
                                              .arg(Nesting::deepest);
    }
    return limited;
}

} // namespace

template <typename Pass>
auto ExchangeTap::State::forward(qint64 number, Pass pass)
{
    try {
        return pass();
    } catch (...) {
        end(number, {false, {}, {}}, QStringLiteral("thrown: ") + reasonOf(std::current_exception()));
        throw;
    }
}

ExchangeTap::ExchangeTap(DeviceBackend &inner, Observer observer, QObject *parent)
    : BackendFilter(inner, parent), m_state(std::make_shared<State>(std::move(observer)))
{
}

ExchangeTap::~ExchangeTap()
{
    m_state->stop();
}

void ExchangeTap::stop()
{
    m_state->stop();
}

void ExchangeTap::initialize(bool enable)
{
    Call call;
    call.operation = operations()[Operation::HttpProxy_initialize].name;
    call.extra = enable;
    const qint64 number = m_state->begin(call);
    m_state->forward(number, [&] { BackendFilter::initialize(enable); });
    m_state->end(number, {});
}

QList<DeviceInfo> ExchangeTap::devices()
{
    Call call;
    call.operation = operations()[Operation::HttpProxy_getDeviceList].name;
    const qint64 number = m_state->begin(call);
    const QList<DeviceInfo> devices = m_state->forward(number, [&] { return BackendFilter::devices(); });
    QVariantList reply;
    for (const DeviceInfo &device : devices)
        reply += QVariantMap{{QStringLiteral("key"), device.key}, {QStringLiteral("label"), device.label}};
    m_state->end(number, {true, reply, {}});
    return devices;
}

Answer ExchangeTap::answer(const Call &call)
{
    const qint64 number = m_state->begin(call);
    return m_state->forward(number, [&] {
        const Answer answer = BackendFilter::answer(call);
        if (answer.error)
            m_state->end(number, {false, {}, {}, nullptr, answer.note}, QStringLiteral("thrown: ") + reasonOf(answer.error));
        else
            m_state->end(number, observed(answer, call));
        return answer;
    });
}

QtPromise::QPromise<bool> ExchangeTap::upload(const Call &call)
{
    const qint64 number = m_state->begin(call);
    return m_state->forward(number, [&] {
        return BackendFilter::upload(call).then(
            [state = m_state, number](bool value) {
                state->end(number, {value, {}, {}});
                return value;
            },
            [state = m_state, number]() -> bool {
                const std::exception_ptr error = std::current_exception();
                state->end(number, {false, {}, {}}, reasonOf(error), true);
                std::rethrow_exception(error);
            });
    });
}

} // namespace Adapter

// Random expressions of promises on four threads, compared with a model that computes what they come to with plain values:
// the ending, every call of a handler with what it is given, its thread and its order. The expressions depend on the seed
// alone.

#include "trust/Options.h"
#include "trust/PromiseModel.h"

#include <QtPromise>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEvent>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtCore/QVector>
#include <QtTest/QTest>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace Trust;
using QtPromise::QPromise;
using QtPromise::QPromiseReject;
using QtPromise::QPromiseResolve;

namespace {

/// Counts the values and errors that are alive.
class Counted
{
public:
    Counted() { living.fetch_add(1, std::memory_order_relaxed); }
    Counted(const Counted &) { living.fetch_add(1, std::memory_order_relaxed); }
    Counted &operator=(const Counted &) = default;
    ~Counted() { living.fetch_sub(1, std::memory_order_relaxed); }
    static std::atomic<std::int64_t> living;
};
std::atomic<std::int64_t> Counted::living{0};

struct Number {
    int value = 0;
    Counted counted;
};
using List = QVector<Number>;

struct BaseError {
    int code;
    Counted counted;
    virtual ~BaseError() = default;
    explicit BaseError(int number) : code(number) {}
    BaseError(const BaseError &) = default;
};
struct DerivedError : BaseError {
    using BaseError::BaseError;
};

[[noreturn]] void raise(const Error &error)
{
    switch (error.kind) {
    case ErrorKind::Base:
        throw BaseError(error.code);
    case ErrorKind::Derived:
        throw DerivedError(error.code);
    case ErrorKind::Standard:
        throw std::runtime_error(std::to_string(error.code));
    case ErrorKind::Int:
        throw int(error.code);
    case ErrorKind::Timeout:
        break;
    }
    throw QtPromise::QPromiseTimeoutException();
}

/// Of the exception that is being handled.
Error currentError()
{
    try {
        throw;
    } catch (const DerivedError &error) {
        return {ErrorKind::Derived, error.code};
    } catch (const BaseError &error) {
        return {ErrorKind::Base, error.code};
    } catch (const QtPromise::QPromiseTimeoutException &) {
        return {ErrorKind::Timeout, 0};
    } catch (const std::exception &error) {
        return {ErrorKind::Standard, std::atoi(error.what())};
    } catch (int code) {
        return {ErrorKind::Int, code};
    }
}

int codeOf(const std::exception &error)
{
    return std::atoi(error.what()); // 0 of a timeout
}

template <typename T>
struct Values;
template <>
struct Values<Number> {
    static Number from(const std::vector<int> &values) { return {values.at(0), {}}; }
    static std::vector<int> of(const Number &number) { return {number.value}; }
    static constexpr Type type = Type::Number;
};
template <>
struct Values<List> {
    static List from(const std::vector<int> &values)
    {
        List list;
        for (const int value : values)
            list.append(Number{value, {}});
        return list;
    }
    static std::vector<int> of(const List &list)
    {
        std::vector<int> values;
        for (const Number &number : list)
            values.push_back(number.value);
        return values;
    }
    static constexpr Type type = Type::List;
};
template <>
struct Values<void> {
    static void from(const std::vector<int> &) {}
    static constexpr Type type = Type::Nothing;
};

class Worker;
thread_local Worker *worker = nullptr; ///< of this thread
thread_local bool isAttaching = false;

/// One expression, and what was seen of it.
struct Chain {
    std::uint64_t seed = 0;
    NodePtr root;
    Worker *owner = nullptr;
    std::function<Ending::Status()> status; ///< keeps the promise
    std::atomic<int> missing{0};            ///< calls and the ending

    std::mutex mutex;
    std::vector<Call> calls;
    Ending ending;
    int endings = 0;
    std::string fault;

    void setFault(const char *what)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        fault = what;
    }
    void finishOne();
};
using ChainPtr = std::shared_ptr<Chain>;

/// A device's thread: settles promises, and has no event loop.
class Device
{
public:
    ~Device()
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_isOver = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }
    void post(std::function<void()> task)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_tasks.push_back(std::move(task));
        }
        m_changed.notify_all();
    }

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return m_isOver || !m_tasks.empty(); });
            if (m_tasks.empty())
                return;
            {
                const std::function<void()> task = std::move(m_tasks.front());
                m_tasks.pop_front();
                lock.unlock();
                task();
            }
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_tasks;
    bool m_isOver = false;
    std::thread m_thread{[this] { run(); }};
};

constexpr int workerCount = 4;

/// The threads of one round, which end with it.
struct Round {
    std::array<Worker *, workerCount> workers{};
    Device device;
    std::mutex mutex;
    std::condition_variable changed;
    int ready = 0;
    int done = 0;
    int ended = 0;
    std::vector<ChainPtr> chains;
    std::atomic<std::int64_t> progress{0};
};

/// Ordered by an atomic, as ThreadSanitizer does not see Qt's own locks.
class WakeEvent final : public QEvent
{
public:
    WakeEvent() : QEvent(QEvent::User) { m_isPosted.store(true, std::memory_order_release); }
    ~WakeEvent() override { static_cast<void>(m_isPosted.load(std::memory_order_acquire)); }

private:
    std::atomic<bool> m_isPosted{false};
    Q_DISABLE_COPY(WakeEvent)
};

/// A thread with an event dispatcher, which builds expressions and does operations for other threads.
class Worker : public QObject
{
public:
    Worker(Round &round, int index) : m_round(round), m_index(index) {}

    void run(std::uint64_t firstSeed, int count, int batch);
    void finished()
    {
        m_finished.fetch_add(1);
        m_round.progress.fetch_add(1);
    }
    void wake() { QCoreApplication::postEvent(this, new WakeEvent); }
    Round &round() { return m_round; }

    /// Tasks travel under a standard mutex; the event only announces them.
    void handOver(std::function<void()> task)
    {
        Worker &other = *m_round.workers[std::size_t((m_index + 1) % workerCount)];
        {
            const std::lock_guard<std::mutex> lock(other.m_mutex);
            other.m_tasks.push_back(std::move(task));
        }
        other.wake();
    }

    std::int64_t promises = 0;
    std::int64_t handlers = 0;
    std::string fault;

protected:
    void customEvent(QEvent *) override
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_tasks.empty())
            return;
        const std::function<void()> task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task();
    }

private:
    void start(const ChainPtr &chain);
    void check(Chain &chain);

    Round &m_round;
    const int m_index;
    std::mutex m_mutex;
    std::deque<std::function<void()>> m_tasks;
    std::atomic<int> m_finished{0};
};

void Chain::finishOne()
{
    if (missing.fetch_sub(1) != 1)
        return;
    owner->finished();
    if (owner != worker)
        owner->wake();
}

/// Marks the time in which no handler may run.
class Attaching
{
public:
    Attaching() { isAttaching = true; }
    ~Attaching() { isAttaching = false; }
};

/// Makes the promises of one chain in the thread that calls it.
class Builder
{
public:
    explicit Builder(ChainPtr chain) : m_chain(std::move(chain)) {}

    template <typename T>
    QPromise<T> build(const Node &node) const
    {
        using Kind = Node::Kind;
        if (node.kind == Kind::Resolved)
            return resolved<T>(node);
        if (node.kind == Kind::Rejected)
            return rejected<T>(node);
        if (node.kind == Kind::Settled)
            return settled<T>(node);
        if (node.kind == Kind::Never)
            return QPromise<T>([](const QPromiseResolve<T> &) {});
        if (node.kind == Kind::Attempt)
            return attempt<T>(node);
        if (node.kind == Kind::All)
            return all<T>(node);
        if (node.kind == Kind::HandOver)
            return handedOver<T>(node);
        if constexpr (std::is_same<T, List>::value) {
            if (node.kind == Kind::MapNow || node.kind == Kind::EachNow)
                return sequence(node);
        }
        return operation<T>(node);
    }

private:
    template <typename T>
    static QPromise<T> rejected(const Node &node)
    {
        try {
            raise(node.error);
        } catch (const BaseError &error) {
            if (node.error.kind == ErrorKind::Base && node.constant % 2 == 0)
                return QPromise<T>::reject(error);
            return QPromise<T>::reject(std::current_exception());
        } catch (...) {
            return QPromise<T>::reject(std::current_exception());
        }
    }

    template <typename T>
    static QPromise<T> resolved(const Node &node)
    {
        const std::vector<int> values = valuesOf(node.type, node.constant);
        if constexpr (std::is_void<T>::value) {
            return QtPromise::resolve();
        } else {
            const T value = Values<T>::from(values);
            if (node.constant % 2 == 0)
                return QtPromise::resolve(value);
            return QPromise<T>::resolve(Values<T>::from(values));
        }
    }

    template <typename T>
    static void fulfil(const QPromiseResolve<T> &resolve, const Node &node, int constant)
    {
        if constexpr (std::is_void<T>::value)
            resolve();
        else
            resolve(Values<T>::from(valuesOf(node.type, constant)));
    }

    /// A promise that another one may follow.
    template <typename T>
    std::function<void(const QPromiseResolve<T> &)> follower(const Node &child) const
    {
        if constexpr (std::is_void<T>::value) {
            if (child.type == Type::Number)
                return [promise = build<Number>(child)](const QPromiseResolve<T> &resolve) { resolve(promise); };
            if (child.type == Type::List)
                return [promise = build<List>(child)](const QPromiseResolve<T> &resolve) { resolve(promise); };
        }
        return [promise = build<T>(child)](const QPromiseResolve<T> &resolve) { resolve(promise); };
    }

    template <typename T>
    QPromise<T> settled(const Node &node) const
    {
        std::vector<std::function<void(const QPromiseResolve<T> &)>> followers;
        for (const NodePtr &child : node.children)
            followers.push_back(follower<T>(*child));
        return QPromise<T>([&](const QPromiseResolve<T> &resolve, const QPromiseReject<T> &reject) {
            auto steps = [chain = m_chain, &node, resolve, reject, followers = std::move(followers)] {
                for (const Step &step : node.steps) {
                    switch (step.what) {
                    case Step::What::Value:
                        fulfil<T>(resolve, node, step.constant);
                        break;
                    case Step::What::Error:
                        rejectWith(reject, step.error);
                        break;
                    case Step::What::ErrorPointer:
                        try {
                            raise(step.error);
                        } catch (...) {
                            reject(std::current_exception());
                        }
                        break;
                    case Step::What::Promise:
                        followers[std::size_t(step.child)](resolve);
                        break;
                    case Step::What::Throw:
                        raise(step.error);
                    }
                }
            };
            switch (node.place) {
            case Node::Place::Inside:
                steps();
                break;
            case Node::Place::Posted:
                QTimer::singleShot(0, steps);
                break;
            case Node::Place::Timer:
                QTimer::singleShot(1, steps);
                break;
            case Node::Place::OtherThread:
                worker->round().device.post(steps);
            }
        });
    }

    template <typename T>
    static void rejectWith(const QPromiseReject<T> &reject, const Error &error)
    {
        switch (error.kind) {
        case ErrorKind::Base:
            return reject(BaseError(error.code));
        case ErrorKind::Derived:
            return reject(DerivedError(error.code));
        case ErrorKind::Standard:
            return reject(std::runtime_error(std::to_string(error.code)));
        case ErrorKind::Int:
            return reject(error.code);
        case ErrorKind::Timeout:
            return reject(QtPromise::QPromiseTimeoutException());
        }
    }

    template <typename T>
    QPromise<T> attempt(const Node &node) const
    {
        const Handler &handler = node.handlers[0];
        if (handler.what == Handler::What::Promise) {
            return QtPromise::attempt([&] {
                enter(handler, {}, {});
                return build<T>(*handler.child);
            });
        }
        return QtPromise::attempt([&] {
            enter(handler, {}, {});
            return result<T>(handler, {});
        });
    }

    template <typename T>
    QPromise<T> all(const Node &node) const
    {
        if constexpr (std::is_same<T, Number>::value) {
            qFatal("no gathering gives a number");
        } else {
            using Element = std::conditional_t<std::is_void<T>::value, void, Number>;
            std::vector<QPromise<Element>> promises;
            for (const NodePtr &child : node.children)
                promises.push_back(build<Element>(*child));
            return QtPromise::all(promises);
        }
    }

    /// Calls `use` with a function for the elements of a sequence.
    template <typename Use>
    auto withElements(const Node &node, Use use) const
    {
        const auto thread = std::this_thread::get_id();
        return use([builder = *this, &node, thread](const Number &number, int index) -> QPromise<Number> {
            const Handler &handler = node.handlers[std::size_t(index) % node.handlers.size()];
            std::vector<int> arguments{number.value};
            if (!handler.takesNothing)
                arguments.push_back(index);
            builder.enter(handler, arguments, thread);
            if (handler.what == Handler::What::Promise)
                return builder.build<Number>(*handler.child);
            return QtPromise::resolve(builder.result<Number>(handler, arguments));
        });
    }

    QPromise<List> sequence(const Node &node) const
    {
        const List list = Values<List>::from(node.sequence);
        return withElements(node, [&](auto function) {
            return node.kind == Node::Kind::MapNow ? QtPromise::map(list, function) : QtPromise::each(list, function);
        });
    }

    /// Builds the source of a node and calls `use` with it.
    template <typename Use>
    auto withSource(const Node &node, const Use &use) const
    {
        const Node &source = *node.children[0];
        switch (source.type) {
        case Type::Number:
            return use(build<Number>(source));
        case Type::Nothing:
            return use(build<void>(source));
        case Type::List:
            break;
        }
        return use(build<List>(source));
    }

    template <typename T>
    QPromise<T> handedOver(const Node &node) const
    {
        const Node &inner = *node.children[0];
        return withSource(inner, [&](const auto &source) { return handedOver<T>(inner, source); });
    }

    template <typename T, typename S>
    QPromise<T> handedOver(const Node &inner, const QPromise<S> &source) const
    {
        return QPromise<T>([&](const QPromiseResolve<T> &resolve) {
            worker->handOver([builder = *this, &inner, source, resolve] { resolve(builder.apply<T>(inner, source)); });
        });
    }

    template <typename T>
    QPromise<T> operation(const Node &node) const
    {
        return withSource(node, [&](const auto &source) { return apply<T>(node, source); });
    }

    template <typename T, typename S>
    QPromise<T> apply(const Node &node, const QPromise<S> &source) const
    {
        const Attaching attaching;
        if (node.kind == Node::Kind::Then)
            return onValue<T>(node.handlers[0], source, [&](auto handler) { return source.then(handler); });
        if (node.kind == Node::Kind::ThenOr)
            return thenOr<T>(node, source);
        if constexpr (std::is_same<T, List>::value) {
            if (node.kind == Node::Kind::Fan)
                return fan(node, source);
        }
        if constexpr (std::is_void<T>::value) {
            if (node.kind == Node::Kind::Convert)
                return QPromise<void>([&](const QPromiseResolve<void> &resolve) { resolve(source); });
        }
        if constexpr (std::is_same<T, S>::value)
            return keepingType<T>(node, source);
        else
            qFatal("an operation of the wrong type");
    }

    template <typename T>
    QPromise<T> keepingType(const Node &node, const QPromise<T> &source) const
    {
        using Kind = Node::Kind;
        if (node.kind == Kind::Delay)
            return source.delay(node.constant);
        if (node.kind == Kind::Timeout)
            return source.timeout(node.constant);
        if constexpr (std::is_same<T, List>::value) {
            if (node.kind == Kind::Map || node.kind == Kind::Each) {
                return withElements(node, [&](auto function) {
                    return node.kind == Kind::Map ? source.map(function) : source.each(function);
                });
            }
        }
        const Handler &handler = node.handlers[0];
        if (node.kind == Kind::Fail)
            return onError<T>(handler, [&](auto call) { return source.fail(call); });
        return watched(handler, [&](auto type) {
            using U = typename decltype(type)::Type;
            if (node.kind == Kind::Finally)
                return onValue<U>(handler, QPromise<void>::resolve(), [&](auto call) { return source.finally(call); });
            if (node.kind == Kind::Tap)
                return onValue<U>(handler, source, [&](auto call) { return source.tap(call); });
            return onError<U>(handler, [&](auto call) { return source.tapFail(call); });
        });
    }

    template <typename U>
    struct Typed {
        using Type = U;
    };

    /// Of the promise that a watching handler returns.
    template <typename Use>
    static auto watched(const Handler &handler, Use use)
    {
        return handler.child && handler.child->type == Type::Number ? use(Typed<Number>()) : use(Typed<void>());
    }

    template <typename T, typename S, typename Use>
    auto onValue(const Handler &handler, const QPromise<S> &, Use use) const
    {
        const auto thread = std::this_thread::get_id();
        const auto taking = [&](auto function) {
            if constexpr (std::is_void<S>::value) {
                return use([function] { return function({}); });
            } else {
                if (handler.takesNothing)
                    return use([function] { return function({}); });
                return use([function](const S &value) { return function(Values<S>::of(value)); });
            }
        };
        if (handler.what == Handler::What::Promise) {
            return taking([builder = *this, &handler, thread](const std::vector<int> &values) {
                builder.enter(handler, values, thread);
                return builder.build<T>(*handler.child);
            });
        }
        return taking([builder = *this, &handler, thread](const std::vector<int> &values) {
            builder.enter(handler, values, thread);
            return builder.result<T>(handler, values);
        });
    }

    template <typename T, typename Use>
    auto onError(const Handler &handler, Use use) const
    {
        const auto thread = std::this_thread::get_id();
        const auto catching = [&](auto function) {
            switch (handler.filter) {
            case Filter::Base:
                return use([function](const BaseError &error) { return function(error.code); });
            case Filter::BaseByValue:
                return use([function](BaseError error) { return function(error.code); });
            case Filter::Derived:
                return use([function](const DerivedError &error) { return function(error.code); });
            case Filter::Standard:
                return use([function](const std::exception &error) { return function(codeOf(error)); });
            case Filter::Int:
                return use([function](int code) { return function(code); });
            case Filter::Timeout:
                return use([function](const QtPromise::QPromiseTimeoutException &) { return function(0); });
            case Filter::All:
                break;
            }
            return use([function] {
                const Error error = currentError();
                return function(int(error.kind) * 1000 + error.code);
            });
        };
        if (handler.what == Handler::What::Promise) {
            return catching([builder = *this, &handler, thread](int code) {
                builder.enter(handler, {code}, thread);
                return builder.build<T>(*handler.child);
            });
        }
        return catching([builder = *this, &handler, thread](int code) {
            builder.enter(handler, {code}, thread);
            return builder.result<T>(handler, {code});
        });
    }

    template <typename T, typename S>
    QPromise<T> thenOr(const Node &node, const QPromise<S> &source) const
    {
        return onError<T>(node.handlers[1], [&](auto rejected) {
            const auto thread = std::this_thread::get_id();
            const Handler &handler = node.handlers[0];
            const auto fulfilled = [builder = *this, &handler, thread](const std::vector<int> &values) {
                builder.enter(handler, values, thread);
                return builder.result<T>(handler, values);
            };
            if constexpr (std::is_void<S>::value) {
                return source.then([fulfilled] { return fulfilled({}); }, rejected);
            } else {
                return source.then(
                    [fulfilled, nothing = handler.takesNothing](const S &value) {
                        return fulfilled(nothing ? std::vector<int>() : Values<S>::of(value));
                    },
                    rejected);
            }
        });
    }

    /// Handlers of one promise, attached to copies of it; they run in this order.
    template <typename S>
    QPromise<List> fan(const Node &node, const QPromise<S> &source) const
    {
        QVector<QPromise<Number>> results;
        const auto order = std::make_shared<std::atomic<int>>(0);
        const auto thread = std::this_thread::get_id();
        int index = 0;
        for (const Handler &handler : node.handlers) {
            const QPromise<S> copy = source;
            if (copy != source)
                m_chain->setFault("a copy is not equal");
            const auto function = [builder = *this, &handler, order, index, thread](const std::vector<int> &values) {
                if (order->fetch_add(1) != index)
                    builder.m_chain->setFault("handlers of one promise run in another order");
                builder.enter(handler, values, thread);
                return Values<Number>::from({mix(handler.constant, values)});
            };
            const auto onError = [function] { return function({currentError().code}); };
            if constexpr (std::is_void<S>::value)
                results.append(copy.then([function] { return function({}); }, onError));
            else
                results.append(copy.then([function](const S &value) { return function(Values<S>::of(value)); }, onError));
            ++index;
        }
        return QtPromise::all(results);
    }

    /// Notes a call. `thread` is the one that attached the handler, or none.
    void enter(const Handler &handler, const std::vector<int> &values, std::thread::id thread) const
    {
        if (thread != std::thread::id() && isAttaching)
            m_chain->setFault("a handler runs inside the call that attaches it");
        if (thread != std::thread::id() && thread != std::this_thread::get_id())
            m_chain->setFault("a handler runs in another thread");
        {
            const std::lock_guard<std::mutex> lock(m_chain->mutex);
            m_chain->calls.push_back({handler.id, mix(0, values)});
        }
        m_chain->finishOne();
    }

    template <typename T>
    T result(const Handler &handler, std::vector<int> values) const
    {
        switch (handler.what) {
        case Handler::What::Throw:
            raise(handler.error);
        case Handler::What::Rethrow:
            throw;
        case Handler::What::Wait: {
            const Ending ending = waitedFor(*handler.child);
            if (ending.isRejected())
                raise(ending.error);
            values.insert(values.end(), ending.values.begin(), ending.values.end());
            break;
        }
        case Handler::What::Promise:
        case Handler::What::Value:
            break;
        }
        return Values<T>::from(valuesOf(Values<T>::type, mix(handler.constant, values)));
    }

    Ending waitedFor(const Node &node) const
    {
        switch (node.type) {
        case Type::Number:
            return waitedFor(build<Number>(node));
        case Type::Nothing:
            return waitedFor(build<void>(node));
        case Type::List:
            break;
        }
        return waitedFor(build<List>(node));
    }

    template <typename T>
    Ending waitedFor(const QPromise<T> &promise) const
    {
        const auto ending = std::make_shared<Ending>();
        whenOver(promise, [ending](const Ending &seen) { *ending = seen; }).wait();
        if (promise.isPending())
            m_chain->setFault("a wait returned too early");
        return *ending;
    }

public:
    template <typename T, typename Function>
    static QPromise<void> whenOver(const QPromise<T> &promise, Function function)
    {
        const auto onError = [function] {
            Ending ending;
            ending.status = Ending::Status::Rejected;
            ending.error = currentError();
            function(ending);
        };
        Ending fulfilled;
        fulfilled.status = Ending::Status::Fulfilled;
        if constexpr (std::is_void<T>::value) {
            return promise.then([function, fulfilled] { function(fulfilled); }, onError);
        } else {
            return promise.then(
                [function, fulfilled](const T &value) mutable {
                    fulfilled.values = Values<T>::of(value);
                    function(fulfilled);
                },
                onError);
        }
    }

private:
    ChainPtr m_chain;
};

template <typename T>
void startTyped(const ChainPtr &chain)
{
    const QPromise<T> promise = Builder(chain).build<T>(*chain->root);
    const QPromise<void> over = Builder::whenOver(promise, [chain](const Ending &ending) {
        {
            const std::lock_guard<std::mutex> lock(chain->mutex);
            chain->ending = ending;
            ++chain->endings;
        }
        chain->finishOne();
    });
    chain->status = [promise] {
        return promise.isPending()     ? Ending::Status::Pending
               : promise.isFulfilled() ? Ending::Status::Fulfilled
                                       : Ending::Status::Rejected;
    };
    if (chain->seed % 4 == 0 && !chain->root->ending.isPending()) {
        over.wait();
        if (promise.isPending())
            chain->setFault("a wait returned too early");
    }
}

void Worker::start(const ChainPtr &chain)
{
    switch (chain->root->type) {
    case Type::Number:
        return startTyped<Number>(chain);
    case Type::Nothing:
        return startTyped<void>(chain);
    case Type::List:
        return startTyped<List>(chain);
    }
}

void Worker::check(Chain &chain)
{
    const Node &root = *chain.root;
    const auto sorted = [](std::vector<Call> calls) {
        std::vector<std::pair<int, int>> pairs;
        pairs.reserve(calls.size());
        for (const Call &call : calls)
            pairs.emplace_back(call.handler, call.argument);
        std::sort(pairs.begin(), pairs.end());
        return pairs;
    };
    const std::lock_guard<std::mutex> lock(chain.mutex);
    if (chain.fault.empty() && !(chain.ending == root.ending && chain.endings == (root.ending.isPending() ? 0 : 1)))
        chain.fault = "it is " + textOf(chain.ending) + ", the model " + textOf(root.ending);
    if (chain.fault.empty() && chain.status() != root.ending.status)
        chain.fault = "the promise has another state than its handlers got";
    if (chain.fault.empty() && sorted(chain.calls) != sorted(root.calls)) {
        chain.fault = "other calls:";
        for (const auto &call : sorted(chain.calls))
            chain.fault += " #" + std::to_string(call.first) + '(' + std::to_string(call.second) + ')';
        chain.fault += ", the model:";
        for (const auto &call : sorted(root.calls))
            chain.fault += " #" + std::to_string(call.first) + '(' + std::to_string(call.second) + ')';
    }
    if (!chain.fault.empty() && fault.empty())
        fault = "seed " + std::to_string(chain.seed) + ": " + chain.fault + "; " + textOf(root);
    promises += root.promises;
    handlers += std::int64_t(root.calls.size());
}

/// In its own thread. Several chains of a batch are under way at a time.
void Worker::run(std::uint64_t firstSeed, int count, int batch)
{
    worker = this;
    QtPromise::resolve().then([] {}).wait(); // makes the event dispatcher
    {
        std::unique_lock<std::mutex> lock(m_round.mutex);
        m_round.workers[std::size_t(m_index)] = this;
        ++m_round.ready;
        m_round.changed.notify_all();
        m_round.changed.wait(lock, [this] { return m_round.ready == workerCount; });
    }
    QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance();
    std::vector<ChainPtr> chains;
    for (int i = 0; i < count; ++i) {
        const auto chain = std::make_shared<Chain>();
        chain->seed = firstSeed + std::uint64_t(i);
        chain->root = randomExpression(chain->seed);
        chain->owner = this;
        chain->missing = int(chain->root->calls.size()) + (chain->root->ending.isPending() ? 0 : 1);
        if (chain->missing == 0)
            finished();
        chains.push_back(chain);
        {
            const std::lock_guard<std::mutex> lock(m_round.mutex);
            m_round.chains.push_back(chain);
        }
        start(chain);
        while ((i + 1 == count || (i + 1) % batch == 0) && m_finished.load() <= i)
            dispatcher->processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    // Other threads may still hand over work to this one.
    const auto isOver = [this] {
        const std::lock_guard<std::mutex> lock(m_round.mutex);
        return m_round.done == workerCount;
    };
    {
        const std::lock_guard<std::mutex> lock(m_round.mutex);
        if (++m_round.done == workerCount) {
            for (Worker *other : m_round.workers)
                other->wake();
        }
    }
    while (!isOver())
        dispatcher->processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    while (dispatcher->processEvents(QEventLoop::AllEvents)) { // what would be a call too many
    }
    for (const ChainPtr &chain : chains)
        check(*chain);
    for (const ChainPtr &chain : chains)
        chain->status = nullptr;
    chains.clear();
    // No thread may send anything to one that is gone.
    std::unique_lock<std::mutex> lock(m_round.mutex);
    ++m_round.ended;
    m_round.changed.notify_all();
    m_round.changed.wait(lock, [this] { return m_round.ended == workerCount; });
}

/// Ends the program when no chain has ended for minutes: a handler or a wake-up was lost.
void watch(Round &round)
{
    constexpr std::chrono::seconds timeout(120);
    std::unique_lock<std::mutex> lock(round.mutex);
    for (std::int64_t seen = -1; round.ended < workerCount; seen = round.progress) {
        if (round.changed.wait_for(lock, timeout, [&] { return round.ended == workerCount; }) || round.progress != seen)
            continue;
        for (const ChainPtr &chain : round.chains) {
            if (chain->missing > 0) {
                const std::lock_guard<std::mutex> chainLock(chain->mutex);
                std::fprintf(stderr, "seed %llu does not end, %d missing: %s\n",
                             static_cast<unsigned long long>(chain->seed), chain->missing.load(),
                             textOf(*chain->root).c_str());
                for (const Call &call : chain->calls)
                    std::fprintf(stderr, " #%d", call.handler);
                std::fprintf(stderr, "\n");
            }
        }
        std::fflush(stderr);
        qFatal("no chain has ended for minutes");
    }
}

} // namespace

class tst_PromiseChains : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chainsComeToWhatTheModelComputes();
};

void tst_PromiseChains::chainsComeToWhatTheModelComputes()
{
    const int asked = numberOf("CORRECTION_TRUST_CHAINS", 4000);
    const int minutes = numberOf("CORRECTION_TRUST_MINUTES", 0);
    const auto seed = std::uint64_t(numberOf("CORRECTION_TRUST_SEED", 0));
    const int perWorker = std::min(1000, std::max(1, asked / workerCount));
    QElapsedTimer time;
    time.start();
    std::int64_t chains = 0;
    std::int64_t promises = 0;
    std::int64_t handlers = 0;
    while (chains < asked && (minutes == 0 || time.elapsed() < qint64(minutes) * 60000)) {
        {
            Round round;
            std::vector<std::unique_ptr<Worker>> results(workerCount);
            std::vector<std::thread> threads;
            std::mutex mutex;
            int faults = 0;
            for (int i = 0; i < workerCount; ++i) {
                threads.emplace_back([&, i] {
                    Worker own(round, i);
                    own.run(seed + std::uint64_t(chains) + std::uint64_t(i * perWorker), perWorker, 64);
                    const std::lock_guard<std::mutex> lock(mutex);
                    promises += own.promises;
                    handlers += own.handlers;
                    if (!own.fault.empty())
                        std::fprintf(stderr, "%s\n", own.fault.c_str());
                    faults += own.fault.empty() ? 0 : 1;
                });
            }
            watch(round);
            for (std::thread &thread : threads)
                thread.join();
            QVERIFY2(faults == 0, "a chain came to something else, see above");
        }
        QCOMPARE(Counted::living.load(), std::int64_t(0)); // values and errors
        chains += workerCount * perWorker;
    }
    qInfo("measured: %lld chains of %lld promises with %lld calls of handlers on %d threads", static_cast<long long>(chains),
          static_cast<long long>(promises), static_cast<long long>(handlers), workerCount);
}

QTEST_GUILESS_MAIN(tst_PromiseChains)
#include "tst_promisechains.moc"

#pragma once

#include "QPromiseTraits.h"

#include <QtCore/QTimer>

#include <memory>
#include <type_traits>
#include <utility>

namespace QtPromise {
inline namespace Bundled {

/// Fulfils its promise when called, with a value or with another promise, which is then followed. Copies belong to the
/// same promise; the first call of any of them, or of its QPromiseReject, counts and later ones are ignored. May be
/// called from any thread and outlive the promise. A promise whose functors are all gone without a call stays pending
/// forever.
template <typename T>
class QPromiseResolve
{
public:
    /// For promises alone.
    explicit QPromiseResolve(std::shared_ptr<Detail::Settler> settler) : m_settler(std::move(settler)) {}

    /// Fulfils the promise.
    void operator()(const T &value) const
    {
        settle([&]() -> const T & { return value; });
    }
    /// Fulfils the promise.
    void operator()(T &&value) const
    {
        settle([&]() -> T && { return std::move(value); });
    }
    /// The promise follows another one.
    void operator()(const QPromise<T> &promise) const
    {
        settle([&] { return promise; });
    }

private:
    template <typename Call>
    void settle(Call call) const
    {
        if (const std::shared_ptr<Detail::State> state = m_settler->take())
            state->settle(Detail::outcomeOf<T>(call));
    }

    std::shared_ptr<Detail::Settler> m_settler;
};

/// Fulfils a promise without a value.
template <>
class QPromiseResolve<void>
{
public:
    /// For promises alone.
    explicit QPromiseResolve(std::shared_ptr<Detail::Settler> settler) : m_settler(std::move(settler)) {}

    /// Fulfils the promise.
    void operator()() const
    {
        if (const std::shared_ptr<Detail::State> state = m_settler->take())
            state->settle(Detail::Outcome());
    }
    /// Any promise will do; its value is left aside.
    template <typename U>
    void operator()(const QPromise<U> &promise) const
    {
        if (const std::shared_ptr<Detail::State> state = m_settler->take())
            state->settle(Detail::outcomeOf<void>([&] { return promise; }));
    }

private:
    std::shared_ptr<Detail::Settler> m_settler;
};

/// Rejects its promise when called, with an error of any copyable type or with the exception that a std::exception_ptr
/// holds. Otherwise like QPromiseResolve.
template <typename T>
class QPromiseReject
{
public:
    /// For promises alone.
    explicit QPromiseReject(std::shared_ptr<Detail::Settler> settler) : m_settler(std::move(settler)) {}

    /// Rejects the promise.
    template <typename E>
    void operator()(E &&error) const
    {
        if (const std::shared_ptr<Detail::State> state = m_settler->take())
            state->settle(Detail::Outcome::rejected(Detail::errorPointer(std::forward<E>(error))));
    }

private:
    std::shared_ptr<Detail::Settler> m_settler;
};

/// The members of QPromise<T> for every T.
///
/// A promise is a handle: copies are cheap and share one state, which is freed with the last handle, handler or functor
/// that can still settle it. Every member may be called from any thread. A moved-from promise may only be assigned or
/// destroyed.
///
/// Handlers never run inside the call that attaches them. They are posted to the event dispatcher of the thread that
/// attached them, one event each, and run there in the order of attaching, also when the promise has settled before.
/// That thread has to process events (an event loop, or `wait()`); when it ends, its handlers are dropped, and the
/// promises that they would have settled stay pending. A handler is destroyed right after it has run. The thread's
/// event dispatcher is made if it has none, which takes a QCoreApplication; without one, handlers run inside the
/// thread's `wait()` only.
///
/// What a handler returns settles the promise given back; a returned promise is followed, a thrown exception rejects.
template <typename T>
class QPromiseBase
{
public:
    /// The type of the value.
    using Type = T;

    /// Runs `resolver` at once, with a QPromiseResolve<T> and, if it takes two arguments, a QPromiseReject<T>. An
    /// exception that leaves it rejects the promise, unless that has been settled already.
    template <typename Resolver,
              std::enable_if_t<Detail::IsCallable<Resolver &, QPromiseResolve<T>, QPromiseReject<T>>::value, int> = 0>
    QPromiseBase(Resolver &&resolver) : m_state(std::make_shared<Detail::State>())
    {
        construct([&](const std::shared_ptr<Detail::Settler> &settler) {
            resolver(QPromiseResolve<T>(settler), QPromiseReject<T>(settler));
        });
    }
    /// The same for a resolver that takes a QPromiseResolve<T> alone.
    template <typename Resolver,
              std::enable_if_t<Detail::IsCallable<Resolver &, QPromiseResolve<T>>::value
                                   && !Detail::IsCallable<Resolver &, QPromiseResolve<T>, QPromiseReject<T>>::value,
                               int> = 0,
              typename = void>
    QPromiseBase(Resolver &&resolver) : m_state(std::make_shared<Detail::State>())
    {
        construct([&](const std::shared_ptr<Detail::Settler> &settler) { resolver(QPromiseResolve<T>(settler)); });
    }

    /// A promise rejected with the error, which may be of any copyable type or a std::exception_ptr.
    template <typename E>
    static QPromise<T> reject(E &&error)
    {
        return Detail::settledPromise<T>(Detail::Outcome::rejected(Detail::errorPointer(std::forward<E>(error))));
    }

    /// A promise that follows another one counts as pending until that one settles.
    bool isPending() const { return m_state->status() == Detail::State::Status::Pending; }
    /// Whether it has a value.
    bool isFulfilled() const { return m_state->status() == Detail::State::Status::Fulfilled; }
    /// Whether it has an error.
    bool isRejected() const { return m_state->status() == Detail::State::Status::Rejected; }

    /// Whether both are handles of the same promise; the values are not compared.
    bool operator==(const QPromiseBase &other) const { return m_state == other.m_state; }
    /// Whether they are handles of different promises.
    bool operator!=(const QPromiseBase &other) const { return m_state != other.m_state; }

    /// Calls one of the handlers once the promise has settled. `onFulfilled` takes the value or nothing and decides the
    /// type of the promise given back. `onRejected` takes an error, by value or by reference, and is called for errors
    /// of that type only; one without argument takes all. An outcome without a handler (null, or an error of another
    /// type) is the outcome of the promise given back. `onRejected` runs inside a catch of the error, as every handler
    /// of a rejection does: `throw;` and `std::current_exception()` work in it.
    template <typename Fulfilled, typename Rejected>
    QPromise<typename Detail::HandlerResult<std::decay_t<Fulfilled>, T>::type> then(Fulfilled &&onFulfilled,
                                                                                    Rejected &&onRejected) const
    {
        using Target = typename Detail::HandlerResult<std::decay_t<Fulfilled>, T>::type;
        return attach<Target>([fulfilled = std::decay_t<Fulfilled>(std::forward<Fulfilled>(onFulfilled)),
                               rejected = std::decay_t<Rejected>(std::forward<Rejected>(onRejected))](
                                  const std::shared_ptr<Detail::State> &source) mutable {
            return source->isFailed() ? Detail::onError<Target>(rejected, source)
                                      : Detail::onValue<T, Target>(fulfilled, source);
        });
    }
    /// `then` for the value alone; an error passes on.
    template <typename Fulfilled>
    QPromise<typename Detail::HandlerResult<std::decay_t<Fulfilled>, T>::type> then(Fulfilled &&onFulfilled) const
    {
        return then(std::forward<Fulfilled>(onFulfilled), nullptr);
    }

    /// `then` for the rejection alone; a value passes on.
    template <typename Rejected>
    QPromise<T> fail(Rejected &&onRejected) const
    {
        return then(nullptr, std::forward<Rejected>(onRejected));
    }

    /// Calls `handler`, which takes nothing, for every outcome. The outcome stays the same, unless the handler throws
    /// or returns a promise that is rejected; a returned promise is awaited.
    template <typename Handler>
    QPromise<T> finally(Handler &&handler) const
    {
        return attach<T>([call = std::decay_t<Handler>(std::forward<Handler>(handler))](
                             const std::shared_ptr<Detail::State> &source) mutable {
            return Detail::keptOutcome(source, source->isFailed() ? Detail::onAnyError<void>(call, source)
                                                                  : Detail::onValue<void, void>(call, source));
        });
    }

    /// `finally` for a value alone, which the handler may take.
    template <typename Handler>
    QPromise<T> tap(Handler &&handler) const
    {
        return attach<T>([call = std::decay_t<Handler>(std::forward<Handler>(handler))](
                             const std::shared_ptr<Detail::State> &source) mutable {
            return source->isFailed() ? source->outcome()
                                      : Detail::keptOutcome(source, Detail::onValue<T, void>(call, source));
        });
    }

    /// `finally` for a rejection alone; the handler names the type of error as with `fail`.
    template <typename Handler>
    QPromise<T> tapFail(Handler &&handler) const
    {
        return attach<T>([call = std::decay_t<Handler>(std::forward<Handler>(handler))](
                             const std::shared_ptr<Detail::State> &source) mutable {
            return source->isFailed() ? Detail::keptOutcome(source, Detail::onError<void>(call, source)) : source->outcome();
        });
    }

    /// Fulfils `msec` milliseconds after this promise; a rejection passes without delay. The calling thread keeps the time,
    /// so it needs a QCoreApplication and has to process events. Qt warns of a negative time and never lets it pass: the
    /// promise given back stays pending.
    QPromise<T> delay(int msec) const;

    /// Settles like this promise, but is rejected with QPromiseTimeoutException if that takes longer than `msec`
    /// milliseconds from now. The time is kept as with `delay()`, and a negative one never passes; this promise itself is
    /// left alone.
    QPromise<T> timeout(int msec) const;

    /// Returns this promise once it has settled. Until then processes the calling thread's events of every kind and
    /// posted deferred deletions, so anything may happen meanwhile, also further waits on top of this one; each returns
    /// when its own promise has settled and those on top of it have returned. Sleeps while there is nothing to do.
    /// Without a QCoreApplication no events are processed, only handlers run. Does not return for a promise that never
    /// settles.
    QPromise<T> wait() const
    {
        // This handle may be gone before the wait is over.
        QPromise<T> self = Detail::Access::promise<T>(m_state);
        Detail::waitFor(*Detail::Access::state(self));
        return self;
    }

protected:
    /// A handle of this state.
    explicit QPromiseBase(std::shared_ptr<Detail::State> state) : m_state(std::move(state)) {}

private:
    friend struct Detail::Access;

    template <typename Call>
    void construct(Call call)
    {
        const auto settler = std::make_shared<Detail::Settler>(m_state);
        try {
            call(settler);
        } catch (...) {
            QPromiseReject<T>{settler}(std::current_exception());
        }
    }

    template <typename Target, typename What>
    QPromise<Target> attach(What what) const
    {
        auto target = std::make_shared<Detail::State>();
        m_state->attach(Detail::makeJob(Detail::HandlerQueue::current(), target, std::move(what)));
        return Detail::Access::promise<Target>(std::move(target));
    }

    std::shared_ptr<Detail::State> m_state;
};

/// A value that is available later, or an error instead. T is any copyable type. QPromiseBase describes all but the members
/// below.
template <typename T>
class QPromise : public QPromiseBase<T>
{
public:
    using QPromiseBase<T>::QPromiseBase;

    /// A fulfilled promise. A promise given as value is returned unchanged.
    static QPromise resolve(const T &value)
    {
        return Detail::settledPromise<T>(Detail::outcomeOf<T>([&]() -> const T & { return value; }));
    }
    /// The same, without a copy of the value.
    static QPromise resolve(T &&value)
    {
        return Detail::settledPromise<T>(Detail::outcomeOf<T>([&]() -> T && { return std::move(value); }));
    }
    /// Returns `promise`.
    static QPromise resolve(const QPromise &promise) { return promise; }

    /// QtPromise::map and QtPromise::each on the sequence that this promise holds.
    template <typename F, typename Sequence = T>
    QPromise<QVector<Detail::MappedElement<Sequence, F>>> map(F fn) const;
    /// See `map`.
    template <typename F>
    QPromise<T> each(F fn) const;

private:
    friend struct Detail::Access;

    explicit QPromise(std::shared_ptr<Detail::State> state) : QPromiseBase<T>(std::move(state)) {}
};

/// Something that is done later, or an error instead.
template <>
class QPromise<void> : public QPromiseBase<void>
{
public:
    using QPromiseBase<void>::QPromiseBase;

    /// A fulfilled promise.
    static QPromise resolve() { return Detail::settledPromise<void>(Detail::Outcome()); }
    /// Returns `promise`.
    static QPromise resolve(const QPromise &promise) { return promise; }

private:
    friend struct Detail::Access;

    explicit QPromise(std::shared_ptr<Detail::State> state) : QPromiseBase<void>(std::move(state)) {}
};

namespace Detail {

/// Calls `fn` later in this thread, unless that ends before.
template <typename F>
void startTimer(int msec, F fn)
{
    HandlerQueue::current();                                   // makes the event dispatcher that the timer needs
    QTimer::singleShot(msec, Qt::PreciseTimer, std::move(fn)); // the coarse one may be early
}

} // namespace Detail

template <typename T>
QPromise<T> QPromiseBase<T>::delay(int msec) const
{
    return tap([msec] {
        return QPromise<void>(
            [msec](const QPromiseResolve<void> &resolve) { Detail::startTimer(msec, [resolve] { resolve(); }); });
    });
}

template <typename T>
QPromise<T> QPromiseBase<T>::timeout(int msec) const
{
    auto state = std::make_shared<Detail::State>();
    const auto settler = std::make_shared<Detail::Settler>(state);
    m_state->attach(Detail::makeJob(nullptr, nullptr, [settler](const std::shared_ptr<Detail::State> &source) noexcept {
        if (const std::shared_ptr<Detail::State> target = settler->take())
            target->settle(source->outcome());
        return Detail::Outcome();
    }));
    if (state->status() == Detail::State::Status::Pending) {
        const QPromiseReject<T> reject(settler);
        Detail::startTimer(msec, [reject] { reject(QPromiseTimeoutException()); });
    }
    return Detail::Access::promise<T>(std::move(state));
}

} // namespace Bundled
} // namespace QtPromise

#pragma once

#include "QPromise.h"

#include <QtCore/QVector>

#include <atomic>
#include <cstddef>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace QtPromise {
inline namespace Bundled {

/// A fulfilled promise of the value's plain type.
template <typename T, std::enable_if_t<!Detail::IsPromise<T>::value, int> = 0>
QPromise<std::decay_t<T>> resolve(T &&value)
{
    return QPromise<std::decay_t<T>>::resolve(std::forward<T>(value));
}

/// A promise given as value is returned unchanged.
template <typename T>
QPromise<T> resolve(QPromise<T> promise)
{
    return promise;
}

/// A fulfilled promise without a value.
inline QPromise<void> resolve()
{
    return QPromise<void>::resolve();
}

/// Calls `fn` with the arguments at once. The promise takes what `fn` returns: a value, a promise that is followed, or
/// the exception that leaves it.
template <typename F, typename... Args>
auto attempt(F &&fn, Args &&...args)
    -> QPromise<Detail::Unwrapped<decltype(std::forward<F>(fn)(std::forward<Args>(args)...))>>
{
    using T = Detail::Unwrapped<decltype(std::forward<F>(fn)(std::forward<Args>(args)...))>;
    return Detail::settledPromise<T>(
        Detail::outcomeOf<T>([&]() -> decltype(auto) { return std::forward<F>(fn)(std::forward<Args>(args)...); }));
}

namespace Detail {

template <typename R>
struct GatheredType {
    using type = QVector<R>;
};
template <>
struct GatheredType<void> {
    using type = void;
};
template <typename R>
using Gathered = typename GatheredType<R>::type;

/// Collects the values of many promises. Belongs to the jobs attached to them and holds none of them, only the values.
template <typename R>
class Gathering
{
public:
    Gathering(std::size_t count, std::shared_ptr<State> target)
        : m_values(count), m_missing(count), m_settler(std::move(target))
    {
        if (count == 0)
            finish();
    }

    void take(std::size_t index, const std::shared_ptr<State> &source) noexcept
    {
        if (source->isFailed()) {
            settle(source->outcome());
            return;
        }
        m_values[index] = source->anyValue();
        if (m_missing.fetch_sub(1, std::memory_order_acq_rel) == 1)
            finish();
    }

private:
    void finish() noexcept
    {
        settle(outcomeOf<Gathered<R>>([this] { return result(static_cast<R *>(nullptr)); }));
    }

    void result(void *) const {}

    template <typename V>
    QVector<V> result(V *) const
    {
        QVector<V> all;
        all.reserve(static_cast<int>(m_values.size()));
        for (const std::shared_ptr<const void> &value : m_values)
            all.append(*static_cast<const V *>(value.get()));
        return all;
    }

    void settle(Outcome outcome) noexcept
    {
        if (const std::shared_ptr<State> target = m_settler.take())
            target->settle(std::move(outcome));
    }

    std::vector<std::shared_ptr<const void>> m_values;
    std::atomic<std::size_t> m_missing;
    Settler m_settler;
};

} // namespace Detail

/// Fulfilled with all values, in the order of the sequence, when every promise of it is fulfilled; rejected as soon as
/// one of them is, with its error. An empty sequence is fulfilled at once. Promises of nothing give a promise of
/// nothing.
template <typename Sequence>
QPromise<Detail::Gathered<Detail::Unwrapped<Detail::ElementOf<Sequence>>>> all(const Sequence &promises)
{
    static_assert(Detail::IsPromise<Detail::ElementOf<Sequence>>::value, "all() takes a sequence of promises");
    using R = Detail::Unwrapped<Detail::ElementOf<Sequence>>;
    auto state = std::make_shared<Detail::State>();
    const auto count = static_cast<std::size_t>(std::distance(std::begin(promises), std::end(promises)));
    const auto gathering = std::make_shared<Detail::Gathering<R>>(count, state);
    std::size_t index = 0;
    for (const auto &promise : promises) {
        Detail::Access::state(promise)->attach(
            Detail::makeJob(nullptr, nullptr, [gathering, index](const std::shared_ptr<Detail::State> &source) noexcept {
                gathering->take(index, source);
                return Detail::Outcome();
            }));
        ++index;
    }
    return Detail::Access::promise<Detail::Gathered<R>>(std::move(state));
}

/// Calls `fn(value, index)`, or `fn(value)`, for each element, in order and at once, and collects what it returns, in
/// the same order; returned promises are followed. The first rejection or exception rejects, but every element has its
/// call.
template <typename Sequence, typename F>
QPromise<QVector<Detail::MappedElement<Sequence, F>>> map(const Sequence &sequence, F fn)
{
    using V = Detail::ElementOf<Sequence>;
    using R = Detail::MappedElement<Sequence, F>;
    static_assert(!std::is_void<R>::value, "map() needs a function that returns a value; each() does not");
    std::vector<QPromise<R>> results;
    int index = 0;
    for (const V &value : sequence) {
        results.push_back(attempt(
            [&]() -> decltype(auto) { return Detail::callForElement(fn, value, index, Detail::TakesIndex<F, V>()); }));
        ++index;
    }
    return all(results);
}

namespace Detail {

template <typename Sequence, typename F>
QPromise<Sequence> eachNow(const Sequence &sequence, F &fn)
{
    using V = Detail::ElementOf<Sequence>;
    Detail::Outcome outcome;
    outcome.value = std::make_shared<Sequence>(sequence);
    outcome.keep = true;
    std::vector<QPromise<void>> done;
    int index = 0;
    for (const V &value : sequence) {
        done.push_back(Detail::settledPromise<void>(Detail::outcomeOf<void>(
            [&]() -> decltype(auto) { return Detail::callForElement(fn, value, index, Detail::TakesIndex<F, V>()); })));
        ++index;
    }
    outcome.awaited = Detail::Access::state(all(done));
    return Detail::settledPromise<Sequence>(std::move(outcome));
}

} // namespace Detail

/// Calls `fn(value, index)`, or `fn(value)`, for each element, in order, but later, by the calling thread's event loop.
/// Leaves the values that it returns aside and gives the sequence itself, once every promise that it returned is fulfilled.
template <typename Sequence, typename F>
QPromise<Sequence> each(const Sequence &sequence, F fn)
{
    return QPromise<Sequence>::resolve(sequence).each(std::move(fn));
}

template <typename T>
template <typename F, typename Sequence>
QPromise<QVector<Detail::MappedElement<Sequence, F>>> QPromise<T>::map(F fn) const
{
    return this->then(
        [call = std::move(fn)](const T &sequence) mutable { return QtPromise::map(sequence, std::move(call)); });
}

template <typename T>
template <typename F>
QPromise<T> QPromise<T>::each(F fn) const
{
    return this->then([call = std::move(fn)](const T &sequence) mutable { return Detail::eachNow(sequence, call); });
}

} // namespace Bundled
} // namespace QtPromise

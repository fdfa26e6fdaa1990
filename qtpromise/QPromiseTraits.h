#pragma once

#include "QPromiseState.h"

#include <QtCore/QVector>

#include <cstddef>
#include <exception>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

template <typename T>
class QFuture;

/// Calls of handlers and conversion of their results. Not for direct use.
namespace QtPromise {
inline namespace Bundled {

template <typename T>
class QPromise;

namespace Detail {

template <typename...>
struct MakeVoid {
    using type = void;
};

template <typename Void, typename F, typename... Args>
struct CallableTest : std::false_type {
};
template <typename F, typename... Args>
struct CallableTest<typename MakeVoid<decltype(std::declval<F>()(std::declval<Args>()...))>::type, F, Args...>
    : std::true_type {
};
template <typename F, typename... Args>
using IsCallable = CallableTest<void, F, Args...>;

/// T for a promise of T, else the plain type itself.
template <typename R>
struct UnwrapPlain {
    using type = R;
    static constexpr bool isPromise = false;
};
template <typename T>
struct UnwrapPlain<QPromise<T>> {
    using type = T;
    static constexpr bool isPromise = true;
};
template <typename R>
using Unwrapped = typename UnwrapPlain<std::decay_t<R>>::type;
template <typename R>
using IsPromise = std::integral_constant<bool, UnwrapPlain<std::decay_t<R>>::isPromise>;

/// Access to the state of a promise.
struct Access {
    template <typename Promise>
    static const std::shared_ptr<State> &state(const Promise &promise)
    {
        return promise.m_state;
    }
    template <typename T>
    static QPromise<T> promise(std::shared_ptr<State> state)
    {
        return QPromise<T>(std::move(state));
    }
};

template <typename R>
struct IsFuture : std::false_type {
};
template <typename T>
struct IsFuture<QFuture<T>> : std::true_type {
};

struct GivesNothing {
};
struct GivesValue {
};
struct GivesPromise {
};

template <typename T, typename Call>
Outcome evaluate(Call &call, GivesNothing)
{
    static_cast<void>(call());
    return Outcome();
}

/// The value is moved or copied into its place, once.
template <typename T, typename Call>
Outcome evaluate(Call &call, GivesValue)
{
    using Result = decltype(call());
    using Given = std::conditional_t<std::is_same<std::decay_t<Result>, T>::value, Result &&, T>;
    Outcome outcome;
    outcome.value = std::make_shared<T>(static_cast<Given>(call()));
    return outcome;
}

template <typename T, typename Call>
Outcome evaluate(Call &call, GivesPromise)
{
    Outcome outcome;
    outcome.awaited = Access::state(call());
    return outcome;
}

/// What a promise of T settles with when it takes the result of `call`: value, promise or exception. For void any
/// result will do.
template <typename T, typename Call>
Outcome outcomeOf(Call call) noexcept
{
    using R = std::decay_t<decltype(call())>;
    using Given = Unwrapped<R>;
    static_assert(!IsFuture<R>::value, "a QFuture is not followed: use QFutureWatcher and a resolver");
    static_assert(std::is_void<T>::value || !std::is_void<Given>::value, "the handler has to return a value");
    static_assert(std::is_void<T>::value || std::is_same<Given, T>::value
                      || (!IsPromise<R>::value && std::is_convertible<Given, T>::value),
                  "the handler returns the wrong type for this promise");
    using Kind = std::conditional_t<IsPromise<R>::value, GivesPromise,
                                    std::conditional_t<std::is_void<T>::value, GivesNothing, GivesValue>>;
    try {
        return evaluate<T>(call, Kind());
    } catch (...) {
        return Outcome::rejected(std::current_exception());
    }
}

template <typename T>
QPromise<T> settledPromise(Outcome outcome)
{
    auto state = std::make_shared<State>();
    state->settle(std::move(outcome));
    return Access::promise<T>(std::move(state));
}

// --- Handlers of a value: they take it, or nothing.

template <typename F, typename T>
struct TakesValue : IsCallable<F &, const T &> {
};
template <typename F>
struct TakesValue<F, void> : std::false_type {
};

template <typename T, typename F>
decltype(auto) callWithValue(F &handler, const State &source, std::true_type)
{
    return handler(source.value<T>());
}

template <typename T, typename F>
decltype(auto) callWithValue(F &handler, const State &, std::false_type)
{
    static_assert(IsCallable<F &>::value, "the handler has to take the promise's value, or nothing");
    return handler();
}

/// What the promise given by a handler holds; without a handler (null) the same as its source.
template <typename F, typename T>
struct HandlerResult {
    using type = Unwrapped<decltype(callWithValue<T>(std::declval<F &>(), std::declval<const State &>(),
                                                     typename TakesValue<F, T>::type()))>;
};
template <typename T>
struct HandlerResult<std::nullptr_t, T> {
    using type = T;
};

template <typename Source, typename Target, typename F>
Outcome onValue(F &handler, const std::shared_ptr<State> &source) noexcept
{
    return outcomeOf<Target>(
        [&]() -> decltype(auto) { return callWithValue<Source>(handler, *source, typename TakesValue<F, Source>::type()); });
}

template <typename Source, typename Target>
Outcome onValue(std::nullptr_t, const std::shared_ptr<State> &source) noexcept
{
    return source->outcome();
}

// --- Handlers of an error: they name its type, or nothing to take all.

struct TakesAnyError {
};

template <typename... Args>
struct FirstOf {
    static_assert(sizeof...(Args) <= 1, "a handler of rejections takes one argument, or none");
    using type = TakesAnyError;
};
template <typename Arg>
struct FirstOf<Arg> {
    using type = Arg;
};

template <typename F>
struct ArgumentOf;
template <typename R, typename... Args>
struct ArgumentOf<R (*)(Args...)> : FirstOf<Args...> {
};
template <typename R, typename C, typename... Args>
struct ArgumentOf<R (C::*)(Args...)> : FirstOf<Args...> {
};
template <typename R, typename C, typename... Args>
struct ArgumentOf<R (C::*)(Args...) const> : FirstOf<Args...> {
};
#ifdef __cpp_noexcept_function_type
template <typename R, typename... Args>
struct ArgumentOf<R (*)(Args...) noexcept> : FirstOf<Args...> {
};
template <typename R, typename C, typename... Args>
struct ArgumentOf<R (C::*)(Args...) noexcept> : FirstOf<Args...> {
};
template <typename R, typename C, typename... Args>
struct ArgumentOf<R (C::*)(Args...) const noexcept> : FirstOf<Args...> {
};
#endif

/// A functor with several call operators has no one argument; it is taken for a handler of all errors.
template <typename F, typename = void>
struct ErrorArgument {
    using type = TakesAnyError;
};
template <typename F>
struct ErrorArgument<F, typename MakeVoid<decltype(&F::operator())>::type> : ArgumentOf<decltype(&F::operator())> {
};
template <typename F>
struct ErrorArgument<F *, void> : ArgumentOf<F *> {
};

/// How an error is caught for a handler. Pointers by value: clang looks for a pointer caught by reference in the wrong
/// place when the exception was rethrown from a std::exception_ptr.
template <typename Arg>
struct Caught {
    using E = std::decay_t<Arg>;
    using Reference = std::conditional_t<std::is_lvalue_reference<Arg>::value, Arg, const E &>;
    using type = std::conditional_t<std::is_pointer<E>::value, E, Reference>;
};

/// The outcome of a handler that runs inside a catch of the source's error. With `throw;` the error stays the source's.
template <typename Target, typename Call>
Outcome outcomeInCatch(Call call, const std::shared_ptr<State> &source) noexcept
{
    Outcome outcome = outcomeOf<Target>(std::move(call));
    if (outcome.thrown && outcome.thrown == source->error())
        return source->outcome();
    return outcome;
}

template <typename Target, typename F>
Outcome onAnyError(F &handler, const std::shared_ptr<State> &source) noexcept
{
    try {
        std::rethrow_exception(source->error());
    } catch (...) {
        return outcomeInCatch<Target>([&]() -> decltype(auto) { return handler(); }, source);
    }
}

template <typename Target, typename F>
Outcome onErrorOf(F &handler, const std::shared_ptr<State> &source, TakesAnyError *) noexcept
{
    static_assert(IsCallable<F &>::value, "the handler has to take one type of error, or nothing");
    return onAnyError<Target>(handler, source);
}

template <typename Target, typename F, typename E>
Outcome onErrorOf(F &handler, const std::shared_ptr<State> &source, E *) noexcept
{
    using Catch = typename Caught<typename ErrorArgument<F>::type>::type;
    try {
        std::rethrow_exception(source->error());
    } catch (Catch error) { // NOLINT(cert-err09-cpp,cert-err61-cpp): by value for pointers only, see Caught
        return outcomeInCatch<Target>([&]() -> decltype(auto) { return handler(error); }, source);
    } catch (...) {
        return source->outcome();
    }
}

template <typename Target, typename F>
Outcome onError(F &handler, const std::shared_ptr<State> &source) noexcept
{
    using Argument = std::remove_reference_t<typename ErrorArgument<F>::type>;
    return onErrorOf<Target>(handler, source, static_cast<std::remove_cv_t<Argument> *>(nullptr));
}

template <typename Target>
Outcome onError(std::nullptr_t, const std::shared_ptr<State> &source) noexcept
{
    return source->outcome();
}

/// The source's outcome, which is kept unless the handler's own (a promise of nothing) fails.
inline Outcome keptOutcome(const std::shared_ptr<State> &source, Outcome handlers) noexcept
{
    if (handlers.thrown || handlers.passed)
        return handlers;
    Outcome outcome = source->outcome();
    outcome.awaited = std::move(handlers.awaited);
    outcome.keep = true;
    return outcome;
}

// --- Errors and sequences

template <typename E>
std::exception_ptr errorPointer(E &&error)
{
    return std::make_exception_ptr(std::decay_t<E>(std::forward<E>(error)));
}
inline std::exception_ptr errorPointer(std::exception_ptr error)
{
    return error;
}

template <typename Sequence>
using ElementOf = std::decay_t<decltype(*std::begin(std::declval<const Sequence &>()))>;

template <typename F, typename V>
decltype(auto) callForElement(F &fn, const V &value, int index, std::true_type)
{
    return fn(value, index);
}

template <typename F, typename V>
decltype(auto) callForElement(F &fn, const V &value, int, std::false_type)
{
    return fn(value);
}

template <typename F, typename V>
using TakesIndex = typename IsCallable<F &, const V &, int>::type;

/// What `map` collects from one call.
template <typename Sequence, typename F>
using MappedElement = Unwrapped<decltype(callForElement(std::declval<F &>(), std::declval<const ElementOf<Sequence> &>(), 0,
                                                        TakesIndex<F, ElementOf<Sequence>>()))>;

} // namespace Detail
} // namespace Bundled
} // namespace QtPromise

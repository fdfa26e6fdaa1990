#pragma once

#include "QPromiseException.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QEventLoop>
#include <QtCore/QObject>
#include <QtCore/QThread>

#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>

/// The implementation of QPromise: shared states, each thread's queue of handlers, and waiting. Not for direct use.
///
/// Locks. Each state and each queue has its own mutex; a state's may be held while a queue's is taken, never the other
/// way round. Neither is held while a handler runs or is destroyed. Settled outcomes are written once, under the
/// state's mutex, and read without it by code that has found them settled under the mutex.
///
/// Memory. Whatever settling needs (the job, its event) is allocated when a handler is attached, so settling cannot
/// fail.
namespace QtPromise {
inline namespace Bundled {
namespace Detail {

class HandlerQueue;
class State;

/// The outcome of a promise: an error, else the value (null for void).
struct Outcome {
    std::shared_ptr<const void> value;
    /// The error, when it arises here.
    std::exception_ptr thrown;
    /// The error, when another promise owns it. Errors are handed on this way because the standard library counts the
    /// references to an exception where ThreadSanitizer does not look.
    std::shared_ptr<const std::exception_ptr> passed;
    /// A promise to await first; its rejection replaces this outcome, its fulfilment only if `keep` is not set.
    std::shared_ptr<State> awaited;
    bool keep = false;

    static Outcome rejected(std::exception_ptr error)
    {
        Outcome outcome;
        outcome.thrown = error ? std::move(error) : std::make_exception_ptr(std::bad_exception());
        return outcome;
    }
};

/// Announces one handler of a queue to the event dispatcher of the queue's thread. When it is destroyed without having
/// been delivered, because an event filter stopped it or it was removed, the queue takes the handler back.
class HandlerEvent final : public QEvent
{
public:
    explicit HandlerEvent(std::shared_ptr<HandlerQueue> queue);
    ~HandlerEvent() override;

    /// Before it is posted.
    void announce() noexcept { m_isPending.store(true, std::memory_order_release); }
    void deliver() noexcept;

    static QEvent::Type registeredType()
    {
        static const int type = QEvent::registerEventType();
        return static_cast<QEvent::Type>(type);
    }

private:
    const std::shared_ptr<HandlerQueue> m_queue;
    /// Atomic because ThreadSanitizer does not see that Qt's own locks order posting and delivery.
    std::atomic<bool> m_isPending{false};

    Q_DISABLE_COPY(HandlerEvent)
};

/// Something to do once a promise (its source) has settled; its result settles another promise (its target), if it has
/// one. Belongs to the source until that has settled, then to the queue of the thread that is to run it.
class Job
{
public:
    Job(std::shared_ptr<HandlerQueue> runsIn, std::shared_ptr<State> settles)
        : event(runsIn ? new HandlerEvent(runsIn) : nullptr), queue(std::move(runsIn)), target(std::move(settles))
    {
    }
    virtual ~Job() = default;
    virtual Outcome run(const std::shared_ptr<State> &settled) noexcept = 0;

    std::unique_ptr<HandlerEvent> event;
    /// Null: an internal job without handlers, run inline by the settling thread.
    std::shared_ptr<HandlerQueue> queue;
    /// Set only when the source has released the job, so that there is no reference cycle.
    std::shared_ptr<State> source;
    std::shared_ptr<State> target;
    Job *next = nullptr;

    Q_DISABLE_COPY(Job)
};

template <typename Function>
class FunctionJob final : public Job
{
public:
    FunctionJob(std::shared_ptr<HandlerQueue> runsIn, std::shared_ptr<State> settles, Function what)
        : Job(std::move(runsIn), std::move(settles)), m_what(std::move(what))
    {
    }
    Outcome run(const std::shared_ptr<State> &settled) noexcept override { return m_what(settled); }

private:
    Function m_what;
};

/// `what` takes the settled source and returns an Outcome; it must not throw.
template <typename Function>
std::unique_ptr<Job> makeJob(std::shared_ptr<HandlerQueue> runsIn, std::shared_ptr<State> settles, Function what)
{
    return std::unique_ptr<Job>(new FunctionJob<Function>(std::move(runsIn), std::move(settles), std::move(what)));
}

/// First in, first out; owns its jobs and never allocates.
class JobList
{
public:
    JobList() = default;
    ~JobList() { clear(); }

    Job &append(std::unique_ptr<Job> job) noexcept
    {
        Job *added = job.release();
        *(m_first ? &m_last->next : &m_first) = added;
        m_last = added;
        return *added;
    }

    std::unique_ptr<Job> takeFirst() noexcept
    {
        std::unique_ptr<Job> job(m_first);
        if (job) {
            m_first = job->next;
            job->next = nullptr;
        }
        return job;
    }

    Job *first() const noexcept { return m_first; }

    int count() const noexcept
    {
        int jobs = 0;
        for (const Job *job = m_first; job; job = job->next)
            ++jobs;
        return jobs;
    }

    void swap(JobList &other) noexcept
    {
        std::swap(m_first, other.m_first);
        std::swap(m_last, other.m_last);
    }

    /// Destroying a job may destroy its target and with it further jobs: a long chain of promises that were never settled.
    /// They all join the list of the outermost call, so that the stack does not grow with the chain.
    void clear() noexcept
    {
        static thread_local JobList *dying = nullptr;
        if (!m_first)
            return;
        if (dying) {
            *(dying->m_first ? &dying->m_last->next : &dying->m_first) = m_first;
            dying->m_last = m_last;
            m_first = nullptr;
            return;
        }
        JobList chain;
        chain.swap(*this);
        dying = &chain;
        while (chain.m_first)
            chain.takeFirst();
        dying = nullptr;
    }

private:
    Job *m_first = nullptr;
    Job *m_last = nullptr;

    Q_DISABLE_COPY(JobList)
};

/// One wait() in progress; on the stack of the waiting thread.
class WaitFrame
{
public:
    explicit WaitFrame(HandlerQueue &queue);
    ~WaitFrame();

    bool isSettled() const noexcept { return m_settled.load(std::memory_order_acquire); }
    /// From any thread, with the state's mutex held, which keeps the frame alive meanwhile.
    void settled() noexcept;
    /// Runs pending handlers and events, then sleeps until there are more.
    void processEvents();

    WaitFrame *nextInState = nullptr;

private:
    friend class HandlerQueue;

    HandlerQueue &m_queue;
    QAbstractEventDispatcher *const m_dispatcher;
    WaitFrame *const m_outer;
    const int m_loopLevel;
    std::atomic<bool> m_settled{false};

    Q_DISABLE_COPY(WaitFrame)
};

/// The state that all copies of a promise share.
class State : public std::enable_shared_from_this<State>
{
public:
    enum class Status { Pending, Fulfilled, Rejected };

    State() = default;

    Status status() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_status;
    }

    /// Only for a settled promise.
    bool isFailed() const noexcept { return m_thrown || m_passed; }
    template <typename T>
    const T &value() const noexcept
    {
        return *static_cast<const T *>(m_value.get());
    }
    const std::shared_ptr<const void> &anyValue() const noexcept { return m_value; }
    const std::exception_ptr &error() const noexcept { return m_passed ? *m_passed : m_thrown; }

    /// A copy of the outcome for another promise; the value and the error are shared.
    Outcome outcome() const noexcept
    {
        Outcome same;
        same.value = m_value;
        if (m_passed)
            same.passed = m_passed;
        else if (m_thrown)
            same.passed = std::shared_ptr<const std::exception_ptr>(shared_from_this(), &m_thrown);
        return same;
    }

    /// Handlers are handed out in the order of attaching. While one thread hands out, others only append; otherwise a
    /// handler attached just after settling could overtake the earlier ones.
    void attach(std::unique_ptr<Job> job) noexcept
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_jobs.append(std::move(job));
            if (m_status == Status::Pending || m_handingOut)
                return;
            m_handingOut = true;
        }
        handOut();
    }

    /// Only the first call has an effect.
    void settle(Outcome outcome) noexcept
    {
        if (outcome.awaited) {
            try {
                await(outcome);
                return;
            } catch (...) {
                outcome = Outcome::rejected(std::current_exception());
            }
        }
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_status != Status::Pending)
                return;
            m_value = std::move(outcome.value);
            m_thrown = std::move(outcome.thrown);
            m_passed = std::move(outcome.passed);
            m_status = isFailed() ? Status::Rejected : Status::Fulfilled;
            m_handingOut = true;
            for (WaitFrame *frame = m_waiting; frame; frame = frame->nextInState)
                frame->settled();
        }
        handOut();
    }

    /// Does a job whose source has settled. The handler is destroyed before the target settles: by then everything that it
    /// held is released.
    static void perform(std::unique_ptr<Job> job) noexcept
    {
        Outcome outcome = job->run(job->source);
        const std::shared_ptr<State> target = std::move(job->target);
        job.reset();
        if (target)
            target->settle(std::move(outcome));
    }

    void enrol(WaitFrame &frame)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        frame.nextInState = m_waiting;
        m_waiting = &frame;
        if (m_status != Status::Pending)
            frame.settled();
    }

    void withdraw(WaitFrame &frame) noexcept
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (WaitFrame **place = &m_waiting; *place; place = &(*place)->nextInState) {
            if (*place == &frame) {
                *place = frame.nextInState;
                return;
            }
        }
    }

private:
    void await(Outcome &outcome)
    {
        if (outcome.awaited.get() == this)
            throw std::logic_error("a promise cannot wait for itself");
        const std::shared_ptr<State> awaited = std::move(outcome.awaited);
        if (outcome.keep) {
            awaited->attach(makeJob(nullptr, shared_from_this(),
                                    [kept = std::move(outcome)](const std::shared_ptr<State> &settled) mutable {
                                        return settled->isFailed() ? settled->outcome() : std::move(kept);
                                    }));
        } else {
            awaited->attach(makeJob(nullptr, shared_from_this(),
                                    [](const std::shared_ptr<State> &settled) { return settled->outcome(); }));
        }
    }

    void handOut() noexcept;

    /// Doing a job may settle a further promise, which hands out its jobs in turn. Those join the list of the outermost
    /// call, so that the stack does not grow with the chain.
    static void performSoon(std::unique_ptr<Job> job) noexcept
    {
        static thread_local JobList *ready = nullptr;
        if (ready) {
            ready->append(std::move(job));
            return;
        }
        JobList chain;
        chain.append(std::move(job));
        ready = &chain;
        while (std::unique_ptr<Job> next = chain.takeFirst())
            perform(std::move(next));
        ready = nullptr;
    }

    mutable std::mutex m_mutex;
    Status m_status = Status::Pending;
    bool m_handingOut = false;
    std::shared_ptr<const void> m_value;
    std::exception_ptr m_thrown;
    std::shared_ptr<const std::exception_ptr> m_passed;
    JobList m_jobs;
    WaitFrame *m_waiting = nullptr;

    Q_DISABLE_COPY(State)
};

/// The handlers that one thread has still to run. Each is announced to the thread's event dispatcher by one posted
/// event, so that it takes its turn among all other events. The handlers themselves travel here, under a standard
/// mutex, and every event runs the first of them: their order stays, whichever event is delivered or lost.
///
/// Where nothing can be posted, because there is no application or no memory, the handlers stay here unannounced. The
/// thread's wait() runs them, or its event dispatcher announces them in its next round.
class HandlerQueue : public std::enable_shared_from_this<HandlerQueue>
{
public:
    HandlerQueue() = default;

    /// The calling thread's own queue, connected to its event dispatcher, which is made if there is none yet.
    static std::shared_ptr<HandlerQueue> current();

    void post(std::unique_ptr<Job> job) noexcept
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_closed) {
            if (!announce(m_jobs.append(std::move(job)).event))
                leaveUnannounced();
            return;
        }
        lock.unlock();
        job.reset();
    }

    void runAnnounced() noexcept
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        std::unique_ptr<Job> job = m_jobs.takeFirst();
        lock.unlock();
        if (job)
            State::perform(std::move(job));
    }

    /// An announcement was destroyed undelivered. In the queue's own thread its handler runs at once: a new event could be
    /// stopped by the same filter again and again. In any other thread it is left to the queue's thread.
    void takeBack() noexcept
    {
        const std::thread::id here = std::this_thread::get_id();
        if (m_announcer.load() == here) {
            m_isRefused = true; // announce() deals with it
            return;
        }
        int outer = 0;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_receiver)
                return; // see detach()
            if (m_thread != here) {
                leaveUnannounced();
                return;
            }
            // Other events may have been removed together with this one, and are destroyed only when its handler returns. A
            // wait or an event loop inside the handler must not depend on them.
            outer = m_perhapsLost;
            m_perhapsLost = m_jobs.count();
        }
        runAnnounced();
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_perhapsLost = outer;
    }

    void runUnannounced() noexcept
    {
        for (;;) {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (!takeUnannounced())
                return;
            std::unique_ptr<Job> job = m_jobs.takeFirst();
            lock.unlock();
            if (job)
                State::perform(std::move(job));
        }
    }

    /// The thread is ending: drops its handlers, those to come as well. Called in that thread.
    void close() noexcept
    {
        JobList dropped;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_closed = true;
        m_receiver = nullptr;
        m_dispatcher = nullptr;
        m_unannounced = 0;
        dropped.swap(m_jobs);
    }

    /// The application, and with it the event dispatcher, is going, but not the thread: its handlers are kept for the next
    /// application, or for a wait(). Called in that thread.
    void detach() noexcept
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_receiver = nullptr;
        m_dispatcher = nullptr;
        m_unannounced = m_jobs.count();
    }

private:
    friend class HandlerEvent;
    friend class WaitFrame;

    /// A child of the dispatcher: it belongs to the queue's thread and is deleted with the dispatcher.
    class Receiver final : public QObject
    {
    public:
        Receiver(std::shared_ptr<HandlerQueue> queue, QAbstractEventDispatcher *dispatcher)
            : QObject(dispatcher), m_queue(std::move(queue))
        {
        }
        ~Receiver() override { m_queue->detach(); }

    protected:
        void customEvent(QEvent *event) override
        {
            if (event->type() == m_queue->m_eventType)
                static_cast<HandlerEvent *>(event)->deliver();
        }

    private:
        const std::shared_ptr<HandlerQueue> m_queue;
    };

    bool isClosed()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_closed;
    }

    /// For a thread that makes an application: handlers may be left from before.
    static void connectToApplication();

    void connectToDispatcher()
    {
        if (m_receiver || !QCoreApplication::instance())
            return;
        if (!QAbstractEventDispatcher::instance())
            QEventLoop makesDispatcher;
        QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
        if (!dispatcher)
            return;
        auto *receiver = new Receiver(shared_from_this(), dispatcher);
        // Before the dispatcher goes, not with it: another thread may be posting to it.
        QObject::connect(
            QThread::currentThread(), &QThread::finished, receiver, [this] { close(); }, Qt::DirectConnection);
        QObject::connect(
            dispatcher, &QAbstractEventDispatcher::aboutToBlock, receiver, [this] { aboutToSleep(); }, Qt::DirectConnection);
        QObject::connect(
            dispatcher, &QAbstractEventDispatcher::awake, receiver, [this] { announceRest(); }, Qt::DirectConnection);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_receiver = receiver;
        m_dispatcher = dispatcher;
        m_unannounced = 0;
        for (Job *job = m_jobs.first(); job; job = job->next) {
            if (!announce(job->event))
                leaveUnannounced();
        }
    }

    /// With the mutex held, which keeps the receiver alive.
    bool announce(std::unique_ptr<HandlerEvent> &event) noexcept
    {
        if (!m_receiver || !event)
            return false;
        m_announcer = std::this_thread::get_id();
        m_isRefused = false;
        try {
            event->announce();
            QCoreApplication::postEvent(m_receiver, event.release());
        } catch (...) {
            m_isRefused = true;
        }
        m_announcer = std::thread::id();
        return !m_isRefused;
    }

    /// With the mutex held.
    void leaveUnannounced() noexcept
    {
        ++m_unannounced;
        m_work.notify_all();
        if (!m_receiver)
            return;
        // Null as soon as the application ends; the receiver goes last, when nothing of the dispatcher can be called.
        if (QAbstractEventDispatcher *const dispatcher = QAbstractEventDispatcher::instance(m_receiver->thread()))
            dispatcher->wakeUp();
    }

    /// With the mutex held.
    bool takeUnannounced() noexcept
    {
        if (m_perhapsLost > 0)
            --m_perhapsLost;
        else if (m_unannounced > 0)
            --m_unannounced;
        else
            return false;
        return true;
    }

    /// In the queue's own thread: only there events are made and, but for the lost ones, destroyed, which ThreadSanitizer
    /// can follow.
    void announceRest() noexcept
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        while (m_unannounced + m_perhapsLost > 0) {
            std::unique_ptr<HandlerEvent> event(new (std::nothrow) HandlerEvent(shared_from_this()));
            if (!announce(event))
                return;
            takeUnannounced();
        }
    }

    /// A wake-up is lost to the innermost wait when something else of this thread took it: a wait nested in a handler,
    /// or a handler that processed events itself. So the last look before sleeping is here, after all handlers. An
    /// event loop that a handler runs on top of the wait is not covered.
    void aboutToSleep() noexcept
    {
        announceRest();
        if (m_top && m_top->isSettled() && m_top->m_loopLevel == QThread::currentThread()->loopLevel())
            m_dispatcher->wakeUp();
    }

    void sleepWithoutDispatcher(const WaitFrame &frame)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_work.wait(lock, [&] { return m_unannounced > 0 || frame.isSettled(); });
    }

    void wakeWithoutDispatcher() noexcept
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_work.notify_all();
    }

    const std::thread::id m_thread = std::this_thread::get_id();
    /// One for all events of the queue, whichever shared library makes them.
    const QEvent::Type m_eventType = HandlerEvent::registeredType();
    /// The thread that is posting an event, with the mutex held: postEvent() destroys the event when it fails, and
    /// QCoreApplication::compressEvent() may, too.
    std::atomic<std::thread::id> m_announcer{std::thread::id()};
    bool m_isRefused = false; ///< The event that is being posted.
    std::mutex m_mutex;
    std::condition_variable m_work;
    JobList m_jobs;
    int m_unannounced = 0;
    /// Of the jobs, while the handler of a lost event runs.
    int m_perhapsLost = 0;
    bool m_closed = false;
    Receiver *m_receiver = nullptr;
    QAbstractEventDispatcher *m_dispatcher = nullptr;
    /// The innermost wait; touched by the queue's own thread only.
    WaitFrame *m_top = nullptr;

    Q_DISABLE_COPY(HandlerQueue)
};

inline HandlerEvent::HandlerEvent(std::shared_ptr<HandlerQueue> queue)
    : QEvent(queue->m_eventType), m_queue(std::move(queue))
{
}

inline HandlerEvent::~HandlerEvent()
{
    if (m_isPending.load(std::memory_order_acquire))
        m_queue->takeBack();
}

inline void HandlerEvent::deliver() noexcept
{
    if (m_isPending.exchange(false, std::memory_order_acquire))
        m_queue->runAnnounced();
}

struct ThreadData {
    std::shared_ptr<HandlerQueue> queue;
    bool &isOver;
    ~ThreadData()
    {
        isOver = true;
        if (queue)
            queue->close();
    }
};

/// The calling thread's own; null once it has been destroyed with the thread. Visible, so that all shared libraries of
/// a process find the same one. Where they do not, each has its own, and the only loss is that a wait nested in one of
/// another library may keep the processor busy.
QTPROMISE_VISIBLE inline ThreadData *threadData()
{
    static thread_local bool isOver = false;
    static thread_local ThreadData data{nullptr, isOver};
    return isOver ? nullptr : &data;
}

inline std::shared_ptr<HandlerQueue> HandlerQueue::current()
{
    ThreadData *data = threadData();
    if (!data) {
        auto closed = std::make_shared<HandlerQueue>();
        closed->close();
        return closed;
    }
    if (!data->queue || data->queue->isClosed())
        data->queue = std::make_shared<HandlerQueue>();
    data->queue->connectToDispatcher();
    static const bool isKnownToApplications = (qAddPreRoutine(connectToApplication), true);
    static_cast<void>(isKnownToApplications);
    return data->queue;
}

inline void HandlerQueue::connectToApplication()
{
    const ThreadData *const data = threadData();
    if (data && data->queue && !data->queue->isClosed())
        data->queue->connectToDispatcher();
}

inline void State::handOut() noexcept
{
    for (;;) {
        std::unique_lock<std::mutex> lock(m_mutex);
        std::unique_ptr<Job> job = m_jobs.takeFirst();
        if (!job) {
            m_handingOut = false;
            return;
        }
        lock.unlock();
        job->source = shared_from_this();
        if (const std::shared_ptr<HandlerQueue> queue = job->queue)
            queue->post(std::move(job));
        else
            performSoon(std::move(job));
    }
}

inline WaitFrame::WaitFrame(HandlerQueue &queue)
    : m_queue(queue), m_dispatcher(queue.m_dispatcher), m_outer(queue.m_top),
      m_loopLevel(QThread::currentThread()->loopLevel())
{
    m_queue.m_top = this;
    // Where a handler waits, the dispatcher takes the events posted behind the handler for delivered.
    if (m_dispatcher)
        m_dispatcher->wakeUp();
}

inline WaitFrame::~WaitFrame()
{
    m_queue.m_top = m_outer;
    // Loops below this wait on the stack may have been woken, or told to quit, while this one consumed the wake-ups.
    if (m_dispatcher)
        m_dispatcher->wakeUp();
}

inline void WaitFrame::settled() noexcept
{
    m_settled.store(true, std::memory_order_release);
    if (m_dispatcher)
        m_dispatcher->wakeUp();
    else
        m_queue.wakeWithoutDispatcher();
}

inline void WaitFrame::processEvents()
{
    m_queue.runUnannounced();
    if (!m_dispatcher) {
        m_queue.sleepWithoutDispatcher(*this);
        return;
    }
    // Deferred deletions of this wait's own level must be sent explicitly, and then overtake all other posted events. So
    // they are sent when no other event is posted, so that an object gets its earlier events first. A timer may keep the
    // dispatcher busy all the time: after some rounds posted events alone count.
    constexpr int rounds = 100;
    constexpr auto posted = QEventLoop::X11ExcludeTimers | QEventLoop::ExcludeSocketNotifiers;
    for (int round = 0; m_dispatcher->processEvents(round < rounds ? QEventLoop::AllEvents : posted); ++round) {
        if (isSettled() || round == 2 * rounds)
            return;
    }
    if (isSettled())
        return;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (!isSettled())
        m_dispatcher->processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

/// Returns once the promise has settled. Every settling wakes the event dispatchers of the threads that wait for it; a
/// wake-up sent between the check and the sleep is kept by the dispatcher, so none is missed. The caller owns a reference to
/// the state.
inline void waitFor(State &awaited)
{
    if (awaited.status() != State::Status::Pending)
        return;
    const std::shared_ptr<HandlerQueue> queue = HandlerQueue::current();
    WaitFrame frame(*queue);
    struct Enrolment {
        State &state;
        WaitFrame &frame;
        ~Enrolment() { state.withdraw(frame); }
    };
    awaited.enrol(frame);
    const Enrolment enrolment{awaited, frame};
    while (!frame.isSettled())
        frame.processEvents();
}

/// A handle that settles a promise once; shared by all copies of the functors that settle that promise. It releases the
/// promise when it is used, so a functor that is kept for long does not keep the state alive.
class Settler
{
public:
    explicit Settler(std::shared_ptr<State> state) : m_state(std::move(state)) {}

    /// The promise for the first caller, null for all others.
    std::shared_ptr<State> take() noexcept
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::move(m_state);
    }

private:
    std::mutex m_mutex;
    std::shared_ptr<State> m_state;

    Q_DISABLE_COPY(Settler)
};

} // namespace Detail
} // namespace Bundled
} // namespace QtPromise

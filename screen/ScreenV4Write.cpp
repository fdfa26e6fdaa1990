// Writing coefficients to all sub-screens of a screen: all devices at the same time, one wait for all of them.
//
// Each sub-screen's write is a separate task of the event loop (a turn). It starts the upload and returns; the upload's
// result arrives in the event loop as well. Three sub-screens:
//
//     setCoefficients
//       |  map() posts the turns A, B, C
//       +- wait() for the chain
//            +- turn A: request to A's device
//            +- turn B: request to B's device
//            +- turn C: request to C's device
//            +- the results, in the order in which the uploads settle: a failed one is logged
//            +- each() combines the codes in the order A, B, C
//       wait() returns
//
// The time is that of the slowest device, and the stack does not grow with the number of devices.
//
// Nested turns: a sub-screen of the host's own returns when its device has settled, and a device service may run the event
// loop while it takes a request. Such a turn runs the next turns on top of itself on the stack. At most `maxNestedTurns` are
// nested like that; further turns are held back until one of them has returned.

#include <Correction/ScreenV4.h>

#include "cabinet/DeviceCall.h"
#include "model/Logging.h"
#include "screen/EmptySubScreen.h"
#include "screen/SubScreenWrite.h"

#include <QtCore/QThread>

#include <exception>
#include <memory>
#include <typeinfo>
#include <utility>

namespace Correction {
namespace {

using SubScreens = QMap<QString, ISubScreen *>;

/// They fit into a stack of 512 KiB.
constexpr int maxNestedTurns = 64;

quint64 currentThread()
{
    return reinterpret_cast<quintptr>(QThread::currentThreadId());
}

/// Rejects the list of sub-screens.
struct NullSubScreen {
};

/// A screen write. Its turns share it, since one may be left in the event queue when memory runs out before the wait.
struct ScreenWrite {
    ScreenWrite(const QRect &where, ICoefficient &grid) : rect(where), coefficient(grid) {}

    const QRect rect;
    ICoefficient &coefficient; ///< the caller's: not to be used once the write is over
    bool over = false;
    int codes = enSuccess; ///< bitwise OR
    bool rejected = false;
    int rejectedIndex = -1; ///< of the last rejected sub-screen
    std::exception_ptr exhausted;

    int nestedTurns = 0;
    QList<QtPromise::QPromiseResolve<void>> heldBack; ///< continue the turns beyond the limit, in order
};

/// RAII: marks the write as finished.
class WriteScope
{
public:
    explicit WriteScope(ScreenWrite &write) : m_write(write) {}
    ~WriteScope()
    {
        m_write.over = true;
        m_write.heldBack.clear(); // they own the write
    }
    WriteScope(const WriteScope &) = delete;
    WriteScope &operator=(const WriteScope &) = delete;

private:
    ScreenWrite &m_write;
};

/// RAII: counts a turn while it is on the stack, then continues one that was held back.
class Turn
{
public:
    explicit Turn(ScreenWrite &write) : m_write(write) { ++m_write.nestedTurns; }
    ~Turn()
    {
        --m_write.nestedTurns;
        if (!m_write.heldBack.isEmpty())
            m_write.heldBack.takeFirst()();
    }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

private:
    ScreenWrite &m_write;
};

/// One sub-screen's write.
QtPromise::QPromise<EnumErrorCode> start(const std::shared_ptr<ScreenWrite> &write, ISubScreen &subScreen)
{
    if (write->over)
        return QtPromise::resolve(enTimeout);
    if (write->nestedTurns == maxNestedTurns) {
        return QtPromise::QPromise<void>(
                   [&](const QtPromise::QPromiseResolve<void> &resolve) { write->heldBack.append(resolve); })
            .then([write, &subScreen] { return start(write, subScreen); });
    }
    const Turn turn(*write);
    if (typeid(subScreen) == typeid(SubScreenV4))
        return SubScreenWrite::start(static_cast<SubScreenV4 &>(subScreen), write->rect, write->coefficient);
    return subScreen.setCoefficientsAsync(write->rect, write->coefficient);
}

} // namespace

QtPromise::QPromise<QList<ISubScreen *>> ScreenV4::tryGetSubScreenList(SubScreens &subScreens)
{
    using List = QList<ISubScreen *>;
    return QtPromise::QPromise<List>(
        [&subScreens](const QtPromise::QPromiseResolve<List> &resolve, const QtPromise::QPromiseReject<List> &reject) {
            List list;
            for (auto entry = subScreens.cbegin(); entry != subScreens.cend(); ++entry) {
                qCDebug(lcCorrection) << Q_FUNC_INFO << "deviceKey:" << entry.key();
                if (!entry.value()) {
                    logFailure(emptySubScreen, entry.key());
                    reject(NullSubScreen());
                    return;
                }
                list.append(entry.value());
            }
            resolve(list);
        });
}

EnumErrorCode ScreenV4::setCoefficients(const QRect &rect, ICoefficient &coefficient)
{
    const OperationScope operation;
    const auto write = std::make_shared<ScreenWrite>(rect, coefficient);
    const WriteScope scope(*write);
    // A rejected write must not end the chain while the others still use the grid, so it is noted and the others are waited
    // for.
    const auto startOne = [write](ISubScreen *subScreen, int index) {
        qCDebug(lcCorrection) << "setCoefficients thread id =" << currentThread();
        qCDebug(lcCorrection) << Q_FUNC_INFO << QStringLiteral("pSubScreens:%1").arg(index);
        return QtPromise::resolve()
            .then([write, subScreen] { return start(write, *subScreen); })
            .fail([write](const std::bad_alloc &) {
                write->exhausted = std::current_exception();
                return enTimeout;
            })
            .fail([write, index] {
                write->rejected = true;
                write->rejectedIndex = index;
                return enTimeout;
            });
    };
    const auto all = tryGetSubScreenList(m_subScreens)
                         .map(startOne)
                         .each([write](EnumErrorCode code, int) { write->codes |= code; })
                         .fail([write](const NullSubScreen &) {
                             write->codes = enInvalidParameter;
                             return QVector<EnumErrorCode>();
                         })
                         .fail([write](const std::bad_alloc &) {
                             write->exhausted = std::current_exception();
                             return QVector<EnumErrorCode>();
                         })
                         .fail([write] {
                             write->rejected = true;
                             return QVector<EnumErrorCode>();
                         });
    // An event handler of the host that throws ends the wait, not the write.
    while (!callGuarded([&] {
        all.wait();
        return true;
    }))
        write->codes |= enTimeout;
    if (write->exhausted)
        std::rethrow_exception(write->exhausted);
    if (write->rejected)
        logFailure("write of a subscreen rejected. pSubScreens:%1", write->rejectedIndex);

    const auto result = write->rejected ? enTimeout : EnumErrorCode(write->codes);
    qCDebug(lcCorrection) << "setCoefficients thread id =" << currentThread();
    qCDebug(lcCorrection) << "Correction::ScreenV4::setCoefficients" << QStringLiteral("pSubScreens:%1").arg(result);
    return result;
}

} // namespace Correction

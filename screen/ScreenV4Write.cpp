// Writing coefficients to all sub-screens of a screen: who waits for whom.
//
// Each sub-screen's write blocks in a wait() of its own until its device has settled. It is a separate task of the event
// loop (a turn), so the wait() of the write before it starts it: all devices work at the same time. Three sub-screens:
//
//     setCoefficients
//       |  map() posts the turns A, B, C
//       +- wait() for the chain
//            +- turn A: request to A's device
//            |    +- wait() for A's device
//            |         +- turn B: request to B's device
//            |              +- wait() for B's device
//            |                   +- turn C: request to C's device
//            |                        +- wait() for C's device
//            |                   C's wait() has returned
//            |              B's wait() returns once B and C have settled
//            |         A's wait() returns once A, B and C have settled
//            +- each() combines the codes in the order A, B, C
//       wait() returns
//
// The waits are nested on one stack, so a write that settles early returns only after those that started inside its wait().
// The time is that of the slowest device.

#include <Correction/ScreenV4.h>

#include "model/Logging.h"
#include "screen/EmptySubScreen.h"

#include <QtCore/QThread>

#include <exception>
#include <memory>

namespace Correction {
namespace {

using SubScreens = QMap<QString, ISubScreen *>;

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
    int rejectedIndex = -1; ///< of the sub-screen; the last one's where there are several
    std::exception_ptr exhausted;

    /// One sub-screen's write, which waits until its device has settled.
    QtPromise::QPromise<EnumErrorCode> start(ISubScreen &subScreen) const
    {
        return over ? QtPromise::resolve(enTimeout) : subScreen.setCoefficientsAsync(rect, coefficient);
    }
};

/// Ends the write however its function is left.
class WriteScope
{
public:
    explicit WriteScope(ScreenWrite &write) : m_write(write) {}
    ~WriteScope() { m_write.over = true; }
    WriteScope(const WriteScope &) = delete;
    WriteScope &operator=(const WriteScope &) = delete;

private:
    ScreenWrite &m_write;
};

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
    const auto write = std::make_shared<ScreenWrite>(rect, coefficient);
    const WriteScope scope(*write);
    // A rejected write must not end the chain while the others still use the grid, so it is noted and the others are waited
    // for.
    const auto startOne = [write](ISubScreen *subScreen, int index) {
        qCDebug(lcCorrection) << "setCoefficients thread id =" << currentThread();
        qCDebug(lcCorrection) << Q_FUNC_INFO << QStringLiteral("pSubScreens:%1").arg(index);
        return QtPromise::resolve()
            .then([write, subScreen] { return write->start(*subScreen); })
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
    tryGetSubScreenList(m_subScreens)
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
        })
        .wait();
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

#pragma once

#include <Correction/SubScreenV4.h>

namespace Correction {

/// Writes to a sub-screen's device with one upload.
class SubScreenWrite
{
public:
    /// Like `SubScreenV4::setCoefficientsAsync`, but returns while the upload is pending: the promise is fulfilled with the
    /// code once the upload has settled, in the event loop of this thread, and rejected only when memory runs out.
    /// `coefficient` is not used after the return.
    static QtPromise::QPromise<EnumErrorCode> start(SubScreenV4 &subScreen, const QRect &rect, ICoefficient &coefficient);

private:
    friend class SubScreenV4;

    /// `follow(row, promise)` returns the result of the upload `promise`.
    template <class Follow>
    static QtPromise::QPromise<EnumErrorCode> start(SubScreenV4 &subScreen, const QRect &rect, ICoefficient &coefficient,
                                                    Follow follow);
};

} // namespace Correction

#pragma once

#include <QtCore/QException>
#include <QtCore/qglobal.h>

// Errors are matched by type across shared libraries, and per-thread data is meant to be one for all of them, so both
// stay visible when everything else is hidden. Windows knows neither weak symbols nor hidden ones.
#ifdef Q_OS_WIN
#define QTPROMISE_VISIBLE
#else
#define QTPROMISE_VISIBLE Q_DECL_EXPORT
#endif

// Promises cross library boundaries by value, and an installed QtPromise has the same names with other layouts. The tag
// is part of the mangled name of every function that returns one of these classes, the namespace of all others that
// mention one, so that libraries with different promise headers do not link.
#ifdef Q_CC_GNU
#define QTPROMISE_ABI_TAG __attribute__((__abi_tag__("bundledpromise")))
#else
#define QTPROMISE_ABI_TAG
#endif

namespace QtPromise {
inline namespace Bundled QTPROMISE_ABI_TAG {
}
} // namespace QtPromise

namespace QtPromise {
inline namespace Bundled {

/// What `timeout()` rejects with when the time is over before the promise settles.
class QTPROMISE_VISIBLE QPromiseTimeoutException : public QException
{
public:
    /// Throws a copy.
    void raise() const override { throw *this; }
    /// A copy that the caller owns.
    QPromiseTimeoutException *clone() const override { return new QPromiseTimeoutException(*this); }
    /// What happened, in English.
    const char *what() const noexcept override { return "the promise did not settle in time"; }
};

} // namespace Bundled
} // namespace QtPromise

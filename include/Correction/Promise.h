#pragma once

#include <QtPromise>

// Stops the compiler where this is not the promise header that the library was built with. A plain source tree has no such
// check: it is generated.
#ifdef __has_include
#if __has_include(<Correction/PromiseCheck.h>)
#include <Correction/PromiseCheck.h>
#endif
#endif

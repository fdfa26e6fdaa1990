#include "Allocations.h"

#include <cstdlib>

namespace {

thread_local qint64 allocations = 0;

} // namespace

// Replaces the C library's functions and calls them; operator new and Qt's containers use these too.
#pragma GCC visibility push(default) // clang makes them local to the program otherwise
extern "C" {

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);

void *malloc(size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}

void *realloc(void *block, size_t size)
{
    ++allocations;
    return __libc_realloc(block, size);
}

} // extern "C"
#pragma GCC visibility pop

namespace Bench {

qint64 allocationCount()
{
    return allocations;
}

} // namespace Bench

#include "Allocations.h"

#include <cstdlib>

namespace {

thread_local qint64 allocations = 0;

} // namespace

// Replaces the C library's function and calls it; operator new and Qt's containers use this one too.
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

namespace Bench {

qint64 allocationCount()
{
    return allocations;
}

} // namespace Bench

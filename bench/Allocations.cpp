#include "Allocations.h"

#include <cstdlib>

namespace {

thread_local qint64 allocations = 0;

} // namespace

// Replaces the C library's functions and calls them; operator new and Qt's containers use these too.
// Visible: clang makes them local to the program otherwise.
extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's own names
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
// NOLINTEND(bugprone-reserved-identifier): as above

__attribute__((visibility("default"))) void *malloc(size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void *calloc(size_t count, size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void *realloc(void *block, size_t size)
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

#pragma once

// The C library's allocator, counting, and failing on request. For one source of a test program: it defines malloc.
// Sanitizers bring an allocator of their own; COUNTS_ALLOCATIONS is not defined then.
#include <cerrno>
#include <cstdint>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define OTHER_ALLOCATOR
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define OTHER_ALLOCATOR
#endif
#endif
#if defined(__GLIBC__) && !defined(OTHER_ALLOCATOR)
#define COUNTS_ALLOCATIONS

#include <malloc.h>

/// Of this thread alone: Qt Test has one of its own, which allocates at any time. All counts are from when it was armed.
namespace Allocations {

thread_local bool armed = false;
thread_local int untilFailure = -1; ///< the allocation behind so many others fails; never when negative
thread_local int allocations = 0;
thread_local std::int64_t liveBlocks = 0;
thread_local std::size_t largeSize = SIZE_MAX; ///< blocks of at least so many bytes are large
thread_local int liveLarge = 0;
thread_local int mostLarge = 0; ///< the most large blocks that were live at a time

inline bool failsNow()
{
    return armed && untilFailure-- == 0;
}

inline void *count(void *block)
{
    if (armed && block) {
        ++allocations;
        ++liveBlocks;
        if (malloc_usable_size(block) >= largeSize && ++liveLarge > mostLarge)
            mostLarge = liveLarge;
    }
    return block;
}

inline void discount(void *block)
{
    if (armed && block) {
        --liveBlocks;
        if (malloc_usable_size(block) >= largeSize)
            --liveLarge;
    }
}

inline void *fail()
{
    errno = ENOMEM;
    return nullptr;
}

} // namespace Allocations

// Visible: clang makes them local to the program otherwise.
extern "C" {

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);

__attribute__((visibility("default"))) void *malloc(size_t size)
{
    return Allocations::failsNow() ? Allocations::fail() : Allocations::count(__libc_malloc(size));
}

__attribute__((visibility("default"))) void *calloc(size_t count, size_t size)
{
    return Allocations::failsNow() ? Allocations::fail() : Allocations::count(__libc_calloc(count, size));
}

__attribute__((visibility("default"))) void *realloc(void *block, size_t size)
{
    if (Allocations::failsNow())
        return Allocations::fail();
    Allocations::discount(block);
    void *const moved = __libc_realloc(block, size);
    Allocations::count(moved ? moved : block);
    return moved;
}

__attribute__((visibility("default"))) void free(void *block)
{
    Allocations::discount(block);
    __libc_free(block);
}

} // extern "C"
#endif

#pragma once

#include <cstddef>
#include <cstring>

namespace TestSupport {

/// Slot of a virtual operation, or -1 for one that is not virtual or belongs to a second base. In the Itanium ABI a
/// pointer to member is two words: the slot's byte offset, marked as virtual by a 1 in the first word (on ARM in the
/// second), and the adjustment of `this`.
template <typename Operation>
int slotOf(Operation operation)
{
    struct {
        std::ptrdiff_t function;
        std::ptrdiff_t adjustment;
    } words;
    static_assert(sizeof words == sizeof operation, "an ABI with other pointers to member");
    std::memcpy(&words, &operation, sizeof words);
#if defined(__arm__) || defined(__aarch64__)
    const bool isVirtual = words.adjustment == 1;
    const std::ptrdiff_t offset = words.function;
#else
    const bool isVirtual = (words.function & 1) == 1 && words.adjustment == 0;
    const std::ptrdiff_t offset = words.function - 1;
#endif
    return isVirtual ? int(offset / std::ptrdiff_t(sizeof(void *))) : -1;
}

} // namespace TestSupport

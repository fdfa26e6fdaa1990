#pragma once

#include <QtCore/qglobal.h>

#include <cstring>

/// Place of a virtual operation in its class's table, counted from 0: hosts built against an older header call by it.
/// Reads the representation that the Itanium C++ ABI gives a pointer to a virtual member on x86.
#if defined(Q_PROCESSOR_X86) && !defined(Q_CC_MSVC)
#define HAS_VTABLE_SLOT
template <class Member>
int vtableSlot(Member member)
{
    quintptr word = 0;
    static_assert(sizeof member >= sizeof word, "a member pointer begins with one word");
    std::memcpy(&word, &member, sizeof word);
    return word & 1 ? static_cast<int>((word - 1) / sizeof(void *)) : -1;
}
#endif

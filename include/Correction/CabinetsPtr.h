#pragma once

#include <Correction/CabinetsV4.h>

#include <memory>
#include <new>

namespace Correction {

/// Releases a group by its own class, since groups have no virtual destructor. Of a group of another class only the storage
/// is released, and no destructor runs: such a group must come from `new`.
struct CabinetsDeleter {
    /// Does nothing for null.
    void operator()(ICabinets *group) const noexcept
    {
        if (!group)
            return;
        void *storage = dynamic_cast<void *>(group);
        if (auto *known = dynamic_cast<CabinetsV4 *>(group))
            known->CabinetsV4::~CabinetsV4();
        ::operator delete(storage);
    }
};

/// Owns a group that `CabinetManager::tryGetCabinets` made.
using CabinetsPtr = std::unique_ptr<ICabinets, CabinetsDeleter>;

} // namespace Correction

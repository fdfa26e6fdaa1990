#pragma once

#include <Correction/CabinetV4.h>

#include <memory>
#include <new>

namespace Correction {

/// Releases a cabinet by its own class, since cabinets have no virtual destructor: a `CabinetV4` with its description. Of a
/// cabinet of another class only the storage is released, and no destructor runs: such a cabinet must come from `new`.
struct CabinetDeleter {
    /// Does nothing for null.
    void operator()(ICabinet *cabinet) const noexcept
    {
        if (!cabinet)
            return;
        void *storage = dynamic_cast<void *>(cabinet);
        if (auto *known = dynamic_cast<CabinetV4 *>(cabinet))
            known->CabinetV4::~CabinetV4();
        ::operator delete(storage);
    }
};

/// Owns a cabinet that the host made. Never for a registered one: the registry owns that (see `CabinetManager`). Registering
/// takes it over: `if (registry->addCabinet(id, cabinet.get())) cabinet.release();`
using CabinetPtr = std::unique_ptr<ICabinet, CabinetDeleter>;

} // namespace Correction

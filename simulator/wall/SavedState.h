#pragma once

#include "device/Act.h"
#include "disk/WallDirectory.h"

#include <memory>
#include <utility>

namespace Simulator {

/// The state of a wall, and the directory that holds its persistent part. Has no lock of its own.
struct SavedState : WallState {
    std::unique_ptr<WallDirectory> directory; ///< Null while no wall on disk is open.

    /// Runs `change`, which alters a device or none, and saves the persistent state before it returns. When that fails, or
    /// when `change` throws, the device is as before; a Refusal says why.
    template <typename Change>
    auto saved(DeviceState *device, Change change)
    {
        if (!device || !directory)
            return change();
        DeviceState before = *device; // shares everything until it is changed
        QString error;
        try {
            auto result = change();
            if (directory->save(before, *device, &error))
                return result;
        } catch (...) {
            *device = std::move(before); // does not throw
            throw;
        }
        *device = std::move(before);
        throw Refusal{QStringLiteral("not saved: ") + error, {}};
    }
    /// Whether that succeeds. Else `warnings` gets the reason.
    template <typename Change>
    bool change(DeviceState &device, Change change, QStringList &warnings)
    {
        const auto noResult = [&] {
            change();
            return true;
        };
        try {
            return saved(&device, noResult);
        } catch (const Refusal &refusal) {
            warnings += refusal.reason;
            return false;
        }
    }
};

} // namespace Simulator

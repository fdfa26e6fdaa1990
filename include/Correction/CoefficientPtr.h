#pragma once

#include <Correction/Coefficient.h>
#include <Correction/LowGrayCoefficient.h>
#include <Correction/MultilayerCoefficient.h>

#include <memory>
#include <new>

namespace Correction {

/// Releases a grid by its own class, since grids have no virtual destructor. Of a grid of another class only the storage is
/// released, and no destructor runs: such a grid must come from `new`.
struct CoefficientDeleter {
    /// Does nothing for null.
    void operator()(ICoefficient *grid) const noexcept
    {
        if (!grid)
            return;
        void *storage = dynamic_cast<void *>(grid);
        if (auto *chroma = dynamic_cast<Coefficient *>(grid))
            chroma->Coefficient::~Coefficient();
        else if (auto *lowGray = dynamic_cast<LowGrayCoefficient *>(grid))
            lowGray->LowGrayCoefficient::~LowGrayCoefficient();
        else if (auto *multilayer = dynamic_cast<MultilayerCoefficient *>(grid))
            multilayer->MultilayerCoefficient::~MultilayerCoefficient();
        ::operator delete(storage);
    }
};

/// Owns a grid that the factory, `getCopy` or `tryGetPart` made.
using CoefficientPtr = std::unique_ptr<ICoefficient, CoefficientDeleter>;

} // namespace Correction

#pragma once

#include <Correction/ICoefficient.h>

namespace Correction {

/// Makes grids by kind.
class CORRECTION_EXPORT CoefficientFactory
{
public:
    /// A new grid of zeros that the caller owns: chroma, or multilayer with 16 bytes for each pixel. Null for low-gray and
    /// unknown kinds, for negative sizes, and for sizes whose values do not fit into one container. Not logged. Rows come
    /// first (the grids' constructors take columns first).
    static ICoefficient *getCoefficient(EnumCoefficientType type, int pixelRow, int pixelCol);
};

} // namespace Correction

#pragma once

#include <Correction/ICoefficient.h>

#include <QtCore/QList>
#include <QtCore/QVariant>

namespace Correction {

/// Turns a device's coefficient reply into a grid.
///
/// A reply holds one map for each block of pixels, with the flat keys "area.point.x", "area.point.y", "area.size.width",
/// "area.size.height" (int, pixels, cabinet frame) and "coefficients" (QString, base64; 16-bit values low byte first). A
/// missing key reads as 0 or as an empty string.
class CORRECTION_EXPORT RequestParser
{
public:
    /// Resets `target` to the size of `cabinetRect` and to zeros, then pastes the blocks in order. Parsing ends at the first
    /// failing block; those before it stay.
    /// - `enArgumentMismatch`: `target` is not a chroma grid (nothing changed, not logged), or a block holds no value (one
    ///   critical line).
    /// - `enInvalidParameter`: a block does not fit (two critical lines), or the cabinet has a negative size or its values
    ///   do not fit into one container (nothing changed, one critical line).
    static EnumErrorCode toCabinetChromaCoefficient(QRect cabinetRect, QList<QVariant> &reply, ICoefficient &target);
    /// The multilayer counterpart. Only a target that reports the chroma kind is let through, so every
    /// `MultilayerCoefficient` gives `enArgumentMismatch`, unchanged and not logged; hosts rely on it. A host's own
    /// multilayer grid that reports the chroma kind gets the size of `cabinetRect`, keeps its values, and then gets the
    /// blocks' bytes; the code of a failing paste is returned, with one critical line.
    static EnumErrorCode toCabinetMultilayerCoefficient(QRect cabinetRect, QList<QVariant> &reply, ICoefficient &target);
};

} // namespace Correction

#pragma once

#include <Correction/ICoefficient.h>

#include <QtCore/QList>
#include <QtCore/QVariant>

namespace Correction {

/// Turns a device's coefficient reply into a grid.
///
/// A reply holds one map for each block of pixels, with the flat keys "area.point.x", "area.point.y", "area.size.width",
/// "area.size.height" (int, pixels, cabinet frame) and "coefficients" (base64 text, 16-bit values low byte first). A missing
/// key reads as 0 or as an empty text.
class CORRECTION_EXPORT RequestParser
{
public:
    /// Resets `target` to the size of `cabinetRect` and to zeros, then pastes the blocks in order. 0; 1 when `target` is no
    /// chroma grid (nothing changed) or a block holds no value; 3 when a block does not fit, or, with one critical line and
    /// nothing changed, when the cabinet has a negative size or its values fit into no container. Parsing ends at the first
    /// failing block; those before it stay.
    static EnumErrorCode toCabinetChromaCoefficient(QRect cabinetRect, QList<QVariant> &reply, ICoefficient &target);
    /// The multilayer counterpart. Only a target that reports the chroma kind (0) is let through, so every
    /// `MultilayerCoefficient` is answered 1, untouched; a host's own multilayer grid of kind 0 gets the size of
    /// `cabinetRect`, keeps its values, and then gets the blocks' bytes. 0, 1, or the code of the grid's paste.
    static EnumErrorCode toCabinetMultilayerCoefficient(QRect cabinetRect, QList<QVariant> &reply, ICoefficient &target);
};

} // namespace Correction

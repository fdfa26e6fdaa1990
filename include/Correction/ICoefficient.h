#pragma once

#include <Correction/Enumerations.h>
#include <Correction/Global.h>

#include <QtCore/QRect>
#include <QtCore/QString>

namespace Correction {

/// A rectangle of LED pixels with a fixed number of correction values for each.
///
/// The values are ordered row by row, pixel by pixel: value k of the pixel in column c and row r has the index
/// (r * columns + c) * getPixelLength() + k. A grid is valid while the number of its values is rows * columns * length.
///
/// Grids have no virtual destructor: the owner releases one by its own class, most easily with `CoefficientPtr`. A host may
/// derive grids of its own from the three kinds' interfaces. There is no lock: concurrent calls on one grid are the caller's
/// concern.
class CORRECTION_EXPORT ICoefficient
{
public:
    /// Number of rows.
    virtual int getPixelRow() = 0;
    /// Stores the number alone: the values are neither resized nor cleared, so that the grid may be invalid until a
    /// `setCoefficient` of the new size succeeds.
    virtual void setPixelRow(int pixelRow) = 0;
    /// Number of columns.
    virtual int getPixelCol() = 0;
    /// As `setPixelRow`.
    virtual void setPixelCol(int pixelCol) = 0;
    /// Values for one pixel.
    virtual int getPixelLength() = 0;
    /// A new grid of the same size and values that the caller owns. The copy of an invalid grid has zeros.
    virtual ICoefficient *getCopy() = 0;
    /// The kind of the grid.
    virtual EnumCoefficientType getType() = 0;
    /// Pastes a grid of the same kind over `rect` (pixels of this grid).
    /// - `enArgumentMismatch`, not logged: `source` is of another kind.
    /// - `enInvalidParameter`, with one critical line: `rect` ends right of or below this grid, or this grid is invalid.
    ///
    /// A negative position is not refused: each value goes where the index above leads, so that a negative x reaches the end
    /// of the row above. `source` should hold at least rect's number of values, in rows of rect's width. Values that it
    /// lacks, and indices outside this grid, are skipped with one warning line and `enSuccess`.
    virtual EnumErrorCode setPartCoefficient(const QRect &rect, ICoefficient &source) = 0;
    /// A new grid that the caller owns, cut out at `rect` (pixels of this grid), or null, with one critical line, when
    /// `rect` ends right of or below this grid, has a negative size, or its values do not fit into one container. A negative
    /// position is not refused, as in a paste; values whose index is outside this grid are 0, with one warning line.
    virtual ICoefficient *tryGetPart(const QRect &rect) = 0;
    /// The values as bytes (16-bit values low byte first) in base64 with padding (RFC 4648, section 4). Empty for an empty
    /// grid, and, with one critical line, for one that does not fit into a QString as base64.
    virtual QString toBase64() = 0;
};

} // namespace Correction

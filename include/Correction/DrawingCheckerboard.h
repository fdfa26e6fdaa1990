#pragma once

#include <Correction/Global.h>

#include <QtCore/QList>
#include <QtCore/QRect>
#include <QtCore/QVariant>
#include <QtCore/QVector>
#include <QtGui/QColor>

namespace Correction {

/// The checkerboard: coloured squares whose colours repeat along rows and columns. One description serves the whole screen;
/// the two operations work out the piece of the board that falls on one sub-screen.
///
/// Sizes in pixels. The last column and row may be narrower than the others, so that a board can end anywhere.
class CORRECTION_EXPORT DrawingCheckerboard
{
public:
    DrawingCheckerboard(); ///< A null rectangle, no colours, sizes of 0.
    DrawingCheckerboard(const DrawingCheckerboard &other);
    DrawingCheckerboard &operator=(const DrawingCheckerboard &other);

    /// Sizes of the first and last squares of a piece of the board, and its colours.
    ///
    /// `absX`, `absY`: the piece's top-left corner, counted from the board's. `partRect`: the piece; only its size counts.
    /// The four sizes are set; the colours are appended to `regionColor` as `CalcRegionColorToWH` does. With a square width
    /// or height of 0 the sizes are left alone and nothing is appended.
    void CalcRegionWH(int absX, int absY, int &firstSquareW, int &firstSquareH, int &lastSquareColumnW, int &lastSquareRowH,
                      QRect &partRect, QList<QVariant> &regionColor);

    /// Appends the colour sequence of a piece, beginning with the colour of its top-left square: one map "r", "g", "b" (int,
    /// 0 to 255) for each entry of `colors`. Appends nothing when there are no colours, when a square size is 0, or when the
    /// column or row index of that square is negative: the corner is at least one square left of or above the board.
    void CalcRegionColorToWH(int absX, int absY, QList<QVariant> &regionColor, QRect &partRect);

    QRect regionRect;       ///< Where the board is drawn, in screen pixels.
    QVector<QColor> colors; ///< A screen refuses a board of fewer than two.
    int squareW;            ///< Width of the other columns.
    int squareH;            ///< Height of the other rows.
    int lastSquareColumnW;  ///< Width of the last column of squares.
    int lastSquareRowH;     ///< Height of the last row of squares.
};

} // namespace Correction

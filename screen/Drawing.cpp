#include "screen/Drawing.h"

#include "model/Arithmetic.h"
#include "model/VariantMap.h"

namespace Correction {
namespace {

/// Remainder and quotient with the signs of C++, without the overflow of INT_MIN and -1. The divisor is not 0.
int remainder(int dividend, int divisor)
{
    return static_cast<int>(qint64(dividend) % divisor);
}

int quotient(int dividend, int divisor)
{
    return static_cast<int>(qint64(dividend) / divisor);
}

struct Ends {
    int first;
    int last;
};

/// First and last square along one axis of a piece that begins `distance` pixels into a board of `board` pixels and is
/// `piece` pixels long.
Ends endsOf(int distance, int piece, int board, int square, int boardLast)
{
    const int first = wrapSub(square, remainder(distance, square));
    const int end = wrapAdd(distance, piece);
    if (end >= board) {
        if (wrapAdd(wrapAdd(distance, first), boardLast) <= board)
            return {first, boardLast};
        return {piece, piece}; // inside one square
    }
    if (piece >= first) {
        const int last = remainder(end, square);
        return {first, last == 0 ? square : last};
    }
    return {piece, piece};
}

/// Index, modulo the number of colours, of the square in which a piece begins: less than that number, negative left of the
/// board.
int phaseOf(int distance, int piece, int board, int square, int boardLast, int colors)
{
    // A piece inside the last, narrower square is located by that square's own edge.
    const int end = wrapAdd(distance, piece);
    if (end >= board && piece < boardLast)
        distance = wrapSub(end, boardLast);
    return quotient(remainder(distance, wrapMul(colors, square)), square);
}

} // namespace

std::optional<int> Drawing::blockPhase(int distance, int blockSize, int interval)
{
    const int period = wrapMul(blockSize, wrapAdd(interval, 1));
    if (period == 0)
        return std::nullopt;
    const int offset = remainder(distance, period);
    // The correction counts in intervals while the remainder counts in pixels: hosts rely on it.
    return offset == 0 ? 0 : wrapSub(wrapAdd(interval, 1), offset);
}

bool Drawing::hasPhase(const DrawingCheckerboard &board)
{
    return board.squareW != 0 && board.squareH != 0 && wrapMul(board.colors.size(), board.squareW) != 0
           && wrapMul(board.colors.size(), board.squareH) != 0;
}

QVariantMap Drawing::colorMap(const QColor &color)
{
    return variantMap(
        {{QStringLiteral("r"), color.red()}, {QStringLiteral("g"), color.green()}, {QStringLiteral("b"), color.blue()}});
}

void DrawingCheckerboard::CalcRegionWH(int absX, int absY, int &firstSquareW, int &firstSquareH, int &lastColumnW,
                                       int &lastRowH, QRect &partRect, QList<QVariant> &regionColor)
{
    if (squareW == 0 || squareH == 0)
        return;
    const Ends columns = endsOf(absX, widthOf(partRect), widthOf(regionRect), squareW, lastSquareColumnW);
    const Ends rows = endsOf(absY, heightOf(partRect), heightOf(regionRect), squareH, lastSquareRowH);
    firstSquareW = columns.first;
    firstSquareH = rows.first;
    lastColumnW = columns.last;
    lastRowH = rows.last;
    CalcRegionColorToWH(absX, absY, regionColor, partRect);
}

void DrawingCheckerboard::CalcRegionColorToWH(int absX, int absY, QList<QVariant> &regionColor, QRect &partRect)
{
    if (!Drawing::hasPhase(*this))
        return;
    const int count = colors.size();
    const int column = phaseOf(absX, widthOf(partRect), widthOf(regionRect), squareW, lastSquareColumnW, count);
    const int row = phaseOf(absY, heightOf(partRect), heightOf(regionRect), squareH, lastSquareRowH, count);
    if (column < 0 || row < 0)
        return;
    for (int i = 0; i < count; ++i)
        regionColor.append(Drawing::colorMap(colors[static_cast<int>((qint64(column) + row + i) % count)]));
}

} // namespace Correction

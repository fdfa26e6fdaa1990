#include "CabinetGrid.h"

#include <algorithm>

namespace Simulator {

namespace {

/// Calls `use` with each part of an area that is cut into columns and rows, row by row.
template <typename Use>
void forEachPart(const QRect &area, int columns, int rows, Use use)
{
    const auto cut = [](qint64 length, int index, int count) { return static_cast<int>(length * index / count); };
    for (int row = 0; row < rows; ++row) {
        const int top = cut(area.height(), row, rows);
        const int height = cut(area.height(), row + 1, rows) - top;
        for (int column = 0; column < columns; ++column) {
            const int left = cut(area.width(), column, columns);
            const int width = cut(area.width(), column + 1, columns) - left;
            use(QRect(area.x() + left, area.y() + top, width, height));
        }
    }
}

QList<ReceivingCard> gridCards(const CardGrid &grid, const QSize &cabinetSize)
{
    QList<ReceivingCard> cards;
    int modules = 0;
    forEachPart(QRect(QPoint(), cabinetSize), grid.columns, grid.rows, [&](const QRect &cardRect) {
        ReceivingCard card;
        card.id = QString::number(cards.size());
        card.rect = cardRect;
        if (grid.modules) {
            forEachPart(cardRect, grid.modules->columns, grid.modules->rows, [&](const QRect &rect) {
                card.modules.append({QString::number(modules++), QString(), rect});
            });
        }
        cards.append(card);
    });
    return cards;
}

/// How many of the parts, from the first one on, lie side by side.
template <typename Parts, typename Top>
int columnsOf(const Parts &parts, Top top)
{
    const auto end =
        std::find_if(parts.begin(), parts.end(), [&](const auto &part) { return top(part) != top(parts.front()); });
    return static_cast<int>(std::distance(parts.begin(), end));
}

} // namespace

qint64 CabinetGrid::partsOfCabinet() const
{
    if (!cards)
        return 0;
    const qint64 count = static_cast<qint64>(cards->columns) * cards->rows;
    return cards->modules ? count * cards->modules->columns * cards->modules->rows : count;
}

QList<Cabinet> gridCabinets(const CabinetGrid &grid)
{
    const QList<ReceivingCard> cards = grid.cards ? gridCards(*grid.cards, grid.cabinetSize) : QList<ReceivingCard>();
    QList<Cabinet> cabinets;
    for (int row = 0; row < grid.rows; ++row) {
        for (int column = 0; column < grid.columns; ++column) {
            Cabinet cabinet;
            cabinet.id = QString::number(grid.firstId + cabinets.size());
            cabinet.outputId = QString::number(grid.firstOutput + (grid.outputs == CabinetGrid::Rows ? row : column));
            cabinet.position = QPoint(column * grid.cabinetSize.width(), row * grid.cabinetSize.height());
            cabinet.size = grid.cabinetSize;
            cabinet.receivingCards = cards;
            cabinets.append(cabinet);
        }
    }
    return cabinets;
}

std::optional<CabinetGrid> gridOf(const QList<Cabinet> &cabinets)
{
    if (cabinets.isEmpty())
        return std::nullopt;
    // The first cabinet, its first card and the places of the others say what the grid must be, if it is one.
    const Cabinet &first = cabinets.first();
    CabinetGrid grid;
    grid.columns = columnsOf(cabinets, [](const Cabinet &cabinet) { return cabinet.position.y(); });
    grid.rows = cabinets.size() / grid.columns;
    grid.cabinetSize = first.size;
    grid.firstId = first.id.toLongLong();
    grid.firstOutput = first.outputId.toInt();
    if (grid.columns > 1 && cabinets[1].outputId != first.outputId)
        grid.outputs = CabinetGrid::Columns;
    if (!first.receivingCards.isEmpty()) {
        const auto top = [](const auto &part) { return part.rect.y(); };
        const QList<Module> &modules = first.receivingCards.first().modules;
        CardGrid cards;
        cards.columns = columnsOf(first.receivingCards, top);
        cards.rows = first.receivingCards.size() / cards.columns;
        if (!modules.isEmpty()) {
            const int columns = columnsOf(modules, top);
            cards.modules = ModuleGrid{columns, modules.size() / columns};
        }
        grid.cards = cards;
    }
    const auto isLength = [](qint64 length) { return length > 0 && length <= longestLength; };
    const bool isSane = isLength(grid.cabinetSize.width()) && isLength(grid.cabinetSize.height())
                        && isLength(static_cast<qint64>(grid.columns) * grid.cabinetSize.width())
                        && isLength(static_cast<qint64>(grid.rows) * grid.cabinetSize.height())
                        && grid.firstId <= largestNumber && grid.firstOutput <= longestLength
                        && grid.partsOfCabinet() <= mostModulesOfCabinet;
    if (!isSane || gridCabinets(grid) != cabinets)
        return std::nullopt;
    return grid;
}

} // namespace Simulator

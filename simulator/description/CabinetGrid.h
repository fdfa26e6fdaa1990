#pragma once

#include <simulator/WallDescription.h>

#include <optional>

namespace Simulator {

constexpr int longestLength = 100'000'000;   ///< Of everything in a wall file, so that no sum of places overflows.
constexpr qint64 largestNumber = 1LL << 53;  ///< What JSON readers keep exactly.
constexpr int mostCabinets = 1'000'000;      ///< Of a wall file.
constexpr int mostModulesOfCabinet = 10'000; ///< Of a grid; likewise receiving cards.

/// A regular grid of modules over a receiving card.
struct ModuleGrid {
    int columns = 1;
    int rows = 1;
};

/// A regular grid of receiving cards over a cabinet.
struct CardGrid {
    int columns = 1;
    int rows = 1;
    std::optional<ModuleGrid> modules; ///< Of each card; none: cards without modules.
};

/// A regular grid of equal cabinets with its top-left corner at (0, 0).
struct CabinetGrid {
    enum Outputs {
        Rows,   ///< All cabinets of a row hang on one output.
        Columns ///< All cabinets of a column do.
    };
    int columns = 1;
    int rows = 1;
    QSize cabinetSize;
    qint64 firstId = 1; ///< The ids count up from here, row by row.
    Outputs outputs = Rows;
    int firstOutput = 1;           ///< Of the first row or column; the outputs count up.
    std::optional<CardGrid> cards; ///< Of each cabinet; none: cabinets without receiving cards.

    /// How many receiving cards or, where that is more, modules a cabinet has.
    qint64 partsOfCabinet() const;
};

inline bool operator==(const ModuleGrid &a, const ModuleGrid &b)
{
    return a.columns == b.columns && a.rows == b.rows;
}

inline bool operator==(const CardGrid &a, const CardGrid &b)
{
    return a.columns == b.columns && a.rows == b.rows && a.modules == b.modules;
}

/// The cabinets, row by row. Cards and modules are numbered from "0" within a cabinet, row by row, modules card by card;
/// where pixels cannot be shared evenly, those further right and below are the larger ones. The cabinets share the
/// memory of their cards.
QList<Cabinet> gridCabinets(const CabinetGrid &grid);

/// The grid that makes exactly these cabinets, if there is one.
std::optional<CabinetGrid> gridOf(const QList<Cabinet> &cabinets);

} // namespace Simulator

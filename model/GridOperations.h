#pragma once

#include <Correction/CoefficientPtr.h>

#include "model/Grid.h"

namespace Correction {

/// The operations that the three exported grids share; each befriends this class. `Kind` describes a grid:
///
///     using Class = Coefficient;                // the exported class
///     using Interface = IChromaCoefficient;     // through which another grid of this kind is read
///     using Values = QVector<unsigned short>;   // or QByteArray
///     static constexpr EnumCoefficientType type;
///     static constexpr int pixelLength;         // the constructor's default
///     static constexpr Grid::Names names;
template <class Kind>
class GridOperations
{
    using Class = typename Kind::Class;
    using Values = typename Kind::Values;

    static Grid::Shape shapeOf(const Class &grid) { return {grid.m_pixelCol, grid.m_pixelRow, grid.m_pixelLength}; }

public:
    static bool isValid(const Class &grid) { return Grid::isValid(shapeOf(grid), grid.m_coefficients); }

    static ICoefficient *copy(const Class &grid)
    {
        if (isValid(grid) && grid.m_pixelLength == Kind::pixelLength)
            return new Class(grid); // shares the values
        auto *const made = new Class(grid.m_pixelCol, grid.m_pixelRow);
        CoefficientPtr owner(made);
        assign(*made, grid.m_coefficients);
        return owner.release();
    }

    static EnumErrorCode assign(Class &grid, const Values &values)
    {
        return Grid::assign(Kind::names, shapeOf(grid), grid.m_coefficients, values);
    }

    static EnumErrorCode paste(Class &grid, const QRect &rect, const Values &values)
    {
        return Grid::paste(Kind::names, shapeOf(grid), isValid(grid), grid.m_coefficients, rect, values);
    }

    static EnumErrorCode paste(Class &grid, const QRect &rect, ICoefficient &source)
    {
        if (source.getType() != Kind::type)
            return enArgumentMismatch;
        auto *const sameKind = dynamic_cast<typename Kind::Interface *>(&source);
        if (!sameKind)
            return enArgumentMismatch;
        Values values = sameKind->getCoefficient();
        return grid.setPartCoefficient(rect, values); // virtual: a host's class may override it
    }

    static ICoefficient *cut(const Class &grid, const QRect &rect)
    {
        Values values;
        if (!Grid::cut(Kind::names, shapeOf(grid), grid.m_coefficients, rect, values))
            return nullptr;
        auto *const part = new Class(0, 0);
        part->m_pixelCol = widthOf(rect);
        part->m_pixelRow = heightOf(rect);
        part->m_pixelLength = grid.m_pixelLength;
        part->m_coefficients.swap(values);
        return part;
    }
};

} // namespace Correction

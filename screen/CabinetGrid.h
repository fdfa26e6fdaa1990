#pragma once

#include "model/Arithmetic.h"
#include "model/Grid.h"

#include <Correction/CabinetV4.h>
#include <Correction/Coefficient.h>
#include <Correction/CoefficientFactory.h>
#include <Correction/CoefficientPtr.h>

#include <typeinfo>

namespace Correction {

/// A grid for a cabinet to fill, or null. The library's own cabinets give a chroma grid its size and values themselves, so
/// that theirs begins empty: a large cabinet's grid is made once.
inline CoefficientPtr gridFor(ICabinet &cabinet, EnumCoefficientType type, const QRect &rect)
{
    const int rows = heightOf(rect);
    const int columns = widthOf(rect);
    const bool isOwn = type == enCommonCoefficient && typeid(cabinet) == typeid(CabinetV4);
    if (isOwn && Grid::valueCount<QVector<unsigned short>>({columns, rows, chromaPixelLength}) >= 0)
        return CoefficientPtr(CoefficientFactory::getCoefficient(type, 0, 0));
    return CoefficientPtr(CoefficientFactory::getCoefficient(type, rows, columns));
}

} // namespace Correction

#include <Correction/CoefficientFactory.h>

#include <Correction/Coefficient.h>
#include <Correction/MultilayerCoefficient.h>

#include "model/Grid.h"

namespace Correction {
namespace {

/// Null, not an invalid grid, for a size that does not fit into a container.
template <class Grid, class Values>
ICoefficient *make(int pixelRow, int pixelCol, int pixelLength)
{
    if (Correction::Grid::valueCount<Values>({pixelCol, pixelRow, pixelLength}) < 0)
        return nullptr;
    return new Grid(pixelCol, pixelRow);
}

} // namespace

ICoefficient *CoefficientFactory::getCoefficient(EnumCoefficientType type, int pixelRow, int pixelCol)
{
    switch (type) {
    case enCommonCoefficient:
        return make<Coefficient, QVector<unsigned short>>(pixelRow, pixelCol, chromaPixelLength);
    case enMultilayerCoefficient:
        return make<MultilayerCoefficient, QByteArray>(pixelRow, pixelCol, multilayerPixelLength);
    case enLowgrayCoefficient: // hosts rely on null; they make LowGrayCoefficient(columns, rows)
        break;
    }
    return nullptr;
}

} // namespace Correction

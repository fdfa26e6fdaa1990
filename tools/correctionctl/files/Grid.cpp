#include "Grid.h"

#include "terminal/ExitCodes.h"

#include <algorithm>

using namespace Correction;

namespace Ctl {

namespace {

template <typename Known>
CoefficientPtr made(const Grid &grid)
{
    CoefficientPtr owner(new Known(0, 0)); // the values follow
    owner->setPixelCol(grid.size.width());
    owner->setPixelRow(grid.size.height());
    QVector<quint16> values = grid.values;
    check(static_cast<Known &>(*owner).setCoefficient(values), QStringLiteral("making a grid"));
    return owner;
}

} // namespace

int lengthOf(EnumCoefficientType kind)
{
    return kind == enMultilayerCoefficient ? multilayerPixelLength : chromaPixelLength;
}

CoefficientPtr toLibrary(const Grid &grid, EnumCoefficientType kind)
{
    switch (kind) {
    case enCommonCoefficient:
        return made<Coefficient>(grid);
    case enLowgrayCoefficient:
        return made<LowGrayCoefficient>(grid);
    case enMultilayerCoefficient:
        break;
    }
    CoefficientPtr owner(new MultilayerCoefficient(grid.size.width(), grid.size.height(), grid.length));
    QByteArray bytes(grid.values.size(), Qt::Uninitialized);
    std::transform(grid.values.cbegin(), grid.values.cend(), bytes.begin(), [](quint16 value) { return char(value); });
    check(static_cast<MultilayerCoefficient &>(*owner).setCoefficient(bytes), QStringLiteral("making a grid"));
    return owner;
}

Grid fromLibrary(ICoefficient &grid)
{
    Grid copy;
    copy.size = QSize(grid.getPixelCol(), grid.getPixelRow());
    copy.length = grid.getPixelLength();
    if (auto *chroma = dynamic_cast<IChromaCoefficient *>(&grid)) {
        copy.values = chroma->getCoefficient();
    } else if (auto *lowGray = dynamic_cast<ILowGrayCoefficient *>(&grid)) {
        copy.values = lowGray->getCoefficient();
    } else if (auto *multilayer = dynamic_cast<IMultilayerCoefficient *>(&grid)) {
        const QByteArray bytes = multilayer->getCoefficient();
        copy.bytes = true;
        copy.values.resize(bytes.size());
        std::transform(bytes.cbegin(), bytes.cend(), copy.values.begin(), [](char byte) { return quint8(byte); });
    }
    return copy;
}

} // namespace Ctl

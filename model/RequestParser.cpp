#include <Correction/RequestParser.h>

#include <Correction/Coefficient.h>
#include <Correction/IChromaCoefficient.h>
#include <Correction/IMultilayerCoefficient.h>

#include "model/Arithmetic.h"
#include "model/Codec.h"
#include "model/Grid.h"
#include "model/Logging.h"

#include <QtCore/QMap>

#include <typeinfo>

namespace Correction {
namespace {

QRect areaOf(const QVariantMap &block)
{
    return rectOf(block.value(QStringLiteral("area.point.x")).toInt(), block.value(QStringLiteral("area.point.y")).toInt(),
                  block.value(QStringLiteral("area.size.width")).toInt(),
                  block.value(QStringLiteral("area.size.height")).toInt());
}

QString textOf(const QVariantMap &block)
{
    return block.value(QStringLiteral("coefficients")).toString();
}

/// Pastes block after block, as `paste` decodes and places each, until one fails.
template <class Paste>
EnumErrorCode pasteBlocks(const QList<QVariant> &reply, Paste paste)
{
    for (const QVariant &element : reply) {
        const EnumErrorCode code = paste(element.toMap());
        if (code != enSuccess)
            return code;
    }
    return enSuccess;
}

EnumErrorCode reportPaste(EnumErrorCode code)
{
    if (code != enSuccess)
        qCCritical(lcCorrection) << "set part of coefficient error \n";
    return code;
}

} // namespace

EnumErrorCode RequestParser::toCabinetChromaCoefficient(QRect cabinetRect, QList<QVariant> &reply, ICoefficient &target)
{
    if (target.getType() != enCommonCoefficient)
        return enArgumentMismatch;
    auto *const grid = dynamic_cast<IChromaCoefficient *>(&target);
    if (!grid)
        return enArgumentMismatch;

    const Grid::Shape shape{widthOf(cabinetRect), heightOf(cabinetRect), grid->getPixelLength()};
    if (Grid::valueCount<QVector<unsigned short>>(shape) < 0) {
        logFailure("no grid of the cabinet's size. w:%1 h:%2", shape.columns, shape.rows);
        return enInvalidParameter;
    }
    bool isReset = false;
    const auto reset = [&](QVector<unsigned short> &values) {
        grid->setPixelCol(shape.columns);
        grid->setPixelRow(shape.rows);
        grid->setCoefficient(values);
        isReset = true;
    };
    const auto fillWithZeros = [&] {
        if (isReset)
            return;
        auto zeros = Grid::zeros<QVector<unsigned short>>(shape);
        reset(zeros);
    }; // released before the first paste, which would otherwise detach the values that the grid shares with it
    // A host's own class always gets the zeros first. The library's classes do not need them when the first block is as
    // large as the grid.
    if (typeid(target) != typeid(Coefficient))
        fillWithZeros();

    const EnumErrorCode code = pasteBlocks(reply, [&](const QVariantMap &block) -> EnumErrorCode {
        const QRect area = areaOf(block);
        QVector<unsigned short> values = Codec::decodeValues(textOf(block));
        if (values.isEmpty()) {
            qCCritical(lcCorrection) << "invalid coefficient data \n";
            return enArgumentMismatch;
        }
        if (!isReset && Grid::Block(area).covers(shape) && Grid::isValid(shape, values))
            reset(values);
        fillWithZeros();
        return reportPaste(grid->setPartCoefficient(area, values));
    });
    fillWithZeros();
    return code;
}

EnumErrorCode RequestParser::toCabinetMultilayerCoefficient(QRect cabinetRect, QList<QVariant> &reply, ICoefficient &target)
{
    // Only the chroma kind is accepted; callers rely on the refusal of the multilayer kind.
    if (target.getType() != enCommonCoefficient)
        return enArgumentMismatch;
    auto *const grid = dynamic_cast<IMultilayerCoefficient *>(&target);
    if (!grid)
        return enArgumentMismatch;

    grid->setPixelCol(widthOf(cabinetRect));
    grid->setPixelRow(heightOf(cabinetRect));
    return pasteBlocks(reply, [grid](const QVariantMap &block) {
        QByteArray bytes = Codec::decodeBytes(textOf(block));
        return reportPaste(grid->setPartCoefficient(areaOf(block), bytes));
    });
}

} // namespace Correction

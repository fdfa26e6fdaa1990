#include <Correction/MultilayerCoefficient.h>

#include <Correction/CoefficientPtr.h>

#include "model/Codec.h"
#include "model/Grid.h"

namespace Correction {
namespace {

constexpr Grid::Names names{"Correction::MultilayerCoefficient::setCoefficient",
                            "Correction::MultilayerCoefficient::setPartCoefficient",
                            "Correction::MultilayerCoefficient::tryGetPart"};

constexpr int defaultPixelLength = 16;

} // namespace

MultilayerCoefficient::MultilayerCoefficient(int pixelCol, int pixelRow)
    : MultilayerCoefficient(pixelCol, pixelRow, defaultPixelLength)
{
}

MultilayerCoefficient::MultilayerCoefficient(int pixelCol, int pixelRow, int pixelLength)
    : m_pixelRow(pixelRow), m_pixelCol(pixelCol), m_pixelLength(pixelLength),
      m_coefficients(Grid::zeros<QByteArray>({pixelCol, pixelRow, pixelLength})), m_type(enMultilayerCoefficient)
{
}

MultilayerCoefficient::MultilayerCoefficient(const MultilayerCoefficient &other) = default;
MultilayerCoefficient::MultilayerCoefficient(MultilayerCoefficient &&other) noexcept = default;
MultilayerCoefficient &MultilayerCoefficient::operator=(const MultilayerCoefficient &other) = default;
MultilayerCoefficient &MultilayerCoefficient::operator=(MultilayerCoefficient &&other) noexcept = default;

bool MultilayerCoefficient::valid() const
{
    return Grid::isValid({m_pixelCol, m_pixelRow, m_pixelLength}, m_coefficients);
}

int MultilayerCoefficient::getPixelRow()
{
    return m_pixelRow;
}

void MultilayerCoefficient::setPixelRow(int pixelRow)
{
    m_pixelRow = pixelRow;
}

int MultilayerCoefficient::getPixelCol()
{
    return m_pixelCol;
}

void MultilayerCoefficient::setPixelCol(int pixelCol)
{
    m_pixelCol = pixelCol;
}

int MultilayerCoefficient::getPixelLength()
{
    return m_pixelLength;
}

ICoefficient *MultilayerCoefficient::getCopy()
{
    if (valid() && m_pixelLength == defaultPixelLength)
        return new MultilayerCoefficient(*this); // shares the values
    auto *const copy = new MultilayerCoefficient(m_pixelCol, m_pixelRow);
    CoefficientPtr owner(copy);
    copy->setCoefficient(m_coefficients);
    return owner.release();
}

EnumCoefficientType MultilayerCoefficient::getType()
{
    return enMultilayerCoefficient;
}

EnumErrorCode MultilayerCoefficient::setPartCoefficient(const QRect &rect, ICoefficient &source)
{
    if (source.getType() != enMultilayerCoefficient)
        return enArgumentMismatch;
    auto *const grid = dynamic_cast<IMultilayerCoefficient *>(&source);
    if (!grid)
        return enArgumentMismatch;
    QByteArray values = grid->getCoefficient();
    return setPartCoefficient(rect, values);
}

ICoefficient *MultilayerCoefficient::tryGetPart(const QRect &rect)
{
    QByteArray values;
    if (!Grid::cut(names, {m_pixelCol, m_pixelRow, m_pixelLength}, m_coefficients, rect, values))
        return nullptr;
    auto *const part = new MultilayerCoefficient(0, 0, m_pixelLength);
    part->m_pixelCol = widthOf(rect);
    part->m_pixelRow = heightOf(rect);
    part->m_coefficients.swap(values);
    return part;
}

QString MultilayerCoefficient::toBase64()
{
    return Codec::toBase64(m_coefficients);
}

QByteArray MultilayerCoefficient::getCoefficient()
{
    return m_coefficients;
}

EnumErrorCode MultilayerCoefficient::setCoefficient(QByteArray &values)
{
    return Grid::assign(names, {m_pixelCol, m_pixelRow, m_pixelLength}, m_coefficients, values);
}

EnumErrorCode MultilayerCoefficient::setPartCoefficient(const QRect &rect, QByteArray &values)
{
    return Grid::paste(names, {m_pixelCol, m_pixelRow, m_pixelLength}, valid(), m_coefficients, rect, values);
}

} // namespace Correction

#include <Correction/LowGrayCoefficient.h>

#include <Correction/CoefficientPtr.h>

#include "model/Codec.h"
#include "model/Grid.h"

namespace Correction {
namespace {

constexpr Grid::Names names{"Correction::LowGrayCoefficient::setCoefficient",
                            "Correction::LowGrayCoefficient::setPartCoefficient",
                            "Correction::LowGrayCoefficient::tryGetPart"};

constexpr int pixelLength = 9;

} // namespace

LowGrayCoefficient::LowGrayCoefficient(int pixelCol, int pixelRow)
    : m_pixelRow(pixelRow), m_pixelCol(pixelCol), m_pixelLength(pixelLength),
      m_coefficients(Grid::zeros<QVector<unsigned short>>({pixelCol, pixelRow, pixelLength})), m_type(enLowgrayCoefficient)
{
}

LowGrayCoefficient::LowGrayCoefficient(const LowGrayCoefficient &other) = default;
LowGrayCoefficient::LowGrayCoefficient(LowGrayCoefficient &&other) noexcept = default;
LowGrayCoefficient &LowGrayCoefficient::operator=(const LowGrayCoefficient &other) = default;
LowGrayCoefficient &LowGrayCoefficient::operator=(LowGrayCoefficient &&other) noexcept = default;

bool LowGrayCoefficient::valid() const
{
    return Grid::isValid({m_pixelCol, m_pixelRow, m_pixelLength}, m_coefficients);
}

int LowGrayCoefficient::getPixelRow()
{
    return m_pixelRow;
}

void LowGrayCoefficient::setPixelRow(int pixelRow)
{
    m_pixelRow = pixelRow;
}

int LowGrayCoefficient::getPixelCol()
{
    return m_pixelCol;
}

void LowGrayCoefficient::setPixelCol(int pixelCol)
{
    m_pixelCol = pixelCol;
}

int LowGrayCoefficient::getPixelLength()
{
    return pixelLength;
}

ICoefficient *LowGrayCoefficient::getCopy()
{
    if (valid())
        return new LowGrayCoefficient(*this); // shares the values
    auto *const copy = new LowGrayCoefficient(m_pixelCol, m_pixelRow);
    CoefficientPtr owner(copy);
    copy->setCoefficient(m_coefficients);
    return owner.release();
}

EnumCoefficientType LowGrayCoefficient::getType()
{
    return enLowgrayCoefficient;
}

EnumErrorCode LowGrayCoefficient::setPartCoefficient(const QRect &rect, ICoefficient &source)
{
    if (source.getType() != enLowgrayCoefficient)
        return enArgumentMismatch;
    auto *const grid = dynamic_cast<ILowGrayCoefficient *>(&source);
    if (!grid)
        return enArgumentMismatch;
    QVector<unsigned short> values = grid->getCoefficient();
    return setPartCoefficient(rect, values);
}

ICoefficient *LowGrayCoefficient::tryGetPart(const QRect &rect)
{
    QVector<unsigned short> values;
    if (!Grid::cut(names, {m_pixelCol, m_pixelRow, m_pixelLength}, m_coefficients, rect, values))
        return nullptr;
    auto *const part = new LowGrayCoefficient(0, 0);
    part->m_pixelCol = widthOf(rect);
    part->m_pixelRow = heightOf(rect);
    part->m_coefficients.swap(values);
    return part;
}

QString LowGrayCoefficient::toBase64()
{
    return Codec::toBase64(m_coefficients);
}

QVector<unsigned short> LowGrayCoefficient::getCoefficient()
{
    return m_coefficients;
}

EnumErrorCode LowGrayCoefficient::setCoefficient(QVector<unsigned short> &values)
{
    return Grid::assign(names, {m_pixelCol, m_pixelRow, m_pixelLength}, m_coefficients, values);
}

EnumErrorCode LowGrayCoefficient::setPartCoefficient(const QRect &rect, QVector<unsigned short> &values)
{
    return Grid::paste(names, {m_pixelCol, m_pixelRow, m_pixelLength}, valid(), m_coefficients, rect, values);
}

} // namespace Correction

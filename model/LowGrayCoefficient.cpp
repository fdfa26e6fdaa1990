#include <Correction/LowGrayCoefficient.h>

#include "model/Codec.h"
#include "model/GridOperations.h"

namespace Correction {
namespace {

struct LowGray {
    using Class = LowGrayCoefficient;
    using Interface = ILowGrayCoefficient;
    using Values = QVector<unsigned short>;
    static constexpr EnumCoefficientType type = enLowgrayCoefficient;
    static constexpr int pixelLength = lowGrayPixelLength;
    static constexpr Grid::Names names{"Correction::LowGrayCoefficient::setCoefficient",
                                       "Correction::LowGrayCoefficient::setPartCoefficient",
                                       "Correction::LowGrayCoefficient::tryGetPart"};
};

using Operations = GridOperations<LowGray>;

} // namespace

LowGrayCoefficient::LowGrayCoefficient(int pixelCol, int pixelRow)
    : m_pixelRow(pixelRow), m_pixelCol(pixelCol), m_pixelLength(lowGrayPixelLength),
      m_coefficients(Grid::zeros<QVector<unsigned short>>({pixelCol, pixelRow, lowGrayPixelLength})),
      m_type(enLowgrayCoefficient)
{
}

LowGrayCoefficient::LowGrayCoefficient(const LowGrayCoefficient &other) = default;
LowGrayCoefficient::LowGrayCoefficient(LowGrayCoefficient &&other) noexcept = default;
LowGrayCoefficient &LowGrayCoefficient::operator=(const LowGrayCoefficient &other) = default;
LowGrayCoefficient &LowGrayCoefficient::operator=(LowGrayCoefficient &&other) noexcept = default;

bool LowGrayCoefficient::valid() const
{
    return Operations::isValid(*this);
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
    return lowGrayPixelLength;
}

ICoefficient *LowGrayCoefficient::getCopy()
{
    return Operations::copy(*this);
}

EnumCoefficientType LowGrayCoefficient::getType()
{
    return enLowgrayCoefficient;
}

EnumErrorCode LowGrayCoefficient::setPartCoefficient(const QRect &rect, ICoefficient &source)
{
    return Operations::paste(*this, rect, source);
}

ICoefficient *LowGrayCoefficient::tryGetPart(const QRect &rect)
{
    return Operations::cut(*this, rect);
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
    return Operations::assign(*this, values);
}

EnumErrorCode LowGrayCoefficient::setPartCoefficient(const QRect &rect, QVector<unsigned short> &values)
{
    return Operations::paste(*this, rect, values);
}

} // namespace Correction

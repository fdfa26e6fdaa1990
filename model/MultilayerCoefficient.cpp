#include <Correction/MultilayerCoefficient.h>

#include "model/Codec.h"
#include "model/GridOperations.h"

namespace Correction {
namespace {

struct Multilayer {
    using Class = MultilayerCoefficient;
    using Interface = IMultilayerCoefficient;
    using Values = QByteArray;
    static constexpr EnumCoefficientType type = enMultilayerCoefficient;
    static constexpr int pixelLength = multilayerPixelLength;
    static constexpr Grid::Names names{"Correction::MultilayerCoefficient::setCoefficient",
                                       "Correction::MultilayerCoefficient::setPartCoefficient",
                                       "Correction::MultilayerCoefficient::tryGetPart"};
};

using Operations = GridOperations<Multilayer>;

} // namespace

MultilayerCoefficient::MultilayerCoefficient(int pixelCol, int pixelRow)
    : MultilayerCoefficient(pixelCol, pixelRow, multilayerPixelLength)
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
    return Operations::isValid(*this);
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
    return Operations::copy(*this);
}

EnumCoefficientType MultilayerCoefficient::getType()
{
    return enMultilayerCoefficient;
}

EnumErrorCode MultilayerCoefficient::setPartCoefficient(const QRect &rect, ICoefficient &source)
{
    return Operations::paste(*this, rect, source);
}

ICoefficient *MultilayerCoefficient::tryGetPart(const QRect &rect)
{
    return Operations::cut(*this, rect);
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
    return Operations::assign(*this, values);
}

EnumErrorCode MultilayerCoefficient::setPartCoefficient(const QRect &rect, QByteArray &values)
{
    return Operations::paste(*this, rect, values);
}

} // namespace Correction

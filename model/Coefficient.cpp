#include <Correction/Coefficient.h>

#include "model/Codec.h"
#include "model/GridOperations.h"

#include <algorithm>

namespace Correction {
namespace {

struct Chroma {
    using Class = Coefficient;
    using Interface = IChromaCoefficient;
    using Values = QVector<unsigned short>;
    static constexpr EnumCoefficientType type = enCommonCoefficient;
    static constexpr int pixelLength = chromaPixelLength;
    static constexpr Grid::Names names{"Correction::Coefficient::setCoefficient",
                                       "Correction::Coefficient::setPartCoefficient", "Correction::Coefficient::tryGetPart"};
};

using Operations = GridOperations<Chroma>;

} // namespace

Coefficient::Coefficient(int pixelCol, int pixelRow)
    : m_pixelRow(pixelRow), m_pixelCol(pixelCol), m_pixelLength(chromaPixelLength),
      m_coefficients(Grid::zeros<QVector<unsigned short>>({pixelCol, pixelRow, chromaPixelLength})),
      m_type(enCommonCoefficient)
{
}

Coefficient::Coefficient(const Coefficient &other) = default;
Coefficient::Coefficient(Coefficient &&other) noexcept = default;
Coefficient &Coefficient::operator=(const Coefficient &other) = default;
Coefficient &Coefficient::operator=(Coefficient &&other) noexcept = default;

bool Coefficient::valid() const
{
    return Operations::isValid(*this);
}

int Coefficient::getPixelRow()
{
    return m_pixelRow;
}

void Coefficient::setPixelRow(int pixelRow)
{
    m_pixelRow = pixelRow;
}

int Coefficient::getPixelCol()
{
    return m_pixelCol;
}

void Coefficient::setPixelCol(int pixelCol)
{
    m_pixelCol = pixelCol;
}

int Coefficient::getPixelLength()
{
    return chromaPixelLength;
}

ICoefficient *Coefficient::getCopy()
{
    return Operations::copy(*this);
}

EnumCoefficientType Coefficient::getType()
{
    return enCommonCoefficient;
}

EnumErrorCode Coefficient::setPartCoefficient(const QRect &rect, ICoefficient &source)
{
    return Operations::paste(*this, rect, source);
}

ICoefficient *Coefficient::tryGetPart(const QRect &rect)
{
    return Operations::cut(*this, rect);
}

QString Coefficient::toBase64()
{
    return Codec::toBase64(m_coefficients);
}

EnumErrorCode Coefficient::tryGetAvg(QVector<unsigned short> &average)
{
    if (!valid()) {
        qCDebug(lcCorrection) << "Correction::Coefficient::tryGetAvg"
                              << "coefficient count:" << m_coefficients.size() << "m_pixelCol:" << m_pixelCol
                              << "m_pixelRow:" << m_pixelRow;
        return enInvalidParameter;
    }
    // A sum of 16-bit values is exact in integers, and so close to no multiple of the count that a division of doubles would
    // round it up to the next integer: both give the same result.
    const Codec::PixelSums sums = Codec::sumPixels(m_coefficients);
    const quint64 pixels = std::max<quint64>(1, quint64(m_coefficients.size()) / chromaPixelLength);
    QVector<unsigned short> means(chromaPixelLength);
    std::transform(sums.begin(), sums.end(), means.begin(),
                   [pixels](quint64 sum) { return static_cast<unsigned short>(sum / pixels); });
    average.swap(means);
    return enSuccess;
}

EnumErrorCode Coefficient::toByteArray(QByteArray &)
{
    return enNotSupported;
}

QVector<unsigned short> Coefficient::getCoefficient()
{
    return m_coefficients;
}

EnumErrorCode Coefficient::setCoefficient(QVector<unsigned short> &values)
{
    return Operations::assign(*this, values);
}

EnumErrorCode Coefficient::setPartCoefficient(const QRect &rect, QVector<unsigned short> &values)
{
    return Operations::paste(*this, rect, values);
}

QString Coefficient::toJsonData()
{
    return Codec::toJson(m_coefficients);
}

} // namespace Correction

#include <Correction/Coefficient.h>

#include <Correction/CoefficientPtr.h>

#include "model/Codec.h"
#include "model/Grid.h"

#include <algorithm>

namespace Correction {
namespace {

constexpr Grid::Names names{"Correction::Coefficient::setCoefficient", "Correction::Coefficient::setPartCoefficient",
                            "Correction::Coefficient::tryGetPart"};

using Codec::pixelLength;

} // namespace

Coefficient::Coefficient(int pixelCol, int pixelRow)
    : m_pixelRow(pixelRow), m_pixelCol(pixelCol), m_pixelLength(pixelLength),
      m_coefficients(Grid::zeros<QVector<unsigned short>>({pixelCol, pixelRow, pixelLength})), m_type(enCommonCoefficient)
{
}

Coefficient::Coefficient(const Coefficient &other) = default;
Coefficient::Coefficient(Coefficient &&other) noexcept = default;
Coefficient &Coefficient::operator=(const Coefficient &other) = default;
Coefficient &Coefficient::operator=(Coefficient &&other) noexcept = default;

bool Coefficient::valid() const
{
    return Grid::isValid({m_pixelCol, m_pixelRow, m_pixelLength}, m_coefficients);
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
    return pixelLength;
}

ICoefficient *Coefficient::getCopy()
{
    if (valid())
        return new Coefficient(*this); // shares the values
    auto *const copy = new Coefficient(m_pixelCol, m_pixelRow);
    CoefficientPtr owner(copy);
    copy->setCoefficient(m_coefficients);
    return owner.release();
}

EnumCoefficientType Coefficient::getType()
{
    return enCommonCoefficient;
}

EnumErrorCode Coefficient::setPartCoefficient(const QRect &rect, ICoefficient &source)
{
    if (source.getType() != enCommonCoefficient)
        return enArgumentMismatch;
    auto *const grid = dynamic_cast<IChromaCoefficient *>(&source);
    if (!grid)
        return enArgumentMismatch;
    QVector<unsigned short> values = grid->getCoefficient();
    return setPartCoefficient(rect, values);
}

ICoefficient *Coefficient::tryGetPart(const QRect &rect)
{
    QVector<unsigned short> values;
    if (!Grid::cut(names, {m_pixelCol, m_pixelRow, m_pixelLength}, m_coefficients, rect, values))
        return nullptr;
    auto *const part = new Coefficient(0, 0);
    part->m_pixelCol = widthOf(rect);
    part->m_pixelRow = heightOf(rect);
    part->m_coefficients.swap(values);
    return part;
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
    const quint64 pixels = std::max<quint64>(1, quint64(m_coefficients.size()) / pixelLength);
    QVector<unsigned short> means(pixelLength);
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
    return Grid::assign(names, {m_pixelCol, m_pixelRow, m_pixelLength}, m_coefficients, values);
}

EnumErrorCode Coefficient::setPartCoefficient(const QRect &rect, QVector<unsigned short> &values)
{
    return Grid::paste(names, {m_pixelCol, m_pixelRow, m_pixelLength}, valid(), m_coefficients, rect, values);
}

QString Coefficient::toJsonData()
{
    return Codec::toJson(m_coefficients);
}

} // namespace Correction

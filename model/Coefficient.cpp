#include <Correction/Coefficient.h>

#include "model/Base64.h"
#include "model/Grid.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>

namespace Correction {
namespace {

constexpr Grid::Names names{"Correction::Coefficient::setCoefficient", "Correction::Coefficient::setPartCoefficient",
                            "Correction::Coefficient::tryGetPart"};

constexpr int pixelLength = 9;

} // namespace

Coefficient::Coefficient(int pixelCol, int pixelRow)
    : m_pixelRow(pixelRow), m_pixelCol(pixelCol), m_pixelLength(pixelLength),
      m_coefficients(Grid::zeros<QVector<unsigned short>>({pixelCol, pixelRow, pixelLength})),
      m_type(enCommonCoefficient)
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
    auto copy = std::make_unique<Coefficient>(m_pixelCol, m_pixelRow);
    copy->setCoefficient(m_coefficients);
    return copy.release();
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
    auto part = std::make_unique<Coefficient>(0, 0);
    part->m_pixelCol = widthOf(rect);
    part->m_pixelRow = heightOf(rect);
    part->m_coefficients.swap(values);
    return part.release();
}

QString Coefficient::toBase64()
{
    return Base64::encode(m_coefficients);
}

EnumErrorCode Coefficient::tryGetAvg(QVector<unsigned short> &average)
{
    if (!valid()) {
        qCDebug(lcCorrection) << "Correction::Coefficient::tryGetAvg" << "coefficient count:" << m_coefficients.size()
                              << "m_pixelCol:" << m_pixelCol << "m_pixelRow:" << m_pixelRow;
        return enInvalidParameter;
    }
    // A sum of 16-bit values is exact in 64 bits, and so close to no multiple of the count that a division of doubles would
    // round it up to the next integer: integers give the same result.
    std::array<quint64, pixelLength> sums{};
    const unsigned short *value = m_coefficients.constData();
    const unsigned short *const end = value + m_coefficients.size();
    while (value != end) {
        for (quint64 &sum : sums)
            sum += *value++;
    }
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
    const auto digitsOf = [](unsigned value) {
        return value < 10 ? 1 : value < 100 ? 2 : value < 1000 ? 3 : value < 10000 ? 4 : 5;
    };
    qint64 length = m_coefficients.isEmpty() ? 2 : 1 + qint64(m_coefficients.size()); // brackets and separators
    for (const unsigned short value : qAsConst(m_coefficients))
        length += digitsOf(value);
    if (length * qint64(sizeof(QChar)) > Grid::maxContainerBytes) {
        logFailure("JSON text too long. values:%1", m_coefficients.size());
        return QString();
    }
    QString json(static_cast<int>(length), Qt::Uninitialized);
    QChar *out = json.data();
    *out++ = QLatin1Char('[');
    for (const unsigned short value : qAsConst(m_coefficients)) {
        std::array<char, 5> digits;
        const char *const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        out = std::transform<const char *>(digits.data(), end, out, [](char digit) { return QLatin1Char(digit); });
        *out++ = QLatin1Char(',');
    }
    json[json.size() - 1] = QLatin1Char(']'); // in the place of the last separator
    return json;
}

} // namespace Correction

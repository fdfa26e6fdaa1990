#include <Correction/Coefficient.h>

#include <Correction/CoefficientPtr.h>

#include "model/Base64.h"
#include "model/Grid.h"

#include <algorithm>
#include <array>
#include <cstring>
namespace Correction {
namespace {

constexpr Grid::Names names{"Correction::Coefficient::setCoefficient", "Correction::Coefficient::setPartCoefficient",
                            "Correction::Coefficient::tryGetPart"};

constexpr int pixelLength = 9;

/// The last four decimal digits of a number, for every group of four.
class DecimalTable
{
public:
    DecimalTable()
    {
        for (size_t number = 0; number < 10000; ++number) {
            char16_t *const group = &m_groups[number * 4];
            group[0] = char16_t(u'0' + number / 1000);
            group[1] = char16_t(u'0' + number / 100 % 10);
            group[2] = char16_t(u'0' + number / 10 % 10);
            group[3] = char16_t(u'0' + number % 10);
        }
    }

    static int digitsOf(unsigned short value)
    {
        return 1 + (value >= 10) + (value >= 100) + (value >= 1000) + (value >= 10000);
    }

    /// Writes a number and gives the place behind it. Up to three characters more may be overwritten, never at or behind
    /// `end`.
    char16_t *write(unsigned short value, char16_t *out, const char16_t *end) const
    {
        const int digits = digitsOf(value);
        if (digits == 5)
            *out++ = char16_t(u'0' + value / 10000);
        const int inGroup = std::min(digits, 4);
        const char16_t *const group = &m_groups[size_t(value % 10000 * 4 + 4 - inGroup)];
        if (end - out >= 4)
            std::memcpy(out, group, 4 * sizeof(char16_t)); // a single move, unlike the right number of characters
        else
            std::copy_n(group, inGroup, out);
        return out + inGroup;
    }

private:
    std::array<char16_t, 10000 * 4 + 3> m_groups{}; ///< three more: a short number's copy reaches into the next group
};

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
    return Base64::encode(m_coefficients);
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
    std::array<quint64, pixelLength> sums{};
    const unsigned short *value = m_coefficients.constData();
    const unsigned short *const end = value + m_coefficients.size();
    // Rows of many pixels are added up in 32 bits, which the compiler turns into vector instructions, for as many rows as
    // these hold.
    constexpr int rowLength = 16 * pixelLength;
    constexpr qint64 rowsAtOnce = 0xffffffff / 0xffff;
    while (end - value >= rowLength) {
        std::array<quint32, rowLength> partial{};
        for (qint64 rows = std::min<qint64>((end - value) / rowLength, rowsAtOnce); rows > 0; --rows) {
            for (int i = 0; i < rowLength; ++i)
                partial[size_t(i)] += value[i];
            value += rowLength;
        }
        for (size_t i = 0; i < partial.size(); ++i)
            sums[i % pixelLength] += partial[i];
    }
    for (; value != end; value += pixelLength) {
        for (size_t i = 0; i < sums.size(); ++i)
            sums[i] += value[i];
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
    static const DecimalTable table;

    qint64 length = m_coefficients.isEmpty() ? 2 : 1 + qint64(m_coefficients.size()); // brackets and separators
    for (const unsigned short value : qAsConst(m_coefficients))
        length += DecimalTable::digitsOf(value);
    if (length * qint64(sizeof(QChar)) > Grid::maxContainerBytes) {
        logFailure("JSON text too long. values:%1", m_coefficients.size());
        return QString();
    }
    QString json(static_cast<int>(length), Qt::Uninitialized);
    auto *out = reinterpret_cast<char16_t *>(json.data());
    const auto *const end = out + length;
    *out++ = u'[';
    for (const unsigned short value : qAsConst(m_coefficients)) {
        out = table.write(value, out, end);
        *out++ = u',';
    }
    json[json.size() - 1] = QLatin1Char(']'); // in the place of the last separator
    return json;
}

} // namespace Correction

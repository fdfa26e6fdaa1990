#pragma once

#include <Correction/IChromaCoefficient.h>

namespace Correction {

/// The library's chroma grid: 9 values of 16 bits for each pixel. Their meaning is the device's; the library only stores and
/// sends them. The pictures of the virtual wall take them for the rows of a 3 x 3 matrix from input to output colours. Its
/// presets begin with the pixel that changes nothing: 32768 at the indices 0, 4 and 8, and 0 elsewhere; clearing
/// restores this pixel. A virtual wall that states no default pixel begins with zeros.
class CORRECTION_EXPORT Coefficient : public IChromaCoefficient
{
public:
    /// All values 0. Columns come first (the factory takes rows first). A negative size, or one whose values do not fit into
    /// one container (about 2 GiB), makes an invalid grid without values.
    Coefficient(int pixelCol = 1, int pixelRow = 1);
    Coefficient(const Coefficient &other);
    Coefficient(Coefficient &&other) noexcept;
    Coefficient &operator=(const Coefficient &other);
    Coefficient &operator=(Coefficient &&other) noexcept;

    int getPixelRow() override;
    void setPixelRow(int pixelRow) override;
    int getPixelCol() override;
    void setPixelCol(int pixelCol) override;
    int getPixelLength() override;
    ICoefficient *getCopy() override;
    EnumCoefficientType getType() override;
    EnumErrorCode setPartCoefficient(const QRect &rect, ICoefficient &source) override;
    ICoefficient *tryGetPart(const QRect &rect) override;
    QString toBase64() override;
    EnumErrorCode tryGetAvg(QVector<unsigned short> &average) override;
    EnumErrorCode toByteArray(QByteArray &bytes) override;
    QVector<unsigned short> getCoefficient() override;
    EnumErrorCode setCoefficient(QVector<unsigned short> &values) override;
    EnumErrorCode setPartCoefficient(const QRect &rect, QVector<unsigned short> &values) override;
    QString toJsonData() override;

private:
    template <class Kind>
    friend class GridOperations; // what the three grids have in common

    bool valid() const;

    int m_pixelRow;
    int m_pixelCol;
    int m_pixelLength;
    QVector<unsigned short> m_coefficients;
    EnumCoefficientType m_type;
};

} // namespace Correction

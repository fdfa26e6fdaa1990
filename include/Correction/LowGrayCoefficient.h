#pragma once

#include <Correction/ILowGrayCoefficient.h>

namespace Correction {

/// The library's low-gray grid: 9 values of 16 bits for each pixel. Their meaning is the device's.
class CORRECTION_EXPORT LowGrayCoefficient : public ILowGrayCoefficient
{
public:
    /// All values 0. Columns come first (the factory takes rows first). A negative size, or one whose values do not fit into
    /// one container (about 2 GiB), makes an invalid grid without values.
    LowGrayCoefficient(int pixelCol = 1, int pixelRow = 1);
    LowGrayCoefficient(const LowGrayCoefficient &other);
    LowGrayCoefficient(LowGrayCoefficient &&other) noexcept;
    LowGrayCoefficient &operator=(const LowGrayCoefficient &other);
    LowGrayCoefficient &operator=(LowGrayCoefficient &&other) noexcept;

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
    QVector<unsigned short> getCoefficient() override;
    EnumErrorCode setCoefficient(QVector<unsigned short> &values) override;
    EnumErrorCode setPartCoefficient(const QRect &rect, QVector<unsigned short> &values) override;

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

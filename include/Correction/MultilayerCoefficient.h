#pragma once

#include <Correction/IMultilayerCoefficient.h>

namespace Correction {

/// The library's multilayer grid: a fixed number of bytes for each pixel, 16 unless given. Their meaning is the device's.
class CORRECTION_EXPORT MultilayerCoefficient : public IMultilayerCoefficient
{
public:
    /// All values 0. Columns come first (the factory takes rows first). A negative size, or one whose values do not fit into
    /// one container (about 2 GiB), makes an invalid grid without values.
    MultilayerCoefficient(int pixelCol = 1, int pixelRow = 1);
    /// The same with `pixelLength` bytes for each pixel.
    MultilayerCoefficient(int pixelCol, int pixelRow, int pixelLength);
    MultilayerCoefficient(const MultilayerCoefficient &other);
    MultilayerCoefficient(MultilayerCoefficient &&other) noexcept;
    MultilayerCoefficient &operator=(const MultilayerCoefficient &other);
    MultilayerCoefficient &operator=(MultilayerCoefficient &&other) noexcept;

    int getPixelRow() override;
    void setPixelRow(int pixelRow) override;
    int getPixelCol() override;
    void setPixelCol(int pixelCol) override;
    int getPixelLength() override;
    /// The copy has 16 bytes for each pixel: values of another pixel length are not taken over.
    ICoefficient *getCopy() override;
    EnumCoefficientType getType() override;
    EnumErrorCode setPartCoefficient(const QRect &rect, ICoefficient &source) override;
    ICoefficient *tryGetPart(const QRect &rect) override;
    QString toBase64() override;
    QByteArray getCoefficient() override;
    EnumErrorCode setCoefficient(QByteArray &values) override;
    EnumErrorCode setPartCoefficient(const QRect &rect, QByteArray &values) override;

private:
    template <class Kind>
    friend class GridOperations; // what the three grids have in common

    bool valid() const;

    int m_pixelRow;
    int m_pixelCol;
    int m_pixelLength;
    QByteArray m_coefficients;
    EnumCoefficientType m_type;
};

} // namespace Correction

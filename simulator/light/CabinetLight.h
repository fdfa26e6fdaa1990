#pragma once

#include "device/WallState.h"
#include "pictures/TestImage.h"

#include <array>
#include <vector>

namespace Simulator {

/// How a cabinet shines: its LEDs, its coefficients, and the test image of its device. docs/light.md has the formulas. The
/// arguments must outlive it.
class CabinetLight
{
public:
    CabinetLight(const WallState &screen, const DeviceState &device, const Cabinet &cabinet, const TestImage &image);

    /// Writes X, Y and Z of each pixel of a row, in cd/m2. `place` is the place of the cabinet in the device's frame.
    void writeRow(int y, const QPoint &place, float *xyz);

private:
    using Drives = std::array<double, 3>;

    /// What the LEDs of one module share.
    struct Batch {
        int left;
        int right;
        int top;
        int bottom;
        std::array<double, 3> luminance; ///< In cd/m2.
        std::array<double, 3> shift;     ///< Of the wavelength, in nm.
    };
    /// One pixel of a plane as 16-bit values, low byte first.
    struct Values {
        QByteArray bytes;
        int step; ///< From pixel to pixel; 0 where all are alike.

        const uchar *at(qptrdiff pixel) const { return reinterpret_cast<const uchar *>(bytes.constData()) + pixel * step; }
    };

    Batch batch(const QString &moduleId, const QRect &rect) const;
    Values values(const WallState &screen, const DeviceState &device, const CabinetState &cabinet, Kind kind) const;
    /// The batch of each pixel of a row.
    void findBatches(int y);
    Drives corrected(const Drives &drives, qptrdiff pixel) const;
    void shine(quint64 hash, const Batch &batch, double seam, const Drives &drives, float *xyz) const;

    const TestImage &m_image;
    Leds m_leds;
    std::array<Primary, 3> m_primaries;
    QSize m_size;
    double m_unit;
    bool m_isDark;
    quint64 m_hash;
    quint64 m_pixelsHash;
    std::array<double, 3> m_ageing;
    std::vector<Batch> m_batches; ///< The first one: of the pixels that belong to no module.
    std::vector<Drives> m_drives; ///< By the test image's colours.
    Values m_chroma;
    Values m_lowGray;
    std::vector<std::size_t> m_batchAt;
};

} // namespace Simulator

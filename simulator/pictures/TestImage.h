#pragma once

#include "Canvas.h"
#include "device/WallState.h"

#include <QtCore/QVector>

#include <array>
#include <cstddef>

namespace Simulator {

/// A test image as a device draws it from its request and nothing else; the rules are those of
/// Pictures::pattern(). A request that no device accepts is drawn dark.
class TestImage
{
public:
    /// The colour of an unlit pixel, then those of the squares or blocks.
    using Palette = QVector<QRgb>;

    TestImage(const Pattern &pattern, const QSize &frame);

    const Palette &palette() const { return m_palette; }
    /// Draws `part` of the frame, which holds it whole, with its top-left corner at `place`. The palette has the size of
    /// palette().
    void draw(Canvas &canvas, const QPoint &place, const QRect &part, const Palette &palette) const;
    /// The index into palette() of a pixel of the frame.
    int colorAt(int x, int y) const
    {
        const int column = m_columns[x];
        const int row = m_rows[y];
        return column < 0 || row < 0 ? 0 : 1 + (column + row) % (m_palette.size() - 1);
    }

private:
    void readPixels(const QMap<QString, QVariant> &request, const QSize &frame);
    void readCheckers(const QMap<QString, QVariant> &request, const QSize &frame);

    // For each pixel column and row of the frame the number of its column or row of squares, modulo the number of colours;
    // negative: dark. A square has the colour of the sum of its two numbers.
    QVector<int> m_columns;
    QVector<int> m_rows;
    Palette m_palette;
};

/// What a cabinet makes of the levels of the three colour channels; see Light::Effective. The device and the cabinet must
/// outlive it.
class EffectiveLevels
{
public:
    EffectiveLevels(const DeviceState &device, const CabinetState &cabinet);

    /// From 0 to 255, not rounded.
    double at(std::size_t channel, int level) const;

private:
    std::array<const QList<int> *, 3> m_tables;
    qint64 m_scale;
    int m_brightness;
    double m_full;
};

/// The colours as a cabinet shows them; see Light::Effective.
TestImage::Palette lit(const TestImage::Palette &palette, const DeviceState &device, const CabinetState &cabinet);

} // namespace Simulator

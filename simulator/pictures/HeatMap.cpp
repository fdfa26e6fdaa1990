#include "HeatMap.h"

#include "Font.h"

#include <array>

namespace Simulator {

namespace {

/// The colour scale, from 0 (dark) to 255 (bright).
QRgb heat(int level)
{
    static constexpr std::array<QRgb, 5> stops{0xff0d0887, 0xff7e03a8, 0xffcc4778, 0xfff89540, 0xfff0f921};
    const int place = level * 4;
    const std::size_t stop = static_cast<std::size_t>(std::min(place / 255, 3));
    return blend(stops[stop], stops[stop + 1], place - static_cast<int>(stop) * 255);
}

int heatLevel(int value, const ValueRange &range)
{
    const int inside = std::min(std::max(value, range.least), range.greatest);
    return range.greatest > range.least
               ? static_cast<int>((qint64(inside) - range.least) * 255 / (qint64(range.greatest) - range.least))
               : 0;
}

constexpr int barHeight = 10;
constexpr int tickHeight = 3;

} // namespace

HeatMap::HeatMap(const Projection &projection, const QString &title)
    : m_projection(projection), m_title(title), m_canvas(pictureSize(projection.size()), background)
{
    const qint64 pixels = qint64(projection.map().width()) * projection.map().height();
    if (!isNull()) {
        m_sums.resize(static_cast<std::size_t>(pixels));
        m_counts.resize(static_cast<std::size_t>(pixels));
    }
}

Legend HeatMap::legendOf(const QSize &map)
{
    constexpr int mostCharacters = 52; // In the line of numbers.
    return Legend(map, mostCharacters);
}

QSize HeatMap::pictureSize(const QSize &map)
{
    const Legend legend = legendOf(map);
    const int numbers = (barHeight + tickHeight + 2 + Font::capHeight) * legend.scale;
    return QSize(legend.width, map.height() + 2 * legend.margin + 2 * legend.lineHeight + numbers);
}

QImage HeatMap::drawn(ValueRange range)
{
    const QSize size = m_projection.size();
    const Legend legend = legendOf(size);
    const QPoint corner(legend.margin, size.height() + legend.margin);
    const auto write = [&](int line, const QString &text, QRgb color) {
        m_canvas.write(corner + QPoint(0, line * legend.lineHeight), fitted(text, legend.scale, legend.innerWidth()),
                       legend.scale, color);
    };
    write(0, m_title, white);
    captionStrips(m_canvas, m_projection);
    if (m_statistics.count == 0)
        return m_canvas.image();
    if (range.isEmpty())
        range = m_statistics.range;

    std::vector<QRgb> colors(1 << 16);
    for (std::size_t i = 0; i < colors.size(); ++i)
        colors[i] = heat(heatLevel(static_cast<int>(i), range));
    const auto mapWidth = static_cast<std::size_t>(m_projection.map().width());
    for (int index = 0; index < m_projection.strips(); ++index) {
        const QRect strip = m_projection.strip(index);
        const QPoint place = m_projection.place(index);
        for (int y = 0; y < strip.height(); ++y) {
            QRgb *const line = m_canvas.row(place.y() + y);
            std::size_t i = static_cast<std::size_t>(y) * mapWidth + static_cast<std::size_t>(strip.left());
            for (int x = 0; x < strip.width(); ++x, ++i) {
                const quint32 count = m_counts[i];
                if (count == 1)
                    line[x] = colors[m_sums[i]];
                else if (count > 1)
                    line[x] = colors[(m_sums[i] + count / 2) / count];
            }
        }
    }
    write(1,
          QStringLiteral("%1 pixels: %2 to %3, mean %4")
              .arg(QString::number(m_statistics.count), QString::number(m_statistics.range.least),
                   QString::number(m_statistics.range.greatest),
                   QString::number(double(m_statistics.sum) / double(m_statistics.count), 'f', 1)),
          quiet);
    drawScale(legend, corner.y() + 2 * legend.lineHeight, range);
    return m_canvas.image();
}

/// The colour scale with its ticks: numbers at even distances, as many as find room and differ.
void HeatMap::drawScale(const Legend &legend, int top, const ValueRange &range)
{
    const int bar = barHeight * legend.scale;
    const int tick = tickHeight * legend.scale;
    const int width = legend.innerWidth();
    for (int x = 0; x < width; ++x)
        m_canvas.fill(QRect(legend.margin + x, top, 1, bar), heat(heatLevel(x, {0, width - 1})));

    const int gap = 4 * Font::advance * legend.scale;
    const int widest = std::max(textWidth(QString::number(range.least), legend.scale),
                                textWidth(QString::number(range.greatest), legend.scale));
    int steps = 8;
    while (steps > 1 && (qint64(range.greatest) - range.least < steps || (widest + gap) * (steps + 1) > width))
        steps /= 2;
    if (range.least == range.greatest)
        steps = 0;
    for (int i = 0; i <= steps; ++i) {
        const qint64 part = steps == 0 ? 0 : (qint64(range.greatest) - range.least) * i / steps;
        const QString text = QString::number(range.least + part);
        const int x = legend.margin + (steps == 0 ? 0 : (width - legend.scale) * i / steps);
        const int textX = std::min(std::max(x - (textWidth(text, legend.scale) - legend.scale) / 2, legend.margin),
                                   legend.right() - textWidth(text, legend.scale));
        m_canvas.fill(QRect(x, top + bar, legend.scale, tick), white);
        m_canvas.write(QPoint(textX, top + bar + tick + 2 * legend.scale), text, legend.scale, white);
    }
}

} // namespace Simulator

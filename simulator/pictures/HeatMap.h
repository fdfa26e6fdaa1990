#pragma once

#include "Canvas.h"
#include "Legend.h"
#include "Projection.h"

#include <simulator/PictureTypes.h>

#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtGui/QImage>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Simulator {

struct Statistics {
    ValueRange range;
    qint64 count = 0;
    qint64 sum = 0;

    void add(int value)
    {
        range.least = count == 0 ? value : std::min(range.least, value);
        range.greatest = count == 0 ? value : std::max(range.greatest, value);
        sum += value;
        ++count;
    }
};

/// A picture of values from 0 to 65535: a map that shows the mean of those that meet in a picture pixel, and below it a
/// title, their statistics and the colour scale. Pixels without a value keep the background's colour.
class HeatMap
{
public:
    HeatMap(const Projection &projection, const QString &title);

    /// The picture would be larger than a canvas can be.
    bool isNull() const { return m_canvas.isNull(); }
    /// Adds the values of a rectangle within the screen: next() gives one after the other, row by row, and a negative number
    /// for a pixel without a value. Not for a null one.
    template <typename Next>
    void add(const QRect &rect, Next next);
    /// Colours run from the range's least value to its greatest; an empty range is that of the values.
    QImage drawn(ValueRange range);

private:
    static Legend legendOf(const QSize &map);
    static QSize pictureSize(const QSize &map);
    void drawScale(const Legend &legend, int top, const ValueRange &range);

    Projection m_projection;
    QString m_title;
    Canvas m_canvas;
    std::vector<quint64> m_sums; ///< One for each pixel of the map, as the counts.
    std::vector<quint32> m_counts;
    Statistics m_statistics;
};

template <typename Next>
void HeatMap::add(const QRect &rect, Next next)
{
    std::vector<std::size_t> columns;
    columns.reserve(static_cast<std::size_t>(rect.width()));
    for (int x = rect.left(); x <= rect.right(); ++x)
        columns.push_back(static_cast<std::size_t>(m_projection.x(x)));
    const std::size_t width = static_cast<std::size_t>(m_projection.map().width());
    Statistics statistics = m_statistics;
    for (int y = rect.top(); y <= rect.bottom(); ++y) {
        const std::size_t row = static_cast<std::size_t>(m_projection.y(y)) * width;
        for (const std::size_t column : columns) {
            const int value = next();
            if (value < 0)
                continue;
            m_sums[row + column] += static_cast<quint64>(value);
            ++m_counts[row + column];
            statistics.add(value);
        }
    }
    m_statistics = statistics;
}

} // namespace Simulator

#pragma once

#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QSize>

namespace Simulator {

/// Where the pixels of a screen, which is not empty, are in its map, and the map's place in a picture. A map that would
/// become too flat is cut into strips, which are placed one below the other.
class Projection
{
public:
    /// `maxWidth`: of the picture; 0 for any. A map is cut at multiples of `step` screen pixels, where one is narrow enough.
    Projection(const QRect &screen, int maxWidth, int step = 1);

    static constexpr int flatness = 8;     ///< Width through height from which a map may be cut.
    static constexpr int stripHeight = 64; ///< Less than that only where the screen is not higher.

    const QRect &screen() const { return m_screen; }
    int x(int screenX) const { return along(qint64(screenX) - m_screen.left(), m_map.width(), m_screen.width()); }
    int y(int screenY) const { return along(qint64(screenY) - m_screen.top(), m_map.height(), m_screen.height()); }
    /// Neighbours stay neighbours: both of them end where the pixel between them lies.
    QRect rect(const QRect &rect) const;
    /// The whole map, before it is cut.
    QSize map() const { return m_map; }

    int strips() const { return m_strips; }
    /// A part of the map.
    QRect strip(int index) const;
    /// The top-left corner of a strip in the picture. If there are several, a line of text finds room above each.
    QPoint place(int index) const;
    /// The first column of the screen in a strip; that behind the last one for the index strips().
    int firstColumn(int index) const;
    /// Of the picture.
    QSize size() const;

private:
    static int along(qint64 distance, qint64 mapLength, qint64 length)
    {
        return static_cast<int>(distance * mapLength / length);
    }

    QRect m_screen;
    QSize m_map;
    int m_stripWidth;
    int m_strips = 1;
};

} // namespace Simulator

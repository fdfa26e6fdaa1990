#include "Projection.h"

#include "Canvas.h"
#include "Font.h"

#include <algorithm>

namespace Simulator {

namespace {

constexpr int caption = Font::height + 3;
constexpr int mostStrips = 1000; ///< Cabinets that far from each other are better shown as a whole.

/// `length` times `part` / `whole`, rounded, at least 1.
int scaled(int length, int part, int whole)
{
    return static_cast<int>(std::max<qint64>((qint64(length) * part + whole / 2) / whole, 1));
}

} // namespace

Projection::Projection(const QRect &screen, int maxWidth, int step)
    : m_screen(screen), m_map(screen.size()), m_stripWidth(screen.width())
{
    if (maxWidth <= 0 || maxWidth >= screen.width())
        return;
    m_map = QSize(maxWidth, scaled(screen.height(), maxWidth, screen.width()));
    const int height = std::min(screen.height(), stripHeight);
    m_stripWidth = maxWidth;
    if (m_map.height() >= height || screen.width() / flatness < screen.height())
        return;
    const QSize whole(scaled(screen.width(), height, screen.height()), height);
    const qint64 pixels = qint64(whole.width()) * (height + caption);
    if (whole.width() / maxWidth >= mostStrips || pixels > Canvas::mostPixels / 2)
        return;
    m_map = whole;
    const int steps = static_cast<int>(qint64(maxWidth) * screen.width() / m_map.width() / std::max(step, 1));
    if (steps > 0)
        m_stripWidth = std::max(along(qint64(steps) * step, m_map.width(), screen.width()), 1);
    m_strips = (m_map.width() + m_stripWidth - 1) / m_stripWidth;
}

QRect Projection::rect(const QRect &rect) const
{
    const QPoint corner(x(rect.left()), y(rect.top()));
    return QRect(corner, QSize(x(rect.right() + 1) - corner.x(), y(rect.bottom() + 1) - corner.y()));
}

QRect Projection::strip(int index) const
{
    const int left = index * m_stripWidth;
    return QRect(QPoint(left, 0), QSize(std::min(m_stripWidth, m_map.width() - left), m_map.height()));
}

QPoint Projection::place(int index) const
{
    return m_strips == 1 ? QPoint(0, 0) : QPoint(0, index * (caption + m_map.height()) + caption);
}

int Projection::firstColumn(int index) const
{
    const qint64 left = std::min<qint64>(qint64(index) * m_stripWidth, m_map.width());
    return m_screen.left() + along(left, m_screen.width(), m_map.width());
}

QSize Projection::size() const
{
    return QSize(m_stripWidth, place(m_strips - 1).y() + m_map.height());
}

} // namespace Simulator

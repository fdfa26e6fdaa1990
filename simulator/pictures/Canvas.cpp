#include "Canvas.h"

#include "Font.h"
#include "Legend.h"
#include "Projection.h"

#include <algorithm>

namespace Simulator {

Canvas::Canvas(const QSize &size, QRgb color)
{
    if (size.isEmpty() || qint64(size.width()) * size.height() > mostPixels)
        return;
    m_image = QImage(size, QImage::Format_RGB32);
    if (!m_image.isNull())
        m_image.fill(color);
    leave();
}

void Canvas::enter(const QRect &window, const QPoint &origin)
{
    m_window = window & m_image.rect();
    m_origin = origin;
}

void Canvas::fill(const QRect &rect, QRgb color)
{
    const QRect part = rect.translated(m_origin) & m_window;
    for (int y = part.top(); y <= part.bottom(); ++y)
        std::fill_n(row(y) + part.left(), part.width(), color);
}

void Canvas::outline(const QRect &rect, QRgb color)
{
    fill(QRect(rect.left(), rect.top(), rect.width(), 1), color);
    fill(QRect(rect.left(), rect.bottom(), rect.width(), 1), color);
    fill(QRect(rect.left(), rect.top(), 1, rect.height()), color);
    fill(QRect(rect.right(), rect.top(), 1, rect.height()), color);
}

void Canvas::write(const QPoint &place, const QString &text, int scale, QRgb color)
{
    for (int i = 0; i < text.size(); ++i) {
        for (int y = -Font::markHeight; y < Font::height; ++y) {
            for (int x = 0; x < Font::width; ++x) {
                const QPoint dot(i * Font::advance + x, y);
                if (Font::hasDot(text[i], x, y))
                    fill(QRect(place + dot * scale, QSize(scale, scale)), color);
            }
        }
    }
}

int textWidth(const QString &text, int scale)
{
    return text.isEmpty() ? 0 : (text.size() * Font::advance - 1) * scale;
}

QString fitted(const QString &text, int scale, int width)
{
    if (textWidth(text, scale) <= width)
        return text;
    const int characters = (width + scale) / (Font::advance * scale);
    const QString dots = QStringLiteral("...");
    return characters > dots.size() ? text.left(characters - dots.size()) + dots : QString();
}

void captionStrips(Canvas &canvas, const Projection &map)
{
    for (int i = 0; map.strips() > 1 && i < map.strips(); ++i) {
        const QString text = QStringLiteral("columns %1 to %2").arg(map.firstColumn(i)).arg(map.firstColumn(i + 1) - 1);
        canvas.write(map.place(i) + QPoint(Font::advance, -Font::height), fitted(text, 1, map.size().width()), 1, quiet);
    }
}

QRgb blend(QRgb first, QRgb second, int share)
{
    const auto mix = [share](int from, int to) { return from + (to - from) * share / 255; };
    return qRgb(mix(qRed(first), qRed(second)), mix(qGreen(first), qGreen(second)), mix(qBlue(first), qBlue(second)));
}

} // namespace Simulator

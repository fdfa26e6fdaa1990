#pragma once

#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtGui/QImage>

namespace Simulator {

/// A picture in the making, 32-bit RGB. What lies outside of it is cut off.
class Canvas
{
public:
    /// Null when the size is empty or of more than `mostPixels` pixels, or memory runs out.
    Canvas(const QSize &size, QRgb color);
    static constexpr qint64 mostPixels = qint64(1) << 26;

    bool isNull() const { return m_image.isNull(); }
    int width() const { return m_image.width(); }
    int height() const { return m_image.height(); }
    const QImage &image() const { return m_image; }
    QRgb *row(int y) { return reinterpret_cast<QRgb *>(m_image.scanLine(y)); }

    /// From here on fill(), outline() and write() draw at their places plus `origin`, inside `window` only.
    void enter(const QRect &window, const QPoint &origin);
    void leave() { enter(m_image.rect(), QPoint()); }

    void fill(const QRect &rect, QRgb color);
    /// The outermost pixels of a rectangle.
    void outline(const QRect &rect, QRgb color);
    /// One line of Font::drawable() text, its dots squares of `scale` pixels, `place` its top-left corner.
    void write(const QPoint &place, const QString &text, int scale, QRgb color);

private:
    QImage m_image;
    QRect m_window;
    QPoint m_origin;
};

/// Width of a line of text. It is Font::capHeight * scale high, Font::height * scale with what hangs below the baseline.
int textWidth(const QString &text, int scale);
/// The text, cut short and with three dots at its end where it is wider than `width`.
QString fitted(const QString &text, int scale, int width);

class Projection;
/// Writes above each strip of a map that is cut which columns of the screen it shows.
void captionStrips(Canvas &canvas, const Projection &map);

/// A colour between two others: 0 is the first, 255 the second.
QRgb blend(QRgb first, QRgb second, int share);

} // namespace Simulator

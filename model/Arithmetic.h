#pragma once

#include <QtCore/QRect>

namespace Correction {

/// 32-bit arithmetic that wraps in two's complement. Hosts and devices may send any number; signed overflow must not be
/// undefined behaviour.
inline int wrapAdd(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

inline int wrapSub(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}

inline int wrapMul(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}

/// What `QRect::width()`, `QRect::height()` and the constructor from position and size give, for any numbers.
inline int widthOf(const QRect &rect)
{
    return wrapAdd(wrapSub(rect.right(), rect.left()), 1);
}

inline int heightOf(const QRect &rect)
{
    return wrapAdd(wrapSub(rect.bottom(), rect.top()), 1);
}

inline QRect rectOf(int x, int y, int width, int height)
{
    QRect rect;
    rect.setCoords(x, y, wrapSub(wrapAdd(x, width), 1), wrapSub(wrapAdd(y, height), 1));
    return rect;
}

/// `rect` seen from `origin`.
inline QRect relativeTo(const QRect &rect, const QPoint &origin)
{
    return rectOf(wrapSub(rect.x(), origin.x()), wrapSub(rect.y(), origin.y()), widthOf(rect), heightOf(rect));
}

} // namespace Correction

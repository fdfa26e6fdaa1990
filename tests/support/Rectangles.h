#pragma once

#include <QtCore/QRandomGenerator>
#include <QtCore/QRect>
#include <QtCore/QVector>

namespace TestSupport {

/// Any rectangle, also one that is wider or higher than an int.
inline QRect fromCorners(int left, int top, int right, int bottom)
{
    QRect rect;
    rect.setCoords(left, top, right, bottom);
    return rect;
}

/// Cuts a rectangle into at most `cuts` + 1 smaller ones, which are appended to `parts`.
inline void partition(const QRect &rect, int cuts, QRandomGenerator &random, QVector<QRect> &parts)
{
    if (cuts > 0 && (rect.width() > 1 || rect.height() > 1)) {
        QRect first = rect;
        QRect second = rect;
        if (rect.height() == 1 || (rect.width() > 1 && random.bounded(2))) {
            first.setWidth(random.bounded(1, rect.width()));
            second.setLeft(first.right() + 1);
        } else {
            first.setHeight(random.bounded(1, rect.height()));
            second.setTop(first.bottom() + 1);
        }
        const int left = random.bounded(cuts);
        partition(first, left, random, parts);
        partition(second, cuts - 1 - left, random, parts);
    } else {
        parts.append(rect);
    }
}

} // namespace TestSupport

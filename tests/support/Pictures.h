#pragma once

#include <QtCore/QString>
#include <QtGui/QImage>

namespace TestSupport {

/// The first pixel in which two pictures differ, or an empty string.
inline QString difference(const QImage &actual, const QImage &expected)
{
    if (actual.size() != expected.size())
        return QStringLiteral("%1x%2 pixels").arg(actual.width()).arg(actual.height());
    for (int y = 0; y < actual.height(); ++y) {
        for (int x = 0; x < actual.width(); ++x) {
            if (actual.pixel(x, y) != expected.pixel(x, y)) {
                return QStringLiteral("%1,%2 is %3, not %4")
                    .arg(QString::number(x), QString::number(y), actual.pixelColor(x, y).name(),
                         expected.pixelColor(x, y).name());
            }
        }
    }
    return QString();
}

} // namespace TestSupport

#pragma once

#include "Font.h"

#include <QtCore/QSize>
#include <QtGui/QColor>

#include <algorithm>

namespace Simulator {

constexpr QRgb white = 0xffffffff;
constexpr QRgb background = 0xff202020;
constexpr QRgb quiet = 0xffb0b0b0; ///< Text that comes second.

constexpr int leastLegendWidth = 280;

/// The measures of a legend below a map.
struct Legend {
    int width;
    int scale;
    int margin;
    int lineHeight;

    /// For lines of up to `mostCharacters`: as large as suits the picture and lets them fit, if anything does.
    Legend(const QSize &map, int mostCharacters) : width(std::max(map.width(), leastLegendWidth))
    {
        const int suiting = width < 640 ? 1 : width < 2000 ? 2 : width < 3600 ? 3 : 4;
        const int fitting = width / ((mostCharacters + 2) * Font::advance);
        scale = std::max(std::min(suiting, fitting), 1);
        margin = Font::advance * scale;
        lineHeight = (Font::height + 3) * scale;
    }
    int innerWidth() const { return width - 2 * margin; }
    int right() const { return width - margin; }
};

} // namespace Simulator

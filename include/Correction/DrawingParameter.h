#pragma once

#include <Correction/Global.h>

#include <QtCore/QRect>
#include <QtGui/QColor>

namespace Correction {

/// The pixel image: lit pixel blocks at equal distances on black. One description serves the whole screen.
class CORRECTION_EXPORT DrawingParameter
{
public:
    DrawingParameter(); ///< A null rectangle, no block, intervals of 0.
    DrawingParameter(const DrawingParameter &other);
    DrawingParameter &operator=(const DrawingParameter &other);

    QRect screenPartRect; ///< Where the pattern is drawn, in screen pixels.
    /// First lit block, in pixels: width and height are its size, x and y its offset from the top-left corner of
    /// `screenPartRect`. On a screen of several devices the blocks of the devices are in step when a block is one pixel wide
    /// and high; larger ones may be displaced at the border of two devices. Hosts rely on it.
    QRect pixelBlockInRect;
    QColor color;            ///< Colour of the lit blocks.
    int pixelBlockIntervalX; ///< Block widths left dark between two lit blocks of a row.
    int pixelBlockIntervalY; ///< Block heights left dark between two lit blocks of a column.
};

} // namespace Correction

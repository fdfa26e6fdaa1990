#pragma once

#include <Correction/Global.h>

#include <QtCore/QRect>
#include <QtGui/QColor>

namespace Correction {

/// The pixel image: lit pixel blocks at equal distances on black. One description serves the whole screen.
class CORRECTION_EXPORT DrawingParameter
{
public:
    DrawingParameter();
    DrawingParameter(const DrawingParameter &other);
    DrawingParameter &operator=(const DrawingParameter &other);

    QRect screenPartRect;    ///< Where the pattern shows, in screen pixels.
    QRect pixelBlockInRect;  ///< First lit block: x and y are its offset, width and height its size, in pixels.
    QColor color;            ///< Colour of the lit blocks.
    int pixelBlockIntervalX; ///< Block widths left dark between two lit blocks of a row.
    int pixelBlockIntervalY; ///< Block heights left dark between two lit blocks of a column.
};

} // namespace Correction

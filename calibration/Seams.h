#pragma once

#include <QtCore/QVector>

namespace Calibration {

/// Borders between the parts of a screen (modules, cabinets, or what a camera saw in one shot), in pixels from the screen's
/// top-left corner, in ascending order. They divide the whole screen: a part lies between two neighbouring columns and rows.
struct Seams {
    QVector<int> columns; ///< The first pixel column to the right of each vertical seam.
    QVector<int> rows;    ///< The first pixel row below each horizontal seam.
};

} // namespace Calibration

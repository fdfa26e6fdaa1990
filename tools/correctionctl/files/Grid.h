#pragma once

#include <Correction/CoefficientPtr.h>
#include <Correction/Enumerations.h>

#include <QtCore/QSize>
#include <QtCore/QVector>

namespace Ctl {

/// A rectangle of pixels with the same number of values for each: what files hold. Row by row, pixel by pixel, as the
/// library's grids. Bytes of multilayer grids are values from 0 to 255.
struct Grid {
    QSize size;         ///< Invalid when the file does not tell: then `values` is checked against a wanted size.
    int length = 0;     ///< Values for each pixel; 0 with an invalid size.
    bool bytes = false; ///< Values of 8 bits.
    QVector<quint16> values;
};

/// Number of values for a pixel of the library's grids.
int lengthOf(Correction::EnumCoefficientType kind);

/// A grid of the library with these values. The grid must have the kind's length.
Correction::CoefficientPtr toLibrary(const Grid &grid, Correction::EnumCoefficientType kind);
/// The values of any grid of the library.
Grid fromLibrary(Correction::ICoefficient &grid);

} // namespace Ctl

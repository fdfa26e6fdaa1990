#pragma once

#include "Grid.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Ctl {

/// The NumPy file format, versions 1 to 3: a magic text, the length of a header, the header (a Python dictionary with the
/// keys 'descr', 'fortran_order' and 'shape'), the values.

/// A whole `.npy` file as a grid: an array of the shape (rows, columns, values) of whole numbers of 8, 16, 32 or 64 bits, in
/// any byte order and in C or Fortran order, if each of its values is from 0 to 65535. No value is changed. False with the
/// reason, and the NumPy expression that mends it where there is one, for everything else. The byte order of the machine has
/// no influence.
bool parseNpy(const QByteArray &file, Grid &grid, QString &reason);

/// Whether a `.npy` file whose first bytes are `start` is as npyHeader() describes it, 16-bit values in C order, so that its
/// values can be read in place: `offset` bytes behind the beginning of the file. `grid` gets size and length.
bool isPlainNpy(const QByteArray &start, qint64 fileSize, Grid &grid, qint64 &offset);

/// Light: X, Y and Z in cd/m2, as floating-point numbers, three or nine for each pixel. Row by row, pixel by pixel.
struct Light {
    QSize size;
    int length = 0;
    QVector<float> values;
};

/// The same for an array of numbers of 32 or 64 bits; the latter are rounded. Any number of values for each pixel.
bool parseNpyLight(const QByteArray &file, Light &light, QString &reason);
/// The bytes of a file of 32-bit numbers without its values.
QByteArray npyLightHeader(const QSize &size, int length);

} // namespace Ctl

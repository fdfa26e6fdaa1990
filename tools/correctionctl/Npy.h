#pragma once

#include "Grid.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Ctl {

/// The NumPy file format, versions 1 to 3: a magic text, the length of a header, the header (a Python dictionary with the
/// keys 'descr', 'fortran_order' and 'shape'), the values.

/// A whole `.npy` file as a grid. Arrays of shape (rows, columns, values) with the type '<u2' or '|u1', in C order; false
/// with the reason for everything else.
bool parseNpy(const QByteArray &file, Grid &grid, QString &reason);

} // namespace Ctl

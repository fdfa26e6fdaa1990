#pragma once

#include "Grid.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Ctl {

/// NumPy's archives of arrays: ZIP files with a `.npy` file for each array.

/// The array "coefficients" of an archive, or its only array, as a grid: see parseNpy(). False with the reason.
bool parseNpz(const QByteArray &file, Grid &grid, QString &reason);
/// An archive with one compressed array, "coefficients". The same grid gives the same bytes.
QByteArray toNpz(const Grid &grid);

} // namespace Ctl

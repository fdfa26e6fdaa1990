#pragma once

#include "Grid.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Ctl {

/// Tables of coefficients for spreadsheets: a line for each pixel, row by row from the top-left one, with its column and row
/// in the grid, counted from 0, and its values. The first line names them: "x,y,0,1,2".

/// The grid in a table. The first line may be missing; fields are separated by commas or semicolons. False with the line and
/// the reason if it is not such a table.
bool parseCsv(const QByteArray &file, Grid &grid, QString &reason);
QByteArray toCsv(const Grid &grid);

} // namespace Ctl

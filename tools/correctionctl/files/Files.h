#pragma once

#include "Grid.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtGui/QImage>

class QSaveFile;

namespace Ctl {

/// Files of coefficients, by the extension of their name:
/// - ".npy": a NumPy array of the shape (rows, columns, values), written as little-endian uint16 (uint8 for multilayer) in C
///   order; read as Npy.h says;
/// - ".npz": Npz.h;
/// - ".csv": Csv.h;
/// - ".json": the library's JSON text, a flat array of numbers; the size of the grid is not part of it;
/// - ".png", ".tif", ".tiff": one value of each pixel, as a picture of 16-bit grey (8-bit for multilayer). A name with "%"
/// is
///   one picture for each value: "%" becomes 0, 1 and so on.
///
/// "-" and names in /dev/ are streams: standard input or output, or what a shell puts in the place of "<(...)". They are
/// written as .npy, and read as what their first bytes show.
///
/// Every other file is written to a temporary file and renamed, so that it is whole or not there. All functions throw a
/// Failure that names the file and the reason.
enum class FileForm { Npy, Npz, Csv, Json, Png, Tiff };

bool isStream(const QString &path);
FileForm formOf(const QString &path);

/// The grid in a file. A single picture gives a grid of one value for each pixel.
Grid readGrid(const QString &path);
/// The grid for a rectangle: refused unless it has this size, as many values for each pixel as `kind` has, and values of
/// its range. Values of 8 bits are multilayer ones only.
Grid readGridFor(const QString &path, const QSize &size, Correction::EnumCoefficientType kind);
/// The same for a grid that was read from `path`.
Grid checkedGrid(const QString &path, Grid grid, const QSize &size, Correction::EnumCoefficientType kind);
/// Throws for a grid of another shape; its values may be absent.
void requireShape(const QString &path, const Grid &grid, const QSize &size, Correction::EnumCoefficientType kind);
/// `channel`: the value that a single picture shows.
void writeGrid(const QString &path, const Grid &grid, int channel);

/// One value of each pixel as a picture.
QImage preview(const Grid &grid, int channel);
void writePicture(const QString &path, const QImage &picture);

QByteArray readFile(const QString &path);
void writeFile(const QString &path, const QByteArray &bytes);
/// Throws unless a file can be put there: asked before the work that would be lost otherwise.
void checkWritable(const QString &path);
/// Opens a file for atomic writing, or throws.
void openForWriting(QSaveFile &file);
/// Writes, or throws.
void writeTo(QSaveFile &file, const QByteArray &bytes);
/// Puts the file in place, or throws.
void commit(QSaveFile &file);

/// The bytes of a `.npy` file without its values: `bytes` of 8 bits or else of 16.
QByteArray npyHeader(const QSize &size, int length, bool bytes);
/// Values as little-endian bytes.
QByteArray toBytes(const Grid &grid);

} // namespace Ctl

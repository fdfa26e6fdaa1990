#pragma once

#include "Grid.h"

#include <Correction/Enumerations.h>

#include <QtCore/QFile>
#include <QtCore/QRect>
#include <QtCore/QSaveFile>
#include <QtCore/QString>
#include <QtCore/QTemporaryFile>
#include <QtCore/QVector>

#include <future>

namespace Ctl {

/// Grids of whole walls whose values stay in a file: they are read and written part by part. All functions throw a Failure
/// that names the file and the reason.

/// A grid that is read from a file.
class GridSource
{
public:
    /// Refuses what readGridFor() refuses. Files other than plain .npy (isPlainNpy()) are held in memory.
    GridSource(const QString &path, const QSize &size, Correction::EnumCoefficientType kind);

    /// Whether the values stay in the file.
    static bool isInPlace(const QString &path);

    /// The grid's part at `rect`, which must be inside.
    Grid part(const QRect &rect);

private:
    QString m_path;
    QFile m_file; ///< Closed: the values are those of `m_grid`.
    qint64 m_offset = 0;
    Grid m_grid;
};

/// A chroma grid that is written to a file, in parts of any order. Pixels without a part are 0.
class GridWriter
{
public:
    /// Whether files of this name are written part by part: .npy and .json, and no streams.
    static bool takes(const QString &path);

    GridWriter(const QString &path, const QSize &size);
    void put(const QRect &rect, const QVector<quint16> &values);
    /// Renames the temporary file to its final name. A writer that is destroyed without finish() leaves no file.
    void finish();

private:
    /// Begins to write the run.
    void flush();
    /// Waits until it is written.
    void wait();
    void writeNumbers();

    QSaveFile m_file;
    QTemporaryFile m_values; ///< The values of a .json file, until finish() writes them as text.
    int m_handle = -1;       ///< Of the file that takes the values.
    qint64 m_offset = 0;     ///< Of the first one.
    QSize m_size;
    QVector<QVector<quint16>> m_run; ///< Parts beside each other that are not written yet, as in the file.
    QRect m_runRect;                 ///< Of all of them.
    std::future<int> m_writing;      ///< Of the run before: 0 or errno. Last: it ends before the files are closed.
};

} // namespace Ctl

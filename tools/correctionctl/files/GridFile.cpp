#include "GridFile.h"

#include "Files.h"
#include "Npy.h"
#include "terminal/ExitCodes.h"

#include <Correction/Coefficient.h>
#include <Correction/CoefficientPtr.h>

#include <QtCore/QFileInfo>
#include <QtCore/QtEndian>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include <sys/uio.h>
#include <unistd.h>

using namespace Correction;

namespace Ctl {

namespace {

constexpr qint64 longestHeader = 10 + 0xffff; // of a .npy file of version 1
constexpr int length = chromaPixelLength;
constexpr int mostPieces = 16; // of a run, each a cabinet's part

/// Reads values, least significant byte first. False at the end of the file, and with errno after a failure.
bool readValues(int file, qint64 offset, quint16 *values, qint64 count)
{
    auto *const bytes = reinterpret_cast<char *>(values);
    const qint64 size = 2 * count;
    errno = 0;
    for (qint64 done = 0; done < size;) {
        const ssize_t now = ::pread(file, bytes + done, size_t(size - done), off_t(offset + done));
        if (now < 0 && errno == EINTR)
            continue;
        if (now <= 0)
            return false;
        done += now;
    }
    qFromLittleEndian<quint16>(values, count, values);
    return true;
}

/// Writes pieces one behind the other. 0 or errno.
int writePieces(int file, qint64 offset, std::vector<iovec> pieces)
{
    for (std::size_t first = 0; first < pieces.size();) {
        const ssize_t now = ::pwritev(file, pieces.data() + first, int(pieces.size() - first), off_t(offset));
        if (now < 0 && errno == EINTR)
            continue;
        if (now <= 0)
            return now < 0 ? errno : EIO;
        offset += now;
        for (auto left = std::size_t(now); left > 0;) {
            iovec &piece = pieces[first];
            const std::size_t done = std::min(left, piece.iov_len);
            piece.iov_base = static_cast<char *>(piece.iov_base) + done;
            piece.iov_len -= done;
            left -= done;
            if (piece.iov_len == 0)
                ++first;
        }
    }
    return 0;
}

/// Opens a plain .npy file and gives its shape; false for everything else.
bool openInPlace(QFile &file, Grid &grid, qint64 &offset)
{
    const QString path = file.fileName();
    if (isStream(path) || formOf(path) != FileForm::Npy || !QFileInfo(path).isFile()
        || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    if (isPlainNpy(file.read(longestHeader), file.size(), grid, offset))
        return true;
    file.close();
    return false;
}

} // namespace

GridSource::GridSource(const QString &path, const QSize &size, EnumCoefficientType kind) : m_path(path), m_file(path)
{
    // Each of multilayer's values is checked.
    if (kind != enMultilayerCoefficient && openInPlace(m_file, m_grid, m_offset))
        requireShape(path, m_grid, size, kind);
    else
        m_grid = readGridFor(path, size, kind);
}

bool GridSource::isInPlace(const QString &path)
{
    QFile file(path);
    Grid grid;
    qint64 offset = 0;
    return openInPlace(file, grid, offset);
}

Grid GridSource::part(const QRect &rect)
{
    Grid part;
    part.size = rect.size();
    part.length = m_grid.length;
    part.bytes = m_grid.bytes;
    part.values.resize(rect.width() * rect.height() * m_grid.length);
    const bool isWide = rect.width() == m_grid.size.width(); // its rows are one piece
    const int pieces = isWide ? 1 : rect.height();
    const int count = part.values.size() / pieces;
    quint16 *values = part.values.data();
    for (int row = 0; row < pieces; ++row, values += count) {
        const qint64 first = (qint64(rect.y() + row) * m_grid.size.width() + rect.x()) * m_grid.length;
        if (!m_file.isOpen())
            std::copy_n(m_grid.values.constData() + first, count, values);
        else if (!readValues(m_file.handle(), m_offset + 2 * first, values, count))
            throw Failure(ExitNoInput, QStringLiteral("%1: %2").arg(m_path, errno != 0 ? qt_error_string(errno)
                                                                                       : QStringLiteral("was cut short")));
    }
    return part;
}

bool GridWriter::takes(const QString &path)
{
    return !isStream(path) && (formOf(path) == FileForm::Npy || formOf(path) == FileForm::Json);
}

GridWriter::GridWriter(const QString &path, const QSize &size) : m_file(path), m_size(size)
{
    openForWriting(m_file);
    QFileDevice *values = &m_file;
    if (formOf(path) == FileForm::Npy) {
        const QByteArray header = npyHeader(size, length, false);
        writeTo(m_file, header);
        m_offset = header.size();
    } else {
        m_values.setFileTemplate(path + QStringLiteral(".XXXXXX"));
        m_values.open();
        values = &m_values;
    }
    m_handle = values->handle();
    if (!values->resize(m_offset + qint64(size.width()) * size.height() * length * 2))
        throw Failure(ExitCannotWrite, QStringLiteral("%1: %2").arg(path, values->errorString()));
}

void GridWriter::put(const QRect &rect, const QVector<quint16> &values)
{
    const bool continues = !m_run.isEmpty() && m_run.size() < mostPieces && rect.left() == m_runRect.right() + 1
                           && rect.top() == m_runRect.top() && rect.height() == m_runRect.height();
    if (!continues) {
        if (!m_run.isEmpty())
            flush();
        m_runRect = rect;
    }
    m_runRect.setRight(rect.right());
    m_run.append(values);
    if (Q_BYTE_ORDER != Q_LITTLE_ENDIAN)
        qToLittleEndian<quint16>(values.constData(), values.size(), m_run.last().data());
}

void GridWriter::flush()
{
    wait();
    m_writing = std::async(
        [run = std::exchange(m_run, {}), rect = m_runRect, width = m_size.width(), handle = m_handle, offset = m_offset] {
            std::vector<iovec> pieces(std::size_t(run.size()));
            for (int row = 0; row < rect.height(); ++row) {
                for (int i = 0; i < run.size(); ++i) {
                    const int count = run[i].size() / rect.height();
                    pieces[std::size_t(i)] = {const_cast<quint16 *>(run[i].constData()) + qint64(row) * count,
                                              2 * std::size_t(count)};
                }
                const qint64 first = (qint64(rect.y() + row) * width + rect.x()) * length;
                if (const int failure = writePieces(handle, offset + 2 * first, pieces))
                    return failure;
            }
            return 0;
        });
}

void GridWriter::wait()
{
    if (const int failure = m_writing.valid() ? m_writing.get() : 0)
        throw Failure(ExitCannotWrite, QStringLiteral("%1: %2").arg(m_file.fileName(), qt_error_string(failure)));
}

void GridWriter::finish()
{
    if (!m_run.isEmpty())
        flush();
    wait();
    if (m_values.isOpen())
        writeNumbers();
    commit(m_file);
}

void GridWriter::writeNumbers()
{
    // The library writes the array of some pixels at a time, each behind a comma.
    constexpr int pixelsAtOnce = 1 << 15;
    const qint64 pixels = qint64(m_size.width()) * m_size.height();
    for (qint64 done = 0; done < pixels;) {
        Grid some;
        some.size = QSize(int(std::min<qint64>(pixelsAtOnce, pixels - done)), 1);
        some.length = length;
        some.values.resize(some.size.width() * length);
        if (!readValues(m_handle, 2 * done * length, some.values.data(), some.values.size()))
            throw Failure(ExitCannotWrite, QStringLiteral("%1: %2").arg(m_file.fileName(), qt_error_string(errno)));
        const CoefficientPtr grid = toLibrary(some, enCommonCoefficient);
        QByteArray text = dynamic_cast<IChromaCoefficient &>(*grid).toJsonData().toLatin1();
        if (done > 0)
            text[0] = ',';
        done += some.size.width();
        if (done < pixels)
            text.chop(1);
        writeTo(m_file, text);
    }
}

} // namespace Ctl

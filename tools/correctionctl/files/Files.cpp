#include "Files.h"

#include "Npy.h"
#include "terminal/ExitCodes.h"
#include "terminal/Texts.h"

#include <adapter/json/SaveFile.h>

#include <QtCore/QBuffer>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>
#include <QtCore/QtEndian>
#include <QtGui/QImageReader>

#include <algorithm>
#include <cstring>
#include <limits>

using namespace Correction;

namespace Ctl {

namespace {

Failure badFile(const QString &path, const QString &reason)
{
    return Failure(ExitBadData, path + QStringLiteral(": ") + reason);
}

/// A flat JSON array of numbers from 0 to 65535. QJsonDocument cannot hold a wall's worth of them.
bool parseNumbers(const QByteArray &text, QVector<quint16> &values, QString &reason)
{
    const char *at = text.constData();
    const char *const end = at + text.size();
    const auto blanks = [&at, end] {
        while (at < end && std::strchr(" \t\r\n", *at) && *at)
            ++at;
    };
    const auto refuse = [&](const char *what) {
        reason = at == end ? QStringLiteral("cut short at byte %1").arg(text.size())
                           : QStringLiteral("%1 at byte %2").arg(QLatin1String(what)).arg(at - text.constData());
        return false;
    };
    blanks();
    if (at == end || *at != '[')
        return refuse("no JSON array of numbers: no \"[\"");
    ++at;
    blanks();
    for (bool first = true; at < end && *at != ']'; first = false) {
        if (!first) {
            if (*at != ',')
                return refuse("no \",\"");
            ++at;
            blanks();
        }
        const char *const begin = at;
        quint32 number = 0;
        while (at < end && *at >= '0' && *at <= '9' && number <= 65535)
            number = number * 10 + quint32(*at++ - '0');
        if (at == begin || number > 65535 || (*begin == '0' && at - begin > 1))
            return refuse("no number from 0 to 65535");
        values.append(quint16(number));
        blanks();
    }
    if (at == end)
        return refuse("");
    ++at;
    blanks();
    return at == end || refuse("something behind the array");
}

/// "[row, column, value]"
QString placeText(const Grid &grid, int index)
{
    const int pixel = index / grid.length;
    return QStringLiteral("[%1, %2, %3]")
        .arg(pixel / grid.size.width())
        .arg(pixel % grid.size.width())
        .arg(index % grid.length);
}

Grid readPicture(const QString &path)
{
    QByteArray bytes = readFile(path);
    // Looked at here, since the decoder has its own say about such files on standard error.
    if (!bytes.startsWith("\x89PNG\r\n\x1a\n") || !bytes.endsWith("IEND\xae\x42\x60\x82"))
        throw badFile(path, QStringLiteral("no PNG picture, or cut short"));
    QBuffer buffer(&bytes);
    QImageReader reader(&buffer, "png");
    const QImage picture = reader.read();
    if (picture.isNull())
        throw badFile(path, QStringLiteral("a damaged PNG picture"));
    if (picture.format() != QImage::Format_Grayscale16 && picture.format() != QImage::Format_Grayscale8)
        throw badFile(path, QStringLiteral("no grey picture of 16 or 8 bits, as a preview of coefficients is"));
    Grid grid;
    grid.size = picture.size();
    grid.length = 1;
    grid.bytes = picture.format() == QImage::Format_Grayscale8;
    grid.values.reserve(picture.width() * picture.height());
    for (int y = 0; y < picture.height(); ++y) {
        const uchar *const line = picture.constScanLine(y);
        for (int x = 0; x < picture.width(); ++x)
            grid.values.append(grid.bytes ? line[x] : reinterpret_cast<const quint16 *>(line)[x]);
    }
    return grid;
}

} // namespace

FileForm formOf(const QString &path)
{
    const QString extension = QFileInfo(path).suffix().toLower();
    if (extension == QLatin1String("npy"))
        return FileForm::Npy;
    if (extension == QLatin1String("json"))
        return FileForm::Json;
    if (extension == QLatin1String("png"))
        return FileForm::Png;
    throw Failure(ExitUsage, path + QStringLiteral(": files of coefficients end in .npy, .json or .png"));
}

Grid readGrid(const QString &path)
{
    const FileForm form = formOf(path);
    if (form == FileForm::Png)
        return readPicture(path);
    const QByteArray bytes = readFile(path);
    Grid grid;
    QString reason;
    if (!(form == FileForm::Npy ? parseNpy(bytes, grid, reason) : parseNumbers(bytes, grid.values, reason)))
        throw badFile(path, reason);
    return grid;
}

Grid readGridFor(const QString &path, const QSize &size, EnumCoefficientType kind)
{
    Grid grid = readGrid(path);
    const int length = lengthOf(kind);
    if (!grid.size.isValid()) {
        const qint64 expected = qint64(size.width()) * size.height() * length;
        if (grid.values.size() != expected)
            throw badFile(path, QStringLiteral("%1 numbers; the rectangle of %2 pixels needs %3")
                                    .arg(grid.values.size())
                                    .arg(sizeText(size))
                                    .arg(expected));
        grid.size = size;
        grid.length = length;
    }
    const QString pixels = QStringLiteral("%1 pixels; the rectangle has %2").arg(sizeText(grid.size), sizeText(size));
    if (grid.size != size && grid.length == size.width() && grid.size == QSize(size.height(), length))
        throw badFile(path, pixels + QStringLiteral("; np.save(path, np.moveaxis(a, 0, -1)) puts the values last"));
    if (grid.size != size && grid.length == length && grid.size == size.transposed())
        throw badFile(path, pixels + QStringLiteral("; np.save(path, a.transpose(1, 0, 2)) exchanges rows and columns"));
    if (grid.size != size)
        throw badFile(path, pixels);
    if (grid.length != length)
        throw badFile(
            path,
            QStringLiteral("%1 for each pixel; %2 needs %3").arg(counted(grid.length, "value"), kindText(kind)).arg(length));
    if (kind == enMultilayerCoefficient) {
        const auto found = std::find_if(grid.values.cbegin(), grid.values.cend(), [](quint16 value) { return value > 255; });
        if (found != grid.values.cend())
            throw badFile(path, QStringLiteral("value %1 at %2; multilayer values are bytes from 0 to 255")
                                    .arg(*found)
                                    .arg(placeText(grid, int(found - grid.values.cbegin()))));
    } else if (grid.bytes) {
        throw badFile(path, QStringLiteral("values of 8 bits; %1 coefficients have 16. If numbers from 0 to 255 are meant: "
                                           "np.save(path, a.astype('<u2'))")
                                .arg(kindText(kind)));
    }
    return grid;
}

void writeGrid(const QString &path, const Grid &grid, int channel)
{
    switch (formOf(path)) {
    case FileForm::Png:
        writePicture(path, preview(grid, channel));
        return;
    case FileForm::Json: {
        if (grid.length != lengthOf(enCommonCoefficient))
            throw Failure(ExitUsage, path + QStringLiteral(": only grids of 9 values a pixel have a JSON text; take .npy"));
        const CoefficientPtr chroma = toLibrary(grid, enCommonCoefficient);
        writeFile(path, dynamic_cast<IChromaCoefficient &>(*chroma).toJsonData().toLatin1());
        return;
    }
    case FileForm::Npy:
        break;
    }
    QSaveFile file(path);
    openForWriting(file);
    writeTo(file, npyHeader(grid.size, grid.length, grid.bytes));
    writeTo(file, toBytes(grid));
    commit(file);
}

QImage preview(const Grid &grid, int channel)
{
    QImage picture(grid.size, grid.bytes ? QImage::Format_Grayscale8 : QImage::Format_Grayscale16);
    if (picture.isNull())
        throw Failure(ExitNoMemory, QStringLiteral("a picture of %1 pixels is too large").arg(sizeText(grid.size)));
    const quint16 *value = grid.values.constData() + channel;
    for (int y = 0; y < picture.height(); ++y) {
        uchar *const line = picture.scanLine(y);
        for (int x = 0; x < picture.width(); ++x, value += grid.length) {
            if (grid.bytes)
                line[x] = uchar(*value);
            else
                reinterpret_cast<quint16 *>(line)[x] = *value;
        }
    }
    return picture;
}

void writePicture(const QString &path, const QImage &picture)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (picture.isNull() || !picture.save(&buffer, "png"))
        throw Failure(ExitInternal, path + QStringLiteral(": the picture cannot be made"));
    writeFile(path, bytes);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (QFileInfo(path).isDir())
        throw Failure(ExitNoInput, path + QStringLiteral(": is a directory"));
    if (!file.open(QIODevice::ReadOnly))
        throw Failure(ExitNoInput, QStringLiteral("%1: %2").arg(path, file.errorString()));
    // Qt's containers hold less than 2 GiB.
    if (file.size() >= std::numeric_limits<int>::max() - 64)
        throw badFile(path, QStringLiteral("too large: %1").arg(bytesText(double(file.size()))));
    const QByteArray bytes = file.readAll();
    if (file.error() != QFile::NoError)
        throw Failure(ExitNoInput, QStringLiteral("%1: %2").arg(path, file.errorString()));
    return bytes;
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    openForWriting(file);
    writeTo(file, bytes);
    commit(file);
}

void checkWritable(const QString &path)
{
    QSaveFile file(path);
    openForWriting(file); // never committed: its temporary file goes with it
}

void openForWriting(QSaveFile &file)
{
    // Renaming puts an ordinary file in the place of whatever stands there, be it the system's /dev/null.
    const QFileInfo there(file.fileName());
    if (there.exists() && !there.isFile() && !there.isDir())
        throw Failure(ExitCannotWrite, file.fileName() + QStringLiteral(": is no ordinary file"));
    // QSaveFile::commit() forgets what goes wrong with bytes that stayed in a buffer until then.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        throw Failure(ExitCannotWrite, QStringLiteral("%1: %2").arg(file.fileName(), file.errorString()));
}

void writeTo(QSaveFile &file, const QByteArray &bytes)
{
    // On a full disk write() may succeed for a part; the next call reports the reason.
    for (qint64 done = 0; done < bytes.size();) {
        const qint64 taken = file.write(bytes.constData() + done, bytes.size() - done);
        if (taken <= 0)
            throw Failure(ExitCannotWrite, QStringLiteral("%1: %2").arg(file.fileName(), file.errorString()));
        done += taken;
    }
}

void commit(QSaveFile &file)
{
    QString reason;
    if (!Json::commit(file, reason))
        throw Failure(ExitCannotWrite, QStringLiteral("%1: %2").arg(file.fileName(), reason));
}

QByteArray toBytes(const Grid &grid)
{
    QByteArray bytes(grid.values.size() * (grid.bytes ? 1 : 2), Qt::Uninitialized);
    if (grid.bytes)
        std::transform(grid.values.cbegin(), grid.values.cend(), bytes.begin(), [](quint16 value) { return char(value); });
    else
        qToLittleEndian<quint16>(grid.values.constData(), grid.values.size(), bytes.data());
    return bytes;
}

} // namespace Ctl

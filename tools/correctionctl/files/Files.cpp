#include "Files.h"

#include "Csv.h"
#include "Npy.h"
#include "Npz.h"
#include "terminal/ExitCodes.h"
#include "terminal/Output.h"
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
#include <optional>
#include <unistd.h>

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
        return refuse("not a JSON array of numbers: it does not begin with \"[\"");
    ++at;
    blanks();
    for (bool first = true; at < end && *at != ']'; first = false) {
        if (!first) {
            if (*at != ',')
                return refuse("expected \",\"");
            ++at;
            blanks();
        }
        const char *const begin = at;
        quint32 number = 0;
        while (at < end && *at >= '0' && *at <= '9' && number <= 65535)
            number = number * 10 + quint32(*at++ - '0');
        if (at == begin || number > 65535 || (*begin == '0' && at - begin > 1))
            return refuse("expected a number from 0 to 65535");
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

bool isTiff(const QByteArray &bytes)
{
    return bytes.startsWith(QByteArray("II*\0", 4)) || bytes.startsWith(QByteArray("MM\0*", 4));
}

/// The form of what comes from a stream.
FileForm formOfContent(const QByteArray &bytes)
{
    if (bytes.startsWith("\x89PNG"))
        return FileForm::Png;
    if (isTiff(bytes))
        return FileForm::Tiff;
    if (bytes.startsWith("PK\x03\x04"))
        return FileForm::Npz;
    const QByteArray begin = bytes.left(100).trimmed();
    if (begin.startsWith('['))
        return FileForm::Json;
    return begin.startsWith('x') || (!begin.isEmpty() && begin[0] >= '0' && begin[0] <= '9') ? FileForm::Csv : FileForm::Npy;
}

/// The one for a value where the name stands for several pictures.
QString pictureName(const QString &path, int channel)
{
    QString name = path;
    return name.replace(path.lastIndexOf(QLatin1Char('%')), 1, QString::number(channel));
}

std::optional<FileForm> formOfName(const QString &path)
{
    const QString extension = QFileInfo(path).suffix().toLower();
    if (extension == QLatin1String("npy"))
        return FileForm::Npy;
    if (extension == QLatin1String("npz"))
        return FileForm::Npz;
    if (extension == QLatin1String("csv"))
        return FileForm::Csv;
    if (extension == QLatin1String("json"))
        return FileForm::Json;
    if (extension == QLatin1String("png"))
        return FileForm::Png;
    if (extension == QLatin1String("tif") || extension == QLatin1String("tiff"))
        return FileForm::Tiff;
    return {};
}

bool isSeveral(const QString &path, std::optional<FileForm> form)
{
    return (form == FileForm::Png || form == FileForm::Tiff) && QFileInfo(path).fileName().contains(QLatin1Char('%'));
}

const char *pictureFormat(const QString &path, FileForm form)
{
    if (form == FileForm::Png)
        return "png";
    if (!QImageReader::supportedImageFormats().contains("tiff"))
        throw Failure(ExitUsage, path + QStringLiteral(": TIFF needs a plug-in of Qt (qt5-image-formats-plugins)"));
    return "tiff";
}

Grid parsePicture(const QString &path, QByteArray bytes, FileForm form)
{
    // Looked at here, since the decoders print their own warnings about such files.
    if (form == FileForm::Png && (!bytes.startsWith("\x89PNG\r\n\x1a\n") || !bytes.endsWith("IEND\xae\x42\x60\x82")))
        throw badFile(path, QStringLiteral("not a PNG picture, or cut short"));
    if (form == FileForm::Tiff && !isTiff(bytes))
        throw badFile(path, QStringLiteral("not a TIFF picture"));
    QBuffer buffer(&bytes);
    QImageReader reader(&buffer, pictureFormat(path, form));
    const QImage picture = reader.read();
    if (picture.isNull())
        throw badFile(path,
                      QStringLiteral("a damaged %1 picture").arg(QLatin1String(form == FileForm::Png ? "PNG" : "TIFF")));
    if (picture.format() != QImage::Format_Grayscale16 && picture.format() != QImage::Format_Grayscale8)
        throw badFile(path, QStringLiteral("not a grey picture of 16 or 8 bits, as a preview of coefficients is"));
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

/// The pictures of several values, as many as there are.
Grid readPictures(const QString &path, FileForm form)
{
    constexpr int most = 16;
    Grid grid;
    for (int channel = 0; channel < most; ++channel) {
        const QString name = pictureName(path, channel);
        if (channel > 0 && !QFileInfo::exists(name))
            break;
        const Grid one = parsePicture(name, readFile(name), form);
        if (channel > 0 && (one.size != grid.size || one.bytes != grid.bytes))
            throw badFile(name, QStringLiteral("another size or depth than that of the pictures before it"));
        const int length = channel + 1;
        QVector<quint16> values(one.values.size() * length);
        for (int pixel = 0; pixel < one.values.size(); ++pixel) {
            std::copy_n(grid.values.cbegin() + pixel * channel, channel, values.begin() + pixel * length);
            values[pixel * length + channel] = one.values[pixel];
        }
        grid = one;
        grid.length = length;
        grid.values = values;
    }
    return grid;
}

/// Whether the name is that of this program's standard output.
bool isStandardOutput(const QString &path)
{
    return path == QLatin1String("-") || path == QLatin1String("/dev/stdout") || path == QLatin1String("/dev/fd/1");
}

/// Whether something can be written there piece by piece.
bool isTargetStream(const QString &path)
{
    return isStandardOutput(path) || path.startsWith(QLatin1String("/dev/fd/"));
}

void writeStream(const QString &path, const QByteArray &bytes)
{
    checkWritable(path);
    QFile file(path);
    const bool isOpen = isStandardOutput(path) ? file.open(STDOUT_FILENO, QIODevice::WriteOnly | QIODevice::Unbuffered)
                                               : file.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    for (qint64 done = 0; isOpen && done < bytes.size();) {
        const qint64 taken = file.write(bytes.constData() + done, bytes.size() - done);
        if (taken <= 0)
            break;
        done += taken;
    }
    if (file.error() != QFile::NoError)
        throw Failure(ExitCannotWrite, QStringLiteral("%1: %2").arg(path, file.errorString()));
}

} // namespace

bool isStream(const QString &path)
{
    return path == QLatin1String("-") || path.startsWith(QLatin1String("/dev/"));
}

FileForm formOf(const QString &path)
{
    const std::optional<FileForm> form = isStream(path) ? FileForm::Npy : formOfName(path);
    if (!form)
        throw Failure(ExitUsage,
                      path + QStringLiteral(": files of coefficients end in .npy, .npz, .csv, .json, .png or .tif"));
    return *form;
}

Grid readGrid(const QString &path)
{
    FileForm form = formOf(path);
    if (isSeveral(path, form))
        return readPictures(path, form);
    const QByteArray bytes = readFile(path);
    if (isStream(path))
        form = formOfContent(bytes);
    if (form == FileForm::Png || form == FileForm::Tiff)
        return parsePicture(path, bytes, form);
    Grid grid;
    QString reason;
    if (!(form == FileForm::Npy   ? parseNpy(bytes, grid, reason)
          : form == FileForm::Npz ? parseNpz(bytes, grid, reason)
          : form == FileForm::Csv ? parseCsv(bytes, grid, reason)
                                  : parseNumbers(bytes, grid.values, reason)))
        throw badFile(path, reason);
    return grid;
}

Grid readGridFor(const QString &path, const QSize &size, EnumCoefficientType kind)
{
    return checkedGrid(path, readGrid(path), size, kind);
}

Grid checkedGrid(const QString &path, Grid grid, const QSize &size, EnumCoefficientType kind)
{
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
    requireShape(path, grid, size, kind);
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

void requireShape(const QString &path, const Grid &grid, const QSize &size, EnumCoefficientType kind)
{
    const int length = lengthOf(kind);
    const QString pixels = QStringLiteral("%1 pixels; the rectangle has %2").arg(sizeText(grid.size), sizeText(size));
    if (grid.size != size && grid.length == size.width() && grid.size == QSize(size.height(), length))
        throw badFile(path, pixels + QStringLiteral("; np.save(path, np.moveaxis(a, 0, -1)) puts the values last"));
    if (grid.size != size && grid.length == length && grid.size == size.transposed())
        throw badFile(path, pixels + QStringLiteral("; np.save(path, a.transpose(1, 0, 2)) exchanges rows and columns"));
    if (grid.size != size)
        throw badFile(path, pixels);
    if (grid.length != length)
        throw badFile(path,
                      QStringLiteral("%1 for each pixel; %2 needs %3%4")
                          .arg(counted(grid.length, "value"), kindText(kind), QString::number(length),
                               QLatin1String(grid.length == 1 && !isStream(path)
                                                     && (formOf(path) == FileForm::Png || formOf(path) == FileForm::Tiff)
                                                 ? "; a name with %, such as main-%.png, is one picture for each value"
                                                 : "")));
}

void writeGrid(const QString &path, const Grid &grid, int channel)
{
    const FileForm form = formOf(path);
    switch (form) {
    case FileForm::Png:
    case FileForm::Tiff:
        if (!isSeveral(path, form))
            return writePicture(path, preview(grid, channel));
        for (int k = 0; k < grid.length; ++k)
            writePicture(pictureName(path, k), preview(grid, k));
        return;
    case FileForm::Csv:
        return writeFile(path, toCsv(grid));
    case FileForm::Npz:
        return writeFile(path, toNpz(grid));
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
    if (isStream(path))
        return writeStream(path, npyHeader(grid.size, grid.length, grid.bytes) + toBytes(grid));
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
    if (picture.isNull() || !picture.save(&buffer, pictureFormat(path, formOf(path))))
        throw Failure(ExitInternal, path + QStringLiteral(": the picture cannot be made"));
    writeFile(path, bytes);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (QFileInfo(path).isDir())
        throw Failure(ExitNoInput, path + QStringLiteral(": is a directory"));
    if (!(path == QLatin1String("-") ? file.open(STDIN_FILENO, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly)))
        throw Failure(ExitNoInput, QStringLiteral("%1: %2").arg(path, file.errorString()));
    // Qt's containers hold less than 2 GiB.
    constexpr qint64 most = std::numeric_limits<int>::max() - 64;
    if (file.size() >= most)
        throw badFile(path, QStringLiteral("too large: %1").arg(bytesText(double(file.size()))));
    const QByteArray bytes = file.read(most);
    if (bytes.size() == most)
        throw badFile(path, QStringLiteral("too large: 2 GiB or more"));
    if (file.error() != QFile::NoError)
        throw Failure(ExitNoInput, QStringLiteral("%1: %2").arg(path, file.errorString()));
    return bytes;
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    if (isTargetStream(path))
        return writeStream(path, bytes);
    QSaveFile file(path);
    openForWriting(file);
    writeTo(file, bytes);
    commit(file);
}

void checkWritable(const QString &path)
{
    if (isTargetStream(path)) {
        if (isStandardOutput(path))
            Output::keepForFile();
        return;
    }
    QSaveFile file(isSeveral(path, formOfName(path)) ? pictureName(path, 0) : path);
    openForWriting(file); // never committed: its temporary file goes with it
}

void openForWriting(QSaveFile &file)
{
    if (isTargetStream(file.fileName()))
        throw Failure(ExitCannotWrite, file.fileName() + QStringLiteral(": this kind of file cannot be written to a pipe"));
    // Renaming puts an ordinary file in the place of whatever stands there, be it the system's /dev/null.
    const QFileInfo there(file.fileName());
    if (there.exists() && !there.isFile() && !there.isDir())
        throw Failure(ExitCannotWrite, file.fileName() + QStringLiteral(": is not an ordinary file"));
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

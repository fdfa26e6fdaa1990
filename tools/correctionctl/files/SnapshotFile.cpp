#include "SnapshotFile.h"

#include "Files.h"
#include "terminal/ExitCodes.h"

#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>

#include <limits>
#include <optional>

namespace Ctl {

namespace {

constexpr qint64 longestLine = 1 << 16;
constexpr int bytesOfPixel = Correction::chromaPixelLength * int(sizeof(quint16));

QByteArray sumOf(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

/// A whole number that fits into an int; nothing for anything else.
std::optional<int> integerOf(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.toInt(0) == value.toInt(1) ? std::optional<int>(value.toInt()) : std::nullopt;
}

/// A cabinet as its line describes it. False for numbers that contradict each other or would overflow.
bool parseCabinet(const QJsonObject &entry, SnapshotCabinet &cabinet)
{
    const auto x = integerOf(entry, "x");
    const auto y = integerOf(entry, "y");
    const auto width = integerOf(entry, "width");
    const auto height = integerOf(entry, "height");
    const auto bytes = integerOf(entry, "bytes");
    cabinet.id = entry.value(QStringLiteral("cabinet")).toString();
    cabinet.device = entry.value(QStringLiteral("device")).toString();
    cabinet.sum = entry.value(QStringLiteral("sha256")).toString().toLatin1();
    if (cabinet.id.isEmpty() || !x || !y || !width || !height || !bytes || *width < 1 || *height < 1 || *bytes < 1)
        return false;
    constexpr qint64 greatest = std::numeric_limits<int>::max();
    if (qint64(*x) + *width > greatest || qint64(*y) + *height > greatest)
        return false;
    // Pixels of two ints' sizes fit into 64 bits, their bytes do not.
    if (*bytes % bytesOfPixel != 0 || qint64(*width) * *height != *bytes / bytesOfPixel)
        return false;
    cabinet.rect = QRect(*x, *y, *width, *height);
    cabinet.bytes = *bytes;
    return true;
}

} // namespace

SnapshotWriter::SnapshotWriter(const QString &path, const QString &screenId, int cabinets) : m_file(path)
{
    openForWriting(m_file);
    writeLine({{QStringLiteral("format"), QStringLiteral("correction-snapshot")},
               {QStringLiteral("version"), 1},
               {QStringLiteral("screen"), screenId},
               {QStringLiteral("cabinets"), cabinets}});
}

void SnapshotWriter::add(const SnapshotCabinet &cabinet, const QByteArray &bytes)
{
    writeLine({{QStringLiteral("cabinet"), cabinet.id},
               {QStringLiteral("device"), cabinet.device},
               {QStringLiteral("x"), cabinet.rect.x()},
               {QStringLiteral("y"), cabinet.rect.y()},
               {QStringLiteral("width"), cabinet.rect.width()},
               {QStringLiteral("height"), cabinet.rect.height()},
               {QStringLiteral("bytes"), bytes.size()},
               {QStringLiteral("sha256"), QLatin1String(sumOf(bytes))}});
    writeTo(m_file, bytes);
    writeTo(m_file, QByteArray("\n"));
    ++m_cabinets;
}

void SnapshotWriter::finish()
{
    writeLine({{QStringLiteral("end"), m_cabinets}, {QStringLiteral("sha256"), QLatin1String(m_lines.result().toHex())}});
    commit(m_file);
}

void SnapshotWriter::writeLine(const QJsonObject &object)
{
    const QByteArray line = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    m_lines.addData(line);
    writeTo(m_file, line);
}

SnapshotReader::SnapshotReader(const QString &path) : m_file(path)
{
    if (QFileInfo(path).isDir() || !m_file.open(QIODevice::ReadOnly))
        throw Failure(ExitNoInput,
                      QStringLiteral("%1: %2").arg(path, QFileInfo(path).isDir() ? QStringLiteral("is a directory")
                                                                                 : m_file.errorString()));
    const QJsonObject head = line();
    if (head.value(QStringLiteral("format")).toString() != QLatin1String("correction-snapshot"))
        refuse(QStringLiteral("no snapshot"));
    if (head.value(QStringLiteral("version")).toInt() != 1)
        refuse(QStringLiteral("a snapshot of version %1; this program reads version 1")
                   .arg(head.value(QStringLiteral("version")).toVariant().toString()));
    m_screenId = head.value(QStringLiteral("screen")).toString();
    const int count = head.value(QStringLiteral("cabinets")).toInt(-1);
    for (int i = 0; i < count; ++i) {
        const QJsonObject entry = line();
        const QString place = QStringLiteral("cabinet %1 of %2").arg(i + 1).arg(count);
        SnapshotCabinet cabinet;
        if (!parseCabinet(entry, cabinet))
            refuse(place + QStringLiteral(": its line is damaged"));
        cabinet.offset = m_file.pos();
        bytesOf(cabinet);
        m_cabinets.append(cabinet);
        if (!m_file.seek(cabinet.offset + cabinet.bytes) || m_file.read(1) != "\n")
            refuse(place + QStringLiteral(": cut short"));
    }
    const QByteArray sum = m_lines.result().toHex();
    const QJsonObject last = line();
    if (count < 0 || last.value(QStringLiteral("end")).toInt(-1) != count || !m_file.atEnd())
        refuse(QStringLiteral("its last line is missing or damaged"));
    if (last.value(QStringLiteral("sha256")).toString().toLatin1() != sum)
        refuse(QStringLiteral("damaged, the checksum of its lines does not match"));
}

QByteArray SnapshotReader::bytesOf(const SnapshotCabinet &cabinet)
{
    // The file's own length bounds what a damaged line may ask for.
    if (!m_file.seek(cabinet.offset) || cabinet.bytes > m_file.size() - cabinet.offset)
        refuse(QStringLiteral("cabinet %1: cut short").arg(cabinet.id));
    const QByteArray bytes = m_file.read(cabinet.bytes);
    if (bytes.size() != cabinet.bytes)
        refuse(QStringLiteral("cabinet %1: cut short").arg(cabinet.id));
    if (sumOf(bytes) != cabinet.sum)
        refuse(QStringLiteral("cabinet %1: damaged, its checksum does not match").arg(cabinet.id));
    return bytes;
}

void SnapshotReader::refuse(const QString &reason) const
{
    throw Failure(ExitBadData, m_file.fileName() + QStringLiteral(": ") + reason);
}

QJsonObject SnapshotReader::line()
{
    const QByteArray text = m_file.readLine(longestLine);
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (text.isEmpty())
        refuse(QStringLiteral("cut short"));
    if (!text.endsWith('\n') || !document.isObject())
        refuse(QStringLiteral("no snapshot, or damaged: no line of JSON at byte %1").arg(m_file.pos() - text.size()));
    m_lines.addData(text);
    return document.object();
}

} // namespace Ctl

#include "SnapshotFile.h"

#include "Files.h"
#include "terminal/ExitCodes.h"

#include <adapter/json/Table.h>
#include <simulator/files/Checksum.h>

#include <QtCore/QFileInfo>

#include <limits>

// The lines of a snapshot. Their entries are written in the order of their names.
namespace Json {

namespace {

constexpr int greatest = std::numeric_limits<int>::max();
const Integer any{std::numeric_limits<int>::min(), greatest};
const Integer positive{1, greatest};

/// A list that may be missing, which differs from an empty one.
struct OptionalIntegers : ListOf<Integer> {
    void read(Reader &reader, const QJsonValue &value, std::optional<QList<int>> &list) const
    {
        ListOf::read(reader, value, list.emplace());
    }
    void write(Writer &out, const std::optional<QList<int>> &list) const { ListOf::write(out, *list); }
};
const OptionalIntegers gammaTable{{any}};

struct Settings {
    std::optional<QList<int>> blue;
    QString device;
    qint64 effect = Ctl::SnapshotSettings::unknownEffect;
    std::optional<QList<int>> green;
    std::optional<QList<int>> red;

    friend bool operator==(const Settings &left, const Settings &right)
    {
        return left.blue == right.blue && left.device == right.device && left.effect == right.effect
               && left.green == right.green && left.red == right.red;
    }
};

struct Head {
    qint64 cabinets = 0;
    QString screen;
    QVector<Settings> settings;
    int version = 0;
};

struct CabinetLine {
    int bytes = 0;
    QString cabinet;
    QString device;
    int height = 0;
    QString sha256;
    int width = 0;
    int x = 0;
    QString xxh128;
    int y = 0;
};

struct End {
    qint64 end = 0;
    QString sha256;
};

} // namespace

template <>
struct Table<Settings> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("blue", "", &Settings::blue, gammaTable, never);
        field("device", "", &Settings::device, Text(), always);
        field("effect", "", &Settings::effect, any, never);
        field("green", "", &Settings::green, gammaTable, never);
        field("red", "", &Settings::red, gammaTable, never);
    }
};

template <>
struct Table<Head> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("cabinets", "", &Head::cabinets, Integer{0, greatest}, always);
        field("format", "", Whole(), Format{"correction-snapshot"}, always);
        field("screen", "", &Head::screen, Text(), always);
        field("settings", "", &Head::settings, Objects(), never);
        field("version", "", &Head::version, Integer{1, Ctl::snapshotVersion}, always);
    }
};

template <>
struct Table<CabinetLine> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("bytes", "", &CabinetLine::bytes, positive, always);
        field("cabinet", "", &CabinetLine::cabinet, Text{false}, always);
        field("device", "", &CabinetLine::device, Text(), always);
        field("height", "", &CabinetLine::height, positive, always);
        field("sha256", "", &CabinetLine::sha256, Text(), never); // of version 1
        field("width", "", &CabinetLine::width, positive, always);
        field("x", "", &CabinetLine::x, any, always);
        field("xxh128", "", &CabinetLine::xxh128, Text(), never);
        field("y", "", &CabinetLine::y, any, always);
    }
};

template <>
struct Table<End> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("end", "", &End::end, Integer{0, greatest}, always);
        field("sha256", "", &End::sha256, Text(), always);
    }
};

} // namespace Json

namespace Ctl {

namespace {

// In bytes. QIODevice::readLine() returns one byte less.
constexpr qint64 longestLine = 1 << 16;
constexpr qint64 longestHead = 1 << 26; // gamma tables of all devices
constexpr int bytesOfPixel = Correction::chromaPixelLength * int(sizeof(quint16));

QByteArray sumOf(const QByteArray &bytes, int version)
{
    return (version == 1 ? QCryptographicHash::hash(bytes, QCryptographicHash::Sha256) : Checksum::xxh128(bytes)).toHex();
}

/// A cabinet as its line describes it. False for numbers that contradict each other or would overflow.
bool parseCabinet(const QJsonObject &entry, int version, SnapshotCabinet &cabinet)
{
    Json::Reader reader{QString()};
    Json::CabinetLine line;
    Json::readObject(reader, entry, line);
    constexpr qint64 greatest = std::numeric_limits<int>::max();
    if (!reader.isGood() || qint64(line.x) + line.width > greatest || qint64(line.y) + line.height > greatest)
        return false;
    // Pixels of two ints' sizes fit into 64 bits, their bytes do not.
    if (line.bytes % bytesOfPixel != 0 || qint64(line.width) * line.height != line.bytes / bytesOfPixel)
        return false;
    cabinet.id = line.cabinet;
    cabinet.device = line.device;
    cabinet.sum = (version == 1 ? line.sha256 : line.xxh128).toLatin1();
    cabinet.rect = QRect(line.x, line.y, line.width, line.height);
    cabinet.bytes = line.bytes;
    return !cabinet.sum.isEmpty();
}

template <typename T>
QByteArray lineOf(const T &value)
{
    Json::Writer out(Json::Writer::Compact);
    Json::writeObject(out, value);
    return out.json() + '\n';
}

} // namespace

SnapshotWriter::SnapshotWriter(const QString &path, const QString &screenId, int cabinets,
                               const QVector<SnapshotSettings> &settings)
    : m_file(path)
{
    openForWriting(m_file);
    Json::Head head{cabinets, screenId, {}, snapshotVersion};
    for (const SnapshotSettings &device : settings)
        head.settings.append({device.gamma[2], device.device, device.effect, device.gamma[1], device.gamma[0]});
    writeLine(lineOf(head), longestHead, QStringLiteral("its first line, with the settings of the devices,"));
}

void SnapshotWriter::add(const SnapshotCabinet &cabinet, const QByteArray &bytes)
{
    const QRect &rect = cabinet.rect;
    writeLine(lineOf(Json::CabinetLine{bytes.size(), cabinet.id, cabinet.device, rect.height(), QString(), rect.width(),
                                       rect.x(), QLatin1String(sumOf(bytes, snapshotVersion)), rect.y()}),
              longestLine, QStringLiteral("the line of cabinet number %1").arg(m_cabinets + 1));
    writeTo(m_file, bytes);
    writeTo(m_file, QByteArray("\n"));
    ++m_cabinets;
}

void SnapshotWriter::finish()
{
    writeLine(lineOf(Json::End{m_cabinets, QLatin1String(m_lines.result().toHex())}), longestLine,
              QStringLiteral("its last line"));
    commit(m_file);
}

void SnapshotWriter::writeLine(const QByteArray &line, qint64 longest, const QString &what)
{
    if (line.size() >= longest)
        throw Failure(
            ExitCannotWrite,
            QStringLiteral("%1: %2 would have %3 bytes, but must have fewer than %4; keep a part of the screen with "
                           "--device or --cabinet")
                .arg(m_file.fileName(), what, QString::number(line.size()), QString::number(longest)));
    m_lines.addData(line);
    writeTo(m_file, line);
}

SnapshotReader::SnapshotReader(const QString &path) : m_file(path)
{
    if (QFileInfo(path).isDir() || !m_file.open(QIODevice::ReadOnly))
        throw Failure(ExitNoInput,
                      QStringLiteral("%1: %2").arg(path, QFileInfo(path).isDir() ? QStringLiteral("is a directory")
                                                                                 : m_file.errorString()));
    const QJsonObject first = line(longestHead);
    if (first.value(QStringLiteral("format")).toString() != QLatin1String("correction-snapshot"))
        refuse(QStringLiteral("not a snapshot"));
    const QJsonValue version = first.value(QStringLiteral("version"));
    m_version = version.toInt();
    if (version != QJsonValue(m_version) || m_version < 1 || m_version > snapshotVersion)
        refuse(QStringLiteral("a snapshot of version %1; this program reads versions 1 to %2")
                   .arg(Json::Reader::shown(version), QString::number(snapshotVersion)));
    Json::Head head;
    Json::Reader reader(m_file.fileName());
    Json::readObject(reader, first, head);
    if (!reader.isGood())
        refuse(QStringLiteral("its first line is damaged"));
    m_screenId = head.screen;
    for (const Json::Settings &device : qAsConst(head.settings))
        m_settings.append({device.device, device.effect, {device.red, device.green, device.blue}});
    const auto count = static_cast<int>(head.cabinets);
    for (int i = 0; i < count; ++i) {
        const QJsonObject entry = line(longestLine);
        const QString place = QStringLiteral("cabinet %1 of %2").arg(i + 1).arg(count);
        SnapshotCabinet cabinet;
        if (!parseCabinet(entry, m_version, cabinet))
            refuse(place + QStringLiteral(": its line is damaged"));
        cabinet.offset = m_file.pos();
        bytesOf(cabinet);
        m_cabinets.append(cabinet);
        if (!m_file.seek(cabinet.offset + cabinet.bytes) || m_file.read(1) != "\n")
            refuse(place + QStringLiteral(": cut short"));
    }
    const QByteArray sum = m_lines.result().toHex();
    Json::End last;
    Json::readObject(reader, line(longestLine), last);
    if (!reader.isGood() || last.end != count || !m_file.atEnd())
        refuse(QStringLiteral("its last line is missing or damaged"));
    if (last.sha256.toLatin1() != sum)
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
    if (sumOf(bytes, m_version) != cabinet.sum)
        refuse(QStringLiteral("cabinet %1: damaged, its checksum does not match").arg(cabinet.id));
    return bytes;
}

void SnapshotReader::refuse(const QString &reason) const
{
    throw Failure(ExitBadData, m_file.fileName() + QStringLiteral(": ") + reason);
}

QJsonObject SnapshotReader::line(qint64 longest)
{
    const QByteArray text = m_file.readLine(longest);
    if (text.isEmpty())
        refuse(QStringLiteral("cut short"));
    Json::Reader reader{QString()};
    QJsonObject object;
    if (!text.endsWith('\n') || !reader.parseLine(text, object) || !reader.isGood())
        refuse(QStringLiteral("not a snapshot, or damaged: no line of JSON at byte %1%2")
                   .arg(QString::number(m_file.pos() - text.size()),
                        reader.isGood() ? QString() : QStringLiteral(": ") + reader.firstProblem()));
    m_lines.addData(text);
    return object;
}

} // namespace Ctl

#include "LightFiles.h"

#include "Files.h"
#include "terminal/ExitCodes.h"
#include "terminal/Texts.h"

#include <adapter/json/Table.h>

#include <QtCore/QSaveFile>
#include <QtCore/QtEndian>

#include <algorithm>
#include <cmath>
#include <limits>

using Calibration::Measurement;
using Calibration::PixelState;

// What the files hold.
namespace Json {

namespace {

constexpr int greatest = std::numeric_limits<int>::max();

struct Real {
    void read(Reader &reader, const QJsonValue &value, double &target) const
    {
        if (!value.isDouble())
            return reader.expected(what(), value);
        target = value.toDouble();
    }
    void write(Writer &out, double value) const { out.number(value); }
    QString what() const { return QStringLiteral("a number"); }
};

struct Reals : ListOf<Real> {
    int length;

    explicit Reals(int count) : length(count) {}
    void read(Reader &reader, const QJsonValue &value, QVector<double> &list) const
    {
        ListOf<Real>::read(reader, value, list);
        if (value.isArray() && list.size() != length)
            reader.problem(QStringLiteral("expected %1 numbers, got %2").arg(length).arg(list.size()));
    }
};

struct ShotEntry {
    QString led;
    int x = 0;
    int y = 0;
    QString file;

    bool operator==(const ShotEntry &other) const
    {
        return led == other.led && x == other.x && y == other.y && file == other.file;
    }
};

struct PlanEntries {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    int interval = 0;
    QVector<double> homography;
    QVector<ShotEntry> shots;
};

struct TargetEntries {
    QVector<double> red;
    QVector<double> green;
    QVector<double> blue;
};

} // namespace

template <>
struct Table<ShotEntry> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("led", "", &ShotEntry::led, Text{false}, always);
        field("x", "", &ShotEntry::x, Integer{0, greatest}, always);
        field("y", "", &ShotEntry::y, Integer{0, greatest}, always);
        field("file", "", &ShotEntry::file, Text{false}, always);
    }
};

template <>
struct Table<PlanEntries> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("format", "", Whole(), Format{"correction-plan"}, always);
        field("version", "", Whole(), Version{1}, always);
        field("x", "", &PlanEntries::x, Integer{std::numeric_limits<int>::min(), greatest}, always);
        field("y", "", &PlanEntries::y, Integer{std::numeric_limits<int>::min(), greatest}, always);
        field("width", "", &PlanEntries::width, Integer{1, greatest}, always);
        field("height", "", &PlanEntries::height, Integer{1, greatest}, always);
        field("interval", "", &PlanEntries::interval, Integer{0, 31}, always);
        field("homography", "", &PlanEntries::homography, Reals(9));
        field("shots", "", &PlanEntries::shots, Objects(), always);
    }
};

template <>
struct Table<TargetEntries> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("format", "", Whole(), Format{"correction-target"}, always);
        field("version", "", Whole(), Version{1}, always);
        field("red", "", &TargetEntries::red, Reals(3), always);
        field("green", "", &TargetEntries::green, Reals(3), always);
        field("blue", "", &TargetEntries::blue, Reals(3), always);
    }
};

} // namespace Json

namespace Ctl {

namespace {

const char *const leds[] = {"red", "green", "blue"};

QString planPath(const QDir &folder)
{
    return folder.filePath(QStringLiteral("plan.json"));
}

/// A whole file of JSON with the entries of a table.
template <typename Entries>
Entries readEntries(const QString &path)
{
    Json::Reader reader(path);
    Entries entries;
    QJsonObject object;
    if (reader.parse(readFile(path), object))
        Json::readObject(reader, object, entries);
    if (!reader.isGood())
        throw Failure(ExitBadData, reader.firstProblem());
    return entries;
}

template <typename Entries>
void writeEntries(const QString &path, const Entries &entries)
{
    Json::Writer out;
    Json::writeObject(out, entries);
    writeFile(path, Json::layOut(out.json()));
}

Json::ShotEntry entryOf(const Calibration::Shot &shot, const QString &file)
{
    return {QLatin1String(leds[int(shot.led)]), shot.phase.x(), shot.phase.y(), file};
}

} // namespace

Light readLight(const QString &path)
{
    if (formOf(path) != FileForm::Npy)
        throw Failure(ExitUsage, path + QStringLiteral(": files of light end in .npy"));
    Light light;
    QString reason;
    if (!parseNpyLight(readFile(path), light, reason))
        throw Failure(ExitBadData, QStringLiteral("%1: %2").arg(path, reason));
    if (light.length != 3 && light.length != Calibration::lightLength)
        throw Failure(ExitBadData,
                      QStringLiteral("%1: %2 for each pixel; light has 3 (X, Y, Z), a measurement 9 (X, Y, Z of "
                                     "red, green and blue)")
                          .arg(path, counted(light.length, "value")));
    return light;
}

Light readLight(const QString &path, int length)
{
    Light light = readLight(path);
    if (light.length != length)
        throw Failure(ExitBadData, QStringLiteral("%1: %2 values for each pixel; expected %3: X, Y, Z of %4")
                                       .arg(path, QString::number(light.length), QString::number(length),
                                            QLatin1String(length == 3 ? "a photo" : "red, green and blue")));
    return light;
}

void writeLight(const QString &path, const QSize &size, int length, const QVector<float> &values)
{
    constexpr int most = std::numeric_limits<int>::max() - 4096; // with the header
    if (values.size() > most / int(sizeof(float)))
        throw Failure(ExitNoMemory, QStringLiteral("%1: %2 pixels are too many").arg(path, sizeText(size)));
    const QByteArray header = npyLightHeader(size, length);
    QByteArray bytes(header.size() + values.size() * int(sizeof(float)), Qt::Uninitialized);
    std::copy(header.cbegin(), header.cend(), bytes.begin());
    qToLittleEndian<quint32>(values.constData(), values.size(), bytes.data() + header.size());
    writeFile(path, bytes);
}

void checkLightWritable(const QString &path)
{
    if (formOf(path) != FileForm::Npy)
        throw Failure(ExitUsage, path + QStringLiteral(": light is written as .npy"));
    checkWritable(path);
}

Measurement measurementOf(const Light &light)
{
    Measurement measurement(light.size, light.values);
    for (int y = 0; y < light.size.height(); ++y) {
        for (int x = 0; x < light.size.width(); ++x) {
            const float *const values = light.values.constData() + (qint64(y) * light.size.width() + x) * light.length;
            if (std::all_of(values, values + light.length, [](float value) { return std::isnan(value); }))
                measurement.setState(QRect(x, y, 1, 1), PixelState::Hole);
        }
    }
    measurement.markDead();
    return measurement;
}

void markHole(Measurement &measurement, int x, int y)
{
    std::fill_n(measurement.pixel(x, y), Calibration::lightLength, std::numeric_limits<float>::quiet_NaN());
    measurement.setState(QRect(x, y, 1, 1), PixelState::Hole);
}

QString nameOf(const Calibration::Shot &shot)
{
    return QStringLiteral("%1-%2-%3").arg(QLatin1String(leds[int(shot.led)])).arg(shot.phase.x()).arg(shot.phase.y());
}

QTransform transformOf(const QVector<double> &h)
{
    // QTransform takes points as rows.
    return QTransform(h[0], h[3], h[6], h[1], h[4], h[7], h[2], h[5], h[8]);
}

PlanFile::PlanFile(const Calibration::Plan &plan) : screen(plan.screen()), interval(plan.interval())
{
    for (const Calibration::Shot &shot : plan.shots())
        photos.append(nameOf(shot) + QStringLiteral(".npy"));
}

PlanFile::PlanFile(const QDir &folder)
{
    const QString path = planPath(folder);
    const auto entries = readEntries<Json::PlanEntries>(path);
    constexpr qint64 most = std::numeric_limits<int>::max();
    if (qint64(entries.x) + entries.width > most || qint64(entries.y) + entries.height > most)
        throw Failure(ExitBadData, path + QStringLiteral(": the screen ends beyond the greatest place"));
    screen = QRect(entries.x, entries.y, entries.width, entries.height);
    interval = entries.interval;
    homography = entries.homography;
    const Calibration::Plan plan(screen, interval);
    if (plan.shots().size() != entries.shots.size())
        throw Failure(ExitBadData, QStringLiteral("%1: %2 shots; an interval of %3 on %4 pixels takes %5")
                                       .arg(path, QString::number(entries.shots.size()), QString::number(interval),
                                            sizeText(screen.size()), QString::number(plan.shots().size())));
    for (int i = 0; i < entries.shots.size(); ++i) {
        const Json::ShotEntry &entry = entries.shots[i];
        if (!(entry == entryOf(plan.shots()[i], entry.file)))
            throw Failure(ExitBadData, QStringLiteral("%1: shots[%2]: expected the light and the first pixel of %3")
                                           .arg(path, QString::number(i), nameOf(plan.shots()[i])));
        photos.append(entry.file);
    }
}

void PlanFile::write(const QDir &folder) const
{
    Json::PlanEntries entries;
    entries.x = screen.x();
    entries.y = screen.y();
    entries.width = screen.width();
    entries.height = screen.height();
    entries.interval = interval;
    entries.homography = homography;
    const Calibration::Plan plan(screen, interval);
    for (int i = 0; i < plan.shots().size(); ++i)
        entries.shots.append(entryOf(plan.shots()[i], photos[i]));
    writeEntries(planPath(folder), entries);
}

Calibration::Target readTarget(const QString &path)
{
    const auto entries = readEntries<Json::TargetEntries>(path);
    Calibration::Target target;
    double *to = target.light;
    for (const QVector<double> &colour : {entries.red, entries.green, entries.blue})
        to = std::copy(colour.cbegin(), colour.cend(), to);
    if (!target.isValid())
        throw Failure(ExitBadData, path + QStringLiteral(": its colours are not independent of each other"));
    return target;
}

void writeTarget(const QString &path, const Calibration::Target &target)
{
    const auto colour = [&target](Calibration::Input input) {
        const Calibration::Target::Xyz xyz = target.xyz(input);
        return QVector<double>{xyz.x, xyz.y, xyz.z};
    };
    writeEntries(path, Json::TargetEntries{colour(Calibration::Input::Red), colour(Calibration::Input::Green),
                                           colour(Calibration::Input::Blue)});
}

} // namespace Ctl

#include "Rows.h"
#include "files/Files.h"
#include "files/GridFile.h"
#include "files/Json.h"
#include "session/Transfer.h"

#include <simulator/pictures/Font.h>
#include <simulator/pictures/HeatMap.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

using namespace Correction;

namespace Ctl {
namespace {

struct Channel {
    qint64 differing = 0; ///< pixels
    int largest = 0;
};

struct Difference {
    QVector<Channel> channels;
    qint64 pixels = 0;
    qint64 differing = 0;
    Grid largest; ///< One value a pixel: the largest difference of its channels. Without values where it is not wanted.

    Difference(const QSize &size, int length, bool keepsLargest) : channels(length)
    {
        largest.size = size;
        largest.length = 1;
        if (keepsLargest)
            largest.values.resize(size.width() * size.height());
    }

    /// Compares a row of pixels that begins at `first`.
    void add(int first, const quint16 *a, const quint16 *b, int count)
    {
        const int length = channels.size();
        if (std::memcmp(a, b, sizeof *a * size_t(count) * size_t(length)) == 0)
            return;
        for (int pixel = 0; pixel < count; ++pixel, a += length, b += length) {
            int most = 0;
            for (int k = 0; k < length; ++k) {
                const int distance = std::abs(int(a[k]) - int(b[k]));
                if (distance == 0)
                    continue;
                ++channels[k].differing;
                channels[k].largest = std::max(channels[k].largest, distance);
                most = std::max(most, distance);
            }
            differing += most > 0 ? 1 : 0;
            if (!largest.values.isEmpty())
                largest.values[first + pixel] = quint16(most);
        }
    }

    int worst() const
    {
        const auto found =
            std::max_element(channels.cbegin(), channels.cend(), [](const Channel &left, const Channel &right) {
                return std::make_pair(left.largest, left.differing) < std::make_pair(right.largest, right.differing);
            });
        return int(found - channels.cbegin());
    }
};

/// `covered`: by pixel, whether a cabinet has it; empty: all of them. The others are left out.
Difference compare(const Grid &a, const Grid &b, const QVector<bool> &covered, bool keepsLargest)
{
    Difference difference(a.size, a.length, keepsLargest);
    const int pixels = a.values.size() / a.length;
    difference.pixels = covered.isEmpty() ? pixels : covered.count(true);
    for (int pixel = 0; pixel < pixels;) {
        const int count = covered.isEmpty() ? std::min(a.size.width(), pixels - pixel) : 1;
        if (covered.isEmpty() || covered[pixel])
            difference.add(pixel, a.values.constData() + qptrdiff(pixel) * a.length,
                           b.values.constData() + qptrdiff(pixel) * a.length, count);
        pixel += count;
    }
    return difference;
}

/// Whether no pixel of `rect` has two cabinets. If one has, the last cabinet that is read decides.
bool areApart(const QRect &rect, const QList<CabinetInfo> &cabinets)
{
    QRegion covered;
    qint64 sum = 0;
    for (const CabinetInfo &cabinet : cabinets) {
        covered += cabinet.rect & rect;
        sum += area(cabinet.rect & rect);
    }
    for (const QRect &part : covered)
        sum -= area(part);
    return sum == 0;
}

/// Compares while the cabinets are read; their parts of `rect` must be apart.
Difference compareParts(Session &session, IScreen &screen, const QRect &rect, GridSource &file, bool keepsLargest,
                        qint64 &uncovered)
{
    Difference difference(rect.size(), chromaPixelLength, keepsLargest);
    readParts(session, screen, rect, uncovered, [&](const QRect &at, const QVector<quint16> &values) {
        const Grid wanted = file.part(at);
        for (int row = 0; row < at.height(); ++row) {
            const int pixels = at.width() * row;
            difference.add((at.y() + row) * rect.width() + at.x(), wanted.values.constData() + pixels * chromaPixelLength,
                           values.constData() + pixels * chromaPixelLength, at.width());
        }
    });
    difference.pixels = area(rect) - uncovered;
    return difference;
}

QVector<bool> coveredPixels(const QRect &rect, const QList<CabinetInfo> &cabinets)
{
    QVector<bool> covered(rect.width() * rect.height());
    for (const CabinetInfo &cabinet : cabinets) {
        const QRect common = (cabinet.rect & rect).translated(-rect.topLeft());
        for (int y = common.top(); y <= common.bottom(); ++y) {
            const auto row = covered.begin() + y * rect.width();
            std::fill(row + common.left(), row + common.right() + 1, true);
        }
    }
    return covered;
}

/// A file that does not tell its grid's size takes the other's.
void completeSize(Grid &grid, const Grid &other, const QString &path)
{
    if (grid.size.isValid())
        return;
    if (!other.size.isValid()) {
        // Two lists of numbers: compared as rows of one line where they are pixels, else as one channel.
        grid.length = grid.values.size() % lengthOf(enCommonCoefficient) == 0 ? lengthOf(enCommonCoefficient) : 1;
        grid.size = QSize(grid.values.size() / grid.length, 1);
        return;
    }
    const qint64 expected = qint64(other.size.width()) * other.size.height() * other.length;
    if (grid.values.size() != expected)
        throw Failure(ExitBadData, QStringLiteral("%1: %2 numbers; the other side has %3")
                                       .arg(path, QString::number(grid.values.size()), QString::number(expected)));
    grid.size = other.size;
    grid.length = other.length;
}

/// A map of the differences. `covered`: as in compare().
QImage pictureOf(const Grid &largest, const QVector<bool> &covered, const QString &title, int maxWidth)
{
    const QRect rect(QPoint(0, 0), largest.size);
    Simulator::HeatMap map(Simulator::Projection(rect, maxWidth), Simulator::Font::drawable(title));
    if (map.isNull())
        throw Failure(ExitNoMemory,
                      QStringLiteral("a picture of %1 pixels is too large; choose a --width").arg(sizeText(largest.size)));
    int pixel = -1;
    map.add(rect, [&] {
        ++pixel;
        return covered.isEmpty() || covered[pixel] ? int(largest.values[pixel]) : -1;
    });
    const int most = *std::max_element(largest.values.cbegin(), largest.values.cend());
    return map.drawn({0, most});
}

void diff(Session &session)
{
    const Arguments &arguments = session.arguments();
    const QString pathA = arguments.text("A");
    const bool wall = arguments.has("--screen");
    if (wall == arguments.has("B"))
        throw Failure(ExitUsage, QStringLiteral("compare A with another file B or with --screen SCREEN"));
    if (!wall && (arguments.has("--rect") || arguments.has("--type")))
        throw Failure(ExitUsage, QStringLiteral("--rect and --type belong to --screen"));
    if (arguments.has("--picture") && formOf(arguments.text("--picture")) != FileForm::Png)
        throw Failure(ExitUsage, QStringLiteral("--picture %1: expected a .png").arg(arguments.text("--picture")));

    if (arguments.has("--picture"))
        checkWritable(arguments.text("--picture"));

    const bool keepsLargest = arguments.has("--picture");
    const bool inPlace = wall && GridSource::isInPlace(pathA);
    Grid a = inPlace ? Grid() : readGrid(pathA);
    QVector<bool> covered;
    qint64 uncovered = 0;
    QString nameB = arguments.text("B");
    std::optional<Difference> found;
    if (wall) {
        IScreen &screen = session.screenOf(arguments.text("--screen"));
        const QRect rect = chosenRect(session, screen);
        const EnumCoefficientType kind = arguments.kind();
        const QList<CabinetInfo> cabinets = Session::cabinetsOf(screen);
        Grid b;
        if (inPlace && isReadInParts(rect, kind) && areApart(rect, cabinets)) {
            GridSource file(pathA, rect.size(), kind);
            found = compareParts(session, screen, rect, file, keepsLargest, uncovered);
        } else {
            a = inPlace ? readGridFor(pathA, rect.size(), kind) : checkedGrid(pathA, std::move(a), rect.size(), kind);
            b = fromLibrary(*readRect(session, screen, rect, kind, uncovered));
        }
        if (uncovered == area(rect))
            throw Failure(enOutOfRange, QStringLiteral("screen %1: no cabinet in %2").arg(screen.getID(), rectText(rect)));
        if (uncovered > 0 && (!found || keepsLargest))
            covered = coveredPixels(rect, cabinets);
        nameB = screen.getID();
        if (!found)
            found = compare(a, b, covered, keepsLargest);
    } else {
        Grid b = readGrid(nameB);
        completeSize(a, b, pathA);
        completeSize(b, a, nameB);
        if (a.values.isEmpty() || a.size != b.size || a.length != b.length)
            throw Failure(ExitBadData, QStringLiteral("%1 has %2 pixels of %3, %4 has %5 of %6")
                                           .arg(pathA, sizeText(a.size), counted(a.length, "value"), nameB, sizeText(b.size),
                                                counted(b.length, "value")));
        found = compare(a, b, covered, keepsLargest);
    }
    const Difference &difference = *found;
    QJsonArray channels;
    QVector<QStringList> rows;
    for (int k = 0; k < difference.channels.size(); ++k) {
        const Channel &channel = difference.channels[k];
        channels.append(QJsonObject{{QStringLiteral("channel"), k},
                                    {QStringLiteral("differing"), channel.differing},
                                    {QStringLiteral("largest"), channel.largest}});
        if (channel.differing > 0)
            rows.append({QString::number(k), QString::number(channel.differing), QString::number(channel.largest)});
    }
    const bool same = difference.differing == 0;
    session.out().data({{QStringLiteral("a"), pathA},
                        {QStringLiteral("b"), nameB},
                        {QStringLiteral("pixels"), difference.pixels},
                        {QStringLiteral("differing"), difference.differing},
                        {QStringLiteral("worstChannel"), same ? QJsonValue() : QJsonValue(difference.worst())},
                        {QStringLiteral("channels"), channels}});
    if (wall)
        reportUncovered(session, uncovered, "left out");
    if (!same)
        session.out().table({QStringLiteral("CHANNEL"), QStringLiteral("PIXELS"), QStringLiteral("LARGEST")}, rows);
    if (arguments.has("--picture"))
        writePicture(arguments.text("--picture"),
                     pictureOf(difference.largest, covered,
                               QStringLiteral("Largest difference: %1 and %2").arg(pathA, nameB),
                               arguments.integer("--width")));
    const QString summary =
        QStringLiteral("%1 of %2 differ").arg(QString::number(difference.differing), counted(difference.pixels, "pixel"));
    if (!same)
        throw Failure(ExitDifferent, QStringLiteral("%1 and %2: %3, worst in channel %4")
                                         .arg(pathA, nameB, summary, QString::number(difference.worst())));
    session.out().line(summary);
}

} // namespace

QVector<Verb> diffVerbs()
{
    return {
        reads("diff", "Compare two files of coefficients, or a file with a screen",
              {argument("A", Value::File, "file of coefficients"), optional(argument("B", Value::File, "the other file")),
               option("--screen", Value::Screen, "compare with this screen instead of another file"), rectOption,
               readTypeOption,
               option("--picture", Value::File, "draw a map of the largest difference of each pixel, a .png"), widthOption},
              "correctionctl diff before.npy --screen arena-main --picture difference.png", "diff", diff,
              "ICabinet::tryGetCoefficients"),
    };
}

} // namespace Ctl

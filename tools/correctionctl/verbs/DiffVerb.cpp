#include "Rows.h"
#include "files/Files.h"
#include "files/Json.h"
#include "session/Transfer.h"

#include <simulator/pictures/Font.h>
#include <simulator/pictures/HeatMap.h>

#include <algorithm>
#include <cstdlib>

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
    Grid largest; ///< One value a pixel: the largest difference of its channels.

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
Difference compare(const Grid &a, const Grid &b, const QVector<bool> &covered)
{
    Difference difference;
    difference.channels.resize(a.length);
    const int pixels = a.values.size() / a.length;
    difference.pixels = covered.isEmpty() ? pixels : covered.count(true);
    difference.largest.size = a.size;
    difference.largest.length = 1;
    difference.largest.values.resize(pixels);
    for (int pixel = 0; pixel < pixels; ++pixel) {
        if (!covered.isEmpty() && !covered[pixel])
            continue;
        int most = 0;
        for (int k = 0; k < a.length; ++k) {
            const int distance = std::abs(int(a.values[pixel * a.length + k]) - int(b.values[pixel * a.length + k]));
            if (distance == 0)
                continue;
            ++difference.channels[k].differing;
            difference.channels[k].largest = std::max(difference.channels[k].largest, distance);
            most = std::max(most, distance);
        }
        difference.differing += most > 0 ? 1 : 0;
        difference.largest.values[pixel] = quint16(most);
    }
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

    Grid a = readGrid(pathA);
    Grid b;
    QVector<bool> covered;
    qint64 uncovered = 0;
    QString nameB = arguments.text("B");
    if (wall) {
        IScreen &screen = session.screenOf(arguments.text("--screen"));
        const QRect rect = chosenRect(session, screen);
        const EnumCoefficientType kind = arguments.kind();
        a = readGridFor(pathA, rect.size(), kind);
        b = fromLibrary(*readRect(session, screen, rect, kind, uncovered));
        if (uncovered == area(rect))
            throw Failure(enOutOfRange, QStringLiteral("screen %1: no cabinet in %2").arg(screen.getID(), rectText(rect)));
        if (uncovered > 0)
            covered = coveredPixels(rect, Session::cabinetsOf(screen));
        nameB = screen.getID();
    } else {
        b = readGrid(nameB);
        completeSize(a, b, pathA);
        completeSize(b, a, nameB);
    }
    if (a.values.isEmpty() || a.size != b.size || a.length != b.length)
        throw Failure(ExitBadData, QStringLiteral("%1 has %2 pixels of %3, %4 has %5 of %6")
                                       .arg(pathA, sizeText(a.size), counted(a.length, "value"), nameB, sizeText(b.size),
                                            counted(b.length, "value")));

    const Difference difference = compare(a, b, covered);
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

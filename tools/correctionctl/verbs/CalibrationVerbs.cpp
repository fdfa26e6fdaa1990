#include "Figures.h"
#include "Rows.h"
#include "files/Files.h"
#include "files/LightFiles.h"

#include <calibration/Coefficients.h>
#include <calibration/Report.h>
#include <calibration/Target.h>
#include <simulator/pictures/Canvas.h>
#include <simulator/pictures/Font.h>
#include <simulator/pictures/Legend.h>

#include <Correction/Coefficient.h>

#include <algorithm>

using namespace Correction;
using Calibration::Input;
using Calibration::LightImage;
using Calibration::Measurement;
using Calibration::PixelState;
using Calibration::Target;

namespace Ctl {
namespace {

void calibrate(Session &session)
{
    const Arguments &arguments = session.arguments();
    const QString path = arguments.text("MEASUREMENT");
    const QString to = arguments.text("COEFFICIENTS");
    if (!to.isEmpty()) {
        formOf(to);
        checkWritable(to);
    }
    if (arguments.has("--keep-target"))
        checkWritable(arguments.text("--keep-target"));
    const Measurement measurement = measurementOf(readLight(path, Calibration::lightLength));
    if (!meanOf(measurement).isValid())
        throw Failure(ExitBadData, path + QStringLiteral(": no pixel shines in red, green and blue"));
    const Target target = chosenTarget(arguments, &measurement);
    const int unit = arguments.integer("--unit", Calibration::defaultUnit);

    Coefficient grid(measurement.size().width(), measurement.size().height());
    Calibration::Summary summary;
    check(Calibration::calculate(measurement, target, grid, unit, &summary),
          QStringLiteral("%1: calculating coefficients").arg(path));
    const Measurement after = Calibration::predicted(measurement, grid, unit);
    const double white = target.xyz(Input::White).y;
    const Calibration::Reach reach(measurement, primariesOf(target));
    constexpr double rounding = 1e-6; // of the target's light
    const int fallingShort = reach.fallingShort(white * (1 - rounding));

    Figures figures(QStringLiteral("LIGHT"));
    const QJsonArray before = figures.add(QStringLiteral("measured"), measurement, target);
    const QJsonArray predicted = figures.add(QStringLiteral("predicted"), after, target);
    session.out().data({{QStringLiteral("measurement"), path},
                        {QStringLiteral("pixels"), pixelsJson(measurement)},
                        {QStringLiteral("target"), targetJson(target)},
                        {QStringLiteral("fallingShort"), fallingShort},
                        {QStringLiteral("outsideGamut"), reach.outsideGamut()},
                        {QStringLiteral("corrected"), summary.corrected},
                        {QStringLiteral("leftAlone"), summary.leftAlone},
                        {QStringLiteral("clipped"), summary.clipped},
                        {QStringLiteral("unit"), unit},
                        {QStringLiteral("measured"), before},
                        {QStringLiteral("predicted"), predicted}});
    warnOfDead(session, measurement);
    if (fallingShort > chosenShare(arguments) * reach.pixels())
        session.out().warn(
            QStringLiteral("targetNotReached"),
            QStringLiteral("%1 of %2 do not reach %3 cd/m2 of white")
                .arg(QString::number(fallingShort), counted(reach.pixels(), "pixel"), QString::number(white, 'f', 1)));
    session.out().line(QStringLiteral("%1: %2 pixels: %3; %4 corrected, %5 left alone, %6 clipped")
                           .arg(path, sizeText(measurement.size()), pixelsText(measurement),
                                QString::number(summary.corrected), QString::number(summary.leftAlone),
                                QString::number(summary.clipped)));
    session.out().line(targetText(target));
    session.out().line(QStringLiteral("%1 short of this white, %2 cannot show one of the colours")
                           .arg(counted(fallingShort, "pixel") + QLatin1String(fallingShort == 1 ? " falls" : " fall"),
                                QString::number(reach.outsideGamut())));
    figures.print(session.out());

    if (arguments.has("--keep-target")) {
        writeTarget(arguments.text("--keep-target"), target);
        session.out().data({{QStringLiteral("targetFile"), arguments.text("--keep-target")}});
        session.out().line(QStringLiteral("%1: the target").arg(arguments.text("--keep-target")));
    }
    if (!to.isEmpty()) {
        writeGrid(to, fromLibrary(grid), 0);
        session.out().data({{QStringLiteral("file"), to}});
        session.out().line(QStringLiteral("%1: coefficients of %2 pixels").arg(to, sizeText(measurement.size())));
    }
}

/// One file of a report.
struct Seen {
    QString path;
    Light light;
};

/// What a file shows. Of a measurement the pixels that are dead or holes in the first one are left out, and no others: a
/// pixel that became dark since counts.
LightImage shownBy(const Seen &seen, const Measurement &first, Input input)
{
    if (seen.light.length == 3)
        return {seen.light.size, seen.light.values};
    Measurement measurement(seen.light.size, seen.light.values);
    for (int i = 0; i < first.states().size(); ++i) {
        if (first.states()[i] != PixelState::Live)
            measurement.setState(QRect(i % first.size().width(), i / first.size().width(), 1, 1), first.states()[i]);
    }
    return measurement.shown(input);
}

/// The lines between parts of this size.
Calibration::Seams seamsOf(const QSize &screen, const QSize &part)
{
    Calibration::Seams seams;
    for (int x = part.width(); x < screen.width(); x += part.width())
        seams.columns.append(x);
    for (int y = part.height(); y < screen.height(); y += part.height())
        seams.rows.append(y);
    return seams;
}

constexpr double luminanceRange = 0.25;
constexpr double differenceRange = 20;

/// Maps of all files, side by side: luminance about its mean above, colour difference to the target below.
QImage mapsOf(const QVector<Seen> &all, const Measurement &first, const Target &target, Input input)
{
    using namespace Simulator;
    const QSize size = all.first().light.size;
    constexpr int leastWidth = 240; // room for the titles
    const int zoom = std::max(1, (leastWidth + size.width() - 1) / size.width());
    constexpr int margin = Font::advance;
    constexpr int titleHeight = Font::height + 2 * margin;
    const QSize cell(size.width() * zoom + margin, size.height() * zoom + titleHeight);
    const qint64 width = qint64(cell.width()) * all.size() + margin;
    Canvas canvas(width > 65535 ? QSize() : QSize(int(width), 2 * cell.height() + margin), background);
    if (canvas.isNull())
        throw Failure(
            ExitNoMemory,
            QStringLiteral("a picture of %1 with %2 pixels is too large").arg(counted(all.size(), "map"), sizeText(size)));
    for (int i = 0; i < all.size(); ++i) {
        const LightImage shown = shownBy(all[i], first, input);
        const double mean = Calibration::reportOf(shown, target, input).luminanceMean;
        const QPoint corner(margin + i * cell.width(), 0);
        const auto draw = [&](const QImage &map, int top, const QString &title) {
            canvas.write(corner + QPoint(0, top + margin), fitted(Font::drawable(title), 1, cell.width() - margin), 1,
                         Simulator::white);
            for (int y = 0; y < map.height() * zoom; ++y) {
                const auto *const from = reinterpret_cast<const QRgb *>(map.constScanLine(y / zoom));
                QRgb *const to = canvas.row(top + titleHeight + y) + corner.x();
                for (int x = 0; x < map.width() * zoom; ++x)
                    to[x] = from[x / zoom];
            }
        };
        const int percent = int(100 * luminanceRange);
        draw(
            Calibration::luminanceMap(shown, mean, luminanceRange), 0,
            QStringLiteral("%1: %2 cd/m2 +-%3 %").arg(all[i].path, QString::number(mean, 'f', 0), QString::number(percent)));
        draw(Calibration::differenceMap(shown, target, input, differenceRange), cell.height(),
             QStringLiteral("%1: CIEDE2000, 0 to %2").arg(all[i].path, QString::number(differenceRange)));
    }
    return canvas.image();
}

/// The limits of --within; a text about the first that is exceeded.
QString excess(const std::pair<double, double> &limits, const Calibration::Report &report, Input input)
{
    const double deviation = 100 * report.luminanceDeviation;
    const auto text = [input](const char *what, double value, double limit) {
        return QStringLiteral("%1: %2 is %3, the limit is %4")
            .arg(inputText(input), QLatin1String(what), QString::number(value, 'f', 3), QString::number(limit));
    };
    if (!(deviation <= limits.first))
        return text("the deviation of the luminance in %", deviation, limits.first);
    if (!(report.differenceMedian <= limits.second))
        return text("the median of CIEDE2000", report.differenceMedian, limits.second);
    return {};
}

void report(Session &session)
{
    const Arguments &arguments = session.arguments();
    const QString picture = arguments.text("--picture");
    if (!picture.isEmpty() && formOf(picture) != FileForm::Png)
        throw Failure(ExitUsage, QStringLiteral("--picture %1: expected a .png").arg(picture));
    if (!picture.isEmpty())
        checkWritable(picture);
    const auto limits = twoNumbers(arguments, "--within", 0, 1e6);

    QVector<Seen> all;
    bool isWhole = true; // all of them show each input
    for (const QString &path : arguments.texts("FILE")) {
        all.append({path, readLight(path)});
        const Seen &first = all.first();
        if (all.last().light.size != first.light.size)
            throw Failure(ExitBadData,
                          QStringLiteral("%1 has %2 pixels, %3 has %4")
                              .arg(path, sizeText(all.last().light.size), first.path, sizeText(first.light.size)));
        isWhole = isWhole && all.last().light.length == Calibration::lightLength;
    }
    const bool hasMeasurement = all.first().light.length == Calibration::lightLength;
    const Measurement first = hasMeasurement ? measurementOf(all.first().light) : Measurement();
    if (hasMeasurement && !meanOf(first).isValid())
        throw Failure(ExitBadData, all.first().path + QStringLiteral(": no pixel shines in red, green and blue"));
    const Target target = chosenTarget(arguments, hasMeasurement ? &first : nullptr);
    const QVector<Input> inputs =
        isWhole || arguments.has("--input") ? chosenInputs(arguments) : QVector<Input>{Input::White};
    const Calibration::Seams seams = arguments.has("--seams")
                                         ? seamsOf(all.first().light.size, *parseSize(arguments.text("--seams")))
                                         : Calibration::Seams();

    Figures figures(QStringLiteral("FILE"), arguments.has("--seams"));
    QJsonArray files;
    QStringList problems;
    for (const Seen &seen : all) {
        QJsonArray list;
        for (const Input input : inputs) {
            const Calibration::Report each = Calibration::reportOf(shownBy(seen, first, input), target, input, seams);
            if (each.pixels == 0)
                throw Failure(ExitBadData, seen.path + QStringLiteral(": the light of no pixel is known"));
            list.append(figures.add(seen.path, input, each));
            if (limits && &seen == &all.last())
                problems.append(excess(*limits, each, input));
        }
        files.append(QJsonObject{{QStringLiteral("file"), seen.path}, {QStringLiteral("figures"), list}});
    }
    session.out().data({{QStringLiteral("target"), targetJson(target)}, {QStringLiteral("files"), files}});
    if (hasMeasurement)
        warnOfDead(session, first);
    session.out().line(targetText(target));
    figures.print(session.out());
    if (!picture.isEmpty()) {
        writePicture(picture, mapsOf(all, first, target, inputs.last()));
        session.out().data({{QStringLiteral("picture"), picture}});
        session.out().line(QStringLiteral("maps of %1 drawn into %2").arg(inputText(inputs.last()), picture));
    }
    problems.removeAll(QString());
    if (!problems.isEmpty())
        throw Failure(ExitDifferent, QStringLiteral("%1: %2").arg(all.last().path, problems.join(QStringLiteral("; "))));
}

} // namespace

QVector<Verb> calibrationVerbs()
{
    Parameter seams =
        option("--seams", Value::Size, "size of modules or cabinets in pixels: report the contrast of their seams");
    return {
        reads("calibrate", "Calculate coefficients from a measurement, with files alone",
              QVector<Parameter>{
                  argument("MEASUREMENT", Value::File, "what `measure` wrote: .npy, height x width x 9, XYZ in cd/m2"),
                  optional(argument("COEFFICIENTS", Value::File, "file of coefficients; without it: figures only"))}
                  + targetOptions()
                  + QVector<Parameter>{number(option("--unit", Value::Number,
                                                     "value of a coefficient that changes nothing; default: 32768"),
                                              1, 65535),
                                       option("--keep-target", Value::File, "write the target there, JSON")},
              "correctionctl calibrate measured.npy corrected.npy --keep-target target.json", "calibration", calibrate, ""),
        reads("report", "Report how even light is, and how near to a target, with files alone",
              QVector<Parameter>{repeated(argument("FILE", Value::File,
                                                   "measurements, or light of height x width x 3, all of one size: before, "
                                                   "after"))}
                  + targetOptions()
                  + QVector<Parameter>{choice(option("--input", Value::Choice, "what was shown; default: each, or white"),
                                              "red|green|blue|white"),
                                       seams,
                                       option("--picture", Value::File,
                                              "draw maps of luminance and colour difference, a .png"),
                                       decimalOption("--within", "PERCENT,DE00",
                                                     "fail if the last file's luminance deviates more, or its median colour "
                                                     "difference is greater")},
              "correctionctl report measured.npy --target target.json --picture evenness.png", "report", report, ""),
    };
}

} // namespace Ctl

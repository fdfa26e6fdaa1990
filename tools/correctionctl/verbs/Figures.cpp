#include "Figures.h"

#include "Rows.h"
#include "files/LightFiles.h"

#include <calibration/Coefficients.h>

#include <algorithm>
#include <cmath>

using Calibration::Input;
using Calibration::Measurement;
using Calibration::PixelState;
using Calibration::Primaries;
using Calibration::Report;
using Calibration::Target;

namespace Ctl {

namespace {

constexpr double defaultShare = 0.001;

struct NamedPrimaries {
    const char *name;
    Primaries (*primaries)();
};
const NamedPrimaries standards[] = {{"srgb", Calibration::sRgb},
                                    {"rec709", Calibration::rec709},
                                    {"dci-p3", Calibration::dciP3},
                                    {"rec2020", Calibration::rec2020}};

const Input allInputs[] = {Input::Red, Input::Green, Input::Blue, Input::White};

std::optional<double> numberOf(const QString &text, double least, double greatest)
{
    bool good = false;
    const double number = text.toDouble(&good);
    return good && number >= least && number <= greatest ? std::optional<double>(number) : std::nullopt;
}

[[noreturn]] void refuse(const char *option, const QString &text, const QString &expected)
{
    throw Failure(ExitUsage, QStringLiteral("%1: expected %2, got \"%3\"").arg(QLatin1String(option), expected, text));
}

QString rangeText(double least, double greatest)
{
    return QStringLiteral("from %1 to %2").arg(least).arg(greatest);
}

/// Chromaticity and luminance.
struct Colour {
    double x;
    double y;
    double luminance;
};

Colour colourOf(const Target &target, Input input)
{
    const Target::Xyz xyz = target.xyz(input);
    const double sum = xyz.x + xyz.y + xyz.z;
    return {xyz.x / sum, xyz.y / sum, xyz.y};
}

QString fixed(double number, int decimals)
{
    return QString::number(number, 'f', decimals);
}

QString percent(double share)
{
    return fixed(100 * share, 3);
}

} // namespace

std::optional<double> decimal(const Arguments &arguments, const char *option, double least, double greatest)
{
    if (!arguments.has(option))
        return std::nullopt;
    const std::optional<double> number = numberOf(arguments.text(option), least, greatest);
    if (!number)
        refuse(option, arguments.text(option), QStringLiteral("a number ") + rangeText(least, greatest));
    return number;
}

std::optional<std::pair<double, double>> twoNumbers(const Arguments &arguments, const char *option, double least,
                                                    double greatest)
{
    if (!arguments.has(option))
        return std::nullopt;
    const QString text = arguments.text(option);
    const auto first = numberOf(text.section(QLatin1Char(','), 0, 0), least, greatest);
    const auto second = numberOf(text.section(QLatin1Char(','), 1), least, greatest);
    if (!first || !second)
        refuse(option, text, QStringLiteral("two numbers %1, with a comma between them").arg(rangeText(least, greatest)));
    return std::make_pair(*first, *second);
}

Parameter decimalOption(const char *name, const char *metavar, const char *help)
{
    Parameter parameter = option(name, Value::Text, help);
    parameter.metavar = metavar;
    return parameter;
}

QVector<Parameter> targetOptions()
{
    Parameter target = option("--target", Value::File,
                              "common: what all pixels can show; srgb, rec709, dci-p3, rec2020; or a file of "
                              "--keep-target; default: common");
    target.metavar = "NAME|FILE";
    return {target,
            decimalOption("--share", "SHARE",
                          "share of the pixels that may fall short of the luminance, and of common primaries; default: "
                          "0.001"),
            decimalOption("--luminance", "CD", "of white, in cd/m2; default: what all pixels but the share reach"),
            decimalOption("--white", "X,Y", "chromaticity of white; default: that of the target")};
}

double chosenShare(const Arguments &arguments)
{
    return decimal(arguments, "--share", 0, 1).value_or(defaultShare);
}

Target chosenTarget(const Arguments &arguments, const Measurement *measurement)
{
    const QString name = arguments.text("--target", QStringLiteral("common"));
    const auto *const standard =
        std::find_if(std::begin(standards), std::end(standards),
                     [&name](const NamedPrimaries &each) { return name == QLatin1String(each.name); });
    const bool isCommon = name == QLatin1String("common");
    if (!isCommon && standard == std::end(standards)) {
        for (const char *other : {"--share", "--luminance", "--white"}) {
            if (arguments.has(other))
                throw Failure(
                    ExitUsage,
                    QStringLiteral("%1 has no effect on the target of the file %2").arg(QLatin1String(other), name));
        }
        return readTarget(name);
    }
    const double share = chosenShare(arguments);
    const auto wanted = decimal(arguments, "--luminance", 0.001, 1e6);
    if (!measurement && (isCommon || !wanted))
        throw Failure(ExitUsage, QStringLiteral("the target needs a measurement as the first file, or --target FILE of "
                                                "`calibrate --keep-target`"));
    Primaries primaries = isCommon ? Calibration::commonPrimaries(*measurement, share) : standard->primaries();
    if (const auto white = twoNumbers(arguments, "--white", 0.001, 1))
        primaries.white = {white->first, white->second};
    const double luminance = wanted ? *wanted : Calibration::Reach(*measurement, primaries).luminanceFor(share);
    const Target target = Calibration::targetOf(primaries, luminance);
    if (!target.isValid())
        throw Failure(ExitUsage,
                      QStringLiteral("no target: white %1, %2 at %3 cd/m2 cannot be mixed from red %4, %5, green %6, %7, "
                                     "blue %8, %9")
                          .arg(fixed(primaries.white.x, 4), fixed(primaries.white.y, 4), fixed(luminance, 1),
                               fixed(primaries.red.x, 4), fixed(primaries.red.y, 4), fixed(primaries.green.x, 4),
                               fixed(primaries.green.y, 4), fixed(primaries.blue.x, 4), fixed(primaries.blue.y, 4)));
    return target;
}

Primaries primariesOf(const Target &target)
{
    const auto chromaticity = [&target](Input input) {
        const Colour colour = colourOf(target, input);
        return Calibration::Chromaticity{colour.x, colour.y};
    };
    return {chromaticity(Input::Red), chromaticity(Input::Green), chromaticity(Input::Blue), chromaticity(Input::White)};
}

Target meanOf(const Measurement &measurement)
{
    Target mean;
    int pixels = 0;
    for (int y = 0; y < measurement.size().height(); ++y) {
        for (int x = 0; x < measurement.size().width(); ++x) {
            if (!measurement.isUsable(x, y))
                continue;
            for (int i = 0; i < Calibration::lightLength; ++i)
                mean.light[i] += double(measurement.pixel(x, y)[i]);
            ++pixels;
        }
    }
    for (double &value : mean.light)
        value /= std::max(pixels, 1);
    return mean;
}

QString targetText(const Target &target)
{
    QStringList colours;
    for (const Input input : allInputs) {
        const Colour colour = colourOf(target, input);
        colours.append(QStringLiteral("%1 %2, %3 at %4 cd/m2")
                           .arg(inputText(input), fixed(colour.x, 4), fixed(colour.y, 4), fixed(colour.luminance, 1)));
    }
    return QStringLiteral("target: ") + colours.join(QStringLiteral("; "));
}

QJsonObject targetJson(const Target &target)
{
    QJsonObject object;
    for (const Input input : allInputs) {
        const Colour colour = colourOf(target, input);
        object.insert(inputText(input), QJsonObject{{QStringLiteral("x"), colour.x},
                                                    {QStringLiteral("y"), colour.y},
                                                    {QStringLiteral("luminance"), colour.luminance}});
    }
    return object;
}

QString inputText(Input input)
{
    const char *const names[] = {"red", "green", "blue", "white"};
    return QLatin1String(names[int(input)]);
}

QVector<Input> chosenInputs(const Arguments &arguments)
{
    QVector<Input> inputs;
    for (const Input input : allInputs) {
        if (!arguments.has("--input") || arguments.text("--input") == inputText(input))
            inputs.append(input);
    }
    return inputs;
}

QJsonObject Figures::add(const QString &name, Input input, const Report &report)
{
    m_rows.append({name, inputText(input), QString::number(report.pixels), fixed(report.luminanceMean, 2),
                   percent(report.luminanceDeviation), fixed(report.luminanceLeast, 2), fixed(report.luminanceGreatest, 2),
                   fixed(report.differenceMedian, 3), fixed(report.difference95, 3), fixed(report.differenceWorst, 3),
                   percent(report.seamMean), percent(report.seamWorst)});
    return {{QStringLiteral("input"), inputText(input)},
            {QStringLiteral("pixels"), report.pixels},
            {QStringLiteral("luminanceMean"), report.luminanceMean},
            {QStringLiteral("luminanceDeviation"), report.luminanceDeviation},
            {QStringLiteral("luminanceLeast"), report.luminanceLeast},
            {QStringLiteral("luminanceGreatest"), report.luminanceGreatest},
            {QStringLiteral("differenceMedian"), report.differenceMedian},
            {QStringLiteral("difference95"), report.difference95},
            {QStringLiteral("differenceWorst"), report.differenceWorst},
            {QStringLiteral("seamMean"), report.seamMean},
            {QStringLiteral("seamWorst"), report.seamWorst}};
}

QJsonArray Figures::add(const QString &name, const Measurement &measurement, const Target &target)
{
    QJsonArray list;
    for (const Input input : allInputs)
        list.append(add(name, input, Calibration::reportOf(measurement.shown(input), target, input)));
    return list;
}

void Figures::print(Output &output) const
{
    QStringList head{m_what,
                     QStringLiteral("INPUT"),
                     QStringLiteral("PIXELS"),
                     QStringLiteral("CD/M2"),
                     QStringLiteral("DEV %"),
                     QStringLiteral("LEAST"),
                     QStringLiteral("MOST"),
                     QStringLiteral("DE00"),
                     QStringLiteral("95 %"),
                     QStringLiteral("WORST")};
    if (m_hasSeams)
        head << QStringLiteral("SEAMS %") << QStringLiteral("WORST %");
    output.table(head, m_rows); // with no more columns than the head
}

QJsonObject pixelsJson(const Measurement &measurement)
{
    return {{QStringLiteral("live"), measurement.count(PixelState::Live)},
            {QStringLiteral("dead"), measurement.count(PixelState::Dead)},
            {QStringLiteral("holes"), measurement.count(PixelState::Hole)}};
}

QString pixelsText(const Measurement &measurement)
{
    return QStringLiteral("%1, %2 dead, %3")
        .arg(counted(measurement.count(PixelState::Live), "live pixel"),
             QString::number(measurement.count(PixelState::Dead)), counted(measurement.count(PixelState::Hole), "hole"));
}

void warnOfDead(Session &session, const Measurement &measurement)
{
    const int dead = measurement.count(PixelState::Dead);
    if (dead == 0)
        return;
    QStringList places;
    constexpr int shown = 8;
    for (int i = 0; i < measurement.states().size() && places.size() < shown; ++i) {
        if (measurement.states()[i] == PixelState::Dead)
            places.append(QStringLiteral("%1,%2").arg(i % measurement.size().width()).arg(i / measurement.size().width()));
    }
    session.out().warn(QStringLiteral("deadPixels"),
                       QStringLiteral("%1 without light or without a known value, at %2%3")
                           .arg(counted(dead, "pixel"), places.join(QStringLiteral("; ")),
                                dead > shown ? QStringLiteral(" and %1 more").arg(dead - shown) : QString()));
}

} // namespace Ctl

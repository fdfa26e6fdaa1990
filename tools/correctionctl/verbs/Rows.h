#pragma once

#include "Verbs.h"

#include <limits>

namespace Ctl {

/// Building blocks for the rows of the table of verbs.

constexpr qint64 intMax = std::numeric_limits<int>::max();
constexpr qint64 intMin = std::numeric_limits<int>::min();

constexpr Parameter argument(const char *name, Value value, const char *help)
{
    return {name, value, help, true};
}

constexpr Parameter option(const char *name, Value value, const char *help)
{
    return {name, value, help};
}

constexpr Parameter number(Parameter parameter, qint64 least, qint64 greatest, const char *metavar = "N")
{
    parameter.value = Value::Number;
    parameter.least = least;
    parameter.greatest = greatest;
    parameter.metavar = metavar;
    return parameter;
}

constexpr Parameter choice(Parameter parameter, const char *choices)
{
    parameter.value = Value::Choice;
    parameter.choices = choices;
    return parameter;
}

constexpr Parameter optional(Parameter parameter)
{
    parameter.required = false;
    return parameter;
}

constexpr Parameter repeated(Parameter parameter)
{
    parameter.repeated = true;
    return parameter;
}

template <typename Row>
constexpr Row virtualOnly(Row row)
{
    row.virtualOnly = true;
    return row;
}

// Parameters that several verbs take.
constexpr Parameter screenArgument =
    argument("SCREEN", Value::Screen, "id or name of a screen; several, joined by \"+\", act as one");
constexpr Parameter fileArgument = argument(
    "FILE", Value::File,
    "file of coefficients: .npy, .npz, .csv, .json, .png or .tif (NAME-%.png: a picture of each value); -: standard "
    "output");
constexpr Parameter sourceArgument = argument(
    "FILE", Value::File,
    "file of coefficients: .npy, .npz, .csv, .json, NAME-%.png or NAME-%.tif (a picture of each value); -: standard input");
constexpr Parameter gammaArgument =
    optional(argument("FILE", Value::File, "JSON: {\"red\": [...], \"green\": [...], \"blue\": [...]}, any of them"));
constexpr Parameter brightnessArgument =
    number(optional(argument("VALUE", Value::Number, "brightness in the device's own steps")), 0, intMax, "");
constexpr Parameter modeArgument =
    number(argument("MODE", Value::Number, "the device's number of the mode"), intMin, intMax, "");
constexpr Parameter enableArgument = argument("ENABLE", Value::OnOff, "on or off");
constexpr Parameter rectOption = option("--rect", Value::Rect, "rectangle in screen pixels; default: all");
constexpr Parameter typeOption = option("--type", Value::Kind, "kind of coefficients; default: chroma");
constexpr Parameter readTypeOption = choice(
    option("--type", Value::Choice, "kind of coefficients; default: chroma, the only one that can be read"), "chroma");
constexpr Parameter appliedTypeOption =
    option("--type", Value::Kind, "kind of coefficients; default: lowgray, the only one that devices apply");
constexpr Parameter deviceOption =
    repeated(option("--device", Value::Device, "only the part that this device drives; may be repeated"));
constexpr Parameter cabinetOption = repeated(option("--cabinet", Value::Cabinet, "only this cabinet; may be repeated"));
constexpr Parameter channelOption =
    number(option("--channel", Value::Number, "which value of each pixel a single picture shows; default: 0"), 0, 15);
constexpr Parameter widthOption = number(
    option("--width", Value::Number, "greatest width of the map in pixels; one that would be too flat is cut into strips"),
    1, 65535);
constexpr Parameter saveOption = option("--save", Value::None, "save on the devices when all is written");

/// A verb that changes no device. Its name, help and example go into all documents; `shape` is that of its JSON "data".
inline Verb reads(const char *name, const char *help, const QVector<Parameter> &parameters, const char *example,
                  const char *shape, void (*run)(Session &), const char *operations)
{
    return {name, help, parameters, example, operations, shape, false, run};
}

/// A verb that changes a device; it takes --dry-run.
inline Verb writes(const char *name, const char *help, const QVector<Parameter> &parameters, const char *example,
                   const char *shape, void (*run)(Session &), const char *operations)
{
    return {name, help, parameters, example, operations, shape, true, run};
}

/// A verb whose result is wrong where a device of the screen is missing.
inline Verb wholeScreen(Verb verb)
{
    verb.wholeScreen = true;
    return verb;
}

/// A verb whose effect is lost when the device loses power: test images, locks, coefficients that are not saved.
inline Verb transient(Verb verb)
{
    verb.transient = true;
    return verb;
}

/// A verb in front of another command line.
inline Verb wrapping(Verb verb)
{
    verb.wrapsCommand = true;
    return verb;
}

} // namespace Ctl

#pragma once

#include "session/Session.h"

#include <calibration/Measurement.h>
#include <calibration/Report.h>
#include <calibration/Target.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <optional>
#include <utility>

namespace Ctl {

/// Options and figures of the verbs that calibrate.

/// The decimal number of an option; no value without the option. Throws a Failure with ExitUsage for any other text and for
/// a number out of the range.
std::optional<double> decimal(const Arguments &arguments, const char *option, double least, double greatest);
/// "X,Y" or "A,B".
std::optional<std::pair<double, double>> twoNumbers(const Arguments &arguments, const char *option, double least,
                                                    double greatest);
/// A decimal number as the shell's argument.
Parameter decimalOption(const char *name, const char *metavar, const char *help);

/// The options of a target, and the target that they mean for a measurement. Null: none was read, and only a target of a
/// file is possible.
QVector<Parameter> targetOptions();
Calibration::Target chosenTarget(const Arguments &arguments, const Calibration::Measurement *measurement);
/// The share of pixels that may fall short.
double chosenShare(const Arguments &arguments);
Calibration::Primaries primariesOf(const Calibration::Target &target);
/// The mean light of the usable pixels.
Calibration::Target meanOf(const Calibration::Measurement &measurement);

QString targetText(const Calibration::Target &target);
QJsonObject targetJson(const Calibration::Target &target);

/// "white"; of "red", "green", "blue" and "white" those that --input chooses.
QString inputText(Calibration::Input input);
QVector<Calibration::Input> chosenInputs(const Arguments &arguments);

/// The figures of light, as they are collected: a table for people, and JSON.
class Figures
{
public:
    /// `what`: the title of the first column. `hasSeams`: the table has the contrasts of seams.
    explicit Figures(const QString &what, bool hasSeams = false) : m_what(what), m_hasSeams(hasSeams) {}
    /// A line of the table; returns its JSON.
    QJsonObject add(const QString &name, Calibration::Input input, const Calibration::Report &report);
    /// A line for each input that a measurement shows; returns their JSON.
    QJsonArray add(const QString &name, const Calibration::Measurement &measurement, const Calibration::Target &target);
    void print(Output &output) const;

private:
    QString m_what;
    bool m_hasSeams;
    QVector<QStringList> m_rows;
};

/// {"live": 5, "dead": 0, "holes": 1}, and the same as a line.
QJsonObject pixelsJson(const Calibration::Measurement &measurement);
QString pixelsText(const Calibration::Measurement &measurement);
/// Warns about dead pixels.
void warnOfDead(Session &session, const Calibration::Measurement &measurement);

} // namespace Ctl

#pragma once

#include "Measurement.h"

/// Evaluation of the figures: ratios, and whether the targets are met.
namespace Bench {

struct Result {
    Case ofCase;
    Figures figures; ///< Empty: the case was skipped because memory is too small.
};

/// Median over the rounds of the library's figure.
double libraryFigure(const Result &result);
/// Medians of the ratios of each round; 0 when the case does not have that way.
double timesObvious(const Result &result);
double timesLimit(const Result &result);
/// Whether all targets are met.
bool isMet(const Result &result);
bool isAsked(const Case &ofCase);

/// One readable line: the case, the targets, the measured values.
QString lineOf(const Result &result);
/// The heading of these lines.
QString headingOfLines();
/// The table as Markdown, below the machine that it was measured on and the command.
QString markdown(const QVector<Result> &results, const QString &command);
/// All figures.
QByteArray json(const QVector<Result> &results, const QString &command);
/// For the chart: name, ratio to the obvious way, its target, ratio to the limit, its target; tab-separated, "-" for
/// none.
QString chartData(const QVector<Result> &results);

} // namespace Bench

#pragma once

#include "Measurement.h"

/// What the figures say: ratios, and whether they are what was asked.
namespace Bench {

struct Result {
    Case ofCase;
    Figures figures; ///< No figures at all: left out for want of memory.
};

/// Median over the rounds of the library's figure.
double libraryFigure(const Result &result);
/// Medians of the ratios of each round; 0 when the case does not have that way.
double timesObvious(const Result &result);
double timesLimit(const Result &result);
/// Whether everything asked is met.
bool isMet(const Result &result);
bool isAsked(const Case &ofCase);

/// One line for people: the case, what is asked, what was measured.
QString lineOf(const Result &result);
/// The heading of these lines.
QString headingOfLines();
/// The table as Markdown, below the machine that it was measured on and the command.
QString markdown(const QVector<Result> &results, const QString &command);
/// All figures.
QByteArray json(const QVector<Result> &results, const QString &command);
/// For the chart: name, ratio to the obvious way, the asked one, ratio to the limit, the asked one; tab-separated, "-" for
/// none.
QString chartData(const QVector<Result> &results);

} // namespace Bench

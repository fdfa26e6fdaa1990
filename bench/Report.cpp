#include "Report.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSysInfo>
#include <QtCore/QThread>

#include <algorithm>

namespace Bench {
namespace {

double median(QVector<double> values)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    const int middle = values.size() / 2;
    return values.size() % 2 != 0 ? values.at(middle) : (values.at(middle - 1) + values.at(middle)) / 2;
}

double medianRatio(const QVector<double> &numerators, const QVector<double> &denominators)
{
    QVector<double> ratios;
    for (int round = 0; round < std::min(numerators.size(), denominators.size()); ++round) {
        if (denominators.at(round) > 0)
            ratios.append(numerators.at(round) / denominators.at(round));
    }
    return median(ratios);
}

/// Three significant digits: measurements are not more precise.
QString rounded(double value)
{
    return QString::number(value, 'f', value >= 100 ? 0 : value >= 10 ? 1 : 2);
}

/// The library's own figure in its unit.
QString figureText(Measure measure, double figure)
{
    switch (measure) {
    case Measure::Warm:
    case Measure::Fresh:
    case Measure::Elapsed:
        if (figure < 1e-3)
            return QStringLiteral("%1 µs").arg(rounded(figure * 1e6));
        return figure < 1 ? QStringLiteral("%1 ms").arg(rounded(figure * 1e3)) : QStringLiteral("%1 s").arg(rounded(figure));
    case Measure::PeakMemory:
        return QStringLiteral("%1 MiB").arg(rounded(figure / 1024 / 1024));
    case Measure::CpuShare:
        return QStringLiteral("%1 %").arg(figure * 100, 0, 'f', 2);
    case Measure::Allocations:
        return QString::number(figure);
    }
    return QString();
}

const char *unitOf(Measure measure)
{
    switch (measure) {
    case Measure::Warm:
    case Measure::Fresh:
    case Measure::Elapsed:
        return "seconds";
    case Measure::PeakMemory:
        return "bytes";
    case Measure::CpuShare:
        return "cores";
    case Measure::Allocations:
        return "blocks";
    }
    return "";
}

/// The cells of a row: case, the library's figure, target and measured ratio to the obvious way, target and measured ratio
/// to the limit, the limit's description, whether all targets are met.
QStringList cellsOf(const Result &result)
{
    const Case &ofCase = result.ofCase;
    const QString none = QStringLiteral("–");
    if (result.figures.library.isEmpty())
        return {ofCase.name, QStringLiteral("too little memory"), none, none, none, none, none, none};
    const auto ratioText = [&none](double ratio) { return ratio > 0 ? rounded(ratio) + QStringLiteral(" x") : none; };
    const auto numberText = [&none](double ratio) {
        return ratio > 0 ? QString::number(ratio) + QStringLiteral(" x") : none;
    };
    QString askedOfLimit = numberText(ofCase.timesLimit);
    QString limitMeasured = ratioText(timesLimit(result));
    QString limitIs = ofCase.limitIs.isEmpty() ? none : ofCase.limitIs;
    if (ofCase.atMost >= 0) {
        askedOfLimit = figureText(ofCase.measure, ofCase.atMost);
        limitMeasured = figureText(ofCase.measure, libraryFigure(result));
    }
    return {ofCase.name,
            figureText(ofCase.measure, libraryFigure(result)),
            numberText(ofCase.timesObvious),
            ratioText(timesObvious(result)),
            askedOfLimit,
            limitMeasured,
            limitIs,
            !isAsked(ofCase) ? none
            : isMet(result)  ? QStringLiteral("yes")
                             : QStringLiteral("no")};
}

const QStringList headings{QStringLiteral("case"),
                           QStringLiteral("library"),
                           QStringLiteral("baseline: target"),
                           QStringLiteral("measured"),
                           QStringLiteral("limit: target"),
                           QStringLiteral("measured"),
                           QStringLiteral("the limit"),
                           QStringLiteral("met")};

QString aligned(const QStringList &cells)
{
    const int widths[] = {42, 12, 19, 9, 13, 9, 41, 3};
    QString line;
    for (int i = 0; i < cells.size(); ++i)
        line += cells.at(i).leftJustified(widths[i]) + QStringLiteral("  ");
    return line.trimmed();
}

QString processorModel()
{
    QFile file(QStringLiteral("/proc/cpuinfo"));
    if (file.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> lines = file.readAll().split('\n');
        for (const QByteArray &line : lines) {
            if (line.startsWith("model name"))
                return QString::fromUtf8(line.mid(line.indexOf(':') + 1).trimmed());
        }
    }
    return QSysInfo::currentCpuArchitecture();
}

QString instructionSet()
{
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl"))
        return QStringLiteral("AVX-512");
    if (__builtin_cpu_supports("avx2"))
        return QStringLiteral("AVX2");
    if (__builtin_cpu_supports("sse4.2"))
        return QStringLiteral("SSE4.2");
    return QStringLiteral("SSE2");
#else
    return QSysInfo::currentCpuArchitecture();
#endif
}

QString compiler()
{
#if defined(__clang__)
    return QStringLiteral("clang " __clang_version__).trimmed();
#else
    return QStringLiteral("g++ " __VERSION__);
#endif
}

QString machine()
{
    return QStringLiteral("%1, %2, %3 cores, %4, Qt %5, %6, release build, one thread")
        .arg(processorModel(), instructionSet())
        .arg(QThread::idealThreadCount())
        .arg(QSysInfo::prettyProductName(), QString::fromLatin1(qVersion()), compiler());
}

QJsonArray arrayOf(const QVector<double> &values)
{
    QJsonArray array;
    for (const double value : values)
        array.append(value);
    return array;
}

} // namespace

double libraryFigure(const Result &result)
{
    return median(result.figures.library);
}

double timesObvious(const Result &result)
{
    return medianRatio(result.figures.obvious, result.figures.library);
}

double timesLimit(const Result &result)
{
    return medianRatio(result.figures.library, result.figures.limit);
}

bool isAsked(const Case &ofCase)
{
    return ofCase.timesObvious > 0 || ofCase.timesLimit > 0 || ofCase.atMost >= 0;
}

bool isMet(const Result &result)
{
    const Case &ofCase = result.ofCase;
    return !result.figures.library.isEmpty() && (ofCase.timesObvious <= 0 || timesObvious(result) >= ofCase.timesObvious)
           && (ofCase.timesLimit <= 0 || timesLimit(result) <= ofCase.timesLimit)
           && (ofCase.atMost < 0 || libraryFigure(result) <= ofCase.atMost);
}

QString headingOfLines()
{
    return aligned(headings);
}

QString lineOf(const Result &result)
{
    return aligned(cellsOf(result));
}

QString markdown(const QVector<Result> &results, const QString &command)
{
    const auto row = [](const QStringList &cells) {
        return QStringLiteral("| ") + cells.join(QStringLiteral(" | ")) + QStringLiteral(" |\n");
    };
    QString text = QStringLiteral("Machine: %1.\nCommand: `%2`, medians of %3 rounds.\n\n")
                       .arg(machine(), command)
                       .arg(results.isEmpty() ? 0 : results.constFirst().figures.library.size());
    text += row(headings);
    text += QStringLiteral("|---|--:|--:|--:|--:|--:|---|---|\n");
    for (const Result &result : results)
        text += row(cellsOf(result));
    return text;
}

QByteArray json(const QVector<Result> &results, const QString &command)
{
    QJsonArray cases;
    for (const Result &result : results) {
        const Case &ofCase = result.ofCase;
        QJsonObject asked;
        if (ofCase.timesObvious > 0)
            asked.insert(QStringLiteral("timesObvious"), ofCase.timesObvious);
        if (ofCase.timesLimit > 0)
            asked.insert(QStringLiteral("timesLimit"), ofCase.timesLimit);
        if (ofCase.atMost >= 0)
            asked.insert(QStringLiteral("atMost"), ofCase.atMost);
        QJsonObject object{{QStringLiteral("case"), ofCase.name},
                           {QStringLiteral("unit"), QLatin1String(unitOf(ofCase.measure))},
                           {QStringLiteral("limitIs"), ofCase.limitIs},
                           {QStringLiteral("asked"), asked},
                           {QStringLiteral("library"), arrayOf(result.figures.library)},
                           {QStringLiteral("obvious"), arrayOf(result.figures.obvious)},
                           {QStringLiteral("limit"), arrayOf(result.figures.limit)},
                           {QStringLiteral("timesObvious"), timesObvious(result)},
                           {QStringLiteral("timesLimit"), timesLimit(result)}};
        if (isAsked(ofCase))
            object.insert(QStringLiteral("met"), isMet(result));
        cases.append(object);
    }
    const QJsonObject document{
        {QStringLiteral("machine"), machine()}, {QStringLiteral("command"), command}, {QStringLiteral("cases"), cases}};
    return QJsonDocument(document).toJson();
}

QString chartData(const QVector<Result> &results)
{
    const auto number = [](double value) { return value > 0 ? QString::number(value) : QStringLiteral("-"); };
    QString text;
    for (const Result &result : results) {
        const bool isTime = qstrcmp(unitOf(result.ofCase.measure), "seconds") == 0;
        const double obvious = timesObvious(result);
        const double limit = timesLimit(result);
        if (!isTime || !isAsked(result.ofCase) || result.figures.library.isEmpty())
            continue;
        text += QStringList{result.ofCase.name,
                            number(obvious),
                            number(result.ofCase.timesObvious),
                            number(limit),
                            number(result.ofCase.timesLimit),
                            obvious < result.ofCase.timesObvious ? result.ofCase.ifMissed : QString(),
                            result.ofCase.timesLimit > 0 && limit > result.ofCase.timesLimit ? result.ofCase.ifMissed
                                                                                             : QString()}
                    .join(QLatin1Char('\t'))
                + QLatin1Char('\n');
    }
    return text;
}

} // namespace Bench

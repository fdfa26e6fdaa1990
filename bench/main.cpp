#include "Measurement.h"
#include "Report.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>
#include <QtCore/QRegularExpression>
#include <QtCore/QSaveFile>

#include <cstdio>
#include <cstdlib>

namespace {

/// Discards every log line, as a host without log output does, except fatal messages.
void handleMessage(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type != QtFatalMsg)
        return;
    std::fprintf(stderr, "%s\n", qPrintable(text));
    std::exit(1);
}

void save(const QString &fileName, const QByteArray &bytes)
{
    if (fileName.isEmpty())
        return;
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        qFatal("cannot write %s", qPrintable(fileName));
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(handleMessage);
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false"));
    if (Bench::workAsChild(application.arguments()))
        return 0;

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Compares the library with the obvious way and with the limit."));
    parser.addHelpOption();
    const QCommandLineOption quick(QStringLiteral("quick"), QStringLiteral("A short run of what is asked for."));
    const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("Measure each case this often."),
                                    QStringLiteral("number"));
    const QCommandLineOption table(QStringLiteral("table"), QStringLiteral("Write the table as Markdown."),
                                   QStringLiteral("file"));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Write all figures."), QStringLiteral("file"));
    const QCommandLineOption chart(QStringLiteral("chart-data"), QStringLiteral("Write the data of the chart."),
                                   QStringLiteral("file"));
    const QCommandLineOption command(QStringLiteral("command"), QStringLiteral("What to call this run in the table."),
                                     QStringLiteral("text"), QStringLiteral("correction-bench"));
    parser.addOptions({quick, rounds, table, json, chart, command});
    parser.addPositionalArgument(QStringLiteral("filter"), QStringLiteral("Only cases whose names match this expression."));
    parser.process(application);

    Bench::Effort effort = parser.isSet(quick) ? Bench::Effort{3, 0.005} : Bench::Effort{11, 0.03};
    if (parser.isSet(rounds))
        effort.rounds = qMax(1, parser.value(rounds).toInt());
    const QRegularExpression filter(parser.positionalArguments().join(QLatin1Char(' ')),
                                    QRegularExpression::CaseInsensitiveOption);
    if (!filter.isValid())
        qFatal("no regular expression: %s", qPrintable(filter.pattern()));

    std::printf("%s\n", qPrintable(Bench::headingOfLines()));
    QVector<Bench::Result> results;
    const QVector<Bench::Case> cases = Bench::allCases();
    for (const Bench::Case &ofCase : cases) {
        if (!filter.match(ofCase.name).hasMatch() || (parser.isSet(quick) && !Bench::isAsked(ofCase)))
            continue;
        Bench::Result result{ofCase, Bench::Figures()};
        if (ofCase.memory <= Bench::freeMemory())
            result.figures = Bench::measure(ofCase, effort);
        results.append(result);
        std::printf("%s\n", qPrintable(Bench::lineOf(result)));
        std::fflush(stdout);
    }
    if (results.isEmpty())
        qFatal("no case matches %s", qPrintable(filter.pattern()));
    save(parser.value(table), Bench::markdown(results, parser.value(command)).toUtf8());
    save(parser.value(json), Bench::json(results, parser.value(command)));
    save(parser.value(chart), Bench::chartData(results).toUtf8());
    return 0;
}

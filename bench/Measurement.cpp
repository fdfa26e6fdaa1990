#include "Measurement.h"

#include "Allocations.h"

#include <benchmark/benchmark.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <algorithm>
#include <cstdio>
#include <malloc.h>
#include <time.h>

namespace Bench {
namespace {

struct Way {
    const char *name;
    Prepare Case::*prepare;
    QVector<double> Figures::*figures;
};

constexpr Way ways[] = {{"library", &Case::library, &Figures::library},
                        {"obvious", &Case::obvious, &Figures::obvious},
                        {"limit", &Case::limit, &Figures::limit}};

/// The ways that a case has; every other round takes them backwards.
QVector<Way> waysOf(const Case &ofCase, int round)
{
    QVector<Way> found;
    for (const Way &way : ways) {
        if (ofCase.*way.prepare)
            found.append(way);
    }
    if (round % 2 != 0)
        std::reverse(found.begin(), found.end());
    return found;
}

/// A number of kilobytes from a file of /proc, in bytes; 0 without it.
double kilobytesOf(const char *fileName, const QByteArray &label)
{
    QFile file(QString::fromLatin1(fileName));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(label + ':'))
            return line.mid(label.size() + 1).trimmed().split(' ').constFirst().toDouble() * 1024;
    }
    return 0;
}

constexpr const char *ownStatus = "/proc/self/status";

/// What this process has used of the processors, the system's work for it included.
double processorSeconds()
{
    timespec used;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return double(used.tv_sec) + double(used.tv_nsec) * 1e-9;
}

double processorSecondsOf(const Pass &pass)
{
    const double before = processorSeconds();
    pass();
    return processorSeconds() - before;
}

/// From the first large block that it gets back, malloc takes such blocks from its heap. Every host gets there soon, so that
/// all ways begin there.
void returnLargeBlock()
{
    const QByteArray block(16 << 20, Qt::Uninitialized);
}

double peakMemoryOf(const Pass &pass)
{
    QFile references(QStringLiteral("/proc/self/clear_refs"));
    if (references.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        references.write("5"); // the peak is reset; where this is not allowed it includes the preparation's
    const double before = kilobytesOf(ownStatus, "VmRSS");
    pass();
    return kilobytesOf(ownStatus, "VmHWM") - before;
}

double cpuShareOf(const Pass &pass)
{
    QElapsedTimer timer;
    timer.start();
    const double used = processorSecondsOf(pass);
    return used / (double(timer.nsecsElapsed()) * 1e-9);
}

double allocationsOf(const Pass &pass)
{
    pass(); // whatever is made once
    const qint64 before = allocationCount();
    pass();
    return double(allocationCount() - before);
}

double figureOf(Measure measure, const Pass &pass)
{
    switch (measure) {
    case Measure::Warm:
    case Measure::Elapsed:
        break; // many passes, by the benchmark library
    case Measure::Fresh:
        returnLargeBlock();
        return processorSecondsOf(pass);
    case Measure::PeakMemory:
        return peakMemoryOf(pass);
    case Measure::CpuShare:
        return cpuShareOf(pass);
    case Measure::Allocations:
        return allocationsOf(pass);
    }
    qFatal("no measure of one pass");
}

/// Takes the seconds of a pass from the benchmark library.
class Collector : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs)
            seconds = (elapsed ? run.real_accumulated_time : run.cpu_accumulated_time) / double(run.iterations);
    }

    bool elapsed = false;
    double seconds = 0;
};

void print(const char *way, double figure)
{
    std::printf("%s %.9g\n", way, figure);
}

bool isRepeated(const Case &ofCase)
{
    return ofCase.measure == Measure::Warm || ofCase.measure == Measure::Elapsed;
}

/// All rounds of a case of many passes in this process.
void runRepeated(const Case &ofCase, const Effort &effort)
{
    // What "warm" means: memory once taken stays with the process, whatever its size.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);

    for (const Way &way : waysOf(ofCase, 0)) {
        const Pass pass = (ofCase.*way.prepare)();
        pass();
        const auto loop = [pass](benchmark::State &state) {
            for (auto _ : state)
                pass();
        };
        benchmark::internal::Benchmark *const registered = benchmark::RegisterBenchmark(way.name, loop);
        registered->MinTime(effort.seconds)->MeasureProcessCPUTime();
        if (ofCase.measure == Measure::Elapsed)
            registered->UseRealTime();
    }
    for (int round = 0; round < effort.rounds; ++round) {
        for (const Way &way : waysOf(ofCase, round)) {
            Collector collector;
            collector.elapsed = ofCase.measure == Measure::Elapsed;
            benchmark::RunSpecifiedBenchmarks(&collector, std::string("^") + way.name + "/");
            print(way.name, collector.seconds);
        }
    }
}

const Case &caseOf(const QVector<Case> &cases, const QString &name)
{
    for (const Case &candidate : cases) {
        if (candidate.name == name)
            return candidate;
    }
    qFatal("no case \"%s\"", qPrintable(name));
}

const QString childOption = QStringLiteral("--child");

/// Adds what a child prints: lines of a way's name and its figure.
void runProcess(const QStringList &arguments, Figures &figures)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("QT_LOGGING_RULES")); // the log's cost is part of the measurement
    environment.insert(QStringLiteral("QT_HASH_SEED"), QStringLiteral("0"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), QStringList(childOption) + arguments);
    process.waitForFinished(-1);
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        qFatal("measuring fails: %s", qPrintable(arguments.join(QLatin1Char(' '))));
    const QList<QByteArray> lines = process.readAllStandardOutput().split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> words = line.split(' ');
        for (const Way &way : ways) {
            if (words.constFirst() == way.name)
                (figures.*way.figures).append(words.value(1).toDouble());
        }
    }
}

} // namespace

Figures measure(const Case &ofCase, const Effort &effort)
{
    Figures figures;
    if (isRepeated(ofCase)) {
        runProcess({ofCase.name, QString::number(effort.rounds), QString::number(effort.seconds)}, figures);
        return figures;
    }
    for (int round = 0; round < effort.rounds; ++round) {
        for (const Way &way : waysOf(ofCase, round))
            runProcess({ofCase.name, QLatin1String(way.name)}, figures);
    }
    return figures;
}

bool workAsChild(const QStringList &arguments)
{
    if (arguments.value(1) != childOption)
        return false;
    const QVector<Case> cases = allCases();
    const Case &ofCase = caseOf(cases, arguments.value(2));
    if (isRepeated(ofCase)) {
        runRepeated(ofCase, Effort{arguments.value(3).toInt(), arguments.value(4).toDouble()});
        return true;
    }
    for (const Way &way : ways) {
        if (arguments.value(3) == QLatin1String(way.name))
            print(way.name, figureOf(ofCase.measure, (ofCase.*way.prepare)()));
    }
    return true;
}

double freeMemory()
{
    return kilobytesOf("/proc/meminfo", "MemAvailable");
}

} // namespace Bench

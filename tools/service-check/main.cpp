// Checks a device service against the operation table: for authors of a backend, or of the service's classes.

#include "Check.h"
#include "Service.h"

#include <CLI/CLI.hpp>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTextCodec>

#include <cstdio>
#include <string>

using namespace ServiceCheck;

namespace {

enum Exit { ExitGood = 0, ExitFindings = 1, ExitUsage = 64, ExitNoDevice = 69 };

void print(std::FILE *stream, const QString &line)
{
    std::fputs(qUtf8Printable(line + QLatin1Char('\n')), stream);
    std::fflush(stream);
}

} // namespace

int main(int argc, char **argv)
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QCoreApplication application(argc, argv);
    // The findings contain the library's warnings in more detail.
    QLoggingCategory::setFilterRules(QStringLiteral("correction.adapter.warning=false"));

    Options options;
    std::string wall = "demo";
    std::string backend;
    std::string device;
    bool asJson = false;
    CLI::App app("Calls every operation of a device service, and reports what a host makes of the replies.\n"
                 "Exit code: 0 all good, 1 findings, 64 wrong command line, 69 no device.",
                 "service-check");
    if (Service::hasChoice()) {
        CLI::Option *const wallOption =
            app.add_option("--wall", wall, "Preset, wall file or wall directory (default: demo)");
        app.add_option("--backend", backend, "FILE[:CONFIGURATION]: a backend that is a Qt plug-in")->excludes(wallOption);
    }
    CLI::Option *const deviceOption = app.add_option("--device", device, "Check only the device of this key");
    CLI::Option *const writeOption =
        app.add_flag("--write", options.write, "Also lock devices and change what can be read and put back");
    app.add_flag("--unrestored", options.unrestored,
                 "Also change what cannot be put back: saved and factory coefficients, settings and the test image of the "
                 "device are LOST")
        ->needs(writeOption)
        ->needs(deviceOption);
    app.add_flag("--all-cabinets", options.allCabinets, "Read from every cabinet, not only from the first of each device");
    app.add_option("--search", options.search, "Milliseconds that devices may take to be found (default: 5000)")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--timeout", options.timeout, "Milliseconds that a promise may take to settle (default: 30000)")
        ->check(CLI::NonNegativeNumber);
    app.add_flag("--json", asJson, "Print one document instead of lines");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        print(stdout, QString::fromStdString(app.help()).trimmed());
        return ExitGood;
    } catch (const CLI::ParseError &error) {
        print(stderr, QStringLiteral("service-check: %1").arg(QString::fromStdString(error.what())));
        return ExitUsage;
    }
    options.device = QString::fromStdString(device);

    Report report([asJson](const Line &line) {
        if (!asJson)
            print(stdout, line.toString());
    });
    QString none = backend.empty() ? Service::open(QString::fromStdString(wall))
                                   : Service::openBackend(QString::fromStdString(backend));
    if (none.isEmpty())
        none = Check(options, report).run();
    if (!none.isEmpty())
        print(stderr, QStringLiteral("service-check: %1").arg(none.trimmed()));
    const int exit = !none.isEmpty() ? ExitNoDevice : report.count(Line::Bad) > 0 ? ExitFindings : ExitGood;
    print(stdout,
          asJson ? QString::fromUtf8(report.document(Service::name(), options.write, options.unrestored, exit)).trimmed()
                 : report.summary());
    Service::close();
    return exit;
}

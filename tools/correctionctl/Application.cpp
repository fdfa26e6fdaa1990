#include "Application.h"

#include "commandline/Configuration.h"
#include "session/Service.h"
#include "session/Session.h"
#include "terminal/Interrupt.h"
#include "terminal/Output.h"

#include <QtCore/QJsonArray>
#include <QtCore/QSet>

#include <algorithm>
#include <memory>
#include <new>

namespace Ctl {

namespace {

/// A verb that wraps another command line becomes that one, with its file as an option.
Invocation unwrap(Invocation invocation, QString &verb)
{
    if (!invocation.verb || !invocation.verb->wrapsCommand)
        return invocation;
    if (invocation.rest.isEmpty())
        throw Failure(ExitUsage, QStringLiteral("which verb? See `correctionctl %1 --help`").arg(verb));
    const QString option = QStringLiteral("--") + QLatin1String(invocation.verb->name);
    Invocation inner = parseCommandLine(invocation.rest, verb);
    if (inner.verb && inner.verb->wrapsCommand)
        throw Failure(ExitUsage,
                      QStringLiteral("only one of %1 and %2 at a time").arg(QLatin1String(invocation.verb->name), verb));
    // Global options may precede the wrapping verb as well.
    for (const Parameter &global : globalOptions()) {
        if (invocation.arguments.has(global.name) && !inner.arguments.has(global.name))
            inner.arguments.set(global.key(), invocation.arguments.texts(global.name));
    }
    inner.arguments.set(option, {invocation.arguments.text("FILE")});
    return inner;
}

/// The wall that CORRECTION_WALL names, where the command line chooses nothing to work on.
Invocation withWall(Invocation invocation)
{
    const QString wall = qEnvironmentVariable("CORRECTION_WALL");
    const auto has = [&invocation](const char *option) { return invocation.arguments.has(option); };
    if (!wall.isEmpty() && Service::hasWall() && !has("--wall") && !has("--backend") && !has("--replay"))
        invocation.arguments.set(QStringLiteral("--wall"), {wall});
    return invocation;
}

/// With a backend there is no virtual wall to choose, to show or to replay a recording.
void refuseBesideBackend(const Invocation &invocation)
{
    if (!invocation.arguments.has("--backend"))
        return;
    for (const char *other : {"--wall", "--replay"}) {
        if (invocation.arguments.has(other))
            throw Failure(ExitUsage, QStringLiteral("--backend and %1 exclude each other").arg(QLatin1String(other)));
    }
    if (invocation.verb->words().first() == QLatin1String("wall"))
        throw Failure(ExitUsage, QStringLiteral("it needs the virtual wall, and --backend takes its place"));
}

QString withResult(int exit, const QString &message)
{
    if (exit == ExitSuccess || exit > ExitLargestResult)
        return message;
    return QStringLiteral("%1: %2 (%3)").arg(message, resultName(exit), QString::number(exit));
}

/// The code's hint, or one that suits the verb better.
QString nextStep(const ExitCode &code, const Invocation &invocation)
{
    const QLatin1String verb(invocation.verb ? invocation.verb->name : "");
    const auto offers = [&invocation](const char *option) {
        const QVector<Parameter> parameters = invocation.verb ? invocation.verb->parameters : QVector<Parameter>();
        return std::any_of(parameters.cbegin(), parameters.cend(),
                           [option](const Parameter &parameter) { return parameter.key() == QLatin1String(option); });
    };
    switch (code.number) {
    case Correction::enTimeout:
        if (verb == QLatin1String("doctor"))
            return QStringLiteral("Check power and network of the named device and whether another program locks it.");
        break;
    case Correction::enNoDevice:
        if (invocation.arguments.has("--backend"))
            return QStringLiteral("Check the network, and the configuration of the backend.");
        break;
    case Correction::enNotSupported:
        if (verb == QLatin1String("apply") || verb == QLatin1String("cabinet apply"))
            return QStringLiteral("Only low-gray coefficients can be applied.");
        break;
    case ExitDifferent:
        if (invocation.arguments.has("--replay"))
            return QStringLiteral("Compare both sides above; record the conversation again if the difference is wanted.");
        if (verb == QLatin1String("verify"))
            return QStringLiteral("`restore` writes the snapshot back.");
        if (verb == QLatin1String("restore"))
            return QStringLiteral("Run it again; if the same cabinet differs again, run `doctor`.");
        break;
    case ExitIncomplete:
        if (!offers("--device"))
            return QStringLiteral("Check power and network of the devices that are missing or refused.");
        break;
    default:
        break;
    }
    return QLatin1String(code.next);
}

void tell(int exit, const QString &message, const Invocation &invocation)
{
    const QStringList problems = exit == ExitNoWall ? message.split(QLatin1Char('\n')) : QStringList{message};
    Output::error(problems.first());
    for (const QString &problem : problems.mid(1))
        Output::note(QStringLiteral("  ") + problem.trimmed());
    const QString cause = exit <= ExitLargestResult || exit == ExitIncomplete ? LibraryLog::firstCritical() : QString();
    if (!cause.isEmpty())
        Output::note(QStringLiteral("  the library logged: %1").arg(cause));
    const QVector<Service::Outcome> outcomes = Service::outcomes();
    const bool saysWhy = std::any_of(outcomes.cbegin(), outcomes.cend(), [&message](const Service::Outcome &outcome) {
        return !outcome.reason.isEmpty() && message.contains(outcome.reason);
    });
    const bool isIncomplete = std::any_of(outcomes.cbegin(), outcomes.cend(), [&message](const Service::Outcome &outcome) {
        return !outcome.damage.isNull() && message.contains(outcome.damage);
    });
    if (saysWhy)
        Output::note(QStringLiteral("  The device gave the reason that is in brackets. Remove it, then try again."));
    else if (isIncomplete)
        Output::note(QStringLiteral("  Try again; if the reply stays incomplete, `record` keeps what the device sends."));
    else if (const ExitCode *code = explain(exit))
        Output::note(QStringLiteral("  %1 %2")
                         .arg(QLatin1String(exit <= ExitLargestResult ? code->meaning : ""), nextStep(*code, invocation))
                         .replace(QStringLiteral("   "), QStringLiteral("  ")));
}

/// For a success whose output was not written. Returns the exit code.
int tellUnwritten(const Invocation &invocation)
{
    if (!Output::readerGone())
        tell(ExitCannotWrite, QStringLiteral("standard output does not take what is written"), invocation);
    return ExitCannotWrite;
}

/// The outcome of the requests of a failed verb: lines for people, and "requests" in the "data" of the JSON document.
QStringList reportRequests(Output &output)
{
    QStringList lines;
    QJsonArray requests;
    for (const Service::Outcome &outcome : Service::outcomes()) {
        if (!outcome.changes)
            continue;
        requests.append(QJsonObject{{QStringLiteral("device"), outcome.device},
                                    {QStringLiteral("operation"), outcome.operation},
                                    {QStringLiteral("done"), outcome.done},
                                    {QStringLiteral("refused"), outcome.refused},
                                    {QStringLiteral("reason"), outcome.reason}});
        lines.append(
            QStringLiteral("  device %1: %2: %3 carried out, %4 refused")
                .arg(outcome.device, outcome.operation, QString::number(outcome.done), QString::number(outcome.refused)));
    }
    if (!requests.isEmpty())
        output.data({{QStringLiteral("requests"), requests}});
    constexpr int shown = 16;
    if (lines.size() > shown)
        lines = lines.mid(0, shown) << QStringLiteral("  and %1 more").arg(lines.size() - shown);
    return lines;
}

/// The requests that a dry run did not send.
void reportHeldBack(Session &session)
{
    QJsonArray requests;
    qint64 bytes = 0;
    QSet<QString> devices;
    QSet<QString> cabinets;
    for (const Service::Exchange &exchange : Service::heldBack()) {
        bytes += exchange.bytes;
        devices.insert(exchange.device);
        for (const QString &id : exchange.cabinets)
            cabinets.insert(id);
        session.out().line(QStringLiteral("would send to %1: %2").arg(exchange.device, exchange.request));
        requests.append(QJsonObject{{QStringLiteral("device"), exchange.device},
                                    {QStringLiteral("operation"), exchange.operation},
                                    {QStringLiteral("request"), exchange.request}});
    }
    session.out().line(QStringLiteral("dry run: %1, %2 of data, for %3 and %4; nothing sent")
                           .arg(counted(requests.size(), "request"), bytesText(double(bytes)),
                                counted(devices.size(), "device"), counted(cabinets.size(), "cabinet")));
    session.out().beside(QStringLiteral("dryRun"), requests);
    session.out().beside(QStringLiteral("dryRunTotal"), QJsonObject{{QStringLiteral("requests"), requests.size()},
                                                                    {QStringLiteral("bytes"), bytes},
                                                                    {QStringLiteral("devices"), devices.size()},
                                                                    {QStringLiteral("cabinets"), cabinets.size()}});
}

/// Runs the verb against a recording. A difference from the recording is the result then: the verb's own result is based on
/// wrong replies.
void runAgainstRecording(Session &session)
{
    std::unique_ptr<Failure> failure;
    try {
        session.verb().run(session);
    } catch (const Failure &thrown) {
        failure = std::make_unique<Failure>(thrown);
    }
    const Service::Replayed replayed = Service::replayed();
    session.out().beside(QStringLiteral("replay"), QJsonObject{{QStringLiteral("answered"), replayed.answered},
                                                               {QStringLiteral("remaining"), replayed.remaining},
                                                               {QStringLiteral("difference"), replayed.difference}});
    if (!replayed.difference.isEmpty())
        throw Failure(ExitDifferent,
                      QStringLiteral("the conversation differs from the recording: %1").arg(replayed.difference));
    if (failure)
        throw Failure(*failure);
    session.out().line(QStringLiteral("replayed: %1 answered, %2 of the recording left")
                           .arg(counted(replayed.answered, "call"), QString::number(replayed.remaining)));
}

/// Each run of this program is a restart of a virtual wall.
void tellWhatIsForgotten(Session &session)
{
    const QVector<Service::Outcome> outcomes = Service::outcomes();
    const bool changed = std::any_of(outcomes.cbegin(), outcomes.cend(),
                                     [](const Service::Outcome &outcome) { return outcome.changes && outcome.done > 0; });
    const Verb &verb = session.verb();
    if (!changed || !verb.writes || !Service::isWall())
        return;
    const bool canSave = std::any_of(verb.parameters.cbegin(), verb.parameters.cend(),
                                     [](const Parameter &parameter) { return parameter.key() == QLatin1String("--save"); });
    const bool isKept = Service::keepsWhatIsSaved() && (!verb.transient || session.arguments().has("--save"));
    session.out().beside(QStringLiteral("kept"), isKept);
    if (!Service::keepsWhatIsSaved())
        session.out().line(QStringLiteral("not kept: the virtual wall %1 forgets everything when this program ends; `wall "
                                          "create` makes a wall that keeps what is saved")
                               .arg(session.arguments().text("--wall", QStringLiteral("demo"))));
    else if (!isKept)
        session.out().line(QStringLiteral("not kept: the virtual wall forgets it when this program ends%1")
                               .arg(QLatin1String(canSave ? "; --save keeps it" : "")));
}

void run(Session &session)
{
    if (session.arguments().has("--replay")) {
        runAgainstRecording(session);
        return;
    }
    session.verb().run(session);
    if (session.dryRun())
        reportHeldBack(session);
    else
        tellWhatIsForgotten(session);
}

} // namespace

int runProgram(const QStringList &arguments)
{
    Interrupt::install();
    LibraryLog::install(arguments.contains(QStringLiteral("--verbose")) || arguments.contains(QStringLiteral("-v")));
    // When the parser refuses a command line, it does not report whether --json was given.
    Output output(arguments.contains(QStringLiteral("--json")),
                  arguments.contains(QStringLiteral("--quiet")) || arguments.contains(QStringLiteral("-q")));
    int exit = ExitSuccess;
    QString message;
    QString verb;
    Invocation invocation;
    try {
        invocation = withWall(unwrap(parseCommandLine(arguments, verb), verb));
        if (!invocation.verb) {
            output.raw(invocation.help.toUtf8());
            Output plain(false, false);
            const bool complete = plain.finish(QString(), ExitSuccess, QString());
            return complete ? ExitSuccess : tellUnwritten(invocation);
        }
        addConfiguration(invocation);
        output.setQuiet(invocation.arguments.has("--quiet"));
        LibraryLog::install(invocation.arguments.has("--verbose"));
        refuseBesideBackend(invocation);
        output.setDryRun(invocation.arguments.has("--dry-run"));
        Session session(invocation, output);
        run(session);
    } catch (const Failure &failure) {
        exit = failure.exit();
        message = withResult(exit, verb.isEmpty() ? failure.text() : verb + QStringLiteral(": ") + failure.text());
    } catch (const std::bad_alloc &) {
        exit = ExitNoMemory;
        message = verb + QStringLiteral(": memory ran out");
    }
    const QStringList requests = exit == ExitSuccess ? QStringList() : reportRequests(output);
    try {
        Service::close();
    } catch (const Failure &failure) {
        if (exit == ExitSuccess) {
            exit = failure.exit();
            message = failure.text();
        }
    }
    LibraryLog::report(output);
    // Flushes the output that was printed before the error message.
    const bool complete = output.finish(verb, exit, message);
    if (!message.isEmpty())
        tell(exit, message, invocation);
    for (const QString &line : requests)
        Output::note(line);
    if (!complete && exit == ExitSuccess)
        exit = tellUnwritten(invocation);
    return exit;
}

} // namespace Ctl

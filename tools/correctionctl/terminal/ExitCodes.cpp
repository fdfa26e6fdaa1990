#include "ExitCodes.h"

#include "session/Service.h"

#include <QtCore/QStringList>

#include <algorithm>

namespace Ctl {

namespace {

QVector<ExitCode> knownExitCodes()
{
    return {
        {0, "enSuccess", "The operation completed.", "Go on."},
        {1, "enArgumentMismatch",
         "An argument does not suit its target: the kind of a grid, its place in a cabinet, an empty list, a pattern that "
         "does not come out even.",
         "Compare the argument with what `show` and `cabinet CID info` print."},
        {2, "enOutOfRange",
         "A rectangle outside the screen, a brightness outside its range, or a number of values that does not match a "
         "grid's size.",
         "Stay inside what `show` prints."},
        {3, "enInvalidParameter",
         "A needed object or datum is missing: a cabinet that is not registered, a device that does not answer about "
         "itself, "
         "an empty reply.",
         "Look at the tree for what is missing, then run `doctor`."},
        {4, "enFileError", "A cabinet's configuration file could not be opened, read or written.",
         "Check the path, its permissions and the free space."},
        {5, "enTimeout", "A device did not answer in time or refused.",
         "Check power and network of the named device and whether another program locks it, then try again; `doctor` shows "
         "which request fails."},
        {6, "enNoDevice", "Discovery found no device at all.",
         Service::hasWall() ? "Check the network, and which wall is meant by --wall."
                            : "Check the network, and the power of the devices."},
        {7, "enNotSupported", "A kind that the operation or the device does not support.", "See `features` and `support`."},
        {8, "enCabinetNotFound", "A screen places a cabinet that its device does not list.",
         "The device's configuration contradicts itself: load it again with the device's own software."},
        {ExitDifferent, "different", "What was compared differs.", "See what is printed; `diff --picture` draws where."},
        {ExitIncomplete, "incomplete",
         "A part of the screen is missing, or refused what other parts carried out: a device that does not answer, or fewer "
         "devices or cabinets than --expect names.",
         "Check power and network of the named device; --device chooses the parts that are there."},
        {ExitUsage, "usage", "The command line is wrong. No device was touched.", "See `correctionctl VERB --help`."},
        {ExitBadData, "bad data", "A file was read, but its content is damaged, foreign or does not fit.",
         "Create the file again, or use the one that belongs here."},
        {ExitNoInput, "no input", "A file cannot be opened or read.", "Check the path and its permissions."},
        {ExitAmbiguous, "ambiguous",
         "Several devices have a cabinet of the same id, so what is meant for one may reach the other.",
         "Give every cabinet of the wall an id of its own with the software of the devices; `doctor` finds what is left."},
        {ExitUnknown, "unknown", "No screen, device or cabinet has this id.", "See `screens`, `tree` and `cabinets`."},
        {ExitNoWall, "no wall", "The wall, or the device service, cannot be used.",
         "See the reason: an unknown preset, a bad wall file, a directory in use by another program, a file that is not a "
         "plug-in."},
        {ExitInternal, "internal", "A defect of this program.", "Please report it, with `doctor`."},
        {ExitNoMemory, "no memory", "Memory ran out.", "Take a smaller rectangle."},
        {ExitCannotWrite, "cannot write", "An output file or directory cannot be written; what was there before is whole.",
         "Check the path, its permissions and the free space."},
        {ExitInterrupted, "interrupted", "Ctrl-C, or closing the terminal, ended the work between two requests.",
         "See the message for what was carried out until then."},
    };
}

} // namespace

const QVector<ExitCode> &exitCodes()
{
    static const QVector<ExitCode> codes = [] {
        QVector<ExitCode> rows = knownExitCodes();
        const auto needsWall = [](const ExitCode &code) { return code.number == ExitNoWall && !Service::hasWall(); };
        rows.erase(std::remove_if(rows.begin(), rows.end(), needsWall), rows.end());
        return rows;
    }();
    return codes;
}

const ExitCode *explain(int exit)
{
    const auto &codes = exitCodes();
    const auto found =
        std::find_if(codes.cbegin(), codes.cend(), [exit](const ExitCode &code) { return code.number == exit; });
    return found == codes.cend() ? nullptr : &*found;
}

QString resultName(int code)
{
    if (const ExitCode *known = explain(code))
        return QLatin1String(known->name);
    if (code < 0 || code > ExitLargestResult)
        return QString::number(code);
    QStringList names;
    for (const int bit : {1, 2, 4, 8}) {
        if (code & bit)
            names.append(resultName(bit));
    }
    return names.join(QLatin1Char('|'));
}

Correction::EnumErrorCode queryResult(Correction::EnumErrorCode code)
{
    const QVector<Service::Outcome> refusals = Service::takeRefusals();
    const bool isDamaged = std::any_of(refusals.cbegin(), refusals.cend(),
                                       [](const Service::Outcome &outcome) { return !outcome.damage.isNull(); });
    return code == Correction::enSuccess && isDamaged ? Correction::enInvalidParameter : code;
}

void check(Correction::EnumErrorCode code, const QString &what)
{
    QStringList refusals;
    QStringList changing; // devices that refused to change something
    bool isRefused = false;
    for (const Service::Outcome &outcome : Service::takeRefusals()) {
        if (!outcome.damage.isNull())
            refusals.append(QStringLiteral("device %1 sent an incomplete reply to %2: %3")
                                .arg(outcome.device, outcome.operation, outcome.damage));
        if (outcome.refused == 0 || (code == Correction::enSuccess && !outcome.changes))
            continue;
        isRefused = true;
        refusals.append(QStringLiteral("device %1 refused %2%3")
                            .arg(outcome.device, outcome.operation,
                                 outcome.reason.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(outcome.reason)));
        if (outcome.changes)
            changing.append(outcome.device);
    }
    if (code == Correction::enSuccess && refusals.isEmpty())
        return;
    if (refusals.isEmpty())
        throw Failure(code, what);
    const QVector<Service::Outcome> outcomes = Service::outcomes();
    const bool partly =
        !changing.isEmpty() && std::any_of(outcomes.cbegin(), outcomes.cend(), [&changing](const Service::Outcome &outcome) {
            return outcome.changes && outcome.done > 0 && !changing.contains(outcome.device);
        });
    constexpr int shown = 8;
    if (refusals.size() > shown)
        refusals = refusals.mid(0, shown) << QStringLiteral("%1 more").arg(refusals.size() - shown);
    const int exit = code != Correction::enSuccess ? code
                     : isRefused                   ? Correction::enTimeout
                                                   : Correction::enInvalidParameter;
    throw Failure(partly ? ExitIncomplete : exit, what + QStringLiteral(": ") + refusals.join(QStringLiteral(", ")));
}

} // namespace Ctl

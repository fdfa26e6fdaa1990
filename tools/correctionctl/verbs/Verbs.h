#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace Ctl {

class Session;

/// The type of a parameter: used to check the command line and for the shells' completion.
enum class Value {
    None,     ///< A switch: present or not.
    Text,     ///< Any text.
    Number,   ///< A decimal number from `least` to `greatest`.
    OnOff,    ///< "on" or "off".
    Kind,     ///< "chroma", "lowgray" or "multilayer".
    Choice,   ///< One of `choices`.
    Rect,     ///< "X,Y,WxH" in screen pixels, or "all".
    Size,     ///< "WxH" in pixels.
    Color,    ///< "#RRGGBB" or a colour's name.
    Screen,   ///< A screen's id or name; several, joined by "+", act as one.
    Device,   ///< A device key.
    Cabinet,  ///< A cabinet id, a decimal number.
    Pair,     ///< "NAME=VALUE".
    Layer,    ///< "VALUE" or "VALUE:BITS".
    Counts,   ///< "devices=N,cabinets=N", either or both.
    File,     ///< A path of a file.
    Directory ///< A path of a directory.
};

/// A positional argument or, with a name that begins with two dashes, an option.
struct Parameter {
    const char *name; ///< "SCREEN", "--rect".
    Value value;
    const char *help;
    bool required = false; ///< False: optional.
    bool repeated = false; ///< Takes one or more values.
    qint64 least = 0;
    qint64 greatest = 0;
    const char *choices = ""; ///< Separated by "|". Of a switch: what may follow it, as in "--save=all".
    const char *metavar = ""; ///< The name of an option's value in the help; derived from `value` if empty.
    char letter = 0;          ///< The short form of an option.
    bool virtualOnly = false; ///< Refused by a program with a device service of its own.

    bool isOption() const { return name[0] == '-'; }
    QString key() const { return QLatin1String(name); }
    QStringList choiceList() const;
    /// "SCREEN", "[FILE]", "CID...", "[--rect X,Y,WxH]".
    QString usage() const;
    /// "--rect X,Y,WxH", "-q, --quiet".
    QString title() const;
};

/// A word that only groups verbs: its parameters are between it and the verb.
struct Family {
    const char *name; ///< "cabinet", "cabinet config".
    const char *help;
    QVector<Parameter> parameters;
    bool virtualOnly = false; ///< All of its verbs are.
};

/// A command of the program. This table is the single source of the parser, the help, the manual page, the shells'
/// completion and `verbs --json`.
struct Verb {
    const char *name; ///< Words separated by blanks: "screens", "cabinet config get".
    const char *help; ///< One line, without a full stop.
    QVector<Parameter> parameters;
    const char *example;
    const char *operations; ///< The library's operations behind it: "IScreen::lock ...".
    const char *shape;      ///< The definition in the JSON Schema that its "data" follows; "notification" for a verb that
                            ///< prints such documents instead; empty for one that answers as the verb that it wraps.
    bool writes;            ///< Sends requests that change a device: takes --dry-run.
    void (*run)(Session &session); ///< Throws a Failure, or prints its result and returns.
    bool wrapsCommand = false;     ///< Everything after its parameters is another command line.
    bool virtualOnly = false;      ///< Refused by a program with a device service of its own.
    bool wholeScreen = false;      ///< Refuses a screen of which a device is missing, unless options choose a part.
    bool transient = false;        ///< Its effect is lost when a device restarts, unless --save is given.

    QStringList words() const { return QString::fromLatin1(name).split(QLatin1Char(' ')); }
    /// "correctionctl cabinet CID config get FILE".
    QString usage() const;
    QStringList operationList() const;
    /// Whether --dry-run is offered.
    bool offersDryRun() const;
};

/// The rows of the table, in the order of the documents; each is defined beside what its verbs do.
QVector<Verb> screenVerbs();
QVector<Verb> transferVerbs();
QVector<Verb> diffVerbs();
QVector<Verb> snapshotVerbs();
QVector<Verb> settingVerbs();
QVector<Verb> patternVerbs();
QVector<Verb> measureVerbs();
QVector<Verb> calibrationVerbs();
QVector<Verb> cabinetVerbs();
QVector<Verb> groupVerbs();
QVector<Verb> wallVerbs(); ///< And those that record and replay.
QVector<Verb> doctorVerbs();
QVector<Verb> tableVerbs();

/// What this program offers. With a device service of its own this is a subset of what the command line understands: verbs
/// that need the virtual wall are refused by name.
const QVector<Verb> &verbs();
const QVector<Verb> &knownVerbs();
const QVector<Family> &families();
/// Options that every verb takes: those that this program offers, and all that the command line understands.
const QVector<Parameter> &globalOptions();
const QVector<Parameter> &knownGlobalOptions();
/// The option of the verbs that write.
const Parameter &dryRunOption();

/// Among all that the command line understands; null for an unknown one.
const Verb *verbOf(const QString &name);
const Family *familyOf(const QString &name);

} // namespace Ctl

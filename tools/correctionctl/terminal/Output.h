#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace Ctl {

/// Standard output and standard error. Text is UTF-8, whatever the locale.
///
/// With --json one document goes to standard output at the end and no other line. --quiet leaves out lines and tables.
/// Bold and colour are for terminals only, unless setColour() chooses otherwise, and never with NO_COLOR in the environment
/// (no-color.org).
class Output
{
public:
    enum class Colour { Auto, Always, Never };

    Output(bool json, bool quiet);

    bool json() const { return m_json; }
    bool quiet() const { return m_quiet; }
    void setQuiet(bool quiet) { m_quiet = quiet; }
    static void setColour(Colour colour);

    // Characters that control a terminal are escaped: texts come from devices.
    void line(const QString &text);
    /// Columns of numbers are aligned to the right.
    void table(const QStringList &head, const QVector<QStringList> &texts);
    /// Puts entries into the "data" of the JSON document; later ones replace earlier ones of the same name.
    /// In a dry run "done" begins with "dry run: " and "saved" is false, whatever a verb sets.
    void data(const QJsonObject &entries);
    void setDryRun(bool dryRun) { m_dryRun = dryRun; }
    /// Puts an entry beside "data" into the JSON document.
    void beside(const QString &name, const QJsonValue &value) { m_beside.insert(name, value); }
    /// A warning about the wall: a line on standard error, unless --quiet, and an entry of the
    /// "warnings" of the JSON document. `kind`: a word for programs.
    void warn(const QString &kind, const QString &text);
    /// A document of its own on one line: only with --json.
    void jsonLine(const QJsonObject &document);
    /// Standard output takes the bytes of a file: everything else goes to standard error from here on.
    static void keepForFile();
    /// Bytes as they are, independent of the options.
    void raw(const QByteArray &bytes);
    /// Flushes standard output. False when this or an earlier write to it failed.
    static bool flush();
    /// A line on standard error, after "correctionctl: ".
    static void error(const QString &text);
    /// A line on standard error as it is.
    static void note(const QString &text);

    /// Writes the JSON document if --json is given, and flushes. False when writing to standard output failed.
    bool finish(const QString &verb, int exit, const QString &message);

    /// Whether output failed because its reader has closed the pipe, as in `correctionctl verbs | head -1`.
    static bool readerGone();

    /// Whether standard output, or standard error, is a terminal that shows colour.
    static bool colourOnOutput();
    static bool colourOnError();
    static bool errorIsTerminal();

private:
    bool m_json;
    bool m_quiet;
    bool m_dryRun = false;
    bool m_wroteLines = false;
    QJsonObject m_data;
    QJsonObject m_beside;
    QJsonArray m_warnings;
};

/// The library's log lines: on standard error with --verbose, else kept for the message of a failure.
namespace LibraryLog {

/// Installs the message handler. Filter rules (QT_LOGGING_RULES and the like) are honoured: a line that is off is neither
/// shown nor kept.
void install(bool verbose);
/// Drops the kept lines, not the warnings for report().
void forget();
/// Passes the warnings since the last call to `output`, each once. The first of many, and the number of the others.
void report(Output &output);
/// The first critical line since forget(): the cause of a failure. Null if there was none, or if it was shown.
QString firstCritical();
/// Whether there was one, also where it was shown.
bool anyCritical();
/// All lines since forget(), "level: text".
QStringList lines();
/// The keys of the sub-screens that were not found since forget(). Discovery looks each up before it adds it.
QStringList subScreenKeys();

} // namespace LibraryLog

} // namespace Ctl

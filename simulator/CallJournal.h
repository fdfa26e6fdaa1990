#pragma once

#include <simulator/Call.h>
#include <simulator/SimulatorGlobal.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <mutex>

namespace Simulator {

class CallLog;

/// The calls that a wall served (docs/journal.md). See VirtualWall::journal().
class SIMULATOR_API CallJournal
{
public:
    /// How strings are written.
    enum Form {
        Full,   ///< Every string in full.
        Shorten ///< Strings of more than 64 characters are cut, their length added: for people.
    };

    /// All calls since the last clear() or VirtualWall::reset(), in the order in which they began.
    QList<Call> calls() const;
    /// Removes all calls.
    void clear();
    /// Keeps only the newest `limit` calls, for long-running hosts. Negative, the default, keeps all.
    void setLimit(int limit);
    /// The calls as lines, each exact and typed:
    /// `Correctionop::setScreenXBit("A", "255", {"mode": int 3, "xbitEnable": bool true})`. Replies are not part of a
    /// line.
    QStringList transcript(Form form = Full) const;
    /// The lines of the calls that have a note, each followed by " -- " and the note. Empty when no call has one.
    QStringList notes(Form form = Full) const;
    /// One call as a line of the transcript.
    static QString describe(const Call &call, Form form = Full);
    /// A value as a string: strings in double quotes (with the escapes of JSON), maps as {"key": value} in
    /// key order, variant lists as [value, value], an invalid variant as `invalid`, everything else with its type name:
    /// `int 3`, `QList<int> [1, 2]`, `QStringList ["a"]`, an enumeration by its type name and number.
    static QString describe(const QVariant &value, Form form = Full);

    /// The calls as a table for people: time, duration, device, target, operation, the beginnings of request and reply,
    /// note. One line a call, below one with the columns' names.
    QString readableTranscript() const;
    /// The calls as JSON Lines (docs/journal.md). An array ends at 2 GiB: more calls than that go to a file.
    QByteArray jsonLines() const;
    /// The same as a file, which is replaced as a whole or, on an error, left as it was.
    bool save(const QString &path, QString *error = nullptr) const;
    /// Writes the calls that begin from here on to a file, which must be new or empty: each when it returns, an upload when
    /// its promise settles. So lines are in the order of completion, numbers in the order in which calls began. A process
    /// that is killed leaves every line that was written; the last one may be incomplete.
    ///
    /// A null path, another file or VirtualWall::reset() ends a recording: uploads that are pending then are written as
    /// such. The journal's limit and clear() do not affect it.
    ///
    /// False when the new file cannot be written (then a running recording continues), or when lines of the recording
    /// that ends are missing, for instance because the disk was full; calls without a line have the note "not recorded".
    bool recordTo(const QString &path, QString *error = nullptr);
    /// The calls of a journal's file in the order of their numbers. When something is wrong, `error` names the file, the
    /// line, the place in it and the reason, and the calls are those of the lines before; else `error` is null.
    static QList<Call> read(const QString &path, QString *error = nullptr);

private:
    friend struct Wall;
    CallJournal(std::mutex &mutex, CallLog &log) : m_mutex(mutex), m_log(log) {}

    std::mutex &m_mutex; ///< The wall's, here and in the other parts.
    CallLog &m_log;
};

} // namespace Simulator

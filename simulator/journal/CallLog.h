#pragma once

#include <adapter/journal/Journal.h>
#include <simulator/Call.h>

#include <deque>
#include <map>
#include <memory>
#include <optional>

namespace Simulator {

/// See CallJournal::describe(); strings as describeValue() writes them.
QString describeCall(const Call &call, int longest);

/// The source in the headers of the wall's journals.
inline QString journalSource()
{
    return QStringLiteral("virtual wall");
}

void addNote(Call &call, const QString &text);

/// The calls of a wall: kept ones, ones in progress, and the file that they are written to. Not thread-safe.
class CallLog
{
public:
    /// Numbers and keeps a call. Returns the serial that identifies it until it ends.
    quint64 begin(Call call);
    /// The logged call; null once it has ended.
    Call *underway(quint64 serial);
    /// Adds a note to a call in progress.
    void note(quint64 serial, const QString &text);
    /// Ends a call: it has returned, or its promise has settled.
    void end(quint64 serial);
    /// The same with this result, at this time of the wall's clock in microseconds.
    void end(quint64 serial, const Adapter::Answer &answer, qint64 time, bool rejected = false);
    /// Ends a call without a result: an exception left the wall.
    void abandon(quint64 serial) noexcept { m_underway.erase(serial); }

    QList<Call> calls() const;
    void clear();
    void setLimit(int limit);

    /// See CallJournal::recordTo().
    bool recordTo(const QString &path, QString *error);
    /// Empties the log, restarts the numbers at 1 and ends the recording.
    void reset();

private:
    using Kept = std::shared_ptr<Call>;

    void dropOld();
    bool endRecording(QString *error);

    std::deque<Kept> m_calls;
    std::map<quint64, Kept> m_underway; ///< Also calls that are not kept any more.
    int m_limit = -1;                   ///< Negative: none.
    quint64 m_lastSerial = 0;
    quint64 m_resetAt = 0; ///< The last serial before the numbers began at 1.
    std::unique_ptr<Adapter::JournalFile> m_recording;
    quint64 m_recordedFrom = 0; ///< The first serial that the recording holds.
};

} // namespace Simulator

#pragma once

#include <adapter/journal/Journal.h>
#include <simulator/Call.h>

#include <deque>
#include <map>
#include <memory>
#include <optional>

namespace Simulator {

/// See CallJournal::describe(); texts as describeValue() has them.
QString describeCall(const Call &call, int longest);

/// Who writes the wall's journals.
inline QString journalSource()
{
    return QStringLiteral("virtual wall");
}

void addNote(Call &call, const QString &text);

/// The calls of a wall: those that are kept, those that are still underway, and the file that they are written to. Its
/// functions must not run at the same time.
class CallLog
{
public:
    /// Numbers and keeps a call. The serial that comes back names it until it ends.
    quint64 begin(Call call);
    /// The call as the log knows it; null once it has ended.
    Call *underway(quint64 serial);
    /// Adds a note to a call that is underway.
    void note(quint64 serial, const QString &text);
    /// The call has been answered, its promise settled: from here on it stays as it is.
    void end(quint64 serial);
    /// The same with this answer, at this time of the wall's clock.
    void end(quint64 serial, const Adapter::Answer &answer, qint64 time, bool rejected = false);
    /// The call has no answer and never will: an exception left the wall.
    void abandon(quint64 serial) noexcept { m_underway.erase(serial); }

    QList<Call> calls() const;
    void clear();
    void setLimit(int limit);

    /// See CallJournal::recordTo().
    bool recordTo(const QString &path, QString *error);
    /// Back to an empty log that counts from 1 and records nothing.
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

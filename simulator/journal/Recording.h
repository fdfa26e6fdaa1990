#pragma once

#include <simulator/Call.h>
#include <simulator/ReplayReport.h>

#include <QtCore/QList>
#include <QtCore/QString>

#include <optional>

namespace Simulator {

/// Compares a call's arguments with a recorded one: returns the first place where they differ, with both values, such as
/// `request[0].area.size.width: recorded int 64, got int 32`; null when they are equal.
QString firstDifference(const Call &recorded, const Call &call);

/// A recording during its replay. Calls are matched in the order in which they begin.
class Recording
{
public:
    explicit Recording(const QList<Call> &calls) : m_calls(calls) {}

    /// The recorded call whose result this one gets. Null, with the reason in `reason`, without one: the call then returns
    /// false.
    std::optional<Call> next(const Call &call, QString &reason);
    /// Whether an upload that ended at this moment had been settled when the next call of the recording began.
    bool isSettledBeforeNext(const Call &upload) const;
    /// Recorded microseconds from the beginning of a call to the beginning of the next one.
    qint64 untilNext(const Call &call) const;
    ReplayReport report() const;

private:
    QList<Call> m_calls;
    int m_answered = 0;
    QString m_difference;
};

} // namespace Simulator

#pragma once

#include <simulator/Call.h>
#include <simulator/ReplayReport.h>

#include <QtCore/QList>
#include <QtCore/QString>

#include <optional>

namespace Simulator {

/// What a call asks for, compared with a recorded one: the first place where they differ, with both sides, such as
/// `request[0].area.size.width: recorded int 64, got int 32`; null when they are the same.
QString firstDifference(const Call &recorded, const Call &call);

/// A recorded conversation that is being repeated. Calls are taken in the order in which they begin.
class Recording
{
public:
    explicit Recording(const QList<Call> &calls) : m_calls(calls) {}

    /// The recorded call that answers this one. Without one it is answered false; `reason` says why.
    std::optional<Call> next(const Call &call, QString &reason);
    /// Whether an upload that ended at this moment had been settled when the next call of the recording began.
    bool isSettledBeforeNext(const Call &upload) const;
    /// Microseconds of the recording from the beginning of a call to that of the next one to come.
    qint64 untilNext(const Call &call) const;
    ReplayReport report() const;

private:
    QList<Call> m_calls;
    int m_answered = 0;
    QString m_difference;
};

} // namespace Simulator

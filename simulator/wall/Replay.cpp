#include <simulator/Replay.h>

#include "Replayer.h"

namespace Simulator {

void Replay::start(const QList<Call> &calls)
{
    m_replayer.start(calls);
}

bool Replay::start(const QString &path, QString *error)
{
    QString problem;
    const QList<Call> calls = Adapter::readJournal(path, &problem);
    if (error)
        *error = problem;
    if (!problem.isNull())
        return false;
    start(calls);
    return true;
}

ReplayReport Replay::report() const
{
    return m_replayer.report();
}

void Replay::setPatience(int milliseconds)
{
    m_replayer.setPatience(milliseconds);
}

} // namespace Simulator

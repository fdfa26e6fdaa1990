#pragma once

#include "Report.h"
#include "ServiceCall.h"

namespace ServiceCheck {

using Adapter::Operation;

/// One call of an operation and the findings about its reply, compared with the operation table.
class Exchange
{
public:
    /// Calls the operation, with `true` for a refresh and ten seconds for an allowance, and checks the reply against the
    /// table.
    Exchange(Operation::Id operation, int timeout, const QString &device = {}, const QString &target = {},
             const QVariant &request = {});

    /// Whether a host reads the reply.
    bool isAnswered() const { return m_ending == Ending::Returned && m_call.result; }
    /// Whether there are no findings so far.
    bool isGood() const { return m_bad.isEmpty(); }
    const QVariant &reply() const { return m_call.reply; }
    const Adapter::Call &call() const { return m_call; }

    /// Adds a finding. Further ones with the same finding and group are counted. Without a consequence the finding's own.
    void bad(Finding finding, const QString &text, const QString &group = {}, const QString &consequence = {});
    /// Adds the findings to the report, or an OK line when there are none.
    void finish(Report &report, const QString &remark = {}) const;
    /// Adds the findings alone.
    void finishBad(Report &report) const;

private:
    void checkReply(bool isTooDeep);
    Line line() const;

    const Operation *m_operation;
    Adapter::Call m_call;
    Ending m_ending;
    QVector<Line> m_bad;
    QStringList m_groups; ///< Of m_bad.
};

} // namespace ServiceCheck

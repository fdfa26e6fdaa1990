#include <simulator/CallJournal.h>

#include "CallLog.h"

#include <adapter/json/Describe.h>

namespace Simulator {

namespace {

constexpr int longestShortText = 64;

int longest(CallJournal::Form form)
{
    return form == CallJournal::Shorten ? longestShortText : -1;
}

} // namespace

QList<Call> CallJournal::calls() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_log.calls();
}

void CallJournal::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_log.clear();
}

void CallJournal::setLimit(int limit)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_log.setLimit(limit);
}

QStringList CallJournal::transcript(Form form) const
{
    QStringList lines;
    const QList<Call> all = calls();
    for (const Call &call : all)
        lines += describe(call, form);
    return lines;
}

QStringList CallJournal::notes(Form form) const
{
    QStringList lines;
    const QList<Call> all = calls();
    for (const Call &call : all) {
        if (!call.note.isEmpty())
            lines += describe(call, form) + QStringLiteral(" -- ") + call.note;
    }
    return lines;
}

QString CallJournal::describe(const Call &call, Form form)
{
    return describeCall(call, longest(form));
}

QString CallJournal::describe(const QVariant &value, Form form)
{
    return Json::describeValue(value, longest(form));
}

QString CallJournal::readableTranscript() const
{
    return Adapter::readableTranscript(calls());
}

QByteArray CallJournal::jsonLines() const
{
    QByteArray lines = Adapter::journalHeader(journalSource());
    const QList<Call> all = calls();
    for (const Call &call : all)
        lines += Adapter::journalLine(call);
    return lines;
}

bool CallJournal::save(const QString &path, QString *error) const
{
    return Adapter::saveJournal(path, journalSource(), calls(), error);
}

bool CallJournal::recordTo(const QString &path, QString *error)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_log.recordTo(path, error);
}

QList<Call> CallJournal::read(const QString &path, QString *error)
{
    return Adapter::readJournal(path, error);
}

} // namespace Simulator

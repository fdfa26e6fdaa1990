#include "CallLog.h"

#include <adapter/json/Describe.h>
#include <values/Nesting.h>

#include <algorithm>
#include <utility>

namespace Simulator {

QString describeCall(const Call &call, int longest)
{
    QStringList arguments;
    for (const QString &text : {call.deviceKey, call.target}) {
        if (!text.isNull())
            arguments += Json::describeText(text, longest);
    }
    for (const QVariant &value : {call.request, call.extra}) {
        if (value.isValid())
            arguments += Json::describeValue(value, longest);
    }
    return call.operation + QLatin1Char('(') + arguments.join(QLatin1String(", ")) + QLatin1Char(')');
}

void addNote(Call &call, const QString &text)
{
    call.note += call.note.isEmpty() ? text : QStringLiteral("; ") + text;
}

quint64 CallLog::begin(Call call)
{
    const quint64 serial = ++m_lastSerial;
    call.number = static_cast<qint64>(serial - m_resetAt);
    const auto kept = std::make_shared<Call>(std::move(call));
    m_underway.emplace(serial, kept);
    m_calls.push_back(kept);
    dropOld();
    return serial;
}

Call *CallLog::underway(quint64 serial)
{
    const auto it = m_underway.find(serial);
    return it == m_underway.end() ? nullptr : it->second.get();
}

void CallLog::note(quint64 serial, const QString &text)
{
    if (Call *const call = underway(serial))
        addNote(*call, text);
}

void CallLog::end(quint64 serial, const Adapter::Answer &answer, qint64 time, bool rejected)
{
    if (Call *const call = underway(serial)) {
        call->result = answer.result;
        call->reply = answer.reply;
        if (Nesting::limit(call->reply))
            addNote(*call, Nesting::limitNote());
        call->headers = answer.headers;
        call->duration = std::max<qint64>(0, time - call->time); // setting up a wall resets its time to 0
        call->settled = true;
        call->rejected = rejected;
        end(serial);
    }
}

void CallLog::end(quint64 serial)
{
    const auto it = m_underway.find(serial);
    if (it == m_underway.end())
        return;
    Call &call = *it->second;
    if (m_recording && serial >= m_recordedFrom && !m_recording->append(call))
        addNote(call, QStringLiteral("not recorded"));
    m_underway.erase(it);
}

QList<Call> CallLog::calls() const
{
    QList<Call> calls;
    calls.reserve(static_cast<int>(m_calls.size()));
    for (const Kept &call : m_calls)
        calls += *call;
    return calls;
}

void CallLog::clear()
{
    m_calls.clear();
}

void CallLog::setLimit(int limit)
{
    m_limit = limit;
    dropOld();
}

void CallLog::dropOld()
{
    while (m_limit >= 0 && m_calls.size() > static_cast<std::size_t>(m_limit))
        m_calls.pop_front();
}

bool CallLog::recordTo(const QString &path, QString *error)
{
    std::unique_ptr<Adapter::JournalFile> recording;
    if (!path.isNull()) {
        recording = std::make_unique<Adapter::JournalFile>();
        if (!recording->open(path, journalSource(), error))
            return false;
    }
    const bool isWhole = endRecording(error);
    m_recording = std::move(recording);
    m_recordedFrom = m_lastSerial + 1;
    return isWhole;
}

bool CallLog::endRecording(QString *error)
{
    if (!m_recording)
        return true;
    for (const auto &entry : m_underway) {
        if (entry.first < m_recordedFrom)
            continue;
        Call call = *entry.second;
        call.result = false;
        call.settled = false;
        m_recording->append(call);
    }
    const QString problem = m_recording->error();
    m_recording.reset();
    if (error && !problem.isNull())
        *error = problem;
    return problem.isNull();
}

void CallLog::reset()
{
    endRecording(nullptr);
    m_calls.clear();
    m_underway.clear();
    m_limit = -1;
    m_resetAt = m_lastSerial;
}

} // namespace Simulator

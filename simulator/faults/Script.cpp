#include <simulator/Script.h>

#include "Rules.h"

#include <values/Nesting.h>

namespace Simulator {

namespace {

QVariant limited(QVariant reply)
{
    Nesting::limit(reply);
    return reply;
}

} // namespace

Script::Script(std::mutex &mutex, const QString &operation, const QString &deviceKey, const QString &target)
    : m_mutex(mutex), d(std::make_unique<ScriptData>())
{
    d->operation = operation;
    d->deviceKey = deviceKey;
    d->target = target;
}

Script::~Script() = default;

template <typename Change>
Script &Script::change(Change change)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    change(*d);
    return *this;
}

Script &Script::times(int count)
{
    return change([&](ScriptData &data) { data.limit = count; });
}

Script &Script::after(int count)
{
    return change([&](ScriptData &data) { data.skip = count; });
}

Script &Script::answerFalse()
{
    return answerFalseWith(QVariant());
}

Script &Script::answer(const QVariant &reply)
{
    return change([reply = limited(reply)](ScriptData &data) {
        data.action.type = Action::True;
        data.action.reply = reply;
    });
}

Script &Script::answerFalseWith(const QVariant &reply)
{
    return change([reply = limited(reply)](ScriptData &data) {
        data.action.type = Action::False;
        data.action.reply = reply;
    });
}

Script &Script::responseHeader(const QMap<QString, QString> &headers)
{
    return change([&](ScriptData &data) { data.action.headers = headers; });
}

Script &Script::settleLater()
{
    return change([](ScriptData &data) { data.action.type = Action::Later; });
}

Script &Script::resolveWith(bool value)
{
    return change([&](ScriptData &data) {
        data.action.type = Action::Resolve;
        data.action.value = value;
    });
}

Script &Script::reject()
{
    return rejectWith(rejection(QStringLiteral("the upload was rejected")));
}

Script &Script::rejectWith(std::exception_ptr error)
{
    return change([&](ScriptData &data) {
        data.action.type = Action::Reject;
        data.action.error = error;
    });
}

Script &Script::throwException(std::exception_ptr error)
{
    return change([&](ScriptData &data) {
        data.action.type = Action::Throw;
        data.action.error = error;
    });
}

Script &Script::run(std::function<void(const Call &)> hook)
{
    return change([&](ScriptData &data) { data.action.run.swap(hook); });
}

Script &Script::editReply(std::function<void(QVariant &)> hook)
{
    return change([&](ScriptData &data) { data.action.editReply.swap(hook); });
}

} // namespace Simulator

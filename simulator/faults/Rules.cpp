#include "Rules.h"

#include <stdexcept>
#include <utility>

namespace Simulator {

namespace {

bool fits(const QString &pattern, const QString &text)
{
    return pattern.isNull() || pattern == text;
}

/// Needs a promise.
bool isForPromises(Action::Type type)
{
    return type == Action::Later || type == Action::Reject || type == Action::Never;
}

} // namespace

std::exception_ptr rejection(const QString &reason)
{
    return std::make_exception_ptr(std::runtime_error(reason.toStdString()));
}

QMap<QString, QString> okHeaders()
{
    return {{QStringLiteral("Content-Type"), QStringLiteral("application/json")},
            {QStringLiteral("HttpResponse_StateCode"), QStringLiteral("200")}};
}

bool isUpload(const Call &call)
{
    return call.operation.startsWith(QLatin1String("Correctionop::upload"));
}

bool ScriptData::matches(const Call &call, bool promise)
{
    if (!fits(operation, call.operation) || !fits(deviceKey, call.deviceKey) || !fits(target, call.target))
        return false;
    if (calls == Promises && !promise)
        return false;
    if (calls == Uploads && !isUpload(call))
        return false;
    ++seen;
    return true;
}

Action actionOf(ScriptData *script, ScriptData *fault, std::optional<Action> chaos, bool promise)
{
    Action action;
    if (script) {
        ++script->served;
        action = script->action;
    }
    if (action.type == Action::Wall) {
        const Action scripted = std::move(action);
        action = Action();
        if (chaos) {
            action = std::move(*chaos);
        } else if (fault) {
            ++fault->served;
            action = fault->action;
        }
        action.run = scripted.run;
        action.editReply = scripted.editReply;
        if (scripted.headers)
            action.headers = scripted.headers;
    }
    if (!promise && isForPromises(action.type)) {
        action.type = Action::False;
        if (action.note.isEmpty())
            action.note = QStringLiteral("the script needs an operation with a promise");
    }
    return action;
}

qint64 charactersIn(const QVariant &value)
{
    qint64 count = 0;
    if (value.userType() == QMetaType::QString) {
        count = value.toString().size();
    } else if (value.userType() == QMetaType::QVariantList) {
        const QList<QVariant> list = value.toList();
        for (const QVariant &element : list)
            count += charactersIn(element);
    } else if (value.userType() == QMetaType::QVariantMap) {
        const QMap<QString, QVariant> map = value.toMap();
        for (const QVariant &element : map)
            count += charactersIn(element);
    }
    return count;
}

} // namespace Simulator

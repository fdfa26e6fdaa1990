#include "Rules.h"

#include "Spoil.h"

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

ScriptData ruleOf(const Fault &fault, const QString &who)
{
    ScriptData rule;
    rule.operation = fault.operation;
    rule.target = fault.target;
    rule.skip = fault.after;
    rule.limit = fault.times;
    Action &action = rule.action;
    QString what;
    switch (fault.type) {
    case Fault::NoAnswer:
        action.type = Action::False;
        what = QStringLiteral("no answer");
        break;
    case Fault::LateAnswer:
        action.milliseconds = qMax(0, fault.milliseconds);
        what = QStringLiteral("late answer");
        break;
    case Fault::RejectUpload:
        rule.calls = ScriptData::Uploads;
        action.type = Action::Reject;
        action.error = rejection(QStringLiteral("the device rejected the upload"));
        what = QStringLiteral("upload rejected");
        break;
    case Fault::NeverSettle:
        rule.calls = ScriptData::Promises;
        action.type = Action::Never;
        what = QStringLiteral("never settled");
        break;
    case Fault::TruncateReply:
        action.spoil = [](QVariant &reply, Random &) { return Spoil::truncate(reply); };
        what = QStringLiteral("truncated reply");
        break;
    case Fault::ShuffleReply:
        action.spoil = [](QVariant &reply, Random &random) { return Spoil::shuffle(reply, random); };
        what = QStringLiteral("shuffled reply");
        break;
    case Fault::MissingKey:
        action.spoil = [key = fault.key](QVariant &reply, Random &random) {
            return Spoil::removeEntries(reply, key, random);
        };
        what = QStringLiteral("missing key");
        break;
    case Fault::WrongType:
        action.spoil = [key = fault.key](QVariant &reply, Random &random) {
            return Spoil::retypeEntries(reply, key, random);
        };
        what = QStringLiteral("wrong type");
        break;
    case Fault::DirtyBase64:
        action.spoil = [](QVariant &reply, Random &) { return Spoil::dirtyTexts(reply); };
        what = QStringLiteral("dirty base64");
        break;
    case Fault::Status: {
        action.type = Action::False;
        QMap<QString, QString> headers = okHeaders();
        headers[QStringLiteral("HttpResponse_StateCode")] = fault.status;
        action.headers = headers;
        what = QStringLiteral("status ") + fault.status;
        break;
    }
    case Fault::Vanish:
        action.type = Action::Vanish;
        what = QStringLiteral("device vanished");
        break;
    case Fault::Restart:
        action.type = Action::Restart;
        what = QStringLiteral("device restarted");
        break;
    }
    action.note = who + QStringLiteral(": ") + what;
    return rule;
}

Action actionOf(ScriptData *script, ScriptData *fault, std::optional<Action> drawn, bool promise)
{
    Action action;
    if (script) {
        ++script->served;
        action = script->action;
    }
    if (action.type == Action::Wall) {
        const Action scripted = std::move(action);
        action = Action();
        if (drawn) {
            action = std::move(*drawn);
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

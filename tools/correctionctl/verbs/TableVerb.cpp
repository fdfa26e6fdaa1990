#include "Rows.h"
#include "files/Json.h"
#include "session/Session.h"

namespace Ctl {

namespace {
void verbTable(Session &session)
{
    QJsonArray list;
    QVector<QStringList> rows;
    for (const Verb &verb : verbs()) {
        list.append(QJsonObject{{QStringLiteral("name"), QLatin1String(verb.name)},
                                {QStringLiteral("help"), QLatin1String(verb.help)},
                                {QStringLiteral("usage"), verb.usage()},
                                {QStringLiteral("example"), QLatin1String(verb.example)},
                                {QStringLiteral("shape"), QLatin1String(verb.shape)},
                                {QStringLiteral("writes"), verb.writes},
                                {QStringLiteral("operations"), QJsonArray::fromStringList(verb.operationList())}});
        rows.append({QLatin1String(verb.name), QLatin1String(verb.help)});
    }
    session.out().data({{QStringLiteral("verbs"), list}});
    session.out().table({QStringLiteral("VERB"), QStringLiteral("WHAT IT DOES")}, rows);
}

} // namespace

QVector<Verb> tableVerbs()
{
    return {
        reads("verbs", "List the verbs, and which of the library's operations they reach", {}, "correctionctl verbs --json",
              "verbs", verbTable, ""),
    };
}

} // namespace Ctl

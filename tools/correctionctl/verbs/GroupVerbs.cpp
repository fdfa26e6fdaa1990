#include "Rows.h"
#include "files/Json.h"
#include "session/Session.h"

#include <Correction/CabinetsPtr.h>

#include <new>

using namespace Correction;

namespace Ctl {
namespace {

/// The cabinets that CID... names.
CabinetsPtr groupOf(Session &session)
{
    QStringList ids = session.arguments().texts("CID");
    for (const QString &id : qAsConst(ids))
        session.cabinet(id); // names the first unknown one
    if (ids.removeDuplicates() > 0)
        throw Failure(ExitUsage, QStringLiteral("a cabinet is named twice"));
    CabinetsPtr group(CabinetManager::getInstance()->tryGetCabinets(ids));
    if (!group)
        throw Failure(enInvalidParameter, QStringLiteral("making a group of cabinets"));
    return group;
}

/// `sent`: not for operations of the library that do nothing so far.
void report(Session &session, EnumErrorCode code, const QString &doing, bool sent = true)
{
    const QString ids = session.arguments().texts("CID").join(QLatin1Char(' '));
    check(code, QStringLiteral("cabinets %1: %2").arg(ids, doing));
    session.out().data({{QStringLiteral("target"), ids}, {QStringLiteral("done"), doing}});
    if (!session.dryRun())
        session.out().line(QStringLiteral("cabinets %1: %2%3")
                               .arg(ids, doing, QLatin1String(sent ? "" : ": the library sends nothing for this so far")));
}

/// An operation for each of the stores user, factory and module.
using Operation = EnumErrorCode (ICabinets::*)();
void onStore(Session &session, Operation user, Operation factory, Operation module, const char *doing)
{
    const CabinetsPtr group = groupOf(session);
    const QString store = session.arguments().text("STORE");
    const Operation operation = store == QLatin1String("user") ? user : store == QLatin1String("factory") ? factory : module;
    report(session, (*group.*operation)(), QStringLiteral("%1 %2 coefficients").arg(QLatin1String(doing), store));
}

void groupSave(Session &session)
{
    onStore(session, &ICabinets::saveUserCoefficient, &ICabinets::saveFactoryCoefficient, &ICabinets::saveModuleCoefficient,
            "save");
}

void groupShow(Session &session)
{
    onStore(session, &ICabinets::showUserCoefficient, &ICabinets::showFactoryCoefficient, &ICabinets::showModuleCoefficient,
            "show");
}

void groupClear(Session &session)
{
    const CabinetsPtr group = groupOf(session);
    report(session, group->clearUserCoefficient(), QStringLiteral("clear user coefficients"));
}

void groupAverage(Session &session)
{
    const CabinetsPtr group = groupOf(session);
    // A list of an abstract class can be made, but its destructor cannot be: an empty one owns nothing.
    alignas(QList<ICabinetCoefficient>) unsigned char storage[sizeof(QList<ICabinetCoefficient>)];
    auto &averages = *new (storage) QList<ICabinetCoefficient>;
    const bool get = session.arguments().text("DIRECTION") == QLatin1String("get");
    const EnumErrorCode code = get ? group->getAvgCoeffcient(averages) : group->setAvgCoefficient(averages);
    report(session, code,
           QStringLiteral("%1 averaged coefficients (%2)")
               .arg(session.arguments().text("DIRECTION"), counted(averages.size(), "average")),
           false);
}

void groupSolid(Session &session)
{
    const CabinetsPtr group = groupOf(session);
    report(session, group->setMutiCabinetSolid(), QStringLiteral("fix coefficients"), false);
}

} // namespace

QVector<Verb> groupVerbs()
{
    return {
        writes("group save", "Save what the cabinets show",
               {choice(argument("STORE", Value::Choice, "where to"), "user|factory|module")},
               "correctionctl group 1 2 3 save user", "done", groupSave,
               "CabinetManager::tryGetCabinets ICabinets::saveUserCoefficient ICabinets::saveFactoryCoefficient "
               "ICabinets::saveModuleCoefficient"),
        transient(
            writes("group show", "Make the cabinets show what they stored",
                   {choice(argument("STORE", Value::Choice, "where from"), "user|factory|module")},
                   "correctionctl group 1 2 3 show factory", "done", groupShow,
                   "ICabinets::showUserCoefficient ICabinets::showFactoryCoefficient ICabinets::showModuleCoefficient")),
        writes("group clear", "Clear the cabinets' user coefficients", {}, "correctionctl group 1 2 3 clear", "done",
               groupClear, "ICabinets::clearUserCoefficient"),
        writes("group average", "Exchange averaged coefficients (devices hold none so far)",
               {choice(argument("DIRECTION", Value::Choice, "get or put"), "get|put")},
               "correctionctl group 1 2 average get", "done", groupAverage,
               "ICabinets::getAvgCoeffcient ICabinets::setAvgCoefficient"),
        writes("group solid", "Fix the cabinets' coefficients (devices do nothing so far)", {},
               "correctionctl group 1 2 solid", "done", groupSolid, "ICabinets::setMutiCabinetSolid"),
    };
}

} // namespace Ctl

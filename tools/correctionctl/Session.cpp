#include "Session.h"

#include "Service.h"

#include <algorithm>

using namespace Correction;

namespace Ctl {

Session::Session(const Invocation &invocation, Output &output) : m_invocation(invocation), m_output(output) {}

Session::~Session() = default;

void Session::openService()
{
    if (m_open)
        return;
    if (arguments().has("--replay"))
        Service::openRecording(arguments().text("--replay"));
    else
        Service::open(arguments().text("--wall", QStringLiteral("demo")));
    m_open = true;
    if (arguments().has("--record"))
        Service::record(arguments().text("--record"));
}

ScreenManager &Session::manager()
{
    openService();
    ScreenManager *const manager = ScreenManager::getInstance();
    if (!m_discovered) {
        manager->init();
        check(manager->refreshScreen(), QStringLiteral("discovering the screens"));
        m_discovered = true;
        // Discovery looks every sub-screen up before it makes it, and the library logs that.
        LibraryLog::forget();
        if (dryRun())
            Service::holdBackWrites();
    }
    return *manager;
}

QStringList Session::screenIds()
{
    return manager().getNameMapping().keys();
}

IScreen &Session::single(const QString &idOrName)
{
    const QMap<QString, QString> names = manager().getNameMapping();
    if (names.contains(idOrName))
        return *manager().tryGetScreen(idOrName);
    const QStringList ids = names.keys(idOrName);
    if (ids.size() == 1)
        return *manager().tryGetScreen(ids.first());
    if (ids.size() > 1)
        throw Failure(ExitUnknown, QStringLiteral("screen \"%1\": %2 have this name; take one of the ids %3")
                                       .arg(idOrName, counted(ids.size(), "screen"), ids.join(QStringLiteral(", "))));
    throw Failure(ExitUnknown, QStringLiteral("screen \"%1\": unknown; the wall has %2")
                                   .arg(idOrName, names.isEmpty() ? QStringLiteral("no screen")
                                                                  : QStringList(names.keys()).join(QStringLiteral(", "))));
}

IScreen &Session::screenOf(const QString &idOrName)
{
    const QMap<QString, QString> names = manager().getNameMapping();
    if (names.contains(idOrName) || names.values().contains(idOrName) || !idOrName.contains(QLatin1Char('+')))
        return single(idOrName);
    select(idOrName.split(QLatin1Char('+')));
    return *m_selection;
}

IScreen &Session::screen()
{
    const QString name = arguments().text("SCREEN");
    if (!arguments().has("--device") && !arguments().has("--cabinet"))
        return screenOf(name);

    const QMap<QString, QString> names = manager().getNameMapping();
    select(names.contains(name) || names.values().contains(name) ? QStringList{name} : name.split(QLatin1Char('+')));
    const QList<CabinetInfo> all = cabinetsOf(*m_selection);
    const QStringList devices = devicesOf(all);
    const QStringList wantedDevices = arguments().texts("--device");
    const QStringList wantedCabinets = arguments().texts("--cabinet");
    for (const QString &key : wantedDevices) {
        if (!devices.contains(key))
            throw Failure(ExitUnknown, QStringLiteral("device \"%1\": unknown in screen %2; it has %3")
                                           .arg(key, name, devices.join(QStringLiteral(", "))));
    }
    for (const QString &id : wantedCabinets) {
        if (std::none_of(all.cbegin(), all.cend(), [&id](const CabinetInfo &cabinet) { return cabinet.id == id; }))
            throw Failure(ExitUnknown, QStringLiteral("cabinet \"%1\": unknown in screen %2").arg(id, name));
    }
    for (const QString &key : devices) {
        bool empty = true;
        for (const CabinetInfo &cabinet : all) {
            if (cabinet.deviceKey != key)
                continue;
            if (wantedCabinets.isEmpty() || wantedCabinets.contains(cabinet.id))
                empty = false;
            else
                m_selection->tryGetSubScreen(key)->removeCabinet(cabinet.id);
        }
        if (empty || (!wantedDevices.isEmpty() && !wantedDevices.contains(key)))
            m_selection->removeSubScreen(key);
    }
    return *m_selection;
}

/// Makes a screen of all sub-screens of some screens. A cabinet stays where it is.
void Session::select(const QStringList &screens)
{
    auto selection = std::make_unique<ScreenV4>();
    QStringList ids;
    QStringList titles;
    for (const QString &name : screens) {
        IScreen &part = single(name);
        if (ids.contains(part.getID()))
            throw Failure(ExitUnknown, QStringLiteral("screen \"%1\" is named twice").arg(name));
        ids.append(part.getID());
        titles.append(part.getName());
        const QList<CabinetInfo> cabinets = cabinetsOf(part);
        for (const QString &key : devicesOf(cabinets)) {
            auto subScreen = std::make_unique<SubScreenV4>(key);
            for (const CabinetInfo &cabinet : cabinets) {
                if (cabinet.deviceKey == key)
                    subScreen->addCabinet(cabinet.id, cabinet.flag);
            }
            if (!selection->addSubScreen(key, subScreen.get()))
                throw Failure(ExitUnknown, QStringLiteral("screens %1: device %2 drives more than one of them")
                                               .arg(screens.join(QStringLiteral(" and ")), key));
            subScreen.release(); // NOLINT(bugprone-unused-return-value): the selection owns it from here on
        }
    }
    selection->setID(ids.join(QLatin1Char('+')));
    selection->setName(titles.join(QStringLiteral(" + ")));
    LibraryLog::forget();
    m_selection = std::move(selection);
}

ICabinet &Session::cabinet(const QString &id)
{
    manager();
    ICabinet *const cabinet = CabinetManager::getInstance()->tryGetCabinet(id);
    if (!cabinet)
        throw Failure(ExitUnknown, QStringLiteral("cabinet \"%1\": unknown; `cabinets` lists all").arg(id));
    return *cabinet;
}

ICabinet &Session::cabinet()
{
    return cabinet(arguments().text("CID"));
}

CabinetInfo Session::cabinetInfo(ICabinet &cabinet)
{
    CabinetInfo info;
    check(cabinet.GetCabinetInfo(info), QStringLiteral("cabinet %1: reading its description").arg(cabinet.getID()));
    cabinet.getFlag(info.flag);
    return info;
}

QList<CabinetInfo> Session::cabinetsOf(IScreen &screen)
{
    QList<CabinetInfo> cabinets;
    check(screen.tryGetAllCabinetInfoList(cabinets), QStringLiteral("screen %1: listing its cabinets").arg(screen.getID()));
    return cabinets;
}

QRect Session::rectOf(IScreen &screen)
{
    QRect rect;
    check(screen.tryGetRect(rect), QStringLiteral("screen %1: finding its rectangle").arg(screen.getID()));
    return rect;
}

QStringList Session::devicesOf(const QList<CabinetInfo> &cabinets)
{
    QStringList keys;
    for (const CabinetInfo &cabinet : cabinets)
        keys.append(cabinet.deviceKey);
    keys.removeDuplicates();
    keys.sort();
    return keys;
}

} // namespace Ctl

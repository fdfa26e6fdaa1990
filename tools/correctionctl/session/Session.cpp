#include "Session.h"

#include "Service.h"
#include "terminal/Interrupt.h"
#include "terminal/Progress.h"

#include <QtCore/QSet>

#include <algorithm>

using namespace Correction;

namespace Ctl {

namespace {

QString discoveryText(qint64 seconds)
{
    const Service::Discovered state = Service::discovered();
    const QString progress = state.listed == 0 ? QString()
                             : state.device.isEmpty()
                                 ? QStringLiteral(", %1 queried").arg(counted(state.listed, "device"))
                                 : QStringLiteral(", %1 of %2 queried, waiting for device %3")
                                       .arg(QString::number(state.finished), counted(state.listed, "device"), state.device);
    return QStringLiteral("discovering the screens%1 (%2 s)").arg(progress, QString::number(seconds));
}

/// "cabinet 4", "cabinets 3, 4 and 12 more", sorted by number.
QString cabinetNames(QStringList ids)
{
    constexpr int shown = 8;
    std::sort(ids.begin(), ids.end(), [](const QString &left, const QString &right) {
        return std::make_pair(left.size(), left) < std::make_pair(right.size(), right);
    });
    QString names = QStringList(ids.mid(0, shown)).join(QStringLiteral(", "));
    if (ids.size() > shown)
        names += QStringLiteral(" and %1 more").arg(ids.size() - shown);
    return QLatin1String(ids.size() == 1 ? "cabinet " : "cabinets ") + names;
}

} // namespace

Session::Session(const Invocation &invocation, Output &output) : m_invocation(invocation), m_output(output) {}

Session::~Session() = default;

void Session::openService()
{
    if (m_open)
        return;
    if (arguments().has("--replay"))
        Service::openRecording(arguments().text("--replay"));
    else if (arguments().has("--backend"))
        Service::openBackend(arguments().text("--backend"));
    else
        Service::open(arguments().text("--wall", QStringLiteral("demo")),
                      changes() && !dryRun() ? Service::Access::ReadWrite : Service::Access::ReadOnly);
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
        const EnumErrorCode code = refresh();
        Interrupt::check(QStringLiteral("nothing was sent but queries"));
        check(code, QStringLiteral("discovering the screens"));
        takeDiscovered();
        if (dryRun())
            Service::holdBackWrites();
    }
    return *manager;
}

EnumErrorCode Session::refresh()
{
    const Ticker ticker(m_output, discoveryText);
    return ScreenManager::getInstance()->refreshScreen();
}

void Session::takeDiscovered()
{
    m_discovered = true;
    LibraryLog::report(m_output);
    findAmbiguities();
    findMissingDevices();
    findMissingCabinets();
    for (const QString &sentence : qAsConst(m_ambiguities))
        m_output.warn(QStringLiteral("ambiguousCabinet"), sentence);
    // Discovery looks up every sub-screen before it creates it, and the library logs each miss.
    LibraryLog::forget();
    Service::takeRefusals(); // reported already
    requireExpected();
}

void Session::findMissingDevices()
{
    ScreenManager &manager = *ScreenManager::getInstance();
    const QStringList screens = manager.getNameMapping().keys();
    const QVector<Service::Outcome> outcomes = Service::outcomes();
    for (const QString &key : Service::listedDevices()) {
        const bool isThere = std::any_of(screens.cbegin(), screens.cend(), [&](const QString &screen) {
            return manager.tryGetScreen(screen)->tryGetSubScreen(key);
        });
        if (isThere)
            continue;
        m_missingDevices.append(key);
        QStringList reasons;
        for (const Service::Outcome &outcome : outcomes) {
            if (outcome.device == key && outcome.refused > 0)
                reasons.append(outcome.operation
                               + (outcome.reason.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(outcome.reason)));
        }
        m_output.warn(
            QStringLiteral("missingDevice"),
            QStringLiteral("device %1 is left out: it did not answer %2")
                .arg(key, reasons.isEmpty() ? QStringLiteral("about itself") : reasons.join(QStringLiteral(", "))));
    }
}

void Session::findMissingCabinets()
{
    const QMap<QString, Service::Announced> announced = Service::announced();
    for (auto device = announced.cbegin(); device != announced.cend(); ++device) {
        if (m_missingDevices.contains(device.key()))
            continue;
        if (device->listed.isEmpty() && device->placed.isEmpty())
            m_output.warn(QStringLiteral("missingCabinet"),
                          QStringLiteral("device %1 lists no cabinets and places none").arg(device.key()));
        const auto warn = [&](QStringList ids, const QSet<QString> &others, const char *reason) {
            ids.erase(std::remove_if(ids.begin(), ids.end(),
                                     [&](const QString &id) { return m_screensOf.contains(id) || others.contains(id); }),
                      ids.end());
            ids.removeDuplicates();
            if (ids.isEmpty())
                return QString();
            const QString names = QStringLiteral("%1 of device %2").arg(cabinetNames(ids), device.key());
            m_output.warn(QStringLiteral("missingCabinet"),
                          QStringLiteral("left out: %1, which the device %2").arg(names, QLatin1String(reason)));
            return names;
        };
        const QString lost = warn(device->placed, {}, "places on a screen, but does not describe completely");
        if (!lost.isNull())
            m_missingCabinets.append(lost);
        warn(device->listed, QSet<QString>(device->placed.cbegin(), device->placed.cend()),
             "lists, but places on no screen");
    }
}

void Session::requireExpected() const
{
    qint64 cabinets = 0;
    for (const QStringList &screens : m_screensOf)
        cabinets += screens.size();
    const QMap<QString, qint64> found{{QStringLiteral("devices"), Service::listedDevices().size() - m_missingDevices.size()},
                                      {QStringLiteral("cabinets"), cabinets}};
    for (const QString &pair : arguments().text("--expect").split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString what = pair.section(QLatin1Char('='), 0, 0);
        const qint64 expected = parseNumber(pair.section(QLatin1Char('='), 1)).value_or(0);
        if (found.value(what) != expected)
            throw Failure(ExitIncomplete, QStringLiteral("the wall has %1 %2, expected are %3. Nothing was sent")
                                              .arg(QString::number(found.value(what)), what, QString::number(expected)));
    }
}

void Session::findAmbiguities()
{
    ScreenManager &manager = *ScreenManager::getInstance();
    QMap<QString, QString> owners; // the devices of the registered cabinets
    const QStringList screens = manager.getNameMapping().keys();
    for (const QString &screen : screens) {
        QList<CabinetInfo> cabinets;
        manager.tryGetScreen(screen)->tryGetAllCabinetInfoList(cabinets);
        for (const CabinetInfo &cabinet : qAsConst(cabinets)) {
            m_screensOf[cabinet.id].append(screen);
            owners.insert(cabinet.id, cabinet.deviceKey);
        }
    }
    QStringList ambiguous;
    for (auto entry = m_screensOf.cbegin(); entry != m_screensOf.cend(); ++entry) {
        if (entry.value().size() > 1)
            ambiguous.append(entry.key());
    }
    if (ambiguous.isEmpty())
        return;

    // A sub-screen whose cabinets are all registered for another device is known by its key alone.
    QMap<QString, QStringList> others; // by cabinet id
    for (const QString &key : LibraryLog::subScreenKeys()) {
        for (const QString &screen : screens) {
            QList<CabinetInfo> cabinets;
            ISubScreen *const subScreen = manager.tryGetScreen(screen)->tryGetSubScreen(key);
            if (subScreen)
                subScreen->tryGetAllCabinetInfoList(cabinets);
            for (const CabinetInfo &cabinet : qAsConst(cabinets)) {
                if (cabinet.deviceKey != key)
                    others[cabinet.id].append(key);
            }
        }
    }
    QMap<QString, QStringList> groups; // ids by "device A and on device B"
    QMap<QString, QString> first;      // device
    for (const QString &id : qAsConst(ambiguous)) {
        QStringList devices{QStringLiteral("device ") + owners.value(id)};
        for (const QString &key : others.value(id))
            devices.append(QStringLiteral("device ") + key);
        if (devices.size() == 1) // logging rules may suppress the line that names it
            devices.append(QStringLiteral("another device"));
        const QString names = devices.join(QStringLiteral(" and on "));
        groups[names].append(id);
        first.insert(names, owners.value(id));
    }
    for (auto group = groups.begin(); group != groups.end(); ++group) {
        const QStringList &ids = group.value();
        const bool one = ids.size() == 1;
        m_ambiguities.append(QStringLiteral("%1 on %2; requests for %3 reach device %4 only")
                                 .arg(cabinetNames(ids) + QLatin1String(one ? " is" : " are"), group.key(),
                                      QLatin1String(one ? "it" : "them"), first.value(group.key())));
        for (const QString &id : ids) {
            for (const QString &screen : m_screensOf.value(id)) {
                if (!m_ambiguousScreens.contains(screen))
                    m_ambiguousScreens.insert(screen, m_ambiguities.last());
            }
        }
    }
}

bool Session::changes() const
{
    // A verb that writes sets something where all its arguments are given; else it prints it.
    const auto &parameters = verb().parameters;
    return verb().writes && std::all_of(parameters.cbegin(), parameters.cend(), [this](const Parameter &parameter) {
               return parameter.isOption() || arguments().has(parameter.name);
           });
}

void Session::requireUniqueIds(const QString &screenId) const
{
    if ((changes() || verb().wholeScreen) && m_ambiguousScreens.contains(screenId))
        throw Failure(ExitAmbiguous,
                      QStringLiteral("screen %1: %2. Nothing was sent").arg(screenId, m_ambiguousScreens.value(screenId)));
}

QStringList Session::screenIds()
{
    return manager().getNameMapping().keys();
}

IScreen &Session::single(const QString &idOrName)
{
    const QMap<QString, QString> names = manager().getNameMapping();
    const QStringList ids = names.contains(idOrName) ? QStringList{idOrName} : names.keys(idOrName);
    if (ids.size() == 1) {
        requireUniqueIds(ids.first());
        return *manager().tryGetScreen(ids.first());
    }
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
    if (!arguments().has("--device") && !arguments().has("--cabinet")) {
        IScreen &whole = screenOf(name);
        QStringList missing;
        for (const QString &device : qAsConst(m_missingDevices))
            missing.append(QStringLiteral("device ") + device);
        missing += m_missingCabinets;
        if (verb().wholeScreen && !missing.isEmpty()) {
            const bool one = missing.size() == 1 && !missing.first().startsWith(QLatin1String("cabinets"));
            throw Failure(ExitIncomplete,
                          QStringLiteral("screen %1: %2 %3 missing and may be a part of it. Nothing was sent; --device "
                                         "chooses the parts that are there")
                              .arg(whole.getID(), missing.join(QStringLiteral(", ")), QLatin1String(one ? "is" : "are")));
        }
        return whole;
    }

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

namespace {

/// Adds sub-screens of these cabinets, each in its place. Returns the key of a device that has a sub-screen already, else
/// null.
QString addCabinets(ScreenV4 &target, const QList<CabinetInfo> &cabinets)
{
    for (const QString &key : Session::devicesOf(cabinets)) {
        auto subScreen = std::make_unique<SubScreenV4>(key);
        for (const CabinetInfo &cabinet : cabinets) {
            if (cabinet.deviceKey == key)
                subScreen->addCabinet(cabinet.id, cabinet.flag);
        }
        if (!target.addSubScreen(key, subScreen.get()))
            return key;
        subScreen.release(); // NOLINT(bugprone-unused-return-value): the screen owns it from here on
    }
    return {};
}

} // namespace

std::unique_ptr<ScreenV4> Session::partOf(IScreen &screen, const QRect &rect)
{
    auto part = std::make_unique<ScreenV4>();
    part->setID(screen.getID());
    part->setName(screen.getName());
    QList<CabinetInfo> cabinets = cabinetsOf(screen);
    cabinets.erase(std::remove_if(cabinets.begin(), cabinets.end(),
                                  [&rect](const CabinetInfo &cabinet) { return !cabinet.rect.intersects(rect); }),
                   cabinets.end());
    addCabinets(*part, cabinets);
    LibraryLog::forget();
    return part;
}

/// Makes a screen of all sub-screens of some screens.
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
        const QString twice = addCabinets(*selection, cabinetsOf(part));
        if (!twice.isNull())
            throw Failure(ExitUnknown, QStringLiteral("screens %1: device %2 drives more than one of them")
                                           .arg(screens.join(QStringLiteral(" and ")), twice));
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
    if (!cabinet && !m_missingDevices.isEmpty())
        throw Failure(ExitIncomplete, QStringLiteral("cabinet \"%1\": not found, and device %2 is missing")
                                          .arg(id, m_missingDevices.join(QStringLiteral(", "))));
    if (!cabinet)
        throw Failure(ExitUnknown, QStringLiteral("cabinet \"%1\": unknown; `cabinets` lists all").arg(id));
    for (const QString &screen : m_screensOf.value(id))
        requireUniqueIds(screen);
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

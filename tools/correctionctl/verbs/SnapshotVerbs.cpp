#include "Rows.h"
#include "files/Files.h"
#include "files/Json.h"
#include "files/SnapshotFile.h"
#include "session/Service.h"
#include "session/Session.h"
#include "session/Transfer.h"
#include "terminal/Interrupt.h"
#include "terminal/Progress.h"

#include <Correction/CabinetsPtr.h>

#include <QtCore/QSet>
#include <QtCore/QtEndian>

#include <algorithm>
#include <functional>

using namespace Correction;

namespace Ctl {
namespace {

QString subject(const SnapshotCabinet &cabinet)
{
    return QStringLiteral("cabinet %1 of device %2").arg(cabinet.id, cabinet.device);
}

/// Reads the whole cabinet; chroma.
QByteArray planeOf(ICabinet &cabinet, const QSize &size, const QString &what)
{
    Coefficient grid(size.width(), size.height());
    check(cabinet.tryGetCoefficients(grid), what);
    return toBytes(fromLibrary(grid));
}

qint64 totalBytes(const QVector<SnapshotCabinet> &cabinets)
{
    qint64 total = 0;
    for (const SnapshotCabinet &cabinet : cabinets)
        total += cabinet.bytes;
    return total;
}

void report(Session &session, const QString &target, const QString &path, int cabinets, qint64 bytes)
{
    session.out().data({{QStringLiteral("target"), target},
                        {QStringLiteral("file"), path},
                        {QStringLiteral("cabinets"), cabinets},
                        {QStringLiteral("bytes"), bytes}});
}

/// What a snapshot never contains.
QStringList notKept()
{
    return {QStringLiteral("low-gray and multilayer coefficients, brightness, x-bit modes, the brightness limiter and "
                           "multilayer parameters, which cannot be read from a device"),
            QStringLiteral("flags, configuration files, effect modes and gamma tables of single cabinets (see `cabinet CID "
                           "flag`, `config get`, `effect` and `gamma`)")};
}

/// A sub-screen of a device of the snapshot.
ISubScreen &subScreenOf(Session &session, const QString &device)
{
    for (const QString &id : session.screenIds()) {
        if (ISubScreen *const found = session.manager().tryGetScreen(id)->tryGetSubScreen(device))
            return *found;
    }
    throw Failure(ExitUnknown, QStringLiteral("device %1 of the snapshot: not on the wall").arg(device));
}

/// Reads the effect mode of a device: that of its cabinets on all screens. Unknown if they have different ones.
EnumErrorCode readEffect(Session &session, SnapshotSettings &settings)
{
    QList<CabinetInfo> infos;
    for (const QString &id : session.screenIds()) {
        ISubScreen *const subScreen = session.manager().tryGetScreen(id)->tryGetSubScreen(settings.device);
        if (!subScreen)
            continue;
        if (const EnumErrorCode code = subScreen->tryGetAllCabinetInfoList(infos))
            return code;
    }
    QSet<int> modes;
    for (const CabinetInfo &info : qAsConst(infos)) {
        Interrupt::check(QStringLiteral("the settings of device %1 are not read").arg(settings.device));
        EnumEffectMode mode{};
        if (const EnumErrorCode code = queryResult(session.cabinet(info.id).tryGetEffectMode(mode)))
            return code;
        modes.insert(mode);
    }
    if (modes.size() == 1)
        settings.effect = *modes.cbegin();
    return enSuccess;
}

/// Reads the settings of a device. What it does not report stays unknown, with a warning.
SnapshotSettings settingsOf(Session &session, const QString &device)
{
    SnapshotSettings settings;
    settings.device = device;
    const auto isRead = [&](EnumErrorCode result, const char *what) {
        const EnumErrorCode code = queryResult(result); // the warning reports refusals
        if (code != enSuccess)
            session.out().warn(QStringLiteral("notKept"),
                               QStringLiteral("device %1: its %2 cannot be read: %3 (%4)")
                                   .arg(device, QLatin1String(what), resultName(code), QString::number(code)));
        LibraryLog::forget(); // not the cause of a later failure
        return code == enSuccess;
    };
    ISubScreen &subScreen = subScreenOf(session, device);
    isRead(readEffect(session, settings), "effect mode");
    QMap<EnumGammaType, QList<int>> tables;
    if (isRead(subScreen.getGammaTable(tables), "gamma tables"))
        settings.gamma = {tables.value(enRedGamma), tables.value(enGreenGamma), tables.value(enBlueGamma)};
    return settings;
}

bool holdsEffect(const SnapshotSettings &settings)
{
    return settings.effect != SnapshotSettings::unknownEffect;
}

bool holdsGamma(const SnapshotSettings &settings)
{
    return std::any_of(settings.gamma.cbegin(), settings.gamma.cend(),
                       [](const auto &table) { return table && !table->isEmpty(); });
}

/// The gamma tables of a device that fulfil a condition, for the user; null if there are none.
template <typename Condition>
QString tablesWhere(const SnapshotSettings &settings, Condition fulfils)
{
    static const QString names[] = {QStringLiteral("red"), QStringLiteral("green"), QStringLiteral("blue")};
    QStringList found;
    for (std::size_t channel = 0; channel < settings.gamma.size(); ++channel) {
        if (fulfils(settings.gamma[channel]))
            found.append(names[channel]);
    }
    if (found.isEmpty())
        return {};
    const bool isAll = found.size() == int(settings.gamma.size());
    return QStringLiteral("%1gamma %2 of device %3")
        .arg(isAll ? QString() : found.join(QStringLiteral(" and ")) + QLatin1Char(' '),
             QLatin1String(found.size() == 1 ? "table" : "tables"), settings.device);
}

/// The settings of a device that are unknown, each with the reason.
QStringList unknownSettings(const SnapshotSettings &settings, const char *effectReason, const char *gammaReason)
{
    QStringList unknown;
    if (!holdsEffect(settings))
        unknown.append(QStringLiteral("effect mode of device %1: %2").arg(settings.device, QLatin1String(effectReason)));
    const QString tables = tablesWhere(settings, [](const auto &table) { return !table; });
    if (!tables.isNull())
        unknown.append(QStringLiteral("%1: %2").arg(tables, QLatin1String(gammaReason)));
    return unknown;
}

/// The gamma tables that a device does not have.
QStringList emptyTables(const SnapshotSettings &settings, const char *reason)
{
    const QString tables = tablesWhere(settings, [](const auto &table) { return table && table->isEmpty(); });
    return tables.isNull() ? QStringList() : QStringList{QStringLiteral("%1: %2").arg(tables, QLatin1String(reason))};
}

/// The settings that a snapshot contains: "effect mode of 2 devices, gamma tables of 1 device". Empty without any.
QString contents(const QVector<SnapshotSettings> &settings)
{
    QStringList texts;
    const auto append = [&](const char *what, bool (*has)(const SnapshotSettings &)) {
        const auto devices = std::count_if(settings.cbegin(), settings.cend(), has);
        if (devices > 0)
            texts.append(QStringLiteral("%1 of %2").arg(QLatin1String(what), counted(devices, "device")));
    };
    append("effect mode", holdsEffect);
    append("gamma tables", holdsGamma);
    return texts.join(QStringLiteral(", "));
}

/// Sends what is known of a device's settings.
void sendSettings(Session &session, const SnapshotSettings &settings)
{
    ISubScreen &subScreen = subScreenOf(session, settings.device);
    const QString what = QStringLiteral("device %1: its coefficients are written, setting its %2");
    if (holdsEffect(settings))
        check(subScreen.setEffectMode(EnumEffectMode(settings.effect)),
              what.arg(settings.device, QStringLiteral("effect mode")));
    for (const EnumGammaType channel : {enRedGamma, enGreenGamma, enBlueGamma}) {
        const auto &table = settings.gamma[std::size_t(channel)];
        if (table && !table->isEmpty()) // a request holds one table
            check(subScreen.setGammaTable({{channel, *table}}), what.arg(settings.device, QStringLiteral("gamma tables")));
    }
}

/// The devices with a setting that the snapshot contains.
QJsonArray devicesJson(const QVector<SnapshotSettings> &settings)
{
    QJsonArray devices;
    for (const SnapshotSettings &device : settings) {
        if (holdsEffect(device) || holdsGamma(device))
            devices.append(device.device);
    }
    return devices;
}

void snapshot(Session &session)
{
    const QString path = session.arguments().text("FILE");
    IScreen &screen = session.screen();
    const QList<CabinetInfo> infos = Session::cabinetsOf(screen);
    QVector<SnapshotSettings> settings;
    for (const QString &device : Session::devicesOf(infos)) {
        if (!session.arguments().has("--cabinet")) // settings are those of all cabinets of a device
            settings.append(settingsOf(session, device));
    }
    const bool severalDevices = Session::devicesOf(infos).size() > 1;
    qint64 total = 0;
    for (const CabinetInfo &info : infos)
        total += area(info.rect) * 18;
    SnapshotWriter writer(path, screen.getID(), infos.size(), settings);
    Progress progress(session.out(), QStringLiteral("snapshot"), total);
    int kept = 0;
    for (const CabinetInfo &info : infos) {
        Interrupt::check(
            QStringLiteral("%1 of %2 read, no snapshot written").arg(kept).arg(counted(infos.size(), "cabinet")));
        SnapshotCabinet cabinet;
        cabinet.id = info.id;
        cabinet.device = info.deviceKey;
        cabinet.rect = info.rect;
        QByteArray bytes;
        try {
            bytes = planeOf(session.cabinet(info.id), info.rect.size(), QStringLiteral("reading ") + subject(cabinet));
        } catch (const Failure &failure) {
            if (failure.exit() > ExitLargestResult || !severalDevices)
                throw;
            throw Failure(ExitIncomplete, failure.text() + QStringLiteral(", no snapshot written"));
        }
        writer.add(cabinet, bytes);
        ++kept;
        progress.advance(bytes.size());
    }
    writer.finish();
    progress.end();
    report(session, screen.getID(), path, infos.size(), total);
    session.out().line(QStringLiteral("%1: %2 kept in %3, %4 of coefficients")
                           .arg(screen.getID(), counted(infos.size(), "cabinet"), path, bytesText(double(total))));
    QStringList missing = notKept();
    if (settings.isEmpty())
        missing.prepend(QStringLiteral("effect mode and gamma tables of the devices, because --cabinet chooses a part"));
    for (const SnapshotSettings &device : qAsConst(settings))
        missing += unknownSettings(device, "its cabinets do not all report the same one", "it does not report them")
                   + emptyTables(device, "it has none");
    if (!contents(settings).isEmpty())
        session.out().line(QStringLiteral("settings kept: ") + contents(settings));
    for (const QString &what : qAsConst(missing))
        session.out().line(QStringLiteral("not kept: ") + what);
    session.out().data({{QStringLiteral("settings"), devicesJson(settings)},
                        {QStringLiteral("notKept"), QJsonArray::fromStringList(missing)}});
}

/// Every cabinet of the file must be there as it was.
void requireCabinets(Session &session, const QString &path, const QVector<SnapshotCabinet> &cabinets)
{
    for (const SnapshotCabinet &cabinet : cabinets) {
        ICabinet &found = session.cabinet(cabinet.id);
        const CabinetInfo info = session.cabinetInfo(found);
        if (info.deviceKey != cabinet.device || info.rect.size() != cabinet.rect.size())
            throw Failure(ExitBadData, QStringLiteral("%1: %2 with %3 pixels; the wall has cabinet %4 of device %5 with %6")
                                           .arg(path, subject(cabinet), sizeText(cabinet.rect.size()), info.id,
                                                info.deviceKey, sizeText(info.rect.size())));
    }
}

void verify(Session &session)
{
    const QString path = session.arguments().text("FILE");
    SnapshotReader snapshot(path);
    const QVector<SnapshotCabinet> &cabinets = snapshot.cabinets();
    requireCabinets(session, path, cabinets);
    const qint64 total = totalBytes(cabinets);
    Progress progress(session.out(), QStringLiteral("verify"), total);
    QStringList differing;
    int read = 0;
    for (const SnapshotCabinet &cabinet : cabinets) {
        Interrupt::check(QStringLiteral("%1 of %2 compared").arg(read++).arg(counted(cabinets.size(), "cabinet")));
        const QByteArray held =
            planeOf(session.cabinet(cabinet.id), cabinet.rect.size(), QStringLiteral("reading ") + subject(cabinet));
        if (held != snapshot.bytesOf(cabinet))
            differing.append(cabinet.id);
        progress.advance(cabinet.bytes);
    }
    progress.end();
    QStringList settings; // that differ
    QStringList unknown;
    for (const SnapshotSettings &kept : snapshot.settings()) {
        const SnapshotSettings now = settingsOf(session, kept.device);
        if (holdsEffect(kept) && now.effect != kept.effect)
            settings.append(QStringLiteral("effect mode of device ") + kept.device);
        for (std::size_t channel = 0; channel < kept.gamma.size(); ++channel) {
            if (kept.gamma[channel] && now.gamma[channel] != kept.gamma[channel])
                settings.append(QStringLiteral("gamma tables of device ") + kept.device);
        }
        unknown += unknownSettings(kept, "not in the snapshot", "not in the snapshot");
    }
    settings.removeDuplicates();
    report(session, snapshot.screenId(), path, cabinets.size(), total);
    session.out().data({{QStringLiteral("differing"), QJsonArray::fromStringList(differing)},
                        {QStringLiteral("differingSettings"), QJsonArray::fromStringList(settings)}});
    for (const QString &what : qAsConst(unknown))
        session.out().line(QStringLiteral("not compared: ") + what);
    QStringList differences;
    if (!differing.isEmpty())
        differences.append(QStringLiteral("%1 of %2 differ: %3")
                               .arg(QString::number(differing.size()), counted(cabinets.size(), "cabinet"),
                                    differing.join(QStringLiteral(", "))));
    if (!settings.isEmpty())
        differences.append(QStringLiteral("settings differ: ") + settings.join(QStringLiteral(", ")));
    if (!differences.isEmpty())
        throw Failure(ExitDifferent, path + QStringLiteral(": ") + differences.join(QStringLiteral("; ")));
    session.out().line(
        QStringLiteral("%1: %2 as in %3").arg(snapshot.screenId(), counted(cabinets.size(), "cabinet"), path));
}

/// Saves the cabinets with one request for each device. `state`: what was done so far, by what was saved.
void saveByDevice(const QVector<SnapshotCabinet> &cabinets, const std::function<QString(const QString &)> &state)
{
    QStringList devices; // in the order of the snapshot
    QMap<QString, QStringList> ids;
    for (const SnapshotCabinet &cabinet : cabinets) {
        QStringList &ofDevice = ids[cabinet.device];
        if (ofDevice.isEmpty())
            devices.append(cabinet.device);
        ofDevice.append(cabinet.id);
    }
    int saved = 0;
    for (const QString &device : qAsConst(devices)) {
        const QString before = state(QStringLiteral("%1 saved").arg(saved));
        Interrupt::check(before);
        const QStringList &ofDevice = ids[device];
        const CabinetsPtr group(CabinetManager::getInstance()->tryGetCabinets(ofDevice));
        check(group ? group->saveUserCoefficient() : enInvalidParameter,
              QStringLiteral("saving %1 of device %2 (before it, %3)")
                  .arg(counted(ofDevice.size(), "cabinet"), device, before));
        saved += ofDevice.size();
    }
}

void restore(Session &session)
{
    const QString path = session.arguments().text("FILE");
    SnapshotReader snapshot(path);
    const QVector<SnapshotCabinet> &cabinets = snapshot.cabinets();
    requireCabinets(session, path, cabinets); // before the first is written
    const qint64 total = totalBytes(cabinets);
    const bool verify = !session.arguments().has("--no-verify") && !session.dryRun();
    const bool save = session.arguments().has("--save");
    Progress progress(session.out(), QStringLiteral("restore"), verify ? 2 * total : total);
    int done = 0;
    const auto state = [&](const QString &saved) {
        return QStringLiteral("%1 of %2 are written, %3").arg(done).arg(counted(cabinets.size(), "cabinet"), saved);
    };
    for (const SnapshotCabinet &cabinet : cabinets) {
        Interrupt::check(state(QStringLiteral("nothing is saved")));
        ICabinet &target = session.cabinet(cabinet.id);
        const QByteArray bytes = snapshot.bytesOf(cabinet);
        Grid grid;
        grid.size = cabinet.rect.size();
        grid.length = lengthOf(enCommonCoefficient);
        grid.values.resize(bytes.size() / 2);
        qFromLittleEndian<quint16>(bytes.constData(), grid.values.size(), grid.values.data());
        const CoefficientPtr values = toLibrary(grid, enCommonCoefficient);
        const QString tail =
            QStringLiteral("%1 (before it, %2)").arg(subject(cabinet), state(QStringLiteral("nothing is saved")));
        check(target.setCoefficients(QPoint(0, 0), *values), QStringLiteral("writing ") + tail);
        progress.advance(cabinet.bytes);
        if (verify) {
            if (planeOf(target, grid.size, QStringLiteral("reading back ") + tail) != bytes)
                throw Failure(ExitDifferent, QStringLiteral("%1 does not hold what was written").arg(tail));
            progress.advance(cabinet.bytes);
        }
        ++done;
    }
    if (save)
        saveByDevice(cabinets, state);
    const bool withSettings = session.arguments().has("--settings");
    if (withSettings) {
        for (const SnapshotSettings &settings : snapshot.settings())
            sendSettings(session, settings);
    }
    progress.end();
    report(session, snapshot.screenId(), path, cabinets.size(), total);
    session.out().data({{QStringLiteral("verified"), verify},
                        {QStringLiteral("saved"), save},
                        {QStringLiteral("settings"), withSettings ? devicesJson(snapshot.settings()) : QJsonArray()}});
    if (!session.dryRun())
        session.out().line(QStringLiteral("%1: %2 written%3%4 from %5")
                               .arg(snapshot.screenId(), counted(cabinets.size(), "cabinet"),
                                    QLatin1String(verify ? ", verified" : ""), QLatin1String(save ? ", saved" : ""), path));
    const QString settings = contents(snapshot.settings());
    if (!withSettings && !settings.isEmpty())
        session.out().line(QStringLiteral("settings not changed: --settings sets %1 as well").arg(settings));
    if (!withSettings || session.dryRun())
        return;
    session.out().line(settings.isEmpty() ? QStringLiteral("the snapshot holds no settings")
                                          : QStringLiteral("settings set: ") + settings);
    for (const SnapshotSettings &device : snapshot.settings()) {
        for (const QString &what :
             unknownSettings(device, "not in the snapshot", "not in the snapshot") + emptyTables(device, "it had none"))
            session.out().line(QStringLiteral("not set: ") + what);
    }
}

} // namespace

QVector<Verb> snapshotVerbs()
{
    return {
        wholeScreen(
            reads("snapshot",
                  "Keep all chroma coefficients of a screen in a file, cabinet by cabinet, and settings of its devices",
                  {screenArgument, argument("FILE", Value::File, "the snapshot"), deviceOption, cabinetOption},
                  "correctionctl snapshot arena-main before.snapshot", "snapshot", snapshot,
                  "ICabinet::tryGetCoefficients ICabinet::GetCabinetInfo ICabinet::tryGetEffectMode "
                  "ISubScreen::getGammaTable")),
        reads("verify", "Compare a snapshot with the cabinets and the settings; changes nothing",
              {argument("FILE", Value::File, "the snapshot")}, "correctionctl verify before.snapshot", "verify", verify,
              "ICabinet::tryGetCoefficients ICabinet::tryGetEffectMode ISubScreen::getGammaTable "
              "CabinetManager::tryGetCabinet"),
        transient(
            writes("restore", "Write a snapshot back, and check that it arrived",
                   {argument("FILE", Value::File, "the snapshot"), saveOption,
                    option("--no-verify", Value::None, "do not read back what was written"),
                    option("--settings", Value::None, "set the effect mode and the gamma tables of its devices as well")},
                   "correctionctl restore before.snapshot --save", "restore", restore,
                   "ICabinet::setCoefficients ICabinet::tryGetCoefficients ICabinets::saveUserCoefficient "
                   "CabinetManager::tryGetCabinet CabinetManager::tryGetCabinets "
                   "ISubScreen::setEffectMode ISubScreen::setGammaTable")),
    };
}

} // namespace Ctl

#include "Rows.h"
#include "files/Files.h"
#include "files/Json.h"
#include "files/SnapshotFile.h"
#include "session/Session.h"
#include "session/Transfer.h"
#include "terminal/Interrupt.h"
#include "terminal/Progress.h"

#include <QtCore/QtEndian>

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

void snapshot(Session &session)
{
    const QString path = session.arguments().text("FILE");
    IScreen &screen = session.screen();
    const QList<CabinetInfo> infos = Session::cabinetsOf(screen);
    const bool severalDevices = Session::devicesOf(infos).size() > 1;
    qint64 total = 0;
    for (const CabinetInfo &info : infos)
        total += area(info.rect) * 18;
    SnapshotWriter writer(path, screen.getID(), infos.size());
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
    report(session, snapshot.screenId(), path, cabinets.size(), total);
    session.out().data({{QStringLiteral("differing"), QJsonArray::fromStringList(differing)}});
    if (!differing.isEmpty())
        throw Failure(ExitDifferent, QStringLiteral("%1: %2 of %3 differ: %4")
                                         .arg(path, QString::number(differing.size()), counted(cabinets.size(), "cabinet"),
                                              differing.join(QStringLiteral(", "))));
    session.out().line(
        QStringLiteral("%1: %2 as in %3").arg(snapshot.screenId(), counted(cabinets.size(), "cabinet"), path));
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
    int saved = 0;
    for (const SnapshotCabinet &cabinet : cabinets) {
        if (!save)
            break;
        const QString savedText = QStringLiteral("%1 saved").arg(saved);
        Interrupt::check(state(savedText));
        check(session.cabinet(cabinet.id).saveParameter(enSaveCommonCoefficient),
              QStringLiteral("saving %1 (before it, %2)").arg(subject(cabinet), state(savedText)));
        ++saved;
    }
    progress.end();
    report(session, snapshot.screenId(), path, cabinets.size(), total);
    session.out().data({{QStringLiteral("verified"), verify}, {QStringLiteral("saved"), save}});
    if (!session.dryRun())
        session.out().line(QStringLiteral("%1: %2 written%3%4 from %5")
                               .arg(snapshot.screenId(), counted(cabinets.size(), "cabinet"),
                                    QLatin1String(verify ? ", verified" : ""), QLatin1String(save ? ", saved" : ""), path));
}

} // namespace

QVector<Verb> snapshotVerbs()
{
    return {
        wholeScreen(reads("snapshot", "Keep all chroma coefficients of a screen in a file, cabinet by cabinet",
                          {screenArgument, argument("FILE", Value::File, "the snapshot"), deviceOption, cabinetOption},
                          "correctionctl snapshot arena-main before.snapshot", "snapshot", snapshot,
                          "ICabinet::tryGetCoefficients ICabinet::GetCabinetInfo")),
        reads("verify", "Compare a snapshot with the cabinets; changes nothing",
              {argument("FILE", Value::File, "the snapshot")}, "correctionctl verify before.snapshot", "verify", verify,
              "ICabinet::tryGetCoefficients CabinetManager::tryGetCabinet"),
        transient(writes(
            "restore", "Write a snapshot back, and check that it arrived",
            {argument("FILE", Value::File, "the snapshot"), saveOption,
             option("--no-verify", Value::None, "do not read back what was written")},
            "correctionctl restore before.snapshot --save", "restore", restore,
            "ICabinet::setCoefficients ICabinet::tryGetCoefficients ICabinet::saveParameter CabinetManager::tryGetCabinet")),
    };
}

} // namespace Ctl

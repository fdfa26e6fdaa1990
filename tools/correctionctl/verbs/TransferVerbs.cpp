#include "Rows.h"
#include "files/Files.h"
#include "files/GridFile.h"
#include "session/Service.h"
#include "session/Transfer.h"

using namespace Correction;

namespace Ctl {
namespace {

/// One operation on a whole screen that takes a kind.
template <typename Kind>
void onScreen(Session &session, EnumErrorCode (IScreen::*operation)(Kind), EnumCoefficientType kind, const char *doing,
              const char *done)
{
    IScreen &screen = session.screen();
    EnumErrorCode code = (screen.*operation)(Kind(int(kind)));
    // Clearing multilayer coefficients returns enSuccess even after a failure, and logs the failure. With a service that is
    // linked in, only the log shows it.
    if (code == enSuccess && !Service::isWatched() && LibraryLog::anyCritical())
        code = enTimeout;
    check(code, QStringLiteral("screen %1: %2 %3 coefficients").arg(screen.getID(), QLatin1String(doing), kindText(kind)));
    session.out().data({{QStringLiteral("target"), screen.getID()}, {QStringLiteral("done"), QLatin1String(done)}});
    if (!session.dryRun())
        session.out().line(
            QStringLiteral("%1: %2 coefficients %3").arg(screen.getID(), kindText(kind), QLatin1String(done)));
}

void read(Session &session)
{
    const QString path = session.arguments().text("FILE");
    const EnumCoefficientType kind = session.arguments().kind();
    const int channel = session.arguments().integer("--channel");
    checkReadTarget(path, kind, channel);
    IScreen &screen = session.screen();
    const QRect rect = chosenRect(session, screen);
    qint64 uncovered = 0;
    CoefficientPtr grid;
    if (!session.arguments().has("--direct") && isReadInParts(rect, kind) && GridWriter::takes(path)) {
        GridWriter file(path, rect.size());
        readParts(session, screen, rect, uncovered,
                  [&file](const QRect &at, const QVector<quint16> &values) { file.put(at, values); });
        file.finish();
    } else if (session.arguments().has("--direct")) {
        grid.reset(CoefficientFactory::getCoefficient(kind, rect.height(), rect.width()));
        if (!grid)
            throw Failure(enNotSupported, QStringLiteral("screen %1: %2 coefficients of %3 pixels cannot be read")
                                              .arg(screen.getID(), kindText(kind), sizeText(rect.size())));
        check(screen.tryGetCoefficients(rect, *grid),
              QStringLiteral("screen %1: reading %2 directly").arg(screen.getID(), rectText(rect)));
    } else {
        grid = readRect(session, screen, rect, kind, uncovered);
    }
    if (grid)
        writeGrid(path, fromLibrary(*grid), channel);
    reportTransfer(session, QStringLiteral("read into"), screen.getID(), rect, kind, path);
    reportUncovered(session, uncovered, "their values are 0");
}

void write(Session &session)
{
    const QString path = session.arguments().text("FILE");
    const EnumCoefficientType kind = session.arguments().kind();
    formOf(path);
    IScreen &screen = session.screen();
    const QRect rect = chosenRect(session, screen);
    GridSource file(path, rect.size(), kind);
    const bool save = session.arguments().has("--save");
    qint64 uncovered = area(rect);
    for (const CabinetInfo &cabinet : Session::cabinetsOf(screen))
        uncovered -= area(cabinet.rect & rect);
    if (uncovered == area(rect))
        throw Failure(enOutOfRange, QStringLiteral("screen %1: no cabinet in %2").arg(screen.getID(), rectText(rect)));
    const auto partAt = [&file, kind](const QRect &at) { return toLibrary(file.part(at), kind); };
    writeRect(session, screen, rect, kind, partAt, session.arguments().has("--one-by-one"), save);
    if (save) {
        const bool saveAll = session.arguments().text("--save") == QLatin1String("all");
        const std::unique_ptr<ScreenV4> touched = Session::partOf(screen, saveAll ? Session::rectOf(screen) : rect);
        check(touched->saveParameter(EnumSaveType(int(kind))),
              QStringLiteral("screen %1: everything is written, but saving failed").arg(screen.getID()));
    }
    reportWrite(session, screen.getID(), rect, kind, path, save);
    reportUncovered(session, uncovered, "not written");
}

void save(Session &session)
{
    onScreen(session, &IScreen::saveParameter, session.arguments().kind(), "saving", "saved");
}

void apply(Session &session)
{
    const bool chosen = session.arguments().has("--type");
    onScreen(session, &IScreen::applyCoeffcient, chosen ? session.arguments().kind() : enLowgrayCoefficient, "applying",
             "applied");
}

void clear(Session &session)
{
    onScreen(session, &IScreen::clearCoefficient, session.arguments().kind(), "clearing", "cleared");
}

void solid(Session &session)
{
    onScreen(session, &IScreen::setMutiCabinetSolid, session.arguments().kind(), "fixing", "fixed");
}

constexpr Parameter saveTouchedOption = {"--save",
                                         Value::None,
                                         "save, when all is written, the cabinets in the rectangle; all of the screen with "
                                         "=all",
                                         false,
                                         false,
                                         0,
                                         0,
                                         "all"};

} // namespace

QVector<Verb> transferVerbs()
{
    return {
        reads("read", "Read the coefficients of any rectangle into a file",
              {screenArgument, fileArgument, rectOption, readTypeOption, channelOption, deviceOption,
               option("--direct", Value::None,
                      "one direct screen read: serves only parts that begin at a sub-screen's corner")},
              "correctionctl read arena-main --rect 100,40,300x150 part.npy", "transfer", read,
              "ICabinet::tryGetCoefficients IScreen::tryGetCoefficients ISubScreen::tryGetCoefficients "
              "CabinetManager::tryGetCabinet ICoefficient::setPartCoefficient IChromaCoefficient::toJsonData"),
        transient(wholeScreen(writes(
            "write", "Write the coefficients of any rectangle from a file",
            {screenArgument, sourceArgument, rectOption, typeOption, deviceOption, cabinetOption, saveTouchedOption,
             option("--one-by-one", Value::None, "cabinet after cabinet instead of all devices at once")},
            "correctionctl write arena-main part.npy --rect 100,40,300x150 --save", "transfer", write,
            "IScreen::setCoefficients ISubScreen::setCoefficientsAsync ISubScreen::setCoefficients IScreen::saveParameter "
            "ISubScreen::removeCabinet ICoefficient::tryGetPart"))),
        wholeScreen(writes("save", "Make the devices store what was uploaded",
                           {screenArgument, typeOption, deviceOption, cabinetOption}, "correctionctl save arena-main",
                           "done", save, "IScreen::saveParameter ISubScreen::saveParameter")),
        transient(wholeScreen(writes("apply", "Make the devices apply stored low-gray coefficients",
                                     {screenArgument, appliedTypeOption, deviceOption, cabinetOption},
                                     "correctionctl apply arena-main", "done", apply,
                                     "IScreen::applyCoeffcient ISubScreen::applyCoeffcient"))),
        wholeScreen(writes("clear", "Clear the user's coefficients",
                           {screenArgument, typeOption, deviceOption, cabinetOption},
                           "correctionctl clear arena-main --type lowgray", "done", clear,
                           "IScreen::clearCoefficient ISubScreen::clearCoefficient")),
        wholeScreen(writes("solid", "Store the coefficients of all cabinets as their fixed ones",
                           {screenArgument, typeOption, deviceOption, cabinetOption}, "correctionctl solid arena-main",
                           "done", solid, "IScreen::setMutiCabinetSolid ISubScreen::setMutiCabinetSolid")),
    };
}

} // namespace Ctl

#include "Rows.h"
#include "files/Files.h"
#include "files/Gamma.h"
#include "files/Json.h"
#include "session/Service.h"
#include "session/Transfer.h"

#include <QtCore/QTemporaryDir>

using namespace Correction;

namespace Ctl {
namespace {

QString subject(ICabinet &cabinet)
{
    return QStringLiteral("cabinet %1 of device %2").arg(cabinet.getID(), cabinet.getDeviceKey());
}

void checkCabinet(EnumErrorCode code, ICabinet &cabinet, const QString &doing)
{
    check(code, QStringLiteral("%1: %2").arg(subject(cabinet), doing));
}

void reportDone(Session &session, ICabinet &cabinet, const QString &done)
{
    session.out().data({{QStringLiteral("target"), cabinet.getID()}, {QStringLiteral("done"), done}});
    if (!session.dryRun())
        session.out().line(QStringLiteral("%1: %2").arg(subject(cabinet), done));
}

/// `line`: printed instead of "NAME set to VALUE".
void reportSetting(Session &session, ICabinet &cabinet, const QString &name, const QJsonValue &value,
                   const QString &line = QString())
{
    session.out().data({{QStringLiteral("target"), cabinet.getID()},
                        {QStringLiteral("settings"),
                         QJsonArray{QJsonObject{{QStringLiteral("name"), name}, {QStringLiteral("value"), value}}}}});
    if (!session.dryRun())
        session.out().line(QStringLiteral("%1: %2").arg(
            subject(cabinet), line.isNull() ? QStringLiteral("%1 set to %2").arg(name, valueText(value)) : line));
}

QJsonObject pieceJson(const QString &id, const QString &flag, const QRect &rect)
{
    return {{QStringLiteral("id"), id}, {QStringLiteral("flag"), flag}, {QStringLiteral("rect"), rectJson(rect)}};
}

void onModules(Session &session, EnumErrorCode (ICabinet::*operation)(int), const char *doing, const char *done)
{
    ICabinet &cabinet = session.cabinet();
    const int mode = session.arguments().integer("--mode");
    checkCabinet((cabinet.*operation)(mode), cabinet, QLatin1String(doing));
    reportDone(session, cabinet, QLatin1String(done));
}

void cabinetInfo(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    const CabinetInfo info = session.cabinetInfo(cabinet);
    QString flag;
    checkCabinet(cabinet.getFlag(flag), cabinet, QStringLiteral("reading its flag"));
    QJsonArray cards;
    for (const RvCardInfo *card : info.rvCardList)
        cards.append(pieceJson(card->id, card->flag, card->rect));
    QJsonArray modules;
    for (const ModuleInfo *module : info.moduleList)
        modules.append(pieceJson(module->id, module->flag, module->rect));
    session.out().data({{QStringLiteral("id"), info.id},
                        {QStringLiteral("device"), info.deviceKey},
                        {QStringLiteral("flag"), flag},
                        {QStringLiteral("rect"), rectJson(info.rect)},
                        {QStringLiteral("receivingCards"), cards},
                        {QStringLiteral("modules"), modules}});
    session.out().table({QStringLiteral("WHAT"), QStringLiteral("VALUE")},
                        {{QStringLiteral("id"), info.id},
                         {QStringLiteral("device"), info.deviceKey},
                         {QStringLiteral("rect"), rectText(info.rect)},
                         {QStringLiteral("flag"), flag},
                         {QStringLiteral("receiving cards"), QString::number(info.rvCardList.size())},
                         {QStringLiteral("modules"), QString::number(info.moduleList.size())}});
}

void cabinetRead(Session &session)
{
    const QString path = session.arguments().text("FILE");
    const EnumCoefficientType kind = session.arguments().kind();
    checkReadTarget(path, kind, session.arguments().integer("--channel"));
    ICabinet &cabinet = session.cabinet();
    const QRect rect = session.cabinetInfo(cabinet).rect;
    const CoefficientPtr grid(CoefficientFactory::getCoefficient(kind, rect.height(), rect.width()));
    if (!grid)
        throw Failure(enNotSupported,
                      QStringLiteral("%1: %2 coefficients cannot be read").arg(subject(cabinet), kindText(kind)));
    checkCabinet(cabinet.tryGetCoefficients(*grid), cabinet, QStringLiteral("reading %1 coefficients").arg(kindText(kind)));
    writeGrid(path, fromLibrary(*grid), session.arguments().integer("--channel"));
    reportTransfer(session, QStringLiteral("read into"), subject(cabinet), QRect(QPoint(), rect.size()), kind, path);
}

void cabinetWrite(Session &session)
{
    const QString path = session.arguments().text("FILE");
    const EnumCoefficientType kind = session.arguments().kind();
    const QPoint position(session.arguments().integer("--x"), session.arguments().integer("--y"));
    Grid grid = readGrid(path);
    ICabinet &cabinet = session.cabinet();
    const QSize whole = session.cabinetInfo(cabinet).rect.size();
    // A file without a size fills the cabinet from the position on.
    const QSize room = whole - QSize(position.x(), position.y());
    const QSize size = grid.size.isValid() ? grid.size : room;
    if (size.isEmpty() || size.width() > room.width() || size.height() > room.height())
        throw Failure(enArgumentMismatch, QStringLiteral("%1: %2 pixels at %3,%4 do not fit into its %5")
                                              .arg(path, sizeText(size), QString::number(position.x()),
                                                   QString::number(position.y()), sizeText(whole)));
    grid = checkedGrid(path, std::move(grid), size, kind); // standard input can be read once
    const CoefficientPtr values = toLibrary(grid, kind);
    checkCabinet(cabinet.setCoefficients(position, *values), cabinet,
                 QStringLiteral("writing %1 coefficients").arg(kindText(kind)));
    if (session.arguments().has("--save"))
        checkCabinet(cabinet.saveParameter(EnumSaveType(int(kind))), cabinet,
                     QStringLiteral("everything is written, but saving failed"));
    reportWrite(session, subject(cabinet), QRect(position, size), kind, path, session.arguments().has("--save"));
}

void cabinetSave(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    const EnumCoefficientType kind = session.arguments().kind();
    checkCabinet(cabinet.saveParameter(EnumSaveType(int(kind))), cabinet,
                 QStringLiteral("saving %1 coefficients").arg(kindText(kind)));
    reportDone(session, cabinet, QStringLiteral("saved"));
}

void cabinetApply(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    const EnumCoefficientType kind = session.arguments().has("--type") ? session.arguments().kind() : enLowgrayCoefficient;
    checkCabinet(cabinet.applyCoeffcient(kind), cabinet, QStringLiteral("applying %1 coefficients").arg(kindText(kind)));
    reportDone(session, cabinet, QStringLiteral("applied"));
}

void cabinetBrightness(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    BrightnessRange range;
    const EnumErrorCode known = cabinet.getBrightnessRange(range);
    if (!session.arguments().has("VALUE")) {
        checkCabinet(known, cabinet, QStringLiteral("asking for the range of brightness"));
        session.out().data({{QStringLiteral("target"), cabinet.getID()},
                            {QStringLiteral("min"), qint64(range.min)},
                            {QStringLiteral("max"), qint64(range.max)},
                            {QStringLiteral("default"), qint64(range.defaultValue)}});
        session.out().line(QStringLiteral("%1 to %2, default %3").arg(range.min).arg(range.max).arg(range.defaultValue));
        return;
    }
    const int value = session.arguments().integer("VALUE");
    // The library does not report a brightness that the device refused, so its range is checked here.
    if (known == enSuccess && range.max > 0 && (quint32(value) < range.min || quint32(value) > range.max))
        throw Failure(enOutOfRange, QStringLiteral("%1: brightness %2 is outside %3 to %4")
                                        .arg(subject(cabinet), QString::number(value), QString::number(range.min),
                                             QString::number(range.max)));
    checkCabinet(cabinet.setBrightness(value), cabinet, QStringLiteral("setting the brightness"));
    reportSetting(
        session, cabinet, QStringLiteral("brightness"), value,
        Service::isWatched()
            ? QString()
            : QStringLiteral("brightness %1 sent; the library does not report whether the device took it").arg(value));
}

void cabinetEffect(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    if (session.arguments().has("MODE")) {
        const int mode = session.arguments().integer("MODE");
        checkCabinet(cabinet.setEffectMode(EnumEffectMode(mode)), cabinet, QStringLiteral("setting the effect mode"));
        reportSetting(session, cabinet, QStringLiteral("effect"), mode);
        return;
    }
    EnumEffectMode mode{};
    checkCabinet(cabinet.tryGetEffectMode(mode), cabinet, QStringLiteral("asking for the effect mode"));
    session.out().data({{QStringLiteral("target"), cabinet.getID()}, {QStringLiteral("effect"), int(mode)}});
    session.out().line(QString::number(mode));
}

void cabinetGamma(Session &session)
{
    if (session.arguments().has("FILE")) {
        const GammaTables tables = readGamma(session.arguments().text("FILE"), cabinetChannels());
        ICabinet &cabinet = session.cabinet();
        checkCabinet(cabinet.setGammaTable(tables), cabinet, QStringLiteral("setting the gamma tables"));
        reportSetting(session, cabinet, QStringLiteral("gamma"), gammaSummary(tables, cabinetChannels()));
        return;
    }
    ICabinet &cabinet = session.cabinet();
    GammaTables tables;
    checkCabinet(cabinet.getGammaTable(tables), cabinet, QStringLiteral("reading the gamma tables"));
    session.out().data(
        {{QStringLiteral("target"), cabinet.getID()}, {QStringLiteral("gamma"), gammaJson(tables, cabinetChannels())}});
    session.out().line(gammaSummary(tables, cabinetChannels()) + QStringLiteral("; --json prints them"));
}

void cabinetFlag(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    if (session.arguments().has("TEXT")) {
        const QString flag = session.arguments().text("TEXT");
        checkCabinet(cabinet.setFlag(flag), cabinet, QStringLiteral("setting its flag"));
        reportSetting(session, cabinet, QStringLiteral("flag"), flag);
        return;
    }
    QString flag;
    checkCabinet(cabinet.getFlag(flag), cabinet, QStringLiteral("reading its flag"));
    session.out().data({{QStringLiteral("target"), cabinet.getID()}, {QStringLiteral("flag"), flag}});
    session.out().line(flag);
}

void cabinetSerialFlag(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    const QString flag = session.arguments().text("TEXT");
    checkCabinet(cabinet.setCabinetflags(flag), cabinet, QStringLiteral("writing its serial-number flag"));
    reportSetting(session, cabinet, QStringLiteral("serial-flag"), flag);
}

void cabinetFlags(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    QJsonArray modules;
    QVector<QStringList> rows;
    for (const ModuleInfo *module : cabinet.getCabAllFlags()) {
        modules.append(pieceJson(module->id, module->flag, module->rect));
        rows.append({module->id, rectText(module->rect), module->flag});
    }
    session.out().data({{QStringLiteral("target"), cabinet.getID()}, {QStringLiteral("modules"), modules}});
    session.out().table({QStringLiteral("MODULE"), QStringLiteral("RECT"), QStringLiteral("FLAG")}, rows);
}

void cabinetConfigGet(Session &session)
{
    const QString path = session.arguments().text("FILE");
    ICabinet &cabinet = session.cabinet();
    checkWritable(path);
    // The library overwrites its file in place, so it gets a temporary one.
    const QTemporaryDir folder;
    const QString taken = folder.filePath(QStringLiteral("configuration"));
    checkCabinet(cabinet.getConfigFile(taken), cabinet, QStringLiteral("reading its configuration into %1").arg(path));
    writeFile(path, readFile(taken));
    session.out().data({{QStringLiteral("file"), path}});
    reportDone(session, cabinet, QStringLiteral("configuration read into %1").arg(path));
}

void cabinetConfigPut(Session &session)
{
    const QString path = session.arguments().text("FILE");
    ICabinet &cabinet = session.cabinet();
    checkCabinet(cabinet.setConfigFile(path), cabinet, QStringLiteral("sending the configuration %1").arg(path));
    session.out().data({{QStringLiteral("file"), path}});
    reportDone(session, cabinet, QStringLiteral("configuration sent from %1").arg(path));
}

void cabinetFlash(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    QList<RxCardFlashCheckInfo> cards;
    checkCabinet(cabinet.getFlashCheckInfo(cards), cabinet, QStringLiteral("checking the modules' flash memory"));
    const EnumErrorCode support = cabinet.IsSupportFlash();
    QJsonArray list;
    QVector<QStringList> rows;
    for (const RxCardFlashCheckInfo &card : qAsConst(cards)) {
        for (const FlashCheckInfo &module : card.flashList) {
            const QRect rect(module.point, module.size);
            list.append(QJsonObject{{QStringLiteral("card"), card.rxcardId},
                                    {QStringLiteral("output"), card.outPutId},
                                    {QStringLiteral("rect"), rectJson(rect)},
                                    {QStringLiteral("good"), module.resutlt}});
            rows.append({QString::number(card.rxcardId), QString::number(card.outPutId), rectText(rect),
                         QLatin1String(module.resutlt ? "good" : "bad")});
        }
    }
    session.out().data({{QStringLiteral("target"), cabinet.getID()},
                        {QStringLiteral("modules"), list},
                        {QStringLiteral("usable"), support == enSuccess}});
    session.out().table({QStringLiteral("CARD"), QStringLiteral("OUTPUT"), QStringLiteral("RECT"), QStringLiteral("FLASH")},
                        rows);
    checkCabinet(support, cabinet, QStringLiteral("its modules' flash memory cannot be used"));
}

void cabinetModuleSave(Session &session)
{
    onModules(session, &ICabinet::saveModuleCoefficient, "saving into the modules' flash memory",
              "saved into the modules' flash memory");
}

void cabinetModuleReload(Session &session)
{
    onModules(session, &ICabinet::reloadModuleCoefficient, "loading from the modules' flash memory",
              "loaded from the modules' flash memory");
}

void cabinetModuleClear(Session &session)
{
    onModules(session, &ICabinet::clearModuleCoefficient, "clearing the modules' flash memory",
              "modules' flash memory cleared");
}

void cabinetModuleFlag(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    const QList<ModuleInfo *> modules = cabinet.getCabAllFlags();
    QList<CabinetsModuleFlag> flags;
    QStringList texts;
    for (const QString &pair : session.arguments().texts("MODULE=FLAG")) {
        CabinetsModuleFlag flag;
        flag.id = pair.section(QLatin1Char('='), 0, 0);
        flag.flag = pair.section(QLatin1Char('='), 1);
        const bool known = std::any_of(modules.cbegin(), modules.cend(),
                                       [&flag](const ModuleInfo *module) { return module->id == flag.id; });
        if (!known)
            throw Failure(ExitUnknown,
                          QStringLiteral("%1: module \"%2\": unknown; `flags` lists all").arg(subject(cabinet), flag.id));
        flags.append(flag);
        texts.append(pair);
    }
    checkCabinet(cabinet.setModuleflags(flags), cabinet, QStringLiteral("writing the modules' flags"));
    reportSetting(session, cabinet, QStringLiteral("module flags"), texts.join(QLatin1Char(' ')));
}

void cabinetSupport(Session &session)
{
    ICabinet &cabinet = session.cabinet();
    CabinetBaseInfo info;
    checkCabinet(cabinet.getCabinetSupport(info), cabinet, QStringLiteral("asking what its device supports"));
    QJsonObject entry = supportJson(info);
    QVector<QStringList> rows;
    for (auto feature = entry.begin(); feature != entry.end(); ++feature)
        rows.append({feature.key(), feature.value().isBool() ? QLatin1String(feature.value().toBool() ? "yes" : "no")
                                                             : QString::number(feature.value().toInt())});
    entry.insert(QStringLiteral("device"), cabinet.getDeviceKey());
    session.out().data({{QStringLiteral("support"), QJsonArray{entry}}});
    session.out().table({QStringLiteral("FEATURE"), QStringLiteral("VALUE")}, rows);
}

constexpr Parameter moduleMode =
    number(option("--mode", Value::Number, "what the device's module flash operation selects; default: 0"), intMin, intMax);

} // namespace

QVector<Verb> cabinetVerbs()
{
    return {
        reads("cabinet info", "Print what a cabinet is", {}, "correctionctl cabinet 7 info", "cabinet", cabinetInfo,
              "CabinetManager::tryGetCabinet ICabinet::GetCabinetInfo ICabinet::getFlag ICabinet::getID "
              "ICabinet::getDeviceKey "
              "ICabinet::getBrightnessRange ICabinet::tryGetEffectMode"),
        reads("cabinet read", "Read a cabinet's coefficients into a file", {fileArgument, readTypeOption, channelOption},
              "correctionctl cabinet 7 read seven.npy", "transfer", cabinetRead, "ICabinet::tryGetCoefficients"),
        transient(
            writes("cabinet write", "Write a cabinet's coefficients, or a part of them, from a file",
                   {sourceArgument, typeOption,
                    number(option("--x", Value::Number, "left edge in the cabinet; default: 0"), 0, intMax),
                    number(option("--y", Value::Number, "top edge in the cabinet; default: 0"), 0, intMax), saveOption},
                   "correctionctl cabinet 7 write seven.npy --save", "transfer", cabinetWrite,
                   "ICabinet::setCoefficients ICabinet::saveParameter")),
        writes("cabinet save", "Make the device store what was uploaded to a cabinet", {typeOption},
               "correctionctl cabinet 7 save", "done", cabinetSave, "ICabinet::saveParameter"),
        transient(writes("cabinet apply", "Make the device apply a cabinet's stored low-gray coefficients",
                         {appliedTypeOption}, "correctionctl cabinet 7 apply", "done", cabinetApply,
                         "ICabinet::applyCoeffcient")),
        writes("cabinet brightness", "Set a cabinet's brightness, or print its range", {brightnessArgument},
               "correctionctl cabinet 7 brightness 4000", "settings", cabinetBrightness,
               "ICabinet::setBrightness ICabinet::getBrightnessRange"),
        writes("cabinet effect", "Set a cabinet's correction effect mode, or print it", {optional(modeArgument)},
               "correctionctl cabinet 7 effect 3", "settings", cabinetEffect,
               "ICabinet::setEffectMode ICabinet::tryGetEffectMode"),
        writes("cabinet gamma", "Set a cabinet's gamma tables from a JSON file, or print them", {gammaArgument},
               "correctionctl cabinet 7 gamma curves.json", "settings", cabinetGamma,
               "ICabinet::getGammaTable ICabinet::setGammaTable"),
        writes("cabinet flag", "Set a cabinet's flag, or print it", {optional(argument("TEXT", Value::Text, "the flag"))},
               "correctionctl cabinet 7 flag calibrated", "settings", cabinetFlag, "ICabinet::getFlag ICabinet::setFlag"),
        writes("cabinet serial-flag", "Write a cabinet's serial-number flag", {argument("TEXT", Value::Text, "the flag")},
               "correctionctl cabinet 7 serial-flag B7-0042", "settings", cabinetSerialFlag, "ICabinet::setCabinetflags"),
        reads("cabinet flags", "List the flags of a cabinet's modules", {}, "correctionctl cabinet 7 flags", "flags",
              cabinetFlags, "ICabinet::getCabAllFlags"),
        reads("cabinet config get", "Read a cabinet's configuration into a file",
              {argument("FILE", Value::File, "where to")}, "correctionctl cabinet 7 config get seven.cfg", "done",
              cabinetConfigGet, "ICabinet::getConfigFile"),
        writes("cabinet config put", "Send a file as a cabinet's configuration",
               {argument("FILE", Value::File, "the configuration")}, "correctionctl cabinet 7 config put seven.cfg", "done",
               cabinetConfigPut, "ICabinet::setConfigFile"),
        reads("cabinet flash", "Check the flash memory of a cabinet's modules", {}, "correctionctl cabinet 7 flash", "flash",
              cabinetFlash, "ICabinet::getFlashCheckInfo ICabinet::IsSupportFlash"),
        writes("cabinet module save", "Save the coefficients into the modules' flash memory", {moduleMode},
               "correctionctl cabinet 7 module save", "done", cabinetModuleSave, "ICabinet::saveModuleCoefficient"),
        transient(writes("cabinet module reload", "Load the coefficients from the modules' flash memory", {moduleMode},
                         "correctionctl cabinet 7 module reload", "done", cabinetModuleReload,
                         "ICabinet::reloadModuleCoefficient")),
        writes("cabinet module clear", "Clear the coefficients in the modules' flash memory", {moduleMode},
               "correctionctl cabinet 7 module clear", "done", cabinetModuleClear, "ICabinet::clearModuleCoefficient"),
        writes("cabinet module flag", "Write flags to modules",
               {repeated(argument("MODULE=FLAG", Value::Pair, "module id and its flag"))},
               "correctionctl cabinet 7 module flag 0=good 3=replaced", "settings", cabinetModuleFlag,
               "ICabinet::setModuleflags"),
        reads("cabinet support", "Print the feature switches that a cabinet's device reports", {},
              "correctionctl cabinet 7 support", "support", cabinetSupport, "ICabinet::getCabinetSupport"),
    };
}

} // namespace Ctl

#include "Verbs.h"

#include "Run.h"
#include "session/Service.h"

#include <algorithm>
#include <limits>

namespace Ctl {

namespace {

constexpr qint64 intMax = std::numeric_limits<int>::max();
constexpr qint64 intMin = std::numeric_limits<int>::min();

Parameter argument(const char *name, Value value, const char *help)
{
    return {name, value, help, true};
}

Parameter option(const char *name, Value value, const char *help)
{
    return {name, value, help};
}

Parameter number(Parameter parameter, qint64 least, qint64 greatest, const char *metavar = "N")
{
    parameter.value = Value::Number;
    parameter.least = least;
    parameter.greatest = greatest;
    parameter.metavar = metavar;
    return parameter;
}

Parameter optional(Parameter parameter)
{
    parameter.required = false;
    return parameter;
}

Parameter repeated(Parameter parameter)
{
    parameter.repeated = true;
    return parameter;
}

Parameter virtualOnly(Parameter parameter)
{
    parameter.virtualOnly = true;
    return parameter;
}

/// The rows that the program's device service can serve.
template <typename Row>
QVector<Row> offered(QVector<Row> rows)
{
    if (!Service::hasWall())
        rows.erase(std::remove_if(rows.begin(), rows.end(), [](const Row &row) { return row.virtualOnly; }), rows.end());
    return rows;
}

Parameter choice(Parameter parameter, const char *choices)
{
    parameter.value = Value::Choice;
    parameter.choices = choices;
    return parameter;
}

const Parameter screen = argument("SCREEN", Value::Screen, "id or name of a screen; several, joined by \"+\", act as one");
const Parameter file = argument("FILE", Value::File, "file of coefficients: .npy, .json or .png");
const Parameter rect = option("--rect", Value::Rect, "rectangle in screen pixels; default: all");
const Parameter type = option("--type", Value::Kind, "kind of coefficients; default: chroma");
const Parameter device =
    repeated(option("--device", Value::Device, "only the part that this device drives; may be repeated"));
const Parameter cabinet = repeated(option("--cabinet", Value::Cabinet, "only this cabinet; may be repeated"));
const Parameter channel =
    number(option("--channel", Value::Number, "which value of each pixel a .png shows; default: 0"), 0, 15);
const Parameter saveToo = option("--save", Value::None, "save on the devices when all is written");
const Parameter moduleMode =
    number(option("--mode", Value::Number, "what the device's module flash operation selects; default: 0"), intMin, intMax);

} // namespace

const QVector<Family> &families()
{
    static const QVector<Family> table{
        {"pattern", "Show test images", {}},
        {"cabinet", "One cabinet", {argument("CID", Value::Cabinet, "id of a cabinet")}},
        {"cabinet config", "The configuration file of a cabinet", {}},
        {"cabinet module", "The flash memory of a cabinet's modules", {}},
        {"group",
         "Several cabinets at once, one request for each of their devices",
         {repeated(argument("CID", Value::Cabinet, "ids of cabinets"))}},
        {"wall", "The virtual wall itself", {}, true},
    };
    return table;
}

const QVector<Parameter> &globalOptions()
{
    static const auto table = offered(knownGlobalOptions());
    return table;
}

const QVector<Parameter> &knownGlobalOptions()
{
    static const QVector<Parameter> table{
        {"--wall", Value::Text, "the virtual wall: a preset, a wall file or a wall directory; default: demo", false, false,
         0, 0, "", "WALL", 0, true},
        {"--backend", Value::Text, "a device backend that is a Qt plug-in, with its configuration, instead of the wall",
         false, false, 0, 0, "", "FILE[:CONFIG]", 0, true},
        {"--json", Value::None, "print one JSON document instead of text"},
        {"--quiet", Value::None, "print nothing but errors (and what --json asks for)", false, false, 0, 0, "", "", 'q'},
        {"--verbose", Value::None, "print the library's log lines on standard error", false, false, 0, 0, "", "", 'v'},
    };
    return table;
}

const Parameter &dryRunOption()
{
    static const Parameter parameter = virtualOnly(
        option("--dry-run", Value::None, "print each request that would go to a device, send nothing that writes"));
    return parameter;
}

const QVector<Verb> &verbs()
{
    static const auto table = offered(knownVerbs());
    return table;
}

const QVector<Verb> &knownVerbs()
{
    static const QVector<Verb> table{
        // Looking around
        {"screens",
         "List the screens",
         {},
         "correctionctl screens",
         "ScreenManager::getInstance ScreenManager::init ScreenManager::refreshScreen ScreenManager::getNameMapping "
         "ScreenManager::tryGetScreen IScreen::tryGetRect IScreen::tryGetAllCabinetInfoList ISubScreen::tryGetRect "
         "ISubScreen::tryGetAllCabinetInfoList",
         "screens",
         false,
         Run::screens},
        {"tree",
         "Print screens, devices and cabinets as a tree",
         {},
         "correctionctl tree",
         "IScreen::tryGetAllCabinetInfoList IScreen::tryGetSubScreen ISubScreen::tryGetRect "
         "ISubScreen::tryGetAllCabinetInfoList",
         "tree",
         false,
         Run::tree},
        {"show",
         "Print what a screen is and how it is set",
         {screen, device},
         "correctionctl show arena-main",
         "IScreen::getID IScreen::getName IScreen::tryGetRect IScreen::getBrightnessRange IScreen::tryGetEffectMode "
         "IScreen::getGammaTable IScreen::getSubScreenNames IScreen::setID IScreen::setName IScreen::addSubScreen "
         "IScreen::removeSubScreen IScreen::tryGetSubScreen ISubScreen::getBrightnessRange ISubScreen::tryGetEffectMode "
         "ISubScreen::getGammaTable ISubScreen::addCabinet",
         "show",
         false,
         Run::show},
        {"cabinets",
         "List the cabinets of a screen, or of all",
         {optional(screen)},
         "correctionctl cabinets arena-main",
         "CabinetManager::getInstance CabinetManager::getMapping IScreen::tryGetAllCabinetInfoList ICabinet::getFlag",
         "cabinets",
         false,
         Run::cabinets},
        {"features",
         "Ask the devices which test images they can draw",
         {screen, device},
         "correctionctl features arena-main",
         "IScreen::getFeatures ISubScreen::isCheckerboardlImage",
         "features",
         false,
         Run::features},
        {"support",
         "Print the feature switches that the devices report",
         {screen, device},
         "correctionctl support arena-main",
         "IScreen::getScreenSupport ISubScreen::getScreenSupport",
         "support",
         false,
         Run::support},
        {"watch",
         "Print change notifications until interrupted",
         {number(option("--count", Value::Number, "end after so many notifications"), 1, intMax)},
         "correctionctl watch",
         "ScreenManager::signal_screenChanged ScreenManager::signal_screenNameChanged",
         "notification",
         false,
         Run::watch},
        // Coefficients
        {"read",
         "Read the coefficients of any rectangle into a file",
         {screen, file, rect, type, channel, device,
          option("--direct", Value::None, "one direct screen read: serves only parts that begin at a sub-screen's corner")},
         "correctionctl read arena-main --rect 100,40,300x150 part.npy",
         "ICabinet::tryGetCoefficients IScreen::tryGetCoefficients ISubScreen::tryGetCoefficients "
         "CabinetManager::tryGetCabinet ICoefficient::setPartCoefficient IChromaCoefficient::toJsonData",
         "transfer",
         false,
         Run::read},
        {"write",
         "Write the coefficients of any rectangle from a file",
         {screen, file, rect, type, device, cabinet, saveToo,
          option("--one-by-one", Value::None, "cabinet after cabinet instead of all devices at once")},
         "correctionctl write arena-main part.npy --rect 100,40,300x150 --save",
         "IScreen::setCoefficients ISubScreen::setCoefficientsAsync ISubScreen::setCoefficients IScreen::saveParameter "
         "ISubScreen::removeCabinet ICoefficient::tryGetPart",
         "transfer",
         true,
         Run::write},
        {"save",
         "Make the devices store what was uploaded",
         {screen, type, device, cabinet},
         "correctionctl save arena-main",
         "IScreen::saveParameter ISubScreen::saveParameter",
         "done",
         true,
         Run::save},
        {"apply",
         "Make the devices apply stored low-gray coefficients",
         {screen, option("--type", Value::Kind, "kind of coefficients; default: lowgray, the only one that devices apply"),
          device, cabinet},
         "correctionctl apply arena-main",
         "IScreen::applyCoeffcient ISubScreen::applyCoeffcient",
         "done",
         true,
         Run::apply},
        {"clear",
         "Clear the user's coefficients",
         {screen, type, device, cabinet},
         "correctionctl clear arena-main --type lowgray",
         "IScreen::clearCoefficient ISubScreen::clearCoefficient",
         "done",
         true,
         Run::clear},
        {"solid",
         "Store the coefficients of all cabinets as their fixed ones",
         {screen, type, device, cabinet},
         "correctionctl solid arena-main",
         "IScreen::setMutiCabinetSolid ISubScreen::setMutiCabinetSolid",
         "done",
         true,
         Run::solid},
        {"diff",
         "Compare two files of coefficients, or a file with a screen",
         {argument("A", Value::File, "file of coefficients"), optional(argument("B", Value::File, "the other file")),
          option("--screen", Value::Screen, "compare with this screen instead of another file"), rect, type,
          option("--picture", Value::File, "write a .png of the largest difference of each pixel")},
         "correctionctl diff before.npy --screen arena-main --picture difference.png",
         "ICabinet::tryGetCoefficients",
         "diff",
         false,
         Run::diff},
        {"snapshot",
         "Keep all chroma coefficients of a screen in a file, cabinet by cabinet",
         {screen, argument("FILE", Value::File, "the snapshot"), device, cabinet},
         "correctionctl snapshot arena-main before.snapshot",
         "ICabinet::tryGetCoefficients ICabinet::GetCabinetInfo",
         "snapshot",
         false,
         Run::snapshot},
        {"restore",
         "Write a snapshot back, and check that it arrived",
         {argument("FILE", Value::File, "the snapshot"), saveToo,
          option("--no-verify", Value::None, "do not read back what was written")},
         "correctionctl restore before.snapshot --save",
         "ICabinet::setCoefficients ICabinet::tryGetCoefficients ICabinet::saveParameter CabinetManager::tryGetCabinet",
         "restore",
         true,
         Run::restore},
        // Settings
        {"set",
         "Change several settings; all are checked before the first is sent",
         {screen,
          repeated(
              argument("SETTING", Value::Pair,
                       "brightness=N, effect=N, xbit=MODE:on|off, abl=on|off, gamma=FILE or multilayer=VALUE:BITS,...")),
          device},
         "correctionctl set arena-main brightness=4000 abl=on xbit=1:on",
         "IScreen::setBrightness IScreen::setEffectMode IScreen::setXBit IScreen::setABLEnable IScreen::setGammaTable "
         "IScreen::setMultilayerParameter IScreen::getBrightnessRange",
         "settings",
         true,
         Run::set},
        {"brightness",
         "Set the brightness, or print its range",
         {screen, number(optional(argument("VALUE", Value::Number, "brightness in the device's own steps")), 0, intMax, ""),
          device},
         "correctionctl brightness arena-main 4000",
         "IScreen::setBrightness IScreen::getBrightnessRange ISubScreen::setBrightness ISubScreen::getBrightnessRange",
         "settings",
         true,
         Run::brightness},
        {"gamma",
         "Set the gamma tables from a JSON file, or print them",
         {screen,
          optional(argument("FILE", Value::File, "JSON: {\"red\": [...], \"green\": [...], \"blue\": [...]}, any of them")),
          device},
         "correctionctl gamma arena-main curves.json",
         "IScreen::getGammaTable IScreen::setGammaTable ISubScreen::getGammaTable ISubScreen::setGammaTable",
         "settings",
         true,
         Run::gamma},
        {"effect",
         "Set the correction effect mode, or print it",
         {screen, number(optional(argument("MODE", Value::Number, "the device's number of the mode")), intMin, intMax, ""),
          device},
         "correctionctl effect arena-main 3",
         "IScreen::setEffectMode IScreen::tryGetEffectMode ISubScreen::setEffectMode ISubScreen::tryGetEffectMode",
         "settings",
         true,
         Run::effect},
        {"xbit",
         "Switch an x-bit mode",
         {screen, number(argument("MODE", Value::Number, "the device's number of the mode"), intMin, intMax, ""),
          argument("ENABLE", Value::OnOff, "on or off"), device},
         "correctionctl xbit arena-main 1 on",
         "IScreen::setXBit ISubScreen::setXBit",
         "settings",
         true,
         Run::xbit},
        {"abl",
         "Switch the automatic brightness limiter",
         {screen, argument("ENABLE", Value::OnOff, "on or off"), device},
         "correctionctl abl arena-main on",
         "IScreen::setABLEnable ISubScreen::setABLEnable",
         "settings",
         true,
         Run::abl},
        {"multilayer",
         "Set the multilayer parameters",
         {screen, repeated(argument("LAYER", Value::Layer, "VALUE or VALUE:BITS; four of them, or any number with --v2")),
          option("--v2", Value::None, "send a version-2 parameter set"), device, cabinet},
         "correctionctl multilayer arena-main 1000:4 2000:4 3000:4 4000:4",
         "IScreen::setMultilayerParameter IScreen::setMultilayerParameterV2 ISubScreen::setMultilayerParameter "
         "ISubScreen::setMultilayerParameterV2",
         "settings",
         true,
         Run::multilayer},
        {"lock",
         "Reserve the devices for this application",
         {screen, device},
         "correctionctl lock arena-main",
         "IScreen::lock ISubScreen::lock",
         "done",
         true,
         Run::lock},
        {"unlock",
         "Release the devices",
         {screen, device},
         "correctionctl unlock arena-main",
         "IScreen::unLock ISubScreen::unLock",
         "done",
         true,
         Run::unlock},
        // Test images
        {"pattern pixel",
         "Light pixel blocks at equal distances on black",
         {screen, rect, option("--block", Value::Size, "size of a lit block; default: 1x1"),
          number(option("--offset-x", Value::Number, "where the first block begins, in pixels; default: 0"), 0, intMax),
          number(option("--offset-y", Value::Number, "the same downwards; default: 0"), 0, intMax),
          number(option("--interval-x", Value::Number, "block widths left dark between two blocks; default: 1"), 0, 65535),
          number(option("--interval-y", Value::Number, "block heights left dark between two blocks; default: 1"), 0, 65535),
          option("--color", Value::Color, "default: white"), device},
         "correctionctl pattern pixel arena-main --interval-x 3 --interval-y 3 --color '#00ff00'",
         "IScreen::setPixelImage ISubScreen::setPixelImage",
         "pattern",
         true,
         Run::patternPixel},
        {"pattern checkerboard",
         "Show a checkerboard",
         {screen, rect, option("--square", Value::Size, "size of a square; default: 64x64"),
          repeated(option("--color", Value::Color, "one of the colours, at least two; default: white and black")), device},
         "correctionctl pattern checkerboard arena-main --square 50x50 --color white --color '#f08200'",
         "IScreen::setCheckerboardlImage ISubScreen::setCheckerboardlImage",
         "pattern",
         true,
         Run::patternCheckerboard},
        {"pattern mode",
         "Choose the image mode",
         {screen, number(argument("MODE", Value::Number, "the device's number of the mode"), 0, 255, ""), device},
         "correctionctl pattern mode arena-main 1",
         "IScreen::setPixelImageMode ISubScreen::setPixelImageMode",
         "pattern",
         true,
         Run::patternMode},
        {"pattern clear",
         "Take the test image away",
         {screen, device},
         "correctionctl pattern clear arena-main",
         "IScreen::setCheckerboardlImage ISubScreen::setCheckerboardlImage",
         "pattern",
         true,
         Run::patternClear},
        // One cabinet
        {"cabinet info",
         "Print what a cabinet is",
         {},
         "correctionctl cabinet 7 info",
         "CabinetManager::tryGetCabinet ICabinet::GetCabinetInfo ICabinet::getFlag ICabinet::getID ICabinet::getDeviceKey "
         "ICabinet::getBrightnessRange ICabinet::tryGetEffectMode",
         "cabinet",
         false,
         Run::cabinetInfo},
        {"cabinet read",
         "Read a cabinet's coefficients into a file",
         {file, type, channel},
         "correctionctl cabinet 7 read seven.npy",
         "ICabinet::tryGetCoefficients",
         "transfer",
         false,
         Run::cabinetRead},
        {"cabinet write",
         "Write a cabinet's coefficients, or a part of them, from a file",
         {file, type, number(option("--x", Value::Number, "left edge in the cabinet; default: 0"), 0, intMax),
          number(option("--y", Value::Number, "top edge in the cabinet; default: 0"), 0, intMax), saveToo},
         "correctionctl cabinet 7 write seven.npy --save",
         "ICabinet::setCoefficients ICabinet::saveParameter",
         "transfer",
         true,
         Run::cabinetWrite},
        {"cabinet save",
         "Make the device store what was uploaded to a cabinet",
         {type},
         "correctionctl cabinet 7 save",
         "ICabinet::saveParameter",
         "done",
         true,
         Run::cabinetSave},
        {"cabinet apply",
         "Make the device apply a cabinet's stored low-gray coefficients",
         {option("--type", Value::Kind, "kind of coefficients; default: lowgray, the only one that devices apply")},
         "correctionctl cabinet 7 apply",
         "ICabinet::applyCoeffcient",
         "done",
         true,
         Run::cabinetApply},
        {"cabinet brightness",
         "Set a cabinet's brightness, or print its range",
         {number(optional(argument("VALUE", Value::Number, "brightness in the device's own steps")), 0, intMax, "")},
         "correctionctl cabinet 7 brightness 4000",
         "ICabinet::setBrightness ICabinet::getBrightnessRange",
         "settings",
         true,
         Run::cabinetBrightness},
        {"cabinet effect",
         "Set a cabinet's correction effect mode, or print it",
         {number(optional(argument("MODE", Value::Number, "the device's number of the mode")), intMin, intMax, "")},
         "correctionctl cabinet 7 effect 3",
         "ICabinet::setEffectMode ICabinet::tryGetEffectMode",
         "settings",
         true,
         Run::cabinetEffect},
        {"cabinet gamma",
         "Set a cabinet's gamma tables from a JSON file, or print them",
         {optional(argument("FILE", Value::File, "JSON: {\"red\": [...], \"green\": [...], \"blue\": [...]}, any of them"))},
         "correctionctl cabinet 7 gamma curves.json",
         "ICabinet::getGammaTable ICabinet::setGammaTable",
         "settings",
         true,
         Run::cabinetGamma},
        {"cabinet flag",
         "Set a cabinet's flag, or print it",
         {optional(argument("TEXT", Value::Text, "the flag"))},
         "correctionctl cabinet 7 flag calibrated",
         "ICabinet::getFlag ICabinet::setFlag",
         "settings",
         true,
         Run::cabinetFlag},
        {"cabinet serial-flag",
         "Write a cabinet's serial-number flag",
         {argument("TEXT", Value::Text, "the flag")},
         "correctionctl cabinet 7 serial-flag B7-0042",
         "ICabinet::setCabinetflags",
         "settings",
         true,
         Run::cabinetSerialFlag},
        {"cabinet flags",
         "List the flags of a cabinet's modules",
         {},
         "correctionctl cabinet 7 flags",
         "ICabinet::getCabAllFlags",
         "flags",
         false,
         Run::cabinetFlags},
        {"cabinet config get",
         "Read a cabinet's configuration into a file",
         {argument("FILE", Value::File, "where to")},
         "correctionctl cabinet 7 config get seven.cfg",
         "ICabinet::getConfigFile",
         "done",
         false,
         Run::cabinetConfigGet},
        {"cabinet config put",
         "Send a file as a cabinet's configuration",
         {argument("FILE", Value::File, "the configuration")},
         "correctionctl cabinet 7 config put seven.cfg",
         "ICabinet::setConfigFile",
         "done",
         true,
         Run::cabinetConfigPut},
        {"cabinet flash",
         "Check the flash memory of a cabinet's modules",
         {},
         "correctionctl cabinet 7 flash",
         "ICabinet::getFlashCheckInfo ICabinet::IsSupportFlash",
         "flash",
         false,
         Run::cabinetFlash},
        {"cabinet module save",
         "Save the coefficients into the modules' flash memory",
         {moduleMode},
         "correctionctl cabinet 7 module save",
         "ICabinet::saveModuleCoefficient",
         "done",
         true,
         Run::cabinetModuleSave},
        {"cabinet module reload",
         "Load the coefficients from the modules' flash memory",
         {moduleMode},
         "correctionctl cabinet 7 module reload",
         "ICabinet::reloadModuleCoefficient",
         "done",
         true,
         Run::cabinetModuleReload},
        {"cabinet module clear",
         "Clear the coefficients in the modules' flash memory",
         {moduleMode},
         "correctionctl cabinet 7 module clear",
         "ICabinet::clearModuleCoefficient",
         "done",
         true,
         Run::cabinetModuleClear},
        {"cabinet module flag",
         "Write flags to modules",
         {repeated(argument("MODULE=FLAG", Value::Pair, "module id and its flag"))},
         "correctionctl cabinet 7 module flag 0=good 3=replaced",
         "ICabinet::setModuleflags",
         "settings",
         true,
         Run::cabinetModuleFlag},
        {"cabinet support",
         "Print the feature switches that a cabinet's device reports",
         {},
         "correctionctl cabinet 7 support",
         "ICabinet::getCabinetSupport",
         "support",
         false,
         Run::cabinetSupport},
        // Groups
        {"group save",
         "Save what the cabinets show",
         {choice(argument("STORE", Value::Choice, "where to"), "user|factory|module")},
         "correctionctl group 1 2 3 save user",
         "CabinetManager::tryGetCabinets ICabinets::saveUserCoefficient ICabinets::saveFactoryCoefficient "
         "ICabinets::saveModuleCoefficient",
         "done",
         true,
         Run::groupSave},
        {"group show",
         "Make the cabinets show what they stored",
         {choice(argument("STORE", Value::Choice, "where from"), "user|factory|module")},
         "correctionctl group 1 2 3 show factory",
         "ICabinets::showUserCoefficient ICabinets::showFactoryCoefficient ICabinets::showModuleCoefficient",
         "done",
         true,
         Run::groupShow},
        {"group clear",
         "Clear the cabinets' user coefficients",
         {},
         "correctionctl group 1 2 3 clear",
         "ICabinets::clearUserCoefficient",
         "done",
         true,
         Run::groupClear},
        {"group average",
         "Exchange averaged coefficients (devices hold none so far)",
         {choice(argument("DIRECTION", Value::Choice, "get or put"), "get|put")},
         "correctionctl group 1 2 average get",
         "ICabinets::getAvgCoeffcient ICabinets::setAvgCoefficient",
         "done",
         true,
         Run::groupAverage},
        {"group solid",
         "Fix the cabinets' coefficients (devices do nothing so far)",
         {},
         "correctionctl group 1 2 solid",
         "ICabinets::setMutiCabinetSolid",
         "done",
         true,
         Run::groupSolid},
        // The wall
        {"wall create",
         "Make a wall directory: a virtual wall that keeps what was saved",
         {argument("DIRECTORY", Value::Directory, "where; must not hold a wall yet")},
         "correctionctl --wall demo wall create ./arena",
         "",
         "done",
         false,
         Run::wallCreate,
         false,
         true},
        {"wall describe",
         "Print the description of the wall as a wall file",
         {optional(argument("FILE", Value::File, "write it there instead"))},
         "correctionctl --wall demo wall describe arena.json",
         "",
         "description",
         false,
         Run::wallDescribe,
         false,
         true},
        {"wall render",
         "Draw what a screen is made of, holds or shows",
         {screen, argument("FILE", Value::File, "the picture, a .png"),
          choice(option("--what", Value::Choice, "default: layout"), "layout|coefficients|pattern"),
          number(option("--channel", Value::Number, "which value of each pixel the coefficients show; default: 0"), 0, 8)},
         "correctionctl --wall ./arena wall render arena-main green.png --what coefficients --channel 4",
         "",
         "done",
         false,
         Run::wallRender,
         false,
         true},
        // Trouble
        {"record",
         "Run another verb and keep its conversation with the devices in a new file",
         {argument("FILE", Value::File, "JSON Lines, one call a line")},
         "correctionctl record night.jsonl write arena-main before.npy",
         "",
         "",
         false,
         nullptr,
         true,
         true},
        {"replay",
         "Run another verb against a recorded conversation",
         {argument("FILE", Value::File, "what `record` wrote")},
         "correctionctl replay night.jsonl write arena-main before.npy",
         "",
         "",
         false,
         nullptr,
         true,
         true},
        {"doctor",
         "Walk through discovery and settings step by step and explain what goes wrong",
         {optional(argument("FILE", Value::File, "write the report there as JSON, fit for a bug report"))},
         "correctionctl doctor report.json",
         "ScreenManager::refreshScreen IScreen::tryGetRect IScreen::getSubScreenNames IScreen::getFeatures "
         "IScreen::getScreenSupport "
         "IScreen::getBrightnessRange IScreen::tryGetEffectMode IScreen::getGammaTable ICabinet::IsSupportFlash",
         "doctor",
         false,
         Run::doctor},
        {"verbs",
         "List the verbs, and which of the library's operations they reach",
         {},
         "correctionctl verbs --json",
         "",
         "verbs",
         false,
         Run::verbTable},
    };
    return table;
}

const Verb *verbOf(const QString &name)
{
    const auto &table = knownVerbs();
    const auto found =
        std::find_if(table.cbegin(), table.cend(), [&name](const Verb &verb) { return name == QLatin1String(verb.name); });
    return found == table.cend() ? nullptr : &*found;
}

const Family *familyOf(const QString &name)
{
    const auto &table = families();
    const auto found = std::find_if(table.cbegin(), table.cend(),
                                    [&name](const Family &family) { return name == QLatin1String(family.name); });
    return found == table.cend() ? nullptr : &*found;
}

QStringList Parameter::choiceList() const
{
    if (value == Value::OnOff)
        return {QStringLiteral("on"), QStringLiteral("off")};
    if (value == Value::Kind)
        return {QStringLiteral("chroma"), QStringLiteral("lowgray"), QStringLiteral("multilayer")};
    return QString::fromLatin1(choices).split(QLatin1Char('|'), Qt::SkipEmptyParts);
}

QString Parameter::title() const
{
    if (!isOption())
        return key();
    QString text = letter ? QStringLiteral("-%1, %2").arg(QLatin1Char(letter)).arg(key()) : key();
    if (value == Value::None)
        return text;
    QString meta = QLatin1String(metavar);
    if (meta.isEmpty()) {
        switch (value) {
        case Value::Rect:
            meta = QStringLiteral("X,Y,WxH");
            break;
        case Value::Size:
            meta = QStringLiteral("WxH");
            break;
        case Value::Color:
            meta = QStringLiteral("COLOR");
            break;
        case Value::Device:
            meta = QStringLiteral("KEY");
            break;
        case Value::Cabinet:
            meta = QStringLiteral("CID");
            break;
        case Value::Screen:
            meta = QStringLiteral("SCREEN");
            break;
        case Value::File:
            meta = QStringLiteral("FILE");
            break;
        case Value::Number:
        case Value::OnOff:
        case Value::Kind:
        case Value::Choice:
        case Value::Pair:
        case Value::Layer:
        case Value::Directory:
        case Value::Text:
        case Value::None:
            meta = choiceList().isEmpty() ? QStringLiteral("TEXT") : choiceList().join(QLatin1Char('|'));
            break;
        }
    }
    return text + QLatin1Char(' ') + meta;
}

QString Parameter::usage() const
{
    QString text = isOption() ? key() + title().mid(title().indexOf(key()) + key().size()) : key();
    if (value == Value::Choice && !isOption())
        text = choiceList().join(QLatin1Char('|'));
    else if (value == Value::OnOff && !isOption())
        text = QStringLiteral("on|off");
    if (repeated)
        text += QStringLiteral("...");
    return required ? text : QStringLiteral("[%1]").arg(text);
}

QString Verb::usage() const
{
    QStringList parts{QStringLiteral("correctionctl")};
    const QStringList path = words();
    for (int depth = 0; depth < path.size(); ++depth) {
        parts.append(path.at(depth));
        if (const Family *family = familyOf(path.mid(0, depth + 1).join(QLatin1Char(' ')))) {
            for (const Parameter &parameter : family->parameters)
                parts.append(parameter.usage());
        }
    }
    for (const bool options : {false, true}) {
        for (const Parameter &parameter : parameters) {
            if (parameter.isOption() == options)
                parts.append(parameter.usage());
        }
    }
    if (offersDryRun())
        parts.append(dryRunOption().usage());
    if (wrapsCommand)
        parts.append(QStringLiteral("VERB..."));
    return parts.join(QLatin1Char(' '));
}

bool Verb::offersDryRun() const
{
    return writes && Service::hasWall();
}

QStringList Verb::operationList() const
{
    return QString::fromLatin1(operations).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace Ctl

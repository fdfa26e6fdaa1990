#include "Rows.h"
#include "files/Gamma.h"
#include "files/Json.h"
#include "session/Session.h"
#include "terminal/Interrupt.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>

#include <algorithm>

using namespace Correction;

namespace Ctl {
namespace {

QJsonObject cabinetJson(const CabinetInfo &cabinet)
{
    return {{QStringLiteral("id"), cabinet.id},
            {QStringLiteral("device"), cabinet.deviceKey},
            {QStringLiteral("rect"), rectJson(cabinet.rect)}};
}

/// By number, for people.
QList<CabinetInfo> sorted(QList<CabinetInfo> cabinets)
{
    std::stable_sort(cabinets.begin(), cabinets.end(), [](const CabinetInfo &left, const CabinetInfo &right) {
        return std::make_pair(left.id.size(), left.id) < std::make_pair(right.id.size(), right.id);
    });
    return cabinets;
}

QString yesNo(bool value)
{
    return QLatin1String(value ? "yes" : "no");
}

void screens(Session &session)
{
    QJsonArray list;
    QVector<QStringList> rows;
    for (const QString &id : session.screenIds()) {
        IScreen &screen = session.screenOf(id);
        const QList<CabinetInfo> cabinets = Session::cabinetsOf(screen);
        const QStringList devices = Session::devicesOf(cabinets);
        const QRect rect = Session::rectOf(screen);
        list.append(QJsonObject{{QStringLiteral("id"), id},
                                {QStringLiteral("name"), screen.getName()},
                                {QStringLiteral("rect"), rectJson(rect)},
                                {QStringLiteral("devices"), QJsonArray::fromStringList(devices)},
                                {QStringLiteral("cabinets"), cabinets.size()}});
        rows.append(
            {id, screen.getName(), rectText(rect), QString::number(devices.size()), QString::number(cabinets.size())});
    }
    session.out().data({{QStringLiteral("screens"), list}});
    session.out().table({QStringLiteral("ID"), QStringLiteral("NAME"), QStringLiteral("RECT"), QStringLiteral("DEVICES"),
                         QStringLiteral("CABINETS")},
                        rows);
}

void tree(Session &session)
{
    QJsonArray screens;
    for (const QString &id : session.screenIds()) {
        IScreen &screen = session.screenOf(id);
        session.out().line(QStringLiteral("%1 \"%2\" %3").arg(id, screen.getName(), rectText(Session::rectOf(screen))));
        QJsonArray devices;
        const QList<CabinetInfo> all = Session::cabinetsOf(screen);
        for (const QString &key : Session::devicesOf(all)) {
            ISubScreen *const subScreen = screen.tryGetSubScreen(key);
            QRect rect;
            check(subScreen->tryGetRect(rect), QStringLiteral("device %1: finding its rectangle").arg(key));
            QList<CabinetInfo> cabinets;
            check(subScreen->tryGetAllCabinetInfoList(cabinets), QStringLiteral("device %1: listing its cabinets").arg(key));
            session.out().line(QStringLiteral("  device %1 %2").arg(key, rectText(rect)));
            QJsonArray list;
            for (const CabinetInfo &cabinet : sorted(cabinets)) {
                list.append(cabinetJson(cabinet));
                session.out().line(QStringLiteral("    cabinet %1 %2").arg(cabinet.id, rectText(cabinet.rect)));
            }
            devices.append(QJsonObject{{QStringLiteral("device"), key},
                                       {QStringLiteral("rect"), rectJson(rect)},
                                       {QStringLiteral("cabinets"), list}});
        }
        screens.append(QJsonObject{
            {QStringLiteral("id"), id}, {QStringLiteral("name"), screen.getName()}, {QStringLiteral("devices"), devices}});
    }
    session.out().data({{QStringLiteral("screens"), screens}});
}

void show(Session &session)
{
    IScreen &screen = session.screen();
    const QList<CabinetInfo> cabinets = Session::cabinetsOf(screen);
    const QStringList devices = Session::devicesOf(cabinets);
    const QRect rect = Session::rectOf(screen);
    QJsonObject data{{QStringLiteral("id"), screen.getID()},
                     {QStringLiteral("name"), screen.getName()},
                     {QStringLiteral("rect"), rectJson(rect)},
                     {QStringLiteral("devices"), QJsonArray::fromStringList(devices)},
                     {QStringLiteral("cabinets"), cabinets.size()}};
    QVector<QStringList> rows{{QStringLiteral("id"), screen.getID()},
                              {QStringLiteral("name"), screen.getName()},
                              {QStringLiteral("rect"), rectText(rect)},
                              {QStringLiteral("devices"), devices.join(QStringLiteral(", "))},
                              {QStringLiteral("cabinets"), QString::number(cabinets.size())}};

    // When one setting cannot be read, the others are still shown.
    const auto unknown = [&rows](const char *name, EnumErrorCode code) {
        rows.append({QLatin1String(name), QStringLiteral("unknown: %1 (%2)").arg(resultName(code)).arg(code)});
    };
    BrightnessRange range;
    if (const EnumErrorCode code = queryResult(screen.getBrightnessRange(range))) {
        unknown("brightness", code);
    } else {
        data.insert(QStringLiteral("brightness"), QJsonObject{{QStringLiteral("min"), qint64(range.min)},
                                                              {QStringLiteral("max"), qint64(range.max)},
                                                              {QStringLiteral("default"), qint64(range.defaultValue)}});
        rows.append({QStringLiteral("brightness"),
                     QStringLiteral("not readable; range %1 to %2, default %3")
                         .arg(QString::number(range.min), QString::number(range.max), QString::number(range.defaultValue))});
    }
    EnumEffectMode mode{};
    if (const EnumErrorCode code = queryResult(screen.tryGetEffectMode(mode))) {
        unknown("effect", code);
    } else {
        data.insert(QStringLiteral("effect"), int(mode));
        rows.append({QStringLiteral("effect"), QString::number(mode)});
    }
    QMap<EnumGammaType, QList<int>> tables;
    if (const EnumErrorCode code = queryResult(screen.getGammaTable(tables))) {
        unknown("gamma", code);
    } else {
        data.insert(QStringLiteral("gamma"), gammaJson(tables, screenChannels()));
        rows.append({QStringLiteral("gamma"), gammaSummary(tables, screenChannels())});
    }
    const EnumErrorCode names = screen.getSubScreenNames({});
    const QStringList &missing = session.missingDevices();
    data.insert(QStringLiteral("devicesAnswer"), names == enSuccess && missing.isEmpty());
    if (names == enSuccess)
        rows.append(
            {QStringLiteral("devices answer"),
             missing.isEmpty() ? yesNo(true) : QStringLiteral("all but %1").arg(missing.join(QStringLiteral(", ")))});
    else
        unknown("devices answer", names);
    session.out().data(data);
    session.out().table({QStringLiteral("WHAT"), QStringLiteral("VALUE")}, rows);
}

void cabinets(Session &session)
{
    session.manager();
    QMap<QString, QString> flags;
    if (!CabinetManager::getInstance()->getMapping(flags))
        throw Failure(enInvalidParameter, QStringLiteral("listing the cabinets' flags"));
    QJsonArray list;
    QVector<QStringList> rows;
    QStringList ids = session.screenIds();
    if (session.arguments().has("SCREEN"))
        ids = QStringList{session.arguments().text("SCREEN")};
    for (const QString &id : qAsConst(ids)) {
        IScreen &screen = session.screenOf(id);
        for (const CabinetInfo &cabinet : sorted(Session::cabinetsOf(screen))) {
            const QString flag = flags.value(cabinet.id);
            QJsonObject entry = cabinetJson(cabinet);
            entry.insert(QStringLiteral("screen"), screen.getID());
            entry.insert(QStringLiteral("flag"), flag);
            list.append(entry);
            rows.append({cabinet.id, screen.getID(), cabinet.deviceKey, rectText(cabinet.rect), flag});
        }
    }
    session.out().data({{QStringLiteral("cabinets"), list}});
    session.out().table({QStringLiteral("ID"), QStringLiteral("SCREEN"), QStringLiteral("DEVICE"), QStringLiteral("RECT"),
                         QStringLiteral("FLAG")},
                        rows);
}

void features(Session &session)
{
    IScreen &screen = session.screen();
    QMap<QString, bool> features;
    check(screen.getFeatures(features), QStringLiteral("screen %1: asking for its features").arg(screen.getID()));
    QJsonObject map;
    QVector<QStringList> rows;
    for (auto feature = features.cbegin(); feature != features.cend(); ++feature) {
        map.insert(feature.key(), feature.value());
        rows.append({feature.key(), yesNo(feature.value())});
    }
    QJsonObject devices;
    for (const QString &key : Session::devicesOf(Session::cabinetsOf(screen))) {
        const EnumErrorCode code = screen.tryGetSubScreen(key)->isCheckerboardlImage();
        devices.insert(key, resultName(code));
        rows.append({QStringLiteral("checkerboard on device %1").arg(key), code == enSuccess        ? yesNo(true)
                                                                           : code == enNotSupported ? yesNo(false)
                                                                                                    : resultName(code)});
    }
    session.out().data({{QStringLiteral("features"), map}, {QStringLiteral("checkerboard"), devices}});
    session.out().table({QStringLiteral("FEATURE"), QStringLiteral("SUPPORTED")}, rows);
}

void support(Session &session)
{
    IScreen &screen = session.screen();
    QJsonArray entries;
    QVector<QStringList> rows;
    for (const QString &key : Session::devicesOf(Session::cabinetsOf(screen))) {
        QVector<CabinetBaseInfo> list;
        check(screen.tryGetSubScreen(key)->getScreenSupport(list),
              QStringLiteral("device %1: asking what it supports").arg(key));
        for (const CabinetBaseInfo &info : qAsConst(list)) {
            QJsonObject entry = supportJson(info);
            entry.insert(QStringLiteral("device"), key);
            entries.append(entry);
            rows.append({key, yesNo(info.multilayercorrection), QString::number(info.multilayerCorrectionLayer),
                         yesNo(info.fineGrayscale), yesNo(info.xBitPlus), yesNo(info.magicGray)});
        }
    }
    session.out().data({{QStringLiteral("support"), entries}});
    session.out().table({QStringLiteral("DEVICE"), QStringLiteral("MULTILAYER"), QStringLiteral("LAYERS"),
                         QStringLiteral("FINE GRAYSCALE"), QStringLiteral("X-BIT PLUS"), QStringLiteral("MAGIC GRAY")},
                        rows);
}

void watch(Session &session)
{
    // Notifications that arrive during discovery, or several at once, count as well.
    const int limit = session.arguments().integer("--count", -1);
    int seen = 0;
    bool isOver = limit == 0;
    QEventLoop loop;
    const auto tell = [&](const QString &what, const QString &device, const QString &name, const QString &text) {
        if (isOver)
            return;
        session.out().line(text);
        session.out().jsonLine({{QStringLiteral("format"), QStringLiteral("correctionctl")},
                                {QStringLiteral("version"), 1},
                                {QStringLiteral("verb"), QStringLiteral("watch")},
                                {QStringLiteral("change"), what},
                                {QStringLiteral("device"), device},
                                {QStringLiteral("name"), name}});
        isOver = !session.out().flush() || ++seen == limit;
        if (isOver)
            loop.quit();
    };
    ScreenManager *const manager = ScreenManager::getInstance();
    QObject::connect(manager, &ScreenManager::signal_screenChanged, &loop, [&] {
        tell(QStringLiteral("screens"), QString(), QString(), QStringLiteral("the screens changed: discover them again"));
    });
    QObject::connect(manager, &ScreenManager::signal_screenNameChanged, &loop,
                     [&](const QString &device, const QString &name) {
                         tell(QStringLiteral("name"), device, name,
                              QStringLiteral("device %1: its screen is called \"%2\"").arg(device, name));
                     });
    Interrupt::quitOnRequest(&loop);
    try {
        session.manager();
    } catch (const Failure &failure) {
        // An empty wall is not an error here, since devices may appear, and Ctrl-C is the normal end.
        if (failure.exit() != enNoDevice && failure.exit() != ExitInterrupted)
            throw;
    }
    if (!isOver && !Interrupt::requested())
        loop.exec();
    // Ctrl-C is the normal end.
}

} // namespace

QVector<Verb> screenVerbs()
{
    return {
        reads("screens", "List the screens", {}, "correctionctl screens", "screens", screens,
              "ScreenManager::getInstance ScreenManager::init ScreenManager::refreshScreen ScreenManager::getNameMapping "
              "ScreenManager::tryGetScreen IScreen::tryGetRect IScreen::tryGetAllCabinetInfoList ISubScreen::tryGetRect "
              "ISubScreen::tryGetAllCabinetInfoList"),
        reads("tree", "Print screens, devices and cabinets as a tree", {}, "correctionctl tree", "tree", tree,
              "IScreen::tryGetAllCabinetInfoList IScreen::tryGetSubScreen ISubScreen::tryGetRect "
              "ISubScreen::tryGetAllCabinetInfoList"),
        reads(
            "show", "Print what a screen is and how it is set", {screenArgument, deviceOption},
            "correctionctl show arena-main", "show", show,
            "IScreen::getID IScreen::getName IScreen::tryGetRect IScreen::getBrightnessRange IScreen::tryGetEffectMode "
            "IScreen::getGammaTable IScreen::getSubScreenNames IScreen::setID IScreen::setName IScreen::addSubScreen "
            "IScreen::removeSubScreen IScreen::tryGetSubScreen ISubScreen::getBrightnessRange ISubScreen::tryGetEffectMode "
            "ISubScreen::getGammaTable ISubScreen::addCabinet"),
        reads("cabinets", "List the cabinets of a screen, or of all", {optional(screenArgument)},
              "correctionctl cabinets arena-main", "cabinets", cabinets,
              "CabinetManager::getInstance CabinetManager::getMapping IScreen::tryGetAllCabinetInfoList ICabinet::getFlag"),
        reads("features", "Ask the devices which test images they can draw", {screenArgument, deviceOption},
              "correctionctl features arena-main", "features", features,
              "IScreen::getFeatures ISubScreen::isCheckerboardlImage"),
        reads("support", "Print the feature switches that the devices report", {screenArgument, deviceOption},
              "correctionctl support arena-main", "support", support, "ISubScreen::getScreenSupport"),
        reads("watch", "Print change notifications until interrupted",
              {number(option("--count", Value::Number, "end after so many notifications"), 1, intMax)},
              "correctionctl watch", "notification", watch,
              "ScreenManager::signal_screenChanged ScreenManager::signal_screenNameChanged"),
    };
}

} // namespace Ctl

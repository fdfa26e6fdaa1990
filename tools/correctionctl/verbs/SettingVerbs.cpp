#include "Run.h"
#include "files/Gamma.h"
#include "files/Json.h"
#include "session/Session.h"

#include <functional>
#include <limits>

using namespace Correction;

namespace Ctl {
namespace Run {

namespace {

/// One setting that is going to be changed.
struct Setting {
    QString name;
    QString value; ///< For people.
    std::function<EnumErrorCode(IScreen &)> send;
    std::function<void(IScreen &)> verify = [](IScreen &) {}; ///< Throws a Failure where the screen would refuse it.
};

Setting brightnessSetting(int value)
{
    const auto verify = [value](IScreen &screen) {
        BrightnessRange range;
        if (screen.getBrightnessRange(range) != enSuccess || range.max == 0)
            return; // The devices do not tell: they will judge for themselves.
        if (quint32(value) < range.min || quint32(value) > range.max)
            throw Failure(enOutOfRange, QStringLiteral("screen %1: brightness %2 lies outside %3 to %4")
                                            .arg(screen.getID(), QString::number(value), QString::number(range.min),
                                                 QString::number(range.max)));
    };
    return {QStringLiteral("brightness"), QString::number(value),
            [value](IScreen &screen) { return screen.setBrightness(value); }, verify};
}

Setting effectSetting(int mode)
{
    return {QStringLiteral("effect"), QString::number(mode),
            [mode](IScreen &screen) { return screen.setEffectMode(EnumEffectMode(mode)); }};
}

Setting xbitSetting(int mode, bool enable)
{
    return {QStringLiteral("xbit"), QStringLiteral("%1 %2").arg(mode).arg(QLatin1String(enable ? "on" : "off")),
            [mode, enable](IScreen &screen) { return screen.setXBit(EnumXBitMode(mode), enable); }};
}

Setting ablSetting(bool enable)
{
    return {QStringLiteral("abl"), QLatin1String(enable ? "on" : "off"),
            [enable](IScreen &screen) { return screen.setABLEnable(enable); }};
}

Setting gammaSetting(const QString &path)
{
    const GammaTables tables = readGamma(path, screenChannels());
    const auto send = [tables](IScreen &screen) {
        // A request holds one table, the one of the highest channel: each travels by itself.
        for (auto table = tables.cbegin(); table != tables.cend(); ++table) {
            if (const EnumErrorCode code = screen.setGammaTable({{table.key(), table.value()}}))
                return code;
        }
        return enSuccess;
    };
    return {QStringLiteral("gamma"), gammaSummary(tables, screenChannels()), send};
}

Setting multilayerSetting(const QStringList &layers, bool version2)
{
    MultilayerParamV2 list;
    for (const QString &layer : layers) {
        MultilayerParamInfo info;
        info.inLayer = quint32(parseNumber(layer.section(QLatin1Char(':'), 0, 0)).value_or(0));
        info.inVldBitLayer = quint8(parseNumber(layer.section(QLatin1Char(':'), 1)).value_or(0));
        list.params.append(info);
    }
    const QString text = layers.join(QLatin1Char(' '));
    if (version2)
        return {QStringLiteral("multilayer"), text,
                [list](IScreen &screen) { return screen.setMultilayerParameterV2(list); }};
    if (list.params.size() != 4)
        throw Failure(ExitUsage, QStringLiteral("multilayer: %1 given, a parameter set has 4 (--v2 takes any number)")
                                     .arg(counted(list.params.size(), "layer")));
    MultilayerParam param;
    param.inLayer1 = list.params[0].inLayer;
    param.inLayer2 = list.params[1].inLayer;
    param.inLayer3 = list.params[2].inLayer;
    param.inLayer4 = list.params[3].inLayer;
    param.inVldBitLayer01 = list.params[0].inVldBitLayer;
    param.inVldBitLayer12 = list.params[1].inVldBitLayer;
    param.inVldBitLayer23 = list.params[2].inVldBitLayer;
    param.inVldBitLayer34 = list.params[3].inVldBitLayer;
    return {QStringLiteral("multilayer"), text, [param](IScreen &screen) { return screen.setMultilayerParameter(param); }};
}

/// A setting as `set` takes it, checked like the argument of the verb of its name.
Setting settingOf(const QString &pair)
{
    const QString name = pair.section(QLatin1Char('='), 0, 0);
    const QString value = pair.section(QLatin1Char('='), 1);
    const auto refuse = [&pair](const QString &reason) {
        return Failure(ExitUsage, QStringLiteral("%1: %2").arg(pair, reason));
    };
    const auto checked = [&](const char *verb, const char *parameterName, const QString &text) {
        for (const Parameter &parameter : verbOf(QLatin1String(verb))->parameters) {
            if (qstrcmp(parameter.name, parameterName) != 0)
                continue;
            if (const QString reason = complaint(parameter, text); !reason.isEmpty())
                throw refuse(reason);
        }
        return text;
    };
    const auto integer = [](const QString &text) { return int(parseNumber(text).value_or(0)); };
    if (name == QLatin1String("brightness"))
        return brightnessSetting(integer(checked("brightness", "VALUE", value)));
    if (name == QLatin1String("effect"))
        return effectSetting(integer(checked("effect", "MODE", value)));
    if (name == QLatin1String("abl"))
        return ablSetting(checked("abl", "ENABLE", value) == QLatin1String("on"));
    if (name == QLatin1String("xbit")) {
        const QString mode = checked("xbit", "MODE", value.section(QLatin1Char(':'), 0, 0));
        return xbitSetting(integer(mode),
                           checked("xbit", "ENABLE", value.section(QLatin1Char(':'), 1)) == QLatin1String("on"));
    }
    if (name == QLatin1String("gamma"))
        return gammaSetting(checked("gamma", "FILE", value));
    if (name == QLatin1String("multilayer")) {
        const QStringList layers = value.split(QLatin1Char(','));
        for (const QString &layer : layers)
            checked("multilayer", "LAYER", layer);
        return multilayerSetting(layers, false);
    }
    throw refuse(QStringLiteral("the settings are brightness, effect, xbit, abl, gamma and multilayer"));
}

/// Verifies all, then sends one after the other.
void change(Session &session, const QVector<Setting> &settings)
{
    IScreen &screen = session.screen();
    for (const Setting &setting : settings)
        setting.verify(screen);
    QJsonArray list;
    QVector<QStringList> rows;
    for (const Setting &setting : settings) {
        QStringList before;
        for (const QStringList &row : qAsConst(rows))
            before.append(row.first());
        check(setting.send(screen),
              QStringLiteral("screen %1: setting %2 to %3%4")
                  .arg(screen.getID(), setting.name, setting.value,
                       before.isEmpty() ? QString()
                                        : QStringLiteral(" (set before it: %1)").arg(before.join(QStringLiteral(", ")))));
        rows.append({setting.name, setting.value});
        list.append(QJsonObject{{QStringLiteral("name"), setting.name}, {QStringLiteral("value"), setting.value}});
    }
    session.out().data({{QStringLiteral("target"), screen.getID()}, {QStringLiteral("settings"), list}});
    if (!session.dryRun())
        session.out().table({QStringLiteral("SET"), QStringLiteral("TO")}, rows);
}

} // namespace

void set(Session &session)
{
    QVector<Setting> settings;
    for (const QString &pair : session.arguments().texts("SETTING"))
        settings.append(settingOf(pair));
    change(session, settings);
}

void brightness(Session &session)
{
    if (session.arguments().has("VALUE")) {
        change(session, {brightnessSetting(session.arguments().integer("VALUE"))});
        return;
    }
    IScreen &screen = session.screen();
    BrightnessRange range;
    check(screen.getBrightnessRange(range),
          QStringLiteral("screen %1: asking for the range of brightness").arg(screen.getID()));
    session.out().data({{QStringLiteral("target"), screen.getID()},
                        {QStringLiteral("min"), qint64(range.min)},
                        {QStringLiteral("max"), qint64(range.max)},
                        {QStringLiteral("default"), qint64(range.defaultValue)}});
    session.out().line(QStringLiteral("%1 to %2, default %3").arg(range.min).arg(range.max).arg(range.defaultValue));
}

void gamma(Session &session)
{
    if (session.arguments().has("FILE")) {
        change(session, {gammaSetting(session.arguments().text("FILE"))});
        return;
    }
    IScreen &screen = session.screen();
    GammaTables tables;
    check(screen.getGammaTable(tables), QStringLiteral("screen %1: reading the gamma tables").arg(screen.getID()));
    session.out().data(
        {{QStringLiteral("target"), screen.getID()}, {QStringLiteral("gamma"), gammaJson(tables, screenChannels())}});
    session.out().line(gammaSummary(tables, screenChannels()) + QStringLiteral("; --json prints them"));
}

void effect(Session &session)
{
    if (session.arguments().has("MODE")) {
        change(session, {effectSetting(session.arguments().integer("MODE"))});
        return;
    }
    IScreen &screen = session.screen();
    EnumEffectMode mode{};
    check(screen.tryGetEffectMode(mode), QStringLiteral("screen %1: asking for the effect mode").arg(screen.getID()));
    session.out().data({{QStringLiteral("target"), screen.getID()}, {QStringLiteral("effect"), int(mode)}});
    session.out().line(QString::number(mode));
}

void xbit(Session &session)
{
    change(session, {xbitSetting(session.arguments().integer("MODE"), session.arguments().isOn("ENABLE"))});
}

void abl(Session &session)
{
    change(session, {ablSetting(session.arguments().isOn("ENABLE"))});
}

void multilayer(Session &session)
{
    change(session, {multilayerSetting(session.arguments().texts("LAYER"), session.arguments().has("--v2"))});
}

void lock(Session &session)
{
    IScreen &screen = session.screen();
    check(screen.lock(), QStringLiteral("screen %1: locking its devices").arg(screen.getID()));
    session.out().data({{QStringLiteral("target"), screen.getID()}, {QStringLiteral("done"), QStringLiteral("locked")}});
    if (!session.dryRun())
        session.out().line(QStringLiteral("%1: locked").arg(screen.getID()));
}

void unlock(Session &session)
{
    IScreen &screen = session.screen();
    check(screen.unLock(), QStringLiteral("screen %1: unlocking its devices").arg(screen.getID()));
    session.out().data({{QStringLiteral("target"), screen.getID()}, {QStringLiteral("done"), QStringLiteral("unlocked")}});
    if (!session.dryRun())
        session.out().line(QStringLiteral("%1: unlocked").arg(screen.getID()));
}

} // namespace Run
} // namespace Ctl

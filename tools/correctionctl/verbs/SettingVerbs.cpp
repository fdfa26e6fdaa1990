#include "Rows.h"
#include "files/Gamma.h"
#include "files/Json.h"
#include "session/Session.h"

#include <algorithm>
#include <functional>

using namespace Correction;

namespace Ctl {

namespace {

/// One setting that is going to be changed.
struct Setting {
    QJsonValue value; ///< A number, a switch, or a string.
    std::function<EnumErrorCode(IScreen &)> send;
    std::function<void(IScreen &)> verify = [](IScreen &) {}; ///< Throws a Failure where the screen would refuse it.
};

int toInt(const QString &text)
{
    return int(parseNumber(text).value_or(0));
}

bool isOn(const QString &text)
{
    return text == QLatin1String("on");
}

template <EnumErrorCode (IScreen::*operation)(bool)>
Setting onOff(const QStringList &values, const Arguments &)
{
    const bool enable = isOn(values.first());
    return {enable, [enable](IScreen &screen) { return (screen.*operation)(enable); }};
}

Setting brightness(const QStringList &values, const Arguments &)
{
    const int value = toInt(values.first());
    const auto verify = [value](IScreen &screen) {
        BrightnessRange range;
        if (screen.getBrightnessRange(range) != enSuccess || range.max == 0)
            return; // The devices do not tell: they will judge for themselves.
        if (quint32(value) < range.min || quint32(value) > range.max)
            throw Failure(enOutOfRange, QStringLiteral("screen %1: brightness %2 lies outside %3 to %4")
                                            .arg(screen.getID(), QString::number(value), QString::number(range.min),
                                                 QString::number(range.max)));
    };
    return {value, [value](IScreen &screen) { return screen.setBrightness(value); }, verify};
}

Setting effect(const QStringList &values, const Arguments &)
{
    const int mode = toInt(values.first());
    return {mode, [mode](IScreen &screen) { return screen.setEffectMode(EnumEffectMode(mode)); }};
}

Setting xbit(const QStringList &values, const Arguments &)
{
    const int mode = toInt(values.at(0));
    const bool enable = isOn(values.at(1));
    return {QStringLiteral("%1 %2").arg(QString::number(mode), values.at(1)),
            [mode, enable](IScreen &screen) { return screen.setXBit(EnumXBitMode(mode), enable); }};
}

Setting gamma(const QStringList &values, const Arguments &)
{
    const GammaTables tables = readGamma(values.first(), screenChannels());
    const auto send = [tables](IScreen &screen) {
        // A request holds one table, the one of the highest channel: each travels by itself.
        for (auto table = tables.cbegin(); table != tables.cend(); ++table) {
            if (const EnumErrorCode code = screen.setGammaTable({{table.key(), table.value()}}))
                return code;
        }
        return enSuccess;
    };
    return {gammaSummary(tables, screenChannels()), send};
}

Setting multilayer(const QStringList &layers, const Arguments &arguments)
{
    MultilayerParamV2 list;
    for (const QString &layer : layers) {
        MultilayerParamInfo info;
        info.inLayer = quint32(parseNumber(layer.section(QLatin1Char(':'), 0, 0)).value_or(0));
        info.inVldBitLayer = quint8(parseNumber(layer.section(QLatin1Char(':'), 1)).value_or(0));
        list.params.append(info);
    }
    const QString text = layers.join(QLatin1Char(' '));
    if (arguments.has("--v2"))
        return {text, [list](IScreen &screen) { return screen.setMultilayerParameterV2(list); }};
    if (list.params.size() != 4)
        throw Failure(ExitUsage, QStringLiteral("%1 given, a multilayer parameter set has 4 (--v2 takes any number)")
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
    return {text, [param](IScreen &screen) { return screen.setMultilayerParameter(param); }};
}

void printBrightness(Session &session)
{
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

void printGamma(Session &session)
{
    IScreen &screen = session.screen();
    GammaTables tables;
    check(screen.getGammaTable(tables), QStringLiteral("screen %1: reading the gamma tables").arg(screen.getID()));
    session.out().data(
        {{QStringLiteral("target"), screen.getID()}, {QStringLiteral("gamma"), gammaJson(tables, screenChannels())}});
    session.out().line(gammaSummary(tables, screenChannels()) + QStringLiteral("; --json prints them"));
}

void printEffect(Session &session)
{
    IScreen &screen = session.screen();
    EnumEffectMode mode{};
    check(screen.tryGetEffectMode(mode), QStringLiteral("screen %1: asking for the effect mode").arg(screen.getID()));
    session.out().data({{QStringLiteral("target"), screen.getID()}, {QStringLiteral("effect"), int(mode)}});
    session.out().line(QString::number(mode));
}

/// A setting of a screen: a verb of its own, and a pair of `set`.
struct SettingRow {
    const char *name;
    const char *help;
    const char *pair;              ///< Its values in a pair: "MODE:on|off".
    QVector<Parameter> parameters; ///< Of the verb, behind SCREEN. Positional ones are the values.
    const char *example;
    const char *operations;
    Setting (*parse)(const QStringList &values, const Arguments &arguments); ///< Values are checked already.
    void (*print)(Session &session) = nullptr;                               ///< For a verb without values.

    QVector<Parameter> values() const
    {
        QVector<Parameter> list = parameters;
        list.erase(std::remove_if(list.begin(), list.end(), [](const Parameter &entry) { return entry.isOption(); }),
                   list.end());
        return list;
    }
};

const QVector<SettingRow> &settings()
{
    static const QVector<SettingRow> rows{
        {"brightness",
         "Set the brightness, or print its range",
         "N",
         {brightnessArgument, deviceOption},
         "correctionctl brightness arena-main 4000",
         "IScreen::setBrightness IScreen::getBrightnessRange ISubScreen::setBrightness ISubScreen::getBrightnessRange",
         brightness,
         printBrightness},
        {"gamma",
         "Set the gamma tables from a JSON file, or print them",
         "FILE",
         {gammaArgument, deviceOption},
         "correctionctl gamma arena-main curves.json",
         "IScreen::getGammaTable IScreen::setGammaTable ISubScreen::getGammaTable ISubScreen::setGammaTable",
         gamma,
         printGamma},
        {"effect",
         "Set the correction effect mode, or print it",
         "N",
         {optional(modeArgument), deviceOption},
         "correctionctl effect arena-main 3",
         "IScreen::setEffectMode IScreen::tryGetEffectMode ISubScreen::setEffectMode ISubScreen::tryGetEffectMode",
         effect,
         printEffect},
        {"xbit",
         "Switch an x-bit mode",
         "MODE:on|off",
         {modeArgument, enableArgument, deviceOption},
         "correctionctl xbit arena-main 1 on",
         "IScreen::setXBit ISubScreen::setXBit",
         xbit},
        {"abl",
         "Switch the automatic brightness limiter",
         "on|off",
         {enableArgument, deviceOption},
         "correctionctl abl arena-main on",
         "IScreen::setABLEnable ISubScreen::setABLEnable",
         onOff<&IScreen::setABLEnable>},
        {"multilayer",
         "Set the multilayer parameters",
         "VALUE:BITS,...",
         {repeated(argument("LAYER", Value::Layer, "VALUE or VALUE:BITS; four of them, or any number with --v2")),
          option("--v2", Value::None, "send a version-2 parameter set"), deviceOption, cabinetOption},
         "correctionctl multilayer arena-main 1000:4 2000:4 3000:4 4000:4",
         "IScreen::setMultilayerParameter IScreen::setMultilayerParameterV2 ISubScreen::setMultilayerParameter "
         "ISubScreen::setMultilayerParameterV2",
         multilayer},
    };
    return rows;
}

const SettingRow *settingOf(const QString &name)
{
    const auto &rows = settings();
    const auto found =
        std::find_if(rows.cbegin(), rows.cend(), [&name](const SettingRow &row) { return name == QLatin1String(row.name); });
    return found == rows.cend() ? nullptr : &*found;
}

/// "a, b and c"
QString listed(QStringList texts, const char *conjunction)
{
    const QString last = texts.takeLast();
    return QStringLiteral("%1 %2 %3").arg(texts.join(QStringLiteral(", ")), QLatin1String(conjunction), last);
}

/// What is going to be changed, by name.
using Changes = QVector<QPair<QString, Setting>>;

/// The pairs of `set`, each checked like the arguments of the verb of its name.
Changes changesOf(const Arguments &arguments)
{
    Changes changes;
    for (const QString &pair : arguments.texts("SETTING")) {
        const QString name = pair.section(QLatin1Char('='), 0, 0);
        const QString text = pair.section(QLatin1Char('='), 1);
        const auto refuse = [&pair](const QString &reason) {
            return Failure(ExitUsage, QStringLiteral("%1: %2").arg(pair, reason));
        };
        const SettingRow *const row = settingOf(name);
        if (!row) {
            QStringList names;
            for (const SettingRow &known : settings())
                names.append(QLatin1String(known.name));
            throw refuse(QStringLiteral("the settings are ") + listed(names, "and"));
        }
        if (std::any_of(changes.cbegin(), changes.cend(), [&name](const auto &earlier) { return earlier.first == name; }))
            throw refuse(QStringLiteral("%1 is set twice").arg(name));
        const QVector<Parameter> parameters = row->values();
        QStringList values;
        for (int i = 0; i + 1 < parameters.size(); ++i)
            values.append(text.section(QLatin1Char(':'), i, i));
        values.append(text.section(QLatin1Char(':'), parameters.size() - 1));
        if (parameters.last().repeated)
            values = text.split(QLatin1Char(','));
        for (int i = 0; i < values.size(); ++i) {
            const QString reason = complaint(parameters.at(std::min(i, parameters.size() - 1)), values.at(i));
            if (!reason.isEmpty())
                throw refuse(reason);
        }
        changes.append({name, row->parse(values, arguments)});
    }
    return changes;
}

/// Verifies all, then sends one after the other.
void change(Session &session, const Changes &changes)
{
    IScreen &screen = session.screen();
    for (const auto &[name, setting] : changes)
        setting.verify(screen);
    QJsonArray list;
    QVector<QStringList> rows;
    for (const auto &[name, setting] : changes) {
        QStringList before;
        for (const QStringList &row : qAsConst(rows))
            before.append(row.first());
        check(setting.send(screen),
              QStringLiteral("screen %1: setting %2 to %3%4")
                  .arg(screen.getID(), name, valueText(setting.value),
                       before.isEmpty() ? QString()
                                        : QStringLiteral(" (set before it: %1)").arg(before.join(QStringLiteral(", ")))));
        rows.append({name, valueText(setting.value)});
        list.append(QJsonObject{{QStringLiteral("name"), name}, {QStringLiteral("value"), setting.value}});
        // After each: when a later one fails, the document has those that were set.
        session.out().data({{QStringLiteral("target"), screen.getID()}, {QStringLiteral("settings"), list}});
    }
    if (!session.dryRun())
        session.out().table({QStringLiteral("SET"), QStringLiteral("TO")}, rows);
}

void set(Session &session)
{
    change(session, changesOf(session.arguments()));
}

/// The verb of one setting.
void changeOrPrint(Session &session)
{
    const SettingRow &row = *settingOf(QLatin1String(session.verb().name));
    QStringList values;
    for (const Parameter &parameter : row.values())
        values += session.arguments().texts(parameter.name);
    if (values.isEmpty())
        row.print(session);
    else
        change(session, {{QLatin1String(row.name), row.parse(values, session.arguments())}});
}

void reserve(Session &session, EnumErrorCode (IScreen::*operation)(), const char *doing, const char *done)
{
    IScreen &screen = session.screen();
    check((screen.*operation)(), QStringLiteral("screen %1: %2 its devices").arg(screen.getID(), QLatin1String(doing)));
    session.out().data({{QStringLiteral("target"), screen.getID()}, {QStringLiteral("done"), QLatin1String(done)}});
    if (!session.dryRun())
        session.out().line(QStringLiteral("%1: %2").arg(screen.getID(), QLatin1String(done)));
}

void lock(Session &session)
{
    reserve(session, &IScreen::lock, "locking", "locked");
}

void unlock(Session &session)
{
    reserve(session, &IScreen::unLock, "unlocking", "unlocked");
}

} // namespace

QVector<Verb> settingVerbs()
{
    QStringList names;
    QStringList pairs;
    QStringList operations{QStringLiteral("IScreen::getBrightnessRange")};
    QVector<Verb> verbs;
    for (const SettingRow &row : settings()) {
        names.append(QLatin1String(row.name) + QLatin1Char('='));
        pairs.append(QStringLiteral("%1=%2").arg(QLatin1String(row.name), QLatin1String(row.pair)));
        verbs.append(writes(row.name, row.help, QVector<Parameter>{screenArgument} + row.parameters, row.example, "settings",
                            changeOrPrint, row.operations));
        operations.append(verbs.last().operationList().filter(QStringLiteral("IScreen::set")).first());
    }
    // Rows refer to texts that stay in place.
    static const QByteArray pairHelp = listed(pairs, "or").toLatin1();
    static const QByteArray pairNames = names.join(QLatin1Char('|')).toLatin1();
    Parameter pair = repeated(argument("SETTING", Value::Pair, pairHelp.constData()));
    pair.choices = pairNames.constData(); // for completion
    static const QByteArray setOperations = operations.join(QLatin1Char(' ')).toLatin1();
    verbs.prepend(writes(
        "set", "Change several settings; all are checked before the first is sent", {screenArgument, pair, deviceOption},
        "correctionctl set arena-main brightness=4000 abl=on xbit=1:on", "settings", set, setOperations.constData()));
    return verbs
           + QVector<Verb>{
               transient(writes("lock", "Reserve the devices for this application", {screenArgument, deviceOption},
                                "correctionctl lock arena-main", "done", lock, "IScreen::lock ISubScreen::lock")),
               transient(writes("unlock", "Release the devices", {screenArgument, deviceOption},
                                "correctionctl unlock arena-main", "done", unlock, "IScreen::unLock ISubScreen::unLock")),
           };
}

} // namespace Ctl

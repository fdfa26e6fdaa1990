#include "Verbs.h"

#include "Rows.h"
#include "session/Service.h"

#include <algorithm>

namespace Ctl {

namespace {

/// The rows that work with the program's device service.
template <typename Row>
QVector<Row> offered(QVector<Row> rows)
{
    if (!Service::hasWall())
        rows.erase(std::remove_if(rows.begin(), rows.end(), [](const Row &row) { return row.virtualOnly; }), rows.end());
    return rows;
}

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
        {"--wall", Value::Text,
         "the virtual wall: a preset, a wall file or a wall directory; default: $CORRECTION_WALL, else that of the "
         "configuration file, else demo",
         false, false, 0, 0, "", "WALL", 0, true},
        {"--backend", Value::Text, "a device backend that is a Qt plug-in, with its configuration, instead of the wall",
         false, false, 0, 0, "", "FILE[:CONFIG]", 0, true},
        {"--expect", Value::Counts, "refuse, before anything is sent, a wall with other numbers of devices or cabinets"},
        {"--json", Value::None, "print one JSON document instead of text"},
        {"--quiet", Value::None, "print nothing but errors, and the document of --json", false, false, 0, 0, "", "", 'q'},
        {"--verbose", Value::None, "print the library's log lines on standard error", false, false, 0, 0, "", "", 'v'},
        {"--no-config", Value::None, "do not read the configuration file"},
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
    static const QVector<Verb> table = screenVerbs() + transferVerbs() + diffVerbs() + snapshotVerbs() + settingVerbs()
                                       + patternVerbs()
#ifdef CORRECTIONCTL_CALIBRATION
                                       + measureVerbs() + calibrationVerbs()
#endif
                                       + cabinetVerbs() + groupVerbs() + wallVerbs() + doctorVerbs() + tableVerbs();
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
        return choiceList().isEmpty() ? text : QStringLiteral("%1[=%2]").arg(text, QLatin1String(choices));
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
        case Value::Counts:
            meta = QStringLiteral("devices=N,cabinets=N");
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

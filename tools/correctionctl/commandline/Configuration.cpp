#include "Configuration.h"

#include "terminal/ExitCodes.h"
#include "terminal/Output.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSettings>
#include <QtCore/QStandardPaths>

#include <algorithm>

namespace Ctl {

namespace {

const Parameter &colorKey()
{
    static const Parameter parameter{"--color", Value::Choice, "", false, false, 0, 0, "auto|always|never"};
    return parameter;
}

/// Named as options are.
QVector<Parameter> keys()
{
    QVector<Parameter> list{colorKey()};
    for (const Parameter &option : globalOptions()) {
        if (option.key() != QLatin1String("--json") && option.key() != QLatin1String("--no-config"))
            list.append(option);
    }
    return list;
}

} // namespace

QString configurationPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/correctionctl.ini");
}

QStringList configurationKeys()
{
    QStringList list;
    for (const Parameter &parameter : keys())
        list.append(parameter.key().mid(2));
    return list;
}

void addConfiguration(Invocation &invocation)
{
    const QString path = configurationPath();
    Arguments &arguments = invocation.arguments;
    const QFileInfo info(path);
    // A link to nowhere was meant to be a configuration.
    if (arguments.has("--no-config") || (!info.exists() && !info.isSymLink()))
        return;
    QFile file(path);
    const bool isOther = info.exists() && !info.isFile();
    if (isOther || !file.open(QIODevice::ReadOnly))
        throw Failure(ExitNoInput, QStringLiteral("%1: %2; --no-config works without it")
                                       .arg(path, isOther ? QStringLiteral("is not a file") : file.errorString()));
    file.close();
    QSettings settings(path, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    const QStringList names = settings.allKeys();
    if (settings.status() != QSettings::NoError)
        throw Failure(ExitBadData, path + QStringLiteral(": not an INI file: a line is neither KEY=VALUE nor [SECTION]"));

    // A backend takes the place of the wall, so what chooses one of them earlier has priority over both.
    const bool isChosen = arguments.has("--wall") || arguments.has("--backend") || arguments.has("--replay");
    const bool needsWall = invocation.verb->words().first() == QLatin1String("wall");
    const QVector<Parameter> known = keys();
    for (const QString &name : names) {
        const auto refuse = [&](const QString &reason) {
            return Failure(ExitBadData, QStringLiteral("%1: %2: %3").arg(path, name, reason));
        };
        const QString option = QStringLiteral("--") + name;
        const auto found = std::find_if(known.cbegin(), known.cend(),
                                        [&option](const Parameter &parameter) { return parameter.key() == option; });
        if (found == known.cend())
            throw refuse(QStringLiteral("unknown key; the keys are ") + configurationKeys().join(QStringLiteral(", ")));
        const QString text = settings.value(name).toStringList().join(QLatin1Char(',')); // split at commas
        if (text.isEmpty())
            throw refuse(QStringLiteral("has no value"));
        const bool isSwitch = found->value == Value::None;
        if (isSwitch && text != QLatin1String("true") && text != QLatin1String("false"))
            throw refuse(QStringLiteral("expected true or false, got \"%1\"").arg(text));
        const QString problem = isSwitch ? QString() : complaint(*found, text);
        if (!problem.isEmpty())
            throw refuse(problem);

        const bool isPlace = option == QLatin1String("--wall") || option == QLatin1String("--backend");
        if (option == colorKey().key())
            Output::setColour(text == QLatin1String("always")  ? Output::Colour::Always
                              : text == QLatin1String("never") ? Output::Colour::Never
                                                               : Output::Colour::Auto);
        else if (isPlace && (isChosen || (needsWall && option == QLatin1String("--backend"))))
            continue;
        else if (!arguments.has(found->name) && text != QLatin1String("false"))
            arguments.set(option, {text});
    }
    if (!isChosen && arguments.has("--wall") && arguments.has("--backend"))
        throw Failure(ExitBadData, path + QStringLiteral(": wall and backend exclude each other"));
}

} // namespace Ctl

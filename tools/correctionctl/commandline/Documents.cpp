#include "Documents.h"

#include "CommandLine.h"
#include "Configuration.h"
#include "session/Service.h"
#include "terminal/ExitCodes.h"

#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QRegularExpression>

#include <algorithm>

// The resources of a static library are registered by the program that uses them.
static void registerTemplates()
{
    Q_INIT_RESOURCE(templates);
}

namespace Ctl {

namespace {

const QLatin1String tagline("the LED wall correction library from a terminal");

QString columns(const QVector<QStringList> &rows)
{
    int width = 0;
    for (const QStringList &row : rows) {
        if (row.at(0).size() <= 30)
            width = std::max(width, row.at(0).size());
    }
    QString text;
    for (const QStringList &row : rows) {
        const bool long_ = row.at(0).size() > width;
        text += QStringLiteral("  ")
                + (long_ ? row.at(0) + QStringLiteral("\n  ") + QString(width, QLatin1Char(' '))
                         : row.at(0).leftJustified(width));
        text += QStringLiteral("  ") + row.at(1) + QLatin1Char('\n');
    }
    return text;
}

QVector<QStringList> titles(const QVector<Parameter> &parameters, bool options)
{
    QVector<QStringList> rows;
    for (const Parameter &parameter : parameters) {
        if (parameter.isOption() == options)
            rows.append({parameter.title(), QLatin1String(parameter.help)});
    }
    return rows;
}

QString section(const QString &title, const QVector<QStringList> &rows)
{
    return rows.isEmpty() ? QString() : QLatin1Char('\n') + title + QStringLiteral(":\n") + columns(rows);
}

QVector<QStringList> globalRows()
{
    auto rows = titles(globalOptions(), true);
    rows.append({QStringLiteral("-h, --help"), QStringLiteral("explain the program, a family of verbs or a verb")});
    return rows;
}

const QVector<QStringList> &standAlone()
{
    static const QVector<QStringList> rows{
        {QStringLiteral("--version"), QStringLiteral("print the version")},
        {QStringLiteral("--man"), QStringLiteral("print the manual page")},
        {QStringLiteral("--completion bash|zsh"), QStringLiteral("print the completion script of a shell")},
    };
    return rows;
}

/// Parameters of a verb and of the families that it belongs to.
QVector<Parameter> allParameters(const Verb &verb)
{
    QVector<Parameter> parameters;
    const QStringList words = verb.words();
    for (int depth = 1; depth < words.size(); ++depth) {
        if (const Family *family = familyOf(words.mid(0, depth).join(QLatin1Char(' '))))
            parameters += family->parameters;
    }
    parameters += verb.parameters;
    if (verb.offersDryRun())
        parameters.append(dryRunOption());
    return parameters;
}

/// A template with its placeholders filled. `@NAME@` is replaced by a value; on a line of its own for whole lines, which end
/// in a line break each.
QString filled(const char *name, const QHash<QString, QString> &values)
{
    registerTemplates();
    QFile file(QStringLiteral(":/correctionctl/") + QLatin1String(name));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no template %s", name);
    const QString text = QString::fromUtf8(file.readAll());
    static const QRegularExpression placeholder(QStringLiteral("^@([A-Z]+)@\\n|@([A-Z]+)@"),
                                                QRegularExpression::MultilineOption);
    QString result;
    int end = 0;
    for (auto match = placeholder.globalMatch(text); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        const QString placeholderName = found.captured(1) + found.captured(2);
        Q_ASSERT(values.contains(placeholderName));
        result += text.mid(end, found.capturedStart() - end) + values.value(placeholderName);
        end = found.capturedEnd();
    }
    return result + text.mid(end);
}

QString roff(const QString &text)
{
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\e")).replace(QLatin1Char('-'), QStringLiteral("\\-"));
    return escaped.startsWith(QLatin1Char('.')) || escaped.startsWith(QLatin1Char('\'')) ? QStringLiteral("\\&") + escaped
                                                                                         : escaped;
}

QString roffRows(const QVector<QStringList> &rows)
{
    QString text;
    for (const QStringList &row : rows)
        text += filled("manual-entry.roff.in", {{QStringLiteral("TITLE"), roff(row.at(0))},
                                                {QStringLiteral("HELP"), roff(row.at(1)) + QLatin1Char('\n')}});
    return text;
}

QString shellQuoted(QString text)
{
    return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QStringLiteral("'\\''")) + QLatin1Char('\'');
}

/// How a shell completes a parameter's values: "@file", "@directory", "@wall", "@screen", "@device", "@cabinet", words, or
/// "@none".
QString completionKind(const Parameter &parameter)
{
    switch (parameter.value) {
    case Value::File:
        return QStringLiteral("@file");
    case Value::Directory:
        return QStringLiteral("@directory");
    case Value::Screen:
        return QStringLiteral("@screen");
    case Value::Device:
        return QStringLiteral("@device");
    case Value::Cabinet:
        return QStringLiteral("@cabinet");
    case Value::OnOff:
    case Value::Kind:
    case Value::Choice:
    case Value::Pair:
        if (parameter.choiceList().isEmpty())
            return QStringLiteral("@none");
        return parameter.choiceList().join(QLatin1Char(' '));
    case Value::None:
    case Value::Text:
    case Value::Number:
    case Value::Rect:
    case Value::Size:
    case Value::Color:
    case Value::Layer:
    case Value::Counts:
        return parameter.key() == QLatin1String("--wall") ? QStringLiteral("@wall") : QStringLiteral("@none");
    }
    return QStringLiteral("@none");
}

/// Both shells parse the words of the command line with the same tables: what may follow a family, which values an
/// option takes, which positional arguments a verb has.
struct CompletionTables {
    QString next;        ///< case lines: path -> words that may follow
    QString options;     ///< case lines: path -> options
    QString values;      ///< case lines: "path --option" -> kind of its value
    QString positionals; ///< case lines: path -> kinds of its positional arguments, one a line
};

CompletionTables completionTables()
{
    CompletionTables tables;
    QMap<QString, QStringList> following;
    for (const Verb &verb : verbs()) {
        const QStringList words = verb.words();
        for (int depth = 0; depth < words.size(); ++depth) {
            QStringList &list = following[words.mid(0, depth).join(QLatin1Char(' '))];
            if (!list.contains(words.at(depth)))
                list.append(words.at(depth));
        }
    }
    for (auto entry = following.cbegin(); entry != following.cend(); ++entry)
        tables.next += QStringLiteral("    %1) echo %2 ;;\n")
                           .arg(shellQuoted(entry.key()), shellQuoted(entry.value().join(QLatin1Char(' '))));

    const auto add = [&tables](const QString &path, const QVector<Parameter> &parameters) {
        QStringList options;
        QStringList kinds;
        for (const Parameter &parameter : parameters) {
            if (!parameter.isOption()) {
                kinds.append((parameter.repeated ? QStringLiteral("+") : QString()) + completionKind(parameter));
                continue;
            }
            options.append(parameter.key());
            if (parameter.value != Value::None)
                tables.values +=
                    QStringLiteral("    %1) echo %2 ;;\n")
                        .arg(shellQuoted(path + QLatin1Char(' ') + parameter.key()), shellQuoted(completionKind(parameter)));
        }
        if (!options.isEmpty())
            tables.options +=
                QStringLiteral("    %1) echo %2 ;;\n").arg(shellQuoted(path), shellQuoted(options.join(QLatin1Char(' '))));
        if (!kinds.isEmpty())
            tables.positionals += QStringLiteral("    %1) printf '%s\\n' %2 ;;\n").arg(shellQuoted(path)).arg([&kinds] {
                QStringList quoted;
                for (const QString &kind : qAsConst(kinds))
                    quoted.append(shellQuoted(kind));
                return quoted.join(QLatin1Char(' '));
            }());
    };
    for (const Family &family : families())
        add(QLatin1String(family.name), family.parameters);
    for (const Verb &verb : verbs()) {
        QVector<Parameter> parameters = verb.parameters;
        if (verb.offersDryRun())
            parameters.append(dryRunOption());
        add(QLatin1String(verb.name), parameters);
    }
    QStringList global;
    for (const Parameter &option : globalOptions()) {
        global.append(option.key());
        if (option.value != Value::None)
            tables.values +=
                QStringLiteral("    *' %1') echo %2 ;;\n").arg(option.key(), shellQuoted(completionKind(option)));
    }
    tables.options +=
        QStringLiteral("    '*') echo %1 ;;\n").arg(shellQuoted(global.join(QLatin1Char(' ')) + QStringLiteral(" --help")));
    return tables;
}

/// The parser, in the common subset of both shells' languages. It prints one candidate a line, or "@file" and the
/// like for what the shell completes by itself. Arguments: the words before the cursor.
QString completionWalk()
{
    const CompletionTables tables = completionTables();
    return filled("walk.sh.in", {{QStringLiteral("NEXT"), tables.next},
                                 {QStringLiteral("OPTIONS"), tables.options},
                                 {QStringLiteral("VALUES"), tables.values},
                                 {QStringLiteral("POSITIONALS"), tables.positionals}});
}

} // namespace

QString helpText()
{
    QString text = QStringLiteral("correctionctl - %1\n\nusage: correctionctl [OPTIONS] VERB [ARGUMENTS]\n").arg(tagline);
    QVector<QStringList> rows;
    QStringList seen;
    for (const Verb &verb : verbs()) {
        const QString first = verb.words().first();
        const Family *const family = familyOf(first);
        if (!family)
            rows.append({first, QLatin1String(verb.help)});
        else if (!seen.contains(first))
            rows.append({first + QStringLiteral(" ..."), QLatin1String(family->help)});
        seen.append(first);
    }
    text += section(QStringLiteral("verbs"), rows) + section(QStringLiteral("options"), globalRows())
            + section(QStringLiteral("alone"), standAlone());
    rows.clear();
    for (const ExitCode &code : exitCodes())
        rows.append({QString::number(code.number).rightJustified(3) + QLatin1Char(' ') + QLatin1String(code.name),
                     QLatin1String(code.meaning)});
    return text + section(QStringLiteral("exit codes"), rows)
           + QStringLiteral("\n`correctionctl VERB --help` explains a verb.\n");
}

QString helpText(const Family &family)
{
    QVector<QStringList> rows;
    const QString prefix = QLatin1String(family.name) + QStringLiteral(" ");
    for (const Verb &verb : verbs()) {
        const QString name = QLatin1String(verb.name);
        if (name.startsWith(prefix))
            rows.append({verb.usage().mid(int(qstrlen("correctionctl "))), QLatin1String(verb.help)});
    }
    return QStringLiteral("%1\n").arg(QLatin1String(family.help)) + section(QStringLiteral("verbs"), rows)
           + section(QStringLiteral("arguments"), titles(family.parameters, false))
           + section(QStringLiteral("options"), globalRows());
}

QString helpText(const Verb &verb)
{
    const QVector<Parameter> parameters = allParameters(verb);
    return QStringLiteral("%1\n\nusage: %2\n").arg(QLatin1String(verb.help), verb.usage())
           + section(QStringLiteral("arguments"), titles(parameters, false))
           + section(QStringLiteral("options"), titles(parameters, true))
           + section(QStringLiteral("for every verb"), globalRows())
           + QStringLiteral("\nexample:\n  %1\n").arg(QLatin1String(verb.example));
}

QString manualPage()
{
    QString described;
    for (const Verb &verb : verbs()) {
        const QString shape = QLatin1String(verb.shape);
        described += filled("manual-verb.roff.in",
                            {{QStringLiteral("NAME"), roff(QLatin1String(verb.name))},
                             {QStringLiteral("HELP"), roff(QLatin1String(verb.help))},
                             {QStringLiteral("USAGE"), roff(verb.usage())},
                             {QStringLiteral("PARAMETERS"),
                              roffRows(titles(allParameters(verb), false) + titles(allParameters(verb), true))},
                             {QStringLiteral("SHAPE"), shape.isEmpty() ? QStringLiteral("that of the verb") : roff(shape)},
                             {QStringLiteral("EXAMPLE"), roff(QLatin1String(verb.example)) + QLatin1Char('\n')}});
    }
    QVector<QStringList> codes;
    for (const ExitCode &code : exitCodes())
        codes.append({QStringLiteral("%1 (%2)").arg(code.number).arg(QLatin1String(code.name)),
                      QStringLiteral("%1 %2").arg(QLatin1String(code.meaning), QLatin1String(code.next))});
    return filled(
        "manual.roff.in",
        {{QStringLiteral("VERSION"), QStringLiteral(CORRECTIONCTL_VERSION)},
         {QStringLiteral("TAGLINE"), roff(tagline)},
         {QStringLiteral("WALL"), Service::hasWall()
                                      ? QStringLiteral("on a virtual wall")
                                      : QStringLiteral("through the device service that the program was built with")},
         {QStringLiteral("KEYS"), roff(configurationKeys().join(QStringLiteral(", ")))},
         {QStringLiteral("WALLVARIABLE"),
          Service::hasWall() ? roffRows(
              {{QStringLiteral("CORRECTION_WALL"), QStringLiteral("The virtual wall, where --wall does not name one. It has "
                                                                  "priority over the configuration file.")}})
                             : QString()},
         {QStringLiteral("OPTIONS"), roffRows(globalRows() + standAlone())},
         {QStringLiteral("VERBS"), described},
         {QStringLiteral("EXITCODES"), roffRows(codes)}});
}

QString completion(const QString &shell)
{
    if (shell != QLatin1String("bash") && shell != QLatin1String("zsh"))
        throw Failure(ExitUsage, QStringLiteral("--completion \"%1\": expected bash or zsh").arg(shell));
    return filled(shell == QLatin1String("bash") ? "completion.bash.in" : "completion.zsh.in",
                  {{QStringLiteral("WALK"), completionWalk()}});
}

} // namespace Ctl

#include "Documents.h"

#include "CommandLine.h"
#include "session/Service.h"
#include "terminal/ExitCodes.h"

#include <algorithm>

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
        text += QStringLiteral(".TP\n\\fB%1\\fR\n%2\n").arg(roff(row.at(0)), roff(row.at(1)));
    return text;
}

QString shellQuoted(QString text)
{
    return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QStringLiteral("'\\''")) + QLatin1Char('\'');
}

/// What a parameter's values look like to a shell: "file", "directory", "screen", words, or nothing.
QString completionKind(const Parameter &parameter)
{
    switch (parameter.value) {
    case Value::File:
        return QStringLiteral("@file");
    case Value::Directory:
        return QStringLiteral("@directory");
    case Value::Screen:
        return QStringLiteral("@screen");
    case Value::OnOff:
    case Value::Kind:
    case Value::Choice:
        return parameter.choiceList().join(QLatin1Char(' '));
    case Value::None:
    case Value::Text:
    case Value::Number:
    case Value::Rect:
    case Value::Size:
    case Value::Color:
    case Value::Device:
    case Value::Cabinet:
    case Value::Pair:
    case Value::Layer:
        return parameter.key() == QLatin1String("--wall") ? QStringLiteral("@wall") : QStringLiteral("@none");
    }
    return QStringLiteral("@none");
}

/// Both shells walk through the words of the command line with the same tables: what may follow a family, which values an
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

/// The screens of the wall that the words choose, one a line.
QString completionScreens()
{
    QString choose;
    QString ask = QStringLiteral("correctionctl");
    if (Service::hasWall()) {
        choose = QStringLiteral("  local wall='demo' next='' word\n"
                                "  for word in \"$@\"; do\n"
                                "    if [ -n \"$next\" ]; then wall=\"$word\"; next=''; fi\n"
                                "    case \"$word\" in --wall) next=yes ;; --wall=*) wall=\"${word#--wall=}\" ;; esac\n"
                                "  done\n");
        ask += QStringLiteral(" --wall \"$wall\"");
    }
    return QStringLiteral("_correctionctl_screens() {\n") + choose + QStringLiteral("  ") + ask
           + QStringLiteral(" screens --json 2>/dev/null | sed -n 's/^ *\"id\": \"\\(.*\\)\",*$/\\1/p'\n}\n\n");
}

/// The walk itself, in the part of the language that both shells share. It prints one candidate a line, or "@file" and the
/// like for what the shell completes by itself. Arguments: the words before the cursor.
QString completionWalk()
{
    const CompletionTables tables = completionTables();
    return QStringLiteral("_correctionctl_next() {\n  case \"$1\" in\n") + tables.next + QStringLiteral("  esac\n}\n\n")
           + QStringLiteral("_correctionctl_options() {\n  case \"$1\" in\n") + tables.options
           + QStringLiteral("  esac\n}\n\n") + QStringLiteral("_correctionctl_value() {\n  case \"$1\" in\n") + tables.values
           + QStringLiteral("  esac\n}\n\n") + QStringLiteral("_correctionctl_positionals() {\n  case \"$1\" in\n")
           + tables.positionals + QStringLiteral("  esac\n}\n\n")
           + QString::fromLatin1(
               "# usage: _correctionctl_walk CURRENT WORDS-BEFORE...\n"
               "_correctionctl_walk() {\n"
               "  local current=\"$1\" verb='' given=0 value='' word kind total\n"
               "  shift\n"
               "  for word in \"$@\"; do\n"
               "    if [ -n \"$value\" ]; then value=''; continue; fi\n"
               "    case \"$word\" in\n"
               "      --*=*) continue ;;\n"
               "      -*) value=\"$(_correctionctl_value \"$verb $word\")\"; continue ;;\n"
               "    esac\n"
               "    total=\"$(_correctionctl_positionals \"$verb\" | wc -l)\"\n"
               "    case \" $(_correctionctl_next \"$verb\") \" in\n"
               "      *\" $word \"*)\n"
               "        if [ \"$given\" -ge \"$total\" ]; then\n"
               "          case \"$verb\" in record|replay) verb='' ;; esac\n"
               "          verb=\"${verb:+$verb }$word\"; given=0; continue\n"
               "        fi ;;\n"
               "    esac\n"
               "    case \"$verb\" in\n"
               "      record|replay) if [ \"$given\" -ge \"$total\" ]; then verb=\"$word\"; given=0; continue; fi ;;\n"
               "    esac\n"
               "    given=$((given + 1))\n"
               "  done\n"
               "  if [ -n \"$value\" ]; then printf '%s\\n' \"$value\" | tr ' ' '\\n'; return; fi\n"
               "  case \"$current\" in\n"
               "    -*) { _correctionctl_options \"$verb\"; _correctionctl_options '*'; } | tr ' ' '\\n'; return ;;\n"
               "  esac\n"
               "  total=\"$(_correctionctl_positionals \"$verb\" | wc -l)\"\n"
               "  kind=\"$(_correctionctl_positionals \"$verb\" | sed -n \"$((given + 1))p\")\"\n"
               "  if [ -z \"$kind\" ]; then kind=\"$(_correctionctl_positionals \"$verb\" | sed -n '$p' | grep '^+')\"; fi\n"
               "  printf '%s\\n' \"${kind#+}\" | tr ' ' '\\n'\n"
               "  if [ \"$given\" -ge \"$total\" ]; then\n"
               "    case \"$verb\" in record|replay) verb='' ;; esac\n"
               "    _correctionctl_next \"$verb\" | tr ' ' '\\n'\n"
               "  fi\n"
               "}\n\n")
           + completionScreens();
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
    QString text = QStringLiteral(".TH CORRECTIONCTL 1 \"\" \"correctionctl " CORRECTIONCTL_VERSION
                                  "\" \"User Commands\"\n.SH NAME\ncorrectionctl \\- ");
    text += roff(tagline)
            + QStringLiteral("\n.SH SYNOPSIS\n.B correctionctl\n[\\fIOPTIONS\\fR] \\fIVERB\\fR [\\fIARGUMENTS\\fR]\n");
    text += QStringLiteral(".SH DESCRIPTION\nReads and writes the correction coefficients of LED walls, and the display "
                           "parameters that go with them, ");
    text += Service::hasWall() ? QStringLiteral("on a virtual wall")
                               : QStringLiteral("through the device service that the program was built with");
    text += QStringLiteral(".\n.PP\nFiles of "
                           "coefficients are known by their "
                           "extension: \\fI.npy\\fR is a NumPy array of the shape (rows, columns, 9) of whole numbers, "
                           "written as little\\-endian uint16, \\fI.json\\fR a flat array of "
                           "numbers without the grid's size, \\fI.png\\fR a 16\\-bit grey preview of one value of each "
                           "pixel. A file is written to a temporary "
                           "one and renamed.\n.SH OPTIONS\n");
    text += roffRows(globalRows() + standAlone()) + QStringLiteral(".SH VERBS\n");
    for (const Verb &verb : verbs()) {
        text += QStringLiteral(".SS \"%1\"\n%2.\n.PP\n\\fB%3\\fR\n")
                    .arg(roff(QLatin1String(verb.name)), roff(QLatin1String(verb.help)), roff(verb.usage()));
        text += roffRows(titles(allParameters(verb), false) + titles(allParameters(verb), true));
        text += QStringLiteral(".PP\nExample:\n.PP\n.RS\n.nf\n%1\n.fi\n.RE\n").arg(roff(QLatin1String(verb.example)));
    }
    text += QStringLiteral(".SH EXIT STATUS\n");
    for (const ExitCode &code : exitCodes())
        text += roffRows({{QStringLiteral("%1 (%2)").arg(code.number).arg(QLatin1String(code.name)),
                           QStringLiteral("%1 %2").arg(QLatin1String(code.meaning), QLatin1String(code.next))}});
    text +=
        QStringLiteral("A screen write answers the bitwise OR of its devices' codes, which makes exit codes up to 15.\n");
    text += QStringLiteral(".SH ENVIRONMENT\n")
            + roffRows({{QStringLiteral("NO_COLOR"), QStringLiteral("If set, nothing is coloured.")},
                        {QStringLiteral("QT_LOGGING_RULES"),
                         QStringLiteral("Which of the library's log lines (category \"correction\") --verbose shows.")}});
    return text;
}

QString completion(const QString &shell)
{
    const QString head =
        QStringLiteral("# Completion of correctionctl, made by `correctionctl --completion %1`.\n\n").arg(shell);
    if (shell == QLatin1String("bash"))
        return head + completionWalk()
               + QString::fromLatin1(
                   "_correctionctl() {\n"
                   "  local current=\"${COMP_WORDS[COMP_CWORD]}\" candidate\n"
                   "  COMPREPLY=()\n"
                   "  while IFS= read -r candidate; do\n"
                   "    case \"$candidate\" in\n"
                   "      @file) mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- \"$current\"); compopt -o "
                   "filenames ;;\n"
                   "      @directory) mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -d -- \"$current\"); compopt -o "
                   "filenames ;;\n"
                   "      @wall) mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -W 'demo uhd stadium broken' -- "
                   "\"$current\"; compgen -f -- \"$current\") ;;\n"
                   "      @screen) mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -W \"$(_correctionctl_screens "
                   "\"${COMP_WORDS[@]}\")\" -- \"$current\") ;;\n"
                   "      @none|'') ;;\n"
                   "      *) mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -W \"$candidate\" -- \"$current\") ;;\n"
                   "    esac\n"
                   "  done < <(_correctionctl_walk \"$current\" \"${COMP_WORDS[@]:1:COMP_CWORD-1}\")\n"
                   "}\n\n"
                   "complete -F _correctionctl correctionctl\n");
    if (shell == QLatin1String("zsh"))
        return QStringLiteral("#compdef correctionctl\n") + head + completionWalk()
               + QString::fromLatin1("_correctionctl() {\n"
                                     "  local candidate\n"
                                     "  _correctionctl_walk \"${words[CURRENT]}\" \"${(@)words[2,CURRENT-1]}\" | while IFS= "
                                     "read -r candidate; do\n"
                                     "    case \"$candidate\" in\n"
                                     "      @file) _files ;;\n"
                                     "      @directory) _files -/ ;;\n"
                                     "      @wall) compadd demo uhd stadium broken; _files ;;\n"
                                     "      @screen) compadd -- $(_correctionctl_screens \"${words[@]}\") ;;\n"
                                     "      @none|'') ;;\n"
                                     "      *) compadd -- \"$candidate\" ;;\n"
                                     "    esac\n"
                                     "  done\n"
                                     "}\n\n"
                                     "_correctionctl \"$@\"\n");
    throw Failure(ExitUsage, QStringLiteral("--completion \"%1\": expected bash or zsh").arg(shell));
}

} // namespace Ctl

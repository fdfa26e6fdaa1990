#include "CommandLine.h"

#include "Documents.h"
#include "session/Service.h"
#include "terminal/ExitCodes.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

namespace Ctl {

namespace {

QString fromCli(const std::string &text)
{
    return QString::fromStdString(text);
}

/// The parser of the whole table. CLI11 keeps what was given; nothing is bound to variables.
class Parser
{
public:
    Parser() : m_app("", "correctionctl")
    {
        m_app.set_help_flag("-h,--help", "");
        m_app.require_subcommand(1, 1);
        m_app.fallthrough();
        for (const Parameter &option : knownGlobalOptions())
            add(m_app, option);
        for (const Verb &verb : knownVerbs())
            add(verb);
    }

    /// See parseCommandLine().
    Invocation parse(const QStringList &arguments, QString &verb)
    {
        const auto refuseUnoffered = [&verb](const QString &name) {
            verb = verbOf(name) ? name : QString();
            Parser::refuseUnoffered(name);
        };
        std::vector<std::string> reversed;
        for (auto argument = arguments.crbegin(); argument != arguments.crend(); ++argument)
            reversed.push_back(argument->toStdString());
        Invocation invocation;
        if (const QString name = verbAskedAbout(arguments); !name.isEmpty()) {
            refuseUnoffered(name);
            invocation.help = helpOf(name);
            return invocation;
        }
        try {
            m_app.parse(reversed);
        } catch (const CLI::CallForHelp &) {
            const QString name = deepest();
            if (const std::vector<std::string> unknown = m_app.remaining(true); !verbOf(name) && !unknown.empty())
                throw Failure(ExitUsage, noVerb(unknown.front()));
            refuseUnoffered(name);
            invocation.help = helpOf(name);
            return invocation;
        } catch (const CLI::ParseError &error) {
            const QString name = deepest();
            refuseUnoffered(name);
            const QString reason = reasonOf(error, name);
            throw Failure(ExitUsage, familyOf(name) ? name + QStringLiteral(": ") + reason : reason);
        }
        invocation.verb = verbOf(deepest());
        if (!invocation.verb)
            throw Failure(ExitInternal, QStringLiteral("the command line \"%1\" was not understood").arg(deepest()));
        CLI::App *app = &m_app;
        collect(*app, invocation.arguments);
        while (!app->get_subcommands().empty()) {
            app = app->get_subcommands().front();
            collect(*app, invocation.arguments);
        }
        refuseUnoffered(QLatin1String(invocation.verb->name));
        refuseUnofferedOptions(*invocation.verb, invocation.arguments);
        for (const std::string &text : app->remaining())
            invocation.rest.append(fromCli(text));
        return invocation;
    }

private:
    void add(const Verb &verb)
    {
        CLI::App *app = &m_app;
        const QStringList words = verb.words();
        for (int depth = 0; depth < words.size(); ++depth) {
            const QString path = words.mid(0, depth + 1).join(QLatin1Char(' '));
            CLI::App *&next = m_known[path];
            if (!next) {
                next = app->add_subcommand(words.at(depth).toStdString());
                if (const Family *family = familyOf(path)) {
                    next->require_subcommand(1, 1);
                    for (const Parameter &parameter : family->parameters)
                        add(*next, parameter);
                }
            }
            app = next;
        }
        for (const Parameter &parameter : verb.parameters)
            add(*app, parameter);
        if (verb.writes)
            add(*app, dryRunOption());
        if (verb.wrapsCommand) {
            // All behind FILE is another command line, so options before it are this verb's own.
            for (const Parameter &option : knownGlobalOptions())
                add(*app, option);
            app->fallthrough(false);
            app->prefix_command();
        }
    }

    static void add(CLI::App &app, const Parameter &parameter)
    {
        std::string name = parameter.name;
        if (parameter.letter)
            name = std::string("-") + parameter.letter + "," + name;
        if (parameter.value == Value::None) {
            CLI::Option *const flag = app.add_flag(name)->group(parameter.name);
            if (parameter.choiceList().isEmpty())
                flag->disable_flag_override();
            else
                flag->check([parameter](const std::string &text) {
                    const bool isKnown = text == "true" || parameter.choiceList().contains(fromCli(text));
                    return isKnown ? std::string() : "expected no value or " + std::string(parameter.choices);
                });
            return;
        }
        CLI::Option *const option = app.add_option(name);
        option->group(parameter.name);
        option->required(parameter.required);
        if (parameter.repeated)
            option->expected(parameter.required ? 1 : 0, CLI::detail::expected_max_vector_size)
                ->allow_extra_args(!parameter.isOption())
                ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        if (parameter.repeated && parameter.isOption())
            option->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        option->check([parameter](const std::string &text) { return complaint(parameter, fromCli(text)).toStdString(); });
    }

    /// "cabinet info" for `cabinet info --help`, which lacks the family's arguments. Else empty.
    static QString verbAskedAbout(const QStringList &arguments)
    {
        QStringList words = arguments;
        const bool help = words.removeAll(QStringLiteral("--help")) + words.removeAll(QStringLiteral("-h")) > 0;
        const QString name = words.join(QLatin1Char(' '));
        return help && (verbOf(name) || familyOf(name)) ? name : QString();
    }

    /// The option's group holds its name in the table.
    static void collect(const CLI::App &app, Arguments &arguments)
    {
        for (const CLI::Option *option : app.get_options()) {
            if (option->count() == 0 || option == app.get_help_ptr())
                continue;
            QStringList texts;
            for (const std::string &text : option->results())
                texts.append(fromCli(text));
            arguments.set(fromCli(option->get_group()), texts);
        }
    }

    /// The words of the family or verb that was reached.
    QString deepest() const
    {
        QStringList words;
        for (const CLI::App *app = &m_app; !app->get_subcommands().empty();) {
            app = app->get_subcommands().front();
            words.append(fromCli(app->get_name()));
        }
        return words.join(QLatin1Char(' '));
    }

    /// CLI11's own message, except for a missing or unknown verb.
    QString reasonOf(const CLI::ParseError &error, const QString &name) const
    {
        const bool incomplete = name.isEmpty() || familyOf(name);
        const bool verbMissing =
            dynamic_cast<const CLI::RequiredError *>(&error) && fromCli(error.what()).contains(QLatin1String("ubcommand"));
        if (!incomplete || !(verbMissing || dynamic_cast<const CLI::ExtrasError *>(&error)))
            return fromCli(error.what()).simplified();
        const std::vector<std::string> unknown = m_app.remaining(true);
        return unknown.empty() ? QStringLiteral("a verb is missing") : noVerb(unknown.front());
    }

    /// Names the next word of a known verb that a mistyped one is close to.
    static QString noVerb(const std::string &word)
    {
        const QString typed = fromCli(word);
        QString best;
        int least = 3; // fewer edits count as a typing mistake
        for (const Verb &verb : verbs()) {
            for (const QString &known : verb.words()) {
                const int edits = distance(typed, known);
                if (edits < least && edits < known.size() - 1) {
                    least = edits;
                    best = known;
                }
            }
        }
        const QString text = QStringLiteral("\"%1\" is not a verb or option").arg(typed);
        return best.isEmpty() ? text : QStringLiteral("%1; did you mean \"%2\"?").arg(text, best);
    }

    /// The number of letters to insert, delete or replace (Levenshtein).
    static int distance(const QString &from, const QString &to)
    {
        QVector<int> row(to.size() + 1);
        std::iota(row.begin(), row.end(), 0);
        for (int i = 0; i < from.size(); ++i) {
            int diagonal = row[0]++;
            for (int j = 0; j < to.size(); ++j) {
                const int replaced = diagonal + (from[i] == to[j] ? 0 : 1);
                diagonal = row[j + 1];
                row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
            }
        }
        return row.last();
    }

    /// What needs the virtual wall or the adapter is refused where the program has another service: there an option that has
    /// no effect would let requests meant for a virtual wall reach real devices.
    [[noreturn]] static void refuseVirtual(const QString &prefix)
    {
        throw Failure(ExitUsage, prefix
                                     + QStringLiteral("not offered here; this program was built with a device service and "
                                                      "works on real devices"));
    }

    static void refuseUnoffered(const QString &name)
    {
        const Verb *const verb = verbOf(name);
        const Family *const family = familyOf(name);
        if (!Service::hasWall() && verb && verb->virtualOnly)
            refuseVirtual(QString());
        if (!Service::hasWall() && family && family->virtualOnly)
            refuseVirtual(name + QStringLiteral(": "));
    }

    static void refuseUnofferedOptions(const Verb &verb, const Arguments &arguments)
    {
        for (const Parameter &parameter : knownGlobalOptions() + verb.parameters + QVector<Parameter>{dryRunOption()}) {
            if (!Service::hasWall() && parameter.virtualOnly && arguments.has(parameter.name))
                refuseVirtual(parameter.key() + QStringLiteral(": "));
        }
    }

    static QString helpOf(const QString &name)
    {
        if (const Verb *verb = verbOf(name))
            return helpText(*verb);
        if (const Family *family = familyOf(name))
            return helpText(*family);
        return helpText();
    }

    CLI::App m_app;
    QMap<QString, CLI::App *> m_known; ///< By their words.
};

} // namespace

qint64 Arguments::number(const char *name, qint64 fallback) const
{
    return has(name) ? parseNumber(text(name)).value_or(fallback) : fallback;
}

Correction::EnumCoefficientType Arguments::kind(const char *name) const
{
    return parseKind(text(name)).value_or(Correction::enCommonCoefficient);
}

QColor Arguments::color(const char *name, const QColor &fallback) const
{
    return parseColor(text(name)).value_or(fallback);
}

Invocation parseCommandLine(const QStringList &arguments, QString &verb)
{
    verb.clear();
    // Documents that are printed instead of running a verb.
    Invocation invocation;
    const QString first = arguments.value(0);
    if (arguments.isEmpty() || first == QLatin1String("help")) {
        if (arguments.size() > 1)
            return parseCommandLine(arguments.mid(1) + QStringList{QStringLiteral("--help")}, verb);
        invocation.help = helpText();
    } else if (first == QLatin1String("--version")) {
        invocation.help = QStringLiteral("correctionctl " CORRECTIONCTL_VERSION "\n");
    } else if (first == QLatin1String("--man")) {
        invocation.help = manualPage();
    } else if (first == QLatin1String("--completion")) {
        invocation.help = completion(arguments.value(1));
    } else {
        return Parser().parse(arguments, verb);
    }
    return invocation;
}

} // namespace Ctl

#include "Output.h"

#include "ExitCodes.h"
#include "Texts.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QLoggingCategory>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <unistd.h>

namespace Ctl {

namespace {

bool g_outputFailed = false;
bool g_readerGone = false;
bool g_keptForFile = false;
Output::Colour g_colour = Output::Colour::Auto;

std::FILE *textStream()
{
    return g_keptForFile ? stderr : stdout;
}

void write(std::FILE *stream, const QByteArray &bytes)
{
    const auto length = static_cast<std::size_t>(bytes.size());
    if (std::fwrite(bytes.constData(), 1, length, stream) != length && stream == stdout) {
        g_outputFailed = true;
        g_readerGone = errno == EPIPE;
    }
}

bool colourWanted(int descriptor)
{
    if (!qgetenv("NO_COLOR").isEmpty() || g_colour == Output::Colour::Never)
        return false;
    return g_colour == Output::Colour::Always || (isatty(descriptor) && qgetenv("TERM") != "dumb");
}

bool isNumber(const QString &text)
{
    bool good = false;
    static_cast<void>(text.toDouble(&good));
    return good;
}

QString bold(const QString &text)
{
    return Output::colourOnOutput() ? QStringLiteral("\x1b[1m%1\x1b[0m").arg(text) : text;
}

} // namespace

Output::Output(bool json, bool quiet) : m_json(json), m_quiet(quiet) {}

void Output::line(const QString &text)
{
    if (!m_json && !m_quiet)
        write(textStream(), printable(text).toUtf8() + '\n');
}

void Output::table(const QStringList &head, const QVector<QStringList> &texts)
{
    if (m_json || m_quiet)
        return;
    QVector<QStringList> rows;
    for (const QStringList &row : texts) {
        QStringList cells;
        for (const QString &cell : row)
            cells.append(printable(cell));
        rows.append(cells);
    }
    QVector<int> widths;
    QVector<bool> numbers;
    for (int column = 0; column < head.size(); ++column) {
        int width = head.at(column).size();
        bool allNumbers = !rows.isEmpty();
        for (const QStringList &row : rows) {
            width = std::max(width, row.value(column).size());
            allNumbers = allNumbers && isNumber(row.value(column));
        }
        widths.append(width);
        numbers.append(allNumbers);
    }
    const auto format = [&](const QStringList &cells) {
        QString text;
        for (int column = 0; column < head.size(); ++column) {
            const QString cell = cells.value(column);
            const bool last = column + 1 == head.size();
            text += numbers.at(column) ? cell.rightJustified(widths.at(column))
                                       : (last ? cell : cell.leftJustified(widths.at(column)));
            text += last ? QString() : QStringLiteral("  ");
        }
        while (text.endsWith(QLatin1Char(' ')))
            text.chop(1);
        return text;
    };
    write(textStream(), bold(format(head)).toUtf8() + '\n');
    for (const QStringList &row : qAsConst(rows))
        write(textStream(), format(row).toUtf8() + '\n');
}

void Output::data(const QJsonObject &entries)
{
    for (auto entry = entries.begin(); entry != entries.end(); ++entry)
        m_data.insert(entry.key(), entry.value());
    const QString done = QStringLiteral("done");
    const QString saved = QStringLiteral("saved");
    if (m_dryRun && entries.contains(done))
        m_data.insert(done, QStringLiteral("dry run: ") + entries.value(done).toString());
    if (m_dryRun && entries.contains(saved))
        m_data.insert(saved, false);
}

void Output::warn(const QString &kind, const QString &text)
{
    m_warnings.append(QJsonObject{{QStringLiteral("kind"), kind}, {QStringLiteral("message"), text}});
    if (!m_quiet)
        error(QStringLiteral("warning: ") + text);
}

void Output::jsonLine(const QJsonObject &document)
{
    if (!m_json)
        return;
    write(textStream(), QJsonDocument(document).toJson(QJsonDocument::Compact) + '\n');
    m_wroteLines = true;
}

void Output::keepForFile()
{
    g_keptForFile = true;
}

void Output::raw(const QByteArray &bytes)
{
    write(stdout, bytes);
}

bool Output::flush()
{
    if (std::fflush(stdout) != 0) {
        g_outputFailed = true;
        g_readerGone = g_readerGone || errno == EPIPE;
    }
    return !g_outputFailed;
}

void Output::error(const QString &text)
{
    write(stderr, colourOnError() ? "\x1b[31mcorrectionctl:\x1b[0m " : "correctionctl: ");
    note(text);
}

void Output::note(const QString &text)
{
    write(stderr, printable(text).toUtf8() + '\n');
}

bool Output::finish(const QString &verb, int exit, const QString &message)
{
    if (m_json && !m_wroteLines) {
        QJsonObject document = m_beside;
        const QJsonObject own{{QStringLiteral("format"), QStringLiteral("correctionctl")},
                              {QStringLiteral("version"), 1},
                              {QStringLiteral("verb"), verb},
                              {QStringLiteral("exit"), exit},
                              {QStringLiteral("result"), resultName(exit)},
                              {QStringLiteral("message"), message},
                              {QStringLiteral("warnings"), m_warnings},
                              {QStringLiteral("data"), m_data}};
        for (auto entry = own.begin(); entry != own.end(); ++entry)
            document.insert(entry.key(), entry.value());
        write(textStream(), QJsonDocument(document).toJson());
    }
    return flush();
}

void Output::setColour(Colour colour)
{
    g_colour = colour;
}

bool Output::readerGone()
{
    return g_readerGone;
}

bool Output::colourOnOutput()
{
    return colourWanted(STDOUT_FILENO);
}

bool Output::colourOnError()
{
    return colourWanted(STDERR_FILENO);
}

bool Output::errorIsTerminal()
{
    return isatty(STDERR_FILENO);
}

namespace LibraryLog {

namespace {

std::mutex g_mutex;
QStringList g_lines;
QStringList g_warnings; ///< For report().
QString g_firstCritical;
QStringList g_subScreenKeys;
const QLatin1String noSubScreen("Cannot find SubScreen. SubScreen key: ");
bool g_verbose = false;
constexpr int longestLog = 1000; // kept lines: enough for a report, limited for long runs

void handle(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const char *const level = type == QtDebugMsg      ? "debug"
                              : type == QtInfoMsg     ? "info"
                              : type == QtWarningMsg  ? "warning"
                              : type == QtCriticalMsg ? "critical"
                                                      : "fatal";
    const QString text = QStringLiteral("%1: %2").arg(QLatin1String(level), message.trimmed());
    const std::lock_guard<std::mutex> guard(g_mutex);
    if (g_verbose || type == QtFatalMsg)
        Output::note(text);
    const QLatin1String category(context.category);
    if (category != QLatin1String("correction") && !category.startsWith(QLatin1String("correction.")))
        return;
    if (g_lines.size() < longestLog)
        g_lines.append(text);
    // Shared ids have a separate warning, one for all devices.
    if (type == QtWarningMsg && !message.startsWith(QLatin1String("Cabinet id ")) && g_warnings.size() < longestLog)
        g_warnings.append(message.trimmed());
    // Discovery logs for every device, also on success, that its sub-screen did not exist before.
    const bool isOrdinary = message.startsWith(noSubScreen);
    if (isOrdinary)
        g_subScreenKeys.append(message.mid(noSubScreen.size()));
    if (type == QtCriticalMsg && !isOrdinary && g_firstCritical.isNull())
        g_firstCritical = message.trimmed();
}

} // namespace

void install(bool verbose)
{
    g_verbose = verbose;
    // A screen write logs two lines for each cabinet: they are formatted only where they are shown. The user's rules have
    // priority over these.
    QLoggingCategory::setFilterRules(verbose ? QString() : QStringLiteral("correction.debug=false"));
    qInstallMessageHandler(handle);
}

void forget()
{
    const std::lock_guard<std::mutex> guard(g_mutex);
    g_lines.clear();
    g_subScreenKeys.clear();
    g_firstCritical.clear();
}

void report(Output &output)
{
    QStringList warnings;
    {
        const std::lock_guard<std::mutex> guard(g_mutex);
        warnings.swap(g_warnings);
    }
    warnings.removeDuplicates();
    constexpr int shown = 16;
    for (const QString &warning : warnings.mid(0, shown))
        output.warn(QStringLiteral("library"), warning);
    if (warnings.size() > shown)
        output.warn(QStringLiteral("library"), QStringLiteral("%1 more; --verbose shows them").arg(warnings.size() - shown));
}

QString firstCritical()
{
    const std::lock_guard<std::mutex> guard(g_mutex);
    return g_verbose ? QString() : g_firstCritical;
}

bool anyCritical()
{
    const std::lock_guard<std::mutex> guard(g_mutex);
    return !g_firstCritical.isNull();
}

QStringList lines()
{
    const std::lock_guard<std::mutex> guard(g_mutex);
    return g_lines;
}

QStringList subScreenKeys()
{
    const std::lock_guard<std::mutex> guard(g_mutex);
    return g_subScreenKeys;
}

} // namespace LibraryLog

} // namespace Ctl

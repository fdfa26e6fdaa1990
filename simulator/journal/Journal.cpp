#include "Journal.h"

#include "files/DiskFiles.h"
#include "json/Describe.h"
#include "json/TypedJson.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSaveFile>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

namespace Simulator {

namespace {

const QLatin1String formatName("led-wall");
constexpr int formatVersion = 1;

void setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

// Writing

/// The entries of a line's object.
class Line
{
public:
    /// Begins an entry; its value is appended to what comes back.
    QByteArray &entry(const char *key)
    {
        m_json += m_json.isEmpty() ? "{\"" : ", \"";
        m_json += key;
        m_json += "\": ";
        return m_json;
    }
    void text(const char *key, const QString &value)
    {
        if (!value.isNull())
            appendJsonText(entry(key), value);
    }
    void value(const char *key, const QVariant &value)
    {
        if (value.isValid())
            appendTypedJson(entry(key), value);
    }
    void number(const char *key, qint64 value) { entry(key) += QByteArray::number(value); }
    void flag(const char *key, bool value) { entry(key) += value ? "true" : "false"; }
    QByteArray ended()
    {
        m_json += "}\n";
        return m_json;
    }

private:
    QByteArray m_json;
};

// Reading

/// The entries of a line's object, read strictly. Problems are thrown as a JsonProblem.
class Fields
{
public:
    explicit Fields(const QJsonObject &object) : m_object(object) {}

    QJsonValue take(const char *key) { return m_object.take(QLatin1String(key)); }
    QJsonValue required(const char *key)
    {
        const QJsonValue value = take(key);
        if (value.isUndefined())
            throw JsonProblem{QString::fromLatin1(key), QStringLiteral("missing")};
        return value;
    }
    /// Null when it is absent.
    QString text(const char *key) { return text(key, take(key)); }
    QString requiredText(const char *key) { return text(key, required(key)); }
    /// `absent` when it is absent.
    bool flag(const char *key, bool absent)
    {
        const QJsonValue value = take(key);
        return value.isUndefined() ? absent : flag(key, value);
    }
    bool requiredFlag(const char *key) { return flag(key, required(key)); }
    /// At least `least`; `least` when it is absent.
    qint64 number(const char *key, qint64 least)
    {
        const QJsonValue value = take(key);
        return value.isUndefined() ? least : number(key, value, least);
    }
    qint64 requiredNumber(const char *key, qint64 least) { return number(key, required(key), least); }
    QVariant value(const char *key)
    {
        const QJsonValue value = take(key);
        return fromTypedJson(value, QString::fromLatin1(key));
    }
    QMap<QString, QString> texts(const char *key)
    {
        const QJsonValue value = take(key);
        const QString path = QString::fromLatin1(key);
        if (!value.isUndefined() && !value.isObject())
            throw JsonProblem{path, QStringLiteral("expected a map, got %1").arg(describeJson(value))};
        QMap<QString, QString> result;
        const QJsonObject object = value.toObject();
        for (auto it = object.constBegin(); it != object.constEnd(); ++it)
            result.insert(it.key(), text(pathOf(path, it.key()), it.value()));
        return result;
    }
    /// Refuses entries that were not taken.
    void done() const
    {
        if (!m_object.isEmpty())
            throw JsonProblem{pathOf(QString(), m_object.constBegin().key()), QStringLiteral("unknown key")};
    }

private:
    static QString text(const QString &path, const QJsonValue &value)
    {
        if (value.isUndefined())
            return QString();
        if (!value.isString())
            throw JsonProblem{path, QStringLiteral("expected a text, got %1").arg(describeJson(value))};
        const QString result = value.toString();
        return result.isNull() ? QString(QLatin1String("")) : result;
    }
    static QString text(const char *key, const QJsonValue &value) { return text(QString::fromLatin1(key), value); }
    static bool flag(const char *key, const QJsonValue &value)
    {
        if (!value.isBool())
            throw JsonProblem{QString::fromLatin1(key),
                              QStringLiteral("expected true or false, got %1").arg(describeJson(value))};
        return value.toBool();
    }
    static qint64 number(const char *key, const QJsonValue &value, qint64 least)
    {
        constexpr double greatest = 9007199254740992.0; // Doubles hold every integer up to here.
        const double number = value.toDouble();
        if (!value.isDouble() || number != std::floor(number) || number < static_cast<double>(least) || number > greatest) {
            throw JsonProblem{
                QString::fromLatin1(key),
                QStringLiteral("expected an integer from %1, got %2").arg(QString::number(least), describeJson(value))};
        }
        return static_cast<qint64>(number);
    }

    QJsonObject m_object;
};

QJsonObject parsed(const QByteArray &line)
{
    QJsonParseError problem;
    const QJsonDocument document = QJsonDocument::fromJson(line, &problem);
    if (problem.error != QJsonParseError::NoError)
        throw JsonProblem{QString(), QStringLiteral("byte %1: %2").arg(problem.offset).arg(problem.errorString())};
    if (!document.isObject())
        throw JsonProblem{QString(), QStringLiteral("expected a map")};
    return document.object();
}

void checkHeader(const QByteArray &line)
{
    Fields fields(parsed(line));
    const QString format = fields.requiredText("journal");
    if (format != formatName) {
        throw JsonProblem{QStringLiteral("journal"),
                          QStringLiteral("expected \"%1\", got %2").arg(QString(formatName), describeText(format, 64))};
    }
    const qint64 version = fields.requiredNumber("version", 1);
    if (version != formatVersion) {
        throw JsonProblem{QStringLiteral("version"), QStringLiteral("expected %1, got %2").arg(formatVersion).arg(version)};
    }
    fields.text("source");
    fields.text("started");
    fields.done();
}

Call callFrom(const QByteArray &line)
{
    Fields fields(parsed(line));
    Call call;
    call.number = fields.requiredNumber("number", 1);
    call.operation = fields.requiredText("operation");
    call.deviceKey = fields.text("device");
    call.target = fields.text("target");
    call.request = fields.value("request");
    call.extra = fields.value("extra");
    call.result = fields.requiredFlag("result");
    call.reply = fields.value("reply");
    call.headers = fields.texts("headers");
    call.time = fields.number("time", 0);
    call.duration = fields.number("duration", 0);
    call.settled = fields.flag("settled", true);
    call.rejected = fields.flag("rejected", false);
    call.note = fields.text("note");
    fields.done();
    if (call.result && (call.rejected || !call.settled))
        throw JsonProblem{QStringLiteral("result"), QStringLiteral("true, but the promise was not fulfilled")};
    if (call.rejected && !call.settled)
        throw JsonProblem{QStringLiteral("rejected"), QStringLiteral("true, but \"settled\" is false")};
    return call;
}

// Readable

QString shortened(const QString &text, int longest)
{
    return text.size() <= longest ? text : text.left(longest - 3) + QLatin1String("...");
}

QString shortValue(const QVariant &value)
{
    return value.isValid() ? shortened(describeValue(value, 16), 60) : QString();
}

/// A device key or target for a column, which it must not break.
QString describeName(const QString &text)
{
    const QString quoted = describeText(text, -1);
    return quoted.mid(1, quoted.size() - 2);
}

QString seconds(qint64 microseconds)
{
    return QString::number(static_cast<double>(microseconds) / 1e6, 'f', 6) + QLatin1String(" s");
}

QString milliseconds(qint64 microseconds)
{
    return QString::number(static_cast<double>(microseconds) / 1e3, 'f', 3) + QLatin1String(" ms");
}

QString answerText(const Call &call)
{
    QStringList parts;
    if (!call.settled)
        parts += QStringLiteral("pending");
    else if (call.rejected)
        parts += QStringLiteral("rejected");
    else
        parts += call.result ? QStringLiteral("true") : QStringLiteral("false");
    if (call.reply.isValid())
        parts += shortValue(call.reply);
    for (auto it = call.headers.constBegin(); it != call.headers.constEnd(); ++it)
        parts += it.key() + QLatin1String(": ") + it.value();
    return parts.join(QLatin1String(", "));
}

} // namespace

QByteArray journalHeader()
{
    Line line;
    line.text("journal", formatName);
    line.number("version", formatVersion);
    line.text("source", QStringLiteral("virtual wall"));
    return line.ended();
}

QByteArray journalLine(const Call &call)
{
    Line line;
    line.number("number", call.number);
    line.number("time", call.time);
    line.number("duration", call.duration);
    line.text("operation", call.operation);
    line.text("device", call.deviceKey);
    line.text("target", call.target);
    line.value("request", call.request);
    line.value("extra", call.extra);
    line.flag("result", call.result);
    if (!call.settled)
        line.flag("settled", false);
    if (call.rejected)
        line.flag("rejected", true);
    line.value("reply", call.reply);
    if (!call.headers.isEmpty()) {
        QByteArray &json = line.entry("headers");
        const char *separator = "{";
        for (auto it = call.headers.constBegin(); it != call.headers.constEnd(); ++it) {
            json += separator;
            appendJsonText(json, it.key());
            json += ": ";
            appendJsonText(json, it.value());
            separator = ", ";
        }
        json += '}';
    }
    if (!call.note.isEmpty())
        line.text("note", call.note);
    return line.ended();
}

bool saveJournal(const QString &path, const QList<Call> &calls, QString *error)
{
    QSaveFile file(path);
    bool isWritten = file.open(QIODevice::WriteOnly) && file.write(journalHeader()) >= 0;
    for (const Call &call : calls)
        isWritten = isWritten && file.write(journalLine(call)) >= 0;
    QString reason = file.errorString();
    if (isWritten && Disk::commit(file, reason))
        return true;
    setError(error, path + QLatin1String(": ") + reason);
    return false;
}

QList<Call> readJournal(const QString &path, QString *error)
{
    setError(error, QString());
    std::map<qint64, Call> calls; // By number: uploads end later than calls that begin after them.
    int lineNumber = 0;
    const auto problem = [&](const QString &text) { setError(error, QStringLiteral("%1: %2").arg(path, text)); };
    const auto lineProblem = [&](const QString &text) {
        problem(QStringLiteral("line %1: %2").arg(QString::number(lineNumber), text));
    };

    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        problem(file.errorString());
        return {};
    }
    while (!file.atEnd()) {
        ++lineNumber;
        const QByteArray line = file.readLine();
        if (line.isEmpty() || file.error() != QFileDevice::NoError) {
            problem(file.errorString());
            break;
        }
        if (lineNumber > 1 && line.trimmed().isEmpty())
            continue;
        try {
            if (lineNumber == 1) {
                checkHeader(line);
                continue;
            }
            const Call call = callFrom(line);
            if (!calls.emplace(call.number, call).second)
                throw JsonProblem{QStringLiteral("number"), QStringLiteral("%1 is there already").arg(call.number)};
        } catch (const JsonProblem &found) {
            const bool isCutShort = !line.endsWith('\n') && found.path.isEmpty();
            const QString text = found.path.isEmpty() ? found.reason : found.path + QLatin1String(": ") + found.reason;
            lineProblem(isCutShort ? QStringLiteral("cut short after %1 bytes").arg(line.size()) : text);
            break;
        }
    }
    if (lineNumber == 0)
        problem(QStringLiteral("empty, not even a header"));
    QList<Call> result;
    for (const auto &entry : calls)
        result += entry.second;
    return result;
}

QString readableTranscript(const QList<Call> &calls)
{
    constexpr int columnCount = 8;
    using Row = std::array<QString, columnCount>;
    QVector<Row> rows{{QStringLiteral("time"), QStringLiteral("duration"), QStringLiteral("device"),
                       QStringLiteral("target"), QStringLiteral("operation"), QStringLiteral("request"),
                       QStringLiteral("answer"), QStringLiteral("note")}};
    for (const Call &call : calls) {
        QString request = shortValue(call.request);
        if (call.extra.isValid())
            request += (request.isEmpty() ? QString() : QStringLiteral(", ")) + shortValue(call.extra);
        rows += Row{seconds(call.time),
                    call.settled ? milliseconds(call.duration) : QString(),
                    shortened(describeName(call.deviceKey), 30),
                    shortened(describeName(call.target), 30),
                    call.operation,
                    request,
                    answerText(call),
                    describeName(call.note)};
    }

    std::array<int, columnCount> widths{};
    for (const Row &row : qAsConst(rows)) {
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    }
    QString text;
    for (const Row &row : qAsConst(rows)) {
        QString line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            const bool isNumber = column < 2;
            line += isNumber ? row[column].rightJustified(widths[column]) : row[column].leftJustified(widths[column]);
            line += QLatin1String("  ");
        }
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        text += line + QLatin1Char('\n');
    }
    return text;
}

bool JournalFile::open(const QString &path, QString *error)
{
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        m_error = m_file.errorString();
    else if (m_file.size() > 0)
        m_error = QStringLiteral("holds something already");
    else if (write(journalHeader()))
        return true;
    m_error.prepend(path + QLatin1String(": "));
    setError(error, m_error);
    return false;
}

bool JournalFile::append(const Call &call)
{
    if (!m_error.isNull())
        return false;
    if (write(journalLine(call)))
        return true;
    m_error.prepend(
        QStringLiteral("%1: call %2 and those that ended after it are missing: ").arg(m_file.fileName()).arg(call.number));
    return false;
}

bool JournalFile::write(const QByteArray &line)
{
    const qint64 start = m_file.pos();
    qint64 size = 0;
    qint64 written = 0;
    do {
        written = m_file.write(line.constData() + size, line.size() - size);
        size += std::max<qint64>(written, 0);
    } while (written > 0 && size < line.size());
    if (size == line.size())
        return true;
    m_error = m_file.errorString();
    m_file.resize(start); // A line that is there in part would make a file with an error.
    return false;
}

} // namespace Simulator

#include "Journal.h"

#include <adapter/json/Describe.h>
#include <adapter/json/SaveFile.h>
#include <adapter/json/Table.h>
#include <adapter/json/TypedJson.h>

#include <QtCore/QSaveFile>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <algorithm>
#include <array>
#include <map>

// These tables define the contents of a journal's lines: for reading, writing and the schema.
namespace Json {

using Adapter::Call;

namespace {

constexpr qint64 greatest = qint64(1) << 53; // Doubles hold every integer up to here.

struct Header {
    QString source;
    QString started;
};

/// A value with its type.
struct Typed {
    void read(Reader &reader, const QJsonValue &json, QVariant &value) const { value = fromTypedJson(reader, json); }
    void write(Writer &out, const QVariant &value) const { writeTyped(out, value); }
    static bool isAbsent(const QVariant &value) { return !value.isValid(); }
    static bool showsDefault() { return false; }
    void describe(Schema &schema, const QVariant &) const { schema.entries(R"("$ref": "#/$defs/value")"); }
};

struct Texts : Object {
    void read(Reader &reader, const QJsonValue &value, QMap<QString, QString> &texts) const
    {
        if (!value.isObject())
            return reader.expected(what(), value);
        const QJsonObject object = value.toObject();
        for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
            const Reader::At at(reader, it.key());
            Text().read(reader, it.value(), texts[it.key()]);
        }
    }
    void write(Writer &out, const QMap<QString, QString> &texts) const
    {
        out.open('{');
        for (auto it = texts.cbegin(); it != texts.cend(); ++it) {
            out.key(it.key());
            out.text(it.value());
        }
        out.close('}');
    }
    void describe(Schema &schema, const QMap<QString, QString> &) const
    {
        schema.entries(R"("type": "object", "additionalProperties": {"type": "string"})");
    }
};

} // namespace

template <>
struct Table<Header> {
    static constexpr char name[] = "header";
    static constexpr char about[] = "The first line.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("journal", "", Whole(), Format{"led-wall"}, always);
        field("version", "", Whole(), Version{1}, always);
        field("source", "The program that wrote the journal.", &Header::source, OptionalText());
        field("started", "The date and time of time 0, ISO 8601.", &Header::started, OptionalText());
    }
};

template <>
struct Table<Call> {
    static constexpr char name[] = "call";
    static constexpr char about[] = "Every other line.";
    template <typename Field>
    static void fields(Field &field)
    {
        const Integer microseconds{0, greatest};
        field("number", "Unique in the file; orders the calls by their beginnings.", &Call::number, Integer{1, greatest},
              always);
        field("time", "When the call began: microseconds since time 0. Absent: 0.", &Call::time, microseconds, written);
        field("duration", "Microseconds until the answer, or until the promise settled. Absent: 0.", &Call::duration,
              microseconds, written);
        field("operation", "Class and name.", &Call::operation, Text(), always);
        field("device", "Device key. Absent for the operations of HttpProxy.", &Call::deviceKey, OptionalText());
        field("target", "Cabinet id or screen selector. Absent for an operation that takes neither.", &Call::target,
              OptionalText());
        field("request", "Absent for an operation that takes none.", &Call::request, Typed());
        field("extra", "The trailing bool or int argument. Absent for an operation that takes none.", &Call::extra, Typed());
        field("result", "What was answered; of an upload with a promise its value.", &Call::result, Bool(), always);
        field("settled", "false: not answered, or the promise was pending, when the journal ended. Absent: true.",
              &Call::settled, Bool());
        field("rejected", "true: the promise was rejected. Absent: false.", &Call::rejected, Bool());
        field("reply", "Absent for an operation without a reply, and when there was none.", &Call::reply, Typed());
        field("headers", "Response headers. Absent: none.", &Call::headers, Texts());
        field("note", "What was wrong; of a rejected promise the reason. Absent: nothing.", &Call::note, Text());
    }
    static void check(Reader &reader, const Call &call)
    {
        const auto problem = [&](const char *key, const char *reason) {
            const Reader::At at(reader, key);
            reader.problem(QLatin1String(reason));
        };
        if (call.result && (call.rejected || !call.settled))
            problem("result", "true, but the promise was not fulfilled");
        if (call.rejected && !call.settled)
            problem("rejected", "true, but \"settled\" is false");
    }
};

} // namespace Json

namespace Adapter {

using namespace Json;

namespace {

void setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

template <typename T>
QByteArray lineOf(const T &value)
{
    Writer out(Writer::Lines);
    writeObject(out, value);
    out.raw("\n");
    return out.json();
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

/// A device key or target with its control characters escaped, so that the columns stay aligned.
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

QByteArray journalHeader(const QString &source)
{
    Header header;
    header.source = source;
    return lineOf(header);
}

QByteArray journalLine(const Call &call)
{
    return lineOf(call);
}

QByteArray journalSchema()
{
    Schema schema;
    Writer &out = schema.out;
    out.open('{');
    schema.entries(R"("$schema": "https://json-schema.org/draft/2020-12/schema", "title": "One line of a journal")");
    schema.entries(R"("description": "A journal is a file of JSON Lines: the header, then one object for each call of the )"
                   "device service. docs/journal.md describes the entries.\"");
    out.key("oneOf");
    out.open('[');
    out.open('{');
    schema.reference<Header>();
    out.close('}');
    out.next();
    out.open('{');
    schema.reference<Call>();
    out.close('}');
    out.close(']');
    defineTyped(schema);
    return schema.finish();
}

bool saveJournal(const QString &path, const QString &source, const QList<Call> &calls, QString *error)
{
    QSaveFile file(path);
    bool isWritten = file.open(QIODevice::WriteOnly) && file.write(journalHeader(source)) >= 0;
    for (const Call &call : calls)
        isWritten = isWritten && file.write(journalLine(call)) >= 0;
    QString reason = file.errorString();
    if (isWritten && commit(file, reason))
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
        Reader reader(QStringLiteral("%1: line %2").arg(path, QString::number(lineNumber)));
        QJsonObject object;
        Header header;
        Call call;
        if (!reader.parseLine(line, object)) {
            if (line.endsWith('\n'))
                setError(error, reader.problems());
            else
                problem(QStringLiteral("line %1: cut short after %2 bytes").arg(lineNumber).arg(line.size()));
            break;
        }
        if (lineNumber == 1)
            readObject(reader, object, header);
        else
            readObject(reader, object, call);
        if (reader.isGood() && lineNumber > 1 && !calls.emplace(call.number, call).second) {
            const Reader::At at(reader, "number");
            reader.problem(QStringLiteral("%1 is there already").arg(call.number));
        }
        if (!reader.isGood()) {
            setError(error, reader.firstProblem());
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

bool JournalFile::open(const QString &path, const QString &source, QString *error)
{
    m_file.close();
    m_file.setFileName(path);
    m_error.clear();
    if (!m_file.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        m_error = m_file.errorString();
    else if (m_file.size() > 0)
        m_error = QStringLiteral("holds something already");
    else if (write(journalHeader(source)))
        return true;
    m_file.close();
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
    m_file.resize(start); // A partly written line would make the file invalid.
    return false;
}

} // namespace Adapter

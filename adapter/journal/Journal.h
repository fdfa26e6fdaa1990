#pragma once

#include <adapter/AdapterGlobal.h>
#include <adapter/Call.h>

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QList>
#include <QtCore/QString>

/// The journal as JSON Lines and as readable text; docs/journal.md describes the lines.
namespace Adapter {

/// The first line of a journal, with its line feed. `source` names the program that wrote it.
ADAPTER_API QByteArray journalHeader(const QString &source);
/// The line of one call, with its line feed.
ADAPTER_API QByteArray journalLine(const Call &call);

/// The JSON Schema of a line, with a line feed at the end: docs/journal.schema.json.
ADAPTER_API QByteArray journalSchema();

/// A whole journal as a new file, replaced as a whole.
ADAPTER_API bool saveJournal(const QString &path, const QString &source, const QList<Call> &calls, QString *error);
/// The calls of a file in the order in which they began. After a problem `error` names it, and the calls are those of
/// the lines before it.
ADAPTER_API QList<Call> readJournal(const QString &path, QString *error);

/// The calls in aligned columns, below a line with the columns' names.
ADAPTER_API QString readableTranscript(const QList<Call> &calls);

/// A journal file that is appended to. Every line is passed to the operating system whole and at once: a process that is
/// killed leaves at most its last line incomplete.
class ADAPTER_API JournalFile
{
public:
    /// Opens a file, which must be new or empty. `source`: see journalHeader().
    bool open(const QString &path, const QString &source, QString *error);
    bool isOpen() const { return m_file.isOpen(); }
    /// False when the line could not be written. Then the file ends before it, and nothing more is written.
    bool append(const Call &call);
    /// The reason of the first failure since open(); null without one.
    QString error() const { return m_error; }

private:
    bool write(const QByteArray &line);

    QFile m_file;
    QString m_error;
};

} // namespace Adapter

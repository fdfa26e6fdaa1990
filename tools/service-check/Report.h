#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <functional>

namespace ServiceCheck {

/// The possible findings about a service. Their names are stable: findingRow().
enum class Finding {
    NullInstance,
    Exception,
    FalseAnswer,
    PromiseRejected,
    PromiseNeverSettled,
    WrongType,
    MissingKey,
    NotBase64,
    EmptyReply,
    NoHeaders,
    EmptyDeviceList,
    DuplicateDevice,
    DuplicateId,
    BadId,
    NotListed,
    NotPlaced,
    NoFlags,
    EmptyRectangle,
    BlockOutside,
    ShortBlock,
    LongBlock,
    NotCovered,
    NotKept,
    NotRestored,
    TooDeep,
    Count
};

struct FindingRow {
    const char *name;
    /// The consequence in the library or its host. Null: the operation table's row for a result of false.
    const char *consequence;
};
const FindingRow &findingRow(Finding finding);

struct Line {
    enum Status { Ok, Bad, Skip };
    Status status = Ok;
    QString finding;   ///< Of a Bad one: its name.
    QString operation; ///< See Adapter::Operation::name. Empty for what concerns several.
    QString device;    ///< Empty when no device was called.
    QString request;   ///< Cabinet or screen selector, and the request as shortText() writes it.
    QString reply;     ///< Likewise. Empty for one without a reply.
    QString text;      ///< The result, or the reason why no call was made.
    QString consequence;
    int count = 1; ///< Of places with the same finding in one reply; `text` names the first.

    QString toString() const;
};

/// The lines of a run.
class Report
{
public:
    /// `sink` is called for every line as it is added.
    explicit Report(std::function<void(const Line &)> sink = nullptr) : m_sink(std::move(sink)) {}

    void add(const Line &line);
    const QVector<Line> &lines() const { return m_lines; }
    int count(Line::Status status) const;
    /// "12 OK, 1 BAD, 3 SKIP"
    QString summary() const;
    /// The document that docs/service-check.schema.json describes.
    QByteArray document(const QString &service, bool write, bool unrestored, int exit) const;

private:
    std::function<void(const Line &)> m_sink;
    QVector<Line> m_lines;
};

/// A request or reply as JSON. Differences of type between numbers are lost.
QJsonValue toJson(const QVariant &value);
/// The same as one line, cut to `length` characters.
QString shortText(const QVariant &value, int length = 120);

} // namespace ServiceCheck

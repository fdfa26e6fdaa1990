#include "Report.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <algorithm>
#include <iterator>

namespace ServiceCheck {

namespace {

constexpr char readsAsNothing[] = "it is read as 0, empty or false";
constexpr char onlyTheFirst[] = "only one of them can be addressed";

/// In the order of the enumeration.
constexpr FindingRow rows[] = {
    {"null-instance", nullptr},
    {"exception", nullptr},
    {"false-answer", nullptr},
    {"promise-rejected", nullptr},
    {"promise-never-settled", "the caller waits forever"},
    {"wrong-type", readsAsNothing},
    {"missing-key", readsAsNothing},
    {"not-base64", "characters that are not base64 are skipped, and the values behind them shift"},
    {"empty-reply", "ICabinet::getCabinetSupport returns enInvalidParameter"},
    {"no-headers", "ISubScreen::isCheckerboardlImage returns enTimeout"},
    {"empty-device-list", "ScreenManager::refreshScreen returns enNoDevice"},
    {"duplicate-device", "the device is asked twice; its cabinets are registered once"},
    {"duplicate-id", onlyTheFirst},
    {"bad-id", "requests for many cabinets name it as 0"},
    {"not-listed", "ScreenManager::refreshScreen returns enCabinetNotFound and visits no further cabinet or device"},
    {"not-placed", "the library has no such cabinet"},
    {"no-flags", "the library leaves the cabinet out, and refreshScreen returns enSuccess"},
    {"empty-rectangle", "the cabinet has no pixels that can be read or written"},
    {"block-outside", "tryGetCoefficients returns enInvalidParameter"},
    {"short-block", "tryGetCoefficients leaves the pixels without values 0 and returns enSuccess, or enArgumentMismatch for "
                    "a block without any value"},
    {"long-block", "tryGetCoefficients ignores the values beyond the block and returns enSuccess"},
    {"not-covered", "tryGetCoefficients leaves the other pixels 0 and returns enSuccess"},
    {"not-kept", "what is read back is not what was written"},
    {"not-restored", "the device is not as it was before this check"},
    {"too-deep", "the library leaves out the rest, with a warning line"},
};
static_assert(std::size(rows) == std::size_t(Finding::Count));

const char *statusName(Line::Status status)
{
    return status == Line::Ok ? "OK" : status == Line::Bad ? "BAD" : "SKIP";
}

} // namespace

const FindingRow &findingRow(Finding finding)
{
    return rows[std::size_t(finding)];
}

QString Line::toString() const
{
    QString line = QLatin1String(statusName(status));
    line = line.leftJustified(5);
    if (!operation.isEmpty())
        line += operation + QLatin1String(": ");
    if (!device.isEmpty())
        line += QStringLiteral("device ") + device + QLatin1String(": ");
    if (!request.isEmpty())
        line += request + QLatin1String(": ");
    line += text;
    if (count > 1)
        line += QStringLiteral(" (and %1 more)").arg(count - 1);
    if (!consequence.isEmpty())
        line += QLatin1String(": ") + consequence;
    if (!finding.isEmpty())
        line += QStringLiteral(" [%1]").arg(finding);
    return line;
}

void Report::add(const Line &line)
{
    m_lines += line;
    if (m_sink)
        m_sink(line);
}

int Report::count(Line::Status status) const
{
    return int(std::count_if(m_lines.begin(), m_lines.end(), [status](const Line &line) { return line.status == status; }));
}

QString Report::summary() const
{
    return QStringLiteral("%1 OK, %2 BAD, %3 SKIP").arg(count(Line::Ok)).arg(count(Line::Bad)).arg(count(Line::Skip));
}

QByteArray Report::document(const QString &service, bool write, bool unrestored, int exit) const
{
    QJsonArray lines;
    for (const Line &line : m_lines) {
        lines += QJsonObject{{QStringLiteral("status"), QLatin1String(statusName(line.status))},
                             {QStringLiteral("finding"), line.finding},
                             {QStringLiteral("operation"), line.operation},
                             {QStringLiteral("device"), line.device},
                             {QStringLiteral("request"), line.request},
                             {QStringLiteral("reply"), line.reply},
                             {QStringLiteral("text"), line.text},
                             {QStringLiteral("consequence"), line.consequence},
                             {QStringLiteral("count"), line.count}};
    }
    const QJsonObject summary{{QStringLiteral("ok"), count(Line::Ok)},
                              {QStringLiteral("bad"), count(Line::Bad)},
                              {QStringLiteral("skip"), count(Line::Skip)}};
    return QJsonDocument(QJsonObject{{QStringLiteral("format"), QStringLiteral("service-check")},
                                     {QStringLiteral("version"), 1},
                                     {QStringLiteral("service"), service},
                                     {QStringLiteral("write"), write},
                                     {QStringLiteral("unrestored"), unrestored},
                                     {QStringLiteral("exit"), exit},
                                     {QStringLiteral("summary"), summary},
                                     {QStringLiteral("lines"), lines}})
        .toJson();
}

QJsonValue toJson(const QVariant &value)
{
    if (value.userType() == QMetaType::QVariantMap) {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
            object.insert(entry.key(), toJson(entry.value()));
        return object;
    }
    if (value.userType() == QMetaType::QVariantList || value.userType() == qMetaTypeId<QList<int>>()) {
        QJsonArray array;
        for (const QVariant &element : value.value<QSequentialIterable>())
            array.append(toJson(element));
        return array;
    }
    if (QMetaType(value.userType()).flags() & QMetaType::IsEnumeration)
        return value.toInt();
    return QJsonValue::fromVariant(value);
}

QString shortText(const QVariant &value, int length)
{
    // A list with the value, without its brackets: documents hold no plain values.
    QString text = QString::fromUtf8(QJsonDocument(QJsonArray{toJson(value)}).toJson(QJsonDocument::Compact));
    text = text.mid(1, text.size() - 2);
    return text.size() <= length ? text : text.left(length - 3) + QLatin1String("...");
}

} // namespace ServiceCheck

#include "Reader.h"

#include "Describe.h"

#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <algorithm>
#include <cstring>
#include <numeric>

namespace Json {

namespace {

constexpr int longestShown = 64;

QString shortened(const QString &text)
{
    return text.size() <= longestShown ? text : text.left(longestShown) + QLatin1String("...");
}

/// Line and column, both from 1; columns count characters.
QString lineAndColumn(const QByteArray &json, int offset)
{
    const QByteArray before = json.left(offset);
    const int lineStart = before.lastIndexOf('\n') + 1;
    return QStringLiteral("%1:%2").arg(before.count('\n') + 1).arg(QString::fromUtf8(before.mid(lineStart)).size() + 1);
}

QString byteText(int offset)
{
    return QStringLiteral("byte %1").arg(offset);
}

constexpr int deepest = 1024; ///< Levels that QJsonDocument accepts.

/// memchr() skips long strings, such as base64, quickly.
const char *find(char c, const char *from, const char *to)
{
    return static_cast<const char *>(std::memchr(from, c, static_cast<std::size_t>(to - from)));
}

/// The quote at the end of the string that begins with the one at `start`, or null.
const char *endOfString(const char *start, const char *end, bool &isEscaped)
{
    const char *at = find('"', start + 1, end);
    const char *scan = start + 1;
    while (at) {
        const char *const escape = find('\\', scan, at);
        if (!escape)
            break;
        isEscaped = true;
        scan = escape + 2;
        if (scan > at)
            at = scan < end ? find('"', scan, end) : nullptr;
    }
    return at;
}

/// The comma behind an entry of an object that begins with its key at `at`, or null.
const char *commaAfter(const char *at, const char *end)
{
    int depth = 0;
    for (; at != end; ++at) {
        if (*at == '"') {
            bool isEscaped = false;
            at = endOfString(at, end, isEscaped);
            if (!at)
                return nullptr;
        } else if (*at == '{' || *at == '[') {
            ++depth;
        } else if (*at == '}' || *at == ']') {
            --depth;
        } else if (*at == ',' && depth == 0) {
            return at;
        }
    }
    return nullptr;
}

/// The edit distance (Levenshtein): characters to change, add or remove to turn one string into the other.
int distance(const QString &a, const QString &b)
{
    QVector<int> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (int i = 0; i < a.size(); ++i) {
        int diagonal = row[0];
        row[0] = i + 1;
        for (int j = 0; j < b.size(); ++j) {
            const int substituted = diagonal + (a[i].toLower() == b[j].toLower() ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({substituted, row[j] + 1, diagonal + 1});
        }
    }
    return row.last();
}

/// The known key that was probably meant, or a null string.
QString nearest(const QString &key, const QStringList &known)
{
    QString best;
    int least = 0;
    for (const QString &candidate : known) {
        if (key.size() > 2 * candidate.size())
            continue;
        const int changes = distance(key, candidate);
        if (changes <= candidate.size() / 2 && (best.isNull() || changes < least)) {
            best = candidate;
            least = changes;
        }
    }
    return best;
}

} // namespace

QString Reader::shown(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Undefined:
        return QStringLiteral("nothing");
    case QJsonValue::Object:
        return QStringLiteral("an object");
    case QJsonValue::Array:
        return QStringLiteral("a list");
    case QJsonValue::String:
    case QJsonValue::Bool:
    case QJsonValue::Double:
    case QJsonValue::Null:
        break;
    }
    const QVariant number = value.toVariant(); // QJsonDocument writes large integers rounded.
    if (number.userType() == QMetaType::LongLong)
        return QString::number(number.toLongLong());
    const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return shortened(QString::fromUtf8(list.mid(1, list.size() - 2)));
}

bool Reader::parse(QByteArray json, QJsonObject &object)
{
    if (json.startsWith("\xef\xbb\xbf"))
        json.remove(0, 3);
    if (json.trimmed().isEmpty()) {
        problem(QStringLiteral("the file is empty"));
        return false;
    }
    return parse(json, false, object);
}

bool Reader::parseLine(const QByteArray &json, QJsonObject &object)
{
    return parse(json, true, object);
}

bool Reader::parse(const QByteArray &json, bool isLine, QJsonObject &object)
{
    QStringList doubles;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(withoutDoubles(json, isLine, doubles), &error);
    if (error.error != QJsonParseError::NoError) {
        problemAt(isLine ? byteText(error.offset) : lineAndColumn(json, error.offset),
                  QStringLiteral("not valid JSON: %1").arg(error.errorString()));
        return false;
    }
    if (!document.isObject()) {
        expected(QStringLiteral("an object"), document.array());
        return false;
    }
    m_problems += doubles;
    object = document.object();
    return true;
}

// QJsonDocument keeps the last of two equal keys, reports nothing, and never frees a list or an object of the one before. So
// that one is replaced by blanks. The text need not be valid: the search ends where it cannot be.
QByteArray Reader::withoutDoubles(const QByteArray &json, bool isLine, QStringList &problems) const
{
    QByteArray result = json;
    const char *const begin = json.cbegin();
    const char *const end = json.cend();
    QVector<QHash<QString, const char *>> objects; // their keys' places, outermost object first; lists have none
    const char *counted = begin;                   // what is before it is already in `line`
    qint64 line = 1;
    for (const char *at = begin; at != end; ++at) {
        if (*at == '{' || *at == '[') {
            if (objects.size() == deepest)
                return result;
            objects.append(QHash<QString, const char *>());
        } else if (*at == '}' || *at == ']') {
            if (objects.isEmpty())
                return result;
            objects.removeLast();
        } else if (*at == '"') {
            const char *const start = at;
            bool isEscaped = false;
            at = endOfString(start, end, isEscaped);
            if (!at || objects.isEmpty())
                return result;
            const char *next = at + 1;
            while (next != end && (*next == ' ' || *next == '\t' || *next == '\r' || *next == '\n'))
                ++next;
            if (next == end || *next != ':')
                continue;
            const QByteArray text(start + 1, static_cast<int>(at - start - 1));
            const QString key =
                isEscaped ? QJsonDocument::fromJson("[\"" + text + "\"]").array().at(0).toString() : QString::fromUtf8(text);
            const char *&place = objects.last()[key];
            if (place) {
                line += std::count(counted, start, '\n');
                counted = start;
                problems += problemText(isLine ? byteText(static_cast<int>(start - begin)) : QString::number(line),
                                        QStringLiteral("the key %1 is there twice").arg(shown(key)));
                const char *const comma = commaAfter(place, start);
                for (const char *blank = place; comma && blank <= comma; ++blank) {
                    if (*blank != '\n')
                        result[static_cast<int>(blank - begin)] = ' ';
                }
            }
            place = start;
        }
    }
    return result;
}

int Reader::index() const
{
    const auto step =
        std::find_if(m_path.crbegin(), m_path.crend(), [](const Step &each) { return !each.key && each.index >= 0; });
    return step == m_path.crend() ? -1 : step->index;
}

QString Reader::problemText(const QString &place, const QString &reason) const
{
    QStringList parts{m_source, place, reason};
    parts.removeAll(QString());
    return parts.join(QLatin1String(": "));
}

void Reader::problemAt(const QString &place, const QString &reason)
{
    m_problems += problemText(place, reason);
}

void Reader::problem(const QString &reason)
{
    QString path;
    for (const Step &step : m_path) {
        if (step.key || step.index < 0)
            path = pathOf(path, step.key ? QString::fromUtf8(step.key) : step.text);
        else
            path = pathOf(path, step.index);
    }
    problemAt(path, reason);
}

void Reader::expected(const QString &what, const QJsonValue &got)
{
    problem(QStringLiteral("expected %1, got %2").arg(what, shown(got)));
}

void Reader::unknownKeys(const QJsonObject &object, const QStringList &known)
{
    const QStringList keys = object.keys();
    for (const QString &key : keys) {
        if (known.contains(key))
            continue;
        const QString meant = nearest(key, known);
        problem(meant.isNull()
                    ? QStringLiteral("unknown key %1, known are %2").arg(shown(key), known.join(QLatin1String(", ")))
                    : QStringLiteral("unknown key %1, did you mean %2?").arg(shown(key), shown(meant)));
    }
}

QString pathOf(const QString &path, const QString &key)
{
    const auto isWordPart = [](QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('$'); };
    if (key.isEmpty() || !std::all_of(key.cbegin(), key.cend(), isWordPart))
        return path + QLatin1Char('[') + describeText(key, 64) + QLatin1Char(']');
    return path.isEmpty() ? key : path + QLatin1Char('.') + key;
}

QString pathOf(const QString &path, int index)
{
    return QStringLiteral("%1[%2]").arg(path).arg(index);
}

} // namespace Json

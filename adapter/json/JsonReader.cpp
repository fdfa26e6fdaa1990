#include "JsonReader.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QSet>
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

/// A value as a message shows it.
QString shown(const QJsonValue &value)
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

/// Line and column, both from 1; columns count characters.
QString lineAndColumn(const QByteArray &json, int offset)
{
    const QByteArray before = json.left(offset);
    const int lineStart = before.lastIndexOf('\n') + 1;
    return QStringLiteral("%1:%2").arg(before.count('\n') + 1).arg(QString::fromUtf8(before.mid(lineStart)).size() + 1);
}

/// How many characters must be changed, added or removed to turn one text into the other.
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

/// The known key that was probably meant, or a null text.
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

QString quoted(const QString &text)
{
    return shown(QJsonValue(text));
}

} // namespace

bool JsonReader::parse(QByteArray json, QJsonObject &object)
{
    if (json.startsWith("\xef\xbb\xbf"))
        json.remove(0, 3);
    if (json.trimmed().isEmpty()) {
        problem(QStringLiteral("the file is empty"));
        return false;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        problemAt(lineAndColumn(json, error.offset), QStringLiteral("no JSON: %1").arg(error.errorString()));
        return false;
    }
    if (!document.isObject()) {
        expected(QStringLiteral("an object"), document.array());
        return false;
    }
    findDoubleKeys(json);
    object = document.object();
    return true;
}

// QJsonDocument keeps the last of two equal keys and says nothing. The text is known to be JSON, so brackets and quotes are
// all that must be looked at.
void JsonReader::findDoubleKeys(const QByteArray &json)
{
    QVector<QSet<QByteArray>> objects; // their keys, outermost object first; lists have none
    int counted = 0;                   // what lies before is already in `line`
    int line = 1;
    for (int i = 0; i < json.size(); ++i) {
        if (json[i] == '{' || json[i] == '[') {
            objects.append(QSet<QByteArray>());
        } else if (json[i] == '}' || json[i] == ']') {
            objects.removeLast();
        } else if (json[i] == '"') {
            const int start = i++;
            for (; json[i] != '"'; ++i) {
                if (json[i] == '\\')
                    ++i;
            }
            int next = i + 1;
            while (next < json.size() && std::strchr(" \t\r\n", json[next]))
                ++next;
            if (next >= json.size() || json[next] != ':')
                continue;
            const QByteArray key = json.mid(start, i + 1 - start);
            if (objects.last().contains(key)) {
                line += static_cast<int>(std::count(json.cbegin() + counted, json.cbegin() + start, '\n'));
                counted = start;
                problemAt(QString::number(line), QStringLiteral("the key %1 is there twice").arg(QString::fromUtf8(key)));
            }
            objects.last().insert(key);
        }
    }
}

int JsonReader::index() const
{
    const auto step = std::find_if(m_path.crbegin(), m_path.crend(), [](const Step &each) { return !each.key; });
    return step == m_path.crend() ? -1 : step->index;
}

void JsonReader::problemAt(const QString &place, const QString &reason)
{
    QStringList parts{m_source, place, reason};
    parts.removeAll(QString());
    m_problems += parts.join(QLatin1String(": "));
}

void JsonReader::problem(const QString &reason)
{
    QString path;
    for (const Step &step : m_path) {
        if (!step.key)
            path += QStringLiteral("[%1]").arg(step.index);
        else
            path += (path.isEmpty() ? QString() : QStringLiteral(".")) + QString::fromUtf8(step.key);
    }
    problemAt(path, reason);
}

void JsonReader::expected(const QString &what, const QJsonValue &got)
{
    problem(QStringLiteral("expected %1, got %2").arg(what, shown(got)));
}

void JsonReader::unknownKeys(const QJsonObject &object, const QStringList &known)
{
    const QStringList keys = object.keys();
    for (const QString &key : keys) {
        if (known.contains(key))
            continue;
        const QString meant = nearest(key, known);
        problem(meant.isNull()
                    ? QStringLiteral("unknown key %1, known are %2").arg(quoted(key), known.join(QLatin1String(", ")))
                    : QStringLiteral("unknown key %1, did you mean %2?").arg(quoted(key), quoted(meant)));
    }
}

} // namespace Json

#include "JsonText.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>

namespace Json::Text {

namespace {

constexpr int longestLine = 120;

QByteArray join(const QVector<QByteArray> &parts, const QByteArray &separator)
{
    QByteArray result;
    for (const QByteArray &part : parts) {
        if (!result.isEmpty())
            result += separator;
        result += part;
    }
    return result;
}

QByteArray layOut(const QVector<QByteArray> &parts, char open, char close, int depth)
{
    const bool fits = std::none_of(parts.cbegin(), parts.cend(), [](const QByteArray &part) { return part.contains('\n'); });
    const QByteArray line = fits ? join(parts, ", ") : QByteArray();
    if (fits && depth > 0 && 2 * depth + line.size() <= longestLine)
        return open + line + close;
    const QByteArray indent(2 * depth, ' ');
    return open + QByteArray("\n  ") + indent + join(parts, ",\n  " + indent) + '\n' + indent + close;
}

/// As Qt writes it.
QByteArray scalar(const QJsonValue &value)
{
    const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return list.mid(1, list.size() - 2);
}

} // namespace

QByteArray text(const QString &text)
{
    return scalar(text);
}

QByteArray number(double number)
{
    return scalar(number);
}

QByteArray object(const QVector<QByteArray> &entries, int depth)
{
    return layOut(entries, '{', '}', depth);
}

QByteArray list(const QVector<QByteArray> &elements, int depth)
{
    return layOut(elements, '[', ']', depth);
}

QByteArray entry(const char *key, const QByteArray &value)
{
    return text(QString::fromLatin1(key)) + ": " + value;
}

} // namespace Json::Text

#include "Writer.h"

#include <QtCore/QLocale>

#include <cmath>
#include <cstring>

namespace Json {

namespace {

constexpr int longestLine = 120;

/// Whether the surrogate at this place has no other half.
bool isLoneSurrogate(const QString &text, int i)
{
    if (text[i].isHighSurrogate())
        return i + 1 == text.size() || !text[i + 1].isLowSurrogate();
    return i == 0 || !text[i - 1].isHighSurrogate();
}

/// Ends a quoted string, or a value that is neither an object nor a list.
const char *scalarEnd(const char *at)
{
    if (*at != '"')
        return at + std::strcspn(at, ",]}: ");
    for (++at; *at != '"'; ++at)
        at += *at == '\\';
    return at + 1;
}

/// The end of any value.
const char *valueEnd(const char *at)
{
    if (*at != '{' && *at != '[')
        return scalarEnd(at);
    int depth = 0;
    do {
        depth += *at == '{' || *at == '[';
        depth -= *at == '}' || *at == ']';
        at = *at == '"' ? scalarEnd(at) : at + 1;
    } while (depth > 0);
    return at;
}

/// Formats a value and returns its end. `depth` is its nesting level.
const char *layOut(const char *at, const char *end, int depth, QByteArray &result)
{
    const auto length = static_cast<int>(end - at);
    const bool isNested = *at == '{' || *at == '[';
    if (!isNested || (depth > 0 && 2 * depth + length - 2 <= longestLine)) {
        result.append(at, length);
        return end;
    }
    const QByteArray indent = '\n' + QByteArray(2 * depth, ' ');
    const bool isObject = *at == '{';
    result += *at++;
    while (*at != '}' && *at != ']') {
        if (*at == ',') {
            result += *at;
            at += 2;
        }
        result += indent + "  ";
        if (isObject) {
            const char *const value = scalarEnd(at) + 2;
            result.append(at, static_cast<int>(value - at));
            at = value;
        }
        at = layOut(at, valueEnd(at), depth + 1, result);
    }
    result += indent;
    result += *at++;
    return at;
}

} // namespace

void Writer::open(char bracket)
{
    m_json += bracket;
    m_isFirst = true;
}

void Writer::close(char bracket)
{
    m_json += bracket;
    m_isFirst = false;
}

void Writer::next()
{
    if (!m_isFirst)
        m_json += m_style == Compact ? "," : ", ";
    m_isFirst = false;
}

void Writer::key(const QString &key)
{
    next();
    text(key);
    m_json += m_style == Compact ? ":" : ": ";
}

void Writer::text(const QString &text)
{
    m_json += '"';
    int start = 0;
    const auto appendUpTo = [&](int end) {
        if (end > start)
            m_json += text.midRef(start, end - start).toUtf8();
        start = end + 1;
    };
    constexpr char shortened[] = "\"\\\b\f\n\r\t";
    constexpr char letters[] = "\"\\bfnrt";
    const int shortForms = m_style == Lines ? 2 : 7;
    const QChar *const characters = text.constData();
    const int size = text.size();
    for (int i = 0; i < size; ++i) {
        const ushort c = characters[i].unicode();
        if (c >= 0x20 && c < 0x7f && c != '"' && c != '\\')
            continue;
        const auto *const found =
            c < 0x80 ? static_cast<const char *>(std::memchr(shortened, c, static_cast<std::size_t>(shortForms))) : nullptr;
        if (found) {
            appendUpTo(i);
            m_json += '\\';
            m_json += letters[found - shortened];
        } else if (c < 0x20 || (c == 0x7f && m_style == Lines) || (text[i].isSurrogate() && isLoneSurrogate(text, i))) {
            appendUpTo(i);
            m_json += "\\u" + QByteArray::number(c, 16).rightJustified(4, '0');
        }
    }
    appendUpTo(text.size());
    m_json += '"';
}

void Writer::number(double number)
{
    m_json += std::isfinite(number) ? QByteArray::number(number, 'g', QLocale::FloatingPointShortest) : QByteArray("null");
}

QByteArray layOut(const QByteArray &json)
{
    QByteArray result;
    layOut(json.cbegin(), json.cend(), 0, result);
    return result;
}

} // namespace Json

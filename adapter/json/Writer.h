#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Json {

/// Writes JSON piece by piece, on one line. Entries keep their order.
class Writer
{
public:
    enum Style {
        Spaced, ///< A space after commas and colons.
        Lines,  ///< Likewise; all control characters, the delete character among them, by number.
        Compact ///< No spaces.
    };
    explicit Writer(Style style = Spaced) : m_style(style) {}

    /// An object ('{') or a list ('[').
    void open(char bracket);
    void close(char bracket);
    /// Begins an entry of an object; its value comes next.
    void key(const QString &key);
    void key(const char *key) { this->key(QString::fromUtf8(key)); }
    /// Begins an element of a list.
    void next();

    /// A lone surrogate is written as \uXXXX.
    void text(const QString &text);
    /// Infinities and NaN are written as null.
    void number(double number);
    void number(qint64 number) { m_json += QByteArray::number(number); }
    void flag(bool value) { m_json += value ? "true" : "false"; }
    /// A value's JSON, or a quoted string that needs no escapes.
    void raw(const QByteArray &json) { m_json += json; }

    const QByteArray &json() const { return m_json; }

private:
    QByteArray m_json;
    Style m_style;
    bool m_isFirst = true;
};

/// Formats the output of Writer for people: short objects and lists on one line, everything else indented.
QByteArray layOut(const QByteArray &json);

} // namespace Json

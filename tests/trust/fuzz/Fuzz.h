#pragma once

#include <adapter/Operations.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <cstddef>
#include <iterator>

/// What the fuzz targets share. A target is one source that defines setUp() and run(); `targets` lists them. libFuzzer calls
/// it with inputs of its own (clang), and Replay.cpp with those of the corpus and with mutations of them (any compiler):
/// both decode the same bytes into the same test case.
namespace Fuzz {

/// Reads choices from an input. Behind its end every choice is the first one.
class Bytes
{
public:
    Bytes(const uchar *data, std::size_t size) : m_at(data), m_left(size) {}

    bool isAtEnd() const { return m_left == 0; }
    uchar byte()
    {
        if (m_left == 0)
            return 0;
        --m_left;
        return *m_at++;
    }
    bool flag() { return (byte() & 1) != 0; }
    /// 0 to `count` - 1, for 1 to 65536.
    int below(int count)
    {
        const int value = byte();
        return (count > 256 ? value << 8 | byte() : value) % count;
    }
    /// `first` to `last`, at most 65536 of them.
    int between(int first, int last) { return first + below(last - first + 1); }
    /// A small number, or one at the limits of 32 bits. No two of them, multiplied, give a number of pixels that a
    /// container holds and a test has no memory for.
    int number();
    template <class List>
    auto pick(const List &list)
    {
        return *(std::begin(list) + below(int(std::end(list) - std::begin(list))));
    }
    /// At most `length`.
    QByteArray bytes(int length);
    QByteArray rest() { return bytes(int(m_left)); }
    /// A few characters of any kind.
    QString text();

private:
    const uchar *m_at;
    std::size_t m_left;
};

/// Values of any type that a QVariant may hold, containers with `keys` and with keys of their own.
QVariant anyValue(Bytes &input, const QStringList &keys, int depth = 0);
/// Adds the keys of the fields, and of the fields inside them, each once.
void addKeys(const Adapter::Fields &fields, QStringList &keys);
/// Changes a value in a few places: entries more, less, twice, or replaced by any value.
void edit(QVariant &value, Bytes &input, const QStringList &keys);

/// Ends the process with a text.
[[noreturn]] void fail(const QString &text);
inline void require(bool condition, const char *text)
{
    if (!condition)
        fail(QString::fromLatin1(text));
}
/// Fails with both values unless they are equal.
template <class Value>
void same(const Value &got, const Value &expected, const char *what);
void different(const QString &got, const QString &expected, const char *what);
template <class Value>
void same(const Value &got, const Value &expected, const char *what)
{
    if (!(got == expected))
        different(QVariant::fromValue(got).toString(), QVariant::fromValue(expected).toString(), what);
}

/// An empty folder that every run() begins with, in memory where the system has such a place.
QString folder();
void write(const QString &path, const QByteArray &bytes);
QByteArray read(const QString &path);

// Defined by the target.

void setUp();
void run(Bytes &input);

} // namespace Fuzz

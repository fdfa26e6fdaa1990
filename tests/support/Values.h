#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QRandomGenerator>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// Coefficient values and their forms, by plain loops.
namespace TestSupport {

/// Values as a device sends them: two bytes each, the low one first.
inline QByteArray bytesOf(const QVector<unsigned short> &values)
{
    QByteArray bytes;
    bytes.reserve(values.size() * 2);
    for (const unsigned short value : values) {
        bytes.append(static_cast<char>(value & 255));
        bytes.append(static_cast<char>(value >> 8));
    }
    return bytes;
}

/// The values of such bytes; a last odd one is dropped.
inline QVector<unsigned short> valuesOf(const QByteArray &bytes)
{
    QVector<unsigned short> values;
    values.reserve(bytes.size() / 2);
    for (int i = 0; i + 1 < bytes.size(); i += 2)
        values.append(static_cast<unsigned short>(uchar(bytes[i]) | uchar(bytes[i + 1]) << 8));
    return values;
}

inline QString base64(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64());
}

inline QString base64(const QVector<unsigned short> &values)
{
    return base64(bytesOf(values));
}

/// A JSON list without blanks.
inline QString jsonOf(const QVector<unsigned short> &values)
{
    QStringList numbers;
    for (const unsigned short value : values)
        numbers.append(QString::number(value));
    return QLatin1Char('[') + numbers.join(QLatin1Char(',')) + QLatin1Char(']');
}

/// `count` values that are all different, from `first` on.
inline QVector<unsigned short> numbered(int count, int first = 1)
{
    QVector<unsigned short> values;
    for (int i = 0; i < count; ++i)
        values.append(static_cast<unsigned short>(first + i));
    return values;
}

inline QByteArray randomBytes(int size, QRandomGenerator &random)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &byte : bytes)
        byte = static_cast<char>(random.bounded(256));
    return bytes;
}

} // namespace TestSupport

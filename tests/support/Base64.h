#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

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

} // namespace TestSupport

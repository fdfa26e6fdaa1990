#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

/// Base64 (RFC 4648, section 4: standard alphabet, padded) between grid values and the UTF-16 text in which they travel, in
/// one pass and without an intermediate byte array. 16-bit values stand low byte first.
namespace Correction {
namespace Base64 {

/// The text of the values; empty, with one critical line, when it would not fit into one QString.
QString encode(const QVector<unsigned short> &values);
QString encode(const QByteArray &bytes);

/// Exactly the bytes that `QByteArray::fromBase64(text.toUtf8())` gives; a value is made of two of them, a last odd one is
/// dropped.
QVector<unsigned short> decodeValues(const QString &text);
QByteArray decodeBytes(const QString &text);

} // namespace Base64
} // namespace Correction

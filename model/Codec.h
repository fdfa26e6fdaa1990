#pragma once

#include <Correction/ICoefficient.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <array>

/// The loops over all values of a grid, compiled for each set of vector instructions; the best one is chosen at run time.
///
/// Values are converted to and from base64 (RFC 4648, section 4: standard alphabet, padded) in UTF-16 strings, in one pass
/// and without an intermediate byte array. 16-bit values are low byte first.
namespace Correction {
namespace Codec {

/// The values in base64; empty, with one critical line, when it would not fit into one QString.
QString toBase64(const QVector<unsigned short> &values);
QString toBase64(const QByteArray &bytes);

/// Whether the base64 of so many bytes fits into one QString.
bool fitsBase64(qint64 bytes);

/// Encodes a grid for an upload. False, with `text` empty, for a grid whose values do not fit into one QString; its
/// `toBase64()` has logged that.
bool tryEncode(ICoefficient &grid, QString &text);

/// Exactly the bytes that `QByteArray::fromBase64(text.toUtf8())` gives; a value is made of two of them, a last odd one is
/// dropped.
QVector<unsigned short> decodeValues(const QString &text);
QByteArray decodeBytes(const QString &text);

/// All values as decimal numbers: "[1,20,300]". Empty, with one critical line, when it would not fit into one QString.
QString toJson(const QVector<unsigned short> &values);

using PixelSums = std::array<quint64, chromaPixelLength>;

/// The sum of each of a pixel's values over all whole pixels.
PixelSums sumPixels(const QVector<unsigned short> &values);

} // namespace Codec
} // namespace Correction

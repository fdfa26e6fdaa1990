#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// Base64 (RFC 4648, section 4) of whole planes, without an array of characters on the way. The wall's own: it checks what
/// the library encodes and decodes.
namespace Simulator::Base64 {

QString encode(const QByteArray &bytes);
/// Accepts what QByteArray::fromBase64Encoding() accepts with AbortOnBase64DecodingErrors. False, and `bytes` unchanged, for
/// everything else.
bool decode(const QString &text, QByteArray &bytes);

} // namespace Simulator::Base64

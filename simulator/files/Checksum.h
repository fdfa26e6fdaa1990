#pragma once

#include <QtCore/QByteArray>

#include <xxhash.h>

#include <cstddef>

namespace Checksum {

/// XXH3 with 128 bits, 16 bytes in the order in which the program xxh128sum prints them. It finds damage, not forgery.
inline QByteArray xxh128(const QByteArray &bytes)
{
    XXH128_canonical_t sum;
    XXH128_canonicalFromHash(&sum, XXH3_128bits(bytes.constData(), static_cast<std::size_t>(bytes.size())));
    return QByteArray(reinterpret_cast<const char *>(sum.digest), static_cast<int>(sizeof sum.digest));
}

} // namespace Checksum

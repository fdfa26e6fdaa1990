#include "Plane.h"

#include "Act.h"
#include "files/Checksum.h"

#include <QtCore/QFile>

namespace Simulator {

Plane::Plane(const QByteArray &bytes, const std::shared_ptr<Disk::Scratch> &scratch)
{
    constexpr int fewBytes = 1 << 16;
    if (scratch && bytes.size() >= fewBytes) {
        auto stored = std::make_unique<Stored>(Stored{scratch, QFile::decodeName(scratch->folder()), 0, bytes.size(), {}});
        stored->sum = Checksum::xxh128(bytes);
        if (scratch->put(bytes, stored->offset) == 0) {
            m_stored.reset(stored.release(), [scratch](const Stored *place) {
                scratch->release(place->offset, place->length);
                delete place;
            });
            return;
        }
    }
    m_bytes = bytes;
}

QByteArray Plane::bytes() const
{
    if (!m_stored)
        return m_bytes;
    QByteArray bytes;
    if (const int failure = m_stored->file->read(m_stored->offset, m_stored->length, bytes))
        throw Refusal{Disk::problem(m_stored->path, "cannot be read", failure), {}};
    if (Checksum::xxh128(bytes) != m_stored->sum)
        throw Refusal{QStringLiteral("%1: the %2 bytes from %3 on are no longer those that were saved")
                          .arg(m_stored->path, QString::number(m_stored->length), QString::number(m_stored->offset)),
                      {}};
    return bytes;
}

bool Plane::isSharedWith(const Plane &other) const
{
    return m_stored == other.m_stored && m_bytes.isSharedWith(other.m_bytes);
}

bool Plane::hasBytesOf(const Plane &other) const
{
    // Most planes that are compared differ: then their checksums do, and nothing is read.
    const auto sum = [](const Plane &plane) {
        return plane.m_stored ? plane.m_stored->sum : Checksum::xxh128(plane.m_bytes);
    };
    if ((m_stored || other.m_stored) && (isEmpty() != other.isEmpty() || sum(*this) != sum(other)))
        return false;
    return bytes() == other.bytes();
}

} // namespace Simulator

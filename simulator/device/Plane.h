#pragma once

#include "files/DiskFiles.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>

namespace Simulator {

/// The bytes of one plane: in memory, in a pack of the wall's directory or in its scratch file. Copies share them. Empty: a
/// plane of default pixels.
class Plane
{
public:
    /// Bytes in a file, which are read each time they are used. The file is kept open, so they stay even when it is removed.
    struct Stored {
        std::shared_ptr<const Disk::Input> file;
        QString path; ///< For messages.
        qint64 offset = 0;
        int length = 0;
        QByteArray sum; ///< Checksum::xxh128() of the bytes.
    };

    Plane() = default;
    explicit Plane(const QByteArray &bytes) : m_bytes(bytes) {}
    explicit Plane(const Stored &stored) : m_stored(std::make_shared<const Stored>(stored)) {}
    /// Puts the bytes into a scratch file, unless that is null, or fails, or they are few.
    Plane(const QByteArray &bytes, const std::shared_ptr<Disk::Scratch> &scratch);

    bool isEmpty() const { return !m_stored && m_bytes.isEmpty(); }
    /// Throws a Refusal with the reason when a file cannot be read, or no longer holds what was stored.
    QByteArray bytes() const;
    bool isInFile() const { return m_stored != nullptr; }
    /// To change bytes that are in memory.
    char *data() { return m_bytes.data(); }
    /// Whether both are copies of one plane.
    bool isSharedWith(const Plane &other) const;
    /// Whether the bytes are the same. Throws as bytes().
    bool hasBytesOf(const Plane &other) const;

private:
    QByteArray m_bytes;
    std::shared_ptr<const Stored> m_stored; ///< Null: in memory.
};

} // namespace Simulator

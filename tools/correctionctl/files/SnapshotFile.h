#pragma once

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QRect>
#include <QtCore/QSaveFile>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <array>
#include <optional>

namespace Ctl {

/// A snapshot: the chroma coefficients of a screen's cabinets, and settings of its devices. A file of lines of JSON, each
/// but the first and the last followed by the bytes of one cabinet (row by row, 9 little-endian uint16 a pixel):
///
///     {"format":"correction-snapshot","version":2,"screen":"main","cabinets":24,
///      "settings":[{"device":"A","effect":0,"red":[...],"green":[...],"blue":[...]}]}  (in one line)
///     {"cabinet":"1","device":"A","x":0,"y":0,"width":128,"height":128,"bytes":294912,"xxh128":"..."}
///     <294912 bytes>
///     ...
///     {"end":24,"sha256":"..."}
///
/// "settings" is optional, and of them "effect" and each gamma table. An empty table: the device had none.
///
/// The last sum is that of all lines before it: it covers the other sums, so that any damage and a truncated file are found,
/// before anything of it is used. Version 1, which is read as well, has the SHA-256 of a cabinet's bytes ("sha256") in place
/// of XXH3 with 128 bits.
constexpr int snapshotVersion = 2;

/// A cabinet of a snapshot.
struct SnapshotCabinet {
    QString id;
    QString device;
    QRect rect;        ///< Screen pixels.
    qint64 offset = 0; ///< Where its bytes begin in the file.
    qint64 bytes = 0;
    QByteArray sum; ///< Of the bytes, as hexadecimal text.
};

/// The settings of a device that the library can read.
struct SnapshotSettings {
    static constexpr qint64 unknownEffect = Q_INT64_C(1) << 32; ///< No effect mode is as large.

    QString device;
    qint64 effect = unknownEffect; ///< EnumEffectMode, or a number of the device.
    /// By EnumGammaType: red, green, blue. Empty: the device has no table; null: unknown.
    std::array<std::optional<QList<int>>, 3> gamma;
};

class SnapshotWriter
{
public:
    /// All functions throw a Failure that names the file, also for what is too long to be read back.
    SnapshotWriter(const QString &path, const QString &screenId, int cabinets,
                   const QVector<SnapshotSettings> &settings = {});
    void add(const SnapshotCabinet &cabinet, const QByteArray &bytes);
    void finish();

private:
    void writeLine(const QByteArray &line, qint64 longest, const QString &what);

    QSaveFile m_file;
    QCryptographicHash m_lines{QCryptographicHash::Sha256};
    int m_cabinets = 0;
};

class SnapshotReader
{
public:
    /// Reads the whole file once and checks every sum; throws a Failure that names the file, the place and the reason.
    explicit SnapshotReader(const QString &path);

    const QString &screenId() const { return m_screenId; }
    const QVector<SnapshotCabinet> &cabinets() const { return m_cabinets; }
    const QVector<SnapshotSettings> &settings() const { return m_settings; }
    /// The bytes of a cabinet, checked again.
    QByteArray bytesOf(const SnapshotCabinet &cabinet);

private:
    [[noreturn]] void refuse(const QString &reason) const;
    QJsonObject line(qint64 longest);

    QFile m_file;
    QCryptographicHash m_lines{QCryptographicHash::Sha256};
    int m_version = 0;
    QString m_screenId;
    QVector<SnapshotCabinet> m_cabinets;
    QVector<SnapshotSettings> m_settings;
};

} // namespace Ctl

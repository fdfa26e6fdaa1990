#pragma once

#include "device/DeviceState.h"
#include "files/DiskFiles.h"

#include <QtCore/QMap>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace Simulator {

/// What one device saved, on disk: `state.json`, which is replaced as a whole, and packs of long values (planes and
/// configuration files) that it refers to by place and checksum. A pack is written once and never changed. So whatever
/// happens in between, the folder holds what `state.json` says. docs/store.md describes the files.
///
/// Has no lock of its own. std::bad_alloc leaves folder and object as they were before the call.
class DeviceFolder
{
public:
    /// `defaultPixels` by Kind: a plane that consists of them takes no place.
    DeviceFolder(const QString &path, const std::array<QByteArray, kindCount> &defaultPixels);

    /// The folder's name for a device key. Different keys have different names.
    static QString nameFor(const QString &deviceKey);

    /// Makes the folder of a device that has saved nothing yet, as a part of what `making` makes.
    bool create(const DeviceState &device, Disk::Making &making, QString *error);
    /// Reads and checks everything into a device that is as delivered.
    bool read(DeviceState &device, QString *error);
    /// Saves what lasts of `after` and differs from `before`, which is what was saved last: whole or not at all. True: it
    /// is on disk, and outlasts a power failure.
    bool save(const DeviceState &before, const DeviceState &after, QString *error);
    /// Removes what a process left behind that was killed: files of ours that read() found and `state.json` did not refer
    /// to.
    void tidy() noexcept;

private:
    /// Where a value's bytes are.
    struct Place {
        int pack = 0;
        qint64 offset = 0;
        int length = 0;
        QByteArray sha1; ///< 20 bytes.
    };
    struct SavedCabinet {
        QMap<int, Place> places; ///< By slot: see slots() in the source.
        QByteArray line;         ///< The cabinet's JSON text; empty when it is as delivered.
    };
    struct Saved {
        QMap<QString, SavedCabinet> cabinets; ///< By id.
        QByteArray line;                      ///< The JSON text of the device's own settings.
    };
    class Reader;

    QString filePath(const QString &name) const { return m_path + QLatin1Char('/') + name; }
    /// A cabinet's JSON text; empty when it is as delivered.
    static QByteArray cabinetLine(const DeviceState &device, const QString &id, const SavedCabinet &saved);
    /// Bytes in use, by pack.
    static QMap<int, qint64> usedBytes(const Saved &saved);
    /// The text of `state.json`.
    static QByteArray stateText(const QString &deviceKey, const Saved &saved);
    /// A number that no pack has as far as is known.
    int nextPack() const;
    /// Makes `next` what is saved; `values` are those of a new pack of number `pack`.
    bool commit(const QString &deviceKey, Saved &next, int pack, const QVector<QByteArray> &values, QString *error);
    /// Puts the state back that is saved, after another one took its place but perhaps not for good.
    bool restore(const QString &deviceKey) const;

    QString m_path;
    std::array<QByteArray, kindCount> m_defaultPixels;
    Saved m_saved;
    QMap<int, qint64> m_packSizes;  ///< Of the packs that `m_saved` refers to.
    int m_lastPack = 0;             ///< The last number that was tried.
    QVector<QByteArray> m_leftover; ///< Paths: see tidy().
    QSet<int> m_leftoverPacks;      ///< Numbers of those that are packs.
    /// Whether `state.json` holds `m_saved` for good. If not, the next save writes it whatever was changed.
    bool m_isCertain = true;
};

} // namespace Simulator

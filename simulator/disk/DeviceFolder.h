#pragma once

#include "device/DeviceState.h"
#include "files/DiskFiles.h"

#include <QtCore/QMap>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace Simulator {

/// The persistent state of one device: `state.json`, which is replaced as a whole, and packs of long values (planes and
/// configuration files) that it refers to by position and checksum. A pack is written once and never changed, so the folder
/// is consistent at any time. docs/store.md describes the files.
///
/// Has no lock of its own. std::bad_alloc leaves folder and object as they were before the call.
class DeviceFolder
{
public:
    /// `defaultPixels` by Kind: a plane that consists of them is not stored.
    DeviceFolder(const QString &path, const std::array<QByteArray, kindCount> &defaultPixels);

    /// The folder's name for a device key. Different keys have different names.
    static QString nameFor(const QString &deviceKey);

    /// Makes the folder of a device that has saved nothing yet, as a part of what `making` makes.
    bool create(const DeviceState &device, Disk::Making &making, QString *error);
    /// Reads and checks everything into a device that is as delivered.
    bool read(DeviceState &device, QString *error);
    /// As read(), while another process may save: the state at one moment. The folder must not be written to afterwards.
    bool readBesideWriter(DeviceState &device, QString *error);
    /// Saves the persistent state of `after` that differs from `before`, the state saved last: whole or not at all. True: it
    /// is on disk, and survives a power failure.
    bool save(const DeviceState &before, const DeviceState &after, QString *error);
    /// False after a save that may be on disk although it failed. The next save() ends that, also one without changes.
    bool isCertain() const { return m_isCertain; }
    /// Removes the leftovers of a killed process: own files that read() found and `state.json` did not refer to.
    void tidy() noexcept;

private:
    /// The position of a value's bytes.
    struct Place {
        int pack = 0;
        qint64 offset = 0;
        int length = 0;
        QByteArray sum; ///< Checksum::xxh128().
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

    bool trySave(const DeviceState &before, const DeviceState &after, QString *error);

    QString filePath(const QString &name) const { return m_path + QLatin1Char('/') + name; }
    /// A cabinet's JSON text; empty when it is as delivered. False when a string cannot be written.
    static bool cabinetLine(const DeviceState &device, const QString &id, const SavedCabinet &saved, QByteArray &line);
    /// Bytes in use, by pack.
    static QMap<int, qint64> usedBytes(const Saved &saved);
    /// The text of `state.json`.
    static QByteArray stateText(const QString &deviceKey, const Saved &saved);
    /// A number that no known pack has.
    int nextPack() const;
    /// Saves `next`; `values` go into a new pack with the number `pack`.
    bool commit(const QString &deviceKey, Saved &next, int pack, const QVector<QByteArray> &values, QString *error);
    /// Writes the saved state again, after the next one was written but could not be synchronised.
    bool restore(const QString &deviceKey) const;

    QString m_path;
    std::array<QByteArray, kindCount> m_defaultPixels;
    Saved m_saved;
    QMap<int, qint64> m_packSizes;  ///< Of the packs that `m_saved` refers to.
    int m_lastPack = 0;             ///< The last number that was tried.
    QVector<QByteArray> m_leftover; ///< Paths: see tidy().
    QSet<int> m_leftoverPacks;      ///< Numbers of those that are packs.
    /// Whether `state.json` is known to hold `m_saved`. If not, the next save writes it even without changes.
    bool m_isCertain = true;
};

} // namespace Simulator

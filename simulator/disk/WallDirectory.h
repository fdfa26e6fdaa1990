#pragma once

#include "DeviceFolder.h"

#include <simulator/WallDescription.h>

#include <map>
#include <memory>

namespace Simulator {

/// A wall on disk, held by this process until the object is destroyed: `wall.json` and its checksum, a lock file, and a
/// folder for each device. Has no lock for threads. std::bad_alloc leaves directory and objects as they were before the
/// call.
class WallDirectory
{
public:
    /// Makes a directory for a wall on which nothing was saved yet. Null, and `error` set, when that fails, or when it
    /// holds a wall already.
    static std::unique_ptr<WallDirectory> create(const QString &path, const WallDescription &wall, QString *error);
    /// Reads a directory and powers its devices up. Changes nothing in it but the lock. Null, and `error` set, when anything
    /// in it is wrong. `present` is the directory that the process holds, or null: opening it again needs no new lock.
    static std::unique_ptr<WallDirectory> open(const QString &path, const WallDirectory *present, WallDescription &wall,
                                               QList<DeviceState> &devices, QString *error);
    /// Reads a directory, which another process may have open, and powers its devices up. Takes no lock and changes nothing.
    /// Each device is as one save left it; two devices may be from different moments.
    static bool readOnly(const QString &path, WallDescription &wall, QList<DeviceState> &devices, QString *error);

    /// For a directory that was opened and is used from now on: removes the leftovers of a killed process, and writes the
    /// description's checksum when it is missing. Failures are retried the next time.
    void tidy() noexcept;

    /// Absolute.
    QString path() const { return m_path; }
    std::shared_ptr<Disk::Scratch> scratch() const { return m_scratch; }
    /// See DeviceFolder::save(). A device that the directory does not hold is not saved, which is no failure.
    bool save(const DeviceState &before, const DeviceState &after, QString *error);
    /// See DeviceFolder::isCertain().
    bool isCertain(const QString &deviceKey) const;
    /// From now on the device is not saved; its files stay.
    void release(const QString &deviceKey);

private:
    explicit WallDirectory(const QString &path);
    bool lock(QString *error);
    /// Reads the description and, by `readFolder`, every device. False, and `error` set, when anything is wrong.
    bool read(bool (DeviceFolder::*readFolder)(DeviceState &, QString *), WallDescription &wall, QList<DeviceState> &devices,
              QString *error);
    QString filePath(const QString &name) const { return m_path + QLatin1Char('/') + name; }
    QString folderPath(const QString &deviceKey) const;
    bool addFolder(const Device &device, const WallDescription &wall, QString *error);
    /// Whether the description is the one whose checksum was recorded. `isRecorded` is false when none is.
    bool checkDescription(const QByteArray &json, bool &isRecorded, QString *error) const;
    bool checkNoOthers(QString *error) const;
    /// Everything below the directory.
    bool write(const WallDescription &wall, const QByteArray &json, QString *error);

    QString m_path;
    std::shared_ptr<Disk::Lock> m_lock;
    std::shared_ptr<Disk::Scratch> m_scratch;
    std::map<QString, DeviceFolder> m_folders; ///< By device key.
    /// By device key: the saved state of devices that were powered up since and not saved.
    std::map<QString, DeviceState> m_beforePowerUp;
    QVector<QByteArray> m_leftover; ///< Paths: see tidy().
    QByteArray m_newChecksum;       ///< What tidy() writes; empty when it is there.
};

} // namespace Simulator

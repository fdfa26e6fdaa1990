#pragma once

#include "DeviceFolder.h"

#include <simulator/WallDescription.h>

#include <QtCore/QLockFile>

#include <map>
#include <memory>

namespace Simulator {

/// A wall on disk, held by this process until the object goes: `wall.json`, a lock file, and a folder for each device.
/// Has no lock for threads.
class WallDirectory
{
public:
    /// Makes a directory for a wall on which nothing was saved yet. Null, and `error` set, when that fails, or when it
    /// holds a wall already.
    static std::unique_ptr<WallDirectory> create(const QString &path, const WallDescription &wall, QString *error);
    /// Reads a directory and powers its devices up. Null, and `error` set, when anything in it is wrong; then nothing in
    /// it was changed. `present` is the directory that the process holds, or null: opening it again needs no new lock.
    static std::unique_ptr<WallDirectory> open(const QString &path, const WallDirectory *present, WallDescription &wall,
                                               QList<DeviceState> &devices, QString *error);

    /// Absolute.
    QString path() const { return m_path; }
    /// See DeviceFolder::save(). A device that the directory does not hold is not saved, which is no failure.
    bool save(const DeviceState &before, const DeviceState &after, QString *error);
    /// From now on the device is not saved; what it saved stays.
    void release(const QString &deviceKey) { m_folders.erase(deviceKey); }

private:
    explicit WallDirectory(const QString &path);
    bool lock(QString *error);
    QString filePath(const QString &name) const { return m_path + QLatin1Char('/') + name; }
    QString folderPath(const QString &deviceKey) const;
    bool addFolder(const Device &device, const WallDescription &wall, QString *error);
    bool checkNoOthers(QString *error) const;
    void tidy() const;

    QString m_path;
    std::shared_ptr<QLockFile> m_lock;
    std::map<QString, DeviceFolder> m_folders; ///< By device key.
};

} // namespace Simulator

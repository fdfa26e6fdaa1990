#include "WallDirectory.h"

#include <simulator/WallFile.h>

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSet>

#include <algorithm>
#include <cerrno>

namespace Simulator {

namespace {

const QLatin1String wallName("wall.json");
const QLatin1String checksumName("wall.sha1");
const QLatin1String lockName("lock");
const QLatin1String foldersName("devices");

bool fail(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

bool failAt(const QString &path, const char *what, int failure, QString *error)
{
    return fail(error, failure == ENOENT ? QStringLiteral("%1: is missing").arg(path) : Disk::problem(path, what, failure));
}

/// The text of the checksum's file; the program sha1sum writes and reads it, too.
QByteArray checksumOf(const QByteArray &json)
{
    return QCryptographicHash::hash(json, QCryptographicHash::Sha1).toHex() + "  wall.json\n";
}

} // namespace

WallDirectory::WallDirectory(const QString &path)
    : m_path(QDir::cleanPath(QDir(path).absolutePath())), m_scratch(std::make_shared<Disk::Scratch>(Disk::encoded(m_path)))
{
}

QString WallDirectory::folderPath(const QString &deviceKey) const
{
    return filePath(foldersName) + QLatin1Char('/') + DeviceFolder::nameFor(deviceKey);
}

bool WallDirectory::lock(QString *error)
{
    m_lock = std::make_shared<Disk::Lock>();
    return m_lock->take(filePath(lockName), error);
}

bool WallDirectory::addFolder(const Device &device, const WallDescription &wall, QString *error)
{
    if (!m_folders.emplace(device.key, DeviceFolder(folderPath(device.key), defaultPixels(device, wall.defaultPixels)))
             .second) {
        return fail(error, QStringLiteral("%1: two devices have the key \"%2\", so what they save cannot be told apart")
                               .arg(filePath(wallName), device.key));
    }
    return true;
}

bool WallDirectory::checkDescription(const QByteArray &json, bool &isRecorded, QString *error) const
{
    const QString path = filePath(checksumName);
    QByteArray recorded;
    const int failure = Disk::readFile(Disk::encoded(path), recorded);
    isRecorded = failure != ENOENT;
    if (!isRecorded)
        return true;
    if (failure != 0)
        return fail(error, Disk::problem(path, "cannot be read", failure));
    return recorded == checksumOf(json)
           || fail(error, QStringLiteral("%1: does not match the checksum in %2; if it was edited on purpose, remove %2")
                              .arg(filePath(wallName), checksumName));
}

bool WallDirectory::checkNoOthers(QString *error) const
{
    const QString path = filePath(foldersName);
    const QByteArray folder = Disk::encoded(path);
    QVector<QByteArray> names;
    const int failure = Disk::list(folder, names);
    if (failure == ENOENT)
        return true;
    if (failure != 0)
        return fail(error, Disk::problem(path, "cannot be listed", failure));
    QSet<QByteArray> known;
    for (const auto &each : m_folders)
        known += DeviceFolder::nameFor(each.first).toLatin1();
    QStringList problems;
    std::sort(names.begin(), names.end());
    for (const QByteArray &name : qAsConst(names)) {
        if (known.contains(name))
            continue;
        const QString other = path + QLatin1Char('/') + QFile::decodeName(name);
        bool isFolder = false;
        if (const int problem = Disk::lookForFolder(folder + '/' + name, isFolder))
            problems += Disk::problem(other, "cannot be read", problem);
        else if (isFolder)
            problems += QStringLiteral("%1: holds what a device saved that %2 does not describe").arg(other, wallName);
    }
    return problems.isEmpty() || fail(error, problems.join(QLatin1Char('\n')));
}

void WallDirectory::tidy() noexcept
{
    for (const QByteArray &path : qAsConst(m_leftover))
        Disk::remove(path);
    for (auto &folder : m_folders)
        folder.second.tidy();
    if (m_newChecksum.isEmpty())
        return;
    try {
        const QByteArray path = Disk::encoded(filePath(checksumName));
        if (Disk::writeReplacement(path, m_newChecksum) == 0)
            Disk::replace(path);
    } catch (const std::bad_alloc &) {
    }
}

std::unique_ptr<WallDirectory> WallDirectory::create(const QString &path, const WallDescription &wall, QString *error)
{
    Disk::Making making; // destroyed last: it contains the lock file
    std::unique_ptr<WallDirectory> directory(new WallDirectory(path));
    if (const int failure = making.folder(Disk::encoded(directory->m_path))) {
        fail(error, Disk::problem(directory->m_path, "cannot be made", failure));
        return nullptr;
    }
    if (!directory->lock(error))
        return nullptr;
    for (const QLatin1String name : {wallName, foldersName, checksumName}) {
        const QString there = directory->filePath(name);
        bool isThere = false;
        if (const int failure = Disk::lookFor(Disk::encoded(there), isThere)) {
            fail(error, Disk::problem(there, "cannot be read", failure));
            return nullptr;
        }
        if (!isThere)
            continue;
        if (name == wallName) {
            fail(error, QStringLiteral("%1: is there already; open that wall, or choose another directory").arg(there));
        } else {
            fail(error, QStringLiteral("%1: is there, but no %2: the wall's description was lost, or its making was "
                                       "interrupted; restore it, or choose another directory")
                            .arg(there, wallName));
        }
        return nullptr;
    }
    for (const Device &device : wall.devices) {
        if (!directory->addFolder(device, wall, error))
            return nullptr;
    }
    const QByteArray json = wallToJson(wall);
    WallDescription again;
    if (!parseWall(json, directory->filePath(wallName), again, error))
        return nullptr;
    if (const int failure = making.sync()) {
        fail(error, Disk::problem(directory->m_path, "cannot be synchronised", failure));
        return nullptr;
    }
    // The name of a folder that was there already may not be on the disk yet, either. A parent that this process may not
    // read cannot be synchronised.
    const QString parent = QFileInfo(directory->m_path).path();
    const int unsynced = Disk::syncFolder(Disk::encoded(parent));
    if (unsynced != 0 && unsynced != EACCES) {
        fail(error, Disk::problem(parent, "cannot be synchronised", unsynced));
        return nullptr;
    }
    if (!directory->write(wall, json, error))
        return nullptr;
    making.keep();
    return directory;
}

bool WallDirectory::write(const WallDescription &wall, const QByteArray &json, QString *error)
{
    Disk::Making making;
    for (const Device &device : wall.devices) {
        if (!m_folders.at(device.key).create(DeviceState(device), making, error))
            return false;
    }
    const auto failed = [&](const QString &path, const char *what, int failure) {
        return fail(error, Disk::problem(path, what, failure));
    };
    const QString checksumPath = filePath(checksumName);
    if (const int failure = making.file(Disk::encoded(checksumPath), {checksumOf(json)}))
        return failed(checksumPath, "cannot be written", failure);
    if (const int failure = making.sync())
        return failed(m_path, "cannot be synchronised", failure);
    // Last, since it makes the directory a wall.
    const QString path = filePath(wallName);
    if (const int failure = making.fileAtOnce(Disk::encoded(path), json))
        return failed(path, "cannot be written", failure);
    if (const int failure = Disk::syncFolder(Disk::encoded(m_path)))
        return failed(m_path, "cannot be synchronised", failure);
    making.keep();
    return true;
}

std::unique_ptr<WallDirectory> WallDirectory::open(const QString &path, const WallDirectory *present, WallDescription &wall,
                                                   QList<DeviceState> &devices, QString *error)
{
    std::unique_ptr<WallDirectory> directory(new WallDirectory(path));
    const auto failed = [&](const QString &where, const char *what, int failure) {
        failAt(where, what, failure, error);
        return nullptr;
    };
    const QString wallPath = directory->filePath(wallName);
    bool isThere = false;
    if (const int failure = Disk::lookFor(Disk::encoded(wallPath), isThere))
        return failed(wallPath, "cannot be read", failure);
    if (!isThere)
        return failed(wallPath, "cannot be read", ENOENT);
    if (present && present->m_lock->holds(Disk::encoded(directory->filePath(lockName))))
        directory->m_lock = present->m_lock;
    else if (!directory->lock(error))
        return nullptr;
    if (!directory->read(&DeviceFolder::read, wall, devices, error))
        return nullptr;

    const QByteArray folder = Disk::encoded(directory->m_path);
    QVector<QByteArray> names;
    if (const int failure = Disk::list(folder, names))
        return failed(directory->m_path, "cannot be listed", failure);
    for (const QByteArray &name : qAsConst(names)) {
        if (Disk::isReplacement(name, "wall.json") || Disk::isReplacement(name, "wall.sha1"))
            directory->m_leftover += folder + '/' + name;
    }
    // The process that made the directory may have been killed before it did so.
    for (const QString &each : {directory->m_path, directory->filePath(foldersName)}) {
        const int failure = Disk::syncFolder(Disk::encoded(each));
        if (failure != 0 && !(failure == ENOENT && wall.devices.isEmpty()))
            return failed(each, "cannot be synchronised", failure);
    }
    return directory;
}

bool WallDirectory::read(bool (DeviceFolder::*readFolder)(DeviceState &, QString *), WallDescription &wall,
                         QList<DeviceState> &devices, QString *error)
{
    const QString wallPath = filePath(wallName);
    QByteArray json;
    if (const int failure = Disk::readFile(Disk::encoded(wallPath), json))
        return failAt(wallPath, "cannot be read", failure, error);
    bool isRecorded = false;
    if (!parseWall(json, wallPath, wall, error) || !checkDescription(json, isRecorded, error))
        return false;
    if (!isRecorded)
        m_newChecksum = checksumOf(json);

    QStringList problems;
    QString problem;
    for (const Device &device : qAsConst(wall.devices)) {
        DeviceState state(device);
        if (!addFolder(device, wall, &problem) || !(m_folders.at(device.key).*readFolder)(state, &problem))
            problems += problem;
        m_beforePowerUp.emplace(device.key, state);
        state.powerUp();
        devices += state;
    }
    if (!checkNoOthers(&problem))
        problems += problem;
    return problems.isEmpty() || fail(error, problems.join(QLatin1Char('\n')));
}

bool WallDirectory::readOnly(const QString &path, WallDescription &wall, QList<DeviceState> &devices, QString *error)
{
    return WallDirectory(path).read(&DeviceFolder::readBesideWriter, wall, devices, error);
}

bool WallDirectory::save(const DeviceState &before, const DeviceState &after, QString *error)
{
    const auto folder = m_folders.find(after.description.key);
    if (folder == m_folders.end())
        return true;
    const auto saved = m_beforePowerUp.find(after.description.key);
    if (!folder->second.save(saved == m_beforePowerUp.end() ? before : saved->second, after, error))
        return false;
    if (saved != m_beforePowerUp.end())
        m_beforePowerUp.erase(saved);
    return true;
}

bool WallDirectory::isCertain(const QString &deviceKey) const
{
    const auto folder = m_folders.find(deviceKey);
    return folder == m_folders.end() || folder->second.isCertain();
}

void WallDirectory::release(const QString &deviceKey)
{
    m_folders.erase(deviceKey);
    m_beforePowerUp.erase(deviceKey);
}

} // namespace Simulator

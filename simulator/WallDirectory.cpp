#include "WallDirectory.h"

#include <simulator/WallFile.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QSysInfo>

namespace Simulator {

namespace {

const QLatin1String wallName("wall.json");
const QLatin1String lockName("lock");
const QLatin1String foldersName("devices");

bool fail(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

} // namespace

WallDirectory::WallDirectory(const QString &path) : m_path(QDir::cleanPath(QDir(path).absolutePath())) {}

QString WallDirectory::folderPath(const QString &deviceKey) const
{
    return filePath(foldersName) + QLatin1Char('/') + DeviceFolder::nameFor(deviceKey);
}

bool WallDirectory::lock(QString *error)
{
    // How long a process that takes the lock may need to write its name into the file.
    constexpr int milliseconds = 200;

    m_lock = std::make_shared<QLockFile>(filePath(lockName));
    m_lock->setStaleLockTime(0); // the lock of a living process never grows old; a dead one's is taken over at once
    if (m_lock->tryLock(milliseconds))
        return true;
    if (m_lock->error() != QLockFile::LockFailedError)
        return fail(error, QStringLiteral("%1: cannot be written").arg(filePath(lockName)));

    qint64 process = 0;
    QString host;
    QString application;
    const bool isNamed = m_lock->getLockInfo(&process, &host, &application);
    // Besides the name in the file the operating system knows whether its owner lives: then removing the file fails. So a
    // file that was cut short, and a process number that was given to another process, lock nobody out.
    if (QSysInfo::machineHostName().startsWith(host) && m_lock->removeStaleLockFile() && m_lock->tryLock(milliseconds))
        return true;
    return fail(error, isNamed ? QStringLiteral("%1: the wall is in use by process %2 (%3) on %4")
                                     .arg(filePath(lockName), QString::number(process), application, host)
                               : QStringLiteral("%1: the wall is in use").arg(filePath(lockName)));
}

bool WallDirectory::addFolder(const Device &device, const WallDescription &wall, QString *error)
{
    if (!m_folders.emplace(device.key, DeviceFolder(folderPath(device.key), wall.defaultPixels)).second) {
        return fail(error, QStringLiteral("%1: two devices have the key \"%2\", so what they save cannot be told apart")
                               .arg(filePath(wallName), device.key));
    }
    return true;
}

bool WallDirectory::checkNoOthers(QString *error) const
{
    QSet<QString> known;
    for (const auto &folder : m_folders)
        known += DeviceFolder::nameFor(folder.first);
    QStringList problems;
    const QStringList names = QDir(filePath(foldersName)).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        if (!known.contains(name)) {
            problems += QStringLiteral("%1/%2: holds what a device saved that %3 does not describe")
                            .arg(filePath(foldersName), name, wallName);
        }
    }
    return problems.isEmpty() || fail(error, problems.join(QLatin1Char('\n')));
}

void WallDirectory::tidy() const
{
    static const QRegularExpression temporary(QStringLiteral("\\Awall\\.json\\.[A-Za-z]{6}\\z"));
    const QStringList names = QDir(m_path).entryList(QDir::Files | QDir::Hidden);
    for (const QString &name : names) {
        if (temporary.match(name).hasMatch())
            QFile::remove(filePath(name));
    }
    for (const auto &folder : m_folders)
        folder.second.tidy();
}

std::unique_ptr<WallDirectory> WallDirectory::create(const QString &path, const WallDescription &wall, QString *error)
{
    std::unique_ptr<WallDirectory> directory(new WallDirectory(path));
    const auto holds = [&](QLatin1String name) { return QFileInfo::exists(directory->filePath(name)); };
    if (!QDir().mkpath(directory->m_path)) {
        fail(error, QStringLiteral("%1: cannot be made").arg(directory->m_path));
        return nullptr;
    }
    if (!directory->lock(error))
        return nullptr;
    if (holds(wallName)) {
        fail(error, QStringLiteral("%1: is there already; open that wall, or choose another directory")
                        .arg(directory->filePath(wallName)));
        return nullptr;
    }
    if (holds(foldersName)) {
        fail(error, QStringLiteral("%1: is there, but no %2: the wall's description was lost, or its making was "
                                   "interrupted; restore it, or choose another directory")
                        .arg(directory->filePath(foldersName), wallName));
        return nullptr;
    }
    const auto write = [&] {
        for (const Device &device : wall.devices) {
            if (!directory->addFolder(device, wall, error)
                || !directory->m_folders.at(device.key).create(DeviceState(device), error))
                return false;
        }
        // Last, since it makes the directory a wall.
        return writeWall(directory->filePath(wallName), wall, error);
    };
    if (write())
        return directory;
    QDir(directory->filePath(foldersName)).removeRecursively();
    return nullptr;
}

std::unique_ptr<WallDirectory> WallDirectory::open(const QString &path, const WallDirectory *present, WallDescription &wall,
                                                   QList<DeviceState> &devices, QString *error)
{
    std::unique_ptr<WallDirectory> directory(new WallDirectory(path));
    if (!QFileInfo::exists(directory->filePath(wallName))) {
        fail(error, QStringLiteral("%1: is missing").arg(directory->filePath(wallName)));
        return nullptr;
    }
    const QString canonical = QDir(directory->m_path).canonicalPath();
    if (present && QDir(present->m_path).canonicalPath() == canonical)
        directory->m_lock = present->m_lock;
    else if (!directory->lock(error))
        return nullptr;
    if (!readWall(directory->filePath(wallName), wall, error))
        return nullptr;

    QStringList problems;
    QString problem;
    for (const Device &device : qAsConst(wall.devices)) {
        DeviceState state(device);
        if (!directory->addFolder(device, wall, &problem) || !directory->m_folders.at(device.key).read(state, &problem))
            problems += problem;
        devices += state;
    }
    if (!directory->checkNoOthers(&problem))
        problems += problem;
    if (!problems.isEmpty()) {
        fail(error, problems.join(QLatin1Char('\n')));
        return nullptr;
    }

    directory->tidy();
    for (DeviceState &device : devices) {
        const DeviceState before = device;
        device.powerUp();
        if (!directory->save(before, device, error)) // of a device that forgets
            return nullptr;
    }
    return directory;
}

bool WallDirectory::save(const DeviceState &before, const DeviceState &after, QString *error)
{
    const auto folder = m_folders.find(after.description.key);
    return folder == m_folders.end() || folder->second.save(before, after, error);
}

} // namespace Simulator

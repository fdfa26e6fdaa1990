#include "DiskFiles.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QSysInfo>
#include <QtCore/QThread>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Simulator {
namespace Disk {

namespace {

constexpr qint64 largestFile = qint64(1) << 30;
constexpr mode_t fileMode = 0666;
constexpr mode_t folderMode = 0777;

std::atomic<long> keptFiles{0};

/// Six letters as in QSaveFile's names, so that earlier versions also remove the leftovers of a killed process.
const char *const replacementEnd = ".saving";

/// RAII: closes a file.
class Handle
{
public:
    explicit Handle(int file) : m_file(file) {}
    ~Handle()
    {
        if (m_file >= 0)
            ::close(m_file);
    }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
    int get() const { return m_file; }
    int take() { return std::exchange(m_file, -1); }

private:
    int m_file;
};

int writeAll(int file, const char *bytes, qint64 size) noexcept
{
    while (size > 0) {
        const ssize_t written = ::write(file, bytes, static_cast<std::size_t>(size));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return errno;
        if (written == 0)
            return EIO;
        bytes += written;
        size -= written;
    }
    return 0;
}

int writeAndSync(int file, const QVector<QByteArray> &parts) noexcept
{
    for (const QByteArray &part : parts) {
        if (const int failure = writeAll(file, part.constData(), part.size()))
            return failure;
    }
    return ::fsync(file) == 0 ? 0 : errno;
}

int inspect(const QByteArray &path, struct stat &result) noexcept
{
    return ::stat(path.constData(), &result) == 0 ? 0 : errno;
}

bool areSame(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

QByteArray replacementOf(const QByteArray &path)
{
    return path + replacementEnd;
}

QByteArray folderOf(const QByteArray &path)
{
    const int slash = path.lastIndexOf('/');
    return slash > 0 ? path.left(slash) : QByteArray(slash == 0 ? "/" : ".");
}

} // namespace

QByteArray encoded(const QString &path)
{
    return QFile::encodeName(path);
}

QString problem(const QString &path, const char *what, int failure)
{
    return QStringLiteral("%1: %2: %3").arg(path, QLatin1String(what), qt_error_string(failure));
}

// Files

int Input::open(const QByteArray &path) noexcept
{
    close();
    Handle file(::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)); // a FIFO would block
    struct stat found {
    };
    if (file.get() < 0 || ::fstat(file.get(), &found) != 0)
        return errno;
    if (!S_ISREG(found.st_mode))
        return S_ISDIR(found.st_mode) ? EISDIR : EINVAL;
    m_size = found.st_size;
    m_file = file.take();
    return 0;
}

void Input::close() noexcept
{
    if (m_file >= 0)
        ::close(m_file);
    if (m_isKept)
        --keptFiles;
    m_file = -1;
    m_size = 0;
    m_isKept = false;
}

bool Input::keep() noexcept
{
    if (m_isKept)
        return true;
    m_isKept = ++keptFiles <= ::sysconf(_SC_OPEN_MAX) / 2;
    if (!m_isKept)
        --keptFiles;
    return m_isKept;
}

int Input::read(qint64 offset, int length, QByteArray &bytes) const
{
    QByteArray result(length, Qt::Uninitialized);
    int size = 0;
    while (size < length) {
        const ssize_t count = ::pread(m_file, result.data() + size, static_cast<std::size_t>(length - size),
                                      static_cast<off_t>(offset + size));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return errno;
        if (count == 0)
            break;
        size += static_cast<int>(count);
    }
    result.truncate(size);
    bytes = result;
    return 0;
}

int Scratch::put(const QByteArray &bytes, qint64 &offset) noexcept
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_failure == 0 && m_file < 0) {
            m_file = ::open(m_folder.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
            m_failure = m_file < 0 ? errno : 0;
        }
        if (m_failure != 0)
            return m_failure;
        const auto found = m_free.find(bytes.size());
        if (found != m_free.end()) {
            offset = found->second;
            m_free.erase(found);
        } else {
            const qint64 end = m_end + bytes.size();
            struct statvfs disk {
            };
            if (::fstatvfs(m_file, &disk) != 0)
                return errno;
            // The bytes now; then a save of all that is here, and the text that names it.
            constexpr qint64 textSize = 1 << 20;
            if (quint64(disk.f_bavail) * disk.f_frsize < static_cast<quint64>(bytes.size() + end + textSize))
                return ENOSPC;
            offset = m_end;
            m_end = end;
        }
    }
    for (int done = 0; done < bytes.size();) {
        const ssize_t now = ::pwrite(m_file, bytes.constData() + done, static_cast<std::size_t>(bytes.size() - done),
                                     static_cast<off_t>(offset + done));
        if (now < 0 && errno == EINTR)
            continue;
        if (now <= 0) {
            const int failure = now < 0 ? errno : EIO;
            release(offset, bytes.size());
            return failure;
        }
        done += static_cast<int>(now);
    }
    return 0;
}

void Scratch::release(qint64 offset, int length) noexcept
{
    try {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_free.emplace(length, offset);
    } catch (const std::bad_alloc &) { // the space stays unused
    }
}

int readFile(const QByteArray &path, QByteArray &bytes)
{
    Input file;
    if (const int failure = file.open(path))
        return failure;
    if (file.size() > largestFile)
        return EFBIG;
    return file.read(0, static_cast<int>(file.size()), bytes);
}

int writeNew(const QByteArray &path, const QVector<QByteArray> &parts) noexcept
{
    const Handle file(::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, fileMode));
    if (file.get() < 0)
        return errno;
    const int failure = writeAndSync(file.get(), parts);
    if (failure != 0)
        ::unlink(path.constData());
    return failure;
}

int writeReplacement(const QByteArray &path, const QByteArray &bytes)
{
    const QByteArray replacement = replacementOf(path);
    const QVector<QByteArray> parts{bytes};
    const Handle file(::open(replacement.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, fileMode));
    if (file.get() < 0)
        return errno;
    struct stat present {
    };
    int failure = inspect(path, present);
    if (failure == 0)
        failure = ::fchmod(file.get(), present.st_mode & 07777) == 0 || errno == EPERM ? 0 : errno;
    else if (failure == ENOENT)
        failure = 0;
    if (failure == 0)
        failure = writeAndSync(file.get(), parts);
    if (failure != 0)
        ::unlink(replacement.constData());
    return failure;
}

int replace(const QByteArray &path)
{
    const QByteArray replacement = replacementOf(path);
    if (::rename(replacement.constData(), path.constData()) == 0)
        return 0;
    const int failure = errno;
    ::unlink(replacement.constData());
    return failure;
}

bool isReplacement(const QByteArray &name, const char *replaced)
{
    const int size = static_cast<int>(std::strlen(replaced));
    const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
    return name.size() == size + 7 && name.startsWith(replaced) && name[size] == '.'
           && std::all_of(name.cbegin() + size + 1, name.cend(), isLetter);
}

// Folders

int syncFolder(const QByteArray &path) noexcept
{
    const Handle folder(::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() < 0)
        return errno;
    // Some file systems cannot synchronise a folder and return these errors.
    return ::fsync(folder.get()) == 0 || errno == EINVAL ? 0 : errno;
}

int list(const QByteArray &path, QVector<QByteArray> &names)
{
    struct Closer {
        DIR *folder;
        ~Closer()
        {
            if (folder)
                ::closedir(folder);
        }
    };
    const Closer opened{::opendir(path.constData())};
    if (!opened.folder)
        return errno;
    QVector<QByteArray> found;
    for (;;) {
        errno = 0;
        const dirent *const entry = ::readdir(opened.folder);
        if (!entry && errno != 0)
            return errno;
        if (!entry)
            break;
        const QByteArray name(static_cast<const char *>(entry->d_name));
        if (name != "." && name != "..")
            found += name;
    }
    names.swap(found);
    return 0;
}

int lookFor(const QByteArray &path, bool &isThere) noexcept
{
    struct stat found {
    };
    isThere = ::lstat(path.constData(), &found) == 0;
    return isThere || errno == ENOENT ? 0 : errno;
}

int lookForFolder(const QByteArray &path, bool &isFolder) noexcept
{
    struct stat found {
    };
    const int failure = inspect(path, found);
    isFolder = failure == 0 && S_ISDIR(found.st_mode);
    return failure == ENOENT ? 0 : failure;
}

int remove(const QByteArray &path) noexcept
{
    return ::unlink(path.constData()) == 0 ? 0 : errno;
}

// Making

Making::~Making()
{
    // Stops at the first failure: an entry that stays may need the older ones.
    for (auto it = m_paths.crbegin(); it != m_paths.crend(); ++it) {
        const char *const path = it->first.constData();
        if ((it->second ? ::rmdir(path) : ::unlink(path)) != 0 && errno != ENOENT)
            return;
    }
}

int Making::folder(const QByteArray &path)
{
    QVector<QByteArray> missing;
    for (QByteArray each = path;; each = folderOf(each)) {
        struct stat found {
        };
        const int failure = inspect(each, found);
        if (failure == 0 && !S_ISDIR(found.st_mode))
            return ENOTDIR;
        if (failure == 0)
            break;
        if (failure != ENOENT || each == folderOf(each))
            return failure;
        missing += each;
    }
    m_paths.reserve(m_paths.size() + static_cast<std::size_t>(missing.size()));
    for (auto it = missing.crbegin(); it != missing.crend(); ++it) {
        if (::mkdir(it->constData(), folderMode) == 0)
            m_paths.emplace_back(*it, true);
        else if (errno != EEXIST)
            return errno;
    }
    return 0;
}

int Making::file(const QByteArray &path, const QVector<QByteArray> &parts)
{
    m_paths.reserve(m_paths.size() + 1);
    const int failure = writeNew(path, parts);
    if (failure == 0)
        m_paths.emplace_back(path, false);
    return failure;
}

int Making::fileAtOnce(const QByteArray &path, const QByteArray &bytes)
{
    m_paths.reserve(m_paths.size() + 2);
    const QByteArray replacement = replacementOf(path);
    if (const int failure = writeReplacement(path, bytes))
        return failure;
    m_paths.emplace_back(replacement, false);
    m_paths.emplace_back(path, false);
    return replace(path);
}

int Making::sync() const
{
    QVector<QByteArray> folders;
    for (const auto &made : m_paths) {
        const QByteArray folder = folderOf(made.first);
        if (!folders.contains(folder))
            folders += folder;
    }
    for (const QByteArray &folder : qAsConst(folders)) {
        if (const int failure = syncFolder(folder))
            return failure;
    }
    return 0;
}

// Lock

namespace {

/// The contents of a lock file in QLockFile's format: lines of process, program and host.
struct Owner {
    const char *begin[4] = {}; ///< Of the lines, and the end of the third one.
    bool isNamed = false;

    Owner(const char *bytes, ssize_t size)
    {
        const char *const end = bytes + size;
        begin[0] = bytes;
        for (int line = 0; line < 3; ++line) {
            const char *const lineEnd = std::find(begin[line], end, '\n');
            if (lineEnd == end)
                return;
            begin[line + 1] = lineEnd + 1;
        }
        isNamed = true;
    }
    QByteArray line(int number) const
    {
        return QByteArray(begin[number], static_cast<int>(begin[number + 1] - begin[number]) - 1);
    }
    /// An incomplete file has no owner.
    bool isOf(const QByteArray &host) const
    {
        if (!isNamed)
            return true;
        const auto length = begin[3] - begin[2] - 1;
        return length == host.size() && std::equal(begin[2], begin[2] + length, host.constData());
    }
};

QByteArray ownName()
{
    char path[4096];
    const ssize_t size = std::max<ssize_t>(0, ::readlink("/proc/self/exe", path, sizeof path));
    const QByteArray program(path, static_cast<int>(size));
    return QByteArray::number(QCoreApplication::applicationPid()) + '\n' + program.mid(program.lastIndexOf('/') + 1) + '\n'
           + QSysInfo::machineHostName().toUtf8() + '\n';
}

} // namespace

bool Lock::take(const QString &path, QString *error)
{
    // For a process that is releasing the lock, and for one that has not yet written its name into the file.
    constexpr int timeout = 200; // milliseconds
    constexpr unsigned long pause = 10;

    const auto fail = [&](const QString &text) {
        if (error)
            *error = text;
        return false;
    };
    const auto failed = [&](const char *what, int failure) { return fail(problem(path, what, failure)); };
    const auto inUse = [&](const Owner &owner) {
        if (!owner.isNamed)
            return fail(QStringLiteral("%1: the wall is in use").arg(path));
        return fail(QStringLiteral("%1: the wall is in use by process %2 (%3) on %4")
                        .arg(path, QString::fromUtf8(owner.line(0)), QString::fromUtf8(owner.line(1)),
                             QString::fromUtf8(owner.line(2))));
    };

    m_path = encoded(path);
    const QByteArray name = ownName();
    const QByteArray host = QSysInfo::machineHostName().toUtf8();
    const QDeadlineTimer deadline(timeout);
    for (;;) {
        release();
        int file = ::open(m_path.constData(), O_RDWR | O_CLOEXEC);
        const bool isNew = file < 0 && errno == ENOENT;
        if (isNew)
            file = ::open(m_path.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, fileMode);
        if (file < 0 && isNew && errno == EEXIST && !deadline.hasExpired())
            continue;
        if (file < 0)
            return failed("cannot be written", errno);
        m_file = file;
        m_isOwn = isNew;
        const bool isLocked = ::flock(m_file, LOCK_EX | LOCK_NB) == 0;
        if (!isLocked && errno != EWOULDBLOCK)
            return failed("cannot be locked", errno);
        m_isOwn = isLocked && isNew;

        struct stat locked {
        };
        struct stat present {
        };
        if (::fstat(m_file, &locked) != 0)
            return failed("cannot be read", errno);
        const int failure = inspect(m_path, present);
        if (failure != 0 && failure != ENOENT)
            return failed("cannot be read", failure);
        const bool isPresent = failure == 0 && areSame(locked, present); // false when its owner has just removed it
        char bytes[1024];
        const ssize_t size = ::pread(m_file, bytes, sizeof bytes, 0);
        if (size < 0)
            return failed("cannot be read", errno);

        const Owner owner(bytes, size);
        if (isLocked && isPresent) {
            // The system's lock does not reach all hosts of a network drive.
            if (!owner.isOf(host))
                return inUse(owner);
            break;
        }
        if (deadline.hasExpired())
            return inUse(owner);
        QThread::msleep(pause);
    }

    m_isOwn = true;
    int failure = ::ftruncate(m_file, 0) == 0 ? 0 : errno;
    if (failure == 0)
        failure = writeAll(m_file, name.constData(), name.size());
    return failure == 0 || failed("cannot be written", failure);
}

bool Lock::holds(const QByteArray &path) const noexcept
{
    struct stat held {
    };
    struct stat named {
    };
    return m_file >= 0 && ::fstat(m_file, &held) == 0 && ::stat(path.constData(), &named) == 0 && areSame(held, named);
}

void Lock::release() noexcept
{
    if (m_isOwn && holds(m_path))
        ::unlink(m_path.constData());
    if (m_file >= 0)
        ::close(m_file);
    m_file = -1;
    m_isOwn = false;
}

} // namespace Disk
} // namespace Simulator

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace Simulator {

/// Files and folders through system calls, so that every failure is reported with its reason. Paths are
/// encoded (QFile::encodeName()). Functions that return an int return 0, or the errno of the call that failed; those that
/// allocate may throw std::bad_alloc.
namespace Disk {

QByteArray encoded(const QString &path);
/// `PATH: WHAT: the system's reason`
QString problem(const QString &path, const char *what, int failure);

/// A file opened for reading; closed with the object.
class Input
{
public:
    Input() = default;
    ~Input() { close(); }
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

    int open(const QByteArray &path) noexcept;
    void close() noexcept;
    bool isOpen() const { return m_file >= 0; }
    /// In bytes, when it was opened.
    qint64 size() const { return m_size; }
    /// Shorter than `length` at the end of the file.
    int read(qint64 offset, int length, QByteArray &bytes) const;
    /// Call before keeping a file open. False when half of the files that this process may have open are already kept
    /// open.
    bool keep() noexcept;

protected:
    int m_file = -1;

private:
    qint64 m_size = 0;
    bool m_isKept = false;
};

/// A file without a name, for bytes that memory should not hold; it ends with the object. The space of released bytes is
/// used again for others of their length. Thread-safe.
class Scratch : public Input
{
public:
    /// The file is made in this folder, on first use.
    explicit Scratch(const QByteArray &folder) : m_folder(folder) {}

    const QByteArray &folder() const { return m_folder; }
    /// Writes bytes, which stay at `offset` until they are released. ENOSPC, and nothing written, when the file would have
    /// to grow and the disk would then lack the space to save what it holds.
    int put(const QByteArray &bytes, qint64 &offset) noexcept;
    void release(qint64 offset, int length) noexcept;

private:
    const QByteArray m_folder;
    std::mutex m_mutex;
    int m_failure = 0; ///< errno of the failed creation of the file, or 0.
    qint64 m_end = 0;
    std::multimap<int, qint64> m_free; ///< Offsets, by length.
};

/// A whole regular file of at most 1 GiB; EFBIG for a larger one.
int readFile(const QByteArray &path, QByteArray &bytes);
/// Writes a file that is not there yet and synchronises it, not its name. EEXIST, and nothing changed, when there is one;
/// after another failure the file is removed.
int writeNew(const QByteArray &path, const QVector<QByteArray> &parts) noexcept;
/// The same beside a file that is to be replaced by replace(), with its permissions. A leftover file of that name is
/// overwritten.
int writeReplacement(const QByteArray &path, const QByteArray &bytes);
/// Renames what writeReplacement() wrote. After a failure it is removed.
int replace(const QByteArray &path);
/// Whether this is a name that writeReplacement(), or QSaveFile as used by earlier versions, gives its files for `path`.
bool isReplacement(const QByteArray &name, const char *replaced);

/// Synchronises a folder: its new, removed and renamed entries survive a power failure.
int syncFolder(const QByteArray &path) noexcept;
/// The names in a folder, without "." and "..".
int list(const QByteArray &path, QVector<QByteArray> &names);
/// Whether a directory entry of this name exists, also a dangling link.
int lookFor(const QByteArray &path, bool &isThere) noexcept;
int lookForFolder(const QByteArray &path, bool &isFolder) noexcept;
int remove(const QByteArray &path) noexcept;

/// Files and folders that are made one after the other and removed with the object, the newest first, unless they are
/// kept.
class Making
{
public:
    Making() = default;
    ~Making();
    Making(const Making &) = delete;
    Making &operator=(const Making &) = delete;

    /// With its parents where they are missing. A folder that is there already stays when the others are removed.
    int folder(const QByteArray &path);
    int file(const QByteArray &path, const QVector<QByteArray> &parts);
    /// As writeReplacement() and replace() of a file that is not there.
    int fileAtOnce(const QByteArray &path, const QByteArray &bytes);
    /// Synchronises the folders that hold what was made so far.
    int sync() const;
    void keep() noexcept { m_paths.clear(); }

private:
    std::vector<std::pair<QByteArray, bool>> m_paths; ///< True: a folder.
};

/// Holds a folder for this process: a file that names it, and the system's lock on that file, which ends with the process.
/// The file is removed with the object. Compatible with QLockFile in both directions.
class Lock
{
public:
    Lock() = default;
    ~Lock() { release(); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

    /// False, and `error` set, when another process or another object has it, or when the file cannot be written. Once only.
    bool take(const QString &path, QString *error);
    /// Whether the file at this path is the locked one.
    bool holds(const QByteArray &path) const noexcept;

private:
    void release() noexcept;

    QByteArray m_path;
    int m_file = -1;
    bool m_isOwn = false; ///< The file is removed at the end.
};

} // namespace Disk
} // namespace Simulator

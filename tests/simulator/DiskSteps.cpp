#include "DiskSteps.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace {

std::string folder; // only changed while no other thread uses files
std::atomic<int> steps{0};
std::atomic<int> failing{0};
std::atomic<int> killing{0};
std::atomic<int> failure{0};
std::atomic<bool> failingFromThere{false};
std::atomic<bool> countsReading{false};
std::atomic<qint64> freeBytes{-1}; // negative: as it is
std::atomic<bool> failedToSync{false};
std::atomic<bool> failedToList{false};

// Paths; for one thread at a time.
std::mutex unsyncedMutex;
std::set<std::string> unsyncedBytes;
std::set<std::string> unsyncedNames;
std::set<std::string> earlyNames;
std::set<std::string> syncedPaths;

std::function<void(const std::string &, DiskSteps::Access)> accessCall;
bool isInAccessCall = false;

bool isRecording = false;
std::vector<DiskSteps::Change> recordedChanges;
std::map<ino_t, int> fileNumbers;
int lastFile = 0;

bool isWatched(const char *path)
{
    return !folder.empty() && std::strncmp(path, folder.c_str(), folder.size()) == 0;
}

/// The path of an open file below the folder; else empty.
std::string watchedPath(int file)
{
    if (folder.empty())
        return std::string();
    char path[4096] = {};
    char link[32] = {};
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    return readlink(link, path, sizeof path - 1) > 0 && isWatched(path) ? path : std::string();
}

bool isWatched(int file)
{
    return !watchedPath(file).empty();
}

void callBefore(DiskSteps::Access access, const std::string &path)
{
    if (!accessCall || isInAccessCall || path.empty())
        return;
    isInAccessCall = true;
    accessCall(path, access);
    isInAccessCall = false;
}

std::string folderOf(const std::string &path)
{
    return path.substr(0, path.rfind('/'));
}

void addName(const char *path)
{
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    unsyncedNames.insert(path);
}

void addBytes(int file)
{
    const std::string path = watchedPath(file);
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    if (!path.empty())
        unsyncedBytes.insert(path);
}

void removeName(const char *path)
{
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    unsyncedNames.erase(path);
    unsyncedBytes.erase(path);
}

void synced(const std::string &path)
{
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    syncedPaths.insert(path);
    unsyncedBytes.erase(path);
    for (auto name = unsyncedNames.begin(); name != unsyncedNames.end();)
        name = folderOf(*name) == path ? unsyncedNames.erase(name) : std::next(name);
}

void renamed(const char *from, const char *to)
{
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    unsyncedNames.erase(from);
    unsyncedNames.erase(to); // what it replaces
    earlyNames.insert(unsyncedNames.begin(), unsyncedNames.end());
    earlyNames.insert(unsyncedBytes.begin(), unsyncedBytes.end());
    unsyncedNames.insert(to);
}

/// Without the lock, which ends with the process.
QByteArrayList listed(const std::set<std::string> &paths)
{
    QByteArrayList result;
    for (const std::string &path : paths) {
        if (path.substr(path.rfind('/')) != "/lock")
            result += QByteArray::fromStdString(path);
    }
    return result;
}

enum class Fate { Succeeds, Fails, Dies };

Fate nextStep()
{
    const int step = ++steps;
    if (step == killing)
        return Fate::Dies;
    if (failing > 0 && (step == failing || (failingFromThere && step > failing))) {
        errno = failure;
        return Fate::Fails;
    }
    return Fate::Succeeds;
}

/// Whether a step that cannot be done by half is to fail.
bool stepFails()
{
    const Fate fate = nextStep();
    if (fate == Fate::Dies)
        ::raise(SIGKILL);
    return fate == Fate::Fails;
}

bool readingFails(bool watched)
{
    return countsReading && watched && stepFails() && failure != 0;
}

bool listingFails(bool watched)
{
    if (!readingFails(watched))
        return false;
    failedToList = true;
    return true;
}

/// The C library's own function.
template <typename Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

using DiskSteps::Change;

ino_t inodeOf(int file)
{
    static auto *const real = next<int(int, struct stat *)>("fstat");
    struct stat found = {};
    return real(file, &found) == 0 ? found.st_ino : 0;
}

void keep(Change change)
{
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    if (isRecording)
        recordedChanges.push_back(std::move(change));
}

/// A change of the bytes of a file that was made since record().
void keep(Change::Kind kind, int file, off_t offset, std::string bytes)
{
    if (!isRecording || !isWatched(file))
        return;
    const auto number = fileNumbers.find(inodeOf(file));
    if (number != fileNumbers.end())
        keep({kind, {}, {}, number->second, offset, std::move(bytes)});
}

/// A name.
void keep(Change::Kind kind, const char *path, const char *to = "")
{
    if (isRecording && isWatched(path))
        keep({kind, path, to, 0, 0, {}});
}

void keepSync(int file, const std::string &path, bool succeeds)
{
    struct stat found = {};
    static auto *const real = next<int(int, struct stat *)>("fstat");
    if (real(file, &found) != 0 || !S_ISDIR(found.st_mode))
        keep(succeeds ? Change::Sync : Change::FailedSync, file, 0, {});
    else if (succeeds)
        keep(Change::SyncFolder, path.c_str());
}

/// How much of a read or a write is done; negative when it fails.
ssize_t sizeNow(size_t size, Fate fate)
{
    const auto whole = static_cast<ssize_t>(size);
    if (fate != Fate::Fails)
        return whole;
    return failure != 0 ? -1 : std::max<ssize_t>(whole / 2, std::min<ssize_t>(whole, 1));
}

int synchronise(int file)
{
    const std::string path = watchedPath(file);
    if (path.empty())
        return 0;
    if (stepFails() && failure != 0) {
        failedToSync = true;
        keepSync(file, path, false);
        return -1;
    }
    keepSync(file, path, true);
    synced(path);
    return 0;
}

int openFile(const char *path, int flags, mode_t mode)
{
    if (isWatched(path))
        callBefore(DiskSteps::Access::Opening, path);
    const bool isWriting = (flags & O_ACCMODE) != O_RDONLY;
    if ((isWriting || countsReading) && isWatched(path) && stepFails() && failure != 0)
        return -1;
    const bool isThere = isRecording && ::syscall(SYS_faccessat, AT_FDCWD, path, F_OK) == 0;
    const auto file = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
    if (isRecording && file >= 0 && (flags & O_CREAT) != 0 && isWatched(path) && !isThere) {
        fileNumbers[inodeOf(file)] = ++lastFile;
        keep({Change::Make, path, {}, lastFile, 0, {}});
    } else if (file >= 0 && (flags & O_TRUNC) != 0) {
        keep(Change::Cut, file, 0, {});
    }
    if (file >= 0 && (flags & O_CREAT) != 0 && isWatched(path))
        addName(path);
    return file;
}

mode_t modeOf(int flags, va_list arguments)
{
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

} // namespace

namespace DiskSteps {

void watch(const QByteArray &path, Kinds kinds)
{
    folder = path.toStdString();
    countsReading = kinds == Everything;
    failedToSync = false;
    failedToList = false;
    unsyncedNames.clear();
    unsyncedBytes.clear();
    earlyNames.clear();
    syncedPaths.clear();
    steps = 0;
    failing = 0;
    killing = 0;
    freeBytes = -1;
    accessCall = nullptr;
}

int count()
{
    return steps;
}

void failAt(int step, int error, bool lasting)
{
    failure = error;
    failingFromThere = lasting;
    failing = step;
}

void setFreeBytes(qint64 bytes)
{
    freeBytes = bytes;
}

void beforeAccess(std::function<void(const std::string &, Access)> call)
{
    accessCall = std::move(call);
}

bool hasFailedToSync()
{
    return failedToSync;
}

bool hasFailedToList()
{
    return failedToList;
}

QByteArrayList synced()
{
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    return listed(syncedPaths);
}

QByteArrayList unsynced()
{
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    return listed(unsyncedBytes) + listed(unsyncedNames);
}

QByteArrayList unsyncedAtRenaming()
{
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    return listed(earlyNames);
}

void record()
{
    const std::lock_guard<std::mutex> lock(unsyncedMutex);
    recordedChanges.clear();
    fileNumbers.clear();
    lastFile = 0;
    isRecording = true;
}

const std::vector<Change> &changes()
{
    return recordedChanges;
}

void killAt(int step)
{
    killing = step;
}

} // namespace DiskSteps

extern "C" {

__attribute__((visibility("default"))) int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openFile(path, flags, mode);
}

__attribute__((visibility("default"))) int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openFile(path, flags | O_LARGEFILE, mode);
}

__attribute__((visibility("default"))) ssize_t write(int file, const void *bytes, size_t size)
{
    addBytes(file);
    const Fate fate = isWatched(file) ? nextStep() : Fate::Succeeds;
    const int error = errno;
    const ssize_t now = sizeNow(size, fate);
    const bool isInterrupted = now < 0 && error == EINTR; // before it wrote anything
    const size_t done = now >= 0 ? static_cast<size_t>(now) : size > 1 && !isInterrupted ? size / 2 : 0;
    if (isRecording)
        keep(Change::Write, file, ::lseek(file, 0, SEEK_CUR), std::string(static_cast<const char *>(bytes), done));
    if ((fate == Fate::Dies || now < 0) && size > 1 && !isInterrupted)
        ::syscall(SYS_write, file, bytes, size / 2);
    if (fate == Fate::Dies)
        ::raise(SIGKILL);
    if (now < 0) {
        errno = error;
        return -1;
    }
    return ::syscall(SYS_write, file, bytes, now);
}

__attribute__((visibility("default"))) ssize_t pwrite(int file, const void *bytes, size_t size, off_t offset)
{
    const Fate fate = isWatched(file) ? nextStep() : Fate::Succeeds;
    if (fate == Fate::Dies)
        ::raise(SIGKILL);
    const ssize_t now = sizeNow(size, fate);
    return now < 0 ? -1 : ::syscall(SYS_pwrite64, file, bytes, now, offset);
}

__attribute__((visibility("default"))) int close(int file)
{
    // Also a failing one closes the file.
    const bool fails = countsReading && isWatched(file) && stepFails() && failure != 0;
    const int error = errno;
    const auto result = static_cast<int>(::syscall(SYS_close, file));
    if (!fails)
        return result;
    errno = error;
    return -1;
}

__attribute__((visibility("default"))) ssize_t read(int file, void *bytes, size_t size)
{
    const Fate fate = countsReading && isWatched(file) ? nextStep() : Fate::Succeeds;
    const ssize_t now = sizeNow(size, fate);
    return now < 0 ? -1 : ::syscall(SYS_read, file, bytes, now);
}

__attribute__((visibility("default"))) ssize_t pread(int file, void *bytes, size_t size, off_t offset)
{
    if (accessCall)
        callBefore(DiskSteps::Access::Reading, watchedPath(file));
    const Fate fate = countsReading && isWatched(file) ? nextStep() : Fate::Succeeds;
    const ssize_t now = sizeNow(size, fate);
    return now < 0 ? -1 : ::syscall(SYS_pread64, file, bytes, now, offset);
}

__attribute__((visibility("default"))) int ftruncate(int file, off_t size) noexcept
{
    if (isWatched(file) && stepFails() && failure != 0)
        return -1;
    keep(Change::Cut, file, size, {});
    return static_cast<int>(::syscall(SYS_ftruncate, file, size));
}

__attribute__((visibility("default"))) int fchmod(int file, mode_t mode) noexcept
{
    return isWatched(file) && stepFails() && failure != 0 ? -1 : static_cast<int>(::syscall(SYS_fchmod, file, mode));
}

__attribute__((visibility("default"))) int fsync(int file)
{
    return synchronise(file);
}

__attribute__((visibility("default"))) int fdatasync(int file)
{
    return synchronise(file);
}

__attribute__((visibility("default"))) int rename(const char *from, const char *to) noexcept
{
    if (isWatched(to) && stepFails() && failure != 0)
        return -1;
    const auto result = static_cast<int>(::syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
    if (result == 0)
        keep(Change::Rename, from, to);
    if (result == 0 && isWatched(to))
        renamed(from, to);
    return result;
}

__attribute__((visibility("default"))) int unlink(const char *path) noexcept
{
    if (isWatched(path) && stepFails() && failure != 0)
        return -1;
    if (isWatched(path))
        removeName(path);
    const auto result = static_cast<int>(::syscall(SYS_unlinkat, AT_FDCWD, path, 0));
    if (result == 0)
        keep(Change::Remove, path);
    return result;
}

__attribute__((visibility("default"))) int rmdir(const char *path) noexcept
{
    if (isWatched(path) && stepFails() && failure != 0)
        return -1;
    if (isWatched(path))
        removeName(path);
    const auto result = static_cast<int>(::syscall(SYS_unlinkat, AT_FDCWD, path, AT_REMOVEDIR));
    if (result == 0)
        keep(Change::RemoveFolder, path);
    return result;
}

__attribute__((visibility("default"))) int mkdir(const char *path, mode_t mode) noexcept
{
    if (isWatched(path) && stepFails() && failure != 0)
        return -1;
    if (isWatched(path))
        addName(path);
    const auto result = static_cast<int>(::syscall(SYS_mkdirat, AT_FDCWD, path, mode));
    if (result == 0)
        keep(Change::MakeFolder, path);
    return result;
}

__attribute__((visibility("default"))) int flock(int file, int operation) noexcept
{
    return readingFails(isWatched(file)) ? -1 : static_cast<int>(::syscall(SYS_flock, file, operation));
}

__attribute__((visibility("default"))) DIR *opendir(const char *path)
{
    static auto *const real = next<DIR *(const char *)>("opendir");
    return listingFails(isWatched(path)) ? nullptr : real(path);
}

__attribute__((visibility("default"))) dirent *readdir(DIR *list)
{
    static auto *const real = next<dirent *(DIR *)>("readdir");
    return listingFails(isWatched(::dirfd(list))) ? nullptr : real(list);
}

__attribute__((visibility("default"))) int stat(const char *path, struct stat *result) noexcept
{
    static auto *const real = next<int(const char *, struct stat *)>("stat");
    return readingFails(isWatched(path)) ? -1 : real(path, result);
}

__attribute__((visibility("default"))) int lstat(const char *path, struct stat *result) noexcept
{
    static auto *const real = next<int(const char *, struct stat *)>("lstat");
    return readingFails(isWatched(path)) ? -1 : real(path, result);
}

__attribute__((visibility("default"))) int fstat(int file, struct stat *result) noexcept
{
    static auto *const real = next<int(int, struct stat *)>("fstat");
    return readingFails(isWatched(file)) ? -1 : real(file, result);
}

__attribute__((visibility("default"))) int fstatvfs(int file, struct statvfs *result) noexcept
{
    static auto *const real = next<int(int, struct statvfs *)>("fstatvfs");
    const int status = real(file, result);
    if (status == 0 && freeBytes >= 0 && isWatched(file))
        result->f_bavail = static_cast<fsblkcnt_t>(freeBytes) / result->f_frsize;
    return status;
}

} // extern "C"

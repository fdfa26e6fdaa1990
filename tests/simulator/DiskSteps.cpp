#include "DiskSteps.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::string folder; // only changed while nobody else uses files
std::atomic<int> steps{0};
std::atomic<int> failing{0};
std::atomic<int> killing{0};
std::atomic<int> failure{0};
std::atomic<bool> failingFromThere{false};

bool isWatched(const char *path)
{
    return !folder.empty() && std::strncmp(path, folder.c_str(), folder.size()) == 0;
}

bool isWatched(int file)
{
    if (folder.empty())
        return false;
    char path[4096] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    return readlink(link.c_str(), path, sizeof path - 1) > 0 && isWatched(path);
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

/// Whether a step is to fail that can be half done in no way.
bool stepFails()
{
    const Fate fate = nextStep();
    if (fate == Fate::Dies)
        ::raise(SIGKILL);
    return fate == Fate::Fails;
}

int openFile(const char *path, int flags, mode_t mode)
{
    if ((flags & O_ACCMODE) != O_RDONLY && isWatched(path) && stepFails())
        return -1;
    return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

mode_t modeOf(int flags, va_list arguments)
{
    return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

} // namespace

namespace DiskSteps {

void watch(const QByteArray &path)
{
    folder = path.toStdString();
    steps = 0;
    failing = 0;
    killing = 0;
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
    const Fate fate = isWatched(file) ? nextStep() : Fate::Succeeds;
    const int error = errno;
    if (fate != Fate::Succeeds && size > 1)
        ::syscall(SYS_write, file, bytes, size / 2);
    if (fate == Fate::Dies)
        ::raise(SIGKILL);
    if (fate == Fate::Fails) {
        errno = error;
        return -1;
    }
    return ::syscall(SYS_write, file, bytes, size);
}

__attribute__((visibility("default"))) int fsync(int file)
{
    return isWatched(file) && stepFails() ? -1 : 0;
}

__attribute__((visibility("default"))) int fdatasync(int file)
{
    return isWatched(file) && stepFails() ? -1 : 0;
}

__attribute__((visibility("default"))) int rename(const char *from, const char *to) noexcept
{
    if (isWatched(to) && stepFails())
        return -1;
    return static_cast<int>(::syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}

__attribute__((visibility("default"))) int unlink(const char *path) noexcept
{
    if (isWatched(path) && stepFails())
        return -1;
    return static_cast<int>(::syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

__attribute__((visibility("default"))) int mkdir(const char *path, mode_t mode) noexcept
{
    if (isWatched(path) && stepFails())
        return -1;
    return static_cast<int>(::syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

} // extern "C"

// For programs that run in QEMU: has priority over the C library's syscall(). QProcess starts programs by a clone() that
// gives it a file descriptor for the new process, unless the system has none; QEMU has none, but the test that QProcess
// makes reports this for the host system.

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace {

using Function = long (*)(long number, ...);

Function behind()
{
    static std::atomic<Function> found{nullptr}; // without a guard, which would call syscall() where threads meet
    Function function = found;
    if (!function) {
        function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "syscall"));
        found = function;
    }
    return function;
}

} // namespace

extern "C" __attribute__((visibility("default"))) long syscall(long number, ...) noexcept
{
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long &argument : arguments)
        argument = va_arg(list, long);
    va_end(list);
    if (number == SYS_waitid && arguments[0] == P_PIDFD) {
        errno = EINVAL;
        return -1;
    }
    return behind()(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}

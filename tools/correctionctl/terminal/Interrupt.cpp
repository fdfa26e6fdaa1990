#include "Interrupt.h"

#include "ExitCodes.h"

#include <QtCore/QSocketNotifier>

#include <csignal>
#include <unistd.h>

namespace Ctl {
namespace Interrupt {

namespace {

volatile std::sig_atomic_t g_requested = 0;
volatile std::sig_atomic_t g_quits = 0; ///< Whether the event loop ends at once.
int g_pipe[2] = {-1, -1};

extern "C" void handleSignal(int signal)
{
    g_requested = 1;
    static const char text[] = "\ncorrectionctl: ends after the request under way; Ctrl-C again ends at once\n";
    if (!g_quits && ::write(STDERR_FILENO, text, sizeof text - 1) < 0)
        g_requested = 1; // the error cannot be reported
    const char byte = 0;
    if (g_pipe[1] >= 0 && ::write(g_pipe[1], &byte, 1) < 0)
        return; // The pipe is full of earlier ones: the event loop wakes anyway.
    static_cast<void>(std::signal(signal, SIG_DFL));
}

} // namespace

void install()
{
    if (::pipe(g_pipe) != 0)
        g_pipe[0] = g_pipe[1] = -1;
    static_cast<void>(std::signal(SIGINT, handleSignal));
    static_cast<void>(std::signal(SIGTERM, handleSignal));
    if (std::signal(SIGHUP, handleSignal) == SIG_IGN) // nohup(1)
        static_cast<void>(std::signal(SIGHUP, SIG_IGN));
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // `correctionctl ... | head`: writing fails instead
}

bool requested()
{
    return g_requested != 0;
}

void check(const QString &done)
{
    if (requested())
        throw Failure(ExitInterrupted, QStringLiteral("interrupted; ") + done);
}

void quitOnRequest(QObject *receiver)
{
    if (g_pipe[0] < 0)
        return;
    g_quits = 1;
    auto *const notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, receiver);
    QObject::connect(notifier, SIGNAL(activated(QSocketDescriptor, QSocketNotifier::Type)), receiver, SLOT(quit()));
}

} // namespace Interrupt
} // namespace Ctl

#pragma once

#include <QtCore/QObject>

namespace Ctl {

/// Ctrl-C (SIGINT, SIGTERM) or a closed terminal (SIGHUP): work ends between two requests. A second signal of a kind ends
/// the program at once.
namespace Interrupt {

void install();
bool requested();
/// Throws a Failure with ExitInterrupted if Ctrl-C was pressed; `done` describes what was carried out.
void check(const QString &done);
/// Makes the calling thread's event loop call `quit` of `receiver` once Ctrl-C is pressed.
void quitOnRequest(QObject *receiver);

} // namespace Interrupt
} // namespace Ctl

#pragma once

#include <QtCore/QStringList>

namespace Ctl {

/// Runs one command line, the program's name left out, and returns the exit code.
int runProgram(const QStringList &arguments);

} // namespace Ctl

#pragma once

#include "CommandLine.h"

namespace Ctl {

/// The configuration file: "correctionctl.ini" in the user's folder of configurations (~/.config), in INI form. Its keys are
/// the names of the options that every verb takes, without the dashes; `json` and `no-config` are not among them. A switch
/// takes "true" or "false". `color` ("auto", "always" or "never") has no option: the environment variable NO_COLOR has
/// priority over it.
QString configurationPath();
QStringList configurationKeys();

/// Adds what the file contains and neither the command line nor the environment chooses. Throws a Failure that names the
/// file and the key.
void addConfiguration(Invocation &invocation);

} // namespace Ctl

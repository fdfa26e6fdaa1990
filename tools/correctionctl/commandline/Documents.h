#pragma once

#include <QtCore/QString>

namespace Ctl {

/// The manual page, as roff.
QString manualPage();
/// The completion script of "bash" or "zsh". Throws a Failure with ExitUsage for another shell.
QString completion(const QString &shell);

} // namespace Ctl

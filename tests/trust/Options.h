#pragma once

#include <QtCore/QtGlobal>

/// How much a program tries: scripts/trust sets these variables of the environment.
namespace Trust {

/// Whether everything is tried, for as long as that takes; otherwise the short form that scripts/test runs.
inline bool isLong()
{
    return qEnvironmentVariableIsSet("CORRECTION_TRUST_ALL");
}

/// The number in a variable; `otherwise` where there is none.
inline int numberOf(const char *variable, int otherwise)
{
    bool isNumber = false;
    const int number = qEnvironmentVariableIntValue(variable, &isNumber);
    return isNumber ? number : otherwise;
}

} // namespace Trust

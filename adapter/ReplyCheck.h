#pragma once

#include <adapter/Operations.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Adapter {

const QLoggingCategory &lcAdapter();

/// Writes one warning line for the first value in a reply that does not convert to the type that the table gives it: the
/// library reads it as 0, empty or false. Missing and additional keys are not looked at.
void warnOfWrongTypes(const Operation &operation, const QString &deviceKey, const QVariant &reply);

} // namespace Adapter

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

namespace Ctl {

/// What the reply to a successful query lacks, although the library reads it without an error: as 0 or as empty. Null if it
/// lacks nothing. Of the queries whose replies end up in files: coefficients, effect modes and configuration files of
/// cabinets. Calls no device.
QString damageOf(const QString &operation, const QString &device, const QString &cabinet, const QVariant &reply);

/// Ids of the cabinets in a reply of `CabinetInfoOperator::getAllCabinetsInfo`.
QStringList listedCabinets(const QVariant &reply);
/// Ids of the cabinets that a reply of `ScreenInfo::getScreens` places on the device's screen.
QStringList placedCabinets(const QVariant &reply);

} // namespace Ctl

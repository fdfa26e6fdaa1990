#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Simulator {

/// One recorded call of the device service or of the device discovery.
struct Call {
    qint64 number = 0;   ///< Counts the calls of the wall from 1, in the order in which they began.
    QString operation;   ///< Class and name, such as "Correctionop::loadCoefficient". The setCheckerBoardImage with
                         ///< headers is "ScreenInfo::setCheckerBoardImage(responseHeader)".
    QString deviceKey;   ///< Null for discovery's operations, else never null.
    QString target;      ///< The cabinet id or screen selector; null for an operation that takes neither.
    QVariant request;    ///< The request, a map or a list; invalid for an operation that takes none.
    QVariant extra;      ///< The trailing bool or int argument; invalid for an operation that takes none.
    bool result = false; ///< What was answered. Of an upload with a promise: its value, false until it is settled.
    QVariant reply;      ///< The reply, a map or a list; invalid for an operation without one.
    QMap<QString, QString> headers; ///< The response headers of the operation that has them.
    qint64 time = 0;                ///< When it began: microseconds of the wall's clock since the wall was set up.
    qint64 duration = 0;            ///< Microseconds of the wall's clock until it was answered, or its promise settled.
    bool settled = true;            ///< false while an upload's promise is pending.
    bool rejected = false;          ///< Whether an upload's promise was rejected; `note` says why.
    QString note;                   ///< Why the wall refused the call, or what else was wrong with it; empty if all is well.
};

} // namespace Simulator

#pragma once

#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <functional>
#include <vector>

namespace Simulator {

/// Notifications of a change of the wall, to send after unlocking.
struct Aftermath {
    std::vector<std::function<void()>> settle; ///< Each settles one promise.
    bool devicesChanged = false;
    QVector<QPair<QString, QString>> renamed; ///< Device key and name.
    QStringList warnings;                     ///< Lines for the log.
    QVector<qint64> events;                   ///< The moments of events that were added.
};

} // namespace Simulator

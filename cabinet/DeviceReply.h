#pragma once

#include <QtCore/QDebug>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Limits for replies, whose size is up to the device. No reply of a working device reaches them.
namespace Correction {

/// Nesting levels of maps and lists. Copying, printing and destroying them takes stack for each level.
constexpr int maxReplyDepth = 100;

/// Characters of a reply in a log line, counting its keys and strings, and `loggedValueLength` for every other value.
constexpr int maxLoggedReply = 1 << 20;
constexpr int loggedValueLength = 32;

/// Empties maps and lists that are nested deeper than `maxReplyDepth`, with one warning line. No operation reads them.
void limitDepth(QVariantMap &reply, const QString &deviceKey);
void limitDepth(QVariantList &reply, const QString &deviceKey);

/// A reply as an item of a log line: printed as it is, or cut when it is longer than `maxLoggedReply`.
template <class Map>
struct LoggedReply {
    const Map &reply;
};
template <class Map>
LoggedReply(const Map &) -> LoggedReply<Map>;

QDebug operator<<(QDebug stream, const LoggedReply<QVariantMap> &logged);
QDebug operator<<(QDebug stream, const LoggedReply<QMap<QString, QString>> &logged);

} // namespace Correction

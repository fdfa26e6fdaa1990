#pragma once

#include <QtCore/QDebug>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// Limits for replies, whose size is up to the device. No reply of a working device reaches them.
namespace Correction {

/// Characters of a reply in a log line.
constexpr int maxLoggedReply = 1 << 20;

/// Nesting::limit() with one warning line. No operation reads what is nested so deep.
void limitDepth(QVariantMap &reply, const QString &deviceKey);
void limitDepth(QVariantList &reply, const QString &deviceKey);

/// A reply, or a string of one, as an item of a log line: as QDebug prints it, but cut after `maxLoggedReply` characters,
/// and "(cut)" follows.
template <class Reply>
struct LoggedReply {
    const Reply &reply;
};
template <class Reply>
LoggedReply(const Reply &) -> LoggedReply<Reply>;

QDebug operator<<(QDebug stream, const LoggedReply<QVariantMap> &logged);
QDebug operator<<(QDebug stream, const LoggedReply<QMap<QString, QString>> &logged);
QDebug operator<<(QDebug stream, const LoggedReply<QString> &logged);

} // namespace Correction

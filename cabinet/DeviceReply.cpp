#include "cabinet/DeviceReply.h"

#include "model/Logging.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QStringList>

#include <algorithm>
#include <type_traits>
#include <utility>
#include <vector>

namespace Correction {
namespace {

/// Calls `visit` with the map, list or hash that a value holds, for reading. False when it holds none.
template <class Visit>
bool visitContainer(const QVariant &value, Visit visit)
{
    switch (value.userType()) {
    case QMetaType::QVariantMap:
        visit(*static_cast<const QVariantMap *>(value.constData()));
        return true;
    case QMetaType::QVariantList:
        visit(*static_cast<const QVariantList *>(value.constData()));
        return true;
    case QMetaType::QVariantHash:
        visit(*static_cast<const QVariantHash *>(value.constData()));
        return true;
    default:
        return false;
    }
}

/// Takes the container out of `value`, calls `change` with it and puts it back: with a single reference it does not detach.
template <class Change>
void changeContainer(QVariant &value, Change change)
{
    visitContainer(value, [&](const auto &held) {
        auto container = held;
        value.clear(); // releases what `held` refers to
        change(container);
        value = QVariant::fromValue(container);
    });
}

bool isContainer(const QVariant &value)
{
    return visitContainer(value, [](const auto &) {});
}

template <class Container>
bool isDeeper(const Container &container, int levels)
{
    for (const QVariant &value : container) {
        bool deeper = false;
        visitContainer(value, [&](const auto &inner) { deeper = levels == 0 || isDeeper(inner, levels - 1); });
        if (deeper)
            return true;
    }
    return false;
}

/// Moves containers nested deeper than `levels` to `taken`.
template <class Container>
void takeDeeper(Container &container, int levels, std::vector<QVariant> &taken)
{
    for (QVariant &value : container) {
        if (levels > 0) {
            changeContainer(value, [&](auto &inner) { takeDeeper(inner, levels - 1, taken); });
        } else if (isContainer(value)) {
            taken.emplace_back();
            taken.back().swap(value);
        }
    }
}

/// Destroys level by level, so that the stack does not grow with the nesting.
void destroy(std::vector<QVariant> taken)
{
    while (!taken.empty()) {
        QVariant outer;
        outer.swap(taken.back());
        taken.pop_back();
        changeContainer(outer, [&](auto &container) { takeDeeper(container, 0, taken); });
    }
}

template <class Container>
void limit(Container &reply, const QString &deviceKey)
{
    if (!isDeeper(reply, maxReplyDepth - 1))
        return;
    qCWarning(lcCorrection).noquote() << QStringLiteral(
                                             "reply nested deeper than %1 levels: the rest is left out. device:%2")
                                             .arg(maxReplyDepth)
                                             .arg(deviceKey);
    std::vector<QVariant> taken;
    takeDeeper(reply, maxReplyDepth - 1, taken);
    destroy(std::move(taken));
}

template <class Container>
bool fits(const Container &container, qint64 &left);

bool fits(const QString &text, qint64 &left)
{
    left -= text.size();
    return left >= 0;
}

bool fits(const QVariant &value, qint64 &left)
{
    bool inside = true;
    if (visitContainer(value, [&](const auto &container) { inside = fits(container, left); }))
        return inside;
    switch (value.userType()) {
    case QMetaType::QString:
        return fits(*static_cast<const QString *>(value.constData()), left);
    case QMetaType::QByteArray:
        left -= static_cast<const QByteArray *>(value.constData())->size();
        return left >= 0;
    case QMetaType::QStringList:
        return fits(*static_cast<const QStringList *>(value.constData()), left);
    default:
        left -= loggedValueLength;
        return left >= 0;
    }
}

/// Whether a container has at most `left` characters; subtracts them from `left`.
template <class Container>
bool fits(const Container &container, qint64 &left)
{
    for (auto entry = container.cbegin(); entry != container.cend(); ++entry) {
        if constexpr (std::is_same_v<Container, QVariantList> || std::is_same_v<Container, QStringList>) {
            if (!fits(*entry, left))
                return false;
        } else if (!fits(entry.key(), left) || !fits(entry.value(), left)) {
            return false;
        }
    }
    return true;
}

template <class Container>
Container shortened(const Container &container, qint64 &left);

QString shortened(const QString &text, qint64 &left)
{
    const auto length = static_cast<int>(std::max<qint64>(left, 0));
    left -= text.size();
    return text.left(length);
}

/// Strings are cut; other values that do not fit are left out.
QVariant shortened(const QVariant &value, qint64 &left)
{
    QVariant part;
    if (visitContainer(value, [&](const auto &container) { part = QVariant::fromValue(shortened(container, left)); }))
        return part;
    if (value.userType() == QMetaType::QString)
        return shortened(value.toString(), left);
    return fits(value, left) ? value : QVariant();
}

/// The first `left` characters of a container; subtracts their count from `left`.
template <class Container>
Container shortened(const Container &container, qint64 &left)
{
    Container part;
    for (auto entry = container.cbegin(); entry != container.cend() && left >= 0; ++entry) {
        if constexpr (std::is_same_v<Container, QVariantList>) {
            part.append(shortened(*entry, left));
        } else {
            const QString key = shortened(entry.key(), left);
            part.insert(key, shortened(entry.value(), left));
        }
    }
    return part;
}

template <class Map>
QDebug print(QDebug stream, const Map &reply)
{
    qint64 left = maxLoggedReply;
    if (fits(reply, left))
        return stream << reply;
    left = maxLoggedReply;
    return stream << shortened(reply, left) << "(cut)";
}

} // namespace

void limitDepth(QVariantMap &reply, const QString &deviceKey)
{
    limit(reply, deviceKey);
}

void limitDepth(QVariantList &reply, const QString &deviceKey)
{
    limit(reply, deviceKey);
}

QDebug operator<<(QDebug stream, const LoggedReply<QVariantMap> &logged)
{
    return print(stream, logged.reply);
}

QDebug operator<<(QDebug stream, const LoggedReply<QMap<QString, QString>> &logged)
{
    return print(stream, logged.reply);
}

} // namespace Correction

#include "Recording.h"

#include "CallLog.h"

#include <adapter/json/Describe.h>
#include <adapter/json/Reader.h>
#include <adapter/json/TypedJson.h>

#include <algorithm>

namespace Simulator {

using Json::describeText;
using Json::describeValue;
using Json::pathOf;
using Json::toTypedJson;

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

constexpr int longestShownText = 64;
constexpr int longestShownCall = 500;

QString differing(const QString &path, const QString &recorded, const QString &got)
{
    return QStringLiteral("%1: recorded %2, got %3").arg(path, recorded, got);
}

QString shown(const QVariant &value)
{
    return describeValue(value, longestShownText);
}

QString shownText(const QString &text)
{
    return text.isNull() ? QStringLiteral("nothing") : describeText(text, longestShownText);
}

/// Cuts long strings to the part around the first different character.
QString textDifference(const QString &path, const QString &recorded, const QString &got)
{
    if (recorded == got && recorded.isNull() == got.isNull())
        return QString();
    const int common = std::min(recorded.size(), got.size());
    const auto where = std::mismatch(recorded.cbegin(), recorded.cbegin() + common, got.cbegin());
    const auto index = static_cast<int>(where.first - recorded.cbegin());
    if (index < longestShownText / 2)
        return differing(path, shownText(recorded), shownText(got));
    const int start = index - longestShownText / 4;
    return differing(QStringLiteral("%1, from character %2").arg(path).arg(start), shownText(recorded.mid(start)),
                     shownText(got.mid(start)));
}

QString shownCall(const Call &call)
{
    const QString text = describeCall(call, longestShownText);
    return text.size() <= longestShownCall ? text : text.left(longestShownCall) + QLatin1String("...");
}

QString valueDifference(const QString &path, const QVariant &recorded, const QVariant &got);

template <typename AnyList, typename Difference>
QString listDifference(const QString &path, const AnyList &recorded, const AnyList &got, Difference difference)
{
    for (int i = 0; i < std::min(recorded.size(), got.size()); ++i) {
        const QString text = difference(pathOf(path, i), recorded[i], got[i]);
        if (!text.isNull())
            return text;
    }
    if (recorded.size() == got.size())
        return QString();
    const auto count = [](const AnyList &list) { return QStringLiteral("%1 elements").arg(list.size()); };
    return differing(path, count(recorded), count(got));
}

QString mapDifference(const QString &path, const Map &recorded, const Map &got)
{
    Map all = recorded;
    for (auto it = got.cbegin(); it != got.cend(); ++it)
        all.insert(it.key(), it.value());
    for (auto it = all.cbegin(); it != all.cend(); ++it) {
        const QString &key = it.key();
        const QString place = pathOf(path, key);
        if (!recorded.contains(key))
            return differing(place, QStringLiteral("no such key"), shown(got[key]));
        if (!got.contains(key))
            return differing(place, shown(recorded[key]), QStringLiteral("no such key"));
        const QString text = valueDifference(place, recorded[key], got[key]);
        if (!text.isNull())
            return text;
    }
    return QString();
}

QString valueDifference(const QString &path, const QVariant &recorded, const QVariant &got)
{
    if (recorded.userType() == got.userType()) {
        switch (recorded.userType()) {
        case QMetaType::QVariantMap:
            return mapDifference(path, recorded.toMap(), got.toMap());
        case QMetaType::QVariantList:
            return listDifference(path, recorded.toList(), got.toList(), valueDifference);
        case QMetaType::QString: {
            // In a request null and empty strings are equal.
            const QString text = recorded.toString();
            return text == got.toString() ? QString() : textDifference(path, text, got.toString());
        }
        default:
            if (recorded.userType() != qMetaTypeId<QList<int>>())
                break;
            return listDifference(
                path, recorded.value<QList<int>>(), got.value<QList<int>>(), [](const QString &place, int one, int other) {
                    return one == other ? QString() : differing(place, QString::number(one), QString::number(other));
                });
        }
    }
    // Compares JSON, since this process may not be able to create a recorded value's type.
    return toTypedJson(recorded) == toTypedJson(got) ? QString() : differing(path, shown(recorded), shown(got));
}

} // namespace

QString firstDifference(const Call &recorded, const Call &call)
{
    const QStringList differences{textDifference(QStringLiteral("operation"), recorded.operation, call.operation),
                                  textDifference(QStringLiteral("device"), recorded.deviceKey, call.deviceKey),
                                  textDifference(QStringLiteral("target"), recorded.target, call.target),
                                  valueDifference(QStringLiteral("request"), recorded.request, call.request),
                                  valueDifference(QStringLiteral("extra"), recorded.extra, call.extra)};
    const auto first =
        std::find_if(differences.cbegin(), differences.cend(), [](const QString &text) { return !text.isNull(); });
    return first == differences.cend() ? QString() : *first;
}

std::optional<Call> Recording::next(const Call &call, QString &reason)
{
    if (!m_difference.isNull()) {
        reason = QStringLiteral("the replay ended before");
        return std::nullopt;
    }
    if (m_answered == m_calls.size()) {
        reason = QStringLiteral("the recording is over");
        m_difference = QStringLiteral("after the last recorded call\n  got      %1").arg(shownCall(call));
        return std::nullopt;
    }
    const Call &recorded = m_calls[m_answered];
    const QString difference = firstDifference(recorded, call);
    if (difference.isNull()) {
        ++m_answered;
        return recorded;
    }
    reason = QStringLiteral("differs from the recorded call %1: %2").arg(QString::number(recorded.number), difference);
    m_difference = QStringLiteral("call %1: %2\n  recorded %3\n  got      %4")
                       .arg(QString::number(recorded.number), difference, shownCall(recorded), shownCall(call));
    return std::nullopt;
}

bool Recording::isSettledBeforeNext(const Call &upload) const
{
    if (!m_difference.isNull() || m_answered == m_calls.size())
        return true;
    return upload.time + upload.duration <= m_calls[m_answered].time;
}

qint64 Recording::untilNext(const Call &call) const
{
    return m_answered == m_calls.size() ? 0 : std::max<qint64>(0, m_calls[m_answered].time - call.time);
}

ReplayReport Recording::report() const
{
    return {m_answered, m_calls.size() - m_answered, m_difference};
}

} // namespace Simulator

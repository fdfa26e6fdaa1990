#include "Entries.h"

#include <adapter/json/Describe.h>

namespace Simulator {

using Json::describeValue;

Entries::Entries(const QVariant &map, const QString &path) : m_map(map.toMap()), m_path(path)
{
    if (map.userType() != QMetaType::QVariantMap)
        throw Refusal{QStringLiteral("%1 is not a map").arg(path), {}};
}

QString Entries::path(const char *key) const
{
    const QString name = QString::fromLatin1(key);
    return m_path.isEmpty() ? name : m_path + QLatin1Char('.') + name;
}

QVariant Entries::any(const char *key)
{
    const auto it = m_map.constFind(QString::fromLatin1(key));
    if (it == m_map.constEnd())
        throw Refusal{QStringLiteral("%1 is missing").arg(path(key)), {}};
    ++m_taken;
    return it.value();
}

QVariant Entries::take(const char *key, int type)
{
    const QVariant value = any(key);
    if (value.userType() != type) {
        throw Refusal{QStringLiteral("%1 is %2, not %3")
                          .arg(path(key), describeValue(value, 64), QString::fromLatin1(QMetaType::typeName(type))),
                      {}};
    }
    return value;
}

Entries Entries::map(const char *key)
{
    return Entries(take(key, QMetaType::QVariantMap), path(key));
}

QList<QVariant> Entries::list(const char *key)
{
    return take<QList<QVariant>>(key);
}

void Entries::takeRect(const char *key)
{
    Entries entries = map(key);
    for (const char *name : {"x", "y", "width", "height"})
        entries.take<int>(name);
    entries.done();
}

void Entries::done() const
{
    if (m_taken != m_map.size())
        throw Refusal{QStringLiteral("additional entries in %1").arg(describeValue(m_map, 64)), {}};
}

} // namespace Simulator

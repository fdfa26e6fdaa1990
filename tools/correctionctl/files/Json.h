#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Ctl {

/// The shapes that several verbs print; docs/correctionctl.schema.json defines them.

inline QJsonObject rectJson(const QRect &rect)
{
    return {{QStringLiteral("x"), rect.x()},
            {QStringLiteral("y"), rect.y()},
            {QStringLiteral("width"), rect.width()},
            {QStringLiteral("height"), rect.height()}};
}

/// The value of a setting for people: of a switch "on" or "off".
inline QString valueText(const QJsonValue &value)
{
    return value.isBool() ? QString(QLatin1String(value.toBool() ? "on" : "off")) : value.toVariant().toString();
}

inline QJsonArray numbersJson(const QList<int> &numbers)
{
    QJsonArray array;
    for (const int number : numbers)
        array.append(number);
    return array;
}

} // namespace Ctl

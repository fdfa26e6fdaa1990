#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QRect>

namespace Ctl {

/// The shapes that several verbs print; docs/correctionctl.schema.json defines them.

inline QJsonObject rectJson(const QRect &rect)
{
    return {{QStringLiteral("x"), rect.x()},
            {QStringLiteral("y"), rect.y()},
            {QStringLiteral("width"), rect.width()},
            {QStringLiteral("height"), rect.height()}};
}

inline QJsonArray numbersJson(const QList<int> &numbers)
{
    QJsonArray array;
    for (const int number : numbers)
        array.append(number);
    return array;
}

} // namespace Ctl

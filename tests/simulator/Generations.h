#pragma once

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QVector>

/// Saved states that are distinguished by a number: what a process writes and what another one finds. A generation is two
/// requests, one for the planes of all cabinets and one for their flags.
namespace Generations {

using namespace Simulator;

inline QString key()
{
    return QStringLiteral("A");
}

inline WallDescription wall()
{
    WallDescription description;
    description.devices = {gridDevice(key(), QPoint(), 3, 1, QSize(8, 8))};
    return description;
}

inline QStringList cabinets()
{
    return {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
}

inline bool savePlanes(int generation)
{
    const QVector<quint16> values(8 * 8 * 9, static_cast<quint16>(generation));
    QList<QVariant> ids;
    for (const QString &id : cabinets()) {
        if (!VirtualWall::instance().state().setChroma(key(), id, values))
            return false;
        ids += id;
    }
    QMap<QString, QVariant> reply;
    return Correctionop::getInstance()->saveCabinetsCoeffcient(key(), {{QStringLiteral("cids"), ids}}, reply);
}

inline bool saveFlags(int generation)
{
    QList<QVariant> elements;
    for (const QString &id : cabinets()) {
        elements +=
            QMap<QString, QVariant>{{QStringLiteral("id"), id}, {QStringLiteral("flag"), QString::number(generation)}};
    }
    QMap<QString, QVariant> reply;
    return CabinetInfoOperator::getInstance()->setCabinetSnflags(key(), elements, reply);
}

/// How many requests made what the open wall holds, each whole: 2 for each generation, one more when a generation has only
/// its planes. -1 when parts of different requests are mixed.
inline int found()
{
    VirtualWall &wall = VirtualWall::instance();
    const QVector<quint16> first = wall.state().chroma(key(), cabinets().first(), Store::User);
    const int planes = first.value(0);
    const int flags = wall.state().flag(key(), cabinets().first()).toInt();
    for (const QString &id : cabinets()) {
        const QVector<quint16> expected(8 * 8 * 9, static_cast<quint16>(planes));
        if (wall.state().chroma(key(), id, Store::User) != expected || wall.state().chroma(key(), id) != expected
            || wall.state().flag(key(), id).toInt() != flags)
            return -1;
    }
    return planes == flags || planes == flags + 1 ? planes + flags : -1;
}

} // namespace Generations

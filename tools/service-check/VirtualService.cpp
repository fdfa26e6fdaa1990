#include "Service.h"

#include <simulator/VirtualWall.h>

namespace ServiceCheck {
namespace Service {

QString name()
{
    return QStringLiteral("virtual wall");
}

bool hasWalls()
{
    return true;
}

QString open(const QString &wall)
{
    QString error;
    Simulator::VirtualWall::instance().journal().setLimit(0);
    Simulator::VirtualWall::instance().load(wall, &error);
    return error;
}

} // namespace Service
} // namespace ServiceCheck

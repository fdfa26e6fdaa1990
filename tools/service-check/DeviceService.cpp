#include "Service.h"

namespace ServiceCheck {
namespace Service {

QString name()
{
    return QStringLiteral("device service");
}

bool hasWalls()
{
    return false;
}

QString open(const QString &)
{
    return {};
}

} // namespace Service
} // namespace ServiceCheck

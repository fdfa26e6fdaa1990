#include "Service.h"

namespace ServiceCheck {
namespace Service {

QString name()
{
    return QStringLiteral("device service");
}

bool hasChoice()
{
    return false;
}

QString open(const QString &)
{
    return {};
}

QString openBackend(const QString &)
{
    return {};
}

void close() {}

} // namespace Service
} // namespace ServiceCheck

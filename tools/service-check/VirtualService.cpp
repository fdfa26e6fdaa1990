#include "Service.h"

#include <adapter/BackendPlugin.h>
#include <simulator/VirtualWall.h>

#include <memory>

namespace ServiceCheck {
namespace Service {

namespace {

std::unique_ptr<Adapter::DeviceBackend> g_backend; ///< Null: the wall.

} // namespace

QString name()
{
    return g_backend ? QStringLiteral("backend") : QStringLiteral("virtual wall");
}

bool hasChoice()
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

QString openBackend(const QString &source)
{
    QString error;
    g_backend = Adapter::loadBackend(source, error);
    if (g_backend)
        Adapter::setBackend(g_backend.get());
    return error;
}

void close()
{
    g_backend.reset();
}

} // namespace Service
} // namespace ServiceCheck

// For a program that is linked with a real device service: the library calls that directly, and this program gets the
// results only. The command line refuses verbs and options that need more.

#include "Service.h"
#include "terminal/ExitCodes.h"

#include <service/HttpProxy.h>

namespace Ctl {
namespace Service {

namespace {

[[noreturn]] void refuse(const char *what)
{
    throw Failure(ExitUsage,
                  QStringLiteral("this program is linked with a device service, which cannot %1").arg(QLatin1String(what)));
}

} // namespace

QString name()
{
    return QStringLiteral("device service");
}

bool hasWall()
{
    return false;
}

bool isWall()
{
    return false;
}

bool keepsWhatIsSaved()
{
    return true;
}

void open(const QString &, Access) {}

void openBackend(const QString &)
{
    refuse("load a backend");
}

void openRecording(const QString &)
{
    refuse("answer from a recording");
}

void close() {}

void holdBackWrites()
{
    // Requests cannot be intercepted between the library and a service that is linked in.
    refuse("hold requests back, so nothing was sent");
}

QVector<Exchange> exchanges()
{
    return {};
}

QStringList listedDevices()
{
    QStringList keys;
    for (const auto &device : Quorvex::Communicator::HttpDevice::HttpProxy::getInstance()->getDeviceList())
        keys.append(device.key);
    return keys;
}

QMap<QString, Announced> announced()
{
    return {};
}

Discovered discovered()
{
    return {};
}

bool isWatched()
{
    return false;
}

QVector<Outcome> outcomes()
{
    return {};
}

QVector<Outcome> takeRefusals()
{
    return {};
}

QVector<Exchange> heldBack()
{
    return {};
}

void forgetExchanges() {}

void record(const QString &)
{
    refuse("be recorded by this program");
}

Replayed replayed()
{
    return {};
}

QByteArray describe()
{
    refuse("be described as a virtual wall");
}

void create(const QString &, const QString &)
{
    refuse("make wall directories");
}

QImage render(Picture, const QString &, const PictureForm &)
{
    refuse("draw pictures of itself");
}

Photo photograph(const QString &, const Camera &, double)
{
    refuse("be photographed by this program");
}

} // namespace Service
} // namespace Ctl

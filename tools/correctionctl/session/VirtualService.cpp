// What stands behind the adapter as this program's device service: the virtual wall, or a backend that was loaded.

#include "Service.h"
#include "terminal/ExitCodes.h"

#include <adapter/BackendPlugin.h>
#include <adapter/DryRun.h>
#include <adapter/ExchangeTap.h>
#include <adapter/Recorder.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QFile>

#include <memory>

using Simulator::Call;
using Simulator::CallJournal;
using Simulator::VirtualWall;

namespace Ctl {
namespace Service {

namespace {

bool g_replaying = false;
QVector<Exchange> g_exchanges;
// The host calls the last of these that is there, and each calls the one before it.
std::unique_ptr<Adapter::DeviceBackend> g_backend; ///< Null: the wall.
std::unique_ptr<Adapter::Recorder> g_recorder;
std::unique_ptr<Adapter::DryRun> g_dryRun;
std::unique_ptr<Adapter::ExchangeTap> g_tap;

VirtualWall &wall()
{
    return VirtualWall::instance();
}

/// Makes a filter in front of what is installed.
template <typename Filter, typename... Arguments>
void putInFront(std::unique_ptr<Filter> &filter, Arguments... arguments)
{
    if (!g_backend)
        wall(); // installs itself
    filter = std::make_unique<Filter>(*Adapter::backend(), arguments...);
    Adapter::setBackend(filter.get());
}

Exchange exchangeOf(const Call &call)
{
    Exchange exchange;
    exchange.operation = call.operation;
    exchange.device = call.deviceKey;
    exchange.request = CallJournal::describe(call, CallJournal::Shorten);
    exchange.answer = call.reply.isValid() ? CallJournal::describe(call.reply, CallJournal::Shorten) : QString();
    // Discovery's own operations answer nothing that could fail.
    exchange.success = call.result || call.deviceKey.isNull();
    exchange.milliseconds = double(call.duration) / 1000;
    exchange.note = call.note;
    return exchange;
}

[[noreturn]] void refuse(const QString &error)
{
    throw Failure(ExitNoWall, error.simplified());
}

} // namespace

QString name()
{
    return isWall() ? QStringLiteral("virtual wall") : QStringLiteral("backend");
}

bool hasWall()
{
    return true;
}

bool isWall()
{
    return !g_backend;
}

void open(const QString &source)
{
    QString error;
    if (!wall().load(source, &error))
        refuse(error);
    // Calls hold whole coefficient planes as strings, and the tool does not read them back from the wall.
    wall().journal().setLimit(0);
}

void openBackend(const QString &source)
{
    QString error;
    g_backend = Adapter::loadBackend(source, error);
    if (!g_backend)
        refuse(error);
    Adapter::setBackend(g_backend.get());
}

void openRecording(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Failure(ExitNoInput, QStringLiteral("%1: %2").arg(path, file.errorString()));
    file.close();
    QString error;
    if (!wall().replay().start(path, &error))
        throw Failure(ExitBadData, error.simplified());
    g_replaying = true;
}

void close()
{
    QString error;
    const bool isWhole = g_recorder ? g_recorder->close(error) : !isWall() || wall().journal().recordTo(QString(), &error);
    Adapter::setBackend(nullptr);
    g_tap.reset();
    g_dryRun.reset();
    g_recorder.reset();
    if (isWall())
        wall().close();
    g_backend.reset();
    if (!isWhole)
        throw Failure(ExitCannotWrite, error.simplified());
}

void holdBackWrites()
{
    if (g_replaying)
        refuse(QStringLiteral(
            "--dry-run and replay exclude each other: a recording holds no answers to requests that were not sent"));
    putInFront(g_dryRun);
}

QVector<Exchange> exchanges()
{
    return g_exchanges;
}

QVector<Exchange> heldBack()
{
    QVector<Exchange> list;
    for (const Call &call : g_dryRun->heldBack())
        list.append(exchangeOf(call));
    return list;
}

void forgetExchanges()
{
    g_exchanges.clear();
    if (!g_tap)
        putInFront(g_tap, [](const Call &call) { g_exchanges.append(exchangeOf(call)); });
}

void record(const QString &path)
{
    QString error;
    bool isOpen = false;
    if (isWall()) {
        isOpen = wall().journal().recordTo(path, &error);
    } else {
        putInFront(g_recorder);
        isOpen = g_recorder->open(path, error);
    }
    if (!isOpen)
        throw Failure(ExitCannotWrite, error.simplified());
}

Replayed replayed()
{
    const Simulator::ReplayReport report = wall().replay().report();
    return {report.answered, report.remaining, report.difference};
}

QByteArray describe()
{
    return Simulator::wallToJson(wall().wall());
}

void create(const QString &directory, const QString &source)
{
    Simulator::WallDescription description;
    QString error;
    if (!Simulator::presetWall(source, description) && !Simulator::readWall(source, description, &error))
        refuse(error);
    if (!wall().create(directory, description, &error))
        throw Failure(ExitCannotWrite, error.simplified());
}

QImage render(Picture picture, const QString &screenId, const PictureForm &form)
{
    switch (picture) {
    case Picture::Layout:
        return wall().pictures().layout(screenId, form.width);
    case Picture::Coefficients:
        return wall().pictures().coefficients(screenId, form.channel, Simulator::Kind::Chroma, {form.least, form.greatest},
                                              form.width);
    case Picture::Pattern: {
        const QImage whole = wall().pictures().pattern(screenId);
        return form.width > 0 && form.width < whole.width() ? whole.scaledToWidth(form.width, Qt::SmoothTransformation)
                                                            : whole;
    }
    }
    return {};
}

} // namespace Service
} // namespace Ctl

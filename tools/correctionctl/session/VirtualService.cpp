// The virtual wall as this program's device service: everything that knows it stands here.

#include "Service.h"
#include "terminal/ExitCodes.h"

#include <adapter/Operations.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QFile>

using Simulator::Call;
using Simulator::CallJournal;
using Simulator::VirtualWall;

namespace Ctl {
namespace Service {

namespace {

bool g_replaying = false;
QVector<Exchange> g_heldBack;

VirtualWall &wall()
{
    return VirtualWall::instance();
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
    return QStringLiteral("virtual wall");
}

bool isVirtual()
{
    return true;
}

void open(const QString &source)
{
    QString error;
    if (!wall().load(source, &error))
        refuse(error);
    // Calls hold whole coefficient planes as texts: they are kept only for who looks at them, see forgetExchanges().
    wall().journal().setLimit(0);
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
    wall().close();
}

void holdBackWrites()
{
    if (g_replaying)
        refuse(QStringLiteral(
            "--dry-run and replay exclude each other: a recording holds no answers to requests that were not sent"));
    const auto keep = [](const Call &call) { g_heldBack.append(exchangeOf(call)); };
    for (const Adapter::Operation &operation : Adapter::operations()) {
        if (operation.isChange())
            wall().scripts().on(operation.name).run(keep).answer(QMap<QString, QVariant>());
    }
}

QVector<Exchange> exchanges()
{
    QVector<Exchange> list;
    for (const Call &call : wall().journal().calls())
        list.append(exchangeOf(call));
    return list;
}

QVector<Exchange> heldBack()
{
    return g_heldBack;
}

void forgetExchanges()
{
    wall().journal().setLimit(-1);
    wall().journal().clear();
}

void record(const QString &path)
{
    QString error;
    if (!wall().journal().recordTo(path, &error))
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

QImage render(Picture picture, const QString &screenId, int channel)
{
    switch (picture) {
    case Picture::Layout:
        return wall().pictures().layout(screenId);
    case Picture::Coefficients:
        return wall().pictures().coefficients(screenId, channel);
    case Picture::Pattern:
        return wall().pictures().pattern(screenId);
    }
    return {};
}

} // namespace Service
} // namespace Ctl

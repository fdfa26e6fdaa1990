// Journals: the calls that can be read are written and read again, and have the same values.

#include "Fuzz.h"

#include <adapter/Operations.h>
#include <adapter/journal/Journal.h>
#include <simulator/VirtualWall.h>

using namespace Simulator;

namespace {

/// Every value of a call, with its type.
QStringList linesOf(const QList<Adapter::Call> &calls)
{
    QStringList lines;
    for (const Adapter::Call &call : calls) {
        QStringList parts{CallJournal::describe(call), CallJournal::describe(call.reply), call.note};
        for (auto header = call.headers.cbegin(); header != call.headers.cend(); ++header)
            parts.append(header.key() + QLatin1Char('=') + header.value());
        for (const qint64 number : {call.number, call.time, call.duration, qint64(call.result), qint64(call.settled),
                                    qint64(call.rejected), qint64(call.deviceKey.isNull()), qint64(call.target.isNull())})
            parts.append(QString::number(number));
        lines.append(parts.join(QLatin1Char('\n')));
    }
    return lines;
}

} // namespace

void Fuzz::setUp() {}

void Fuzz::run(Bytes &input)
{
    const QString path = folder() + QStringLiteral("/journal.jsonl");
    write(path, input.rest());
    QString error;
    const QList<Adapter::Call> calls = CallJournal::read(path, &error);
    const QStringList lines = linesOf(calls);
    const QString again = folder() + QStringLiteral("/again.jsonl");
    require(Adapter::saveJournal(again, QStringLiteral("fuzz"), calls, &error), "a journal cannot be saved");
    QString problem;
    const QList<Adapter::Call> read = CallJournal::read(again, &problem);
    if (!problem.isEmpty())
        fail(QStringLiteral("what was saved cannot be read: ") + problem);
    const QStringList linesAgain = linesOf(read);
    for (int i = 0; i < qMax(lines.size(), linesAgain.size()); ++i)
        same(linesAgain.value(i), lines.value(i), "a call that was saved");

    Adapter::readableTranscript(calls);
    VirtualWall wall;
    wall.timeline().setClock(ClockMode::Stepped);
    wall.replay().start(calls);
    for (const Adapter::Call &call : calls) {
        CallJournal::describe(call, CallJournal::Shorten);
        const Adapter::Operation *const operation = Adapter::findOperation(call.operation);
        if (operation && operation->reply != Adapter::Form::Promise)
            wall.answer(call);
    }
    wall.replay().report();
}

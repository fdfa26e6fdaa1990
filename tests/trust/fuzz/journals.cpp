// Journals: the calls that can be read are written and read again, and have the same lines.

#include "Fuzz.h"

#include <adapter/Operations.h>
#include <adapter/journal/Journal.h>
#include <simulator/VirtualWall.h>

using namespace Simulator;

namespace {

QByteArrayList linesOf(const QList<Adapter::Call> &calls)
{
    QByteArrayList lines;
    for (const Adapter::Call &call : calls)
        lines.append(Adapter::journalLine(call));
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
    const QByteArrayList lines = linesOf(calls);
    const QString again = folder() + QStringLiteral("/again.jsonl");
    require(Adapter::saveJournal(again, QStringLiteral("fuzz"), calls, &error), "a journal cannot be saved");
    QString problem;
    const QList<Adapter::Call> read = CallJournal::read(again, &problem);
    if (!problem.isEmpty())
        fail(QStringLiteral("what was saved cannot be read: ") + problem);
    const QByteArrayList linesAgain = linesOf(read);
    for (int i = 0; i < qMax(lines.size(), linesAgain.size()); ++i)
        same(QString::fromUtf8(linesAgain.value(i)), QString::fromUtf8(lines.value(i)), "a line that was saved");

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

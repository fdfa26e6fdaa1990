// Requests to the virtual wall on disk, right ones and any others: a refused one changes nothing, and what is left after a
// restart is what the directory holds when it is opened again.

#include "WallDump.h"

#include <adapter/Operations.h>

#include <Correction/Enumerations.h>

using namespace Simulator;
using Adapter::Operation;

namespace {

QStringList keys; ///< Of all requests.

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

int someNumber(Fuzz::Bytes &input)
{
    const int choice = input.byte();
    return choice < 192 ? choice % 5 : input.number();
}

QVariantMap mapOf(const Adapter::Fields &fields, Fuzz::Bytes &input);

QVariant valueOf(const Adapter::Field &field, Fuzz::Bytes &input)
{
    using Adapter::Type;
    switch (field.type) {
    case Type::Bool:
        return input.flag();
    case Type::Int:
        return someNumber(input);
    case Type::UInt:
        return uint(someNumber(input));
    case Type::LongLong:
        return qlonglong(someNumber(input));
    case Type::ULongLong:
        return qulonglong(someNumber(input));
    case Type::Text:
        return input.text();
    case Type::Base64:
        return QString::fromLatin1(input.bytes(input.below(60)).toBase64());
    case Type::Kind:
        return QVariant::fromValue(Correction::EnumSaveType(someNumber(input)));
    case Type::CabinetId: {
        const int id = someNumber(input);
        return input.flag() ? QVariant(qlonglong(id)) : QVariant(QString::number(id));
    }
    case Type::IntList: {
        QList<int> list;
        for (int left = input.below(5); left > 0; --left)
            list.append(input.number());
        return QVariant::fromValue(list);
    }
    case Type::List: {
        QVariantList list;
        for (int left = input.below(4); left > 0; --left)
            list.append(valueOf(*field.fields.begin(), input));
        return list;
    }
    case Type::Map:
        return mapOf(field.fields, input);
    }
    return QVariant();
}

/// A block of coefficients mostly has a place in a cabinet, and as many values as that takes.
void placeBlock(QVariantMap &map, Fuzz::Bytes &input)
{
    const QString values = map.contains(text("coefficients")) ? text("coefficients") : text("coefficient");
    if (!map.contains(text("area")) || !map.contains(values) || input.below(8) == 7)
        return;
    const int x = input.below(4);
    const int y = input.below(2);
    const int width = 1 + input.below(4 - x);
    const int height = 1 + input.below(2 - y);
    const int lengths[] = {18, 18, 16, 3};
    map[text("area")] = QVariantMap{{text("point"), QVariantMap{{text("x"), x}, {text("y"), y}}},
                                    {text("size"), QVariantMap{{text("width"), width}, {text("height"), height}}}};
    map[values] = QString::fromLatin1(QByteArray(width * height * input.pick(lengths), char(input.byte())).toBase64());
}

QVariantMap mapOf(const Adapter::Fields &fields, Fuzz::Bytes &input)
{
    QVariantMap map;
    for (const Adapter::Field &field : fields)
        map.insert(QString::fromLatin1(field.key), valueOf(field, input));
    placeBlock(map, input);
    return map;
}

/// `lines`: what can be read of the wall, before and after the request.
void request(VirtualWall &wall, Fuzz::Bytes &input, QStringList &lines)
{
    const Operation &operation = Adapter::operations()[input.below(Operation::Count)];
    Adapter::Call call;
    call.operation = operation.name;
    if (operation.address != Adapter::Address::Wall)
        call.deviceKey = input.below(16) == 15 ? input.text() : text(input.flag() ? "A" : "B");
    if (operation.address == Adapter::Address::Screen)
        call.target = input.below(16) == 15 ? input.text() : text("255");
    if (operation.address == Adapter::Address::Cabinet)
        call.target = input.below(16) == 15 ? input.text() : QString::number(1 + input.below(3));
    if (operation.request == Adapter::Form::Map) {
        call.request = mapOf(operation.requestFields, input);
    } else if (operation.request == Adapter::Form::List) {
        QVariantList list;
        for (int left = 1 + input.below(3); left > 0; --left)
            list.append(mapOf(operation.requestFields, input));
        call.request = list;
    }
    if (operation.request != Adapter::Form::None && input.below(4) == 3)
        Fuzz::edit(call.request, input, keys);
    if (operation.request != Adapter::Form::None && input.below(32) == 31)
        call.request = Fuzz::anyValue(input, keys);
    if (operation.extra == Adapter::Extra::Allowance)
        call.extra = input.number();
    else if (operation.extra == Adapter::Extra::Enable || operation.extra == Adapter::Extra::Refresh)
        call.extra = input.flag();

    bool isTaken = false;
    if (operation.reply == Adapter::Form::Promise) {
        wall.upload(call).then([&isTaken](bool value) { isTaken = value; }, [] {}).wait();
    } else {
        isTaken = wall.answer(call).result;
    }
    const QStringList after = Fuzz::linesOf(wall);
    if (!isTaken)
        Fuzz::sameLines(after, lines, "a wall that refused a request");
    lines = after;
}

} // namespace

void Fuzz::setUp()
{
    for (const Operation &operation : Adapter::operations())
        addKeys(operation.requestFields, keys);
}

void Fuzz::run(Bytes &input)
{
    const QString path = folder() + QStringLiteral("/wall");
    VirtualWall wall;
    QString error;
    wall.timeline().setClock(ClockMode::Skipping);
    if (!wall.create(path, savingWall(), &error))
        fail(error);
    QStringList lines = linesOf(wall);
    for (int left = 20; left > 0 && !input.isAtEnd(); --left) {
        const int choice = input.byte();
        const QString key = text(choice % 2 == 0 ? "A" : "B");
        if (choice < 232) {
            request(wall, input, lines);
            continue;
        }
        if (choice < 238) {
            wall.unplug(key);
        } else if (choice < 244) {
            wall.plug(key);
        } else if (choice < 248) {
            wall.restartDevice(key);
        } else if (choice < 252) {
            wall.renameScreen(key, input.text());
        } else {
            wall.close();
            if (!wall.open(path, &error))
                fail(QStringLiteral("what was saved cannot be opened: ") + error);
        }
        lines = linesOf(wall);
    }
    sameAfterReopening(wall, path);
}

// Programs of operations on the virtual wall while devices fail, vanish and restart at random moments. The host gets result
// codes alone; when all devices work again, what it writes is what it reads.

#include "Fuzz.h"
#include "Objects.h"

#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>

using namespace Trust;
using Simulator::VirtualWall;

namespace {

VirtualWall &wall()
{
    return VirtualWall::instance();
}

Simulator::WallDescription description()
{
    // As that of the operation table.
    Simulator::WallDescription description;
    int id = 1;
    for (const QString &key : deviceKeys) {
        description.devices.append(
            Simulator::gridDevice(key, QPoint(key == deviceKeys[0] ? 0 : 4, 0), 2, 1, QSize(2, 1), id));
        description.devices.last().screenId = text("s");
        id += 2;
    }
    return description;
}

Simulator::Fault someFault(Fuzz::Bytes &input)
{
    // A promise that never settles keeps the host until the device is unplugged: chaos does that, nothing does here.
    static const Simulator::Fault::Type types[] = {
        Simulator::Fault::NoAnswer,      Simulator::Fault::LateAnswer,   Simulator::Fault::RejectUpload,
        Simulator::Fault::TruncateReply, Simulator::Fault::ShuffleReply, Simulator::Fault::MissingKey,
        Simulator::Fault::WrongType,     Simulator::Fault::DirtyBase64,  Simulator::Fault::Status,
        Simulator::Fault::Vanish,        Simulator::Fault::Restart};
    Simulator::Fault fault;
    fault.type = input.pick(types);
    fault.after = input.below(4);
    fault.times = input.below(4) - 1;
    fault.milliseconds = input.below(1000);
    fault.status = text(input.flag() ? "404" : "500");
    return fault;
}

/// A grid written to the whole screen arrives, and is read.
void checkWriteAndRead(Fuzz::Bytes &input)
{
    using Fuzz::require;
    ScreenManager *const manager = ScreenManager::getInstance();
    Fuzz::same<int>(manager->refreshScreen(), enSuccess, "the code of the last refresh");
    IScreen *const screen = manager->tryGetScreen(text("s"));
    require(screen, "the screen is missing in the end");
    QRect rect;
    Fuzz::same<int>(screen->tryGetRect(rect), enSuccess, "the code of the screen's rectangle");
    require(rect == QRect(0, 0, 8, 1), "the screen has another rectangle in the end");
    QVector<unsigned short> values;
    const int first = input.byte();
    for (int i = 0; i < 8 * 9; ++i)
        values.append(static_cast<unsigned short>(first * 251 + i * 7));
    Coefficient sent(8, 1);
    require(sent.setCoefficient(values) == enSuccess, "a grid does not take its values");
    Fuzz::same<int>(screen->setCoefficients(rect, sent), enSuccess, "the code of the last write");
    Coefficient read(8, 1);
    Fuzz::same<int>(screen->tryGetCoefficients(rect, read), enSuccess, "the code of the last read");
    require(read.getCoefficient() == values, "what was written is not what is read");
    for (int id = 1; id <= 4; ++id) {
        const QVector<quint16> plane = wall().state().chroma(deviceKeys[(id - 1) / 2], QString::number(id));
        require(plane == values.mid((id - 1) * 18, 18), "what was written has not arrived");
    }
    require(wall().uploads().pending() == 0, "an upload is pending in the end");
}

} // namespace

void Fuzz::setUp()
{
    wall();
    ScreenManager::getInstance()->init();
}

void Fuzz::run(Bytes &input)
{
    const QString path = folder() + text("/config");
    wall().reset();
    wall().timeline().setClock(Simulator::ClockMode::Skipping);
    wall().journal().setLimit(0);
    wall().setWall(description());
    wall().faults().setSeed(quint64(1 + input.byte()));
    const double share = input.below(128) / 256.0;
    Host host(path);
    require(bool(host.group), "the wall without faults is not discovered");
    wall().faults().setChaos(share);
    for (int left = 40; left > 0 && !input.isAtEnd(); --left) {
        const int choice = input.byte();
        const QString &key = deviceKeys[choice % 2];
        if (choice < 192) {
            const Row &row = operations()[std::size_t(input.below(int(operations().size())))];
            if (canRun(row, host)) {
                const int code = row.run(host);
                require(code >= 0 && code <= 15, "not a result code"); // a screen write unites those of its devices
            }
        } else if (choice < 208) {
            host.group.reset();
            const int code = ScreenManager::getInstance()->refreshScreen();
            require(code >= 0 && code <= 8, "not a result code");
            findObjects(host, deviceKeys);
        } else if (choice < 216) {
            wall().unplug(key);
        } else if (choice < 224) {
            wall().plug(key);
        } else if (choice < 230) {
            wall().restartDevice(key);
        } else if (choice < 236) {
            wall().renameScreen(key, input.text());
        } else if (choice < 246) {
            wall().faults().add(key, someFault(input));
        } else if (choice < 250) {
            wall().faults().clear(key);
        } else {
            wall().timeline().advance(input.below(20000));
        }
    }

    wall().faults().setChaos(0);
    wall().timeline().advance(1000000); // events that chaos has scheduled
    QCoreApplication::processEvents();
    for (const QString &key : deviceKeys) {
        wall().faults().clear(key);
        wall().plug(key);
    }
    host.group.reset();
    checkWriteAndRead(input);
}

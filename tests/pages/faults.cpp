#include <service/Correctionop.h>
#include <simulator/VirtualWall.h>

using namespace Simulator;

namespace Pages {

Device slowDevice()
{
    Device device = gridDevice(QStringLiteral("B"), QPoint(256, 0), 2, 2, QSize(128, 128), 5);
    device.personality = QStringLiteral("slow");
    device.timing.latency = 1000; // on top of what the personality takes
    return device;
}

void addAndClear()
{
    Fault fault;
    fault.type = Fault::RejectUpload;
    fault.after = 2;
    fault.times = 1;
    VirtualWall::instance().faults().add(QStringLiteral("A"), fault); // the third upload from here on is rejected
    VirtualWall::instance().faults().clear(QStringLiteral("A"));      // what belongs to the personality stays
}

void schedule()
{
    Event unplug;
    unplug.at = 3000; // ms since setWall()
    unplug.type = Event::Unplug;
    unplug.deviceKey = QStringLiteral("A");
    VirtualWall::instance().timeline().schedule(unplug); // or in WallDescription::events
}

void step(const QString &key, const QList<QVariant> &request)
{
    VirtualWall &wall = VirtualWall::instance();
    wall.timeline().setClock(ClockMode::Stepped);
    const auto promise = Correctionop::getInstance()->uploadCoefficientAsync(key, request);
    wall.timeline().advance(200); // the promise of a device with a latency of 200 ms is settled now
}

} // namespace Pages

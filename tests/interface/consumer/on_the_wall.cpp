// A host that brings no hardware and no service: it links the virtual wall.

#include "tour.h"

#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    Simulator::VirtualWall &wall = Simulator::VirtualWall::instance();
    wall.setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 1, 1, QSize(4, 2))});

    tour();
    EXPECT(wall.journal().notes().isEmpty());
    EXPECT(wall.state().chroma(QStringLiteral("A"), QStringLiteral("1"), Simulator::Store::User).value(71)
           == 71 * 907 % 65536);
    EXPECT(screenChanges([&wall] { wall.removeDevice(QStringLiteral("A")); }) == 1);
    EXPECT(Correction::ScreenManager::getInstance()->refreshScreen() == Correction::enNoDevice);
    return 0;
}

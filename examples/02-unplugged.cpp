#include <Correction/Correction.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

using namespace Correction;
using namespace Simulator;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false")); // traces of successful operations

    // Two controllers side by side. Each replies after a second of the wall's clock, which skips the waiting.
    // A wall file with the devices A and B may be given instead.
    WallDescription wall;
    wall.devices = {gridDevice(QStringLiteral("A"), QPoint(0, 0), 2, 1, QSize(64, 64)),
                    gridDevice(QStringLiteral("B"), QPoint(128, 0), 2, 1, QSize(64, 64), 3)};
    for (Device &device : wall.devices)
        device.timing.latency = 1000;
    VirtualWall &virtualWall = VirtualWall::instance();
    virtualWall.timeline().setClock(ClockMode::Skipping);
    QString error;
    if (argc < 2) {
        virtualWall.setWall(wall);
    } else if (!virtualWall.load(application.arguments().at(1), &error)) {
        qCritical("%s", qPrintable(error));
        return 1;
    }

    auto *const manager = ScreenManager::getInstance();
    int changes = 0;
    QObject::connect(manager, &ScreenManager::signal_screenChanged, &application, [&changes] { ++changes; });
    manager->init();
    // Logs "Cannot find SubScreen" once for each device: that it is new in its screen is ordinary, in spite of the level.
    int found = manager->refreshScreen();
    IScreen *screen = manager->tryGetScreen(QStringLiteral("screen"));
    if (found != enSuccess || !screen) {
        qCritical("no screen was found (code %d): is a device there, and does it answer?", found);
        return 1;
    }

    // B is unplugged half a second after the write has begun.
    Event unplug;
    unplug.at = virtualWall.timeline().now() + 500;
    unplug.type = Event::Unplug;
    unplug.deviceKey = QStringLiteral("B");
    virtualWall.timeline().schedule(unplug);

    Coefficient grid(256, 64);
    QVector<unsigned short> values(256 * 64 * 9, 32768);
    if (grid.setCoefficient(values) != enSuccess)
        return 1;
    const int written = screen->setCoefficients(QRect(0, 0, 256, 64), grid);
    qInfo("written: %d (%d is a timeout), changes: %d", written, enTimeout, changes);

    // How the host handles it: it refreshes the screens and saves on the devices that are there.
    found = manager->refreshScreen();
    screen = manager->tryGetScreen(QStringLiteral("screen"));
    QRect rect;
    if (found != enSuccess || !screen || screen->tryGetRect(rect) != enSuccess) {
        qCritical("no screen is left (code %d)", found);
        return 1;
    }
    const int saved = screen->saveParameter(enSaveCommonCoefficient);
    qInfo("the screen is %d pixels wide, saved: %d", rect.width(), saved);
    return written == enTimeout && changes == 1 && rect.width() == 128 && saved == enSuccess ? 0 : 1;
}

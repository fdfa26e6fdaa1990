// The event loop runs during a write: timers and slots of the host are called, and must not start another operation.

#include <Correction/Correction.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>

using namespace Correction;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("correction=false")); // result codes alone
    Simulator::WallDescription description;
    description.devices = {Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 2, 1, QSize(64, 64))};
    description.devices.first().timing.latency = 200; // milliseconds for every answer
    Simulator::VirtualWall &wall = Simulator::VirtualWall::instance();
    wall.setWall(description);

    auto *const manager = ScreenManager::getInstance();
    manager->init();
    manager->refreshScreen();

    bool busy = false; // an operation is under way
    bool refreshLater = false;
    QObject::connect(manager, &ScreenManager::signal_screenChanged, &application, [&] {
        qInfo("the wall has changed: %s", busy ? "a refresh after the write" : "a refresh now");
        refreshLater = true;
    });
    int ticks = 0;
    QTimer timer; // as the animation of a progress bar
    QObject::connect(&timer, &QTimer::timeout, &application, [&ticks] { ++ticks; });
    timer.start(10);
    QTimer::singleShot(50, &application, [&wall] { // a second device appears in the middle of the write
        wall.addDevice(Simulator::gridDevice(QStringLiteral("B"), QPoint(128, 0), 2, 1, QSize(64, 64), 3));
    });

    IScreen *screen = manager->tryGetScreen(QStringLiteral("screen"));
    QRect rect;
    if (!screen || screen->tryGetRect(rect) != enSuccess)
        return 1;
    Coefficient grid(rect.width(), rect.height());
    busy = true;
    const int written = screen->setCoefficients(rect, grid);
    busy = false;
    qInfo("written: %d, timers ran meanwhile: %s", written, ticks > 0 ? "yes" : "no");

    // Reads, saves and settings block their thread: no event is processed.
    ticks = 0;
    const int saved = screen->saveParameter(enSaveCommonCoefficient);
    qInfo("saved: %d, timers ran meanwhile: %s", saved, ticks > 0 ? "yes" : "no");

    if (refreshLater)
        manager->refreshScreen();
    screen = manager->tryGetScreen(QStringLiteral("screen"));
    if (!screen || screen->tryGetRect(rect) != enSuccess)
        return 1;
    qInfo("the screen is %d pixels wide", rect.width());
    return 0;
}

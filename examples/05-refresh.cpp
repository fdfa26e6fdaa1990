// What a refresh invalidates, and how a host keeps to it: it stores ids, and looks objects up when it needs them.

#include <Correction/Correction.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

using namespace Correction;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("correction=false")); // result codes alone
    Simulator::VirtualWall &wall = Simulator::VirtualWall::instance();
    if (!wall.load(QStringLiteral("demo")))
        return 1;

    auto *const manager = ScreenManager::getInstance();
    bool stale = true; // the wall has changed since the last refresh
    QObject::connect(manager, &ScreenManager::signal_screenChanged, &application, [&stale] { stale = true; });
    manager->init();

    const QString screenId = QStringLiteral("arena-main");
    const auto look = [&](const char *when) {
        if (stale) {
            stale = false; // before the refresh: a device may vanish during it
            qInfo("%s: refresh: %d", when, manager->refreshScreen());
        }
        IScreen *const screen = manager->tryGetScreen(screenId); // valid until the next refresh
        QList<CabinetInfo> cabinets;                             // copies: valid as long as the host keeps them
        if (!screen || screen->tryGetAllCabinetInfoList(cabinets) != enSuccess)
            return cabinets;
        qInfo("%s: %d cabinets, the last one is %s of %s", when, cabinets.size(), qPrintable(cabinets.last().id),
              qPrintable(cabinets.last().deviceKey));
        return cabinets;
    };

    look("at the beginning");
    wall.unplug(QStringLiteral("right"));
    const QList<CabinetInfo> left = look("one device less");
    if (left.isEmpty())
        return 1;

    // A group is the host's; the cabinets in it are the registry's. Both are used before the next refresh.
    const CabinetsPtr group(CabinetManager::getInstance()->tryGetCabinets({left.first().id, left.last().id}));
    qInfo("a group of two cabinets: saved: %d", group ? group->saveUserCoefficient() : enInvalidParameter);

    wall.plug(QStringLiteral("right"));
    look("plugged again");
    return 0;
}

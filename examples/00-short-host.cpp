#include <Correction/Correction.h>
#include <simulator/VirtualWall.h> // a wall without hardware

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

using namespace Correction;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false")); // traces of successful operations
    Simulator::VirtualWall::instance().load(QStringLiteral("demo"));
    ScreenManager *const manager = ScreenManager::getInstance();
    manager->init();
    const int found = manager->refreshScreen();
    IScreen *const screen = manager->tryGetScreen(QStringLiteral("arena-main"));
    Coefficient grid(2, 1); // columns, rows; nine values for each pixel
    QVector<unsigned short> values{36000, 0, 0, 0, 36000, 0, 0, 0, 36000, 30000, 0, 0, 0, 30000, 0, 0, 0, 30000};
    if (!screen || grid.setCoefficient(values) != enSuccess)
        return 1;
    const QRect rect(383, 200, 2, 1); // screen pixels: the last of one device, the first of the next
    const int written = screen->setCoefficients(rect, grid);
    const int saved = screen->saveParameter(enSaveCommonCoefficient);
    qInfo("%s: found %d, written %d, saved %d", qPrintable(screen->getName()), found, written, saved);
    return found || written || saved;
}

#include <Correction/Correction.h>
#include <simulator/VirtualWall.h> // only to have a wall on the desk

#include <QtCore/QCoreApplication>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const auto device = Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 4, 2, QSize(128, 128));
    Simulator::VirtualWall::instance().setDevices({device});

    auto *const manager = Correction::ScreenManager::getInstance();
    manager->init();
    if (manager->refreshScreen() != Correction::enSuccess)
        return 1;
    Correction::IScreen *const screen = manager->tryGetScreen(manager->getNameMapping().firstKey());

    const QRect part(100, 40, 300, 150); // screen pixels, over eight cabinets
    Correction::Coefficient grid(part.width(), part.height());
    QVector<unsigned short> values(part.width() * part.height() * 9, 32768);
    grid.setCoefficient(values);
    const auto written = screen->setCoefficients(part, grid);
    const auto saved = screen->saveParameter(Correction::enSaveCommonCoefficient);
    qInfo("written: %d, saved: %d", written, saved);
    return written | saved;
}

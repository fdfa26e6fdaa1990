#include <Correction/Correction.h>
#include <simulator/VirtualWall.h> // only to have a wall on the desk

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false")); // traces of successful operations
    QString error;
    if (!Simulator::VirtualWall::instance().load(application.arguments().value(1, QStringLiteral("demo")), &error)) {
        qCritical("%s", qPrintable(error));
        return 1;
    }

    auto *const manager = Correction::ScreenManager::getInstance();
    manager->init();
    // Logs "Cannot find SubScreen" once for each device: that it is new in its screen is ordinary, in spite of the level.
    const auto found = manager->refreshScreen();
    const QStringList ids = manager->getNameMapping().keys();
    Correction::IScreen *const screen = ids.isEmpty() ? nullptr : manager->tryGetScreen(ids.first());
    if (found != Correction::enSuccess || !screen) {
        qCritical("no screen was found (code %d): is a device there, and does it answer?", found);
        return 1;
    }

    const QRect part(100, 40, 300, 150); // screen pixels, over eight cabinets of two devices
    QRect whole;
    Correction::Coefficient grid(part.width(), part.height());
    QVector<unsigned short> values(part.width() * part.height() * 9, 32768);
    if (screen->tryGetRect(whole) != Correction::enSuccess || !whole.contains(part) || grid.setCoefficient(values)) {
        qCritical("the screen is too small");
        return 1;
    }
    const auto written = screen->setCoefficients(part, grid);
    const auto saved = written ? written : screen->saveParameter(Correction::enSaveCommonCoefficient);
    if (saved != Correction::enSuccess) {
        qCritical("%s failed: code %d", written ? "writing" : "saving", saved);
        return 1;
    }
    qInfo("written and saved");
    return 0;
}

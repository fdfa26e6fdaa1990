// One rectangle in the frames of the screen, of a sub-screen and of a request.

#include <Correction/Correction.h>
#include <simulator/CallJournal.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

using namespace Correction;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("correction=false")); // result codes alone

    // Two controllers side by side, each with two cabinets of 64 x 64 pixels: 1 and 2, 3 and 4.
    Simulator::VirtualWall &wall = Simulator::VirtualWall::instance();
    Simulator::WallDescription description;
    description.devices = {Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 2, 1, QSize(64, 64)),
                           Simulator::gridDevice(QStringLiteral("B"), QPoint(128, 0), 2, 1, QSize(64, 64), 3)};
    wall.setWall(description);
    auto *const manager = ScreenManager::getInstance();
    manager->init();
    manager->refreshScreen();
    IScreen *const screen = manager->tryGetScreen(QStringLiteral("screen"));
    if (!screen)
        return 1;

    // A write: the grid is laid out over `rect`, of which 28 columns belong to device A and 32 to device B.
    const QRect rect(100, 10, 60, 20);
    Coefficient written(rect.width(), rect.height());
    QVector<unsigned short> values(rect.width() * rect.height() * chromaPixelLength);
    for (int i = 0; i < values.size(); ++i)
        values[i] = static_cast<unsigned short>(i);
    if (written.setCoefficient(values) != enSuccess)
        return 1;
    wall.journal().clear();
    qInfo("write: %d", screen->setCoefficients(rect, written));
    const QList<Simulator::Call> calls = wall.journal().calls();
    for (const Simulator::Call &call : calls) {
        const QVariantMap cabinet = call.request.toList().value(0).toMap();
        const QVariantMap block = cabinet.value(QStringLiteral("coefficientList")).toList().value(0).toMap();
        qInfo().noquote() << "request to" << call.deviceKey << "for cabinet" << cabinet.value(QStringLiteral("cid")).toInt()
                          << Simulator::CallJournal::describe(block.value(QStringLiteral("area")));
    }

    // A read of the same rectangle through the screen fails, since the part of A begins inside A; a reader reads it.
    Coefficient read(rect.width(), rect.height());
    qInfo("read by IScreen: %d", screen->tryGetCoefficients(rect, read));
    qInfo("read by ScreenReader: %d", ScreenReader(*screen).tryGetCoefficients(rect, read));
    qInfo("the same values: %s", read.getCoefficient() == values ? "yes" : "no");

    // A read through a sub-screen: the grid is laid out over the whole sub-screen, wherever the rectangle begins.
    ISubScreen *const right = screen->tryGetSubScreen(QStringLiteral("B"));
    QRect frame;
    if (!right || right->tryGetRect(frame) != enSuccess)
        return 1;
    Coefficient part(frame.width(), frame.height());
    qInfo("read by ISubScreen: %d", right->tryGetCoefficients(rect, part));
    const QPoint pixel(130, 12); // screen pixels
    const auto first = [](const QVector<unsigned short> &of, int columns, const QPoint &at) {
        return of.value((at.y() * columns + at.x()) * chromaPixelLength);
    };
    qInfo("the pixel %d,%d: written %d, read %d", pixel.x(), pixel.y(), first(values, rect.width(), pixel - rect.topLeft()),
          first(part.getCoefficient(), frame.width(), pixel - frame.topLeft()));
    return 0;
}

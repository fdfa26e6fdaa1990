// A host on hardware of its own: a backend that speaks HTTP, here to a little device on this machine.

#include "HttpBackend.h"
#include "LittleDevice.h"

#include <Correction/Correction.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

#include <memory>

using namespace Correction;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false"));

    auto device = std::make_unique<LittleDevice>();
    HttpBackend backend({{QStringLiteral("A"), device->url()}});
    Adapter::setBackend(&backend);

    auto *const manager = ScreenManager::getInstance();
    manager->init();
    // Logs "Cannot find SubScreen" once for each device: that it is new in its screen is ordinary, in spite of the level.
    const auto found = manager->refreshScreen();
    IScreen *const screen = manager->tryGetScreen(QStringLiteral("little"));
    QRect rect;
    if (found != enSuccess || !screen || screen->tryGetRect(rect) != enSuccess || rect.isEmpty()) {
        qCritical("no screen was found: code %d", found);
        return 1;
    }

    QVector<unsigned short> values(rect.width() * rect.height() * 9);
    for (int i = 0; i < values.size(); ++i)
        values[i] = static_cast<unsigned short>(i * 101);
    Coefficient written(rect.width(), rect.height());
    Coefficient read(rect.width(), rect.height());
    if (written.setCoefficient(values) != enSuccess || screen->setCoefficients(rect, written) != enSuccess
        || screen->saveParameter(enSaveCommonCoefficient) != enSuccess
        || screen->tryGetCoefficients(rect, read) != enSuccess) {
        qCritical("writing, saving or reading failed");
        return 1;
    }
    qInfo("%s: %d x %d pixels written, saved and read back over HTTP: %s", qPrintable(screen->getName()), rect.width(),
          rect.height(), read.getCoefficient() == values ? "the same" : "different");

    device.reset(); // the device is unplugged
    const auto unplugged = screen->setCoefficients(rect, written);
    qInfo("without the device: code %d", unplugged);
    return read.getCoefficient() == values && unplugged == enTimeout ? 0 : 1;
}

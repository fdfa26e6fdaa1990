// A host that names neither the virtual wall nor anything of the device service: the link must keep both.

#include <Correction/Correction.h>

#include <QtCore/QCoreApplication>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    Correction::ScreenManager::getInstance()->init();
    // The wall has no devices yet.
    return Correction::ScreenManager::getInstance()->refreshScreen() == Correction::enNoDevice ? 0 : 1;
}

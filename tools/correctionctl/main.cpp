#include "Application.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTextCodec>

int main(int argc, char **argv)
{
    // Texts and paths are UTF-8 also where the locale is "C".
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("correctionctl"));
    return Ctl::runProgram(QCoreApplication::arguments().mid(1));
}

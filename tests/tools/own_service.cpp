// correctionctl as it is with a device service of its own. The service is a virtual wall, and the program uses none of its
// other functions: small.json of the working directory. All its calls go to a file, calls.jsonl.

#include <Application.h>

#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    Simulator::VirtualWall &wall = Simulator::VirtualWall::instance();
    QString error;
    QFile::remove(QStringLiteral("calls.jsonl"));
    if (!wall.load(QStringLiteral("small.json"), &error) || !wall.journal().recordTo(QStringLiteral("calls.jsonl"), &error))
        qFatal("%s", qPrintable(error));
    const int exit = Ctl::runProgram(QCoreApplication::arguments().mid(1));
    wall.journal().recordTo(QString());
    return exit;
}

// Another process with a wall, for tests that kill it: wallwriter DIRECTORY hold|save|read [STEP or COUNT]
//
// hold: opens the directory, prints "open" and waits for the end of its input.
// save: continues with the generation that it finds, and prints "saved N" after every request, N counting all requests. It
// is killed at the given step to the disk, or runs until the test kills it.
// read: reads the directory without its lock until it has found COUNT different states, and prints "read".

#include "DiskSteps.h"
#include "Generations.h"

#include <QtCore/QCoreApplication>

#include <cstdio>

namespace {

void say(const QByteArray &line)
{
    std::fputs((line + '\n').constData(), stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 3)
        return 2;
    DiskSteps::watch(arguments[1].toLocal8Bit());
    if (arguments.size() > 3 && arguments[2] == QLatin1String("save"))
        DiskSteps::killAt(arguments[3].toInt());

    QString error;
    if (arguments[2] == QLatin1String("read")) {
        Simulator::VirtualWall::instance().journal().setLimit(0);
        for (int last = -1, left = arguments.value(3).toInt(); left > 0;) {
            if (!Simulator::VirtualWall::instance().loadReadOnly(arguments[1], &error)) {
                say(error.toLocal8Bit());
                return 1;
            }
            const int found = Generations::found();
            if (found < last) {
                say("found " + QByteArray::number(found) + " after " + QByteArray::number(last));
                return 1;
            }
            left -= found > last ? 1 : 0;
            last = found;
        }
        say("read");
        return 0;
    }
    if (!Simulator::VirtualWall::instance().open(arguments[1], &error)) {
        say(error.toLocal8Bit());
        return 1;
    }
    say("open");
    if (arguments[2] == QLatin1String("hold")) {
        while (std::getchar() != EOF) {
        }
        return 0;
    }
    Simulator::VirtualWall::instance().journal().setLimit(0);
    for (int saved = Generations::found(); saved >= 0; ++saved) {
        const int generation = saved / 2 + 1;
        if (!(saved % 2 == 0 ? Generations::savePlanes(generation) : Generations::saveFlags(generation)))
            return 1;
        say("saved " + QByteArray::number(saved + 1));
    }
    return 1;
}

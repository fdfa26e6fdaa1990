// The little device as a process: prints its URL, and vanishes when its standard input ends.

#include "LittleDevice.h"

#include <QtCore/QCoreApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const LittleDevice device;
    if (device.url().isEmpty())
        return 1;
    std::puts(qPrintable(device.url().toString()));
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    return 0;
}

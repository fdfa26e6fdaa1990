#include "Application.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTextCodec>

#include <malloc.h>

namespace {

/// The coefficients and strings of one request are released before those of the next are made. Their pages are kept until
/// then: new ones cost more than the work on them.
void keepReleasedMemory()
{
    constexpr int largestBlock = 1 << 25;
    constexpr int mostKept = 1 << 28;
    mallopt(M_MMAP_THRESHOLD, largestBlock);
    mallopt(M_TRIM_THRESHOLD, mostKept);
}

} // namespace

int main(int argc, char **argv)
{
    keepReleasedMemory();
    // Texts and paths are UTF-8 also where the locale is "C".
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("correctionctl"));
    return Ctl::runProgram(QCoreApplication::arguments().mid(1));
}

// One pass of every counted case, for callgrind: each count is dumped under the case's name. Without valgrind it only runs
// them.

#include "Cases.h"
#include "PackCases.h"

#include <valgrind/callgrind.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

#include <cstdio>
#include <gnu/libc-version.h>
#include <xxhash.h>

namespace {

/// What the counts depend on.
void printEnvironment()
{
#if defined(__clang__)
    constexpr const char *compiler = "clang " __clang_version__;
#else
    constexpr const char *compiler = "g++ " __VERSION__;
#endif
    const unsigned version = XXH_versionNumber();
    std::printf("%s, Qt %s, glibc %s, xxHash %u.%u.%u\n", compiler, qVersion(), gnu_get_libc_version(), version / 10000,
                version / 100 % 100, version % 100);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (application.arguments().contains(QStringLiteral("--environment"))) {
        printEnvironment();
        return 0;
    }
    QLoggingCategory::setFilterRules(QStringLiteral("correction=false"));
    const QVector<Bench::Case> cases = Bench::countedCases() + Bench::packCases();
    for (const Bench::Case &ofCase : cases) {
        const Bench::Pass pass = ofCase.library();
        pass(); // tables, first look-ups of symbols, whatever is done once
        CALLGRIND_START_INSTRUMENTATION;
        CALLGRIND_ZERO_STATS;
        pass();
        CALLGRIND_DUMP_STATS_AT(qPrintable(ofCase.name));
        CALLGRIND_STOP_INSTRUMENTATION;
    }
    return 0;
}

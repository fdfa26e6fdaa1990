// Runs the test program that it is linked into on one instruction set: CORRECTION_TEST_INSTRUCTIONS names it as Highway
// does, or PLAIN for the loops without vectors. The program ends with 77 when the machine or the build does not have it.

#define HWY_WANT_AVX3_DL // as in the codec, so that HWY_TARGETS names the sets that it is compiled for
#include <hwy/highway.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr int lacking = 77;

/// Highway has one of two portable targets, depending on the compiler.
std::string nameOf(int64_t set)
{
    return set == HWY_SCALAR || set == HWY_EMU128 ? "PLAIN" : hwy::TargetName(set);
}

const bool chosen = [] {
    const char *const wanted = std::getenv("CORRECTION_TEST_INSTRUCTIONS");
    if (!wanted)
        return false;
    constexpr int64_t standIns = HWY_SCALAR | HWY_EMU128;
    for (int64_t sets = (hwy::SupportedTargets() | standIns) & HWY_TARGETS; sets != 0; sets &= sets - 1) {
        const int64_t set = sets & -sets;
        if (nameOf(set) == wanted) {
            const int64_t forced = (set & standIns) != 0 ? standIns : set;
            hwy::SetSupportedTargetsForTest(forced);
            hwy::GetChosenTarget().Update(forced);
            return true;
        }
    }
    std::fprintf(stderr, "no %s on this machine\n", wanted);
    std::exit(lacking);
}();

} // namespace

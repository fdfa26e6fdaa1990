// Records which code a program reaches, for mutation.py. Clang's -fsanitize-coverage=inline-8bit-counters,pc-table calls the
// functions below when it loads a library. At its end a program writes a file into the folder MUTATION_REACHED, named by its
// process id: the path of each library, then a line for each block of code, "+" before those that ran, with its address in
// the library.

#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

struct Part {
    const char *begin;
    const char *end;
    const std::uintptr_t *places; ///< two for each counter: the address, and flags
};

constexpr int maxParts = 256;
Part parts[maxParts];
int count = 0;

__attribute__((destructor)) void writeReached()
{
    const char *const folder = std::getenv("MUTATION_REACHED");
    std::FILE *const file =
        folder ? std::fopen((std::string(folder) + "/" + std::to_string(getpid())).c_str(), "w") : nullptr;
    if (!file)
        return;
    const bool all = std::getenv("MUTATION_ALL") != nullptr;
    for (const Part *part = parts; part != parts + count; ++part) {
        Dl_info info;
        if (!part->places || dladdr(part->begin, &info) == 0) // a plugin that is unloaded
            continue;
        std::fprintf(file, "%s\n", info.dli_fname);
        for (const char *at = part->begin; at != part->end; ++at) {
            if (all || *at != 0) {
                const std::uintptr_t place = part->places[2 * (at - part->begin)];
                std::fprintf(file, "%s%lx\n", *at != 0 ? "+" : "-",
                             static_cast<unsigned long>(place - reinterpret_cast<std::uintptr_t>(info.dli_fbase)));
            }
        }
    }
    std::fclose(file);
}

} // namespace

extern "C" __attribute__((visibility("default"))) void __sanitizer_cov_8bit_counters_init(const char *begin, const char *end)
{
    if (begin != end && count < maxParts)
        parts[count++] = {begin, end, nullptr};
}

extern "C" __attribute__((visibility("default"))) void __sanitizer_cov_pcs_init(const std::uintptr_t *begin,
                                                                                const std::uintptr_t *)
{
    if (count > 0 && !parts[count - 1].places)
        parts[count - 1].places = begin;
}

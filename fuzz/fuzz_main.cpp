// libFuzzer entry: SENSOR_FUZZ_TARGET names the target this run drives.
#include <cstdio>
#include <cstdlib>

#include "FuzzTargets.h"

namespace {
sensorfuzz::Target g_target = nullptr;
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const char* name = std::getenv("SENSOR_FUZZ_TARGET");
    const auto& all = sensorfuzz::targets();
    auto it = name != nullptr ? all.find(name) : all.end();
    if (it == all.end()) {
        std::fprintf(stderr, "set SENSOR_FUZZ_TARGET to one of:");
        for (const auto& entry : all) std::fprintf(stderr, " %s", entry.first.c_str());
        std::fprintf(stderr, "\n");
        std::exit(2);
    }
    g_target = it->second;
    sensorfuzz::prepare(it->first);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) { return g_target(data, size); }

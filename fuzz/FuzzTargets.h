// Fuzz targets of the module's parsers: libFuzzer drives them in the fuzz build, the test suite replays their inputs.
#ifndef FUZZ_FUZZTARGETS_H
#define FUZZ_FUZZTARGETS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace sensorfuzz {

using Target = int (*)(const std::uint8_t* data, std::size_t size);

// Every target by name; the names are the directories of fuzz/corpus and fuzz/regressions.
const std::map<std::string, Target>& targets();
// Builds what a target keeps for the whole run (a started channel) before the
// first input, so that it is not taken for a leak of that input.
void prepare(const std::string& name);

}  // namespace sensorfuzz

#endif

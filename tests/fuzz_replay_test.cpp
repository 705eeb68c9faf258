// Every seed and every past finding of the fuzz targets, replayed under the normal build and the sanitizers.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "FuzzTargets.h"
#include "ModuleTest.h"

namespace {

namespace fs = std::filesystem;

class FuzzReplayTest : public testsupport::ModuleTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(FuzzReplayTest, EveryInputRunsToCompletion)
{
    setDebugLevel(-1);
    const sensorfuzz::Target target = sensorfuzz::targets().at(GetParam());
    sensorfuzz::prepare(GetParam());
    int inputs = 0;
    for (const char* kind : {"corpus", "regressions"}) {
        const fs::path dir = fs::path(SENSOR_FUZZ_DIR) / kind / GetParam();
        if (!fs::is_directory(dir)) continue;
        for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
            std::ifstream in(entry.path(), std::ios::binary);
            const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            EXPECT_EQ(target(bytes.data(), bytes.size()), 0) << entry.path();
            ++inputs;
        }
    }
    EXPECT_GT(inputs, 0);
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplayTest,
                         ::testing::Values("pair_list", "key_list", "detail_field", "debug_sign", "fov_file",
                                           "scheme_file", "style_merge", "dynamic_style", "parameter_text",
                                           "soap_request"));

}  // namespace

// Parameter and version files move between the camera and a PC (sensorctl cfg): the same bytes on every target.
#include <climits>
#include <string>
#include <vector>

#include "ModuleTest.h"
#include "SensorFile.h"

using namespace testsupport;
using namespace std::string_literals;

namespace {

using FileFormatTest = ModuleTest;

TEST_F(FileFormatTest, RecordsAreLittleEndianKeyThenValueWithNothingBetween)
{
    // 0x01020304 shows the byte order; the extremes show the sign and the top bit of the key.
    std::vector<KeyVal> set = {{34, 50}, {2337, -1}, {0x01020304u, INT_MIN}, {0xFFFFFFFFu, INT_MAX}, {0, 0}};
    const std::string bytes = "\x22\0\0\0" "\x32\0\0\0" "\x21\x09\0\0" "\xFF\xFF\xFF\xFF"
                              "\x04\x03\x02\x01" "\0\0\0\x80" "\xFF\xFF\xFF\xFF" "\xFF\xFF\xFF\x7F"
                              "\0\0\0\0" "\0\0\0\0"s;
    std::string name = "/mnt/mtd/code/config_file/sensor1_0.cfg";
    writeFile(name, std::string(64, 'x'));  // a longer older file is replaced, not overlaid
    EXPECT_EQ(captureStdout([&] { EXPECT_EQ(keyValToFile(&name[0], set.data(), (u32)set.size()), 0); }), "");
    EXPECT_EQ(hex(readFile(name)), hex(bytes));

    std::vector<KeyVal> back(set.size(), KeyVal{7, 7});
    EXPECT_EQ(keyValFromFile(&name[0], back.data(), (u32)back.size()), 0);
    for (std::size_t i = 0; i < set.size(); ++i) {
        EXPECT_EQ(back[i].key, set[i].key) << i;
        EXPECT_EQ(back[i].value, set[i].value) << i;
    }

    // The version file is one 32-bit word in the same order.
    EXPECT_EQ(setVersion(0x00010203u), 0);
    EXPECT_EQ(hex(readFile(SENSOR_VERSION_FILE)), "03 02 01 00");
    u32 version = 0;
    EXPECT_EQ(getVersion(&version), 0);
    EXPECT_EQ(version, 0x00010203u);
}

}  // namespace

// File layer: parameter-set records on disk (the same bytes on every target: sensorctl moves them to a PC),
// whole-file reads, the version file and file faults.
#include <climits>

#include "ModuleTest.h"
#include "SensorFile.h"

using namespace testsupport;
using namespace std::string_literals;
using Pairs = std::vector<std::pair<u32, s32>>;

namespace {

const std::string kFile = "/mnt/mtd/code/config_file/sensor1_0.cfg", kVersion = SENSOR_VERSION_FILE;
const std::string kOpenWrite = "file.open(file_name, PLFile::modeWrite | PLFile::modeTruncate)";

std::string shortRead(int got)
{
    return failed("SensorFile.cpp fun:keyValFromFile", "nSize == sizeof(KeyVal)*p_nKeyValNum",
                  "file_name(" + kFile + ") nSize(" + std::to_string(got) + ") sizeof(KeyVal) = 8, p_nKeyValNum(3)\n");
}
std::string shortWrite(int got)
{
    return failed("SensorFile.cpp fun:keyValToFile", "nSize == sizeof(KeyVal)*p_nKeyValSum",
                  "nSize(" + std::to_string(got) + ") sizeof(KeyVal) = 8, p_nKeyValNum(3)\n");
}

class FilesTest : public ModuleTest {
protected:
    // The module takes writable names.
    std::string toFile(std::string name, std::vector<KeyVal> set = {{1, 10}, {2, -1}, {3, 0}})
    {
        return output([&] { EXPECT_EQ(keyValToFile(&name[0], set.data(), (u32)set.size()), 0); });
    }
    // Reads the file over `set`; returns the printed text and what the set then holds.
    std::pair<std::string, Pairs> fromFile(std::vector<KeyVal> set)
    {
        std::string name = kFile;
        const std::string out = output([&] { EXPECT_EQ(keyValFromFile(&name[0], set.data(), (u32)set.size()), 0); });
        Pairs pairs;
        for (const KeyVal& kv : set) pairs.emplace_back(kv.key, kv.value);
        return {out, pairs};
    }
};

TEST_F(FilesTest, RecordsAreLittleEndianKeyThenValueAndReadsKeepTheUnreadTail)
{
    // 0x01020304 shows the byte order; the extremes show the sign and the top bit of the key.
    const std::vector<KeyVal> set = {{34, 50}, {2337, -1}, {0x01020304u, INT_MIN}, {0xFFFFFFFFu, INT_MAX}};
    writeFile(kFile, std::string(64, 'x'));  // a longer older file is replaced, not overlaid
    EXPECT_EQ(toFile(kFile, set), "");
    EXPECT_EQ(hex(readFile(kFile)), "22 00 00 00 32 00 00 00 21 09 00 00 FF FF FF FF 04 03 02 01 00 00 00 80 "
                                    "FF FF FF FF FF FF FF 7F");
    EXPECT_EQ(fromFile(std::vector<KeyVal>(4, {7, 7})).second,
              (Pairs{{34, 50}, {2337, -1}, {0x01020304u, INT_MIN}, {0xFFFFFFFFu, INT_MAX}}));

    const std::string image = readFile(kFile).substr(0, 24);
    const struct { const char* name; std::string bytes; Pairs expected; std::string out; } rows[] = {
        {"longer", image + "\x07\0\0\0"s, {{34, 50}, {2337, -1}, {0x01020304u, INT_MIN}}, ""},
        {"two records", image.substr(0, 16), {{34, 50}, {2337, -1}, {7, 7}}, shortRead(16)},
        {"torn record", image.substr(0, 12), {{34, 50}, {2337, 7}, {7, 7}}, shortRead(12)},
        {"missing", "", Pairs(3, {7, 7}),
         failed("SensorFile.cpp fun:keyValFromFile", "file.open(file_name)", "file_name(" + kFile + ")\n") +
             shortRead(-1)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        row.bytes.empty() ? removeFile(kFile) : writeFile(kFile, row.bytes);
        EXPECT_EQ(fromFile(std::vector<KeyVal>(3, {7, 7})), std::make_pair(row.out, row.expected));
    }
}

TEST_F(FilesTest, MissingDirectoryRefusedOpensAndAFullDiskAreReportedNotFatal)
{
    const std::string noDir = "/mnt/mtd/nodir/s.cfg";
    EXPECT_EQ(toFile(noDir), failed("SensorFile.cpp fun:keyValToFile", kOpenWrite, "file_name(" + noDir + ")\n") +
                                 shortWrite(-1));
    EXPECT_FALSE(fileExists(noDir));
    // A write-protected file keeps its bytes.
    writeFile(kFile, "keep");
    hostsim::setOpenFault(kFile, hostsim::kFailWrite);
    EXPECT_EQ(toFile(kFile), failed("SensorFile.cpp fun:keyValToFile", kOpenWrite, "file_name(" + kFile + ")\n") +
                                 shortWrite(-1));
    EXPECT_EQ(readFile(kFile), "keep");
    hostsim::clearOpenFaults();

    // A flash too full for the whole file reports the short write and keeps the old file whole.
    hostsim::setDiskSpace(12);
    EXPECT_EQ(toFile(kFile), shortWrite(12));
    EXPECT_EQ(readFile(kFile), "keep");
    writeFile(kVersion, "\x07\0\0\0"s);
    EXPECT_EQ(output([&] { EXPECT_EQ(setVersion(8), -1); }),
              failed("SensorFile.cpp fun:saveToFile", "file_len == (nSize=file.write(data, file_len))", "file_len(4)\n"));
    EXPECT_EQ(hex(readFile(kVersion)), "07 00 00 00");
}

}  // namespace

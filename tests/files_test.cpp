// File layer: parameter-set records on disk, whole-file reads and writes, the version file and file faults.
#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "ModuleTest.h"
#include "SensorFile.h"
#include "hostsim.h"

using namespace testsupport;
using namespace std::string_literals;
using Pairs = std::vector<std::pair<u32, s32>>;

namespace {

const std::string kFile = "/mnt/mtd/code/config_file/sensor1_0.cfg", kVersion = SENSOR_VERSION_FILE;
const std::string kOpenWrite = "file.open(file_name, PLFile::modeWrite | PLFile::modeTruncate)";

// Console text of one failed check of the file layer.
std::string failed(const std::string& func, const std::string& cond, const std::string& detail)
{
    const std::string red = colorPrefix(31);
    return red + "[sensor assert] file:SensorFile.cpp fun:" + func + " line:#\n" + cond + "   ~~~Assertion failed.\n" +
           kColorEnd + red + detail + kColorEnd;
}
std::string shortRead(int got)
{
    return failed("keyValFromFile", "nSize == sizeof(KeyVal)*p_nKeyValNum",
                  "file_name(" + kFile + ") nSize(" + std::to_string(got) + ") sizeof(KeyVal) = 8, p_nKeyValNum(3)\n");
}
std::string shortWrite(int got)
{
    return failed("keyValToFile", "nSize == sizeof(KeyVal)*p_nKeyValSum",
                  "nSize(" + std::to_string(got) + ") sizeof(KeyVal) = 8, p_nKeyValNum(3)\n");
}

Pairs pairs(const std::vector<KeyVal>& set)
{
    Pairs out;
    for (const KeyVal& kv : set) out.emplace_back(kv.key, kv.value);
    return out;
}

class FilesTest : public ModuleTest {
protected:
    template <typename F>
    std::string output(F&& action) { return maskLineNumbers(captureStdout(action)); }
    // The module takes writable names.
    std::string toFile(std::string name, std::vector<KeyVal> set)
    {
        return output([&] { EXPECT_EQ(keyValToFile(&name[0], set.data(), (u32)set.size()), 0); });
    }
    std::string fromFile(std::vector<KeyVal>& set)
    {
        std::string name = kFile;
        return output([&] { EXPECT_EQ(keyValFromFile(&name[0], set.data(), (u32)set.size()), 0); });
    }
    const std::vector<KeyVal> set_ = {{1, 10}, {2, -1}, {3, 0}};
};

TEST_F(FilesTest, RecordsAreTheSetsLittleEndianImageAndReadsKeepTheUnreadTail)
{
    writeFile(kFile, std::string(40, 'x'));
    EXPECT_EQ(toFile(kFile, set_), "");
    const std::string image = readFile(kFile);
    EXPECT_EQ(hex(image), "01 00 00 00 0A 00 00 00 02 00 00 00 FF FF FF FF 03 00 00 00 00 00 00 00");
    const struct {
        std::string bytes;  // "missing": no file
        Pairs expected;
        std::string out;
    } cases[] = {
        {image, pairs(set_), ""},
        {image + "\x07\0\0\0"s, pairs(set_), ""},
        {image.substr(0, 16), {{1, 10}, {2, -1}, {7, 7}}, shortRead(16)},
        {image.substr(0, 12), {{1, 10}, {2, 7}, {7, 7}}, shortRead(12)},
        {"missing", Pairs(3, {7, 7}),
         failed("keyValFromFile", "file.open(file_name)", "file_name(" + kFile + ")\n") + shortRead(-1)},
    };
    for (const auto& c : cases) {
        c.bytes == "missing" ? removeFile(kFile) : writeFile(kFile, c.bytes);
        std::vector<KeyVal> buf(3, KeyVal{7, 7});
        EXPECT_EQ(fromFile(buf), c.out) << c.bytes.size();
        EXPECT_EQ(pairs(buf), c.expected) << c.bytes.size();
    }

    // Paths climbing past the top stay in the camera root; nothing lands on the real file system.
    EXPECT_EQ(toFile("/mnt/mtd/code/config_file/../../../../../escape.cfg", {{5, 6}}), "");
    EXPECT_EQ(hex(readFile("/escape.cfg")), "05 00 00 00 06 00 00 00");
    std::vector<std::string> all;
    for (const auto& e : std::filesystem::recursive_directory_iterator(rootDir()))
        if (e.is_regular_file()) all.push_back(std::filesystem::relative(e.path(), rootDir()).string());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, (std::vector<std::string>{"escape.cfg", "mnt/mtd/log/SensorError.log"}));
    EXPECT_FALSE(std::filesystem::exists("/escape.cfg"));
}

TEST_F(FilesTest, WholeFileReadsLengthsAndTheVersionFile)
{
    const std::string text = "/mnt/mtd/a.txt";
    writeFile(text, "hello");
    char buf[8] = "-------";
    EXPECT_EQ(loadFromFile(text.c_str(), buf, 5), 5);
    EXPECT_EQ(loadFromFile(text.c_str(), buf, 6), -1);
    EXPECT_EQ(output([&] { EXPECT_EQ(loadFromFile("/mnt/none", buf, 1), -1); }), "");
    EXPECT_EQ(std::string(buf), "hello--");
    EXPECT_EQ(getFileLen(text.c_str()), 5);
    EXPECT_EQ(output([&] { EXPECT_EQ(getFileLen("/mnt/none"), 0); }),
              failed("getFileLen", "file.open(file_name)", "file_name(/mnt/none)"));

    u32 version = 99;
    EXPECT_EQ(output([&] { EXPECT_EQ(getVersion(&version), -1); }), "");
    EXPECT_EQ(version, 99u);
    writeFile(kVersion, "old version file");
    EXPECT_EQ(output([&] { EXPECT_EQ(setVersion(7), 0); }), "");
    EXPECT_EQ(hex(readFile(kVersion)), "07 00 00 00");
    // Only the first word counts; a short file is no version, though its bytes land in the caller's word.
    for (const auto& c : {std::make_pair("\x07\0\0\0"s, 0), {"\x08\0\0\0\xFF"s, 0}, {"\x09\0\0"s, -1}}) {
        writeFile(kVersion, c.first);
        EXPECT_EQ(getVersion(&version), c.second);
        EXPECT_EQ(version, (u32)c.first[0]);
    }
}

TEST_F(FilesTest, MissingDirectoryRefusedOpensAndAFullDiskAreReportedNotFatal)
{
    const std::string noDir = "/mnt/mtd/nodir/s.cfg";
    EXPECT_EQ(toFile(noDir, set_), failed("keyValToFile", kOpenWrite, "file_name(" + noDir + ")\n") + shortWrite(-1));
    EXPECT_FALSE(fileExists(noDir));

    // A write-protected file keeps its bytes.
    writeFile(kFile, "keep");
    hostsim::setOpenFault(kFile, hostsim::kFailWrite);
    EXPECT_EQ(toFile(kFile, set_), failed("keyValToFile", kOpenWrite, "file_name(" + kFile + ")\n") + shortWrite(-1));
    EXPECT_EQ(readFile(kFile), "keep");
    hostsim::clearOpenFaults();

    // Space (or power) lost mid-write: the torn file, read over the factory set, yields factory values.
    hostsim::setDiskSpace(12);
    EXPECT_EQ(toFile(kFile, set_), shortWrite(12));
    EXPECT_EQ(hex(readFile(kFile)), "01 00 00 00 0A 00 00 00 02 00 00 00");
    std::vector<KeyVal> factory = {{1, 0}, {2, 50}, {3, 60}};
    EXPECT_EQ(fromFile(factory), shortRead(12));
    EXPECT_EQ(pairs(factory), (Pairs{{1, 10}, {2, 50}, {3, 60}}));

    // The refused write empties the version file: the next start sees no version.
    writeFile(kVersion, "\x07\0\0\0"s);
    EXPECT_EQ(output([&] { EXPECT_EQ(setVersion(8), -1); }),
              failed("saveToFile", "file_len == (nSize=file.write(data, file_len))", "file_len(4)\n"));
    EXPECT_EQ(readFile(kVersion), "");
}

}  // namespace

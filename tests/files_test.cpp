// File layer: parameter-set records on disk, whole-file reads and writes, the version file and file faults.
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
    std::string toFile(std::string name, std::vector<KeyVal> set = {{1, 10}, {2, -1}, {3, 0}})
    {
        return output([&] { EXPECT_EQ(keyValToFile(&name[0], set.data(), (u32)set.size()), 0); });
    }
    // Reads the file over `set`; returns the printed text and what the set then holds.
    std::pair<std::string, Pairs> fromFile(std::vector<KeyVal> set)
    {
        std::string name = kFile;
        const std::string out = output([&] { EXPECT_EQ(keyValFromFile(&name[0], set.data(), (u32)set.size()), 0); });
        return {out, pairs(set)};
    }
    const std::vector<KeyVal> set_ = {{1, 10}, {2, -1}, {3, 0}}, sevens_ = std::vector<KeyVal>(3, KeyVal{7, 7});
};

TEST_F(FilesTest, ReadsTakeWhatTheFileHoldsAndKeepTheUnreadTail)
{
    writeFile(kFile, std::string(40, 'x'));
    EXPECT_EQ(toFile(kFile), "");
    const std::string image = readFile(kFile);
    // The file's bytes ("missing": no file), what the set then holds, and what the read printed.
    const struct { std::string bytes; Pairs expected; std::string out; } cases[] = {
        {image, pairs(set_), ""},
        {image + "\x07\0\0\0"s, pairs(set_), ""},
        {image.substr(0, 16), {{1, 10}, {2, -1}, {7, 7}}, shortRead(16)},
        {image.substr(0, 12), {{1, 10}, {2, 7}, {7, 7}}, shortRead(12)},
        {"missing", Pairs(3, {7, 7}),
         failed("keyValFromFile", "file.open(file_name)", "file_name(" + kFile + ")\n") + shortRead(-1)},
    };
    for (const auto& c : cases) {
        c.bytes == "missing" ? removeFile(kFile) : writeFile(kFile, c.bytes);
        EXPECT_EQ(fromFile(sevens_), std::make_pair(c.out, c.expected)) << c.bytes.size();
    }
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
    for (const auto& c : {std::make_pair("\x08\0\0\0\xFF"s, 0), {"\x09\0\0"s, -1}}) {
        writeFile(kVersion, c.first);
        EXPECT_EQ(getVersion(&version), c.second);
        EXPECT_EQ(version, (u32)c.first[0]);
    }
}

TEST_F(FilesTest, MissingDirectoryRefusedOpensAndAFullDiskAreReportedNotFatal)
{
    const std::string noDir = "/mnt/mtd/nodir/s.cfg";
    EXPECT_EQ(toFile(noDir), failed("keyValToFile", kOpenWrite, "file_name(" + noDir + ")\n") + shortWrite(-1));
    EXPECT_FALSE(fileExists(noDir));
    // A write-protected file keeps its bytes.
    writeFile(kFile, "keep");
    hostsim::setOpenFault(kFile, hostsim::kFailWrite);
    EXPECT_EQ(toFile(kFile), failed("keyValToFile", kOpenWrite, "file_name(" + kFile + ")\n") + shortWrite(-1));
    EXPECT_EQ(readFile(kFile), "keep");
    hostsim::clearOpenFaults();

    // A flash too full for the whole file reports the short write and keeps the old file whole.
    hostsim::setDiskSpace(12);
    EXPECT_EQ(toFile(kFile), shortWrite(12));
    EXPECT_EQ(readFile(kFile), "keep");
    writeFile(kVersion, "\x07\0\0\0"s);
    EXPECT_EQ(output([&] { EXPECT_EQ(setVersion(8), -1); }),
              failed("saveToFile", "file_len == (nSize=file.write(data, file_len))", "file_len(4)\n"));
    EXPECT_EQ(hex(readFile(kVersion)), "07 00 00 00");
}

}  // namespace

// Saving the scheme in force, going back to its file, and re-sending single keys after lens and iris moves.
#include "ModuleTest.h"

using namespace testsupport;
using Set = std::vector<std::pair<u32, s32>>;

namespace {

const std::string kDir = "/mnt/mtd/code/config_file/", kFile0 = kDir + "sensor1_0.cfg";
// Scheme mode, period 08:00 to 18:00, keys sent to the library (17 only outside blocking phases), the mirror.
const Set kSet = {{8000, 0}, {8001, 8}, {8002, 0}, {8003, 18}, {8004, 0},
                  {34, 50},  {16, 0},   {1536, 1}, {17, 0},    {2384, 0}};

// The file image of a set: its records' memory, as the file format pins it.
std::string bytes(const Set& set)
{
    std::vector<KeyVal> records;
    for (const auto& kv : set) records.push_back({kv.first, kv.second});
    return std::string(reinterpret_cast<const char*>(records.data()), records.size() * sizeof(KeyVal));
}
Set with(Set set, u32 key, s32 value)
{
    for (auto& kv : set) kv.second = kv.first == key ? value : kv.second;
    return set;
}

class RestoreTest : public BareControllerTest {
protected:
    void SetUp() override
    {
        BareControllerTest::SetUp();
        writeFile(kDir + "keep", "");
        std::vector<KeyVal> set;
        for (const auto& kv : kSet) set.push_back(KeyVal{kv.first, kv.second});
        install(std::vector<std::vector<KeyVal>>(3, set));
        Peer::lastScheme(*ctl_) = 0;
    }
    // The in-memory set of a scheme, as its file would hold it.
    std::string image(u32 scheme) { return std::string((const char*)Peer::userKeyVal(*ctl_)[scheme], kSet.size() * 8); }
    void put(u32 scheme, u32 key, s32 val) { ctl_->setKeyValToCache(scheme, key, (u32)val, true); }
    bool reset()
    {
        bool ok = false;
        out_ = output([&] { ok = ctl_->resetToLastParameters(); });
        return ok;
    }

    std::string out_;
};

TEST_F(RestoreTest, FlushWritesTheSchemeInForceOnlyWithAValidSchedule)
{
    // Start hour and minute, end hour and minute (entries 1 to 4), and the answer.
    const struct { s32 time[4]; int result; } cases[] = {
        {{8, 0, 18, 0}, 0}, {{18, 0, 8, 0}, 507}, {{9, 0, 24, 1}, 506}};
    for (const auto& c : cases) {
        writeFile(kFile0, "old");
        Set expected = kSet;
        for (u32 i = 0; i < 4; ++i) put(0, 8001 + i, expected[1 + i].second = c.time[i]);
        EXPECT_EQ(ctl_->flush(), c.result) << c.time[0];
        EXPECT_EQ(readFile(kFile0), c.result == 0 ? bytes(expected) : "old") << c.time[0];
    }
    // The factory set has no file: neither saved nor read back.
    removeFile(kFile0);
    Peer::curScheme(*ctl_) = 2;
    EXPECT_EQ(ctl_->flush(), 0);
    EXPECT_TRUE(reset());
    EXPECT_EQ(out_, "");
    Peer::curScheme(*ctl_) = 1;
    Peer::cameraId(*ctl_) = 2;
    EXPECT_EQ(ctl_->flush(), 0);
    Peer::thermal(*ctl_) = true;
    EXPECT_EQ(ctl_->flush(), 0);
    EXPECT_EQ(listDir(kDir), (Strings{"keep", "sensor-thermal1.cfg", "sensor2_1.cfg"}));
    EXPECT_EQ(readFile(kDir + "sensor-thermal1.cfg"), bytes(kSet));
    EXPECT_TRUE(take().empty());
}

TEST_F(RestoreTest, ResetToLastParametersSendsOnlyWhatDiffersFromTheFile)
{
    const Set saved = with(with(kSet, 34, 40), 17, 1);
    writeFile(kFile0, bytes(saved));
    captureStdout([&] { ctl_->setParameter(34, 70, true), ctl_->setParameter(16, 1, true); });
    take();
    // Key 17 is refused while the reset runs, and counts as applied.
    EXPECT_TRUE(reset());
    EXPECT_EQ(out_, "\n");
    EXPECT_EQ(take(), (Strings{ia(34, 40), ia(16, 0)}));
    EXPECT_EQ(image(0), bytes(saved));

    // A torn file: only what was read goes out, the rest of the set in force stays.
    put(0, 34, 70);
    put(0, 16, 1);
    writeFile(kFile0, bytes(with(kSet, 34, 45)).substr(0, 48));
    EXPECT_TRUE(reset());
    EXPECT_EQ(out_, failed("SensorFile.cpp fun:keyValFromFile", "nSize == sizeof(KeyVal)*p_nKeyValNum",
                           "file_name(" + kFile0 + ") nSize(48) sizeof(KeyVal) = 8, p_nKeyValNum(10)\n") + "\n");
    EXPECT_EQ(take(), (Strings{ia(34, 45)}));
    EXPECT_EQ(image(0), bytes(with(with(saved, 34, 45), 16, 1)));
    removeFile(kFile0);
    EXPECT_TRUE(reset());
    EXPECT_TRUE(take().empty());

    writeFile(kFile0, bytes(kSet));
    failIsp(34);
    EXPECT_FALSE(reset());
    EXPECT_EQ(take(), (Strings{ia(34, 50, 0, -1)}));
    EXPECT_EQ(Peer::flags(*ctl_), 0u);
}

TEST_F(RestoreTest, RestoreResendsTheValueOfTheSchemeInForceWithoutRecording)
{
    captureStdout([&] { ctl_->setParameter(34, 70, false); });
    take();
    EXPECT_EQ(ctl_->restore(34), 0);
    EXPECT_EQ(image(0), bytes(kSet));
    put(2, 34, 55);
    Peer::curScheme(*ctl_) = 2;
    EXPECT_EQ(ctl_->restore(34), 0);
    EXPECT_EQ(take(), (Strings{ia(34, 50), ia(34, 55)}));
    int result = 0;
    EXPECT_EQ(output([&] { result = ctl_->restore(777); }),
              failed("ISensorController_restore.cpp fun:restore", "-1 != nPos",
                     "restore key(777) failed! make sure it is sensor ui key \n"));
    EXPECT_EQ(result, -1);
    failIsp(34);
    EXPECT_EQ(ctl_->restore(34), -34);
    EXPECT_EQ(take(), (Strings{ia(34, 55, 0, -1)}));
    EXPECT_EQ(image(2), bytes(with(kSet, 34, 55)));
    hostsim::SimIsp::instance().clearFaults();

    // The exposure mode follows the focus mode on a lens; the thermal channel has no exposure mode.
    const struct { bool lens, thermal, focusFails; Strings sent; } cases[] = {
        {false, false, false, {ia(16, 0)}}, {true, false, false, {ia(1536, 1), ia(16, 0)}},
        {true, true, false, {ia(1536, 1)}}, {false, true, false, {}}, {true, false, true, {ia(1536, 1, 0, -1)}}};
    Peer::curScheme(*ctl_) = 0;
    for (const auto& c : cases) {
        Peer::hasLens(*ctl_) = c.lens;
        Peer::thermal(*ctl_) = c.thermal;
        if (c.focusFails) failIsp(1536);
        EXPECT_EQ(ctl_->restoreAeMode(), !c.focusFails) << c.lens << c.thermal;
        EXPECT_EQ(take(), c.sent) << c.lens << c.thermal;
    }
}

}  // namespace

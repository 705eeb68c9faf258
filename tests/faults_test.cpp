// The channel facing a failing library, a refusing video module and a failing flash: every operation
// answers, reports what failed and leaves the parameter sets, and what the user saved, whole. (A start
// over every library call failing in turn also covers a switch stopped by a refused value.)
#include "CameraTest.h"

namespace {

using namespace testsupport;

const char *const kScheme0 = "/mnt/mtd/code/config_file/sensor1_0.cfg",
                  *const kScheme1 = "/mnt/mtd/code/config_file/sensor1_1.cfg",
                  *const kVersion = "/mnt/mtd/code/config_file/snsversion.cfg";

class FaultTest : public CameraTest {
protected:
    void SetUp() override
    {
        CameraTest::SetUp();
        install("bullet");
        hostsim::setThreadsHeld(true);  // no pass of the sensor thread runs between the steps
        start(1);                       // the first start writes the scheme files
        take();
        isp().clearCalls();
        styleBytes_ = static_cast<std::int64_t>(readFile("/tmp/merge_style_ch1.xml").size());
    }
    static hostsim::SimIsp& isp() { return hostsim::SimIsp::instance(); }
    // Every set of the channel, user schemes and factory set, as bytes.
    static std::string sets(ISensorController& c)
    {
        return std::string(reinterpret_cast<const char*>(Peer::userKeyVal(c)[0]),
                           (Peer::sysConf(c).nSchemeSum + 1u) * Peer::keyValSum(c) * sizeof(KeyVal));
    }
    // Disk space beyond the merged style that every start writes again; -1: no limit.
    void flashLeft(std::int64_t bytes) { hostsim::setDiskSpace(bytes < 0 ? -1 : styleBytes_ + bytes); }
    std::int64_t styleBytes_ = 0;
};

TEST_F(FaultTest, AnyOneLibraryCallFailingDuringAStartLeavesAWorkingChannel)
{
    auto reference = start(1);
    const std::vector<hostsim::IspCall> calls = isp().calls();
    const std::string referenceSets = sets(*reference), file = readFile(kScheme0);
    take();
    ASSERT_EQ(reference->switch_to(0, true), 0);
    const Strings forced = traced("ia ");
    ASSERT_EQ(forced.size(), 71u);
    reference.reset();
    // The beaway handler resends the mirror (2384) without checking it.
    std::size_t mirrorResend = 1;
    while (mirrorResend < calls.size() && !(calls[mirrorResend].cmd == 2384 && calls[mirrorResend - 1].cmd == 2384)) {
        ++mirrorResend;
    }
    for (std::size_t n = 1; n <= calls.size(); ++n) {
        SCOPED_TRACE("failing call " + std::to_string(n));
        const hostsim::IspCall& failing = calls[n - 1];
        isp().failNthCall(static_cast<int>(n));
        Started c;
        const std::string out = captureStdout([&] { c = start(1); });
        EXPECT_TRUE(c->getSensorStatus());
        EXPECT_EQ(Peer::curScheme(*c).load(), 0);
        ASSERT_EQ(Peer::keyValSum(*c), 79u);
        EXPECT_EQ(readFile(kScheme0), file);
        if (failing.option == IA_CMD_OPT_SET) {
            // A refused value stops the switch; what the channel holds is untouched.
            EXPECT_TRUE(sets(*c) == referenceSets);
            if (n != mirrorResend + 1) {
                EXPECT_NE(out.find("~~~Assertion failed."), std::string::npos) << out;
            }
        } else if (failing.cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET || failing.option == IA_CMD_OPT_GET_PARAM_RNAGE) {
            EXPECT_NE(out.find("fun:getDnaStyle"), std::string::npos) << out;
        }
        take();
        EXPECT_EQ(c->switch_to(0, true), 0);
        EXPECT_EQ(traced("ia "), forced);
    }
}

// What the user saved and the module can still read is theirs: a start over an unreadable, short or longer
// scheme file (or none, on flash that refuses it) takes factory values only where the file gives none,
// writes nothing back, and a later flush of another scheme leaves that file as it was.
TEST_F(FaultTest, ASchemeFileThatCannotBeReadWholeKeepsWhatItHolds)
{
    const std::string factory = readFile(kScheme0), longer = std::string(40, '\x7f');
    std::string user = factory;
    reinterpret_cast<KeyVal*>(&user[0])[5].value = 70;   // brightness
    reinterpret_cast<KeyVal*>(&user[0])[78].value += 1;  // the last entry
    const struct {
        const char* name;
        std::string bytes;  // the scheme file before the start; empty: none
        int openFault;
        std::int64_t flash;
        std::string inMemory, onFlash;  // scheme 0 after the start; its file then and after a flush of scheme 1
        const char* report;
    } rows[] = {
        {"unreadable", user, hostsim::kFailRead, -1, factory, user, "file.open(file_name)   ~~~Assertion failed."},
        {"short", user.substr(0, 83), 0, -1, user.substr(0, 80) + factory.substr(80), user.substr(0, 83),
         "nSize(83) sizeof(KeyVal) = 8, p_nKeyValNum(79)"},
        {"longer", user + longer, 0, -1, user, user + longer, ""},
        {"unwritable on the first start", "", hostsim::kFailWrite, -1, factory, "",
         "file.open(file_name, PLFile::modeWrite | PLFile::modeTruncate)   ~~~Assertion failed."},
        {"full on the first start", "", 0, 100, factory, "",
         "nSize(100) sizeof(KeyVal) = 8, p_nKeyValNum(79)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        row.bytes.empty() ? removeFile(kScheme0) : writeFile(kScheme0, row.bytes);
        hostsim::setOpenFault(kScheme0, row.openFault);
        flashLeft(row.flash);
        Started c;
        const std::string out = captureStdout([&] { c = start(1); });
        hostsim::clearOpenFaults();
        flashLeft(-1);
        EXPECT_EQ(out.find("~~~Assertion failed.") != std::string::npos, *row.report != '\0') << out;
        EXPECT_NE(out.find(row.report), std::string::npos) << out;
        EXPECT_EQ(raw(Peer::set(*c, 0)), row.inMemory);
        EXPECT_EQ(readFile(kScheme0), row.onFlash);
        ASSERT_TRUE(c->setParamScheme(1));
        EXPECT_EQ(c->setParameter(34, 61, true) + c->flush(), 0);
        EXPECT_EQ(readFile(kScheme0), row.onFlash);
        EXPECT_EQ(raw(Peer::set(*c, 0)), row.inMemory);
        EXPECT_EQ(schemeFile(kScheme1)[5].value, 61);
    }
}

// Every start writes the version file. When that fails (refused, or a flash too full for it) the old version
// file stays whole, so the next start keeps every scheme the user saved.
TEST_F(FaultTest, AFailedVersionWriteKeepsEverySavedSchemeOnTheNextStart)
{
    const struct { const char* name; int openFault; std::int64_t flash; } rows[] = {
        {"open refused", hostsim::kFailWrite, -1}, {"flash full", 0, 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        {
            auto c = start(1);
            ASSERT_EQ(c->setParameter(34, 70, true) + c->flush(), 0);
            ASSERT_TRUE(c->setParamScheme(1));
            ASSERT_EQ(c->setParameter(34, 61, true) + c->flush(), 0);
        }
        hostsim::setOpenFault(kVersion, row.openFault);
        flashLeft(row.flash);
        captureStdout([&] { start(1); });
        hostsim::clearOpenFaults();
        flashLeft(-1);
        EXPECT_EQ(hex(readFile(kVersion)), "08 00 00 00");
        Started c;
        captureStdout([&] { c = start(1); });
        int brightness = -1;
        u32 night = 0;
        EXPECT_TRUE(c->getParameter(34, brightness) && c->getKeyValFromCache(1, 34, night) != -1);
        EXPECT_EQ(std::make_pair(brightness, (s32)night), std::make_pair(70, 61));
        EXPECT_EQ(schemeFile(kScheme1)[5].value, 61);
    }
}

TEST_F(FaultTest, UiStyleWaitsForABusyVideoModuleAtMostThirtyPollsAndTheTextTableIsEmpty)
{
    auto c = start(1);
    const std::string style = c->getUIStyleFile();
    ASSERT_NE(style.find("id=\"8000\""), std::string::npos);
    // Busy for the next 3 polls, or for ever: 4 or 30 polls, with a wait of 50 ms after each busy one.
    for (const auto& [busy, polls, waits] : {std::tuple<int, int, std::size_t>{3, 4, 3}, {-1, 30, 30}}) {
        hostsim::clearSleeps();
        video_.setBusy(busy);
        const int pollsBefore = video_.busyPolls();
        EXPECT_EQ(c->getUIStyleFile(), style);
        EXPECT_EQ(video_.busyPolls() - pollsBefore, polls);
        EXPECT_EQ(hostsim::sleeps().size(), waits);
        EXPECT_EQ(hostsim::sleeps().back().microseconds, 50000);
    }
    video_.setBusy(0);
    EXPECT_EQ(c->getUICommonFile(1) + c->getUILanguageFile(7), "");
}

}  // namespace

// The channel facing a failing library, a refusing video module and a failing flash: every operation
// answers, reports what failed and leaves the parameter sets, and what the user saved, whole.
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
            if (n != mirrorResend + 1) EXPECT_NE(out.find("~~~Assertion failed."), std::string::npos) << out;
        } else if (failing.cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET || failing.option == IA_CMD_OPT_GET_PARAM_RNAGE) {
            EXPECT_NE(out.find("fun:getDnaStyle"), std::string::npos) << out;
        }
        take();
        EXPECT_EQ(c->switch_to(0, true), 0);
        EXPECT_EQ(traced("ia "), forced);
    }
}

TEST_F(FaultTest, AnyOneLibraryCallFailingDuringASwitchIsReportedAndAForcedSwitchRecovers)
{
    auto c = start(1);
    // Scheme 1 differs from scheme 0 in ten library values.
    const std::vector<u32> keys = {34, 2337, 2353, 2321, 49, 50, 65, 66, 82, 83};
    for (u32 key : keys) {
        u32 value = 0;
        ASSERT_NE(c->getKeyValFromCache(1, key, value), -1) << key;
        c->setKeyValToCache(1, key, value + 1, true);
    }
    const std::string before = sets(*c);
    for (std::size_t n = 1; n <= keys.size(); ++n) {
        SCOPED_TRACE("failing call " + std::to_string(n));
        ASSERT_EQ(c->switch_to(0), 0);
        isp().clearCalls();
        isp().failNthCall(static_cast<int>(n));
        const std::string out = captureStdout([&] { EXPECT_EQ(c->switch_to(1), 0); });
        // The walk stops at the refused value; the scheme is in force all the same.
        EXPECT_EQ(isp().callCount(), n);
        EXPECT_NE(out.find("setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, true)   ~~~Assertion failed.\n"
                           "\033[0m\033[0m\033[31mm_nCurScheme(1) m_nKeyValSum(79)"),
                  std::string::npos) << out;
        EXPECT_EQ(Peer::curScheme(*c).load(), 1);
        EXPECT_TRUE(sets(*c) == before);
        // Switching again finds nothing changed; a forced switch sends the whole set.
        isp().clearCalls();
        EXPECT_EQ(c->switch_to(1) + c->switch_to(1, true), 0);
        EXPECT_EQ(isp().callCount(), 71u);
    }
}

TEST_F(FaultTest, EveryCommandFailingAndTheVideoModuleRefusing)
{
    auto c = start(1);
    const std::string before = sets(*c), file = readFile(kScheme0);
    isp().addFault(hostsim::IspFault{});
    video_.setNotifyResult(-1);
    int value = -7, def = -7, position = -7, ratio = -7;
    bool heat = false;
    std::string all, range, version, style;
    std::vector<int> results;
    captureStdout([&] {
        results = {c->getParameter(34, value),        c->setParameter(34, 60, true),
                   c->setParameter(2370, 1, true),    c->switch_to(1),  // 2370: a video-side key
                   c->getAllParameters(all),          c->getSensorParamRange(34, def, range),
                   c->getZoomValue(position, ratio),  c->getCameraVerInf(version),
                   c->getHeatStatus(heat),            c->flush(),
                   c->resetToLastParameters()};
        style = c->getUIStyleFile();
    });
    // A value the scheme holds is answered from it; a refused one is returned as its key, negated.
    EXPECT_EQ(results, (std::vector<int>{true, -34, -2370, 0, true, false, false, false, false, 0, true}));
    EXPECT_EQ(std::make_tuple(value, def, range, heat, style.empty()), std::make_tuple(50, -7, "", false, false));
    // Nothing was applied, so nothing was recorded or saved.
    EXPECT_TRUE(sets(*c) == before);
    EXPECT_EQ(readFile(kScheme0), file);
    // A factory reset with everything failing still ends with whole sets: the same keys, the style's own
    // defaults where the library gave none.
    const std::vector<u32> keys = Peer::keys(*c, 4);
    captureStdout([&] { EXPECT_TRUE(c->resetParameters()); });
    EXPECT_TRUE(c->getSensorStatus());
    for (u32 s = 0; s <= 4; ++s) EXPECT_EQ(Peer::keys(*c, s), keys) << s;
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
        {"full on the first start", "", 0, 100, factory, factory.substr(0, 100),
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

// Every start writes the version file. When that fails the parameter files stay, and the next start goes by
// what the version file then says: one that kept its version keeps every scheme; one a full flash emptied is
// no version, and every scheme goes back to the factory set.
TEST_F(FaultTest, AFailedVersionWriteDecidesWhatTheNextStartKeeps)
{
    const struct { const char* name; int openFault; std::int64_t flash; s32 scheme0, scheme1; } rows[] = {
        {"open refused", hostsim::kFailWrite, -1, 70, 61}, {"flash full", 0, 0, 50, 50}};
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
        EXPECT_EQ(hex(readFile(kVersion)), row.flash < 0 ? "08 00 00 00" : "");
        Started c;
        captureStdout([&] { c = start(1); });
        int brightness = -1;
        u32 night = 0;
        EXPECT_TRUE(c->getParameter(34, brightness) && c->getKeyValFromCache(1, 34, night) != -1);
        EXPECT_EQ(std::make_pair(brightness, (s32)night), std::make_pair(row.scheme0, row.scheme1));
        EXPECT_EQ(schemeFile(kScheme1)[5].value, row.scheme1);
    }
}

TEST_F(FaultTest, AFlashTooFullForTheMergedStyleLeavesAChannelWithoutParametersThatStillAnswers)
{
    removeFile("/tmp/merge_style_ch1.xml");
    hostsim::setDiskSpace(0);
    Started c;
    const std::string out = captureStdout([&] { c = start(1); });
    hostsim::setDiskSpace(-1);
    EXPECT_NE(out.find("objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)   ~~~Assertion failed."),
              std::string::npos);
    EXPECT_TRUE(c->getSensorStatus());
    EXPECT_EQ(Peer::keyValSum(*c), 0u);
    int value = -7, def = -7;
    std::string all, range;
    std::vector<int> results;
    captureStdout([&] {
        results = {c->getParameter(34, value), c->setParameter(34, 60, true), c->switch_to(1, true),
                   c->setParamScheme(1), c->getAllParameters(all), c->getSensorParamRange(34, def, range),
                   c->flush(), c->resetParameters()};
    });
    // Keys go straight to the library; a set without a schedule cannot be saved.
    EXPECT_EQ(results, (std::vector<int>{true, 0, 0, true, true, false, SENSOR_ERR_START_NOT_BEFORE_END, true}));
    EXPECT_EQ(value, 50);
    EXPECT_EQ(Peer::keyValSum(*c), 79u);  // the reset merged the style again
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
        ASSERT_EQ(hostsim::sleeps().size(), waits);
        EXPECT_EQ(hostsim::sleeps()[0].seconds * 1000000 + hostsim::sleeps()[0].microseconds, 50000);
    }
    video_.setBusy(0);
    EXPECT_EQ(c->getUICommonFile(1) + c->getUILanguageFile(7), "");
}

}  // namespace

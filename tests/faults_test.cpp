// The channel facing a failing library, a refusing video module and a failing
// flash: every operation answers, reports what failed and leaves the parameter
// sets whole, with the values they had.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "CameraTest.h"
#include "ControllerPeer.h"

namespace {

using Peer = ISensorControllerTestPeer;
using testsupport::readFile;

const char* const kScheme0 = "/mnt/mtd/code/config_file/sensor1_0.cfg";
const char* const kSwitchReport = "setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, true)";

class FaultTest : public testsupport::CameraTest {
protected:
    void SetUp() override
    {
        CameraTest::SetUp();
        install("bullet");
        hostsim::setThreadsHeld(true);  // no pass of the sensor thread runs between the steps
        start(1);                       // the first start writes the scheme files
        hostsim::clearTrace();
        isp().clearCalls();
    }
    void TearDown() override
    {
        hostsim::setThreadsHeld(false);
        CameraTest::TearDown();
    }
    static hostsim::SimIsp& isp() { return hostsim::SimIsp::instance(); }
    // Every set of the channel, user schemes and factory set, as bytes.
    static std::string sets(ISensorController& c)
    {
        const std::size_t count = Peer::sysConf(c).nSchemeSum + 1u;
        return std::string(reinterpret_cast<const char*>(Peer::userKeyVal(c)[0]),
                           count * Peer::keyValSum(c) * sizeof(KeyVal));
    }
    static std::vector<u32> keys(ISensorController& c)
    {
        std::vector<u32> out;
        const KeyVal* all = Peer::userKeyVal(c)[0];
        for (std::size_t i = 0; i < (Peer::sysConf(c).nSchemeSum + 1u) * Peer::keyValSum(c); ++i) {
            out.push_back(all[i].key);
        }
        return out;
    }
    static std::vector<std::string> ispTrace() { return traced("ia "); }
};

TEST_F(FaultTest, AnyOneLibraryCallFailingDuringAStartLeavesAWorkingChannel)
{
    auto reference = start(1);
    const std::vector<hostsim::IspCall> calls = isp().calls();
    const std::string referenceSets = sets(*reference);
    const std::string file = readFile(kScheme0);
    hostsim::clearTrace();
    ASSERT_EQ(reference->switch_to(0, true), 0);
    const std::vector<std::string> forced = ispTrace();
    ASSERT_EQ(forced.size(), 71u);
    reference.reset();
    ASSERT_GT(calls.size(), forced.size());

    // The beaway handler resends the mirror (2384) without checking it.
    std::size_t mirrorResend = 1;
    while (mirrorResend < calls.size() && !(calls[mirrorResend].cmd == 2384 && calls[mirrorResend - 1].cmd == 2384)) {
        ++mirrorResend;
    }
    ++mirrorResend;

    for (std::size_t n = 1; n <= calls.size(); ++n) {
        SCOPED_TRACE("failing call " + std::to_string(n));
        const hostsim::IspCall& failing = calls[n - 1];
        isp().clearCalls();
        isp().failNthCall(static_cast<int>(n));
        testsupport::Started c;
        const std::string out = captureStdout([&] { c = start(1); });
        EXPECT_TRUE(c->getSensorStatus());
        EXPECT_EQ(Peer::curScheme(*c).load(), 0);
        ASSERT_EQ(Peer::keyValSum(*c), 79u);
        EXPECT_EQ(readFile(kScheme0), file);
        if (failing.option == IA_CMD_OPT_SET) {
            // A refused value stops the switch; what the channel holds is untouched.
            EXPECT_TRUE(sets(*c) == referenceSets);
            if (n != mirrorResend) {
                EXPECT_NE(out.find("~~~Assertion failed."), std::string::npos) << out;
            }
        } else if (failing.cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET || failing.option == IA_CMD_OPT_GET_PARAM_RNAGE) {
            EXPECT_NE(out.find("fun:getDnaStyle"), std::string::npos) << out;
        }
        hostsim::clearTrace();
        EXPECT_EQ(c->switch_to(0, true), 0);
        EXPECT_EQ(ispTrace(), forced);
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
        EXPECT_NE(out.find(kSwitchReport), std::string::npos);
        EXPECT_NE(out.find("m_nCurScheme(1) m_nKeyValSum(79)"), std::string::npos) << out;
        EXPECT_EQ(Peer::curScheme(*c).load(), 1);
        EXPECT_TRUE(sets(*c) == before);
        // Switching again finds nothing changed; a forced switch sends the whole set.
        isp().clearCalls();
        EXPECT_EQ(c->switch_to(1), 0);
        EXPECT_EQ(isp().callCount(), 0u);
        EXPECT_EQ(c->switch_to(1, true), 0);
        EXPECT_EQ(isp().callCount(), 71u);
    }
}

TEST_F(FaultTest, EveryCommandFailingAndTheVideoModuleRefusing)
{
    auto c = start(1);
    const std::string before = sets(*c);
    const std::vector<u32> keysBefore = keys(*c);
    const std::string file = readFile(kScheme0);
    isp().addFault(hostsim::IspFault{});
    video_.setNotifyResult(-1);

    int value = -7, def = -7, position = -7, ratio = -7;
    bool heat = false;
    std::string all, range, version, style;
    std::vector<int> results;
    captureStdout([&] {
        results = {c->getParameter(34, value),
                   c->setParameter(34, 60, true),
                   c->setParameter(2370, 1, true),  // a video-side key
                   c->switch_to(1),
                   c->getAllParameters(all),
                   c->getSensorParamRange(34, def, range),
                   c->getZoomValue(position, ratio),
                   c->getCameraVerInf(version),
                   c->getHeatStatus(heat),
                   c->flush(),
                   c->resetToLastParameters()};
        style = c->getUIStyleFile();
    });
    // A value the scheme holds is answered from it; a refused one is returned
    // as its key, negated.
    EXPECT_EQ(results, (std::vector<int>{true, -34, -2370, 0, true, false, false, false, false, 0, true}));
    EXPECT_EQ(value, 50);
    EXPECT_EQ(def, -7);
    EXPECT_EQ(range, "");
    EXPECT_FALSE(heat);
    EXPECT_NE(style.find("<"), std::string::npos);
    // Nothing was applied, so nothing was recorded or saved.
    EXPECT_TRUE(sets(*c) == before);
    EXPECT_EQ(readFile(kScheme0), file);

    // A factory reset with everything failing still ends with whole sets: the
    // same keys, the style's own defaults where the library gave none.
    captureStdout([&] { EXPECT_TRUE(c->resetParameters()); });
    EXPECT_TRUE(c->getSensorStatus());
    ASSERT_EQ(Peer::keyValSum(*c), 79u);
    EXPECT_EQ(keys(*c), keysBefore);
}

TEST_F(FaultTest, UnreadableShortLongAndUnwritableSchemeFiles)
{
    const std::string file = readFile(kScheme0);
    std::string factory;
    {
        auto c = start(1);
        factory = sets(*c);
    }
    struct Case {
        const char* name;
        std::string bytes;  // the scheme file before the start; empty: left as it is
        int openFault;
        std::int64_t disk;  // bytes the flash takes beyond the merged style; -1: no limit
        const char* report;  // what the start reports; empty: nothing
    };
    const std::int64_t styleBytes = static_cast<std::int64_t>(readFile("/tmp/merge_style_ch1.xml").size());
    const std::string longer = file + std::string(5 * sizeof(KeyVal), '\x7f');
    const std::vector<Case> cases = {
        {"unreadable", "", hostsim::kFailRead, -1, "file.open(file_name)   ~~~Assertion failed."},
        {"short", file.substr(0, 10 * sizeof(KeyVal) + 3), 0, -1, "nSize(83) sizeof(KeyVal) = 8, p_nKeyValNum(79)"},
        {"longer", longer, 0, -1, ""},  // the records past the set are not read
        {"unwritable on the first start", "-", hostsim::kFailWrite, -1,
         "file.open(file_name, PLFile::modeWrite | PLFile::modeTruncate)   ~~~Assertion failed."},
        {"full disk on the first start", "-", 0, 100, "nSize(100) sizeof(KeyVal) = 8, p_nKeyValNum(79)"},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        if (k.bytes == "-") {
            std::remove(hostsim::mapPath(kScheme0).c_str());
        } else if (!k.bytes.empty()) {
            testsupport::writeFile(kScheme0, k.bytes);
        }
        hostsim::setOpenFault(kScheme0, k.openFault);
        hostsim::setDiskSpace(k.disk < 0 ? -1 : styleBytes + k.disk);
        testsupport::Started c;
        std::string out = captureStdout([&] { c = start(1); });
        EXPECT_TRUE(c->getSensorStatus());
        ASSERT_EQ(Peer::keyValSum(*c), 79u);
        EXPECT_TRUE(sets(*c) == factory);
        if (*k.report == '\0') {
            EXPECT_EQ(out.find("~~~Assertion failed."), std::string::npos) << out;
        } else {
            EXPECT_NE(out.find(k.report), std::string::npos) << out;
        }
        hostsim::clearOpenFaults();
        hostsim::setDiskSpace(-1);
        c.reset();
        testsupport::writeFile(kScheme0, file);
    }
}

TEST_F(FaultTest, AFlashTooFullForTheMergedStyleLeavesAChannelWithoutParametersThatStillAnswers)
{
    std::remove(hostsim::mapPath("/tmp/merge_style_ch1.xml").c_str());
    hostsim::setDiskSpace(0);
    testsupport::Started c;
    const std::string out = captureStdout([&] { c = start(1); });
    EXPECT_NE(out.find("objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8)   ~~~Assertion failed."),
              std::string::npos);
    EXPECT_TRUE(c->getSensorStatus());
    EXPECT_EQ(Peer::keyValSum(*c), 0u);
    hostsim::setDiskSpace(-1);

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
    for (const auto& busy : std::vector<std::pair<int, std::size_t>>{{3, 3}, {-1, 30}}) {
        hostsim::clearSleeps();
        video_.setBusy(busy.first);
        const int pollsBefore = video_.busyPolls();
        EXPECT_EQ(c->getUIStyleFile(), style);
        EXPECT_EQ(video_.busyPolls() - pollsBefore, static_cast<int>(std::min<std::size_t>(busy.second + 1, 30)));
        const std::vector<hostsim::SleepRecord> sleeps = hostsim::sleeps();
        ASSERT_EQ(sleeps.size(), busy.second);
        EXPECT_EQ(sleeps[0].seconds * 1000000 + sleeps[0].microseconds, 50000);
    }
    video_.setBusy(0);
    EXPECT_EQ(c->getUICommonFile(1), "");
    EXPECT_EQ(c->getUILanguageFile(7), "");
}

}  // namespace

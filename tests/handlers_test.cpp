// Command handlers: what reaches the library and the video module, in which order, and what each returns.
#include <memory>

#include "ModuleTest.h"

using namespace testsupport;
using C = ISensorController;
using Ints = std::vector<int>;
using std::to_string;

namespace {

// Console text of one failed check without message.
std::string failedCheck(const std::string& func, const std::string& cond)
{
    const bool compound = func == "doMirror" || func == "doBeaway";
    return failed(std::string("ISensorController_") + (compound ? "compound" : "handlers") + ".cpp fun:" + func, cond);
}
// The controller runs as camera 2: library channel 1, video channel 2.
std::string ia(u32 cmd, const std::string& in, int ret = 0) { return testsupport::ia(cmd, in, 0, ret, 1); }
std::string shown(int key, int val, int ret = 0, int ch = 2) { return video(key, val, ret, ch); }

class HandlerTest : public ModuleTest {
protected:
    void TearDown() override { Peer::releaseAll(*ctl_); ModuleTest::TearDown(); }
    // The constructor reads the machine information.
    ISensorController& make(int deviceType = 1)
    {
        writeFile(SENSOR_MACHINE_INFO_FILE, "deviceType=" + to_string(deviceType) + "\n");
        ctl_ = std::make_unique<ISensorController>();
        ctl_->setVideoStreamModule(&video_);
        Peer::cameraId(*ctl_) = 2;
        return *ctl_;
    }
    // Schemes 0 and 1 and a factory set of zeros; scheme 1 in force.
    ISensorController& withSets(const std::vector<KeyVal>& s0, const std::vector<KeyVal>& s1)
    {
        if (!ctl_) make();
        std::vector<KeyVal> factory(s0);
        for (KeyVal& kv : factory) kv.value = 0;
        Peer::installSets(*ctl_, {s0, s1, factory});
        Peer::curScheme(*ctl_) = 1;
        return *ctl_;
    }
    // Calls a handler as the table would, with the value in v_.
    int run(SensorCmdHandler handler, u32 key, s32 value) { v_ = value; return (ctl_.get()->*handler)(key, 0, &v_); }
    // What the handler printed, once it returned `ret`.
    std::string said(int ret, SensorCmdHandler handler, u32 key, s32 value)
    {
        return output([&] { EXPECT_EQ(run(handler, key, value), ret); });
    }

    hostsim::SimVideoModule video_;
    std::unique_ptr<ISensorController> ctl_;
    s32 v_ = 0;
};

TEST_F(HandlerTest, LibraryCommandsReturnTheResultUnlessAGuardHoldsThemBack)
{
    ISensorController& c = make();
    failIsp(1539, -1, -4);
    failIsp(50, -1, -6);
    failIsp(1569, -1, -7);
    // One-shot user commands and the shutter wait out every blocking phase; uninitialising is none.
    for (u32 flag : {Peer::kInitializing, Peer::kResetting, Peer::kResettingToLast, Peer::kSwitching}) {
        Peer::setFlags(c, flag);
        EXPECT_EQ((Ints{run(&C::doIaCmd_User, 1539, 4), run(&C::doIaCmdShutter, 50, 4)}), Ints(2, 0)) << flag;
        Peer::clearFlags(c, flag);
    }
    Peer::setFlags(c, Peer::kUninitializing | Peer::kInited);
    EXPECT_EQ(run(&C::doIaCmd_User, 1539, 4), -4);
    // Focus once needs a lens; other user commands do not.
    Peer::hasLens(c) = false;
    EXPECT_EQ((Ints{run(&C::doIaCmd_User, 1539, 4), run(&C::doIaCmd_User, 1553, 4)}), Ints(2, 0));
    // uinit's pass flag lets one shutter command through a blocking phase, then falls.
    Peer::setFlags(c, Peer::kSwitching);
    Peer::passShutterCmd(c) = true;
    EXPECT_EQ(run(&C::doIaCmdShutter, 50, 4), -6);
    EXPECT_FALSE(Peer::passShutterCmd(c));
    EXPECT_EQ(run(&C::doIaCmdShutter, 50, 4), 0);
    Peer::clearFlags(c, Peer::kSwitching);
    EXPECT_EQ(run(&C::doIaCmdShutter, 50, 4), -6);
    // While the PTZ side holds the lens, lens commands count as done.
    EXPECT_EQ(run(&C::doIaCmd, 1569, 4), -7);
    Peer::zoomFocus(c).setLockZoomFocusEnable(true);
    for (u32 cmd : {1535u, 1536u, 1569u, 1616u, 1617u}) EXPECT_EQ(run(&C::doIaCmd, cmd, 4), 0) << cmd;
    EXPECT_EQ(hostsim::trace(), Strings({ia(1539, "4", -4), ia(1553, "4"), ia(50, "4", -6), ia(50, "4", -6),
                                         ia(1569, "4", -7), ia(1535, "4"), ia(1617, "4")}));
}

TEST_F(HandlerTest, VideoSideHandlersOrderTheirCallsAndPickTheVideoChannel)
{
    ISensorController& c = make();
    // Only the field-of-view key posts a request, for channel 1.
    EXPECT_EQ(run(&C::doIoCrtl, 8103, 7), 0);
    EXPECT_EQ(C::m_nPassKeycmd, -1);
    EXPECT_EQ(run(&C::doIoCrtl, 8104, 7), 0);
    EXPECT_EQ((Ints{C::m_nPassKeycmd, C::m_nChanneldDosomething}), (Ints{8104, 1}));
    video_.setNotifyResult(-4);
    EXPECT_EQ(said(0, &C::test_debugParam, 190, 7), "");
    EXPECT_EQ(said(0, &C::doIaCmd_PanoTuning, 9102, 7),
              failedCheck("doIaCmd_PanoTuning", "SNS_SUCCESS == notifyToVideo(nKey, nVal)"));
    video_.setNotifyResult(0);
    // The WDR mode changes inside a bracket; the notification's result is returned.
    EXPECT_EQ(run(&C::doHwdr, 2368, 3), 0);
    failIsp(2368, -1, -2);
    video_.setNotifyResultForKey(2368, 5);
    EXPECT_EQ(said(5, &C::doHwdr, 2368, 3), failedCheck("doHwdr", "SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)"));
    // Limited-frame streams cannot run WDR: the mode is recorded as off.
    Peer::showWdr(c) = false;
    EXPECT_EQ(run(&C::doHwdr, 2368, 3), 0);
    EXPECT_EQ(v_, 0);

    video_.setNotifyResultForKey(2337, 3);
    EXPECT_EQ(said(3, &C::doImageAdjust, 2337, 60), "");
    failIsp(2337, -1, -1);
    video_.setNotifyResultForKey(2337, 0);
    EXPECT_EQ(said(0, &C::doImageAdjust, 2337, 60),
              failedCheck("doImageAdjust", "SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)"));
    video_.setNotifyResultForKey(2416, 8);
    EXPECT_EQ(said(0, &C::doDIS, 2416, 60), failedCheck("doDIS", "SNS_SUCCESS == notifyToVideo(p_nKey, *(u32*)p_pVal)"));
    video_.setNotifyResultForKey(2416, 0);
    failIsp(2416, -1, -9);
    EXPECT_EQ(said(-9, &C::doDIS, 2416, 60), "");
    // A single-sensor thermal device runs its sensor as channel 2 but has the one video channel 1.
    make(13).setChannelID(1);
    video_.setNotifyResult(6);
    EXPECT_EQ(run(&C::doImageAdjust, 34, 40), 6);
    ctl_->setVideoStreamModule(nullptr);
    EXPECT_EQ(ctl_->notifyToVideo(2384, 2), 0);
    EXPECT_EQ(hostsim::trace(),
              Strings({shown(190, 7, -4), shown(9102, 7, -4), shown(2370, 0), shown(2368, 3), ia(2368, "3"),
                       shown(2370, 1), shown(2370, 0), shown(2368, 3, 5), ia(2368, "3", -2), shown(2370, 1),
                       ia(2337, "60"), shown(2337, 60, 3), ia(2337, "60", -1), shown(2337, 60), shown(2416, 60, 8),
                       ia(2416, "60"), shown(2416, 60), ia(2416, "60", -9), ia(34, "40"), shown(34, 40, 6, 1)}));
}

TEST_F(HandlerTest, MirrorTradesOneAndTwoWhileTheSchemeHasBeawayAndBeawayResendsTheMirror)
{
    ISensorController& c = withSets({{2384, 1}, {147, 1}}, {{2384, 2}, {2385, 1}});
    for (s32 m : {0, 2, 3, 1}) EXPECT_EQ(run(&C::doMirror, 2384, m), 0) << m;
    EXPECT_EQ(v_, 1);  // the set keeps the mirror as the user chose it
    EXPECT_EQ((Ints{run(&C::doBeaway, 2385, 0), run(&C::doBeaway, 2385, 1)}), Ints(2, 0));
    // Scheme 0 has no beaway entry. A refused mirror stops neither handler: the library has the last word.
    Peer::curScheme(c) = 0;
    failIsp(2384, -1, -5);
    failIsp(2385, -1, -4);
    video_.setNotifyResult(-1);
    EXPECT_EQ(said(-5, &C::doMirror, 2384, 1), failedCheck("doMirror", "SNS_SUCCESS == notifyToVideo(p_nKey, nMirror)"));
    EXPECT_EQ(said(-4, &C::doBeaway, 2385, 1),
              failedCheck("doBeaway", "SNS_SUCCESS == notifyToVideo(IA_CMD_UI_MIRROR, nMirror)") +
                  failedCheck("doBeaway", "SNS_SUCCESS == notifyToVideo(p_nKey, nBeaway)"));
    EXPECT_EQ(v_, 1);
    // Hidden beaway is recorded as off.
    setshowBeawayFalg(false);
    EXPECT_EQ(run(&C::doBeaway, 2385, 1), 0);
    EXPECT_EQ(v_, 0);
    EXPECT_EQ(hostsim::trace(),
              Strings({shown(2384, 0), ia(2384, "0"), shown(2384, 1), ia(2384, "1"), shown(2384, 3), ia(2384, "3"),
                       shown(2384, 2), ia(2384, "2"), shown(2384, 2), shown(2385, 0), ia(2384, "2"), ia(2385, "0"),
                       shown(2384, 1), shown(2385, 1), ia(2384, "1"), ia(2385, "1"), shown(2384, 1, -1),
                       ia(2384, "1", -5), shown(2384, 2, -1), shown(2385, 1, -1), ia(2384, "2", -5),
                       ia(2385, "1", -4)}));
}

TEST_F(HandlerTest, DayNightRecordsTakeTheOtherFieldsFromTheSchemeInForce)
{
    ISensorController& c = withSets({{145, 10}, {146, 20}, {154, 1}, {149, 1}, {150, 2}, {151, 3}, {152, 4}},
                                    {{145, 70}, {146, 30}, {154, 5}, {149, 18}, {150, 0}, {151, 6}, {152, 30}});
    setDebugLevel(6);
    EXPECT_EQ(said(0, &C::doDNThr, 146, 25),
              colorPrefix(0) +
                  "m_nCurScheme(1) dn_thr_st.d2n_thr(70) dn_thr_st.n2d_thr(25)  dn_thr_st.dn_sensitivity(0)\n\033[0m");
    setDebugLevel(1);
    EXPECT_EQ((Ints{run(&C::doDNThr, 145, 80), run(&C::doDNThr, 154, 4), run(&C::doDNTime, 150, 15),
                    run(&C::doDNTime, 149, 20)}),
              Ints(4, 0));
    failIsp(152, -1, -2);
    EXPECT_EQ(run(&C::doDNTime, 152, 45), -2);
    // The library's refusal is masked only while going back to the saved values.
    failIsp(146, -1, -9);
    for (u32 flags : {0u, Peer::kResettingToLast, Peer::kSwitching | Peer::kResetting}) {
        Peer::setFlags(c, flags);
        EXPECT_EQ(run(&C::doDNThr, 146, 4), flags == Peer::kResettingToLast ? 0 : -9) << flags;
        Peer::clearFlags(c, flags);
    }
    // A partner missing from the set counts as 0.
    withSets({{145, 10}, {146, 20}, {149, 1}, {150, 2}, {151, 3}, {152, 4}},
             {{145, 70}, {147, 30}, {149, 18}, {150, 0}, {148, 6}, {152, 30}});
    EXPECT_EQ((Ints{run(&C::doDNThr, 145, 50), run(&C::doDNTime, 149, 9)}), Ints(2, 0));
    EXPECT_EQ(hostsim::trace(),
              Strings({ia(146, "70,25,0"), ia(145, "80,30,0"), ia(154, "0,0,4"), ia(150, "18,15,6,30"),
                       ia(149, "20,0,6,30"), ia(152, "18,0,6,45", -2), ia(146, "70,4,0", -9), ia(146, "70,4,0", -9),
                       ia(146, "70,4,0", -9), ia(145, "50,0,0"), ia(149, "9,0,0,30")}));
}

}  // namespace

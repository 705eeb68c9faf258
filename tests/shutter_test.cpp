// Shutter stepping: the maximum shutter time by position in the library's list of values.
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "ControllerPeer.h"
#include "ModuleTest.h"
#include "hostsim.h"

using Peer = ISensorControllerTestPeer;
using Strings = std::vector<std::string>;
using Shown = std::tuple<bool, std::string, Strings>;

namespace {

const std::string kList = "ia ch=0 cmd=4112 opt=1 in=[] ret=0", kRange = "ia ch=0 cmd=49 opt=2 in=[] ret=0";
const std::string kRead = "ia ch=0 cmd=49 opt=1 in=[0] ret=0";
std::string sent(int value) { return "ia ch=0 cmd=49 opt=0 in=[" + std::to_string(value) + "] ret=0"; }

class ShutterTest : public testsupport::ModuleTest {
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        testsupport::writeFile(SENSOR_MACHINE_INFO_FILE, "deviceType=1\n");
        ctl_ = std::make_unique<ISensorController>();
        Peer::cameraId(*ctl_) = 1;
        Peer::buildTable(*ctl_);
        Peer::curScheme(*ctl_) = 0;
        Peer::installSets(*ctl_, std::vector<std::vector<KeyVal>>(3, {{34, 50}, {49, 50}}));
        hostsim::SimIsp::instance().setDynamicCommands(0, {34, 49});
        offer({33, 40, 50, 100});
    }
    void TearDown() override { Peer::releaseAll(*ctl_), ModuleTest::TearDown(); }
    // The library's list of values, and the line each step prints from it.
    void offer(const std::vector<s32>& values)
    {
        ia_dynamic_params_attr_st range{};
        range.def_val = values[0], range.items_cnt = static_cast<s32>(values.size());
        printed_ = "cmd=49 DefaltParam=" + std::to_string(values[0]) + " strParamRange=";
        for (size_t i = 0; i < values.size(); ++i) {
            printed_ += (i ? " " : "") + std::to_string(range.item[i] = values[i]);
        }
        printed_ += "\n";
        hostsim::SimIsp::instance().setRange(0, 49, range);
    }
    // The library's value, also the one recorded in the scheme in force.
    void at(s32 value)
    {
        hostsim::SimIsp::instance().setValue(0, 49, value);
        ctl_->setKeyValToCache(0, 49, value, true);
        hostsim::clearTrace();
    }
    // Runs a step: its result, what it printed, and the library calls it made.
    Shown step(const std::function<bool()>& action)
    {
        bool ok = false;
        const std::string out = captureStdout([&] { ok = action(); });
        const Strings calls = hostsim::trace();
        return hostsim::clearTrace(), Shown{ok, out, calls};
    }
    // What a step should show; an applied value ends with the empty line the applying prints.
    Shown shows(bool ok, bool applied, const Strings& calls)
    {
        return {ok, printed_ + (applied ? "\n" : ""), calls};
    }

    std::unique_ptr<ISensorController> ctl_;
    std::string printed_;
};

TEST_F(ShutterTest, StepsThroughTheListAndSetsTheSameValueAgainAtEitherEnd)
{
    at(50);
    int i = -1;
    EXPECT_EQ(step([&] { return ctl_->getShutterValue(i); }), shows(true, false, {kList, kRange, kRead}));
    EXPECT_EQ(i, 2);
    EXPECT_EQ(step([&] { return ctl_->shutterUp(); }), shows(true, true, {kList, kRange, kRead, sent(100)}));
    EXPECT_EQ(Peer::set(*ctl_, 0)[1].value, 100);
    at(50);
    EXPECT_EQ(step([&] { return ctl_->shutterDown(); }), shows(true, true, {kList, kRange, kRead, sent(40)}));
    EXPECT_EQ(Peer::set(*ctl_, 0)[1].value, 40);
    // At the ends the value in force is set again, which the recorded scheme skips.
    at(100);
    EXPECT_EQ(step([&] { return ctl_->shutterUp(); }), shows(true, true, {kList, kRange, kRead}));
    at(33);
    EXPECT_EQ(step([&] { return ctl_->shutterDown(); }), shows(true, true, {kList, kRange, kRead}));

    EXPECT_EQ(step([&] { return ctl_->setShutterValue(3); }), shows(true, true, {kList, kRange, sent(100)}));
    for (int bad : {4, -1}) {
        EXPECT_EQ(step([&] { return ctl_->setShutterValue(bad); }), shows(false, false, {kList, kRange})) << bad;
    }
}

TEST_F(ShutterTest, NothingIsSteppedFromAValueOffTheListOrWithoutTheList)
{
    const auto readOnly = shows(false, false, {kList, kRange, kRead});
    int i = -1;
    at(45);
    const std::vector<std::function<bool()>> reading = {[&] { return ctl_->getShutterValue(i); },
                                                        [&] { return ctl_->shutterUp(); },
                                                        [&] { return ctl_->shutterDown(); }};
    for (const auto& action : reading) EXPECT_EQ(step(action), readOnly);
    hostsim::SimIsp::instance().addFault(hostsim::IspFault{-1, 49, IA_CMD_OPT_GET, 0, 1, -1});
    at(50);
    EXPECT_EQ(step([&] { return ctl_->shutterUp(); }),
              shows(false, false, {kList, kRange, "ia ch=0 cmd=49 opt=1 in=[0] ret=-1"}));

    // Command 49 not among the library's dynamic commands: an empty list.
    hostsim::SimIsp::instance().setDynamicCommands(0, {34, 50});
    const auto unlisted = Shown{false, "", {kList, kRead}};
    for (const auto& action : reading) EXPECT_EQ(step(action), unlisted);
    EXPECT_EQ(step([&] { return ctl_->setShutterValue(0); }), (Shown{false, "", {kList}}));
    EXPECT_EQ(i, -1);
}

TEST_F(ShutterTest, OnlyTheFirstThirtyValuesCanBeChosen)
{
    std::vector<s32> values;
    for (s32 v = 1; v <= 31; ++v) values.push_back(v * 10);
    offer(values);
    EXPECT_EQ(step([&] { return ctl_->setShutterValue(29); }), shows(true, true, {kList, kRange, sent(300)}));
    EXPECT_EQ(step([&] { return ctl_->setShutterValue(30); }), shows(false, false, {kList, kRange}));
    at(300);
    EXPECT_EQ(step([&] { return ctl_->shutterUp(); }), shows(true, true, {kList, kRange, kRead}));
    int i = -1;
    at(310);
    EXPECT_FALSE(ctl_->getShutterValue(i));
    at(290);
    EXPECT_TRUE(ctl_->getShutterValue(i));
    EXPECT_EQ(i, 28);
}

}  // namespace

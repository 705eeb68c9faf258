// Shutter stepping: the maximum shutter time by position in the library's list of values.
#include <memory>
#include <tuple>

#include "ModuleTest.h"

using Strings = std::vector<std::string>;
using Shown = std::tuple<bool, std::string, Strings, s32>;  // result, printed text, library calls, recorded value

namespace {

const std::string kList = "ia ch=0 cmd=4112 opt=1 in=[] ret=0", kRange = "ia ch=0 cmd=49 opt=2 in=[] ret=0",
                  kRead = "ia ch=0 cmd=49 opt=1 in=[0] ret=0";
std::string sent(int value) { return "ia ch=0 cmd=49 opt=0 in=[" + std::to_string(value) + "] ret=0"; }

class ShutterTest : public testsupport::ModuleTest {
protected:
    void SetUp() override
    {
        ModuleTest::SetUp();
        ctl_ = std::make_unique<ISensorController>();
        Peer::buildTable(*ctl_);
        Peer::curScheme(*ctl_) = 0;
        Peer::installSets(*ctl_, std::vector<std::vector<KeyVal>>(3, {{34, 50}, {49, 50}}));
        isp_.setDynamicCommands(0, {34, 49});
    }
    void TearDown() override { Peer::releaseAll(*ctl_), ModuleTest::TearDown(); }
    // The library's list of values, and the line each step prints from it.
    void offer(const std::vector<s32>& values)
    {
        ia_dynamic_params_attr_st range{};
        range.def_val = values[0], range.items_cnt = static_cast<s32>(values.size());
        printed_ = "cmd=49 DefaltParam=" + std::to_string(values[0]) + " strParamRange=";
        for (size_t i = 0; i < values.size(); ++i)
            printed_ += (i ? " " : "") + std::to_string(range.item[i] = values[i]);
        isp_.setRange(0, 49, range);
    }
    // Runs a step from `value`, the library's and the one recorded in the scheme in force.
    Shown step(s32 value, const std::function<bool()>& action)
    {
        isp_.setValue(0, 49, value);
        ctl_->setKeyValToCache(0, 49, value, true);
        hostsim::clearTrace();
        bool ok = false;
        const std::string out = captureStdout([&] { ok = action(); });
        const Strings calls = hostsim::trace();
        return Shown{ok, out, calls, Peer::set(*ctl_, 0)[1].value};
    }

    hostsim::SimIsp& isp_ = hostsim::SimIsp::instance();
    std::unique_ptr<ISensorController> ctl_;
    std::string printed_;
    int i_ = -1;
    const std::function<bool()> get_ = [&] { return ctl_->getShutterValue(i_); },
                                up_ = [&] { return ctl_->shutterUp(); }, down_ = [&] { return ctl_->shutterDown(); };
    std::function<bool()> choose(int index) { return [=] { return ctl_->setShutterValue(index); }; }
};

TEST_F(ShutterTest, StepsByPositionInTheListOfValues)
{
    // An applied value prints the list and the empty line of the applying; the calls follow the list query.
    const auto expect = [&](s32 from, const std::function<bool()>& action, bool ok, bool applied, Strings calls,
                            s32 recorded) {
        calls.insert(calls.begin(), {kList, kRange});
        EXPECT_EQ(step(from, action), (Shown{ok, printed_ + "\n" + (applied ? "\n" : ""), calls, recorded})) << from;
    };
    offer({33, 40, 50, 100});
    expect(50, get_, true, false, {kRead}, 50);
    EXPECT_EQ(i_, 2);
    expect(50, up_, true, true, {kRead, sent(100)}, 100);
    expect(50, down_, true, true, {kRead, sent(40)}, 40);
    expect(40, down_, true, true, {kRead, sent(33)}, 33);
    // At the ends the value in force is set again, which the recorded scheme skips.
    expect(100, up_, true, true, {kRead}, 100);
    expect(33, down_, true, true, {kRead}, 33);
    expect(33, choose(3), true, true, {sent(100)}, 100);
    for (int bad : {4, -1}) expect(33, choose(bad), false, false, {}, 33);
    // Nothing is stepped from a value off the list.
    for (const auto& action : {get_, up_, down_}) expect(45, action, false, false, {kRead}, 45);

    // Only the first thirty values can be chosen or stepped to.
    std::vector<s32> thirtyOne;
    for (s32 v = 1; v <= 31; ++v) thirtyOne.push_back(v * 10);
    offer(thirtyOne);
    expect(10, choose(29), true, true, {sent(300)}, 300);
    expect(10, choose(30), false, false, {}, 10);
    expect(300, up_, true, true, {kRead}, 300);
    expect(310, get_, false, false, {kRead}, 310);
    expect(290, get_, true, false, {kRead}, 290);
    EXPECT_EQ(i_, 28);
}

TEST_F(ShutterTest, AFailedReadOrNoListStepsNothing)
{
    offer({33, 40, 50, 100});
    isp_.addFault(hostsim::IspFault{-1, 49, IA_CMD_OPT_GET, 0, 1, -1});
    const std::string failedRead = "ia ch=0 cmd=49 opt=1 in=[0] ret=-1";
    EXPECT_EQ(step(50, up_), (Shown{false, printed_ + "\n", {kList, kRange, failedRead}, 50}));
    // Command 49 not among the library's dynamic commands: an empty list.
    isp_.setDynamicCommands(0, {34, 50});
    for (const auto& action : {get_, up_, down_}) EXPECT_EQ(step(50, action), (Shown{false, "", {kList, kRead}, 50}));
    EXPECT_EQ(step(50, choose(0)), (Shown{false, "", {kList}, 50}));
    EXPECT_EQ(i_, -1);
}

}  // namespace

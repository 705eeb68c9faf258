// Lens and light controls: the lens gate, zoom ratio, iris clamp, light exclusion, the heater's status word, the
// plain reads and writes, and the maximum shutter stepped by position in the library's list of values.
#include <climits>
#include <tuple>

#include "ModuleTest.h"

using namespace testsupport;
using Ints = std::vector<int>;

namespace {

hostsim::SimIsp& isp() { return hostsim::SimIsp::instance(); }

struct Ctl : ISensorController {
    Ctl() { Peer::buildTable(*this); }
    ~Ctl() { Peer::releaseAll(*this); }
};
using LensTest = ModuleTest;

TEST_F(LensTest, ZoomRatioFollowsTheMagnificationTable)
{
    Ctl c;
    // At the table's magnifications, between them rounded up to the next thousandth; past 16x (or negative, as
    // unsigned) it stays -7.
    const std::pair<int, int> cases[] = {{0, 1000},     {16384, 1000},  {16385, 1001},  {20480, 1500}, {24576, 2000},
                                         {24577, 2001}, {30016, 8000},  {31423, 15995}, {31424, 16000},
                                         {31425, -7},   {-1, -7}};
    for (const auto& k : cases) {
        isp().setValue(0, 1568, k.first);
        int position = 0, ratio = -7;
        EXPECT_TRUE(c.getZoomValue(position, ratio));
        EXPECT_EQ(std::make_pair(position, ratio), k);
        EXPECT_EQ(take(), Strings{ia(1568, 0, 1)});
    }
    failIsp(1568);
    int position = 5, ratio = -7;
    EXPECT_FALSE(c.getZoomValue(position, ratio));
    Peer::hasLens(c) = false;  // no lens: position 0, nothing asked
    EXPECT_TRUE(c.getZoomValue(position, ratio) && position == 0 && ratio == -7);
    EXPECT_EQ(take(), Strings{ia(1568, 5, 1, -1)});
}

TEST_F(LensTest, LensCommandsNeedALensAndTheIrisIsClampedAfterExposureModeThree)
{
    Ctl c;
    int v = -1;
    auto lens = [&] {
        return c.focusFar() && c.focusNear() && c.setZoomValue(900) && c.setPTZRunState(2) && c.setFocusValue(700) &&
               c.getFocusValue(v);
    };
    EXPECT_TRUE(lens());
    EXPECT_EQ(take(), (Strings{ia(1536, 1), ia(1554, 1), ia(1536, 1), ia(1553, 1), ia(1568, 900), ia(1632, 2),
                               ia(1552, 700), ia(1552, -1, 1)}));
    // The focus mode's failure is ignored, the step's is not.
    failIsp(1536);
    failIsp(1554);
    EXPECT_FALSE(c.focusFar());
    EXPECT_EQ(take(), (Strings{ia(1536, 1, 0, -1), ia(1554, 1, 0, -1)}));
    isp().clearFaults();
    Peer::hasLens(c) = false;
    EXPECT_TRUE(lens() && v == 0 && c.zoomIn() && c.zoomOut() && c.irisUp() && c.irisDown() && c.setFocusMode(0));
    EXPECT_EQ(take(), (Strings{ia(1569, 1), ia(1570, 1), ia(16, 3), ia(83, 1), ia(16, 3), ia(84, 1), ia(1536, 0)}));

    for (const auto& k : std::vector<std::pair<int, s32>>{{INT_MIN, 256}, {255, 256}, {256, 256}, {25600, 25600},
                                                          {25601, 1048576}, {INT_MAX, 1048576}}) {
        EXPECT_TRUE(c.setIrisValue(k.first));
        EXPECT_EQ(take(), (Strings{ia(16, 3), ia(82, k.second)})) << k.first;
    }
    failIsp(16);
    EXPECT_FALSE(c.setIrisValue(300) || c.irisUp() || c.irisDown());
    EXPECT_EQ(take(), Strings(3, ia(16, 3, 0, -1)));
}

TEST_F(LensTest, InfraredAndWhiteLightExcludeEachOther)
{
    Ctl c;
    const std::vector<KeyVal> lights = {{160, 0}, {170, 1}, {171, 0}, {224, 0}};
    Peer::installSets(c, {lights, lights, lights});
    Peer::curScheme(c) = 0;
    auto recorded = [&] {  // 160, 170, 171, 224 of scheme 0
        const KeyVal* s = Peer::userKeyVal(c)[0];
        return Ints{s[0].value, s[1].value, s[2].value, s[3].value};
    };
    isp().setValue(0, 168, 1);
    EXPECT_TRUE(c.setIRSwitch(1) && recorded() == Ints({1, 0, 0, 0}));
    EXPECT_TRUE(c.setWhiteSwitch(1) && recorded() == Ints({0, 1, 0, 0}));
    // Off never looks at the other light; with the other light off only the own switch moves.
    EXPECT_TRUE(c.setWhiteSwitch(0) && c.setIRSwitch(1) && c.setIRSwitch(0));
    EXPECT_EQ(take(), (Strings{ia(168, 0, 1), ia(168, 0), ia(160, 1), ia(160, 0, 1), ia(160, 0), ia(168, 1),
                               ia(168, 0), ia(168, 0, 1), ia(160, 1), ia(160, 0)}));
    // A failed read or switch-off stops before anything is set.
    failIsp(168, IA_CMD_OPT_GET);
    EXPECT_FALSE(c.setIRSwitch(1));
    isp().clearFaults();
    isp().setValue(0, 168, 1);
    c.setKeyValToCache(0, 170, 1, true);
    failIsp(168, IA_CMD_OPT_SET);
    EXPECT_FALSE(c.setIRSwitch(1));
    EXPECT_EQ(take(), (Strings{ia(168, 0, 1, -1), ia(168, 0, 1), ia(168, 0, 0, -1)}));
    EXPECT_EQ(recorded(), (Ints{0, 1, 0, 0}));
    isp().clearFaults();

    for (int type : {4, -1, INT_MIN}) EXPECT_FALSE(c.setLightType(type)) << type;
    EXPECT_TRUE(c.setLightType(3) && c.setWhiteMode(1));
    EXPECT_EQ(take(), (Strings{ia(224, 3), ia(169, 1)}));
    EXPECT_EQ(recorded(), (Ints{0, 1, 1, 3}));

    // The heater answers a whole word: any bit set is heating, and nothing past the caller's bool is written.
    struct { bool heat = false; unsigned char guard[3] = {0xAA, 0xAA, 0xAA}; } out;
    isp().setHeatStatus(0, 0x01010100);
    EXPECT_TRUE(c.getHeatStatus(out.heat) && out.heat);
    EXPECT_EQ(Ints(out.guard, out.guard + 3), Ints(3, 0xAA));
    isp().setHeatStatus(0, 0);
    EXPECT_TRUE(c.getHeatStatus(out.heat) && !out.heat);
    failIsp(1606);
    out.heat = true;
    EXPECT_TRUE(!c.getHeatStatus(out.heat) && out.heat);
    EXPECT_EQ(take(), (Strings{ia(1606, 0, 1), ia(1606, 0, 1), ia(1606, 0, 1, -1)}));
}

// The plain reads and writes: each sends its one command with its option, hands the caller the library's
// word and answers false when the library refuses.
TEST_F(LensTest, PassThroughsSendTheirCommandAndOption)
{
    Ctl c;
    int v = 0, strategy = 3;
    unsigned af = 0;
    const struct { const char* name; std::function<bool()> call; u32 cmd, opt; s32 in; } rows[] = {
        {"getIrisValue", [&] { return c.getIrisValue(v); }, 82, 1, 0},
        {"getLightType", [&] { return c.getLightType(v); }, 224, 1, 0},
        {"getTempValue", [&] { return c.getTempValue(v); }, 1607, 1, 0},
        {"setFocusMode", [&] { return c.setFocusMode(2); }, 1536, 0, 2},
        {"getFocusMode", [&] { return c.getFocusMode(v); }, 1536, 1, 0},
        {"getWDR", [&] { return c.getWDR(v); }, 2368, 1, 0},
        {"getWhiteMode", [&] { return c.getWhiteMode(v); }, 169, 1, 0},
        {"getAFStatistic", [&] { return c.getAFStatistic(af); }, 1648, 1, 0},
        {"getCmdExecStatus", [&] { return c.getCmdExecStatus(1539, v); }, 1539, 4, 0},
        {"setExposureStrategy", [&] { return c.setExposureStrategy(strategy); }, 225, 0, 3},
        {"setDNState", [&] { return c.setDNState(1); }, 153, 0, 1},
        {"getDNState", [&] { return c.getDNState(v); }, 153, 1, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        v = 0, af = 0;
        isp().setValue(0, row.cmd, 41);
        isp().setExecStatus(0, row.cmd, 41);
        EXPECT_TRUE(row.call());
        EXPECT_EQ(take(), Strings{ia(row.cmd, row.in, row.opt)});
        if (row.opt != IA_CMD_OPT_SET) {
            EXPECT_EQ(row.cmd == 1648 ? (int)af : v, 41);  // the word the library answered
        }
        failIsp(row.cmd, row.opt);
        EXPECT_FALSE(row.call());
        isp().clearFaults();
        take();
    }
    // The zoom/focus record: the host's lock holds the lens commands back.
    SensorZoomFocusParam record, back;
    record.setLockZoomFocusEnable(true);
    EXPECT_EQ(c.setSensorZoomFocusParam(record) + c.getSensorZoomFocusParam(back), 0);
    EXPECT_TRUE(back.getLockZoomFocusEnable() && c.zoomIn() && c.focusFar());
    EXPECT_TRUE(take().empty());
}

// Steps from `from` (the library's value and the one recorded): the result, the printed text, the library
// calls after the list query, and the value then recorded.
using Shown = std::tuple<bool, std::string, Strings, s32>;
struct Step {
    const char* name;
    std::vector<s32> list;
    s32 from;
    std::function<bool(ISensorController&)> action;
    bool ok, applied;
    Strings calls;
    s32 recorded;
};

TEST_F(LensTest, ShutterStepsByPositionInTheListOfValues)
{
    Ctl c;
    Peer::curScheme(c) = 0;
    Peer::installSets(c, std::vector<std::vector<KeyVal>>(3, {{34, 50}, {49, 50}}));
    isp().setDynamicCommands(0, {34, 49});
    std::vector<s32> thirtyOne;
    for (s32 v = 1; v <= 31; ++v) thirtyOne.push_back(v * 10);
    int i = -1;
    const auto get = [&](ISensorController& k) { return k.getShutterValue(i); };
    const auto up = [](ISensorController& k) { return k.shutterUp(); };
    const auto down = [](ISensorController& k) { return k.shutterDown(); };
    const auto choose = [](int index) { return [index](ISensorController& k) { return k.setShutterValue(index); }; };
    const std::vector<s32> four = {33, 40, 50, 100};
    const std::string read = ia(49, 0, 1);
    // At the ends the value in force is set again, which the recorded scheme skips; nothing is stepped from a
    // value off the list; only the first thirty values can be chosen or stepped to.
    const Step steps[] = {
        {"get", four, 50, get, true, false, {read}, 50},
        {"up", four, 50, up, true, true, {read, ia(49, 100)}, 100},
        {"down", four, 50, down, true, true, {read, ia(49, 40)}, 40},
        {"down to the start", four, 40, down, true, true, {read, ia(49, 33)}, 33},
        {"up at the end", four, 100, up, true, true, {read}, 100},
        {"down at the start", four, 33, down, true, true, {read}, 33},
        {"choose 3", four, 33, choose(3), true, true, {ia(49, 100)}, 100},
        {"choose 4", four, 33, choose(4), false, false, {}, 33},
        {"choose -1", four, 33, choose(-1), false, false, {}, 33},
        {"get off the list", four, 45, get, false, false, {read}, 45},
        {"up off the list", four, 45, up, false, false, {read}, 45},
        {"down off the list", four, 45, down, false, false, {read}, 45},
        {"choose 29 of 31", thirtyOne, 10, choose(29), true, true, {ia(49, 300)}, 300},
        {"choose 30 of 31", thirtyOne, 10, choose(30), false, false, {}, 10},
        {"up at the thirtieth", thirtyOne, 300, up, true, true, {read}, 300},
        {"get the thirty-first", thirtyOne, 310, get, false, false, {read}, 310},
        {"get the twenty-ninth", thirtyOne, 290, get, true, false, {read}, 290},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        ia_dynamic_params_attr_st range{};
        range.def_val = step.list[0], range.items_cnt = static_cast<s32>(step.list.size());
        std::string printed = "cmd=49 DefaltParam=" + std::to_string(step.list[0]) + " strParamRange=";
        for (size_t k = 0; k < step.list.size(); ++k) {
            printed += (k ? " " : "") + std::to_string(range.item[k] = step.list[k]);
        }
        isp().setRange(0, 49, range);
        isp().setValue(0, 49, step.from);
        c.setKeyValToCache(0, 49, step.from, true);
        take();
        bool ok = false;
        const std::string out = captureStdout([&] { ok = step.action(c); });
        Strings calls = {ia(4112, "", 1), ia(49, "", 2)};
        calls.insert(calls.end(), step.calls.begin(), step.calls.end());
        EXPECT_EQ(Shown(ok, out, take(), Peer::set(c, 0)[1].value),
                  Shown(step.ok, printed + "\n" + (step.applied ? "\n" : ""), calls, step.recorded));
    }
    EXPECT_EQ(i, 28);  // the position the last successful read found
}

}  // namespace

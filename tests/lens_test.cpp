// Lens and light controls: the lens gate, zoom ratio, iris clamp, light exclusion and the heater's status word.
#include <climits>

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
    const int table[16] = {16384, 24576, 27264, 28672, 29056, 29440, 29728, 30016,
                           30208, 30400, 30560, 30720, 30912, 31104, 31232, 31424};
    // Between entries the ratio rounds up to the next thousandth; past 16x (or negative, as unsigned) it stays -7.
    std::vector<std::pair<int, int>> cases = {{0, 1000},      {16385, 1001}, {20480, 1500}, {24577, 2001},
                                              {31423, 15995}, {31425, -7},   {-1, -7}};
    for (int i = 0; i < 16; ++i) cases.emplace_back(table[i], 1000 * (i + 1));
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
        if (row.opt != IA_CMD_OPT_SET) EXPECT_EQ(row.cmd == 1648 ? (int)af : v, 41);
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

}  // namespace

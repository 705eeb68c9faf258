// The controller object: channel set-up by device type, the schedule check, the key-command table, the value
// cache and destruction.
#include <cstring>
#include <sstream>

#include "ModuleTest.h"

namespace {

using namespace testsupport;
using ControllerTest = ModuleTest;

#define HANDLER(fn) {&ISensorController::fn, "&ISensorController::" #fn}
const std::pair<SensorCmdHandler, const char*> kHandlers[] = {
    HANDLER(doIaCmd), HANDLER(doIaCmd_User), HANDLER(doIaCmdShutter), HANDLER(doIoCrtl), HANDLER(test_debugParam),
    HANDLER(doHwdr), HANDLER(doImageAdjust), HANDLER(doDIS), HANDLER(doIaCmd_PanoTuning), HANDLER(doMirror),
    HANDLER(doBeaway), HANDLER(doDNThr), HANDLER(doDNTime), {nullptr, "NULL"}};
#undef HANDLER
const char kHandlerCodes[] = "IUSCTWADPMBRHN";  // one letter for each handler above

// The table as the module must build it, row by row: NAME=KEY[>COMMAND][/HANDLER]. Names start with KEY_ unless
// marked '!'; the command is the key unless given; the handler is doIaCmd unless coded; rows coded N have neither.
const char kTable[] = R"(
_DDE_MANUAL_STRG=8240 BRIGHTNESS=34 SATURATION=2337 CONTRAST=2353 SHARPNESS=2321 METER_AREA=96 EXPOSE_MODE=16
MAX_SHUTTER=49 FIX_SHUTTER=50 MAX_GAIN=65 FIX_GAIN=66 IRIS_SWITCH=80 IRIS_SPEED=81 IRIS_POSITION=82 IRIS_SIZE=83>85
IRIS_UP=17>83/U IRIS_DOWN=18>84/U WB_MODE=768 R_GAIN=770 B_GAIN=771 DN_MODE=144 DELAY=147 IR_SWITCH=160 IR_MODE=161
IR_AUTO_STRG_NEAR=162 IR_MANUAL_STRG_NEAR=163 IR_AUTO_STRG_MEDIUM=164 IR_MANUAL_STRG_MEDIUM=165 IR_AUTO_STRG_FAR=166
IR_MANUAL_STRG_FAR=167 IR_ANTI_OVEREXP=155 WHITE_SWITCH=170>168 WHITE_MODE=171>169 WHITE_MANUAL_STRG=172>170
WHITE_MANUAL_STRG_MEDIUM=173>171 WHITE_MANUAL_STRG_FAR=174>172 2D_NR_SWITCH=2304 2D_NR_MODE=2305 2D_NR_STRG_A=2306
2D_NR_STRG_M=2307 3D_NR_SWITCH=2308 3D_NR_MODE=2309 3D_NR_STRG_A=2312 3D_NR_STRG_M=2313 WDR_MODE=2368/W WDR_STRG=2369
HLC_SWITCH=112 HLC_STRG=113 BLC_SWITCH=128 BLC_MODE=129 BLC_STRG=130 ANTI_SHAKE_SWITCH=2416/D ANTI_SHAKE_STRG=2417
DEFLG_SWITCH=2400 DEFLG_STRG=2401 IN_OUT_SIDE=176 TEST_PARAM1=190/T TEST_PARAM2=191/T TEST_PARAM3=192/T
TEST_PARAM4=193/T MIRROR=2384/M BEAWAY=2385/B DTN_THR=145/R NTD_THR=146/R DN_SENSITIVITY=154/R DTN_H=149/H DTN_M=150/H
NTD_H=151/H NTD_M=152/H AUTO_FOCUS_MODE=1536 AUTO_FOCUS_NEAR_LIMIT=1537 AUTO_FOCUS_SENSITIVITY=1538
AUTO_FOCUS_ONCE=1539/U LENS_RESET=1616/U ZOOM_OUT=1570/U ZOOM_IN=1569/U FOCUS_NEAR=1553/U FOCUS_FAR=1554/U
DIGITAL_ZOOM=1584 MZOOM_SPEED=1571 MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV=8104/C MIXSTREAM_DISTANCE=8100/P
MIXSTREAM_DISTANCE_Y_OFFSET=8101/P MIXSTREAM_DISTANCE_WIDTH_OFFSET=8102/P MIXSTREAM_DISTANCE_HEIGHT_OFFSET=8103/P
SCHEME_MODE=8000/N SCHEME_START_HOUR=8001/N SCHEME_START_MIN=8002/N SCHEME_END_HOUR=8003/N SCHEME_END_MIN=8004/N
EMPTY1=10/N EMPTY2=11/N MF_POSITION=1552 MZ_POSITION=1568 CAP_OFF_ADJ_DIRECTION=2432/A CAP_OFF_ADJ_STEP=2433
CAP_OFF_ADJ_H_MIN=2434 CAP_OFF_ADJ_H_MAX=2435 CAP_OFF_ADJ_H_CUR=2436/A CAP_OFF_ADJ_V_MIN=2437 CAP_OFF_ADJ_V_MAX=2438
CAP_OFF_ADJ_V_CUR=2439/A SENSOR_FPS=2497>2464/U FREEZE=2512 GAMMA=2528 DN_AF_MODE=2560 NONE_COLOR_MODE=8201
DVE_MODE=8202 AUTO_TIME=8203 AUTO_TEMPR=8209 CONTROL_FFC_MODE=8204 IMAGES_ADJUST=8205 IMAGES_REGULATE=8206
FOCUS_SPEED_LEVEL=8207 DVE_TYPE=8208 SHUTTER_ADJUST=8211/S BACKGROUND_ADJUST=8212/U TEMPERATURE_STRIP_SWITCH=8217
!IA_CMD_UI_SHUTTER_RESET=8231/U PANO_STITCH_DIST=9000/P PANO_SAVE=9001/P PANO_RESET=9002/P PANO_PREVIEW=9003/P
PANO_ADJUST_EN=9004/P PANO_ID=9005/P PANO_ADJUST_EN_1=9101/P PANO_YAW_1=9102/P PANO_PITCH_1=9103/P PANO_ROLL_1=9104/P
PANO_OFFSETX_1=9105/P PANO_OFFSETY_1=9106/P PANO_ADJUST_EN_2=9201/P PANO_YAW_2=9202/P PANO_PITCH_2=9203/P
PANO_ROLL_2=9204/P PANO_OFFSETX_2=9205/P PANO_OFFSETY_2=9206/P PANO_ADJUST_EN_3=9301/P PANO_YAW_3=9302/P
PANO_PITCH_3=9303/P PANO_ROLL_3=9304/P PANO_OFFSETX_3=9305/P PANO_OFFSETY_3=9306/P PANO_ADJUST_EN_4=9401/P
PANO_YAW_4=9402/P PANO_PITCH_4=9403/P PANO_ROLL_4=9404/P PANO_OFFSETX_4=9405/P PANO_OFFSETY_4=9406/P
IR_MODE_INTELL=168/N WHITE_MODE_INTELL=175/N IR_MANUAL_STRG_NEAR_INTELL=200/N WHITE_MANUAL_STRG_INTELL=203/N
LIGHT_TYPE=224 LDC_SWITCH=2570>2048 LDC_STRG=2571>2064)";

// A fixed-size field holds the first bytes of the text and zeros behind it.
std::string field(const std::string& text, size_t size) { return (text + std::string(size, '\0')).substr(0, size); }

TEST_F(ControllerTest, EveryKeyCommandRowAsBuiltFoundByItsKeyAndMissesLeaveTheRowAlone)
{
    ISensorController c;
    EXPECT_EQ(Peer::keyCmdSum(c), 160u);
    Peer::buildTable(c);
    keycmd* table = Peer::keyCmdMap(c);
    EXPECT_EQ(Peer::keyCmdSum(c), 156u);
    std::istringstream in(kTable);
    u32 i = 0;
    for (std::string token; in >> token; ++i) {
        SCOPED_TRACE("row " + std::to_string(i) + " " + token);
        char* rest = nullptr;
        const u32 key = static_cast<u32>(strtoul(token.c_str() + token.find('=') + 1, &rest, 10));
        const u32 cmd = *rest == '>' ? static_cast<u32>(strtoul(rest + 1, &rest, 10)) : key;
        const char code = *rest == '/' ? rest[1] : 'I';
        const auto& handler = kHandlers[strchr(kHandlerCodes, code) - kHandlerCodes];
        const std::string name = token[0] == '!' ? token.substr(1, token.find('=') - 1)
                                                 : "KEY_" + token.substr(0, token.find('='));
        EXPECT_EQ(std::make_pair(table[i].key, table[i].cmd), std::make_pair(key, code == 'N' ? 0u : cmd));
        EXPECT_TRUE(table[i].func == handler.first);
        EXPECT_EQ(std::string(table[i].szKeyName, KEYCMD_KEY_NAME_LEN), field(name, KEYCMD_KEY_NAME_LEN));
        EXPECT_EQ(std::string(table[i].szFuncName, KEYCMD_FUNC_NAME_LEN), field(handler.second, KEYCMD_FUNC_NAME_LEN));
        keycmd out;
        memset(&out, 0x5A, sizeof(out));
        EXPECT_EQ(c.findFromKeyCmdMap(table, key, out), static_cast<int>(i));
        EXPECT_EQ(memcmp(&out, &table[i], sizeof(out)), 0);
    }
    EXPECT_EQ(i, 156u);
    // The first match wins; a miss leaves the row alone. Key 0 would match the zeroed spare rows if the search
    // ran past the table.
    keycmd out, before;
    table[40].key = 34;
    EXPECT_EQ(c.findFromKeyCmdMap(table, 34, out), 1);
    memset(&out, 0xA5, sizeof(out));
    memcpy(&before, &out, sizeof(out));
    setDebugLevel(6);
    EXPECT_EQ(captureStdout([&] {
                  EXPECT_EQ(c.findFromKeyCmdMap(table, 0, out) + c.findFromKeyCmdMap(nullptr, 34, out), -2);
              }),
              colorPrefix(0) + "cand not find key-cmd while key=0\n" + kColorEnd + colorPrefix(0) +
                  "cand not find key-cmd while key=34\n" + kColorEnd);
    EXPECT_EQ(memcmp(&out, &before, sizeof(out)), 0);
    Peer::releaseAll(c);
}

TEST_F(ControllerTest, CacheFindsTheFirstEntryOfTheKeyAndForcedWritesStopAtTheFactorySet)
{
    ISensorController c;
    u32 v = 99;
    EXPECT_EQ(c.setKeyValToCache(0, 34, 1, true) + c.getKeyValFromCache(0, 34, v), -2);
    // Two user schemes and the factory set; key 34 appears twice in each.
    Peer::installSets(c, {{{34, 50}, {2337, 60}, {34, 51}}, {{34, 40}, {2337, -5}, {34, 41}},
                          {{34, 10}, {2337, 20}, {34, 11}}});
    EXPECT_EQ((std::vector<int>{c.setKeyValToCache(1, 34, 45, false), c.setKeyValToCache(0, 2337, (u32)-3, false),
                                c.setKeyValToCache(0, 96, 1, false), c.setKeyValToCache(2, 34, 1, false),
                                c.setKeyValToCache(2, 2337, 21, true), c.setKeyValToCache(3, 34, 1, true)}),
              (std::vector<int>{0, 1, -1, -2, 1, -1}));
    std::vector<s32> values;
    for (u32 s = 0; s < 3; ++s) {
        for (const KeyVal& kv : Peer::set(c, s)) values.push_back(kv.value);
    }
    EXPECT_EQ(values, (std::vector<s32>{50, -3, 51, 45, -5, 41, 10, 21, 11}));
    setDebugLevel(6);
    EXPECT_EQ(captureStdout([&] {
                  EXPECT_EQ(c.getKeyValFromCache(1, 96, v) + c.getKeyValFromCache(3, 34, v) +
                                c.getKeyValFromCache(static_cast<u32>(-1), 34, v),
                            -3);
              }),
              colorPrefix(0) + "can not find val, invalid sheme(3) \n" + kColorEnd + colorPrefix(0) +
                  "can not find val, invalid sheme(-1) \n" + kColorEnd);
    EXPECT_EQ(v, 99u);
    EXPECT_EQ(c.getKeyValFromCache(1, 34, v), 0);
    EXPECT_EQ(v, 45u);
    // During a switch the values in force are still those of the scheme before.
    Peer::curScheme(c) = 0;
    Peer::lastScheme(c) = 1;
    const auto same = [&](u32 key, s32 value) { return c.isKeyValSame(KeyVal{key, value}); };
    EXPECT_EQ((std::vector<bool>{same(34, 50), same(34, 51), same(96, 0)}), (std::vector<bool>{true, false, false}));
    Peer::setFlags(c, Peer::kSwitching);
    EXPECT_EQ((std::vector<bool>{same(2337, -5), same(34, 50)}), (std::vector<bool>{true, false}));
    Peer::releaseAll(c);
}

TEST_F(ControllerTest, ChannelIdAndThermalFlagFollowTheDeviceType)
{
    const struct { unsigned type; int channel; u32 id; bool thermal; } rows[] = {
        {13, 1, 2, true},  {13, 3, 2, true},  {14, 1, 1, false}, {14, 2, 2, true},   {17, 2, 2, true},
        {19, 2, 2, true},  {23, 2, 2, true},  {19, 3, 3, false}, {8, 2, 2, false},   {4, 2, 2, false},
        {104, 2, 2, false}, {22, 2, 2, false}, {1, 0, 0, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "type " << row.type << " channel " << row.channel);
        testsupport::writeFile(SENSOR_MACHINE_INFO_FILE, "deviceType=" + std::to_string(row.type) + "\n");
        ISensorController c;  // it reads the machine information
        c.setChannelID(row.channel);
        EXPECT_EQ(Peer::cameraId(c), row.id);
        c.setChannelID(1);  // once set, the thermal flag stays
        EXPECT_EQ(Peer::thermal(c), row.thermal);
    }
}

TEST_F(ControllerTest, ParamCheckJudgesTheScheduleOfTheSchemeInForce)
{
    const struct { s32 startH, startM, endH, endM; int result; } rows[] = {
        {8, 0, 18, 0, 0},    {18, 0, 8, 0, 507},  {25, 0, 26, 0, 505}, {10, 0, 24, 1, 506},
        {9, 30, 9, 30, 507}, {0, 0, 24, 0, 0},    {23, 59, 24, 0, 0},  {24, 0, 24, 0, 507},
        {24, 1, 24, 0, 505}, {-1, 0, 8, 0, 505},  {8, 0, 0, -1, 506},  {0, 0, 0, 0, 507},
    };
    const auto set = [](s32 startH, s32 startM, s32 endH, s32 endM) {
        return std::vector<KeyVal>{{1, 0}, {2, startH}, {3, startM}, {4, endH}, {5, endM}, {6, 0}};
    };
    ISensorController c;
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.startH << ":" << row.startM << "-" << row.endH << ":" << row.endM);
        // The row sits in scheme 1; scheme 0 and the factory set would pass.
        Peer::installSets(c, {set(8, 0, 18, 0), set(row.startH, row.startM, row.endH, row.endM), set(8, 0, 18, 0)});
        Peer::curScheme(c) = 1;
        EXPECT_EQ(c.paramCheck(), row.result);
    }
    // No scheme in force, one past the sets, or sets of three entries holding only the start (the next set
    // would make a valid end): nothing past a set is read, the rest counts as zeros.
    auto check = [&](s32 scheme) { return Peer::curScheme(c) = scheme, c.paramCheck(); };
    EXPECT_EQ((std::vector<int>{check(-1), check(3)}), std::vector<int>(2, SENSOR_ERR_START_NOT_BEFORE_END));
    Peer::installSets(c, {{{1, 0}, {2, 8}, {3, 0}}, {{1, 18}, {2, 0}, {3, 0}}, {{1, 0}, {2, 6}, {3, 0}}});
    EXPECT_EQ((std::vector<int>{check(0), check(2)}), std::vector<int>(2, SENSOR_ERR_START_NOT_BEFORE_END));
    Peer::releaseAll(c);
}

TEST_F(ControllerTest, DestroyedWithItsThreadRunning)
{
    ISensorController running;
    Peer::paramMode(running) = 0;
    ASSERT_TRUE(Peer::thread(running)->start());
    // The destructor stops the thread before deleting it (a hang or a leak here is the fault).
}

}  // namespace

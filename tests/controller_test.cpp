// Tests of the controller object: construction, channel set-up, small queries, the schedule check and the error type.
#include <string>
#include <tuple>
#include <vector>

#include "ControllerPeer.h"
#include "ModuleTest.h"

using Peer = ISensorControllerTestPeer;

namespace {

using ControllerTest = testsupport::ModuleTest;

// The constructor reads the machine information.
void writeMachineInfo(unsigned deviceType)
{
    testsupport::writeFile(SENSOR_MACHINE_INFO_FILE, "deviceType=" + std::to_string(deviceType) + "\n");
}

// A set of six entries whose entries 1 to 4 hold the schedule.
std::vector<KeyVal> scheduleSet(s32 startH, s32 startM, s32 endH, s32 endM)
{
    return {{1, 0}, {2, startH}, {3, startM}, {4, endH}, {5, endM}, {6, 0}};
}

TEST_F(ControllerTest, ConstructionStateAndSmallQueries)
{
    writeMachineInfo(19);
    ISensorController c;
    // Id, version, key-command rows, last schedule, set length, flag word.
    EXPECT_EQ(std::make_tuple(Peer::cameraId(c), Peer::version(c), Peer::keyCmdSum(c), Peer::lastSchedule(c),
                              Peer::keyValSum(c), Peer::flags(c)),
              std::make_tuple(1u, 8u, 160u, 255u, 0u, 0u));
    // Parameter mode, last and current scheme.
    EXPECT_EQ(std::make_tuple(Peer::paramMode(c).load(), Peer::lastScheme(c).load(), Peer::curScheme(c).load()),
              std::make_tuple(1, -1, -1));
    // LPR, WDR shown, time scheme, day/night scheme, limited IR, lens, shutter pass, thermal.
    EXPECT_EQ(std::make_tuple(Peer::lprMode(c), Peer::showWdr(c).load(), Peer::timeScheme(c).load(),
                              Peer::dnScheme(c).load(), Peer::limitedIrPower(c), Peer::hasLens(c),
                              Peer::passShutterCmd(c).load(), Peer::thermal(c)),
              std::make_tuple(false, true, false, false, false, true, false, false));
    EXPECT_FALSE(Peer::thread(c)->isRunning());
    EXPECT_EQ(c.getSensorType(), 0);
    Peer::sysConf(c).moduleConfig.nModuleId = 37;
    EXPECT_EQ(c.getSensorType(), 37);
    // Only the inited bit counts.
    Peer::setFlags(c, Peer::kInitializing | Peer::kResetting | Peer::kSwitching | Peer::kUninitializing);
    EXPECT_FALSE(c.getSensorStatus());
    Peer::setFlags(c, Peer::kInited);
    EXPECT_TRUE(c.getSensorStatus());
}

TEST_F(ControllerTest, ChannelIdAndThermalFlagFollowTheDeviceType)
{
    struct Row { unsigned type; int channel; u32 id; bool thermal; };
    const Row rows[] = {
        {13, 1, 2, true},  {13, 3, 2, true},  {14, 1, 1, false}, {14, 2, 2, true},  {17, 2, 2, true},
        {19, 2, 2, true},  {23, 2, 2, true},  {19, 3, 3, false}, {8, 2, 2, false},  {4, 2, 2, false},
        {104, 2, 2, false}, {22, 2, 2, false}, {1, 0, 0, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "type " << row.type << " channel " << row.channel);
        writeMachineInfo(row.type);
        ISensorController c;
        c.setChannelID(row.channel);
        EXPECT_EQ(Peer::cameraId(c), row.id);
        EXPECT_EQ(Peer::thermal(c), row.thermal);
        // Once set, the thermal flag stays when the channel changes.
        c.setChannelID(1);
        EXPECT_EQ(Peer::thermal(c), row.thermal);
    }
}

TEST_F(ControllerTest, ParamCheckJudgesTheScheduleOfTheSchemeInForce)
{
    struct Row { s32 startH, startM, endH, endM; int result; };
    const Row rows[] = {
        {8, 0, 18, 0, 0},    {18, 0, 8, 0, 507},  {25, 0, 26, 0, 505}, {10, 0, 24, 1, 506},
        {9, 30, 9, 30, 507}, {0, 0, 24, 0, 0},    {23, 59, 24, 0, 0},  {24, 0, 24, 0, 507},
        {24, 1, 24, 0, 505}, {-1, 0, 8, 0, 505},  {8, 0, 0, -1, 506},  {0, 0, 0, 0, 507},
    };
    ISensorController c;
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.startH << ":" << row.startM << "-" << row.endH << ":" << row.endM);
        // The row sits in scheme 1; scheme 0 and the factory set would pass.
        Peer::installSets(c, {scheduleSet(8, 0, 18, 0), scheduleSet(row.startH, row.startM, row.endH, row.endM),
                              scheduleSet(8, 0, 18, 0)});
        Peer::curScheme(c) = 1;
        EXPECT_EQ(c.paramCheck(), row.result);
    }
    // No scheme in force, a scheme past the sets, no sets at all, or sets of three entries that hold only the
    // start (nothing past a set is read, although the next set would make a valid end): the rest counts as zeros.
    auto check = [&](s32 scheme) { return Peer::curScheme(c) = scheme, c.paramCheck(); };
    EXPECT_EQ((std::vector<int>{check(-1), check(3)}), std::vector<int>(2, SENSOR_ERR_START_NOT_BEFORE_END));
    Peer::releaseSets(c);
    EXPECT_EQ(check(0), SENSOR_ERR_START_NOT_BEFORE_END);
    Peer::installSets(c, {{{1, 0}, {2, 8}, {3, 0}}, {{1, 18}, {2, 0}, {3, 0}}, {{1, 0}, {2, 6}, {3, 0}}});
    EXPECT_EQ((std::vector<int>{check(0), check(2)}), std::vector<int>(2, SENSOR_ERR_START_NOT_BEFORE_END));
    Peer::releaseAll(c);
}

TEST_F(ControllerTest, DestroyedWithItsThreadRunningAndTheErrorTypeKeepsItsText)
{
    {
        ISensorController running;
        Peer::paramMode(running) = 0;
        ASSERT_TRUE(Peer::thread(running)->start());
        // The destructor stops the thread before deleting it (a hang or a leak here is the fault).
    }
    std::string text = "SafePointer Report: x";
    PLRuntimeError fromString(text);
    text[0] = 's';
    const char *szText = "null object", *szNull = nullptr;  // the host hands its texts over by pointer
    EXPECT_EQ((std::vector<std::string>{fromString.what(), PLRuntimeError(szText).what(),
                                        PLRuntimeError(szNull).what()}),
              (std::vector<std::string>{"SafePointer Report: x", "null object", ""}));
}

}  // namespace

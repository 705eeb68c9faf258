// The controller object: channel set-up by device type, the schedule check, destruction and the error type.
#include "ModuleTest.h"


namespace {

using ControllerTest = testsupport::ModuleTest;

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
    EXPECT_EQ((testsupport::Strings{fromString.what(), PLRuntimeError(szText).what(), PLRuntimeError(szNull).what()}),
              (testsupport::Strings{"SafePointer Report: x", "null object", ""}));
}

}  // namespace

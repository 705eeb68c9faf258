// Tests of the simulated host: files under the root, logger, locks, threads, clock, shell, ISP, video module and parsers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

#include "GThread.h"
#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "PLFile.h"
#include "PLLogger.h"
#include "PLMutex.h"
#include "PeloraTime.h"
#include "StringHandler.h"
#include "TestRoot.h"
#include "hostsim.h"
#include "sy_system.h"

using testsupport::listDir;
using testsupport::readFile;
using testsupport::writeFile;
using Strings = std::vector<std::string>;
using Ints = std::vector<int>;

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif

using HostSim = testsupport::HostTest;
const unsigned kCreate = PLFile::modeWrite | PLFile::modeTruncate;

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}
bool writeText(const char* path, unsigned mode, std::string text)
{
    PLFile file;
    return file.open(path, mode) && file.write(&text[0], text.size()) == static_cast<int>(text.size());
}
// A one-word library call: {result, the word afterwards}.
using Answer = std::pair<int, s32>;
Answer ia(int ch, unsigned cmd, unsigned opt, s32 v = 0) { return {ia_ioctrl_v2(ch, (ia_cmd_e)cmd, opt, &v), v}; }
int ia(int ch, unsigned cmd, unsigned opt, void* data) { return ia_ioctrl_v2(ch, (ia_cmd_e)cmd, opt, data); }

TEST_F(HostSim, PathsStayUnderTheRootAndWritesTruncateOrKeep)
{
    const std::string r = rootDir();
    EXPECT_EQ((Strings{hostsim::mapPath("/mnt//mtd/./log/../x/"), hostsim::mapPath("/../../etc/x"),
                       hostsim::mapPath("/a/../../../"), hostsim::mapPath("rel/../x")}),
              (Strings{r + "/mnt/mtd/x", r + "/etc/x", r, "rel/../x"}));
    hostsim::setRoot("");
    EXPECT_EQ(hostsim::mapPath("/a/../b"), "/a/../b");
    hostsim::setRoot(r);

    PLFile file;
    char buf[16] = {};
    EXPECT_FALSE(file.open("/mnt/mtd/none", PLFile::modeRead));
    EXPECT_EQ((Ints{file.read(buf, 4), file.write(buf, 4), static_cast<int>(file.getLength())}), (Ints{-1, -1, 0}));
    writeFile("/mnt/mtd/f", "0123456789");
    ASSERT_TRUE(writeText("/../../mnt/mtd/f", PLFile::modeWrite, "ab"));
    EXPECT_EQ(readFile("/mnt/mtd/f"), "ab23456789");
    ASSERT_TRUE(writeText("/mnt/mtd/f", kCreate, "xyz"));
    ASSERT_TRUE(writeText("/mnt/mtd/f", PLFile::modeAppend, "!"));
    ASSERT_TRUE(writeText("/mnt/mtd/new", PLFile::modeWrite, "n"));
    EXPECT_EQ((Strings{readFile("/mnt/mtd/f"), readFile("/mnt/mtd/new")}), (Strings{"xyz!", "n"}));
    // Open faults are keyed by the normalised path and by direction.
    hostsim::setOpenFault("/mnt/mtd/./f", hostsim::kFailRead);
    EXPECT_FALSE(file.open("/mnt/mtd/f", PLFile::modeRead));
    EXPECT_TRUE(file.open("/mnt/mtd/f", PLFile::modeAppend));
    hostsim::setOpenFault("/mnt/mtd/f", hostsim::kFailWrite);
    EXPECT_FALSE(file.open("/mnt/mtd/f", kCreate));
    EXPECT_EQ(readFile("/mnt/mtd/f"), "xyz!");

    // Lines lose "\n", "\r\n" or a lone "\r" at the end of the file; no empty line after the last end.
    writeFile("/f", "a\r\nb\n\nc\r");
    writeFile("/g", "x\ny\n");
    ASSERT_TRUE(file.open("/f"));
    EXPECT_EQ(file.ReadOneLine(), "a");
    EXPECT_EQ(file.ReadLines(), (Strings{"b", "", "c"}));
    EXPECT_EQ(file.ReadOneLine(), "");
    ASSERT_TRUE(file.open("/g"));
    EXPECT_EQ(file.ReadLines(), (Strings{"x", "y"}));
}

TEST_F(HostSim, LoggerRotatesAtTheLimit)
{
    PLLogger log;
    ASSERT_TRUE(log.init("/mnt/mtd/log/s.log", 20, 2));
    for (const char* text : {"one", "two\n", "three"}) log.write("E", text);  // exactly 20 bytes: still the live file
    EXPECT_EQ(readFile("/mnt/mtd/log/s.log"), "E one\nE two\nE three\n");
    for (const char* text : {"four", "five", "sixsixsix", "0123456789abcdefghijklmn"}) log.write("E", text);
    EXPECT_EQ(listDir("/mnt/mtd/log"), (Strings{"s.log", "s.log.1", "s.log.2"}));
    EXPECT_EQ((Strings{readFile("/mnt/mtd/log/s.log"), readFile("/mnt/mtd/log/s.log.1"),
                       readFile("/mnt/mtd/log/s.log.2")}),
              (Strings{"E 0123456789abcdefg\n", "E sixsixsix\n", "E four\nE five\n"}));  // the long one cut
    EXPECT_FALSE(log.init("/mnt/mtd/log/s.log/x.log", 100, 1));
}

struct Worker {
    std::atomic<int> passes{0}, starts{0}, stops{0};
    std::atomic<bool> inBody{false}, stopSawBody{false};
    int body()
    {
        inBody = true;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        return ++passes, inBody = false, 0;
    }
    int onStart() { return ++starts; }
    int onStop() { return stopSawBody = inBody.load(), ++stops; }
};

TEST_F(HostSim, MutexRefusesOwnerAndOthersAndAThreadRunsItsBodyBetweenItsHooks)
{
    PLMutex mutex;
    ASSERT_TRUE(mutex.Lock(__FILE__, 1));
    EXPECT_FALSE(mutex.TryLock(__FILE__, 2));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(mutex.Lock("here.cpp", 42));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "PLMutex: relock by owner at here.cpp:42\n");
    bool otherTry = true, otherUnlock = false;
    std::thread([&] {
        otherTry = mutex.TryLock(__FILE__, 3);
        // ThreadSanitizer reports a foreign unlock itself, as it should when the module does it.
        if (!kThreadSanitizer) otherUnlock = mutex.Unlock(__FILE__, 4);
    }).join();
    EXPECT_FALSE(otherTry || otherUnlock);
    EXPECT_TRUE(mutex.Unlock(__FILE__, 5));
    EXPECT_TRUE(kThreadSanitizer || !mutex.Unlock(__FILE__, 6));
    EXPECT_TRUE(mutex.TryLock(__FILE__, 7) && mutex.Unlock(__FILE__, 8));

    // stop() returns once the body is no longer running.
    Worker w;
    GThread thread(function<int>(bind_funcobj0(&w, &Worker::body)), "a-very-long-thread-name",
                   function<int>(bind_funcobj0(&w, &Worker::onStart)), function<int>(bind_funcobj0(&w, &Worker::onStop)));
    ASSERT_TRUE(thread.start());
    EXPECT_FALSE(thread.start());
    EXPECT_TRUE(thread.isRunning());
    for (int i = 0; i < 2000 && w.passes < 3; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(thread.stop());
    EXPECT_FALSE(w.inBody || w.stopSawBody || thread.isRunning());
    const int passes = w.passes;
    EXPECT_GE(passes, 3);
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ((Ints{w.passes, w.starts, w.stops}), (Ints{passes, 1, 1}));
    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ((Ints{w.starts, w.stops}), (Ints{2, 2}));
}

Ints now()
{
    PLDeviceTime t = PLDeviceTime::getCurrentTime();
    return {t.getYear(), t.getMonth(), t.getDay(), t.getHour(), t.getMinute(), t.getSecond()};
}

TEST_F(HostSim, SimulatedClockMovesOnlyWhenTold)
{
    EXPECT_EQ(now(), (Ints{2026, 1, 1, 12, 0, 0}));
    EXPECT_EQ(hostsim::simulatedEpochSeconds(), 1767268800);
    hostsim::setTimeOfDay(6, 30);
    auto start = std::chrono::steady_clock::now();
    PeloraTime::wait(PeloraTime(100, 0));
    EXPECT_LT(secondsSince(start), 0.5);
    EXPECT_EQ(now(), (Ints{2026, 1, 1, 6, 30, 0}));
    // Auto-advance carries the microseconds over.
    hostsim::setAutoAdvance(true);
    PeloraTime::wait(PeloraTime(0, 600000));
    PeloraTime::wait(PeloraTime(0, 600000));
    EXPECT_EQ(now(), (Ints{2026, 1, 1, 6, 30, 1}));
    auto slept = hostsim::sleeps();
    ASSERT_EQ(slept.size(), 3u);
    EXPECT_EQ((std::vector<long>{slept[0].seconds, slept[0].microseconds, slept[2].seconds, slept[2].microseconds}),
              (std::vector<long>{100, 0, 0, 600000}));
    hostsim::clearSleeps();
    hostsim::setClockMode(hostsim::ClockMode::Real);
    start = std::chrono::steady_clock::now();
    PeloraTime::wait(PeloraTime(0, 3000));
    EXPECT_GE(secondsSince(start), 0.003);
    EXPECT_TRUE(hostsim::sleeps().empty());
}

TEST_F(HostSim, ShellRunsUnderTheRootAndIsKilledAtItsLimit)
{
    for (const char* f : {"config_file/sensor1_0.cfg", "config_file/sensor1_4.cfg", "config_file/sensor2_0.cfg",
                          "configB/sensor1_2.cfg", "other/sensor1_1.cfg"}) {
        writeFile(std::string("/mnt/mtd/code/") + f, "x");
    }
    EXPECT_EQ(sy_system("rm -rf /mnt/mtd/code/config*/sensor1_[0-3].cfg", 5), 0);
    EXPECT_EQ(listDir("/mnt/mtd/code/config_file"), (Strings{"sensor1_4.cfg", "sensor2_0.cfg"}));
    EXPECT_EQ(listDir("/mnt/mtd/code/configB"), Strings{});
    EXPECT_EQ(listDir("/mnt/mtd/code/other"), Strings{"sensor1_1.cfg"});
    const std::string name = "/hostsim-escape-" + std::to_string(getpid());
    EXPECT_EQ(sy_system(("touch /../.." + name + ";echo a>" + name + ".b; echo b > '" + name + ".c'").c_str(), 5), 0);
    EXPECT_EQ(listDir("/"), (Strings{name.substr(1), name.substr(1) + ".b", name.substr(1) + ".c", "mnt"}));
    EXPECT_EQ((Strings{readFile(name + ".b"), readFile(name + ".c")}), (Strings{"a\n", "b\n"}));
    EXPECT_NE(access(name.c_str(), F_OK), 0);
    EXPECT_EQ(sy_system("exit 3", 5), 3);

    writeFile("/mnt/mtd/pid", "");
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(sy_system("sleep 5 & echo $! >/mnt/mtd/pid; wait", 1), -1);
    const double took = secondsSince(start);
    EXPECT_TRUE(took >= 0.95 && took < 1.5) << took;
    // The shell's own children go with it: a dead process is gone or a zombie.
    const std::string stat = "/proc/" + std::to_string(std::atoi(readFile("/mnt/mtd/pid").c_str())) + "/stat";
    auto alive = [&] {
        std::ifstream in(stat);
        std::string pid, comm, state;
        return in >> pid >> comm >> state && state != "Z";
    };
    for (int i = 0; i < 200 && alive(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(alive());
}

TEST_F(HostSim, IspStoresValuesRecordsRangesAndCorrects)
{
    auto& isp = hostsim::SimIsp::instance();
    isp.setDefault(0, 50, 7);
    isp.setExecStatus(0, 1539, 2);
    std::vector<Answer> answers;
    for (auto [ch, cmd, opt, v] : std::vector<std::tuple<int, unsigned, unsigned, s32>>{
             {0, 50, IA_CMD_OPT_GET, 99}, {0, 50, IA_CMD_OPT_SET, 33}, {1, 50, IA_CMD_OPT_GET, 99},
             {0, 50, IA_CMD_OPT_GET, 0}, {0, 1539, IA_CMD_OPT_GET_EXEC_STATUS, 0},
             {0, 1540, IA_CMD_OPT_GET_EXEC_STATUS, 9}, {0, 50, 9, 4}}) {
        answers.push_back(ia(ch, cmd, opt, v));
    }
    EXPECT_EQ(answers, (std::vector<Answer>{{0, 7}, {0, 33}, {0, 0}, {0, 33}, {0, 2}, {0, 0}, {-1, 4}}));
    dn_time_st t = {18, 30, 6, 15};
    EXPECT_EQ(ia(0, IA_CMD_DTN_H, IA_CMD_OPT_SET, &t), 0);
    EXPECT_EQ(isp.record(0, IA_CMD_DTN_H), (std::vector<int32_t>{18, 30, 6, 15}));

    // The list holds at most 16 commands whatever count the library claims.
    std::vector<uint32_t> cmds;
    for (uint32_t c = 100; c < 120; ++c) cmds.push_back(c);
    isp.setDynamicCommands(0, cmds);
    ia_dynamic_params_cmds_st list;
    ASSERT_EQ(ia(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list), 0);
    EXPECT_EQ((Ints{list.cmd_cnt, static_cast<int>(list.cmd_list[15])}), (Ints{20, 115}));
    EXPECT_EQ(isp.calls().back().out.size(), 17u);
    // A list range snaps to the nearest item, any other clamps; no range, no change.
    isp.setRange(0, 100, {0, 5, 0, 100, 3, {10, 20, 40}});
    isp.setRange(0, 101, {1, 5, -10, 10, 0, {}});
    std::vector<s32> fixed;
    for (auto [cmd, v] : std::vector<std::pair<unsigned, s32>>{{100, 30}, {100, 31}, {100, -50}, {101, 11}, {101, -11},
                                                               {101, 3}, {102, 1000}}) {
        fixed.push_back(ia(0, cmd, IA_CMD_OPT_CORRECT_PARAM, v).second);
    }
    EXPECT_EQ(fixed, (std::vector<s32>{20, 40, 10, 10, -10, 3, 1000}));  // 30: the tie goes to the lower item
}

TEST_F(HostSim, IspFaultRulesAndTheTrace)
{
    auto& isp = hostsim::SimIsp::instance();
    isp.addFault({-1, 50, IA_CMD_OPT_SET, 1, 2, -5});  // one call through, then two failures
    isp.addFault({1, -1, -1, 0, -1, -1});
    Ints results;
    for (s32 v = 1; v <= 4; ++v) results.push_back(ia(0, 50, IA_CMD_OPT_SET, v).first);
    EXPECT_EQ(results, (Ints{0, -5, -5, 0}));
    EXPECT_EQ(isp.value(0, 50), 4);
    EXPECT_EQ(ia(1, 50, IA_CMD_OPT_SET, 8), Answer(-1, 8));
    EXPECT_FALSE(isp.hasValue(1, 50));
    isp.clearFaults();
    isp.failNthCall(2, -9);
    for (int i = 0; i < 3; ++i) results.push_back(ia(1, 7, IA_CMD_OPT_GET).first);
    EXPECT_EQ(results, (Ints{0, -5, -5, 0, 0, -9, 0}));

    hostsim::clearTrace();
    isp.setVersionText(0, "V1.2");
    hostsim::SimVideoModule().notifySensorParam(1, 2370, 0);
    char text[50];
    ia(0, IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, text);
    ia(2, IA_CMD_EXPOSE_MODE, IA_CMD_OPT_GET, nullptr);
    EXPECT_EQ(hostsim::trace(), (Strings{"video ch=1 key=2370 val=0 ret=0",
                                         "ia ch=0 cmd=2496 opt=1 in=[] ret=0 text=\"V1.2\"",
                                         "ia ch=2 cmd=16 opt=1 in=[] ret=-1"}));
    hostsim::clearTrace();
    EXPECT_TRUE(hostsim::trace().empty());
}

TEST_F(HostSim, VideoModuleBusyPollsAndLimitedFrames)
{
    hostsim::SimVideoModule video;
    video.setBusy(2);
    Ints busy;
    for (int i = 0; i < 3; ++i) busy.push_back(video.getVideoBusyState());
    video.setBusy(-1);
    for (int i = 0; i < 3; ++i) busy.push_back(video.getVideoBusyState());
    EXPECT_EQ(busy, (Ints{1, 1, 0, 1, 1, 1}));
    EXPECT_EQ(video.busyPolls(), 6);

    video.setLimitedFrames(1, LimitedFramesWDRModeParam(2, 1));
    LimitedFramesWDRModeParam limited(3, 1);
    video.getLimitedFramesWDRModeParam(0, limited);  // an unconfigured channel has no limit
    EXPECT_EQ((Ints{limited.getLimitFramesModeId(), limited.getLimitWdr()}), (Ints{-1, 0}));
}

TEST_F(HostSim, MachineInfoAndModuleConfigParsers)
{
    MachineInfo info;
    info.setSerialNumber("kept");
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo("/mnt/mtd/machineinfo.ini", info));
    writeFile("/mnt/mtd/machineinfo.ini",
              "[machine]\r\n# deviceType=9\n; c\n  deviceType = 14 \r\nhardwareModel=Hi3516AV200\nhardwareCode= A B \n");
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo("/mnt/mtd/machineinfo.ini", info));
    EXPECT_EQ((Strings{std::to_string(info.getDeviceType()), info.getHardwareModel(), info.getHardwareCode(),
                       info.getSerialNumber()}),
              (Strings{"14", "Hi3516AV200", "A B", "kept"}));
    writeFile("/mnt/mtd/machineinfo.ini", "deviceType=ipc\n");
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo("/mnt/mtd/machineinfo.ini", info));
    EXPECT_EQ(info.getDeviceType(), 0u);

    // Modules of the board's model and code (an empty or missing one matches any) join the list.
    std::vector<ModuleConfigure> list(1);
    EXPECT_FALSE(ModuleConfigureParser::parse("/hd1/mc.xml", "M", "C", list));
    writeFile("/hd1/mc.xml", "<moduleConfig><module id=\"1\">");
    EXPECT_FALSE(ModuleConfigureParser::parse("/hd1/mc.xml", "M", "C", list));
    writeFile("/hd1/mc.xml",
              "<moduleConfig><module id=\"3\" hardwareModel=\"M\" hardwareCode=\"\"><parameters>p3</parameters>"
              "<detail>(max_scheme=4)</detail></module><module id=\"4\" hardwareModel=\"N\"/>"
              "<module id=\"5\" hardwareModel=\"M\" hardwareCode=\"D\"/><module hardwareCode=\"C\"><detail>d</detail>"
              "</module></moduleConfig>");
    ASSERT_TRUE(ModuleConfigureParser::parse("/hd1/mc.xml", "M", "C", list));
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ((Strings{std::to_string(list[1].getModuleId()), list[1].getParameters(), list[1].getDetail(),
                       std::to_string(list[2].getModuleId()), list[2].getParameters(), list[2].getDetail()}),
              (Strings{"3", "p3", "(max_scheme=4)", "0", "", "d"}));
}

TEST(StringHandlerTest, SplitKeepsEmptyPieces)
{
    for (auto [text, sep, pieces] : std::vector<std::tuple<std::string, std::string, Strings>>{
             {"a,,b", ",", {"a", "", "b"}}, {",", ",", {"", ""}}, {"a::b:", "::", {"a", "b:"}}, {"a,b", "", {"a,b"}}}) {
        Strings out{"old"};  // pieces are appended
        StringHandler::split(text, out, sep);
        pieces.insert(pieces.begin(), "old");
        EXPECT_EQ(out, pieces) << text;
    }
}

}  // namespace

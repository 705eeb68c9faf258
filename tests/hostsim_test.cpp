// Tests of the simulated host: files under the root, logger, locks, threads, clock, shell, ISP, video module and parsers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numeric>
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
#include "ia_ioctrl.h"
#include "sy_system.h"

using testsupport::fileExists;
using testsupport::listDir;
using testsupport::readFile;
using testsupport::writeFile;
using Strings = std::vector<std::string>;

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif

class HostSim : public testsupport::HostTest {};

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool writeText(const char* path, unsigned mode, std::string text)
{
    PLFile file;
    return file.open(path, mode) && file.write(&text[0], text.size()) == static_cast<int>(text.size());
}

const unsigned kCreate = PLFile::modeWrite | PLFile::modeTruncate;

// A one-word library call: {result, the word afterwards}.
std::pair<int, s32> ia(int ch, unsigned cmd, unsigned opt, s32 v = 0)
{
    int ret = ia_ioctrl_v2(ch, static_cast<ia_cmd_e>(cmd), opt, &v);
    return {ret, v};
}
using Answer = std::pair<int, s32>;

// ---------------------------------------------------------------- files

TEST_F(HostSim, MapPathNeverLeavesTheRoot)
{
    const std::string r = rootDir();
    EXPECT_EQ(hostsim::mapPath("/mnt/mtd/x"), r + "/mnt/mtd/x");
    EXPECT_EQ(hostsim::mapPath("/mnt//mtd/./log/../x/"), r + "/mnt/mtd/x");
    EXPECT_EQ(hostsim::mapPath("/../../etc/x"), r + "/etc/x");
    EXPECT_EQ(hostsim::mapPath("/a/../../../"), r);
    EXPECT_EQ(hostsim::mapPath("rel/../x"), "rel/../x");

    writeFile("/mnt/mtd/keep", "");
    ASSERT_TRUE(writeText("/mnt/mtd/x", kCreate, "abc"));
    ASSERT_TRUE(writeText("/../../mnt/mtd/y", kCreate, "def"));
    EXPECT_EQ(listDir("/mnt/mtd"), (Strings{"keep", "x", "y"}));
    EXPECT_EQ(readFile("/mnt/mtd/y"), "def");
    EXPECT_TRUE(PLFile::isExist("/mnt/mtd/../mtd/x"));
    EXPECT_FALSE(PLFile::isExist("/mnt/mtd/z"));

    hostsim::setRoot("");
    EXPECT_EQ(hostsim::mapPath("/a/../b"), "/a/../b");
    hostsim::setRoot(r);
}

TEST_F(HostSim, FileModesTruncateOrKeep)
{
    PLFile file;
    EXPECT_FALSE(file.open("/mnt/mtd/none", PLFile::modeRead));
    EXPECT_FALSE(file.open("/no/such/dir/f", kCreate));  // no mkdir
    char buf[16] = {};
    EXPECT_EQ(file.read(buf, 4), -1);
    EXPECT_EQ(file.write(buf, 4), -1);
    EXPECT_EQ(file.getLength(), 0);

    writeFile("/mnt/mtd/f", "0123456789");
    ASSERT_TRUE(writeText("/mnt/mtd/f", PLFile::modeWrite, "ab"));
    EXPECT_EQ(readFile("/mnt/mtd/f"), "ab23456789");
    ASSERT_TRUE(writeText("/mnt/mtd/f", kCreate, "xyz"));
    EXPECT_EQ(readFile("/mnt/mtd/f"), "xyz");
    ASSERT_TRUE(writeText("/mnt/mtd/f", PLFile::modeAppend, "!"));
    ASSERT_TRUE(writeText("/mnt/mtd/new", PLFile::modeWrite, "n"));
    EXPECT_EQ(readFile("/mnt/mtd/new"), "n");

    ASSERT_TRUE(file.open("/mnt/mtd/f", PLFile::modeRead));
    EXPECT_EQ(file.getLength(), 4);
    EXPECT_EQ(file.read(buf, sizeof(buf)), 4);
    EXPECT_EQ(std::string(buf, 4), "xyz!");
}

TEST_F(HostSim, LinesDropTheirEnds)
{
    writeFile("/f", "a\r\nb\n\nc\r");
    PLFile file;
    ASSERT_TRUE(file.open("/f"));
    EXPECT_EQ(file.ReadOneLine(), "a");
    EXPECT_EQ(file.ReadLines(), (Strings{"b", "", "c"}));
    EXPECT_EQ(file.ReadOneLine(), "");
    EXPECT_EQ(file.ReadLines(), Strings{});

    writeFile("/g", "x\ny\n");
    ASSERT_TRUE(file.open("/g"));
    EXPECT_EQ(file.ReadLines(), (Strings{"x", "y"}));
    file.close();
    EXPECT_EQ(file.ReadOneLine(), "");
}

TEST_F(HostSim, FullDiskAndOpenFaults)
{
    hostsim::setDiskSpace(5);
    PLFile file;
    ASSERT_TRUE(file.open("/d", kCreate));
    char text[] = "abcd";
    EXPECT_EQ(file.write(text, 3), 3);
    EXPECT_EQ(file.write(text, 4), 2);
    EXPECT_EQ(file.write(text, 4), 0);
    EXPECT_EQ(hostsim::diskSpace(), 0);
    EXPECT_EQ(file.getLength(), 5);
    file.close();
    EXPECT_EQ(readFile("/d"), "abcab");

    writeFile("/mnt/mtd/f", "x");
    hostsim::setOpenFault("/mnt/mtd/./f", hostsim::kFailRead);
    EXPECT_FALSE(file.open("/mnt/mtd/f", PLFile::modeRead));
    EXPECT_TRUE(file.open("/mnt/mtd/f", PLFile::modeAppend));
    hostsim::setOpenFault("/mnt/mtd/f", hostsim::kFailWrite);
    EXPECT_TRUE(file.open("/mnt/mtd/f", PLFile::modeRead));
    EXPECT_FALSE(file.open("/mnt/mtd/f", kCreate));
    EXPECT_EQ(readFile("/mnt/mtd/f"), "x");
    hostsim::clearOpenFaults();
    EXPECT_TRUE(file.open("/mnt/mtd/f", PLFile::modeWrite));
}

// ---------------------------------------------------------------- logger

TEST_F(HostSim, LoggerRotatesAtTheLimit)
{
    PLLogger log;
    ASSERT_TRUE(log.init("/mnt/mtd/log/s.log", 20, 2));
    log.write("E", "one");
    log.write("E", "two\n");
    log.write("E", "three");  // exactly 20 bytes: still the live file
    EXPECT_EQ(readFile("/mnt/mtd/log/s.log"), "E one\nE two\nE three\n");
    log.write("E", "four");
    EXPECT_EQ(readFile("/mnt/mtd/log/s.log"), "E four\n");
    EXPECT_EQ(readFile("/mnt/mtd/log/s.log.1"), "E one\nE two\nE three\n");
    log.write("E", "five");
    log.write("E", "sixsixsix");
    log.write("E", "0123456789abcdefghijklmn");  // cut to the limit
    EXPECT_EQ(readFile("/mnt/mtd/log/s.log"), "E 0123456789abcdefg\n");
    EXPECT_EQ(readFile("/mnt/mtd/log/s.log.1"), "E sixsixsix\n");
    EXPECT_EQ(readFile("/mnt/mtd/log/s.log.2"), "E four\nE five\n");
    EXPECT_EQ(listDir("/mnt/mtd/log"), (Strings{"s.log", "s.log.1", "s.log.2"}));

    ASSERT_TRUE(log.init("/t.log", 8, 0));
    log.write("A", "12345");
    log.write("A", "6");
    EXPECT_EQ(readFile("/t.log"), "A 6\n");
    EXPECT_EQ(listDir("/"), (Strings{"mnt", "t.log"}));

    writeFile("/file", "");
    EXPECT_FALSE(log.init("/file/sub/x.log", 100, 1));
}

// ---------------------------------------------------------------- locks and threads

TEST_F(HostSim, MutexRefusesOwnerAndOthers)
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
    EXPECT_FALSE(otherTry);
    EXPECT_FALSE(otherUnlock);
    EXPECT_TRUE(mutex.Unlock(__FILE__, 5));
    if (!kThreadSanitizer) {
        EXPECT_FALSE(mutex.Unlock(__FILE__, 6));
    }
    EXPECT_TRUE(mutex.TryLock(__FILE__, 7));
    EXPECT_TRUE(mutex.Unlock(__FILE__, 8));
}

struct Worker {
    std::atomic<int> passes{0}, starts{0}, stops{0};
    std::atomic<bool> inBody{false}, stopSawBody{false};
    int body()
    {
        inBody = true;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        ++passes;
        inBody = false;
        return 0;
    }
    int onStart() { return ++starts; }
    int onStop() { return stopSawBody = inBody.load(), ++stops; }
};

TEST_F(HostSim, ThreadRunsBodyBetweenHooks)
{
    Worker w;
    GThread thread(function<int>(bind_funcobj0(&w, &Worker::body)), "a-very-long-thread-name",
                   function<int>(bind_funcobj0(&w, &Worker::onStart)), function<int>(bind_funcobj0(&w, &Worker::onStop)));
    EXPECT_TRUE(thread.stop());
    ASSERT_TRUE(thread.start());
    EXPECT_FALSE(thread.start());
    EXPECT_TRUE(thread.isRunning());
    for (int i = 0; i < 2000 && w.passes < 3; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(thread.stop());
    EXPECT_FALSE(w.inBody);
    EXPECT_FALSE(w.stopSawBody);
    EXPECT_GE(w.passes, 3);
    const int passes = w.passes;
    EXPECT_TRUE(thread.stop());
    EXPECT_FALSE(thread.isRunning());
    EXPECT_EQ(w.passes, passes);
    EXPECT_EQ((std::vector<int>{w.starts, w.stops}), (std::vector<int>{1, 1}));
    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ((std::vector<int>{w.starts, w.stops}), (std::vector<int>{2, 2}));
}

// ---------------------------------------------------------------- clock

void expectTime(const PLDeviceTime& t, int y, int mo, int d, int h, int mi, int s)
{
    EXPECT_EQ((std::vector<int>{t.getYear(), t.getMonth(), t.getDay(), t.getHour(), t.getMinute(), t.getSecond()}),
              (std::vector<int>{y, mo, d, h, mi, s}));
}

TEST_F(HostSim, SimulatedClockMovesOnlyWhenTold)
{
    EXPECT_EQ(hostsim::clockMode(), hostsim::ClockMode::Simulated);
    expectTime(PLDeviceTime::getCurrentTime(), 2026, 1, 1, 12, 0, 0);
    EXPECT_EQ(hostsim::simulatedEpochSeconds(), 1767268800);
    hostsim::setLocalTime(2024, 2, 28, 23, 59, 30);
    hostsim::advanceSeconds(45);
    expectTime(PLDeviceTime::getCurrentTime(), 2024, 2, 29, 0, 0, 15);
    hostsim::setTimeOfDay(6, 30);
    expectTime(PLDeviceTime::getCurrentTime(), 2024, 2, 29, 6, 30, 0);

    auto start = std::chrono::steady_clock::now();
    PeloraTime::wait(PeloraTime(100, 0));
    EXPECT_LT(secondsSince(start), 0.5);
    expectTime(PLDeviceTime::getCurrentTime(), 2024, 2, 29, 6, 30, 0);

    hostsim::setAutoAdvance(true);
    PeloraTime::wait(PeloraTime(0, 600000));
    PeloraTime::wait(PeloraTime(0, 600000));
    expectTime(PLDeviceTime::getCurrentTime(), 2024, 2, 29, 6, 30, 1);
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

TEST_F(HostSim, SensorThreadSharesTheSimulatedClock)
{
    struct Sensor {
        std::atomic<int> passes{0};
        int body()
        {
            PeloraTime::wait(PeloraTime(1, 0));
            ia(0, IA_CMD_DN_STATE, IA_CMD_OPT_GET);
            return ++passes;
        }
    } sensor;
    hostsim::setAutoAdvance(true);
    const std::int64_t start = hostsim::simulatedEpochSeconds();
    GThread thread(function<int>(bind_funcobj0(&sensor, &Sensor::body)), "sensor", function<int>(&GThread::emptyFun),
                   function<int>(&GThread::emptyFun));
    ASSERT_TRUE(thread.start());
    hostsim::advanceSeconds(100);
    for (int i = 0; i < 2000 && sensor.passes < 5; ++i) {
        (void)hostsim::trace();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_TRUE(thread.stop());
    const int passes = sensor.passes;
    EXPECT_GE(passes, 5);
    EXPECT_EQ(hostsim::sleeps().size(), static_cast<std::size_t>(passes));
    EXPECT_EQ(hostsim::simulatedEpochSeconds(), start + 100 + passes);
    EXPECT_EQ(hostsim::SimIsp::instance().callCount(), static_cast<std::size_t>(passes));
}

// ---------------------------------------------------------------- shell

TEST_F(HostSim, ShellCommandsWorkUnderTheRoot)
{
    for (const char* f : {"/mnt/mtd/code/config_file/sensor1_0.cfg", "/mnt/mtd/code/config_file/sensor1_3.cfg",
                          "/mnt/mtd/code/config_file/sensor1_4.cfg", "/mnt/mtd/code/config_file/sensor2_0.cfg",
                          "/mnt/mtd/code/configB/sensor1_2.cfg", "/mnt/mtd/code/other/sensor1_1.cfg"}) {
        writeFile(f, "x");
    }
    EXPECT_EQ(sy_system("rm -rf /mnt/mtd/code/config*/sensor1_[0-3].cfg", 5), 0);
    EXPECT_EQ(listDir("/mnt/mtd/code/config_file"), (Strings{"sensor1_4.cfg", "sensor2_0.cfg"}));
    EXPECT_EQ(listDir("/mnt/mtd/code/configB"), Strings{});
    EXPECT_EQ(listDir("/mnt/mtd/code/other"), Strings{"sensor1_1.cfg"});

    const std::string name = "/hostsim-escape-" + std::to_string(getpid());
    EXPECT_EQ(sy_system(("touch /../.." + name + ";echo a>" + name + ".b; echo b > '" + name + ".c'").c_str(), 5), 0);
    EXPECT_TRUE(fileExists(name));
    EXPECT_EQ(readFile(name + ".b"), "a\n");
    EXPECT_EQ(readFile(name + ".c"), "b\n");
    EXPECT_NE(access(name.c_str(), F_OK), 0);
    EXPECT_EQ(sy_system("exit 3", 5), 3);
}

TEST_F(HostSim, ShellCommandIsKilledAtItsLimit)
{
    writeFile("/mnt/mtd/pid", "");
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(sy_system("sleep 5 & echo $! >/mnt/mtd/pid; wait", 1), -1);
    const double took = secondsSince(start);
    EXPECT_GE(took, 0.95);
    EXPECT_LT(took, 1.5);

    // The shell's own children go with it: a dead process is gone or a zombie.
    const std::string stat = "/proc/" + std::to_string(std::atoi(readFile("/mnt/mtd/pid").c_str())) + "/stat";
    auto alive = [&] {
        std::ifstream in(stat);
        std::string pid, name, state;
        return in >> pid >> name >> state && state != "Z";
    };
    for (int i = 0; i < 200 && alive(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(alive());
}

// ---------------------------------------------------------------- ISP

int ia(int ch, unsigned cmd, unsigned opt, void* data) { return ia_ioctrl_v2(ch, static_cast<ia_cmd_e>(cmd), opt, data); }
ia_dynamic_params_attr_st range(int type, int def, int min, int max, std::vector<int> items)
{
    ia_dynamic_params_attr_st r{type, def, min, max, static_cast<int>(items.size()), {}};
    std::copy(items.begin(), items.end(), r.item);
    return r;
}

TEST_F(HostSim, IspStoresValuesAndRecords)
{
    auto& isp = hostsim::SimIsp::instance();
    isp.setDefault(0, 50, 7);
    EXPECT_EQ(ia(0, 50, IA_CMD_OPT_GET, 99), Answer(0, 7));
    EXPECT_EQ(ia(0, 50, IA_CMD_OPT_SET, 33), Answer(0, 33));
    EXPECT_EQ(ia(1, 50, IA_CMD_OPT_GET, 99), Answer(0, 0));
    EXPECT_EQ(ia(0, 50, IA_CMD_OPT_GET), Answer(0, 33));
    EXPECT_TRUE(isp.hasValue(0, 50));

    dn_time_st t = {18, 30, 6, 15};
    EXPECT_EQ(ia(0, IA_CMD_DTN_H, IA_CMD_OPT_SET, &t), 0);
    EXPECT_EQ(isp.record(0, IA_CMD_DTN_H), (std::vector<int32_t>{18, 30, 6, 15}));
    dn_thr_st thr = {9, 9, 9};
    EXPECT_EQ(ia(0, IA_CMD_DTN_THR, IA_CMD_OPT_GET, &thr), 0);
    EXPECT_EQ(std::vector<u32>({thr.d2n_thr, thr.n2d_thr, thr.dn_sensitivity}), std::vector<u32>({0, 0, 0}));

    isp.setDayNight(0, 1);
    isp.setHeatStatus(0, -2);
    isp.setSensorCheckResult(0, 5);
    isp.setExecStatus(0, 1539, 2);
    EXPECT_EQ(ia(0, IA_CMD_DN_STATE, IA_CMD_OPT_GET), Answer(0, 1));
    EXPECT_EQ(ia(0, IA_CMD_HEAT_STATUS, IA_CMD_OPT_GET), Answer(0, -2));
    EXPECT_EQ(ia(0, 1539, IA_CMD_OPT_GET_EXEC_STATUS), Answer(0, 2));
    EXPECT_EQ(ia(0, 1540, IA_CMD_OPT_GET_EXEC_STATUS, 9), Answer(0, 0));
    s32 check[4] = {1, 2, 3, 4};
    EXPECT_EQ(ia(0, IA_CMD_SENSOR_CHECK, IA_CMD_OPT_SET, check), 0);
    EXPECT_EQ(ia(0, IA_CMD_SENSOR_CHECK, IA_CMD_OPT_GET, check), 0);
    EXPECT_EQ(std::vector<s32>(check, check + 4), (std::vector<s32>{1, 2, 3, 5}));
    EXPECT_EQ(ia(0, 50, 9, 4), Answer(-1, 4));
}

TEST_F(HostSim, IspDynamicListAndRanges)
{
    auto& isp = hostsim::SimIsp::instance();
    std::vector<uint32_t> cmds(20);
    std::iota(cmds.begin(), cmds.end(), 100u);
    isp.setDynamicCommands(0, cmds);
    ia_dynamic_params_cmds_st list;
    std::memset(&list, 0xff, sizeof(list));
    ASSERT_EQ(ia(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list), 0);
    EXPECT_EQ(list.cmd_cnt, 20);
    EXPECT_EQ(list.cmd_list[0], 100u);
    EXPECT_EQ(list.cmd_list[15], 115u);
    EXPECT_EQ(isp.calls().back().out.size(), 17u);
    isp.setCommandCount(0, 3);
    ASSERT_EQ(ia(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list), 0);
    EXPECT_EQ(list.cmd_cnt, 3);

    isp.setRange(0, 100, range(0, 5, 0, 100, {10, 20, 40}));
    isp.setRange(0, 101, range(1, 5, -10, 10, {}));
    ia_dynamic_params_attr_st got;
    std::memset(&got, 0x5a, sizeof(got));
    EXPECT_EQ(ia(0, 102, IA_CMD_OPT_GET_PARAM_RNAGE, &got), -1);
    EXPECT_EQ(got.type, 0x5a5a5a5a);
    EXPECT_EQ(ia(0, 100, IA_CMD_OPT_GET_PARAM_RNAGE, &got), 0);
    EXPECT_EQ(isp.calls().back().out, (std::vector<int32_t>{0, 5, 0, 100, 3, 10, 20, 40}));

    std::vector<s32> fixed;
    for (auto [cmd, v] : std::vector<std::pair<unsigned, s32>>{{100, 30}, {100, 31}, {100, -50}, {101, 11}, {101, -11},
                                                               {101, 3}, {102, 1000}}) {
        Answer a = ia(0, cmd, IA_CMD_OPT_CORRECT_PARAM, v);
        EXPECT_EQ(a.first, 0);
        fixed.push_back(a.second);
    }
    EXPECT_EQ(fixed, (std::vector<s32>{20, 40, 10, 10, -10, 3, 1000}));  // 30: the tie goes to the lower item
}

TEST_F(HostSim, IspFaultRules)
{
    auto& isp = hostsim::SimIsp::instance();
    hostsim::IspFault rule;
    rule.cmd = 50;
    rule.option = IA_CMD_OPT_SET;
    rule.skip = 1;
    rule.count = 2;
    rule.result = -5;
    isp.addFault(rule);
    hostsim::IspFault always;
    always.channel = 1;
    isp.addFault(always);

    std::vector<int> results;
    for (s32 v = 1; v <= 4; ++v) results.push_back(ia(0, 50, IA_CMD_OPT_SET, v).first);
    EXPECT_EQ(results, (std::vector<int>{0, -5, -5, 0}));
    EXPECT_EQ(isp.value(0, 50), 4);
    EXPECT_EQ(ia(1, 50, IA_CMD_OPT_SET, 8), Answer(-1, 8));
    EXPECT_EQ(ia(1, 7, IA_CMD_OPT_GET, 8), Answer(-1, 8));
    EXPECT_FALSE(isp.hasValue(1, 50));

    isp.clearFaults();
    isp.failNthCall(2, -9);
    results.clear();
    for (int i = 0; i < 3; ++i) results.push_back(ia(1, 7, IA_CMD_OPT_GET).first);
    EXPECT_EQ(results, (std::vector<int>{0, -9, 0}));
    EXPECT_EQ(isp.callCount(), 9u);
    isp.clearCalls();
    EXPECT_EQ(isp.callCount(), 0u);
}

TEST_F(HostSim, TraceRecordsLibraryAndVideoInOrder)
{
    auto& isp = hostsim::SimIsp::instance();
    hostsim::SimVideoModule video;
    isp.setVersionText(0, std::string("V1.2") + std::string(60, 'x'));
    ia(0, IA_CMD_EXPOSE_MODE, IA_CMD_OPT_SET, 3);
    video.notifySensorParam(1, 2370, 0);
    dn_thr_st thr = {1, 2, 3};
    ia(0, IA_CMD_NTD_THR, IA_CMD_OPT_GET, &thr);
    char text[50];
    std::memset(text, 'q', sizeof(text));
    ia(0, IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, text);
    ia_dynamic_params_cmds_st list;
    ia(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list);
    ia(2, IA_CMD_EXPOSE_MODE, IA_CMD_OPT_GET, nullptr);
    EXPECT_EQ(std::string(text), "V1.2" + std::string(45, 'x'));
    EXPECT_EQ(hostsim::trace(), (Strings{"ia ch=0 cmd=16 opt=0 in=[3] ret=0", "video ch=1 key=2370 val=0 ret=0",
                                         "ia ch=0 cmd=146 opt=1 in=[1,2,3] ret=0",
                                         "ia ch=0 cmd=2496 opt=1 in=[] ret=0 text=\"V1.2" + std::string(45, 'x') + "\"",
                                         "ia ch=0 cmd=4112 opt=1 in=[] ret=0", "ia ch=2 cmd=16 opt=1 in=[] ret=-1"}));
    hostsim::clearTrace();
    EXPECT_TRUE(hostsim::trace().empty());
}

// ---------------------------------------------------------------- video module

TEST_F(HostSim, VideoModuleAnswersAsConfigured)
{
    hostsim::SimVideoModule video;
    video.setNotifyResult(4);
    video.setNotifyResultForKey(2370, -1);
    EXPECT_EQ(video.notifySensorParam(0, 2370, 1), -1);
    EXPECT_EQ(video.notifySensorParam(1, 16, 2), 4);
    auto notes = video.notifications();
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ((std::vector<int>{notes[1].channel, notes[1].key, notes[1].value}), (std::vector<int>{1, 16, 2}));
    EXPECT_EQ(hostsim::trace(), (Strings{"video ch=0 key=2370 val=1 ret=-1", "video ch=1 key=16 val=2 ret=4"}));

    video.setBusy(2);
    std::vector<int> busy;
    for (int i = 0; i < 3; ++i) busy.push_back(video.getVideoBusyState());
    EXPECT_EQ(busy, (std::vector<int>{1, 1, 0}));
    video.setBusy(-1);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(video.getVideoBusyState(), 1);
    EXPECT_EQ(video.busyPolls(), 8);

    video.setLimitedFrames(1, LimitedFramesWDRModeParam(2, 1));
    LimitedFramesWDRModeParam limited(3, 1);
    video.getLimitedFramesWDRModeParam(0, limited);  // an unconfigured channel has no limit
    EXPECT_EQ((std::vector<int>{limited.getLimitFramesModeId(), limited.getLimitWdr()}), (std::vector<int>{-1, 0}));
}

// ---------------------------------------------------------------- parsers

TEST_F(HostSim, MachineInfoParser)
{
    MachineInfo info;
    info.setSerialNumber("kept");
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo("/mnt/mtd/machineinfo.ini", info));
    writeFile("/mnt/mtd/machineinfo.ini",
              "[machine]\r\n# deviceType=9\n; c\n  deviceType = 14 \r\nhardwareModel=Hi3516AV200\nhardwareCode= A B \n"
              "other=1\n");
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo("/mnt/mtd/machineinfo.ini", info));
    EXPECT_EQ(info.getDeviceType(), 14u);
    EXPECT_EQ(info.getHardwareModel(), "Hi3516AV200");
    EXPECT_EQ(info.getHardwareCode(), "A B");
    EXPECT_EQ(info.getSerialNumber(), "kept");
    writeFile("/mnt/mtd/machineinfo.ini", "deviceType=ipc\n");
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo("/mnt/mtd/machineinfo.ini", info));
    EXPECT_EQ(info.getDeviceType(), 0u);
}

TEST_F(HostSim, ModuleConfigParserPicksTheBoard)
{
    std::vector<ModuleConfigure> list(1);
    EXPECT_FALSE(ModuleConfigureParser::parse("/hd1/mc.xml", "M", "C", list));
    writeFile("/hd1/mc.xml", "<moduleConfig><module id=\"1\">");
    EXPECT_FALSE(ModuleConfigureParser::parse("/hd1/mc.xml", "M", "C", list));
    writeFile("/hd1/mc.xml",
              "<moduleConfig>\n"
              " <module id=\"3\" hardwareModel=\"M\" hardwareCode=\"\"><parameters>p3</parameters>"
              "<detail>(max_scheme=4)(lensId=3)</detail></module>\n"
              " <module id=\"4\" hardwareModel=\"N\"><parameters>p4</parameters></module>\n"
              " <module id=\"5\" hardwareModel=\"M\" hardwareCode=\"D\"/>\n"
              " <module hardwareCode=\"C\"><detail>d</detail></module>\n"
              "</moduleConfig>\n");
    ASSERT_TRUE(ModuleConfigureParser::parse("/hd1/mc.xml", "M", "C", list));
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[1].getModuleId(), 3);
    EXPECT_EQ(list[1].getParameters(), "p3");
    EXPECT_EQ(list[1].getDetail(), "(max_scheme=4)(lensId=3)");
    EXPECT_EQ(list[2].getModuleId(), 0);
    EXPECT_EQ(list[2].getParameters(), "");
    EXPECT_EQ(list[2].getDetail(), "d");
}

TEST(StringHandlerTest, SplitKeepsEmptyPieces)
{
    auto split = [](const std::string& text, const std::string& sep) {
        Strings out{"old"};
        StringHandler::split(text, out, sep);
        return out;
    };
    EXPECT_EQ(split("a,,b", ","), (Strings{"old", "a", "", "b"}));
    EXPECT_EQ(split("", ","), (Strings{"old", ""}));
    EXPECT_EQ(split(",", ","), (Strings{"old", "", ""}));
    EXPECT_EQ(split("a::b:", "::"), (Strings{"old", "a", "b:"}));
    EXPECT_EQ(split("a,b", ""), (Strings{"old", "a,b"}));
}

}  // namespace

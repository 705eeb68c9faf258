// sensorctl as a separate process: scripts in, exact results out.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

struct Outcome {
    std::string out;
    int status;
};

class SensorctlTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "sensorctl-test-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Runs sensorctl with `args` (shell words) and returns its standard output and exit status.
    Outcome sensorctl(const std::string& args) const
    {
        FILE* pipe = ::popen(("cd '" + dir_ + "' && '" SENSORCTL_PATH "' " + args + " 2>/dev/null").c_str(), "r");
        Outcome run{"", -1};
        char buffer[4096];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0;) run.out.append(buffer, n);
        const int status = ::pclose(pipe);
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return run;
    }
    Outcome script(const std::string& lines, const std::string& camera = "bullet", int channel = 1) const
    {
        std::ofstream(dir_ + "/script.txt") << lines;
        if (!fs::exists(dir_ + "/root")) sensorctl("--profile " + camera + " init-root root");
        return sensorctl("--root root --channel " + std::to_string(channel) + " --console console.txt run script.txt");
    }
    std::string dir_;
};

// Scripts written against run's contract (tests/golden/run: the first line names the camera, the
// channel and the exit status) print byte for byte what they printed when they were recorded.
TEST_F(SensorctlTest, RunScriptsReplayTheirRecordedResults)
{
    const fs::path golden = fs::path(__FILE__).parent_path() / "golden/run";
    int replayed = 0;
    for (const auto& entry : fs::directory_iterator(golden)) {
        if (entry.path().extension() != ".script") continue;
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream in(entry.path());
        std::string hash, camera;
        int channel = 0, status = -1;
        in >> hash >> camera >> channel >> status;
        std::ostringstream expected;
        expected << std::ifstream(fs::path(entry.path()).replace_extension(".out")).rdbuf();
        fs::remove_all(dir_ + "/root");
        ASSERT_EQ(sensorctl("--profile " + camera + " init-root root").status, 0);
        const Outcome run = sensorctl("--root root --channel " + std::to_string(channel) + " run '" +
                                      entry.path().string() + "'");
        EXPECT_EQ(run.out, expected.str());
        EXPECT_EQ(run.status, status);
        ++replayed;
    }
    EXPECT_EQ(replayed, 8);
}

TEST_F(SensorctlTest, ParameterCommandsPrintTheirResults)
{
    const Outcome run = script(
        "# comments and blank lines are skipped\n\n"
        "get 34\nset KEY_BRIGHTNESS 60\nget KEY_BRIGHTNESS\nset 34 61 nosave\nget 34\n"
        "setparams (2337,40)(2353,45)\ngetparams (2337,2353)\nrestore 2337\nget 2337\n"
        "scheme\nscheme 1\nscheme\nscheme 9\nmode\nmode 0\nmode\n"
        "flush\nrevert\nrange 49\nrange 34\n");
    EXPECT_EQ(run.out,
              "true 50\n0\ntrue 60\n0\ntrue 60\n"
              "0\ntrue (2337,40)(2353,45)\n0\ntrue 40\n"
              "true 0\ntrue\ntrue 1\nfalse\ntrue 1\ntrue\ntrue 0\n"
              "0\ntrue\ntrue 25 6 12 25 30 33 50 60 100 120 250 500 1000 2000 5000 10000\nfalse\n");
    EXPECT_EQ(run.status, 0);
}

TEST_F(SensorctlTest, LibraryVideoAndLightCommands)
{
    const Outcome run = script(
        "set KEY_MIRROR 1\nisp calls\nvideo calls\nisp fail 34 1\nset 34 70\nset 34 70\nisp ok 34\n"
        "isp fail 2337\nset 2337 1\nset 2337 2\nisp ok 2337\nset 2337 3\n"
        "shutter\nshutter up\nshutter\nshutter down\nshutter 0\nshutter 99\nzoom\n"
        "ir 0\nwhite 1\nlighttype 4\nlighttype 3\n");
    EXPECT_EQ(run.out,
              "0\n2384 0 1\nend\n1 2384 1\nend\nok\n-34\n0\nok\n"
              "ok\n-2337\n-2337\nok\n0\n"
              "true 2\ntrue\ntrue 3\ntrue\ntrue\nfalse\ntrue 16384 1000\n"
              "true\ntrue\nfalse\ntrue\n");
}

TEST_F(SensorctlTest, ClockTicksSchemesAndRestart)
{
    const Outcome run = script(
        "scheme 1\nset 8001 8\nset 8003 12\nset 34 80\nflush\nscheme 2\nset 8003 0\nscheme 3\nset 8003 0\n"
        "scheme 0\nset 8003 0\nset 8000 1\nisp calls\n"
        "clock 07:59\ntick\nclock 8:00\ntick 3\nget 34\nisp calls\n"
        "clock 13:00\ntick\nset 8000 2\nisp dn night\ntick\nisp dn day\ntick\n"
        "restart\nget 8000\nreset\nget 8000\nscheme\n");
    EXPECT_EQ(run.out,
              "true\n0\n0\n0\n0\ntrue\n0\ntrue\n0\ntrue\n0\n0\n34 0 80\n34 0 50\nend\n"
              "07:59\nscheme 0\n08:00\nscheme 1\ntrue 80\n34 0 80\nend\n"
              "13:00\nscheme 0\n0\nok\nscheme 1\nok\nscheme 0\n"
              "ok\ntrue 0\ntrue\ntrue 0\ntrue 0\n");
}

TEST_F(SensorctlTest, ErrorsAreReportedAndTheScriptGoesOn)
{
    const Outcome run = script("bogus 1\nset 34\nset 34 x\nget NOT_A_KEY\nclock 25:00\ntick -1\nisp fail\nget 34\n");
    EXPECT_EQ(run.out,
              "error: unknown command 'bogus'\nerror: usage: set KEY VALUE [nosave]\n"
              "error: usage: set KEY VALUE [nosave]\nerror: usage: get KEY\nerror: usage: clock HH:MM\n"
              "error: usage: tick [N]\n"
              "error: usage: isp dn day|night | isp calls | isp fail CMD [N] | isp ok CMD\ntrue 50\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(sensorctl("--root nowhere get 34").status, 2);
}

TEST_F(SensorctlTest, StyleCommandEndsWithItsMarker)
{
    const Outcome run = script("style\n", "thermal-dual", 2);
    ASSERT_GT(run.out.size(), 100u);
    EXPECT_EQ(run.out.rfind("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<style family=\"thermal channels\"", 0), 0u);
    EXPECT_EQ(run.out.substr(run.out.size() - 14), "</style>\n\nend\n");
}

TEST_F(SensorctlTest, CfgDumpNamesEveryEntryAndEncodeRoundTrips)
{
    ASSERT_EQ(sensorctl("--profile dome init-root root").status, 0);
    ASSERT_EQ(sensorctl("--root root get 34").out, "true 50\n");
    const Outcome dump = sensorctl("cfg dump root/mnt/mtd/code/config_file/sensor1_0.cfg");
    EXPECT_EQ(dump.out.substr(0, 63), "KEY_SCHEME_MODE (8000) = 0\nKEY_SCHEME_START_HOUR (8001) = 0\nKEY");
    EXPECT_EQ(std::count(dump.out.begin(), dump.out.end(), '\n'), 78);
    EXPECT_EQ(dump.out.find("unknown"), std::string::npos);

    for (const char* file : {"'(34,60)(99999,-1)(2337,7)' a.cfg", "'(34,61)(2337,7)' b.cfg", "'(34,60)(2337,7)' c.cfg"})
        EXPECT_EQ(sensorctl(std::string("cfg encode ") + file).status, 0) << file;
    EXPECT_EQ(fs::file_size(dir_ + "/a.cfg"), 24u);
    EXPECT_EQ(sensorctl("cfg dump a.cfg").out,
              "KEY_BRIGHTNESS (34) = 60\nunknown (99999) = -1\nKEY_SATURATION (2337) = 7\n");
    // A key on one side only is a difference either way round; the exit status says whether any.
    const std::string missing = "unknown (99999): -1 -> missing\n";
    for (const auto& c : {std::make_pair("a.cfg b.cfg", "KEY_BRIGHTNESS (34): 60 -> 61\n" + missing + "1"),
                          {"a.cfg c.cfg", missing + "1"},
                          {"c.cfg a.cfg", "unknown (99999): missing -> -1\n1"}, {"c.cfg c.cfg", "0"}}) {
        const Outcome run = sensorctl(std::string("cfg diff ") + c.first);
        EXPECT_EQ(run.out + std::to_string(run.status), c.second);
    }
    EXPECT_EQ(sensorctl("cfg encode '(34,60' d.cfg").status, 2);
}

TEST_F(SensorctlTest, DemoRunsToTheFactoryResetAndHelpNamesEverySubcommand)
{
    const Outcome run = sensorctl("demo");
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("> tick\nscheme 1\n"), std::string::npos);
    const std::string end = "> reset\ntrue\n> scheme\ntrue 0\n> get KEY_BRIGHTNESS\ntrue 50\n";
    ASSERT_GT(run.out.size(), end.size());
    EXPECT_EQ(run.out.substr(run.out.size() - end.size()), end);

    const std::string top = sensorctl("--help").out;
    for (const char* sub : {"--root", "  demo", "  profiles", "  init-root", "  controls", "  run", "  shell", "  cfg",
                            "  style", "  get", "  tick"}) {
        EXPECT_NE(top.find(sub), std::string::npos) << sub;
    }
}

}  // namespace

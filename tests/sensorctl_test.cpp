// sensorctl as a separate process: scripts in, exact results out; people's commands refuse and explain.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

struct Outcome { std::string out, err; int status; };

std::string readFile(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

class SensorctlTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "sensorctl-test-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
        ASSERT_EQ(sensorctl("init-root root").status, 0);
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Runs `shell` (a shell snippet; $S is sensorctl) in the test's directory.
    void sh(const std::string& shell) const
    {
        ASSERT_EQ(std::system(("cd '" + dir_ + "' && S='" SENSORCTL_PATH "' && " + shell).c_str()), 0) << shell;
    }
    // sensorctl with `args` (shell words) and `input` on its standard input.
    Outcome sensorctl(const std::string& args, const std::string& input = "") const
    {
        std::ofstream(dir_ + "/input.txt") << input;
        FILE* pipe = ::popen(("cd '" + dir_ + "' && timeout 60 '" SENSORCTL_PATH "' " + args +
                              " <input.txt 2>err.txt")
                                 .c_str(),
                             "r");
        Outcome run{"", "", -1};
        char buffer[4096];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0;) run.out.append(buffer, n);
        const int status = ::pclose(pipe);
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        run.err = readFile(dir_ + "/err.txt");
        return run;
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
        fs::remove_all(dir_ + "/root");
        ASSERT_EQ(sensorctl("--profile " + camera + " init-root root").status, 0);
        const Outcome run = sensorctl("--root root --channel " + std::to_string(channel) + " run '" +
                                      entry.path().string() + "'");
        EXPECT_EQ(run.out, readFile(fs::path(entry.path()).replace_extension(".out")));
        EXPECT_EQ(run.status, status);
        ++replayed;
    }
    EXPECT_EQ(replayed, 8);
}

// What a person types (after a setup in the shell, where $S is sensorctl), and what comes back: the exit
// status (0 done, 1 refused or failed, 2 usage), a piece of the standard output and of the standard error
// (none at all where none is given). The numbers are those of the findings each row answers.
struct Typed { const char* name; std::string setup; const char *args, *input; int status; const char *out, *err; };

TEST_F(SensorctlTest, PeoplesCommandsRefuseAndExplain)
{
    // The camera's style with Brightness's range and step replaced.
    const auto brightness = [](const std::string& range) {
        return "sed -i 's/\\(name=\"Brightness\" kind=\"slider\"\\).*\\/>/\\1 " + range +
               "\\/>/' root/hd1/moduleConfig/sensorConfig/style/Style.xml";
    };
    const char* const garbageScheme =
        "$S --root root get 34 >/dev/null && head -c 632 /dev/zero | tr '\\0' x > "
        "root/mnt/mtd/code/config_file/sensor1_0.cfg";
    const Typed rows[] = {
        {"2 flush refused", "", "--root root set KEY_SCHEME_END_HOUR 0", "", 1, "",
         "sensorctl: 507: period start is not before its end; nothing saved\n"},
        {"2 scheme outside the camera", "", "--root root scheme 99", "", 1, "", "has schemes 0 to 3"},
        {"2 library fault, strict", "", "--root root --console - run --strict", "isp fail 34\nset 34 1\nget 34\n", 1,
         "ok\n-34\n", "-34: the image library or the video module refused KEY_BRIGHTNESS (34); nothing saved\n"},
        {"2 refused flush, strict", "", "--root root --console - run --strict -", "set 8003 0\nflush\nget 34\n", 1,
         "0\n507\n", "stopped at line 2: flush\n"},
        {"2 root not writable", "rm -rf root/tmp && touch root/tmp", "--root root get 34", "", 1, "",
         "channel 1 did not start: its style document is empty"},
        {"2 damaged scheme file", garbageScheme, "--root root get 34", "", 1, "",
         "scheme 0 holds no value for KEY_SCHEME_MODE (8000)"},
        {"3 below the range", "", "--root root set KEY_BRIGHTNESS -5", "", 1, "",
         "KEY_BRIGHTNESS (Brightness) takes 0 to 100, not -5; nothing sent (--force sends it anyway)\n"},
        {"3 not a choice", "", "--root root set KEY_MIRROR 7", "", 1, "",
         "takes 0 (Normal), 1 (Horizontal), 2 (Vertical) or 3 (Rotate 180), not 7"},
        {"3 choice the library lacks", "", "--root root set KEY_MAX_SHUTTER 3", "", 1, "", "(1/6 s), 12 (1/12 s)"},
        {"3 choice the library offers", "", "--root root set KEY_MAX_SHUTTER 6", "", 0, "ok\n", ""},
        {"3 forced", "", "--root root set KEY_MIRROR 7 --force", "", 0, "ok\n", ""},
        {"3 off the step", brightness(R"(min="0" max="100" step="5")"), "--root root set KEY_BRIGHTNESS 52", "", 1, "",
         "takes 0 to 100 in steps of 5, not 52"},
        {"3 style against itself", brightness(R"(min="0" max="40" step="1")"), "--root root controls", "", 1,
         "  2337 KEY_SATURATION", "not offered: KEY_BRIGHTNESS (Brightness): default 50 is not a value of its own range"},
        {"3 number too long", "", "--root root setparams '(34,99999999999999999999)'", "", 2, "", "bad pair"},
        {"3 unknown key", "", "--root root get 99999", "", 1, "", "key 99999 is not a control of this channel"},
        {"3 channel of a single sensor", "", "--root root --channel 2 get 34", "", 2, "", "has 1 channel\n"},
        {"3 channel of two sensors", "$S --profile thermal-dual init-root td >/dev/null", "--root td --channel 3 get 34",
         "", 2, "", "has 2 channels\n"},
        {"3 mode", "", "--root root mode 7", "", 1, "", "the parameter mode is 0"},
        {"3 light type", "", "--root root lighttype 42", "", 1, "", "KEY_LIGHT_TYPE (Illumination) takes 0"},
        {"3 infrared", "", "--root root ir 9", "", 1, "", "not 9"},
        {"4 unclosed pair", "", "--root root setparams '(34,60'", "", 2, "", "bad pair at character 1"},
        {"4 script is a directory", "mkdir -p adir", "--root root run adir", "", 2, "", "adir is a directory"},
        {"4 broken style", "printf '<style><tab key=\"a\"><param id=\"34\"' > b.xml",
         "style merge b.xml b.xml --detail '(lensId=0)'", "", 1, "", "b.xml does not parse"},
        {"4 full disk", "", "cfg encode '(34,1)' /dev/full", "", 1, "", "No space left on device"},
        {"4 not a parameter file", "head -c 632 /dev/zero | tr '\\0' x > g.cfg", "cfg dump g.cfg", "", 0,
         "unknown (2021161080) = 2021161080\n", "79 of 79 entries of g.cfg have keys the key table does not know"},
        {"5 misspelt key", "", "--root root get KEY_BRIGTNESS", "", 2, "", "did you mean KEY_BRIGHTNESS?\n"},
        {"5 unknown command", "", "nosuch", "", 2, "", "unknown command 'nosuch'"},
        {"5 the hint as typed", "", "init-root new --profile dome", "", 0, "camera root 'dome' made at new\n", ""},
        {"5 bad option value", "", "--channel x get 34", "", 2, "", "--channel"},
        {"5 option without value", "", "--root", "", 2, "", "--root"},
        {"5 option after the command", "", "get 34 --root root", "", 2, "", "unknown option '--root'"},
        {"5 missing argument", "", "init-root", "", 2, "", "DIR is required"},
        {"5 missing command", "", "cfg", "", 2, "", "a command is required"},
        {"5 directory as parameter file", "mkdir -p adir", "cfg dump adir", "", 1, "", "adir is a directory"},
        {"5 existing root", "", "init-root root --profile dome", "", 1, "", "--force replaces it"},
        {"7 readable calls", "", "--root root --console - run", "set 34 70\nisp calls --names\n", 0,
         "0\n34 KEY_BRIGHTNESS set 70\nend\n", ""},
        {"7 tick says when", "", "--root root tick", "", 0, "scheme 0 at 12:00:02\n", ""},
        {"7 zoom units", "", "--root root zoom", "", 0, "16384 steps, 1.000x\n", ""},
        {"7 help by example", "", "get --help", "", 0, "example: sensorctl get KEY_BRIGHTNESS\n", ""},
        {"7 range by key", "", "--root root range max_shutter", "", 0, "25 6 12 25", ""},
        {"7 clock alone", "", "--root root clock", "", 0, "12:00:01\n", ""},
        {"7 console quiet", "", "--root root scheme 99 --force", "", 1, "", "sensorctl: the channel refused scheme 99\n"},
        {"8 absurd tick", "", "--root root tick 1000000000", "", 2, "", "at most 86400 passes"},
        {"9 shell", "", "--root root shell", "help\nclock 08:00\ntick\nset 34 500\nquit\nget 34\n", 1,
         "in the shell quit or exit ends.\n08:00\nscheme 0 at 08:00:0", "the clock is simulated from now on"},
        {"10 duplicate key", "", "cfg encode '(34,60)(KEY_BRIGHTNESS,61)' d.cfg", "", 2, "", "(34) is given twice"},
    };
    for (const Typed& row : rows) {
        SCOPED_TRACE(row.name);
        if (!row.setup.empty()) sh(row.setup);
        const Outcome run = sensorctl(row.args, row.input);
        EXPECT_EQ(run.status, row.status);
        EXPECT_NE(run.out.find(row.out), std::string::npos) << run.out;
        if (*row.err == '\0') {
            EXPECT_EQ(run.err, "");
        } else {
            EXPECT_NE(run.err.find(row.err), std::string::npos) << run.err;
        }
        if (!row.setup.empty()) sensorctl("init-root root --force");
    }
}

TEST_F(SensorctlTest, OneShotChangesAreSavedAndTheRootIsReplacedWhole)
{
    EXPECT_EQ(sensorctl("--root root set brightness 65").out, "ok\n");
    EXPECT_EQ(sensorctl("--root root set --nosave KEY_BRIGHTNESS 66").out, "ok\n");
    EXPECT_EQ(sensorctl("--root root get 34 --json").out, "{\"key\":34,\"name\":\"KEY_BRIGHTNESS\",\"value\":65}\n");
    EXPECT_EQ(sensorctl("--root root setparams '(34,70)(KEY_SATURATION,40)'").out, "ok\n");
    EXPECT_EQ(sensorctl("--root root getparams '(34,2337)'").out, "(34,70)(2337,40)\n");

    // The parameter files on flash, changed offline, are what the next start reads.
    sh("$S cfg set root/mnt/mtd/code/config_file/sensor1_0.cfg KEY_BRIGHTNESS 12");
    EXPECT_EQ(sensorctl("--root root get 34").out, "12\n");
    EXPECT_EQ(sensorctl("cfg set root/mnt/mtd/code/config_file/sensor1_0.cfg 99999 1").status, 1);

    ASSERT_EQ(sensorctl("init-root root --profile dome --force").status, 0);
    EXPECT_FALSE(fs::exists(dir_ + "/root/mnt/mtd/code/config_file/sensor1_0.cfg"));
    EXPECT_EQ(sensorctl("--root root get 34").out, "50\n");
    EXPECT_EQ(sensorctl("--root root scheme 3").status, 1);  // the dome has three schemes
}

TEST_F(SensorctlTest, TheConsoleKeepsItsReportsWithoutColourOffATerminal)
{
    const Outcome run = sensorctl("--root root --console console.txt scheme 99 --force");
    EXPECT_EQ(run.status, 1);
    const std::string console = readFile(dir_ + "/console.txt");
    EXPECT_NE(console.find("[sensor assert] file:ISensorController_schemes.cpp fun:setParamScheme"),
              std::string::npos);
    EXPECT_EQ(console.find('\x1b'), std::string::npos);
    EXPECT_NE(sensorctl("--root root -v get 34").err.find("dnaCmdList.cmd_list"), std::string::npos);
}

TEST_F(SensorctlTest, DemoSavesItsScheduleAndSwitchesAfterARestart)
{
    const Outcome run = sensorctl("demo");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    for (const char* part :
         {"> schedule\n0 00:00-08:00 ok\n1 08:00-12:00 ok\n2 12:00-18:00 ok\n3 20:00-24:00 ok\n",
          "> clock 08:00\n08:00\n> tick\nscheme 1\n> isp calls --names\n34 KEY_BRIGHTNESS set 80\n",
          "> restart\nok\n> clock 07:00\n07:00\n> tick\nscheme 0\n> tick --until 08:00\nscheme 1\n"
          "> get KEY_BRIGHTNESS\ntrue 80\n> tick --until 13:00\nscheme 2\n> tick --until 21:00\nscheme 3\n",
          "> reset\ntrue\n> scheme\ntrue 0\n> get KEY_BRIGHTNESS\ntrue 50\n> schedule\n0 00:00-24:00 ok\n"}) {
        EXPECT_NE(run.out.find(part), std::string::npos) << part;
    }
}

// The controls, the checks, the style and help all read one description; each command of the
// script's table is a one-shot whose help shows an example.
TEST_F(SensorctlTest, ControlsStyleAndHelpReadOneDescription)
{
    ASSERT_EQ(sensorctl("--profile thermal-dual init-root td").status, 0);
    const Outcome controls = sensorctl("--root td --channel 2 controls --json");
    ASSERT_EQ(controls.status, 0) << controls.err;
    const nlohmann::json json = nlohmann::json::parse(controls.out);
    std::string tabs;
    std::size_t count = 0;
    for (const auto& tab : json["tabs"]) {
        tabs += tab["key"].get<std::string>() + " ";
        count += tab["controls"].size();
    }
    EXPECT_EQ(tabs, "scheme image thermal enhance mixstream ");
    EXPECT_EQ(count, 37u);
    EXPECT_EQ(json["tabs"][0]["controls"][1].dump(),
              "{\"default\":0,\"key\":8001,\"keyName\":\"KEY_SCHEME_START_HOUR\",\"kind\":\"slider\",\"max\":24,"
              "\"min\":0,\"name\":\"Period start hour\",\"step\":1,\"tab\":\"scheme\",\"value\":0}");
    const nlohmann::json style = nlohmann::json::parse(sensorctl("--root td --channel 2 style --json").out);
    EXPECT_EQ(style["tabs"].size(), json["tabs"].size());

    const std::string document = sensorctl("--root td --channel 2 style").out;
    EXPECT_EQ(document.substr(document.size() - 9), "</style>\n");

    std::istringstream help(sensorctl("--root root --console - run", "help\n").out);
    int commands = 0;
    for (std::string indent, name, rest; help >> name && std::getline(help, rest);) {
        if (name == "help" || name == "Keys") continue;
        SCOPED_TRACE(name);
        EXPECT_NE(sensorctl(name + " --help").out.find("example: sensorctl " + name), std::string::npos);
        ++commands;
    }
    EXPECT_EQ(commands, 24);
}

}  // namespace

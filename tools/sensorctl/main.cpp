// sensorctl: runs a camera channel of the sensor module on the simulated host from the command line.
#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "SensorDebug.h"
#include "SensorFile.h"
#include "camera.h"
#include "controls.h"
#include "hostsim.h"
#include "script.h"

namespace fs = std::filesystem;

namespace {

// The module prints its reports on the standard output. sensorctl keeps the
// real standard output for its own results and sends the module's console to
// the standard error, a file or nowhere.
class FdBuf : public std::streambuf {
public:
    explicit FdBuf(int fd) : fd_(fd) {}

protected:
    int overflow(int c) override
    {
        if (c == EOF) return 0;
        const char ch = static_cast<char>(c);
        return ::write(fd_, &ch, 1) == 1 ? c : EOF;
    }
    std::streamsize xsputn(const char* s, std::streamsize n) override
    {
        std::streamsize done = 0;
        while (done < n) {
            const ssize_t w = ::write(fd_, s + done, static_cast<size_t>(n - done));
            if (w <= 0) break;
            done += w;
        }
        return done;
    }

private:
    int fd_;
};

struct Options {
    std::string root;
    std::string profile = sensorctl::kDefaultProfile;
    std::string console;
    int channel = 1;
    bool rootGiven = false;
};

class Results {
public:
    Results() : fd_(::dup(STDOUT_FILENO)), buf_(fd_), out_(&buf_) {}
    std::ostream& out() { return out_; }

    // From here on the module's console goes to `target`: "" is the standard
    // error, "-" nowhere, anything else a file.
    bool redirectConsole(const std::string& target, std::string& error)
    {
        std::fflush(stdout);
        int fd = STDERR_FILENO;
        if (!target.empty()) {
            fd = ::open(target == "-" ? "/dev/null" : target.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd < 0) {
                error = "cannot write the console file " + target + ": " + std::strerror(errno);
                return false;
            }
        }
        ::dup2(fd, STDOUT_FILENO);
        if (fd != STDERR_FILENO) ::close(fd);
        return true;
    }

private:
    int fd_;
    FdBuf buf_;
    std::ostream out_;
};

int failWith(const std::string& message, const std::string& hint = "")
{
    std::cerr << "sensorctl: " << message << "\n";
    if (!hint.empty()) std::cerr << hint << "\n";
    return 2;
}

// The camera root of a command: --root, else SENSOR_ROOT, else ./camera, made
// from the profile on first use.
bool resolveRoot(Options& opt, std::string& error, std::string& hint)
{
    if (opt.root.empty()) {
        const char* env = std::getenv("SENSOR_ROOT");
        opt.rootGiven = env != nullptr && *env != '\0';
        opt.root = opt.rootGiven ? env : "camera";
    }
    opt.root = fs::absolute(opt.root).lexically_normal().string();
    if (sensorctl::isCameraRoot(opt.root)) return true;
    if (opt.rootGiven) {
        error = "no camera root at " + opt.root;
        hint = "make one with: sensorctl init-root " + opt.root + " [--profile NAME]";
        return false;
    }
    return sensorctl::makeRoot(opt.root, opt.profile, error);
}

// The host simulator as a script sees it: simulated clock at 12:00 (or the
// root's start time), each one-second pause of a pass moving it, and the
// sensor thread making passes only when told to.
bool prepareHost(const Options& opt, sensorctl::Channel& channel, bool realTime, std::string& error)
{
    hostsim::setRoot(opt.root);
    hostsim::resetAll();
    if (realTime) {
        hostsim::setClockMode(hostsim::ClockMode::Real);
    } else {
        hostsim::setAutoAdvance(true);
        hostsim::setThreadsHeld(true);
    }
    return channel.loadSimulator(error);
}

using ScriptBody = std::function<int(sensorctl::Script&, sensorctl::Channel&, std::ostream&)>;

int runScriptCommand(Options opt, const ScriptBody& body,
                     bool realTime = false)
{
    std::string error;
    std::string hint;
    if (!resolveRoot(opt, error, hint)) return failWith(error, hint);
    Results results;
    if (!results.redirectConsole(opt.console, error)) return failWith(error);
    sensorctl::Channel channel(opt.channel);
    if (!prepareHost(opt, channel, realTime, error)) return failWith(error);
    channel.up();
    sensorctl::Script script(channel, results.out());
    script.markCalls();
    const int status = body(script, channel, results.out());
    channel.down();
    std::fflush(stdout);
    return status;
}

std::string readWhole(const std::string& path, bool& ok)
{
    std::ifstream in(path, std::ios::binary);
    ok = static_cast<bool>(in);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

int styleMerge(Options opt, const std::string& stylePath, const std::string& diversityPath, const std::string& detail,
               bool dynamic)
{
    bool ok = false;
    const std::string style = readWhole(stylePath, ok);
    if (!ok) return failWith("cannot read " + stylePath);
    const std::string diversity = readWhole(diversityPath, ok);
    if (!ok) return failWith("cannot read " + diversityPath);
    if (detail.size() >= MODULE_DETAIL_LEN) return failWith("the detail text is longer than 511 characters");

    std::string error;
    std::string hint;
    std::string tempRoot;
    if (dynamic) {
        if (!resolveRoot(opt, error, hint)) return failWith(error, hint);
    } else {
        // The merge writes its result file under /tmp of a camera root.
        tempRoot = (fs::temp_directory_path() / "sensorctl-merge-XXXXXX").string();
        if (::mkdtemp(tempRoot.data()) == nullptr) return failWith("cannot create a temporary directory");
        fs::create_directories(fs::path(tempRoot) / "tmp");
        opt.root = tempRoot;
    }
    Results results;
    if (!results.redirectConsole(opt.console, error)) return failWith(error);
    sensorctl::Channel channel(opt.channel);
    if (!prepareHost(opt, channel, false, error) && dynamic) return failWith(error);

    ModuleConfig config{};
    std::memcpy(config.szDetail, detail.c_str(), detail.size());
    char* merged = static_cast<char*>(std::calloc(style.size() + 1, 1));
    std::memcpy(merged, style.data(), style.size());
    std::vector<char> diversityText(diversity.begin(), diversity.end());
    diversityText.push_back('\0');
    mergeStyle(opt.channel, &config, &merged, diversityText.data());
    std::string text = merged != nullptr ? merged : "";
    std::free(merged);
    if (dynamic) {
        std::string out;
        getDnaStyle(opt.channel, text.c_str(), out, true);
        text = out;
    }
    results.out() << text;
    if (!tempRoot.empty()) fs::remove_all(tempRoot);
    return 0;
}

// One report of every kind, as the module prints them at the given debug level.
int runDiag(int level, bool keepRoot)
{
    std::string root = (fs::temp_directory_path() / "sensorctl-diag-XXXXXX").string();
    if (::mkdtemp(root.data()) == nullptr) return failWith("cannot create a temporary camera root");
    hostsim::setRoot(root);
    fs::create_directories(fs::path(root) / "tmp");
    std::ofstream(fs::path(root) / "tmp/Debug.sign") << level << "\n0\n";

    std::cout << "camera root: " << root << "\n"
              << "/tmp/Debug.sign: level " << level << ", aborts off\n\n";
    std::cout.flush();

    SENSOR_REPORT("a report: printed and logged at any level that is not negative\n");
    SENSOR_WARN("a warning: printed and logged from level 4\n");
    SENSOR_ERR("an error line: printed from level 6\n");
    SENSOR_DBG("a debug line: printed from level 6\n");
    SENSOR_INFO("an info line: printed from level 7\n");
    SENSOR_TRACE(SENSOR_COLOR_GREEN, "a trace line without header: printed from level 6\n");
    int nVersion = 7;
    SENSOR_CHECK(8 == nVersion, "nVersion(%d)\n", nVersion);
    std::fflush(stdout);

    bool ok = false;
    std::cout << "\n--- /mnt/mtd/log/SensorError.log\n"
              << readWhole((fs::path(root) / "mnt/mtd/log/SensorError.log").string(), ok);
    if (!keepRoot) {
        hostsim::setRoot("");
        fs::remove_all(root);
    }
    return 0;
}

// ---------------------------------------------------------------- demo

struct DemoStep {
    const char* heading;
    std::vector<const char*> lines;
};

int runDemo(Options opt, bool keepRoot)
{
    const std::string root = (fs::temp_directory_path() / "sensorctl-demo-XXXXXX").string();
    std::string dir = root;
    if (::mkdtemp(dir.data()) == nullptr) return failWith("cannot create a temporary camera root");
    std::string error;
    if (!sensorctl::makeRoot(dir, opt.profile, error)) return failWith(error);
    opt.root = dir;
    if (opt.console.empty()) opt.console = "-";

    const std::vector<DemoStep> steps = {
        {"Channel 1 is up: the scheme in force and the parameter mode", {"scheme", "mode"}},
        {"Three changes; what reached the image library and the video module",
         {"set KEY_BRIGHTNESS 70", "set KEY_SATURATION 40", "set KEY_MIRROR 1", "isp calls", "video calls"}},
        {"Save, reboot the camera, and read the values back",
         {"flush", "restart", "get KEY_BRIGHTNESS", "get KEY_SATURATION"}},
        {"Scheme mode 1: scheme 1 from 08:00 to 12:00, scheme 2 from 12:00 to 18:00, scheme 3 from 20:00",
         {"scheme 1", "set KEY_SCHEME_START_HOUR 8", "set KEY_SCHEME_END_HOUR 12", "set KEY_BRIGHTNESS 80", "flush",
          "scheme 2", "set KEY_SCHEME_START_HOUR 12", "set KEY_SCHEME_END_HOUR 18", "set KEY_BRIGHTNESS 60", "flush",
          "scheme 3", "set KEY_SCHEME_START_HOUR 20", "set KEY_BRIGHTNESS 45", "set KEY_IR_SWITCH 0", "flush",
          "scheme 0", "set KEY_SCHEME_START_HOUR 0", "set KEY_SCHEME_END_HOUR 0", "set KEY_SCHEME_MODE 1"}},
        {"The clock moves across the periods; each tick is one pass of the sensor thread, and a switch sends only "
         "what differs",
         {"clock 07:59", "tick", "clock 08:00", "tick", "isp calls", "clock 12:30", "tick", "isp calls",
          "clock 18:00", "tick", "clock 21:00", "tick", "isp calls", "get KEY_BRIGHTNESS"}},
        {"Scheme mode 2: scheme 0 by day, scheme 1 by night",
         {"clock 18:00", "tick", "set KEY_SCHEME_MODE 2", "isp dn night", "tick", "get KEY_BRIGHTNESS", "isp dn day",
          "tick", "get KEY_BRIGHTNESS"}},
        {"Factory reset: every scheme back to the factory set", {"reset", "scheme", "get KEY_BRIGHTNESS"}},
    };

    return runScriptCommand(opt, [&](sensorctl::Script& script, sensorctl::Channel&, std::ostream& out) {
        out << "Simulated camera '" << opt.profile << "' at " << dir << "\n";
        int status = 0;
        for (const DemoStep& step : steps) {
            out << "\n== " << step.heading << "\n";
            for (const char* line : step.lines) {
                out << "> " << line << "\n";
                if (!script.run(line)) status = 1;
            }
        }
        if (!keepRoot) fs::remove_all(dir);
        return status;
    });
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app{"sensorctl: run a camera channel of the image-sensor module on a simulated camera.\n"
                 "Without --root the camera root is $SENSOR_ROOT, else ./camera (made from the profile on first use)."};
    app.require_subcommand(1);
    Options opt;
    app.add_option("--root", opt.root, "camera root directory")->each([&](const std::string&) { opt.rootGiven = true; });
    app.add_option("--channel", opt.channel, "camera channel, from 1")->check(CLI::Range(1, 64))->capture_default_str();
    app.add_option("--profile", opt.profile, "bundled camera for a new root (see: sensorctl profiles)")
        ->capture_default_str();
    app.add_option("--console", opt.console,
                   "where the module's console output goes: a file, or - for nowhere (default: standard error)");

    bool keepRoot = false;
    CLI::App* demo = app.add_subcommand("demo", "a guided run on a fresh temporary camera: parameters, saving, "
                                                "schemes by time and by day and night, factory reset");
    demo->add_flag("--keep-root", keepRoot, "keep the temporary camera root");

    CLI::App* profiles = app.add_subcommand("profiles", "list the bundled cameras");

    std::string newRoot;
    CLI::App* initRoot = app.add_subcommand("init-root", "make a camera root from a bundled camera (--profile)");
    initRoot->add_option("DIR", newRoot, "directory to make the root in")->required();

    CLI::App* controls = app.add_subcommand("controls", "every parameter of the channel: key, name, value, default, "
                                                        "range or choices");

    std::string scriptFile = "-";
    CLI::App* run = app.add_subcommand("run", "run a script of sensorctl commands, one per line (see README)");
    run->add_option("FILE", scriptFile, "script file, or - for the standard input")->capture_default_str();

    CLI::App* shell = app.add_subcommand("shell", "type script commands; the sensor thread runs on the real clock");

    CLI::App* cfg = app.add_subcommand("cfg", "read and write parameter files");
    cfg->require_subcommand(1);
    std::string cfgFile;
    std::string cfgPairs;
    std::string cfgOther;
    CLI::App* cfgDump = cfg->add_subcommand("dump", "one line per entry: NAME (KEY) = VALUE");
    cfgDump->add_option("FILE", cfgFile, "parameter file")->required();
    CLI::App* cfgEncode = cfg->add_subcommand("encode", "write a parameter file from (KEY,VALUE) pairs");
    cfgEncode->add_option("PAIRS", cfgPairs, "pairs, e.g. (34,50)(2337,60)")->required();
    cfgEncode->add_option("FILE", cfgFile, "parameter file to write")->required();
    CLI::App* cfgDiff = cfg->add_subcommand("diff", "the keys whose values differ; exit status 1 when any");
    cfgDiff->add_option("A", cfgFile, "first parameter file")->required();
    cfgDiff->add_option("B", cfgOther, "second parameter file")->required();

    CLI::App* style = app.add_subcommand("style", "the channel's dynamic style (one script line: style), or a "
                                                  "style document merged with a diversity (style merge)");
    style->require_subcommand(0, 1);
    std::string stylePath;
    std::string diversityPath;
    std::string detail;
    bool dynamic = false;
    CLI::App* merge = style->add_subcommand("merge", "the style merged with a style diversity for a module detail text");
    merge->add_option("STYLE", stylePath, "style document")->required();
    merge->add_option("DIVERSITY", diversityPath, "style-diversity document")->required();
    merge->add_option("--detail", detail, "module detail text, e.g. (lensId=0)(isInfrared=1)")->required();
    merge->add_flag("--dynamic", dynamic, "rewrite the merged style against the root's simulated image library");

    int level = 7;
    CLI::App* diag = app.add_subcommand("diag", "show every kind of report at a debug level, and the error log");
    diag->add_option("--level", level, "debug level written to /tmp/Debug.sign")->capture_default_str();
    diag->add_flag("--keep-root", keepRoot, "keep the temporary camera root");

    // One-shot forms: one script line on a channel brought up before and taken down after.
    std::vector<std::string> oneShotArgs;
    std::vector<std::pair<CLI::App*, std::string>> oneShots;
    for (const std::string& name : sensorctl::Script::commandNames()) {
        if (name == "style") {
            oneShots.emplace_back(style, name);
            continue;
        }
        CLI::App* sub = app.add_subcommand(name, "one script line: " + name + " ARGS... (see README)");
        sub->add_option("ARGS", oneShotArgs, "the line's arguments")->allow_extra_args();
        sub->prefix_command();
        oneShots.emplace_back(sub, name);
    }

    CLI11_PARSE(app, argc, argv);

    try {
        if (*demo) return runDemo(opt, keepRoot);
        if (*profiles) {
            for (const std::string& name : sensorctl::profileNames()) std::cout << name << "\n";
            return 0;
        }
        if (*initRoot) {
            std::string error;
            if (!sensorctl::makeRoot(newRoot, opt.profile, error)) return failWith(error);
            std::cout << "camera root '" << opt.profile << "' made at " << newRoot << "\n";
            return 0;
        }
        if (*controls) {
            return runScriptCommand(opt, [](sensorctl::Script&, sensorctl::Channel& channel, std::ostream& out) {
                std::string error;
                if (sensorctl::printControls(channel.controller(), out, error)) return 0;
                out << "error: " << error << "\n";
                return 1;
            });
        }
        if (*run || *shell) {
            std::ifstream file;
            std::istream* in = &std::cin;
            if (*run && scriptFile != "-") {
                file.open(scriptFile);
                if (!file) return failWith("cannot read the script " + scriptFile);
                in = &file;
            }
            return runScriptCommand(
                opt, [&](sensorctl::Script& script, sensorctl::Channel&, std::ostream&) { return script.runAll(*in); },
                shell->parsed());
        }
        if (*cfgDump || *cfgDiff) {
            std::vector<KeyVal> a;
            std::vector<KeyVal> b;
            std::string error;
            if (!sensorctl::readCfg(cfgFile, a, error)) return failWith(error);
            if (*cfgDump) {
                sensorctl::dumpCfg(a, std::cout);
                return 0;
            }
            if (!sensorctl::readCfg(cfgOther, b, error)) return failWith(error);
            return sensorctl::diffCfg(a, b, std::cout) ? 0 : 1;
        }
        if (*cfgEncode) {
            std::vector<KeyVal> set;
            std::string error;
            if (!sensorctl::parsePairs(cfgPairs, set, error) || !sensorctl::writeCfg(cfgFile, set, error)) {
                return failWith(error);
            }
            return 0;
        }
        if (*merge) return styleMerge(opt, stylePath, diversityPath, detail, dynamic);
        if (*diag) return runDiag(level, keepRoot);
        for (const auto& shot : oneShots) {
            if (!*shot.first) continue;
            std::string line = shot.second;
            for (const std::string& arg : shot.first->remaining()) line += " " + arg;
            for (const std::string& arg : oneShotArgs) line += " " + arg;
            return runScriptCommand(opt, [&](sensorctl::Script& script, sensorctl::Channel&, std::ostream&) {
                return script.run(line) ? 0 : 1;
            });
        }
    } catch (const std::exception& e) {
        return failWith(e.what());
    }
    return 0;
}

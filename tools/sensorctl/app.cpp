// sensorctl's application class: the command line, and each command from start-up to shutdown.
#include "app.h"

#include <signal.h>
#include <tinyxml.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "SensorDebug.h"
#include "SensorFile.h"
#include "camera.h"
#include "hostsim.h"
#include "http.h"
#include "keys.h"
#include "onvif.h"
#include "paramfile.h"
#include "simcamera.h"
#include "simcontrol.h"

namespace fs = std::filesystem;

namespace sensorctl {

namespace {

int failWith(int status, const std::string& message, const std::string& hint = "")
{
    std::cerr << "sensorctl: " << message << "\n";
    if (!hint.empty()) std::cerr << hint << "\n";
    return status;
}

std::string readWhole(const std::string& path, bool& ok)
{
    std::error_code ec;
    std::ifstream in(path, std::ios::binary);
    ok = static_cast<bool>(in) && !fs::is_directory(path, ec);
    std::ostringstream text;
    if (ok) text << in.rdbuf();
    return text.str();
}

// A document TinyXML reads whole, or why not.
std::string xmlProblem(const std::string& path, const std::string& text)
{
    TiXmlDocument doc;
    doc.Parse(text.c_str());
    if (!doc.Error() && doc.RootElement() != nullptr) return "";
    return path + " does not parse: " + (doc.Error() ? doc.ErrorDesc() : "no root element");
}

std::string temporaryDirectory(const char* name)
{
    std::string dir = (fs::temp_directory_path() / (std::string(name) + "-XXXXXX")).string();
    return ::mkdtemp(dir.data()) != nullptr ? dir : "";
}

// "127.0.0.1:8080", "[::1]:8080", "localhost:0".
bool parseListen(const std::string& text, std::string& host, int& port)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return false;
    host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    return sensorhost::parseNumber(text.substr(colon + 1), port) && port >= 0 && port <= 65535;
}

// 128 bits from the system's random source, as hex.
std::string makeToken()
{
    std::random_device random;
    std::ostringstream text;
    for (int i = 0; i < 4; ++i) text << std::hex << std::setw(8) << std::setfill('0') << random();
    return text.str();
}

struct DemoStep {
    const char* heading;
    std::vector<const char*> lines;
    // Setting a period visits the scheme; what that sent the library is no part of the story.
    bool forgetCalls = false;
};

const std::vector<DemoStep>& demoSteps()
{
    static const std::vector<DemoStep> steps = {
        {"Channel 1 is up: the scheme in force and the parameter mode", {"scheme", "mode"}},
        {"Three changes; what reached the image library (command, its key, option, value) and the video module",
         {"set KEY_BRIGHTNESS 70", "set KEY_SATURATION 40", "set KEY_MIRROR 1", "isp calls --names", "video calls"}},
        {"Save, reboot the camera, and read the values back",
         {"flush", "restart", "get KEY_BRIGHTNESS", "get KEY_SATURATION"}},
        {"A period for every scheme, each saved: scheme 1 08:00-12:00, scheme 2 12:00-18:00, scheme 3 "
         "20:00-24:00, scheme 0 00:00-08:00 (and any time outside every period)",
         {"schedule 0 00:00-08:00", "schedule 1 08:00-12:00", "schedule 2 12:00-18:00", "schedule 3 20:00-24:00",
          "schedule", "scheme 1", "set KEY_BRIGHTNESS 80", "flush", "scheme 2", "set KEY_BRIGHTNESS 60", "flush",
          "scheme 3", "set KEY_BRIGHTNESS 45", "set KEY_IR_SWITCH 0", "flush", "scheme 0", "set KEY_SCHEME_MODE 1",
          "flush"},
         true},
        {"The clock moves across the periods; each tick is one pass of the sensor thread, and a switch sends only "
         "what differs",
         {"clock 07:59", "tick", "clock 08:00", "tick", "isp calls --names", "clock 12:30", "tick", "isp calls --names",
          "clock 18:30", "tick", "clock 21:00", "tick", "get KEY_BRIGHTNESS"}},
        {"Reboot: the saved schedule still switches, and a day of passes runs through every period",
         {"restart", "clock 07:00", "tick", "tick --until 08:00", "get KEY_BRIGHTNESS", "tick --until 13:00",
          "tick --until 21:00", "tick --until 07:00"}},
        {"Scheme mode 2: scheme 0 by day, scheme 1 by night",
         {"set KEY_SCHEME_MODE 2", "isp dn night", "tick", "get KEY_BRIGHTNESS", "isp dn day", "tick",
          "get KEY_BRIGHTNESS"}},
        {"Factory reset: every scheme back to the factory set", {"reset", "scheme", "get KEY_BRIGHTNESS", "schedule"}},
    };
    return steps;
}

}  // namespace

App::App()
    : cli_(
          "sensorctl: run a camera channel of the image-sensor module on a simulated camera.\n"
          "Without --root the camera root is $SENSOR_ROOT, else ./camera (made from the profile on first "
          "use).\nExit status: 0 done, 1 refused or failed, 2 usage.")
{
    opt_.profile = sensorhost::kDefaultProfile;
    defineCommands();
}

// ---------------------------------------------------------------- 1. the command line

void App::defineCommands()
{
    cli_.require_subcommand(1);
    cli_.add_option("--root", opt_.root, "camera root directory")->each([this](const std::string&) {
        opt_.rootGiven = true;
    });
    cli_.add_option("--channel", opt_.channel, "camera channel, from 1")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    cli_.add_option("--profile", opt_.profile, "bundled camera for a new root (see: sensorctl profiles)")
        ->capture_default_str();
    cli_.add_option("--console", opt_.console, "where the module's console output goes: a file, or - for nowhere");
    cli_.add_flag("-v,--verbose", opt_.verbose, "show the module's console on the standard error");

    auto add = [this](const std::string& name, const std::string& help, const std::string& example,
                      std::function<int()> body) {
        CLI::App* sub = cli_.add_subcommand(name, help);
        sub->footer("example: sensorctl " + example);
        commands_.emplace_back(sub, std::move(body));
        return sub;
    };

    CLI::App* demo = add("demo",
                         "a guided run on a fresh temporary camera: parameters, saving, schemes by time "
                         "and by day and night, factory reset",
                         "demo --keep-root", [this] { return this->demo(); });
    demo->add_flag("--keep-root", opt_.keepRoot, "keep the temporary camera root");

    add("profiles", "list the bundled cameras", "profiles --json", [this] {
        return profiles();
    })->add_flag("--json", opt_.json, "as a JSON array");

    CLI::App* initRoot = add("init-root", "make a camera root from a bundled camera", "init-root cam --profile dome",
                             [this] { return this->initRoot(); });
    initRoot->add_option("DIR", opt_.newRoot, "directory to make the root in")->required();
    initRoot->add_option("--profile", opt_.profile, "bundled camera");
    initRoot->add_flag("--force", opt_.force, "replace an existing camera root (its saved settings are lost)");

    add("controls", "every parameter of the channel: key, name, value, default, range or choices",
        "--channel 2 controls --json", [this] { return this->controls(); })
        ->add_flag("--json", opt_.json, "as JSON: tabs, and per parameter its kind, default, range or choices");

    CLI::App* run = add("run", "run a script of sensorctl lines, one result per line (see README: Scripts)",
                        "run script.txt --strict", [this] { return runScript(); });
    run->add_option("FILE", opt_.scriptFile, "script file, or - for the standard input")->capture_default_str();
    run->add_flag("--strict", opt_.strict,
                  "stop with exit status 1 at the first answer that is false, negative or a refused flush");

    add("shell", "type script lines; the sensor thread runs on the real clock until clock or tick is used", "shell",
        [this] { return this->shell(); });

    CLI::App* cfg = cli_.add_subcommand("cfg", "read and write parameter files");
    cfg->footer("example: sensorctl cfg dump camera/mnt/mtd/code/config_file/sensor1_0.cfg");
    cfg->require_subcommand(1);
    auto addCfg = [&](const std::string& name, const std::string& help, const std::string& example,
                      std::function<int()> body) {
        CLI::App* sub = cfg->add_subcommand(name, help);
        sub->footer("example: sensorctl cfg " + example);
        commands_.emplace_back(sub, std::move(body));
        return sub;
    };
    CLI::App* dump = addCfg("dump", "one line per entry: NAME (KEY) = VALUE; a warning when keys are unknown",
                            "dump sensor1_0.cfg --json", [this] { return cfgDump(); });
    dump->add_option("FILE", opt_.cfgFile, "parameter file")->required();
    dump->add_flag("--json", opt_.json, "as a JSON array");
    CLI::App* encode = addCfg("encode", "write a parameter file from (KEY,VALUE) pairs, each key once",
                              "encode '(KEY_BRIGHTNESS,60)(2337,40)' my.cfg", [this] { return cfgEncode(); });
    encode->add_option("PAIRS", opt_.cfgPairs, "pairs, keys as numbers or names")->required();
    encode->add_option("FILE", opt_.cfgFile, "parameter file to write")->required();
    CLI::App* set = addCfg("set", "change the value of one key in a parameter file",
                           "set sensor1_0.cfg KEY_BRIGHTNESS 60", [this] { return cfgSet(); });
    set->add_option("FILE", opt_.cfgFile, "parameter file")->required();
    set->add_option("KEY", opt_.cfgKey, "key, as a number or a name")->required();
    set->add_option("VALUE", opt_.cfgValue, "new value")->required();
    CLI::App* diff = addCfg("diff", "the keys whose values differ; exit status 1 when any, 2 when a file is unreadable",
                            "diff a.cfg b.cfg", [this] { return cfgDiff(); });
    diff->add_option("A", opt_.cfgFile, "first parameter file")->required();
    diff->add_option("B", opt_.cfgOther, "second parameter file")->required();

    CLI::App* style = add("style", Script::find("style")->help, "style --json",
                          [this] { return oneShot(std::string("style") + (opt_.json ? " --json" : "")); });
    style->require_subcommand(0, 1);
    style->add_flag("--json", opt_.json, "the controls the style describes, as JSON");
    CLI::App* merge =
        style->add_subcommand("merge", "the style merged with a style diversity for a module detail text");
    merge->footer("example: sensorctl style merge Style.xml StyleDiversity.xml --detail '(lensId=0)(isInfrared=1)'");
    commands_.emplace_back(merge, [this] { return styleMerge(); });
    merge->add_option("STYLE", opt_.stylePath, "style document")->required();
    merge->add_option("DIVERSITY", opt_.diversityPath, "style-diversity document")->required();
    merge->add_option("--detail", opt_.detail, "module detail text, e.g. (lensId=0)(isInfrared=1)")->required();
    merge->add_flag("--dynamic", opt_.dynamic, "rewrite the merged style against the root's simulated image library");

    CLI::App* serve = add("serve",
                          "every channel of the camera on the simulator, with its image settings page and JSON "
                          "API over HTTP (see docs/API.md); Ctrl-C ends",
                          "serve --profile dome --listen 127.0.0.1:8080", [this] { return this->serve(); });
    serve->add_option("--root", opt_.root, "camera root directory")->each([this](const std::string&) {
        opt_.rootGiven = true;
    });
    serve->add_option("--profile", opt_.profile, "bundled camera for a new root");
    serve->add_option("--listen", opt_.listen, "ADDR:PORT to listen on; port 0 takes a free one")
        ->capture_default_str();
    serve->add_option("--token", opt_.token,
                      "every API request must carry it (Authorization: Bearer TOKEN); made up and printed when "
                      "listening on an address other than this machine's own");
    serve->add_option("--onvif-user", opt_.onvifUsers,
                      "NAME:PASSWORD of someone allowed to use the ONVIF services (repeatable); without any "
                      "user ONVIF is off");
    serve->add_option("--onvif-users", opt_.onvifUsersFile, "file of NAME:PASSWORD lines, '#' starts a comment");

    CLI::App* diag = add("diag", "show every kind of report at a debug level, and the error log", "diag --level 4",
                         [this] { return this->diag(); });
    diag->add_option("--level", opt_.level, "debug level written to /tmp/Debug.sign")->capture_default_str();
    diag->add_flag("--keep-root", opt_.keepRoot, "keep the temporary camera root");

    for (const Script::Command& command : Script::commands()) {
        // style has a command of its own (merge); help is the shell's.
        if (std::string(command.name) != "style" && std::string(command.name) != "help") defineOneShot(command);
    }
}

// One line of the script language on a channel brought up before and taken down after.
void App::defineOneShot(const Script::Command& command)
{
    const std::string name = command.name;
    std::string flags;
    if (name == "set" || name == "setparams") flags = " [--nosave] [--force]";
    if (name == "get") flags = " [--json] [--force]";
    if (name == "params") flags = " [--json]";
    if (name == "scheme" || name == "ir" || name == "white" || name == "lighttype") flags = " [--force]";
    CLI::App* sub = cli_.add_subcommand(name, command.help);
    sub->footer("usage: sensorctl [OPTIONS] " + std::string(command.usage) + flags +
                (name == "set" || name == "setparams" ? "\nsaved at once (flush) unless --nosave" : "") +
                "\nexample: sensorctl " + command.example);
    sub->prefix_command();
    sub->allow_extras();
    commands_.emplace_back(sub, [this, sub, name] {
        std::string line = name;
        for (const std::string& word : sub->remaining()) line += " " + word;
        return oneShot(line);
    });
}

int App::init(int argc, char** argv)
{
    try {
        cli_.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return parseError(e, argc, argv);
    }
    for (const auto& command : commands_) {
        if (command.first->parsed() && command.second) chosen_ = command.second;
    }
    if (!chosen_) return failWith(kUsage, "a command is required (see: sensorctl --help)");
    return -1;
}

// CLI11's own reports and statuses become sensorctl's: help is done, anything else is a usage error.
int App::parseError(const CLI::ParseError& e, int argc, char** argv)
{
    if (e.get_exit_code() == 0) {
        cli_.exit(e);
        return kDone;
    }
    // The first word that is not an option (or an option's value) names the command.
    static const char* const valued[] = {"--root", "--channel", "--profile", "--console"};
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (std::find(std::begin(valued), std::end(valued), word) != std::end(valued)) {
            ++i;
            continue;
        }
        if (word.empty() || word[0] == '-') continue;
        std::vector<std::string> names;
        for (const CLI::App* sub : cli_.get_subcommands([](CLI::App*) { return true; })) {
            names.push_back(sub->get_name());
        }
        if (std::find(names.begin(), names.end(), word) != names.end()) break;
        const std::string hint = sensorhost::nearest(word, names);
        return failWith(kUsage, "unknown command '" + word + "'" + (hint.empty() ? "" : "; did you mean " + hint + "?"),
                        "see: sensorctl --help");
    }
    std::string what = e.what();
    if (dynamic_cast<const CLI::RequiredError*>(&e) != nullptr && what == "A subcommand is required") {
        // CLI11 asks for the command before it looks at the options it did not know.
        what = "a command is required";
        for (int i = 1; i < argc; ++i) {
            const std::string word = argv[i];
            if (word.size() > 1 && word[0] == '-' &&
                cli_.get_option_no_throw(word.substr(0, word.find('='))) == nullptr) {
                what = "unknown option '" + word + "'";
            }
        }
    }
    return failWith(kUsage, what, "see: sensorctl --help");
}

int App::exec()
{
    try {
        return chosen_();
    } catch (const std::exception& e) {
        return failWith(kFailed, e.what());
    }
}

void App::cleanup() { std::cout.flush(); }

// ---------------------------------------------------------------- 2. a channel up for one command

// The camera root of a command: --root, else SENSOR_ROOT, else ./camera, made
// from the profile on first use.
bool App::resolveRoot(std::string& error, std::string& hint)
{
    if (opt_.root.empty()) {
        const char* env = std::getenv("SENSOR_ROOT");
        opt_.rootGiven = env != nullptr && *env != '\0';
        opt_.root = opt_.rootGiven ? env : "camera";
    }
    opt_.root = fs::absolute(opt_.root).lexically_normal().string();
    if (sensorhost::isCameraRoot(opt_.root)) return true;
    if (opt_.rootGiven) {
        error = "no camera root at " + opt_.root;
        hint = "make one with: sensorctl init-root " + opt_.root + " --profile NAME";
        return false;
    }
    return sensorhost::makeRoot(opt_.root, opt_.profile, false, error);
}

int App::withChannel(Mode mode, Console::Target target, bool realClock, const Body& body)
{
    std::string error;
    std::string hint;
    if (!resolveRoot(error, hint)) return failWith(kUsage, error, hint);

    Console console;
    if (!opt_.console.empty()) target = opt_.console == "-" ? Console::Target::Quiet : Console::Target::File;
    if (opt_.verbose && opt_.console.empty()) target = Console::Target::StandardError;
    if (!console.route(target, opt_.console, error)) return failWith(kUsage, error);

    // The host simulator as a script sees it: simulated clock at 12:00 (or the
    // root's start time), each one-second pause of a pass moving it, and the
    // sensor thread making passes only when told to.
    hostsim::setRoot(opt_.root);
    hostsim::resetAll();
    if (realClock) {
        hostsim::setClockMode(hostsim::ClockMode::Real);
    } else {
        hostsim::setAutoAdvance(true);
        hostsim::setThreadsHeld(true);
    }
    sensorhost::Camera camera;
    if (!camera.open(error)) return failWith(kFailed, error);
    // A script has always run on any channel number; everywhere else it must be one of the camera's.
    if (mode != Mode::Contract && (opt_.channel < 1 || opt_.channel > camera.channelCount())) {
        return failWith(kUsage, "no channel " + std::to_string(opt_.channel) + ": the camera at " + opt_.root +
                                    " has " + std::to_string(camera.channelCount()) + " channel" +
                                    (camera.channelCount() == 1 ? "" : "s"));
    }

    sensorhost::Channel channel(camera, opt_.channel);
    channel.up();
    Script script(channel, console.results(), std::cerr, mode);
    if (mode == Mode::People) {
        sensorhost::ControlSet controls;
        if (!channel.healthy(controls, error)) return failWith(kFailed, error);
        script.setControls(controls);
    }
    script.markCalls();
    const int status = body(script, channel, console.results());
    channel.down();
    console.finish();
    return status;
}

int App::oneShot(const std::string& line)
{
    return withChannel(Mode::People, Console::Target::Quiet, false,
                       [&](Script& script, sensorhost::Channel&, std::ostream&) {
                           script.setSaveChanges(true);
                           switch (script.run(line)) {
                           case Outcome::Done: return kDone;
                           case Outcome::Failed: return kFailed;
                           default: return kUsage;
                           }
                       });
}

int App::runScript()
{
    std::ifstream file;
    std::istream* in = &std::cin;
    if (opt_.scriptFile != "-") {
        std::error_code ec;
        if (fs::is_directory(opt_.scriptFile, ec)) {
            return failWith(kUsage, opt_.scriptFile + " is a directory, not a script");
        }
        file.open(opt_.scriptFile);
        if (!file) return failWith(kUsage, "cannot read the script " + opt_.scriptFile);
        in = &file;
    }
    return withChannel(opt_.strict ? Mode::Strict : Mode::Contract, Console::Target::StandardError, false,
                       [&](Script& script, sensorhost::Channel&, std::ostream&) { return script.runAll(*in); });
}

int App::shell()
{
    return withChannel(Mode::People, Console::Target::Quiet, true,
                       [&](Script& script, sensorhost::Channel&, std::ostream& out) {
                           const bool person = ::isatty(STDIN_FILENO);
                           if (person) {
                               std::cerr << "channel " << opt_.channel << " at " << opt_.root
                                         << "; help lists the commands, quit ends\n";
                           }
                           int status = kDone;
                           for (std::string line;;) {
                               if (person) out << "sensorctl> " << std::flush;
                               if (!std::getline(std::cin, line)) break;
                               std::istringstream words(line);
                               std::string first;
                               words >> first;
                               if (first == "quit" || first == "exit") break;
                               if (script.run(line) != Outcome::Done) status = kFailed;
                           }
                           return status;
                       });
}

int App::controls()
{
    return withChannel(Mode::People, Console::Target::Quiet, false,
                       [&](Script& script, sensorhost::Channel& channel, std::ostream& out) {
                           sensorhost::ControlSet controls = script.controls();
                           controls.readValues(channel.controller());
                           if (opt_.json) {
                               out << nlohmann::json(controls).dump(1) << "\n";
                           } else {
                               sensorhost::printControls(controls, out);
                           }
                           for (const std::string& problem : controls.problems())
                               std::cerr << "sensorctl: not offered: " << problem << "\n";
                           return controls.problems().empty() ? kDone : kFailed;
                       });
}

// ---------------------------------------------------------------- 3. commands without a channel

int App::profiles()
{
    const std::vector<std::string> names = sensorhost::profileNames();
    if (opt_.json) {
        std::cout << nlohmann::json(names) << "\n";
        return kDone;
    }
    for (const std::string& name : names) std::cout << name << "\n";
    return kDone;
}

int App::initRoot()
{
    std::string error;
    if (!sensorhost::makeRoot(opt_.newRoot, opt_.profile, opt_.force, error)) return failWith(kFailed, error);
    std::cout << "camera root '" << opt_.profile << "' made at " << opt_.newRoot << "\n";
    return kDone;
}

int App::cfgDump()
{
    std::vector<KeyVal> set;
    std::string error;
    if (!sensorhost::readCfg(opt_.cfgFile, set, error)) return failWith(kFailed, error);
    if (opt_.json) {
        std::cout << sensorhost::entriesJson(set).dump(1) << "\n";
    } else {
        sensorhost::dumpCfg(set, std::cout);
    }
    if (const std::size_t unknown = sensorhost::unknownKeys(set)) {
        std::cerr << "sensorctl: warning: " << unknown << " of " << set.size() << " entries of " << opt_.cfgFile
                  << " have keys the key table does not know"
                  << (unknown == set.size() ? "; is it a parameter file?" : "") << "\n";
    }
    return kDone;
}

int App::cfgEncode()
{
    std::vector<KeyVal> set;
    std::string error;
    if (!sensorhost::parsePairs(opt_.cfgPairs, set, error)) return failWith(kUsage, error);
    if (!sensorhost::writeCfg(opt_.cfgFile, set, error)) return failWith(kFailed, error);
    return kDone;
}

int App::cfgSet()
{
    std::vector<KeyVal> set;
    std::string error;
    int key = 0;
    int value = 0;
    if (!sensorhost::findKey(opt_.cfgKey, key, error)) return failWith(kUsage, error);
    if (!sensorhost::parseNumber(opt_.cfgValue, value))
        return failWith(kUsage, "'" + opt_.cfgValue + "' is not a number");
    if (!sensorhost::readCfg(opt_.cfgFile, set, error)) return failWith(kFailed, error);
    if (!sensorhost::setEntry(set, key, value)) {
        return failWith(kFailed,
                        opt_.cfgFile + " has no entry for " + sensorhost::keyLabel(static_cast<std::uint32_t>(key)));
    }
    if (!sensorhost::writeCfg(opt_.cfgFile, set, error)) return failWith(kFailed, error);
    return kDone;
}

int App::cfgDiff()
{
    std::vector<KeyVal> a;
    std::vector<KeyVal> b;
    std::string error;
    if (!sensorhost::readCfg(opt_.cfgFile, a, error) || !sensorhost::readCfg(opt_.cfgOther, b, error)) {
        return failWith(kUsage, error);
    }
    return sensorhost::diffCfg(a, b, std::cout) ? kDone : kFailed;
}

int App::styleMerge()
{
    bool ok = false;
    const std::string style = readWhole(opt_.stylePath, ok);
    if (!ok) return failWith(kFailed, "cannot read " + opt_.stylePath);
    const std::string diversity = readWhole(opt_.diversityPath, ok);
    if (!ok) return failWith(kFailed, "cannot read " + opt_.diversityPath);
    for (const auto& document :
         {std::make_pair(opt_.stylePath, style), std::make_pair(opt_.diversityPath, diversity)}) {
        const std::string problem = xmlProblem(document.first, document.second);
        if (!problem.empty()) return failWith(kFailed, problem + "; nothing merged");
    }
    if (opt_.detail.size() >= MODULE_DETAIL_LEN)
        return failWith(kUsage, "the detail text is longer than 511 characters");

    std::string error;
    std::string hint;
    std::string tempRoot;
    if (opt_.dynamic) {
        if (!resolveRoot(error, hint)) return failWith(kUsage, error, hint);
    } else {
        // The merge writes its result file under /tmp of a camera root.
        tempRoot = temporaryDirectory("sensorctl-merge");
        if (tempRoot.empty()) return failWith(kFailed, "cannot create a temporary directory");
        fs::create_directories(fs::path(tempRoot) / "tmp");
        opt_.root = tempRoot;
    }
    Console console;
    const Console::Target target = opt_.verbose ? Console::Target::StandardError : Console::Target::Quiet;
    if (!console.route(opt_.console.empty()  ? target
                       : opt_.console == "-" ? Console::Target::Quiet
                                             : Console::Target::File,
                       opt_.console, error)) {
        return failWith(kUsage, error);
    }
    hostsim::setRoot(opt_.root);
    hostsim::resetAll();
    hostsim::setThreadsHeld(true);
    sensorhost::Camera camera;
    if (!camera.open(error) && opt_.dynamic) return failWith(kFailed, error);

    ModuleConfig config{};
    std::memcpy(config.szDetail, opt_.detail.c_str(), opt_.detail.size());
    char* merged = static_cast<char*>(std::calloc(style.size() + 1, 1));
    std::memcpy(merged, style.data(), style.size());
    std::vector<char> diversityText(diversity.begin(), diversity.end());
    diversityText.push_back('\0');
    const int result = mergeStyle(opt_.channel, &config, &merged, diversityText.data());
    std::string text = merged != nullptr ? merged : "";
    std::free(merged);
    if (opt_.dynamic) {
        std::string out;
        getDnaStyle(opt_.channel, text.c_str(), out, true);
        text = out;
    }
    console.finish();
    if (!tempRoot.empty()) fs::remove_all(tempRoot);
    if (result != 0 || !xmlProblem("the merged style", text).empty()) {
        return failWith(kFailed, "the merge failed (" + std::to_string(result) + "); nothing written");
    }
    console.results() << text;
    return kDone;
}

// One report of every kind, as the module prints them at the given debug level.
int App::diag()
{
    const std::string root = temporaryDirectory("sensorctl-diag");
    if (root.empty()) return failWith(kFailed, "cannot create a temporary camera root");
    hostsim::setRoot(root);
    fs::create_directories(fs::path(root) / "tmp");
    std::ofstream(fs::path(root) / "tmp/Debug.sign") << opt_.level << "\n0\n";

    Console console;
    std::string error;
    if (!console.route(Console::Target::Results, "", error)) return failWith(kFailed, error);
    console.results() << "camera root: " << root << "\n"
                      << "/tmp/Debug.sign: level " << opt_.level << ", aborts off\n\n";

    SENSOR_REPORT("a report: printed and logged at any level that is not negative\n");
    SENSOR_WARN("a warning: printed and logged from level 4\n");
    SENSOR_ERR("an error line: printed from level 6\n");
    SENSOR_DBG("a debug line: printed from level 6\n");
    SENSOR_INFO("an info line: printed from level 7\n");
    SENSOR_TRACE(SENSOR_COLOR_GREEN, "a trace line without header: printed from level 6\n");
    int nVersion = 7;
    SENSOR_CHECK(8 == nVersion, "nVersion(%d)\n", nVersion);
    console.finish();

    bool ok = false;
    console.results() << "\n--- /mnt/mtd/log/SensorError.log\n"
                      << readWhole((fs::path(root) / "mnt/mtd/log/SensorError.log").string(), ok);
    if (!opt_.keepRoot) {
        hostsim::setRoot("");
        fs::remove_all(root);
    }
    return kDone;
}

// ---------------------------------------------------------------- serve

// 1. the listening address, the ONVIF users and the root; 2. the simulator
// as a long-running host; 3. every channel up; 4. the page, the API and ONVIF
// over HTTP until a signal; 5. shutdown in the host's order.
int App::serve()
{
    // 1. Where to listen, who may use ONVIF, and which root.
    std::string host;
    int port = 0;
    if (!parseListen(opt_.listen, host, port)) {
        return failWith(kUsage, "--listen takes ADDR:PORT, e.g. 127.0.0.1:8080, not '" + opt_.listen + "'");
    }
    std::string error;
    std::string hint;
    std::vector<sensorhost::onvif::User> users;
    for (const std::string& text : opt_.onvifUsers) {
        users.emplace_back();
        if (!sensorhost::onvif::parseUser(text, users.back(), error)) return failWith(kUsage, "--onvif-user: " + error);
    }
    if (!opt_.onvifUsersFile.empty() && !sensorhost::onvif::readUsers(opt_.onvifUsersFile, users, error)) {
        return failWith(kUsage, "--onvif-users: " + error);
    }
    // A root named on the command line that is not there yet is made from the profile.
    if (opt_.rootGiven && !sensorhost::isCameraRoot(opt_.root) &&
        !sensorhost::makeRoot(opt_.root, opt_.profile, false, error)) {
        return failWith(kFailed, error);
    }
    if (!resolveRoot(error, hint)) return failWith(kUsage, error, hint);
    std::string token = opt_.token;
    if (token.empty() && !sensorhost::isLoopback(host)) token = makeToken();

    // Signals are taken by this thread alone (sigwait below): every thread
    // started from here on inherits the mask.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    Console console;
    const Console::Target target = opt_.verbose ? Console::Target::StandardError : Console::Target::Quiet;
    if (!console.route(opt_.console.empty()  ? target
                       : opt_.console == "-" ? Console::Target::Quiet
                                             : Console::Target::File,
                       opt_.console, error)) {
        return failWith(kUsage, error);
    }

    // 2. The clock stands at the root's start time until a client runs it;
    // the sensor threads are held meanwhile. Logs keep only their newest lines.
    hostsim::setRoot(opt_.root);
    hostsim::resetAll();
    hostsim::setLogLimit(10000);
    hostsim::setThreadsHeld(true);

    // 3. Every channel up, as the host brings them up at boot.
    int status = kDone;
    {
        sensorhost::SimCamera camera;
        if (!camera.open(error)) return failWith(kFailed, error);
        for (int c = 1; c <= camera.channelCount(); ++c) {
            if (camera.controls(c)->controls().empty()) {
                std::cerr << "sensorctl: channel " << c << " offers no controls (is its style whole?)\n";
            }
        }
        // 4. Served until a signal.
        const std::unique_ptr<sensorhost::SimControl> sim = sensorhost::makeSimControl(camera);
        sensorhost::Api api(camera, sim.get());
        // ONVIF's paths are routed even when it is off, to say so; the
        // created times of its tokens are checked against this machine's clock.
        sensorhost::onvif::Service onvif(camera, users);
        sensorhost::HttpServer server(api);
        server.setToken(token);
        for (const std::string& path : sensorhost::onvif::paths()) {
            server.addRawPost(path, [&onvif, path](const std::string& body, const std::string& hostHeader) {
                const sensorhost::onvif::Reply reply = onvif.handle(path, body, hostHeader);
                return sensorhost::RawReply{reply.status, reply.contentType, reply.body};
            });
        }
        if (!server.bind(host, port, error)) {
            status = failWith(kFailed, error);
        } else {
            const std::string shown = host.find(':') != std::string::npos ? "[" + host + "]" : host;
            std::ostream& out = console.results();
            out << "camera at " << opt_.root << ": " << camera.channelCount() << " channel"
                << (camera.channelCount() == 1 ? "" : "s") << "\n";
            if (!token.empty()) out << "token: " << token << " (API requests carry Authorization: Bearer TOKEN)\n";
            const std::string url = "http://" + shown + ":" + std::to_string(server.port()) + "/";
            if (onvif.enabled()) {
                out << "ONVIF device service: " << url << "onvif/device_service (" << users.size() << " user"
                    << (users.size() == 1 ? "" : "s") << ")\n";
            }
            out << "serving " << url << (token.empty() ? "" : "?token=" + token) << "\n" << std::flush;
            server.start();
            int caught = 0;
            sigwait(&signals, &caught);
            out << "stopping\n" << std::flush;
            server.stop();
        }
        // 5. The server stops before the channels go down, in the reverse order of coming up.
    }
    console.finish();
    return status;
}

// ---------------------------------------------------------------- the demo

int App::demo()
{
    const std::string dir = temporaryDirectory("sensorctl-demo");
    if (dir.empty()) return failWith(kFailed, "cannot create a temporary camera root");
    std::string error;
    if (!sensorhost::makeRoot(dir, opt_.profile, false, error)) return failWith(kFailed, error);
    opt_.root = dir;
    opt_.rootGiven = true;
    opt_.channel = 1;
    const int status = withChannel(Mode::Strict, Console::Target::Quiet, false,
                                   [&](Script& script, sensorhost::Channel&, std::ostream& out) {
                                       out << "Simulated camera '" << opt_.profile << "' at " << dir << "\n";
                                       int result = kDone;
                                       for (const DemoStep& step : demoSteps()) {
                                           out << "\n== " << step.heading << "\n";
                                           for (const char* line : step.lines) {
                                               out << "> " << line << "\n";
                                               if (script.run(line) != Outcome::Done) result = kFailed;
                                           }
                                           if (step.forgetCalls) script.markCalls();
                                       }
                                       return result;
                                   });
    if (!opt_.keepRoot) fs::remove_all(dir);
    return status;
}

}  // namespace sensorctl

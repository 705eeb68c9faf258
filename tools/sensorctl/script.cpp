// The script language of sensorctl.
#include "script.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>

#include "PeloraTime.h"
#include "keys.h"
#include "paramfile.h"
#include "schedule.h"

namespace sensorctl {

using sensorhost::describeFlush;
using sensorhost::describeSet;
using sensorhost::keyLabel;
using sensorhost::parseNumber;

namespace {

// More passes than a simulated day in one line is a typing slip, not a test.
const int kMaxPasses = 24 * 60 * 60;

std::string clockText(bool seconds)
{
    const PLDeviceTime now = PLDeviceTime::getCurrentTime();
    char text[16];
    std::snprintf(text, sizeof(text), seconds ? "%02d:%02d:%02d" : "%02d:%02d", now.getHour() % 100,
                  now.getMinute() % 100, now.getSecond() % 100);
    return text;
}

bool parseTime(const std::string& text, int& hour, int& minute)
{
    char extra = 0;
    return std::sscanf(text.c_str(), "%d:%d%c", &hour, &minute, &extra) == 2 && hour >= 0 && hour <= 23 &&
           minute >= 0 && minute <= 59;
}

}  // namespace

const std::vector<Script::Command>& Script::commands()
{
    static const std::vector<Command> table = {
        {"get", &Script::get, "get KEY", "the value of a parameter in the scheme in force", "get KEY_BRIGHTNESS"},
        {"set", &Script::set, "set KEY VALUE [nosave]",
         "sets a parameter in the scheme in force; nosave sends it to the library without recording it in the "
         "scheme (flush would not save it, get still answers the old value)",
         "set KEY_BRIGHTNESS 65"},
        {"params", &Script::params, "params", "every parameter of the scheme in force, as a pair list", "params"},
        {"setparams", &Script::setparams, "setparams PAIRS [nosave]", "sets several parameters at once",
         "setparams (KEY_BRIGHTNESS,60)(KEY_SATURATION,40)"},
        {"getparams", &Script::getparams, "getparams KEYLIST", "the values of several parameters",
         "getparams (34,2337)"},
        {"scheme", &Script::scheme, "scheme [N]", "the scheme in force, or switch to scheme N", "scheme 1"},
        {"mode", &Script::scheme, "mode [N]",
         "the parameter mode: 1 lets the sensor thread switch schemes (by time of day or by day and night, as "
         "KEY_SCHEME_MODE says), 0 stops it",
         "mode 0"},
        {"flush", &Script::flush, "flush",
         "saves the scheme in force to its parameter file; refused (505 to 507) when its period is not a valid one",
         "flush"},
        {"revert", &Script::revert, "revert", "goes back to the saved values of the scheme in force", "revert"},
        {"restore", &Script::restore, "restore KEY",
         "sends the scheme's recorded value of one parameter to the library again (undoes a nosave change)",
         "restore KEY_BRIGHTNESS"},
        {"reset", &Script::reset, "reset", "factory reset: every scheme back to the factory set, files removed",
         "reset"},
        {"style", &Script::style, "style", "the channel's dynamic style document", "style"},
        {"range", &Script::range, "range KEY", "the library's run-time default and values of a parameter that has them",
         "range KEY_MAX_SHUTTER", "range CMD"},
        {"shutter", &Script::shutter, "shutter [N|up|down]",
         "the position in the library's list of slowest shutters, or a step along it", "shutter up"},
        {"zoom", &Script::zoom, "zoom", "the lens's zoom position (motor steps) and ratio (x1000)", "zoom"},
        {"ir", &Script::light, "ir N", "infrared light off (0) or on (1)", "ir 1"},
        {"white", &Script::light, "white N", "white light off (0) or on (1)", "white 0"},
        {"lighttype", &Script::light, "lighttype N", "which illumination the camera uses", "lighttype 0"},
        {"schedule", &Script::schedule, "schedule [SCHEME HH:MM-HH:MM]",
         "every scheme's period and whether flush accepts it; or sets and saves one scheme's period (its other "
         "values are saved with it)",
         "schedule 1 08:00-12:00"},
        {"tick", &Script::tick, "tick [N] | tick --until HH:MM",
         "passes of the sensor thread (each moves the simulated clock a second), then the scheme in force",
         "tick --until 08:00", "tick [N]"},
        {"clock", &Script::clock, "clock [HH:MM]", "the time of day, or set the simulated clock", "clock 07:59",
         "clock HH:MM"},
        {"isp", &Script::isp, "isp dn day|night | isp calls [--names] | isp fail KEY [N] | isp ok KEY",
         "the simulated library: its day/night state, the calls it received (command, option 0 set 1 get "
         "2 range 3 correct 4 status, first value), failures to inject and to clear",
         "isp calls --names", "isp dn day|night | isp calls | isp fail CMD [N] | isp ok CMD"},
        {"video", &Script::video, "video calls", "the notifications the video module received: channel, key, value",
         "video calls"},
        {"restart", &Script::restart, "restart", "reboots the channel on the same camera root", "restart"},
        {"help", &Script::help, "help [COMMAND]", "the commands, or what one of them does", "help set"},
    };
    return table;
}

const Script::Command* Script::find(const std::string& name)
{
    for (const Command& command : commands()) {
        if (name == command.name) return &command;
    }
    return nullptr;
}

void Script::printHelp(std::ostream& out, const std::string& name)
{
    if (const Command* command = find(name)) {
        out << "usage: " << command->usage << "\n" << command->help << "\nexample: " << command->example << "\n";
        return;
    }
    for (const Command& command : commands()) out << "  " << command.usage << "\n";
    out << "Keys are numbers or names (KEY_BRIGHTNESS). help COMMAND says more; in the shell quit or exit ends.\n";
}

Script::Script(sensorhost::Channel& channel, std::ostream& out, std::ostream& err, Mode mode)
    : channel_(channel), out_(out), err_(err), mode_(mode)
{
}

void Script::markCalls()
{
    hostsim::SimIsp::instance().clearCalls();
    videoSeen_ = channel_.camera().video().notifications().size();
}

Outcome Script::run(const std::string& line)
{
    std::istringstream in(line);
    Words words;
    force_ = false;
    json_ = false;
    bool nosave = false;
    for (std::string word; in >> word;) {
        if (mode_ == Mode::People && word == "--force") {
            force_ = true;
        } else if (mode_ == Mode::People && word == "--json") {
            json_ = true;
        } else if (mode_ == Mode::People && word == "--nosave") {
            nosave = true;
        } else {
            words.push_back(word);
        }
    }
    // The script's own spelling: the last word of the line.
    if (nosave) words.push_back("nosave");
    if (words.empty() || words[0][0] == '#') return Outcome::Done;
    outcome_ = Outcome::Done;
    command_ = find(words[0]);
    const auto option = std::find_if(words.begin(), words.end(), [](const std::string& word) {
        return word.rfind("--", 0) == 0 && word != "--names" && word != "--until";
    });
    if (command_ != nullptr && mode_ == Mode::People && option != words.end()) {
        malformed("unknown option '" + *option + "' (common options go before the command)");
    } else if (command_ == nullptr) {
        std::vector<std::string> names;
        for (const Command& command : commands()) names.push_back(command.name);
        const std::string hint = sensorhost::nearest(words[0], names);
        malformed("unknown command '" + words[0] + "'" +
                  (mode_ == Mode::People && !hint.empty() ? "; did you mean " + hint + "?" : ""));
    } else if (json_ && command_->handler != &Script::get && command_->handler != &Script::params &&
               command_->handler != &Script::style) {
        malformed("--json is for get, params and style");
    } else {
        (this->*command_->handler)(words);
    }
    out_.flush();
    return outcome_;
}

int Script::runAll(std::istream& in)
{
    int status = 0;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        const Outcome outcome = run(line);
        if (outcome == Outcome::Done) continue;
        if (mode_ == Mode::Strict) {
            err_ << "sensorctl: stopped at line " << number << ": " << line << "\n";
            return 1;
        }
        status = 1;
    }
    return status;
}

// ---------------------------------------------------------------- outcomes

void Script::malformed(const std::string& reason)
{
    outcome_ = Outcome::Malformed;
    if (mode_ == Mode::People) {
        if (!reason.empty()) err_ << "sensorctl: " << reason << "\n";
        if (command_ != nullptr) err_ << "usage: " << command_->usage << "\n";
        return;
    }
    if (!reason.empty()) {
        out_ << "error: " << reason << "\n";
        return;
    }
    out_ << "error: usage: " << (command_->contractUsage != nullptr ? command_->contractUsage : command_->usage)
         << "\n";
}

void Script::refuse(const std::string& why)
{
    outcome_ = Outcome::Failed;
    err_ << "sensorctl: " << why << "\n";
}

void Script::answer(bool ok, const std::string& value, const std::string& whyNot)
{
    if (mode_ != Mode::People) {
        out_ << (ok ? "true" : "false") << (ok && !value.empty() ? " " + value : "") << "\n";
        if (!ok && mode_ == Mode::Strict) refuse(whyNot);
        return;
    }
    if (!ok) return refuse(whyNot);
    out_ << (value.empty() ? "ok" : value) << "\n";
}

void Script::answerCode(int code, const std::string& whyNot)
{
    if (mode_ != Mode::People) {
        out_ << code << "\n";
        if (code != 0 && mode_ == Mode::Strict) refuse(std::to_string(code) + ": " + whyNot);
        return;
    }
    if (code != 0) return refuse(std::to_string(code) + ": " + whyNot);
    out_ << "ok\n";
}

bool Script::key(const std::string& text, int& key)
{
    if (mode_ != Mode::People) return sensorhost::parseKeyExact(text, key);
    std::string error;
    if (sensorhost::findKey(text, key, error)) return true;
    malformed(error);
    return false;
}

bool Script::accepts(int key, int value)
{
    if (mode_ != Mode::People || force_) return true;
    const std::string why = controls_.check(key, value);
    if (why.empty()) return true;
    refuse(why + "; nothing sent (--force sends it anyway)");
    return false;
}

void Script::answerChange(bool nosave)
{
    if (mode_ != Mode::People || !saveChanges_ || nosave) {
        if (mode_ == Mode::People) out_ << "ok\n";
        return;
    }
    const int result = channel_.controller().flush();
    answerCode(result, describeFlush(result) + "; nothing saved");
}

// ---------------------------------------------------------------- parameters

void Script::get(const Words& w)
{
    int k = 0;
    if (w.size() != 2 || !key(w[1], k)) {
        if (outcome_ == Outcome::Done) malformed();
        return;
    }
    if (mode_ == Mode::People && !force_) {
        const sensorhost::ControlInfo* control = controls_.find(k);
        if (control == nullptr || control->kind == sensorhost::ControlKind::Button) {
            return refuse(
                keyLabel(static_cast<std::uint32_t>(k)) +
                (control == nullptr ? " is not a control of this channel" : " is an action, it has no value") +
                "; --force asks the module anyway");
        }
    }
    int value = 0;
    const bool ok = channel_.controller().getParameter(k, value);
    if (ok && json_) {
        out_ << nlohmann::json{{"key", k},
                               {"name", sensorhost::keyName(static_cast<std::uint32_t>(k))},
                               {"value", value}}
             << "\n";
        return;
    }
    answer(ok, std::to_string(value), "no value for " + keyLabel(static_cast<std::uint32_t>(k)));
}

void Script::set(const Words& w)
{
    int k = 0;
    int value = 0;
    const bool nosave = w.size() == 4 && w[3] == "nosave";
    if (w.size() < 3 || w.size() > 4 || !key(w[1], k) || !parseNumber(w[2], value) || (w.size() == 4 && !nosave)) {
        if (outcome_ == Outcome::Done) malformed();
        return;
    }
    if (!accepts(k, value)) return;
    const int result = channel_.controller().setParameter(k, value, !nosave);
    if (mode_ != Mode::People || result != 0) return answerCode(result, describeSet(result) + "; nothing saved");
    answerChange(nosave);
}

void Script::params(const Words& w)
{
    if (w.size() != 1) return malformed();
    std::string text;
    channel_.controller().getAllParameters(text);
    if (json_) {
        std::vector<KeyVal> set;
        std::string error;
        sensorhost::parsePairs(text, set, error);
        out_ << sensorhost::entriesJson(set) << "\n";
        return;
    }
    out_ << text << "\n";
}

void Script::setparams(const Words& w)
{
    const bool nosave = w.size() == 3 && w[2] == "nosave";
    if (w.size() < 2 || w.size() > 3 || (w.size() == 3 && !nosave)) return malformed();
    std::string text = w[1];
    if (mode_ == Mode::People) {
        // The module takes what it can read of a list and drops the rest
        // silently; a person gets the whole list checked first.
        std::vector<KeyVal> set;
        std::string error;
        if (!sensorhost::parsePairs(text, set, error)) return malformed(error);
        for (const KeyVal& kv : set) {
            if (!accepts(static_cast<int>(kv.key), kv.value)) return;
        }
        text = sensorhost::formatPairs(set);
    }
    const int result = channel_.controller().setParameters(text, !nosave);
    if (mode_ != Mode::People || result != 0) return answerCode(result, describeSet(result) + "; nothing saved");
    answerChange(nosave);
}

void Script::getparams(const Words& w)
{
    if (w.size() != 2) return malformed();
    std::string text;
    const bool ok = channel_.controller().getParameters(w[1], text);
    answer(ok, text, "'" + w[1] + "' is not a key list like (34,2337)");
}

void Script::scheme(const Words& w)
{
    ISensorController& c = channel_.controller();
    const bool isScheme = w[0] == "scheme";
    int value = 0;
    if (w.size() == 1) {
        const bool ok = isScheme ? c.getParamScheme(value) : c.getParamMode(value);
        return answer(ok, std::to_string(value), "the channel did not answer");
    }
    if (w.size() != 2 || !parseNumber(w[1], value)) return malformed();
    if (mode_ == Mode::People && !force_) {
        const int schemes = channel_.camera().schemeCount(channel_.number());
        if (isScheme && (value < 0 || value >= schemes)) {
            return refuse("channel " + std::to_string(channel_.number()) + " has schemes 0 to " +
                          std::to_string(schemes - 1) + "; --force asks the module anyway");
        }
        if (!isScheme && value != 0 && value != 1) {
            return refuse("the parameter mode is 0 (no automatic switching) or 1 (the sensor thread switches)");
        }
    }
    const bool ok = isScheme ? c.setParamScheme(value) : c.setParamMode(value);
    answer(ok, "", "the channel refused " + w[0] + " " + w[1]);
}

void Script::flush(const Words& w)
{
    if (w.size() != 1) return malformed();
    const int result = channel_.controller().flush();
    answerCode(result, describeFlush(result) + "; nothing saved");
}

void Script::revert(const Words& w)
{
    if (w.size() != 1) return malformed();
    answer(channel_.controller().resetToLastParameters(), "", "going back to the saved values failed");
}

void Script::restore(const Words& w)
{
    int k = 0;
    if (w.size() != 2 || !key(w[1], k)) {
        if (outcome_ == Outcome::Done) malformed();
        return;
    }
    const int result = channel_.controller().restore(k);
    answerCode(result, result == -1 ? keyLabel(static_cast<std::uint32_t>(k)) + " is not in the scheme's set"
                                    : describeSet(result));
}

void Script::reset(const Words& w)
{
    if (w.size() != 1) return malformed();
    answer(channel_.controller().resetParameters(), "", "the factory reset failed");
}

void Script::style(const Words& w)
{
    if (w.size() != 1) return malformed();
    if (mode_ != Mode::People) {
        out_ << channel_.controller().getUIStyleFile() << "\nend\n";
    } else if (json_) {
        out_ << nlohmann::json(controls_).dump(2) << "\n";
    } else {
        const std::string text = channel_.controller().getUIStyleFile();
        out_ << text << (!text.empty() && text.back() == '\n' ? "" : "\n");
    }
}

void Script::range(const Words& w)
{
    int k = 0;
    if (w.size() != 2 || !key(w[1], k)) {
        if (outcome_ == Outcome::Done) malformed();
        return;
    }
    std::string range;
    int def = 0;
    const bool ok = channel_.controller().getSensorParamRange(k, def, range);
    answer(ok, std::to_string(def) + " " + range,
           "the library keeps no run-time range for " + keyLabel(static_cast<std::uint32_t>(k)));
}

void Script::shutter(const Words& w)
{
    ISensorController& c = channel_.controller();
    int value = 0;
    if (w.size() == 1) {
        const bool ok = c.getShutterValue(value);
        return answer(ok, std::to_string(value), "the library lists no shutter values");
    }
    if (w.size() != 2) return malformed();
    if (w[1] == "up") return answer(c.shutterUp(), "", "no faster shutter to step to");
    if (w[1] == "down") return answer(c.shutterDown(), "", "no slower shutter to step to");
    if (!parseNumber(w[1], value)) return malformed();
    answer(c.setShutterValue(value), "", "no shutter value at position " + w[1]);
}

void Script::zoom(const Words& w)
{
    if (w.size() != 1) return malformed();
    int position = 0;
    int ratio = 0;
    const bool ok = channel_.controller().getZoomValue(position, ratio);
    if (mode_ == Mode::People && ok) {
        // The library counts the lens in motor steps and the magnification in thousandths.
        char text[64];
        std::snprintf(text, sizeof(text), "%d steps, %d.%03dx", position, ratio / 1000, ratio % 1000);
        return answer(ratio > 0, text, "the channel has no zoom lens");
    }
    answer(ok, std::to_string(position) + " " + std::to_string(ratio), "the channel has no zoom reading");
}

void Script::light(const Words& w)
{
    int value = 0;
    if (w.size() != 2 || !parseNumber(w[1], value)) return malformed();
    ISensorController& c = channel_.controller();
    const std::string& cmd = w[0];
    const int k = cmd == "ir" ? KEY_IR_SWITCH : cmd == "white" ? KEY_WHITE_SWITCH : KEY_LIGHT_TYPE;
    if (!accepts(k, value)) return;
    const bool ok = cmd == "ir"      ? c.setIRSwitch(value)
                    : cmd == "white" ? c.setWhiteSwitch(value)
                                     : c.setLightType(value);
    answer(ok, "", "the channel refused " + cmd + " " + w[1]);
}

// ---------------------------------------------------------------- schemes and time

void Script::schedule(const Words& w)
{
    ISensorController& c = channel_.controller();
    const int schemes = channel_.camera().schemeCount(channel_.number());
    if (w.size() == 1) {
        for (const sensorhost::Period& p : sensorhost::readSchedule(c, schemes)) {
            out_ << p.scheme << " " << sensorhost::formatPeriod(p) << " "
                 << (p.check == 0 ? "ok" : std::to_string(p.check) + ": " + describeFlush(p.check)) << "\n";
        }
        return;
    }
    sensorhost::Period period;
    if (w.size() != 3 || !parseNumber(w[1], period.scheme)) return malformed();
    if (!sensorhost::parsePeriod(w[2], period)) return malformed("a period is HH:MM-HH:MM, hours 0 to 24");
    if (period.scheme < 0 || period.scheme >= schemes) {
        const std::string why =
            "channel " + std::to_string(channel_.number()) + " has schemes 0 to " + std::to_string(schemes - 1);
        return mode_ == Mode::People ? refuse(why) : malformed(why);
    }
    const int result = sensorhost::setPeriod(c, period);
    answerCode(result, describeFlush(result) + "; nothing saved");
}

void Script::useSimulatedClock()
{
    if (hostsim::clockMode() == hostsim::ClockMode::Simulated) return;
    // The shell starts on the real clock with the sensor thread running; moving
    // the clock by hand hands both over to the script's way of working.
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    hostsim::setLocalTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                          local.tm_sec);
    hostsim::setAutoAdvance(true);
    hostsim::setThreadsHeld(true);
    hostsim::setClockMode(hostsim::ClockMode::Simulated);
    err_ << "sensorctl: the clock is simulated from now on; the sensor thread makes passes only on tick\n";
}

void Script::tick(const Words& w)
{
    int passes = 1;
    std::int64_t until = -1;
    if (w.size() == 3 && w[1] == "--until") {
        int hour = 0;
        int minute = 0;
        if (!parseTime(w[2], hour, minute)) return malformed();
        useSimulatedClock();
        const std::int64_t now = hostsim::simulatedEpochSeconds();
        const std::int64_t day = now - ((now % 86400) + 86400) % 86400;
        until = day + hour * 3600 + minute * 60;
        if (until <= now) until += 86400;
        passes = kMaxPasses;
    } else if (w.size() > 2 || (w.size() == 2 && (!parseNumber(w[1], passes) || passes < 0))) {
        return malformed();
    } else if (passes > kMaxPasses) {
        return malformed("tick takes at most " + std::to_string(kMaxPasses) +
                         " passes (a simulated day) at a time; tick --until HH:MM runs up to a time of day");
    } else {
        useSimulatedClock();
    }
    ISensorController& c = channel_.controller();
    for (int i = 0; i < passes && (until < 0 || hostsim::simulatedEpochSeconds() < until); ++i) c.sensorThread();
    // Nobody here reads what the passes left in the simulator's own logs.
    hostsim::clearSleeps();
    hostsim::clearTrace();
    int value = 0;
    c.getParamScheme(value);
    out_ << "scheme " << value << (mode_ == Mode::People ? " at " + clockText(true) : "") << "\n";
}

void Script::clock(const Words& w)
{
    if (w.size() == 1) {
        out_ << clockText(true) << "\n";
        return;
    }
    int hour = -1;
    int minute = -1;
    if (w.size() != 2 || !parseTime(w[1], hour, minute)) return malformed();
    useSimulatedClock();
    hostsim::setTimeOfDay(hour, minute);
    out_ << clockText(false) << "\n";
}

// ---------------------------------------------------------------- the simulator

void Script::isp(const Words& w)
{
    hostsim::SimIsp& isp = hostsim::SimIsp::instance();
    const int ispChannel = channel_.number() - 1;
    const std::size_t n = w.size();
    int k = 0;
    int value = 0;
    if (n == 3 && w[1] == "dn" && (w[2] == "day" || w[2] == "night")) {
        isp.setDayNight(ispChannel, w[2] == "day" ? 0 : 1);
        out_ << "ok\n";
    } else if ((n == 2 || (n == 3 && w[2] == "--names")) && w[1] == "calls") {
        const bool names = n == 3 || mode_ == Mode::People;
        for (const hostsim::IspCall& call : isp.calls()) {
            const std::int32_t first = !call.out.empty() ? call.out[0] : !call.in.empty() ? call.in[0] : 0;
            out_ << call.cmd << " ";
            if (names) {
                out_ << sensorhost::commandName(call.cmd) << " " << sensorhost::optionName(call.option);
            } else {
                out_ << call.option;
            }
            out_ << " " << first << "\n";
        }
        out_ << "end\n";
        isp.clearCalls();
    } else if ((n == 3 || n == 4) && w[1] == "fail" && key(w[2], k) &&
               (n == 3 || (parseNumber(w[3], value) && value > 0))) {
        hostsim::IspFault fault;
        fault.channel = ispChannel;
        fault.cmd = k;
        fault.count = n == 4 ? value : -1;
        isp.addFault(fault);
        out_ << "ok\n";
    } else if (outcome_ == Outcome::Done && n == 3 && w[1] == "ok" && key(w[2], k)) {
        isp.clearFaultsFor(static_cast<std::uint32_t>(k));
        out_ << "ok\n";
    } else if (outcome_ == Outcome::Done) {
        malformed();
    }
}

void Script::video(const Words& w)
{
    if (w.size() != 2 || w[1] != "calls") return malformed();
    const std::vector<hostsim::SimVideoModule::Notification> all = channel_.camera().video().notifications();
    for (std::size_t i = videoSeen_; i < all.size(); ++i) {
        out_ << all[i].channel << " " << all[i].key << " " << all[i].value << "\n";
    }
    videoSeen_ = all.size();
    out_ << "end\n";
}

void Script::restart(const Words& w)
{
    if (w.size() != 1) return malformed();
    channel_.down();
    channel_.up();
    if (mode_ == Mode::People) {
        std::string why;
        if (!channel_.healthy(controls_, why)) refuse(why);
    }
    markCalls();
    if (outcome_ == Outcome::Done) out_ << "ok\n";
}

void Script::help(const Words& w)
{
    if (w.size() > 2 || (w.size() == 2 && find(w[1]) == nullptr)) return malformed();
    printHelp(out_, w.size() == 2 ? w[1] : "");
}

}  // namespace sensorctl

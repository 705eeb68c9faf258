// The script language of sensorctl.
#include "script.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "PeloraTime.h"
#include "embedded.h"

namespace sensorctl {

namespace {

bool parseInt(const std::string& text, int& value)
{
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0' || errno == ERANGE || parsed < INT32_MIN || parsed > INT32_MAX) return false;
    value = static_cast<int>(parsed);
    return true;
}

const char* boolText(bool value) { return value ? "true" : "false"; }

}  // namespace

bool parseKey(const std::string& text, int& key)
{
    if (parseInt(text, key)) return true;
    for (const KeyName& entry : keyNames()) {
        if (text == entry.name) {
            key = static_cast<int>(entry.key);
            return true;
        }
    }
    return false;
}

std::string keyName(std::uint32_t key)
{
    for (const KeyName& entry : keyNames()) {
        if (entry.key == key) return entry.name;
    }
    return "unknown";
}

const std::vector<std::string>& Script::commandNames()
{
    static const std::vector<std::string> names = {
        "get",   "set",   "params", "setparams", "getparams", "scheme", "mode",      "flush", "revert",
        "restore", "reset", "style", "range",   "shutter",   "zoom",   "ir",        "white", "lighttype",
        "tick",  "clock", "isp",   "video",     "restart"};
    return names;
}

bool Script::fail(const std::string& reason)
{
    out_ << "error: " << reason << "\n";
    return false;
}

void Script::markCalls()
{
    hostsim::SimIsp::instance().clearCalls();
    videoSeen_ = channel_.video().notifications().size();
}

bool Script::run(const std::string& line)
{
    std::istringstream in(line);
    std::vector<std::string> words;
    std::string word;
    while (in >> word) words.push_back(word);
    if (words.empty() || words[0][0] == '#') return true;
    const bool ok = dispatch(words);
    out_.flush();
    return ok;
}

int Script::runAll(std::istream& in)
{
    int status = 0;
    std::string line;
    while (std::getline(in, line)) {
        if (!run(line)) status = 1;
    }
    return status;
}

bool Script::dispatch(const std::vector<std::string>& w)
{
    ISensorController& c = channel_.controller();
    const std::string& cmd = w[0];
    const std::size_t n = w.size();
    int key = 0;
    int value = 0;

    if (cmd == "get") {
        if (n != 2 || !parseKey(w[1], key)) return fail("usage: get KEY");
        if (c.getParameter(key, value)) {
            out_ << "true " << value << "\n";
        } else {
            out_ << "false\n";
        }
    } else if (cmd == "set") {
        if (n < 3 || n > 4 || !parseKey(w[1], key) || !parseInt(w[2], value) || (n == 4 && w[3] != "nosave")) {
            return fail("usage: set KEY VALUE [nosave]");
        }
        out_ << c.setParameter(key, value, n == 3) << "\n";
    } else if (cmd == "params") {
        if (n != 1) return fail("usage: params");
        std::string text;
        c.getAllParameters(text);
        out_ << text << "\n";
    } else if (cmd == "setparams") {
        if (n < 2 || n > 3 || (n == 3 && w[2] != "nosave")) return fail("usage: setparams PAIRS [nosave]");
        out_ << c.setParameters(w[1], n == 2) << "\n";
    } else if (cmd == "getparams") {
        if (n != 2) return fail("usage: getparams KEYLIST");
        std::string text;
        if (c.getParameters(w[1], text)) {
            out_ << "true " << text << "\n";
        } else {
            out_ << "false\n";
        }
    } else if (cmd == "scheme" || cmd == "mode") {
        const bool scheme = cmd == "scheme";
        if (n == 1) {
            const bool ok = scheme ? c.getParamScheme(value) : c.getParamMode(value);
            out_ << boolText(ok) << (ok ? " " + std::to_string(value) : "") << "\n";
        } else if (n == 2 && parseInt(w[1], value)) {
            out_ << boolText(scheme ? c.setParamScheme(value) : c.setParamMode(value)) << "\n";
        } else {
            return fail("usage: " + cmd + " [N]");
        }
    } else if (cmd == "flush" || cmd == "revert" || cmd == "reset" || cmd == "style" || cmd == "zoom") {
        if (n != 1) return fail("usage: " + cmd);
        if (cmd == "flush") out_ << c.flush() << "\n";
        if (cmd == "revert") out_ << boolText(c.resetToLastParameters()) << "\n";
        if (cmd == "reset") out_ << boolText(c.resetParameters()) << "\n";
        if (cmd == "style") out_ << c.getUIStyleFile() << "\nend\n";
        if (cmd == "zoom") {
            int position = 0;
            int ratio = 0;
            if (c.getZoomValue(position, ratio)) {
                out_ << "true " << position << " " << ratio << "\n";
            } else {
                out_ << "false\n";
            }
        }
    } else if (cmd == "restore") {
        if (n != 2 || !parseKey(w[1], key)) return fail("usage: restore KEY");
        out_ << c.restore(key) << "\n";
    } else if (cmd == "range") {
        if (n != 2 || !parseKey(w[1], key)) return fail("usage: range CMD");
        std::string range;
        int def = 0;
        if (c.getSensorParamRange(key, def, range)) {
            out_ << "true " << def << " " << range << "\n";
        } else {
            out_ << "false\n";
        }
    } else if (cmd == "shutter") {
        if (n == 1) {
            const bool ok = c.getShutterValue(value);
            out_ << boolText(ok) << (ok ? " " + std::to_string(value) : "") << "\n";
        } else if (n == 2 && w[1] == "up") {
            out_ << boolText(c.shutterUp()) << "\n";
        } else if (n == 2 && w[1] == "down") {
            out_ << boolText(c.shutterDown()) << "\n";
        } else if (n == 2 && parseInt(w[1], value)) {
            out_ << boolText(c.setShutterValue(value)) << "\n";
        } else {
            return fail("usage: shutter [N|up|down]");
        }
    } else if (cmd == "ir" || cmd == "white" || cmd == "lighttype") {
        if (n != 2 || !parseInt(w[1], value)) return fail("usage: " + cmd + " N");
        const bool ok = cmd == "ir" ? c.setIRSwitch(value) : cmd == "white" ? c.setWhiteSwitch(value)
                                                                            : c.setLightType(value);
        out_ << boolText(ok) << "\n";
    } else if (cmd == "tick") {
        int passes = 1;
        if (n > 2 || (n == 2 && (!parseInt(w[1], passes) || passes < 0))) return fail("usage: tick [N]");
        for (int i = 0; i < passes; ++i) c.sensorThread();
        c.getParamScheme(value);
        out_ << "scheme " << value << "\n";
    } else if (cmd == "clock") {
        int hour = -1;
        int minute = -1;
        char extra = 0;
        if (n != 2 || std::sscanf(w[1].c_str(), "%d:%d%c", &hour, &minute, &extra) != 2 || hour < 0 || hour > 23 ||
            minute < 0 || minute > 59) {
            return fail("usage: clock HH:MM");
        }
        hostsim::setTimeOfDay(hour, minute);
        char text[8];
        std::snprintf(text, sizeof(text), "%02d:%02d", hour, minute);
        out_ << text << "\n";
    } else if (cmd == "isp") {
        hostsim::SimIsp& isp = hostsim::SimIsp::instance();
        const int ispChannel = channel_.number() - 1;
        if (n == 3 && w[1] == "dn" && (w[2] == "day" || w[2] == "night")) {
            isp.setDayNight(ispChannel, w[2] == "day" ? 0 : 1);
            out_ << "ok\n";
        } else if (n == 2 && w[1] == "calls") {
            for (const hostsim::IspCall& call : isp.calls()) {
                const std::int32_t first = !call.out.empty() ? call.out[0] : !call.in.empty() ? call.in[0] : 0;
                out_ << call.cmd << " " << call.option << " " << first << "\n";
            }
            out_ << "end\n";
            isp.clearCalls();
        } else if ((n == 3 || n == 4) && w[1] == "fail" && parseKey(w[2], key) &&
                   (n == 3 || (parseInt(w[3], value) && value > 0))) {
            hostsim::IspFault fault;
            fault.channel = ispChannel;
            fault.cmd = key;
            fault.count = n == 4 ? value : -1;
            isp.addFault(fault);
            out_ << "ok\n";
        } else if (n == 3 && w[1] == "ok" && parseKey(w[2], key)) {
            isp.clearFaultsFor(static_cast<std::uint32_t>(key));
            out_ << "ok\n";
        } else {
            return fail("usage: isp dn day|night | isp calls | isp fail CMD [N] | isp ok CMD");
        }
    } else if (cmd == "video") {
        if (n != 2 || w[1] != "calls") return fail("usage: video calls");
        const std::vector<hostsim::SimVideoModule::Notification> all = channel_.video().notifications();
        for (std::size_t i = videoSeen_; i < all.size(); ++i) {
            out_ << all[i].channel << " " << all[i].key << " " << all[i].value << "\n";
        }
        videoSeen_ = all.size();
        out_ << "end\n";
    } else if (cmd == "restart") {
        if (n != 1) return fail("usage: restart");
        channel_.down();
        channel_.up();
        markCalls();
        out_ << "ok\n";
    } else {
        return fail("unknown command '" + cmd + "'");
    }
    return true;
}

}  // namespace sensorctl

// The served camera's JSON API: the route table and one plain function per route.
#include "api.h"

#include <time.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "SensorDebug.h"
#include "keys.h"
#include "paramfile.h"
#include "schedule.h"

namespace sensorhost {

using nlohmann::json;

namespace {

const int kMinLevel = -1;  // below 0 the module prints and logs nothing
const int kMaxLevel = 7;   // 7 prints everything

ApiError badRequest(const std::string& why) { return ApiError(400, why); }

// The body's fields: what is missing or of the wrong type is the client's mistake.
const json& member(const json& body, const char* name)
{
    static const json none;
    if (!body.is_object()) return none;
    const auto it = body.find(name);
    return it != body.end() ? *it : none;
}

bool has(const json& body, const char* name) { return !member(body, name).is_null(); }

int intField(const json& body, const char* name, long long min = INT_MIN, long long max = INT_MAX)
{
    const json& v = member(body, name);
    if (v.is_null()) throw badRequest(std::string("the body needs \"") + name + "\"");
    // JSON reads a number that is not negative as unsigned, one past a long long's range too.
    const bool whole = v.is_number_integer();
    const bool fits = v.is_number_unsigned()
                          ? v.get<unsigned long long>() <= static_cast<unsigned long long>(max) &&
                                static_cast<long long>(v.get<unsigned long long>()) >= min
                          : whole && v.get<long long>() >= min && v.get<long long>() <= max;
    if (!whole || !fits) {
        throw badRequest(std::string("\"") + name + "\" must be a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max));
    }
    return static_cast<int>(v.get<long long>());
}

bool boolField(const json& body, const char* name)
{
    const json& v = member(body, name);
    if (v.is_null()) return false;
    if (!v.is_boolean()) throw badRequest(std::string("\"") + name + "\" must be true or false");
    return v.get<bool>();
}

std::string stringField(const json& body, const char* name)
{
    const json& v = member(body, name);
    if (!v.is_string()) throw badRequest(std::string("the body needs \"") + name + "\" as a string");
    return v.get<std::string>();
}

int keyOf(const std::string& text)
{
    int key = 0;
    std::string error;
    if (!findKey(text, key, error)) throw ApiError(404, error);
    return key;
}

json keyJson(int key, int value)
{
    return {{"key", key}, {"name", keyName(static_cast<std::uint32_t>(key))}, {"value", value}};
}

json entryJson(const TraceEntry& e)
{
    json out = {{"seq", e.seq}, {"kind", e.kind}, {"text", e.text}};
    if (e.kind == "shell") return out;
    out["channel"] = e.channel;
    out["values"] = e.values;
    out["result"] = e.result;
    if (e.kind == "ia") {
        out["cmd"] = e.cmd;
        out["name"] = commandName(static_cast<std::uint32_t>(e.cmd));
        out["option"] = optionName(static_cast<std::uint32_t>(e.option));
    } else {
        out["key"] = e.cmd;
        out["name"] = keyName(static_cast<std::uint32_t>(e.cmd));
    }
    return out;
}

std::string readText(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// The level the module reads at its next report: the sign file's first line, 1 without the file.
int debugLevel(const std::string& signPath)
{
    std::ifstream in(signPath);
    if (!in) return 1;
    std::string line;
    std::getline(in, line);
    return line.empty() ? 1 : std::atoi(line.c_str());
}

}  // namespace

// One row per route: the server registers them in a loop and GET /api lists them.
const std::vector<ApiRoute>& Api::table()
{
    static const std::vector<ApiRoute> routes = {
        {"GET", "/api", "this list", &Api::index, false},
        {"GET", "/api/camera", "who the camera is, its channels, whether it is simulated", &Api::cameraInfo, false},
        {"GET", "/api/channels", "each channel: schemes, the scheme in force, the parameter mode", &Api::channels,
         false},
        {"GET", "/api/channels/{ch}/controls", "tabs and controls with ranges, defaults and values (controls --json)",
         &Api::controls, false},
        {"GET", "/api/channels/{ch}/state", "what a page polls: scheme, mode, every value, trace cursor, clock",
         &Api::state, false},
        {"GET", "/api/channels/{ch}/params", "the scheme in force's set", &Api::params, false},
        {"GET", "/api/channels/{ch}/params/{key}", "one parameter's value", &Api::param, false},
        {"PUT", "/api/channels/{ch}/params/{key}", "set one parameter: {value, nosave?, force?}", &Api::setParam,
         false},
        {"PUT", "/api/channels/{ch}/params", "set several: {values: {KEY: VALUE...}, nosave?, force?}", &Api::setParams,
         false},
        {"POST", "/api/channels/{ch}/flush", "save the scheme in force (refused for a bad period)", &Api::flush, false},
        {"POST", "/api/channels/{ch}/revert", "back to the saved values of the scheme in force", &Api::revert, false},
        {"POST", "/api/channels/{ch}/restore/{key}", "send one key's recorded value again", &Api::restore, false},
        {"POST", "/api/channels/{ch}/reset", "factory reset: every scheme back to the factory set", &Api::reset, false},
        {"GET", "/api/channels/{ch}/scheme", "the scheme in force and the parameter mode", &Api::scheme, false},
        {"PUT", "/api/channels/{ch}/scheme", "switch scheme and/or parameter mode: {scheme?, mode?, force?}",
         &Api::setScheme, false},
        {"GET", "/api/channels/{ch}/schedule", "each scheme's period and whether flush accepts it", &Api::schedule,
         false},
        {"PUT", "/api/channels/{ch}/schedule/{scheme}", "set and save a scheme's period: {period: HH:MM-HH:MM}",
         &Api::setPeriod, false},
        {"GET", "/api/channels/{ch}/files", "the channel's parameter files, one per scheme", &Api::files, false},
        {"GET", "/api/channels/{ch}/files/{scheme}", "a scheme's parameter file, decoded", &Api::file, false},
        {"GET", "/api/log", "the error log and the debug level", &Api::log, false},
        {"PUT", "/api/log/level", "set the debug level: {level}", &Api::setLevel, false},
        {"GET", "/api/trace", "library and video calls since a cursor: ?since=&channel=&changes=1", &Api::trace, true},
        {"GET", "/api/clock", "the simulated clock and its speed", &Api::clock, true},
        {"PUT", "/api/clock", "set the time and/or the speed: {time?: HH:MM[:SS], speed?}", &Api::setClock, true},
        {"POST", "/api/clock/passes", "run passes of every sensor thread, a simulated second each: {count}",
         &Api::passes, true},
        {"GET", "/api/channels/{ch}/daynight", "the library's day/night state", &Api::dayNight, true},
        {"PUT", "/api/channels/{ch}/daynight", "set it: {state: day|night}", &Api::setDayNight, true},
        {"POST", "/api/faults", "make the library fail a command: {channel, key, count?}", &Api::addFault, true},
        {"DELETE", "/api/faults", "clear every injected fault", &Api::clearFaults, true},
    };
    return routes;
}

Api::Api(CameraService& camera, SimControl* sim) : camera_(camera), sim_(sim)
{
    for (const ApiRoute& route : table()) {
        if (!route.simulator || sim_ != nullptr) routes_.push_back(route);
    }
}

int Api::channel(const std::string& text) const
{
    int number = 0;
    if (!parseNumber(text, number) || number < 1 || number > camera_.channelCount()) {
        throw ApiError(
            404, "no channel " + text + ": the camera has channels 1 to " + std::to_string(camera_.channelCount()));
    }
    return number;
}

int Api::schemeOf(int channel, const std::string& text) const
{
    int number = 0;
    const int schemes = camera_.schemeCount(channel);
    if (!parseNumber(text, number) || number < 0 || number >= schemes) {
        throw ApiError(404, "no scheme " + text + ": channel " + std::to_string(channel) + " has schemes 0 to " +
                                std::to_string(schemes - 1));
    }
    return number;
}

void Api::check(int channel, int key, int value, bool force)
{
    if (force) return;
    const std::shared_ptr<const ControlSet> controls = camera_.controls(channel);
    const std::string why = controls->check(key, value);
    if (why.empty()) return;
    throw ApiError(controls->find(key) == nullptr ? 404 : 400,
                   why + "; nothing sent (\"force\": true sends it anyway)");
}

json Api::traceFrom(int channel, std::uint64_t from) const
{
    json lines = json::array();
    if (sim_ == nullptr) return lines;
    for (const TraceEntry& e : sim_->traceSince(from).entries) {
        if (e.channel == 0 || e.channel == channel) lines.push_back(entryJson(e));
    }
    return lines;
}

json Api::clockJson() const
{
    const ClockInfo info = sim_->clock();
    const time_t seconds = static_cast<time_t>(info.epochSeconds);
    struct tm t = {};
    gmtime_r(&seconds, &t);
    char date[16];
    char time[16];
    std::snprintf(date, sizeof(date), "%04d-%02d-%02d", (t.tm_year + 1900) % 10000, (t.tm_mon + 1) % 100,
                  t.tm_mday % 100);
    std::snprintf(time, sizeof(time), "%02d:%02d:%02d", t.tm_hour % 100, t.tm_min % 100, t.tm_sec % 100);
    return {{"date", date}, {"time", time}, {"speed", info.speed}};
}

std::string Api::hostPath(const std::string& cameraPath) const
{
    return sim_ != nullptr ? sim_->hostPath(cameraPath) : cameraPath;
}

// ---------------------------------------------------------------- the camera

json Api::index(const ApiRequest&)
{
    json list = json::array();
    for (const ApiRoute& route : routes_) {
        list.push_back({{"method", route.method}, {"path", route.path}, {"summary", route.summary}});
    }
    return {{"endpoints", list}};
}

json Api::cameraInfo(const ApiRequest&)
{
    const DeviceInfo d = camera_.device();
    return {{"manufacturer", d.manufacturer}, {"model", d.model},
            {"firmware", d.firmware},         {"serial", d.serial},
            {"hardwareId", d.hardwareId},     {"channels", camera_.channelCount()},
            {"simulated", sim_ != nullptr}};
}

json Api::channels(const ApiRequest&)
{
    json list = json::array();
    for (int c = 1; c <= camera_.channelCount(); ++c) {
        int scheme = 0;
        int mode = 0;
        // Scheme and mode read together, so that a switch or a reset between them cannot pair an old and a new one.
        std::lock_guard<std::mutex> hold(lock(c));
        ISensorController& controller = camera_.controller(c);
        controller.getParamScheme(scheme);
        controller.getParamMode(mode);
        list.push_back({{"channel", c}, {"schemes", camera_.schemeCount(c)}, {"scheme", scheme}, {"mode", mode}});
    }
    return list;
}

// ---------------------------------------------------------------- parameters

json Api::controls(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    ControlSet set = *camera_.controls(c);
    std::lock_guard<std::mutex> hold(lock(c));
    set.readValues(camera_.controller(c));
    return set;
}

json Api::state(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    const std::shared_ptr<const ControlSet> set = camera_.controls(c);
    json out;
    {
        std::lock_guard<std::mutex> hold(lock(c));
        ISensorController& controller = camera_.controller(c);
        int scheme = 0;
        int mode = 0;
        controller.getParamScheme(scheme);
        controller.getParamMode(mode);
        json values = json::object();
        for (const ControlInfo& control : set->controls()) {
            int value = 0;
            if (control.hasValue && controller.getParameter(control.key, value)) {
                values[std::to_string(control.key)] = value;
            }
        }
        out = {{"scheme", scheme}, {"mode", mode}, {"values", values}};
    }
    if (sim_ != nullptr) {
        out["cursor"] = sim_->traceCursor();
        out["clock"] = clockJson();
        out["night"] = sim_->night(c);
    }
    return out;
}

json Api::params(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    std::string text;
    int scheme = 0;
    {
        std::lock_guard<std::mutex> hold(lock(c));
        camera_.controller(c).getAllParameters(text);
        camera_.controller(c).getParamScheme(scheme);
    }
    std::vector<KeyVal> set;
    std::string error;
    parsePairs(text, set, error);
    return {{"scheme", scheme}, {"params", entriesJson(set)}};
}

json Api::param(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    const int k = keyOf(r.params[1]);
    int value = 0;
    std::lock_guard<std::mutex> hold(lock(c));
    if (!camera_.controller(c).getParameter(k, value)) {
        throw ApiError(409, "the module has no value for " + keyLabel(static_cast<std::uint32_t>(k)));
    }
    return keyJson(k, value);
}

json Api::setParam(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    const int k = keyOf(r.params[1]);
    const int value = intField(r.body, "value");
    const bool nosave = boolField(r.body, "nosave");
    check(c, k, value, boolField(r.body, "force"));
    std::lock_guard<std::mutex> hold(lock(c));
    const std::uint64_t from = cursor();
    const int result = camera_.controller(c).setParameter(k, value, !nosave);
    if (result != 0) throw ApiError(409, describeSet(result));
    json out = keyJson(k, value);
    out["trace"] = traceFrom(c, from);
    return out;
}

json Api::setParams(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    const json& values = member(r.body, "values");
    if (!values.is_object() || values.empty()) {
        throw badRequest("the body needs \"values\": {\"KEY_NAME\": value, ...}");
    }
    const bool force = boolField(r.body, "force");
    std::vector<KeyVal> set;
    for (const auto& item : values.items()) {
        const int k = keyOf(item.key());
        const int value = intField(values, item.key().c_str());
        for (const KeyVal& kv : set) {
            if (static_cast<int>(kv.key) == k) throw badRequest(keyLabel(kv.key) + " is given twice");
        }
        check(c, k, value, force);
        set.push_back(KeyVal{static_cast<u32>(k), value});
    }
    std::lock_guard<std::mutex> hold(lock(c));
    const std::uint64_t from = cursor();
    const int result = camera_.controller(c).setParameters(formatPairs(set), !boolField(r.body, "nosave"));
    if (result != 0) throw ApiError(409, describeSet(result));
    return {{"params", entriesJson(set)}, {"trace", traceFrom(c, from)}};
}

json Api::flush(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    std::lock_guard<std::mutex> hold(lock(c));
    const int result = camera_.controller(c).flush();
    if (result != 0) throw ApiError(409, std::to_string(result) + ": " + describeFlush(result) + "; nothing saved");
    return {{"result", 0}};
}

json Api::revert(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    std::lock_guard<std::mutex> hold(lock(c));
    const std::uint64_t from = cursor();
    if (!camera_.controller(c).resetToLastParameters()) throw ApiError(409, "going back to the saved values failed");
    return {{"trace", traceFrom(c, from)}};
}

json Api::restore(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    const int k = keyOf(r.params[1]);
    std::lock_guard<std::mutex> hold(lock(c));
    const std::uint64_t from = cursor();
    const int result = camera_.controller(c).restore(k);
    if (result == -1) throw ApiError(409, keyLabel(static_cast<std::uint32_t>(k)) + " is not in the scheme's set");
    if (result != 0) throw ApiError(409, describeSet(result));
    return {{"result", 0}, {"trace", traceFrom(c, from)}};
}

json Api::reset(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    std::lock_guard<std::mutex> hold(lock(c));
    const std::uint64_t from = cursor();
    const bool ok = camera_.controller(c).resetParameters();
    // The reset starts the channel again: its style is read anew.
    camera_.controlsChanged(c);
    if (!ok) throw ApiError(409, "the factory reset failed");
    return {{"trace", traceFrom(c, from)}};
}

// ---------------------------------------------------------------- schemes

json Api::scheme(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    int scheme = 0;
    int mode = 0;
    std::lock_guard<std::mutex> hold(lock(c));
    camera_.controller(c).getParamScheme(scheme);
    camera_.controller(c).getParamMode(mode);
    return {{"scheme", scheme}, {"mode", mode}, {"schemes", camera_.schemeCount(c)}};
}

json Api::setScheme(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    const bool force = boolField(r.body, "force");
    if (!has(r.body, "scheme") && !has(r.body, "mode")) throw badRequest("the body needs \"scheme\" or \"mode\"");
    const int schemes = camera_.schemeCount(c);
    const int scheme =
        has(r.body, "scheme") ? intField(r.body, "scheme", force ? INT_MIN : 0, force ? INT_MAX : schemes - 1) : -1;
    const int mode = has(r.body, "mode") ? intField(r.body, "mode", 0, 1) : -1;
    std::lock_guard<std::mutex> hold(lock(c));
    ISensorController& controller = camera_.controller(c);
    const std::uint64_t from = cursor();
    if (has(r.body, "scheme") && !controller.setParamScheme(scheme)) {
        throw ApiError(409, "the channel refused scheme " + std::to_string(scheme));
    }
    if (mode >= 0 && !controller.setParamMode(mode)) {
        throw ApiError(409, "the channel refused mode " + std::to_string(mode));
    }
    int nowScheme = 0;
    int nowMode = 0;
    controller.getParamScheme(nowScheme);
    controller.getParamMode(nowMode);
    return {{"scheme", nowScheme}, {"mode", nowMode}, {"schemes", schemes}, {"trace", traceFrom(c, from)}};
}

json Api::schedule(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    std::vector<Period> periods;
    {
        std::lock_guard<std::mutex> hold(lock(c));
        periods = readSchedule(camera_.controller(c), camera_.schemeCount(c));
    }
    json list = json::array();
    for (const Period& p : periods) {
        list.push_back({{"scheme", p.scheme},
                        {"period", formatPeriod(p)},
                        {"check", p.check},
                        {"reason", describeFlush(p.check)}});
    }
    return list;
}

json Api::setPeriod(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    Period period;
    period.scheme = schemeOf(c, r.params[1]);
    if (!parsePeriod(stringField(r.body, "period"), period)) {
        throw badRequest("a period is HH:MM-HH:MM, hours 0 to 24, minutes 0 to 59");
    }
    std::lock_guard<std::mutex> hold(lock(c));
    const int result = sensorhost::setPeriod(camera_.controller(c), period);
    if (result != 0) {
        throw ApiError(409, std::to_string(result) + ": " +
                                (result < 0 ? "the channel refused the scheme" : describeFlush(result)) +
                                "; nothing saved");
    }
    return {{"scheme", period.scheme}, {"period", formatPeriod(period)}, {"result", 0}};
}

// ---------------------------------------------------------------- files and log

json Api::files(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    json list = json::array();
    for (int s = 0; s < camera_.schemeCount(c); ++s) {
        const std::string path = camera_.schemeFile(c, s);
        if (path.empty()) continue;
        std::ifstream in(hostPath(path), std::ios::binary | std::ios::ate);
        json bytes = in ? json(static_cast<long long>(in.tellg())) : json();
        list.push_back({{"scheme", s}, {"name", path.substr(path.rfind('/') + 1)}, {"bytes", bytes}});
    }
    return list;
}

json Api::file(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    const int s = schemeOf(c, r.params[1]);
    const std::string path = camera_.schemeFile(c, s);
    std::vector<KeyVal> set;
    std::string error;
    if (path.empty() || !readCfg(hostPath(path), set, error)) {
        throw ApiError(404, "scheme " + std::to_string(s) + " of channel " + std::to_string(c) +
                                " has no parameter file (flush writes it)");
    }
    return {{"scheme", s},
            {"name", path.substr(path.rfind('/') + 1)},
            {"entries", entriesJson(set)},
            {"unknown", unknownKeys(set)}};
}

json Api::log(const ApiRequest&)
{
    // Oldest first: the rotated files, then the one being written.
    const std::string path = hostPath(SENSOR_ERROR_LOG_FILE);
    std::string text;
    for (int i = SENSOR_ERROR_LOG_MAX_FILES - 1; i >= 1; --i) text += readText(path + "." + std::to_string(i));
    text += readText(path);
    return {{"level", debugLevel(hostPath(SENSOR_DEBUG_SIGN_FILE))}, {"text", text}};
}

json Api::setLevel(const ApiRequest& r)
{
    const int level = intField(r.body, "level", kMinLevel, kMaxLevel);
    // The second line keeps a failed check from ending the camera's process.
    std::ofstream out(hostPath(SENSOR_DEBUG_SIGN_FILE), std::ios::trunc);
    out << level << "\n0\n";
    out.close();
    if (!out) throw std::runtime_error("cannot write " SENSOR_DEBUG_SIGN_FILE);
    return {{"level", level}};
}

// ---------------------------------------------------------------- the simulator

json Api::trace(const ApiRequest& r)
{
    std::uint64_t since = 0;
    const auto query = [&](const char* name) {
        const auto it = r.query.find(name);
        return it != r.query.end() ? it->second : std::string();
    };
    const std::string sinceText = query("since");
    if (!sinceText.empty()) {
        char* end = nullptr;
        since = std::strtoull(sinceText.c_str(), &end, 10);
        if (*end != '\0' || sinceText[0] == '-') throw badRequest("since is a cursor: a whole number from 0");
    }
    const int only = query("channel").empty() ? 0 : channel(query("channel"));
    const bool changes = query("changes") == "1";
    const TraceChunk chunk = sim_->traceSince(since);
    json entries = json::array();
    std::uint64_t next = chunk.next;
    for (const TraceEntry& e : chunk.entries) {
        if (entries.size() == kTracePage) {
            next = e.seq;
            break;
        }
        if (only != 0 && e.channel != 0 && e.channel != only) continue;
        if (changes && e.kind == "ia" && e.option != IA_CMD_OPT_SET) continue;
        entries.push_back(entryJson(e));
    }
    return {{"next", next}, {"dropped", chunk.dropped}, {"entries", entries}};
}

json Api::clock(const ApiRequest&) { return clockJson(); }

json Api::setClock(const ApiRequest& r)
{
    if (!has(r.body, "time") && !has(r.body, "speed")) throw badRequest("the body needs \"time\" or \"speed\"");
    const int speed = has(r.body, "speed") ? intField(r.body, "speed", 0, SimControl::kMaxSpeed) : -1;
    if (has(r.body, "time")) {
        const std::string text = stringField(r.body, "time");
        int hour = -1;
        int minute = -1;
        int second = 0;
        char extra = 0;
        const int n = std::sscanf(text.c_str(), "%2d:%2d:%2d%c", &hour, &minute, &second, &extra);
        if ((n != 2 && n != 3) || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59 ||
            text.size() != (n == 2 ? 5u : 8u)) {
            throw badRequest("a time is HH:MM or HH:MM:SS, 00:00 to 23:59:59");
        }
        sim_->setTimeOfDay(hour, minute, second);
    }
    if (speed >= 0) sim_->setSpeed(speed);
    return clockJson();
}

json Api::passes(const ApiRequest& r)
{
    const int count = intField(r.body, "count", 1, SimControl::kMaxPasses);
    if (!sim_->runPasses(count)) throw ApiError(409, "the clock runs by itself; stop it (speed 0) to run passes");
    json out = clockJson();
    out["schemes"] = json::array();
    for (int c = 1; c <= camera_.channelCount(); ++c) {
        int scheme = 0;
        camera_.controller(c).getParamScheme(scheme);
        out["schemes"].push_back(scheme);
    }
    return out;
}

json Api::dayNight(const ApiRequest& r) { return {{"state", sim_->night(channel(r.params[0])) ? "night" : "day"}}; }

json Api::setDayNight(const ApiRequest& r)
{
    const int c = channel(r.params[0]);
    const std::string state = stringField(r.body, "state");
    if (state != "day" && state != "night") throw badRequest("\"state\" is day or night");
    sim_->setNight(c, state == "night");
    return {{"state", state}};
}

json Api::addFault(const ApiRequest& r)
{
    const int c = channel(std::to_string(intField(r.body, "channel")));
    const json& key = member(r.body, "key");
    if (!key.is_string() && !key.is_number_integer()) throw badRequest("the body needs \"key\": a name or a number");
    const int cmd = keyOf(key.is_string() ? key.get<std::string>() : std::to_string(key.get<long long>()));
    const int count = has(r.body, "count") ? intField(r.body, "count", -1, INT_MAX) : 1;
    if (count == 0) throw badRequest("\"count\" is the number of calls to fail, or -1 for every call");
    sim_->failCommand(c, cmd, count);
    return {{"channel", c}, {"cmd", cmd}, {"count", count}};
}

json Api::clearFaults(const ApiRequest&)
{
    sim_->clearFaults();
    return json::object();
}

}  // namespace sensorhost

// Fuzz targets of the module's parsers: every text the host, a file or the network hands the module.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "FuzzTargets.h"
#include "ISensorController.h"
#include "controls.h"
#include "onvif.h"
#include "security.h"
#include "ModuleConfigure.h"
#include "SensorDebug.h"
#include "SensorFile.h"
#include "SensorKeyVal.h"
#include "hostsim.h"
#include "sensor.h"

namespace fs = std::filesystem;

namespace sensorfuzz {

namespace {

// A camera root for the run: the one already set (the test suite gives each
// test its own), else a fresh temporary one with the module's console quiet.
void ensureRoot()
{
    if (!hostsim::root().empty()) return;
    std::string dir = (fs::temp_directory_path() / "sensor-fuzz-XXXXXX").string();
    if (::mkdtemp(dir.data()) == nullptr) std::abort();
    hostsim::setRoot(dir);
    fs::create_directories(dir + "/tmp");
    std::ofstream(dir + "/tmp/Debug.sign") << "-1\n0\n";
}

std::string text(const std::uint8_t* data, std::size_t size) { return std::string(reinterpret_cast<const char*>(data), size); }

void writeModuleFile(const std::string& modulePath, const std::uint8_t* data, std::size_t size)
{
    const fs::path path = hostsim::mapPath(modulePath);
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data),
                                                                 static_cast<std::streamsize>(size));
}

// Bytes 0..n of the input as a small number, the rest as text.
struct Reader {
    const std::uint8_t* data;
    std::size_t size;
    std::uint32_t word()
    {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) value = value << 8 | take();
        return value;
    }
    std::uint8_t take()
    {
        if (size == 0) return 0;
        --size;
        return *data++;
    }
};

int pairList(const std::uint8_t* data, std::size_t size)
{
    Reader in{data, size};
    const unsigned capacity = in.take() % 24;
    // Exactly the room given: an overrun is a sanitizer report.
    std::unique_ptr<KeyVal[]> set(new KeyVal[capacity == 0 ? 1 : capacity]());
    unsigned count = 0;
    keyval_str2st(text(in.data, in.size), set.get(), &count, capacity);
    if (count > capacity) std::abort();
    std::string out;
    keyval_st2str(out, set.get(), count);
    return 0;
}

int keyList(const std::uint8_t* data, std::size_t size)
{
    ISensorController controller;
    std::vector<std::string> items;
    controller.parseSensorParameter(text(data, size), items);
    return 0;
}

int detailField(const std::uint8_t* data, std::size_t size)
{
    const std::string all = text(data, size);
    const std::size_t split = all.find('\n');
    const std::string field = split == std::string::npos ? "max_scheme" : all.substr(0, split);
    const std::string detail = split == std::string::npos ? all : all.substr(split + 1);
    u32 value = 0;
    getDetailFieldTou32(detail.c_str(), field.c_str(), &value);
    char buffer[10] = {0};
    getDetailFieldToStr(detail.c_str(), field.c_str(), buffer);
    return 0;
}

int debugSign(const std::uint8_t* data, std::size_t size)
{
    writeModuleFile("/tmp/Debug.sign", data, size);
    updateDebugLevel();
    g_nDebugLevel = -1;
    g_bEnAssert = false;
    return 0;
}

int fovFile(const std::uint8_t* data, std::size_t size)
{
    writeModuleFile("/mnt/mtd/hd1/program/config/sync_fov.ini", data, size);
    // One controller for the run: building one per input (machine information,
    // thread object) cost twenty times the parse under test.
    static ISensorController controller;
    controller.sync_fov();
    hostsim::SimIsp::instance().clearCalls();
    hostsim::clearTrace();
    return 0;
}

int schemeFile(const std::uint8_t* data, std::size_t size)
{
    Reader in{data, size};
    const u32 count = in.take() % 200;
    writeModuleFile("/mnt/mtd/code/config_file/sensor1_0.cfg", in.data, in.size);
    std::vector<KeyVal> set(count + 1);
    char name[] = "/mnt/mtd/code/config_file/sensor1_0.cfg";
    keyValFromFile(name, set.data(), count);
    return 0;
}

int styleMerge(const std::uint8_t* data, std::size_t size)
{
    // style, diversity and detail text, separated by NUL bytes
    const std::string all = text(data, size);
    const std::size_t a = all.find('\0');
    const std::size_t b = a == std::string::npos ? std::string::npos : all.find('\0', a + 1);
    const std::string style = all.substr(0, a);
    const std::string diversity = a == std::string::npos ? "" : all.substr(a + 1, b == std::string::npos ? b : b - a - 1);
    const std::string detail = b == std::string::npos ? "(lensId=0)(isInfrared=1)" : all.substr(b + 1, 511);
    ModuleConfig config{};
    std::memcpy(config.szDetail, detail.c_str(), std::strlen(detail.c_str()));
    char* merged = static_cast<char*>(std::calloc(style.size() + 1, 1));
    std::memcpy(merged, style.data(), style.size());
    // An allocation of exactly the text, so that a read past its terminator is caught.
    char* div = static_cast<char*>(std::malloc(diversity.size() + 1));
    std::memcpy(div, diversity.c_str(), diversity.size() + 1);
    mergeStyle(1, &config, &merged, div);
    std::free(div);
    std::free(merged);
    return 0;
}

const char* const kStyle =
    "<style><tab key=\"a\"><param id=\"8000\" value=\"0\"/><param id=\"49\" value=\"203\">"
    "<option index=\"1\"/><option index=\"2\"/><option index=\"4\"/></param><param id=\"50\" value=\"100\">"
    "<option index=\"25\"/><option/></param><param id=\"1537\" value=\"3\"><option index=\"3\"/></param>"
    "<param id=\"2337\" value=\"1\"><option index=\"0\"/><option index=\"2\"/></param>"
    "<param id=\"10\" value=\"0\"/><param id=\"11\" value=\"0\"/></tab></style>";

// The library's answers come from the input: the command list, then range records.
int dynamicStyle(const std::uint8_t* data, std::size_t size)
{
    Reader in{data, size};
    hostsim::SimIsp& isp = hostsim::SimIsp::instance();
    isp.reset();
    const std::uint32_t commands[] = {49, 50, 1537, 2337, 10, 11, 8000, 0xffffffffu};
    std::vector<std::uint32_t> list;
    const int count = in.take() % 20;
    for (int i = 0; i < count; ++i) list.push_back(commands[in.take() % 8]);
    isp.setDynamicCommands(0, list);
    if (in.take() & 1) isp.setCommandCount(0, static_cast<std::int32_t>(in.word()));
    for (std::uint32_t cmd : list) {
        ia_dynamic_params_attr_st range{};
        range.type = static_cast<s32>(in.take() % 2);
        range.def_val = static_cast<s32>(in.word());
        range.min_val = static_cast<s32>(in.word());
        range.max_val = static_cast<s32>(in.word());
        range.items_cnt = static_cast<s32>(in.word());
        for (int j = 0; j < 64; ++j) range.item[j] = static_cast<s32>(in.take() % 8);
        isp.setRange(0, cmd, range);
    }
    if (in.take() & 1) isp.failNthCall(1 + in.take() % 6);
    std::string out;
    getDnaStyle(1, kStyle, out, in.take() & 1);
    isp.reset();
    hostsim::clearTrace();
    return 0;
}

// One channel of the bundled bullet camera, started once per process and shut
// down as the host does it when the process ends.
struct Started {
    std::unique_ptr<ISensorController> controller;
    ~Started()
    {
        if (controller) controller->uinit();
    }
};

ISensorController& startedChannel()
{
    static hostsim::SimVideoModule video;
    static Started started;
    std::unique_ptr<ISensorController>& controller = started.controller;
    if (!controller) {
        std::string error;
        if (!hostsim::installProfile(SENSOR_PROFILES_DIR "/bullet", hostsim::root(), error) ||
            !hostsim::loadSimProfile(hostsim::root() + "/sim.ini", video, error)) {
            std::abort();
        }
        hostsim::setThreadsHeld(true);
        ModuleConfigure configure;
        configure.setDetail("(max_scheme=4)(isInfrared=1)(lensId=3)");
        controller = std::make_unique<ISensorController>();
        controller->setChannelID(1);
        controller->setVideoStreamModule(&video);
        controller->init(configure);
    }
    return *controller;
}

int parameterText(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    ISensorController& controller = startedChannel();
    // Bit 1 of the first byte: the rest is a key list for the host's reads;
    // else a pair list, saved when bit 0 is set.
    if ((data[0] & 2) != 0) {
        std::string out;
        controller.getParameters(text(data + 1, size - 1), out);
    } else {
        controller.setParameters(text(data + 1, size - 1), (data[0] & 1) != 0);
    }
    hostsim::SimIsp::instance().clearCalls();
    hostsim::clearTrace();
    return 0;
}

// The ONVIF services over the started channel, with a clock that moves a
// millisecond per wrapped request so that every token is fresh.
struct Soap : sensorhost::CameraService {
    Soap() { sensorhost::ControlSet::build(startedChannel(), controls_, error_); }
    int channelCount() const override { return 1; }
    int schemeCount(int) const override { return 4; }
    ISensorController& controller(int) override { return startedChannel(); }
    std::mutex& lock(int) override { return lock_; }
    std::shared_ptr<const sensorhost::ControlSet> controls(int) override
    {
        return std::shared_ptr<const sensorhost::ControlSet>(&controls_, [](const sensorhost::ControlSet*) {});
    }
    sensorhost::DeviceInfo device() const override { return {"fuzz", "fuzz", "fuzz", "fuzz", "fuzz"}; }

    sensorhost::ControlSet controls_;
    std::mutex lock_;
    std::string error_;
    std::int64_t tick = 1795435200000;
    sensorhost::onvif::Service service{*this, {{"admin", "admin"}}, [this] {
                                           return std::chrono::system_clock::time_point(std::chrono::milliseconds(tick));
                                       }};
};

Soap& soap()
{
    static Soap instance;
    return instance;
}

// The first byte picks the service path and, with bit 7, wraps the rest as the
// body of an envelope with a valid token: the parser, routing and credentials
// see whole requests, the actions and the settings reader see their bodies.
int soapRequest(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    Soap& camera = soap();
    const std::vector<std::string>& paths = sensorhost::onvif::paths();
    std::string body = text(data + 1, size - 1);
    if ((data[0] & 0x80) != 0) {
        const std::time_t seconds = static_cast<std::time_t>(++camera.tick / 1000);
        std::tm utc{};
        ::gmtime_r(&seconds, &utc);
        char created[64];
        std::snprintf(created, sizeof(created), "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                      utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                      static_cast<int>(camera.tick % 1000));
        const std::string nonce = std::to_string(camera.tick);
        body = "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Header><Security xmlns=\""
               "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd\"><UsernameToken>"
               "<Username>admin</Username><Password Type=\"#PasswordDigest\">" +
               sensorhost::onvif::passwordDigest(nonce, created, "admin") + "</Password><Nonce>" +
               sensorhost::onvif::encodeBase64(nonce) + "</Nonce><Created>" + created +
               "</Created></UsernameToken></Security></s:Header><s:Body>" + body + "</s:Body></s:Envelope>";
    }
    camera.service.handle(paths[(data[0] & 0x7f) % paths.size()], body, "fuzz");
    hostsim::SimIsp::instance().clearCalls();
    hostsim::clearTrace();
    return 0;
}

}  // namespace

const std::map<std::string, Target>& targets()
{
    static const std::map<std::string, Target> all = {
        {"pair_list", &pairList},       {"key_list", &keyList},       {"detail_field", &detailField},
        {"debug_sign", &debugSign},     {"fov_file", &fovFile},       {"scheme_file", &schemeFile},
        {"style_merge", &styleMerge},   {"dynamic_style", &dynamicStyle}, {"parameter_text", &parameterText},
        {"soap_request", &soapRequest},
    };
    ensureRoot();
    return all;
}

void prepare(const std::string& name)
{
    targets();
    if (name == "parameter_text") startedChannel();
    if (name == "soap_request") soap();
}

}  // namespace sensorfuzz

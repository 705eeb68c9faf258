// ONVIF services on a simulated camera: each imaging setting as the library commands it becomes, every refusal as its
// fault.
#include <gtest/gtest.h>
#include <tinyxml.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "CameraTest.h"
#include "SensorKeys.h"
#include "camera.h"
#include "hostsim.h"
#include "onvif.h"
#include "security.h"

namespace {

using namespace sensorhost;
using Strings = std::vector<std::string>;

const char* const kSoap = "http://www.w3.org/2003/05/soap-envelope";
const char* const kWsse = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd";
const char* const kImaging = "/onvif/imaging_service";
const char* const kDevice = "/onvif/device_service";
const char* const kScheme0 = "/mnt/mtd/code/config_file/sensor1_0.cfg";

// Camera time of every test: 2026-11-23 12:00:00 UTC.
const std::chrono::system_clock::time_point kNow{std::chrono::seconds(1795435200)};
const char* const kCreated = "2026-11-23T12:00:00.000Z";

std::string envelope(const std::string& body, const std::string& header = "", const std::string& ns = kSoap)
{
    return "<s:Envelope xmlns:s=\"" + ns + "\"><s:Header>" + header + "</s:Header><s:Body>" + body +
           "</s:Body></s:Envelope>";
}

std::string token(const std::string& user, const std::string& password, const std::string& nonce,
                  const std::string& created, const char* type = "#PasswordDigest")
{
    return std::string("<Security s:mustUnderstand=\"1\" xmlns=\"") + kWsse + "\"><UsernameToken><Username>" + user +
           "</Username><Password Type=\"http://docs.oasis-open.org/wss/2004/01/"
           "oasis-200401-wss-username-token-profile-1.0" +
           type + "\">" + onvif::passwordDigest(nonce, created, password) + "</Password><Nonce>" +
           onvif::encodeBase64(nonce) + "</Nonce><Created>" + created + "</Created></UsernameToken></Security>";
}

// <timg:ACTION> on video source 1 with `inner` after the token.
std::string imaging(const std::string& action, const std::string& inner = "",
                    const std::string& source = "VideoSource_1")
{
    return "<timg:" + action +
           " xmlns:timg=\"http://www.onvif.org/ver20/imaging/wsdl\" xmlns:tt=\"http://www.onvif.org/ver10/schema\">"
           "<timg:VideoSourceToken>" +
           source + "</timg:VideoSourceToken>" + inner + "</timg:" + action + ">";
}

std::string setSettings(const std::string& settings, const std::string& force = "")
{
    return imaging("SetImagingSettings", "<timg:ImagingSettings>" + settings + "</timg:ImagingSettings>" + force);
}

// The text at `path` (local names joined by '/') below the reply's response
// element; "-" when absent. Faults read as their code values: "env:Sender ter:NotAuthorized".
std::string at(const std::string& reply, const std::string& path)
{
    TiXmlDocument doc;
    doc.Parse(reply.c_str());
    auto local = [](const TiXmlElement* e) { return e->ValueStr().substr(e->ValueStr().find(':') + 1); };
    const TiXmlElement* e = doc.RootElement() != nullptr ? doc.RootElement()->FirstChildElement() : nullptr;
    e = e != nullptr ? e->FirstChildElement() : nullptr;
    if (path == "code" && (e == nullptr || local(e) != "Fault")) return "";
    if (path == "code") {
        std::string codes;
        for (const TiXmlElement* c = e->FirstChildElement(); c != nullptr; c = c->FirstChildElement("env:Subcode")) {
            codes += (codes.empty() ? "" : " ") + std::string(c->FirstChildElement("env:Value")->GetText());
        }
        return codes;
    }
    for (std::size_t from = 0; e != nullptr && from <= path.size();) {
        const std::size_t slash = std::min(path.find('/', from), path.size());
        const std::string name = path.substr(from, slash - from);
        for (e = e->FirstChildElement(); e != nullptr && local(e) != name;) e = e->NextSiblingElement();
        from = slash + 1;
    }
    return e == nullptr ? "-" : e->GetText() != nullptr ? e->GetText() : "";
}

// The library commands a request set, in order: "34=80", "2353=10!" for a refused one.
std::vector<std::string> sets()
{
    std::vector<std::string> out;
    for (const hostsim::IspCall& call : hostsim::SimIsp::instance().calls()) {
        if (call.option != IA_CMD_OPT_SET) continue;
        std::string line = std::to_string(call.cmd) + "=";
        for (std::size_t i = 0; i < call.in.size(); ++i) line += (i == 0 ? "" : ",") + std::to_string(call.in[i]);
        out.push_back(line + (call.result != 0 ? "!" : ""));
    }
    return out;
}

class OnvifTest : public testsupport::CameraTest, public CameraService {
protected:
    void start(const std::string& profile, std::vector<onvif::User> users = {{"admin", "secret"}})
    {
        install(profile);
        hostsim::setThreadsHeld(true);
        std::string error;
        ASSERT_TRUE(camera_.open(error)) << error;
        for (int channel = 1; channel <= camera_.channelCount(); ++channel) {
            channels_.push_back(std::make_unique<Channel>(camera_, channel));
            channels_.back()->up();
            controls_.push_back(std::make_shared<ControlSet>());
            ASSERT_TRUE(ControlSet::build(channels_.back()->controller(), *controls_.back(), error)) << error;
        }
        service_ = std::make_unique<onvif::Service>(*this, users, [this] { return now_; });
        hostsim::SimIsp::instance().clearCalls();
    }
    void TearDown() override
    {
        service_.reset();
        channels_.clear();
        controls_.clear();
        CameraTest::TearDown();
    }

    int channelCount() const override { return camera_.channelCount(); }
    int schemeCount(int channel) const override { return camera_.schemeCount(channel); }
    ISensorController& controller(int channel) override { return channels_.at(channel - 1)->controller(); }
    std::mutex& lock(int) override { return lock_; }
    std::shared_ptr<const ControlSet> controls(int channel) override { return controls_.at(channel - 1); }
    DeviceInfo device() const override { return {"Example Cameras", "Hi3519AV100", "ISP 5.2.1", "SIM00000001", "BC4M"}; }
    VideoStream stream(int) const override { return {"H264", 2688, 1520, 25}; }

    // A request with a fresh, valid token unless `header` is given.
    onvif::Reply call(const std::string& body, const char* path = kImaging, const std::string* header = nullptr)
    {
        const std::string fresh = token("admin", "secret", "nonce-" + std::to_string(++nonces_), kCreated);
        return service_->handle(path, envelope(body, header != nullptr ? *header : fresh), "cam.local:8080");
    }
    int value(int key) { int v = -1; return controller(1).getParameter(key, v), v; }

    Camera camera_;
    std::vector<std::unique_ptr<Channel>> channels_;
    std::vector<std::shared_ptr<ControlSet>> controls_;
    std::mutex lock_;
    std::unique_ptr<onvif::Service> service_;
    std::chrono::system_clock::time_point now_ = kNow;
    int nonces_ = 0;
};

// Each ImagingSettings20 field on the bullet camera: the commands the library
// gets, in table order, or the fault and no command at all.
TEST_F(OnvifTest, SetImagingSettingsBecomesLibraryCommandsOrChangesNothing)
{
    // Pairs applied first, a command the library refuses (0: none), the settings, the fault ("": success).
    struct Row { const char *name, *before; int failing; std::string settings; const char* fault; Strings sets; };
    const auto ext = [](int levels, const std::string& inner) {
        std::string open, close;
        for (int i = 0; i < levels; ++i) open += "<tt:Extension>", close += "</tt:Extension>";
        return open + inner + close;
    };
    const auto adjust = [](const std::string& inner) {
        return "<tt:IrCutFilterAutoAdjustment>" + inner + "</tt:IrCutFilterAutoAdjustment>";
    };
    const char* const invalid = "env:Sender ter:InvalidArgVal ter:SettingsInvalid";
    const Row rows[] = {
        {"brightness", "", 0, "<tt:Brightness>80</tt:Brightness>", "", {"34=80"}},
        {"a float lands on the step", "", 0, "<tt:Brightness>37.6</tt:Brightness>", "", {"34=38"}},
        {"table order, not request order", "", 0,
         "<tt:Sharpness>20</tt:Sharpness><tt:Contrast>10</tt:Contrast><tt:ColorSaturation>70</tt:ColorSaturation>", "",
         {"2337=70", "2353=10", "2321=20"}},
        {"exposure: shutters to the nearest choice", "", 0,
         "<tt:Exposure><tt:Mode>MANUAL</tt:Mode><tt:MaxExposureTime>33333.33</tt:MaxExposureTime>"
         "<tt:ExposureTime>4100</tt:ExposureTime><tt:Gain>40</tt:Gain></tt:Exposure>", "",
         {"16=1", "49=30", "50=250", "66=40"}},
        {"shutter priority reads as AUTO and stays", "(16,2)", 0, "<tt:Exposure><tt:Mode>AUTO</tt:Mode></tt:Exposure>",
         "", {}},
        {"IR cut filter off is night", "", 0, "<tt:IrCutFilter>OFF</tt:IrCutFilter>", "", {"144=2"}},
        {"timed day/night reads as AUTO and stays", "(144,3)", 0, "<tt:IrCutFilter>AUTO</tt:IrCutFilter>", "", {}},
        {"backlight, WDR, white balance", "", 0,
         "<tt:BacklightCompensation><tt:Mode>ON</tt:Mode><tt:Level>30</tt:Level></tt:BacklightCompensation>"
         "<tt:WideDynamicRange><tt:Mode>ON</tt:Mode><tt:Level>70</tt:Level></tt:WideDynamicRange><tt:WhiteBalance>"
         "<tt:Mode>MANUAL</tt:Mode><tt:CrGain>60</tt:CrGain><tt:CbGain>40</tt:CbGain></tt:WhiteBalance>", "",
         {"128=1", "130=30", "2368=1", "2369=70", "768=1", "770=60", "771=40"}},
        {"focus near limit in metres", "", 0,
         "<tt:Focus><tt:AutoFocusMode>MANUAL</tt:AutoFocusMode><tt:NearLimit>2.9</tt:NearLimit></tt:Focus>", "",
         {"1536=1", "1537=3"}},
        {"stabilization", "", 0,
         ext(1, "<tt:ImageStabilization><tt:Mode>ON</tt:Mode><tt:Level>80</tt:Level></tt:ImageStabilization>"), "",
         {"2416=1", "2417=80"}},
        // The thresholds go to the library as one record: day to night, night to day, sensitivity.
        {"common boundary moves both thresholds from their defaults", "", 0,
         ext(2, adjust("<tt:BoundaryType>Common</tt:BoundaryType><tt:BoundaryOffset>0.5</tt:BoundaryOffset>"
                       "<tt:ResponseTime>PT10S</tt:ResponseTime>")), "",
         {"146=20,80,0", "147=10", "145=60,80,0"}},
        {"to-on boundary at its darkest", "", 0,
         ext(2, adjust("<tt:BoundaryType>ToOn</tt:BoundaryType><tt:BoundaryOffset>-1</tt:BoundaryOffset>")), "",
         {"146=20,0,0"}},
        {"tone compensation, defog, noise reduction as fractions", "", 0,
         ext(3, "<tt:ToneCompensation><tt:Mode>ON</tt:Mode><tt:Level>0.25</tt:Level></tt:ToneCompensation>"
                "<tt:Defogging><tt:Mode>ON</tt:Mode><tt:Level>1</tt:Level></tt:Defogging>"
                "<tt:NoiseReduction><tt:Level>0.3</tt:Level></tt:NoiseReduction>"), "",
         {"112=1", "113=25", "2400=1", "2401=100", "2313=30"}},
        {"one value out of range: nothing applied", "", 0,
         "<tt:Contrast>10</tt:Contrast><tt:Brightness>101</tt:Brightness>", invalid, {}},
        {"not a number", "", 0, "<tt:Brightness>bright</tt:Brightness>", invalid, {}},
        {"an unknown mode", "", 0, "<tt:IrCutFilter>DAY</tt:IrCutFilter>", invalid, {}},
        {"a shutter beyond the choices", "", 0, "<tt:Exposure><tt:ExposureTime>500000</tt:ExposureTime></tt:Exposure>",
         invalid, {}},
        {"a field this camera does not support", "", 0,
         "<tt:Exposure><tt:Priority>LowNoise</tt:Priority></tt:Exposure>", invalid, {}},
        {"a setting this channel lacks", "", 0, "<tt:Focus><tt:DefaultSpeed>3</tt:DefaultSpeed></tt:Focus>", invalid,
         {}},
        {"two response times that contradict", "", 0,
         ext(2, adjust("<tt:BoundaryType>ToOn</tt:BoundaryType><tt:ResponseTime>PT5S</tt:ResponseTime>") +
                    adjust("<tt:BoundaryType>ToOff</tt:BoundaryType><tt:ResponseTime>PT9S</tt:ResponseTime>")),
         invalid, {}},
        {"the library refuses one midway: the applied one is put back", "", 2353,
         "<tt:Brightness>80</tt:Brightness><tt:Contrast>10</tt:Contrast><tt:Sharpness>20</tt:Sharpness>",
         "env:Receiver ter:Action", {"34=80", "2353=10!", "34=50"}},
    };
    start("bullet");
    const std::string file = testsupport::readFile(kScheme0);
    int nonce = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        controller(1).setParameters("(34,50)(2337,50)(2353,50)(2321,50)(16,0)(144,0)(145,20)(146,60)(147,5)", true);
        controller(1).setParameters(row.before, true);
        hostsim::SimIsp::instance().clearCalls();
        if (row.failing != 0) hostsim::SimIsp::instance().addFault({0, row.failing, IA_CMD_OPT_SET, 0, 1, -1});
        const std::string header = token("admin", "secret", "row-" + std::to_string(++nonce), kCreated);
        const onvif::Reply reply =
            call(setSettings(row.settings, "<timg:ForcePersistence>false</timg:ForcePersistence>"), kImaging, &header);
        const std::string fault = row.fault;
        EXPECT_EQ(reply.status, fault.empty() ? 200 : fault.rfind("env:Receiver", 0) == 0 ? 500 : 400);
        EXPECT_EQ(at(reply.body, "code"), row.fault) << reply.body;
        EXPECT_EQ(sets(), row.sets);
        hostsim::SimIsp::instance().clearFaults();
    }
    EXPECT_EQ(testsupport::readFile(kScheme0), file) << "ForcePersistence false saved";
}

// ForcePersistence: true (or absent) saves the scheme, false applies only; a
// scheme that cannot be saved takes nothing.
TEST_F(OnvifTest, ForcePersistenceSavesOrOnlyApplies)
{
    struct Row { const char *name, *force, *before; int status, inForce; bool saved; };
    const Row rows[] = {
        {"absent saves", "", "", 200, 80, true},
        {"true saves", "<timg:ForcePersistence>true</timg:ForcePersistence>", "", 200, 80, true},
        {"false applies", "<timg:ForcePersistence>false</timg:ForcePersistence>", "", 200, 80, false},
        {"a period flush refuses", "", "(8001,25)", 500, 50, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        start("bullet");
        controller(1).setParameters(row.before, true);
        const std::string file = testsupport::readFile(kScheme0);
        const onvif::Reply reply = call(setSettings("<tt:Brightness>80</tt:Brightness>", row.force));
        EXPECT_EQ(reply.status, row.status) << reply.body;
        EXPECT_EQ(value(KEY_BRIGHTNESS), row.inForce);
        EXPECT_EQ(testsupport::readFile(kScheme0) != file, row.saved);
        TearDown();
        SetUp();
    }
}

// What GetImagingSettings and GetOptions report follows each channel's control description.
TEST_F(OnvifTest, SettingsAndOptionsShowWhatTheChannelHas)
{
    struct Row { const char *profile, *source, *action, *path, *expected; };
    const Row rows[] = {
        {"bullet", "VideoSource_1", "GetImagingSettings", "ImagingSettings/Brightness", "50"},
        {"bullet", "VideoSource_1", "GetImagingSettings", "ImagingSettings/Exposure/MaxExposureTime", "40000"},
        {"bullet", "VideoSource_1", "GetImagingSettings", "ImagingSettings/IrCutFilter", "AUTO"},
        {"bullet", "VideoSource_1", "GetImagingSettings",
         "ImagingSettings/Extension/Extension/IrCutFilterAutoAdjustment/ResponseTime", "PT5S"},
        {"bullet", "VideoSource_1", "GetImagingSettings",
         "ImagingSettings/Extension/Extension/Extension/NoiseReduction/Level", "0.5"},
        {"bullet", "VideoSource_1", "GetImagingSettings", "ImagingSettings/Focus/DefaultSpeed", "-"},
        {"bullet", "VideoSource_1", "GetOptions", "ImagingOptions/Brightness/Max", "100"},
        {"bullet", "VideoSource_1", "GetOptions", "ImagingOptions/Exposure/MaxExposureTime/Max", "166666.7"},
        {"bullet", "VideoSource_1", "GetOptions", "ImagingOptions/Focus/NearLimit/Max", "10"},
        {"bullet", "VideoSource_1", "GetOptions", "ImagingOptions/WideDynamicRange/Mode", "OFF"},
        {"bullet", "VideoSource_1", "GetOptions",
         "ImagingOptions/Extension/Extension/IrCutFilterAutoAdjustment/BoundaryType", "Common"},
        {"bullet", "VideoSource_1", "GetOptions",
         "ImagingOptions/Extension/Extension/IrCutFilterAutoAdjustment/ResponseTimeRange/Max", "PT60S"},
        {"bullet", "VideoSource_1", "GetMoveOptions", "MoveOptions/Continuous/Speed/Min", "-1"},
        {"dome", "VideoSource_1", "GetImagingSettings", "ImagingSettings/Focus/DefaultSpeed", "3"},
        {"dome", "VideoSource_1", "GetImagingSettings", "ImagingSettings/WideDynamicRange/Mode", "ON"},
        {"thermal-dual", "VideoSource_2", "GetImagingSettings", "ImagingSettings/IrCutFilter", "-"},
        {"thermal-dual", "VideoSource_2", "GetImagingSettings", "ImagingSettings/Extension/ImageStabilization/Mode",
         "OFF"},
        {"thermal-dual", "VideoSource_2", "GetOptions", "ImagingOptions/Extension/ImageStabilization/Level", "-"},
        {"thermal-dual", "VideoSource_2", "GetOptions", "ImagingOptions/Exposure", "-"},
        {"thermal-dual", "VideoSource_1", "GetMoveOptions", "MoveOptions/Absolute", "-"},
        {"thermal-dual", "VideoSource_1", "GetOptions",
         "ImagingOptions/Extension/Extension/Extension/ToneCompensationOptions/Level", "true"},
    };
    std::string profile;
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.profile) + " " + row.action + " " + row.path);
        if (profile != row.profile) {
            if (!profile.empty()) TearDown(), SetUp();
            start(profile = row.profile);
        }
        const onvif::Reply reply = call(imaging(row.action, "", row.source));
        EXPECT_EQ(at(reply.body, row.path), row.expected) << reply.body;
    }
}

// Focus moves as far as the lens controls go; presets are the user schemes.
TEST_F(OnvifTest, MovesAndPresetsDriveTheLensAndTheSchemes)
{
    struct Row { const char *name, *action; std::string inner; const char* fault; Strings sets; };
    const auto focus = [](const std::string& move) { return "<timg:Focus>" + move + "</timg:Focus>"; };
    const Row rows[] = {
        {"absolute", "Move", focus("<tt:Absolute><tt:Position>1000</tt:Position></tt:Absolute>"), "",
         {"1536=1", "1552=1000"}},
        {"relative from there", "Move", focus("<tt:Relative><tt:Distance>-200.4</tt:Distance></tt:Relative>"), "",
         {"1536=1", "1552=800"}},
        {"continuous towards near is one step", "Move",
         focus("<tt:Continuous><tt:Speed>-0.5</tt:Speed></tt:Continuous>"), "", {"1536=1", "1553=1"}},
        {"a position past the range", "Move", focus("<tt:Absolute><tt:Position>70000</tt:Position></tt:Absolute>"),
         "env:Sender ter:InvalidArgVal ter:SettingsInvalid", {}},
        {"stop", "Stop", "", "", {}},
        {"a preset switches the scheme", "SetCurrentPreset", "<timg:PresetToken>Scheme_2</timg:PresetToken>", "", {}},
        {"an unknown preset", "SetCurrentPreset", "<timg:PresetToken>Scheme_4</timg:PresetToken>",
         "env:Sender ter:InvalidArgVal", {}},
    };
    start("bullet");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        hostsim::SimIsp::instance().clearCalls();
        const onvif::Reply reply = call(imaging(row.action, row.inner));
        EXPECT_EQ(at(reply.body, "code"), row.fault) << reply.body;
        EXPECT_EQ(sets(), row.sets);
    }
    int scheme = -1;
    controller(1).getParamScheme(scheme);
    EXPECT_EQ(scheme, 2);
    const std::string current = call(imaging("GetCurrentPreset")).body;
    EXPECT_NE(current.find("token=\"Scheme_2\""), std::string::npos) << current;
    const std::string presets = call(imaging("GetPresets")).body;
    EXPECT_NE(presets.find("token=\"Scheme_3\""), std::string::npos) << presets;
    EXPECT_EQ(presets.find("token=\"Scheme_4\""), std::string::npos) << presets;
    EXPECT_EQ(at(call(imaging("GetStatus")).body, "Status/FocusStatus20/Position"), "800");

    TearDown(), SetUp();
    start("thermal-dual");
    const std::string fixed =
        call(imaging("Move", "<timg:Focus><tt:Continuous><tt:Speed>1</tt:Speed></tt:Continuous></timg:Focus>")).body;
    EXPECT_EQ(at(fixed, "code"), "env:Receiver ter:ActionNotSupported ter:NoImagingForSource");
}

// Requests refused before any action runs: credentials, envelope, limits, routing.
TEST_F(OnvifTest, RefusedRequestsGetTheirFaultAndChangeNothing)
{
    struct Row { const char* name; std::string path, body; const char* fault; };  // body: a whole request
    const std::string set = setSettings("<tt:Brightness>80</tt:Brightness>");
    const std::string used = token("admin", "secret", "used", kCreated);
    const auto as = [&](const char* user, const char* password, const char* nonce, const char* created = kCreated,
                        const char* type = "#PasswordDigest") {
        return envelope(set, token(user, password, nonce, created, type));
    };
    const char *const denied = "env:Sender ter:NotAuthorized", *const malformed = "env:Sender ter:WellFormed";
    std::string deep = "<x>";
    for (int i = 0; i < 40; ++i) deep = "<x>" + deep + "</x>";
    const Row rows[] = {
        {"no credentials", kImaging, envelope(set), denied},
        {"wrong password", kImaging, as("admin", "guess", "n1"), denied},
        {"unknown user", kImaging, as("root", "secret", "n2"), denied},
        {"plain text password", kImaging, as("admin", "secret", "n3", kCreated, "#PasswordText"), denied},
        {"created too long ago", kImaging, as("admin", "secret", "n4", "2026-11-23T11:54:59Z"), denied},
        {"created in the future", kImaging, as("admin", "secret", "n5", "2026-11-23T12:05:01Z"), denied},
        {"a replayed token", kImaging, envelope(set, used), denied},
        {"a device action without credentials", kDevice,
         envelope("<GetDeviceInformation xmlns=\"http://www.onvif.org/ver10/device/wsdl\"/>"), denied},
        {"unknown video source", kImaging,
         envelope(imaging("GetOptions", "", "VideoSource_9"), token("admin", "secret", "n6", kCreated)),
         "env:Sender ter:InvalidArgVal ter:NoSource"},
        {"unknown action", kImaging, envelope(imaging("Zoom"), used), "env:Receiver ter:ActionNotSupported"},
        {"not well-formed", kImaging, envelope("<timg:GetOptions>"), malformed},
        {"a document type", kImaging, "<!DOCTYPE s [<!ENTITY e \"x\">]>" + envelope(set, used), malformed},
        {"a processing instruction", kImaging, envelope("<?php ?>" + set, used), malformed},
        {"nesting too deep", kImaging, envelope(deep, used), malformed},
        {"too large", kImaging, envelope(set + std::string(70000, ' '), used), "env:Sender ter:InvalidArgs"},
        {"SOAP 1.1", kImaging, envelope(set, used, "http://schemas.xmlsoap.org/soap/envelope/"), "env:VersionMismatch"},
        {"an empty body", kImaging, envelope("", used), "env:Sender ter:InvalidArgs"},
    };
    start("bullet");
    ASSERT_EQ(service_->handle(kImaging, envelope(imaging("GetOptions"), used), "").status, 200);
    hostsim::SimIsp::instance().clearCalls();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const onvif::Reply reply = service_->handle(row.path, row.body, "cam.local");
        EXPECT_EQ(reply.status, std::string(row.fault).rfind("env:Receiver", 0) == 0 ? 500 : 400);
        EXPECT_EQ(reply.contentType, "application/soap+xml; charset=utf-8");
        EXPECT_EQ(at(reply.body, "code"), row.fault) << reply.body;
    }
    EXPECT_EQ(sets(), std::vector<std::string>{});
    EXPECT_EQ(value(KEY_BRIGHTNESS), 50);
    EXPECT_EQ(service_->handle("/onvif/ptz_service", envelope(set, used), "").status, 404);
}

// Nonces are remembered while they can be replayed; past the bound the
// oldest is forgotten and nothing created before it passes any more.
TEST_F(OnvifTest, ReplayedNoncesStayRefusedWithABoundedMemory)
{
    start("bullet");
    const std::string get = imaging("GetOptions");
    auto send = [&](int nonce, int ms) {
        char created[40];
        std::snprintf(created, sizeof(created), "2026-11-23T12:00:%02d.%03dZ", ms / 1000, ms % 1000);
        const std::string header = token("admin", "secret", "n" + std::to_string(nonce), created);
        return service_->handle(kImaging, envelope(get, header), "").status;
    };
    const int bound = static_cast<int>(onvif::Guard::kNonces);
    for (int i = 0; i <= bound; ++i) ASSERT_EQ(send(i, i), 200) << i;
    EXPECT_EQ(send(0, 0), 400) << "forgotten, still refused";
    EXPECT_EQ(send(bound, bound), 400) << "remembered";
    EXPECT_EQ(send(bound + 1, 0), 400) << "a fresh nonce created no later than the forgotten one";
    EXPECT_EQ(send(bound + 2, bound + 1), 200);
}

// The device and media services tell a client where everything is and what the camera is.
TEST_F(OnvifTest, DeviceAndMediaServicesIntroduceTheCamera)
{
    struct Row {
        std::string body;
        bool credentials;
        const char* path;
        const char* expected;
    };
    const std::string device = " xmlns=\"http://www.onvif.org/ver10/device/wsdl\"";
    const std::string media = " xmlns=\"http://www.onvif.org/ver10/media/wsdl\"";
    const Row rows[] = {
        {"<GetSystemDateAndTime" + device + "/>", false, "SystemDateAndTime/UTCDateTime/Time/Hour", "12"},
        {"<GetSystemDateAndTime" + device + "/>", false, "SystemDateAndTime/UTCDateTime/Date/Day", "23"},
        {"<GetCapabilities" + device + "><Category>All</Category></GetCapabilities>", false,
         "Capabilities/Imaging/XAddr", "http://cam.local:8080/onvif/imaging_service"},
        {"<GetCapabilities" + device + "><Category>PTZ</Category></GetCapabilities>", false, "code",
         "env:Receiver ter:ActionNotSupported ter:NoSuchService"},
        {"<GetServices" + device + "><IncludeCapability>true</IncludeCapability></GetServices>", false, "Service/XAddr",
         "http://cam.local:8080/onvif/device_service"},
        {"<GetServiceCapabilities xmlns=\"http://www.onvif.org/ver20/imaging/wsdl\"/>", false, "Capabilities", ""},
        {"<GetDeviceInformation" + device + "/>", true, "SerialNumber", "SIM00000001"},
        {"<GetScopes" + device + "/>", true, "Scopes/ScopeItem",
         "onvif://www.onvif.org/type/Network_Video_Transmitter"},
        {"<GetVideoSources" + media + "/>", true, "VideoSources/Resolution/Width", "2688"},
        {"<GetProfiles" + media + "/>", true, "Profiles/VideoSourceConfiguration/SourceToken", "VideoSource_1"},
        {"<GetProfiles" + media + "/>", true, "Profiles/VideoEncoderConfiguration/Encoding", "H264"},
    };
    start("bullet");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.body);
        const std::string none;
        const onvif::Reply reply = call(row.body, kDevice, row.credentials ? nullptr : &none);
        EXPECT_EQ(at(reply.body, row.path), row.expected) << reply.body;
    }
    TearDown(), SetUp();
    start("bullet", {});
    EXPECT_EQ(service_->handle(kDevice, envelope(rows[0].body), "").status, 404) << "no user: off, not open";
}

TEST(OnvifSecurity, DigestUsersAndTimes)
{
    EXPECT_EQ(onvif::passwordDigest(std::string("\0\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17", 16), kCreated, "secret"),
              "gcbUsK9PFu2pUUyxzkQ9hfnDdXo=");
    std::string bytes;
    EXPECT_TRUE(onvif::decodeBase64("AAECAwQFBgcICQoLDA0ODw==", bytes));
    EXPECT_EQ(bytes.size(), 16u);
    EXPECT_FALSE(onvif::decodeBase64("AAEC*wQF", bytes));
    std::int64_t ms = 0;
    EXPECT_TRUE(onvif::parseDateTime("2026-11-23T13:30:00.5+01:30", ms));
    EXPECT_EQ(ms, 1795435200500);
    EXPECT_FALSE(onvif::parseDateTime("2026-11-23 12:00:00Z", ms));
    onvif::User user;
    std::string error;
    EXPECT_TRUE(onvif::parseUser("admin:a:b", user, error));
    EXPECT_EQ(user.password, "a:b");
    EXPECT_FALSE(onvif::parseUser(":secret", user, error));
    EXPECT_EQ(error.find("secret"), std::string::npos) << "a password is never echoed";
}

}  // namespace

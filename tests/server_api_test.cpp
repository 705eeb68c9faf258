// The served camera's JSON API over real sockets: one table of requests and answers, the token, the route table, several clients at once.
#include <gtest/gtest.h>
#include <httplib.h>

#include <atomic>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ModuleTest.h"
#include "http.h"
#include "onvif.h"
#include "security.h"
#include "simcamera.h"

namespace {

using sensorhost::HttpServer;

const char* const kGetServices = R"(<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"><s:Body>)"
                                 R"(<GetServices xmlns="http://www.onvif.org/ver10/device/wsdl"/></s:Body></s:Envelope>)";

// ONVIF's SetImagingSettings of channel 1's contrast, applied without saving,
// with a fresh token of the fixture's user created now.
std::string onvifContrast(int value, const std::string& nonce)
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    char created[32];
    std::strftime(created, sizeof(created), "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&now, &utc));
    return std::string(R"(<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"><s:Header><Security xmlns=")"
                       R"(http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd">)"
                       R"(<UsernameToken><Username>admin</Username><Password Type="#PasswordDigest">)") +
           sensorhost::onvif::passwordDigest(nonce, created, "secret") + "</Password><Nonce>" +
           sensorhost::onvif::encodeBase64(nonce) + "</Nonce><Created>" + created +
           R"(</Created></UsernameToken></Security></s:Header><s:Body><SetImagingSettings xmlns=")"
           R"(http://www.onvif.org/ver20/imaging/wsdl"><VideoSourceToken>VideoSource_1</VideoSourceToken>)"
           R"(<ImagingSettings><Contrast>)" +
           std::to_string(value) +
           "</Contrast></ImagingSettings><ForcePersistence>false</ForcePersistence></SetImagingSettings></s:Body>"
           "</s:Envelope>";
}

// A bundled camera on the test's root, every channel up, served on a free port of this machine.
class ServedCamera : public testsupport::HostTest {
protected:
    void serve(const std::string& profile, const std::string& token = "")
    {
        std::string error;
        ASSERT_TRUE(sensorhost::makeRoot(rootDir(), profile, false, error)) << error;
        hostsim::setLogLimit(10000);
        hostsim::setThreadsHeld(true);
        camera_ = std::make_unique<sensorhost::SimCamera>();
        ASSERT_TRUE(camera_->open(error)) << error;
        sim_ = sensorhost::makeSimControl(*camera_);
        api_ = std::make_unique<sensorhost::Api>(*camera_, sim_.get());
        server_ = std::make_unique<HttpServer>(*api_);
        server_->setToken(token);
        // ONVIF as sensorctl serve wires it: the body and the Host header of each POST.
        onvif_ = std::make_unique<sensorhost::onvif::Service>(*camera_,
                                                              std::vector<sensorhost::onvif::User>{{"admin", "secret"}});
        for (const std::string& path : sensorhost::onvif::paths()) {
            server_->addRawPost(path, [this, path](const std::string& body, const std::string& host) {
                const sensorhost::onvif::Reply reply = onvif_->handle(path, body, host);
                return sensorhost::RawReply{reply.status, reply.contentType, reply.body};
            });
        }
        ASSERT_TRUE(server_->bind("127.0.0.1", 0, error)) << error;
        server_->start();
    }
    void TearDown() override
    {
        if (server_) server_->stop();
        server_.reset();
        onvif_.reset();
        api_.reset();
        sim_.reset();
        camera_.reset();
        HostTest::TearDown();
    }

    httplib::Result send(const std::string& method, const std::string& path, const std::string& body = "",
                         const std::string& type = "application/json", const httplib::Headers& headers = {})
    {
        httplib::Client client("127.0.0.1", server_->port());
        if (method == "GET") return client.Get(path.c_str(), headers);
        if (method == "DELETE") return client.Delete(path.c_str(), headers, body, type.c_str());
        if (method == "PUT") return client.Put(path.c_str(), headers, body, type.c_str());
        return client.Post(path.c_str(), headers, body, type.c_str());
    }

    // The lines that changed something (library sets, video notifications) since
    // `from`.
    static std::string changesSince(std::uint64_t from)
    {
        std::string lines;
        for (const std::string& line : hostsim::traceSince(from).lines) {
            if (line.find(" opt=0 ") != std::string::npos || line.rfind("video", 0) == 0) lines += line + "\n";
        }
        return lines;
    }

    std::unique_ptr<sensorhost::SimCamera> camera_;
    std::unique_ptr<sensorhost::SimControl> sim_;
    std::unique_ptr<sensorhost::Api> api_;
    std::unique_ptr<sensorhost::onvif::Service> onvif_;
    std::unique_ptr<HttpServer> server_;
};

struct Exchange {
    const char* name;
    const char* method;
    std::string path;
    std::string body;
    int status;
    std::vector<const char*> fragments;  // each in the answer, in any order
    const char* changes = nullptr;       // exactly what reached the library and the
                                         // video module; nullptr: not looked at
    const char* type = "application/json";
};

// One session of a client on the thermal double-sensor camera, in order: each
// row's answer, and where the point is a library call, the calls it made.
TEST_F(ServedCamera, AnswersEveryRequestWithItsStatusAndBody)
{
    serve("thermal-dual");
    const std::string ch1 = "/api/channels/1";
    // clang-format off
    const std::vector<Exchange> rows = {
        {"the route list", "GET", "/api", "", 200, {"\"/api/channels/{ch}/params/{key}\"", "\"DELETE\""}},
        {"the camera", "GET", "/api/camera", "", 200, {"\"channels\":2", "\"simulated\":true", "\"serial\":\"SIM"}},
        {"controls", "GET", ch1 + "/controls", "", 200, {"\"keyName\":\"KEY_BRIGHTNESS\",\"kind\":\"slider\""}},
        {"a value", "PUT", ch1 + "/params/brightness", R"({"value":70})", 200, {"\"value\":70"}, "ia ch=0 cmd=34 opt=0 in=[70] ret=0\n"},
        {"past its range", "PUT", ch1 + "/params/brightness", R"({"value":170})", 400, {"KEY_BRIGHTNESS (Brightness) takes 0 to 100, not 170; nothing sent"}, ""},
        {"forced", "PUT", ch1 + "/params/KEY_BRIGHTNESS", R"({"value":170,"force":true})", 200, {}, "ia ch=0 cmd=34 opt=0 in=[170] ret=0\n"},
        {"back", "PUT", ch1 + "/params/34", R"({"value":70})", 200, {}, "ia ch=0 cmd=34 opt=0 in=[70] ret=0\n"},
        {"a string value", "PUT", ch1 + "/params/brightness", R"({"value":"70"})", 400, {"must be a whole number"}, ""},
        {"a fraction", "PUT", ch1 + "/params/brightness", R"({"value":7.5})", 400, {"must be a whole number"}, ""},
        {"past an int", "PUT", ch1 + "/params/brightness", R"({"value":4294967366})", 400, {"whole number"}, ""},
        {"force not a flag", "PUT", ch1 + "/params/brightness", R"({"value":7,"force":1})", 400, {"true or false"}},
        {"no value", "PUT", ch1 + "/params/brightness", "{}", 400, {"the body needs \\\"value\\\""}, ""},
        {"not JSON", "PUT", ch1 + "/params/brightness", "{\"value\":", 400, {"{\"error\":\"the request body is not JSON\"}"}},
        {"not typed JSON", "PUT", ch1 + "/params/brightness", R"({"value":60})", 400, {"Content-Type"}, "", "text/plain"},
        {"no channel 3", "PUT", "/api/channels/3/params/brightness", R"({"value":60})", 404, {"no channel 3: the camera has channels 1 to 2"}},
        {"channel 0", "GET", "/api/channels/0/state", "", 404, {"no channel 0"}},
        {"a misspelt key", "GET", ch1 + "/params/brightnes", "", 404, {"did you mean"}},
        {"a key the channel lacks", "PUT", ch1 + "/params/KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV", R"({"value":1})", 404, {"is not a control of this channel"}, ""},
        {"read back", "GET", ch1 + "/params/KEY_BRIGHTNESS", "", 200, {"{\"key\":34,\"name\":\"KEY_BRIGHTNESS\",\"value\":70}"}},
        {"several, in key text order", "PUT", ch1 + "/params", R"({"values":{"KEY_SATURATION":40,"2353":45}})", 200, {}, "ia ch=0 cmd=2353 opt=0 in=[45] ret=0\nia ch=0 cmd=2337 opt=0 in=[40] ret=0\n"},
        {"a key twice", "PUT", ch1 + "/params", R"({"values":{"saturation":40,"2337":41}})", 400, {"given twice"}, ""},
        {"all or nothing", "PUT", ch1 + "/params", R"({"values":{"saturation":41,"contrast":400}})", 400, {"not 400"}, ""},
        {"save", "POST", ch1 + "/flush", "", 200, {"\"result\":0"}},
        {"the saved file", "GET", ch1 + "/files/0", "", 200, {"\"name\":\"sensor1_0.cfg\"", "{\"key\":34,\"name\":\"KEY_BRIGHTNESS\",\"value\":70}", "\"unknown\":0"}},
        {"a thermal channel's files", "GET", "/api/channels/2/files", "", 200, {"\"name\":\"sensor-thermal1.cfg\""}},
        {"no such scheme file", "GET", ch1 + "/files/4", "", 404, {"no scheme 4: channel 1 has schemes 0 to 3"}},
        {"a name is no scheme", "GET", ch1 + "/files/sim.ini", "", 404, {"no scheme sim.ini"}},
        {"a path is no route", "GET", ch1 + "/files/..%2F..%2Fsim.ini", "", 404, {"no such endpoint"}},
        {"a period flush refuses", "PUT", ch1 + "/schedule/1", R"({"period":"12:00-08:00"})", 409, {"507: period start is not before its end; nothing saved"}},
        {"no period", "PUT", ch1 + "/schedule/1", R"({"period":"25:00-26:00"})", 400, {"HH:MM-HH:MM"}},
        {"night scheme 0", "PUT", ch1 + "/schedule/0", R"({"period":"00:00-08:00"})", 200, {"\"result\":0"}},
        {"morning scheme 1", "PUT", ch1 + "/schedule/1", R"({"period":"08:00-12:00"})", 200, {}},
        {"the schedule", "GET", ch1 + "/schedule", "", 200, {"{\"check\":0,\"period\":\"08:00-12:00\",\"reason\":\"\",\"scheme\":1}"}},
        {"by time of day", "PUT", ch1 + "/params/KEY_SCHEME_MODE", R"({"value":1})", 200, {}},
        {"saved", "POST", ch1 + "/flush", "{}", 200, {}},
        {"a minute to eight", "PUT", "/api/clock", R"({"time":"07:59"})", 200, {"\"time\":\"07:59:00\""}},
        {"no hour 24", "PUT", "/api/clock", R"({"time":"24:00"})", 400, {"HH:MM or HH:MM:SS"}},
        {"two minutes of passes", "POST", "/api/clock/passes", R"({"count":120})", 200, {"\"schemes\":[1,", "\"time\":\"08:01:00\""}},
        {"no passes", "POST", "/api/clock/passes", R"({"count":0})", 400, {"from 1 to 86400"}},
        {"the clock runs", "PUT", "/api/clock", R"({"speed":60})", 200, {"\"speed\":60"}},
        {"no passes while it runs", "POST", "/api/clock/passes", R"({"count":1})", 409, {"stop it (speed 0)"}},
        {"it stops", "PUT", "/api/clock", R"({"speed":0})", 200, {"\"speed\":0"}},
        {"too fast", "PUT", "/api/clock", R"({"speed":3601})", 400, {"0 to 3600"}},
        {"scheme in force", "GET", ch1 + "/scheme", "", 200, {"\"scheme\":1", "\"mode\":1", "\"schemes\":4"}},
        {"no scheme 4", "PUT", ch1 + "/scheme", R"({"scheme":4})", 400, {"from 0 to 3"}},
        {"no mode 2", "PUT", ch1 + "/scheme", R"({"mode":2})", 400, {"from 0 to 1"}},
        {"manual scheme 2", "PUT", ch1 + "/scheme", R"({"mode":0,"scheme":2})", 200, {"\"scheme\":2", "\"mode\":0"}},
        {"dusk", "PUT", ch1 + "/daynight", R"({"state":"dusk"})", 400, {"is day or night"}},
        {"night", "PUT", "/api/channels/2/daynight", R"({"state":"night"})", 200, {}},
        {"night on channel 2 only", "GET", ch1 + "/daynight", "", 200, {"\"state\":\"day\""}},
        {"a fault", "POST", "/api/faults", R"({"channel":1,"key":"KEY_BRIGHTNESS","count":1})", 200, {}},
        {"the library refuses", "PUT", ch1 + "/params/brightness", R"({"value":60})", 409, {"the image library or the video module refused KEY_BRIGHTNESS (34)"}, "ia ch=0 cmd=34 opt=0 in=[60] ret=-1\n"},
        {"faults cleared", "DELETE", "/api/faults", "", 200, {}},
        {"unsaved", "PUT", ch1 + "/params/brightness", R"({"value":61,"nosave":true})", 200, {}, "ia ch=0 cmd=34 opt=0 in=[61] ret=0\n"},
        {"restored", "POST", ch1 + "/restore/brightness", "", 200, {}, "ia ch=0 cmd=34 opt=0 in=[50] ret=0\n"},
        {"not in the set", "POST", ch1 + "/restore/99999", "", 409, {"key 99999 is not in the scheme's set"}},
        {"no level 8", "PUT", "/api/log/level", R"({"level":8})", 400, {"from -1 to 7"}},
        {"level 7", "PUT", "/api/log/level", R"({"level":7})", 200, {}},
        {"the log", "GET", "/api/log", "", 200, {"\"level\":7"}},
        {"a cursor", "GET", "/api/trace?since=-1", "", 400, {"since is a cursor"}},
        {"channel 9's calls", "GET", "/api/trace?channel=9", "", 404, {"no channel 9"}},
        {"changes only", "GET", "/api/trace?changes=1&channel=2", "", 200, {"\"option\":\"set\""}},
        {"factory reset", "POST", ch1 + "/reset", "", 200, {}},
        {"defaults again", "GET", ch1 + "/params/KEY_BRIGHTNESS", "", 200, {"\"value\":50"}},
        {"too large", "PUT", ch1 + "/params", std::string(70000, ' '), 413, {"larger than 65536 bytes"}},
        {"no such route", "DELETE", ch1 + "/params", "", 404, {"no such endpoint: DELETE /api/channels/1/params"}},
        {"the page", "GET", "/", "", 200, {"<title>Image settings</title>"}},
        {"a module", "GET", "/controls.js", "", 200, {"export function renderControl"}},
        {"no such file", "GET", "/secret.txt", "", 404, {"no such endpoint"}},
        {"ONVIF, where the client reached it", "POST", "/onvif/device_service", kGetServices, 200, {"<tds:XAddr>http://127.0.0.1:"}, nullptr, "application/soap+xml"},
    };
    // clang-format on
    for (const Exchange& row : rows) {
        SCOPED_TRACE(row.name);
        const std::uint64_t from = hostsim::traceSince(~0ull).next;
        const httplib::Result answer = send(row.method, row.path, row.body, row.type);
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->status, row.status) << answer->body;
        for (const char* fragment : row.fragments) {
            EXPECT_NE(answer->body.find(fragment), std::string::npos) << answer->body;
        }
        if (row.status >= 400) {
            EXPECT_EQ(answer->body.rfind(row.status == 500 ? "<fault>" : "{\"error\":\"", 0), 0u);
        }
        if (row.changes != nullptr) {
            EXPECT_EQ(changesSince(from), row.changes);
        }
    }
}

// Beyond this machine every API request carries the token; the page itself and
// other services' routes do not.
TEST_F(ServedCamera, RefusesApiRequestsWithoutItsToken)
{
    serve("bullet", "s3cret");
    struct Row {
        const char* name;
        std::string path;
        httplib::Headers headers;
        int status;
    };
    const std::vector<Row> rows = {
        {"none", "/api/camera", {}, 401},
        {"wrong", "/api/camera", {{"Authorization", "Bearer guess"}}, 401},
        {"right", "/api/camera", {{"Authorization", "Bearer s3cret"}}, 200},
        {"the page", "/index.html", {}, 200},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const httplib::Result answer = send("GET", row.path, "", "", row.headers);
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->status, row.status);
        if (row.status == 401) {
            EXPECT_NE(answer->body.find("needs its token"), std::string::npos);
        }
    }
}

// Every row of the route table is registered: each answers (maybe refusing its
// empty body) rather than "no such endpoint", and none fails inside.
TEST_F(ServedCamera, AnswersEveryRouteOfItsTable)
{
    serve("dome");
    for (const sensorhost::ApiRoute& route : api_->routes()) {
        std::string path = route.path;
        for (const auto& [part, value] : {std::pair{"{ch}", "1"}, {"{key}", "KEY_BRIGHTNESS"}, {"{scheme}", "0"}}) {
            const std::size_t at = path.find(part);
            if (at != std::string::npos) path.replace(at, std::string(part).size(), value);
        }
        SCOPED_TRACE(std::string(route.method) + " " + path);
        const httplib::Result answer = send(route.method, path, "{}");
        ASSERT_TRUE(answer);
        EXPECT_LT(answer->status, 500);
        EXPECT_EQ(answer->body.find("no such endpoint"), std::string::npos);
    }
}

// Several clients at once, with the sensor threads running on a fast clock:
// every answer arrives whole, and each client's last value is the one kept.
TEST_F(ServedCamera, ServeConcurrencyKeepsEveryClientsLastValue)
{
    serve("thermal-dual");
    ASSERT_EQ(send("PUT", "/api/clock", R"({"speed":3600})")->status, 200);
    const std::vector<std::string> writers = {"/api/channels/1/params/KEY_BRIGHTNESS",
                                              "/api/channels/1/params/KEY_SATURATION",
                                              "/api/channels/2/params/KEY_BRIGHTNESS"};
    const int rounds = 25;
    std::atomic<int> failures{0};
    std::vector<std::thread> clients;
    for (const std::string& path : writers) {
        clients.emplace_back([&, path] {
            for (int i = 0; i <= rounds; ++i) {
                const auto answer = send("PUT", path, "{\"value\":" + std::to_string(40 + i) + "}");
                if (!answer || answer->status != 200) ++failures;
            }
        });
    }
    for (const char* path : {"/api/channels/1/state", "/api/channels/2/controls", "/api/trace?changes=1"}) {
        clients.emplace_back([&, path] {
            for (int i = 0; i < rounds; ++i) {
                const auto answer = send("GET", path);
                if (!answer || answer->status != 200 || answer->body.front() != '{') ++failures;
            }
        });
    }
    // An ONVIF client on the same channel, through the same per-channel lock.
    clients.emplace_back([&] {
        for (int i = 0; i <= rounds; ++i) {
            const auto answer = send("POST", "/onvif/imaging_service", onvifContrast(40 + i, "n" + std::to_string(i)),
                                     "application/soap+xml");
            if (!answer || answer->status != 200) ++failures;
        }
    });
    clients.emplace_back([&] {
        for (int i = 0; i < 5; ++i) {
            const auto answer = send("GET", "/api/channels/1/schedule");
            if (!answer || answer->status != 200) ++failures;
        }
    });
    for (std::thread& client : clients) client.join();
    EXPECT_EQ(failures.load(), 0);
    for (const std::string& path : writers) {
        EXPECT_NE(send("GET", path)->body.find("\"value\":" + std::to_string(40 + rounds)), std::string::npos) << path;
    }
    EXPECT_NE(send("GET", "/api/channels/1/params/KEY_CONTRAST")->body.find("\"value\":65"), std::string::npos);
}

}  // namespace

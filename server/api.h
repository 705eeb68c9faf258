// The served camera's JSON API: one table of routes, each a plain function from a parsed request to a JSON answer.
#ifndef SENSORHOST_API_H
#define SENSORHOST_API_H

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "service.h"
#include "simcontrol.h"

namespace sensorhost {

// A request the API refuses: the HTTP status and why, in words. The server
// turns it into the one error shape, {"error": "..."}.
class ApiError : public std::runtime_error {
public:
    ApiError(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

struct ApiRequest {
    std::vector<std::string> params;  // the path's {...} parts, in order
    std::map<std::string, std::string> query;
    nlohmann::json body;  // null when the request has none
};

class Api;

struct ApiRoute {
    const char* method;  // GET, PUT, POST or DELETE
    const char* path;    // e.g. /api/channels/{ch}/params/{key}; each {...} is one path segment
    const char* summary;
    nlohmann::json (Api::*handler)(const ApiRequest&);
    bool simulator;  // offered only when the camera is the simulator's
};

class Api {
public:
    // Traces in answers and the clock, day/night and fault routes need `sim`;
    // without it (a camera) they are left out.
    Api(CameraService& camera, SimControl* sim);

    // Every route this API answers.
    const std::vector<ApiRoute>& routes() const { return routes_; }
    nlohmann::json call(const ApiRoute& route, const ApiRequest& request) { return (this->*route.handler)(request); }

    // What one answer of /api/trace holds at most; a reader pages on with its cursor.
    static constexpr std::size_t kTracePage = 1000;

private:
    static const std::vector<ApiRoute>& table();

    nlohmann::json index(const ApiRequest& r);
    nlohmann::json cameraInfo(const ApiRequest& r);
    nlohmann::json channels(const ApiRequest& r);
    nlohmann::json controls(const ApiRequest& r);
    nlohmann::json state(const ApiRequest& r);
    nlohmann::json params(const ApiRequest& r);
    nlohmann::json param(const ApiRequest& r);
    nlohmann::json setParam(const ApiRequest& r);
    nlohmann::json setParams(const ApiRequest& r);
    nlohmann::json flush(const ApiRequest& r);
    nlohmann::json revert(const ApiRequest& r);
    nlohmann::json restore(const ApiRequest& r);
    nlohmann::json reset(const ApiRequest& r);
    nlohmann::json scheme(const ApiRequest& r);
    nlohmann::json setScheme(const ApiRequest& r);
    nlohmann::json schedule(const ApiRequest& r);
    nlohmann::json setPeriod(const ApiRequest& r);
    nlohmann::json files(const ApiRequest& r);
    nlohmann::json file(const ApiRequest& r);
    nlohmann::json log(const ApiRequest& r);
    nlohmann::json setLevel(const ApiRequest& r);
    nlohmann::json trace(const ApiRequest& r);
    nlohmann::json clock(const ApiRequest& r);
    nlohmann::json setClock(const ApiRequest& r);
    nlohmann::json passes(const ApiRequest& r);
    nlohmann::json dayNight(const ApiRequest& r);
    nlohmann::json setDayNight(const ApiRequest& r);
    nlohmann::json addFault(const ApiRequest& r);
    nlohmann::json clearFaults(const ApiRequest& r);

    // Path parts: 404 for a channel the camera lacks or a key nobody knows.
    int channel(const std::string& text) const;
    int schemeOf(int channel, const std::string& text) const;
    // Refuses a value the channel's control does not take, unless forced.
    void check(int channel, int key, int value, bool force);
    // The channel's lock, shared with the camera's other services.
    std::mutex& lock(int channel) { return camera_.lock(channel); }
    std::uint64_t cursor() const { return sim_ != nullptr ? sim_->traceCursor() : 0; }
    // What reached the library and the video module for the channel since `from`.
    nlohmann::json traceFrom(int channel, std::uint64_t from) const;
    nlohmann::json clockJson() const;
    std::string hostPath(const std::string& cameraPath) const;

    CameraService& camera_;
    SimControl* sim_;
    std::vector<ApiRoute> routes_;
};

}  // namespace sensorhost

#endif

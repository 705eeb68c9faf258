// The camera's ONVIF device, media and imaging services: a SOAP request in, a SOAP reply out.
#ifndef SENSORHOST_ONVIF_ONVIF_H
#define SENSORHOST_ONVIF_ONVIF_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "service.h"

namespace sensorhost::onvif {

// Someone allowed to change the picture through ONVIF.
struct User {
    std::string name;
    std::string password;
};

// "NAME:PASSWORD" (the password may hold colons). False with `error` when
// the text is no such pair.
bool parseUser(const std::string& text, User& user, std::string& error);
// A users file: one NAME:PASSWORD per line; blank lines and lines starting
// with '#' are skipped. Appends to `users`.
bool readUsers(const std::string& path, std::vector<User>& users, std::string& error);

// The camera's clock in UTC: the device service reports it, and a client's
// UsernameToken must have been created close to it.
using Clock = std::function<std::chrono::system_clock::time_point()>;

// What the web server sends back: status, content type and body.
struct Reply {
    int status = 200;
    std::string contentType;
    std::string body;
};

// The paths the services answer at, each a POST route of the web server:
// /onvif/device_service, /onvif/media_service, /onvif/imaging_service.
const std::vector<std::string>& paths();

class Service {
public:
    // Without users the services are off, not open: every request gets 404.
    Service(CameraService& camera, std::vector<User> users, Clock clock = std::chrono::system_clock::now);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    bool enabled() const;
    // One POST: `host` is the request's Host header ("192.168.1.20:8080"),
    // where the addresses handed out by GetCapabilities and GetServices point.
    // Safe to call from several threads at once.
    Reply handle(const std::string& path, const std::string& body, const std::string& host);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace sensorhost::onvif

#endif

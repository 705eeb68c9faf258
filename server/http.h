// The served camera over HTTP: the JSON API's routes, the page's files, and raw POST routes for other services.
#ifndef SENSORHOST_HTTP_H
#define SENSORHOST_HTTP_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "api.h"

namespace sensorhost {

// What a raw route answers, as it is sent.
struct RawReply {
    int status = 200;
    std::string contentType;
    std::string body;
};
// `host` is the request's Host header: a service that hands out its own
// addresses (ONVIF's XAddrs) points them where the client reached it.
using RawHandler = std::function<RawReply(const std::string& body, const std::string& host)>;

// Stated up front, so that no client can make the server hold more than this.
struct ServeLimits {
    std::size_t maxBody = 64 * 1024;  // a larger request body is refused with 413
    int readTimeoutSeconds = 5;
    int writeTimeoutSeconds = 5;
    int keepAliveSeconds = 2;  // an idle connection holds a worker this long at most
    std::size_t workers = 16;
    std::size_t queued = 64;  // accepted connections waiting for a worker; past it the listener waits
    int backlog = 128;        // connections the kernel completes before the listener takes them
};

class HttpServer {
public:
    explicit HttpServer(Api& api, const ServeLimits& limits = ServeLimits());
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // When not empty, every request under /api/ must carry "Authorization: Bearer TOKEN".
    void setToken(const std::string& token);
    // Another service's POST route (ONVIF's /onvif/device_service, ...): the
    // handler gets the request body and Host header and answers it whole.
    // Before bind().
    void addRawPost(const std::string& path, RawHandler handler);

    // Port 0 takes any free port. Connections are queued from here on.
    bool bind(const std::string& host, int port, std::string& error);
    int port() const { return port_; }
    // Serves until stop(); start() serves on a thread of its own.
    void run();
    void start();
    void stop();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
    int port_ = 0;
};

// "127.0.0.1", "::1" and "localhost" reach only this machine.
bool isLoopback(const std::string& host);

}  // namespace sensorhost

#endif

// The served camera over HTTP with cpp-httplib: routes registered from the API's table, one error shape, bounded work.
#include "http.h"

#include <httplib.h>
#include <sys/socket.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "embedded.h"

namespace sensorhost {

namespace {

using nlohmann::json;

const char* const kJson = "application/json";

// The only place where an error body is written.
void writeError(httplib::Response& res, int status, const std::string& message)
{
    res.status = status;
    res.set_content(json{{"error", message}}.dump(), kJson);
}

// A fixed set of workers and a bounded queue of accepted connections: when
// the queue is full the listener waits here, and further clients wait in the
// kernel's backlog, instead of the server growing a list without end.
class BoundedPool final : public httplib::TaskQueue {
public:
    BoundedPool(std::size_t workers, std::size_t queued) : queued_(queued)
    {
        for (std::size_t i = 0; i < workers; ++i) threads_.emplace_back([this] { work(); });
    }

    void enqueue(std::function<void()> job) override
    {
        std::unique_lock<std::mutex> lock(mutex_);
        notFull_.wait(lock, [this] { return jobs_.size() < queued_ || stopping_; });
        jobs_.push_back(std::move(job));
        notEmpty_.notify_one();
    }

    void shutdown() override
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        notEmpty_.notify_all();
        notFull_.notify_all();
        for (std::thread& t : threads_) t.join();
    }

private:
    void work()
    {
        for (;;) {
            std::function<void()> job;
            {
                std::unique_lock<std::mutex> lock(mutex_);
                notEmpty_.wait(lock, [this] { return !jobs_.empty() || stopping_; });
                if (jobs_.empty()) return;
                job = std::move(jobs_.front());
                jobs_.pop_front();
            }
            notFull_.notify_one();
            job();
        }
    }

    const std::size_t queued_;
    std::mutex mutex_;
    std::condition_variable notEmpty_;
    std::condition_variable notFull_;
    std::deque<std::function<void()>> jobs_;
    std::vector<std::thread> threads_;
    bool stopping_ = false;
};

// The routes as cpp-httplib matches them (a regular expression each):
// "/api/channels/{ch}/params/{key}" -> "/api/channels/([^/]+)/params/([^/]+)";
// any other character that means something there (every one, for a raw
// route's path) is taken literally. Written
// out rather than with std::regex, whose templates GCC 12 warns about.
std::string pattern(const std::string& path, bool parts = true)
{
    std::string out;
    for (std::size_t i = 0; i < path.size(); ++i) {
        const std::size_t close = parts && path[i] == '{' ? path.find('}', i) : std::string::npos;
        if (close != std::string::npos) {
            out += "([^/]+)";
            i = close;
        } else {
            if (std::string(".^$|()[]{}*+?\\").find(path[i]) != std::string::npos) out += '\\';
            out += path[i];
        }
    }
    return out;
}

const char* contentType(const std::string& path)
{
    struct Type {
        const char* ending;
        const char* type;
    };
    static const Type types[] = {{".html", "text/html; charset=utf-8"},
                                 {".js", "text/javascript; charset=utf-8"},
                                 {".css", "text/css; charset=utf-8"},
                                 {".svg", "image/svg+xml"},
                                 {".png", "image/png"}};
    for (const Type& t : types) {
        const std::string ending = t.ending;
        if (path.size() >= ending.size() && path.compare(path.size() - ending.size(), ending.size(), ending) == 0) {
            return t.type;
        }
    }
    return "application/octet-stream";
}

std::string describe(int status, const httplib::Request& req, std::size_t maxBody)
{
    switch (status) {
    case 400: return "the request could not be read (a body needs its Content-Length)";
    case 401: return "this server needs its token: Authorization: Bearer TOKEN (printed when it started)";
    case 404: return "no such endpoint: " + req.method + " " + req.path + " (GET /api lists them)";
    case 413: return "the request body is larger than " + std::to_string(maxBody) + " bytes";
    case 414: return "the request line is too long";
    default: return "HTTP status " + std::to_string(status);
    }
}

}  // namespace

struct HttpServer::Impl {
    Api& api;
    ServeLimits limits;
    httplib::Server server;
    std::string token;
    std::vector<std::pair<std::string, RawHandler>> raw;
    std::thread thread;
    int listening = -1;  // the listening socket, once bound
};

HttpServer::HttpServer(Api& api, const ServeLimits& limits) : impl_(new Impl{api, limits, {}, {}, {}, {}}) {}

HttpServer::~HttpServer() { stop(); }

void HttpServer::setToken(const std::string& token) { impl_->token = token; }

void HttpServer::addRawPost(const std::string& path, RawHandler handler)
{
    impl_->raw.emplace_back(path, std::move(handler));
}

bool HttpServer::bind(const std::string& host, int port, std::string& error)
{
    Impl& m = *impl_;
    httplib::Server& s = m.server;
    const ServeLimits limits = m.limits;
    s.new_task_queue = [limits] { return new BoundedPool(limits.workers, limits.queued); };
    s.set_payload_max_length(limits.maxBody);
    s.set_read_timeout(limits.readTimeoutSeconds, 0);
    s.set_write_timeout(limits.writeTimeoutSeconds, 0);
    s.set_keep_alive_timeout(limits.keepAliveSeconds);
    // An answer leaves in two writes, its head and its body. With Nagle's
    // algorithm the body waited for the client to acknowledge the head, which
    // a client delays by up to 40 ms: every request took that long.
    s.set_tcp_nodelay(true);

    // Before any route: the token, and a JSON type on every change, which a
    // page of another site cannot send to this one without asking first.
    s.set_pre_routing_handler([&m](const httplib::Request& req, httplib::Response& res) {
        if (req.path.rfind("/api", 0) != 0) return httplib::Server::HandlerResponse::Unhandled;
        if (!m.token.empty() && req.get_header_value("Authorization") != "Bearer " + m.token) {
            res.status = 401;
            return httplib::Server::HandlerResponse::Handled;
        }
        if (req.method != "GET" && req.get_header_value("Content-Type").rfind(kJson, 0) != 0) {
            writeError(res, 400, "a request that changes something carries Content-Type: application/json");
            return httplib::Server::HandlerResponse::Handled;
        }
        res.set_header("Cache-Control", "no-store");
        return httplib::Server::HandlerResponse::Unhandled;
    });

    for (const ApiRoute& route : m.api.routes()) {
        auto handler = [&m, &route](const httplib::Request& req, httplib::Response& res) {
            ApiRequest request;
            for (std::size_t i = 1; i < req.matches.size(); ++i) request.params.push_back(req.matches[i]);
            for (const auto& param : req.params) request.query.emplace(param.first, param.second);
            if (!req.body.empty()) {
                request.body = json::parse(req.body, nullptr, false);
                if (request.body.is_discarded()) throw ApiError(400, "the request body is not JSON");
            }
            res.set_content(m.api.call(route, request).dump(), kJson);
        };
        const std::string method = route.method;
        const std::string path = pattern(route.path);
        if (method == "GET") s.Get(path, handler);
        if (method == "PUT") s.Put(path, handler);
        if (method == "POST") s.Post(path, handler);
        if (method == "DELETE") s.Delete(path, handler);
    }
    for (const auto& raw : m.raw) {
        const RawHandler handler = raw.second;
        s.Post(pattern(raw.first, false), [handler](const httplib::Request& req, httplib::Response& res) {
            const RawReply reply = handler(req.body, req.get_header_value("Host"));
            res.status = reply.status;
            res.set_content(reply.body, reply.contentType);
        });
    }
    // The page: its files by name from what the binary carries, never from the disk.
    s.Get(R"(/([A-Za-z0-9_-]+\.[a-z]+)?)", [](const httplib::Request& req, httplib::Response& res) {
        const std::string name = req.matches[1].length() > 0 ? req.matches[1].str() : "index.html";
        for (const EmbeddedFile& file : embeddedWeb()) {
            if (name == file.path) {
                res.set_header("Content-Security-Policy", "default-src 'self'");
                res.set_header("X-Content-Type-Options", "nosniff");
                res.set_content(reinterpret_cast<const char*>(file.data), file.size, contentType(name));
                return;
            }
        }
        res.status = 404;
    });

    s.set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr caught) {
        try {
            std::rethrow_exception(caught);
        } catch (const ApiError& e) {
            writeError(res, e.status(), e.what());
        } catch (const std::exception& e) {
            writeError(res, 500, std::string("internal error: ") + e.what());
        } catch (...) {
            writeError(res, 500, "internal error");
        }
    });
    s.set_error_handler([limits](const httplib::Request& req, httplib::Response& res) {
        if (res.body.empty()) writeError(res, res.status, describe(res.status, req, limits.maxBody));
    });

    // cpp-httplib listens with a backlog of 5: clients connecting at once past
    // it lost their SYN and tried again a second later (a p99 of 0.3-0.6 s
    // with 64 clients). Listening again on the listening socket sets the
    // backlog it should have had.
    s.set_socket_options([&m](socket_t sock) {
        httplib::default_socket_options(sock);
        m.listening = sock;
    });
    if (port == 0) {
        port_ = s.bind_to_any_port(host);
    } else {
        port_ = s.bind_to_port(host, port) ? port : -1;
    }
    if (port_ <= 0) {
        error = "cannot listen on " + host + ":" + std::to_string(port) + " (address in use, or not this machine's?)";
        return false;
    }
    if (::listen(m.listening, limits.backlog) != 0) {
        error = "cannot listen on " + host + ":" + std::to_string(port_) + " with a backlog of " +
                std::to_string(limits.backlog);
        return false;
    }
    return true;
}

void HttpServer::run() { impl_->server.listen_after_bind(); }

void HttpServer::start()
{
    impl_->thread = std::thread([this] { run(); });
}

void HttpServer::stop()
{
    impl_->server.stop();
    if (impl_->thread.joinable()) impl_->thread.join();
}

bool isLoopback(const std::string& host) { return host == "localhost" || host == "::1" || host.rfind("127.", 0) == 0; }

}  // namespace sensorhost

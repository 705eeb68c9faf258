// The entry point of the ONVIF services: limits, parse, the action by namespace and name, credentials, the fault shape.
#include <algorithm>
#include <cctype>
#include <exception>

#include "onvif.h"
#include "security.h"
#include "soap.h"

namespace sensorhost::onvif {

namespace {

const char* const kSoapType = "application/soap+xml; charset=utf-8";

const char* codeName(FaultCode code)
{
    switch (code) {
    case FaultCode::Sender: return "env:Sender";
    case FaultCode::Receiver: return "env:Receiver";
    case FaultCode::VersionMismatch: return "env:VersionMismatch";
    }
    return "env:Receiver";
}

// The one shape of a refusal: a SOAP 1.2 fault, 400 for the sender's fault, 500 for the camera's.
Reply writeFault(const Fault& fault)
{
    Envelope reply;
    TiXmlElement* body = add(*reply.body, "env:Fault");
    TiXmlElement* code = add(*body, "env:Code");
    add(*code, "env:Value", codeName(fault.code));
    TiXmlElement* at = code;
    for (const std::string& subcode : {fault.subcode, fault.detail}) {
        if (subcode.empty()) break;
        at = add(*at, "env:Subcode");
        add(*at, "env:Value", subcode);
    }
    TiXmlElement* reason = add(*add(*body, "env:Reason"), "env:Text", fault.reason);
    reason->SetAttribute("xml:lang", "en");
    return Reply{fault.code == FaultCode::Receiver ? 500 : 400, kSoapType, reply.render()};
}

// The Host header goes into XAddrs as it is, so only what a host and port are made of.
std::string hostOf(const std::string& header)
{
    const bool plain = !header.empty() && header.size() <= 255 && std::all_of(header.begin(), header.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || std::string(".-:[]_").find(c) != std::string::npos;
    });
    return plain ? header : "localhost";
}

}  // namespace

const std::vector<std::string>& paths()
{
    static const std::vector<std::string> all = [] {
        std::vector<std::string> out;
        for (const ServiceTable* service : services()) out.push_back(service->path);
        return out;
    }();
    return all;
}

struct Service::State {
    State(CameraService& camera, std::vector<User> users, Clock clock)
        : camera(camera), guard(std::move(users)), clock(std::move(clock))
    {
    }
    CameraService& camera;
    Guard guard;
    Clock clock;
};

Service::Service(CameraService& camera, std::vector<User> users, Clock clock)
    : state_(std::make_unique<State>(camera, std::move(users), std::move(clock)))
{
}

Service::~Service() = default;

bool Service::enabled() const { return state_->guard.enabled(); }

Reply Service::handle(const std::string& path, const std::string& body, const std::string& host)
{
    if (!enabled()) return Reply{404, "text/plain; charset=utf-8", "ONVIF is off: no ONVIF user is configured\n"};
    const auto& all = paths();
    if (std::find(all.begin(), all.end(), path) == all.end()) {
        return Reply{404, "text/plain; charset=utf-8", "no ONVIF service at " + path + "\n"};
    }
    try {
        Request request;
        parse(body, request);
        // The namespace names the service, whatever path the client posted to.
        const std::string ns = namespaceOf(*request.action);
        const std::string name = localName(*request.action);
        const auto service =
            std::find_if(services().begin(), services().end(), [&](const ServiceTable* s) { return ns == s->ns; });
        if (service == services().end()) {
            fail(FaultCode::Receiver, "ter:ActionNotSupported", "",
                 name + " of '" + ns + "' is not an action of this camera");
        }
        const auto& actions = (*service)->actions;
        const auto entry =
            std::find_if(actions.begin(), actions.end(), [&](const ActionEntry& a) { return name == a.name; });
        if (entry == actions.end()) {
            fail(FaultCode::Receiver, "ter:ActionNotSupported", "",
                 std::string((*service)->prefix) + ":" + name + " is not an action of this camera");
        }
        Context context{state_->camera, hostOf(host), state_->clock()};
        if (!entry->preAuth) {
            const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(context.now.time_since_epoch());
            state_->guard.check(request.header, ms.count());
        }
        Envelope reply;
        TiXmlElement* response = add(*reply.body, std::string((*service)->prefix) + ":" + name + "Response");
        entry->action(context, *request.action, *response);
        return Reply{200, kSoapType, reply.render()};
    } catch (const Fault& fault) {
        return writeFault(fault);
    } catch (const std::exception& e) {
        return writeFault(Fault{FaultCode::Receiver, "ter:Action", "", std::string("the camera failed: ") + e.what()});
    }
}

}  // namespace sensorhost::onvif

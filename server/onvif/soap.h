// Inside the ONVIF services: SOAP envelopes in and out, faults, the action tables of the three services.
#ifndef SENSORHOST_ONVIF_SOAP_H
#define SENSORHOST_ONVIF_SOAP_H

#include <tinyxml.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "service.h"

namespace sensorhost::onvif {

extern const char* const kSoapNs;      // SOAP 1.2 envelope
extern const char* const kSchemaNs;    // tt: the ONVIF schema
extern const char* const kSecurityNs;  // wsse: WS-Security
extern const char* const kDeviceNs;
extern const char* const kMediaNs;
extern const char* const kImagingNs;

// Requests are small; these bounds keep a hostile one from costing more.
constexpr std::size_t kMaxBody = 64 * 1024;
// TinyXML's parser recurses once per element level.
constexpr int kMaxDepth = 32;

enum class FaultCode { Sender, Receiver, VersionMismatch };

// A request the camera refuses. Thrown anywhere below the entry point and
// written, as the one SOAP fault shape, by writeFault only.
struct Fault {
    FaultCode code;
    std::string subcode;  // "ter:InvalidArgVal", or ""
    std::string detail;   // the second subcode, "ter:NoSource", or ""
    std::string reason;   // in words, for people
};
[[noreturn]] void fail(FaultCode code, const char* subcode, const char* detail, const std::string& reason);

// A parsed SOAP 1.2 request.
struct Request {
    TiXmlDocument doc;
    const TiXmlElement* header = nullptr;  // env:Header, when there is one
    const TiXmlElement* action = nullptr;  // the first element of env:Body
};
// Why `text` is refused before the XML parser sees it, or "": a processing
// instruction, a document type (so no entity can be declared), a NUL byte, an
// element nesting deeper than kMaxDepth. The XML declaration is allowed first.
std::string prescan(const std::string& text);
// Parses an envelope within the bounds; throws Fault.
void parse(const std::string& body, Request& request);

// Elements by local name: prefixes and namespaces are not compared below the action.
std::string localName(const TiXmlElement& element);
// The namespace the element's prefix is bound to, looked up through its ancestors.
std::string namespaceOf(const TiXmlElement& element);
const TiXmlElement* child(const TiXmlElement& parent, const std::string& name);
// The element's text, blanks around it removed; "" for null.
std::string text(const TiXmlElement* element);
// Appends <name>text</name> and returns it.
TiXmlElement* add(TiXmlNode& parent, const std::string& name, const std::string& text = "");

// xs:float as the camera writes it: at most seven significant digits.
std::string formatFloat(double value);
// xs:float as clients send it; false for anything but a finite number.
bool parseFloat(const std::string& text, double& value);
bool parseBool(const std::string& text, bool& value);

// What an action sees of the camera and the request.
struct Context {
    CameraService& camera;
    std::string host;  // where XAddrs point
    std::chrono::system_clock::time_point now;
};

using Action = void (*)(Context& context, const TiXmlElement& request, TiXmlElement& response);

struct ActionEntry {
    const char* name;
    Action action;
    bool preAuth;  // answered without credentials: what a client needs before it can log in
};

// One service: its namespace, path, reply prefix and actions; `capabilities`
// appends its <prefix:Capabilities> element (GetServiceCapabilities and
// GetServices share it).
struct ServiceTable {
    const char* ns;
    const char* path;
    const char* prefix;
    std::vector<ActionEntry> actions;
    void (*capabilities)(Context& context, TiXmlElement& parent);
};
const ServiceTable& deviceService();
const ServiceTable& mediaService();
const ServiceTable& imagingService();
const std::vector<const ServiceTable*>& services();
std::string xaddr(const Context& context, const ServiceTable& service);

// Video sources are the camera's channels: "VideoSource_1" is channel 1.
std::string sourceToken(int channel);
// The channel a request's VideoSourceToken names; throws ter:NoSource.
int channelOf(Context& context, const TiXmlElement& request);

// A reply document: env:Envelope with every prefix the services use, and its env:Body.
struct Envelope {
    Envelope();
    std::unique_ptr<TiXmlDocument> doc;
    TiXmlElement* body;
    std::string render() const;
};

}  // namespace sensorhost::onvif

#endif

// The device service: what a client needs to connect (time, services and their addresses) and who the camera is.
#include <ctime>

#include "soap.h"

namespace sensorhost::onvif {

namespace {

// The release of the ONVIF specifications the services follow (17.06 brought imaging presets).
void version(TiXmlElement& parent, const std::string& prefix)
{
    TiXmlElement* version = add(parent, prefix + ":Version");
    add(*version, "tt:Major", "17");
    add(*version, "tt:Minor", "6");
}

void capabilities(Context&, TiXmlElement& parent)
{
    TiXmlElement* all = add(parent, "tds:Capabilities");
    TiXmlElement* network = add(*all, "tds:Network");
    for (const char* name : {"IPFilter", "ZeroConfiguration", "IPVersion6", "DynDNS"})
        network->SetAttribute(name, "false");
    TiXmlElement* security = add(*all, "tds:Security");
    security->SetAttribute("UsernameToken", "true");
    security->SetAttribute("HttpDigest", "false");
    TiXmlElement* system = add(*all, "tds:System");
    for (const char* name : {"DiscoveryResolve", "DiscoveryBye", "RemoteDiscovery", "SystemBackup", "SystemLogging"}) {
        system->SetAttribute(name, "false");
    }
}

void getSystemDateAndTime(Context& context, const TiXmlElement&, TiXmlElement& response)
{
    const std::time_t now = std::chrono::system_clock::to_time_t(context.now);
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    TiXmlElement* dateTime = add(response, "tds:SystemDateAndTime");
    add(*dateTime, "tt:DateTimeType", "Manual");
    add(*dateTime, "tt:DaylightSavings", "false");
    TiXmlElement* at = add(*dateTime, "tt:UTCDateTime");
    TiXmlElement* time = add(*at, "tt:Time");
    add(*time, "tt:Hour", std::to_string(utc.tm_hour));
    add(*time, "tt:Minute", std::to_string(utc.tm_min));
    add(*time, "tt:Second", std::to_string(utc.tm_sec));
    TiXmlElement* date = add(*at, "tt:Date");
    add(*date, "tt:Year", std::to_string(utc.tm_year + 1900));
    add(*date, "tt:Month", std::to_string(utc.tm_mon + 1));
    add(*date, "tt:Day", std::to_string(utc.tm_mday));
}

void getCapabilities(Context& context, const TiXmlElement& request, TiXmlElement& response)
{
    bool device = false, imaging = false, media = false;
    bool any = false;
    for (const TiXmlElement* e = request.FirstChildElement(); e != nullptr; e = e->NextSiblingElement()) {
        if (localName(*e) != "Category") continue;
        const std::string category = text(e);
        any = true;
        const bool all = category == "All";
        device |= all || category == "Device";
        imaging |= all || category == "Imaging";
        media |= all || category == "Media";
        if (!all && category != "Device" && category != "Imaging" && category != "Media") {
            fail(FaultCode::Receiver, "ter:ActionNotSupported", "ter:NoSuchService",
                 "the camera has no " + category + " service");
        }
    }
    TiXmlElement* capabilities = add(response, "tds:Capabilities");
    if (device || !any) add(*add(*capabilities, "tt:Device"), "tt:XAddr", xaddr(context, deviceService()));
    if (imaging || !any) add(*add(*capabilities, "tt:Imaging"), "tt:XAddr", xaddr(context, imagingService()));
    if (media || !any) {
        TiXmlElement* entry = add(*capabilities, "tt:Media");
        add(*entry, "tt:XAddr", xaddr(context, mediaService()));
        TiXmlElement* streaming = add(*entry, "tt:StreamingCapabilities");
        for (const char* name : {"tt:RTPMulticast", "tt:RTP_TCP", "tt:RTP_RTSP_TCP"}) add(*streaming, name, "false");
    }
}

void getServices(Context& context, const TiXmlElement& request, TiXmlElement& response)
{
    bool withCapabilities = false;
    const TiXmlElement* include = child(request, "IncludeCapability");
    if (include != nullptr && !parseBool(text(include), withCapabilities)) {
        fail(FaultCode::Sender, "ter:InvalidArgVal", "", "IncludeCapability '" + text(include) + "' is no boolean");
    }
    for (const ServiceTable* service : services()) {
        TiXmlElement* entry = add(response, "tds:Service");
        add(*entry, "tds:Namespace", service->ns);
        add(*entry, "tds:XAddr", xaddr(context, *service));
        if (withCapabilities) service->capabilities(context, *add(*entry, "tds:Capabilities"));
        version(*entry, "tds");
    }
}

void getServiceCapabilities(Context& context, const TiXmlElement&, TiXmlElement& response)
{
    capabilities(context, response);
}

void getDeviceInformation(Context& context, const TiXmlElement&, TiXmlElement& response)
{
    const DeviceInfo device = context.camera.device();
    add(response, "tds:Manufacturer", device.manufacturer);
    add(response, "tds:Model", device.model);
    add(response, "tds:FirmwareVersion", device.firmware);
    add(response, "tds:SerialNumber", device.serial);
    add(response, "tds:HardwareId", device.hardwareId);
}

// A scope is a URI: everything but the unreserved characters percent-encoded.
std::string scopeItem(const std::string& kind, const std::string& value)
{
    std::string out = "onvif://www.onvif.org/" + kind + "/";
    for (const unsigned char c : value) {
        if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~') {
            out += static_cast<char>(c);
        } else {
            char escaped[4];
            std::snprintf(escaped, sizeof(escaped), "%%%02X", c);
            out += escaped;
        }
    }
    return out;
}

void getScopes(Context& context, const TiXmlElement&, TiXmlElement& response)
{
    const DeviceInfo device = context.camera.device();
    for (const std::string& item : {scopeItem("type", "Network_Video_Transmitter"), scopeItem("hardware", device.model),
                                    scopeItem("name", device.manufacturer)}) {
        TiXmlElement* scope = add(response, "tds:Scopes");
        add(*scope, "tt:ScopeDef", "Fixed");
        add(*scope, "tt:ScopeItem", item);
    }
}

}  // namespace

const ServiceTable& deviceService()
{
    static const ServiceTable table{kDeviceNs,
                                    "/onvif/device_service",
                                    "tds",
                                    {
                                        {"GetSystemDateAndTime", &getSystemDateAndTime, true},
                                        {"GetCapabilities", &getCapabilities, true},
                                        {"GetServices", &getServices, true},
                                        {"GetServiceCapabilities", &getServiceCapabilities, true},
                                        {"GetDeviceInformation", &getDeviceInformation, false},
                                        {"GetScopes", &getScopes, false},
                                    },
                                    &capabilities};
    return table;
}

}  // namespace sensorhost::onvif

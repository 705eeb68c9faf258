// SOAP 1.2 envelopes in and out: the pre-scan, the parse, element helpers, numbers as ONVIF writes them.
#include "soap.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace sensorhost::onvif {

const char* const kSoapNs = "http://www.w3.org/2003/05/soap-envelope";
const char* const kSchemaNs = "http://www.onvif.org/ver10/schema";
const char* const kSecurityNs = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd";
const char* const kDeviceNs = "http://www.onvif.org/ver10/device/wsdl";
const char* const kMediaNs = "http://www.onvif.org/ver10/media/wsdl";
const char* const kImagingNs = "http://www.onvif.org/ver20/imaging/wsdl";

void fail(FaultCode code, const char* subcode, const char* detail, const std::string& reason)
{
    throw Fault{code, subcode, detail, reason};
}

namespace {

bool startsWith(const std::string& text, std::size_t at, const char* prefix)
{
    return text.compare(at, std::char_traits<char>::length(prefix), prefix) == 0;
}

// The end of the start tag opening at `at`: its '>' outside quoted values.
std::size_t tagEnd(const std::string& text, std::size_t at)
{
    char quote = 0;
    for (std::size_t i = at + 1; i < text.size(); ++i) {
        const char c = text[i];
        if (quote != 0) {
            if (c == quote) quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            return i;
        }
    }
    return std::string::npos;
}

}  // namespace

// The scan splits the text where TinyXML does (comments, CDATA, start and end
// tags; text never holds a '<'), so the depth it counts is never below the
// depth TinyXML will recurse to.
std::string prescan(const std::string& text)
{
    if (text.find('\0') != std::string::npos) return "the request holds a NUL byte";
    std::size_t at = startsWith(text, 0, "\xEF\xBB\xBF") ? 3 : 0;
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
    if (startsWith(text, at, "<?xml")) {
        const std::size_t end = text.find("?>", at);
        if (end == std::string::npos || text.find_first_of("<>", at + 1) < end) {
            return "the XML declaration is not closed";
        }
        at = end + 2;
    }
    int depth = 0;
    while ((at = text.find('<', at)) != std::string::npos) {
        if (startsWith(text, at, "<!--") || startsWith(text, at, "<![CDATA[")) {
            const bool comment = text[at + 2] == '-';
            const std::size_t end = text.find(comment ? "-->" : "]]>", at + 4);
            if (end == std::string::npos) return comment ? "a comment is not closed" : "a CDATA section is not closed";
            at = end + 3;
            continue;
        }
        const unsigned char next = at + 1 < text.size() ? static_cast<unsigned char>(text[at + 1]) : 0;
        if (next == '!') return "a SOAP message carries no document type declaration";
        if (next == '?') return "a SOAP message carries no processing instruction";
        if (next == '/') {
            if (--depth < 0) return "an end tag closes no element";
            at = text.find('>', at);
            if (at == std::string::npos) return "an end tag is not closed";
            continue;
        }
        if (!std::isalpha(next) && next != '_' && next < 0x7f) return "a '<' opens no tag";
        const std::size_t end = tagEnd(text, at);
        if (end == std::string::npos) return "a start tag is not closed";
        if (text[end - 1] != '/' && ++depth > kMaxDepth) {
            return "elements nest deeper than " + std::to_string(kMaxDepth) + " levels";
        }
        at = end + 1;
    }
    return "";
}

void parse(const std::string& body, Request& request)
{
    if (body.size() > kMaxBody) {
        fail(FaultCode::Sender, "ter:InvalidArgs", "",
             "the request is " + std::to_string(body.size()) + " bytes; the camera takes at most " +
                 std::to_string(kMaxBody));
    }
    const std::string refused = prescan(body);
    if (!refused.empty()) fail(FaultCode::Sender, "ter:WellFormed", "", refused);
    // TinyXML may step past the terminator of a text cut inside a UTF-8
    // character; a tail of NUL bytes keeps every such step on a NUL.
    std::string copy = body;
    copy.append(8, '\0');
    request.doc.Parse(copy.c_str(), nullptr, TIXML_ENCODING_UTF8);
    if (request.doc.Error()) {
        fail(FaultCode::Sender, "ter:WellFormed", "",
             std::string("the request is not well-formed XML: ") + request.doc.ErrorDesc());
    }
    const TiXmlElement* envelope = request.doc.RootElement();
    if (envelope == nullptr || localName(*envelope) != "Envelope" || namespaceOf(*envelope) != kSoapNs) {
        fail(FaultCode::VersionMismatch, "", "", "the request is no SOAP 1.2 envelope");
    }
    const TiXmlElement* content = nullptr;
    for (const TiXmlElement* e = envelope->FirstChildElement(); e != nullptr; e = e->NextSiblingElement()) {
        if (namespaceOf(*e) != kSoapNs) continue;
        if (localName(*e) == "Header") request.header = e;
        if (localName(*e) == "Body") content = e;
    }
    request.action = content != nullptr ? content->FirstChildElement() : nullptr;
    if (request.action == nullptr)
        fail(FaultCode::Sender, "ter:InvalidArgs", "", "the envelope's body holds no request");
}

std::string localName(const TiXmlElement& element)
{
    const std::string& name = element.ValueStr();
    const std::size_t colon = name.find(':');
    return colon == std::string::npos ? name : name.substr(colon + 1);
}

std::string namespaceOf(const TiXmlElement& element)
{
    const std::string& name = element.ValueStr();
    const std::size_t colon = name.find(':');
    const std::string declaration = colon == std::string::npos ? "xmlns" : "xmlns:" + name.substr(0, colon);
    for (const TiXmlNode* node = &element; node != nullptr && node->ToElement() != nullptr; node = node->Parent()) {
        if (const char* uri = node->ToElement()->Attribute(declaration.c_str())) return uri;
    }
    return "";
}

const TiXmlElement* child(const TiXmlElement& parent, const std::string& name)
{
    for (const TiXmlElement* e = parent.FirstChildElement(); e != nullptr; e = e->NextSiblingElement()) {
        if (localName(*e) == name) return e;
    }
    return nullptr;
}

std::string text(const TiXmlElement* element)
{
    std::string all;
    if (element == nullptr) return all;
    for (const TiXmlNode* node = element->FirstChild(); node != nullptr; node = node->NextSibling()) {
        if (node->ToText() != nullptr) all += node->ValueStr();
    }
    const std::size_t first = all.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return "";
    return all.substr(first, all.find_last_not_of(" \t\r\n") - first + 1);
}

TiXmlElement* add(TiXmlNode& parent, const std::string& name, const std::string& text)
{
    auto* element = new TiXmlElement(name);
    if (!text.empty()) element->LinkEndChild(new TiXmlText(text));
    parent.LinkEndChild(element);
    return element;
}

std::string formatFloat(double value)
{
    if (value == 0) return "0";
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%.7g", value);
    return buffer;
}

bool parseFloat(const std::string& text, double& value)
{
    const char* first = text.data();
    const char* last = first + text.size();
    if (first != last && *first == '+') ++first;
    const auto [end, error] = std::from_chars(first, last, value);
    return error == std::errc() && end == last && first != last && std::isfinite(value);
}

bool parseBool(const std::string& text, bool& value)
{
    const bool yes = text == "true" || text == "1";
    if (!yes && text != "false" && text != "0") return false;
    value = yes;
    return true;
}

const std::vector<const ServiceTable*>& services()
{
    static const std::vector<const ServiceTable*> all = {&deviceService(), &mediaService(), &imagingService()};
    return all;
}

std::string xaddr(const Context& context, const ServiceTable& service)
{
    return "http://" + context.host + service.path;
}

std::string sourceToken(int channel) { return "VideoSource_" + std::to_string(channel); }

int channelOf(Context& context, const TiXmlElement& request)
{
    const std::string token = text(child(request, "VideoSourceToken"));
    for (int channel = 1; channel <= context.camera.channelCount(); ++channel) {
        if (token == sourceToken(channel)) return channel;
    }
    fail(FaultCode::Sender, "ter:InvalidArgVal", "ter:NoSource", "no video source '" + token + "'");
}

Envelope::Envelope() : doc(std::make_unique<TiXmlDocument>())
{
    doc->LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
    auto* envelope = new TiXmlElement("env:Envelope");
    envelope->SetAttribute("xmlns:env", kSoapNs);
    envelope->SetAttribute("xmlns:ter", "http://www.onvif.org/ver10/error");
    envelope->SetAttribute("xmlns:tt", kSchemaNs);
    envelope->SetAttribute("xmlns:tds", kDeviceNs);
    envelope->SetAttribute("xmlns:trt", kMediaNs);
    envelope->SetAttribute("xmlns:timg", kImagingNs);
    doc->LinkEndChild(envelope);
    body = add(*envelope, "env:Body");
}

std::string Envelope::render() const
{
    TiXmlPrinter printer;
    printer.SetStreamPrinting();
    doc->Accept(&printer);
    return printer.Str();
}

}  // namespace sensorhost::onvif

// The media service, as far as clients need it to find the video sources: one source and one fixed profile per channel.
#include "soap.h"

namespace sensorhost::onvif {

namespace {

void capabilities(Context& context, TiXmlElement& parent)
{
    TiXmlElement* all = add(parent, "trt:Capabilities");
    all->SetAttribute("SnapshotUri", "false");
    all->SetAttribute("Rotation", "false");
    add(*all, "trt:ProfileCapabilities")->SetAttribute("MaximumNumberOfProfiles", context.camera.channelCount());
    TiXmlElement* streaming = add(*all, "trt:StreamingCapabilities");
    for (const char* name : {"RTPMulticast", "RTP_TCP", "RTP_RTSP_TCP"}) streaming->SetAttribute(name, "false");
}

void getServiceCapabilities(Context& context, const TiXmlElement&, TiXmlElement& response)
{
    capabilities(context, response);
}

void resolution(TiXmlElement& parent, const VideoStream& stream)
{
    TiXmlElement* size = add(parent, "tt:Resolution");
    add(*size, "tt:Width", std::to_string(stream.width));
    add(*size, "tt:Height", std::to_string(stream.height));
}

void getVideoSources(Context& context, const TiXmlElement&, TiXmlElement& response)
{
    for (int channel = 1; channel <= context.camera.channelCount(); ++channel) {
        const VideoStream stream = context.camera.stream(channel);
        TiXmlElement* source = add(response, "trt:VideoSources");
        source->SetAttribute("token", sourceToken(channel));
        add(*source, "tt:Framerate", std::to_string(stream.framerate));
        resolution(*source, stream);
    }
}

// The profile describes the channel's main stream as the video module runs
// it; this camera configures no encoder through ONVIF.
void getProfiles(Context& context, const TiXmlElement&, TiXmlElement& response)
{
    for (int channel = 1; channel <= context.camera.channelCount(); ++channel) {
        const VideoStream stream = context.camera.stream(channel);
        const std::string number = std::to_string(channel);
        TiXmlElement* profile = add(response, "trt:Profiles");
        profile->SetAttribute("token", "Profile_" + number);
        profile->SetAttribute("fixed", "true");
        add(*profile, "tt:Name", "Channel " + number);

        TiXmlElement* source = add(*profile, "tt:VideoSourceConfiguration");
        source->SetAttribute("token", "VideoSourceConfig_" + number);
        add(*source, "tt:Name", "Channel " + number);
        add(*source, "tt:UseCount", "1");
        add(*source, "tt:SourceToken", sourceToken(channel));
        TiXmlElement* bounds = add(*source, "tt:Bounds");
        bounds->SetAttribute("x", 0);
        bounds->SetAttribute("y", 0);
        bounds->SetAttribute("width", stream.width);
        bounds->SetAttribute("height", stream.height);

        TiXmlElement* encoder = add(*profile, "tt:VideoEncoderConfiguration");
        encoder->SetAttribute("token", "VideoEncoderConfig_" + number);
        add(*encoder, "tt:Name", "Channel " + number);
        add(*encoder, "tt:UseCount", "1");
        add(*encoder, "tt:Encoding", stream.encoding);
        resolution(*encoder, stream);
        add(*encoder, "tt:Quality", "0");
        TiXmlElement* rate = add(*encoder, "tt:RateControl");
        add(*rate, "tt:FrameRateLimit", std::to_string(stream.framerate));
        add(*rate, "tt:EncodingInterval", "1");
        add(*rate, "tt:BitrateLimit", "0");
        TiXmlElement* multicast = add(*encoder, "tt:Multicast");
        TiXmlElement* address = add(*multicast, "tt:Address");
        add(*address, "tt:Type", "IPv4");
        add(*address, "tt:IPv4Address", "0.0.0.0");
        add(*multicast, "tt:Port", "0");
        add(*multicast, "tt:TTL", "0");
        add(*multicast, "tt:AutoStart", "false");
        add(*encoder, "tt:SessionTimeout", "PT60S");
    }
}

}  // namespace

const ServiceTable& mediaService()
{
    static const ServiceTable table{kMediaNs,
                                    "/onvif/media_service",
                                    "trt",
                                    {
                                        {"GetServiceCapabilities", &getServiceCapabilities, true},
                                        {"GetVideoSources", &getVideoSources, false},
                                        {"GetProfiles", &getProfiles, false},
                                    },
                                    &capabilities};
    return table;
}

}  // namespace sensorhost::onvif

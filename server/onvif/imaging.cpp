// The imaging service: settings and options from the one mapping table, focus moves, and the schemes as presets.
#include <algorithm>
#include <cmath>
#include <mutex>

#include "SensorKeys.h"
#include "keys.h"
#include "mapping.h"
#include "schedule.h"
#include "soap.h"

namespace sensorhost::onvif {

namespace {

// The lens takes focus positions in its own unit; the module knows no range
// for them, so the moves offer the 16-bit span the lens positions live in.
constexpr int kFocusMax = 65535;

[[noreturn]] void noImaging(const std::string& why)
{
    fail(FaultCode::Receiver, "ter:ActionNotSupported", "ter:NoImagingForSource", why);
}

std::shared_ptr<const ControlSet> controlsOf(Context& context, int channel)
{
    std::shared_ptr<const ControlSet> controls = context.camera.controls(channel);
    if (controls->controls().empty()) noImaging("video source " + sourceToken(channel) + " has no image settings");
    return controls;
}

std::string pairs(const std::vector<std::pair<int, int>>& values)
{
    std::string out;
    for (const auto& [key, value] : values) out += "(" + std::to_string(key) + "," + std::to_string(value) + ")";
    return out;
}

void capabilities(Context& context, TiXmlElement& parent)
{
    bool stabilization = false;
    for (int channel = 1; channel <= context.camera.channelCount(); ++channel) {
        stabilization = stabilization || context.camera.controls(channel)->find(KEY_ANTI_SHAKE_SWITCH) != nullptr;
    }
    TiXmlElement* all = add(parent, "timg:Capabilities");
    all->SetAttribute("ImageStabilization", stabilization ? "true" : "false");
    all->SetAttribute("Presets", "true");
    // Settings change the scheme in force, which is the current preset.
    all->SetAttribute("AdaptablePreset", "true");
}

void getServiceCapabilities(Context& context, const TiXmlElement&, TiXmlElement& response)
{
    capabilities(context, response);
}

void getImagingSettings(Context& context, const TiXmlElement& request, TiXmlElement& response)
{
    const int channel = channelOf(context, request);
    const auto controls = controlsOf(context, channel);
    Values values;
    {
        std::lock_guard<std::mutex> lock(context.camera.lock(channel));
        values = readValues(context.camera.controller(channel), *controls);
    }
    writeSettings(*controls, values, *add(response, "timg:ImagingSettings"));
}

// All or nothing: every value is checked before the first is applied, and
// when the module refuses one, or the scheme cannot be saved, the values
// already applied are put back.
void setImagingSettings(Context& context, const TiXmlElement& request, TiXmlElement&)
{
    const int channel = channelOf(context, request);
    const TiXmlElement* settings = child(request, "ImagingSettings");
    if (settings == nullptr)
        fail(FaultCode::Sender, "ter:InvalidArgs", "", "SetImagingSettings without ImagingSettings");
    bool persist = true;
    const TiXmlElement* force = child(request, "ForcePersistence");
    if (force != nullptr && !parseBool(text(force), persist)) {
        fail(FaultCode::Sender, "ter:InvalidArgVal", "", "ForcePersistence '" + text(force) + "' is no boolean");
    }
    const auto controls = controlsOf(context, channel);
    std::lock_guard<std::mutex> lock(context.camera.lock(channel));
    ISensorController& controller = context.camera.controller(channel);
    // Only the values the request needs are read (the modes it names, and what
    // to put back), each once: a read of every setting cost more than the rest
    // of a one-setting request.
    Values read;
    const ValueOf valueOf = [&](int key, int& value) {
        auto found = read.find(key);
        if (found == read.end()) {
            int fresh = 0;
            if (!controller.getParameter(key, fresh)) return false;
            found = read.emplace(key, fresh).first;
        }
        value = found->second;
        return true;
    };
    const std::vector<std::pair<int, int>> changes = readSettings(*settings, *controls, valueOf);
    std::vector<std::pair<int, int>> before;
    for (const auto& change : changes) {
        int value = 0;
        // Without the value in force there is nothing to put back.
        if (!valueOf(change.first, value)) {
            fail(FaultCode::Receiver, "ter:Action", "",
                 "the value in force of " + keyLabel(static_cast<std::uint32_t>(change.first)) + " cannot be read");
        }
        before.emplace_back(change.first, value);
    }

    const int applied = changes.empty() ? 0 : controller.setParameters(pairs(changes), true);
    const int saved = applied == 0 && persist ? controller.flush() : 0;
    if (applied != 0 || saved != 0) {
        controller.setParameters(pairs(before), true);
        fail(FaultCode::Receiver, "ter:Action", "",
             applied != 0 ? describeSet(applied) + "; nothing changed"
                          : "the scheme in force cannot be saved: " + describeFlush(saved) + "; nothing changed");
    }
}

void getOptions(Context& context, const TiXmlElement& request, TiXmlElement& response)
{
    const int channel = channelOf(context, request);
    writeOptions(*controlsOf(context, channel), *add(response, "timg:ImagingOptions"));
}

struct Lens {
    bool position;  // absolute and relative moves
    bool steps;     // continuous moves
};

Lens lensOf(Context& context, int channel)
{
    const auto controls = context.camera.controls(channel);
    return Lens{controls->find(KEY_MF_POSITION) != nullptr,
                controls->find(KEY_FOCUS_NEAR) != nullptr && controls->find(KEY_FOCUS_FAR) != nullptr};
}

void range(TiXmlElement& parent, const std::string& name, double low, double high)
{
    TiXmlElement* element = add(parent, name);
    add(*element, "tt:Min", formatFloat(low));
    add(*element, "tt:Max", formatFloat(high));
}

void getMoveOptions(Context& context, const TiXmlElement& request, TiXmlElement& response)
{
    const Lens lens = lensOf(context, channelOf(context, request));
    TiXmlElement* options = add(response, "timg:MoveOptions");
    if (lens.position) {
        range(*add(*options, "tt:Absolute"), "tt:Position", 0, kFocusMax);
        range(*add(*options, "tt:Relative"), "tt:Distance", -kFocusMax, kFocusMax);
    }
    if (lens.steps) range(*add(*options, "tt:Continuous"), "tt:Speed", -1, 1);
}

double moveValue(const TiXmlElement& move, const char* name, double low, double high)
{
    const std::string given = text(child(move, name));
    double value = 0;
    if (!parseFloat(given, value) || value < low || value > high) {
        fail(FaultCode::Sender, "ter:InvalidArgVal", "ter:SettingsInvalid",
             localName(move) + "/" + name + " '" + given + "': takes " + formatFloat(low) + " to " + formatFloat(high));
    }
    return value;
}

// What the lens controls allow: a position (absolute, or relative to the
// position read back), or one focus step for a continuous move, towards far
// for a positive speed. The speed of absolute and relative moves is not
// adjustable and is ignored. Like the module's own focus steps, a position
// switches the focus to manual first, without recording it.
void move(Context& context, const TiXmlElement& request, TiXmlElement&)
{
    const int channel = channelOf(context, request);
    const Lens lens = lensOf(context, channel);
    const TiXmlElement* focus = child(request, "Focus");
    const TiXmlElement* kind = focus != nullptr ? focus->FirstChildElement() : nullptr;
    if (kind == nullptr || kind->NextSiblingElement() != nullptr) {
        fail(FaultCode::Sender, "ter:InvalidArgs", "", "Move takes one Focus move: Absolute, Relative or Continuous");
    }
    const std::string name = localName(*kind);
    if (name != "Absolute" && name != "Relative" && name != "Continuous") {
        fail(FaultCode::Sender, "ter:InvalidArgs", "", "no focus move '" + name + "'");
    }
    if (name == "Continuous" ? !lens.steps : !lens.position) {
        noImaging("video source " + sourceToken(channel) + " has no " +
                  (name == "Continuous" ? "focus steps" : "focus position"));
    }
    ISensorController& controller = context.camera.controller(channel);
    std::lock_guard<std::mutex> lock(context.camera.lock(channel));
    bool done = true;
    if (name == "Continuous") {
        const double speed = moveValue(*kind, "Speed", -1, 1);
        if (speed != 0) done = speed > 0 ? controller.focusFar() : controller.focusNear();
    } else {
        double target = 0;
        if (name == "Absolute") {
            target = moveValue(*kind, "Position", 0, kFocusMax);
        } else {
            const double distance = moveValue(*kind, "Distance", -kFocusMax, kFocusMax);
            int position = 0;
            if (!controller.getFocusValue(position)) {
                fail(FaultCode::Receiver, "ter:Action", "", "the lens does not report its focus position");
            }
            target = std::clamp(position + distance, 0.0, double(kFocusMax));
        }
        controller.setFocusMode(1);
        done = controller.setFocusValue(static_cast<int>(std::lround(target)));
    }
    if (!done) fail(FaultCode::Receiver, "ter:Action", "", "the lens refused the move");
}

// Moves are single commands, over when Move returns: nothing runs to stop.
void stop(Context& context, const TiXmlElement& request, TiXmlElement&) { channelOf(context, request); }

// The library's execution status has no documented meaning for the lens, so
// the move status is not guessed.
void getStatus(Context& context, const TiXmlElement& request, TiXmlElement& response)
{
    const int channel = channelOf(context, request);
    TiXmlElement* status = add(response, "timg:Status");
    int position = 0;
    if (!lensOf(context, channel).position) return;
    bool read = false;
    {
        std::lock_guard<std::mutex> lock(context.camera.lock(channel));
        read = context.camera.controller(channel).getFocusValue(position);
    }
    if (read) {
        TiXmlElement* focus = add(*status, "tt:FocusStatus20");
        add(*focus, "tt:Position", std::to_string(position));
        add(*focus, "tt:MoveStatus", "UNKNOWN");
    }
}

// The presets are the channel's user schemes, "Scheme_0" onwards, numbered as sensorctl numbers them.
void preset(TiXmlElement& parent, int scheme)
{
    TiXmlElement* element = add(parent, "timg:Preset");
    element->SetAttribute("token", "Scheme_" + std::to_string(scheme));
    element->SetAttribute("type", "Custom");
    add(*element, "timg:Name", "Scheme " + std::to_string(scheme));
}

void getPresets(Context& context, const TiXmlElement& request, TiXmlElement& response)
{
    const int channel = channelOf(context, request);
    for (int scheme = 0; scheme < context.camera.schemeCount(channel); ++scheme) preset(response, scheme);
}

// The factory set in force matches no preset: the reply is empty.
void getCurrentPreset(Context& context, const TiXmlElement& request, TiXmlElement& response)
{
    const int channel = channelOf(context, request);
    int scheme = -1;
    {
        std::lock_guard<std::mutex> lock(context.camera.lock(channel));
        context.camera.controller(channel).getParamScheme(scheme);
    }
    if (scheme >= 0 && scheme < context.camera.schemeCount(channel)) preset(response, scheme);
}

// Switches the scheme as the host does. Switching by time of day or by day
// and night stays as it is, so it may switch again at its next pass.
void setCurrentPreset(Context& context, const TiXmlElement& request, TiXmlElement&)
{
    const int channel = channelOf(context, request);
    const std::string token = text(child(request, "PresetToken"));
    int scheme = -1;
    for (int i = 0; i < context.camera.schemeCount(channel); ++i) {
        if (token == "Scheme_" + std::to_string(i)) scheme = i;
    }
    if (scheme < 0) fail(FaultCode::Sender, "ter:InvalidArgVal", "", "no preset '" + token + "'");
    std::lock_guard<std::mutex> lock(context.camera.lock(channel));
    if (!context.camera.controller(channel).setParamScheme(scheme)) {
        fail(FaultCode::Receiver, "ter:Action", "", "the module did not switch to scheme " + std::to_string(scheme));
    }
}

}  // namespace

const ServiceTable& imagingService()
{
    static const ServiceTable table{kImagingNs,
                                    "/onvif/imaging_service",
                                    "timg",
                                    {
                                        {"GetServiceCapabilities", &getServiceCapabilities, true},
                                        {"GetImagingSettings", &getImagingSettings, false},
                                        {"SetImagingSettings", &setImagingSettings, false},
                                        {"GetOptions", &getOptions, false},
                                        {"GetMoveOptions", &getMoveOptions, false},
                                        {"Move", &move, false},
                                        {"Stop", &stop, false},
                                        {"GetStatus", &getStatus, false},
                                        {"GetPresets", &getPresets, false},
                                        {"GetCurrentPreset", &getCurrentPreset, false},
                                        {"SetCurrentPreset", &setCurrentPreset, false},
                                    },
                                    &capabilities};
    return table;
}

}  // namespace sensorhost::onvif

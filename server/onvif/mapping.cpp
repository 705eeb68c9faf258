// ImagingSettings20 and ImagingOptions20 from the channel's keys and control description, and requests back into keys.
#include "mapping.h"

#include <climits>
#include <cmath>
#include <limits>
#include <set>

#include "SensorKeys.h"
#include "soap.h"

namespace sensorhost::onvif {

namespace {

const std::vector<ModeName> kOffOn = {{"OFF", 0, true}, {"ON", 1, true}};

// What the choices of KEY_AUTO_FOCUS_NEAR_LIMIT mean, in metres; 100, the
// lens's own limit, has no distance and is not reported.
const std::map<int, double> kNearLimits = {{0, 0.5}, {1, 1}, {2, 1.5}, {3, 3}, {4, 6}, {5, 10}};

constexpr double kMicroseconds = 1e6;
const char* const kAutoAdjustment = "Extension/Extension/IrCutFilterAutoAdjustment";

[[noreturn]] void invalid(const std::string& setting, const std::string& given, const std::string& why)
{
    fail(FaultCode::Sender, "ter:InvalidArgVal", "ter:SettingsInvalid", setting + " '" + given + "': " + why);
}

bool isChoice(const ControlInfo& control)
{
    return control.kind == ControlKind::Choice || control.kind == ControlKind::Switch;
}

// The channel's control behind a field, when it has one of the shape the field needs.
const ControlInfo* control(const Field& field, const ControlSet& controls)
{
    const ControlInfo* c = controls.find(field.key);
    if (c == nullptr || !c->hasValue) return nullptr;
    const bool choice = field.scale == Scale::Mode || field.scale == Scale::Shutter || field.scale == Scale::Meters;
    return (choice ? isChoice(*c) : c->kind == ControlKind::Slider) ? c : nullptr;
}

// A choice as ONVIF counts: the shutter in microseconds, the closest focus in metres.
bool choiceValue(const Field& field, int value, double& onvif)
{
    if (field.scale == Scale::Shutter) {
        if (value <= 0) return false;
        onvif = kMicroseconds / value;
        return true;
    }
    const auto found = kNearLimits.find(value);
    if (found == kNearLimits.end()) return false;
    onvif = found->second;
    return true;
}

// The span of the channel's choices as ONVIF counts them.
bool choiceSpan(const Field& field, const ControlInfo& c, double& low, double& high)
{
    low = std::numeric_limits<double>::infinity();
    high = -low;
    for (const ControlChoice& choice : c.choices) {
        double onvif = 0;
        if (!choiceValue(field, choice.value, onvif)) continue;
        low = std::min(low, onvif);
        high = std::max(high, onvif);
    }
    return low <= high;
}

// xs:duration in seconds. Years and months have no fixed length: refused.
bool parseDuration(const std::string& text, double& seconds)
{
    if (text.size() < 3 || text[0] != 'P' || text.back() == 'T') return false;
    seconds = 0;
    bool time = false;
    for (std::size_t at = 1; at < text.size();) {
        if (text[at] == 'T' && !time) {
            time = true;
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < text.size() && (std::isdigit(static_cast<unsigned char>(text[end])) || text[end] == '.')) ++end;
        double number = 0;
        if (end == at || end == text.size() || !parseFloat(text.substr(at, end - at), number)) return false;
        const char unit = text[end];
        if (!time && unit == 'D') {
            seconds += number * 86400;
        } else if (time && (unit == 'H' || unit == 'M' || unit == 'S')) {
            seconds += number * (unit == 'H' ? 3600 : unit == 'M' ? 60 : 1);
        } else {
            return false;
        }
        at = end + 1;
    }
    return true;
}

std::vector<std::string> steps(const std::string& path)
{
    std::vector<std::string> out;
    for (std::size_t at = 0;;) {
        const std::size_t slash = path.find('/', at);
        out.push_back(path.substr(at, slash - at));
        if (slash == std::string::npos) return out;
        at = slash + 1;
    }
}

// The element at `path` under `root`, where all but the last step are found
// or made; the last step is always a new element holding `value`. An
// IrCutFilterAutoAdjustment is one per boundary type, its BoundaryType first.
TiXmlElement* place(TiXmlElement& root, const std::string& path, const std::string& value,
                    const std::string& boundary = "")
{
    const std::vector<std::string> names = steps(path);
    TiXmlElement* at = &root;
    for (std::size_t i = 0; i + 1 < names.size(); ++i) {
        const std::string name = "tt:" + names[i];
        const bool perBoundary = !boundary.empty() && names[i] == "IrCutFilterAutoAdjustment";
        TiXmlElement* next = nullptr;
        for (TiXmlElement* e = at->FirstChildElement(name); e != nullptr; e = e->NextSiblingElement(name)) {
            if (!perBoundary || text(e->FirstChildElement("tt:BoundaryType")) == boundary) next = e;
        }
        if (next == nullptr) {
            next = add(*at, name);
            if (perBoundary) add(*next, "tt:BoundaryType", boundary);
        }
        at = next;
    }
    return add(*at, "tt:" + names.back(), value);
}

TiXmlElement* find(TiXmlElement& root, const std::string& path)
{
    TiXmlElement* at = &root;
    for (const std::string& name : steps(path)) {
        at = at->FirstChildElement("tt:" + name);
        if (at == nullptr) return nullptr;
    }
    return at;
}

bool fromKey(const Field& field, const ControlInfo& c, int value, std::string& out)
{
    switch (field.scale) {
    case Scale::Mode:
        for (const ModeName& mode : field.modes) {
            if (mode.value == value) {
                out = mode.name;
                return true;
            }
        }
        return false;
    case Scale::Same: out = std::to_string(value); return true;
    case Scale::Fraction:
        out = formatFloat(c.max > c.min ? (double(value) - c.min) / (double(c.max) - c.min) : 0);
        return true;
    case Scale::Offset: {
        const double span = value < c.defaultValue ? double(c.defaultValue) - c.min : double(c.max) - c.defaultValue;
        out = formatFloat(span > 0 ? (double(value) - c.defaultValue) / span : 0);
        return true;
    }
    case Scale::Seconds: out = "PT" + std::to_string(value) + "S"; return true;
    case Scale::Shutter:
    case Scale::Meters: {
        double onvif = 0;
        if (!choiceValue(field, value, onvif)) return false;
        out = formatFloat(onvif);
        return true;
    }
    }
    return false;
}

// The key's value for an ONVIF value, not yet checked against the control.
int toKey(const Field& field, const ControlInfo& c, const std::string& setting, const std::string& given,
          const ValueOf& valueOf)
{
    if (field.scale == Scale::Mode) {
        // A choice that reads as the name given stays: writing back what was
        // read must not turn shutter priority into auto exposure.
        int current = 0;
        const bool known = valueOf(field.key, current);
        std::string names;
        for (const ModeName& mode : field.modes) {
            if (known && mode.value == current && given == mode.name) return mode.value;
        }
        for (const ModeName& mode : field.modes) {
            if (mode.writes && given == mode.name) return mode.value;
            if (mode.writes) names += std::string(names.empty() ? "" : ", ") + mode.name;
        }
        invalid(setting, given, "takes " + names);
    }
    double x = 0;
    if (field.scale == Scale::Seconds ? !parseDuration(given, x) : !parseFloat(given, x)) {
        invalid(setting, given, field.scale == Scale::Seconds ? "is no duration such as PT5S" : "is no number");
    }
    if (field.scale == Scale::Shutter || field.scale == Scale::Meters) {
        double low = 0, high = 0;
        // A float the camera wrote rounds (1/30 s is 33333.33 us): a little slack at the ends.
        if (!choiceSpan(field, c, low, high) || x < low * 0.999 || x > high * 1.001) {
            invalid(setting, given, "takes " + formatFloat(low) + " to " + formatFloat(high));
        }
        const ControlChoice* nearest = nullptr;
        double distance = std::numeric_limits<double>::infinity();
        for (const ControlChoice& choice : c.choices) {
            double onvif = 0;
            if (choiceValue(field, choice.value, onvif) && std::fabs(onvif - x) < distance) {
                distance = std::fabs(onvif - x);
                nearest = &choice;
            }
        }
        return nearest->value;
    }
    if (field.scale == Scale::Fraction) {
        if (x < 0 || x > 1) invalid(setting, given, "takes 0.0 to 1.0");
        x = c.min + x * (double(c.max) - c.min);
    } else if (field.scale == Scale::Offset) {
        if (x < -1 || x > 1) invalid(setting, given, "takes -1.0 to 1.0");
        x = c.defaultValue + x * (x < 0 ? double(c.defaultValue) - c.min : double(c.max) - c.defaultValue);
    }
    // Floats land on the control's step grid; the control's check then says whether that value is one of its own.
    const double value = c.min + std::round((x - c.min) / c.step) * c.step;
    if (value < INT_MIN || value > INT_MAX) invalid(setting, given, "is out of range");
    return static_cast<int>(value);
}

class SettingsReader {
public:
    SettingsReader(const ControlSet& controls, const ValueOf& valueOf) : controls_(controls), valueOf_(valueOf) {}

    void walk(const TiXmlElement& parent, const std::string& path, const std::string& boundary)
    {
        for (const TiXmlElement* e = parent.FirstChildElement(); e != nullptr; e = e->NextSiblingElement()) {
            const std::string name = localName(*e);
            const std::string at = path.empty() ? name : path + "/" + name;
            if (at == kAutoAdjustment) {
                const std::string type = text(child(*e, "BoundaryType"));
                if (type != "Common" && type != "ToOn" && type != "ToOff") {
                    invalid(at + "/BoundaryType", type, "takes Common, ToOn or ToOff");
                }
                walk(*e, at, type);
            } else if (!boundary.empty() && name == "BoundaryType") {
                continue;
            } else if (e->FirstChildElement() != nullptr) {
                walk(*e, at, boundary);
            } else {
                leaf(*e, at, boundary);
            }
        }
    }

    std::vector<std::pair<int, int>> changes() const
    {
        std::vector<std::pair<int, int>> out;
        std::set<int> done;
        for (const Field& field : fields()) {
            const auto found = chosen_.find(field.key);
            if (found != chosen_.end() && done.insert(field.key).second)
                out.emplace_back(field.key, found->second.first);
        }
        return out;
    }

private:
    void leaf(const TiXmlElement& e, const std::string& path, const std::string& boundary)
    {
        const std::string given = text(&e);
        const std::string setting = boundary.empty() ? path : path + " (" + boundary + ")";
        bool known = false;
        bool offered = false;
        for (const Field& field : fields()) {
            const bool sameBoundary =
                boundary.empty() ? *field.boundary == '\0'
                                 : *field.boundary != '\0' && (boundary == "Common" || boundary == field.boundary);
            if (path != field.setting || !sameBoundary) continue;
            known = true;
            const ControlInfo* c = control(field, controls_);
            if (c == nullptr) continue;
            offered = true;
            const int value = toKey(field, *c, setting, given, valueOf_);
            const std::string problem = controls_.check(field.key, value);
            if (!problem.empty()) invalid(setting, given, problem);
            const auto [entry, fresh] = chosen_.emplace(field.key, std::make_pair(value, setting));
            if (!fresh && entry->second.first != value) invalid(setting, given, "contradicts " + entry->second.second);
        }
        if (!known) {
            if (given.empty() && isContainer(path)) return;
            invalid(setting, given, "is no setting this camera supports");
        }
        if (!offered) invalid(setting, given, "this video source has no such setting");
    }

    static bool isContainer(const std::string& path)
    {
        for (const Field& field : fields()) {
            if (std::string(field.setting).compare(0, path.size() + 1, path + "/") == 0) return true;
        }
        return false;
    }

    const ControlSet& controls_;
    const ValueOf& valueOf_;
    std::map<int, std::pair<int, std::string>> chosen_;  // key -> value and the setting that chose it
};

}  // namespace

// The one table. Row order is the schema's element order, so that replies
// come out valid; `needs` names the Mode that must be there for its siblings.
const std::vector<Field>& fields()
{
    // clang-format off
    static const std::vector<Field> table = {
        // setting (under ImagingSettings20), option (under ImagingOptions20), key, scale, needs, boundary, modes
        {"BacklightCompensation/Mode", "BacklightCompensation/Mode", KEY_BLC_SWITCH, Scale::Mode, 0, "", kOffOn},
        {"BacklightCompensation/Level", "BacklightCompensation/Level",
            KEY_BLC_STRG, Scale::Same, KEY_BLC_SWITCH, "", {}},
        {"Brightness", "Brightness", KEY_BRIGHTNESS, Scale::Same, 0, "", {}},
        {"ColorSaturation", "ColorSaturation", KEY_SATURATION, Scale::Same, 0, "", {}},
        {"Contrast", "Contrast", KEY_CONTRAST, Scale::Same, 0, "", {}},
        {"Exposure/Mode", "Exposure/Mode", KEY_EXPOSE_MODE, Scale::Mode, 0, "",
            {{"AUTO", 0, true}, {"MANUAL", 1, true}, {"AUTO", 2, false}, {"AUTO", 3, false}}},
        {"Exposure/MaxExposureTime", "Exposure/MaxExposureTime",
            KEY_MAX_SHUTTER, Scale::Shutter, KEY_EXPOSE_MODE, "", {}},
        {"Exposure/MaxGain", "Exposure/MaxGain", KEY_MAX_GAIN, Scale::Same, KEY_EXPOSE_MODE, "", {}},
        {"Exposure/ExposureTime", "Exposure/ExposureTime", KEY_FIX_SHUTTER, Scale::Shutter, KEY_EXPOSE_MODE, "", {}},
        {"Exposure/Gain", "Exposure/Gain", KEY_FIX_GAIN, Scale::Same, KEY_EXPOSE_MODE, "", {}},
        {"Focus/AutoFocusMode", "Focus/AutoFocusModes", KEY_AUTO_FOCUS_MODE, Scale::Mode, 0, "",
            {{"AUTO", 0, true}, {"MANUAL", 1, true}, {"MANUAL", 2, false}}},
        {"Focus/DefaultSpeed", "Focus/DefaultSpeed", KEY_FOCUS_SPEED_LEVEL, Scale::Same, KEY_AUTO_FOCUS_MODE, "", {}},
        {"Focus/NearLimit", "Focus/NearLimit", KEY_AUTO_FOCUS_NEAR_LIMIT, Scale::Meters, KEY_AUTO_FOCUS_MODE, "", {}},
        {"IrCutFilter", "IrCutFilterModes", KEY_DN_MODE, Scale::Mode, 0, "",
            {{"AUTO", 0, true}, {"ON", 1, true}, {"OFF", 2, true}, {"AUTO", 3, false}}},
        {"Sharpness", "Sharpness", KEY_SHARPNESS, Scale::Same, 0, "", {}},
        {"WideDynamicRange/Mode", "WideDynamicRange/Mode", KEY_WDR_MODE, Scale::Mode, 0, "",
            {{"OFF", 0, true}, {"ON", 1, true}, {"ON", 2, false}}},
        {"WideDynamicRange/Level", "WideDynamicRange/Level", KEY_WDR_STRG, Scale::Same, KEY_WDR_MODE, "", {}},
        {"WhiteBalance/Mode", "WhiteBalance/Mode", KEY_WB_MODE, Scale::Mode, 0, "",
            {{"AUTO", 0, true}, {"MANUAL", 1, true}, {"MANUAL", 2, false}, {"MANUAL", 3, false}, {"AUTO", 4, false}}},
        {"WhiteBalance/CrGain", "WhiteBalance/YrGain", KEY_R_GAIN, Scale::Same, KEY_WB_MODE, "", {}},
        {"WhiteBalance/CbGain", "WhiteBalance/YbGain", KEY_B_GAIN, Scale::Same, KEY_WB_MODE, "", {}},
        {"Extension/ImageStabilization/Mode", "Extension/ImageStabilization/Mode",
            KEY_ANTI_SHAKE_SWITCH, Scale::Mode, 0, "", kOffOn},
        {"Extension/ImageStabilization/Level", "Extension/ImageStabilization/Level",
            KEY_ANTI_SHAKE_STRG, Scale::Same, KEY_ANTI_SHAKE_SWITCH, "", {}},
        {"Extension/Extension/IrCutFilterAutoAdjustment/BoundaryOffset",
            "Extension/Extension/IrCutFilterAutoAdjustment/BoundaryOffset", KEY_NTD_THR, Scale::Offset, 0, "ToOn", {}},
        {"Extension/Extension/IrCutFilterAutoAdjustment/ResponseTime",
            "Extension/Extension/IrCutFilterAutoAdjustment/ResponseTimeRange",
            KEY_DELAY, Scale::Seconds, 0, "ToOn", {}},
        {"Extension/Extension/IrCutFilterAutoAdjustment/BoundaryOffset",
            "Extension/Extension/IrCutFilterAutoAdjustment/BoundaryOffset", KEY_DTN_THR, Scale::Offset, 0, "ToOff", {}},
        {"Extension/Extension/IrCutFilterAutoAdjustment/ResponseTime",
            "Extension/Extension/IrCutFilterAutoAdjustment/ResponseTimeRange",
            KEY_DELAY, Scale::Seconds, 0, "ToOff", {}},
        {"Extension/Extension/Extension/ToneCompensation/Mode",
            "Extension/Extension/Extension/ToneCompensationOptions/Mode", KEY_HLC_SWITCH, Scale::Mode, 0, "", kOffOn},
        {"Extension/Extension/Extension/ToneCompensation/Level",
            "Extension/Extension/Extension/ToneCompensationOptions/Level",
            KEY_HLC_STRG, Scale::Fraction, KEY_HLC_SWITCH, "", {}},
        {"Extension/Extension/Extension/Defogging/Mode",
            "Extension/Extension/Extension/DefoggingOptions/Mode", KEY_DEFLG_SWITCH, Scale::Mode, 0, "", kOffOn},
        {"Extension/Extension/Extension/Defogging/Level",
            "Extension/Extension/Extension/DefoggingOptions/Level",
            KEY_DEFLG_STRG, Scale::Fraction, KEY_DEFLG_SWITCH, "", {}},
        {"Extension/Extension/Extension/NoiseReduction/Level",
            "Extension/Extension/Extension/NoiseReductionOptions/Level", KEY_3D_NR_STRG_M, Scale::Fraction, 0, "", {}},
    };
    // clang-format on
    return table;
}

Values readValues(ISensorController& controller, const ControlSet& controls)
{
    Values values;
    for (const Field& field : fields()) {
        int value = 0;
        if (values.count(field.key) == 0 && control(field, controls) != nullptr &&
            controller.getParameter(field.key, value)) {
            values[field.key] = value;
        }
    }
    return values;
}

void writeSettings(const ControlSet& controls, const Values& values, TiXmlElement& settings)
{
    std::set<int> written;
    for (const Field& field : fields()) {
        const ControlInfo* c = control(field, controls);
        const auto value = values.find(field.key);
        std::string out;
        if (c == nullptr || value == values.end() || (field.needs != 0 && written.count(field.needs) == 0) ||
            !fromKey(field, *c, value->second, out)) {
            continue;
        }
        place(settings, field.setting, out, field.boundary);
        written.insert(field.key);
    }
}

void writeOptions(const ControlSet& controls, TiXmlElement& options)
{
    std::set<int> written;
    std::set<std::string> boundaries;
    for (const Field& field : fields()) {
        if (field.needs != 0 && written.count(field.needs) == 0) continue;
        const ControlInfo* c = control(field, controls);
        if (field.scale == Scale::Fraction || field.scale == Scale::Offset) {
            // Options only say whether the level can be set; where the
            // schema requires the flag, a missing level is "false".
            if ((c != nullptr || field.needs != 0) && find(options, field.option) == nullptr) {
                place(options, field.option, c != nullptr ? "true" : "false");
            }
        }
        if (c == nullptr) continue;
        if (*field.boundary != '\0') boundaries.insert(field.boundary);
        double low = 0, high = 0;
        switch (field.scale) {
        case Scale::Mode:
            for (const ModeName& mode : field.modes) {
                if (mode.writes && controls.check(field.key, mode.value).empty()) {
                    place(options, field.option, mode.name);
                    written.insert(field.key);
                }
            }
            continue;
        case Scale::Same:
            low = c->min;
            high = c->max;
            break;
        case Scale::Shutter:
        case Scale::Meters:
            if (!choiceSpan(field, *c, low, high)) continue;
            break;
        case Scale::Seconds:
            if (find(options, field.option) == nullptr) {
                TiXmlElement* range = place(options, field.option, "");
                add(*range, "tt:Min", "PT" + std::to_string(c->min) + "S");
                add(*range, "tt:Max", "PT" + std::to_string(c->max) + "S");
            }
            continue;
        default: continue;
        }
        TiXmlElement* range = place(options, field.option, "");
        add(*range, "tt:Min", formatFloat(low));
        add(*range, "tt:Max", formatFloat(high));
        written.insert(field.key);
    }
    // The boundary types head the automatic switching's options: Common, ToOn, ToOff.
    if (TiXmlElement* adjustment = find(options, kAutoAdjustment)) {
        for (const char* type : {"ToOff", "ToOn", "Common"}) {
            if (boundaries.count(type) == 0 && std::string(type) != "Common") continue;
            TiXmlElement element("tt:BoundaryType");
            element.LinkEndChild(new TiXmlText(type));
            adjustment->InsertBeforeChild(adjustment->FirstChild(), element);
        }
    }
}

std::vector<std::pair<int, int>> readSettings(const TiXmlElement& settings, const ControlSet& controls,
                                              const ValueOf& valueOf)
{
    SettingsReader reader(controls, valueOf);
    reader.walk(settings, "", "");
    return reader.changes();
}

}  // namespace sensorhost::onvif

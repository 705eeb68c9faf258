// ONVIF's imaging settings (ImagingSettings20 and its extensions) and the module's keys: the one table between them.
#ifndef SENSORHOST_ONVIF_MAPPING_H
#define SENSORHOST_ONVIF_MAPPING_H

#include <tinyxml.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ISensorController.h"
#include "controls.h"

namespace sensorhost::onvif {

// How an ONVIF value becomes a key's value and back.
enum class Scale {
    Same,      // the key's own number; a float is rounded to the key's step
    Fraction,  // 0.0 to 1.0 over the key's range
    Offset,    // -1.0 to +1.0 around the key's default: -1 its minimum, 0 its default, +1 its maximum
    Shutter,   // microseconds <-> the choice N, meaning 1/N s
    Meters,    // metres <-> a choice of the closest focus distance
    Seconds,   // xs:duration <-> whole seconds
    Mode,      // ONVIF names <-> choices
};

struct ModeName {
    const char* name;
    int value;
    bool writes;  // false: the choice reads as this name, but the name sets another choice
};

struct Field {
    const char* setting;  // path under ImagingSettings20, local names joined by '/'
    const char* option;   // path under ImagingOptions20
    int key;
    Scale scale;
    int needs;             // the key of the Mode the surrounding element requires; 0: none
    const char* boundary;  // "ToOn" or "ToOff" for the IR cut filter's automatic switching; "" otherwise
    std::vector<ModeName> modes;
};

const std::vector<Field>& fields();

// The value in force of every key of the table that the channel has.
using Values = std::map<int, int>;
Values readValues(ISensorController& controller, const ControlSet& controls);

// ImagingSettings20 of the values in force under `settings`; a setting the
// channel lacks is absent.
void writeSettings(const ControlSet& controls, const Values& values, TiXmlElement& settings);
// ImagingOptions20 under `options`: the ranges and modes the channel offers.
void writeOptions(const ControlSet& controls, TiXmlElement& options);
// The value in force of one key of the table, false when the module has none.
using ValueOf = std::function<bool(int key, int& value)>;
// A SetImagingSettings request's ImagingSettings as key values, in table
// order, each checked by the control description; asks `valueOf` only for
// the modes it is given. Throws ter:SettingsInvalid naming the setting: a
// value out of range, a mode or a setting the channel lacks, a field this
// camera does not support, two settings that contradict.
std::vector<std::pair<int, int>> readSettings(const TiXmlElement& settings, const ControlSet& controls,
                                              const ValueOf& valueOf);

}  // namespace sensorhost::onvif

#endif

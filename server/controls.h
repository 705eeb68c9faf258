// The controls of a channel as its settings page offers them, one record per parameter, and the one check of a value.
#ifndef SENSORHOST_CONTROLS_H
#define SENSORHOST_CONTROLS_H

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "ISensorController.h"

namespace sensorhost {

enum class ControlKind { Slider, Choice, Switch, Button, Readout };

struct ControlChoice {
    int value;
    std::string name;
};

// One parameter of the channel's dynamic style, after the style diversity and
// the library's run-time ranges have been applied.
struct ControlInfo {
    int key = 0;
    std::string keyName;  // the key-command table's name, e.g. KEY_BRIGHTNESS
    std::string name;     // the page's title
    std::string tab;      // key of the tab that shows it
    ControlKind kind = ControlKind::Slider;
    // Buttons (actions) and read-outs have no value of their own in the sets.
    bool hasValue = false;
    int defaultValue = 0;
    int min = 0;  // sliders: the range and its step; choices: the smallest and largest choice
    int max = 0;
    int step = 1;
    std::vector<ControlChoice> choices;
    std::optional<int> current;  // when read with readValues
};

struct ControlTab {
    std::string key;
    std::string name;
};

class ControlSet {
public:
    // Reads the channel's dynamic style: the module has already narrowed its
    // choices and defaults to the library's run-time ranges. False with
    // `error` when the style is missing or does not parse. Parameters whose
    // description contradicts itself are kept out and named in problems().
    static bool build(ISensorController& controller, ControlSet& set, std::string& error);

    // Each parameter's value in the scheme in force.
    void readValues(ISensorController& controller);

    const std::vector<ControlTab>& tabs() const { return tabs_; }
    const std::vector<ControlInfo>& controls() const { return controls_; }
    const std::vector<std::string>& problems() const { return problems_; }
    const ControlInfo* find(int key) const;
    // Empty when the control takes `value`; else why not, in words.
    std::string check(int key, int value) const;

private:
    std::vector<ControlTab> tabs_;
    std::vector<ControlInfo> controls_;
    std::vector<std::string> problems_;
};

const char* kindName(ControlKind kind);
void to_json(nlohmann::json& out, const ControlInfo& control);
// {"tabs": [{"key", "name", "controls": [...]}, ...]}
void to_json(nlohmann::json& out, const ControlSet& set);
// One line per parameter under its tab's name, choices below it: key, name,
// title, kind, value, default, range.
void printControls(const ControlSet& set, std::ostream& out);

}  // namespace sensorhost

#endif

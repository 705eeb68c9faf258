// The controls of a channel, built from its dynamic style and the library's ranges.
#include "controls.h"

#include <tinyxml.h>

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <nlohmann/json.hpp>

#include "keys.h"

namespace sensorhost {

namespace {

struct KindName {
    ControlKind kind;
    const char* name;
};

const KindName kKinds[] = {{ControlKind::Slider, "slider"},
                           {ControlKind::Choice, "choice"},
                           {ControlKind::Switch, "switch"},
                           {ControlKind::Button, "button"},
                           {ControlKind::Readout, "readout"}};

bool numberAttribute(const TiXmlElement* e, const char* name, int& value)
{
    const char* text = e->Attribute(name);
    return text != nullptr && parseNumber(text, value);
}

std::string textAttribute(const TiXmlElement* e, const char* name)
{
    const char* value = e->Attribute(name);
    return value != nullptr ? value : "";
}

std::string label(const ControlInfo& c) { return c.keyName + " (" + c.name + ")"; }

// The description of one parameter element, or why it cannot be used.
std::string describe(const TiXmlElement* e, const std::string& tab, ControlInfo& c)
{
    if (!numberAttribute(e, "id", c.key)) return "a parameter with id '" + textAttribute(e, "id") + "'";
    c.keyName = keyName(static_cast<std::uint32_t>(c.key));
    c.name = textAttribute(e, "name");
    c.tab = tab;
    const std::string kind = textAttribute(e, "kind");
    const auto* found =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&](const KindName& k) { return kind == k.name; });
    if (found == std::end(kKinds)) return label(c) + ": unknown kind '" + kind + "'";
    c.kind = found->kind;
    c.hasValue = e->Attribute("value") != nullptr;
    if (c.hasValue && !numberAttribute(e, "value", c.defaultValue)) return label(c) + ": the default is not a number";
    if (c.kind == ControlKind::Button || c.kind == ControlKind::Readout) return "";
    if (!c.hasValue) return label(c) + ": no default";
    if (c.kind == ControlKind::Slider) {
        if (!numberAttribute(e, "min", c.min) || !numberAttribute(e, "max", c.max) ||
            !numberAttribute(e, "step", c.step) || c.step < 1 || c.min > c.max) {
            return label(c) + ": no usable min, max and step";
        }
        return "";
    }
    for (const TiXmlElement* option = e->FirstChildElement(); option != nullptr;
         option = option->NextSiblingElement()) {
        ControlChoice choice{0, textAttribute(option, "name")};
        if (!numberAttribute(option, "index", choice.value)) return label(c) + ": a choice without a number";
        for (const ControlChoice& other : c.choices) {
            if (other.value == choice.value) return label(c) + ": choice " + std::to_string(choice.value) + " twice";
        }
        c.choices.push_back(choice);
    }
    return "";
}

// What a usable description must hold, checked once when it is built.
std::string contradiction(const ControlInfo& c)
{
    if (c.kind == ControlKind::Slider) {
        if (c.defaultValue < c.min || c.defaultValue > c.max || (c.defaultValue - c.min) % c.step != 0) {
            return label(c) + ": default " + std::to_string(c.defaultValue) + " is not a value of its own range";
        }
    } else if (c.kind == ControlKind::Choice || c.kind == ControlKind::Switch) {
        if (c.choices.empty()) return label(c) + ": no choice left";
        const bool known = std::any_of(c.choices.begin(), c.choices.end(),
                                       [&](const ControlChoice& choice) { return choice.value == c.defaultValue; });
        if (!known) return label(c) + ": default " + std::to_string(c.defaultValue) + " is not one of its choices";
    }
    return "";
}

void walk(const TiXmlElement* parent, const std::string& tab, std::vector<ControlTab>& tabs,
          std::vector<ControlInfo>& controls, std::vector<std::string>& problems)
{
    for (const TiXmlElement* e = parent->FirstChildElement(); e != nullptr; e = e->NextSiblingElement()) {
        if (e->Attribute("id") == nullptr) {
            std::string inner = tab;
            if (e->Attribute("key") != nullptr) {
                inner = textAttribute(e, "key");
                tabs.push_back(ControlTab{inner, textAttribute(e, "name")});
            }
            walk(e, inner, tabs, controls, problems);
            continue;
        }
        // Placeholders keep a place in the page's grid; they are no control.
        if (textAttribute(e, "kind") == "spacer") continue;
        ControlInfo c;
        std::string problem = describe(e, tab, c);
        if (problem.empty()) problem = contradiction(c);
        const bool twice =
            std::any_of(controls.begin(), controls.end(), [&](const ControlInfo& other) { return other.key == c.key; });
        if (problem.empty() && twice) problem = label(c) + ": listed twice";
        if (!problem.empty()) {
            problems.push_back(problem);
            continue;
        }
        controls.push_back(c);
    }
}

}  // namespace

bool ControlSet::build(ISensorController& controller, ControlSet& set, std::string& error)
{
    const std::string style = controller.getUIStyleFile();
    if (style.empty()) {
        error = "its style document is empty";
        return false;
    }
    TiXmlDocument doc;
    doc.Parse(style.c_str());
    if (doc.Error() || doc.RootElement() == nullptr) {
        error = "its style document does not parse: " + std::string(doc.ErrorDesc());
        return false;
    }
    set = ControlSet();
    walk(doc.RootElement(), "", set.tabs_, set.controls_, set.problems_);
    return true;
}

void ControlSet::readValues(ISensorController& controller)
{
    for (ControlInfo& c : controls_) {
        int value = 0;
        c.current.reset();
        if (c.hasValue && controller.getParameter(c.key, value)) c.current = value;
    }
}

const ControlInfo* ControlSet::find(int key) const
{
    for (const ControlInfo& c : controls_) {
        if (c.key == key) return &c;
    }
    return nullptr;
}

std::string ControlSet::check(int key, int value) const
{
    const ControlInfo* c = find(key);
    if (c == nullptr) return keyLabel(static_cast<std::uint32_t>(key)) + " is not a control of this channel";
    switch (c->kind) {
    case ControlKind::Button: return "";
    case ControlKind::Readout: return label(*c) + " is a read-out and takes no value";
    case ControlKind::Slider:
        if (value < c->min || value > c->max || (value - c->min) % c->step != 0) {
            std::string range = std::to_string(c->min) + " to " + std::to_string(c->max);
            if (c->step != 1) range += " in steps of " + std::to_string(c->step);
            return label(*c) + " takes " + range + ", not " + std::to_string(value);
        }
        return "";
    default:
        for (const ControlChoice& choice : c->choices) {
            if (choice.value == value) return "";
        }
        std::string list;
        for (std::size_t i = 0; i < c->choices.size(); ++i) {
            list += std::string(i == 0                       ? ""
                                : i + 1 == c->choices.size() ? " or "
                                                             : ", ") +
                    std::to_string(c->choices[i].value) + " (" + c->choices[i].name + ")";
        }
        return label(*c) + " takes " + list + ", not " + std::to_string(value);
    }
}

const char* kindName(ControlKind kind)
{
    for (const KindName& k : kKinds) {
        if (k.kind == kind) return k.name;
    }
    return "?";
}

void to_json(nlohmann::json& out, const ControlInfo& c)
{
    out = {{"key", c.key}, {"keyName", c.keyName}, {"name", c.name}, {"tab", c.tab}, {"kind", kindName(c.kind)}};
    if (c.hasValue) out["default"] = c.defaultValue;
    if (c.kind == ControlKind::Slider) {
        out["min"] = c.min;
        out["max"] = c.max;
        out["step"] = c.step;
    }
    if (c.kind == ControlKind::Choice || c.kind == ControlKind::Switch) {
        out["choices"] = nlohmann::json::array();
        for (const ControlChoice& choice : c.choices) {
            out["choices"].push_back({{"value", choice.value}, {"name", choice.name}});
        }
    }
    if (c.current) out["value"] = *c.current;
}

void to_json(nlohmann::json& out, const ControlSet& set)
{
    out = {{"tabs", nlohmann::json::array()}};
    for (const ControlTab& tab : set.tabs()) {
        nlohmann::json controls = nlohmann::json::array();
        for (const ControlInfo& c : set.controls()) {
            if (c.tab == tab.key) controls.push_back(c);
        }
        out["tabs"].push_back({{"key", tab.key}, {"name", tab.name}, {"controls", controls}});
    }
}

void printControls(const ControlSet& set, std::ostream& out)
{
    for (const ControlTab& tab : set.tabs()) {
        out << "\n[" << tab.name << "]\n";
        for (const ControlInfo& c : set.controls()) {
            if (c.tab != tab.key) continue;
            char head[160];
            std::snprintf(head, sizeof(head), "%6d %-32s %-30s %-7s", c.key, c.keyName.c_str(), c.name.c_str(),
                          kindName(c.kind));
            out << head;
            if (c.hasValue) {
                out << " value=" << (c.current ? std::to_string(*c.current) : std::string("?"))
                    << " default=" << c.defaultValue;
            }
            if (c.kind == ControlKind::Slider) out << " min=" << c.min << " max=" << c.max << " step=" << c.step;
            out << "\n";
            for (const ControlChoice& choice : c.choices) {
                out << std::setw(48) << choice.value << ": " << choice.name << "\n";
            }
        }
    }
}

}  // namespace sensorhost

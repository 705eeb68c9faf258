// The controls table and the parameter-file tools of sensorctl.
#include "controls.h"

#include <tinyxml.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <sstream>

#include "script.h"

namespace sensorctl {

namespace {

std::string attr(const TiXmlElement* e, const char* name)
{
    const char* value = e->Attribute(name);
    return value != nullptr ? value : "";
}

void printParam(ISensorController& c, const TiXmlElement* e, std::ostream& out)
{
    const int key = std::atoi(e->Attribute("id"));
    const std::string kind = attr(e, "kind");
    if (kind == "spacer") return;
    char head[160];
    std::snprintf(head, sizeof(head), "%6d %-32s %-30s %-7s", key, keyName(static_cast<std::uint32_t>(key)).c_str(),
                  attr(e, "name").c_str(), kind.empty() ? "-" : kind.c_str());
    out << head;
    if (e->Attribute("value") == nullptr) {
        out << "\n";
        return;
    }
    int current = 0;
    out << " value=" << (c.getParameter(key, current) ? std::to_string(current) : std::string("?"))
        << " default=" << attr(e, "value");
    if (e->Attribute("min") != nullptr) {
        out << " min=" << attr(e, "min") << " max=" << attr(e, "max") << " step=" << attr(e, "step");
    }
    out << "\n";
    for (const TiXmlElement* option = e->FirstChildElement(); option != nullptr;
         option = option->NextSiblingElement()) {
        if (option->Attribute("index") == nullptr) continue;
        out << std::setw(48) << option->Attribute("index") << ": " << attr(option, "name") << "\n";
    }
}

void walk(ISensorController& c, const TiXmlElement* e, std::ostream& out)
{
    for (const TiXmlElement* child = e->FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
        if (child->Attribute("id") != nullptr) {
            printParam(c, child, out);
        } else {
            if (child->Attribute("key") != nullptr) out << "\n[" << attr(child, "name") << "]\n";
            walk(c, child, out);
        }
    }
}

}  // namespace

bool printControls(ISensorController& controller, std::ostream& out, std::string& error)
{
    const std::string style = controller.getUIStyleFile();
    TiXmlDocument doc;
    doc.Parse(style.c_str());
    if (doc.Error() || doc.RootElement() == nullptr) {
        error = "the channel's style does not parse: " + std::string(doc.ErrorDesc());
        return false;
    }
    walk(controller, doc.RootElement(), out);
    return true;
}

bool readCfg(const std::string& path, std::vector<KeyVal>& set, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot read " + path;
        return false;
    }
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() % sizeof(KeyVal) != 0) {
        error = path + ": " + std::to_string(bytes.size()) + " bytes is not a whole number of 8-byte entries";
        return false;
    }
    set.resize(bytes.size() / sizeof(KeyVal));
    if (!set.empty()) std::memcpy(set.data(), bytes.data(), bytes.size());
    return true;
}

bool parsePairs(const std::string& text, std::vector<KeyVal>& set, std::string& error)
{
    std::size_t pos = 0;
    while (pos < text.size()) {
        long key = 0;
        long value = 0;
        int used = 0;
        if (std::sscanf(text.c_str() + pos, "(%ld,%ld)%n", &key, &value, &used) != 2 || used == 0 ||
            text[pos + static_cast<std::size_t>(used) - 1] != ')' || key < 0 || key > 0xffffffffL ||
            value < INT32_MIN || value > INT32_MAX) {
            error = "bad pair at character " + std::to_string(pos + 1) + " (expected (KEY,VALUE))";
            return false;
        }
        set.push_back(KeyVal{static_cast<u32>(key), static_cast<s32>(value)});
        pos += static_cast<std::size_t>(used);
    }
    if (set.empty()) {
        error = "no pairs";
        return false;
    }
    return true;
}

bool writeCfg(const std::string& path, const std::vector<KeyVal>& set, std::string& error)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(set.data()), static_cast<std::streamsize>(set.size() * sizeof(KeyVal)));
    if (!out) {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

void dumpCfg(const std::vector<KeyVal>& set, std::ostream& out)
{
    for (const KeyVal& kv : set) out << keyName(kv.key) << " (" << kv.key << ") = " << kv.value << "\n";
}

bool diffCfg(const std::vector<KeyVal>& a, const std::vector<KeyVal>& b, std::ostream& out)
{
    // The first entry of a key is the one the module reads.
    std::map<u32, s32> first;
    for (auto it = b.rbegin(); it != b.rend(); ++it) first[it->key] = it->value;
    std::map<u32, bool> seen;
    bool same = true;
    for (const KeyVal& kv : a) {
        if (seen[kv.key]) continue;
        seen[kv.key] = true;
        auto other = first.find(kv.key);
        if (other == first.end()) {
            out << keyName(kv.key) << " (" << kv.key << "): " << kv.value << " -> missing\n";
            same = false;
        } else if (other->second != kv.value) {
            out << keyName(kv.key) << " (" << kv.key << "): " << kv.value << " -> " << other->second << "\n";
            same = false;
        }
    }
    for (const KeyVal& kv : b) {
        if (seen[kv.key]) continue;
        seen[kv.key] = true;
        out << keyName(kv.key) << " (" << kv.key << "): missing -> " << kv.value << "\n";
        same = false;
    }
    return same;
}

}  // namespace sensorctl

// Parameter files and pair lists.
#include "paramfile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>

#include "keys.h"

namespace sensorhost {

bool readCfg(const std::string& path, std::vector<KeyVal>& set, std::string& error)
{
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        error = path + " is a directory, not a parameter file";
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) {
        error = "cannot read " + path;
        return false;
    }
    if (bytes.size() % sizeof(KeyVal) != 0) {
        error = path + ": " + std::to_string(bytes.size()) + " bytes is not a whole number of 8-byte entries";
        return false;
    }
    set.resize(bytes.size() / sizeof(KeyVal));
    if (!set.empty()) std::memcpy(set.data(), bytes.data(), bytes.size());
    return true;
}

bool writeCfg(const std::string& path, const std::vector<KeyVal>& set, std::string& error)
{
    errno = 0;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(set.data()), static_cast<std::streamsize>(set.size() * sizeof(KeyVal)));
    out.close();
    if (!out) {
        error = "cannot write " + path + (errno != 0 ? std::string(": ") + std::strerror(errno) : "");
        return false;
    }
    return true;
}

bool parsePairs(const std::string& text, std::vector<KeyVal>& set, std::string& error)
{
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t comma = text.find(',', pos);
        const std::size_t close = text.find(')', pos);
        int key = 0;
        int value = 0;
        std::string keyError;
        if (text[pos] != '(' || comma == std::string::npos || close == std::string::npos || comma > close ||
            !parseNumber(text.substr(comma + 1, close - comma - 1), value)) {
            error = "bad pair at character " + std::to_string(pos + 1) + " (expected (KEY,VALUE))";
            return false;
        }
        if (!findKey(text.substr(pos + 1, comma - pos - 1), key, keyError) || key < 0) {
            error = keyError.empty() ? "bad key at character " + std::to_string(pos + 2) : keyError;
            return false;
        }
        for (const KeyVal& kv : set) {
            if (static_cast<int>(kv.key) == key) {
                error = keyLabel(static_cast<std::uint32_t>(key)) + " is given twice";
                return false;
            }
        }
        set.push_back(KeyVal{static_cast<u32>(key), static_cast<s32>(value)});
        pos = close + 1;
    }
    if (set.empty()) {
        error = "no pairs";
        return false;
    }
    return true;
}

std::string formatPairs(const std::vector<KeyVal>& set)
{
    std::string text;
    for (const KeyVal& kv : set) text += "(" + std::to_string(kv.key) + "," + std::to_string(kv.value) + ")";
    return text;
}

bool setEntry(std::vector<KeyVal>& set, int key, int value)
{
    for (KeyVal& kv : set) {
        if (static_cast<int>(kv.key) == key) {
            kv.value = value;
            return true;
        }
    }
    return false;
}

void dumpCfg(const std::vector<KeyVal>& set, std::ostream& out)
{
    for (const KeyVal& kv : set) out << keyName(kv.key) << " (" << kv.key << ") = " << kv.value << "\n";
}

nlohmann::json entriesJson(const std::vector<KeyVal>& set)
{
    nlohmann::json out = nlohmann::json::array();
    for (const KeyVal& kv : set) {
        const std::string name = keyName(kv.key);
        out.push_back({{"key", kv.key},
                       {"name", name == "unknown" ? nlohmann::json(nullptr) : nlohmann::json(name)},
                       {"value", kv.value}});
    }
    return out;
}

std::size_t unknownKeys(const std::vector<KeyVal>& set)
{
    std::size_t unknown = 0;
    for (const KeyVal& kv : set) unknown += keyName(kv.key) == "unknown" ? 1 : 0;
    return unknown;
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

}  // namespace sensorhost

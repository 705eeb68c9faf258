// Parameter keys by number or by name.
#include "keys.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "embedded.h"

namespace sensorhost {

namespace {

std::string upper(std::string text)
{
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::size_t distance(const std::string& a, const std::string& b)
{
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t up = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = up;
        }
    }
    return row[b.size()];
}

}  // namespace

bool parseNumber(const std::string& text, int& value)
{
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0' || errno == ERANGE || parsed < INT_MIN || parsed > INT_MAX) return false;
    value = static_cast<int>(parsed);
    return true;
}

std::string keyName(std::uint32_t key)
{
    for (const KeyName& entry : keyNames()) {
        if (entry.key == key) return entry.name;
    }
    return "unknown";
}

std::string keyLabel(std::uint32_t key)
{
    const std::string name = keyName(key);
    return name == "unknown" ? "key " + std::to_string(key) : name + " (" + std::to_string(key) + ")";
}

bool parseKeyExact(const std::string& text, int& key)
{
    if (parseNumber(text, key)) return true;
    for (const KeyName& entry : keyNames()) {
        if (text == entry.name) {
            key = static_cast<int>(entry.key);
            return true;
        }
    }
    return false;
}

bool findKey(const std::string& text, int& key, std::string& error)
{
    if (parseNumber(text, key)) return true;
    const std::string wanted = upper(text);
    std::vector<std::string> names;
    for (const KeyName& entry : keyNames()) {
        if (wanted == entry.name || "KEY_" + wanted == entry.name) {
            key = static_cast<int>(entry.key);
            return true;
        }
        names.push_back(entry.name);
    }
    error = "unknown key '" + text + "'";
    const std::string hint = nearest(wanted.rfind("KEY_", 0) == 0 ? wanted : "KEY_" + wanted, names);
    if (!hint.empty()) error += "; did you mean " + hint + "?";
    return false;
}

std::string commandName(std::uint32_t cmd)
{
    for (const KeyName& entry : keyNames()) {
        if (entry.cmd == cmd) return entry.name;
    }
    for (const CommandName& entry : commandNames()) {
        if (entry.cmd == cmd) return entry.name;
    }
    return "-";
}

std::string optionName(std::uint32_t option)
{
    static const char* const names[] = {"set", "get", "range", "correct", "status"};
    return option < sizeof(names) / sizeof(names[0]) ? names[option] : std::to_string(option);
}

std::string nearest(const std::string& word, const std::vector<std::string>& candidates)
{
    const std::string wanted = upper(word);
    std::string best;
    std::size_t bestDistance = std::max<std::size_t>(2, wanted.size() / 4) + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t d = distance(wanted, upper(candidate));
        if (d < bestDistance) {
            bestDistance = d;
            best = candidate;
        }
    }
    return best;
}

}  // namespace sensorhost

// Parameter keys by number or by name: exact lookup for scripts, forgiving lookup with a hint for people.
#ifndef SENSORHOST_KEYS_H
#define SENSORHOST_KEYS_H

#include <cstdint>
#include <string>
#include <vector>

namespace sensorhost {

// A whole decimal number that fits an int; nothing else around it.
bool parseNumber(const std::string& text, int& value);

// The table's name of a key, or "unknown".
std::string keyName(std::uint32_t key);
// "KEY_BRIGHTNESS (34)", or "key 99999" for a key the table does not know.
std::string keyLabel(std::uint32_t key);
// The script language's form: a number, or a name exactly as the table spells it.
bool parseKeyExact(const std::string& text, int& key);
// People's form: a number, or a name in any case with or without "KEY_". On
// failure `error` says so, with the nearest name when one is close.
bool findKey(const std::string& text, int& key, std::string& error);

// A library command as the key that sends it or the library's own name, or "-".
std::string commandName(std::uint32_t cmd);
// "set", "get", "range", "correct", "status", or the number.
std::string optionName(std::uint32_t option);

// The candidate closest to `word` (case ignored) when it is close enough to be
// a slip of the fingers, else "".
std::string nearest(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace sensorhost

#endif

// Parameter files (a scheme's set as the module saves it: KeyVal records, 8 bytes each) and pair lists.
#ifndef SENSORHOST_PARAMFILE_H
#define SENSORHOST_PARAMFILE_H

#include <nlohmann/json_fwd.hpp>

#include <ostream>
#include <string>
#include <vector>

#include "ISensorController.h"

namespace sensorhost {

bool readCfg(const std::string& path, std::vector<KeyVal>& set, std::string& error);
// Every failure to write, the last buffered bytes included, is an error.
bool writeCfg(const std::string& path, const std::vector<KeyVal>& set, std::string& error);
// "(KEY,VALUE)(KEY,VALUE)..." with nothing else in between; keys as numbers or
// as names (any case). A key given twice is refused: only its first value would count.
bool parsePairs(const std::string& text, std::vector<KeyVal>& set, std::string& error);
// The module's pair-list text for `set`.
std::string formatPairs(const std::vector<KeyVal>& set);
// Changes the entry the module reads for `key` (its first); false when the set has none.
bool setEntry(std::vector<KeyVal>& set, int key, int value);

void dumpCfg(const std::vector<KeyVal>& set, std::ostream& out);
// [{"key": 34, "name": "KEY_BRIGHTNESS", "value": 60}, ...]; name is null for a key the table does not know.
nlohmann::json entriesJson(const std::vector<KeyVal>& set);
// How many entries have a key the key-command table does not know.
std::size_t unknownKeys(const std::vector<KeyVal>& set);
// Lines for the keys whose values differ or that only one file holds; true when there are none.
bool diffCfg(const std::vector<KeyVal>& a, const std::vector<KeyVal>& b, std::ostream& out);

}  // namespace sensorhost

#endif

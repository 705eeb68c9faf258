// The controls table and the parameter-file tools of sensorctl.
#ifndef SENSORCTL_CONTROLS_H
#define SENSORCTL_CONTROLS_H

#include <ostream>
#include <string>
#include <vector>

#include "ISensorController.h"

namespace sensorctl {

// Every parameter of the channel's dynamic style, one per line: key, name,
// title, current value, default, and the range or the choices.
bool printControls(ISensorController& controller, std::ostream& out, std::string& error);

// Parameter files: the set's KeyVal records, 8 bytes each.
bool readCfg(const std::string& path, std::vector<KeyVal>& set, std::string& error);
// "(key,value)(key,value)..." with nothing else in between.
bool parsePairs(const std::string& text, std::vector<KeyVal>& set, std::string& error);
bool writeCfg(const std::string& path, const std::vector<KeyVal>& set, std::string& error);
void dumpCfg(const std::vector<KeyVal>& set, std::ostream& out);
// Lines for the keys whose values differ or that only one file holds; true when there are none.
bool diffCfg(const std::vector<KeyVal>& a, const std::vector<KeyVal>& b, std::ostream& out);

}  // namespace sensorctl

#endif

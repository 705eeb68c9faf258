// The script language of sensorctl: one host operation per line, one result per line.
#ifndef SENSORCTL_SCRIPT_H
#define SENSORCTL_SCRIPT_H

#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "camera.h"

namespace sensorctl {

// A key written as its number or as its name in the key-command table.
bool parseKey(const std::string& text, int& key);
// The table's name of a key, or "unknown".
std::string keyName(std::uint32_t key);

class Script {
public:
    Script(Channel& channel, std::ostream& out) : channel_(channel), out_(out) {}

    // Runs one line; blank lines and comments do nothing. False after an error
    // line ("error: ..." printed).
    bool run(const std::string& line);
    // Runs every line of `in`; the exit status: 1 when any line was an error.
    int runAll(std::istream& in);
    // The library calls and notifications printed by "isp calls" and
    // "video calls" start after this point.
    void markCalls();

    static const std::vector<std::string>& commandNames();

private:
    bool dispatch(const std::vector<std::string>& words);
    bool fail(const std::string& reason);

    Channel& channel_;
    std::ostream& out_;
    std::size_t videoSeen_ = 0;
};

}  // namespace sensorctl

#endif

// What sensorctl carries inside its binary: the bundled cameras and the key names.
#ifndef SENSORCTL_EMBEDDED_H
#define SENSORCTL_EMBEDDED_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sensorctl {

struct EmbeddedFile {
    const char* path;  // relative to profiles/, e.g. "bullet/sim.ini"
    const unsigned char* data;
    std::size_t size;
};

struct KeyName {
    std::uint32_t key;
    const char* name;  // the enumerator's full name
};

const std::vector<EmbeddedFile>& embeddedProfiles();
// The rows of the module's key-command table, in table order.
const std::vector<KeyName>& keyNames();

}  // namespace sensorctl

#endif

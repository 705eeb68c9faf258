// What the host side carries inside its binaries: the bundled cameras, the page, the key names and the library's command names.
#ifndef SENSORHOST_EMBEDDED_H
#define SENSORHOST_EMBEDDED_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sensorhost {

struct EmbeddedFile {
    const char* path;  // relative to profiles/ or web/, e.g. "bullet/sim.ini"
    const unsigned char* data;
    std::size_t size;
};

struct KeyName {
    std::uint32_t key;
    std::uint32_t cmd;  // the library command the key's row sends, 0 for none
    const char* name;   // the enumerator's full name
};

struct CommandName {
    std::uint32_t cmd;
    const char* name;  // the library header's enumerator, e.g. "IA_CMD_DN_STATE"
};

const std::vector<EmbeddedFile>& embeddedProfiles();
// The image settings page (web/), by file name.
const std::vector<EmbeddedFile>& embeddedWeb();
// The rows of the module's key-command table, in table order.
const std::vector<KeyName>& keyNames();
const std::vector<CommandName>& commandNames();

}  // namespace sensorhost

#endif

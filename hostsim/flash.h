// Inside the simulated host: the flash model's hooks, called by the file class, the shell and the logger.
#ifndef HOSTSIM_FLASH_H
#define HOSTSIM_FLASH_H

#include <cstddef>
#include <string>
#include <vector>

namespace hostsim {
namespace detail {

// Paths are real (mapped) paths; paths off the flash (/tmp, /hd1) are ignored.
bool atomicCommit();
// The temporary a replacement is written to, beside its file; no name the
// module uses ends like this, and no glob of its delete commands matches it.
std::string temporaryOf(const std::string& path);
// Before a file is opened for writing: a missing file is created, an existing
// one emptied when `truncate`.
void flashOpen(const std::string& path, bool truncate);
// The numbered steps.
void flashWrite(const std::string& path, std::size_t offset, const std::string& bytes);
void flashSync(const std::string& path);
void flashRename(const std::string& from, const std::string& to);
void flashSyncDir(const std::string& dir);
void flashUnlink(const std::string& path);
// The files on the flash now, sorted: the shell looks before a command runs
// to learn which files it deleted.
std::vector<std::string> flashFiles();
// A write outside the model (the error log) that still wears the flash.
void countFlashWrite(const std::string& path);
// The host starts: the model forgets (what is on the flash is durable) and
// temporaries left by a cut are removed.
void startFlash();
// Everything back to its initial state: atomic commits, no cut.
void resetFlash();

}  // namespace detail
}  // namespace hostsim

#endif

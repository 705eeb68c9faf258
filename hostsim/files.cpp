// Simulated camera file system: the root every absolute path lands under, the full-disk and open-fault switches, and PLFile.
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "PLFile.h"
#include "flash.h"
#include "hostsim.h"

namespace hostsim {
namespace detail {
std::string normalisePath(const std::string& path);
bool openFaulted(const char* modulePath, int fault);
}  // namespace detail

namespace {

// The module reaches files from its sensor threads and the host's threads at
// once, so the root is read under a lock and copied out.
struct RootState {
    std::mutex mutex;
    std::string root;
    RootState()
    {
        const char* env = ::getenv("SENSOR_ROOT");
        root = trimmedRoot(env != nullptr ? env : "");
    }
    static std::string trimmedRoot(std::string r)
    {
        while (r.size() > 1 && r.back() == '/') r.pop_back();
        // "/" as root is the real file system.
        return r == "/" ? std::string() : r;
    }
};

RootState& rootState()
{
    static RootState state;
    return state;
}

// Remaining simulated free space in bytes; negative is a disk that never fills.
std::atomic<std::int64_t> g_diskSpace{-1};

std::mutex g_faultMutex;
std::map<std::string, int> g_openFaults;  // normalised module path -> OpenFault bits

// Takes up to `wanted` bytes of the simulated free space; answers how many may be written.
std::int64_t reserveSpace(std::int64_t wanted)
{
    std::int64_t space = g_diskSpace.load();
    for (;;) {
        if (space < 0) return wanted;
        std::int64_t granted = space < wanted ? space : wanted;
        if (g_diskSpace.compare_exchange_weak(space, space - granted)) return granted;
    }
}

// Hands back space reserved for bytes the file did not take after all.
void returnSpace(std::int64_t bytes)
{
    if (bytes <= 0) return;
    std::int64_t space = g_diskSpace.load();
    while (space >= 0 && !g_diskSpace.compare_exchange_weak(space, space + bytes)) {
    }
}

// One line from the stream; false only at the end of the file with nothing read.
bool readLine(FILE* file, std::string& line)
{
    line.clear();
    int c;
    bool any = false;
    while ((c = getc(file)) != EOF) {
        any = true;
        if (c == '\n') break;
        line.push_back(static_cast<char>(c));
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return any;
}

std::string parentOf(const std::string& path) { return path.substr(0, path.find_last_of('/')); }

// Where fopen could create or rewrite the file: an existing file that is not a
// directory, else a directory we may write into.
bool writablePlace(const std::string& path)
{
    struct stat st;
    if (::stat(path.c_str(), &st) == 0) return !S_ISDIR(st.st_mode) && ::access(path.c_str(), W_OK) == 0;
    const std::string dir = parentOf(path);
    return ::stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && ::access(dir.c_str(), W_OK | X_OK) == 0;
}

bool readWhole(const std::string& path, std::string& bytes)
{
    FILE* file = fopen(path.c_str(), "rb");
    if (file == NULL) return false;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), file)) > 0) bytes.append(buffer, n);
    const bool ok = ferror(file) == 0;
    fclose(file);
    return ok;
}

// Replaces a file whole, so that a power cut leaves the old or the new bytes:
// the new ones go to a temporary beside it, which is synced and renamed over
// the file, and the directory is synced to make the rename stay. Bytes the
// file already holds are not written again: flash wears with every write.
// Under a root the flash model stands in for the syncs; the development
// machine's own disk would only make every save cost milliseconds.
void replaceFile(const std::string& path, const std::string& bytes)
{
    std::string current;
    if (readWhole(path, current) && current == bytes) return;
    const bool realDisk = root().empty();
    const std::string temporary = detail::temporaryOf(path);
    detail::flashOpen(temporary, true);
    FILE* file = fopen(temporary.c_str(), "wb");
    if (file == NULL) return;
    detail::flashWrite(temporary, 0, bytes);
    bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && fflush(file) == 0;
    detail::flashSync(temporary);
    if (realDisk) written = written && fsync(fileno(file)) == 0;
    fclose(file);
    detail::flashRename(temporary, path);
    if (!written || ::rename(temporary.c_str(), path.c_str()) != 0) {
        ::remove(temporary.c_str());
        return;
    }
    const std::string dir = parentOf(path);
    detail::flashSyncDir(dir);
    if (realDisk) {
        const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY);
        if (fd >= 0) {
            fsync(fd);
            ::close(fd);
        }
    }
}

}  // namespace

namespace detail {

// "/a/./b/../c" -> "/a/c"; ".." at the top stays at the top, so no module
// path can climb out of the root. Relative paths are left alone.
std::string normalisePath(const std::string& path)
{
    if (path.empty() || path[0] != '/') return path;
    std::vector<std::string> names;
    std::size_t pos = 0;
    while (pos <= path.size()) {
        std::size_t next = path.find('/', pos);
        if (next == std::string::npos) next = path.size();
        std::string name = path.substr(pos, next - pos);
        if (name == "..") {
            if (!names.empty()) names.pop_back();
        } else if (!name.empty() && name != ".") {
            names.push_back(name);
        }
        pos = next + 1;
    }
    std::string out;
    for (const std::string& name : names) out += "/" + name;
    return out.empty() ? "/" : out;
}

bool openFaulted(const char* modulePath, int fault)
{
    std::lock_guard<std::mutex> lock(g_faultMutex);
    if (g_openFaults.empty()) return false;
    auto it = g_openFaults.find(normalisePath(modulePath));
    return it != g_openFaults.end() && (it->second & fault) != 0;
}

}  // namespace detail

void setRoot(const std::string& root)
{
    {
        RootState& state = rootState();
        std::lock_guard<std::mutex> lock(state.mutex);
        state.root = RootState::trimmedRoot(root);
    }
    // The camera under the new root starts up.
    detail::startFlash();
}

std::string root()
{
    RootState& state = rootState();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.root;
}

std::string mapPath(const std::string& path)
{
    if (path.empty() || path[0] != '/') return path;
    std::string r = root();
    if (r.empty()) return path;
    std::string normal = detail::normalisePath(path);
    return normal == "/" ? r : r + normal;
}

void setDiskSpace(std::int64_t bytes) { g_diskSpace.store(bytes < 0 ? -1 : bytes); }

std::int64_t diskSpace() { return g_diskSpace.load(); }

void setOpenFault(const std::string& modulePath, int faults)
{
    std::lock_guard<std::mutex> lock(g_faultMutex);
    std::string key = detail::normalisePath(modulePath);
    if (faults == 0) {
        g_openFaults.erase(key);
    } else {
        g_openFaults[key] = faults;
    }
}

void clearOpenFaults()
{
    std::lock_guard<std::mutex> lock(g_faultMutex);
    g_openFaults.clear();
}

}  // namespace hostsim

// A file opened for writing: where it lies and, for a file replaced whole at
// close, the bytes written so far.
struct PLFile::Writer {
    std::string strPath;
    bool bReplace;
    bool bRefused;  // a write fell short (the flash is full): the file keeps its old bytes
    std::string strBytes;
};

PLFile::PLFile() : m_pFile(NULL), m_pWriter(NULL) {}

PLFile::~PLFile() { close(); }

bool PLFile::open(const char* p_szName, unsigned int p_nMode)
{
    close();
    if (p_szName == NULL || *p_szName == '\0') return false;

    const bool bWrite = (p_nMode & (modeWrite | modeAppend)) != 0;
    const bool bRead = (p_nMode & modeRead) != 0;
    if (!bWrite && !bRead) return false;
    if ((bRead && hostsim::detail::openFaulted(p_szName, hostsim::kFailRead)) ||
        (bWrite && hostsim::detail::openFaulted(p_szName, hostsim::kFailWrite))) {
        return false;
    }

    const std::string strPath = hostsim::mapPath(p_szName);
    const bool bTruncate = (p_nMode & modeWrite) != 0 && (p_nMode & modeTruncate) != 0 && (p_nMode & modeAppend) == 0;
    if (bWrite) {
        if (!hostsim::writablePlace(strPath)) return false;
        // A whole-file write (the module's only kind) is kept until close and
        // then replaces the file in one piece.
        const bool bReplace = bTruncate && !bRead && hostsim::detail::atomicCommit();
        m_pWriter = new Writer{strPath, bReplace, false, std::string()};
        if (bReplace) return true;
        hostsim::detail::flashOpen(strPath, bTruncate);
    }
    if ((p_nMode & modeAppend) != 0) {
        m_pFile = fopen(strPath.c_str(), bRead ? "a+b" : "ab");
    } else if (bTruncate) {
        m_pFile = fopen(strPath.c_str(), bRead ? "w+b" : "wb");
    } else if ((p_nMode & modeWrite) != 0) {
        // Rewriting in place keeps what lies beyond the new bytes; only a
        // missing file is created.
        m_pFile = fopen(strPath.c_str(), "r+b");
        if (m_pFile == NULL && errno == ENOENT) {
            m_pFile = fopen(strPath.c_str(), "w+b");
        }
    } else {
        m_pFile = fopen(strPath.c_str(), "rb");
    }
    if (m_pFile == NULL) close();
    return m_pFile != NULL;
}

bool PLFile::isOpen() const { return m_pFile != NULL || m_pWriter != NULL; }

int PLFile::read(char* p_pBuffer, unsigned int p_nLength)
{
    if (m_pFile == NULL) return -1;
    if (p_nLength == 0) return 0;
    if (p_pBuffer == NULL) return -1;
    return static_cast<int>(fread(p_pBuffer, 1, p_nLength, m_pFile));
}

int PLFile::write(char* p_pBuffer, unsigned int p_nLength)
{
    if (!isOpen()) return -1;
    if (p_nLength == 0) return 0;
    if (p_pBuffer == NULL) {
        if (m_pWriter != NULL) m_pWriter->bRefused = true;
        return -1;
    }
    const std::int64_t nGranted = hostsim::reserveSpace(p_nLength);
    if (m_pWriter != NULL && m_pWriter->bReplace) {
        m_pWriter->strBytes.append(p_pBuffer, static_cast<size_t>(nGranted));
        m_pWriter->bRefused = m_pWriter->bRefused || nGranted < p_nLength;
        return static_cast<int>(nGranted);
    }
    size_t nWritten = 0;
    if (nGranted > 0) {
        nWritten = fwrite(p_pBuffer, 1, static_cast<size_t>(nGranted), m_pFile);
        // Readers through other handles (and getLength) see the bytes at once,
        // as they would on the camera's unbuffered flash writes.
        fflush(m_pFile);
        if (m_pWriter != NULL && nWritten > 0) {
            hostsim::detail::flashWrite(m_pWriter->strPath, static_cast<size_t>(ftell(m_pFile)) - nWritten,
                                        std::string(p_pBuffer, nWritten));
        }
    }
    hostsim::returnSpace(nGranted - static_cast<std::int64_t>(nWritten));
    return static_cast<int>(nWritten);
}

INT64 PLFile::getLength()
{
    if (m_pWriter != NULL && m_pWriter->bReplace) return static_cast<INT64>(m_pWriter->strBytes.size());
    if (m_pFile == NULL) return 0;
    fflush(m_pFile);
    struct stat st;
    if (fstat(fileno(m_pFile), &st) != 0) return 0;
    return static_cast<INT64>(st.st_size);
}

std::string PLFile::ReadOneLine()
{
    std::string strLine;
    if (m_pFile != NULL) hostsim::readLine(m_pFile, strLine);
    return strLine;
}

std::vector<std::string> PLFile::ReadLines()
{
    std::vector<std::string> vecLines;
    if (m_pFile == NULL) return vecLines;
    std::string strLine;
    while (hostsim::readLine(m_pFile, strLine)) vecLines.push_back(strLine);
    return vecLines;
}

void PLFile::close()
{
    if (m_pFile != NULL) {
        fclose(m_pFile);
        m_pFile = NULL;
    }
    if (m_pWriter != NULL) {
        if (m_pWriter->bReplace && !m_pWriter->bRefused) hostsim::replaceFile(m_pWriter->strPath, m_pWriter->strBytes);
        delete m_pWriter;
        m_pWriter = NULL;
    }
}

namespace {
std::atomic<std::uint64_t> g_existChecks(0);
}  // namespace

std::uint64_t hostsim::existChecks() { return g_existChecks.load(); }

bool PLFile::isExist(const char* p_szName)
{
    g_existChecks.fetch_add(1, std::memory_order_relaxed);
    if (p_szName == NULL || *p_szName == '\0') return false;
    struct stat st;
    return stat(hostsim::mapPath(p_szName).c_str(), &st) == 0;
}

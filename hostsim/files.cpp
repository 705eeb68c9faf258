// Simulated camera file system: the root every absolute path lands under, the full-disk and open-fault switches, and PLFile.
#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "PLFile.h"
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
    RootState& state = rootState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.root = RootState::trimmedRoot(root);
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

PLFile::PLFile() : m_pFile(NULL) {}

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
    if ((p_nMode & modeAppend) != 0) {
        m_pFile = fopen(strPath.c_str(), bRead ? "a+b" : "ab");
    } else if ((p_nMode & modeWrite) != 0 && (p_nMode & modeTruncate) != 0) {
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
    return m_pFile != NULL;
}

bool PLFile::isOpen() const { return m_pFile != NULL; }

int PLFile::read(char* p_pBuffer, unsigned int p_nLength)
{
    if (m_pFile == NULL) return -1;
    if (p_nLength == 0) return 0;
    if (p_pBuffer == NULL) return -1;
    return static_cast<int>(fread(p_pBuffer, 1, p_nLength, m_pFile));
}

int PLFile::write(char* p_pBuffer, unsigned int p_nLength)
{
    if (m_pFile == NULL) return -1;
    if (p_nLength == 0) return 0;
    if (p_pBuffer == NULL) return -1;
    const std::int64_t nGranted = hostsim::reserveSpace(p_nLength);
    size_t nWritten = 0;
    if (nGranted > 0) {
        nWritten = fwrite(p_pBuffer, 1, static_cast<size_t>(nGranted), m_pFile);
        // Readers through other handles (and getLength) see the bytes at once,
        // as they would on the camera's unbuffered flash writes.
        fflush(m_pFile);
    }
    hostsim::returnSpace(nGranted - static_cast<std::int64_t>(nWritten));
    return static_cast<int>(nWritten);
}

INT64 PLFile::getLength()
{
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

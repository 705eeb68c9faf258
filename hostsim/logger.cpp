// PLLogger on the development machine: appends entries to a log file under the camera root and rotates it by size.
//
// Meaning of the limits given to init(path, maxFileSize, maxBackups):
//  - maxFileSize is the largest size in bytes the live file may reach. Before
//    an entry is appended, a non-empty live file that would grow past it is
//    rotated first, so a fresh file always takes at least one entry. An entry
//    longer than maxFileSize on its own is cut to maxFileSize bytes, its last
//    byte still the line end. 0 means no limit.
//  - maxBackups is the number of rotated copies kept beside the live file:
//    name.1 is the newest, name.<maxBackups> the oldest; rotating drops the
//    oldest. With 0 the live file is simply emptied.
// An entry is one line: the tag, one blank and the text, with "\n" added when
// the text does not end with one.
#include <stdio.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>

#include "PLLogger.h"
#include "flash.h"
#include "hostsim.h"

namespace {

// Every logger of the process writes under this lock: the module opens a
// short-lived logger per report from any thread, and a rotation must not
// interleave with another writer's append.
std::mutex g_logMutex;

long long fileSize(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : 0;
}

void rotate(const std::string& path, unsigned int maxBackups)
{
    if (maxBackups == 0) {
        FILE* file = fopen(path.c_str(), "wb");
        if (file != NULL) fclose(file);
        return;
    }
    std::remove((path + "." + std::to_string(maxBackups)).c_str());
    for (unsigned int i = maxBackups - 1; i >= 1; --i) {
        std::rename((path + "." + std::to_string(i)).c_str(), (path + "." + std::to_string(i + 1)).c_str());
    }
    std::rename(path.c_str(), (path + ".1").c_str());
}

}  // namespace

PLLogger::PLLogger() : m_nMaxFileSize(0), m_nMaxBackups(0), m_bReady(false) {}

PLLogger::~PLLogger() { release(); }

bool PLLogger::init(const char* p_szPath, unsigned int p_nMaxFileSize, unsigned int p_nMaxBackups)
{
    release();
    if (p_szPath == NULL || *p_szPath == '\0') return false;
    std::string strPath = hostsim::mapPath(p_szPath);
    std::filesystem::path parent = std::filesystem::path(strPath).parent_path();
    if (!parent.empty()) {
        std::error_code ec;
        std::filesystem::create_directories(parent, ec);
        if (ec || !std::filesystem::is_directory(parent, ec)) return false;
    }
    m_strPath = strPath;
    m_nMaxFileSize = p_nMaxFileSize;
    m_nMaxBackups = p_nMaxBackups;
    m_bReady = true;
    return true;
}

void PLLogger::write(const char* p_szTag, const char* p_szText)
{
    if (!m_bReady) return;
    std::string strEntry = p_szTag != NULL ? p_szTag : "";
    strEntry += ' ';
    strEntry += p_szText != NULL ? p_szText : "";
    if (strEntry.back() != '\n') strEntry += '\n';
    if (m_nMaxFileSize > 0 && strEntry.size() > m_nMaxFileSize) {
        strEntry.resize(m_nMaxFileSize - 1);
        strEntry += '\n';
    }

    std::lock_guard<std::mutex> lock(g_logMutex);
    long long nSize = fileSize(m_strPath);
    if (m_nMaxFileSize > 0 && nSize > 0 && nSize + static_cast<long long>(strEntry.size()) > m_nMaxFileSize) {
        rotate(m_strPath, m_nMaxBackups);
    }
    FILE* file = fopen(m_strPath.c_str(), "ab");
    if (file == NULL) return;
    fwrite(strEntry.data(), 1, strEntry.size(), file);
    fclose(file);
    hostsim::detail::countFlashWrite(m_strPath);
}

void PLLogger::release()
{
    m_bReady = false;
    m_strPath.clear();
}

// Host log-file writer with size-limited rotation.
#ifndef PLATFORM_PLLOGGER_H
#define PLATFORM_PLLOGGER_H

#include <string>

class PLLogger {
public:
    PLLogger();
    ~PLLogger();

    // p_nMaxFileSize: largest size in bytes of the live file; p_nMaxBackups:
    // number of rotated copies kept beside it (name.1 is the newest).
    bool init(const char* p_szPath, unsigned int p_nMaxFileSize, unsigned int p_nMaxBackups);
    // Appends one entry: the tag, a blank and the text, ending with a line end.
    void write(const char* p_szTag, const char* p_szText);
    void release();

private:
    PLLogger(const PLLogger&);
    PLLogger& operator=(const PLLogger&);

    std::string m_strPath;
    unsigned int m_nMaxFileSize;
    unsigned int m_nMaxBackups;
    bool m_bReady;
};

#endif

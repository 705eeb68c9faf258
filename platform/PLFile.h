// Host file access: every file the module reads or writes goes through this class.
#ifndef PLATFORM_PLFILE_H
#define PLATFORM_PLFILE_H

#include <stdio.h>
#include <string>
#include <vector>

#include "PLTypes.h"

class PLFile {
public:
    enum {
        modeRead = 1,
        modeWrite = 2,
        modeAppend = 4,
        modeCreate = 8,
        modeTruncate = 64,
    };

    PLFile();
    ~PLFile();

    // modeRead opens an existing file; modeWrite creates a missing file and,
    // with modeTruncate, empties an existing one. A file written with
    // modeWrite | modeTruncate is replaced whole when it is closed: a power
    // cut leaves either its old bytes or all the new ones, never a mix, and
    // bytes equal to the file's own are not written again.
    bool open(const char* p_szName, unsigned int p_nMode = modeRead);
    bool isOpen() const;
    int read(char* p_pBuffer, unsigned int p_nLength);
    int write(char* p_pBuffer, unsigned int p_nLength);
    // Size in bytes of the open file; 0 when nothing is open.
    INT64 getLength();
    // Next line without its line end; the empty text at the end of the file.
    std::string ReadOneLine();
    // All remaining lines, without their line ends.
    std::vector<std::string> ReadLines();
    void close();

    static bool isExist(const char* p_szName);

private:
    PLFile(const PLFile&);
    PLFile& operator=(const PLFile&);

    // The host's own record of a file opened for writing.
    struct Writer;

    FILE* m_pFile;
    Writer* m_pWriter;
};

#endif

// File layer: whole-file reads and writes through the host's PLFile, parameter files and the version file.
#include "SensorFile.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include "PLFile.h"
#include "SensorUtil.h"
#include "SensorXml.h"
#include "StringHandler.h"
#include "sensor.h"

INT64 getFileLen(const char* file_name)
{
    PLFile file;
    SENSOR_CHECK(file.open(file_name), "file_name(%s)", file_name);
    return file.getLength();
}

int loadFromFile(const char* file_name, char* data, INT64 file_len)
{
    SENSOR_DBG("open file:%s\n", file_name);
    PLFile file;
    if (!file.open(file_name, PLFile::modeRead)) {
        return -1;
    }
    int nSize = file.read(data, (unsigned int)file_len);
    if (nSize != file_len) {
        return -1;
    }
    file.close();
    return nSize;
}

int saveToFile(char* file_name, char* data, INT64 file_len)
{
    PLFile file;
    SENSOR_CHECK(file.open(file_name, PLFile::modeWrite | PLFile::modeTruncate), "file_name(%s)\n", file_name);
    int nSize = 0;
    SENSOR_CHECK(file_len == (nSize=file.write(data, file_len)), "file_len(%d)\n", (int)file_len);
    file.close();
    return nSize;
}

int keyValToFile(char* file_name, KeyVal* p_pKeyVal, u32 p_nKeyValSum)
{
    PLFile file;
    SENSOR_CHECK(file.open(file_name, PLFile::modeWrite | PLFile::modeTruncate), "file_name(%s)\n", file_name);
    // The file is the set's memory image: the target is little-endian, like the files.
    u32 nSize = (u32)file.write((char*)p_pKeyVal, sizeof(KeyVal) * p_nKeyValSum);
    SENSOR_CHECK(nSize == sizeof(KeyVal)*p_nKeyValSum, "nSize(%d) sizeof(KeyVal) = %d, p_nKeyValNum(%d)\n", nSize,
                 (int)sizeof(KeyVal), p_nKeyValSum);
    file.close();
    return SNS_SUCCESS;
}

int keyValFromFile(char* file_name, KeyVal* p_pKeyVal, u32 p_nKeyValNum)
{
    PLFile file;
    SENSOR_CHECK(file.open(file_name), "file_name(%s)\n", file_name);
    // Entries past a short read keep what the caller put there.
    u32 nSize = (u32)file.read((char*)p_pKeyVal, sizeof(KeyVal) * p_nKeyValNum);
    SENSOR_CHECK(nSize == sizeof(KeyVal)*p_nKeyValNum, "file_name(%s) nSize(%d) sizeof(KeyVal) = %d, p_nKeyValNum(%d)\n",
                 file_name, nSize, (int)sizeof(KeyVal), p_nKeyValNum);
    file.close();
    return SNS_SUCCESS;
}

int getVersion(u32* p_pnVersion)
{
    int nRet = loadFromFile(SENSOR_VERSION_FILE, (char*)p_pnVersion, sizeof(u32));
    return nRet < 1 ? -1 : 0;
}

int setVersion(u32 p_nVersion)
{
    char szFile[] = SENSOR_VERSION_FILE;
    int nRet = saveToFile(szFile, (char*)&p_nVersion, sizeof(u32));
    return nRet < 1 ? -1 : 0;
}

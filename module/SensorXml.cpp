// Style documents parsed from and printed into memory, with their file access through PLFile.
#include "SensorXml.h"

#include <stdio.h>
#include <stdlib.h>

#include "PLFile.h"

// Style files are a few hundred kilobytes at most; anything far larger is not a style.
#define SENSOR_XML_FILE_MAX (16 * 1024 * 1024)

bool SensorXmlDocument::LoadMem(const char* p_szText, TiXmlEncoding p_eEncoding)
{
    Clear();
    ClearError();
    Parse(p_szText != NULL ? p_szText : "", 0, p_eEncoding);
    return !Error();
}

bool SensorXmlDocument::LoadFile(const char* p_szFileName, TiXmlEncoding p_eEncoding)
{
    Clear();
    PLFile objFile;
    if (!objFile.open(p_szFileName, PLFile::modeRead)) {
        return false;
    }
    INT64 nLen = objFile.getLength();
    if (nLen < 0 || nLen > SENSOR_XML_FILE_MAX) {
        return false;
    }
    std::string strText((size_t)nLen, '\0');
    int nRead = nLen > 0 ? objFile.read(&strText[0], (unsigned int)nLen) : 0;
    if (nRead != nLen) {
        return false;
    }
    return LoadMem(strText.c_str(), p_eEncoding);
}

std::string SensorXmlDocument::PrintToString() const
{
    std::string strOut;
    char* pBuf = NULL;
    size_t nSize = 0;
    FILE* pStream = open_memstream(&pBuf, &nSize);
    if (pStream == NULL) {
        return strOut;
    }
    // SaveFile(FILE*) is not const in TinyXML although it only prints.
    const_cast<SensorXmlDocument*>(this)->TiXmlDocument::SaveFile(pStream);
    fclose(pStream);
    if (pBuf != NULL) {
        strOut.assign(pBuf, nSize);
        free(pBuf);
    }
    return strOut;
}

bool SensorXmlDocument::SaveFile(const char* p_szFileName) const
{
    std::string strText = PrintToString();
    PLFile objFile;
    if (!objFile.open(p_szFileName, PLFile::modeWrite | PLFile::modeTruncate)) {
        return false;
    }
    int nWritten = objFile.write(&strText[0], (unsigned int)strText.size());
    objFile.close();
    return nWritten == (int)strText.size();
}

// Style documents parsed from and printed into memory, with their file access through PLFile.
#include "SensorXml.h"

#include <stdio.h>
#include <stdlib.h>

#include "PLFile.h"

bool SensorXmlDocument::LoadMem(const char* p_szText, TiXmlEncoding p_eEncoding)
{
    Clear();
    ClearError();
    Parse(p_szText != NULL ? p_szText : "", 0, p_eEncoding);
    return !Error();
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

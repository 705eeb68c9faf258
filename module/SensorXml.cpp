// Style documents parsed from and printed into memory, with their file access through PLFile.
#include "SensorXml.h"

#include <stdio.h>
#include <stdlib.h>

#include "PLFile.h"

// TinyXML steps over a UTF-8 character by the length its lead byte announces,
// even when the text ends inside the character: a style cut after a lead byte
// would send the parser past the terminator into whatever memory follows.
// Parsing a copy that ends in this many NUL bytes keeps every such step on a
// NUL, where the parser stops.
#define SENSOR_XML_NUL_TAIL 8

bool SensorXmlDocument::LoadMem(const char* p_szText, TiXmlEncoding p_eEncoding)
{
    Clear();
    ClearError();
    std::string strText(p_szText != NULL ? p_szText : "");
    strText.append(SENSOR_XML_NUL_TAIL, '\0');
    Parse(strText.c_str(), 0, p_eEncoding);
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

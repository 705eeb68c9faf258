// Internal: the style documents as TinyXML documents that load and save through the host's files.
#ifndef MODULE_SENSORXML_H
#define MODULE_SENSORXML_H

#include <tinyxml.h>

#include <string>

// TinyXML never opens a file itself on the camera: every byte goes through
// PLFile, so documents are parsed from memory and printed into memory.
class SensorXmlDocument : public TiXmlDocument {
public:
    SensorXmlDocument() : m_bMayKeepBom(false) {}

    // Parses a NUL-terminated text; a null text parses as the empty text.
    bool LoadMem(const char* p_szText, TiXmlEncoding p_eEncoding);
    // Writes exactly what TinyXML prints to a file, through the host's PLFile.
    bool SaveFile(const char* p_szFileName) const;
    // The document as TinyXML prints it to a file.
    std::string PrintToString() const;

private:
    // TinyXML remembers a UTF-8 byte order mark only when it parses with the
    // encoding unknown, and then prints the mark first; such a document is
    // printed by TinyXML itself.
    bool m_bMayKeepBom;
};

#endif

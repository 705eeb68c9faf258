// Style documents parsed from and printed into memory, with their file access through PLFile.
#include "SensorXml.h"

#include <stdio.h>
#include <stdlib.h>

#include <vector>

#include "PLFile.h"

// TinyXML steps over a UTF-8 character by the length its lead byte announces,
// even when the text ends inside the character: a style cut after a lead byte
// would send the parser past the terminator into whatever memory follows.
// Parsing a copy that ends in this many NUL bytes keeps every such step on a
// NUL, where the parser stops.
#define SENSOR_XML_NUL_TAIL 8

bool SensorXmlDocument::LoadMem(const char* p_szText, TiXmlEncoding p_eEncoding)
{
    m_bMayKeepBom = (TIXML_ENCODING_UNKNOWN == p_eEncoding);
    Clear();
    ClearError();
    std::string strText(p_szText != NULL ? p_szText : "");
    strText.append(SENSOR_XML_NUL_TAIL, '\0');
    Parse(strText.c_str(), 0, p_eEncoding);
    return !Error();
}

namespace {

// The dynamic style is printed at every request of the user interface and the
// merged style at every start-up, and both must be exactly what TinyXML prints
// to a file. TinyXML prints to a file with one fprintf per token, which costs
// more than the whole rewrite of the style; the printer below lays the
// document out as TinyXML 2.6.2 does (TiXmlDocument::SaveFile(FILE*)) straight
// into a string. Another TinyXML release is printed by TinyXML itself.
const bool SENSOR_XML_KNOWN_LAYOUT = 2 == TIXML_MAJOR_VERSION && 6 == TIXML_MINOR_VERSION && 2 == TIXML_PATCH_VERSION;

// Bytes that TinyXML's entity encoding leaves as they are, asked of the library
// itself once. "&" is never plain: whether it is escaped depends on what follows.
struct SensorXmlPlainBytes {
    bool abPlain[256];

    SensorXmlPlainBytes()
    {
        abPlain[0] = false;
        for (int c = 1; c < 256; ++c) {
            const std::string strOne(1, (char)c);
            std::string strEncoded;
            TiXmlBase::EncodeString(strOne, &strEncoded);
            abPlain[c] = ('&' != c && strEncoded == strOne);
        }
    }
};

const SensorXmlPlainBytes& plainBytes()
{
    static const SensorXmlPlainBytes s_stPlain;
    return s_stPlain;
}

// fprintf's "%s": the text up to its first NUL.
void appendText(std::string& p_strOut, const char* p_szText)
{
    p_strOut.append(p_szText);
}

// EncodeString of the text, printed with "%s".
void appendEncoded(std::string& p_strOut, const std::string& p_strText)
{
    const SensorXmlPlainBytes& stPlain = plainBytes();
    for (size_t i = 0; i < p_strText.size(); ++i) {
        if (!stPlain.abPlain[(unsigned char)p_strText[i]]) {
            std::string strEncoded;
            TiXmlBase::EncodeString(p_strText, &strEncoded);
            appendText(p_strOut, strEncoded.c_str());
            return;
        }
    }
    p_strOut.append(p_strText);
}

void appendIndent(std::string& p_strOut, int p_nDepth)
{
    for (int i = 0; i < p_nDepth; ++i) {
        p_strOut.append("    ", 4);
    }
}

// An element's opening tag with its attributes. True when the element is
// closed too (no children, or a single text child printed in line).
bool printOpening(const TiXmlElement& p_objElement, int p_nDepth, std::string& p_strOut);

// A node that is not an element; false for a node TinyXML would not print
// as one of these (the printer then leaves the document to TinyXML).
bool printLeaf(const TiXmlNode& p_objNode, int p_nDepth, std::string& p_strOut)
{
    switch (p_objNode.Type()) {
    case TiXmlNode::TINYXML_TEXT: {
        const TiXmlText& objText = *p_objNode.ToText();
        if (objText.CDATA()) {
            p_strOut += '\n';
            appendIndent(p_strOut, p_nDepth);
            p_strOut.append("<![CDATA[");
            appendText(p_strOut, objText.Value());
            p_strOut.append("]]>\n");
        } else {
            appendEncoded(p_strOut, objText.ValueStr());
        }
        return true;
    }
    case TiXmlNode::TINYXML_COMMENT:
        appendIndent(p_strOut, p_nDepth);
        p_strOut.append("<!--");
        appendText(p_strOut, p_objNode.Value());
        p_strOut.append("-->");
        return true;
    case TiXmlNode::TINYXML_UNKNOWN:
        appendIndent(p_strOut, p_nDepth);
        p_strOut += '<';
        appendText(p_strOut, p_objNode.Value());
        p_strOut += '>';
        return true;
    case TiXmlNode::TINYXML_DECLARATION: {
        // The fields come from the parser as C texts: empty exactly when their first byte is NUL.
        const TiXmlDeclaration& objDecl = *p_objNode.ToDeclaration();
        p_strOut.append("<?xml ");
        const char* aszNames[] = {"version", "encoding", "standalone"};
        const char* aszValues[] = {objDecl.Version(), objDecl.Encoding(), objDecl.Standalone()};
        for (int i = 0; i < 3; ++i) {
            if (aszValues[i][0] != '\0') {
                p_strOut.append(aszNames[i]);
                p_strOut.append("=\"");
                appendText(p_strOut, aszValues[i]);
                p_strOut.append("\" ");
            }
        }
        p_strOut.append("?>");
        return true;
    }
    default:
        return false;
    }
}

bool printOpening(const TiXmlElement& p_objElement, int p_nDepth, std::string& p_strOut)
{
    appendIndent(p_strOut, p_nDepth);
    p_strOut += '<';
    appendText(p_strOut, p_objElement.Value());
    for (const TiXmlAttribute* pAttr = p_objElement.FirstAttribute(); pAttr != NULL; pAttr = pAttr->Next()) {
        // A value holding a double quote is printed between single quotes.
        const char cQuote = pAttr->ValueStr().find('"') == std::string::npos ? '"' : '\'';
        p_strOut += ' ';
        appendEncoded(p_strOut, pAttr->NameTStr());
        p_strOut += '=';
        p_strOut += cQuote;
        appendEncoded(p_strOut, pAttr->ValueStr());
        p_strOut += cQuote;
    }
    const TiXmlNode* pFirst = p_objElement.FirstChild();
    if (pFirst == NULL) {
        p_strOut.append(" />");
        return true;
    }
    p_strOut += '>';
    if (pFirst == p_objElement.LastChild() && pFirst->Type() == TiXmlNode::TINYXML_TEXT) {
        printLeaf(*pFirst, p_nDepth + 1, p_strOut);
        p_strOut.append("</");
        appendText(p_strOut, p_objElement.Value());
        p_strOut += '>';
        return true;
    }
    return false;
}

// One element and everything below it, without recursion: style documents
// may nest as deep as the parser went.
bool printElement(const TiXmlElement& p_objElement, int p_nDepth, std::string& p_strOut)
{
    struct Open {
        const TiXmlElement* pElement;
        const TiXmlNode* pNext;  // the next child to print
        int nDepth;
    };
    if (printOpening(p_objElement, p_nDepth, p_strOut)) {
        return true;
    }
    std::vector<Open> vecOpen(1, Open{&p_objElement, p_objElement.FirstChild(), p_nDepth});
    while (!vecOpen.empty()) {
        Open& stTop = vecOpen.back();
        const TiXmlNode* pChild = stTop.pNext;
        if (pChild == NULL) {
            p_strOut += '\n';
            appendIndent(p_strOut, stTop.nDepth);
            p_strOut.append("</");
            appendText(p_strOut, stTop.pElement->Value());
            p_strOut += '>';
            vecOpen.pop_back();
            continue;
        }
        stTop.pNext = pChild->NextSibling();
        const int nDepth = stTop.nDepth + 1;
        if (pChild->Type() != TiXmlNode::TINYXML_TEXT) {
            p_strOut += '\n';
        }
        if (const TiXmlElement* pElement = pChild->ToElement()) {
            if (!printOpening(*pElement, nDepth, p_strOut)) {
                vecOpen.push_back(Open{pElement, pElement->FirstChild(), nDepth});
            }
        } else if (!printLeaf(*pChild, nDepth, p_strOut)) {
            return false;
        }
    }
    return true;
}

bool printDocument(const TiXmlDocument& p_objDoc, std::string& p_strOut)
{
    for (const TiXmlNode* pNode = p_objDoc.FirstChild(); pNode != NULL; pNode = pNode->NextSibling()) {
        const TiXmlElement* pElement = pNode->ToElement();
        if (pElement != NULL ? !printElement(*pElement, 0, p_strOut) : !printLeaf(*pNode, 0, p_strOut)) {
            return false;
        }
        p_strOut += '\n';
    }
    return true;
}

}  // namespace

std::string SensorXmlDocument::PrintToString() const
{
    std::string strOut;
    if (SENSOR_XML_KNOWN_LAYOUT && !m_bMayKeepBom) {
        if (printDocument(*this, strOut)) {
            return strOut;
        }
        strOut.clear();
    }
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

// UI style: merge with the style diversity, dynamic style from the image library, factory set.
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

// ---------------------------------------------------------------- style merge

namespace {

// updateStyleTab looks at the root's first tab through this view, so that a
// document without root answers "no tab" instead of a null dereference.
struct StyleDocView {
    TiXmlDocument* pDoc;
    TiXmlElement* RootElement() const
    {
        static TiXmlElement s_objEmptyRoot("");
        TiXmlElement* pRoot = pDoc->RootElement();
        return pRoot != NULL ? pRoot : &s_objEmptyRoot;
    }
};

// The diversity compares at most the first five characters of a value.
const size_t SENSOR_DIVERSITY_CMP_LEN = 5;

bool diversityValueMatches(const char* p_szAttrValue, const char* p_szField)
{
    std::vector<std::string> vecItems;
    StringHandler::split(p_szAttrValue, vecItems, ",");
    for (size_t i = 0; i < vecItems.size(); ++i) {
        if (0 == strncmp(vecItems[i].c_str(), p_szField, SENSOR_DIVERSITY_CMP_LEN)) {
            return true;
        }
    }
    return 0 == strncmp(p_szAttrValue, p_szField, SENSOR_DIVERSITY_CMP_LEN);
}

}  // namespace

int updateStyleTab(TiXmlDocument* p_pDocStyle, const char* p_szOperation, const char* p_szTabKey,
                   const TiXmlElement* p_pContent)
{
    StyleDocView objView = {p_pDocStyle};
    StyleDocView* doc_style = &objView;
    TiXmlElement* tab_node = NULL;
    SENSOR_CHECK_RETURN(NULL != (tab_node = doc_style->RootElement()->FirstChildElement()), 0);

    if (p_szTabKey == NULL || p_szOperation == NULL) {
        return 0;
    }
    for (; tab_node != NULL; tab_node = tab_node->NextSiblingElement()) {
        const char* szKey = tab_node->Attribute("key");
        if (szKey != NULL && 0 == strcmp(szKey, p_szTabKey)) {
            break;
        }
    }
    if (tab_node == NULL) {
        return 0;
    }

    TiXmlNode* pTabs = tab_node->Parent();
    if (0 == strcmp(p_szOperation, "Modify")) {
        if (p_pContent != NULL) {
            pTabs->InsertAfterChild(tab_node, *p_pContent);
            pTabs->RemoveChild(tab_node);
        }
    } else if (0 == strcmp(p_szOperation, "AddAfter")) {
        if (p_pContent != NULL) {
            pTabs->InsertAfterChild(tab_node, *p_pContent);
        }
    } else if (0 == strcmp(p_szOperation, "Delete")) {
        pTabs->RemoveChild(tab_node);
    }
    return 0;
}

int mergeStyle(int p_nChannelID, ModuleConfig* p_pModuleConfig, char** ui_style, char* ui_styleDiversity)
{
    SensorXmlDocument doc_style;
    SensorXmlDocument doc_style_div;
    SENSOR_CHECK(doc_style.LoadMem(*ui_style, TIXML_ENCODING_UTF8));
    SENSOR_CHECK(doc_style_div.LoadMem(ui_styleDiversity, TIXML_ENCODING_UTF8));

    const char* szDetail = p_pModuleConfig != NULL ? p_pModuleConfig->szDetail : "";
    TiXmlElement* node_first = NULL;
    SENSOR_CHECK(NULL != (node_first = doc_style_div.RootElement()));

    // Each top-level block applies when one of its attributes matches the
    // module's detail field of that name; blocks are independent.
    for (; node_first != NULL; node_first = node_first->NextSiblingElement()) {
        const TiXmlAttribute* modi_attr = node_first->FirstAttribute();
        for (; modi_attr != NULL; modi_attr = modi_attr->Next()) {
            SENSOR_DBG("modi_attr->Name()(%s), modi_attr->Value()(%s)\n", modi_attr->Name(), modi_attr->Value());
            char nVal[SENSOR_DETAIL_VALUE_LEN];
            memset(nVal, 0, sizeof(nVal));
            if (0 == getDetailFieldToStr(szDetail, modi_attr->Name(), nVal) &&
                diversityValueMatches(modi_attr->Value(), nVal)) {
                break;
            }
            SENSOR_DBG("modi_attr->Name()(%s), modi_attr->Value()(%s) nVal(%s)\n", modi_attr->Name(),
                       modi_attr->Value(), nVal);
        }
        if (modi_attr == NULL) {
            continue;
        }

        TiXmlElement* node_second = NULL;
        SENSOR_CHECK(NULL != (node_second = node_first->FirstChildElement()));
        for (; node_second != NULL; node_second = node_second->NextSiblingElement()) {
            SENSOR_DBG("modi_attr->Name()(%s), modi_attr->Value()(%s)\n", modi_attr->Name(), modi_attr->Value());
            updateStyleTab(&doc_style, node_second->Value(), node_second->Attribute("tab_key"),
                           node_second->FirstChildElement());
            SENSOR_DBG("modi_attr->Name()(%s), modi_attr->Value()(%s)\n", modi_attr->Name(), modi_attr->Value());
        }
    }

    char filename[64];
    snprintf(filename, sizeof(filename), SENSOR_MERGE_STYLE_FILE, p_nChannelID);
    doc_style.SaveFile(filename);
    updateDebugLevel();
    if (g_nDebugLevel > 6) {
        SENSOR_INFO("%s\n", doc_style.PrintToString().c_str());
    }

    // The merged style is exactly the bytes of the merge file.
    INT64 file_len = getFileLen(filename);
    if (file_len < 0) {
        file_len = 0;
    }
    char* pResized = NULL;
    SENSOR_CHECK_RETURN(NULL != (pResized = (char*)realloc(*ui_style, (size_t)file_len + 1)), SNS_SUCCESS);
    *ui_style = pResized;
    memset(*ui_style, 0, (size_t)file_len + 1);
    SENSOR_CHECK(loadFromFile(filename, *ui_style, file_len) > 0);
    return SNS_SUCCESS;
}

// ---------------------------------------------------------------- dynamic style

namespace {

// Style documents nest a few levels (root, tabs, groups, parameters, choices);
// the walk stops far below any depth that could exhaust the stack.
const int SENSOR_STYLE_MAX_DEPTH = 256;

bool hasId(const TiXmlElement* p_pElement, int p_nId)
{
    const char* szId = p_pElement->Attribute("id");
    return szId != NULL && sensorAtoi(szId) == p_nId;
}

// Acts on every element with that id outside an earlier hit, in document
// order; a failing act ends the walk with -1.
template <typename Act>
int walkElementsWithId(TiXmlElement* p_pElement, int p_nId, Act& p_objAct, int p_nDepth)
{
    if (p_pElement == NULL || p_nDepth > SENSOR_STYLE_MAX_DEPTH) {
        return 0;
    }
    if (hasId(p_pElement, p_nId)) {
        return p_objAct(p_pElement);
    }
    for (TiXmlElement* pChild = p_pElement->FirstChildElement(); pChild != NULL;
         pChild = pChild->NextSiblingElement()) {
        if (-1 == walkElementsWithId(pChild, p_nId, p_objAct, p_nDepth + 1)) {
            return -1;
        }
    }
    return 0;
}

// One dynamic style searches the whole document a dozen times or more (each
// listed command, the style's own values, the two placeholders), and the
// searches cost more than everything else the module adds to the parse and
// the print. getDnaStyle therefore finds, in one walk, every element a search
// from its root could act on, and the searches of that pass read them from
// this index: for an id, the elements carrying it that lie within the depth
// limit and below no other element with the same id, in document order.
// Elements the pass removes from the document (choices, placeholders) leave
// the index with everything below them. The ids themselves never change
// during a pass.
class StyleIdIndex {
public:
    explicit StyleIdIndex(TiXmlElement* p_pRoot) : m_pRoot(p_pRoot), m_nActing(NONE)
    {
        struct Open {
            size_t nEntry;
            bool bHasId;
            int nId;
            TiXmlElement* pNextChild;
        };
        std::vector<Open> vecPath;
        TiXmlElement* pElement = p_pRoot;
        for (;;) {
            // The element's depth below the root is the length of the path to it.
            if (pElement != NULL && (int)vecPath.size() <= SENSOR_STYLE_MAX_DEPTH) {
                Open stOpen = {m_vecEntries.size(), false, 0, pElement->FirstChildElement()};
                m_vecEntries.push_back(Entry{pElement, 0});
                const char* szId = pElement->Attribute("id");
                if (szId != NULL) {
                    stOpen.bHasId = true;
                    stOpen.nId = sensorAtoi(szId);
                    bool bBelowSameId = false;
                    for (size_t i = 0; i < vecPath.size() && !bBelowSameId; ++i) {
                        bBelowSameId = vecPath[i].bHasId && vecPath[i].nId == stOpen.nId;
                    }
                    if (!bBelowSameId) {
                        m_vecHits.push_back(std::make_pair(stOpen.nId, stOpen.nEntry));
                    }
                }
                vecPath.push_back(stOpen);
            }
            if (vecPath.empty()) {
                break;
            }
            Open& stTop = vecPath.back();
            pElement = stTop.pNextChild;
            if (pElement == NULL) {
                m_vecEntries[stTop.nEntry].nEnd = m_vecEntries.size();
                vecPath.pop_back();
            } else {
                stTop.pNextChild = pElement->NextSiblingElement();
            }
        }
        // By id, and within an id in document order.
        std::sort(m_vecHits.begin(), m_vecHits.end());
    }

    const TiXmlElement* root() const { return m_pRoot; }

    template <typename Act>
    int forEach(int p_nId, Act& p_objAct)
    {
        std::vector<std::pair<int, size_t> >::const_iterator it =
            std::lower_bound(m_vecHits.begin(), m_vecHits.end(), std::make_pair(p_nId, (size_t)0));
        for (; it != m_vecHits.end() && it->first == p_nId; ++it) {
            TiXmlElement* pElement = m_vecEntries[it->second].pElement;
            if (pElement == NULL) {
                continue;
            }
            m_nActing = it->second;
            const int nRet = p_objAct(pElement);
            m_nActing = NONE;
            if (-1 == nRet) {
                return -1;
            }
        }
        return 0;
    }

    // The element leaves the document, with everything below it.
    void forget(const TiXmlNode* p_pNode)
    {
        // Acts remove children of the element they act on: look there first.
        if (m_nActing != NONE && forgetIn(p_pNode, m_nActing + 1, m_vecEntries[m_nActing].nEnd)) {
            return;
        }
        forgetIn(p_pNode, 0, m_vecEntries.size());
    }

private:
    static const size_t NONE = (size_t)-1;

    struct Entry {
        TiXmlElement* pElement;  // NULL once removed
        size_t nEnd;             // one past the last entry below it
    };

    bool forgetIn(const TiXmlNode* p_pNode, size_t p_nFrom, size_t p_nTo)
    {
        for (size_t i = p_nFrom; i < p_nTo; ++i) {
            if (m_vecEntries[i].pElement == p_pNode) {
                for (size_t k = i; k < m_vecEntries[i].nEnd; ++k) {
                    m_vecEntries[k].pElement = NULL;
                }
                return true;
            }
        }
        return false;
    }

    TiXmlElement* m_pRoot;
    std::vector<Entry> m_vecEntries;                // every element a search reaches, in document order
    std::vector<std::pair<int, size_t> > m_vecHits;  // (id, entry) of the elements a search acts on
    size_t m_nActing;                               // the entry an act runs on
};

// The index of the dynamic style this thread is building; searches from its
// root go through it. Channels may build their styles in parallel.
thread_local StyleIdIndex* t_pStyleIdIndex = NULL;

class StyleIdIndexScope {
public:
    explicit StyleIdIndexScope(StyleIdIndex* p_pIndex) : m_pOuter(t_pStyleIdIndex) { t_pStyleIdIndex = p_pIndex; }
    ~StyleIdIndexScope() { t_pStyleIdIndex = m_pOuter; }

private:
    StyleIdIndexScope(const StyleIdIndexScope&);
    StyleIdIndexScope& operator=(const StyleIdIndexScope&);

    StyleIdIndex* m_pOuter;
};

template <typename Act>
int forEachElementWithId(TiXmlElement* p_pRoot, int p_nId, Act& p_objAct)
{
    StyleIdIndex* pIndex = t_pStyleIdIndex;
    if (pIndex != NULL && p_pRoot != NULL && pIndex->root() == p_pRoot) {
        return pIndex->forEach(p_nId, p_objAct);
    }
    return walkElementsWithId(p_pRoot, p_nId, p_objAct, 0);
}

// Tells the index of this thread's pass, if any, that the element leaves the document.
void forgetElement(const TiXmlNode* p_pNode)
{
    if (t_pStyleIdIndex != NULL) {
        t_pStyleIdIndex->forget(p_pNode);
    }
}

// Commands whose default the style may pin to one of the library's values.
bool isStyleDefaultCmd(u32 p_nCmd)
{
    return KEY_MAX_SHUTTER == p_nCmd || KEY_FIX_SHUTTER == p_nCmd || KEY_AUTO_FOCUS_NEAR_LIMIT == p_nCmd;
}

// A style value of 100 keeps the library's default.
const int SENSOR_STYLE_KEEP_DEFAULT = 100;
// A maximum-shutter value of 200 + n offers the style's own choices, default n.
const int SENSOR_STYLE_OWN_CHOICES = 200;

s32 boundedCount(s32 p_nCount, s32 p_nMax)
{
    return p_nCount < 0 ? 0 : (p_nCount > p_nMax ? p_nMax : p_nCount);
}

// Start-up reads the factory set out of the dynamic style. Printing that
// document and parsing the print again costs as much as the rest of the style
// work together, so getFctData lends getDnaStyle a document to build in, and
// reads the set from it directly when TinyXML would parse its print back into
// the same elements and attribute values. One loan per thread: channels may
// start in parallel.
struct DnaStyleLoan {
    SensorXmlDocument* pDoc;
    bool bKept;  // the document was left built instead of printed
};
thread_local DnaStyleLoan* t_pDnaStyleLoan = NULL;

// True when TinyXML prints the text so that it parses back to the same bytes:
// printable ASCII and well-formed UTF-8 only, no "&#x" (printed as it stands,
// so it would be read back as a character reference), and no quote or "&" where
// it is printed unescaped (the declaration).
bool printsBack(const std::string& p_strText, bool p_bEscaped)
{
    const size_t nLen = p_strText.size();
    for (size_t i = 0; i < nLen; ++i) {
        const unsigned char c = (unsigned char)p_strText[i];
        if (c >= 0x20 && c < 0x7f) {
            if (c == '&' && (!p_bEscaped || (i + 2 < nLen && p_strText[i + 1] == '#' && p_strText[i + 2] == 'x'))) {
                return false;
            }
            if (c == '"' && !p_bEscaped) {
                return false;
            }
            continue;
        }
        // TinyXML reads a character as long as its lead byte says.
        const size_t nMore = (c >= 0xc2 && c <= 0xdf) ? 1 : (c >= 0xe0 && c <= 0xef) ? 2 : (c >= 0xf0 && c <= 0xf4) ? 3 : 0;
        if (nMore == 0 || i + nMore >= nLen) {
            return false;
        }
        for (size_t k = 1; k <= nMore; ++k) {
            const unsigned char cMore = (unsigned char)p_strText[i + k];
            if (cMore < 0x80 || cMore > 0xbf) {
                return false;
            }
        }
        i += nMore;
    }
    return true;
}

// Whether the document's print parses back to the same tree: it parsed without
// error, and every text TinyXML reads character by character prints back as it is.
// Names, comments, CDATA and unknown nodes are read byte by byte and always do.
bool parsesBackAlike(const TiXmlDocument& p_objDoc)
{
    if (p_objDoc.Error()) {
        return false;
    }
    std::vector<const TiXmlNode*> vecStack(1, &p_objDoc);
    while (!vecStack.empty()) {
        const TiXmlNode* pNode = vecStack.back();
        vecStack.pop_back();
        if (const TiXmlElement* pElement = pNode->ToElement()) {
            for (const TiXmlAttribute* pAttr = pElement->FirstAttribute(); pAttr != NULL; pAttr = pAttr->Next()) {
                if (!printsBack(pAttr->ValueStr(), true)) {
                    return false;
                }
            }
        } else if (const TiXmlText* pText = pNode->ToText()) {
            if (!pText->CDATA() && !printsBack(pText->ValueStr(), true)) {
                return false;
            }
        } else if (const TiXmlDeclaration* pDecl = pNode->ToDeclaration()) {
            if (!printsBack(std::string(pDecl->Version()), false) ||
                !printsBack(std::string(pDecl->Encoding()), false) ||
                !printsBack(std::string(pDecl->Standalone()), false)) {
                return false;
            }
        }
        for (const TiXmlNode* pChild = pNode->FirstChild(); pChild != NULL; pChild = pChild->NextSibling()) {
            vecStack.push_back(pChild);
        }
    }
    return true;
}

}  // namespace

int getNodebyCmdId(TiXmlElement* p_pRoot, int p_nId, TiXmlElement*& p_pNode)
{
    auto objAct = [&](TiXmlElement* p_pElement) {
        p_pNode = p_pElement;
        return 0;
    };
    return forEachElementWithId(p_pRoot, p_nId, objAct);
}

int getDnaValbyCmdId(TiXmlElement* p_pRoot, int p_nId, int& p_nVal)
{
    auto objAct = [&](TiXmlElement* p_pElement) {
        const char* szValue = p_pElement->Attribute("value");
        if (szValue != NULL) {
            p_nVal = sensorAtoi(szValue);
        }
        return 0;
    };
    return forEachElementWithId(p_pRoot, p_nId, objAct);
}

int DeleteNode(TiXmlElement* p_pRoot, TiXmlElement* p_pNode)
{
    if (p_pRoot == NULL || p_pNode == NULL) {
        return -1;
    }
    TiXmlNode* pParent = p_pNode->Parent();
    if (pParent != NULL && pParent->ToElement() != NULL) {
        forgetElement(p_pNode);
        pParent->RemoveChild(p_pNode);
    }
    return 0;
}

int ModifyNodebyCmdId(TiXmlElement* p_pRoot, int p_nId)
{
    auto objAct = [&](TiXmlElement* p_pElement) {
        // Highlight and backlight compensation exclude each other in the UI.
        if (KEY_HLC_SWITCH == p_nId) {
            p_pElement->SetAttribute("enable_list", "128");
        } else if (KEY_BLC_SWITCH == p_nId) {
            p_pElement->SetAttribute("enable_list", "112");
        }
        return 0;
    };
    return forEachElementWithId(p_pRoot, p_nId, objAct);
}

int doDnaStyle(TiXmlElement* p_pRoot, int p_nCmd, const ia_dynamic_params_attr_st* p_pAttr)
{
    const s32 nItems = boundedCount(p_pAttr->items_cnt, IA_DYNAMIC_ITEMS_MAX);
    auto objAct = [&](TiXmlElement* p_pElement) {
        SENSOR_DBG("_________________cmd(%d) default(%d)__________________\n", p_nCmd, p_pAttr->def_val);
        p_pElement->SetAttribute("value", p_pAttr->def_val);
        TiXmlElement* pChoice = p_pElement->FirstChildElement();
        while (pChoice != NULL) {
            TiXmlElement* pNext = pChoice->NextSiblingElement();
            const char* szIndex = pChoice->Attribute("index");
            if (szIndex == NULL) {
                return -1;
            }
            int nIndex = sensorAtoi(szIndex);
            bool bOffered = false;
            for (s32 j = 0; j < nItems && !bOffered; ++j) {
                bOffered = (p_pAttr->item[j] == nIndex);
            }
            if (!bOffered) {
                SENSOR_DBG("_________________delete comboitem(%s)__________________\n", szIndex);
                forgetElement(pChoice);
                p_pElement->RemoveChild(pChoice);
            }
            pChoice = pNext;
        }
        return 0;
    };
    return forEachElementWithId(p_pRoot, p_nCmd, objAct);
}

int doCustomizeStyle(TiXmlElement* p_pRoot, int p_nCmd, ia_dynamic_params_attr_st* p_pAttr)
{
    auto objAct = [&](TiXmlElement* p_pElement) {
        s32 nCount = 0;
        for (TiXmlElement* pChoice = p_pElement->FirstChildElement(); pChoice != NULL;
             pChoice = pChoice->NextSiblingElement()) {
            const char* szIndex = pChoice->Attribute("index");
            // The record holds 64 items; further choices cannot be offered.
            if (szIndex == NULL || nCount >= IA_DYNAMIC_ITEMS_MAX) {
                continue;
            }
            p_pAttr->item[nCount++] = sensorAtoi(szIndex);
        }
        p_pAttr->items_cnt = nCount;
        p_pAttr->max_val = nCount > 0 ? p_pAttr->item[nCount - 1] : 0;
        if (nCount > 0) {
            p_pAttr->min_val = p_pAttr->item[0];
        }
        return 0;
    };
    return forEachElementWithId(p_pRoot, p_nCmd, objAct);
}

int getDnaStyle(int p_channelID, const char* szStyle, std::string& p_strOut, bool p_bShowWDRFalg)
{
    ia_dynamic_params_cmds_st dnaCmdList;
    memset(&dnaCmdList, 0, sizeof(dnaCmdList));
    SENSOR_CHECK(SNS_SUCCESS == ia_ioctrl_v2(p_channelID-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, (void*)(&dnaCmdList)));

    DnaStyleLoan* pLoan = t_pDnaStyleLoan;
    t_pDnaStyleLoan = NULL;
    SensorXmlDocument objOwnDoc;
    SensorXmlDocument& objStyleXmlDoc = pLoan != NULL ? *pLoan->pDoc : objOwnDoc;
    SENSOR_CHECK(objStyleXmlDoc.LoadMem(szStyle, TIXML_ENCODING_UTF8));
    SENSOR_DBG("dnaCmdList.cmd_cnt(%d)\n", dnaCmdList.cmd_cnt);
    StyleIdIndex objIdIndex(objStyleXmlDoc.RootElement());
    StyleIdIndexScope objIdIndexScope(&objIdIndex);

    // One record for the whole pass: a failed query leaves the previous command's range in it.
    ia_dynamic_params_attr_st dnaParamList;
    memset(&dnaParamList, 0, sizeof(dnaParamList));
    const s32 nCmds = boundedCount(dnaCmdList.cmd_cnt, IA_DYNAMIC_CMDS_MAX);
    for (s32 i = 0; i < nCmds; ++i) {
        SENSOR_DBG("dnaCmdList.cmd_list[%d] = cmd(%d)\n", i, dnaCmdList.cmd_list[i]);
        SENSOR_CHECK(SNS_SUCCESS == ia_ioctrl_v2(p_channelID-1, (ia_cmd_e)dnaCmdList.cmd_list[i], IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&dnaParamList)));
        dnaParamList.items_cnt = boundedCount(dnaParamList.items_cnt, IA_DYNAMIC_ITEMS_MAX);

        if (isStyleDefaultCmd(dnaCmdList.cmd_list[i])) {
            int nVal = 0;
            getDnaValbyCmdId(objStyleXmlDoc.RootElement(), dnaCmdList.cmd_list[i], nVal);
            if (SENSOR_STYLE_KEEP_DEFAULT != nVal) {
                printf("dnaCmdList.cmd_list[%d] = dnaParamList.items_cnt(%d)\n", i, dnaParamList.items_cnt);
                for (s32 j = 0; j < dnaParamList.items_cnt; ++j) {
                    printf(" dnaParamList.item[%d] = %d nVal = %d \n", j, dnaParamList.item[j], nVal);
                    if (dnaParamList.item[j] == nVal) {
                        dnaParamList.def_val = nVal;
                        break;
                    }
                }
                if (nVal >= SENSOR_STYLE_OWN_CHOICES && KEY_MAX_SHUTTER == dnaCmdList.cmd_list[i]) {
                    doCustomizeStyle(objStyleXmlDoc.RootElement(), dnaCmdList.cmd_list[i], &dnaParamList);
                    dnaParamList.def_val = nVal - SENSOR_STYLE_OWN_CHOICES;
                }
            }
        }
        SENSOR_CHECK(SNS_SUCCESS == doDnaStyle(objStyleXmlDoc.RootElement(), dnaCmdList.cmd_list[i], &dnaParamList));
    }

    // The placeholders stand in for the WDR and beaway items when those are hidden.
    if (p_bShowWDRFalg) {
        TiXmlElement* pNode = NULL;
        getNodebyCmdId(objStyleXmlDoc.RootElement(), KEY_EMPTY1, pNode);
        DeleteNode(objStyleXmlDoc.RootElement(), pNode);
    }
    if (g_bShoWBeawayFalg) {
        TiXmlElement* pNode = NULL;
        getNodebyCmdId(objStyleXmlDoc.RootElement(), KEY_EMPTY2, pNode);
        DeleteNode(objStyleXmlDoc.RootElement(), pNode);
    }

    if (pLoan != NULL && parsesBackAlike(objStyleXmlDoc)) {
        pLoan->bKept = true;
        return SNS_SUCCESS;
    }
    p_strOut = objStyleXmlDoc.PrintToString();
    return SNS_SUCCESS;
}

// ---------------------------------------------------------------- factory set

int style2KeyVal(TiXmlElement* p_pElement, KeyVal* p_pKeyVal, u32* p_pnKeyValNum)
{
    int nRet = 0;
    // Pre-order walk without recursion depth limits of its own: an explicit stack.
    std::vector<TiXmlElement*> vecStack;
    if (p_pElement != NULL) {
        vecStack.push_back(p_pElement);
    }
    while (!vecStack.empty()) {
        TiXmlElement* pElement = vecStack.back();
        vecStack.pop_back();
        const char* szId = pElement->Attribute("id");
        const char* szValue = pElement->Attribute("value");
        if (szId != NULL && szValue != NULL) {
            // The set has room for SENSOR_FCT_KEYVAL_MAX entries; the rest is cut.
            if (*p_pnKeyValNum < SENSOR_FCT_KEYVAL_MAX) {
                p_pKeyVal[*p_pnKeyValNum].key = (u32)sensorAtoi(szId);
                p_pKeyVal[*p_pnKeyValNum].value = sensorAtoi(szValue);
                ++*p_pnKeyValNum;
            } else {
                nRet = -1;
            }
        }
        size_t nFirst = vecStack.size();
        for (TiXmlElement* pChild = pElement->FirstChildElement(); pChild != NULL;
             pChild = pChild->NextSiblingElement()) {
            vecStack.push_back(pChild);
        }
        // Children were pushed in order; reversed, the first child is taken next.
        std::reverse(vecStack.begin() + nFirst, vecStack.end());
    }
    return nRet;
}

int getFctData(int p_channelID, char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, bool p_bShowWDRFalg)
{
    std::string strDnaStyle;
    SensorXmlDocument objDnaStyleDoc;
    DnaStyleLoan stLoan = {&objDnaStyleDoc, false};
    t_pDnaStyleLoan = &stLoan;
    SENSOR_CHECK(SNS_SUCCESS == getDnaStyle(p_channelID,p_szStyle, strDnaStyle,p_bShowWDRFalg));
    t_pDnaStyleLoan = NULL;
    if (!stLoan.bKept) {
        SENSOR_CHECK(objDnaStyleDoc.LoadMem(strDnaStyle.c_str(), TIXML_ENCODING_UTF8));
    }
    *p_pnKeyValNum = 0;
    TiXmlElement* pRootNode = objDnaStyleDoc.RootElement();
    SENSOR_CHECK(SNS_SUCCESS == style2KeyVal(pRootNode, p_pKeyVal, p_pnKeyValNum), "p_pnKeyValNum(%u)\n", *p_pnKeyValNum);
    return SNS_SUCCESS;
}

// Parameter string interface: whole sets as pair lists, key lists, ranges, sensor check and version.
#include <stdio.h>
#include <string.h>

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ISensorController.h"
#include "PLFile.h"
#include "SensorFile.h"
#include "SensorKeyVal.h"
#include "SensorUtil.h"
#include "SensorXml.h"
#include "StringHandler.h"

namespace {

const char* baseName(const char* p_szPath)
{
    const char* pSlash = strrchr(p_szPath, '/');
    return pSlash != NULL ? pSlash + 1 : p_szPath;
}

// The parameters whose choices the library lists at run time and the host may ask for.
bool isRangeQueryCmd(int p_nCmd)
{
    return KEY_MAX_SHUTTER == p_nCmd || KEY_FIX_SHUTTER == p_nCmd || KEY_IRIS_POSITION == p_nCmd ||
           KEY_AUTO_FOCUS_NEAR_LIMIT == p_nCmd;
}

const int SENSOR_STYLE_OWN_SHUTTER_LIST = 200;
const int SENSOR_CAMERA_VERSION_LEN = 50;
const size_t SENSOR_CHECK_ITEMS = 3;
// Style files are a few hundred kilobytes at most; anything far larger is not a style.
const INT64 SENSOR_MERGE_STYLE_MAX = 16 * 1024 * 1024;

// The host fetches all parameters many times a minute, while the merged style
// changes only when a start-up writes it again. Parsing it is most of the cost
// of a fetch, and the fetch needs only two answers from it: whether it loads,
// and the maximum-shutter value it gives. Those are remembered with the bytes
// they came from; the file is still read every time, and any other bytes are
// parsed afresh, so a style edited or lost on the flash is seen at once.
struct MergedStyleAnswer {
    std::string strText;
    bool bLoaded;
    int nRet;
    int nMaxShutter;
};

std::mutex s_objAnswersLock;
std::map<std::string, MergedStyleAnswer> s_mapAnswers;  // by file name

class MergedStyle {
public:
    MergedStyle() : m_stAnswer() {}

    // Reads the whole merge file through PLFile and answers whether it parses;
    // a file that cannot be read in full, or is implausibly large, loads nothing.
    bool LoadFile(const char* p_szFileName, TiXmlEncoding p_eEncoding)
    {
        std::string strText;
        if (!readAll(p_szFileName, strText)) {
            // Nothing loaded: an empty document, where no lookup finds anything.
            m_stAnswer.bLoaded = false;
            m_stAnswer.nMaxShutter = SENSOR_STYLE_OWN_SHUTTER_LIST;
            m_stAnswer.nRet = getDnaValbyCmdId(NULL, KEY_MAX_SHUTTER, m_stAnswer.nMaxShutter);
            return false;
        }
        std::lock_guard<std::mutex> objLock(s_objAnswersLock);
        MergedStyleAnswer& stKnown = s_mapAnswers[p_szFileName];
        if (stKnown.strText.empty() || stKnown.strText != strText) {
            SensorXmlDocument objDoc;
            stKnown.bLoaded = objDoc.LoadMem(strText.c_str(), p_eEncoding);
            stKnown.nMaxShutter = SENSOR_STYLE_OWN_SHUTTER_LIST;
            stKnown.nRet = getDnaValbyCmdId(objDoc.FirstChildElement(), KEY_MAX_SHUTTER, stKnown.nMaxShutter);
            stKnown.strText.swap(strText);
        }
        m_stAnswer.bLoaded = stKnown.bLoaded;
        m_stAnswer.nRet = stKnown.nRet;
        m_stAnswer.nMaxShutter = stKnown.nMaxShutter;
        return m_stAnswer.bLoaded;
    }

    // getDnaValbyCmdId of KEY_MAX_SHUTTER over the loaded document, from p_nVal = 200.
    int getMaxShutter(int& p_nVal) const
    {
        p_nVal = m_stAnswer.nMaxShutter;
        return m_stAnswer.nRet;
    }

private:
    static bool readAll(const char* p_szFileName, std::string& p_strText)
    {
        PLFile objFile;
        if (!objFile.open(p_szFileName, PLFile::modeRead)) {
            return false;
        }
        INT64 nLen = objFile.getLength();
        if (nLen < 0 || nLen > SENSOR_MERGE_STYLE_MAX) {
            return false;
        }
        p_strText.assign((size_t)nLen, '\0');
        int nRead = nLen > 0 ? objFile.read(&p_strText[0], (unsigned int)nLen) : 0;
        return nRead == nLen;
    }

    MergedStyleAnswer m_stAnswer;
};

}  // namespace

bool ISensorController::getAllParameters(std::string& p_strOut)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);

    char filename[64];
    snprintf(filename, sizeof(filename), SENSOR_MERGE_STYLE_FILE, (int)m_nCameraID);
    MergedStyle objStyleXmlDoc;
    SENSOR_CHECK(objStyleXmlDoc.LoadFile(filename, TIXML_ENCODING_UTF8));

    s32 nScheme = m_nCurScheme;
    if (!isSchemeIndexValid(nScheme)) {
        return true;
    }

    int nVal = SENSOR_STYLE_OWN_SHUTTER_LIST;
    int nRet = objStyleXmlDoc.getMaxShutter(nVal);
    if (SNS_SUCCESS == nRet && nVal >= SENSOR_STYLE_OWN_SHUTTER_LIST) {
        // The style offers its own shutter list: the saved file is the truth,
        // the library would correct its values to its own list.
        if ((u32)nScheme >= m_stSysConf.nSchemeSum || m_pstKeyValTmp == NULL) {
            return true;
        }
        char szTmp[256];
        schemeFileName(nScheme, szTmp, sizeof(szTmp));
        // Entries a short file lacks are those in memory.
        memcpy(m_pstKeyValTmp, m_ppUserKeyVal[nScheme], m_nKeyValSum * sizeof(KeyVal));
        SENSOR_CHECK(SNS_SUCCESS == keyValFromFile(szTmp, m_pstKeyValTmp, m_nKeyValSum), "szTmp(%s), m_nKeyValSum(%d)\n",
                     szTmp, m_nKeyValSum);
        keyval_st2str(p_strOut, m_pstKeyValTmp, m_nKeyValSum);
    } else {
        SENSOR_CHECK(SNS_SUCCESS == keyval_correct(m_nCameraID - 1, m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum),
                     "m_nCurScheme(%d) m_nKeyValSum(%d)\n", nScheme, m_nKeyValSum);
        keyval_st2str(p_strOut, m_ppUserKeyVal[nScheme], m_nKeyValSum);
    }
    return true;
}

int ISensorController::setParameters(const std::string& p_strParameters, bool p_bSave)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    SENSOR_DBG("p_Parameters1111111111(%s)\n", p_strParameters.c_str());
    unsigned nCount = 0;
    // The scratch set holds m_nKeyValSum pairs; a longer text is cut there.
    unsigned nCapacity = m_pstKeyValTmp != NULL ? m_nKeyValSum : 0;
    keyval_str2st(p_strParameters, m_pstKeyValTmp, &nCount, nCapacity);
    return setParameters(m_pstKeyValTmp, nCount, p_bSave);
}

bool ISensorController::getParameters(const std::string& p_strIds, std::string& p_strOut)
{
    std::vector<std::string> vecItems;
    if (!parseSensorParameter(p_strIds, vecItems)) {
        printf("%s%d getParameters fail p_strIds = %s \n", baseName(__FILE__), __LINE__, p_strIds.c_str());
        return false;
    }
    p_strOut = "";
    char szPair[32];
    for (size_t i = 0; i < vecItems.size(); ++i) {
        int nKey = sensorAtoi(vecItems[i].c_str());
        int nVal = 0;
        if (getParameter(nKey, nVal)) {
            snprintf(szPair, sizeof(szPair), "(%d,%d)", nKey, nVal);
            p_strOut += szPair;
        }
    }
    printf("@@ out_Parameters = %s @@\n", p_strOut.c_str());
    return true;
}

bool ISensorController::parseSensorParameter(const std::string& p_strText, std::vector<std::string>& p_vecItems)
{
    if (p_strText.size() < 3 || '(' != p_strText[0]) {
        return false;
    }
    size_t nClose = p_strText.find(')');
    if (std::string::npos == nClose || nClose != p_strText.size() - 1) {
        return false;
    }
    StringHandler::split(p_strText.substr(1, p_strText.size() - 2), p_vecItems, ",");
    return !p_vecItems.empty();
}

bool ISensorController::getSensorParamRange(int p_nCmd, int& p_nDef, std::string& p_strRange)
{
    ia_dynamic_params_cmds_st dnaCmdList;
    memset(&dnaCmdList, 0, sizeof(dnaCmdList));
    // Without a fresh list or record there is nothing trustworthy to answer.
    SENSOR_CHECK_RETURN(SNS_SUCCESS == ia_ioctrl_v2(m_nCameraID-1, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, (void*)(&dnaCmdList)), false);

    bool bListed = false;
    s32 nCmds = dnaCmdList.cmd_cnt < 0 ? 0 : (dnaCmdList.cmd_cnt > IA_DYNAMIC_CMDS_MAX ? IA_DYNAMIC_CMDS_MAX : dnaCmdList.cmd_cnt);
    for (s32 i = 0; i < nCmds && !bListed; ++i) {
        bListed = ((u32)p_nCmd == dnaCmdList.cmd_list[i]);
    }
    if (!bListed || !isRangeQueryCmd(p_nCmd)) {
        return false;
    }

    ia_dynamic_params_attr_st stDynamicParam;
    memset(&stDynamicParam, 0, sizeof(stDynamicParam));
    SENSOR_CHECK_RETURN(SNS_SUCCESS == doIaCmd(p_nCmd, IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&stDynamicParam)), false);
    if (0 != stDynamicParam.type) {
        return true;
    }
    p_nDef = stDynamicParam.def_val;
    s32 nItems = stDynamicParam.items_cnt < 0 ? 0 : (stDynamicParam.items_cnt > IA_DYNAMIC_ITEMS_MAX ? IA_DYNAMIC_ITEMS_MAX : stDynamicParam.items_cnt);
    char szItem[16];
    for (s32 i = 0; i < nItems; ++i) {
        snprintf(szItem, sizeof(szItem), "%d", stDynamicParam.item[i]);
        p_strRange += szItem;
        if (i + 1 < nItems) {
            p_strRange += " ";
        }
    }
    printf("cmd=%d DefaltParam=%d strParamRange=%s\n", p_nCmd, p_nDef, p_strRange.c_str());
    return true;
}

int ISensorController::SensorCheck(std::string& p_strParameters)
{
    std::vector<std::string> vecItems;
    // The check needs three items; anything less is refused without asking the library.
    if (!parseSensorParameter(p_strParameters, vecItems) || vecItems.size() < SENSOR_CHECK_ITEMS) {
        printf("%s%d getParameters fail p_strIds = %s \n", baseName(__FILE__), __LINE__, p_strParameters.c_str());
        return -1;
    }
    s32 anRecord[4] = {sensorAtoi(vecItems[0].c_str()), sensorAtoi(vecItems[1].c_str()),
                       sensorAtoi(vecItems[2].c_str()), 0};
    const bool bQuery = (2 == anRecord[1]);
    int nRet = ia_ioctrl_v2(m_nCameraID - 1, IA_CMD_SENSOR_CHECK, bQuery ? IA_CMD_OPT_GET : IA_CMD_OPT_SET, anRecord);
    if (bQuery) {
        char szResult[16];
        snprintf(szResult, sizeof(szResult), "%d", anRecord[3]);
        p_strParameters = szResult;
    }
    return nRet;
}

bool ISensorController::getCameraVerInf(std::string& p_strVersion)
{
    char szVersion[SENSOR_CAMERA_VERSION_LEN];
    memset(szVersion, 0, sizeof(szVersion));
    if (SNS_SUCCESS != doIaCmd(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, szVersion)) {
        return false;
    }
    // The library's text is terminated within the buffer whatever it wrote.
    szVersion[SENSOR_CAMERA_VERSION_LEN - 1] = '\0';
    p_strVersion = szVersion;
    return true;
}

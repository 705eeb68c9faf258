// UI style texts: the dynamic style for the web interface and the (empty) UI text table.
#include <string>

#include "ISensorController.h"
#include "PeloraTime.h"
#include "SensorFile.h"

namespace {

// The video side may be reconfiguring its streams; the style waits up to 1.5 s for it.
const int SENSOR_VIDEO_BUSY_POLLS = 30;
const long SENSOR_VIDEO_BUSY_WAIT_US = 50000;

}  // namespace

std::string ISensorController::getUIStyleFile()
{
    if (m_pVideoStreamModule != NULL) {
        for (int i = 0; i < SENSOR_VIDEO_BUSY_POLLS; ++i) {
            if (0 == m_pVideoStreamModule->getVideoBusyState()) {
                break;
            }
            PeloraTime::wait(PeloraTime(0, SENSOR_VIDEO_BUSY_WAIT_US));
        }
    }
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    std::string strTmp;
    SENSOR_CHECK(SNS_SUCCESS == getDnaStyle(m_nCameraID,m_stSysConf.szUIStyle, strTmp,m_bShowWDRFalg));
    return strTmp;
}

const UIFile* ISensorController::findUIFile(int p_nId)
{
    if (m_stSysConf.pUIFile == NULL || 0 == m_stSysConf.nUIFileSum) {
        return NULL;
    }
    for (u32 i = 0; i < m_stSysConf.nUIFileSum; ++i) {
        if (m_stSysConf.pUIFile[i].nId == (u32)p_nId) {
            return &m_stSysConf.pUIFile[i];
        }
    }
    return &m_stSysConf.pUIFile[0];
}

std::string ISensorController::getUICommonFile(int p_nId)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    const UIFile* pFile = findUIFile(p_nId);
    return (pFile != NULL && pFile->szCommon != NULL) ? std::string(pFile->szCommon) : std::string();
}

std::string ISensorController::getUILanguageFile(int p_nId)
{
    PLMutexManager objLock(&m_objMutex, __FILE__, __LINE__);
    const UIFile* pFile = findUIFile(p_nId);
    return (pFile != NULL && pFile->szLanguage != NULL) ? std::string(pFile->szLanguage) : std::string();
}

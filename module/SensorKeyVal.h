// Text forms of parameter sets and the correction of values to the library's limits.
#ifndef MODULE_SENSORKEYVAL_H
#define MODULE_SENSORKEYVAL_H

#include <string>

#include "ISensorController.h"

SENSOR_API void keyval_st2str(std::string& p_strOut, KeyVal* p_pKeyVal, unsigned p_nCount);
// Parses the "(key,value)" pairs of a text into at most p_nCapacity entries;
// a text with more pairs is cut there and the cut is reported (result -1).
SENSOR_API int keyval_str2st(const std::string& p_strText, KeyVal* p_pKeyVal, unsigned* p_pnCount,
                             unsigned p_nCapacity);
SENSOR_API int keyval_correct(int p_nChannel_id, KeyVal* p_pKeyval, u32 p_nCount);

#endif

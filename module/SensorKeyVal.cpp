// Pair-list codecs of parameter sets and the value correction by the library.
#include "SensorKeyVal.h"

#include <ctype.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>

#include "SensorUtil.h"

namespace {

bool isDecimalDigit(char p_cChar)
{
    return p_cChar >= '0' && p_cChar <= '9';
}

// One "%d" of the C scanner within [p_pText, p_pEnd): blanks skipped, optional
// sign, at least one digit. Numbers out of range saturate instead of being undefined.
bool scanInt(const char*& p_pText, const char* p_pEnd, s32& p_nOut)
{
    const char* p = p_pText;
    // A digit is a blank in no locale; anything else is asked of the C library.
    while (p < p_pEnd && !isDecimalDigit(*p) && isspace((unsigned char)*p)) {
        ++p;
    }
    bool bNegative = false;
    if (p < p_pEnd && (*p == '+' || *p == '-')) {
        bNegative = (*p == '-');
        ++p;
    }
    if (p >= p_pEnd || !isDecimalDigit(*p)) {
        return false;
    }
    long long nVal = 0;
    while (p < p_pEnd && isDecimalDigit(*p)) {
        if (nVal <= (long long)INT_MAX + 1) {
            nVal = nVal * 10 + (*p - '0');
        }
        ++p;
    }
    if (bNegative) {
        nVal = -nVal;
    }
    p_nOut = nVal > INT_MAX ? INT_MAX : (nVal < INT_MIN ? INT_MIN : (s32)nVal);
    p_pText = p;
    return true;
}

// "(%d,%d)" over one piece: fields are stored left to right until the first mismatch.
void scanPair(const char* p_pBegin, const char* p_pEnd, s32& p_nKey, s32& p_nValue)
{
    const char* p = p_pBegin;
    if (p >= p_pEnd || *p != '(') {
        return;
    }
    ++p;
    if (!scanInt(p, p_pEnd, p_nKey)) {
        return;
    }
    if (p >= p_pEnd || *p != ',') {
        return;
    }
    ++p;
    scanInt(p, p_pEnd, p_nValue);
}

// A plain decimal number (digits, a "-" at most, no blanks, no more than
// nine digits) at p_pText, in a text that ends in NUL; false for anything else.
bool scanPlainInt(const char*& p_pText, s32& p_nOut)
{
    const char* p = p_pText;
    const bool bNegative = (*p == '-');
    if (bNegative) {
        ++p;
    }
    const char* pDigits = p;
    u32 nVal = 0;  // wraps harmlessly past nine digits, which are refused
    while (isDecimalDigit(*p)) {
        nVal = nVal * 10 + (u32)(*p - '0');
        ++p;
    }
    if (p == pDigits || p - pDigits > 9) {
        return false;
    }
    p_nOut = bNegative ? -(s32)nVal : (s32)nVal;
    p_pText = p;
    return true;
}

u32 magnitude(s32 p_nVal)
{
    return p_nVal < 0 ? 0u - (u32)p_nVal : (u32)p_nVal;
}

// Characters of "%d" of the number.
size_t decimalLen(s32 p_nVal)
{
    size_t nLen = p_nVal < 0 ? 2 : 1;
    for (u32 n = magnitude(p_nVal); n >= 10; n /= 10) {
        ++nLen;
    }
    return nLen;
}

// Writes "%d" of the number so that it ends just before p_pEnd; returns its first character.
char* writeDecimal(char* p_pEnd, s32 p_nVal)
{
    u32 n = magnitude(p_nVal);
    do {
        *--p_pEnd = (char)('0' + n % 10);
        n /= 10;
    } while (n != 0);
    if (p_nVal < 0) {
        *--p_pEnd = '-';
    }
    return p_pEnd;
}

}  // namespace

int sensorAtoi(const char* p_szText)
{
    if (p_szText == NULL) {
        return 0;
    }
    // atoi is one "%d" of the scanner over the whole text; no digits reads as 0.
    const char* p = p_szText;
    s32 nVal = 0;
    return scanInt(p, p_szText + strlen(p_szText), nVal) ? nVal : 0;
}

void keyval_st2str(std::string& p_strOut, KeyVal* p_pKeyVal, unsigned p_nCount)
{
    // Every fetch of all parameters formats the whole set: one exact
    // reservation, and the pairs written as "(%d,%d)" writes them.
    size_t nLen = p_strOut.size();
    for (unsigned i = 0; i < p_nCount; ++i) {
        nLen += 3 + decimalLen((s32)p_pKeyVal[i].key) + decimalLen(p_pKeyVal[i].value);
    }
    p_strOut.reserve(nLen);
    char szPair[32];
    char* pEnd = szPair + sizeof(szPair);
    for (unsigned i = 0; i < p_nCount; ++i) {
        char* p = pEnd;
        *--p = ')';
        p = writeDecimal(p, p_pKeyVal[i].value);
        *--p = ',';
        p = writeDecimal(p, (s32)p_pKeyVal[i].key);
        *--p = '(';
        p_strOut.append(p, (size_t)(pEnd - p));
    }
}

int keyval_str2st(const std::string& p_strText, KeyVal* p_pKeyVal, unsigned* p_pnCount, unsigned p_nCapacity)
{
    unsigned nCount = 0;
    // A pair that does not scan fully keeps the previous pair's fields.
    s32 nKey = 0;
    s32 nValue = 0;
    size_t nPos = 0;
    const char* pText = p_strText.c_str();
    const size_t nLen = p_strText.size();
    size_t nLastOpen = std::string::npos;
    size_t nLastEnd = std::string::npos;
    size_t nNextOpen = std::string::npos;  // the first "(" at or after the last search's start
    while (nPos < nLen) {
        // The usual text, as keyval_st2str writes it: pairs of plain numbers one
        // after the other. None of the characters of such a pair is a ")", so
        // its own ")" is the first after its "(" and the pair is the piece the
        // scan below would take, with the same two fields.
        const char* p = pText + nPos;
        const char* pLastPair = NULL;
        // A pair past the capacity is left to the scan below, which reports it.
        while ('(' == *p && nCount < p_nCapacity) {
            const char* q = p + 1;
            s32 nPairKey = 0;
            s32 nPairValue = 0;
            if (!scanPlainInt(q, nPairKey) || ',' != *q || !scanPlainInt(++q, nPairValue) || ')' != *q) {
                break;
            }
            p_pKeyVal[nCount].key = (u32)nPairKey;
            p_pKeyVal[nCount].value = nPairValue;
            ++nCount;
            pLastPair = p;
            p = q + 1;
        }
        if (pLastPair != NULL) {
            // The fields of the last pair are those a scan that goes on keeps.
            nKey = (s32)p_pKeyVal[nCount - 1].key;
            nValue = p_pKeyVal[nCount - 1].value;
            nLastOpen = (size_t)(pLastPair - pText);
            nLastEnd = (size_t)(p - pText);
            nPos = nLastEnd;
            if (nPos >= nLen) {
                break;
            }
        }

        // No "(" lies between a search's start and what it found, so a later
        // start up to that "(" finds it again.
        size_t nOpen = (nNextOpen != std::string::npos && nNextOpen >= nPos) ? nNextOpen : p_strText.find('(', nPos);
        nNextOpen = nOpen;
        if (nOpen == std::string::npos || nOpen == nLen - 1) {
            break;
        }
        size_t nClose = p_strText.find(')', nPos);
        if (nClose == std::string::npos) {
            break;
        }
        // Unsigned on purpose: a ")" just before the "(" gives an empty piece,
        // one further before gives the rest of the text. The piece is scanned
        // in place; the same piece scanned again (several ")" before one "(")
        // gives the same fields, so it is scanned once.
        size_t nPieceLen = nClose - nOpen + 1;
        size_t nEnd = nPieceLen > nLen - nOpen ? nLen : nOpen + nPieceLen;
        nPos = nClose + 1;
        if (nOpen != nLastOpen || nEnd != nLastEnd) {
            scanPair(pText + nOpen, pText + nEnd, nKey, nValue);
            nLastOpen = nOpen;
            nLastEnd = nEnd;
        }
        if (nCount >= p_nCapacity) {
            *p_pnCount = nCount;
            SENSOR_CHECK_RETURN(*p_pnCount < p_nCapacity, -1, "keyval_str2st: more than %u pairs, text cut\n", p_nCapacity);
        }
        p_pKeyVal[nCount].key = (u32)nKey;
        p_pKeyVal[nCount].value = nValue;
        ++nCount;
    }
    *p_pnCount = nCount;
    return SNS_SUCCESS;
}

int keyval_correct(int p_nChannel_id, KeyVal* p_pKeyval, u32 p_nCount)
{
    SENSOR_CHECK_RETURN(NULL != p_pKeyval, -1);

    ia_dynamic_params_cmds_st dnaCmdList;
    memset(&dnaCmdList, 0, sizeof(dnaCmdList));
    SENSOR_CHECK(SNS_SUCCESS == ia_ioctrl_v2(p_nChannel_id, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, (void*)(&dnaCmdList)));

    s32 nCmds = dnaCmdList.cmd_cnt < 0 ? 0 : dnaCmdList.cmd_cnt;
    if (nCmds > IA_DYNAMIC_CMDS_MAX) {
        nCmds = IA_DYNAMIC_CMDS_MAX;
    }
    for (s32 i = 0; i < nCmds; ++i) {
        u32 index = 0;
        while (index < p_nCount && p_pKeyval[index].key != dnaCmdList.cmd_list[i]) {
            ++index;
        }
        if (index == p_nCount) {
            SENSOR_REPORT("cmd_list[%d]=%d\n", i, dnaCmdList.cmd_list[i]);
            continue;
        }
        SENSOR_DBG("before correct: (%d,%d)\n", p_pKeyval[index].key, p_pKeyval[index].value);
        SENSOR_CHECK(SNS_SUCCESS == ia_ioctrl_v2(p_nChannel_id, (ia_cmd_e)p_pKeyval[index].key, IA_CMD_OPT_CORRECT_PARAM, &p_pKeyval[index].value));
        SENSOR_DBG("after correct: (%d,%d)\n", p_pKeyval[index].key, p_pKeyval[index].value);
    }
    return SNS_SUCCESS;
}

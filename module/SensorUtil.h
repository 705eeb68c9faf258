// Internal helpers shared by the module's source units.
#ifndef MODULE_SENSORUTIL_H
#define MODULE_SENSORUTIL_H

#include <errno.h>
#include <limits.h>
#include <stdlib.h>

// atoi as the texts expect it (leading blanks, sign, digits; no digits is 0),
// but defined for any input: a number out of range saturates.
inline int sensorAtoi(const char* p_szText)
{
    if (p_szText == NULL) {
        return 0;
    }
    errno = 0;
    long nVal = strtol(p_szText, NULL, 10);
    if (nVal > INT_MAX) {
        return INT_MAX;
    }
    if (nVal < INT_MIN) {
        return INT_MIN;
    }
    return (int)nVal;
}

#endif

// Internal helpers shared by the module's source units.
#ifndef MODULE_SENSORUTIL_H
#define MODULE_SENSORUTIL_H

#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include "ia_ioctrl.h"

// atoi as the texts expect it (leading blanks, sign, digits; no digits is 0),
// but defined for any input: a number out of range saturates.
int sensorAtoi(const char* p_szText);

// Room for the data of any library command. A key number that comes from
// outside (a pair list, a key list, a style element) may name a command whose
// data is a record or a list: the sensor check, the command list, the version
// text, the day/night records. The library reads and fills that whole record,
// so a single value whose command is not known to take one word travels in
// this room, word 0 first. The range record is the largest data a command
// has; every caller of a range query reserves 280 bytes, and so does this.
struct SensorCmdRoom {
    s32 anWord[280 / sizeof(s32)];

    explicit SensorCmdRoom(s32 p_nWord)
    {
        memset(anWord, 0, sizeof(anWord));
        anWord[0] = p_nWord;
    }
};

// The same room for a read into the caller's one word: what the library left
// in word 0 goes back to the caller when the room goes out of scope, as it
// would have with the caller's variable as the target.
class SensorCmdReadRoom {
public:
    explicit SensorCmdReadRoom(int& p_nCaller) : m_stRoom(p_nCaller), m_nCaller(p_nCaller) {}
    ~SensorCmdReadRoom() { m_nCaller = m_stRoom.anWord[0]; }

private:
    SensorCmdReadRoom(const SensorCmdReadRoom&);
    SensorCmdReadRoom& operator=(const SensorCmdReadRoom&);

    SensorCmdRoom m_stRoom;  // first member: the object's address is the room's
    int& m_nCaller;
};

#endif

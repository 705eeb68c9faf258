// The time-of-day periods of a channel's schemes, and what the module's numeric answers mean in words.
#ifndef SENSORHOST_SCHEDULE_H
#define SENSORHOST_SCHEDULE_H

#include <string>
#include <vector>

#include "ISensorController.h"

namespace sensorhost {

// A scheme's period: from start (included) to end (excluded), minutes of the day.
struct Period {
    int scheme = 0;
    int startHour = 0;
    int startMinute = 0;
    int endHour = 24;
    int endMinute = 0;
    int check = 0;  // what flush answers for it: 0, or 505 to 507
};

// "HH:MM-HH:MM", hours 0 to 24, minutes 0 to 59.
bool parsePeriod(const std::string& text, Period& period);
std::string formatPeriod(const Period& period);

// Every user scheme's period. The channel switches to each scheme in turn and
// back, with the sensor thread's switching paused meanwhile.
std::vector<Period> readSchedule(ISensorController& controller, int schemes);
// Sets and saves one scheme's period: flush's answer. A period flush refuses
// leaves the scheme as saved before.
int setPeriod(ISensorController& controller, const Period& period);

// "period start is not before its end", ...; "" for 0.
std::string describeFlush(int result);
// "the image library or the video module refused KEY_BRIGHTNESS (34)"; "" for 0.
std::string describeSet(int result);

}  // namespace sensorhost

#endif

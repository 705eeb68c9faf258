// The time-of-day periods of a channel's schemes.
#include "schedule.h"

#include <cstdio>

#include "keys.h"

namespace sensorhost {

namespace {

// Switches to one scheme for the duration of a read or a change, with the
// sensor thread's own switching paused, and back afterwards.
class SchemeVisit {
public:
    explicit SchemeVisit(ISensorController& controller) : controller_(controller)
    {
        controller_.getParamMode(mode_);
        controller_.getParamScheme(scheme_);
        controller_.setParamMode(0);
    }
    ~SchemeVisit()
    {
        controller_.setParamScheme(scheme_);
        controller_.setParamMode(mode_);
    }
    SchemeVisit(const SchemeVisit&) = delete;
    SchemeVisit& operator=(const SchemeVisit&) = delete;

private:
    ISensorController& controller_;
    int mode_ = 1;
    int scheme_ = 0;
};

}  // namespace

bool parsePeriod(const std::string& text, Period& period)
{
    int used = 0;
    if (std::sscanf(text.c_str(), "%2d:%2d-%2d:%2d%n", &period.startHour, &period.startMinute, &period.endHour,
                    &period.endMinute, &used) != 4 ||
        static_cast<std::size_t>(used) != text.size()) {
        return false;
    }
    for (int hour : {period.startHour, period.endHour}) {
        if (hour < 0 || hour > 24) return false;
    }
    for (int minute : {period.startMinute, period.endMinute}) {
        if (minute < 0 || minute > 59) return false;
    }
    return true;
}

std::string formatPeriod(const Period& period)
{
    char text[16];
    std::snprintf(text, sizeof(text), "%02d:%02d-%02d:%02d", period.startHour % 100, period.startMinute % 100,
                  period.endHour % 100, period.endMinute % 100);
    return text;
}

std::vector<Period> readSchedule(ISensorController& controller, int schemes)
{
    std::vector<Period> periods;
    SchemeVisit visit(controller);
    for (int scheme = 0; scheme < schemes; ++scheme) {
        Period period;
        period.scheme = scheme;
        controller.setParamScheme(scheme);
        controller.getParameter(KEY_SCHEME_START_HOUR, period.startHour);
        controller.getParameter(KEY_SCHEME_START_MIN, period.startMinute);
        controller.getParameter(KEY_SCHEME_END_HOUR, period.endHour);
        controller.getParameter(KEY_SCHEME_END_MIN, period.endMinute);
        period.check = controller.paramCheck();
        periods.push_back(period);
    }
    return periods;
}

int setPeriod(ISensorController& controller, const Period& period)
{
    SchemeVisit visit(controller);
    if (!controller.setParamScheme(period.scheme)) return -1;
    const int values[][2] = {{KEY_SCHEME_START_HOUR, period.startHour},
                             {KEY_SCHEME_START_MIN, period.startMinute},
                             {KEY_SCHEME_END_HOUR, period.endHour},
                             {KEY_SCHEME_END_MIN, period.endMinute}};
    for (const auto& kv : values) {
        const int result = controller.setParameter(kv[0], kv[1], true);
        if (result != 0) {
            controller.resetToLastParameters();
            return result;
        }
    }
    const int result = controller.flush();
    if (result != 0) controller.resetToLastParameters();
    return result;
}

std::string describeFlush(int result)
{
    switch (result) {
    case 0: return "";
    case SENSOR_ERR_START_TIME: return "period start is past 24:00";
    case SENSOR_ERR_END_TIME: return "period end is past 24:00";
    case SENSOR_ERR_START_NOT_BEFORE_END: return "period start is not before its end";
    default: return "the parameter file could not be written";
    }
}

std::string describeSet(int result)
{
    if (result == 0) return "";
    if (result < 0) {
        return "the image library or the video module refused " + keyLabel(static_cast<std::uint32_t>(-result));
    }
    return "the module answered " + std::to_string(result);
}

}  // namespace sensorhost

// Host time: durations with a blocking wait, and the device's local time of day.
#ifndef PLATFORM_PELORATIME_H
#define PLATFORM_PELORATIME_H

class PeloraTime {
public:
    PeloraTime(long p_nSeconds, long p_nMicroseconds) : m_nSeconds(p_nSeconds), m_nMicroseconds(p_nMicroseconds) {}
    long getSeconds() const { return m_nSeconds; }
    long getMicroseconds() const { return m_nMicroseconds; }

    // Sleeps for the given duration.
    static void wait(const PeloraTime& p_objDuration);

private:
    long m_nSeconds;
    long m_nMicroseconds;
};

class PLDeviceTime {
public:
    PLDeviceTime() : m_nYear(1970), m_nMonth(1), m_nDay(1), m_nHour(0), m_nMinute(0), m_nSecond(0) {}
    PLDeviceTime(int p_nYear, int p_nMonth, int p_nDay, int p_nHour, int p_nMinute, int p_nSecond)
        : m_nYear(p_nYear), m_nMonth(p_nMonth), m_nDay(p_nDay), m_nHour(p_nHour), m_nMinute(p_nMinute),
          m_nSecond(p_nSecond)
    {
    }

    // The device's present local time.
    static PLDeviceTime getCurrentTime();

    int getYear() const { return m_nYear; }
    int getMonth() const { return m_nMonth; }
    int getDay() const { return m_nDay; }
    int getHour() const { return m_nHour; }
    int getMinute() const { return m_nMinute; }
    int getSecond() const { return m_nSecond; }

private:
    int m_nYear;
    int m_nMonth;
    int m_nDay;
    int m_nHour;
    int m_nMinute;
    int m_nSecond;
};

#endif

#include "RMCSentence.h"

#include "GGASentence.h"
#include "NMEAFields.h"
#include "base/Numbers.h"

#include <cmath>

void CRMCSentence::Reset()
{
    m_time.clear();
    m_status.clear();
    m_date.clear();
    m_variationDirection.clear();
    m_speedKnots = 0.0;
    m_course = 0.0;
    m_magneticVariation = 0.0;
    m_speedKmh = 0.0;
}

int CRMCSentence::Parse(const CNMEAFields &fields)
{
    m_time.assign(fields.FieldView(1));
    m_status.assign(fields.FieldView(2));
    fields.ReadDouble(7, m_speedKnots);
    fields.ReadDouble(8, m_course);
    m_date.assign(fields.FieldView(9));
    fields.ReadDouble(10, m_magneticVariation);
    m_variationDirection.assign(fields.FieldView(11));
    m_speedKmh = m_speedKnots * kKmhPerKnot;

    if (m_time.size() < 6 || m_date.size() != 6) {
        m_secondsOfDay = 0.0;
    } else {
        const std::string_view time(m_time);
        const std::string_view date(m_date);
        const int hours = ToInt(time.substr(0, 2));
        const int minutes = ToInt(time.substr(2, 2));
        const double seconds = ToDouble(time.substr(4));
        const int day = ToInt(date.substr(0, 2));
        const int month = ToInt(date.substr(2, 2));
        const int year = ToInt(date.substr(4, 2)) + 2000; // no century rule: "99" is 2099
        m_secondsOfDay = (hours * 60 + minutes) * 60 + seconds;
        // Whole seconds; garbage beyond the int range counts as 0 rather than overflowing.
        const int wholeSeconds = std::fabs(seconds) < 2.0e9 ? static_cast<int>(seconds) : 0;
        m_dateTime = LocalTime(year, month, day, hours, minutes, wholeSeconds);
    }

    m_position = PositionFromNMEA(fields, 3);
    return 1;
}

std::time_t CRMCSentence::LocalTime(int year, int month, int day, int hours, int minutes,
                                    int seconds)
{
    MinuteCache &c = m_minuteCache;
    const bool cacheable = seconds >= 0 && seconds < 60;
    if (cacheable && c.year == year && c.month == month && c.day == day && c.hours == hours
        && c.minutes == minutes)
        return c.start + seconds;

    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hours;
    tm.tm_min = minutes;
    tm.tm_sec = cacheable ? 0 : seconds;
    tm.tm_isdst = -1;
    const std::time_t t = std::mktime(&tm);
    if (!cacheable || t == static_cast<std::time_t>(-1))
        return t;
    c = {year, month, day, hours, minutes, t};
    return t + seconds;
}

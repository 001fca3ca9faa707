#pragma once

#include "NMEASentence.h"
#include "base/GeoPosition.h"

#include <cstdint>
#include <ctime>
#include <string>

/// Recommended minimum data: time, status, position, speed, course, date, magnetic variation.
class CRMCSentence : public CNMEASentence
{
public:
    CRMCSentence() { CRMCSentence::Reset(); }

    void Reset() override;
    [[nodiscard]] SentenceType GetType() const override { return kSentenceRMC; }
    int Parse(const CNMEAFields &fields) override;

    static constexpr double kKmhPerKnot = 1.852;

    std::string m_time;   ///< hhmmss.ss UTC as received
    std::string m_status; ///< "A" valid, "V" warning, as received
    double m_speedKnots = 0.0;
    double m_course = 0.0; ///< degrees true
    std::string m_date;    ///< ddmmyy
    double m_magneticVariation = 0.0;
    std::string m_variationDirection;
    double m_speedKmh = 0.0;     ///< knots x 1.852
    double m_secondsOfDay = 0.0; ///< 0 when time or date is malformed
    /// Time and date read as *local* time (daylight saving as the system decides); whoever wants
    /// UTC has to take the zone offset out again.
    std::time_t m_dateTime = 0;
    CGeoPosition m_position;

private:
    std::time_t LocalTime(int year, int month, int day, int hours, int minutes, int seconds);

    // mktime() costs microseconds (it re-reads the zone file when TZ is unset); one call per
    // minute of data is enough since zone offsets change on whole minutes.
    struct MinuteCache {
        int year = -1, month = -1, day = -1, hours = -1, minutes = -1;
        std::time_t start = 0;
    } m_minuteCache;
};

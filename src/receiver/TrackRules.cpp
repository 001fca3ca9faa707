#include "receiver/TrackRules.h"

#include "base/Numbers.h"
#include "geo/Distance.h"
#include "nmea/NMEAParser.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr double kSecondsPerDay = 86400.0;
constexpr double kMetresPerSecondPerKnot = 1852.0 / 3600.0;
// Sub-second times are printed to the millisecond: 0.999 s after 1.0 s is not yet 1 s later.
constexpr double kTimeSlack = 0.0005;

// Days since 1970-01-01 of a proleptic Gregorian date.
std::int64_t DaysFromCivil(int year, unsigned month, unsigned day)
{
    year -= month <= 2 ? 1 : 0;
    const int era = (year >= 0 ? year : year - 399) / 400;
    const auto yearOfEra = static_cast<unsigned>(year - era * 400);
    const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return static_cast<std::int64_t>(era) * 146097 + static_cast<std::int64_t>(dayOfEra) - 719468;
}

// Days since 1970 of an RMC "ddmmyy"; nothing for one that is no date.
std::optional<std::int64_t> DaysOfDate(const std::string &ddmmyy)
{
    if (ddmmyy.size() != 6)
        return std::nullopt;
    for (char c : ddmmyy) {
        if (c < '0' || c > '9')
            return std::nullopt;
    }
    const auto two = [&](std::size_t i) { return (ddmmyy[i] - '0') * 10 + (ddmmyy[i + 1] - '0'); };
    const int day = two(0);
    const int month = two(2);
    const int yy = two(4);
    if (day < 1 || day > 31 || month < 1 || month > 12)
        return std::nullopt;
    // Two-digit years: GPS began in 1980.
    const int year = yy >= 80 ? 1900 + yy : 2000 + yy;
    return DaysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day));
}

std::string FixType(const CNMEAParser &parser)
{
    switch (parser.m_gga.m_quality) {
    case 2:
        return "dgps";
    case 3:
        return "pps";
    default:
        break;
    }
    switch (parser.m_gsa.m_fixMode) {
    case 2:
        return "2d";
    case 3:
        return "3d";
    default:
        return {};
    }
}

} // namespace

void CTrackRules::Reset()
{
    m_epoch.reset();
    m_lastDate.clear();
    m_lastDateSecondsOfDay = 0.0;
    m_segmentOpen = false;
    m_lastFixSeconds = 0.0;
    m_lastWrittenSeconds = 0.0;
    m_lastWrittenPosition = {};
}

void CTrackRules::OnSentence(int type, const CNMEAParser &parser, CTrackSink &sink)
{
    if ((type != kSentenceGGA && type != kSentenceRMC) || !parser.WasUsed())
        return;
    const std::string &time = type == kSentenceGGA ? parser.m_gga.m_time : parser.m_rmc.m_time;
    if (m_epoch && m_epoch->time != time)
        Judge(sink);
    if (!m_epoch) {
        m_epoch = Epoch{};
        m_epoch->time = time;
        m_epoch->secondsOfDay = SecondsOfDay(time).value_or(-1.0);
    }
    if (type == kSentenceGGA)
        TakeGGA(parser);
    else
        TakeRMC(parser);
    // Both came; a sentence without a time cannot be matched with another one.
    if ((m_epoch->gga && m_epoch->rmc) || time.empty())
        Judge(sink);
}

void CTrackRules::Finish(CTrackSink &sink)
{
    if (m_epoch)
        Judge(sink);
    m_segmentOpen = false;
    m_haveFix = false;
    sink.EndSegment();
}

void CTrackRules::TakeGGA(const CNMEAParser &parser)
{
    const CGGASentence &gga = parser.m_gga;
    Epoch &e = *m_epoch;
    e.gga = true;
    e.fix = e.fix && gga.m_quality != 0;
    e.point.position = gga.m_position;
    e.point.elevation = gga.m_altitude - gga.m_geoidSeparation + m_altitudeOffset;
    e.point.satellites = gga.m_satellites;
    // The parser's stand-in for a missing dilution is no measurement; GPX leaves it out.
    if (gga.m_hdop != CGGASentence::kMissingHDOP)
        e.point.hdop = gga.m_hdop;
    e.point.fix = FixType(parser);
}

void CTrackRules::TakeRMC(const CNMEAParser &parser)
{
    const CRMCSentence &rmc = parser.m_rmc;
    Epoch &e = *m_epoch;
    e.rmc = true;
    e.fix = e.fix && rmc.m_status == "A";
    if (!e.gga)
        e.point.position = rmc.m_position;
    e.point.speedMs = rmc.m_speedKnots * kMetresPerSecondPerKnot;
    if (std::isfinite(rmc.m_course) && rmc.m_course >= 0.0 && rmc.m_course < 360.0)
        e.point.course = rmc.m_course;
    if (DaysOfDate(rmc.m_date)) {
        e.date = rmc.m_date;
        if (e.secondsOfDay >= 0.0) {
            m_lastDate = rmc.m_date;
            m_lastDateSecondsOfDay = e.secondsOfDay;
        }
    }
    e.point.fix = FixType(parser);
}

void CTrackRules::Judge(CTrackSink &sink)
{
    Epoch e = std::move(*m_epoch);
    m_epoch.reset();
    if (!e.fix) {
        m_segmentOpen = false;
        m_haveFix = false;
        sink.EndSegment();
        return;
    }
    std::optional<std::int64_t> days;
    if (e.date)
        days = DaysOfDate(*e.date);
    else if (!m_lastDate.empty() && e.secondsOfDay >= 0.0) {
        days = DaysOfDate(m_lastDate);
        // A GGA-only epoch after midnight, the last date from before it.
        if (days && e.secondsOfDay + kSecondsPerDay / 2 < m_lastDateSecondsOfDay)
            ++*days;
    }
    const bool timed = e.secondsOfDay >= 0.0;
    const double seconds =
        timed ? static_cast<double>(days.value_or(0)) * kSecondsPerDay + e.secondsOfDay : 0.0;
    if (days && timed)
        e.point.timeUtcMs = static_cast<std::int64_t>(std::llround(seconds * 1000.0));

    // A gap, or time going backwards (a log joined to an older one): a new stretch.
    if (m_haveFix && timed
        && (seconds - m_lastFixSeconds > kGapSeconds + kTimeSlack || seconds < m_lastFixSeconds)) {
        m_segmentOpen = false;
        sink.EndSegment();
    }
    m_haveFix = true;
    m_lastFixSeconds = timed ? seconds : m_lastFixSeconds;
    if (m_segmentOpen && !IsDue(e.point, seconds))
        return;
    m_segmentOpen = true;
    m_lastWrittenSeconds = seconds;
    m_lastWrittenPosition = e.point.position;
    sink.AddPoint(e.point);
}

bool CTrackRules::IsDue(const CTrackLogPoint &point, double seconds) const
{
    switch (m_rate.kind) {
    case CTrackRate::Kind::EveryFix:
        return true;
    case CTrackRate::Kind::Seconds:
        return seconds - m_lastWrittenSeconds >= m_rate.value - kTimeSlack;
    case CTrackRate::Kind::Distance:
        return Distance(m_lastWrittenPosition, point.position) >= m_rate.value;
    }
    return true;
}

CTrackRate TrackRateOfSetting(std::int32_t value)
{
    if (value == 0)
        return {CTrackRate::Kind::EveryFix, 0.0};
    if (value > 0)
        return {CTrackRate::Kind::Seconds, static_cast<double>(value)};
    return {CTrackRate::Kind::Distance, -static_cast<double>(value)};
}

std::int32_t SettingOfTrackRate(const CTrackRate &rate)
{
    const auto whole = static_cast<std::int32_t>(std::lround(std::clamp(rate.value, 1.0, 1e6)));
    switch (rate.kind) {
    case CTrackRate::Kind::EveryFix:
        return 0;
    case CTrackRate::Kind::Seconds:
        return whole;
    case CTrackRate::Kind::Distance:
        return -whole;
    }
    return 1;
}

std::string TrackFileName(const std::tm &local)
{
    return FormatC("%04d-%02d-%02d_%02d%02d%02d.gpx", local.tm_year + 1900, local.tm_mon + 1,
                   local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

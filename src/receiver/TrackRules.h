#pragma once

#include "base/GeoPosition.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

class CNMEAParser;

/// One point of a track: one receiver epoch (GGA and RMC of the same time) with a fix.
struct CTrackLogPoint {
    CGeoPosition position;
    /// The altimeter's altitude: GGA's altitude less the geoid separation plus the user's
    /// correction. Nothing without a GGA.
    std::optional<double> elevation;
    /// UTC in milliseconds since 1970; nothing before an RMC gave a date.
    std::optional<std::int64_t> timeUtcMs;
    std::optional<double> speedMs; ///< RMC speed, metres per second
    std::optional<double> course;  ///< RMC course, degrees true in [0, 360)
    std::optional<int> satellites; ///< GGA's satellites in use
    std::optional<double> hdop;    ///< GGA's
    /// GPX fix type: "2d", "3d", "dgps", "pps"; empty when unknown.
    std::string fix;
};

/// How often a point goes into the track.
struct CTrackRate {
    enum class Kind { EveryFix, Seconds, Distance };
    Kind kind = Kind::Seconds;
    double value = 1.0; ///< seconds, or metres from the last written point

    friend bool operator==(const CTrackRate &, const CTrackRate &) = default;
};

/// Where the track's decisions go: a GPX file, a test's list.
class CTrackSink
{
public:
    virtual ~CTrackSink() = default;
    /// A point for the open segment; one opens first when none is.
    virtual void AddPoint(const CTrackLogPoint &point) = 0;
    /// The open segment ends (nothing happens while none is open).
    virtual void EndSegment() = 0;
};

/// The track's decisions, without a file: which sentences make an epoch, which epochs hold a
/// fix, where a segment ends (a fix lost, a gap over kGapSeconds, time running backwards, the
/// source gone) and which fixes become points at the chosen rate (the first of a segment always
/// does).
///
/// An epoch is the GGA and RMC of one time text; it is judged once both came, or when a
/// sentence of another time starts the next one. It holds a fix unless one of its sentences
/// denies one (GGA quality 0, RMC status other than A): the window's fix state.
class CTrackRules
{
public:
    static constexpr double kGapSeconds = 10.0;

    void SetRate(CTrackRate rate) { m_rate = rate; }
    [[nodiscard]] CTrackRate GetRate() const { return m_rate; }
    /// Added to every elevation, in metres (the altimeter's correction offset).
    void SetAltitudeOffset(double metres) { m_altitudeOffset = metres; }

    /// After the parser took a line; `type` is what Parse returned.
    void OnSentence(int type, const CNMEAParser &parser, CTrackSink &sink);
    /// The source ended or went away: the epoch being gathered is judged, the segment ends.
    void Finish(CTrackSink &sink);
    /// Forgets everything, as for a new file.
    void Reset();

private:
    struct Epoch {
        std::string time;
        bool gga = false;
        bool rmc = false;
        bool fix = true;
        CTrackLogPoint point;
        double secondsOfDay = -1.0; // -1: no usable time
        std::optional<std::string> date;
    };

    void Judge(CTrackSink &sink);
    void TakeGGA(const CNMEAParser &parser);
    void TakeRMC(const CNMEAParser &parser);
    [[nodiscard]] bool IsDue(const CTrackLogPoint &point, double seconds) const;

    CTrackRate m_rate;
    double m_altitudeOffset = 0.0;
    std::optional<Epoch> m_epoch;
    std::string m_lastDate; // ddmmyy of the last RMC with one
    double m_lastDateSecondsOfDay = 0.0;
    bool m_segmentOpen = false;
    bool m_haveFix = false;
    double m_lastFixSeconds = 0.0; // the last fix's time, to find gaps
    double m_lastWrittenSeconds = 0.0;
    CGeoPosition m_lastWrittenPosition;
};

/// The stored rate ("TrackLogRate"): 0 every fix, N > 0 a point per N seconds, -N a point per N
/// metres.
[[nodiscard]] CTrackRate TrackRateOfSetting(std::int32_t value);
[[nodiscard]] std::int32_t SettingOfTrackRate(const CTrackRate &rate);

/// "YYYY-MM-DD_HHMMSS.gpx" for the local time `local`.
std::string TrackFileName(const std::tm &local);

#pragma once

#include <array>
#include <limits>

/// How current a gauge's value is. Values are never aged in the data; only what the gauges
/// show is.
enum class GaugeFreshness {
    Live,  ///< fed within kStaleAfterSeconds
    Stale, ///< silent for longer: moving parts grey, the age shown
    Gone,  ///< silent for more than kGoneAfterSeconds, or never fed: "---"
};

inline constexpr double kStaleAfterSeconds = 3.0;
inline constexpr double kGoneAfterSeconds = 10.0;

[[nodiscard]] constexpr GaugeFreshness FreshnessOf(double ageSeconds)
{
    if (!(ageSeconds <= kGoneAfterSeconds))
        return GaugeFreshness::Gone;
    return ageSeconds > kStaleAfterSeconds ? GaugeFreshness::Stale : GaugeFreshness::Live;
}

/// The dashboard's feeds, one per instrument.
enum class GaugeFeed { Speed, Heading, Altitude, Time, Satellites, Mileage };
inline constexpr int kGaugeFeedCount = 6;

/// When each feed last arrived, on the clock that ages them: the wall clock with a live
/// receiver, the log's own time (the times of day it carries) while replaying, so a paused or
/// slow replay ages nothing.
class CFeedAges
{
public:
    /// A new kind of source: nothing fed yet on its clock.
    void SetReplaying(bool replaying);
    /// The replay ended: its feeds age on from the log's last time on the wall clock (set it
    /// first), as a receiver's that fell silent do.
    void EndReplay();
    /// The wall clock, in seconds from any origin; used while live.
    void SetWallTime(double seconds);
    /// A time of day from the log (seconds since midnight UTC); the replay clock follows it
    /// and runs on over midnight.
    void OnLogTimeOfDay(double seconds);

    void Fed(GaugeFeed feed);
    /// Forgets every feed (Reset Gauges): all read as never fed.
    void Forget();
    /// Seconds since the feed arrived; infinite before it ever did.
    [[nodiscard]] double Age(GaugeFeed feed) const;
    [[nodiscard]] GaugeFreshness Freshness(GaugeFeed feed) const { return FreshnessOf(Age(feed)); }

private:
    [[nodiscard]] double Now() const;

    static constexpr double kNever = -std::numeric_limits<double>::infinity();
    bool m_replaying = false;
    double m_wallTime = 0.0;
    double m_logTime = kNever; // runs on over midnight
    std::array<double, kGaugeFeedCount> m_fed{kNever, kNever, kNever, kNever, kNever, kNever};
};

#pragma once

#include <ctime>
#include <string>

/// The arithmetic of the compass and the clock, without a window: angles in degrees clockwise
/// from north (or from twelve o'clock), times of day in seconds since midnight.

/// `degrees` in [0, 360); anything that is no number is north.
[[nodiscard]] double NormaliseDegrees(double degrees);

/// The signed turn, in (-180, 180], that takes `from` to `to` the short way round; positive
/// turns clockwise.
[[nodiscard]] double ShortestTurn(double from, double to);

/// A course as the read-outs print it: whole degrees, 0 to 359 (359.6 is north again).
[[nodiscard]] int WholeDegrees(double degrees);

/// The point of the eight-point rose a course is nearest to: "N", "NE", ... "NW".
[[nodiscard]] const char *CompassPoint(double degrees);

/// Where a bearing of the card lies when the card shows `shown` under the lubber mark at the
/// top: `distance` from the centre, x to the right and y down, as on screen.
struct CCardOffset {
    double x = 0.0;
    double y = 0.0;
};
[[nodiscard]] CCardOffset CardOffset(double bearing, double shown, double distance);

/// The card's angle as it follows the course: it turns the short way round, easing in and out
/// over kDurationMs, and a new course met mid-turn carries on from the angle shown.
class CCardTurn
{
public:
    static constexpr double kDurationMs = 300.0;
    /// Degrees: a smaller change is shown at once. A 10 Hz receiver's course wanders by
    /// fractions of a degree every epoch; easing each would repaint the compass at the frame
    /// rate for ever.
    static constexpr double kSmallestTurn = 1.0;

    /// Shows `degrees` at once.
    void Jump(double degrees);
    /// Turns from the angle shown now towards `degrees`; the same target again changes nothing,
    /// a turn under kSmallestTurn jumps.
    void TurnTo(double degrees);
    /// Moves on by `ms`; true while the card is still turning.
    bool Advance(double ms);
    [[nodiscard]] double GetShown() const;
    [[nodiscard]] bool IsTurning() const { return m_elapsed < kDurationMs; }

private:
    double m_from = 0.0;
    double m_target = 0.0;
    double m_turn = 0.0;
    double m_elapsed = kDurationMs;
};

inline constexpr double kSecondsPerDay = 86400.0;

/// `seconds` folded into one day, [0, 86400); anything that is no number is midnight.
[[nodiscard]] double NormaliseTimeOfDay(double seconds);

/// "hh:mm:ss" of a time of day, the seconds cut, not rounded; "--:--:--" for no number.
[[nodiscard]] std::string FormatTimeOfDay(double seconds);

/// How far the system time zone's clocks are ahead of UTC at `at`, in seconds (summer time
/// included). Reads TZ afresh on every call.
[[nodiscard]] long LocalOffsetSeconds(std::time_t at);

/// The angles of a clock's hands, degrees clockwise from twelve. The hour and minute hands
/// move smoothly; the second hand steps from second to second.
struct CHandAngles {
    double hour = 0.0;
    double minute = 0.0;
    double second = 0.0;
};
[[nodiscard]] CHandAngles HandAngles(double secondsOfDay);

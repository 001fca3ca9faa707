#pragma once

#include "base/GeoPosition.h"
#include "waypoints/Waypoint.h"

#include <ctime>
#include <optional>

class CNMEAParser;
class CRMCSentence;

/// What one RMC sentence asks of the window: the decisions of the fix events, without a window.
struct CFixActions {
    enum class Sound { None, FixGained, FixLost };

    double speedKmh = 0.0;  ///< for the speedometer; 0 without a fix
    bool fixGained = false; ///< tell the map page: fix
    bool fixLost = false;   ///< tell the map page: no fix
    Sound sound = Sound::None;
    std::optional<std::time_t> setClockUtc; ///< set the system clock to this UTC time
    bool updateCompass = false;             ///< give the compass course, bearing and distance
    double course = 0.0;
    double bearing = -1.0; ///< -1: no target
    double distance = -1.0;
    bool mileageSample = false; ///< give the mileage counter the position/time sample
    bool updateList = false;    ///< rebuild the List page
};

/// The fix-held state and what its changes trigger.
class CFixEvents
{
public:
    /// Below this speed (km/h) the compass keeps its reading: a standing receiver's course is
    /// noise.
    static constexpr double kCompassMinSpeedKmh = 1.0;

    /// After an RMC was parsed. The clock is set only when a fix is gained, `autoSync` is on and
    /// the source is a live port (never a replay). `target` is the goto waypoint, null without
    /// one: the compass gets the bearing and the distance in metres to it.
    CFixActions OnRMC(const CNMEAParser &parser, bool playSound, bool autoSync, bool livePort,
                      const CWaypoint *target = nullptr);

    /// The receiver went away: the fix is lost as if an RMC without one had come, and the
    /// List page is rebuilt from values that no longer claim a fix (CNMEAParser::ForgetFix).
    CFixActions OnReceiverLost(bool playSound);

    [[nodiscard]] bool HasFix() const { return m_fixHeld; }

private:
    bool m_fixHeld = false;
};

/// The RMC date and time as UTC seconds. The sentence keeps them read as local time; the clock
/// wants the receiver's fields taken as UTC.
std::time_t RMCTimeAsUTC(const CRMCSentence &rmc);

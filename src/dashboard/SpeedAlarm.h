#pragma once

#include "base/Units.h"

#include <optional>
#include <string>

/// What the user sets in the Speed Alarm dialog; speeds in km/h whatever unit they were typed in.
struct CSpeedAlarmSettings {
    bool on = false;
    double limitKmh = 120.0;
    /// Speeds up to the limit plus this never warn: a speedometer reads a little high, a GPS
    /// does not.
    double toleranceKmh = 5.0;
    /// The speed must stay over limit plus tolerance this long before the warning.
    double delaySeconds = 3.0;

    bool operator==(const CSpeedAlarmSettings &) const = default;
};

/// What one speed sample asks of the window.
struct CSpeedAlarmStep {
    bool sound = false;   ///< play the alarm
    bool changed = false; ///< the warning came or went
};

/// The overspeed warning, without a window. Over means above limit + tolerance; the warning
/// comes once the speed has been over for the delay without a break, and sounds then and at most
/// once every kRepeatSeconds while the speed stays over. It goes only once the speed is at or
/// below the limit less kClearBelowKmh, so a speed hovering around the threshold neither flickers
/// nor sounds again. Times are seconds on the receiver's clock (the RMC's date and time), so a
/// replay warns as the drive did.
class CSpeedAlarm
{
public:
    static constexpr double kRepeatSeconds = 60.0;
    static constexpr double kClearBelowKmh = 2.0;

    /// Off clears the warning.
    CSpeedAlarmStep SetSettings(const CSpeedAlarmSettings &settings);
    [[nodiscard]] const CSpeedAlarmSettings &GetSettings() const { return m_settings; }

    /// A speed with a fix at `seconds`. A time before the last one (another log) starts the
    /// delay afresh.
    CSpeedAlarmStep Update(double seconds, double speedKmh);
    /// No speed for now (the fix lost): the delay starts afresh; the warning stays until a speed
    /// clears it.
    void Interrupt();
    /// The source closed: no warning.
    CSpeedAlarmStep Clear();

    [[nodiscard]] bool IsWarning() const { return m_warning; }

private:
    CSpeedAlarmSettings m_settings;
    bool m_warning = false;
    std::optional<double> m_overSince;
    double m_lastSound = 0.0;
    std::optional<double> m_lastTime;
};

/// A speed in km/h in the unit system's speed unit, and back.
[[nodiscard]] double SpeedInUnits(double kmh, UnitSystem units);
[[nodiscard]] double SpeedFromUnits(double value, UnitSystem units);
/// "120 km/h", "74.6 mph": whole numbers without decimals, else one.
[[nodiscard]] std::string SpeedText(double kmh, UnitSystem units);
/// The warning on the pages and in the status line: "Over speed limit 120 km/h".
[[nodiscard]] std::string SpeedWarningText(double limitKmh, UnitSystem units);

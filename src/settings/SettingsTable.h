#pragma once

#include "base/GnssMode.h"

#include <cstdint>

/// The program's own key; the subsystems' keys lie under it.
inline constexpr const char *kAppKey = "Software/Veloran";
/// The Dashboard page's key: its instruments, and night mode, which began as the page's.
inline constexpr const char *kDashboardKey = "Software/Veloran/Dashboard";

/// The trip computer's figures, kept across restarts: doubles in metres, seconds and km/h.
inline constexpr const char *kTripKey = "Software/Veloran/Trip";
/// The speed alarm: "On" (0 off), "Limit" and "Tolerance" (doubles, km/h), "Delay" (seconds).
inline constexpr const char *kSpeedAlarmKey = "Software/Veloran/SpeedAlarm";
/// The digital dashboard's "Page": 0 the read-outs, 1 the trip computer.
inline constexpr const char *kDigitalDashboardKey = "Software/Veloran/DigitalDashboard";

/// A number of the settings: where it lives, its name, and what it reads as when it is missing
/// or no number.
struct CStoredNumber {
    const char *key;
    const char *name;
    std::int32_t fallback;
};

/// A text of the settings: where it lives and its name; missing reads as empty.
struct CStoredText {
    const char *key;
    const char *name;
};

/// The Map page's key: its switches (CMapPageSettings) and the tile cache.
inline constexpr const char *kMapsKey = "Software/Veloran/Maps";
/// The memory the Map page keeps tiles of tile maps in, in megabytes (at least 16).
inline constexpr CStoredNumber kTileCacheSetting{kMapsKey, "TileCacheMB", 256};

/// The receiver source as a URL (serial:, gpsd://, tcp://, tcp-listen://, udp://); empty: the
/// serial port of the "SerialPort" key.
inline constexpr CStoredText kSourceSetting{kAppKey, "Source"};

/// The digital dashboard as a head-up display, mirrored left to right on black; 0 off.
inline constexpr CStoredNumber kHeadUpSetting{kDigitalDashboardKey, "HeadUp", 0};

// The window's switches; any number but 0 is on.
inline constexpr CStoredNumber kAutoConnectSetting{kAppKey, "AutoConnect", 0};
inline constexpr CStoredNumber kAutoSyncSetting{kAppKey, "AutoSync", 0};
inline constexpr CStoredNumber kPlaySoundSetting{kAppKey, "PlaySound", 1};

// The main window as it closed: where it was while neither maximised nor full screen (no width:
// never stored), and how it showed (WindowShow: 0 normal, 1 maximised, 2 full screen).
inline constexpr CStoredNumber kWindowLeftSetting{kAppKey, "WindowLeft", 0};
inline constexpr CStoredNumber kWindowTopSetting{kAppKey, "WindowTop", 0};
inline constexpr CStoredNumber kWindowWidthSetting{kAppKey, "WindowWidth", 0};
inline constexpr CStoredNumber kWindowHeightSetting{kAppKey, "WindowHeight", 0};
inline constexpr CStoredNumber kWindowShowSetting{kAppKey, "WindowShow", 0};

// The display settings. A number outside the enumeration reads as the fallback.
inline constexpr CStoredNumber kNightModeSetting{kDashboardKey, "NightMode", 0};
/// NightColours: 0 red on black, 1 the instruments inverted.
inline constexpr CStoredNumber kNightColoursSetting{kAppKey, "NightColours", 0};
/// NightMap: 0 dimmed and red, 1 only dimmed; in the red night colours only.
inline constexpr CStoredNumber kNightMapSetting{kAppKey, "NightMap", 0};
/// Night mode switched at sunset and sunrise at the last fix: 0 off, any other number on.
inline constexpr CStoredNumber kNightFollowsSunSetting{kAppKey, "NightFollowsSun", 0};
/// UnitSystem; the Map page keeps one of its own under its key.
inline constexpr CStoredNumber kUnitsSetting{kAppKey, "OperationMode", 1};
/// CoordinateFormat.
inline constexpr CStoredNumber kProjectionSetting{kAppKey, "Projection", 1};
inline constexpr CStoredNumber kAdvancedFileSelectorSetting{kAppKey, "AdvancedFileSelector", 0};
/// Touch-size controls: 0 off, any other number on; missing until the user chooses, and the
/// screen decides meanwhile.
inline constexpr CStoredNumber kLargeControlsSetting{kAppKey, "LargeControls", 0};
// The GPX track log: on or off, replays too or not, and the rate (TrackRateOfSetting: 0 every
// fix, N seconds, -N metres).
inline constexpr CStoredNumber kTrackLogSetting{kAppKey, "TrackLog", 0};
inline constexpr CStoredNumber kTrackReplaysSetting{kAppKey, "TrackLogReplays", 0};
inline constexpr CStoredNumber kTrackRateSetting{kAppKey, "TrackLogRate", 1};
/// GnssMode: AllSystemsValue.
inline constexpr CStoredNumber kAllSystemsSetting{kAppKey, "AllSystems", 1};

/// The stored "AllSystems" value: 1 all satellite systems (the default), 0 GPS only.
[[nodiscard]] constexpr std::int32_t AllSystemsValue(GnssMode mode)
{
    return mode == GnssMode::AllSystems ? 1 : 0;
}

/// Any value but 0 reads as all systems, as the other switches of the key do.
[[nodiscard]] constexpr GnssMode GnssModeOfAllSystemsValue(std::int32_t value)
{
    return value != 0 ? GnssMode::AllSystems : GnssMode::GpsOnly;
}

/// The speed that locked last time on each serial device, for the automatic baud rate to try
/// first; a value per device, named by its path (LastSpeedName).
inline constexpr const char *kLastSpeedsKey = "Software/Veloran/SerialPort/LastSpeeds";

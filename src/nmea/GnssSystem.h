#pragma once

#include "base/GnssMode.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

/// "all" / "gps", as on the command line.
[[nodiscard]] std::optional<GnssMode> GnssModeFromName(std::string_view name);

/// Satellite systems in the order the pages list them.
enum class GnssSystem : std::uint8_t {
    GPS,
    SBAS,
    GLONASS,
    Galileo,
    BeiDou,
    QZSS,
    NavIC,
    Unknown,
};

inline constexpr int kGnssSystemCount = 8;

/// "GPS", "SBAS", "GLONASS", "Galileo", "BeiDou", "QZSS", "NavIC", "other".
[[nodiscard]] const char *GnssSystemName(GnssSystem system);
/// Three letters for tight places: "GPS", "SBA", "GLO", "GAL", "BDS", "QZS", "NAV", "?".
[[nodiscard]] const char *GnssSystemShortName(GnssSystem system);

/// A satellite as a system and its number within that system (GLONASS slot 1-24, SBAS PRN
/// 120-158, Galileo 1-36...). Receivers number the same satellite differently; this is what
/// identifies it across talkers and signals.
struct CSatelliteId {
    GnssSystem system = GnssSystem::Unknown;
    std::int32_t number = 0;
    auto operator<=>(const CSatelliteId &) const = default;
};

/// The system a talker speaks for; GN, PQ and unknown talkers give Unknown.
[[nodiscard]] GnssSystem SystemOfTalker(std::string_view talker);
/// The system of an NMEA 4.10 system ID (1 GPS ... 6 NavIC); Unknown for anything else.
[[nodiscard]] GnssSystem SystemOfNmeaId(std::int32_t id);

/// Normalises a satellite number as sent. `hint` is the system the sentence says it is about
/// (system ID, else talker); a number outside that system's ranges, or no hint, is placed by
/// its range alone. GPS hints also cover SBAS; BeiDou numbers are never taken for SBAS.
[[nodiscard]] CSatelliteId NormaliseSatellite(GnssSystem hint, std::int32_t number);

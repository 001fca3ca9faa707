#pragma once

#include "GnssSystem.h"

#include <cstdint>
#include <string_view>

/// The NMEA 4.10 signal ID of a GSV group: one hexadecimal digit (BeiDou's B2I is "B").
/// Returns -1 for anything else.
[[nodiscard]] std::int32_t ReadSignalId(std::string_view field);

/// The band a system's signal ID stands for, as users know it: "L1", "L5", "G1", "E1", "E5a",
/// "B1I"... Signals of one band share a name (GPS L5-I and L5-Q are both "L5"). Empty for an
/// unknown ID, for 0 (all signals) and when no ID was sent (-1).
[[nodiscard]] std::string_view GnssSignalName(GnssSystem system, std::int32_t signalId);

#pragma once

#include <cstdint>

/// How the data core reads the receiver.
enum class GnssMode : std::uint8_t {
    /// Any talker, every satellite system, LF line ends, lines up to kMaxSentenceBytes.
    AllSystems,
    /// "$GP" tags only, 82-byte lines, the 12-slot tables: for receivers that mix systems
    /// badly, and for logs that must read exactly as they did before all systems.
    GpsOnly,
};

#pragma once

#include "receiver/BaudHunt.h"

#include <chrono>
#include <functional>
#include <vector>

class CHuntPort;

/// How long the hunt waits at each speed.
struct CHuntTiming {
    /// After the speed change and a flush: bytes on their way at the old speed, in a USB
    /// adapter or the driver, arrive meanwhile and go with the second flush.
    std::chrono::milliseconds settle{200};
    /// Long enough for a receiver sending once a second to be heard twice over.
    std::chrono::milliseconds listen{1500};
};

enum class HuntEnd {
    Locked,     ///< a receiver speaks at `speed`
    Silence,    ///< nothing came at any speed
    Garbage,    ///< bytes came, but no speed made sense of them
    Stopped,    ///< the stop event was signalled
    PortFailed, ///< the port went away, or took none of the speeds
};

struct CHuntResult {
    HuntEnd end = HuntEnd::Silence;
    int speed = 0;                         ///< Locked
    StreamKind kind = StreamKind::Silence; ///< Locked: Nmea, SirfBinary or Ubx
    int errorNumber = 0;                   ///< PortFailed
    std::vector<CBaudTry> tries;           ///< every speed listened to, in order

    [[nodiscard]] bool IsLocked() const { return end == HuntEnd::Locked; }
};

/// Runs `hunt` on `port`. At each speed: `progress(speed)`, set the speed, flush, settle, flush,
/// then listen until the window ends, bytes enough to judge came, or NMEA is heard; SiRF binary
/// and UBX keep listening in case NMEA follows (u-blox receivers send both). `stopFd` (an eventfd,
/// -1 for none) ends the hunt between any two steps. A SirfBinary lock is a SiRF receiver left
/// in binary mode: it needs the switch back to NMEA before the reader can use it.
CHuntResult HuntBaudRate(CHuntPort &port, CBaudHunt &hunt, int stopFd,
                         const std::function<void(int speed)> &progress,
                         const CHuntTiming &timing = {});

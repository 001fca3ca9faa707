#pragma once

#include <array>
#include <cstddef>
#include <string>

/// Pauses before each epoch's GGA while replaying (Log > Replay Speed), in milliseconds: 100 %
/// replays one epoch per second.
inline constexpr unsigned kReplayDelay100Percent = 1000;
inline constexpr unsigned kReplayDelay200Percent = 500;
inline constexpr unsigned kReplayDelay400Percent = 250;
inline constexpr unsigned kInitialReplayDelay = kReplayDelay200Percent;

/// One rung of the replay speed ladder; `percent` 0 is as fast as the window takes the lines.
struct CReplaySpeed {
    unsigned percent;
    unsigned delayMs;
};

/// Slowest first. 1600 % waits 62 ms, not 62.5: the reader counts whole milliseconds.
inline constexpr std::array<CReplaySpeed, 8> kReplaySpeeds = {{{25, 4000},
                                                               {50, 2000},
                                                               {100, kReplayDelay100Percent},
                                                               {200, kReplayDelay200Percent},
                                                               {400, kReplayDelay400Percent},
                                                               {800, 125},
                                                               {1600, 62},
                                                               {0, 0}}};

/// The rung of `delayMs`, or the rung nearest to it in speed (a delay from the command line).
[[nodiscard]] std::size_t ReplaySpeedRung(unsigned delayMs);
/// The delay `steps` rungs faster (negative: slower) than `delayMs`, held at the ends.
[[nodiscard]] unsigned StepReplaySpeed(unsigned delayMs, int steps);
/// "25 %" ... "1600 %", "Fastest"; a delay off the ladder reads "N ms".
[[nodiscard]] std::string ReplaySpeedText(unsigned delayMs);

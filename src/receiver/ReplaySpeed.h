#pragma once

/// Pauses before each epoch's GGA while replaying (Log > Replay Speed), in milliseconds: 100 %
/// replays one epoch per second.
inline constexpr unsigned kReplayDelay100Percent = 1000;
inline constexpr unsigned kReplayDelay200Percent = 500;
inline constexpr unsigned kReplayDelay400Percent = 250;
inline constexpr unsigned kInitialReplayDelay = kReplayDelay200Percent;

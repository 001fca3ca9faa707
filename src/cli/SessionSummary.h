#pragma once

#include <chrono>

class CReceiverSession;

/// Seconds since `start`.
[[nodiscard]] double SecondsSince(std::chrono::steady_clock::time_point start);

/// What a replay or a listen took in: the count per sentence type, refused lines, lines, seconds
/// and lines per second, one per line; with `json` one object on one line.
void PrintSessionSummary(const CReceiverSession &session, double seconds, bool json);

#pragma once

#include <chrono>
#include <string>

class CReceiverSession;

/// Seconds since `start`.
[[nodiscard]] double SecondsSince(std::chrono::steady_clock::time_point start);

/// What a replay or a listen took in: the count per sentence type, refused lines, lines, seconds
/// and lines per second, one per line; with `json` one object on one line.
void PrintSessionSummary(const CReceiverSession &session, double seconds, bool json);

/// The exit status of a replay or a listen that ran (`status` so far), saying on standard error
/// why it is not 0: the recording to `record` stopped with `writeError`, or `signal` ended
/// `command`.
[[nodiscard]] int EndOfRunStatus(const char *command, int status, const std::string &record,
                                 const std::string &writeError, int signal);

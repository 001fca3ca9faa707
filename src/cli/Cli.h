#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Exit statuses: 1 for a file that cannot be read or written (standard output included), 2 for
/// a bad command line.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFile = 1;
inline constexpr int kExitUsage = 2;
/// Plus the signal number: a replay ended by a signal, as shells report it.
inline constexpr int kExitSignal = 128;

/// Prints "veloran-cli: <message>" to stderr and returns kExitUsage.
int UsageError(const std::string &message);

/// A finite decimal number, the whole argument; locale-independent.
bool ParseNumberArgument(std::string_view text, double &value);
/// Prints "veloran-cli: cannot write output: <reason>" and returns kExitFile.
int OutputError(int errorCode);

int RunParse(const std::vector<std::string_view> &args);
int RunPosition(const std::vector<std::string_view> &args);
int RunDistance(const std::vector<std::string_view> &args);
int RunTrack(const std::vector<std::string_view> &args);
int RunReplay(const std::vector<std::string_view> &args);
int RunListen(const std::vector<std::string_view> &args);
int RunWaypoints(const std::vector<std::string_view> &args);
int RunMaps(const std::vector<std::string_view> &args);
int RunSirf(const std::vector<std::string_view> &args);
int RunPorts(const std::vector<std::string_view> &args);

bool IsHelp(std::string_view arg);

#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The name of `device`'s value under kLastSpeedsKey: its path with every byte but letters,
/// digits, "_" and "-" written as "." and two hex digits ("/dev/ttyUSB0" is ".2Fdev.2FttyUSB0"),
/// so that no "/" or "\" makes a group of it, the settings file keeps it as it is, and no two
/// paths share a name. The path is taken as given: a /dev/serial/by-id name stays with its
/// receiver, while /dev/ttyUSB0 is whichever adapter was plugged in first.
[[nodiscard]] std::string LastSpeedName(std::string_view device);

/// The speed stored for `device`; nothing when none is, or it is no positive number.
[[nodiscard]] std::optional<int> LoadLastSpeed(std::string_view device);
/// Remembers `speed` as the one that locked on `device`.
void StoreLastSpeed(std::string_view device, int speed);

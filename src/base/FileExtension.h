#pragma once

#include <string>
#include <string_view>

/// The name a save dialog's answer stands for: `path` with "." and `extension` appended when
/// its file name (the part after the last '/') has no extension of its own. An extension is what
/// follows the file name's last dot when it is made of letters and digits with at least one
/// letter, and the dot is not the name's first character: "trip.v2" and "log.TXT" keep theirs,
/// while "drive 12.5", "2024.03.01", ".hidden" and "Mr. Smith" get one added. A trailing dot is
/// taken as asking for the extension ("drive1." reads "drive1.nmea"). An empty path, and one
/// ending in '/', stay as they are.
std::string WithDefaultExtension(std::string_view path, std::string_view extension);

#pragma once

#include "storage/AtomicFile.h"

#include <string>
#include <vector>

inline constexpr const char *kWaypointFileName = "Waypoints.wdb";
/// Read while "Waypoints.wdb" is missing; put in place once with the factory cities, never
/// saved to.
inline constexpr const char *kWorldpointFileName = "Worldpoints.wdb";
inline constexpr const char *kMapFileName = "MapInfo.gdb";
/// Read while "MapInfo.gdb" is missing; never written.
inline constexpr const char *kWorldmapFileName = "Worldmap.gdb";

/// The four databases of the program in `directory` (waypoints and maps, with their fallbacks),
/// which no export may replace.
inline std::vector<std::string> ProgramDatabasePaths(const std::string &directory)
{
    std::vector<std::string> paths;
    for (const char *name :
         {kWaypointFileName, kWorldpointFileName, kMapFileName, kWorldmapFileName})
        paths.push_back(JoinDatabasePath(directory, name));
    return paths;
}

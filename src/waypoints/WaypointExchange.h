#pragma once

#include "waypoints/Waypoint.h"

#include <cstddef>
#include <string>
#include <string_view>

struct CWriteFault;

enum class WaypointFileType { GPX, LOC };

/// No database holds more (kMaxWaypoints): a file with more items is no use to import.
inline constexpr std::size_t kMaxImportWaypoints = 1000000;

inline constexpr const char *kLoadFailedMessage = "failed to load file!";
inline constexpr const char *kImportFailedMessage = "import attempt failed!";
inline constexpr const char *kNoWaypointsMessage = "No waypoints imported.";

enum class ImportStatus { Ok, LoadFailed, SelectFailed, TooMany };

struct CImportResult {
    ImportStatus status = ImportStatus::Ok;
    CWaypointList waypoints; ///< in document order
    std::string detail;      ///< why loading failed (errno text, parser message, size)
    /// Waypoints left out for a latitude or longitude no position can have (NaN, infinite,
    /// beyond +-90 or +-180). A missing or unreadable one still reads as 0.
    int skipped = 0;
};

/// Reads "/gpx/wpt" or "/loc/waypoint" from a file; a default namespace is ignored. No external
/// file is read and no entity expanded; an oversized file fails to load. A file with more than
/// `maxWaypoints` items is refused (TooMany) before its tree is built.
CImportResult ImportWaypoints(const std::string &path, WaypointFileType type,
                              std::size_t maxWaypoints = kMaxImportWaypoints);
/// The same from bytes in memory.
CImportResult ImportWaypointsFromText(std::string_view text, WaypointFileType type,
                                      std::size_t maxWaypoints = kMaxImportWaypoints);

/// The GPX 1.0 document of the list, in list order; waypoints whose position no GPX reader takes
/// (NaN, infinite, out of range) are left out and counted in `skipped`.
std::string ExportGPX(const CWaypointList &waypoints, int *skipped = nullptr);
/// Writes ExportGPX atomically to `path`; 0 or the errno.
int ExportGPXFile(const std::string &path, const CWaypointList &waypoints,
                  const CWriteFault *fault = nullptr, int *skipped = nullptr);

/// "%d waypoint(s) successfully imported." / "%d waypoints successfully exported."
std::string ImportedMessage(int count);
std::string ExportedMessage(int count);
/// "%d waypoint(s) with impossible coordinates skipped."
std::string SkippedMessage(int count);

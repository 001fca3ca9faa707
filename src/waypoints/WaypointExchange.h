#pragma once

#include "waypoints/Waypoint.h"

#include <string>
#include <string_view>

struct CWriteFault;

enum class WaypointFileType { GPX, LOC };

inline constexpr const char *kLoadFailedMessage = "failed to load file!";
inline constexpr const char *kImportFailedMessage = "import attempt failed!";
inline constexpr const char *kNoWaypointsMessage = "No waypoints imported.";

enum class ImportStatus { Ok, LoadFailed, SelectFailed };

struct CImportResult {
    ImportStatus status = ImportStatus::Ok;
    CWaypointList waypoints; ///< in document order
    std::string detail;      ///< why loading failed (errno text, parser message, size)
};

/// Reads "/gpx/wpt" or "/loc/waypoint" from a file; a default namespace is ignored. No external
/// file is read and no entity expanded; an oversized file fails to load.
CImportResult ImportWaypoints(const std::string &path, WaypointFileType type);
/// The same from bytes in memory.
CImportResult ImportWaypointsFromText(std::string_view text, WaypointFileType type);

/// The GPX 1.0 document of the list, in list order.
std::string ExportGPX(const CWaypointList &waypoints);
/// Writes ExportGPX atomically to `path`; 0 or the errno.
int ExportGPXFile(const std::string &path, const CWaypointList &waypoints,
                  const CWriteFault *fault = nullptr);

/// "%d waypoint(s) successfully imported." / "%d waypoints successfully exported."
std::string ImportedMessage(int count);
std::string ExportedMessage(int count);

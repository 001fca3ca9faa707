#pragma once

#include "maps/PositionPair.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Calibration files other programs write for a scanned map.
enum class CalibrationFormat { OziMap, WorldFile, Kml };

/// The format a file name's extension names: .map; .jgw .pgw .tfw .gfw .wld .tifw .jpgw .pngw
/// .gifw; .kml (case-insensitive). Empty for any other name.
std::optional<CalibrationFormat> CalibrationFormatOfPath(const std::string &path);

/// A calibration fitted to the map model (longitude linear in x, latitude linear in y).
struct CCalibrationImport {
    bool ok = false;
    std::string error;                ///< one line for the user when !ok
    std::vector<CPositionPair> pairs; ///< image corner (0,0) first, (width,height) last
    double maxErrorPixels = 0.0;      ///< worst misfit of the source's points under the model
    double maxErrorMetres = 0.0;      ///< the same on the ground
    int sourcePoints = 0;             ///< how many points the fit used
};

/// Parses `bytes` in `format` for an image of `width` × `height` pixels and fits the model by
/// least squares, each axis on its own. Garbage gives !ok with a reason, never a crash.
CCalibrationImport ImportCalibration(std::string_view bytes, CalibrationFormat format, int width,
                                     int height);

/// Reads the file (at most kMaxCalibrationBytes) and imports it in the format of its extension.
CCalibrationImport ImportCalibrationFile(const std::string &path, int width, int height);

/// Far above any calibration file; a bigger one is refused unread.
inline constexpr std::size_t kMaxCalibrationBytes = std::size_t{4} << 20;

/// The calibration files beside an image: same folder and base name with each known extension
/// (the extension's case ignored), existing regular files only; Ozi map first, then world files,
/// then KML.
std::vector<std::string> FindCalibrationFiles(const std::string &imagePath);

/// The fit misses some source point by more than two pixels: the user must confirm it.
inline bool NeedsConfirmation(const CCalibrationImport &i)
{
    return i.maxErrorPixels > 2.0;
}

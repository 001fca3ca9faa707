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

/// Where a GeoTIFF says it lies: its georeferencing tags and the GeoKeys read here, 0 (or empty)
/// for what the file lacks.
struct CGeoTiffKeys {
    int width = 0;
    int height = 0;
    std::vector<double> tiepoints;      ///< ModelTiepointTag: i, j, k, x, y, z per point
    std::vector<double> pixelScale;     ///< ModelPixelScaleTag: x, y, z
    std::vector<double> transformation; ///< ModelTransformationTag: 4 × 4, row by row
    int modelType = 0;                  ///< GTModelTypeGeoKey: 1 projected, 2 geographic
    int rasterType = 0;                 ///< GTRasterTypeGeoKey: 1 PixelIsArea, 2 PixelIsPoint
    int geographicType = 0;             ///< GeographicTypeGeoKey: 4326 is WGS 84
    int geodeticDatum = 0;              ///< GeogGeodeticDatumGeoKey: 6326 is WGS 84
    int angularUnits = 0;               ///< GeogAngularUnitsGeoKey: 9102 is the degree
    int projectedType = 0;              ///< ProjectedCSTypeGeoKey: 326zz, 327zz are UTM zones
    int linearUnits = 0;                ///< ProjLinearUnitsGeoKey: 9001 is the metre
};

/// Fits the map model to a GeoTIFF's georeferencing like a calibration file: WGS 84 latitude and
/// longitude or UTM zones of WGS 84, from a tiepoint and pixel scale, a transformation or
/// several tiepoints. Anything else gives !ok with a reason.
CCalibrationImport ImportGeoTiff(const CGeoTiffKeys &keys);

/// The fit misses some source point by more than two pixels: the user must confirm it.
inline bool NeedsConfirmation(const CCalibrationImport &i)
{
    return i.maxErrorPixels > 2.0;
}

#pragma once

#include "maps/CalibrationImport.h"
#include "maps/TilePyramid.h"

#include <memory>
#include <string>

/// .tif or .tiff, the case ignored.
bool IsTiffPath(const std::string &path);

/// Makes the GeoTIFF tags known to libtiff for the whole process, so that other readers of TIFFs
/// through the same library (Qt's) do not warn of them as unknown. Safe to call again.
void RegisterGeoTiffTags();

/// Reads a TIFF's size and georeferencing. false with a line for the user when the file is no
/// TIFF or is damaged; a TIFF without georeferencing reads with no tags and every key 0.
bool ReadGeoTiffKeys(const std::string &path, CGeoTiffKeys &keys, std::string &error);

/// The calibration a GeoTIFF carries, fitted to its own size. `georeferenced` says whether the
/// file has any georeferencing at all: a plain TIFF gives !ok with it false.
CCalibrationImport ImportGeoTiffFile(const std::string &path, bool &georeferenced);

/// A tiled TIFF read tile by tile: the full image and each reduced-resolution image the file
/// holds (gdaladdo's overviews) as levels. A file without them gets levels of its own: those
/// just above the full image are averaged from its tiles when read; the coarse ones come from
/// one overview of at most kTiffOverviewSide pixels a side, made on the first read that needs
/// it by streaming the tiles once. nullptr with an empty error for a TIFF that is not tiled;
/// nullptr with a line for the user for a damaged or unreadable one.
std::unique_ptr<CTilePyramid> OpenTiffPyramid(const std::string &path, std::string &error);

inline constexpr int kTiffOverviewSide = 1024;

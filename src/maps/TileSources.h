#pragma once

#include "maps/MapInfo.h"
#include "maps/TilePyramid.h"

#include <memory>
#include <string>

/// How a tile folder numbers its rows: XYZ from the north (slippy maps), TMS from the south.
///
/// Detect: a folder holding tilemapresource.xml (the Tile Map Service document gdal2tiles
/// writes unless told --xyz) is TMS, unless its BoundingBox lies only in the rows read the XYZ
/// way; any other folder is XYZ, the order of the tile downloaders. Nothing in the tiles
/// themselves tells the two apart, so a TMS folder without that file must be named by the caller.
enum class TileRowOrder { Detect, XYZ, TMS };

/// What DescribeTileSource found. When `ok` is false only `error` (one line) says anything.
struct CTileSourceInfo {
    bool ok = false;
    std::string error;
    TileSourceKind kind = TileSourceKind::None;
    /// The absolute .mbtiles path, or the folder template ("/data/alps/{z}/{x}/{y}.png", or
    /// "{-y}" for TMS rows): what the map record keeps as its file.
    std::string file;
    /// The MBTiles `name`, else the file or folder's base name.
    std::string name;
    /// "png", "jpg" or "webp".
    std::string format;
    int minZoom = 0;
    int maxZoom = 0;
    /// Degrees, west < east unless the bounds cross the antimeridian.
    double west = 0.0;
    double south = 0.0;
    double east = 0.0;
    double north = 0.0;
};

/// Reads an MBTiles file's metadata (zooms and bounds missing there are taken from the tiles
/// table), or scans a tile folder (given as the folder or as a template): its zooms are the
/// numbered subfolders, its bounds the tilemapresource.xml BoundingBox or else the tiles present
/// at the maximum zoom. `order` matters only for a folder given without a template. The file is
/// opened read-only; a vector, damaged or foreign file gives `ok` false and a message.
CTileSourceInfo DescribeTileSource(const std::string &path,
                                   TileRowOrder order = TileRowOrder::Detect);

/// The map record of a described source (see MakeTileSourceMap).
CMapInfo TileSourceMap(const CTileSourceInfo &info);

/// The tiles of a tile source record: level i is zoom m_tileZoom − i down to the least detailed
/// zoom stored. nullptr with `error` set when the source is missing or damaged; nullptr with an
/// empty `error` for a map that is no tile source (a sheet).
std::unique_ptr<CTilePyramid> OpenTilePyramid(const CMapInfo &map, std::string &error);

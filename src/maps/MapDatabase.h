#pragma once

#include "maps/MapInfo.h"
#include "storage/DatabaseFile.h"
#include "storage/ProgramDatabases.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Far beyond any real database; a larger file is refused.
inline constexpr std::size_t kMaxMapFileBytes = 256u << 20;
/// The most maps a database may hold, and reference pairs a map: a reader refuses more, so no
/// save writes more.
inline constexpr std::size_t kMaxMaps = 100000;
inline constexpr std::size_t kMaxMapPairs = 100000;
/// Shown (caption "ERROR") when no database opens, one is damaged, or a save fails.
inline constexpr const char *kMapDatabaseMessage = "Unable to open\nMap-Database.";

/// The database bytes of a list: the count, then per map its pairs (longitude, latitude, x, y,
/// name), file, width, height and name.
std::string EncodeMaps(const CMapList &maps);

/// Reads a list from database bytes into `out` (appended), calibrating every map read. Bytes
/// after the counted maps are ignored. Returns false when the bytes break inside the list (the
/// maps complete before that point are kept), count more maps or pairs than the limits, or are
/// text rather than a database (nothing is read then).
bool DecodeMaps(std::string_view bytes, CMapList &out);

/// 0, or EFBIG when a reader would refuse the list (too many maps or pairs, too many bytes).
int CheckMapLimits(const CMapList &maps);
/// The codec that SaveDatabaseChanges needs for a map database.
const CDatabaseCodec<CMapInfo> &MapCodec();

struct CMapLoad : CDatabaseRead {
    CMapList maps;
};

/// Reads "MapInfo.gdb" in `directory`, else "Worldmap.gdb".
CMapLoad LoadMapDatabase(const std::string &directory);
/// Reads the database file at `path` (no fallback).
CMapLoad LoadMapFile(const std::string &path);

/// The calibrated map containing `position` with the largest |x scale| (the most detailed);
/// the earlier map wins a tie. -1 when none contains it.
int SelectMapForPosition(const CMapList &maps, const CGeoPosition &position);

/// The factory world map: the whole earth on an equirectangular image of the given size,
/// calibrated by its corners.
CMapInfo MakeWorldMap(const std::string &imageFile, std::int32_t width, std::int32_t height);

/// Puts "Worldmap.gdb" naming `imageFile` into `directory` when neither database is there.
/// Returns 0 when written or not needed (`written` tells which), else the errno.
int InstallWorldMapDatabase(const std::string &directory, const std::string &imageFile,
                            std::int32_t width, std::int32_t height, bool *written = nullptr);

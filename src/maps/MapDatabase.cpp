#include "maps/MapDatabase.h"

#include "storage/Archive.h"
#include "storage/AtomicFile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <sys/stat.h>

namespace
{

// The shortest map a file can hold: a count, three empty strings and two 32-bit sizes; the
// shortest pair: two doubles, two 32-bit numbers and an empty string.
constexpr std::size_t kMinMapBytes = 2 + 3 * 1 + 2 * 4;
constexpr std::size_t kMinPairBytes = 2 * 8 + 2 * 4 + 1;

bool ReadPair(CArchiveReader &reader, CPositionPair &pair)
{
    return reader.ReadDouble(pair.m_position.m_longitude)
           && reader.ReadDouble(pair.m_position.m_latitude) && reader.ReadInt32(pair.m_point.x)
           && reader.ReadInt32(pair.m_point.y) && reader.ReadString(pair.m_name);
}

bool ReadMap(CArchiveReader &reader, CMapInfo &map)
{
    std::uint32_t count = 0;
    if (!reader.ReadCount(count) || count > kMaxMapPairs)
        return false;
    map.m_pairs.reserve(std::min<std::size_t>(count, reader.GetRemaining() / kMinPairBytes));
    for (std::uint32_t i = 0; i < count; ++i) {
        CPositionPair pair;
        if (!ReadPair(reader, pair))
            return false;
        map.m_pairs.push_back(std::move(pair));
    }
    if (!(reader.ReadString(map.m_file) && reader.ReadInt32(map.m_width)
          && reader.ReadInt32(map.m_height) && reader.ReadString(map.m_name)))
        return false;
    map.Calibrate();
    return true;
}

} // namespace

std::string EncodeMaps(const CMapList &maps)
{
    CArchiveWriter writer;
    std::size_t size = 6;
    for (const CMapInfo &map : maps) {
        size += 6 + 2 * 10 + 2 * 4 + 2 * (map.m_file.size() + map.m_name.size());
        for (const CPositionPair &pair : map.m_pairs)
            size += 10 + 2 * 8 + 2 * 4 + 2 * pair.m_name.size();
    }
    writer.Reserve(size);
    writer.WriteCount(static_cast<std::uint32_t>(maps.size()));
    for (const CMapInfo &map : maps) {
        writer.WriteCount(static_cast<std::uint32_t>(map.m_pairs.size()));
        for (const CPositionPair &pair : map.m_pairs) {
            writer.WriteDouble(pair.m_position.m_longitude);
            writer.WriteDouble(pair.m_position.m_latitude);
            writer.WriteInt32(pair.m_point.x);
            writer.WriteInt32(pair.m_point.y);
            writer.WriteString(pair.m_name);
        }
        writer.WriteString(map.m_file);
        writer.WriteInt32(map.m_width);
        writer.WriteInt32(map.m_height);
        writer.WriteString(map.m_name);
    }
    return writer.TakeBytes();
}

bool DecodeMaps(std::string_view bytes, CMapList &out)
{
    if (LooksLikeText(bytes))
        return false;
    CArchiveReader reader(bytes);
    std::uint32_t count = 0;
    if (!reader.ReadCount(count) || count > kMaxMaps)
        return false;
    out.reserve(out.size() + std::min<std::size_t>(count, reader.GetRemaining() / kMinMapBytes));
    for (std::uint32_t i = 0; i < count; ++i) {
        CMapInfo map;
        if (!ReadMap(reader, map))
            return false;
        out.push_back(std::move(map));
    }
    return true;
}

int CheckMapLimits(const CMapList &maps)
{
    if (maps.size() > kMaxMaps)
        return EFBIG;
    std::size_t bytes = maps.size() < 0xFFFF ? 2 : 6;
    for (const CMapInfo &map : maps) {
        if (map.m_pairs.size() > kMaxMapPairs)
            return EFBIG;
        bytes += 6 + EncodedStringSize(map.m_file) + EncodedStringSize(map.m_name) + 2 * 4;
        for (const CPositionPair &pair : map.m_pairs)
            bytes += 2 * 8 + 2 * 4 + EncodedStringSize(pair.m_name);
    }
    return bytes > kMaxMapFileBytes ? EFBIG : 0;
}

const CDatabaseCodec<CMapInfo> &MapCodec()
{
    static const CDatabaseCodec<CMapInfo> codec{.encode = EncodeMaps,
                                                .decode = DecodeMaps,
                                                .checkLimits = CheckMapLimits,
                                                .maxBytes = kMaxMapFileBytes,
                                                .maxCount = kMaxMaps,
                                                .noun = "map"};
    return codec;
}

CMapLoad LoadMapFile(const std::string &path)
{
    CMapLoad load;
    static_cast<CDatabaseRead &>(load) = ReadDatabaseFile(path, MapCodec(), load.maps);
    return load;
}

CMapLoad LoadMapDatabase(const std::string &directory)
{
    return LoadFirstDatabase<CMapLoad>(directory, {kMapFileName, kWorldmapFileName}, LoadMapFile);
}

int SelectMapForPosition(const CMapList &maps, const CGeoPosition &position)
{
    int chosen = -1;
    double bestScale = 0.0;
    for (std::size_t i = 0; i < maps.size(); ++i) {
        const CMapInfo &map = maps[i];
        if (!map.IsCalibrated() || !map.ContainsPosition(position))
            continue;
        const double scale = std::fabs(map.m_xScale);
        if (chosen < 0 || scale > bestScale) {
            chosen = static_cast<int>(i);
            bestScale = scale;
        }
    }
    return chosen;
}

CMapInfo MakeWorldMap(const std::string &imageFile, std::int32_t width, std::int32_t height)
{
    CMapInfo map;
    map.m_name = "World";
    map.m_file = imageFile;
    map.m_width = width;
    map.m_height = height;
    CPositionPair northWest;
    northWest.m_name = "North-West";
    northWest.m_position = {90.0, -180.0, 0.0};
    CPositionPair southEast;
    southEast.m_name = "South-East";
    southEast.m_point = {width, height};
    southEast.m_position = {-90.0, 180.0, 0.0};
    map.m_pairs = {northWest, southEast};
    map.Calibrate();
    return map;
}

int InstallWorldMapDatabase(const std::string &directory, const std::string &imageFile,
                            std::int32_t width, std::int32_t height, bool *written)
{
    if (written != nullptr)
        *written = false;
    struct stat info {
    };
    for (const char *name : {kMapFileName, kWorldmapFileName}) {
        if (::lstat(JoinDatabasePath(directory, name).c_str(), &info) == 0)
            return 0;
    }
    const int error = ReplaceFileAtomically(JoinDatabasePath(directory, kWorldmapFileName),
                                            EncodeMaps({MakeWorldMap(imageFile, width, height)}));
    if (written != nullptr)
        *written = error == 0;
    return error;
}

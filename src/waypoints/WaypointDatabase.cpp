#include "waypoints/WaypointDatabase.h"

#include "storage/Archive.h"
#include "storage/DatabaseFile.h"

#include <algorithm>
#include <cerrno>

namespace
{

// The shortest waypoint a file can hold: two one-byte empty narrow strings, three doubles and
// two 32-bit codes. A count is never trusted for more than the bytes left can hold.
constexpr std::size_t kMinWaypointBytes = 1 + 3 * 8 + 1 + 2 * 4;
// A waypoint's bytes besides its text: two string headers of at most 10 bytes and the numbers.
constexpr std::size_t kMaxFixedWaypointBytes = 2 * 10 + 3 * 8 + 2 * 4;

bool ReadWaypoint(CArchiveReader &reader, CWaypoint &w)
{
    return reader.ReadString(w.m_name) && reader.ReadDouble(w.m_position.m_longitude)
           && reader.ReadDouble(w.m_position.m_latitude) && reader.ReadDouble(w.m_radius)
           && reader.ReadString(w.m_description) && reader.ReadInt32(w.m_type)
           && reader.ReadInt32(w.m_action);
}

} // namespace

std::string EncodeWaypoints(const CWaypointList &waypoints)
{
    CArchiveWriter writer;
    // UTF-8 never takes fewer bytes than UTF-16 units: twice the text's bytes always suffice.
    std::size_t size = 6;
    for (const CWaypoint &w : waypoints)
        size += kMaxFixedWaypointBytes + 2 * (w.m_name.size() + w.m_description.size());
    writer.Reserve(size);
    writer.WriteCount(static_cast<std::uint32_t>(waypoints.size()));
    for (const CWaypoint &w : waypoints) {
        writer.WriteString(w.m_name);
        writer.WriteDouble(w.m_position.m_longitude);
        writer.WriteDouble(w.m_position.m_latitude);
        writer.WriteDouble(w.m_radius);
        writer.WriteString(w.m_description);
        writer.WriteInt32(w.m_type);
        writer.WriteInt32(w.m_action);
    }
    return writer.TakeBytes();
}

bool DecodeWaypoints(std::string_view bytes, CWaypointList &out)
{
    if (LooksLikeText(bytes))
        return false;
    CArchiveReader reader(bytes);
    std::uint32_t count = 0;
    if (!reader.ReadCount(count) || count > kMaxWaypoints)
        return false;
    out.reserve(out.size()
                + std::min<std::size_t>(count, reader.GetRemaining() / kMinWaypointBytes));
    for (std::uint32_t i = 0; i < count; ++i) {
        CWaypoint w;
        if (!ReadWaypoint(reader, w))
            return false;
        out.push_back(std::move(w));
    }
    return true;
}

int CheckWaypointLimits(const CWaypointList &waypoints, std::size_t *encodedBytes)
{
    if (encodedBytes != nullptr)
        *encodedBytes = 0;
    if (waypoints.size() > kMaxWaypoints)
        return EFBIG;
    std::size_t bytes = waypoints.size() < 0xFFFF ? 2 : 6;
    for (const CWaypoint &w : waypoints)
        bytes += EncodedStringSize(w.m_name) + EncodedStringSize(w.m_description) + 3 * 8 + 2 * 4;
    if (encodedBytes != nullptr)
        *encodedBytes = bytes;
    return bytes > kMaxWaypointFileBytes ? EFBIG : 0;
}

std::string WaypointLimitText()
{
    return "at most " + std::to_string(kMaxWaypoints) + " waypoints and "
           + std::to_string(kMaxWaypointFileBytes >> 20) + " MiB";
}

const CDatabaseCodec<CWaypoint> &WaypointCodec()
{
    static const CDatabaseCodec<CWaypoint> codec{
        .encode = EncodeWaypoints,
        .decode = DecodeWaypoints,
        .checkLimits =
            [](const CWaypointList &waypoints) { return CheckWaypointLimits(waypoints); },
        .maxBytes = kMaxWaypointFileBytes,
        .maxCount = kMaxWaypoints,
        .noun = "waypoint"};
    return codec;
}

CWaypointLoad LoadWaypointFile(const std::string &path)
{
    CWaypointLoad load;
    static_cast<CDatabaseRead &>(load) = ReadDatabaseFile(path, WaypointCodec(), load.waypoints);
    return load;
}

CWaypointLoad LoadWaypointDatabase(const std::string &directory)
{
    return LoadFirstDatabase<CWaypointLoad>(directory, {kWaypointFileName, kWorldpointFileName},
                                            LoadWaypointFile);
}

// Waypoint database bytes as a damaged or hostile file holds them: decoding must neither crash
// nor allocate by a count, and whatever decodes must survive a save and a reload unchanged.
#include "waypoints/WaypointDatabase.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace
{

// NaN coordinates are legal in a file but never equal themselves; the bytes check covers them.
bool SameNumber(double a, double b)
{
    return (std::isnan(a) && std::isnan(b)) || a == b;
}

bool Same(const CWaypoint &a, const CWaypoint &b)
{
    return a.m_name == b.m_name && a.m_description == b.m_description && a.m_type == b.m_type
           && a.m_action == b.m_action && SameNumber(a.m_radius, b.m_radius)
           && SameNumber(a.m_position.m_latitude, b.m_position.m_latitude)
           && SameNumber(a.m_position.m_longitude, b.m_position.m_longitude)
           && b.m_position.m_height == 0.0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    CWaypointList list;
    if (!DecodeWaypoints(bytes, list))
        return 0;

    const std::string saved = EncodeWaypoints(list);
    CWaypointList reloaded;
    if (!DecodeWaypoints(saved, reloaded) || reloaded.size() != list.size())
        __builtin_trap();
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (!Same(list[i], reloaded[i]))
            __builtin_trap();
    }
    // Texts are normalised by the first decode (Latin-1, lone surrogates): from then on stable.
    if (EncodeWaypoints(reloaded) != saved)
        __builtin_trap();
    return 0;
}

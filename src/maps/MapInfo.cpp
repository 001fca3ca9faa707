#include "maps/MapInfo.h"

#include "geo/WebMercator.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>

std::int32_t TruncateToPixel(double value)
{
    // Converting a NaN or an out-of-range double to int is undefined behaviour.
    constexpr double kLow = static_cast<double>(std::numeric_limits<std::int32_t>::min());
    constexpr double kHigh = static_cast<double>(std::numeric_limits<std::int32_t>::max());
    if (!(value > kLow - 1.0 && value < kHigh + 1.0))
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}

namespace
{

struct Transform {
    double originLongitude = 0.0;
    double originLatitude = 0.0;
    double xScale = 0.0;
    double yScale = 0.0;
};

// The transform of the first and the last pair, or the reason they give none.
const char *ComputeTransform(const CPositionPair &a, const CPositionPair &b, Transform &t)
{
    // In double: pixels of a damaged file can lie 2^32 apart.
    const double dx = static_cast<double>(b.m_point.x) - a.m_point.x;
    const double dy = static_cast<double>(b.m_point.y) - a.m_point.y;
    double aLongitude = a.m_position.m_longitude;
    double bLongitude = b.m_position.m_longitude;
    const double dLatitude = b.m_position.m_latitude - a.m_position.m_latitude;
    if (!std::isfinite(aLongitude) || !std::isfinite(bLongitude) || !std::isfinite(dLatitude))
        return "a reference point's position is no number";
    if (dx == 0.0)
        return "the first and last reference points have the same x (pixel column)";
    if (dy == 0.0)
        return "the first and last reference points have the same y (pixel row)";
    if (dLatitude == 0.0)
        return "the first and last reference points have the same latitude";
    if (bLongitude == aLongitude)
        return "the first and last reference points have the same longitude";
    // East to the right, across the antimeridian: the eastern point lies past 180.
    if ((bLongitude - aLongitude) * dx < 0.0 && std::fabs(bLongitude - aLongitude) > 180.0) {
        if (dx > 0.0)
            bLongitude += 360.0;
        else
            aLongitude += 360.0;
    }
    t.xScale = dx / (bLongitude - aLongitude);
    t.yScale = dy / dLatitude;
    t.originLongitude = aLongitude - a.m_point.x / t.xScale;
    t.originLatitude = a.m_position.m_latitude - a.m_point.y / t.yScale;
    if (!std::isfinite(t.xScale) || !std::isfinite(t.yScale) || t.xScale == 0.0 || t.yScale == 0.0
        || !std::isfinite(t.originLongitude) || !std::isfinite(t.originLatitude))
        return "the reference points give no usable scale";
    return nullptr;
}

// A tile source's zoom and offset from its first and last pair; false when they give none.
bool ComputeMercator(const CPositionPair &a, const CPositionPair &b, int &zoom,
                     std::int32_t &offsetX, std::int32_t &offsetY)
{
    const double dx = static_cast<double>(b.m_point.x) - a.m_point.x;
    const double dLongitude = b.m_position.m_longitude - a.m_position.m_longitude;
    if (!(dx > 0.0 && dLongitude > 0.0) || !std::isfinite(dLongitude)
        || !std::isfinite(a.m_position.m_latitude) || !std::isfinite(b.m_position.m_latitude))
        return false;
    const double world = dx * 360.0 / dLongitude;
    const double level = std::round(std::log2(world / kTilePixels));
    if (!(level >= 0.0 && level <= kMaxTileZoom))
        return false;
    zoom = static_cast<int>(level);
    // Whole pixels at a power-of-two world: anything else is not a tile source's record.
    if (std::fabs(world / MercatorWorldPixels(zoom) - 1.0) > 0.01)
        return false;
    const double x = std::round(MercatorX(a.m_position.m_longitude, zoom) - a.m_point.x);
    const double y = std::round(MercatorY(a.m_position.m_latitude, zoom) - a.m_point.y);
    const double limit = MercatorWorldPixels(zoom);
    if (!(std::fabs(x) <= limit && std::fabs(y) <= limit))
        return false;
    offsetX = static_cast<std::int32_t>(x);
    offsetY = static_cast<std::int32_t>(y);
    return true;
}

bool EndsWithNoCase(std::string_view text, std::string_view suffix)
{
    return text.size() >= suffix.size()
           && std::equal(
               suffix.begin(), suffix.end(), text.end() - suffix.size(),
               [](char s, char t) { return std::tolower(static_cast<unsigned char>(t)) == s; });
}

} // namespace

TileSourceKind TileSourceKindOfPath(std::string_view file)
{
    if (EndsWithNoCase(file, ".mbtiles"))
        return TileSourceKind::MBTiles;
    if (file.find("{z}") != std::string_view::npos && file.find("{x}") != std::string_view::npos
        && (file.find("{y}") != std::string_view::npos
            || file.find("{-y}") != std::string_view::npos))
        return TileSourceKind::Folder;
    return TileSourceKind::None;
}

CMapInfo MakeTileSourceMap(std::string name, std::string file, double west, double south,
                           double east, double north, int maxZoom)
{
    CMapInfo map;
    map.m_name = std::move(name);
    map.m_file = std::move(file);
    const int zoom = std::clamp(maxZoom, 0, kMaxTileZoom);
    const double world = MercatorWorldPixels(zoom);
    if (east < west)
        east += 360.0; // across the antimeridian: kept up to it
    const double left = std::clamp(std::floor(MercatorX(west, zoom)), 0.0, world - 1.0);
    const double top = std::clamp(std::floor(MercatorY(north, zoom)), 0.0, world - 1.0);
    const double right = std::clamp(std::ceil(MercatorX(east, zoom)), left + 1.0, world);
    const double bottom = std::clamp(std::ceil(MercatorY(south, zoom)), top + 1.0, world);
    map.m_width = static_cast<std::int32_t>(right - left);
    map.m_height = static_cast<std::int32_t>(bottom - top);
    CPositionPair topLeft;
    topLeft.m_position.m_longitude = MercatorLongitude(left, zoom);
    topLeft.m_position.m_latitude = MercatorLatitude(top, zoom);
    CPositionPair bottomRight;
    bottomRight.m_point = {map.m_width, map.m_height};
    bottomRight.m_position.m_longitude = MercatorLongitude(right, zoom);
    bottomRight.m_position.m_latitude = MercatorLatitude(bottom, zoom);
    map.m_pairs = {topLeft, bottomRight};
    map.Calibrate();
    return map;
}

std::string CalibrationProblem(const std::vector<CPositionPair> &pairs)
{
    Transform t;
    if (pairs.size() < 2)
        return {};
    const char *problem = ComputeTransform(pairs.front(), pairs.back(), t);
    return problem == nullptr ? std::string() : std::string(problem);
}

bool CMapInfo::Calibrate()
{
    m_projection = TileSourceKindOfPath(m_file) == TileSourceKind::None
                       ? MapProjection::PlateCarree
                       : MapProjection::WebMercator;
    if (m_pairs.size() < 2)
        return false;
    if (m_projection == MapProjection::WebMercator) {
        const CPositionPair &a = m_pairs.front();
        const CPositionPair &b = m_pairs.back();
        const double dy = static_cast<double>(b.m_point.y) - a.m_point.y;
        const double dLatitude = b.m_position.m_latitude - a.m_position.m_latitude;
        m_originLongitude = m_originLatitude = m_xScale = m_yScale = 0.0;
        if (!ComputeMercator(a, b, m_tileZoom, m_offsetX, m_offsetY) || dy == 0.0
            || dLatitude == 0.0)
            return false;
        // The mean scales over the map: what the waypoint circles and the map choice use.
        m_xScale = MercatorWorldPixels(m_tileZoom) / 360.0;
        m_yScale = dy / dLatitude;
        m_originLongitude = MercatorLongitude(m_offsetX, m_tileZoom);
        m_originLatitude = MercatorLatitude(m_offsetY, m_tileZoom);
        return IsCalibrated();
    }
    Transform t;
    if (ComputeTransform(m_pairs.front(), m_pairs.back(), t) != nullptr)
        t = Transform(); // never an infinite or NaN scale: the map stays uncalibrated
    m_originLongitude = t.originLongitude;
    m_originLatitude = t.originLatitude;
    m_xScale = t.xScale;
    m_yScale = t.yScale;
    return IsCalibrated();
}

bool CMapInfo::PositionToPixel(const CGeoPosition &position, CMapPoint &pixel) const
{
    if (!IsCalibrated())
        return false;
    if (m_projection == MapProjection::WebMercator) {
        pixel.x = TruncateToPixel(MercatorX(position.m_longitude, m_tileZoom) - m_offsetX);
        pixel.y = TruncateToPixel(MercatorY(position.m_latitude, m_tileZoom) - m_offsetY);
        return true;
    }
    double longitude = position.m_longitude;
    // A map running past the antimeridian holds -175 as 185.
    const double edgeAt0 = m_originLongitude;
    const double edgeAtWidth = m_originLongitude + m_width / m_xScale;
    const double east = std::max(edgeAt0, edgeAtWidth);
    const double west = std::min(edgeAt0, edgeAtWidth);
    const double middle = 0.5 * (west + east);
    if (east > 180.0 && std::fabs(longitude + 360.0 - middle) < std::fabs(longitude - middle))
        longitude += 360.0;
    pixel.x = TruncateToPixel((longitude - m_originLongitude) * m_xScale);
    pixel.y = TruncateToPixel((position.m_latitude - m_originLatitude) * m_yScale);
    return true;
}

bool CMapInfo::PixelToPosition(const CMapPoint &pixel, CGeoPosition &position) const
{
    if (!IsCalibrated())
        return false;
    if (m_projection == MapProjection::WebMercator) {
        position.m_longitude =
            MercatorLongitude(static_cast<double>(pixel.x) + m_offsetX, m_tileZoom);
        position.m_latitude =
            MercatorLatitude(static_cast<double>(pixel.y) + m_offsetY, m_tileZoom);
        return true;
    }
    position.m_longitude = pixel.x / m_xScale + m_originLongitude;
    if (position.m_longitude > 180.0 && position.m_longitude - 360.0 >= -180.0)
        position.m_longitude -= 360.0;
    position.m_latitude = pixel.y / m_yScale + m_originLatitude;
    return true;
}

bool CMapInfo::ContainsPosition(const CGeoPosition &position) const
{
    CMapPoint pixel;
    if (!PositionToPixel(position, pixel))
        return false;
    if (m_projection == MapProjection::WebMercator
        && !(std::fabs(position.m_latitude) <= kMercatorMaxLatitude))
        return false;
    return pixel.x >= 0 && pixel.x <= m_width && pixel.y >= 0 && pixel.y <= m_height;
}

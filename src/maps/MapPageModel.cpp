#include "maps/MapPageModel.h"

#include "base/Numbers.h"
#include "geo/Distance.h"
#include "maps/MapDatabase.h"
#include "maps/ReceptionColour.h"
#include "maps/TileCover.h"
#include "waypoints/WaypointNavigator.h"

#include <cmath>

std::string MapNameOfFile(const std::string &file)
{
    const std::size_t slash = file.find_last_of('/');
    return slash == std::string::npos ? file : file.substr(slash + 1);
}

const CMapInfo *CMapPageModel::GetCurrentMap() const
{
    if (m_current < 0 || static_cast<std::size_t>(m_current) >= m_maps.size())
        return nullptr;
    return &m_maps[static_cast<std::size_t>(m_current)];
}

bool CMapPageModel::IsCurrentCalibrated() const
{
    const CMapInfo *map = GetCurrentMap();
    return map != nullptr && map->IsCalibrated();
}

unsigned CMapPageModel::SetMaps(CMapList maps)
{
    m_maps = std::move(maps);
    return ShowMap(m_maps.empty() ? -1 : 0);
}

unsigned CMapPageModel::ShowMap(int index)
{
    m_current = index;
    const CMapInfo *map = GetCurrentMap();
    if (map == nullptr)
        m_current = -1;
    m_viewport.SetBitmapSize(map ? map->m_width : 0, map ? map->m_height : 0);
    m_tileLevels.clear();
    UpdateZoomRange();
    m_viewport.CentreOnBitmap();
    m_track.clear();
    m_trackEnd.reset();
    return kMapSwitched | kMapViewMoved | kMapRedraw;
}

unsigned CMapPageModel::AddMap(const std::string &file, int width, int height)
{
    CMapInfo map;
    map.m_name = MapNameOfFile(file);
    map.m_file = file;
    map.m_width = width;
    map.m_height = height;
    m_maps.push_back(std::move(map));
    return ShowMap(static_cast<int>(m_maps.size()) - 1);
}

unsigned CMapPageModel::AddMap(CMapInfo map)
{
    m_maps.push_back(std::move(map));
    return ShowMap(static_cast<int>(m_maps.size()) - 1);
}

unsigned CMapPageModel::ReplaceMaps(CMapList maps, int chosen)
{
    m_maps = std::move(maps);
    m_settings.autoSelectMap = false;
    if (chosen >= 0)
        return ShowMap(chosen);
    // The current map may have been removed or moved up by a removal before it.
    if (GetCurrentMap() == nullptr)
        return ShowMap(-1);
    return kMapViewMoved | kMapRedraw;
}

void CMapPageModel::SetCurrentPairs(std::vector<CPositionPair> pairs)
{
    if (m_current < 0)
        return;
    CMapInfo &map = m_maps[static_cast<std::size_t>(m_current)];
    map.m_pairs = std::move(pairs);
    map.Calibrate();
}

void CMapPageModel::SetBitmapSize(int width, int height)
{
    m_viewport.SetBitmapSize(width, height);
    UpdateZoomRange();
}

void CMapPageModel::SetClientSize(int width, int height)
{
    m_viewport.SetClientSize(width, height);
    UpdateZoomRange();
}

void CMapPageModel::SetTileLevels(std::vector<CTileLevel> levels)
{
    m_tileLevels = std::move(levels);
    UpdateZoomRange();
}

void CMapPageModel::UpdateZoomRange()
{
    if (m_tileLevels.empty()) {
        m_viewport.SetZoomRange(0.0, 0.0);
        return;
    }
    const CZoomRange range =
        TileZoomRange(m_tileLevels, m_viewport.GetBitmapWidth(), m_viewport.GetBitmapHeight(),
                      m_viewport.GetClientWidth(), m_viewport.GetClientHeight());
    m_viewport.SetZoomRange(range.smallest, range.largest);
}

unsigned CMapPageModel::ChooseMapFor(const CGeoPosition &position)
{
    const int chosen = SelectMapForPosition(m_maps, position);
    // No map holds the position: the current one stays rather than leaving the page blank.
    if (chosen < 0 || chosen == m_current)
        return kMapUnchanged;
    return ShowMap(chosen);
}

unsigned CMapPageModel::NewPosition(const CGeoPosition &position)
{
    m_positionPair.m_position.m_latitude = position.m_latitude;
    m_positionPair.m_position.m_longitude = position.m_longitude;
    if (!IsCurrentCalibrated())
        return kMapUnchanged;
    unsigned changes = kMapUnchanged;
    if (m_settings.trackPosition && !GetCurrentMap()->ContainsPosition(position)) {
        changes |= ChooseMapFor(position);
        m_fixCounter = 1;
    } else if (m_settings.autoSelectMap) {
        const unsigned turn = m_fixCounter % 5;
        ++m_fixCounter;
        if (turn == 0) {
            changes |= ChooseMapFor(position);
            m_fixCounter = 1;
        }
    }
    CMapPoint pixel;
    if (!GetCurrentMap()->PositionToPixel(position, pixel))
        return changes;
    if (pixel != m_positionPair.m_point) {
        m_positionPair.m_point = pixel;
        AddTrackPoint(pixel, m_markerColour);
        changes |= kMapTrackGrew | kMapRedraw;
    }
    if (m_settings.trackPosition && m_viewport.GetCentre() != pixel) {
        m_viewport.SetCentre(pixel);
        changes |= kMapViewMoved | kMapRedraw;
    }
    return changes;
}

void CMapPageModel::SetReceiving(bool receiving)
{
    if (!receiving)
        DiscardTrackEnd();
}

void CMapPageModel::SetReception(double ratio)
{
    if (m_settings.colourReception)
        m_markerColour = ReceptionColour(ratio);
}

void CMapPageModel::AddTrackPoint(const CMapPoint &point, CRgb colour)
{
    if (m_trackEnd)
        m_track.push_back({*m_trackEnd, point, colour});
    m_trackEnd = point;
}

unsigned CMapPageModel::AppendTrack(const std::vector<CTrackPoint> &points)
{
    DiscardTrackEnd();
    m_track.reserve(m_track.size() + points.size());
    for (const CTrackPoint &p : points)
        AddTrackPoint(p.point, p.colour);
    return kMapViewMoved | kMapRedraw;
}

unsigned CMapPageModel::ToggleTrackPosition()
{
    m_settings.trackPosition = !m_settings.trackPosition;
    if (!m_settings.trackPosition)
        return kMapUnchanged;
    m_viewport.SetCentre(m_positionPair.m_point);
    return kMapViewMoved | kMapRedraw;
}

CRgb CMapPageModel::FlagColour() const
{
    const auto level = [](bool on) { return static_cast<std::uint8_t>(on ? 255 : 0); };
    return {level(m_settings.markerFlags[0]), level(m_settings.markerFlags[1]),
            level(m_settings.markerFlags[2])};
}

void CMapPageModel::ToggleMarkerFlag(int channel)
{
    if (channel < 0 || channel > 2)
        return;
    m_settings.markerFlags[static_cast<std::size_t>(channel)] =
        !m_settings.markerFlags[static_cast<std::size_t>(channel)];
    m_markerColour = FlagColour();
}

unsigned CMapPageModel::ToggleColourReception()
{
    m_settings.colourReception = !m_settings.colourReception;
    if (m_settings.colourReception)
        return kMapUnchanged;
    m_markerColour = FlagColour();
    return kMapRedraw;
}

unsigned CMapPageModel::TapAt(double x, double y)
{
    m_viewport.SetCentre(m_viewport.TapToCentre(x, y));
    return kMapViewMoved | kMapRedraw;
}

bool CMapPageModel::GetCursorPosition(CGeoPosition &position) const
{
    const CMapInfo *map = GetCurrentMap();
    return map != nullptr && map->PixelToPosition(m_viewport.GetCentre(), position);
}

CPositionPair CMapPageModel::ProposedPair() const
{
    CPositionPair pair;
    pair.m_position = m_positionPair.m_position;
    pair.m_point = m_viewport.GetCentre();
    return pair;
}

CBearingOverlay CMapPageModel::Bearing(const CWaypoint *selected, double heading) const
{
    CBearingOverlay overlay;
    CGeoPosition centre;
    if (!GetCursorPosition(centre)) {
        if (GetCurrentMap() != nullptr)
            overlay.text = "uncalibrated map";
        return overlay;
    }
    if (selected == nullptr) {
        overlay.text = "no waypoint selected";
        return overlay;
    }
    const double bearing = BearingToWaypoint(centre, *selected);
    double relative = bearing - heading;
    if (relative > 180.0)
        relative -= 360.0;
    else if (relative < -180.0)
        relative += 360.0;
    if (heading < 0.0)
        relative = 180.0;
    std::string distance;
    CDistance(Distance(selected->m_position, centre)).Format(distance, m_settings.units);
    overlay.text = FormatC("%4.1f\xC2\xB0 %4.1f\xC2\xB0 %s", bearing, relative, distance.c_str());
    CMapPoint target;
    if (GetCurrentMap()->PositionToPixel(selected->m_position, target))
        overlay.target = target;
    return overlay;
}

std::string CMapPageModel::CoordinatesText(CoordinateFormat format) const
{
    CGeoPosition centre;
    if (GetCursorPosition(centre))
        return DisplayPosition(centre, " : ", format);
    const CMapPoint &c = m_viewport.GetCentre();
    return FormatC("%d:%d", c.x, c.y);
}

int CMapPageModel::HitWaypoint(const CWaypointList &waypoints)
{
    CGeoPosition centre;
    int hit = -1;
    if (GetCursorPosition(centre)) {
        for (std::size_t i = 0; i < waypoints.size(); ++i) {
            const CWaypoint &w = waypoints[i];
            if (!(w.m_radius > 0.0))
                continue;
            // The short way round: 179.999 E and 179.999 W lie side by side.
            const double dlon =
                std::remainder(w.m_position.m_longitude - centre.m_longitude, 360.0);
            const double dlat = w.m_position.m_latitude - centre.m_latitude;
            if (std::sqrt(dlon * dlon + dlat * dlat) * 3600.0 <= w.m_radius) {
                hit = static_cast<int>(i);
                break;
            }
        }
    }
    if (hit < 0 || hit == m_lastHit) {
        m_lastHit = hit;
        return -1;
    }
    m_lastHit = hit;
    return hit;
}

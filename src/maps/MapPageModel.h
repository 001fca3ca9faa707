#pragma once

#include "base/Rgb.h"
#include "base/Units.h"
#include "geo/CoordinateFormat.h"
#include "maps/MapInfo.h"
#include "maps/MapViewport.h"
#include "maps/TilePyramid.h"
#include "maps/TrackLoader.h"
#include "waypoints/Waypoint.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

/// The Map page's switches, stored under "Software/Veloran/Maps".
struct CMapPageSettings {
    bool trackPosition = false;
    bool showCoordinates = false;
    bool showBearing = false;
    bool showWaypoints = true;
    bool showMapName = true;
    bool showTrack = true;
    bool autoSelectMap = false;
    UnitSystem units = UnitSystem::Metric;
    bool colourReception = false;
    bool outline = true;
    std::array<bool, 3> markerFlags{true, true, false}; ///< red, green, blue: yellow
};

/// A drawn piece of track in map pixels, in the colour of its end point.
struct CTrackSegment {
    CMapPoint from;
    CMapPoint to;
    CRgb colour;
};

/// The bearing overlay: text and the line's end on the map.
struct CBearingOverlay {
    std::string text;
    std::optional<CMapPoint> target; ///< the waypoint's pixel; none without a calibrated map
};

/// What a call changed, for the page to redraw as little as it can.
enum MapChange : unsigned {
    kMapUnchanged = 0,
    kMapRedraw = 1u << 0,    ///< overlays only
    kMapTrackGrew = 1u << 1, ///< new track segments at the end
    kMapViewMoved = 1u << 2, ///< the visible part of the map moved: compose again
    kMapSwitched = 1u << 3,  ///< another map became current: load its bitmap
};

/// Everything the Map page decides: the database and current map, the view, the track and the
/// answers of its overlays. The page widget only loads bitmaps, paints and forwards input.
class CMapPageModel
{
public:
    CMapPageSettings m_settings;

    /// The loaded database; its first map becomes current.
    unsigned SetMaps(CMapList maps);
    [[nodiscard]] const CMapList &GetMaps() const { return m_maps; }
    [[nodiscard]] int GetCurrentIndex() const { return m_current; }
    [[nodiscard]] const CMapInfo *GetCurrentMap() const;
    [[nodiscard]] bool IsCurrentCalibrated() const;

    /// Makes `index` current (-1: none): the view centres on its middle, the track is gone.
    unsigned ShowMap(int index);
    /// Appends a map of a bitmap that loaded and makes it current; its name is the file name.
    unsigned AddMap(const std::string &file, int width, int height);
    /// Appends a made record (a tile source) and makes it current.
    unsigned AddMap(CMapInfo map);
    /// The select dialog's list; `chosen` becomes current unless -1. Auto select goes off.
    unsigned ReplaceMaps(CMapList maps, int chosen);
    /// The reference dialog's pairs for the current map, calibrated.
    void SetCurrentPairs(std::vector<CPositionPair> pairs);
    /// The bitmap's real size once decoded (it can differ from the record).
    void SetBitmapSize(int width, int height);
    void SetClientSize(int width, int height);
    /// The current map is drawn from tiles of these levels (none: from one bitmap); the zoom
    /// stays within what they can show. Showing another map forgets them.
    void SetTileLevels(std::vector<CTileLevel> levels);
    [[nodiscard]] const std::vector<CTileLevel> &GetTileLevels() const { return m_tileLevels; }

    /// A fix: moves the position pair, maybe switches maps, grows the track, follows.
    unsigned NewPosition(const CGeoPosition &position);
    /// Receiving stopped: the next fix starts a new piece of track.
    void SetReceiving(bool receiving);
    /// Satellites used / in view; colours the marker while colour-coded reception is on.
    void SetReception(double ratio);

    /// The next point starts a new piece of track instead of joining the last one.
    void DiscardTrackEnd() { m_trackEnd.reset(); }
    /// Replaces the track's open end by `points` (a loaded log).
    unsigned AppendTrack(const std::vector<CTrackPoint> &points);
    [[nodiscard]] const std::vector<CTrackSegment> &GetTrack() const { return m_track; }

    unsigned ToggleTrackPosition();
    void ToggleMarkerFlag(int channel);
    unsigned ToggleColourReception();
    [[nodiscard]] CRgb GetMarkerColour() const { return m_markerColour; }

    CMapViewport &Viewport() { return m_viewport; }
    [[nodiscard]] const CMapViewport &Viewport() const { return m_viewport; }
    unsigned TapAt(double x, double y);

    /// The view centre's position; false without a calibrated map.
    bool GetCursorPosition(CGeoPosition &position) const;
    /// What the reference dialog starts with: "Reference", the last fix, the view centre.
    [[nodiscard]] CPositionPair ProposedPair() const;

    /// The top band's bearing text (and line) for the selected waypoint; heading < 0: unknown.
    [[nodiscard]] CBearingOverlay Bearing(const CWaypoint *selected, double heading) const;
    /// The view centre in `format` (" : " between parts), or "x:y" on an uncalibrated map.
    [[nodiscard]] std::string CoordinatesText(CoordinateFormat format) const;
    /// The waypoint at the view centre to announce, or -1 (none, or the one shown last).
    int HitWaypoint(const CWaypointList &waypoints);

private:
    unsigned ChooseMapFor(const CGeoPosition &position);
    void AddTrackPoint(const CMapPoint &point, CRgb colour);
    CRgb FlagColour() const;
    void UpdateZoomRange();

    CMapList m_maps;
    int m_current = -1;
    CMapViewport m_viewport;
    std::vector<CTileLevel> m_tileLevels;
    CPositionPair m_positionPair;
    unsigned m_fixCounter = 0;
    CRgb m_markerColour{255, 255, 0};
    std::vector<CTrackSegment> m_track;
    std::optional<CMapPoint> m_trackEnd;
    int m_lastHit = -1;
};

/// The map page's name for a bitmap path: what follows the last '/'.
std::string MapNameOfFile(const std::string &file);

#pragma once

class CMapViewport;
class CTileCache;
class QPainter;

/// Draws the view's part of a tile pyramid into `painter` (device pixels, the viewport's client
/// size) from the tiles in `cache`: the level that fits the zoom, and for a tile still loading
/// what stands in for it. Asks the cache for the tiles missing, nearest the centre first.
void DrawTiles(QPainter &painter, CTileCache &cache, const CMapViewport &view);

#include "maps/TileLayer.h"

#include "maps/MapViewport.h"
#include "maps/TileCache.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace
{

// Edges rounded to whole device pixels, the same for neighbours: no seams between tiles.
QRect DeviceRect(const CMapViewport &view, const CTileRect &area)
{
    const int left = static_cast<int>(std::lround(view.ScreenX(area.left)));
    const int top = static_cast<int>(std::lround(view.ScreenY(area.top)));
    const int right = static_cast<int>(std::lround(view.ScreenX(area.right)));
    const int bottom = static_cast<int>(std::lround(view.ScreenY(area.bottom)));
    return {left, top, right - left, bottom - top};
}

QRectF SourceRect(const CTileRect &r)
{
    return {r.left, r.top, r.right - r.left, r.bottom - r.top};
}

// A source may hold its most detailed zooms only in places: where a tile is absent, the nearest
// ancestor that may exist is read, to be drawn enlarged in its place.
void WantAncestor(const std::vector<CTileLevel> &levels, const CTileKey &key,
                  const CTileCache &cache, std::vector<CTileKey> &wanted)
{
    const CTileRect area = TileArea(levels[key.level], key.column, key.row);
    const double x = (area.left + area.right) / 2;
    const double y = (area.top + area.bottom) / 2;
    for (std::size_t level = key.level + 1; level < levels.size(); ++level) {
        const CTileRange range = TilesCovering(levels[level], {x, y, x + 1e-6, y + 1e-6});
        if (range.IsEmpty())
            return;
        const CTileKey parent{level, range.firstColumn, range.firstRow};
        if (cache.IsLoaded(parent))
            return;
        if (!cache.IsSettled(parent)) {
            if (std::find(wanted.begin(), wanted.end(), parent) == wanted.end())
                wanted.push_back(parent);
            return;
        }
    }
}

// The raster painter hands a filtered draw of more than about a hundred rows to its pool of
// threads and waits for them; for a tile, the hand-over costs more than it saves, the more when
// other work holds the cores. Drawn in bands through a clip, each band stays on this thread, and
// every band samples the tile as the whole draw would.
void DrawFiltered(QPainter &painter, const QRect &target, const QImage &image, const QRectF &source)
{
    constexpr int kBand = 64;
    if (target.height() <= kBand) {
        painter.drawImage(target, image, source);
        return;
    }
    const bool clipped = painter.hasClipping();
    const QRegion clip = painter.clipRegion();
    for (int top = target.top(); top <= target.bottom(); top += kBand) {
        const QRect band(target.left(), top, target.width(),
                         std::min(kBand, target.bottom() + 1 - top));
        if (clipped)
            painter.setClipRegion(clip.intersected(band));
        else
            painter.setClipRect(band);
        painter.drawImage(target, image, source);
    }
    if (clipped)
        painter.setClipRegion(clip);
    else
        painter.setClipping(false);
}

// The same filter the frame's painter would apply, into a picture of the target's size: copied
// to a whole-pixel place it gives the frame's pixels.
QImage ScaledTile(const QImage &tile, QSize size)
{
    QImage scaled(size, tile.format());
    scaled.fill(Qt::transparent);
    QPainter painter(&scaled);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    DrawFiltered(painter, QRect(QPoint(0, 0), size), tile, QRectF(tile.rect()));
    return scaled;
}

} // namespace

void DrawTiles(QPainter &painter, CTileCache &cache, const CMapViewport &view)
{
    const std::vector<CTileLevel> &levels = cache.GetLevels();
    if (levels.empty())
        return;
    const double zoom = view.GetZoom();
    const std::size_t level = LevelForZoom(levels, zoom);
    const CTileLevel &l = levels[level];
    const double left = view.GetOrigin().x;
    const double top = view.GetOrigin().y;
    const CTileRect area{left, top, left + view.GetClientWidth() * zoom,
                         top + view.GetClientHeight() * zoom};
    const CTileRange range = TilesCovering(l, area);
    if (range.IsEmpty())
        return;

    std::vector<CTileKey> keys;
    keys.reserve(range.Count());
    for (int row = range.firstRow; row <= range.lastRow; ++row) {
        for (int column = range.firstColumn; column <= range.lastColumn; ++column)
            keys.push_back({level, column, row});
    }
    // The middle of the view fills first.
    const double centreX = (area.left + area.right) / 2;
    const double centreY = (area.top + area.bottom) / 2;
    const auto distance = [&](const CTileKey &key) {
        const CTileRect a = TileArea(l, key.column, key.row);
        return std::hypot((a.left + a.right) / 2 - centreX, (a.top + a.bottom) / 2 - centreY);
    };
    std::sort(keys.begin(), keys.end(),
              [&](const CTileKey &a, const CTileKey &b) { return distance(a) < distance(b); });

    painter.save();
    // A tile at its own scale is copied; any other is filtered, never left blocky.
    const bool exact = std::abs(zoom - l.scale) < 1e-9;
    // While the zoom holds (a pan, a moving position), tiles drawn at it before are copied. A zoom
    // moving on draws them filtered straight into the frame: keeping them would cost a copy more.
    const bool keep = cache.KeepsScaledFor(zoom);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !exact);
    std::vector<CTileKey> wanted;
    std::vector<CTileKey> parents;
    const auto loaded = [&cache](const CTileKey &key) { return cache.IsLoaded(key); };
    for (const CTileKey &key : keys) {
        if (const QImage *image = cache.Find(key)) {
            const QRect target = DeviceRect(view, TileArea(l, key.column, key.row));
            if (exact && target.size() == image->size()) {
                painter.drawImage(target.topLeft(), *image);
                continue;
            }
            const QImage *scaled = keep ? cache.FindScaled(key, target.size()) : nullptr;
            if (keep && scaled == nullptr && !target.isEmpty())
                scaled = cache.KeepScaled(key, ScaledTile(*image, target.size()));
            if (scaled != nullptr)
                painter.drawImage(target.topLeft(), *scaled);
            else
                DrawFiltered(painter, target, *image, QRectF(image->rect()));
            continue;
        }
        if (cache.IsSettled(key))
            WantAncestor(levels, key, cache, parents);
        else
            wanted.push_back(key);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
        for (const CTilePiece &piece : TileFallback(levels, key, loaded)) {
            if (const QImage *image = cache.Find(piece.key))
                DrawFiltered(painter, DeviceRect(view, piece.target), *image,
                             SourceRect(piece.source));
        }
        painter.setRenderHint(QPainter::SmoothPixmapTransform, !exact);
    }
    painter.restore();
    wanted.insert(wanted.end(), parents.begin(), parents.end());
    cache.Request(wanted);
}

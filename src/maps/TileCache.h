#pragma once

#include "maps/TileCover.h"
#include "maps/TilePyramid.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QString>

#include <cstddef>
#include <deque>
#include <memory>
#include <thread>
#include <unordered_set>
#include <vector>

inline size_t qHash(const CTileKey &key, size_t seed = 0)
{
    return CTileKeyHash()(key) ^ seed;
}

/// The tiles of one pyramid in memory, read and decoded on worker threads, at most a number of
/// bytes of them. The page asks each frame for the tiles it wants; those no longer wanted are not
/// read, a tile that failed is not asked for again, and TileArrived says when to paint anew.
class CTileCache : public QObject
{
    Q_OBJECT
public:
    static constexpr std::size_t kDefaultLimitMB = 256;

    explicit CTileCache(QObject *parent = nullptr);
    ~CTileCache() override;

    /// Drops every tile, and reads from `pyramid` from now on (none: holds nothing).
    void SetPyramid(std::shared_ptr<CTilePyramid> pyramid);
    [[nodiscard]] const CTilePyramid *GetPyramid() const { return m_pyramid.get(); }
    [[nodiscard]] const std::vector<CTileLevel> &GetLevels() const;
    void SetLimitBytes(std::size_t bytes);
    [[nodiscard]] std::size_t GetBytes() const { return m_lru.GetBytes(); }

    /// The decoded tile, marked as used; null when not in memory.
    [[nodiscard]] const QImage *Find(const CTileKey &key);
    [[nodiscard]] bool IsLoaded(const CTileKey &key) const { return m_lru.Contains(key); }
    /// Read and found nothing, or failed: there is nothing to wait for.
    [[nodiscard]] bool IsSettled(const CTileKey &key) const
    {
        return m_absent.contains(key) || m_failed.contains(key);
    }
    /// Tiles as drawn at a zoom that is not their level's are kept scaled to their size on screen
    /// while the zoom stays, so a pan is only copies: they count in the limit and go when the zoom
    /// changes. True when `zoom` is the one they were kept for; when it is not, drops them.
    bool KeepsScaledFor(double zoom);
    /// The tile `key` scaled to `size` device pixels; null when not kept.
    [[nodiscard]] const QImage *FindScaled(const CTileKey &key, QSize size);
    /// Keeps `image`, the tile `key` scaled, and returns it as kept; null when it is too large.
    const QImage *KeepScaled(const CTileKey &key, const QImage &image);
    [[nodiscard]] std::size_t GetScaledBytes() const { return m_scaledLru.GetBytes(); }
    /// The tiles to read, most wanted first, replacing what was asked for before.
    void Request(const std::vector<CTileKey> &wanted);
    [[nodiscard]] bool IsReading() const { return !m_pending.empty() || m_running > 0; }
    /// The first failure's message since the pyramid was set; empty when none.
    [[nodiscard]] const QString &GetFirstError() const { return m_firstError; }

    /// Blocks until nothing is pending (tests, screenshots, benchmarks); false on time-out.
    bool WaitIdle(int timeoutMs);

    /// A decoded image of a tile as read, or a null image with `error` set.
    static QImage DecodeTile(const CTileData &data, QString &error);

signals:
    /// Tiles came in: the page paints again.
    void TileArrived();

private:
    struct CLink;
    static void ReadTiles(const std::shared_ptr<CLink> &link);
    void StartReads();
    void Forget(const std::vector<CTileKey> &evicted);
    void DropScaled();
    void DropOldestScaled(const std::vector<CTileKey> &evicted);
    void Finished(std::uint64_t generation, const CTileKey &key, TileRead result,
                  const QImage &image, const QString &error);
    /// Called (by name, queued) when reading threads have handed reads over through the link.
    Q_INVOKABLE void TakeFinished();

    static constexpr int kWorkers = 2;
    std::shared_ptr<CTilePyramid> m_pyramid;
    std::uint64_t m_generation = 0;
    CTileLru m_lru;
    QHash<CTileKey, QImage> m_images;
    std::unordered_set<CTileKey, CTileKeyHash> m_absent;
    std::unordered_set<CTileKey, CTileKeyHash> m_failed;
    std::unordered_set<CTileKey, CTileKeyHash> m_reading;
    std::deque<CTileKey> m_pending;
    std::unordered_set<CTileKey, CTileKeyHash> m_scaled;
    CTileLru m_scaledLru; // the scaled tiles' order and bytes, beside m_lru's for all
    double m_scaledZoom = 0.0;
    int m_running = 0;
    QString m_firstError;
    std::vector<std::thread> m_workers;
    std::shared_ptr<CLink> m_link;
};

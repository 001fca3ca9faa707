#include "maps/MapViewport.h"
#include "maps/TileCache.h"
#include "maps/TileLayer.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QImage>
#include <QPainter>

#include <atomic>
#include <condition_variable>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <set>

namespace
{

// A pyramid of two levels of 4 × 4 tiles, 16 pixels square, whose reads are counted and can be
// held at a gate. Tile (level, c, r) is one colour, PNG-encoded; column 3 of level 0 fails,
// column 1 of level 0 is absent and column 2 of level 1 holds bytes that are no image.
class CFakePyramid : public CTilePyramid
{
public:
    CFakePyramid()
    {
        for (int i = 0; i < 2; ++i) {
            CTileLevel level;
            level.tileWidth = level.tileHeight = 16;
            level.lastColumn = level.lastRow = 3;
            level.scale = 1 << i;
            m_levels.push_back(level);
        }
    }
    const std::vector<CTileLevel> &GetLevels() const override { return m_levels; }
    TileRead ReadTile(std::size_t level, int column, int row, CTileData &tile,
                      std::string &error) override
    {
        {
            std::unique_lock lock(m_mutex);
            ++m_reads[{level, column, row}];
            m_opened.wait(lock, [this] { return m_open; });
        }
        if (level == 0 && column == 1)
            return TileRead::Absent;
        if (level == 0 && column == 3) {
            error = "disk on fire";
            return TileRead::Failed;
        }
        if (level == 1 && column == 2) {
            tile.encoded = "not an image";
            return TileRead::Ok;
        }
        QImage image(16, 16, QImage::Format_RGB32);
        image.fill(Colour({level, column, row}));
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        tile.encoded = buffer.data().toStdString();
        return TileRead::Ok;
    }
    static QRgb Colour(const CTileKey &key)
    {
        return qRgb(static_cast<int>(key.level) * 100, key.column * 60, key.row * 60);
    }
    int Reads(const CTileKey &key)
    {
        std::lock_guard lock(m_mutex);
        return m_reads[key];
    }
    int TotalReads()
    {
        std::lock_guard lock(m_mutex);
        int n = 0;
        for (const auto &[key, count] : m_reads)
            n += count;
        return n;
    }
    void SetOpen(bool open)
    {
        std::lock_guard lock(m_mutex);
        m_open = open;
        m_opened.notify_all();
    }

private:
    std::vector<CTileLevel> m_levels;
    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_open = true;
    std::map<CTileKey, int> m_reads;
};

} // namespace

TEST(TileCache, ReadsDecodesAndAnnounces)
{
    auto pyramid = std::make_shared<CFakePyramid>();
    CTileCache cache;
    cache.SetPyramid(pyramid);
    int arrivals = 0;
    QObject::connect(&cache, &CTileCache::TileArrived, [&] { ++arrivals; });
    const std::vector<CTileKey> wanted{{0, 0, 0}, {0, 2, 1}, {1, 0, 1}};
    cache.Request(wanted);
    EXPECT_EQ(cache.Find({0, 0, 0}), nullptr) << "read on a worker, not at once";
    ASSERT_TRUE(cache.WaitIdle(5000));
    EXPECT_EQ(arrivals, 3);
    for (const CTileKey &key : wanted) {
        const QImage *image = cache.Find(key);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->pixel(5, 5), CFakePyramid::Colour(key));
    }
    EXPECT_EQ(cache.GetBytes(), 3u * 16 * 16 * 4);
    // Asked again, nothing is read again.
    cache.Request(wanted);
    ASSERT_TRUE(cache.WaitIdle(5000));
    EXPECT_EQ(pyramid->TotalReads(), 3);
}

TEST(TileCache, FailuresAreNotReadAgain)
{
    auto pyramid = std::make_shared<CFakePyramid>();
    CTileCache cache;
    cache.SetPyramid(pyramid);
    for (int frame = 0; frame < 5; ++frame) {
        cache.Request({{0, 3, 0}});
        ASSERT_TRUE(cache.WaitIdle(5000));
        cache.Request({{0, 3, 0}, {1, 2, 0}});
        ASSERT_TRUE(cache.WaitIdle(5000));
    }
    EXPECT_EQ(pyramid->Reads({0, 3, 0}), 1);
    EXPECT_EQ(pyramid->Reads({1, 2, 0}), 1);
    EXPECT_TRUE(cache.IsSettled({0, 3, 0}));
    EXPECT_TRUE(cache.IsSettled({1, 2, 0}));
    EXPECT_EQ(cache.Find({1, 2, 0}), nullptr);
    EXPECT_EQ(cache.GetFirstError(), "disk on fire");
    // Another pyramid starts afresh.
    cache.SetPyramid(pyramid);
    EXPECT_FALSE(cache.IsSettled({0, 3, 0}));
    EXPECT_TRUE(cache.GetFirstError().isEmpty());
}

// The view moved on while the workers were busy: what it no longer shows is never read.
TEST(TileCache, StaleRequestsAreDropped)
{
    auto pyramid = std::make_shared<CFakePyramid>();
    CTileCache cache;
    cache.SetPyramid(pyramid);
    pyramid->SetOpen(false);
    std::vector<CTileKey> first;
    for (int c = 0; c < 3; ++c) {
        for (int r = 0; r < 4; ++r)
            first.push_back({0, c, r});
    }
    cache.Request(first);
    cache.Request({{1, 3, 3}, {1, 3, 2}});
    pyramid->SetOpen(true);
    ASSERT_TRUE(cache.WaitIdle(5000));
    EXPECT_NE(cache.Find({1, 3, 3}), nullptr);
    EXPECT_NE(cache.Find({1, 3, 2}), nullptr);
    // Only the reads already running when the view moved were made of the first set.
    EXPECT_LE(pyramid->TotalReads(), 2 + 2);
    EXPECT_EQ(pyramid->Reads({0, 2, 3}), 0);
}

TEST(TileCache, StaysWithinItsLimit)
{
    auto pyramid = std::make_shared<CFakePyramid>();
    CTileCache cache;
    cache.SetPyramid(pyramid);
    const std::size_t tile = 16 * 16 * 4;
    cache.SetLimitBytes(3 * tile);
    for (int r = 0; r < 4; ++r) {
        cache.Request({{0, 0, r}, {0, 2, r}});
        ASSERT_TRUE(cache.WaitIdle(5000));
        EXPECT_LE(cache.GetBytes(), 3 * tile);
    }
    // The most recent stay; the first are gone.
    EXPECT_TRUE(cache.IsLoaded({0, 2, 3}));
    EXPECT_FALSE(cache.IsLoaded({0, 0, 0}));
    cache.SetLimitBytes(tile);
    EXPECT_EQ(cache.GetBytes(), tile);
}

TEST(TileCache, DecodesRawPixels)
{
    CTileData data;
    data.width = 2;
    data.height = 1;
    data.argb = {0xFF102030u, 0x80FFFFFFu};
    QString error;
    const QImage image = CTileCache::DecodeTile(data, error);
    ASSERT_FALSE(image.isNull()) << error.toStdString();
    EXPECT_EQ(image.pixel(0, 0), 0xFF102030u);
    EXPECT_EQ(qAlpha(image.pixel(1, 0)), 0x80);
    data.width = 3; // more pixels claimed than given
    EXPECT_TRUE(CTileCache::DecodeTile(data, error).isNull());
    EXPECT_FALSE(error.isEmpty());
}

// Drawn at zoom 1 over the 64 × 64 pixels of level 0: the absent column 1 shows its parent
// enlarged, the failed column 3 too, the others their own colour.
TEST(TileCache, AbsentTilesShowTheirParent)
{
    auto pyramid = std::make_shared<CFakePyramid>();
    CTileCache cache;
    cache.SetPyramid(pyramid);
    CMapViewport view;
    view.SetBitmapSize(64, 64);
    view.SetClientSize(64, 64);
    view.SetCentre({32, 32});
    QImage frame(64, 64, QImage::Format_RGB32);
    const auto draw = [&] {
        frame.fill(Qt::black);
        QPainter painter(&frame);
        DrawTiles(painter, cache, view);
    };
    // Each paint asks for what the last reads showed missing, as the page does.
    draw();
    for (int i = 0; i < 4 && cache.IsReading(); ++i) {
        ASSERT_TRUE(cache.WaitIdle(5000));
        draw();
    }
    EXPECT_FALSE(cache.IsReading());
    EXPECT_EQ(frame.pixel(5, 5), CFakePyramid::Colour({0, 0, 0}));
    EXPECT_EQ(frame.pixel(16 + 5, 16 + 5), CFakePyramid::Colour({1, 0, 0})) << "absent";
    EXPECT_EQ(frame.pixel(48 + 5, 5), CFakePyramid::Colour({1, 1, 0})) << "failed";
    EXPECT_EQ(frame.pixel(32 + 5, 48 + 5), CFakePyramid::Colour({0, 2, 3}));
}

namespace
{

// One level of 8 × 8 tiles, 16 pixels square, each a gradient of its own (raw pixels, half of
// them translucent): a tile placed or scaled wrongly shows.
class CGradientPyramid : public CTilePyramid
{
public:
    CGradientPyramid()
    {
        CTileLevel level;
        level.tileWidth = level.tileHeight = 16;
        level.lastColumn = level.lastRow = 7;
        m_levels.push_back(level);
    }
    const std::vector<CTileLevel> &GetLevels() const override { return m_levels; }
    TileRead ReadTile(std::size_t, int column, int row, CTileData &tile, std::string &) override
    {
        tile.width = tile.height = 16;
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 16; ++x) {
                const auto alpha = static_cast<std::uint32_t>((column + row) % 2 == 0 ? 255 : 128);
                tile.argb.push_back(alpha << 24 | qRgb(x * 16, y * 16, column * 30 + row * 7));
            }
        }
        return TileRead::Ok;
    }

private:
    std::vector<CTileLevel> m_levels;
};

} // namespace

// Panning at a zoom between levels copies tiles kept scaled from the frames before: each frame
// equals the one drawn afresh, tile by tile filtered into place, also while the scaled tiles
// least recently drawn make room (half the limit).
TEST(TileCache, PanDrawsWhatAFreshPaintDraws)
{
    auto pyramid = std::make_shared<CGradientPyramid>();
    CTileCache panned;
    CTileCache fresh;
    // Room for every tile as read beside the scaled ones' half, but not for all scaled sizes.
    const std::size_t limit = 64 * 16 * 16 * 4 * 2 + 2048;
    panned.SetLimitBytes(limit);
    panned.SetPyramid(pyramid);
    fresh.SetPyramid(pyramid);
    for (CTileCache *cache : {&panned, &fresh}) {
        std::vector<CTileKey> all;
        for (int c = 0; c < 8; ++c) {
            for (int r = 0; r < 8; ++r)
                all.push_back({0, c, r});
        }
        cache->Request(all);
        ASSERT_TRUE(cache->WaitIdle(5000));
    }
    CMapViewport view;
    view.SetBitmapSize(128, 128);
    view.SetClientSize(61, 47);
    const auto draw = [&](CTileCache &cache) {
        QImage frame(61, 47, QImage::Format_RGB32);
        frame.fill(Qt::darkGreen);
        QPainter painter(&frame);
        DrawTiles(painter, cache, view);
        return frame;
    };
    std::size_t fullest = 0;
    for (const double zoom : {1.3, 0.7}) {
        view.SetZoom(zoom);
        for (int step = 0; step < 24; ++step) {
            view.SetCentre({30 + step * 3, 40 + step * 2});
            (void)draw(panned);
            const QImage frame = draw(panned);
            fresh.KeepsScaledFor(-1.0); // a zoom never drawn: tiles go straight into the frame
            EXPECT_EQ(frame, draw(fresh)) << "zoom " << zoom << ", step " << step;
            EXPECT_LE(panned.GetScaledBytes(), limit / 2);
            fullest = std::max(fullest, panned.GetScaledBytes());
            EXPECT_LE(panned.GetBytes(), limit);
        }
        EXPECT_GT(panned.GetScaledBytes(), 0u);
    }
    EXPECT_GT(fullest, limit / 2 - 23 * 23 * 4) << "the scaled tiles filled their share";
}

#include "maps/TileCache.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <malloc.h>
#include <mutex>

// What the reading threads share with the cache, which may be gone when a read ends. Jobs and
// reads pass under the mutex, never inside a queued call or a pool's task, so that every hand-over
// is ordered by a lock the thread checker sees.
struct CTileCache::CLink {
    struct CJob {
        std::shared_ptr<CTilePyramid> pyramid;
        std::uint64_t generation;
        CTileKey key;
    };
    struct CDone {
        std::uint64_t generation;
        CTileKey key;
        TileRead result;
        QImage image;
        QString error;
    };
    std::mutex mutex;
    std::condition_variable wake;
    CTileCache *cache = nullptr; ///< null once the cache is gone: the threads end
    std::deque<CJob> jobs;
    std::vector<CDone> done;
    int busy = 0; ///< threads inside a read
};

namespace
{

// A read stuck in a slow file system is left behind at exit rather than holding the window.
constexpr int kShutdownGraceMs = 500;

const std::vector<CTileLevel> kNoLevels;

// A scaled tile shares the store of the tiles as read, under its own key: the level's top bit set
// and the size beside the level.
constexpr std::size_t kScaledBit = std::size_t{1} << 63;
constexpr int kScaledSideMax = 4096;
constexpr std::size_t kScaledShare = 2;

CTileKey ScaledKey(const CTileKey &key, QSize size)
{
    return {kScaledBit | (key.level << 32) | (static_cast<std::size_t>(size.width()) << 16)
                | static_cast<std::size_t>(size.height()),
            key.column, key.row};
}

bool IsScaledKey(const CTileKey &key)
{
    return (key.level & kScaledBit) != 0;
}

} // namespace

// A reading thread: jobs in, reads out, until the cache goes.
void CTileCache::ReadTiles(const std::shared_ptr<CLink> &link)
{
    std::unique_lock lock(link->mutex);
    for (;;) {
        link->wake.wait(lock, [&] { return link->cache == nullptr || !link->jobs.empty(); });
        if (link->cache == nullptr)
            return;
        CLink::CJob job = std::move(link->jobs.front());
        link->jobs.pop_front();
        ++link->busy;
        lock.unlock();
        CTileData data;
        std::string message;
        TileRead result =
            job.pyramid->ReadTile(job.key.level, job.key.column, job.key.row, data, message);
        QImage image;
        QString error = QString::fromStdString(message);
        if (result == TileRead::Ok) {
            image = DecodeTile(data, error);
            if (image.isNull())
                result = TileRead::Failed;
        }
        job.pyramid.reset();
        lock.lock();
        --link->busy;
        if (link->cache == nullptr) {
            link->wake.notify_all(); // the cache's destructor waits for the reads to end
            return;
        }
        link->done.push_back({job.generation, job.key, result, std::move(image), std::move(error)});
        if (link->done.size() == 1)
            QMetaObject::invokeMethod(link->cache, "TakeFinished", Qt::QueuedConnection);
    }
}

CTileCache::CTileCache(QObject *parent)
    : QObject(parent)
    , m_lru(kDefaultLimitMB * 1024 * 1024)
    , m_scaledLru(kDefaultLimitMB * 1024 * 1024 / kScaledShare)
    , m_link(std::make_shared<CLink>())
{
    m_link->cache = this;
    for (int i = 0; i < kWorkers; ++i)
        m_workers.emplace_back([link = m_link] { ReadTiles(link); });
}

CTileCache::~CTileCache()
{
    bool idle = false;
    {
        std::unique_lock lock(m_link->mutex);
        m_link->cache = nullptr;
        m_link->jobs.clear();
        m_link->wake.notify_all();
        idle = m_link->wake.wait_for(lock, std::chrono::milliseconds(kShutdownGraceMs),
                                     [this] { return m_link->busy == 0; });
    }
    for (std::thread &worker : m_workers) {
        if (idle)
            worker.join();
        else
            worker.detach(); // they end when their read does; the link outlives them
    }
}

const std::vector<CTileLevel> &CTileCache::GetLevels() const
{
    return m_pyramid != nullptr ? m_pyramid->GetLevels() : kNoLevels;
}

void CTileCache::SetPyramid(std::shared_ptr<CTilePyramid> pyramid)
{
    m_pyramid = std::move(pyramid);
    ++m_generation;
    m_lru.Clear();
    m_images.clear();
    m_scaled.clear();
    m_scaledLru.Clear();
    m_absent.clear();
    m_failed.clear();
    m_reading.clear();
    m_pending.clear();
    m_firstError.clear();
}

void CTileCache::SetLimitBytes(std::size_t bytes)
{
    m_lru.SetLimit(bytes);
    Forget(m_lru.Trim());
    m_scaledLru.SetLimit(bytes / kScaledShare);
    DropOldestScaled(m_scaledLru.Trim());
}

void CTileCache::DropOldestScaled(const std::vector<CTileKey> &evicted)
{
    for (const CTileKey &key : evicted) {
        m_lru.Remove(key);
        m_images.remove(key);
        m_scaled.erase(key);
    }
}

void CTileCache::Forget(const std::vector<CTileKey> &evicted)
{
    for (const CTileKey &key : evicted) {
        const auto it = m_images.constFind(key);
        if (it == m_images.constEnd())
            continue;
        if (IsScaledKey(key)) {
            m_scaledLru.Remove(key);
            m_scaled.erase(key);
        }
        m_images.erase(it);
    }
}

void CTileCache::DropScaled()
{
    // Tiles as read come and go one at a time; a pan's scaled tiles, up to half the limit, go
    // at once, and the allocator would keep their pages.
    constexpr std::size_t kTrimBytes = 16 * 1024 * 1024;
    const bool trim = m_scaledLru.GetBytes() > kTrimBytes;
    for (const CTileKey &key : m_scaled) {
        m_lru.Remove(key);
        m_images.remove(key);
    }
    m_scaled.clear();
    m_scaledLru.Clear();
    if (trim)
        malloc_trim(0);
}

bool CTileCache::KeepsScaledFor(double zoom)
{
    if (zoom == m_scaledZoom)
        return true;
    DropScaled();
    m_scaledZoom = zoom;
    return false;
}

const QImage *CTileCache::FindScaled(const CTileKey &key, QSize size)
{
    if (size.width() > kScaledSideMax || size.height() > kScaledSideMax)
        return nullptr;
    const CTileKey scaled = ScaledKey(key, size);
    const QImage *image = Find(scaled);
    if (image != nullptr)
        m_scaledLru.Touch(scaled);
    return image;
}

const QImage *CTileCache::KeepScaled(const CTileKey &key, const QImage &image)
{
    const QSize size = image.size();
    const auto bytes = static_cast<std::size_t>(image.sizeInBytes());
    // Half the limit holds every size a view's tiles take while it pans, at any zoom: past it, the
    // scaled tiles least recently drawn go, not the tiles as read.
    if (size.width() > kScaledSideMax || size.height() > kScaledSideMax
        || bytes > m_scaledLru.GetLimit())
        return nullptr;
    const CTileKey scaled = ScaledKey(key, size);
    m_images.insert(scaled, image);
    m_scaled.insert(scaled);
    DropOldestScaled(m_scaledLru.Insert(scaled, bytes));
    Forget(m_lru.Insert(scaled, bytes));
    return Find(scaled);
}

const QImage *CTileCache::Find(const CTileKey &key)
{
    if (!m_lru.Touch(key))
        return nullptr;
    const auto it = m_images.constFind(key);
    return it == m_images.constEnd() ? nullptr : &it.value();
}

void CTileCache::Request(const std::vector<CTileKey> &wanted)
{
    // What the view no longer shows is not read; reads already running finish and are kept.
    m_pending.clear();
    for (const CTileKey &key : wanted) {
        if (!m_lru.Contains(key) && !IsSettled(key) && !m_reading.contains(key))
            m_pending.push_back(key);
    }
    StartReads();
}

void CTileCache::StartReads()
{
    while (m_running < kWorkers && !m_pending.empty() && m_pyramid != nullptr) {
        const CTileKey key = m_pending.front();
        m_pending.pop_front();
        m_reading.insert(key);
        ++m_running;
        std::lock_guard lock(m_link->mutex);
        m_link->jobs.push_back({m_pyramid, m_generation, key});
        m_link->wake.notify_one();
    }
}

void CTileCache::TakeFinished()
{
    std::vector<CLink::CDone> done;
    {
        std::lock_guard lock(m_link->mutex);
        done.swap(m_link->done);
    }
    for (CLink::CDone &d : done)
        Finished(d.generation, d.key, d.result, d.image, d.error);
}

void CTileCache::Finished(std::uint64_t generation, const CTileKey &key, TileRead result,
                          const QImage &image, const QString &error)
{
    if (generation != m_generation) {
        // A read for the pyramid before: only its worker is free again.
        if (m_running > 0)
            --m_running;
        StartReads();
        return;
    }
    --m_running;
    m_reading.erase(key);
    switch (result) {
    case TileRead::Ok:
        m_images.insert(key, image);
        Forget(m_lru.Insert(key, static_cast<std::size_t>(image.sizeInBytes())));
        break;
    case TileRead::Absent:
        m_absent.insert(key);
        break;
    case TileRead::Failed:
        m_failed.insert(key);
        if (m_firstError.isEmpty())
            m_firstError = error.isEmpty() ? tr("The tile could not be read.") : error;
        break;
    }
    StartReads();
    emit TileArrived();
}

bool CTileCache::WaitIdle(int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (IsReading()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (IsReading())
            QThread::msleep(1);
    }
    return true;
}

QImage CTileCache::DecodeTile(const CTileData &data, QString &error)
{
    QImage image;
    if (!data.argb.empty()) {
        if (data.width <= 0 || data.height <= 0
            || data.argb.size() != static_cast<std::size_t>(data.width) * data.height) {
            error = tr("The tile's pixels do not match its size.");
            return {};
        }
        image = QImage(reinterpret_cast<const uchar *>(data.argb.data()), data.width, data.height,
                       data.width * 4, QImage::Format_ARGB32)
                    .copy();
    } else {
        image = QImage::fromData(reinterpret_cast<const uchar *>(data.encoded.data()),
                                 static_cast<int>(data.encoded.size()));
        if (image.isNull()) {
            error = tr("The tile is no image this program can read.");
            return {};
        }
    }
    // The formats the raster painter draws fastest.
    return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                         : QImage::Format_RGB32);
}

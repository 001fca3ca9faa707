#pragma once

#include "maps/MapBitmap.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>

class QWidget;

/// The Map page's bitmap pyramid and its decoding. Each request decodes on a thread of its own;
/// a newer request makes an older one stale. Nothing ever waits on one for long: a file can be
/// slow, or stuck.
class CMapBitmapLoader : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *kLoadFailedMessage = "Failed to load mapfile.";

    /// A failed decode is reported over `page`.
    explicit CMapBitmapLoader(QWidget *page);
    ~CMapBitmapLoader() override;

    /// Decoding threads still running when their page went: the process must not wait for
    /// them, nor run its exit handlers under them.
    static int AbandonedDecodes() { return s_abandoned.load(); }

    [[nodiscard]] const CMapBitmap &GetBitmap() const { return m_bitmap; }
    [[nodiscard]] bool IsDecoding() const { return m_job != nullptr; }
    void Clear() { m_bitmap = CMapBitmap(); }
    /// Makes the decode under way stale: it ends unheard (the page shows a tile map instead).
    void Cancel();
    /// Drops the bitmap and decodes `path`. Unless a newer request comes first, the bitmap is
    /// taken (or the failure shown) and then `done(ok)` runs, on the window's thread.
    void Load(const QString &path, std::function<void(bool)> done);
    /// Blocks until the bitmap being decoded is there (tests, screenshots); false on time-out.
    bool WaitForBitmap(int timeoutMs);

private:
    struct CJob;
    struct CLink;

    /// Called (by name, queued) when a decoding thread has handed over its job.
    Q_INVOKABLE void TakeDecodedBitmaps();
    void Decoded(const std::shared_ptr<CJob> &job);

    static constexpr int kDecodeGraceMs = 500;
    static std::atomic<int> s_abandoned;
    QWidget *m_page;
    CMapBitmap m_bitmap;
    std::shared_ptr<CJob> m_job;
    std::shared_ptr<CLink> m_link;
    bool m_waitCursor = false;
};

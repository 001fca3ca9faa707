#include "maps/MapBitmapLoader.h"

#include "widgets/MessageBox.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

struct CMapBitmapLoader::CJob {
    QString path;
    CMapBitmap bitmap;
    QString error;
    std::function<void(bool)> done;
    std::atomic<bool> cancel{false};
};

// What a decoding thread shares with the loader: the loader may be gone when the thread ends.
struct CMapBitmapLoader::CLink {
    std::mutex mutex;
    std::condition_variable idle;
    CMapBitmapLoader *loader = nullptr;
    int running = 0;
    std::vector<std::shared_ptr<CJob>> finished;
};

std::atomic<int> CMapBitmapLoader::s_abandoned{0};

CMapBitmapLoader::CMapBitmapLoader(QWidget *page)
    : m_page(page)
    , m_link(std::make_shared<CLink>())
{
    m_link->loader = this;
}

CMapBitmapLoader::~CMapBitmapLoader()
{
    if (m_job != nullptr)
        m_job->cancel = true;
    {
        // A decode of a regular file ends soon once cancelled; one stuck in a slow file system
        // is left behind rather than keeping the window open.
        std::unique_lock lock(m_link->mutex);
        m_link->loader = nullptr;
        if (!m_link->idle.wait_for(lock, std::chrono::milliseconds(kDecodeGraceMs),
                                   [this] { return m_link->running == 0; }))
            s_abandoned += m_link->running;
    }
    if (m_waitCursor)
        QApplication::restoreOverrideCursor();
}

void CMapBitmapLoader::Load(const QString &path, std::function<void(bool)> done)
{
    auto job = std::make_shared<CJob>();
    job->path = path;
    job->done = std::move(done);
    m_bitmap = CMapBitmap();
    if (!m_waitCursor) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        m_waitCursor = true;
    }
    // The older request is stale: it stops at its next step, or finishes unheard.
    if (m_job != nullptr)
        m_job->cancel = true;
    m_job = job;
    {
        std::lock_guard lock(m_link->mutex);
        ++m_link->running;
    }
    std::thread([job, link = m_link] {
        job->bitmap = CMapBitmap::Decode(job->path, &job->error, &job->cancel);
        std::lock_guard lock(link->mutex);
        // The job goes over under the lock; the call posted carries nothing of this thread's
        // making that the window's thread would read before taking it.
        if (link->loader != nullptr) {
            link->finished.push_back(job);
            QMetaObject::invokeMethod(link->loader, "TakeDecodedBitmaps", Qt::QueuedConnection);
        }
        --link->running;
        link->idle.notify_all();
    }).detach();
}

void CMapBitmapLoader::Cancel()
{
    if (m_job == nullptr)
        return;
    m_job->cancel = true;
    m_job.reset();
    if (m_waitCursor) {
        QApplication::restoreOverrideCursor();
        m_waitCursor = false;
    }
}

void CMapBitmapLoader::TakeDecodedBitmaps()
{
    std::vector<std::shared_ptr<CJob>> finished;
    {
        std::lock_guard lock(m_link->mutex);
        finished.swap(m_link->finished);
    }
    for (const std::shared_ptr<CJob> &job : finished)
        Decoded(job);
}

// Hands over a finished decode unless a newer one was asked for since.
void CMapBitmapLoader::Decoded(const std::shared_ptr<CJob> &job)
{
    if (job != m_job)
        return;
    m_job.reset();
    if (m_waitCursor) {
        QApplication::restoreOverrideCursor();
        m_waitCursor = false;
    }
    const bool ok = !job->bitmap.IsNull();
    if (ok)
        m_bitmap = std::move(job->bitmap);
    else
        ShowError(m_page, QString::fromLatin1(kLoadFailedMessage),
                  job->path + QStringLiteral(": ") + job->error);
    if (job->done)
        job->done(ok);
}

bool CMapBitmapLoader::WaitForBitmap(int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (m_job != nullptr) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(1);
    }
    return true;
}

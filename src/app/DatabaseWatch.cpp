#include "app/DatabaseWatch.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QTimer>

namespace
{

// A save is a burst of folder changes (temporary file, rename): looked at once it is over.
constexpr int kSettleMs = 300;

} // namespace

CDatabaseWatch::CDatabaseWatch(const QString &directory, const QStringList &fileNames,
                               QObject *parent)
    : QObject(parent)
    , m_directory(directory)
    , m_fileNames(fileNames)
{
    // A save by rename shows in the folder, one in place in the file.
    m_watcher = new QFileSystemWatcher(this);
    m_settle = new QTimer(this);
    m_settle->setSingleShot(true);
    m_settle->setInterval(kSettleMs);
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &CDatabaseWatch::Postpone);
    connect(m_watcher, &QFileSystemWatcher::fileChanged, this, &CDatabaseWatch::Postpone);
    connect(m_settle, &QTimer::timeout, this, &CDatabaseWatch::Settled);
    m_watcher->addPath(directory);
}

void CDatabaseWatch::Postpone()
{
    m_settle->start();
}

void CDatabaseWatch::FollowReplacedFiles()
{
    for (const QString &name : m_fileNames) {
        const QString path = QDir(m_directory).filePath(name);
        if (QFileInfo::exists(path) && !m_watcher->files().contains(path))
            m_watcher->addPath(path);
    }
}

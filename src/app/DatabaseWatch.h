#pragma once

#include <QObject>
#include <QStringList>

class QFileSystemWatcher;
class QTimer;

/// Watches the data folder and the database files in it for another program's saves, and says
/// when one is worth a look: once the burst of changes a save makes (temporary file, rename) is
/// over.
class CDatabaseWatch : public QObject
{
    Q_OBJECT
public:
    CDatabaseWatch(const QString &directory, const QStringList &fileNames, QObject *parent);

    /// Looks again a little later (a dialog is open now).
    void Postpone();
    /// A file replaced by a rename is no longer watched: watch the new one.
    void FollowReplacedFiles();

signals:
    void Settled();

private:
    QString m_directory;
    QStringList m_fileNames;
    QFileSystemWatcher *m_watcher = nullptr;
    QTimer *m_settle = nullptr;
};

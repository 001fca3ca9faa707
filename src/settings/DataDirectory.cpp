#include "settings/DataDirectory.h"

#include <QDir>
#include <QStandardPaths>

namespace
{

QString &Directory()
{
    static QString directory;
    return directory;
}

bool &Created()
{
    static bool created = false;
    return created;
}

} // namespace

void SetDataDirectory(const QString &commandLineDir)
{
    const QString dir = ChooseDataDirectory(commandLineDir);
    // A directory that cannot be made shows up when a file in it is opened, with its reason.
    Created() = !QDir(dir).exists() && QDir().mkpath(dir);
    Directory() = QDir(dir).absolutePath();
}

QString ChooseDataDirectory(const QString &commandLineDir)
{
    QString dir = commandLineDir;
    if (dir.isEmpty())
        dir = qEnvironmentVariable("VELORAN_DATA_DIR");
    if (dir.isEmpty()) {
        QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
        if (documents.isEmpty())
            documents = QDir::homePath() + QStringLiteral("/Documents");
        dir = documents + QStringLiteral("/Veloran");
    }
    return dir;
}

bool WasDataDirectoryCreated()
{
    return Created();
}

QString GetDataDirectory()
{
    return Directory();
}

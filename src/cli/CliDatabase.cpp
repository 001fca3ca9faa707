#include "CliDatabase.h"

#include "app/DataDirectory.h"

#include <QFile>
#include <QString>

#include <cerrno>
#include <sys/stat.h>

bool IsMissing(const std::string &path)
{
    struct stat st {
    };
    return ::stat(path.c_str(), &st) != 0 && errno == ENOENT;
}

int FileError(const char *what, const std::string &path, const std::string &reason)
{
    std::fprintf(stderr, "veloran-cli: %s '%s': %s\n", what, path.c_str(), reason.c_str());
    return kExitFile;
}

std::string CliDataDirectory(const std::optional<std::string> &dataDir)
{
    SetDataDirectory(dataDir ? QFile::decodeName(dataDir->c_str()) : QString());
    return QFile::encodeName(GetDataDirectory()).toStdString();
}

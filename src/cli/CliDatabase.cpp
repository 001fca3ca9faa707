#include "CliDatabase.h"

#include "settings/DataDirectory.h"

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

int WriteReport(const std::string &text)
{
    const std::size_t written = std::fwrite(text.data(), 1, text.size(), stdout);
    if (written != text.size() || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        const int error = errno;
        std::fprintf(stderr, "veloran-cli: cannot write the report: %s; nothing changed\n",
                     std::strerror(error != 0 ? error : EIO));
        return kExitFile;
    }
    return kExitOk;
}

std::vector<CCliOption> DatabaseOptions(CDatabaseChoice &where)
{
    return {TextOption("--db", "a file name", where.db),
            TextOption("--data-dir", "a directory", where.dataDir)};
}

std::string OneLine(std::string text)
{
    for (char &c : text)
        if (static_cast<unsigned char>(c) < 0x20)
            c = ' ';
    return text;
}

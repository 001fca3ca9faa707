#include "waypoints/DatabaseFile.h"

#include "waypoints/AtomicFile.h"

CDatabaseRead ReadDatabaseFile(const std::string &path, std::size_t maxBytes,
                               const std::function<bool(std::string_view)> &decode,
                               const std::function<std::string()> &damageText)
{
    CDatabaseRead read;
    std::string bytes;
    const int error = ReadWholeFile(path, bytes, maxBytes, read.opened);
    if (!read.opened) {
        read.detail = DescribeFileError(path, error);
        return read;
    }
    read.path = path;
    if (error != 0) {
        // Opened but unreadable (too large, I/O error): the other file is no stand-in for it.
        read.damaged = true;
        read.detail = DescribeFileError(path, error);
    } else if (!decode(bytes)) {
        read.damaged = true;
        read.detail = path + ": " + damageText();
    }
    return read;
}

#pragma once

#include <optional>
#include <string>
#include <sys/stat.h>

/// Which file an open descriptor or a path is, links resolved: two names of one file (a
/// symlink, a hard link, "./x" and "x") have the same identity.
struct CFileIdentity {
    dev_t device = 0;
    ino_t inode = 0;

    friend bool operator==(const CFileIdentity &, const CFileIdentity &) = default;

    static std::optional<CFileIdentity> OfDescriptor(int fd)
    {
        struct stat st {
        };
        if (::fstat(fd, &st) != 0)
            return std::nullopt;
        return CFileIdentity{st.st_dev, st.st_ino};
    }
    static std::optional<CFileIdentity> OfPath(const std::string &path)
    {
        struct stat st {
        };
        if (::stat(path.c_str(), &st) != 0)
            return std::nullopt;
        return CFileIdentity{st.st_dev, st.st_ino};
    }
};

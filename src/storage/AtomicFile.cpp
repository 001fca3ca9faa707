#include "storage/AtomicFile.h"

#include "storage/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// The kernel's own limit on symbolic links followed in one lookup.
constexpr int kMaxSymlinkHops = 40;
// The umask of most distributions, should /proc not tell.
constexpr mode_t kFallbackUmask = 022;
// mkostemp's "XXXXXX".
constexpr std::size_t kTemporarySuffixLength = 6;
// Growth of the read buffer when a file turns out longer than it said (it grew, or /proc).
constexpr std::size_t kReadChunk = 64 * 1024;

std::string DirName(const std::string &path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string BaseName(const std::string &path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The file a path names after its symbolic links, also when the last link dangles: saving
// through such a link creates the file it names, as opening it for writing would.
int ResolveTarget(const std::string &path, std::string &target)
{
    target = path;
    for (int hop = 0; hop < kMaxSymlinkHops; ++hop) {
        struct stat st {
        };
        if (::lstat(target.c_str(), &st) != 0)
            return errno == ENOENT ? 0 : errno;
        if (!S_ISLNK(st.st_mode))
            return 0;
        std::string link(PATH_MAX + 1, '\0');
        const ssize_t length = ::readlink(target.c_str(), link.data(), link.size());
        if (length < 0)
            return errno;
        if (static_cast<std::size_t>(length) >= link.size())
            return ENAMETOOLONG;
        link.resize(static_cast<std::size_t>(length));
        target = (!link.empty() && link.front() == '/') ? link : DirName(target) + "/" + link;
    }
    return ELOOP;
}

// umask() can only be read by setting it, which races with other threads creating files.
mode_t CurrentUmask()
{
    const int fd = ::open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return kFallbackUmask;
    CFileDescriptor guard(fd);
    std::string status(4096, '\0');
    const ssize_t length = ::read(fd, status.data(), status.size());
    status.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    const std::size_t field = status.find("\nUmask:");
    if (field == std::string::npos)
        return kFallbackUmask;
    mode_t mask = 0;
    bool digits = false;
    for (std::size_t i = field + 7; i < status.size() && status[i] != '\n'; ++i) {
        if (status[i] >= '0' && status[i] <= '7') {
            mask = static_cast<mode_t>(mask * 8 + static_cast<mode_t>(status[i] - '0'));
            digits = true;
        }
    }
    return digits ? (mask & 0777) : kFallbackUmask;
}

int WriteAll(int fd, std::string_view bytes, const CWriteFault *fault)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        std::size_t chunk = bytes.size() - written;
        if (fault != nullptr) {
            if (written >= fault->failAfterBytes)
                return fault->error;
            chunk = std::min(chunk, fault->failAfterBytes - written);
        }
        const ssize_t n = ::write(fd, bytes.data() + written, chunk);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        if (n == 0)
            return EIO; // a regular file never takes nothing; don't spin
        written += static_cast<std::size_t>(n);
    }
    return 0;
}

int SyncFile(int fd)
{
    while (::fsync(fd) != 0) {
        if (errno != EINTR)
            return errno;
    }
    return 0;
}

// Everything up to the rename; the caller removes the temporary file on failure.
int WriteTemporary(int fd, std::string_view bytes, const CWriteFault *fault, mode_t mode,
                   const struct stat *old)
{
    if (const int error = WriteAll(fd, bytes, fault))
        return error;
    if (::fchmod(fd, mode) != 0)
        return errno;
    // Keeping the owner only works for root (or for a group of one's own); otherwise the file
    // becomes the saver's, as with any editor that saves by rename.
    if (old != nullptr && (old->st_uid != ::geteuid() || old->st_gid != ::getegid())) {
        [[maybe_unused]] const int ignored = ::fchown(fd, old->st_uid, old->st_gid);
    }
    return SyncFile(fd);
}

} // namespace

int ReplaceFileAtomically(const std::string &path, std::string_view bytes, const CWriteFault *fault)
{
    std::string target;
    if (const int error = ResolveTarget(path, target))
        return error;

    struct stat old {
    };
    const bool exists = ::stat(target.c_str(), &old) == 0;
    if (!exists && errno != ENOENT)
        return errno;
    // A rename would put a file where a device, a FIFO or a socket was: not ours to replace.
    if (exists && S_ISDIR(old.st_mode))
        return EISDIR;
    if (exists && !S_ISREG(old.st_mode))
        return EINVAL;
    RemoveStaleTemporaries(target);
    const mode_t mode = exists ? (old.st_mode & 07777) : (0666 & ~CurrentUmask());

    const std::string directory = DirName(target);
    std::string temporary = directory + "/." + BaseName(target) + ".XXXXXX";
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return errno;
    CFileDescriptor file(fd);
    int error = WriteTemporary(fd, bytes, fault, mode, exists ? &old : nullptr);
    if (error == 0)
        error = file.Close();
    if (error == 0 && ::rename(temporary.c_str(), target.c_str()) != 0)
        error = errno;
    if (error != 0) {
        ::unlink(temporary.c_str());
        return error;
    }

    // The rename is durable only once the folder is synced. The file is replaced by now, so a
    // failure here (some file systems refuse to sync a folder) is not reported as a failed save.
    const int dirFd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        CFileDescriptor dir(dirFd);
        SyncFile(dirFd);
    }
    return 0;
}

int ReadWholeFile(const std::string &path, std::string &bytes, std::size_t maxBytes, bool &opened)
{
    return ReadWholeFile(path, bytes, maxBytes, opened, nullptr);
}

int ReadWholeFile(const std::string &path, std::string &bytes, std::size_t maxBytes, bool &opened,
                  struct stat *info)
{
    bytes.clear();
    opened = false;
    // Non-blocking so that a FIFO in the file's place cannot hang the caller at open.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return errno;
    CFileDescriptor file(fd);
    struct stat st {
    };
    if (::fstat(fd, &st) != 0)
        return errno;
    if (S_ISDIR(st.st_mode))
        return EISDIR;
    if (!S_ISREG(st.st_mode))
        return EINVAL;
    opened = true;
    const auto announced = static_cast<std::size_t>(std::max<off_t>(st.st_size, 0));
    if (announced > maxBytes)
        return EFBIG;

    // One byte more than announced, so that the end shows without a second round.
    const std::size_t limit = maxBytes < SIZE_MAX ? maxBytes + 1 : maxBytes;
    std::string data(std::min(announced + 1, limit), '\0');
    std::size_t size = 0;
    for (;;) {
        if (size == data.size()) {
            if (size > maxBytes)
                return EFBIG;
            data.resize(size + std::min(kReadChunk, limit - size));
        }
        const ssize_t n = ::read(fd, data.data() + size, data.size() - size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        if (n == 0)
            break;
        size += static_cast<std::size_t>(n);
    }
    if (size > maxBytes)
        return EFBIG;
    data.resize(size);
    bytes = std::move(data);
    if (info != nullptr)
        *info = st;
    return 0;
}

int ReadWholeFile(const std::string &path, std::string &bytes, std::size_t maxBytes)
{
    bool opened = false;
    return ReadWholeFile(path, bytes, maxBytes, opened);
}

std::string JoinDatabasePath(const std::string &directory, const char *name)
{
    if (directory.empty())
        return name;
    return directory.back() == '/' ? directory + name : directory + "/" + name;
}

std::string DescribeFileError(const std::string &path, int error)
{
    // Every EINVAL here comes from a path that names something other than a file.
    return path + ": " + (error == EINVAL ? kNotRegularFileText : std::strerror(error));
}

bool IsOwnTemporaryName(std::string_view name, std::string_view base)
{
    if (name.size() != base.size() + 2 + kTemporarySuffixLength || name.front() != '.'
        || name.substr(1, base.size()) != base || name[base.size() + 1] != '.')
        return false;
    const std::string_view suffix = name.substr(base.size() + 2);
    return std::all_of(suffix.begin(), suffix.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    });
}

int RemoveStaleTemporaries(const std::string &path, std::int64_t minAgeSeconds)
{
    std::string target;
    if (ResolveTarget(path, target) != 0)
        return 0;
    const std::string directory = DirName(target);
    const std::string base = BaseName(target);
    DIR *dir = ::opendir(directory.c_str());
    if (dir == nullptr)
        return 0;
    const std::time_t now = std::time(nullptr);
    int removed = 0;
    while (const dirent *entry = ::readdir(dir)) {
        if (!IsOwnTemporaryName(entry->d_name, base))
            continue;
        struct stat st {
        };
        if (::fstatat(::dirfd(dir), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0
            || !S_ISREG(st.st_mode) || now - st.st_mtime < minAgeSeconds)
            continue;
        if (::unlinkat(::dirfd(dir), entry->d_name, 0) == 0)
            ++removed;
    }
    ::closedir(dir);
    return removed;
}

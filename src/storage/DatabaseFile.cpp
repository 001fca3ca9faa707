#include "storage/DatabaseFile.h"

#include "storage/Archive.h"
#include "storage/AtomicFile.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

CDatabaseStamp MakeStamp(const struct stat &st, std::string_view bytes)
{
    CDatabaseStamp stamp;
    stamp.exists = true;
    stamp.device = st.st_dev;
    stamp.inode = st.st_ino;
    stamp.size = static_cast<std::uint64_t>(st.st_size);
    stamp.modifiedNs =
        static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    stamp.hash = HashBytes(bytes);
    return stamp;
}

// Enough for a count, a string header and the numbers of the first record.
constexpr std::size_t kTextProbeBytes = 256;

// The path with its symbolic links resolved as far as they lead (a dangling last link to the
// file it would create), made absolute and normal, for comparing names of files not there yet.
std::string CanonicalName(const std::string &path)
{
    std::filesystem::path resolved = path;
    std::error_code error;
    for (int hop = 0; hop < 40 && std::filesystem::is_symlink(resolved, error); ++hop) {
        const std::filesystem::path link = std::filesystem::read_symlink(resolved, error);
        if (error)
            break;
        resolved = link.is_absolute() ? link : resolved.parent_path() / link;
    }
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(resolved, error);
    return (error ? std::filesystem::absolute(resolved, error) : canonical).lexically_normal();
}

} // namespace

std::uint64_t HashBytes(std::string_view bytes)
{
    std::uint64_t hash = 14695981039346656037ull;
    for (const char c : bytes) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ull;
    }
    return hash;
}

bool LooksLikeText(std::string_view bytes)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF")
        return true;
    // UTF-16 text; a database of 65279 records goes on with a wide string's FF.
    if (bytes.size() >= 3
        && ((byte(0) == 0xFF && byte(1) == 0xFE) || (byte(0) == 0xFE && byte(1) == 0xFF))
        && byte(2) != 0xFF)
        return true;
    const std::size_t head = std::min<std::size_t>(bytes.size(), kTextProbeBytes);
    if (head < 2)
        return false;
    for (std::size_t i = 0; i < head; ++i) {
        const unsigned char c = byte(i);
        if ((c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c >= 0xFE)
            return false;
    }
    return true;
}

std::string DescribeUndecodable(std::string_view bytes, std::size_t maxCount, const char *noun)
{
    if (LooksLikeText(bytes))
        return std::string("not a ") + noun + " database (it reads as text)";
    CArchiveReader reader(bytes);
    std::uint32_t count = 0;
    if (reader.ReadCount(count) && count > maxCount)
        return std::string("not a ") + noun + " database (it counts " + std::to_string(count)
               + " records, more than " + std::to_string(maxCount) + ")";
    return {};
}

CDatabaseRead ReadDatabaseFile(const std::string &path, std::size_t maxBytes,
                               const std::function<std::string(std::string_view)> &decode)
{
    CDatabaseRead read;
    std::string bytes;
    struct stat info {
    };
    const int error = ReadWholeFile(path, bytes, maxBytes, read.opened, &info);
    if (!read.opened) {
        read.detail = DescribeFileError(path, error);
        return read;
    }
    read.path = path;
    RemoveStaleTemporaries(path);
    if (error != 0) {
        // Opened but unreadable (too large, I/O error): the other file is no stand-in for it.
        read.damaged = true;
        read.detail = DescribeFileError(path, error);
        return read;
    }
    read.stamp = MakeStamp(info, bytes);
    if (const std::string damage = decode(bytes); !damage.empty()) {
        read.damaged = true;
        read.detail = path + ": " + damage;
    }
    return read;
}

int ReadDatabaseStamp(const std::string &path, std::size_t maxBytes, CDatabaseStamp &stamp,
                      std::string *bytes)
{
    stamp = {};
    std::string content;
    struct stat info {
    };
    bool opened = false;
    const int error = ReadWholeFile(path, content, maxBytes, opened, &info);
    if (error == ENOENT)
        return 0;
    if (error != 0)
        return error;
    stamp = MakeStamp(info, content);
    if (bytes != nullptr)
        *bytes = std::move(content);
    return 0;
}

CDatabaseLock::CDatabaseLock(const std::string &databasePath)
{
    const std::string canonical = CanonicalName(databasePath);
    const std::size_t slash = canonical.rfind('/');
    const std::string lockPath =
        canonical.substr(0, slash + 1) + "." + canonical.substr(slash + 1) + ".lock";
    // Read-only is enough for flock, so a lock file another user made serves everyone.
    m_fd = ::open(lockPath.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (m_fd < 0) {
        m_error = errno;
        return;
    }
    while (::flock(m_fd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            m_error = errno;
            return;
        }
    }
}

CDatabaseLock::~CDatabaseLock()
{
    if (m_fd >= 0)
        ::close(m_fd); // releases the lock
}

std::string ExportTargetProblem(const std::string &path, const std::vector<std::string> &databases)
{
    struct stat target {
    };
    const bool exists = ::stat(path.c_str(), &target) == 0;
    if (exists && S_ISDIR(target.st_mode))
        return "is a folder";
    if (exists && !S_ISREG(target.st_mode))
        return kNotRegularFileText;
    const std::string name = exists ? std::string() : CanonicalName(path);
    for (const std::string &database : databases) {
        struct stat st {
        };
        const bool same = exists ? ::stat(database.c_str(), &st) == 0 && st.st_dev == target.st_dev
                                       && st.st_ino == target.st_ino
                                 : CanonicalName(database) == name;
        if (same)
            return "is a database of the program (" + database + ")";
    }
    return {};
}

int WriteDatabaseBytes(const std::string &path, std::string bytes, std::size_t maxOldBytes,
                       CDatabaseStamp *stamp, const CWriteFault *fault)
{
    std::string old;
    const int readError = ReadWholeFile(path, old, maxOldBytes);
    if (readError != 0 && readError != ENOENT)
        return readError;
    if (old.size() > bytes.size())
        bytes.append(old, bytes.size());
    if (const int error = ReplaceFileAtomically(path, bytes, fault))
        return error;
    if (stamp == nullptr)
        return 0;
    struct stat info {
    };
    if (::stat(path.c_str(), &info) != 0)
        return 0; // written; the stamp stays empty, so the next save merges
    *stamp = MakeStamp(info, bytes);
    return 0;
}

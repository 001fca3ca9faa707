#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

struct stat;

/// A simulated failure for tests: the write fails with `error` once `failAfterBytes` bytes of
/// the new content are on their way.
struct CWriteFault {
    std::size_t failAfterBytes = 0;
    int error = 28; // ENOSPC
};

/// Replaces the file at `path` by `bytes` so that a crash, a full disk or a power cut at any
/// moment leaves either the old file or the new one, never a mix: a temporary file beside it is
/// written, flushed to disk and renamed over it, then the folder is synced. A symbolic link is
/// followed (the file it names is replaced) and the old file's permissions are kept. Any failure
/// removes the temporary file and leaves `path` as it was. Only a regular file (or nothing) is
/// replaced: EISDIR for a folder, EINVAL for a device, FIFO or socket. Temporary files that an
/// earlier, interrupted save left beside it are removed first. Returns 0 or the errno.
int ReplaceFileAtomically(const std::string &path, std::string_view bytes,
                          const CWriteFault *fault = nullptr);

/// `directory` + "/" + `name` (just `name` for an empty directory).
std::string JoinDatabasePath(const std::string &directory, const char *name);
/// What DescribeFileError says for EINVAL.
inline constexpr const char *kNotRegularFileText = "not a regular file";
/// "PATH: system error text", for a message box's details.
std::string DescribeFileError(const std::string &path, int error);

/// The whole content of a regular file; 0 or the errno (`bytes` is then empty): EFBIG beyond
/// `maxBytes`, EISDIR for a folder, EINVAL for another kind of file (a FIFO would block).
int ReadWholeFile(const std::string &path, std::string &bytes, std::size_t maxBytes);
/// The same, telling apart a file that did not open from one that opened but could not be read.
int ReadWholeFile(const std::string &path, std::string &bytes, std::size_t maxBytes, bool &opened);
int ReadWholeFile(const std::string &path, std::string &bytes, std::size_t maxBytes, bool &opened,
                  struct stat *info);

/// Whether `name` is one of the temporary files a replace of the file `base` makes
/// (".BASE.XXXXXX", six letters or digits).
bool IsOwnTemporaryName(std::string_view name, std::string_view base);
/// Removes the temporary files beside `path` (links followed) that an interrupted replace left,
/// once they are `minAgeSeconds` old: a younger one may belong to a save under way. Returns how
/// many went.
int RemoveStaleTemporaries(const std::string &path, std::int64_t minAgeSeconds = 60);

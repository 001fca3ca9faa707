#pragma once

#include <cstddef>
#include <string>
#include <string_view>

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
/// removes the temporary file and leaves `path` as it was. Returns 0 or the errno of the failure.
int ReplaceFileAtomically(const std::string &path, std::string_view bytes,
                          const CWriteFault *fault = nullptr);

/// What an overwrite without truncation leaves, written crash-safely: `bytes`, then whatever the
/// old file (at most `maxOldBytes`) held beyond them. Existing databases look like that, and
/// readers stop after the counted records anyway. 0 or the errno; the old file is kept on failure.
int ReplaceFileKeepingTail(const std::string &path, std::string bytes, std::size_t maxOldBytes,
                           const CWriteFault *fault = nullptr);

/// `directory` + "/" + `name` (just `name` for an empty directory).
std::string JoinDatabasePath(const std::string &directory, const char *name);
/// "PATH: system error text", for a message box's details.
std::string DescribeFileError(const std::string &path, int error);

/// The whole content of a regular file; 0 or the errno (`bytes` is then empty): EFBIG beyond
/// `maxBytes`, EISDIR for a folder, EINVAL for another kind of file (a FIFO would block).
int ReadWholeFile(const std::string &path, std::string &bytes, std::size_t maxBytes);
/// The same, telling apart a file that did not open from one that opened but could not be read.
int ReadWholeFile(const std::string &path, std::string &bytes, std::size_t maxBytes, bool &opened);

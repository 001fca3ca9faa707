#include "receiver/NMEALogFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace
{

int OpenRetrying(const std::string &path, int flags)
{
    int fd;
    do
        fd = ::open(path.c_str(), flags, 0644);
    while (fd < 0 && errno == EINTR);
    return fd;
}

} // namespace

CNMEALogFile::~CNMEALogFile()
{
    Close();
}

bool CNMEALogFile::Create(const std::string &path, const std::optional<CFileIdentity> &replayFile)
{
    Close();
    m_path = path;
    m_replacedBytes = 0;
    m_writtenBytes = 0;
    m_refusal = Refusal::None;
    m_errorCode = 0;
    m_errorText.clear();

    // Never O_TRUNC: the file is emptied only once it is ours. O_NONBLOCK: a FIFO without a
    // reader is refused (ENXIO) instead of hanging the caller.
    constexpr int kFlags = O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    bool created = false;
    int fd = -1;
    for (int attempt = 0; attempt < 2; ++attempt) {
        fd = OpenRetrying(path, kFlags | O_CREAT | O_EXCL);
        if (fd >= 0) {
            created = true;
            break;
        }
        if (errno != EEXIST)
            break;
        fd = OpenRetrying(path, kFlags);
        if (fd >= 0 || errno != ENOENT) // ENOENT: removed in between
            break;
    }
    if (fd < 0)
        return Refuse(Refusal::System, errno, {});

    const auto fail = [&](Refusal refusal, int errorCode, const std::string &text) {
        ::close(fd);
        if (created)
            ::unlink(path.c_str());
        return Refuse(refusal, errorCode, text);
    };
    struct stat st {
    };
    if (::fstat(fd, &st) != 0)
        return fail(Refusal::System, errno, {});
    if (replayFile && CFileIdentity{st.st_dev, st.st_ino} == *replayFile)
        return fail(Refusal::SameAsReplay, EINVAL, "it is the file being replayed");
    int locked;
    do
        locked = ::flock(fd, LOCK_EX | LOCK_NB);
    while (locked != 0 && errno == EINTR);
    if (locked != 0) {
        if (errno == EWOULDBLOCK)
            return fail(Refusal::InUse, EBUSY, "it is in use by another recording");
        return fail(Refusal::System, errno, {});
    }
    if (S_ISREG(st.st_mode) && st.st_size > 0) {
        if (::ftruncate(fd, 0) != 0)
            return fail(Refusal::System, errno, {});
        m_replacedBytes = st.st_size;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    m_fd = fd;
    return true;
}

std::optional<CFileIdentity> CNMEALogFile::GetIdentity() const
{
    return m_fd < 0 ? std::nullopt : CFileIdentity::OfDescriptor(m_fd);
}

void CNMEALogFile::Write(std::string_view line)
{
    if (m_fd < 0 || line.empty())
        return;
    m_buffer.append(line);
    m_lineEnds.push_back(m_buffer.size());
    if (m_buffer.size() >= kFlushBytes)
        Flush();
}

void CNMEALogFile::Flush()
{
    if (m_fd < 0 || m_buffer.empty())
        return;
    std::size_t done = 0;
    while (done < m_buffer.size()) {
        const ssize_t n = ::write(m_fd, m_buffer.data() + done, m_buffer.size() - done);
        if (n > 0) {
            done += static_cast<std::size_t>(n);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            // write() giving 0 for a non-empty buffer would loop forever; nothing better to say.
            FailWrite(n < 0 ? errno : EIO, done);
            return;
        }
    }
    m_writtenBytes += static_cast<long long>(done);
    m_buffer.clear();
    m_lineEnds.clear();
}

void CNMEALogFile::Close()
{
    Flush();
    if (m_fd < 0)
        return;
    const int fd = m_fd;
    m_fd = -1;
    m_buffer.clear();
    m_lineEnds.clear();
    // Linux releases the descriptor even when close() fails; never retry it. A network file
    // system may only now say that the data did not get out.
    if (::close(fd) != 0 && errno != EINTR) {
        SetError(errno);
        Report();
    }
}

bool CNMEALogFile::Refuse(Refusal refusal, int errorCode, const std::string &text)
{
    SetError(errorCode);
    m_refusal = refusal;
    if (!text.empty())
        m_errorText = text;
    return false;
}

void CNMEALogFile::SetError(int errorCode)
{
    m_errorCode = errorCode;
    m_errorText = std::system_category().message(errorCode);
}

void CNMEALogFile::FailWrite(int errorCode, std::size_t bufferBytesOut)
{
    // A short write before EFBIG/ENOSPC leaves half a line at the end: cut it, every reader
    // of the log expects whole lines. Appending keeps the offset at the end of what got out.
    // Devices and pipes refuse the cut, and need none.
    std::size_t whole = 0;
    for (const std::size_t end : m_lineEnds)
        if (end <= bufferBytesOut)
            whole = end;
    if (bufferBytesOut > whole) {
        const off_t end = ::lseek(m_fd, 0, SEEK_CUR);
        if (end >= static_cast<off_t>(bufferBytesOut - whole)) {
            // Best effort: the write has failed already.
            [[maybe_unused]] const int cut =
                ::ftruncate(m_fd, end - static_cast<off_t>(bufferBytesOut - whole));
        }
    }
    ::close(m_fd);
    m_fd = -1;
    m_buffer.clear();
    m_lineEnds.clear();
    SetError(errorCode);
    Report();
}

void CNMEALogFile::Report()
{
    if (m_onFailure) {
        // Copies: the handler may create a new log or replace itself.
        const FailureHandler handler = m_onFailure;
        const std::string text = m_errorText;
        handler(text);
    }
}

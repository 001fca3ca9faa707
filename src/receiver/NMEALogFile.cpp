#include "receiver/NMEALogFile.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

CNMEALogFile::~CNMEALogFile()
{
    Close();
}

bool CNMEALogFile::Create(const std::string &path)
{
    Close();
    m_path = path;
    int fd;
    do
        fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        SetError(errno);
        return false;
    }
    m_fd = fd;
    m_bytesWritten = 0;
    return true;
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
    m_bytesWritten += static_cast<long long>(done);
    m_buffer.clear();
    m_lineEnds.clear();
}

void CNMEALogFile::Close()
{
    Flush();
    if (m_fd < 0)
        return;
    // Linux releases the descriptor even when close() fails; never retry it.
    if (::close(m_fd) != 0)
        SetError(errno);
    m_fd = -1;
    m_buffer.clear();
    m_lineEnds.clear();
}

void CNMEALogFile::SetError(int errorCode)
{
    m_errorCode = errorCode;
    m_errorText = std::system_category().message(errorCode);
}

void CNMEALogFile::FailWrite(int errorCode, std::size_t bufferBytesOut)
{
    // A short write before EFBIG/ENOSPC leaves half a line at the end: cut it, every reader
    // of the log expects whole lines. Devices and pipes refuse, and need no cutting.
    std::size_t whole = 0;
    for (const std::size_t end : m_lineEnds)
        if (end <= bufferBytesOut)
            whole = end;
    (void)::ftruncate(m_fd, static_cast<off_t>(m_bytesWritten + static_cast<long long>(whole)));
    m_buffer.clear();
    m_lineEnds.clear();
    Close();
    SetError(errorCode);
    if (m_onFailure) {
        // Copies: the handler may create a new log or replace itself.
        const FailureHandler handler = m_onFailure;
        const std::string text = m_errorText;
        handler(text);
    }
}

#pragma once

#include <cerrno>
#include <unistd.h>

/// A file descriptor closed on every way out.
class CFileDescriptor
{
public:
    explicit CFileDescriptor(int fd)
        : m_fd(fd)
    {
    }
    ~CFileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    CFileDescriptor(const CFileDescriptor &) = delete;
    CFileDescriptor &operator=(const CFileDescriptor &) = delete;

    [[nodiscard]] int Get() const { return m_fd; }
    /// Closes now, so that an error of close (delayed write-back) is seen; 0 or the errno.
    int Close()
    {
        const int fd = m_fd;
        m_fd = -1;
        return (::close(fd) == 0 || errno == EINTR) ? 0 : errno;
    }

private:
    int m_fd;
};

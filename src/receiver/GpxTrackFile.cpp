#include "receiver/GpxTrackFile.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr const char *kSegmentTail = "    </trkseg>\n  </trk>\n</gpx>\n";
constexpr const char *kTrackTail = "  </trk>\n</gpx>\n";
constexpr auto kSyncInterval = std::chrono::seconds(60);

void AppendEscaped(std::string &out, std::string_view text)
{
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
}

// printf's "%.Nf" without its cost (a long drive is a million numbers) and without a locale.
void AppendFixed(std::string &out, double value, int precision)
{
    char digits[64];
    const auto [end, ec] =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, precision);
    if (ec == std::errc())
        out.append(digits, end);
}

void AppendTwo(std::string &out, int value)
{
    out += static_cast<char>('0' + value / 10 % 10);
    out += static_cast<char>('0' + value % 10);
}

// xsd:dateTime, UTC; the milliseconds only when there are some. False past year 9999.
bool AppendTime(std::string &out, std::int64_t utcMs)
{
    const std::int64_t ms = ((utcMs % 1000) + 1000) % 1000;
    const auto seconds = static_cast<std::time_t>((utcMs - ms) / 1000);
    std::tm tm{};
    if (::gmtime_r(&seconds, &tm) == nullptr || tm.tm_year + 1900 > 9999 || tm.tm_year + 1900 < 1)
        return false;
    const int year = tm.tm_year + 1900;
    AppendTwo(out, year / 100);
    AppendTwo(out, year % 100);
    out += '-';
    AppendTwo(out, tm.tm_mon + 1);
    out += '-';
    AppendTwo(out, tm.tm_mday);
    out += 'T';
    AppendTwo(out, tm.tm_hour);
    out += ':';
    AppendTwo(out, tm.tm_min);
    out += ':';
    AppendTwo(out, tm.tm_sec);
    if (ms != 0) {
        out += '.';
        out += static_cast<char>('0' + ms / 100);
        AppendTwo(out, static_cast<int>(ms % 100));
    }
    out += 'Z';
    return true;
}

// xsd:decimal has no exponent, no NaN; a value that prints otherwise is left out.
void AppendDecimal(std::string &out, const char *open, int precision, double value,
                   const char *close)
{
    if (!std::isfinite(value) || std::fabs(value) > 1e12)
        return;
    out += open;
    AppendFixed(out, value, precision);
    out += close;
}

} // namespace

CGpxTrackFile::~CGpxTrackFile()
{
    Close();
}

bool CGpxTrackFile::Create(const std::string &path, const std::string &trackName,
                           std::time_t createdUtc, bool exclusive)
{
    Close();
    m_path = path;
    m_errorText.clear();
    m_errorCode = 0;
    m_buffer.clear();
    m_dataEnd = 0;
    m_fileSegmentOpen = m_segmentOpen = false;
    m_bufferPoints = m_bufferSegments = m_writtenPoints = m_writtenSegments = 0;
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | (exclusive ? O_EXCL : O_TRUNC);
    int fd;
    do
        fd = ::open(path.c_str(), flags, 0644);
    while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        m_errorCode = errno;
        m_errorText = path + ": " + std::strerror(m_errorCode);
        return false;
    }
    m_fd = fd;
    std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<gpx version=\"1.1\" creator=\"";
    head += kCreator;
    head += "\" xmlns=\"http://www.topografix.com/GPX/1/1\" xmlns:gpxtpx=\"";
    head += kExtensionNamespace;
    head += "\">\n";
    head += "  <metadata>\n";
    std::string time;
    if (AppendTime(time, static_cast<std::int64_t>(createdUtc) * 1000))
        head += "    <time>" + time + "</time>\n";
    head += "  </metadata>\n  <trk>\n";
    if (!trackName.empty()) {
        head += "    <name>";
        AppendEscaped(head, trackName);
        head += "</name>\n";
    }
    m_buffer = std::move(head);
    m_unsynced = true;
    m_lastSync = std::chrono::steady_clock::now();
    Flush();
    if (!IsOpen()) {
        ::unlink(path.c_str());
        return false;
    }
    return true;
}

const char *CGpxTrackFile::Tail() const
{
    return m_segmentOpen ? kSegmentTail : kTrackTail;
}

void CGpxTrackFile::AddPoint(const CTrackLogPoint &p)
{
    if (!IsOpen())
        return;
    const double lat = p.position.m_latitude;
    double lon = p.position.m_longitude;
    if (lon == 180.0)
        lon = -180.0;
    if (!(lat >= -90.0 && lat <= 90.0) || !(lon >= -180.0 && lon < 180.0))
        return;
    std::string &out = m_buffer;
    if (!m_segmentOpen) {
        out += "    <trkseg>\n";
        m_segmentOpen = true;
        ++m_bufferSegments;
    }
    out += "      <trkpt lat=\"";
    AppendFixed(out, lat, 7);
    out += "\" lon=\"";
    AppendFixed(out, lon, 7);
    out += "\">\n";
    if (p.elevation)
        AppendDecimal(out, "        <ele>", 2, *p.elevation, "</ele>\n");
    if (p.timeUtcMs) {
        const std::size_t start = out.size();
        out += "        <time>";
        if (AppendTime(out, *p.timeUtcMs))
            out += "</time>\n";
        else
            out.resize(start);
    }
    if (!p.fix.empty())
        out += "        <fix>" + p.fix + "</fix>\n";
    if (p.satellites && *p.satellites >= 0) {
        out += "        <sat>" + std::to_string(*p.satellites) + "</sat>\n";
    }
    if (p.hdop && *p.hdop >= 0.0)
        AppendDecimal(out, "        <hdop>", 2, *p.hdop, "</hdop>\n");
    const bool speed = p.speedMs && std::isfinite(*p.speedMs) && *p.speedMs >= 0.0;
    if (speed || p.course) {
        out += "        <extensions><gpxtpx:TrackPointExtension>";
        if (speed)
            AppendDecimal(out, "<gpxtpx:speed>", 2, *p.speedMs, "</gpxtpx:speed>");
        if (p.course)
            AppendDecimal(out, "<gpxtpx:course>", 1, *p.course, "</gpxtpx:course>");
        out += "</gpxtpx:TrackPointExtension></extensions>\n";
    }
    out += "      </trkpt>\n";
    ++m_bufferPoints;
    if (m_buffer.size() >= kFlushBytes)
        Flush();
}

void CGpxTrackFile::EndSegment()
{
    if (!IsOpen() || !m_segmentOpen)
        return;
    m_buffer += "    </trkseg>\n";
    m_segmentOpen = false;
}

bool CGpxTrackFile::WriteAt(std::string_view bytes, long long offset)
{
    while (!bytes.empty()) {
        const ssize_t n = ::pwrite(m_fd, bytes.data(), bytes.size(), offset);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = ENOSPC;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(n));
        offset += n;
    }
    return true;
}

void CGpxTrackFile::Flush()
{
    if (!IsOpen() || m_buffer.empty())
        return;
    const std::size_t oldTailSize = std::strlen(m_fileSegmentOpen ? kSegmentTail : kTrackTail);
    const std::size_t dataBytes = m_buffer.size();
    m_buffer += Tail();
    if (!WriteAt(m_buffer, m_dataEnd)) {
        Fail(errno);
        return;
    }
    const long long oldEnd = m_dataEnd + static_cast<long long>(oldTailSize);
    const long long newEnd = m_dataEnd + static_cast<long long>(m_buffer.size());
    m_dataEnd += static_cast<long long>(dataBytes);
    // The new bytes always cover the old tail; should they not, nothing may follow </gpx>.
    if (newEnd < oldEnd && ::ftruncate(m_fd, newEnd) != 0) {
        Fail(errno);
        return;
    }
    m_buffer.clear();
    m_fileSegmentOpen = m_segmentOpen;
    m_writtenPoints += m_bufferPoints;
    m_writtenSegments += m_bufferSegments;
    m_bufferPoints = m_bufferSegments = 0;
    m_unsynced = true;
    if (std::chrono::steady_clock::now() - m_lastSync >= kSyncInterval)
        Sync();
}

void CGpxTrackFile::Sync()
{
    if (!IsOpen() || !m_unsynced)
        return;
    m_lastSync = std::chrono::steady_clock::now();
    m_unsynced = false;
    // EINVAL: a file that cannot be synced (a pipe, /dev/null): nothing to wait for.
    if (::fdatasync(m_fd) != 0 && errno != EINVAL && errno != EROFS)
        Fail(errno);
}

void CGpxTrackFile::Fail(int errorCode)
{
    // Back to the last flush: its closing tags sit where a part of this flush may now be.
    const char *tail = m_fileSegmentOpen ? kSegmentTail : kTrackTail;
    if (WriteAt(tail, m_dataEnd))
        (void)::ftruncate(m_fd, m_dataEnd + static_cast<long long>(std::strlen(tail)));
    ::close(m_fd);
    m_fd = -1;
    m_buffer.clear();
    m_bufferPoints = m_bufferSegments = 0;
    m_errorCode = errorCode;
    m_errorText = m_path + ": " + std::strerror(errorCode);
    if (m_onFailure)
        m_onFailure(m_errorText);
}

void CGpxTrackFile::Close()
{
    if (!IsOpen())
        return;
    EndSegment();
    Flush();
    Sync();
    if (!IsOpen())
        return;
    const int fd = m_fd;
    m_fd = -1;
    if (::close(fd) != 0 && errno != EINTR) {
        m_errorCode = errno;
        m_errorText = m_path + ": " + std::strerror(m_errorCode);
        if (m_onFailure)
            m_onFailure(m_errorText);
    }
}

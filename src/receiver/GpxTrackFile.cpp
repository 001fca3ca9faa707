#include "receiver/GpxTrackFile.h"

#include <algorithm>
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
    m_fileEnd = 0;
    m_fileSegmentOpen = m_segmentOpen = false;
    m_marks.clear();
    m_writtenPoints = m_writtenSegments = 0;
    // A new file is made complete under another name and linked in place: killed before its
    // first write, it would be an empty, invalid file.
    const std::string part = path + ".part";
    const std::string &target = exclusive ? part : path;
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | (exclusive ? O_EXCL : O_TRUNC);
    int fd = -1;
    for (int attempt = 0; attempt < 2 && fd < 0; ++attempt) {
        do
            fd = ::open(target.c_str(), flags, 0644);
        while (fd < 0 && errno == EINTR);
        // One left by a writer killed between its two steps.
        if (fd < 0 && exclusive && errno == EEXIST && attempt == 0)
            ::unlink(part.c_str());
        else
            break;
    }
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
    Mark(false, false);
    m_unsynced = true;
    m_lastSync = std::chrono::steady_clock::now();
    Flush();
    if (!IsOpen()) {
        ::unlink(target.c_str());
        return false;
    }
    if (exclusive) {
        const int linked = ::link(part.c_str(), path.c_str()) == 0 ? 0 : errno;
        ::unlink(part.c_str());
        if (linked != 0) {
            ::close(m_fd);
            m_fd = -1;
            m_errorCode = linked;
            m_errorText = path + ": " + std::strerror(linked);
            return false;
        }
    }
    return true;
}

const char *CGpxTrackFile::TailOf(bool segmentOpen)
{
    return segmentOpen ? kSegmentTail : kTrackTail;
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
    const bool opens = !m_segmentOpen;
    if (opens) {
        out += "    <trkseg>\n";
        m_segmentOpen = true;
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
    Mark(true, opens);
    if (m_buffer.size() >= kFlushBytes)
        Flush();
}

void CGpxTrackFile::EndSegment()
{
    if (!IsOpen() || !m_segmentOpen)
        return;
    m_buffer += "    </trkseg>\n";
    m_segmentOpen = false;
    Mark(false, false);
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

void CGpxTrackFile::Mark(bool point, bool segment)
{
    m_marks.push_back({m_buffer.size(), m_segmentOpen, point, segment});
}

bool CGpxTrackFile::WriteBlanks(std::string_view head, long long from, long long to)
{
    std::string bytes(head);
    bytes.resize(static_cast<std::size_t>(to - from), ' ');
    bytes.back() = '\n';
    return WriteAt(bytes, from);
}

bool CGpxTrackFile::WriteAcross(const std::string &piece, long long pageEnd)
{
    // Each write below stays within one page, and the file is valid after each: the part of the
    // piece in the next page goes there first, hidden in a processing instruction (allowed
    // after </gpx>; our points hold no "?>"), and the write of the first part makes it live.
    const long long oldTailEnd =
        m_dataEnd + static_cast<long long>(std::strlen(TailOf(m_fileSegmentOpen)));
    const long long nextPageEnd = pageEnd + kPageBytes;
    const auto split = static_cast<std::size_t>(pageEnd - m_dataEnd);
    const std::string_view first = std::string_view(piece).substr(0, split);
    const std::string_view rest = std::string_view(piece).substr(split);
    if (m_fileEnd < pageEnd && !WriteBlanks({}, m_fileEnd, pageEnd))
        return false;
    m_fileEnd = std::max(m_fileEnd, pageEnd);
    if (!WriteBlanks("<?a ?>", pageEnd, nextPageEnd))
        return false;
    m_fileEnd = std::max(m_fileEnd, nextPageEnd);
    std::string next(rest);
    next += "<?b ?>";
    return WriteBlanks("<?c ", oldTailEnd, pageEnd) && WriteBlanks(next, pageEnd, nextPageEnd)
           && WriteAt(first, m_dataEnd)
           && WriteBlanks({}, pageEnd + static_cast<long long>(rest.size()), nextPageEnd);
}

void CGpxTrackFile::Flush()
{
    if (!IsOpen() || m_marks.empty())
        return;
    std::size_t done = 0;
    std::string piece;
    for (std::size_t k = 0; k < m_marks.size();) {
        // SIGKILL cuts a write only between pages: as many whole items as fit before the page
        // ends (leaving room to open a processing instruction after the closing tags), or the
        // one that crosses it, written across in steps.
        const long long pageEnd = (m_dataEnd / kPageBytes + 1) * kPageBytes;
        const auto fits = [&](std::size_t j) {
            return m_dataEnd + static_cast<long long>(m_marks[j].end - done)
                       + static_cast<long long>(std::strlen(TailOf(m_marks[j].segmentOpen)))
                       + kOpenerBytes
                   <= pageEnd;
        };
        std::size_t j = k;
        while (fits(j) && j + 1 < m_marks.size() && fits(j + 1))
            ++j;
        const CMark &mark = m_marks[j];
        piece.assign(m_buffer, done, mark.end - done);
        const bool across = !fits(j);
        // Closing tags that would end too near the page's end for the next crossing to open
        // its instruction after them go to the next page, blanks before them.
        if (across && m_dataEnd + static_cast<long long>(piece.size()) < pageEnd) {
            piece.resize(static_cast<std::size_t>(pageEnd - m_dataEnd), ' ');
            piece.back() = '\n';
        }
        const std::size_t dataBytes = piece.size();
        piece += TailOf(mark.segmentOpen);
        const long long oldEnd =
            m_dataEnd + static_cast<long long>(std::strlen(TailOf(m_fileSegmentOpen)));
        const long long newEnd = m_dataEnd + static_cast<long long>(piece.size());
        const bool written = across ? WriteAcross(piece, pageEnd) : WriteAt(piece, m_dataEnd);
        // The new bytes always cover the old tail; should they not, nothing may follow.
        if (!written || (newEnd < oldEnd && ::ftruncate(m_fd, newEnd) != 0)) {
            Fail(errno);
            return;
        }
        m_fileEnd = std::max(m_fileEnd, newEnd);
        m_dataEnd += static_cast<long long>(dataBytes);
        done = mark.end;
        m_fileSegmentOpen = mark.segmentOpen;
        for (; k <= j; ++k) {
            m_writtenPoints += m_marks[k].point ? 1 : 0;
            m_writtenSegments += m_marks[k].segment ? 1 : 0;
        }
    }
    m_buffer.clear();
    m_marks.clear();
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
    const char *tail = TailOf(m_fileSegmentOpen);
    if (WriteAt(tail, m_dataEnd)) {
        // Best effort: the write has failed already.
        [[maybe_unused]] const int cut =
            ::ftruncate(m_fd, m_dataEnd + static_cast<long long>(std::strlen(tail)));
    }
    ::close(m_fd);
    m_fd = -1;
    m_buffer.clear();
    m_marks.clear();
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
    const long long end =
        m_dataEnd + static_cast<long long>(std::strlen(TailOf(m_fileSegmentOpen)));
    if (IsOpen() && m_fileEnd > end && ::ftruncate(m_fd, end) != 0)
        Fail(errno);
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

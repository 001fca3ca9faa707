#include "receiver/ReplayIndex.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr double kSecondsPerDay = 86400.0;
// A time of day more than half a day before the last one is the next day; a smaller step back
// is a receiver's glitch and stays on the same day.
constexpr double kMidnightJump = kSecondsPerDay / 2.0;

std::optional<double> SecondsOfDay(std::string_view hhmmss)
{
    if (hhmmss.size() < 6)
        return std::nullopt;
    int parts[3];
    for (int i = 0; i < 3; ++i) {
        const char *first = hhmmss.data() + 2 * i;
        if (std::from_chars(first, first + 2, parts[i]).ptr != first + 2)
            return std::nullopt;
    }
    double fraction = 0.0;
    if (hhmmss.size() > 7 && hhmmss[6] == '.') {
        double scale = 0.1;
        for (char c : hhmmss.substr(7)) {
            if (c < '0' || c > '9')
                break;
            fraction += (c - '0') * scale;
            scale /= 10.0;
        }
    }
    if (parts[0] > 23 || parts[1] > 59 || parts[2] > 60)
        return std::nullopt;
    return parts[0] * 3600.0 + parts[1] * 60.0 + parts[2] + fraction;
}

} // namespace

std::optional<double> CEpochCutter::Take(std::string_view line)
{
    if (line.size() < 8 || line[0] != '$')
        return std::nullopt;
    const std::string_view tag = line.substr(3, 4);
    if (tag != "GGA," && tag != "RMC,")
        return std::nullopt;
    std::string_view time = line.substr(7);
    time = time.substr(0, time.find_first_of(",*\r\n"));
    if (time.empty() || time == m_lastTime)
        return std::nullopt;
    const std::optional<double> seconds = SecondsOfDay(time);
    if (!seconds)
        return std::nullopt;
    m_lastTime.assign(time);
    if (m_lastSeconds >= 0.0 && *seconds + m_dayOffset < m_lastSeconds - kMidnightJump)
        m_dayOffset += kSecondsPerDay;
    m_lastSeconds = *seconds + m_dayOffset;
    return m_lastSeconds;
}

CReplayIndex CReplayIndex::Build(std::string_view bytes)
{
    CReplayIndex index;
    index.m_fileSize = bytes.size();
    CEpochCutter cutter;
    std::size_t begin = 0;
    while (begin < bytes.size()) {
        const void *lf = std::memchr(bytes.data() + begin, '\n', bytes.size() - begin);
        const std::size_t end =
            lf != nullptr
                ? static_cast<std::size_t>(static_cast<const char *>(lf) - bytes.data()) + 1
                : bytes.size();
        // Only these can start an epoch; the cutter need not see the rest.
        if (end - begin > 7 && bytes[begin] == '$'
            && (bytes[begin + 3] == 'G' || bytes[begin + 3] == 'R'))
            if (const std::optional<double> s = cutter.Take(bytes.substr(begin, end - begin)))
                index.m_epochs.push_back({*s, begin});
        begin = end;
    }
    return index;
}

CReplayIndex CReplayIndex::BuildFromFile(const std::string &path)
{
    // Opening a FIFO or a device has effects of its own (a writer let go, a port's lines
    // raised): only a regular file is opened.
    struct stat before {
    };
    if (::stat(path.c_str(), &before) != 0 || !S_ISREG(before.st_mode))
        return {};
    int fd;
    do
        fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return {};
    struct stat st {
    };
    CReplayIndex index;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0) {
        const auto size = static_cast<std::size_t>(st.st_size);
        void *map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
        if (map != MAP_FAILED) {
            index = Build(std::string_view(static_cast<const char *>(map), size));
            ::munmap(map, size);
        }
    }
    ::close(fd);
    return index;
}

std::uint64_t CReplayIndex::EndOf(std::size_t i) const
{
    return i + 1 < m_epochs.size() ? m_epochs[i + 1].offset : m_fileSize;
}

std::size_t CReplayIndex::EpochAt(double seconds) const
{
    const auto after = std::upper_bound(m_epochs.begin(), m_epochs.end(), seconds,
                                        [](double s, const CEpoch &e) { return s < e.seconds; });
    return after == m_epochs.begin() ? 0 : static_cast<std::size_t>(after - m_epochs.begin()) - 1;
}

std::optional<std::size_t> CReplayIndex::FirstEpochFrom(double secondsOfDay) const
{
    if (m_epochs.empty())
        return std::nullopt;
    const double firstDay =
        static_cast<double>(static_cast<long>(m_epochs.front().seconds / kSecondsPerDay))
        * kSecondsPerDay;
    double target = firstDay + secondsOfDay;
    // A time of day before the log's start is taken on its next day, if the log reaches it.
    if (target < m_epochs.front().seconds && m_epochs.back().seconds >= firstDay + kSecondsPerDay)
        target += kSecondsPerDay;
    const auto at = std::lower_bound(m_epochs.begin(), m_epochs.end(), target,
                                     [](const CEpoch &e, double s) { return e.seconds < s; });
    if (at == m_epochs.end())
        return std::nullopt;
    return static_cast<std::size_t>(at - m_epochs.begin());
}

std::string LogTimeText(double seconds)
{
    const long whole = static_cast<long>(seconds) % static_cast<long>(kSecondsPerDay);
    char text[16];
    const long h = whole / 3600, m = whole / 60 % 60, s = whole % 60;
    text[0] = static_cast<char>('0' + h / 10);
    text[1] = static_cast<char>('0' + h % 10);
    text[2] = ':';
    text[3] = static_cast<char>('0' + m / 10);
    text[4] = static_cast<char>('0' + m % 10);
    text[5] = ':';
    text[6] = static_cast<char>('0' + s / 10);
    text[7] = static_cast<char>('0' + s % 10);
    return std::string(text, 8);
}

std::optional<double> ParseLogTime(std::string_view text)
{
    if (text.size() != 8 || text[2] != ':' || text[5] != ':')
        return std::nullopt;
    int parts[3];
    for (int i = 0; i < 3; ++i) {
        const char *first = text.data() + 3 * i;
        if (std::from_chars(first, first + 2, parts[i]).ptr != first + 2)
            return std::nullopt;
    }
    if (parts[0] > 23 || parts[1] > 59 || parts[2] > 59)
        return std::nullopt;
    return parts[0] * 3600.0 + parts[1] * 60.0 + parts[2];
}

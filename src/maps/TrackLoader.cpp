#include "maps/TrackLoader.h"

#include "maps/ReceptionColour.h"
#include "nmea/NMEAParser.h"
#include "receiver/LineRouter.h"
#include "storage/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace
{

// Where the sentence letter decides: "$GPGGA" has 'G', "$GPGSA" and "$GPGSV" 'S'.
constexpr std::size_t kKindIndex = 4;
// Large reads for speed; the line rule does not depend on them.
constexpr std::size_t kReadBytes = 1u << 20;

} // namespace

CTrackReader::CTrackReader(const CMapInfo &map, bool colourReception, CRgb markerColour,
                           GnssMode mode)
    : m_map(map)
    , m_colourReception(colourReception)
    , m_colour(markerColour)
    , m_parser(mode)
    , m_assembler(mode)
{
}

void CTrackReader::Feed(std::string_view bytes)
{
    if (!m_map.IsCalibrated())
        return;
    if (m_parser.GetMode() == GnssMode::AllSystems) {
        m_assembler.Feed(bytes, [this](std::string_view line) { UseLine(line); });
        return;
    }
    const char *p = bytes.data();
    const char *const end = p + bytes.size();
    while (p < end) {
        if (m_skipNext) {
            m_skipNext = false;
            ++p;
            continue;
        }
        const std::size_t room = kMaxLineBytes - m_lineLength;
        const std::size_t available = std::min<std::size_t>(room, end - p);
        const auto *feed = static_cast<const char *>(std::memchr(p, '\n', available));
        const std::size_t take = feed != nullptr ? feed - p + 1 : available;
        if (feed == nullptr && take < room) {
            // The piece ends inside the line: keep it for the next one.
            std::memcpy(m_line.data() + m_lineLength, p, take);
            m_lineLength += take;
            p += take;
            continue;
        }
        if (m_lineLength == 0) {
            UseLine(std::string_view(p, take));
        } else {
            std::memcpy(m_line.data() + m_lineLength, p, take);
            UseLine(std::string_view(m_line.data(), m_lineLength + take));
            m_lineLength = 0;
        }
        p += take;
        m_skipNext = feed == nullptr;
    }
}

void CTrackReader::UseLine(std::string_view line)
{
    if (line.size() <= kKindIndex)
        return;
    if (m_parser.GetMode() == GnssMode::AllSystems) {
        // Any talker: the sentence type decides, at index 3.
        const std::string_view type = line.substr(3, 3);
        if (type != "GGA" && !(m_colourReception && (type == "GSA" || type == "GSV")))
            return;
    } else {
        const char kind = line[kKindIndex];
        if (kind != 'G' && !(m_colourReception && kind == 'S'))
            return;
    }
    const int type = m_parser.Parse(line);
    if (m_colourReception) {
        if (const std::optional<double> reception = RouteLine(type, m_parser).reception)
            m_colour = ReceptionColour(*reception);
    }
    // A GGA without a fix has no position (its empty fields read as 0°, 0°): a track must not
    // jump to the Gulf of Guinea and back whenever the receiver lost the sky.
    if (type != kSentenceGGA || m_parser.m_gga.m_quality == 0 || !m_parser.WasUsed())
        return;
    CMapPoint pixel;
    if (!m_map.PositionToPixel(m_parser.m_gga.m_position, pixel) || pixel == m_previous)
        return;
    m_previous = pixel;
    m_points.push_back({pixel, m_colour});
}

int LoadTrackFile(const std::string &path, const CMapInfo &map, bool colourReception,
                  CRgb markerColour, std::vector<CTrackPoint> &out, GnssMode mode)
{
    // Non-blocking, so that a FIFO cannot hang the open; it is refused right after.
    const CFileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.Get() < 0)
        return errno;
    struct stat info {
    };
    if (::fstat(file.Get(), &info) != 0)
        return errno;
    if (!S_ISREG(info.st_mode))
        return S_ISDIR(info.st_mode) ? EISDIR : EINVAL;

    CTrackReader reader(map, colourReception, markerColour, mode);
    std::string buffer(kReadBytes, '\0');
    for (;;) {
        const ssize_t n = ::read(file.Get(), buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        if (n == 0)
            break;
        reader.Feed(std::string_view(buffer.data(), static_cast<std::size_t>(n)));
    }
    out = reader.TakePoints();
    return 0;
}

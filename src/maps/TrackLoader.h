#pragma once

#include "base/Rgb.h"
#include "maps/MapInfo.h"
#include "nmea/LineAssembler.h"
#include "nmea/NMEAParser.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// One point of a track: the map pixel and the colour it is drawn in.
struct CTrackPoint {
    CMapPoint point;
    CRgb colour;

    bool operator==(const CTrackPoint &) const = default;
};

/// Shown when a log to load as a track does not open.
inline constexpr const char *kTrackFileFailedMessage = "failed to open file.";

/// Turns a recorded NMEA log into track points on one map, fed in pieces of any size.
///
/// Lines end after a line feed or after 80 bytes; in the second case the byte after them is
/// dropped, so an overlong line loses its 81st byte and its rest reads as a line of its own.
/// An unterminated last line is not used. Lines whose fifth character is 'G' are used (with
/// colour-coded reception also 'S'), by a parser new with the reader. Positions of GGAs with a
/// fix become pixels; a pixel equal to the previous one (at first (0,0)) is dropped.
/// With colour-coded reception, a line that gives a reception ratio (see RouteLine) sets the
/// colour of the points after it; until then they have the marker's.
///
/// With all satellite systems the log is cut and read as the receiver connection does in that
/// mode (CLineAssembler): GGAs of any talker, the followed one's only, and with colour-coded
/// reception the GSAs and GSVs of every system.
class CTrackReader
{
public:
    static constexpr std::size_t kMaxLineBytes = 80;

    /// `map` must outlive the reader. An uncalibrated map gives no points.
    CTrackReader(const CMapInfo &map, bool colourReception, CRgb markerColour,
                 GnssMode mode = GnssMode::GpsOnly);

    /// The next bytes of the log; where one piece ends and the next begins makes no difference.
    void Feed(std::string_view bytes);

    [[nodiscard]] std::vector<CTrackPoint> TakePoints() { return std::move(m_points); }

private:
    void UseLine(std::string_view line);

    const CMapInfo &m_map;
    bool m_colourReception;
    CRgb m_colour;
    CMapPoint m_previous;
    std::vector<CTrackPoint> m_points;
    std::array<char, kMaxLineBytes> m_line{}; // a line that began in an earlier piece
    std::size_t m_lineLength = 0;
    bool m_skipNext = false;
    CNMEAParser m_parser; // one for the whole log, new with the reader
    CLineAssembler m_assembler;
};

/// The track of the log file at `path` into `out` (replaced). Returns 0, or the errno with `out`
/// untouched: EISDIR for a folder, EINVAL for anything else that is no regular file.
int LoadTrackFile(const std::string &path, const CMapInfo &map, bool colourReception,
                  CRgb markerColour, std::vector<CTrackPoint> &out,
                  GnssMode mode = GnssMode::GpsOnly);

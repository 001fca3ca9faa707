#pragma once

#include "base/GnssMode.h"
#include "receiver/TrackRules.h"

#include <cstdint>
#include <ctime>
#include <string>

/// What converting a log into a GPX track came to.
struct CTrackExport {
    std::int64_t points = 0;
    std::int64_t segments = 0;
    /// 0, or the errno of the failure; the text names the file ("PATH: reason").
    int errorCode = 0;
    std::string errorText;
    bool readFailed = false; ///< the log, rather than the GPX file
};

/// A recorded NMEA log as a GPX track (`gpx` replaced when it exists), cut into lines and
/// parsed as the receiver connection does in `mode`, the track log's rules deciding. The track
/// is named after the log's file name; `createdUtc` stamps the file.
CTrackExport ExportTrack(const std::string &log, const std::string &gpx, GnssMode mode,
                         const CTrackRate &rate, double altitudeOffset, std::time_t createdUtc);

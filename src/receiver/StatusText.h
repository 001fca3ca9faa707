#pragma once

#include "receiver/SourceAddress.h"

#include <cstdint>
#include <optional>
#include <string>

/// What the status line below the pages is told: the source, the fix and its age, the recording
/// and any alarm. Times are seconds on one steady clock, the one StatusTexts is given `now` on.
struct CStatusState {
    enum class Source { None, Live, Replay, ReplayEnded };
    Source source = Source::None;
    /// Live: the source as opened.
    CSourceAddress address;
    /// Live serial: the line speed read at; 0 while it is being looked for.
    int baudRate = 0;
    /// Replay, ReplayEnded: the file's name without its folders.
    std::string replayName;
    /// Replay: bytes cut into lines so far, and the file's size (0: a FIFO or device, no end).
    std::uint64_t replayBytes = 0;
    std::uint64_t replayTotal = 0;
    unsigned replayDelayMs = 0;

    double openedAt = 0.0;
    std::optional<double> lastLineAt;
    bool fix = false;
    /// The GSA's fix mode: 2 for 2D, 3 for 3D, anything else unknown.
    int fixMode = 0;
    double lastFixAt = 0.0;
    /// Since when there is no fix: the source's opening or the loss.
    double noFixSince = 0.0;

    bool recording = false;
    std::string recordName;
    std::uint64_t recordBytes = 0;

    bool receiverLost = false;
    bool recordFailed = false;
    bool proximityAlarm = false;
    /// The speed alarm's warning while it shows ("Over speed limit 120 km/h"); empty: none.
    std::string speedWarning;
    /// The name of the waypoint last reached, and when.
    std::string waypointReached;
    double waypointReachedAt = 0.0;

    /// A source opened (or a replay started, or a lost port came back): its ages start now, no
    /// fix yet, no receiver lost.
    void Opened(double now);
    /// A line arrived; `fixState` when it said whether there is a fix.
    void LineArrived(double now, std::optional<bool> fixState);
};

/// The status line's parts; an empty one is not shown.
struct CStatusTexts {
    std::string source;    ///< "/dev/ttyACM0 9600", "Replay drive1.nmea 42 % 200 %"
    std::string fix;       ///< "3D fix 0.4 s", "no fix 12 s", "no data 5 s"
    std::string recording; ///< "● REC drive1.nmea 1.2 MB"
    std::string alarm; ///< "Receiver lost", "Waypoint reached: HOME", "Over speed limit 120 km/h"

    bool operator==(const CStatusTexts &) const = default;
};

/// Without a line for this long an open source reads "no data".
inline constexpr double kNoDataAfterSeconds = 3.0;
/// How long a reached waypoint stays in the status line.
inline constexpr double kWaypointAlarmSeconds = 60.0;

[[nodiscard]] CStatusTexts StatusTexts(const CStatusState &state, double now);
/// "512 B", "12.3 kB", "1.2 MB", "734 MB": decimal units, three figures at most.
[[nodiscard]] std::string ByteSizeText(std::uint64_t bytes);

#pragma once

#include "nmea/NMEAParser.h"
#include "receiver/FixEvents.h"
#include "receiver/NMEALogFile.h"
#include "receiver/ReceiverWatch.h"
#include "receiver/RecordingRules.h"
#include "receiver/SourceStatus.h"
#include "receiver/TrackLog.h"
#include "waypoints/WaypointNavigator.h"

#include <array>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

/// What a line or an event of the source changed: which shown values are new.
enum ReceiverChange : unsigned {
    kChangeNavigation = 1u << 0,  ///< a GGA: the List page's position, reception and dilution
    kChangeAltitude = 1u << 1,    ///< CReceiverUpdate::altitude
    kChangeTimeOfDay = 1u << 2,   ///< CReceiverUpdate::timeOfDay
    kChangePosition = 1u << 3,    ///< a GGA with a fix: CReceiverUpdate::position
    kChangeSky = 1u << 4,         ///< a complete sky (GSV group, or with all systems the run)
    kChangeReception = 1u << 5,   ///< with the sky: CReceiverUpdate::reception
    kChangeMotion = 1u << 6,      ///< speed, heading and the fix state after an RMC or a loss
    kChangeCompass = 1u << 7,     ///< CReceiverUpdate::course, bearing, distance
    kChangeMileage = 1u << 8,     ///< a position/time sample for the mileage counter
    kChangeHeadingRows = 1u << 9, ///< the List page's heading rows
    kChangeFixState = 1u << 10,   ///< CReceiverUpdate::fixLost (GGA or RMC)
    kChangeLine = 1u << 11,       ///< a received line: CReceiverUpdate::type and text
};

/// What happened once, for the window to make heard or seen.
enum ReceiverEvent : unsigned {
    kEventFixGained = 1u << 0,
    kEventFixLost = 1u << 1,
    kEventWaypointReached = 1u << 2, ///< CReceiverUpdate::waypointAlert
    kEventSetClock = 1u << 3,        ///< CReceiverUpdate::clockUtc
    kEventRecordFailed = 1u << 4,    ///< the log closed; CReceiverUpdate::recordError
    kEventActivity = 1u << 5,        ///< a GGA: the receiver is in use (the idle timer)
};

/// A fix sound to play with the update.
enum class FixSound { None, Gained, Lost };

/// The outcome of one line (or of the source going away): what changed, what happened, and the
/// values the pages take.
struct CReceiverUpdate {
    SentenceType type = kSentenceNone;
    /// The line as parsed (GPS only: up to a NUL), for the Data page.
    std::string_view text;
    unsigned changes = 0;
    unsigned events = 0;
    FixSound sound = FixSound::None;

    double altitude = 0.0;  ///< metres, the altitude less the geoid separation
    double timeOfDay = 0.0; ///< UTC seconds since midnight
    CGeoPosition position;  ///< the fix
    double reception = 0.0; ///< satellites used / in view
    double speedKmh = 0.0;  ///< 0 without a fix
    double heading = -1.0;  ///< the RMC course while its status is A, else -1
    double course = 0.0;
    double bearing = -1.0;       ///< to the goto waypoint; -1 without one
    double distance = -1.0;      ///< metres to the goto waypoint; -1 without one
    CGeoPosition samplePosition; ///< the mileage sample: the RMC's position and time
    std::time_t sampleTime = 0;
    bool replay = false;  ///< the mileage sample comes from a replay
    bool fixLost = false; ///< the receiver says it has no fix (quality 0 or status V)
    std::time_t clockUtc = 0;
    std::string waypointAlert;
    std::string recordError;

    [[nodiscard]] bool Changed(unsigned change) const { return (changes & change) != 0; }
    [[nodiscard]] bool Happened(unsigned event) const { return (events & event) != 0; }
};

/// The receiver's lines from wherever they come (a serial port, a replay file) to decisions:
/// parsing, the fix events, the goto waypoint's proximity alarm and bearing, the recording, and
/// the watch over the source. Standard C++ with no window: `veloran-cli replay` and the window
/// consume it alike, the window carrying out the updates on its pages.
class CReceiverSession
{
public:
    CReceiverSession();
    CReceiverSession(const CReceiverSession &) = delete;
    CReceiverSession &operator=(const CReceiverSession &) = delete;

    /// One received line, line end included, every byte as it came: GPS only parses it up to a
    /// NUL, the log gets it whole.
    CReceiverUpdate HandleLine(std::string_view raw);
    /// A replay's last bytes without a line end: recorded as any other line, never parsed.
    /// Returns a record failure, if one happened.
    std::optional<std::string> RecordUnfinished(std::string_view bytes);
    /// After each batch of lines: the recorded ones go to the file. Returns a record failure.
    std::optional<std::string> EndOfBatch();

    /// Starts afresh in `mode`: parser and recording pattern.
    void SetGnssMode(GnssMode mode);
    /// After a switch of modes while running, what was shown (sky, speed, fix, heading) came from
    /// the other mode: the update that takes it back, without a sound (the receiver lost
    /// nothing).
    [[nodiscard]] CReceiverUpdate ClearShownFix();

    /// Whether fix changes make a sound, and whether a fix gained sets the system clock (only
    /// from a live port, never a replay).
    void SetFixOptions(bool playSound, bool syncClock);
    [[nodiscard]] bool PlaysSound() const { return m_playSound; }
    [[nodiscard]] bool SyncsClock() const { return m_syncClock; }

    /// The waypoints and the goto target among them, for the proximity alarm and the compass's
    /// bearing; both must outlive the session or be replaced. Null: no waypoints.
    void SetWaypoints(const CWaypointList *waypoints, CWaypointNavigator *navigator)
    {
        m_waypoints = waypoints;
        m_navigator = navigator;
    }

    /// The source: a port opened (by the user or a retry), a replay started, the user closed it.
    void PortOpened(const std::string &device) { m_watch.OnPortOpened(device); }
    /// The user opened `source`: Plain Connect opens it again after a replay.
    void LiveSourceOpened(const CSourceAddress &source) { m_watch.RememberLiveSource(source); }
    void ReplayStarted()
    {
        m_track.SourceEnded();
        m_watch.OnReplayStarted();
    }
    void ClosedByUser()
    {
        m_track.SourceEnded();
        m_watch.OnClosedByUser();
    }
    /// The source ended by itself (`errorCode` 0: the end of a replay file). A live receiver
    /// gone is a fix lost: `update` shows it, with the parser's values no longer claiming one.
    struct CSourceEnd {
        CReceiverWatch::CEndActions actions;
        CReceiverUpdate update;
    };
    CSourceEnd SourceEnded(int errorCode);
    [[nodiscard]] const CReceiverWatch &GetWatch() const { return m_watch; }
    /// What a network source says of itself. A source with no receiver now (lost, silent, gpsd
    /// without one) shows the fix as lost, as a port that is gone does; the source reaches it
    /// again by itself.
    CReceiverUpdate StatusChanged(const CSourceStatus &status);

    [[nodiscard]] const CNMEAParser &GetParser() const { return m_parser; }
    [[nodiscard]] CRecordingRules &GetRecordingRules() { return m_rules; }
    [[nodiscard]] CNMEALogFile &GetLog() { return m_log; }
    [[nodiscard]] const CNMEALogFile &GetLog() const { return m_log; }
    /// Opens the log (see CNMEALogFile::Create) and starts the rates' patterns over.
    bool CreateLog(const std::string &path, const std::optional<CFileIdentity> &replayFile);
    /// Closes the log; returns a write failure that shows only now.
    std::optional<std::string> CloseLog();

    /// The GPX track log; it is fed from a replay only while SetTrackReplays(true).
    [[nodiscard]] CTrackLog &GetTrackLog() { return m_track; }
    [[nodiscard]] const CTrackLog &GetTrackLog() const { return m_track; }
    void SetTrackReplays(bool track) { m_trackReplays = track; }
    [[nodiscard]] bool TracksReplays() const { return m_trackReplays; }
    /// A track log failure since the last call (the track log is off then).
    std::optional<std::string> TakeTrackError() { return m_track.TakeError(); }

    /// While a replay catches up to a point it seeks, its lines rebuild what is shown but are
    /// neither recorded nor heard: no sound, no waypoint box, no clock set.
    void SetCatchingUp(bool catchingUp) { m_catchingUp = catchingUp; }
    [[nodiscard]] bool IsCatchingUp() const { return m_catchingUp; }
    /// The replay starts again from the file's first line: the parser and the fix events forget
    /// what its lines said.
    void RestartReplay();

    /// Lines handled per sentence type, and in all.
    [[nodiscard]] std::uint64_t GetCount(int type) const;
    [[nodiscard]] std::uint64_t GetLines() const { return m_lines; }

private:
    void Route(CReceiverUpdate &u);
    // The receiver is gone for now: the values that claimed a live fix no longer do.
    CReceiverUpdate ReceiverGone();
    void TakeFixActions(CReceiverUpdate &u, const CFixActions &a);
    void Record(std::string_view raw, SentenceType type);
    [[nodiscard]] bool FeedsTrack() const;
    std::optional<std::string> TakeRecordError();

    CNMEAParser m_parser;
    CRecordingRules m_rules;
    CNMEALogFile m_log;
    CFixEvents m_fixEvents;
    CReceiverWatch m_watch;
    CTrackLog m_track;
    bool m_trackReplays = false;
    const CWaypointList *m_waypoints = nullptr;
    CWaypointNavigator *m_navigator = nullptr;
    bool m_playSound = true;
    bool m_syncClock = false;
    bool m_catchingUp = false;
    std::optional<std::string> m_recordError;
    std::array<std::uint64_t, kSentenceTypeCount + 1> m_counts{}; // last: refused lines
    std::uint64_t m_lines = 0;
};

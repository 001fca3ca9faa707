#include "receiver/ReceiverSession.h"

#include "receiver/LineRouter.h"

CReceiverSession::CReceiverSession()
{
    m_log.SetFailureHandler([this](const std::string &error) { m_recordError = error; });
}

CReceiverUpdate CReceiverSession::HandleLine(std::string_view raw)
{
    CReceiverUpdate u;
    // GPS only reads a line as a C string: a NUL ends it. The log gets every byte.
    u.text = m_parser.GetMode() == GnssMode::GpsOnly ? raw.substr(0, raw.find('\0')) : raw;
    u.type = m_parser.Parse(u.text);
    u.changes |= kChangeLine;
    ++m_lines;
    ++m_counts[u.type >= 0 ? static_cast<std::size_t>(u.type) : kSentenceTypeCount];
    Route(u);
    if (m_catchingUp) {
        u.sound = FixSound::None;
        u.events &= ~(kEventWaypointReached | kEventSetClock);
        u.waypointAlert.clear();
        return u;
    }
    if (FeedsTrack())
        m_track.OnSentence(u.type, m_parser);
    Record(raw, u.type);
    if (std::optional<std::string> error = TakeRecordError()) {
        u.events |= kEventRecordFailed;
        u.recordError = std::move(*error);
    }
    return u;
}

void CReceiverSession::Route(CReceiverUpdate &u)
{
    const CLineRoute r = RouteLine(u.type, m_parser);
    if (r.navigation) {
        u.changes |= kChangeNavigation;
        u.events |= kEventActivity;
    }
    if (r.altitude) {
        u.changes |= kChangeAltitude;
        u.altitude = *r.altitude;
    }
    if (r.timeOfDay) {
        u.changes |= kChangeTimeOfDay;
        u.timeOfDay = *r.timeOfDay;
    }
    if (r.fix) {
        u.changes |= kChangePosition;
        u.position = *r.fix;
        if (m_navigator != nullptr) {
            if (std::optional<std::string> alert =
                    m_navigator->CheckProximity(*r.fix, *m_waypoints)) {
                u.events |= kEventWaypointReached;
                u.waypointAlert = std::move(*alert);
                // A box alone is easily missed driving.
                if (m_playSound)
                    u.sound = FixSound::Gained;
            }
        }
    }
    if (r.satellites) {
        u.changes |= kChangeSky;
        if (r.reception) {
            u.changes |= kChangeReception;
            u.reception = *r.reception;
        }
    }
    if (r.fixEvents) {
        const bool live = m_watch.GetState() == CReceiverWatch::State::Live;
        const CWaypoint *target =
            m_navigator != nullptr ? m_navigator->GetTargetWaypoint(*m_waypoints) : nullptr;
        TakeFixActions(u, m_fixEvents.OnRMC(m_parser, m_playSound, m_syncClock, live, target));
    }
    if (r.fixLost) {
        u.changes |= kChangeFixState;
        u.fixLost = *r.fixLost;
    }
}

void CReceiverSession::TakeFixActions(CReceiverUpdate &u, const CFixActions &a)
{
    u.changes |= kChangeMotion;
    if (a.fixGained)
        u.events |= kEventFixGained;
    if (a.fixLost)
        u.events |= kEventFixLost;
    if (a.setClockUtc) {
        u.events |= kEventSetClock;
        u.clockUtc = *a.setClockUtc;
    }
    if (a.sound != CFixActions::Sound::None)
        u.sound = a.sound == CFixActions::Sound::FixGained ? FixSound::Gained : FixSound::Lost;
    if (a.updateCompass) {
        u.changes |= kChangeCompass;
        u.course = a.course;
        u.bearing = a.bearing;
        u.distance = a.distance;
    }
    u.speedKmh = a.speedKmh;
    if (a.mileageSample) {
        u.changes |= kChangeMileage;
        u.samplePosition = m_parser.m_rmc.m_position;
        u.sampleTime = m_parser.m_rmc.m_dateTime;
        u.replay = m_watch.GetState() == CReceiverWatch::State::Replaying;
    }
    if (a.updateList)
        u.changes |= kChangeHeadingRows;
    const CRMCSentence &rmc = m_parser.m_rmc;
    u.heading = rmc.m_status == "A" ? rmc.m_course : -1.0;
}

void CReceiverSession::Record(std::string_view raw, SentenceType type)
{
    if (!m_log.IsOpen())
        return;
    // A GSV group is recorded or skipped whole; the decision needs to know where it ends.
    // With all systems the unit is the run of GSVs, the whole sky: counting each talker's
    // group would keep recording the same systems and never the others.
    if (m_parser.GetMode() == GnssMode::AllSystems && m_parser.EndedGsvRun())
        m_rules.EndGsvGroup();
    const bool groupIncomplete = type == kSentenceGSV && m_parser.IsSatelliteReportOpen();
    // A sentence cut off by the next one's "$" goes in as it came, without a line end: with
    // everything recorded the log is the received stream, and the next recorded sentence's "$"
    // cuts it again on replay.
    if (m_rules.ShouldRecord(type, groupIncomplete))
        m_log.Write(raw);
}

std::optional<std::string> CReceiverSession::RecordUnfinished(std::string_view bytes)
{
    if (m_log.IsOpen() && m_rules.GetLogOthers())
        m_log.Write(bytes);
    return TakeRecordError();
}

bool CReceiverSession::FeedsTrack() const
{
    return m_track.IsOn()
           && (m_trackReplays || m_watch.GetState() != CReceiverWatch::State::Replaying);
}

std::optional<std::string> CReceiverSession::EndOfBatch()
{
    m_track.Flush();
    m_log.Flush();
    return TakeRecordError();
}

std::optional<std::string> CReceiverSession::TakeRecordError()
{
    std::optional<std::string> error = std::move(m_recordError);
    m_recordError.reset();
    return error;
}

bool CReceiverSession::CreateLog(const std::string &path,
                                 const std::optional<CFileIdentity> &replayFile)
{
    if (!m_log.Create(path, replayFile))
        return false;
    m_rules.ResetCounters();
    return true;
}

std::optional<std::string> CReceiverSession::CloseLog()
{
    m_log.Close();
    return TakeRecordError();
}

void CReceiverSession::SetGnssMode(GnssMode mode)
{
    m_parser.SetMode(mode);
    m_rules.ResetCounters();
    m_track.SourceEnded();
}

void CReceiverSession::RestartReplay()
{
    m_parser.SetMode(m_parser.GetMode());
    m_fixEvents = CFixEvents();
    m_lines = 0;
    // The file's first epoch is no continuation of its last.
    m_track.SourceEnded();
}

CReceiverUpdate CReceiverSession::ClearShownFix()
{
    CReceiverUpdate u;
    u.changes |= kChangeSky;
    TakeFixActions(u, m_fixEvents.OnReceiverLost(false));
    return u;
}

void CReceiverSession::SetFixOptions(bool playSound, bool syncClock)
{
    m_playSound = playSound;
    m_syncClock = syncClock;
}

CReceiverSession::CSourceEnd CReceiverSession::SourceEnded(int errorCode)
{
    CSourceEnd end;
    m_track.SourceEnded();
    end.actions = m_watch.OnSourceEnded(errorCode);
    if (!end.actions.receiverLost)
        return end;
    end.update = ReceiverGone();
    return end;
}

CReceiverUpdate CReceiverSession::StatusChanged(const CSourceStatus &status)
{
    return status.IsLoss() ? ReceiverGone() : CReceiverUpdate();
}

CReceiverUpdate CReceiverSession::ReceiverGone()
{
    // The last values must not read as live: the fix is lost, as a receiver without one says.
    m_parser.ForgetFix();
    m_track.SourceEnded();
    CReceiverUpdate u;
    TakeFixActions(u, m_fixEvents.OnReceiverLost(m_playSound));
    u.changes |= kChangeNavigation | kChangeSky | kChangeFixState;
    u.fixLost = true;
    return u;
}

std::uint64_t CReceiverSession::GetCount(int type) const
{
    return m_counts[type >= 0 && type < kSentenceTypeCount ? static_cast<std::size_t>(type)
                                                           : kSentenceTypeCount];
}

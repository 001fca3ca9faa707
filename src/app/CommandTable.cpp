#include "app/CommandTable.h"

// clang-format off
const std::array<CMenuEntry, 65> kMenuEntries = {{
    {kCmdConfigure, "GPS", "", "&Configure...", false},
    {kCmdProgramChipset, "GPS", "", "P&rogram CS", false},
    {kCmdAutoConnect, "GPS", "", "&Auto Connect", true, true},
    {kCmdDisconnect, "GPS", "", "&Disconnect", false},
    {kCmdHotConnect, "GPS", "", "&Hot Connect", false},
    {kCmdPlainConnect, "GPS", "", "&Plain Connect", false},
    {kCmdReplaySpeedFastest, "Log", "Replay S&peed", "&Fastest", true},
    {kCmdReplaySpeed1600, "Log", "Replay S&peed", "1&600 %", true},
    {kCmdReplaySpeed800, "Log", "Replay S&peed", "&800 %", true},
    {kCmdReplaySpeed400, "Log", "Replay S&peed", "&400 %", true},
    {kCmdReplaySpeed200, "Log", "Replay S&peed", "&200 %", true},
    {kCmdReplaySpeed100, "Log", "Replay S&peed", "&100 %", true},
    {kCmdReplaySpeed50, "Log", "Replay S&peed", "5&0 %", true},
    {kCmdReplaySpeed25, "Log", "Replay S&peed", "2&5 %", true},
    {kCmdReplayFaster, "Log", "Replay S&peed", "F&aster", false},
    {kCmdReplaySlower, "Log", "Replay S&peed", "Slo&wer", false},
    {kCmdStopReplay, "Log", "", "&Stop Replay", false},
    {kCmdReplay, "Log", "", "&Replay...", false},
    {kCmdPauseReplay, "Log", "", "P&ause Replay", true, true},
    {kCmdStepReplay, "Log", "", "Step O&ne Epoch", false},
    {kCmdSeekBack, "Log", "", "Seek &Back 1 Minute", false},
    {kCmdSeekForward, "Log", "", "Seek For&ward 1 Minute", false},
    {kCmdLoopReplay, "Log", "", "L&oop Replay", true},
    {kCmdLogSettings, "Log", "", "Se&ttings...", false, true},
    {kCmdStopLogging, "Log", "", "Stop &Logging", false},
    {kCmdCreateLog, "Log", "", "&Create New...", false},
    {kCmdTrackLog, "Log", "", "Trac&k Log", true, true},
    {kCmdTrackReplays, "Log", "", "&Include Replays in Track", true},
    {kCmdTrackEveryFix, "Log", "Track Rat&e", "&Every Fix", true},
    {kCmdTrackEverySecond, "Log", "Track Rat&e", "&1 Second", true},
    {kCmdTrackEvery5Seconds, "Log", "Track Rat&e", "&5 Seconds", true},
    {kCmdTrackEvery10Metres, "Log", "Track Rat&e", "1&0 Metres", true},
    {kCmdExportTrack, "Log", "", "E&xport Track as GPX...", false},
    {kCmdExportWaypoints, "Nav", "", "E&xport Waypoints...", false},
    {kCmdImportLoc, "Nav", "&Import Waypoints", "&LOC File (*.loc)...", false},
    {kCmdImportGpx, "Nav", "&Import Waypoints", "&GPX File (*.gpx)...", false},
    {kCmdSelectWaypoint, "Nav", "", "&Select Waypoint...", false, true},
    {kCmdEditWaypoints, "Nav", "", "&Edit Waypoints...", false},
    {kCmdQuit, "Tools", "", "&Quit Veloran", false},
    {kCmdFixSound, "Tools", "", "&On Fix Sound", true, true},
    {kCmdAutoSync, "Tools", "", "&Auto Sync", true},
    {kCmdSyncClock, "Tools", "", "S&ync SysClock", false},
    {kCmdResetGauges, "Tools", "", "&Reset Gauges", false, true},
    {kCmdDigitalDashboard, "Tools", "", "&Digital Dashboard", false},
    {kCmdLargeControls, "Tools", "", "&Large Controls", true},
    {kCmdFullScreen, "Tools", "", "Full Scree&n", true},
    {kCmdSelectorAdvanced, "Tools", "&File-Selector", "&Advanced", true},
    {kCmdSelectorStandard, "Tools", "&File-Selector", "&Standard", true},
    {kCmdUnitsMetric, "Tools", "&Units", "&Metric", true},
    {kCmdUnitsImperial, "Tools", "&Units", "&Imperial", true},
    {kCmdUnitsNautic, "Tools", "&Units", "&Nautic", true},
    {kCmdCoordDegrees, "Tools", "&Coordinates/&WGS84", "&DD.DDDDDD", true},
    {kCmdCoordDegMin, "Tools", "&Coordinates/&WGS84", "DD&MM.MMMM", true},
    {kCmdCoordDegMinSec, "Tools", "&Coordinates/&WGS84", "DDMM&SS.SS", true},
    {kCmdCoordUTM, "Tools", "&Coordinates", "&UTM", true},
    {kCmdGnssAll, "Tools", "&Satellite Systems", "&All satellite systems", true},
    {kCmdGnssGpsOnly, "Tools", "&Satellite Systems", "&GPS only (exact)", true},
    {kCmdNightRed, "Tools", "Nigh&t Colours", "&Red", true},
    {kCmdNightInverted, "Tools", "Nigh&t Colours", "&Inverted", true},
    {kCmdNightMapRed, "Tools", "&Map at Night", "&Red and Dimmed", true},
    {kCmdNightMapDimmed, "Tools", "&Map at Night", "&Dimmed Only", true},
    {kCmdNightFollowsSun, "Tools", "", "Night at Suns&et", true},
    {kCmdHelp, "Tools", "", "&Help", false, true},
    {kCmdAbout, "Tools", "", "A&bout Veloran...", false},
    {kCmdDirectConnect, "", "", "Connect", false},
}};
// clang-format on

CCommandState EvaluateCommand(int id, const CFrameState &s)
{
    const bool live = s.sourceOpen && !s.replaying;
    switch (id) {
    case kCmdProgramChipset:
        return {s.chipsetSirf && live, false};
    case kCmdAutoConnect:
        return {s.portConfigured, s.autoConnect};
    case kCmdDisconnect:
        // Also ends the retries of a receiver that went away.
        return {live || s.reconnecting, false};
    case kCmdHotConnect:
        return {s.chipsetSirf && s.lastPositionStored, false};
    case kCmdPlainConnect:
        return {!s.sourceOpen, false};
    case kCmdDirectConnect:
        return {!s.sourceOpen || s.replaying, false};
    case kCmdReplaySpeed25:
    case kCmdReplaySpeed50:
    case kCmdReplaySpeed100:
    case kCmdReplaySpeed200:
    case kCmdReplaySpeed400:
    case kCmdReplaySpeed800:
    case kCmdReplaySpeed1600:
    case kCmdReplaySpeedFastest:
        return {true, s.replayDelay == ReplayDelayOfCommand(id)};
    case kCmdPauseReplay:
        return {s.replaying && s.sourceOpen, s.replaying && s.replayPaused};
    case kCmdStepReplay:
        return {s.replaying && s.sourceOpen && s.replayPaused, false};
    case kCmdSeekBack:
    case kCmdSeekForward:
        return {s.replaying && s.sourceOpen && s.replayCanSeek, false};
    case kCmdLoopReplay:
        return {true, s.replayLoop};
    case kCmdReplayFaster:
        return {s.replaying && s.sourceOpen
                    && ReplaySpeedRung(s.replayDelay) + 1 < kReplaySpeeds.size(),
                false};
    case kCmdReplaySlower:
        return {s.replaying && s.sourceOpen && ReplaySpeedRung(s.replayDelay) > 0, false};
    case kCmdStopReplay:
        return {s.replaying && s.sourceOpen, false};
    case kCmdStopLogging:
        return {s.logOpen, false};
    case kCmdCreateLog:
        return {!s.logOpen, false};
    case kCmdFixSound:
        return {true, s.playSound};
    case kCmdAutoSync:
        return {true, s.autoSync};
    case kCmdSyncClock:
        return {live && s.fix, false};
    case kCmdResetGauges:
        return {!s.sourceOpen, false};
    case kCmdSelectorAdvanced:
        return {true, s.advancedFileSelector};
    case kCmdSelectorStandard:
        return {true, !s.advancedFileSelector};
    case kCmdUnitsMetric:
    case kCmdUnitsImperial:
    case kCmdUnitsNautic:
        return {true, s.units.has_value() && s.units == UnitsOfCommand(id)};
    case kCmdCoordDegrees:
    case kCmdCoordDegMin:
    case kCmdCoordDegMinSec:
    case kCmdCoordUTM:
        return {true, s.projection == FormatOfCommand(id)};
    case kCmdGnssAll:
    case kCmdGnssGpsOnly:
        return {true, s.gnssMode == GnssModeOfCommand(id)};
    case kCmdLargeControls:
        return {true, s.largeControls};
    case kCmdNightRed:
    case kCmdNightInverted:
        return {true, s.nightColours == NightColoursOfCommand(id)};
    case kCmdNightFollowsSun:
        return {true, s.nightFollowsSun};
    // Only the red night colours tint the map.
    case kCmdNightMapRed:
    case kCmdNightMapDimmed:
        return {s.nightColours == NightColours::Red, s.nightMap == NightMapOfCommand(id)};
    case kCmdFullScreen:
        return {true, s.fullScreen};
    case kCmdTrackLog:
        return {true, s.trackLog};
    case kCmdTrackReplays:
        return {true, s.trackReplays};
    case kCmdTrackEveryFix:
    case kCmdTrackEverySecond:
    case kCmdTrackEvery5Seconds:
    case kCmdTrackEvery10Metres:
        return {true, s.trackRate == TrackRateOfCommand(id)};
    case kCmdStepOn:
    case kCmdStepOff: {
        if (s.visiblePage == kPageDashboard)
            return {(id == kCmdStepOn) != s.dashboardModeOn, false};
        if (s.visiblePage == kPageMap)
            return {s.mapLoaded, false};
        return {false, false};
    }
    case kCmdDisplayMode:
        if (s.visiblePage == kPageMap)
            return {true, false};
        return {s.visiblePage == kPageDashboard || s.visiblePage == kPageList
                    || s.visiblePage == kPageSatellites,
                false};
    default:
        return {true, false};
    }
}

std::optional<UnitSystem> UnitsOfCommand(int id)
{
    switch (id) {
    case kCmdUnitsMetric:
        return UnitSystem::Metric;
    case kCmdUnitsImperial:
        return UnitSystem::Imperial;
    case kCmdUnitsNautic:
        return UnitSystem::Nautic;
    default:
        return std::nullopt;
    }
}

std::optional<CoordinateFormat> FormatOfCommand(int id)
{
    switch (id) {
    case kCmdCoordDegrees:
        return CoordinateFormat::DD;
    case kCmdCoordDegMin:
        return CoordinateFormat::DDMM;
    case kCmdCoordDegMinSec:
        return CoordinateFormat::DDMMSS;
    case kCmdCoordUTM:
        return CoordinateFormat::UTM;
    default:
        return std::nullopt;
    }
}

std::optional<unsigned> ReplayDelayOfCommand(int id)
{
    // In the ladder's order, slowest first.
    constexpr std::array<int, kReplaySpeeds.size()> ids = {
        kCmdReplaySpeed25,  kCmdReplaySpeed50,  kCmdReplaySpeed100,  kCmdReplaySpeed200,
        kCmdReplaySpeed400, kCmdReplaySpeed800, kCmdReplaySpeed1600, kCmdReplaySpeedFastest};
    for (std::size_t i = 0; i < ids.size(); ++i)
        if (ids[i] == id)
            return kReplaySpeeds[i].delayMs;
    return std::nullopt;
}

std::optional<std::int32_t> TrackRateOfCommand(int id)
{
    switch (id) {
    case kCmdTrackEveryFix:
        return 0;
    case kCmdTrackEverySecond:
        return 1;
    case kCmdTrackEvery5Seconds:
        return 5;
    case kCmdTrackEvery10Metres:
        return -10;
    default:
        return std::nullopt;
    }
}

std::optional<GnssMode> GnssModeOfCommand(int id)
{
    switch (id) {
    case kCmdGnssAll:
        return GnssMode::AllSystems;
    case kCmdGnssGpsOnly:
        return GnssMode::GpsOnly;
    default:
        return std::nullopt;
    }
}

std::optional<NightColours> NightColoursOfCommand(int id)
{
    switch (id) {
    case kCmdNightRed:
        return NightColours::Red;
    case kCmdNightInverted:
        return NightColours::Inverted;
    default:
        return std::nullopt;
    }
}

std::optional<NightMap> NightMapOfCommand(int id)
{
    switch (id) {
    case kCmdNightMapRed:
        return NightMap::RedDimmed;
    case kCmdNightMapDimmed:
        return NightMap::Dimmed;
    default:
        return std::nullopt;
    }
}

#pragma once

#include "base/NightColours.h"
#include "base/Units.h"
#include "geo/CoordinateFormat.h"
#include "nmea/GnssSystem.h"
#include "receiver/ReplaySpeed.h"
#include "settings/SettingsTable.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

/// Command identifiers of the window; the numbers are fixed, as tests and help refer to them.
enum CommandId : int {
    kCmdConfigure = 32779,
    kCmdProgramChipset = 32894,
    kCmdAutoConnect = 32835,
    kCmdDisconnect = 32818,
    kCmdHotConnect = 32895,
    kCmdPlainConnect = 32784,
    kCmdDirectConnect = 32771,
    kCmdReplaySpeed400 = 32826,
    kCmdReplaySpeed200 = 32825,
    kCmdReplaySpeed100 = 32824,
    kCmdStopReplay = 32822,
    kCmdReplay = 32819,
    kCmdLogSettings = 32908,
    kCmdStopLogging = 32793,
    kCmdCreateLog = 32792,
    kCmdExportWaypoints = 32912,
    kCmdImportLoc = 32910,
    kCmdImportGpx = 32911,
    kCmdSelectWaypoint = 32880,
    kCmdEditWaypoints = 32879,
    kCmdQuit = 32802,
    kCmdFixSound = 32875,
    kCmdAutoSync = 32859,
    kCmdSyncClock = 32821,
    kCmdResetGauges = 32832,
    kCmdSelectorAdvanced = 32902,
    kCmdSelectorStandard = 32901,
    kCmdUnitsMetric = 32830,
    kCmdUnitsImperial = 32831,
    kCmdUnitsNautic = 32860,
    kCmdCoordDegrees = 32887,
    kCmdCoordDegMin = 32888,
    kCmdCoordDegMinSec = 32889,
    kCmdCoordUTM = 32890,
    kCmdStepOn = 32833,
    kCmdStepOff = 32834,
    kCmdDisplayMode = 32907,
    kCmdAlarm = 32775,
    kCmdDigitalDashboard = 32991, ///< ours: the digital dashboard, full screen
    kCmdGnssAll = 32992,          ///< ours: Tools > Satellite Systems
    kCmdGnssGpsOnly = 32993,      ///< ours: Tools > Satellite Systems
    kCmdLargeControls = 32994,    ///< ours: touch-size controls
    kCmdFullScreen = 32995,       ///< ours: the main window full screen, or back
    kCmdNightRed = 33040,         ///< ours: Tools > Night Colours
    kCmdNightInverted = 33041,    ///< ours: Tools > Night Colours
    kCmdNightMapRed = 33042,      ///< ours: Tools > Map at Night
    kCmdNightMapDimmed = 33043,   ///< ours: Tools > Map at Night
    kCmdNightFollowsSun = 33044,  ///< ours: Tools > Night at Sunset
    kCmdTrackLog = 33010,         ///< ours: Log > Track Log, the GPX track log on or off
    kCmdTrackReplays = 33011,     ///< ours: replays go into the track log too
    kCmdTrackEveryFix = 33012,    ///< ours: Log > Track Rate
    kCmdTrackEverySecond = 33013,
    kCmdTrackEvery5Seconds = 33014,
    kCmdTrackEvery10Metres = 33015,
    kCmdExportTrack = 33016,        ///< ours: an NMEA log as a GPX track
    kCmdReplaySpeed25 = 33101,      ///< ours: Log > Replay Speed
    kCmdReplaySpeed50 = 33102,      ///< ours: Log > Replay Speed
    kCmdReplaySpeed800 = 33103,     ///< ours: Log > Replay Speed
    kCmdReplaySpeed1600 = 33104,    ///< ours: Log > Replay Speed
    kCmdReplaySpeedFastest = 33105, ///< ours: Log > Replay Speed, as fast as the window reads
    kCmdPauseReplay = 33106,        ///< ours: Space
    kCmdStepReplay = 33107,         ///< ours: Right, one epoch while paused
    kCmdSeekBack = 33108,           ///< ours: Page Up, a minute back
    kCmdSeekForward = 33109,        ///< ours: Page Down, a minute on
    kCmdLoopReplay = 33110,         ///< ours: the replay starts again at its end
    kCmdReplayFaster = 33111,       ///< ours: ], the next speed up the ladder
    kCmdReplaySlower = 33112,       ///< ours: [, the next speed down
    kCmdAbout = 57664,
    kCmdHelp = 57670,
};

/// Pages of the sheet, in tab order.
enum PageIndex : int {
    kPageDashboard = 0,
    kPageMap = 1,
    kPageList = 2,
    kPageSatellites = 3,
    kPageData = 4,
};

/// Everything the enable and check rules look at.
struct CFrameState {
    bool sourceOpen = false;
    bool replaying = false;
    bool reconnecting = false; ///< the port failed and is being opened again
    bool logOpen = false;
    bool chipsetSirf = false;
    bool portConfigured = false;
    bool lastPositionStored = false;
    bool fix = false; ///< GGA fix quality non-zero
    bool autoConnect = false;
    bool autoSync = false;
    bool playSound = true;
    bool advancedFileSelector = false;
    CoordinateFormat projection = CoordinateFormat::DD;
    /// The unit system the dashboard's instruments agree on; empty when they do not.
    std::optional<UnitSystem> units = UnitSystem::Metric;
    unsigned replayDelay = kInitialReplayDelay;
    bool replayPaused = false;
    bool replayLoop = false;
    bool replayCanSeek = false; ///< a replayed file (not a FIFO) with epochs to seek among
    GnssMode gnssMode = GnssMode::AllSystems; ///< the mode in effect, the command line's included
    int visiblePage = kPageDashboard;
    bool dashboardModeOn = false;
    bool mapLoaded = false;
    bool largeControls = false;
    bool fullScreen = false; ///< the main window's
    NightColours nightColours = NightColours::Red;
    NightMap nightMap = NightMap::RedDimmed;
    bool nightFollowsSun = false;
    bool trackLog = false;
    bool trackReplays = false;
    std::int32_t trackRate = 1; ///< as stored (SettingOfTrackRate)
};

struct CCommandState {
    bool enabled = true;
    bool checked = false;
};

/// The enable and check rule of a command; unknown ids are enabled and unchecked.
[[nodiscard]] CCommandState EvaluateCommand(int id, const CFrameState &state);

/// What a command of Tools > Units, Tools > Coordinates or Log > Replay Speed sets; empty for
/// every other command.
[[nodiscard]] std::optional<UnitSystem> UnitsOfCommand(int id);
[[nodiscard]] std::optional<CoordinateFormat> FormatOfCommand(int id);
[[nodiscard]] std::optional<unsigned> ReplayDelayOfCommand(int id);
/// What a command of Log > Track Rate sets, as stored (SettingOfTrackRate); empty for every
/// other command.
[[nodiscard]] std::optional<std::int32_t> TrackRateOfCommand(int id);
/// What a command of Tools > Satellite Systems chooses; empty for every other command.
[[nodiscard]] std::optional<GnssMode> GnssModeOfCommand(int id);
/// What a command of Tools > Night Colours or Tools > Map at Night chooses; empty for every
/// other command.
[[nodiscard]] std::optional<NightColours> NightColoursOfCommand(int id);
[[nodiscard]] std::optional<NightMap> NightMapOfCommand(int id);

/// Where a command sits: menu, optional submenu, text. Commands on no menu have an empty menu.
/// Texts and submenu titles mark their keyboard letter with '&', unique within their menu.
struct CMenuEntry {
    int id;
    std::string_view menu; ///< the menu's title as it reads (no '&')
    std::string_view submenu;
    std::string_view text;
    bool checkable;
    bool separatorBefore = false;
};

/// The menu bar from left to right, top to bottom.
extern const std::array<CMenuEntry, 65> kMenuEntries;
inline constexpr std::array<std::string_view, 4> kMenuTitles = {"&GPS", "&Log", "&Nav", "&Tools"};
/// Tool bar buttons in order.
inline constexpr std::array<int, 4> kToolBarCommands = {kCmdDisplayMode, kCmdStepOn, kCmdStepOff,
                                                        kCmdAbout};

#include "NMEATestUtils.h"
#include "app/CommandTable.h"
#include "base/Mnemonic.h"
#include "nmea/NMEAParser.h"
#include "receiver/LineRouter.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <set>
#include <string>

TEST(CommandRules, EnableAndCheck)
{
    struct Case {
        const char *legend;
        int id;
        CFrameState state;
        bool enabled;
        bool checked;
    };
    // clang-format off
    const Case cases[] = {
        {"disconnect: live port", kCmdDisconnect, {.sourceOpen = true}, true, false},
        {"disconnect: not while replaying", kCmdDisconnect, {.sourceOpen = true, .replaying = true}, false, false},
        {"disconnect: closed", kCmdDisconnect, {}, false, false},
        {"stop replay: replaying", kCmdStopReplay, {.sourceOpen = true, .replaying = true}, true, false},
        {"stop replay: live port", kCmdStopReplay, {.sourceOpen = true}, false, false},
        {"pause: replaying, playing", kCmdPauseReplay, {.sourceOpen = true, .replaying = true}, true, false},
        {"pause: replaying, paused", kCmdPauseReplay, {.sourceOpen = true, .replaying = true, .replayPaused = true}, true, true},
        {"pause: live port", kCmdPauseReplay, {.sourceOpen = true}, false, false},
        {"step: only while paused", kCmdStepReplay, {.sourceOpen = true, .replaying = true}, false, false},
        {"step: paused", kCmdStepReplay, {.sourceOpen = true, .replaying = true, .replayPaused = true}, true, false},
        {"seek: a file", kCmdSeekForward, {.sourceOpen = true, .replaying = true, .replayCanSeek = true}, true, false},
        {"seek: a FIFO", kCmdSeekBack, {.sourceOpen = true, .replaying = true}, false, false},
        {"seek: live port", kCmdSeekBack, {.sourceOpen = true, .replayCanSeek = true}, false, false},
        {"loop: set for the next replay too", kCmdLoopReplay, {.replayLoop = true}, true, true},
        {"faster: up the ladder", kCmdReplayFaster, {.sourceOpen = true, .replaying = true, .replayDelay = 62}, true, false},
        {"faster: at the top", kCmdReplayFaster, {.sourceOpen = true, .replaying = true, .replayDelay = 0}, false, false},
        {"slower: at the bottom", kCmdReplaySlower, {.sourceOpen = true, .replaying = true, .replayDelay = 4000}, false, false},
        {"slower: not replaying", kCmdReplaySlower, {.replayDelay = 1000}, false, false},
        {"fastest: checked by its delay", kCmdReplaySpeedFastest, {.replayDelay = 0}, true, true},
        {"plain connect: closed", kCmdPlainConnect, {}, true, false},
        {"plain connect: replaying", kCmdPlainConnect, {.sourceOpen = true, .replaying = true}, false, false},
        {"direct connect: replaying", kCmdDirectConnect, {.sourceOpen = true, .replaying = true}, true, false},
        {"direct connect: live", kCmdDirectConnect, {.sourceOpen = true}, false, false},
        {"sync clock: live with fix", kCmdSyncClock, {.sourceOpen = true, .fix = true}, true, false},
        {"sync clock: live without fix", kCmdSyncClock, {.sourceOpen = true}, false, false},
        {"sync clock: never while replaying", kCmdSyncClock, {.sourceOpen = true, .replaying = true, .fix = true}, false, false},
        {"create log: closed", kCmdCreateLog, {}, true, false},
        {"create log: open", kCmdCreateLog, {.logOpen = true}, false, false},
        {"stop logging: open", kCmdStopLogging, {.logOpen = true}, true, false},
        {"stop logging: closed", kCmdStopLogging, {}, false, false},
        {"program CS: SiRF live", kCmdProgramChipset, {.sourceOpen = true, .chipsetSirf = true}, true, false},
        {"program CS: not while replaying", kCmdProgramChipset, {.sourceOpen = true, .replaying = true, .chipsetSirf = true}, false, false},
        {"hot connect: no stored position", kCmdHotConnect, {.sourceOpen = true, .chipsetSirf = true}, false, false},
        {"auto connect: unconfigured", kCmdAutoConnect, {}, false, false},
        {"auto connect: configured and on", kCmdAutoConnect, {.portConfigured = true, .autoConnect = true}, true, true},
        {"200 %: initial delay", kCmdReplaySpeed200, {}, true, true},
        {"400 %: delay 250", kCmdReplaySpeed400, {.replayDelay = 250}, true, true},
        {"100 %: delay 250", kCmdReplaySpeed100, {.replayDelay = 250}, true, false},
        {"UTM checked", kCmdCoordUTM, {.projection = CoordinateFormat::UTM}, true, true},
        {"DD.DDDDDD with UTM", kCmdCoordDegrees, {.projection = CoordinateFormat::UTM}, true, false},
        {"DD.DDDDDD default", kCmdCoordDegrees, {}, true, true},
        {"metric default", kCmdUnitsMetric, {}, true, true},
        {"no unit when the instruments disagree", kCmdUnitsMetric, {.units = std::nullopt}, true, false},
        {"standard selector default", kCmdSelectorStandard, {}, true, true},
        {"advanced selector", kCmdSelectorAdvanced, {.advancedFileSelector = true}, true, true},
        {"all satellite systems default", kCmdGnssAll, {}, true, true},
        {"GPS only not by default", kCmdGnssGpsOnly, {}, true, false},
        {"GPS only chosen", kCmdGnssGpsOnly, {.gnssMode = GnssMode::GpsOnly}, true, true},
        {"large controls off", kCmdLargeControls, {}, true, false},
        {"large controls on", kCmdLargeControls, {.largeControls = true}, true, true},
        {"red night colours default", kCmdNightRed, {}, true, true},
        {"inverted night colours not by default", kCmdNightInverted, {}, true, false},
        {"inverted night colours chosen", kCmdNightInverted, {.nightColours = NightColours::Inverted}, true, true},
        {"red map at night default", kCmdNightMapRed, {}, true, true},
        {"night at sunset off by default", kCmdNightFollowsSun, {}, true, false},
        {"night at sunset on", kCmdNightFollowsSun, {.nightFollowsSun = true}, true, true},
        {"dimmed map chosen", kCmdNightMapDimmed, {.nightMap = NightMap::Dimmed}, true, true},
        {"no map choice with inverted night colours", kCmdNightMapRed, {.nightColours = NightColours::Inverted}, false, true},
        {"GPS only chosen while replaying", kCmdGnssGpsOnly, {.sourceOpen = true, .replaying = true, .gnssMode = GnssMode::GpsOnly}, true, true},
        {"fix sound default on", kCmdFixSound, {}, true, true},
        {"auto sync default off", kCmdAutoSync, {}, true, false},
        {"reset gauges: source closed", kCmdResetGauges, {}, true, false},
        {"reset gauges: not while data arrives", kCmdResetGauges, {.sourceOpen = true}, false, false},
        {"display mode on the dashboard", kCmdDisplayMode, {}, true, false},
        {"display mode on the list", kCmdDisplayMode, {.visiblePage = kPageList}, true, false},
        {"display mode on the satellites", kCmdDisplayMode, {.visiblePage = kPageSatellites}, true, false},
        {"step on: not on the satellites", kCmdStepOn, {.visiblePage = kPageSatellites}, false, false},
        {"display mode not on the data page", kCmdDisplayMode, {.visiblePage = kPageData}, false, false},
        {"display mode on the map: track position", kCmdDisplayMode, {.visiblePage = kPageMap}, true, false},
        {"step on: dashboard mode off", kCmdStepOn, {}, true, false},
        {"step off: dashboard mode off", kCmdStepOff, {}, false, false},
        {"step off: dashboard mode on", kCmdStepOff, {.dashboardModeOn = true}, true, false},
        {"step on: map without a map", kCmdStepOn, {.visiblePage = kPageMap}, false, false},
        {"step on: map with a map", kCmdStepOn, {.visiblePage = kPageMap, .mapLoaded = true}, true, false},
        {"edit waypoints always", kCmdEditWaypoints, {.sourceOpen = true}, true, false},
        {"configure always", kCmdConfigure, {.sourceOpen = true, .replaying = true}, true, false},
        {"full screen: checked while it is", kCmdFullScreen, {.fullScreen = true}, true, true},
        {"full screen: off", kCmdFullScreen, {}, true, false},
        {"track log: off by default", kCmdTrackLog, {}, true, false},
        {"track log: on", kCmdTrackLog, {.trackLog = true}, true, true},
        {"track replays: off by default", kCmdTrackReplays, {}, true, false},
        {"track rate: 1 s by default", kCmdTrackEverySecond, {}, true, true},
        {"track rate: 5 s not by default", kCmdTrackEvery5Seconds, {}, true, false},
        {"track rate: every fix", kCmdTrackEveryFix, {.trackRate = 0}, true, true},
        {"track rate: 10 m", kCmdTrackEvery10Metres, {.trackRate = -10}, true, true},
        {"track rate: 1 s not with 10 m", kCmdTrackEverySecond, {.trackRate = -10}, true, false},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CCommandState got = EvaluateCommand(c.id, c.state);
        EXPECT_EQ(got.enabled, c.enabled);
        EXPECT_EQ(got.checked, c.checked);
    }
}

// Every command of Units, Coordinates and Replay Speed maps to its value, and no other does.
TEST(CommandRules, CommandValues)
{
    EXPECT_EQ(UnitsOfCommand(kCmdUnitsNautic), UnitSystem::Nautic);
    EXPECT_EQ(FormatOfCommand(kCmdCoordDegMin), CoordinateFormat::DDMM);
    EXPECT_EQ(ReplayDelayOfCommand(kCmdReplaySpeed100), kReplayDelay100Percent);
    int units = 0, formats = 0, delays = 0, modes = 0;
    for (const CMenuEntry &entry : kMenuEntries) {
        units += UnitsOfCommand(entry.id).has_value();
        formats += FormatOfCommand(entry.id).has_value();
        delays += ReplayDelayOfCommand(entry.id).has_value();
        modes += GnssModeOfCommand(entry.id).has_value();
    }
    EXPECT_EQ(units, 3);
    EXPECT_EQ(formats, 4);
    EXPECT_EQ(delays, 8);
    EXPECT_EQ(modes, 2);
}

// Tools > Satellite Systems: what each entry stores as "AllSystems", and that the stored value
// brings the same entry back checked at the next start.
TEST(CommandRules, SatelliteSystemsSetting)
{
    struct Case {
        const char *legend;
        int id;
        GnssMode mode;
        std::int32_t stored;
    };
    const Case cases[] = {
        {"all satellite systems", kCmdGnssAll, GnssMode::AllSystems, 1},
        {"GPS only (exact)", kCmdGnssGpsOnly, GnssMode::GpsOnly, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        ASSERT_EQ(GnssModeOfCommand(c.id), c.mode);
        EXPECT_EQ(AllSystemsValue(c.mode), c.stored);
        const CFrameState next{.gnssMode = GnssModeOfAllSystemsValue(c.stored)};
        EXPECT_TRUE(EvaluateCommand(c.id, next).checked);
        const int other = c.id == kCmdGnssAll ? kCmdGnssGpsOnly : kCmdGnssAll;
        EXPECT_FALSE(EvaluateCommand(other, next).checked);
    }
    // A hand-edited value other than 0 is still a switch that is on.
    EXPECT_EQ(GnssModeOfAllSystemsValue(2), GnssMode::AllSystems);
    EXPECT_EQ(GnssModeOfAllSystemsValue(-1), GnssMode::AllSystems);
}

// The steps of the data-line handler for each kind of line, with the parser's state after it.
TEST(LineRouter, StepsBySentence)
{
    const std::string fix =
        Sentence("GPGGA,123519.50,4807.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,");
    const std::string noFix = Sentence("GPGGA,123520,,,,,0,00,,,M,,M,,");
    const std::string shortTime =
        Sentence("GPGGA,1235,4807.038,N,01131.000,E,1,08,0.9,545.4,M,,M,,");
    const auto gsv = [](int number, int count, int inView) {
        return Sentence("GPGSV," + std::to_string(count) + "," + std::to_string(number) + ","
                        + std::to_string(inView) + ",01,40,083,46");
    };
    struct Case {
        std::string line;
        bool navigation;
        std::optional<double> altitude, timeOfDay;
        bool fix, satellites;
        std::optional<double> reception;
        bool fixEvents;
        const char *legend;
    };
    // clang-format off
    const Case cases[] = {
        {fix, true, 545.4 - 47.3, 12 * 3600 + 35 * 60 + 19.5, true, false, {}, false, "GGA with a fix"},
        {noFix, true, 545.4 - 47.3, 12 * 3600 + 35 * 60 + 20, false, false, {}, false, "no fix: no map, no alarm"},
        {shortTime, true, 545.4 - 47.3, {}, true, false, {}, false, "a short time leaves the clock"},
        {gsv(1, 2, 8), false, {}, {}, false, false, {}, false, "a group not yet complete"},
        {gsv(2, 2, 8), false, {}, {}, false, true, 8 / 8.0, false, "the group's last message"},
        {gsv(1, 1, 0), false, {}, {}, false, true, {}, false, "none in view: no ratio"},
        {Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,54.0,84.4,230394,,"), false, {}, {}, false, false, {}, true, "RMC"},
        {Sentence("GPVTG,84.4,T,,M,54.0,N,100.0,K"), false, {}, {}, false, false, {}, false, "VTG"},
        {"$GPZDA,1*00\r\n", false, {}, {}, false, false, {}, false, "refused"},
    };
    // clang-format on
    CNMEAParser parser;
    parser.Parse(fix); // 8 used, for the reception ratio; empty fields later keep these values
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CLineRoute r = RouteLine(parser.Parse(c.line), parser);
        EXPECT_EQ(r.navigation, c.navigation);
        EXPECT_EQ(r.altitude.has_value(), c.altitude.has_value());
        if (r.altitude && c.altitude) {
            EXPECT_NEAR(*r.altitude, *c.altitude, 1e-9);
        }
        EXPECT_EQ(r.timeOfDay, c.timeOfDay);
        EXPECT_EQ(r.fix.has_value(), c.fix);
        EXPECT_EQ(r.satellites, c.satellites);
        EXPECT_EQ(r.reception, c.reception);
        EXPECT_EQ(r.fixEvents, c.fixEvents);
        EXPECT_EQ(r.fixLost.has_value(), c.navigation || c.fixEvents) << "GGA and RMC only";
    }
    // No fix is a GGA of quality 0 or an RMC with status V.
    EXPECT_EQ(RouteLine(parser.Parse(fix), parser).fixLost, false);
    EXPECT_EQ(RouteLine(parser.Parse(Sentence("GPRMC,1,V,,,,,,,230394,,")), parser).fixLost, true);
    EXPECT_EQ(RouteLine(parser.Parse(noFix), parser).fixLost, true);
}

// Alt and a letter open each menu; inside a menu one letter picks each entry and submenu.
TEST(CommandTable, MnemonicsUniqueWithinEachMenu)
{
    std::map<char, std::string_view> titles;
    for (std::string_view title : kMenuTitles) {
        const char letter = MnemonicOf(title);
        EXPECT_NE(letter, 0) << title;
        EXPECT_TRUE(titles.emplace(letter, title).second) << title << " and " << titles[letter];
    }
    // What each menu and submenu lists, by the path of titles leading to it.
    std::map<std::string, std::set<std::string>> items;
    for (const CMenuEntry &entry : kMenuEntries) {
        if (entry.menu.empty())
            continue;
        std::string path(entry.menu);
        std::string_view rest = entry.submenu;
        while (!rest.empty()) {
            const std::size_t slash = rest.find('/');
            const std::string part(rest.substr(0, slash));
            items[path].insert(part);
            path += '/' + StripMnemonic(part);
            rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
        }
        items[path].insert(std::string(entry.text));
    }
    EXPECT_EQ(items.count("Tools/Coordinates/WGS84"), 1u);
    for (const auto &[path, texts] : items) {
        SCOPED_TRACE(path);
        std::map<char, std::string> letters;
        for (const std::string &text : texts) {
            const char letter = MnemonicOf(text);
            EXPECT_NE(letter, 0) << text;
            EXPECT_TRUE(letters.emplace(letter, text).second) << text << " and " << letters[letter];
        }
    }
    // Every menu entry names a menu of the bar.
    for (const CMenuEntry &entry : kMenuEntries) {
        const auto names = [&](std::string_view t) { return StripMnemonic(t) == entry.menu; };
        EXPECT_TRUE(entry.menu.empty()
                    || std::any_of(kMenuTitles.begin(), kMenuTitles.end(), names))
            << entry.menu;
    }
}

TEST(Mnemonic, ChosenFromTheFreeLetters)
{
    struct Case {
        const char *legend;
        const char *text;
        const char *taken;
        const char *marked;
        const char *takenAfter;
    };
    // clang-format off
    const Case cases[] = {
        {"first letter", "Name:", "", "&Name:", "n"},
        {"a later word's first letter", "Map Y:", "m", "Map &Y:", "my"},
        {"any free letter", "Northing:", "n", "N&orthing:", "no"},
        {"digits count", "400 %", "", "&400 %", "4"},
        {"letters compare without case", "Easting:", "e", "E&asting:", "ea"},
        {"after a hyphen", "File-Selector", "f", "File-&Selector", "fs"},
        {"kept when marked", "P&rogram CS", "", "P&rogram CS", "r"},
        {"a literal ampersand is no mark", "Save && Quit", "s", "Save && &Quit", "sq"},
        {"no free letter: unmarked", "OK", "ok", "OK", "ok"},
        {"nothing to mark", "...", "", "...", ""},
        {"only ASCII letters", "\xC3\x9C" "ber", "b", "\xC3\x9C" "b&er", "be"},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        std::string taken = c.taken;
        EXPECT_EQ(AddMnemonic(c.text, taken), c.marked);
        EXPECT_EQ(taken, c.takenAfter);
    }
    EXPECT_EQ(StripMnemonic("Save && &Quit"), "Save & Quit");
    EXPECT_EQ(MnemonicOf("Save && Quit"), 0);
}

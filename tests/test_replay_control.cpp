#include "NMEATestUtils.h"
#include "app/CommandTable.h"
#include "receiver/ReplayControl.h"
#include "receiver/ReplayIndex.h"
#include "receiver/ReplaySpeed.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

namespace
{

std::string Gga(const char *time)
{
    return Sentence(std::string("GPGGA,") + time
                    + ",4808.2200,N,01134.5000,E,1,05,1.9,520.2,M,47.0,M,,")
           + "\r\n";
}

std::string Rmc(const char *time, const char *talker = "GP")
{
    return Sentence(std::string(talker) + "RMC," + time
                    + ",A,4808.2200,N,01134.5000,E,000.0,061.7,140626,003.1,W")
           + "\r\n";
}

std::string Gsa()
{
    return Sentence("GPGSA,A,3,04,13,18,22,25,,,,,,,,3.5,1.9,2.9") + "\r\n";
}

struct CEpochRow {
    double seconds;
    std::size_t line; // of the line that starts it
};

// The offsets of `rows`' lines in `log`.
std::vector<CReplayIndex::CEpoch> Expected(const std::vector<std::string> &lines,
                                           const std::vector<CEpochRow> &rows)
{
    std::vector<std::uint64_t> offsets;
    std::uint64_t at = 0;
    for (const std::string &line : lines) {
        offsets.push_back(at);
        at += line.size();
    }
    std::vector<CReplayIndex::CEpoch> epochs;
    for (const CEpochRow &row : rows)
        epochs.push_back({row.seconds, offsets[row.line]});
    return epochs;
}

} // namespace

TEST(ReplayIndex, EpochsOfLogs)
{
    struct Case {
        const char *legend;
        std::vector<std::string> lines;
        std::vector<CEpochRow> epochs;
    };
    const double t0 = 9 * 3600.0 + 30 * 60.0;
    // clang-format off
    const std::vector<Case> cases = {
        {"header lines, then GGA and RMC of one time are one epoch",
         {"# a header\n", Gga("093000.00"), Gsa(), Rmc("093000.00"), Gga("093001.00"), Rmc("093001.00")},
         {{t0, 1}, {t0 + 1, 4}}},
        {"an RMC first starts the epoch; its GGA joins it",
         {Rmc("093000.00"), Gga("093000.00"), Rmc("093001.00"), Gga("093001.00")},
         {{t0, 0}, {t0 + 1, 2}}},
        {"another talker's RMC of a new time",
         {Gga("093000.00"), Rmc("093001.00", "GN")}, {{t0, 0}, {t0 + 1, 1}}},
        {"five epochs a second",
         {Gga("093000.00"), Gga("093000.20"), Gga("093000.40")},
         {{t0, 0}, {t0 + 0.2, 1}, {t0 + 0.4, 2}}},
        {"no time, garbage time and other sentences start nothing",
         {Sentence("GPGGA,,,,,,0,00,,,M,,M,,") + "\r\n", Sentence("GPGGA,99x000,,,,,0,00,,,M,,M,,") + "\r\n",
          Gsa(), Gga("093000.00")},
         {{t0, 3}}},
        {"past midnight the log's seconds go on into the next day",
         {Gga("235959.00"), Gga("000000.00"), Gga("000001.00")},
         {{86399.0, 0}, {86400.0, 1}, {86401.0, 2}}},
        {"a step back by a second stays on the same day",
         {Gga("093001.00"), Gga("093000.00")}, {{t0 + 1, 0}, {t0, 1}}},
        {"a last line without a line end",
         {Gga("093000.00"), "$GPGGA,093001.00,4808"}, {{t0, 0}, {t0 + 1, 1}}},
        {"empty", {}, {}},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        std::string log;
        for (const std::string &line : c.lines)
            log += line;
        const CReplayIndex index = CReplayIndex::Build(log);
        const std::vector<CReplayIndex::CEpoch> want = Expected(c.lines, c.epochs);
        ASSERT_EQ(index.GetSize(), want.size());
        for (std::size_t i = 0; i < want.size(); ++i) {
            EXPECT_NEAR(index.GetEpoch(i).seconds, want[i].seconds, 1e-9) << i;
            EXPECT_EQ(index.GetEpoch(i).offset, want[i].offset) << i;
            EXPECT_EQ(index.EndOf(i), i + 1 < want.size() ? want[i + 1].offset : log.size());
        }
    }
}

// The demo drive: 300 epochs a second apart from 09:30:00, each at its GGA.
TEST(ReplayIndex, DemoDriveFromFile)
{
    const CReplayIndex index = CReplayIndex::BuildFromFile(VELORAN_DEMO_LOG);
    std::ifstream in(VELORAN_DEMO_LOG, std::ios::binary);
    const std::string log((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_EQ(index.GetSize(), 300u);
    EXPECT_EQ(index.GetFileSize(), log.size());
    for (std::size_t i = 0; i < index.GetSize(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(index.GetEpoch(i).seconds, 9 * 3600.0 + 30 * 60.0 + static_cast<double>(i));
        EXPECT_EQ(log.compare(index.GetEpoch(i).offset, 7, "$GPGGA,"), 0);
    }
    EXPECT_TRUE(CReplayIndex::BuildFromFile("/nonexistent/log.nmea").IsEmpty());
}

TEST(ReplayIndex, EpochByTime)
{
    std::string log;
    for (const char *t : {"235958.00", "235959.00", "000001.00", "000002.00"})
        log += Gga(t);
    const CReplayIndex index = CReplayIndex::Build(log);
    struct Case {
        const char *legend;
        double secondsOfDay;
        std::optional<std::size_t> first;
    };
    const Case cases[] = {
        {"exactly an epoch", 86398.0, 0},         {"between two", 86398.5, 1},
        {"after midnight: the next day", 1.0, 2}, {"in the gap over midnight", 0.0, 2},
        {"past the end", 3.0, std::nullopt},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(index.FirstEpochFrom(c.secondsOfDay), c.first);
    }
    EXPECT_EQ(CReplayIndex::Build(Gga("093000.00")).FirstEpochFrom(3600.0), 0u)
        << "before the start of a log that never reaches midnight: its first epoch";
    EXPECT_EQ(index.EpochAt(0.0), 0u) << "before the first";
    EXPECT_EQ(index.EpochAt(86400.5), 1u) << "in the gap: the last before";
    EXPECT_EQ(index.EpochAt(1e9), 3u) << "after the last";
}

TEST(ReplayIndex, TimeTexts)
{
    struct Case {
        const char *text;
        std::optional<double> seconds;
    };
    const Case cases[] = {
        {"00:00:00", 0.0}, {"09:32:16", 34336.0}, {"23:59:59", 86399.0},
        {"24:00:00", {}},  {"09:60:00", {}},      {"9:32:16", {}},
        {"09-32-16", {}},  {"09:32:1x", {}},      {"", {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(ParseLogTime(c.text), c.seconds);
        if (c.seconds) {
            EXPECT_EQ(LogTimeText(*c.seconds), c.text);
        }
    }
    EXPECT_EQ(LogTimeText(86400.0 + 61.9), "00:01:01") << "the day dropped, the second cut";
}

TEST(ReplaySpeed, Ladder)
{
    struct Case {
        int command;
        unsigned delay;
        const char *text;
    };
    const Case cases[] = {
        {kCmdReplaySpeed25, 4000, "25 %"},   {kCmdReplaySpeed50, 2000, "50 %"},
        {kCmdReplaySpeed100, 1000, "100 %"}, {kCmdReplaySpeed200, 500, "200 %"},
        {kCmdReplaySpeed400, 250, "400 %"},  {kCmdReplaySpeed800, 125, "800 %"},
        {kCmdReplaySpeed1600, 62, "1600 %"}, {kCmdReplaySpeedFastest, 0, "Fastest"},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Case &c = cases[i];
        SCOPED_TRACE(c.text);
        EXPECT_EQ(ReplayDelayOfCommand(c.command), c.delay);
        EXPECT_EQ(ReplaySpeedText(c.delay), c.text);
        EXPECT_EQ(ReplaySpeedRung(c.delay), i);
        EXPECT_EQ(StepReplaySpeed(c.delay, 1), cases[std::min(i + 1, std::size(cases) - 1)].delay);
        EXPECT_EQ(StepReplaySpeed(c.delay, -1), cases[i == 0 ? 0 : i - 1].delay);
    }
    // The commands that were there before keep their delays.
    EXPECT_EQ(ReplayDelayOfCommand(kCmdReplaySpeed100), kReplayDelay100Percent);
    EXPECT_EQ(ReplayDelayOfCommand(kCmdReplaySpeed200), kReplayDelay200Percent);
    EXPECT_EQ(ReplayDelayOfCommand(kCmdReplaySpeed400), kReplayDelay400Percent);
    // A delay from the command line stands on the nearest rung by speed.
    EXPECT_EQ(ReplaySpeedRung(700), 3u);
    EXPECT_EQ(ReplaySpeedRung(1), 6u);
    EXPECT_EQ(ReplaySpeedRung(100000), 0u);
    EXPECT_EQ(ReplaySpeedText(700), "700 ms");
}

TEST(ReplayControl, SeekDecisions)
{
    // 10 epochs a second apart, then a gap of five minutes, then 10 more.
    std::string log;
    std::vector<std::string> times;
    for (int i = 0; i < 10; ++i)
        times.push_back("0930" + std::string(i < 10 ? "0" : "") + std::to_string(i) + ".00");
    for (int i = 0; i < 10; ++i)
        times.push_back("0935" + std::string(i < 10 ? "0" : "") + std::to_string(i) + ".00");
    std::vector<std::string> lines;
    for (const std::string &t : times) {
        lines.push_back(Gga(t.c_str()));
        lines.push_back(Gsa());
        log += lines[lines.size() - 2] + lines.back();
    }
    const CReplayIndex index = CReplayIndex::Build(log);
    ASSERT_EQ(index.GetSize(), 20u);

    struct Case {
        const char *legend;
        int at; // epochs handled so far, -1 for none
        double by;
        std::optional<std::size_t> to;
        bool rewind;
    };
    // clang-format off
    const Case cases[] = {
        {"before the first line, on", -1, 5.0, 5, false},
        {"on, within the run", 2, 5.0, 7, false},
        {"on over the gap: the next epoch", 9, 60.0, 10, false},
        {"back over the gap: the previous epoch", 10, -60.0, 9, true},
        {"back past the start: the first epoch", 3, -60.0, 0, true},
        {"on past the end: the last", 12, 1e6, 19, false},
        {"at the last, on: nothing", 19, 60.0, std::nullopt, false},
        {"at the first, back: nothing", 0, -60.0, std::nullopt, false},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CReplayControl control;
        control.Start(index);
        for (int i = 0; i <= c.at; ++i)
            control.TakeLine(lines[2 * static_cast<std::size_t>(i)]);
        const std::optional<CReplaySeek> seek = control.SeekBy(c.by);
        ASSERT_EQ(seek.has_value(), c.to.has_value());
        if (!seek)
            continue;
        EXPECT_EQ(seek->epoch, *c.to);
        EXPECT_EQ(seek->rewind, c.rewind);
        EXPECT_EQ(seek->until, index.EndOf(*c.to));
    }

    CReplayControl control;
    EXPECT_FALSE(control.SeekToEpoch(3)) << "no replay";
    control.Start(CReplayIndex());
    EXPECT_FALSE(control.CanSeek()) << "a FIFO has no index";
    EXPECT_EQ(control.TimeText(), "--:--:-- UTC");
    control.Start(index);
    for (std::size_t i = 0; i < 12; ++i)
        control.TakeLine(lines[2 * i]);
    EXPECT_EQ(control.GetEpoch(), 11u);
    EXPECT_EQ(control.TimeText(), "09:35:01 UTC");
    EXPECT_EQ(control.ProgressText(), "5:01 / 5:09");
    EXPECT_FALSE(control.SeekToEpoch(11)) << "where it stands";
    EXPECT_FALSE(control.SeekToEpoch(20)) << "past the end";
    control.Rewound();
    EXPECT_EQ(control.GetEpoch(), std::nullopt);
    control.TakeLine(lines[0]);
    EXPECT_EQ(control.GetEpoch(), 0u) << "counted afresh after the restart";
}

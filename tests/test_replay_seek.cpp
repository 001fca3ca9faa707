#include "ConsumerLoop.h"
#include "receiver/DataSource.h"
#include "receiver/ReplayIndex.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;

namespace
{

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The lines handed over, with the marks among them.
struct CSeekLoop : CConsumerLoop {
    CSeekLoop()
    {
        source.SetMarkHandler([this](ReplayMark mark) {
            marks.emplace_back(lines.size(), mark);
            catchingUp = source.IsCatchingUp();
        });
        onLine = [this](std::string_view) { caughtUp.push_back(catchingUp); };
    }
    // Paused: the lines stop coming.
    bool Settles()
    {
        std::size_t n = lines.size();
        for (int still = 0; still < 4;) {
            PumpUntil([] { return false; }, 100ms);
            still = lines.size() == n ? still + 1 : 0;
            n = lines.size();
            if (closed)
                return false;
        }
        return true;
    }
    std::string Since(std::size_t first) const
    {
        std::string text;
        for (std::size_t i = first; i < lines.size(); ++i)
            text += lines[i];
        return text;
    }
    std::vector<std::pair<std::size_t, ReplayMark>> marks;
    std::vector<bool> caughtUp;
    bool catchingUp = false;
};

} // namespace

// Paused, a seek on and a seek back: the lines handed over are the file's bytes to the end of the
// target epoch, and those read to get there are marked as catching up.
TEST(ReplaySeek, LandsAtTheEndOfTheTargetEpoch)
{
    const std::string log = ReadFile(VELORAN_DEMO_LOG);
    const CReplayIndex index = CReplayIndex::BuildFromFile(VELORAN_DEMO_LOG);
    ASSERT_EQ(index.GetSize(), 300u);
    CSeekLoop loop;
    loop.source.SetReplayDelay(62);
    std::string error;
    ASSERT_TRUE(loop.source.OpenReplay(VELORAN_DEMO_LOG, error)) << error;
    ASSERT_TRUE(loop.PumpLines(20));
    loop.source.PauseReplay(true);
    ASSERT_TRUE(loop.Settles());
    EXPECT_TRUE(loop.source.IsReplayPaused());
    const std::string before = loop.Since(0);
    ASSERT_EQ(log.compare(0, before.size(), before), 0);
    EXPECT_EQ(log.compare(before.size(), 7, "$GPGGA,"), 0) << "paused before an epoch's GGA";

    loop.source.StepReplay();
    ASSERT_TRUE(loop.Settles());
    const std::size_t stepped = loop.Since(0).size();
    EXPECT_EQ(log.compare(stepped, 7, "$GPGGA,"), 0) << "one epoch further";
    EXPECT_GT(stepped, before.size());

    struct Case {
        const char *legend;
        std::size_t epoch;
        bool rewind;
    };
    const Case cases[] = {
        {"on", 150, false},
        {"back", 40, true},
        {"on again, from where it stands", 41, false},
        {"to the last epoch but one", 298, false},
        {"back to the first", 0, true},
    };
    std::size_t position = stepped; // in the file
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::size_t first = loop.lines.size();
        const std::size_t from = position;
        const std::size_t marksBefore = loop.marks.size();
        loop.source.SeekReplay(index.EndOf(c.epoch), c.rewind);
        ASSERT_TRUE(loop.Settles());
        // After a seek back the lines start again from the file's first.
        std::size_t handedFrom = from;
        if (c.rewind) {
            ASSERT_GT(loop.marks.size(), marksBefore);
            EXPECT_EQ(loop.marks[marksBefore].second, ReplayMark::Rewound);
            EXPECT_EQ(loop.marks[marksBefore].first, first);
            handedFrom = 0;
        }
        const std::string got = loop.Since(first);
        // Compared as a whole; the sizes say by how much a failure missed.
        const std::string want = log.substr(handedFrom, index.EndOf(c.epoch) - handedFrom);
        EXPECT_TRUE(got == want) << got.size() << " bytes instead of " << want.size();
        for (std::size_t i = first; i < loop.lines.size(); ++i)
            ASSERT_TRUE(loop.caughtUp[i]) << "line " << i << " caught up, unpaced";
        EXPECT_FALSE(loop.source.IsCatchingUp()) << "caught up at the target";
        position = index.EndOf(c.epoch);
    }
    loop.source.PauseReplay(false);
    loop.source.SetReplayDelay(0);
    ASSERT_TRUE(loop.PumpUntil([&] { return loop.closed; }, 10s));
    EXPECT_FALSE(loop.caughtUp.back()) << "played on as usual";
    EXPECT_EQ(loop.endError, 0);
}

// Loop: at the end the file starts again, said by the mark, the same lines each round.
TEST(ReplaySeek, LoopReadsTheFileAgain)
{
    const std::string log = ReadFile(VELORAN_DEMO_LOG);
    CSeekLoop loop;
    loop.source.SetReplayDelay(0);
    loop.source.SetReplayLoop(true);
    std::string error;
    ASSERT_TRUE(loop.source.OpenReplay(VELORAN_DEMO_LOG, error)) << error;
    ASSERT_TRUE(loop.PumpUntil([&] { return loop.marks.size() >= 2; }, 10s));
    loop.source.SetReplayLoop(false);
    ASSERT_TRUE(loop.PumpUntil([&] { return loop.closed; }, 10s));
    ASSERT_GE(loop.marks.size(), 2u);
    EXPECT_EQ(loop.marks[0].second, ReplayMark::Rewound);
    EXPECT_EQ(loop.Since(0).substr(0, log.size()), log) << "the first round whole before the mark";
    const std::string all = loop.Since(0);
    EXPECT_EQ(all.size() % log.size(), 0u);
    for (std::size_t at = 0; at < all.size(); at += log.size())
        EXPECT_EQ(all.compare(at, log.size(), log), 0) << "round at " << at;
}

// A FIFO cannot be read twice: no index, so no seeking in it.
TEST(ReplaySeek, FifoHasNoIndex)
{
    const std::string fifo = ::testing::TempDir() + "replay-index.fifo";
    ::unlink(fifo.c_str());
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_TRUE(CReplayIndex::BuildFromFile(fifo).IsEmpty());
    ::unlink(fifo.c_str());
}

namespace
{

// The time of day of a GGA or RMC line as hhmmss, else -1: the test's own reading of the log.
int EpochTime(const std::string &line)
{
    if (line.size() < 13 || line[0] != '$'
        || (line.compare(3, 4, "GGA,") != 0 && line.compare(3, 4, "RMC,") != 0) || line[7] == ',')
        return -1;
    return std::atoi(line.substr(7, 6).c_str());
}

// The lines of `log` whose epoch lies in [from, to] (hhmmss; -1: open end); the lines before
// the first epoch count as before every time.
std::string Slice(const std::string &log, int from, int to)
{
    std::string out;
    int time = -1;
    for (std::size_t at = 0; at < log.size();) {
        const std::size_t end = std::min(log.find('\n', at), log.size() - 1) + 1;
        const std::string line = log.substr(at, end - at);
        if (const int t = EpochTime(line); t >= 0)
            time = t;
        const bool afterFrom = from < 0 || (time >= 0 && time >= from);
        const bool beforeTo = to < 0 || time <= to;
        if (afterFrom && beforeTo)
            out += line;
        at = end;
    }
    return out;
}

} // namespace

// veloran-cli replay --from --to records the slice of the full replay's recording.
TEST(ReplaySeek, CliTimeWindowIsTheSliceOfTheFullReplay)
{
    const std::string dir = ::testing::TempDir();
    const std::string full = dir + "window-full.nmea";
    const std::string command = std::string(VELORAN_CLI) + " replay " + VELORAN_DEMO_LOG;
    ASSERT_EQ(std::system((command + " --record " + full + " 2>/dev/null").c_str()), 0);
    const std::string all = ReadFile(full);
    ASSERT_EQ(all, ReadFile(VELORAN_DEMO_LOG));
    struct Case {
        const char *legend;
        const char *options;
        int from, to;
    };
    const Case cases[] = {
        {"a window", "--from 09:31:00 --to 09:32:30", 93100, 93230},
        {"from only", "--from 09:34:00", 93400, -1},
        {"to only", "--to 09:30:05", -1, 93005},
        {"over the fix loss", "--from 09:32:10 --to 09:32:40", 93210, 93240},
        {"one second", "--from 09:30:59 --to 09:30:59", 93059, 93059},
        {"before the log: nothing of it", "--to 09:00:00", -1, 90000},
        {"after the log: nothing", "--from 10:00:00", 100000, -1},
        {"from after to: nothing", "--from 09:33:00 --to 09:32:00", 93300, 93200},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string out = dir + "window-part.nmea";
        ASSERT_EQ(
            std::system((command + " " + c.options + " --record " + out + " 2>/dev/null").c_str()),
            0);
        const std::string got = ReadFile(out), want = Slice(all, c.from, c.to);
        EXPECT_TRUE(got == want) << got.size() << " bytes instead of " << want.size();
    }
    EXPECT_NE(std::system((command + " --from 9:31 2>/dev/null").c_str()), 0) << "a bad time";
}

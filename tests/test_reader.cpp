#include "PtyPair.h"
#include "receiver/DataSource.h"
#include "receiver/LineConsumer.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace
{

// The consumer's side: the test thread plays the window's event loop.
class CConsumerLoop
{
public:
    CConsumerLoop()
        : m_source([this](std::string_view line) { OnLine(line); }, [this] { m_closed = true; })
    {
    }

    CDataSource &Source() { return m_source; }
    const std::vector<std::string> &Lines() const { return m_lines; }
    const std::vector<Clock::time_point> &Times() const { return m_times; }
    bool Closed() const { return m_closed; }
    void SetOnLine(std::function<void(std::string_view)> f) { m_extra = std::move(f); }

    /// Handles what the reader hands over until `done` or the time is up.
    bool PumpUntil(const std::function<bool()> &done, std::chrono::milliseconds limit)
    {
        const auto deadline = Clock::now() + limit;
        pollfd wake{m_source.GetWakeHandle(), POLLIN, 0};
        while (!done()) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (left <= 0ms)
                return false;
            ::poll(&wake, 1, static_cast<int>(std::min<long>(left.count(), 50)));
            m_source.ProcessPending();
        }
        return true;
    }
    bool PumpLines(std::size_t n, std::chrono::milliseconds limit = 5s)
    {
        return PumpUntil([&] { return m_lines.size() >= n; }, limit);
    }

private:
    void OnLine(std::string_view line)
    {
        m_lines.emplace_back(line);
        m_times.push_back(Clock::now());
        if (m_extra)
            m_extra(line);
    }

    std::vector<std::string> m_lines;
    std::vector<Clock::time_point> m_times;
    bool m_closed = false;
    std::function<void(std::string_view)> m_extra;
    CDataSource m_source; // last: it calls back into the members above until destroyed
};

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string TempPath(const char *name)
{
    return ::testing::TempDir() + name;
}

void WriteFile(const std::string &path, const std::string &bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

double Seconds(Clock::duration d)
{
    return std::chrono::duration<double>(d).count();
}

} // namespace

TEST(ReaderOnPort, LinesArriveByteExact)
{
    const std::string s81(81, 'a');
    const std::string s82(82, 'b');
    const struct {
        std::string sent;
        std::vector<std::string> lines;
        const char *legend;
    } cases[] = {
        {"$GPGGA,1*00\r\n$GPRMC,2\r\n", {"$GPGGA,1*00\r\n", "$GPRMC,2\r\n"}, "two lines"},
        {"\n", {"\n"}, "a lone line feed is a line"},
        {s81 + "\n", {s81 + "\n"}, "82 bytes with the line feed"},
        {s82 + "\r\n", {s82, "\r\n"}, "82 bytes without a line feed end a line"},
        {std::string(200, 'c') + "\n",
         {std::string(82, 'c'), std::string(82, 'c'), std::string(36, 'c') + "\n"},
         "long line split"},
        {std::string("$GP\0\0VTG\r\n", 10), {"$GPVTG\r\n"}, "the port discards NUL bytes"},
        {"\xff\xfe\x80\r\n", {"\xff\xfe\x80\r\n"}, "bytes above 0x7F pass unchanged"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CPtyPair pty;
        ASSERT_TRUE(pty.IsValid());
        CConsumerLoop loop;
        std::string error;
        ASSERT_TRUE(loop.Source().OpenPort(pty.SlavePath(), 4800, error)) << error;
        ASSERT_TRUE(pty.Send(c.sent));
        ASSERT_TRUE(loop.PumpLines(c.lines.size()));
        const std::vector<std::string> got(
            loop.Lines().begin(), loop.Lines().begin() + static_cast<long>(c.lines.size()));
        EXPECT_EQ(got, c.lines);
    }
}

TEST(ReaderOnPort, SilenceGivesTimeoutLineAboutEverySecond)
{
    CPtyPair pty;
    CConsumerLoop loop;
    std::string error;
    ASSERT_TRUE(loop.Source().OpenPort(pty.SlavePath(), 9600, error)) << error;
    const auto opened = Clock::now();
    ASSERT_TRUE(pty.Send("$GPGGA,half a li"));
    ASSERT_TRUE(loop.PumpLines(2, 6s));
    EXPECT_EQ(loop.Lines()[0], CDataSource::kTimeoutLine) << "the unfinished line is dropped";
    EXPECT_EQ(loop.Lines()[1], CDataSource::kTimeoutLine);
    // Generous bounds: this also runs under ThreadSanitizer on a loaded machine.
    EXPECT_GE(Seconds(loop.Times()[0] - opened), 0.9);
    EXPECT_LT(Seconds(loop.Times()[0] - opened), 2.5);
    EXPECT_GE(Seconds(loop.Times()[1] - loop.Times()[0]), 0.9);
    EXPECT_LT(Seconds(loop.Times()[1] - loop.Times()[0]), 2.5);

    ASSERT_TRUE(pty.Send("ne\r\n"));
    ASSERT_TRUE(loop.PumpLines(3));
    EXPECT_EQ(loop.Lines()[2], "ne\r\n") << "a new line after the time-out";
    EXPECT_TRUE(loop.Source().IsOpen()) << "time-outs never end the reader";
}

TEST(ReaderOnPort, UnpluggedReceiverClosesTheSource)
{
    CPtyPair pty;
    CConsumerLoop loop;
    std::string error;
    ASSERT_TRUE(loop.Source().OpenPort(pty.SlavePath(), 4800, error)) << error;
    pty.ReleaseSlave();
    ASSERT_TRUE(pty.Send("$GPVTG,1\r\n"));
    ASSERT_TRUE(loop.PumpLines(1));
    pty.CloseMaster();
    ASSERT_TRUE(loop.PumpUntil([&] { return loop.Closed(); }, 5s));
    EXPECT_FALSE(loop.Source().IsOpen());
}

TEST(ReaderOnPort, CloseReturnsPromptlyWhateverTheReaderDoes)
{
    const struct {
        bool sendWithoutTakingLines;
        const char *legend;
    } cases[] = {
        {false, "reader waits for bytes"},
        {true, "reader waits for the consumer to take its lines"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CPtyPair pty;
        CConsumerLoop loop;
        std::string error;
        ASSERT_TRUE(loop.Source().OpenPort(pty.SlavePath(), 115200, error)) << error;
        if (c.sendWithoutTakingLines) {
            ASSERT_TRUE(pty.Send("$GPGGA,1\r\n$GPRMC,2\r\n"));
        }
        std::this_thread::sleep_for(200ms);
        const auto start = Clock::now();
        loop.Source().Close();
        EXPECT_LT(Seconds(Clock::now() - start), 2.0);
        EXPECT_FALSE(loop.Source().IsOpen());
        loop.Source().ProcessPending();
        EXPECT_TRUE(loop.Lines().empty()) << "lines not taken before Close are dropped";
        EXPECT_FALSE(loop.Closed()) << "a close by the consumer is not reported back";
        // The port is free again.
        EXPECT_TRUE(loop.Source().OpenPort(pty.SlavePath(), 4800, error)) << error;
    }
}

TEST(ReaderOnPort, ConsumerMayCloseFromItsLineHandler)
{
    CPtyPair pty;
    CConsumerLoop loop;
    loop.SetOnLine([&](std::string_view) { loop.Source().Close(); });
    std::string error;
    ASSERT_TRUE(loop.Source().OpenPort(pty.SlavePath(), 4800, error)) << error;
    ASSERT_TRUE(pty.Send("$GPGGA,1\r\n$GPRMC,2\r\n$GPVTG,3\r\n"));
    ASSERT_TRUE(loop.PumpLines(1));
    loop.PumpUntil([] { return false; }, 200ms);
    EXPECT_EQ(loop.Lines().size(), 1U);
    EXPECT_FALSE(loop.Source().IsOpen());
}

TEST(Replay, RecordsTheDemoLogByteIdentical)
{
    const std::string out = TempPath("replay-identical.nmea");
    CConsumerLoop loop;
    CLineConsumer consumer;
    loop.SetOnLine([&](std::string_view line) { consumer.HandleLine(line); });
    ASSERT_TRUE(consumer.m_log.Create(out));
    loop.Source().SetReplayDelay(0);
    std::string error;
    ASSERT_TRUE(loop.Source().OpenReplay(VELORAN_DEMO_LOG, error)) << error;
    EXPECT_TRUE(loop.Source().IsReplaying());
    ASSERT_TRUE(loop.PumpUntil([&] { return loop.Closed(); }, 20s));
    consumer.m_log.Close();
    EXPECT_EQ(ReadFile(out), ReadFile(VELORAN_DEMO_LOG));
    EXPECT_EQ(consumer.GetCount(kSentenceGGA), 300U);
    EXPECT_FALSE(loop.Source().IsOpen());
}

TEST(Replay, RatesThinTheRecording)
{
    // Five epochs, GSV groups of three messages.
    std::string log;
    for (int e = 1; e <= 5; ++e) {
        log += "$GPGGA," + std::to_string(e) + "\r\n";
        for (int m = 1; m <= 3; ++m)
            log += "$GPGSV,3," + std::to_string(m) + ",9,e" + std::to_string(e) + "\r\n";
        log += "$GPRMC," + std::to_string(e) + "\r\n";
    }
    const std::string in = TempPath("rates-in.nmea");
    WriteFile(in, log);
    const struct {
        int type;
        unsigned rate;
        std::string expected;
        const char *legend;
    } cases[] = {
        {kSentenceGGA, 2, "$GPGGA,2\r\n$GPGGA,4\r\n", "2nd and 4th GGA"},
        {kSentenceGSV, 2,
         "$GPGSV,3,1,9,e1\r\n$GPGSV,3,2,9,e1\r\n$GPGSV,3,3,9,e1\r\n"
         "$GPGSV,3,1,9,e3\r\n$GPGSV,3,2,9,e3\r\n$GPGSV,3,3,9,e3\r\n"
         "$GPGSV,3,1,9,e5\r\n$GPGSV,3,2,9,e5\r\n$GPGSV,3,3,9,e5\r\n",
         "GSV groups 1, 3 and 5 whole"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string out = TempPath("rates-out.nmea");
        CLineConsumer consumer;
        for (int t = 0; t < kSentenceTypeCount; ++t)
            consumer.m_rules.SetEnabled(t, t == c.type);
        consumer.m_rules.SetRate(c.type, c.rate);
        consumer.m_rules.SetLogOthers(false);
        ASSERT_TRUE(consumer.m_log.Create(out));
        CConsumerLoop loop;
        loop.SetOnLine([&](std::string_view line) { consumer.HandleLine(line); });
        loop.Source().SetReplayDelay(0);
        std::string error;
        ASSERT_TRUE(loop.Source().OpenReplay(in, error)) << error;
        ASSERT_TRUE(loop.PumpUntil([&] { return loop.Closed(); }, 10s));
        consumer.m_log.Close();
        EXPECT_EQ(ReadFile(out), c.expected);
    }
}

TEST(Replay, PacesBeforeEachGLineAndFollowsSpeedChanges)
{
    const std::string paced = TempPath("paced.nmea");
    WriteFile(paced, "$GPGGA,1\r\n$GPRMC,1\r\n$GPGGA,2\r\n$GPRMC,2\r\n$GPGGA,3\r\n$GPRMC,3\r\n"
                     "$GPGGA,4\r\n$GPRMC,4\r\n");
    const std::string unpaced = TempPath("unpaced.nmea");
    WriteFile(unpaced, "$GPRMC,1\r\n$GPRMC,2\r\n$GPRMC,3\r\n$GPRMC,4\r\n");

    {
        SCOPED_TRACE("400 %: four pauses of 250 ms");
        CConsumerLoop loop;
        loop.Source().SetReplayDelay(CDataSource::kDelay400Percent);
        std::string error;
        const auto start = Clock::now();
        ASSERT_TRUE(loop.Source().OpenReplay(paced, error)) << error;
        ASSERT_TRUE(loop.PumpUntil([&] { return loop.Closed(); }, 10s));
        const double took = Seconds(Clock::now() - start);
        EXPECT_GE(took, 0.95);
        EXPECT_LT(took, 3.0);
        ASSERT_EQ(loop.Times().size(), 8U);
        EXPECT_GE(Seconds(loop.Times()[2] - loop.Times()[1]), 0.2) << "pause before GGA 2";
        EXPECT_LT(Seconds(loop.Times()[1] - loop.Times()[0]), 0.2) << "none before RMC";
    }
    {
        SCOPED_TRACE("no line with G at index 4: no pause");
        CConsumerLoop loop;
        loop.Source().SetReplayDelay(CDataSource::kDelay100Percent);
        std::string error;
        const auto start = Clock::now();
        ASSERT_TRUE(loop.Source().OpenReplay(unpaced, error)) << error;
        ASSERT_TRUE(loop.PumpUntil([&] { return loop.Closed(); }, 10s));
        EXPECT_LT(Seconds(Clock::now() - start), 0.9);
    }
    {
        SCOPED_TRACE("a speed change applies from the next GGA");
        CConsumerLoop loop;
        loop.Source().SetReplayDelay(CDataSource::kDelay100Percent);
        loop.SetOnLine([&](std::string_view) { loop.Source().SetReplayDelay(0); });
        std::string error;
        const auto start = Clock::now();
        ASSERT_TRUE(loop.Source().OpenReplay(paced, error)) << error;
        ASSERT_TRUE(loop.PumpUntil([&] { return loop.Closed(); }, 10s));
        const double took = Seconds(Clock::now() - start);
        EXPECT_GE(took, 0.95) << "the first GGA still waits a second";
        EXPECT_LT(took, 2.5) << "the others do not";
    }
}

TEST(Replay, OpeningAnotherSourceClosesTheFirst)
{
    CPtyPair pty;
    CConsumerLoop loop;
    std::string error;
    ASSERT_TRUE(loop.Source().OpenPort(pty.SlavePath(), 4800, error)) << error;
    ASSERT_TRUE(loop.Source().OpenReplay(VELORAN_DEMO_LOG, error)) << error;
    EXPECT_TRUE(loop.Source().IsReplaying());
    ASSERT_TRUE(loop.Source().OpenPort(pty.SlavePath(), 4800, error))
        << "the port was closed by the replay: " << error;
    EXPECT_FALSE(loop.Source().IsReplaying());
    EXPECT_FALSE(loop.Source().OpenReplay(TempPath("no-such-file.nmea"), error));
    EXPECT_NE(error.find("no-such-file.nmea"), std::string::npos) << error;
    EXPECT_FALSE(loop.Source().IsOpen()) << "the port is closed even when the replay fails";
}

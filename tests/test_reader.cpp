#include "ConsumerLoop.h"
#include "PtyPair.h"
#include "receiver/DataSource.h"
#include "receiver/NMEALogFile.h"
#include "receiver/ReceiverSession.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace
{

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A file of the test's own under the temporary directory, with `bytes` unless empty.
std::string TempFile(const char *name, const std::string &bytes = {})
{
    const std::string path = ::testing::TempDir() + name;
    if (!bytes.empty())
        std::ofstream(path, std::ios::binary) << bytes;
    return path;
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
        GnssMode mode = GnssMode::GpsOnly;
    } cases[] = {
        {"$GPGGA\r\n\xff\x80\r\n", {"$GPGGA\r\n", "\xff\x80\r\n"}, "bytes above 0x7F unchanged"},
        {"\n", {"\n"}, "a lone line feed is a line"},
        {s81 + "\n", {s81 + "\n"}, "82 bytes with the line feed"},
        {s82 + "\r\n", {s82, "\r\n"}, "82 bytes without a line feed end a line"},
        {std::string(200, 'b') + "\n", {s82, s82, std::string(36, 'b') + "\n"}, "long line split"},
        {std::string("$GP\0\0VTG\r\n", 10), {"$GPVTG\r\n"}, "the port discards NUL bytes"},
        {"$" + std::string(300, 'b') + "\n$GNGGA\n",
         {"$" + std::string(300, 'b') + "\n", "$GNGGA\n"},
         "all systems: a long line goes on too (in parts as read), for the recording",
         GnssMode::AllSystems},
        {"$$GNGSA\r\r\n", {"$", "$GNGSA\r\r\n"}, "all systems: cut at '$'", GnssMode::AllSystems},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CPtyPair pty;
        CConsumerLoop loop;
        loop.source.SetGnssMode(c.mode);
        std::string error;
        ASSERT_TRUE(loop.source.OpenPort(pty.SlavePath(), 4800, error)) << error;
        ASSERT_TRUE(pty.Send(c.sent));
        const auto joined = [](const std::vector<std::string> &lines) {
            std::string all;
            for (const std::string &line : lines)
                all += line;
            return all;
        };
        // A line too long for a sentence arrives in the parts the reads made of it.
        ASSERT_TRUE(loop.PumpUntil(
            [&] { return joined(loop.lines).size() >= joined(c.lines).size(); }, 5s));
        EXPECT_EQ(joined(loop.lines), joined(c.lines));
        ASSERT_FALSE(loop.lines.empty());
        EXPECT_EQ(loop.lines.back(), c.lines.back());
        if (c.lines.front().size() <= CNMEAFields::kMaxSentenceBytes) {
            EXPECT_EQ(loop.lines, c.lines);
        }
    }
}

// Silence gives a time-out line about every second and never ends the reader; an unplugged
// receiver does.
TEST(ReaderOnPort, TimeoutLinesAndUnpluggedReceiver)
{
    CPtyPair pty;
    CConsumerLoop loop;
    std::string error;
    ASSERT_TRUE(loop.source.OpenPort(pty.SlavePath(), 9600, error)) << error;
    const auto opened = Clock::now();
    ASSERT_TRUE(pty.Send("$GPGGA,half a li"));
    ASSERT_TRUE(loop.PumpLines(2, 6s));
    EXPECT_EQ(loop.lines, std::vector<std::string>(2, std::string(CDataSource::kTimeoutLine)))
        << "the unfinished line is dropped";
    // Between 0.9 and 2.5 s: generous, this also runs under ThreadSanitizer on a loaded machine.
    EXPECT_NEAR(Seconds(loop.times[0] - opened), 1.7, 0.8);
    EXPECT_NEAR(Seconds(loop.times[1] - loop.times[0]), 1.7, 0.8);

    ASSERT_TRUE(pty.Send("ne\r\n"));
    ASSERT_TRUE(loop.PumpLines(3));
    EXPECT_EQ(loop.lines[2], "ne\r\n") << "a new line after the time-out";
    EXPECT_TRUE(loop.source.IsOpen()) << "time-outs never end the reader";

    pty.ReleaseSlave();
    pty.CloseMaster();
    ASSERT_TRUE(loop.PumpUntil([&] { return loop.closed; }, 5s));
    EXPECT_FALSE(loop.source.IsOpen());
    EXPECT_NE(loop.endError, 0) << "a port never ends cleanly";
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
        ASSERT_TRUE(loop.source.OpenPort(pty.SlavePath(), 115200, error)) << error;
        ASSERT_TRUE(!c.sendWithoutTakingLines || pty.Send("$GPGGA,1\r\n$GPRMC,2\r\n"));
        std::this_thread::sleep_for(200ms);
        const auto start = Clock::now();
        loop.source.Close();
        EXPECT_LT(Seconds(Clock::now() - start), 2.0);
        EXPECT_FALSE(loop.source.IsOpen());
        loop.source.ProcessPending();
        EXPECT_TRUE(loop.lines.empty()) << "lines not taken before Close are dropped";
        EXPECT_FALSE(loop.closed) << "a close by the consumer is not reported back";
        // The port is free again.
        EXPECT_TRUE(loop.source.OpenPort(pty.SlavePath(), 4800, error)) << error;
    }
}

TEST(ReaderOnPort, ConsumerMayCloseFromItsLineHandler)
{
    CPtyPair pty;
    CConsumerLoop loop;
    loop.onLine = [&](std::string_view) { loop.source.Close(); };
    std::string error;
    ASSERT_TRUE(loop.source.OpenPort(pty.SlavePath(), 4800, error)) << error;
    ASSERT_TRUE(pty.Send("$GPGGA,1\r\n$GPRMC,2\r\n$GPVTG,3\r\n"));
    ASSERT_TRUE(loop.PumpLines(1));
    loop.PumpUntil([] { return false; }, 200ms);
    EXPECT_EQ(loop.lines.size(), 1U);
    EXPECT_FALSE(loop.source.IsOpen());
}

// Replayed at full speed into the recording: the demo log comes out byte-identical, and rates
// thin it (GGA rate 2: the 2nd and 4th; GSV rate 2: the whole groups 1, 3 and 5).
TEST(Replay, RecordsByteIdenticalOrThinnedByRates)
{
    std::string log;
    std::string thinned;
    for (int e = 1; e <= 5; ++e) {
        const std::string gga = "$GPGGA," + std::to_string(e) + "\r\n";
        std::string gsv;
        for (int m = 1; m <= 3; ++m)
            gsv += "$GPGSV,3," + std::to_string(m) + ",9,e" + std::to_string(e) + "\r\n";
        log += gga + gsv + "$GPRMC," + std::to_string(e) + "\r\n";
        thinned += e % 2 == 0 ? gga : gsv;
    }
    const struct {
        std::string in, expected;
        std::uint32_t rate; // of GGA and GSV; 1 records everything, 2 also leaves RMC out
        const char *legend;
    } cases[] = {
        {VELORAN_DEMO_LOG, ReadFile(VELORAN_DEMO_LOG), 1, "demo log, everything recorded"},
        {TempFile("rates-in.nmea", log), thinned, 2, "GGA and GSV at rate 2, RMC off"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const std::string out = TempFile("replay-out.nmea");
        CConsumerLoop loop;
        CReceiverSession session;
        loop.onLine = [&](std::string_view line) { session.HandleLine(line); };
        session.GetRecordingRules().SetRate(kSentenceGGA, c.rate);
        session.GetRecordingRules().SetRate(kSentenceGSV, c.rate);
        session.GetRecordingRules().SetEnabled(kSentenceRMC, c.rate == 1);
        ASSERT_TRUE(session.GetLog().Create(out));
        loop.source.SetReplayDelay(0);
        std::string error;
        ASSERT_TRUE(loop.source.OpenReplay(c.in, error)) << error;
        EXPECT_TRUE(loop.source.IsReplaying());
        ASSERT_TRUE(loop.PumpUntil([&] { return loop.closed; }, 20s));
        EXPECT_FALSE(loop.source.IsOpen());
        session.CloseLog();
        EXPECT_EQ(ReadFile(out), c.expected);
    }
}

// Garbage included, in both modes: everything recorded is the replayed file, byte for byte, and
// the parser sees only what it takes (GPS only: a NUL ends the line; all systems: nothing
// over 255 bytes; the last bytes without a line end are no line).
TEST(Replay, GarbageRecordsByteIdenticalInBothModes)
{
    const std::string gga = "$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47\r\n";
    const std::string garbage = "$GPZZZ,12$" + std::string(300, 'x') + "\r\n" + gga + "$$$$"
                                + std::string(700, '\r') + "\n" + std::string("$GP\0GGA,1\r\n", 12)
                                + "$" + std::string(254, 'a') + "\r\n" + gga
                                + std::string(100000, 'z') + "\n" + gga + "$GPGGA,1,2";
    const std::string in = TempFile("garbage.nmea", garbage);
    for (const GnssMode mode : {GnssMode::AllSystems, GnssMode::GpsOnly}) {
        SCOPED_TRACE(mode == GnssMode::GpsOnly ? "GPS only" : "all systems");
        const std::string out = TempFile("garbage-out.nmea");
        CConsumerLoop loop;
        CReceiverSession session;
        session.SetGnssMode(mode);
        loop.source.SetGnssMode(mode);
        loop.onLine = [&](std::string_view line) { session.HandleLine(line); };
        loop.source.SetUnfinishedHandler(
            [&](std::string_view bytes) { session.RecordUnfinished(bytes); });
        ASSERT_TRUE(session.GetLog().Create(out));
        loop.source.SetReplayDelay(0);
        std::string error;
        ASSERT_TRUE(loop.source.OpenReplay(in, error)) << error;
        ASSERT_TRUE(loop.PumpUntil([&] { return loop.closed; }, 20s));
        session.CloseLog();
        EXPECT_EQ(session.GetCount(kSentenceGGA), 3u) << "the good GGAs, nothing else";
        EXPECT_TRUE(ReadFile(out) == garbage) << "the recording differs from the replayed file";
    }
}

// All systems: an LF-only log with sentences run together replays sentence by sentence and is
// recorded as it came; a GSV rate counts whole skies, so every system's group is kept or left
// out together.
TEST(Replay, AllSystemsRecordsSentencesAndWholeSkies)
{
    std::string log;
    std::string expected;
    for (int e = 1; e <= 4; ++e) {
        const std::string n = std::to_string(e);
        const std::string sky = "$GPGSV,1,1,00,e" + n + "\n$GLGSV,1,1,00,e" + n + "\n";
        log += "$GNGGA," + n + "\n" + sky + "$GNRMC," + n + "$GPVTG," + n + "\n";
        expected +=
            "$GNGGA," + n + "\n" + (e % 2 == 1 ? sky : "") + "$GNRMC," + n + "$GPVTG," + n + "\n";
    }
    const std::string out = TempFile("all-systems-out.nmea");
    CConsumerLoop loop;
    CReceiverSession session;
    session.SetGnssMode(GnssMode::AllSystems);
    loop.source.SetGnssMode(GnssMode::AllSystems);
    loop.onLine = [&](std::string_view line) { session.HandleLine(line); };
    session.GetRecordingRules().SetRate(kSentenceGSV, 2);
    ASSERT_TRUE(session.GetLog().Create(out));
    std::string error;
    ASSERT_TRUE(loop.source.OpenReplay(TempFile("all-systems.nmea", log), error)) << error;
    ASSERT_TRUE(loop.PumpUntil([&] { return loop.closed; }, 10s));
    session.CloseLog();
    EXPECT_EQ(loop.lines.size(), 20u);
    EXPECT_EQ(session.GetCount(kSentenceGSV), 8u);
    EXPECT_EQ(ReadFile(out), expected);
}

// A pause of the replay delay before every line with 'G' at index 4 (the GGA of each epoch); a
// new delay applies from the next GGA.
TEST(Replay, PacesBeforeEachGLineAndFollowsSpeedChanges)
{
    const std::string paced =
        TempFile("paced.nmea", "$GPGGA,1\r\n$GPRMC,1\r\n$GPGGA,2\r\n$GPRMC,2\r\n$GPGGA,3\r\n"
                               "$GPRMC,3\r\n$GPGGA,4\r\n$GPRMC,4\r\n");
    const std::string unpaced = TempFile("gsx.nmea", "$GPGSA\r\n$GPGSV\r\n$GPGSA\r\n$GPGSV\r\n");
    const struct {
        const std::string &path;
        unsigned delay;
        bool fullSpeedAfterFirstLine;
        double least, most, pauseBeforeLine3;
        const char *legend;
    } cases[] = {
        {paced, CDataSource::kDelay400Percent, false, 0.95, 3.0, 0.2, "400 %: four 250 ms pauses"},
        {unpaced, CDataSource::kDelay100Percent, false, 0.0, 0.9, 0.0, "G only at index 3"},
        {paced, CDataSource::kDelay100Percent, true, 0.95, 2.5, 0.0, "then 0: only GGA 1 waits"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CConsumerLoop loop;
        loop.source.SetReplayDelay(c.delay);
        if (c.fullSpeedAfterFirstLine)
            loop.onLine = [&](std::string_view) { loop.source.SetReplayDelay(0); };
        std::string error;
        const auto start = Clock::now();
        ASSERT_TRUE(loop.source.OpenReplay(c.path, error)) << error;
        ASSERT_TRUE(loop.PumpUntil([&] { return loop.closed; }, 10s));
        const double took = Seconds(Clock::now() - start);
        EXPECT_GE(took, c.least);
        EXPECT_LT(took, c.most);
        ASSERT_EQ(loop.times.size(), c.path == unpaced ? 4U : 8U);
        EXPECT_LT(Seconds(loop.times[1] - loop.times[0]), 0.2) << "no pause before line 2";
        EXPECT_GE(Seconds(loop.times[2] - loop.times[1]), c.pauseBeforeLine3);
    }
}

TEST(Replay, OpeningAnotherSourceClosesTheFirst)
{
    CPtyPair pty;
    CConsumerLoop loop;
    std::string error;
    ASSERT_TRUE(loop.source.OpenPort(pty.SlavePath(), 4800, error)) << error;
    ASSERT_TRUE(loop.source.OpenReplay(VELORAN_DEMO_LOG, error)) << error;
    EXPECT_TRUE(loop.source.IsReplaying());
    ASSERT_TRUE(loop.source.OpenPort(pty.SlavePath(), 4800, error))
        << "the port was closed by the replay: " << error;
    EXPECT_FALSE(loop.source.IsReplaying());
    EXPECT_FALSE(loop.source.OpenReplay(TempFile("no-such-file.nmea"), error));
    EXPECT_EQ(error, std::strerror(ENOENT)) << "the caller names the path";
    EXPECT_FALSE(loop.source.IsOpen()) << "the port is closed even when the replay fails";
}

// What is not a plain file is read honestly: a directory is refused, a FIFO or a device is opened
// without waiting for its writer and ends when the writer goes, a read error ends the replay with
// its errno rather than as an end of file. The file being recorded is refused.
TEST(Replay, FifosDevicesDirectoriesAndTheRecordedFile)
{
    const std::string lines = "$GPGGA,1\r\n$GPRMC,1\r\n";
    const std::vector<std::string> asLines = {"$GPGGA,1\r\n", "$GPRMC,1\r\n"};
    const std::string fifo = TempFile("replay.fifo");
    ::unlink(fifo.c_str());
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    const std::string recorded = TempFile("recorded.nmea", lines);
    CNMEALogFile log;
    ASSERT_TRUE(log.Create(recorded));
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());

    enum class Writer { None, Fifo, Pty };
    const struct {
        std::string path;
        Writer writer;
        std::string openError; // empty: opens
        std::vector<std::string> lines;
        int endError;
        const char *legend;
    } cases[] = {
        {::testing::TempDir(), Writer::None, std::strerror(EISDIR), {}, 0, "a directory"},
        {recorded, Writer::None, "it is the file being recorded", {}, 0, "the recorded file"},
        {fifo, Writer::Fifo, "", asLines, 0, "a FIFO: its writer comes later and goes"},
        {pty.SlavePath(), Writer::Pty, "", asLines, 0, "a terminal: ends when it hangs up"},
        // Offset 0 of a process's memory is never mapped: the kernel's own read error.
        {"/proc/self/mem", Writer::None, "", {}, EIO, "a file that fails to read"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CConsumerLoop loop;
        loop.source.SetReplayDelay(0);
        std::string error;
        const auto start = Clock::now();
        const bool opened = loop.source.OpenReplay(c.path, error, log.GetIdentity());
        EXPECT_LT(Seconds(Clock::now() - start), 0.5) << "no wait for a writer";
        EXPECT_EQ(opened, c.openError.empty());
        EXPECT_EQ(error, c.openError);
        if (!opened)
            continue;
        if (c.writer == Writer::Fifo) {
            std::ofstream(c.path, std::ios::binary) << lines; // opens, writes, goes
        } else if (c.writer == Writer::Pty) {
            ASSERT_TRUE(pty.Send(lines));
            ASSERT_TRUE(loop.PumpLines(2));
            pty.ReleaseSlave();
            pty.CloseMaster();
        }
        ASSERT_TRUE(loop.PumpUntil([&] { return loop.closed; }, 5s));
        EXPECT_EQ(loop.lines, c.lines);
        EXPECT_EQ(loop.endError, c.endError);
    }
    EXPECT_EQ(ReadFile(recorded), "") << "refused before anything was read into it";
}

TEST(Replay, CloseEndsAFifoReplayThatWaitsForItsWriter)
{
    const std::string fifo = TempFile("waiting.fifo");
    ::unlink(fifo.c_str());
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    CConsumerLoop loop;
    std::string error;
    ASSERT_TRUE(loop.source.OpenReplay(fifo, error)) << error;
    std::this_thread::sleep_for(200ms);
    EXPECT_TRUE(loop.source.IsReplaying());
    const auto start = Clock::now();
    loop.source.Close();
    EXPECT_LT(Seconds(Clock::now() - start), 1.0);
    EXPECT_FALSE(loop.source.IsOpen());
}

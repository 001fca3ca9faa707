#include "nmea/GnssSystem.h"
#include "nmea/LineAssembler.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

std::vector<std::string> Cut(const std::string &bytes, std::size_t chunk, std::size_t *pending)
{
    CLineAssembler a;
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < bytes.size(); i += chunk)
        a.Feed(std::string_view(bytes).substr(i, chunk),
               [&](std::string_view line) { lines.emplace_back(line); });
    *pending = a.GetPending();
    return lines;
}

struct Case {
    std::string bytes;
    std::vector<std::string> lines;
    std::size_t pending;
    const char *legend;
};

} // namespace

TEST(LineAssembler, CutsLikeTheReader)
{
    const std::string s81(81, 'a');
    const std::string s82(82, 'b');
    const Case cases[] = {
        {"$GPGGA,1\r\n$GPRMC,2\r\n", {"$GPGGA,1\r\n", "$GPRMC,2\r\n"}, 0, "two lines"},
        {"\n", {"\n"}, 0, "a lone line feed is a line"},
        {"\n\n", {"\n", "\n"}, 0, "two empty lines"},
        {s81 + "\n", {s81 + "\n"}, 0, "82 bytes ending in the line feed"},
        {s82, {s82}, 0, "82 bytes without line feed end a line"},
        {s82 + "\n", {s82, "\n"}, 0, "the line feed after 82 bytes is a line of its own"},
        {s82 + "xy\r\n", {s82, "xy\r\n"}, 0, "long line split after 82 bytes"},
        {std::string(200, 'c'),
         {std::string(82, 'c'), std::string(82, 'c')},
         36,
         "two full pieces, the rest waits"},
        {"$GPGGA", {}, 6, "unfinished last line is not a line"},
        {std::string("ab\0cd\n", 6), {"ab"}, 0, "a NUL cuts the line as a C string"},
        {std::string("\0\n", 2), {""}, 0, "a line starting with NUL is empty"},
    };
    for (const Case &c : cases) {
        for (std::size_t chunk : {std::size_t{1}, std::size_t{3}, std::size_t{4096}}) {
            SCOPED_TRACE(std::string(c.legend) + ", chunk " + std::to_string(chunk));
            std::size_t pending = 0;
            EXPECT_EQ(Cut(c.bytes, chunk, &pending), c.lines);
            EXPECT_EQ(pending, c.pending);
        }
    }
}

TEST(LineAssembler, FullPieceTerminatorLandsAtIndex83)
{
    CLineAssembler a;
    a.Feed(std::string(82, 'x'), [](std::string_view) {});
    const char *buffer = a.GetBuffer();
    EXPECT_EQ(buffer[81], 'x');
    EXPECT_EQ(buffer[82], '\0') << "never written by data";
    EXPECT_EQ(buffer[83], '\0');
    // A short line after it leaves stale bytes behind its own terminator; pacing reads index 4.
    a.Feed("$GPGGA\n", [](std::string_view) {});
    a.Feed("\n", [](std::string_view) {});
    EXPECT_EQ(buffer[0], '\n');
    EXPECT_EQ(buffer[1], '\0');
    EXPECT_EQ(buffer[4], 'G');
}

// What the recording gets: the raw bytes of every line handed on, put together, are the input,
// however it was read and whatever garbage it holds (both modes, all rates 1).
TEST(LineAssemblerRecording, RawLinesRebuildTheInputAtEverySplit)
{
    const std::string good =
        "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A\r\n";
    const std::string fragment = "$GPGGA,12";
    const Case garbage[] = {
        {fragment + "$" + std::string(300, 'x') + "\r\n" + good,
         {},
         0,
         "a fragment cut by '$', then a remainder over 255 bytes: the glue case"},
        {std::string(600, 'y') + "\n" + good, {}, 0, "a long line without '$'"},
        {"$$$$$$$$" + good + "$$\n", {}, 0, "a '$' storm"},
        {std::string(300, '\r') + "\n" + good, {}, 0, "CR only"},
        {std::string(300, '\r') + good, {}, 0, "CR only, cut by '$'"},
        {std::string("$GPGGA,1\0\0,2*00\r\n\0\n", 20) + good, {}, 0, "NUL bytes"},
        {"$" + std::string(254, 'a') + "\r\n" + good, {}, 0, "255 bytes"},
        {"$" + std::string(255, 'a') + "\r\n" + good, {}, 0, "256 bytes"},
        {"$" + std::string(254, 'a') + std::string(8, '\r') + "\n" + good,
         {},
         0,
         "255 bytes and nine of line end: one past the room"},
        {"$" + std::string(80, 'a') + "\n" + "$" + std::string(81, 'b') + "\n" + "$"
             + std::string(82, 'c') + "\n" + good,
         {},
         0,
         "lines of 82, 83 and 84 bytes"},
        {std::string(10000, 'z') + "\n", {}, 0, "10,000 bytes, one line end"},
    };
    for (const GnssMode mode : {GnssMode::AllSystems, GnssMode::GpsOnly}) {
        for (const Case &c : garbage) {
            SCOPED_TRACE(std::string(c.legend) + (mode == GnssMode::GpsOnly ? ", GPS" : ", all"));
            // Two reads split at every offset, and one byte per read.
            for (std::size_t split = 0; split <= c.bytes.size() + 1; ++split) {
                CLineAssembler a(mode);
                std::string recorded;
                const auto sink = [&](std::string_view line) {
                    const std::string_view raw = a.GetRaw();
                    EXPECT_EQ(raw.substr(0, line.size()), line) << "the line is where it came from";
                    recorded += raw;
                };
                if (split <= c.bytes.size()) {
                    a.Feed(std::string_view(c.bytes).substr(0, split), sink);
                    a.Feed(std::string_view(c.bytes).substr(split), sink);
                } else {
                    for (const char byte : c.bytes)
                        a.Feed(std::string_view(&byte, 1), sink);
                }
                EXPECT_EQ(a.GetPending(), 0u);
                ASSERT_EQ(recorded, c.bytes) << "split at " << split;
            }
        }
    }
}
